#!/usr/bin/env bash
# vqrecord between the host and its clients: it records what the host itself does, and neither of them
# notices. VQHOST VQRECORD BUILT-EXAMPLES EXAMPLES TEST-CLIENT.

vqrecord=$2 built=$3 examples=$4 tester=$5
# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"
export VQHOME=$built
cp -r "$examples"/tea* .

# Runs a client through vqrecord, which writes "through"; the host records to "direct".
recorded() { # EXIT-CODE CLIENT ARGUMENTS...
    local wanted=$1 client=$2
    shift 2
    rm -f through
    run "$wanted" run tea.json --client "$vqrecord" --client-arg -o --client-arg through \
        --client-arg -- --client-arg "$client" --time-limit 600 --record direct "$@" </dev/null
    sed -i 's/"time":[^,]*,//; s/"took":[^,]*,//' direct through
    cmp -s direct through || fail "not recorded as the host does: $(diff direct through | head -5)"
}

recorded 0 "$built/wordcount" "choose Count Words" "expect alert The book has 98 words."
run 0 replay through --client "$built/wordcount"
# Dialogs, in which the host calls while it is waited for.
recorded 0 "$built/replace" "answer raven crow" "choose Replace in Book..." "dialog 1 1" "dialog end" \
    "expect documents none"
cp -r "$examples"/tea* .
run 0 replay through --client "$built/replace"

# No recording is lost: neither when the host starts the client again, nor when two are recorded at once;
# nor another file. Of two who record to one file, the second ends.
rm through
through=(--client "$vqrecord" --client-arg -o --client-arg through --client-arg "$built/wordcount")
run 0 run tea.json "${through[@]}" "${through[@]}" stop start "choose Count Words" </dev/null
wrote err "through has a recording; this one goes to through.3"
for each in through through.2 through.3; do
    run 0 replay "$each" --client "$built/wordcount"
done
echo text >other
run 1 run tea.json --client "$vqrecord" --client-arg -o --client-arg other --client-arg "$built/wordcount"
run 2 run tea.json --record other --client "$built/wordcount" show
wrote err "other:1: this is no recording"
[[ $(<other) == text ]] || fail "a file is lost"
exec {lock}>>through
flock "$lock"
run 2 run tea.json --record through --client "$built/wordcount" show
wrote err "somebody else is recording to through"
exec {lock}>&-

# Calls of the host after a call, one of them of the old style, which nobody answers; no answer, and
# an error.
cat >scenario <<'END'
{"others": "model", "steps": [
  {"call": "api_vq_open_1", "answer": "error"},
  {"call": "api_vq_alert_1", "after": [
    {"callback": "vq4_api_notify_1", "arguments": {"notification": 4, "stringArg": "old"}},
    {"callback": "vq_api_command_1", "arguments": {"command": 1}, "steps": [{"call": "api_vq_alert_1"}]}]}]}
END
recorded 0 "$built/wordcount" --scenario scenario "choose Count Words"
wrote err "old-style notification"
wrote through '"callback":"vq4_api_notify_1"'
run 0 replay through --client "$built/wordcount"

# A host that ends the connection right behind a message.
echo '{"others": "model", "steps": [{"call": "api_vq_alert_1", "answer": "close"}]}' >scenario
recorded 1 "$built/wordcount" --scenario scenario "choose Count Words"
wrote err "exited with status 1 while it held control"

# Calls that nobody can read.
recorded 0 "$tester" --client-env "VQTEST=bad calls" show
wrote through '"call":"procedure_4711","argumentBytes":[],"failed":"unknown"'
run 0 replay through --client "$tester" --client-env "VQTEST=bad calls"
sed -i '0,/"failed":"unknown"/s//"answerBytes":[0,0,0,1]/; 0,/11 10/s//11 0/' through
run 0 replay through --client "$tester" --client-env "VQTEST=bad calls"
echo '{"steps": [{"call": "api_vq_alert_1", "times": "any"}]}' >calls
run 1 run tea.json --client "$tester" --client-env "VQTEST=bad calls" --scenario calls show
wrote err "nothing expects procedure_4711"

# However a client ends, the host sees it as without vqrecord, and the recording is whole.
for how in exit crash "bail out" "fail at the end"; do
    code=1
    commands=("message hello")
    [[ $how != "bail out" ]] || { code=0 && commands=(show); }
    recorded $code "$tester" --client-env "VQTEST=$how" "${commands[@]}"
    mv err seen
    run $code run tea.json --client "$tester" --time-limit 600 --client-env "VQTEST=$how" "${commands[@]}" </dev/null
    diff <(sed 's/vqrecord/test_client/; /the host waits/d' seen) <(sed '/the host waits/d' err) >&2 || fail "another end: $how"
    [[ $(tail -1 through) == "]}" ]] || fail "cut off: $how"
    run 0 replay through --client "$tester" --client-env "VQTEST=$how"
done
# What vqrecord itself breaks off is nothing that the client does.
run 1 run tea.json --client "$vqrecord" --client-arg -o --client-arg broken --client-arg "$tester" \
    --client-env "VQTEST=endless call" "message hello"
wrote err "sent a message of more than 1073741824 bytes"
[[ $(tail -1 broken) != "]}" ]] || fail "the recording does not tell what was broken off"
# A host that is killed while it is called: the client ends, and what there is can be played. The pipe
# is closed by the last of them.
echo '{"others": "model", "steps": [{"call": "api_vq_alert_1", "answer": "none"}]}' >silent
: >through
mkfifo pipe
"${program[@]}" run tea.json --client "$vqrecord" --client-arg -o --client-arg through --client-arg "$built/wordcount" \
    --time-limit 600 --scenario silent "choose Count Words" >pipe 2>&1 </dev/null &
host=$!
cat pipe >seen &
until [[ $(grep -c api_vq_close_1 through) == 3 ]]; do sleep 0.05; done
kill -9 "$host"
wait || true
[[ $(tail -1 through) != "]}" ]] || fail "the recording does not tell that it was cut off"
run 0 replay through --client "$built/wordcount" --allow-cut-off
wrote err "was cut off"

# What it cannot write, or of a client that it cannot start. A limit of file sizes is a full disk, and no
# signal to the client, which has its signals as vqrecord had them.
run 1 run tea.json --client "$vqrecord" --client-arg -o --client-arg /dev/full --client-arg "$built/wordcount"
cat >limited <<END
#!/usr/bin/env bash
ulimit -f 1
trap '' \$1
grep '^Sig[BIC]' /proc/self/status >before
exec "$vqrecord" -o small --trace-file small.trace -- bash -c 'grep "^Sig[BIC]" /proc/self/status >after; exec "$built/wordcount"'
END
chmod +x limited
for ignored in XFSZ PIPE; do
    rm -f small small.trace
    run 1 run tea.json --client ./limited --client-arg $ignored "choose Count Words"
    wrote out "The book has 98 words."
    wrote err "small: the recording is not complete: File too large"
    wrote err "small.trace: the trace is not complete"
    cmp before after || fail "the client has other signals"
done
cp through kept
echo "[client 1]" >trace
run 1 run tea.json --client "$vqrecord" --client-arg -o --client-arg through --client-arg --trace-file \
    --client-arg trace --client-arg ./missing
wrote err "vqrecord: ./missing: No such file or directory"
cmp through kept || fail "a recording is lost"
[[ $(<trace) == "[client 1]" ]] || fail "a trace is lost"
# Nor what the client prints, too. Of a client that never comes up, no file is left.
for printed in - /dev/stderr; do
    run 1 run tea.json --client "$vqrecord" --client-arg -o --client-arg $printed --client-arg "$built/wordcount"
    wrote err "-o names the standard output or error"
done
run 1 run tea.json --client "$vqrecord" --client-arg -o --client-arg none --client-arg --trace-file \
    --client-arg none.trace --client-arg /bin/true show
wrote err "nothing has happened"
[[ ! -e none && ! -e none.trace ]] || fail "an empty file is left"

# Its own usage; the options behind the client are the client's.
program=("$vqrecord")
run 2 "$built/wordcount"
wrote err "-o is missing"
run 2 -o through --filter alert "$built/wordcount"
wrote err "--filter: no procedure"
run 2 -o through "$built/wordcount" --trace
wrote err "have a host start it"
[[ -s through ]] || fail "a recording was overwritten without a session"
run 0 --help
finish
