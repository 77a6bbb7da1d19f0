#!/usr/bin/env bash
# The example clients on vqhost: VQHOST EXAMPLES, the folder in which they were built.

examples=$2
unset HOME
# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"

# A book of two documents and of a component whose file is not there.
book() { # LANGUAGE
    cat >book.json <<END
{"title": "Letters", "language": "$1", "components": [
  {"name": "one", "file": "one.json"}, {"name": "two", "file": "two.json"},
  {"name": "three", "file": "three.json"}]}
END
    cat >one.json <<END
{"flows": [{"paragraphs": [{"text": "Dear Alice,"}, {"text": "the rabbit is late."}]}]}
END
    cat >two.json <<END
{"flows": [{"paragraphs": [{"text": "A rabbit, late! Rabbit."}]}]}
END
    cp one.json first.json
}

example() { # NAME COMMANDS...
    local name=$1
    shift
    export VQHOME=$examples
    run 0 run book.json --port-mapper own --time-limit 600 --client "$examples/$name" "$@" </dev/null
}

book usenglish
example wordcount "choose Count Words" "expect alert three.json cannot be opened" \
    "expect progress 100" "expect alert The book has 10 words." "expect documents none"
example wordcount cancel "choose Count Words" "expect alert Cancelled." "expect not progress"
book deutsch
example wordcount "choose Wörter zählen" "expect alert Das Buch hat 10 Wörter."

book usenglish
example replace "answer rabbit hare" "choose Replace in Book..." "dialog 1 1" "dialog 1 1" \
    "expect paragraph 1 A hare, late! hare." "dialog end" "expect alert Replaced 3 times"
grep -q '"the hare is late."' one.json || fail "the replacement is not saved"
book deutsch
example replace "answer rabbit Hase" "choose Im Buch ersetzen..." "dialog 1 1" "dialog end 1" \
    "expect alert Abgebrochen"
cmp -s one.json first.json || fail "a cancelled replacement has changed a file"

book usenglish
example exporter "choose Export as Text" "expect alert 2 documents are written. Not written: three"
[[ $(<one.json.txt) == $'Dear Alice,\nthe rabbit is late.' ]] || fail "the text is $(<one.json.txt)"

finish
