#!/bin/sh
# Records what an example client does, and replays it: the same client does the same; another does
# not, and the first difference is told.
set -eu
vqhost=$1 built=$2 examples=$3
export VQHOME="$built"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp -r "$examples"/tea* "$folder"
cd "$folder"

fail()
{
    echo "FAIL: $*" >&2
    exit 1
}

# ends STATUS COMMAND... expects the exit status; what is printed is in the file "out".
ends()
{
    status=$1
    shift
    is=0
    "$@" >out 2>&1 || is=$?
    [ "$is" -eq "$status" ] || {
        cat out >&2
        fail "$* ended with $is, not $status"
    }
}

# tells TEXT expects a line that contains the text.
tells()
{
    grep -qF -e "$1" out || {
        cat out >&2
        fail "nothing tells \"$1\""
    }
}

# at_limit STATUS TEXT COMMAND... expects that of a command which its time limit ends. On a slow machine a
# short limit may end it before that.
at_limit()
{
    status=$1 text=$2
    shift 2
    for limit in 1 10; do
        is=0
        "$@" --time-limit "$limit" >out 2>&1 || is=$?
        [ "$is" -ne "$status" ] || ! grep -qF -e "$text" out || return 0
    done
    ends "$status" "$@" --time-limit 100
    tells "$text"
}

run() { "$vqhost" run tea.json --client "$built/wordcount" "$@"; }
replay() { "$vqhost" replay "$@" --client "$built/wordcount"; }

ends 0 run --record words "choose Count Words"
ends 0 replay words --junit report.xml
tells "33 calls, as recorded"
grep -q '"replay"/>' report.xml

# A client that is started again.
ends 0 run --record again stop start "choose Count Words"
ends 0 replay again

# How a client ends counts as in a run, unless it was recorded.
printf '#!/bin/sh\n"%s"\nexit 4\n' "$built/wordcount" >failing
chmod +x failing
ends 1 "$vqhost" replay words --client ./failing
tells "now:      vq_api_quit_1: the client exited with status 4"
# Where the end is not recorded, it is none that could be bad.
sed -n '/vq_api_quit_1/q; p' words | sed '$s/,$/\n]}/' >endless
ends 0 replay endless
ends 1 "$vqhost" replay endless --client ./failing
tells "exited with status 4, which was not recorded"
ends 1 "$vqhost" run tea.json --client ./failing --record failed "choose Count Words"
ends 0 "$vqhost" replay failed --client ./failing
ends 1 "$vqhost" replay failed --client "$built/wordcount"
ends 0 "$vqhost" replay failed --client "$built/wordcount" --update
ends 0 "$vqhost" replay failed --client "$built/wordcount"
# The host ends the modal dialog that is open at the end.
at_limit 1 "waits in modal dialog 1" "$vqhost" run tea.json --client "$built/replace" --record dialog \
    "answer raven rook" "choose Replace in Book..."
ends 0 "$vqhost" replay dialog --client "$built/replace"

# A client that does something else: it counts other texts, or fewer calls were recorded.
sed 's,a writing-desk,a very large sofa,' words >other
ends 1 replay other --junit report.xml --trace-file /dev/full
tells 'recorded "The book has 98 words."'
tells "the trace is not complete"
grep -q '<failure.*98 words' report.xml

# What came of a replay is told whatever file is lost.
ends 1 replay words --trace-file /dev/full
tells "33 calls, as recorded"
ends 2 replay words --client "7=$built/replace" --junit report.xml --trace-file /dev/full
tells "has no such client"
grep -q "the trace is not complete" report.xml
cp words kept
ends 1 replay kept --update --trace-file /dev/full
tells "so the recording stays as it was"
ends 2 replay none --junit /dev/full
tells "cannot read the recording"
ends 1 sh -c '"$@" 2>/dev/full' sh "$vqhost" replay words --client "$built/wordcount"

# The order of calls: two have changed places, and one that does not fit is left over.
sed '3{h;d}; 4G' words >turned
ends 1 replay turned
tells "such a call was recorded at turned:4"
ends 0 replay turned --keep-order none
sed '4p' words >twice
ends 1 replay twice --keep-order none

# An update takes calls out, changes and adds them, and leaves the rest as it stands, also what nobody
# may read.
ends 0 replay words --update
tells "stays as it is"
ends 0 run --record private --scrub str1 --leave-out docId "choose Count Words"
! grep -q '"arguments":{"docId\|98 words' private || fail "a field was recorded that was to be left out"
ends 0 replay private
sed '/newVal":33/d; s/\("api_vq_alert_1","arguments":{\)"int2":2/\1"int2":3/; 4p' private >old
cp old new
ends 0 replay new --update
tells "new:5: no more: api_vq_get_named_object_1"
tells "new before this: api_vq_set_int_1({\"docId\":0,\"objId\":0,\"propIdent\":{\"num\":104},\"newVal\":33}), answered as new:"
tells "changed to api_vq_alert_1"
ends 0 replay new
! grep -q '98 words' new || fail "an update has what is scrubbed"
[ "$(diff old new | grep -c '^[<>]')" = 4 ] || fail "an update changes more than has changed"
# A new call before one of the same procedure, which then gets the answer that it has always had.
sed '9d; 10s/"result":4/"result":3/' words >new
sed -n 9p new >line
ends 0 replay new --update
tells "new:9: new before this: api_vq_get_id_1({\"docId\":0,\"objId\":0,\"propIdent\":{\"num\":52}}), answered as new:9:"
sed -n 10p new | cmp - line
# What somebody else writes to the recording meanwhile stays.
printf '#!/bin/sh\necho >>"%s/new"\nexec "%s"\n' "$PWD" "$built/wordcount" >meddler
chmod +x meddler
cp old new
ends 1 "$vqhost" replay new --client ./meddler --update
tells "somebody else has changed it"
{ cat old; echo; } | cmp - new
# So does it where the host fails, or what has changed is told to nobody, or somebody records.
cp old new
ends 1 sh -c 'ulimit -f 8; exec "$@"' sh "$vqhost" replay new --client "$built/wordcount" --update
tells "vqhost: new: File too large"
! grep -q differs out || fail "a failure of the host is taken for a difference"
ends 1 flock new "$vqhost" replay new --client "$built/wordcount" --update
tells "new: somebody is recording to it"
cmp old new
ends 1 sh -c '"$@" 2>/dev/full' sh "$vqhost" replay new --client "$built/wordcount" --update
# A client that calls without end where its turn ought to be over.
sed '12i {"client":1,"end":"handed back"},' words >early
at_limit 1 "it cannot be played on" "$vqhost" replay early --client "$built/wordcount" --update
# None is made when a client does not go on.
sed '/callback":"vq_api_command_1/s/1}/77}/; s/newVal":33/newVal":34/' words >stuck
cp stuck before
ends 1 "$vqhost" replay stuck --client /bin/true --update
cmp stuck before

# Several clients.
ends 0 run --client "$built/replace" --record two "choose Count Words" "answer raven crow" \
    "choose Replace in Book..." "dialog 1 1" "dialog end"
both() { "$vqhost" replay "$@" --client "$built/wordcount" --client "$built/replace"; }
ends 0 both two --keep-order strict
ends 0 "$vqhost" replay two --client 2="$built/replace" --client "wordcount=$built/wordcount"
ends 2 replay two
tells "add --client replace=PATH"
ends 2 replay words --client more="$built/replace"
ends 2 "$vqhost" replay words --client "more=$built/replace"
tells "add --client wordcount=PATH; up to there it has none for more=$built/replace"
sed 's/Text to find/Text to seek/' two >other
ends 1 both other
tells "client 2 differs"

# A run that was cut off can be played as far as it goes, also within a line.
head -c "$(($(wc -c <words) / 2))" words >half
ends 1 replay half --junit report.xml --trace-file /dev/full
tells "was cut off"
grep -q "the recording was cut off" report.xml
ends 0 replay half --allow-cut-off
# The last event counts without the end of its line, which would have come with the next one.
head -n 20 words >half
ends 0 replay half --allow-cut-off
cp out whole
printf %s "$(sed '$s/,$//' half)" >unended
ends 0 replay unended --allow-cut-off
tells "$(grep ' calls,' whole)"
# An update ends a turn of which more was recorded, and what it writes can be played.
sed '/98 words/{p; s/98/99/; q}' words >half
ends 0 replay half --allow-cut-off --update
tail -n 1 half | grep -q '"end":"handed back"' || fail "an update adds no end"
ends 0 replay half --allow-cut-off

# A run that is interrupted within a call is recorded to its end.
echo '{"others": "model", "steps": [{"call": "api_vq_alert_1", "delay": 900, "before": [
    {"callback": "vq_api_message_1"}]}]}' >slow
"$vqhost" run tea.json --client "$built/wordcount" --record ended --scenario slow --time-limit 1000 \
    "choose Count Words" >out 2>&1 &
host=$!
until grep -qs '"waits":1' ended; do
    kill -0 "$host"
    sleep 0.1
done
kill -TERM "$host"
ends 1 wait "$host"
ends 0 replay ended

# Statistics: a client's own time is neither the host's, nor that of a dialog or of another turn.
cat >timed <<'END'
{"format":1,"language":"usenglish","order":"file","recorded":[
{"client":1,"time":1,"callback":"vq_api_command_1","arguments":{"command":1}},
{"client":1,"time":1.5,"took":0.25,"call":"api_vq_alert_1","arguments":{"str1":"a","int2":0},"answer":0},
{"client":1,"time":2,"took":0.25,"call":"api_vq_alert_1","arguments":{"str1":"a","int2":0},"answer":0},
{"client":1,"time":3,"took":0.5,"call":"api_vq_modal_dialog_1","arguments":{"int1":5,"id2":6},"answer":0},
{"client":1,"time":10,"callback":"vq_api_dialog_event_1","arguments":{"dialog":0}},
{"client":1,"time":10.5,"took":0.25,"call":"api_vq_alert_1","arguments":{"str1":"a","int2":0},"failed":"none"},
{"client":1,"time":11,"end":"handed back"},
{"client":1,"time":12,"end":"handed back"}
]}
END
ends 0 "$vqhost" stats --json timed
tr -d ' \n' <out >numbers
for each in '{"calls":4,"again":1,"hostCalls":2,"host":1.25,"client":3.25,' \
    '[{"procedure":"vq_api_command_1","calls":1,"again":0,"arguments":4,"answers":0,"host":1.0,"client":2.5},' \
    '{"procedure":"api_vq_alert_1","calls":3,"again":1,"arguments":36,"answers":8,"host":0.75,"client":0.0},' \
    '{"procedure":"vq_api_dialog_event_1","calls":1,"again":0,"arguments":12,"answers":0,"host":0.25,"client":0.75}'; do
    grep -qF "$each" numbers || fail "the statistics lack $each"
done
sed 's/"t[io][mo][ek]":[0-9.]*,//g; $d' timed >untimed
ends 0 "$vqhost" stats untimed
tells "4 calls of clients, 1 of them made again in a turn; 2 of the host"
tells "cut off"
! grep -q "the host took" out || fail "times of nothing"
ends 0 "$vqhost" stats words
tells "api_vq_open_1"
sed 's/"str1"/"str2"/' timed >wrong
ends 2 "$vqhost" stats wrong
tells "wrong:3:"
(head -n 1 timed; echo ']}') >wrong
ends 2 "$vqhost" stats wrong
tells "no event"

# Files that are no recordings, or damaged ones.
: >empty
echo '{"steps": []}' >scenario
sed '3s/.*/{"client":1,"call":"api_vq_no_1"},/' words >unknown
sed 's/"answer":{/"answer":{"no":0,/' words >misfit
sed '4s/"answer":.*/"failed":"somehow"},/' words >failure
sed '0,/"end":"handed back"/s//"end":"back"/' words >ending
head -1 words >header
cat words words >doubled
sed '5s/.*/garbage/' words >garbage
for each in empty scenario unknown misfit failure ending header doubled garbage tea.json missing . /dev/null; do
    ends 2 replay "$each" --junit report.xml
    [ "$(grep -c '<error' report.xml)" = 1 ] || fail "the report on $each is not one of an error"
    ! grep -q differs out || fail "$each is taken for a difference"
done
sed 's/$/ \r/' words >blanks
ends 0 replay blanks

# A recording on the standard output has nothing else between its events.
run --record - "choose Count Words" show >piped 2>out
tells "The book has 98 words."
ends 0 replay piped

# A start that fails leaves an earlier recording as it is.
cp words kept
ends 2 run --record kept --scenario missing
ends 2 run --record kept "chose Count Words"
tells 'do you mean "choose"'
ends 2 run --record kept "choose Count Words" "expect not alrt x"
tells 'argument 2: nothing called "alrt" can be expected; do you mean "alert"?'
ends 1 "$vqhost" run tea.json --client ./missing --record kept show
ends 1 "$vqhost" replay words --client ./missing --record kept
ends 2 "$vqhost" run tea.json --record kept show
cmp words kept

# A text that is scrubbed is scrubbed wherever it stands, so that a client that hands it on is played.
ends 0 run --record scrubbed --scrub api_vq_get_props_1.stringVal --scrub items.text \
    --leave-out api_vq_alert_1.str1 "choose Count Words"
! grep -q "tea/\|The Well" scrubbed || fail "a text was recorded that was to be scrubbed"
! grep -q '98 words' scrubbed || fail "a field was recorded that was to be left out"
grep -q '"api_vq_alert_1","arguments":{"int2":2}' scrubbed
ends 0 replay scrubbed
# A field of which there is nothing to be scrubbed or left out would leave everything in.
for each in "--scrub str0" "--scrub docId" "--leave-out status" "--leave-out api_vq_alert_1.num"; do
    # shellcheck disable=SC2086 # an option and its value
    ends 2 run --record mistyped $each
done
ends 0 run --record unmet --leave-out api_vq_prompt_int_1.str1 "choose Count Words"
tells "--leave-out api_vq_prompt_int_1.str1 has met nothing"

# A scenario answers in the place of the model.
cat >scenario <<'END'
{"others": "model", "steps": [
  {"call": "api_vq_open_1", "times": 3, "answer": {"status": "not-permitted"}},
  {"call": "api_vq_over_1", "times": 0}, {"call": "api_vq_alert_1", "times": 2}]}
END
ends 1 run --scenario scenario --junit report.xml "choose Count Words"
grep -q '"scenario"><failure .*came once' report.xml
tells "must not come here"
tells "expected 2 times, came once"
sed 's/}]}$/, "after": [{"callback": "vq_api_command_1", "arguments": {"command": 77}, "steps": [\
    {"call": "api_vq_sleep_1"}]}]}]}/; s/{.*"times": 0}, //; s/"times": 2, /"times": [1, 2], /' scenario >within
ends 1 run --scenario within "choose Count Words"
tells "api_vq_sleep_1: expected once, came 0 times"
for answer in none half close; do
    echo "{\"others\": \"model\", \"steps\": [{\"call\": \"api_vq_open_1\", \"answer\": \"$answer\"}]}" >"$answer"
done
at_limit 0 "no answer to api_vq_open_1" run --scenario none "choose Count Words" "expect exit wordcount signal 9"
for answer in half close; do
    ends 1 run --scenario "$answer" --record refused "choose Count Words" "expect alert"
    tells "exited with status 1 while it held control in vq_api_command_1"
    tells "1 expectation, 1 not met"
    ends 0 run --scenario "$answer" "choose Count Words" "expect exit wordcount 1"
    ends 0 replay refused
done
# So are what the host sends while the client waits, and the end of a client that is killed.
cat >early <<'END'
{"others": "model", "steps": [{"call": "api_vq_define_and_add_command_1", "answer": "model",
  "before": [{"callback": "vq_api_command_1", "arguments": {"command": 5}}]}]}
END
ends 0 run --scenario early --record sent "choose Count Words"
ends 0 replay sent
ends 0 run --record killed "stop --kill"
ends 0 replay killed
# A client that is leaving and waits for an answer cannot end before it has that.
cat >between <<'END'
{"others": "model", "steps": [
  {"call": "api_vq_define_and_add_command_1", "answer": "model", "before": [{"callback": "vq_api_message_1"}]},
  {"call": "api_vq_alert_1", "answer": "model", "before": [{"callback": "vq4_api_notify_1"}]}]}
END
ends 0 run --scenario between --record sent "choose Count Words"
ends 0 replay sent
# The host calls the client while that holds control: as it is old, not heeded, and to quit.
sed '/vq_api_quit_1/d; /api_vq_alert_1/i {"client":1,"callback":"vq4_api_notify_1","arguments":{"notification":4,"stringArg":"old"}},\
{"client":1,"callback":"vq_api_quit_1"},' words >interrupted
ends 0 replay interrupted --record recorded
ends 0 replay recorded
sed -n '/vq_api_quit_1/{n; p}' recorded | grep -q api_vq_alert_1 || fail "the client is told to quit later"
sed 's/98 words/99 words/' interrupted >other
ends 1 replay other
tells 'recorded "The book has 99 words."'
# Calls of the host within a client's call, and after it.
cat >calls <<'END'
{"others": "model", "steps": [
  {"call": "api_vq_alert_1", "after": [
    {"callback": "vq_api_command_1", "arguments": {"command": 1},
     "steps": [{"call": "api_vq_alert_1", "arguments": {"str1": "The book has 98 words."}}]},
    {"callback": "vq_api_quit_1"}]}]}
END
ends 0 run --scenario calls --junit report.xml "choose Count Words"
grep -q '"scenario"/>' report.xml
tells "2 calls, as expected"
