#!/usr/bin/env bash
# The completion of the programs, in bash and zsh: SOURCES PROGRAMS...

# shellcheck source=tests/program.sh
source "$(dirname "$0")/../program.sh" bash
scripts=$1/tools/completion
for each in "${@:2}"; do
    PATH=$(dirname "$each"):$PATH
done
touch book.json

# Completes a line as a shell does, and prints what it would offer, one a line.
offered() { # SHELL LINE-UP-TO-THE-CURSOR
    offered_by_"$1" "$scripts" "$2"
}
offered_by_bash() {
    bash --norc -c '
        source "$1/velt.bash"
        # Bash splits at blanks and =.
        compopt() { :; }
        mapfile -t COMP_WORDS < <(sed "s/=/\n=\n/g; s/  */\n/g" <<<"$2")
        [[ $2 != *= ]] || unset "COMP_WORDS[-1]"
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_LINE=$2 COMP_POINT=${#2}
        [[ $(complete -p "${COMP_WORDS[0]}") == *"-F _velt"* ]] || exit
        _velt "${COMP_WORDS[0]}"
        printf "%s\n" "${COMPREPLY[@]}"' _ "$@"
}
# Zsh replaces whole words; what stands before the = is not shown here, as by bash.
offered_by_zsh() {
    # shellcheck disable=SC2016
    zsh -fc '
        fpath=($1 $fpath); autoload -U _velt
        words=("${(@s: :)2}"); CURRENT=$#words in_front=${words[-1]%"${words[-1]##*=}"}
        compadd() { while [[ $1 != -- ]]; do shift; done; shift; for x; do print -r -- "${x#$in_front}"; done }
        _files() { print }
        _velt' _ "$@"
}
expect() { # LINE OFFERED...
    local found shell
    for shell in bash zsh; do
        found=$(offered $shell "$1" | paste -sd' ')
        [[ $found == "${*:2}" ]] || fail "$shell: '$1' is completed with '$found', not '${*:2}'"
    done
}
offers() { # LINE ONE-OF-THE-OFFERED
    grep -qxF -- "$2" <(offered bash "$1") || fail "'$1' does not offer '$2': $(offered bash "$1" | head -c 500)"
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
for options in "vqrecord" "vqhost run book.json"; do
    expect "$options --scrub api_vq_alert" api_vq_alert_1.str1
    expect "$options --leave-out docI" docId
    expect "$options --filter api_vq_alert" api_vq_alert_1
    expect "$options --filter status=not-p" not-permitted
    expect "$options --filter failures,api_vq_alert" failures,api_vq_alert_1
done
expect "vqconv --from" --from-code

# The options that each program offers are those that its help has, and all of them.
options() { # PROGRAM
    local each programs=("$1")
    [[ $1 != vqhost ]] || programs=("vqhost run book.json" "vqhost replay recording")
    for each in "${programs[@]}"; do offered bash "$each --"; done | tr -d = | sort -u
}
for program in vqhost "vqhost check client" "vqcall call" vqconv vqnew vqrecord vqsre vqucod; do
    # shellcheck disable=SC2086
    help=$($program --help | sed -E '/^(usage:|      ) vq/d; /^Commands:/,$d' | grep -oE '(^|[ ,[])--[a-z-]+' | tr -d ' ,[' | sort -u)
    [[ $(options "$program") == "$help" ]] ||
        fail "$program offers $(options "$program" | paste -sd' '), its help has $(paste -sd' ' <<<"$help")"
done

# As a shell itself does it, with Tab.
if script -qec true /dev/null >/dev/null 2>&1 </dev/null; then
    printf 'source %q/velt.bash\n' "$scripts" >bash-begins
    # shellcheck disable=SC2016
    printf 'fpath=(%q $fpath); autoload -U compinit; compinit -u -D\n' "$scripts" >zsh-begins
    for shell in 'bash --norc --noprofile' 'zsh -f'; do
        {
            cat "${shell%% *}-begins"
            # shellcheck disable=SC2016
            printf '%s\n' 'vqcall() { if [[ $1 == --complete ]]; then command vqcall "$@"; else echo "$*" >line; fi; }'
            printf 'vqcall call V_ApiGetIntB\t --lang\tnewd\t --boo\tboo\t\nexit\n'
        } >keys
        rm -f line
        script -qec "$shell -i" typescript >/dev/null <keys || :
        [[ $(cat line) =~ ^call\ V_ApiGetIntByName\ +--language[\ =]newdutch\ +--book[\ =]book.json$ ]] ||
            fail "Tab in $shell: $(cat line): $(cat -v typescript)"
    done
else
    echo "SKIPPED: completion_test: Tab: the machine gives no terminals"
fi

finish
