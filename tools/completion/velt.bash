# Completion for bash of the programs of Velt, which tell themselves what may stand in a place.

_velt() {
    local word words=() typed=${COMP_WORDS[COMP_CWORD]} joined=
    # Bash takes = for a word of its own.
    for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
        if [[ ${#words[@]} -gt 0 && ( $joined || $word == = ) ]]; then
            words[-1]+=$word
        else
            words+=("${word#[\"\']}")
        fi
        [[ $word == = ]] && joined=yes || joined=
    done
    [[ $typed != = ]] || typed=
    typed=${typed#[\"\']}
    mapfile -t COMPREPLY < <("$1" --complete "${words[@]}" 2>/dev/null)
    # What stands before the last = is no part of the word that is replaced.
    COMPREPLY=("${COMPREPLY[@]#"${words[-1]%"$typed"}"}")
    [[ ${#COMPREPLY[@]} != 1 || ${COMPREPLY[0]} != *= ]] || compopt -o nospace
}

complete -o bashdefault -o default -F _velt vqcall vqconv vqhost vqnew vqrecord vqsre vqucod
