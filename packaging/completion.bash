# bash completion of sphost and spdevserver. Commands and options come from the programs' own help; only the values
# that an option takes stand here.

# The options in a help text, with what each takes.
__sphost_options() {
    sed -nE 's/^  ((-[a-zA-Z],)*)(--[a-z-]+)( ([A-Z][A-Za-z:=[]*))?.*/\3 \5/p' <<<"$1"
}

# The commands in sphost's help text; `place add` and its like are two words.
__sphost_commands() {
    sed -nE '/^Commands:/,/^$/s/^  ([a-z]+( [a-z]+)?)( .*|$)/\1/p' <<<"$1"
}

# The values of an option, by the option's name and by what its help says that it takes.
__sphost_values() {
    local option=$1 takes=$2 current=$3
    case "$option" in
        --api) mapfile -t COMPREPLY < <(compgen -W "modern compatible" -- "$current") ;;
        --sign-in) mapfile -t COMPREPLY < <(compgen -W "code device" -- "$current") ;;
        --type | --check-in) mapfile -t COMPREPLY < <(compgen -W "minor major overwrite" -- "$current") ;;
        --log-level) mapfile -t COMPREPLY < <(compgen -W "0 1 2 3 4" -- "$current") ;;
        --generation) mapfile -t COMPREPLY < <(compgen -W "modern 2013 2010" -- "$current") ;;
        --logins) mapfile -t COMPREPLY < <(compgen -W "membership windows classic" -- "$current") ;;
        --auth) mapfile -t COMPREPLY < <(compgen -W "bearer basic digest ntlm negotiate forms" -- "$current") ;;
        *)
            case "$takes" in
                DIR) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
                FILE) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
            esac
            compopt -o filenames 2>/dev/null
            ;;
    esac
}

# What the option takes, by a list of __sphost_options; fails when there is no such option.
__sphost_takes() {
    local name takes
    while read -r name takes; do
        [[ $name == "$1" ]] && { printf '%s' "$takes"; return 0; }
    done <<<"$2"
    return 1
}

_sphost() {
    local program=${COMP_WORDS[0]/#\~/$HOME} current=${COMP_WORDS[COMP_CWORD]}
    local help options commands command="" arguments=0 word takes i
    COMPREPLY=()
    help=$("$program" --help 2>/dev/null) || return
    options=$(__sphost_options "$help")
    commands=$(__sphost_commands "$help")
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $word == -- ]]; then
            # What follows is another program's command line.
            mapfile -t COMPREPLY < <(compgen -c -f -- "$current")
            return
        elif [[ $word == --* ]]; then
            takes=$(__sphost_takes "$word" "$options")
            [[ -n $takes ]] || continue
            # The shell makes a word of the equals sign in --name=value.
            ((i + 1 < COMP_CWORD)) && [[ ${COMP_WORDS[i + 1]} == "=" ]] && ((i++))
            ((++i < COMP_CWORD)) && continue
            __sphost_values "$word" "$takes" "${current#=}"
            return
        elif grep -qxF -- "$command" <<<"$commands"; then
            ((++arguments))
        else
            command+=${command:+ }$word
            # shellcheck disable=SC2086 # a command may be two words
            options=$(__sphost_options "$("$program" $command --help 2>/dev/null)")
        fi
    done
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(cut -d ' ' -f 1 <<<"$options")" -- "$current")
    elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(cut -d ' ' -f 1 <<<"$commands" | uniq)" -- "$current")
    elif ! grep -qxF -- "$command" <<<"$commands"; then
        mapfile -t COMPREPLY < <(compgen -W "$(sed -n "s/^$command //p" <<<"$commands")" -- "$current")
    elif [[ $command == put && $arguments -eq 0 || $command == get && $arguments -eq 1 ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
    fi
}

_spdevserver() {
    local program=${COMP_WORDS[0]/#\~/$HOME} current=${COMP_WORDS[COMP_CWORD]}
    local previous=${COMP_WORDS[COMP_CWORD - 1]} options takes
    COMPREPLY=()
    options=$(__sphost_options "$("$program" --help 2>/dev/null)")$'\n--help'
    if takes=$(__sphost_takes "$previous" "$options") && [[ -n $takes ]]; then
        __sphost_values "$previous" "$takes" "$current"
    else
        mapfile -t COMPREPLY < <(compgen -W "$(cut -d ' ' -f 1 <<<"$options")" -- "$current")
    fi
}

complete -F _sphost sphost
complete -F _spdevserver spdevserver
