# shellcheck shell=bash
# Completion of zolstat's command line for bash: commands, options, their values, and what a live Gateway has.
# Not for zsh, which has a file of its own (_zolstat). Needs nothing but bash.
# The protocol between the tool and the Gateway is written down in docs/protocol.md.

_zolstat_commands='groups ids stats watch ping doctor check codes'
_zolstat_options='--help --host --port --gateway --timeout --format --columns --sort --no-header --color --trace-level
    --trace-file --config --version'

# The words up to the cursor as the user sees them; the shell has broken them at '=', ':' and '@' too.
_zolstat_join_words() {
    local index word blanks rest=$COMP_LINE
    words=()
    for ((index = 0; index <= COMP_CWORD; index++)); do
        word=${COMP_WORDS[index]}
        blanks=${rest%%"$word"*}
        rest=${rest#"$blanks$word"}
        if [[ $word && ! $blanks ]] && ((index > 0)); then
            words[-1]+=$word
        else
            words+=("$word")
        fi
    done
}

_zolstat_takes_value() {
    case $1 in
        --help | -h | --version | --no-header) return 1 ;;
        -*) return 0 ;;
        *) return 1 ;;
    esac
}

# Sets `command`, `connection` (what on the line says where the Gateway is) and `option` (whose value comes next).
_zolstat_read_line() {
    local word
    command='' option='' connection=()
    for word in "${words[@]:1:${#words[@]}-2}"; do
        if [[ $option ]]; then
            [[ $option == --@(host|port|gateway|config) ]] && connection+=("$option=$word")
            option=
        elif [[ $word == --*=* ]]; then
            [[ $word == --@(host|port|gateway|config)=* ]] && connection+=("$word")
        elif _zolstat_takes_value "$word"; then
            option=$word
        elif [[ ! $command && $word != -* ]]; then
            command=$word
        fi
    done
}

# Offers those of the other words that begin as the first does, with what stands before it put in front.
_zolstat_offer() {
    local value=$1 front=$2 candidate
    shift 2
    for candidate in "$@"; do
        [[ $candidate == "$value"* ]] && COMPREPLY+=("$front$candidate")
    done
}

# What a Gateway calls its things is offered only where the shell has no meaning for any of its characters.
_zolstat_ask() {
    local name
    while IFS= read -r name; do
        [[ $name =~ ^[A-Za-z0-9_.%/+-]+$ ]] && names+=("$name")
    done < <("${words[0]}" "$@" "${connection[@]}" --timeout=1 --format=raw 2>/dev/null </dev/null)
}

# ids may be a list with ':' between them.
_zolstat_offer_names() {
    local value=$1 names=() question
    shift
    for question in "$@"; do
        _zolstat_ask "$question"
    done
    _zolstat_offer "${value##*:}" "${value%"${value##*:}"}" "${names[@]}"
}

_zolstat_offer_files() {
    local files
    compopt -o filenames 2>/dev/null
    mapfile -t files < <(compgen -f -- "$1")
    _zolstat_offer "$1" "$2" "${files[@]}"
}

# The shell would quote the '@' as well as the file's name.
_zolstat_offer_files_behind_at() {
    local file
    while IFS= read -r file; do
        [[ -d $file ]] && file+=/ && compopt -o nospace 2>/dev/null
        printf -v file %q "$file"
        COMPREPLY+=("$2@$file")
    done < <(compgen -f -- "${1#@}")
}

_zolstat_offer_hosts() {
    local hosts
    mapfile -t hosts < <(compgen -A hostname -- "$1")
    _zolstat_offer "$1" "$2" "${hosts[@]}"
}

# The value of an option; `front` is what stands before it in the same word.
_zolstat_offer_values() {
    local value=$2 front=$3
    case $1 in
        --format) _zolstat_offer "$value" "$front" table json ndjson csv prometheus raw ;;
        --columns)
            _zolstat_offer "${value##*,}" "$front${value%"${value##*,}"}" time host port group id value change code
            ;;
        --sort) _zolstat_offer "$value" "$front" id value change ;;
        --color) _zolstat_offer "$value" "$front" auto always never ;;
        --trace-level) _zolstat_offer "$value" "$front" 0 1 2 3 4 5 ;;
        --trace-file | --config) _zolstat_offer_files "$value" "$front" ;;
        --host) _zolstat_offer_hosts "$value" "$front" ;;
        --gateway)
            if [[ $value == @* ]]; then
                _zolstat_offer_files_behind_at "$value" "$front"
            else
                _zolstat_offer_hosts "$value" "$front"
            fi
            ;;
        --warning | --critical | -w | -c)
            if [[ $command == check && $value != *:* ]]; then
                local names=()
                _zolstat_ask ids
                compopt -o nospace 2>/dev/null
                _zolstat_offer "$value" "$front" "${names[@]/%/:}"
            fi
            ;;
    esac
}

_zolstat_offer_options() {
    local options own=
    case $command in
        watch) own='--interval --count' ;;
        ping) own='--count' ;;
        check) own='--warning --critical' ;;
    esac
    read -r -d '' -a options <<<"$_zolstat_options $own"
    _zolstat_offer "$1" '' "${options[@]}"
}

_zolstat_offer_codes() {
    local name names=()
    while read -r _ name _; do
        names+=("$name")
    done < <("${words[0]}" codes --format=table 2>/dev/null </dev/null)
    _zolstat_offer "$1" '' "${names[@]}"
}

_zolstat_offer_arguments() {
    local commands
    case $command in
        '')
            read -r -a commands <<<"$_zolstat_commands"
            _zolstat_offer "$1" '' "${commands[@]}"
            ;;
        ids) _zolstat_offer_names "$1" groups ;;
        stats | watch) _zolstat_offer_names "$1" groups ids ;;
        codes) _zolstat_offer_codes "$1" ;;
    esac
}

# What is offered replaces the last part only, if the shell has broken the word.
_zolstat_cut_replies() {
    local part=${COMP_WORDS[COMP_CWORD]} index
    [[ $part == [:=]* ]] && part=${part#[:=]}
    local kept=${1%"$part"}
    kept=${kept%@}  # it breaks words, but is replaced with the word behind it
    for index in "${!COMPREPLY[@]}"; do
        COMPREPLY[index]=${COMPREPLY[index]#"$kept"}
    done
}

_zolstat() {
    local words command option connection current
    COMPREPLY=()
    _zolstat_join_words
    _zolstat_read_line
    current=${words[-1]}
    if [[ $option ]]; then
        _zolstat_offer_values "$option" "$current" ''
    elif [[ $current == --*=* ]]; then
        _zolstat_offer_values "${current%%=*}" "${current#*=}" "${current%%=*}="
    elif [[ $current == -* ]]; then
        _zolstat_offer_options "$current"
    else
        _zolstat_offer_arguments "$current"
    fi
    _zolstat_cut_replies "$current"
}

complete -F _zolstat zolstat
