#!/usr/bin/env bash
# The example clients on vqhost: VQHOST EXAMPLES SOURCES, where EXAMPLES is the folder in which they
# were built.

examples=$2
sources=$3
unset HOME
# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" "$1"

# A book of two documents, of a component whose file is not there, and of one that names no file.
book() { # LANGUAGE
    cat >book.json <<END
{"title": "Letters", "language": "$1", "components": [
  {"name": "one", "file": "one.json"}, {"name": "two", "file": "two.json"},
  {"name": "three", "file": "three.json"},
  {"name": "four", "properties": [{"name": "File", "integer": 5}]}]}
END
    cat >one.json <<END
{"flows": [{"paragraphs": [{"text": "Dear Alice,"}, {"text": "the rabbit is late."}]}]}
END
    cat >two.json <<END
{"flows": [{"paragraphs": [{"text": "A rabbit, late! Rabbit."}]}]}
END
    cp one.json first.json
    rm -f ./*.txt
}

example() { # NAME COMMANDS...
    local name=$1
    shift
    export VQHOME=$examples
    run 0 run book.json --port-mapper own --time-limit 600 --client "$examples/$name" "$@" </dev/null
}

# Changes that the user has not saved are there after each client, and what it opened is closed.
unsaved=("open one" "select --text 1:11" 'type " Bob,"')
still_unsaved=("expect documents one.json" "document 1" "expect changed" "expect paragraph 1 Dear Alice, Bob,"
    "expect not paragraph 2 the hare is late." "close --lose")

book usenglish
example wordcount "${unsaved[@]}" "choose Count Words" "expect progress 100" \
    "expect alert 11 words. Not counted: three: " "${still_unsaved[@]}"
wrote out "; four: "
example wordcount cancel "choose Count Words" "expect alert Cancelled." "expect not progress"
book deutsch
example wordcount "choose Wörter zählen" "expect alert 10 Wörter. Nicht gezählt: three: " \
    "expect documents none"

press=("dialog 1 1" "dialog 1 1" "expect paragraph 1 A hare, late! hare." "dialog 1 1" "dialog 1 1")
book usenglish
example replace "answer rabbit hare" "choose Replace in Book..." "${press[@]}" "dialog end" \
    "expect alert Replaced 3 times. Not replaced: three: " "expect documents none"
grep -q '"the hare is late."' one.json || fail "the replacement is not saved"
book usenglish
chmod 444 two.json
example replace "${unsaved[@]}" "answer rabbit hare" "choose Replace in Book..." "${press[@]}" \
    "dialog end" "expect alert Replaced 0 times. Not replaced: one: it has changes that are not saved" \
    "${still_unsaved[@]}"
wrote out "; two: two.json: "
chmod 644 two.json
book deutsch
example replace "open two" 'answer rabbit "ein rabbit"' "choose Im Buch ersetzen..." "dialog 1 1" \
    "dialog 1 1" "expect paragraph 1 A ein rabbit, late! ein rabbit." "dialog end 1" \
    "expect alert Abgebrochen" "expect documents two.json" "document 1" "expect not changed" \
    "expect paragraph 1 A rabbit, late! Rabbit."
cmp -s one.json first.json || fail "a cancelled replacement has changed a file"
book usenglish
example replace 'answer "" hare' "choose Replace in Book..." "dialog 1 1" "dialog end" \
    "expect alert Replaced 0 times. Not replaced: one: "
# The user types while the dialog is up.
book usenglish
example replace "answer rabbit hare" "choose Replace in Book..." "dialog 1 1" "type MINE " "dialog end 1" \
    "expect documents one.json" "expect text MINE" "close --lose"

book usenglish
mkdir two.json.txt
example exporter "${unsaved[@]}" "choose Export as Text" \
    "expect alert 1 documents are written. Not written: two: two.json.txt: " "${still_unsaved[@]}"
[[ $(<one.json.txt) == $'Dear Alice, Bob,\nthe rabbit is late.' ]] || fail "the text is $(<one.json.txt)"

# The book of the manual.
words=$(sed -n 's/.*"text": "\(.*\)"}.*/\1/p' "$sources"/tea/*.json | wc -w)
cp -r "$sources"/tea* .
mv tea.json book.json
example wordcount "choose Count Words" "expect alert The book has $words words." "open The Riddle" \
    "expect text Why is a raven"

finish
