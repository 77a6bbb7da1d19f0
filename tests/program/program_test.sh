#!/usr/bin/env bash
# Shelfwise on vqhost, and vqhost as a program: VQHOST SHELFWISE VQHOME SOURCES TEST-CLIENT.

shelfwise=$2
export VQHOME=$3
unset HOME
# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"

book() { # FILE LANGUAGE
    cat >"$1" <<END
{
  "title": "Three",
  "language": "$2",
  "components": [{"name": "a"}, {"name": "b"}, {"name": "c"}],
  "selected": "b"
}
END
}

# Only a client that hangs takes so long.
session=(--port-mapper own --time-limit 600)
on_fresh_book() { # EXIT-CODE ARGUMENTS...
    local wanted=$1
    shift
    book three.json usenglish
    run "$wanted" run three.json "${session[@]}" "$@" </dev/null
}

with=(--client "$shelfwise")
up="choose Move File Up"
down="choose Move File Down"
delete="choose Delete File from Book"

# Code 1 defines the commands and ends; any other defines nothing and stays.
on_fresh_book 0 "${with[@]}" "wait exit" "expect running none" \
    "expect menu Delete File from Book,Move File Up,Move File Down"
on_fresh_book 0 "${with[@]}" --init 2 "expect running shelfwise" "expect menu none"

# Each command, at each place; what has no neighbour stays.
on_fresh_book 0 "${with[@]}" "$up" "expect order b,a,c" "$up" "expect order b,a,c" "expect selected b"
on_fresh_book 0 "${with[@]}" "$down" "expect order a,c,b" "$down" "expect order a,c,b"
on_fresh_book 0 "${with[@]}" "select a" "$down" "$down" "$up" "expect order b,a,c"
on_fresh_book 0 "${with[@]}" "$delete" "expect order a,c" "$delete" "$up" "expect order a,c"

# At an end only the mark of the move is written.
on_fresh_book 0 "${with[@]}" --trace "select a" "$up"
wrote err "propIdent={num=529}, newVal=1) = 0"
! grep -q api_vq_set_id_1 err || fail "a neighbour was written where there is none"

# Labels in the session's language; without resources one alert and no commands.
book german.json deutsch
labels=$(sed -n 's/^[0-2]: *//p' "$4/deutsch.txt" | paste -sd,)
run 0 run german.json "${session[@]}" "${with[@]}" "expect menu $labels"
on_fresh_book 0 "${with[@]}" --language deutsch "expect menu $labels"
"$shelfwise" --help | grep -q "usage: shelfwise" || fail "shelfwise does not say what it is"
alert="Cannot find string resource file. Please check that Shelfwise is correctly installed, and \
try again."
VQHOME=$work on_fresh_book 0 "${with[@]}" "expect alert $alert" "expect menu none" "wait exit" \
    "expect running none"

# What is saved is loaded again.
on_fresh_book 0 "${with[@]}" "$delete" save
run 0 run three.json "expect order a,c"

# A script from a file and from standard input; the line of an error.
printf '# comment\n%s\nexpect order b,a,c\n' "$up" >script
on_fresh_book 0 "${with[@]}" --script script
printf 'show\nexpect order c\n' >script
on_fresh_book 1 --script script
wrote err "script:2: "

# The trace in JSON: one object a line.
on_fresh_book 0 "${with[@]}" --trace=json "$up"
! grep -v '^{.*}$\|^vqhost: the changes\|the host waits' err || fail "a line of the JSON trace is no object"
wrote err '"procedure":"api_vq_set_id_1"'
on_fresh_book 0 "${with[@]}" --trace-file trace --filter "*_id_1" "$up"
! grep -q _id_1 err || fail "the trace goes elsewhere too"
[[ $(grep -c . trace) == $(grep -c '_id_1(' trace) ]] || fail "the trace file has other calls"
on_fresh_book 0 "${with[@]}" --trace=perfetto --trace-file trace "$up"
[[ $(tail -n 1 trace) == "]" ]] || fail "the trace has no end"
on_fresh_book 1 "${with[@]}" --trace-file /dev/full

# What a client's end is expected to be makes no run fail, and else does; what nobody asked for does
# not. The report is XML whatever was expected.
for end in "crash signal 9" "exit 3"; do
    dying=(--client "$5" --client-env "VQTEST=${end%% *}")
    on_fresh_book 1 "${dying[@]}" show
    on_fresh_book 0 "${dying[@]}" --junit report "expect exit test_client ${end#* }"
    on_fresh_book 2 "${dying[@]}" --junit report "show fly"
    wrote report "while it held control in vq_api_init_1"
done
on_fresh_book 0 --client "$5" "notify 5" "expect not exit 1 0"
run 2 run three.json --junit report $'expect selected \e<\x01"&\xff\n' "show fly"
xmllint --noout report || fail "the report is no XML"
wrote report 'errors="1"'

# Exit codes.
on_fresh_book 1 "expect selected a"
on_fresh_book 1 "${with[@]}" "choose Nothing"
on_fresh_book 2 --no-such-option
on_fresh_book 2 --script
wrote err "--script: its value is missing"
on_fresh_book 2 --language deutsch --language=deutsch
wrote err "--language is given twice"
on_fresh_book 2 --debug --debug
printf 'sh\0ow\n' >zero
on_fresh_book 2 --script zero
wrote err 'unknown command "sh?ow"'
on_fresh_book 2 'expect order "a",\"b\",1'
wrote err "outside of quotes"
on_fresh_book 2 --lang deutsch
wrote err 'do you mean "--language"?'
run 2 --versio
wrote err 'do you mean "--version"?'
on_fresh_book 2 --trace json
wrote err "--trace=json"
on_fresh_book 2 show ""
echo "# nothing" >nothing
on_fresh_book 2 --script nothing
wrote err "no command in it"
on_fresh_book 2 -junit report
wrote err "-j: unknown option"
on_fresh_book 2 --debug=3
wrote err "--debug takes no value"
on_fresh_book 0 --help
on_fresh_book 2 "no such command"
on_fresh_book 1 --client "$work/none"
PATH=$(dirname "$shelfwise"):$PATH on_fresh_book 0 --client shelfwise
printf '{\n  "components": [\n' >bad.json
run 2 run bad.json show
wrote err "bad.json:3:1: "
run 1 check-book three.json bad.json
run 2 check-book none.json bad.json
run 0 check-book three.json

echo '{"language": "japanese", "steps": [{"call": "api_vq_alert_1", "arguments": {"str1": "三"}}]}' >scenario.json
run 0 check-scenario scenario.json
run 1 check-scenario --language usenglish scenario.json
wrote err "scenario.json:1:"
run 1 run three.json session
wrote err "give one with --client PATH, or open a session"
run 0 run three.json --port-mapper own session
wrote out "vqcall call NAME --session"
run 1 run three.json "choose X"
wrote err "clients define some"
ln -s /bin/true program
run 1 run three.json --client "./program --x"
wrote err "whose arguments are for --client-arg"
echo text >notes
run 1 run three.json --client "./notes of mine"
! grep -F "whose arguments" err || fail "a text is taken for a program"
echo "[client 1]" >earlier
run 2 run none.json --client ./program --record unmade --trace-file earlier
wrote err "cannot read the book none.json"
on_fresh_book 2 --client ./program --record unmade --trace-file earlier --scenario none
[[ ! -e unmade && $(<earlier) == "[client 1]" ]] || fail "without a session a file is written"
run 2 run three.json --client ./program --record /dev/stderr
wrote err "--record names the standard error"

# Documents: what a run leaves unsaved is told, and is no failure.
echo '{"flows": [{"paragraphs": [{"text": "三"}]}]}' >text.json
run 1 check-document text.json
wrote err "text.json:1:37: flows[0].paragraphs[0].text: "
run 0 check-document --language japanese text.json
run 0 run three.json --language japanese "open text.json" "type x" "expect text x三"
wrote err "the changes of text.json were not saved and are lost; save --document saves them"
run 2 run three.json "set c Author L" "show fly"
wrote err "the changes of the book were not saved and are lost; save saves them"
# A copy of them is no loss, as long as it is one.
run 0 run three.json --language japanese "open text.json" "type x" "save --document d.json" "set c Author L" \
    "save b.json" "select c"
wrote err "the changes of the book are in b.json only"
wrote err "the changes of text.json are in d.json only"
run 0 run three.json "set c Author L" "save --force b.json" "set c Author M"
wrote err "the changes of the book were not saved and are lost"
run 0 run three.json "set c Author L" "save --force b.json" "set c Author M" "save --force d.json" "set c Author L"
wrote err "the changes of the book were not saved and are lost"
run 1 run three.json "answer 1" show
wrote err "argument 1: 1 answer was not asked for: 1"
# Two that have one name go by their paths and numbers.
mkdir -p s1
echo '{"flows": [{"paragraphs": [{"text": "x"}]}]}' | tee letter.json >s1/letter.json
run 2 run three.json "open letter.json" "open s1/letter.json" "close letter.json"
wrote err "2 open documents are called letter.json; use a number: 1 letter.json, 2 s1/letter.json"
run 0 run three.json "open letter.json" "open s1/letter.json" "document 1" "close s1/letter.json" \
    "expect documents letter.json"
run 0 schema document
run 2 schema paper

# What a book says goes to no terminal as a command.
for text in '"properties": [{"number": 9, "k\u009b\u001b[31m": 1}]' '"title": "T\u0085"'; do
    printf '{"components": [], %s}' "$text" >bad.json
    run 2 run bad.json show
    ! grep -aP '[\x00-\x09\x0b-\x1f\x80-\x9f]' err || fail "controls of a book are printed"
done

# What cannot be read is no empty script, and nobody waits for a pipe.
mkfifo pipe
on_fresh_book 2 --words pipe show
wrote err "pipe: it is not a plain file"
on_fresh_book 2 --script "$work"
wrote err "Is a directory"
run 2 run three.json <"$work"
run 2 run three.json --script - <&-
wrote err "standard input: cannot be read: Bad file descriptor"
for option in "--script=" "--junit=" "--junit=three.json" "--trace-file=three.json" "--language=Klingon"; do
    on_fresh_book 2 "$option" show
done
# Reports are written where they are asked for: in place, behind what is printed there, and never over
# what is read.
ln -f report linked
on_fresh_book 1 --junit report "expect selected a"
cmp report linked || fail "a report replaces a file that has another name"
book three.json usenglish
(echo before && "${program[@]}" run three.json --junit /dev/stdout show && echo after) >out
[[ $(grep -c 'before\|Three\|<testsuite \|after' out) == 4 ]] || fail "a report replaces what is printed"
on_fresh_book 2 --junit both.xml --trace-file ./both.xml show
echo '{"title": "T", "components": [{"name": "a", "file": "letter.json"}, {"name": "b", "file": "both.xml"}]}' >of.json
cp letter.json first.json
run 2 run of.json --junit letter.json show
echo '{"title": "T", "components": [{"name": "a", "file": "letter.json"}], }' >broken.json
run 2 run broken.json --junit letter.json show
wrote err "letter.json: this is no report"
on_fresh_book 2 "${with[@]}" --trace-file letter.json "open letter.json"
wrote err "letter.json: this is no trace"
cmp letter.json first.json || fail "a report or a trace replaces a document"
run 2 run of.json --trace-file both.xml show
on_fresh_book 0 --junit anew.xml show
run 2 run broken.json --junit anew.xml show
grep -q 'broken.json.*<error' anew.xml || fail "a report on a broken book replaces no earlier one"
echo show >script
# shellcheck disable=SC2094
run 2 run three.json --junit script <script
[[ $(<script) == show ]] || fail "a report replaces the script"
on_fresh_book 0 --junit /dev/null --trace-file /dev/null show
ln -s nowhere link
run 2 run none.json --trace-file link
[[ ! -e both.xml && ! -e nowhere ]] || fail "a refused run leaves a file"
for form in text json pcapng perfetto; do
    on_fresh_book 0 "${with[@]}" --trace=$form --trace-file again show
    on_fresh_book 0 "${with[@]}" --trace-file again show
done
if [[ -z ${LAUNCHER-} ]]; then
    "${program[@]}" run none.json --junit - 2>err >/dev/full || true
    wrote err "the standard output: cannot be written"
fi
on_fresh_book 1 --junit lost.xml "save --force lost.xml"
wrote err "another file has taken its place"

# What is printed on a closed descriptor goes into no connection; what a script would have read is
# missed. A launcher would take the descriptor for its log.
if [[ -z ${LAUNCHER-} ]]; then
    book three.json usenglish
    for closed in 1 2; do
        code=0
        "${program[@]}" run three.json "${session[@]}" "${with[@]}" --trace "$up" save {closed}>&- || code=$?
        codes+=("$code")
    done </dev/null 2>err >out
    [[ ${codes[*]} == "1 1" ]] || fail "vqhost without a descriptor ended with ${codes[*]}"
    wrote err "what it printed could not be written"
    run 0 run three.json "expect order b,a,c"
fi

# Options for debugging, and their ranges.
run 2 run three.json --time-limit 0.01
wrote err "0.1 to 86400"
on_fresh_book 2 --client-arg x "${with[@]}"
cp "$shelfwise" "$work/größer and better"
session=(--port-mapper own --time-limit 0)
on_fresh_book 0 --client "$work/größer and better" --init 2 "expect running größer_and_better"

# The host that runs in the background is to end, and with status 1.
host_fails() { # WHEN
    local code=0
    wait "$host" || code=$?
    [[ $code == 1 ]] || fail "vqhost ended with $code $1"
}

await() { # FILE TEXT
    until grep -qs -- "$2" "$1"; do
        kill -0 "$host" # it runs
        sleep 0.1
    done
}

# While a script does not go on the host serves: it tells of a client's end, ends with its client when
# it is interrupted, and either fails it.
book three.json usenglish
mkfifo lines
for ends in client host; do
    exec 3<>lines
    rm -f out err # what an earlier run wrote is not to be taken for this one's
    "${program[@]}" run three.json "${session[@]}" "${with[@]}" --init 2 <lines >out 2>err 3>&- &
    host=$!
    echo "expect running shelfwise" >&3
    echo clients >&3
    await out "running, process"
    client=$(sed -n 's/.*running, process //p' out)
    if [[ $ends == client ]]; then
        kill -KILL "$client"
        await err "was killed by signal 9"
        echo quit >&3
    else
        kill -INT "$host"
    fi
    exec 3>&-
    host_fails "after the end of its $ends"
    ! kill -0 "$client" 2>/dev/null || fail "the client outlives an interrupted host"
done

# The first interrupt cancels what a client does, and the script ends with that; another ends it at once.
for client in "wait for cancel" hang; do
    rm -f out err
    "${program[@]}" run three.json "${session[@]}" --client "$5" --client-env "VQTEST=$client" \
        "message hello" show </dev/null >out 2>err &
    host=$!
    if [[ $client == hang ]]; then
        await out "init 1"
        kill -INT "$host"
        await err "another interrupt ends it at once"
    else
        await out "progress of client 1: 50"
    fi
    kill -INT "$host"
    host_fails "when a client that would $client was interrupted"
    grep -q "interrupted$" err || fail "an interrupted script does not say so: $(<err)"
    [[ $client == hang ]] || wrote out cancelled
    ! grep -q "Context menu" out || fail "an interrupted script goes on"
done

# What always has a next line ends when nobody reads what it prints or reports, and is interrupted
# too, with clients and without.
for line in show "expect selected a"; do
    code=$( (yes "$line" 2>/dev/null || true) |
        { "${program[@]}" run three.json 2>&1 || echo $? >code; } | head -1 >/dev/null; cat code)
    [[ $code == 1 ]] || fail "vqhost ended with $code when nobody read what it wrote"
done
for clients in "" "--client $shelfwise --init 2"; do
    rm -f out err
    # shellcheck disable=SC2086
    { echo show; yes "expect selected b"; } 2>/dev/null |
        "${program[@]}" run three.json --junit report "${session[@]}" $clients >out 2>err &
    host=$!
    await out "Context menu"
    kill -INT "$host"
    host_fails "when its script had no end"
    wrote err interrupted
    wrote report interrupted
done
# So is what waits for a reader of its trace. Behind the first line that a reader sees it fills the pipe.
mkfifo trace-pipe
exec 3<>trace-pipe
yes "choose Move File Up" 2>/dev/null | "${program[@]}" run three.json "${session[@]}" "${with[@]}" \
    --trace-file trace-pipe >/dev/null 2>err 3>&- &
host=$!
head -n 1 <&3 >/dev/null
kill -TERM "$host"
host_fails "when nobody read its trace"
exec 3>&-

# And what waits for a reader of anything that it writes; its report is whole all the same.
exec 3<>trace-pipe
rm report
yes "expect selected a" 2>/dev/null | "${program[@]}" run three.json --junit report >&3 2>&3 3>&- &
host=$!
head -n 1 <&3 >/dev/null
kill -TERM "$host"
host_fails "when nobody read what it wrote"
exec 3>&-
xmllint --noout report || fail "the report of an interrupted run is no XML"
on_fresh_book 2 --trace=xml
wrote err "--trace=xml: there are text, json, pcapng, perfetto;"
on_fresh_book 2 --trace=pcapng
wrote err "add --trace-file FILE;"

finish
