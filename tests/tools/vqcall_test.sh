#!/usr/bin/env bash
# vqcall as a program, on a book and in a session: VQCALL VQHOST CLIENT EXAMPLES.

vqhost=$2
client=$3
examples=$4
# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"
cp -r "$examples"/{alice.json,tea.json,tea} .
on=(--book alice.json)

# Lists and descriptions: by stub, call and number, with what the procedures are made of.
run 0 list
[[ $(wc -l <out) == $(cat "$5"/include/velt/tables/{procedures,callbacks}.def | grep -c '^V_\(PROCEDURE\|STUB_ONLY\|CALLBACK\)(') ]] ||
    fail "not all procedures are listed"
run 0 list '*_get_int_?'
[[ $(tr -s ' ' <out) == "1064 api_vq_get_int_1 V_ApiGetInt, V_ApiGetIntByName" ]] || fail "list: $(cat out)"
run 0 list 'V_ApiGetIntBy*'
run 0 list 1008
wrote out "1008  api_vq_alert_1"
run 0 list getintby
wrote out "api_vq_get_int_1 "
run 1 list nothing
for name in V_ApiSetProps api_vq_set_props_1 1063; do
    run 0 describe "$name"
    wrote out "api_vq_set_props_1, procedure 1063"
    wrote out "void V_ApiSetProps(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValsT *values)"
    [[ $(tr -s ' ' <out) == *$'\n num IntT\n name StringT when num is 0\n'*$' metricsVal V_MetricsT list of MetricT, when valType is 5 (V_kind_metrics)\n'* ]] ||
        fail "describe: $(cat out)"
done

# What the host calls is told of as well, and cannot be called.
run 0 describe vq_api_dialog_event_1
wrote out '{"callback": "vq_api_dialog_event_1", "arguments": {"dialog":0,"item":0,"detail":0}}'
run 2 call vq_api_dialog_event_1 "${on[@]}"

# The example of every procedure is one that can be called.
while read -r stub; do
    run 0 describe "$stub"
    eval "words=($(sed -n 's/^Example *vqcall //; T; s/BOOK.json/alice.json/; p' out))"
    # shellcheck disable=SC2154
    "${program[@]}" "${words[@]}" --json >out 2>err || [[ $? == 1 ]] || fail "the example of $stub: $(cat err)"
    grep -qx '[{"0-9n-].*' out || fail "the example of $stub is not answered: $(cat out err)"
done < <("${program[@]}" list | awk '$2 !~ /^vq/ { print $2 }')

# A call: fields by path, texts as they stand, lists in JSON, the answer as text and as JSON.
run 0 call V_ApiGetId "propIdent.num=$(sed -n 's/^V_PROPERTY( *\([0-9]*\),.*active_book,.*/\1/p' "$5/include/velt/tables/properties.def")" "${on[@]}"
book=$(sed -n 's/^result=//p' out)
[[ $(cat out) == status=0$'\n'result=$book && $book -gt 0 ]] || fail "the book: $(cat out)"
run 0 call api_vq_get_props_1 docId=0 "objId=$book" "${on[@]}"
wrote out "params[0].propIdent.num="
run 0 call api_vq_get_props_1 "objId=$book" "${on[@]}" --json
[[ $(cat out) == '{"status":0,"params":[{"propIdent":{"num":0,"name":"Author"},"propVal":{"valType":3,"stringVal":"Lewis Carroll"}},'* ]] ||
    fail "as JSON: $(cat out)"
run 0 call api_vq_scroll_box_1 'str1=a = "b"' 'strings3=["one", "zwö"]' "${on[@]}" --answer 2
wrote err 'a = "b"'
wrote err "zwö"
[[ $(cat out) == status=0$'\n'result=1 ]] || fail "the choice: $(cat out)"
run 0 call V_ApiAlert "${on[@]}"
run 1 call V_ApiGetId docId=7 objId=1 "${on[@]}"
wrote err "api_vq_get_id_1 is refused with -2: the document or book that the call names does not exist"
wrote out status=-2
run 1 call V_ApiAlert "${on[@]}" --answer '1 2'
wrote out "1" # what was done is told all the same
wrote err 'not asked for the answer "2"'
run 0 call V_ApiPromptString "${on[@]}" --answer '"cancel"'
wrote out result=cancel

# Nothing is saved unless that is asked for.
for save in "" --save; do
    # shellcheck disable=SC2086
    run 0 call api_vq_set_string_1 "objId=$book" "propIdent.name=Note" newVal=changed "${on[@]}" $save
    grep -q changed alice.json && found=--save || found=
    [[ $found == "$save" ]] || fail "after '$save' the book has '$found'"
done

# Mistakes: the names that would be right, the nearest first; place and type of a wrong value.
wrong() { # MESSAGE WORDS...
    run 2 call "${@:2}" "${on[@]}"
    wrote err "$1"
}
wrong 'do you mean "V_ApiGetInt"?' V_ApiGetIn
wrong 'do you mean "V_ApiSetString"?' V_ApiSetStringByName
wrong 'propIdent.name: "name" is there when "num" is 0, and not when it is 7' V_ApiGetInt propIdent.{num=7,name=a}
wrong 'there is no field "objid" in ApiVqGetPropArgT; it has objId, docId, propIdent' V_ApiGetInt objid=1
wrong 'propIdent: there is no field "mun" in V_PropIdentT; it has num, name' V_ApiGetInt propIdent.mun=1
wrong 'docId is UIntT, which has no fields' V_ApiGetInt docId.x=1
wrong 'docId: a whole number from 0 to 4294967295 is needed here' V_ApiGetInt docId=-1
wrong 'propIdent.num: a whole number' V_ApiGetInt propIdent.num=one
wrong 'strings3[1]: a text in quotes is needed here' V_ApiScrollBox 'strings3=["a", 7]'
wrong 'strings3 is V_StringsT and takes JSON, such as ["text"]; at character 2' V_ApiScrollBox 'strings3=[a]'
wrong 'propIdent is given twice' V_ApiGetInt 'propIdent={"num":1}' propIdent.num=1
wrong '"docId" is not FIELD=VALUE' V_ApiGetInt docId
wrong "str1 is given twice" V_ApiAlert str1=a str1=b
wrong '"int1=3": the argument is IntT, which has no fields: give the value alone, as in 3' V_ApiSleep int1=3
wrong 'takes no argument' V_ApiDisconnectFromSession 1
wrong "str1: the text is not UTF-8" V_ApiAlert $'str1=\xff'
run 2 call V_ApiGetInt
run 2 call V_ApiGetInt "${on[@]}" --session 7
run 2
run 2 call
run 2 describe
run 2 describe V_ApiOpen --json
run 2 call V_ApiGetInt --book none.json
run 0 --help
run 0 --version

# In a session of a running host, as one of its clients.
mkfifo commands
exec 3<>commands
"$vqhost" run tea.json --port-mapper own --time-limit 600 --client "$client" --script commands \
    >host.out 2>host.err 3>&- &
host=$!
echo session >&3
until grep -qs -- --session host.out; do
    kill -0 "$host" || { fail "the host has ended: $(cat host.err)"; break; }
    sleep 0.1
done
eval "$(sed -n 's/ vqcall .*//p' host.out)"
export VQPMAP
session=$(sed -n 's/.*--session //p' host.out)
run 0 call V_ApiClientName --session "$session@localhost"
[[ $(cat out) == vqcall ]] || fail "the client's name: $(cat out)"
echo "answer 5" >&3
run 0 call V_ApiPromptInt str1=How? --session "$session" --json
[[ $(cat out) == '{"status":0,"result":5}' ]] || fail "the answer of the person: $(cat out)"
run 1 call V_ApiGetId docId=7 --session "$session"
run 2 call V_ApiTakeControl --session "$session"
run 1 call V_ApiGetId --session 7
wrote err "no session answers there"
run 1 call V_ApiGetId --session 7@no.host.invalid
wrote err 'there is no machine "no.host.invalid"'
for session_of in abc -5 4294967296; do
    run 2 call V_ApiGetId --session $session_of
    wrote err "--session $session_of: it takes PROGRAM[@HOST]"
done
run 2 call V_ApiGetId --session 7 --time-limit abc
wrote err '--time-limit: "abc" is not a number'
kill -STOP "$host"
run 1 call V_ApiGetId --session "$session" --time-limit 1
wrote err "the host has not answered within 1 s"
kill -CONT "$host"
printf '%s\n' "expect question How?" "expect running test_client" quit >&3
exec 3>&-
wait "$host" || fail "the host ended with $?: $(cat host.err)"

finish
