# Completion for cvhost and cvdesk. What they take they are asked themselves, so that it is never out of date.
_cvhost() {
    local program=$1 current=$2 previous=$3 help values="" subcommand=()
    [[ $program != *cvhost || $COMP_CWORD -lt 2 || ${COMP_WORDS[1]} != [a-z]* ]] || subcommand=("${COMP_WORDS[1]}")
    help=$("$program" "${subcommand[@]}" --help 2>/dev/null)
    [[ $previous != --* || $previous == *[^a-z0-9-]* ]] || values=$(sed -nE "s/^ +$previous ([a-zA-Z0-9]+(\|[a-zA-Z0-9]+)+)( .*)?\$/\1/p" <<<"$help")
    if [[ -n $values ]]; then
        mapfile -t COMPREPLY < <(compgen -W "${values//|/ }" -- "$current")
    elif [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(grep -oE '^ +(-h,)?--[a-z0-9-]+' <<<"$help" | grep -oE -- '--.*')" -- "$current")
    elif [[ $COMP_CWORD -eq 1 ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p' <<<"$help")" -- "$current")
    fi
}
# Without an answer here: the name of a file.
complete -o default -F _cvhost cvhost cvdesk
