#!/usr/bin/env bash
# The completion of the programs, in bash and, where it is there, in zsh: SOURCES PROGRAMS...

# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" bash
scripts=$1/tools/completion
for each in "${@:2}"; do
    PATH=$(dirname "$each"):$PATH
done
touch book.json

# Completes a line as bash does, and prints what it would offer, one a line.
offered() { # LINE-UP-TO-THE-CURSOR
    bash --norc -c '
        source "$1"
        # Bash splits at blanks and =.
        compopt() { :; }
        mapfile -t COMP_WORDS < <(sed "s/=/\n=\n/g; s/  */\n/g" <<<"$2")
        [[ $2 != *= ]] || unset "COMP_WORDS[-1]"
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_LINE=$2 COMP_POINT=${#2}
        [[ $(complete -p "${COMP_WORDS[0]}") == *"-F _velt"* ]] || exit
        _velt "${COMP_WORDS[0]}"
        printf "%s\n" "${COMPREPLY[@]}"' _ "$scripts/velt.bash" "$1"
}
expect() { # LINE OFFERED...
    local found
    found=$(offered "$1" | paste -sd' ')
    [[ $found == "${*:2}" ]] || fail "'$1' is completed with '$found', not '${*:2}'"
}
offers() { # LINE ONE-OF-THE-OFFERED
    grep -qxF -- "$2" <(offered "$1") || fail "'$1' does not offer '$2': $(offered "$1" | head -c 500)"
}

expect "vqcall " list describe call
expect "vqcall d" describe
expect "vqcall describe api_vq_get_int" api_vq_get_int_1 api_vq_get_ints_1
expect "vqcall call V_ApiGetI" V_ApiGetInt V_ApiGetIntByName V_ApiGetId V_ApiGetInts
expect "vqcall call V_ApiGetInt " docId= objId= propIdent.num= propIdent.name=
expect "vqcall call V_ApiGetInt --book book.json docId=3 prop" propIdent.num= propIdent.name=
expect "vqcall call V_ApiGetInt docId=" ""
expect "vqcall call V_ApiGetInt --se" --session
expect "vqcall call V_ApiGetInt --book b" ""
expect "vqcall call V_ApiGetInt --language de" deutsch
expect "vqcall call V_ApiGetInt --language=du" dutch
expect "vqcall call Nonsense " ""
expect "vqhost d" doctor
expect "vqhost check client --only r" refused registration
expect "vqhost check client --l" --list --limit
expect "vqhost --v" --version
expect "vqhost stats --j" --json
expect "vqhost schema " book document scenario
expect "vqhost run b" ""
offers "vqhost run book.json --" --client-arg
expect "vqhost run book.json --trace=js" json
expect "vqhost run book.json --port-mapper " own machine
expect "vqhost replay r --scr" --scrub
expect "vqhost replay r --keep-order=s" strict
expect "vqhost run book.json \"exp" expect
expect "vqhost run book.json --client hello se" select set session
expect "vqhost check-document --language cat" catalan
expect "vqsre c" compile check
expect "vqsre compile x.txt --l" --language
expect "vqucod m" make
expect "vqnew greeter --c" --cpp
expect "vqconv --from" --from-code

# The options that each program offers are those that its help has, and all of them.
options() { # PROGRAM
    local each programs=("$1")
    [[ $1 != vqhost ]] || programs=("vqhost run book.json" "vqhost replay recording")
    for each in "${programs[@]}"; do offered "$each --"; done | tr -d = | sort -u
}
for program in vqhost "vqhost check client" "vqcall call" vqconv vqnew vqrecord vqsre vqucod; do
    # shellcheck disable=SC2086
    help=$($program --help | sed -E '/^(usage:|      ) vq/d; /^Commands:/,$d' | grep -oE '(^|[ ,[])--[a-z-]+' | tr -d ' ,[' | sort -u)
    [[ $(options "$program") == "$help" ]] ||
        fail "$program offers $(options "$program" | paste -sd' '), its help has $(paste -sd' ' <<<"$help")"
done

# As a shell itself does it, with Tab.
if script -qec true /dev/null >/dev/null 2>&1 </dev/null; then
    printf 'source %q/velt.bash\nPS1=\nvqcall call V_ApiGetIntB\t --lang\tnewd\t --boo\tboo\t\nexit\n' "$scripts" >keys
    # shellcheck disable=SC2016
    script -qec 'bash --norc --noprofile -i' typescript >/dev/null <keys || :
    grep -q "call V_ApiGetIntByName *--language *newdutch *--book *book.json" <(tr -d '\r\a' <typescript) ||
        fail "Tab in bash: $(cat -v typescript)"
else
    echo "SKIPPED: completion_test: Tab: the machine gives no terminals"
fi
if command -v zsh >/dev/null; then
    zsh -fc 'autoload -U compinit; fpath=($1 $fpath); compinit -u; [[ $_comps[vqcall] == _velt ]]' _ "$scripts" ||
        fail "zsh does not find the completion"
    zsh -n "$scripts/_velt" || fail "zsh does not take the completion"
else
    echo "SKIPPED: completion_test: zsh is not there"
fi

finish
