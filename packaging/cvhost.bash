# Completion for cvhost and cvdesk. What they take they are asked themselves, so that it is never out of date. Run as a program
# with the words of a command, it prints what the last one can become: other shells' completion calls it so.

# "cvhost ports" would ask the driver, which takes a second.
_cvhost_ports() {
    local port
    for port in /sys/class/tty/*/device; do
        port=/dev/$(basename "${port%/device}")
        [[ ! -e $port ]] || echo "$port"
    done
    [[ ! -e /dev/corvane-console ]] || echo /dev/corvane-console
}

# The values of an option.
_cvhost_values() { # PROGRAM SUBCOMMAND OPTION HELP
    case $3 in
        --port) _cvhost_ports ;;
        --map) "$1" map list 2>/dev/null | sed -E 's/ .*//' ;;
        --set) echo console_port= console_debug= AutomaticJogTurnOn= AutomaticJogTurnOnTriggerLevel= jog_wheel_gearing= BeyondPlayMultiplier= map= ;;
        --prefer) echo HardwareConsoleEnabled=true HardwareConsoleEnabled=false ;;
        --*[^a-z0-9-]*) ;;
        --*) sed -nE "s/^ +$3 ([a-zA-Z0-9]+(\|[a-zA-Z0-9]+)+)( .*)?\$/\1/p" <<<"$4" | tr '|' ' ' ;;
    esac
}

# What a word that belongs to no option can be.
_cvhost_words() { # PROGRAM NUMBER SUBCOMMAND PREVIOUS HELP
    local subcommands
    subcommands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p' <<<"$5")
    case $3,$2 in
        ,1 | map,2) echo "$subcommands" ;;
        ctl,2) sed -nE 's/^([a-z]+)( [A-Z]+| [a-z]+\|[a-z]+)* {2,}.*/\1/p' <<<"$5" ;;
        map,3) [[ $4 == list ]] || "$1" map list 2>/dev/null | sed -E 's/ .*//' ;;
    esac
}

_cvhost() {
    local program=$1 current=$2 previous=$3 help values="" subcommand=() words=() word
    [[ $program != *cvhost || $COMP_CWORD -lt 2 || ${COMP_WORDS[1]} != [a-z]* ]] || subcommand=("${COMP_WORDS[1]}")
    help=$("$program" "${subcommand[@]}" --help 2>/dev/null)
    [[ $previous != --* ]] || values=$(_cvhost_values "$program" "${subcommand[0]}" "$previous" "$help")
    if [[ -z $values && $current == -* ]]; then
        values=$(grep -oE '^ +(-h,)?--[a-z0-9-]+' <<<"$help" | grep -oE -- '--.*')
    elif [[ -z $values && $previous != --* ]]; then
        values=$(_cvhost_words "$program" "$COMP_CWORD" "${subcommand[0]}" "$previous" "$help")
    fi
    read -r -d '' -a words <<<"$values"
    COMPREPLY=()
    # A file's name may hold what the shell would run: such a word is not offered.
    for word in "${words[@]}"; do
        [[ $word != "$current"* || $word == *[^[:alnum:]._=/:@+,-]* ]] || COMPREPLY+=("$word")
    done
    [[ ${COMPREPLY[0]} != *= ]] || compopt -o nospace 2>/dev/null
}

if [[ ${BASH_SOURCE[0]} == "$0" ]]; then
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    _cvhost "$1" "${!#}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[@]}"
else
    # Without an answer here: the name of a file.
    complete -o default -F _cvhost cvhost cvdesk
fi
