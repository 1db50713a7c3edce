# SPDX-License-Identifier: Apache-2.0
# bash completion for kestro; source it, or put it into share/bash-completion/completions/kestro.
#
# Commands and options come from the program's own help, cameras and features from the network: that
# takes up to two seconds, and a camera that is in use by another program completes nothing.

# What stands at the start of the lines of the program's help, as far as an expression matches it.
_kestro_help() {
    "$program" ${command:+"$command"} --help 2>/dev/null | sed -nE "s/^  ($1)( .*)?\$/\1/p"
}

# The texts of a member in lines of JSON. Only plain ones: what a camera says ends up in a command.
_kestro_member() {
    grep -oE "\"$1\":\"[A-Za-z0-9_.-]+\"" | cut -d '"' -f 4
}

_kestro_cameras() {
    timeout 2 "$program" list --json 2>/dev/null | _kestro_member serial_number
}

# The names of the features whose lines match an expression.
_kestro_features() {
    timeout 2 "$program" features "$camera" --all --json 2>/dev/null |
        grep -E "$1" | grep -oE '^\{"name":"[A-Za-z0-9_]+"' | cut -d '"' -f 4
}

_kestro_entries() {
    timeout 2 "$program" get "$camera" "$1" --json 2>/dev/null | _kestro_member symbol
}

# Offers those lines of standard input that begin with $word.
_kestro_offer() {
    local candidate
    while IFS= read -r candidate; do
        [[ $candidate == "$word"* ]] && COMPREPLY+=("$candidate")
    done
}

# Completes the value of an option, as its line in the help says; false for one that has no value.
_kestro_value() {
    local value
    value=$(_kestro_help "$1 [A-Z]+[^ ]*")
    case ${value#* } in
        '') return 1 ;;
        DIR*) compopt -o dirnames 2>/dev/null ;;
        FILE*) compopt -o default 2>/dev/null ;;
        *{*}*) _kestro_offer < <(sed -E 's/.*\{(.*)\}.*/\1/' <<< "$value" | tr , '\n') ;;
    esac
    return 0
}

# Completes what follows CAMERA.
_kestro_argument() {
    case $command in
        get) _kestro_offer < <(_kestro_features '"readable":true') ;;
        set)
            if [[ $word == '=' ]]; then
                word='' _kestro_offer < <(_kestro_entries "$previous")
            elif [[ $previous == '=' ]]; then
                _kestro_offer < <(_kestro_entries "${COMP_WORDS[COMP_CWORD - 2]}")
            else
                compopt -o nospace 2>/dev/null
                _kestro_offer < <(_kestro_features '"writable":true,"value"' | sed 's/$/=/')
            fi
            ;;
        exec) _kestro_offer < <(_kestro_features '"type":"command"') ;;
        save | load | diff | xml) compopt -o default 2>/dev/null ;;
    esac
}

_kestro() {
    local program=${COMP_WORDS[0]} word=${COMP_WORDS[COMP_CWORD]} previous='' command='' camera=''
    local index
    COMPREPLY=()
    for ((index = 1; index < COMP_CWORD; ++index)); do
        previous=${COMP_WORDS[index]}
        [[ $previous == -* ]] && continue
        if [[ -z $command ]]; then
            command=$previous
        elif [[ -z $camera ]]; then
            camera=$previous
        fi
    done
    if [[ -n $command && $previous == -* ]] && _kestro_value "$previous"; then
        return
    elif [[ $word == -* ]]; then
        _kestro_offer < <(_kestro_help '-[a-z,-]+' | tr , '\n')
    elif [[ -z $command ]]; then
        _kestro_offer < <(_kestro_help '[a-z][a-z-]*')
    elif [[ -n $camera ]]; then
        _kestro_argument
    elif [[ $command != list && $command != sim && $command != demo ]]; then
        _kestro_offer < <(_kestro_cameras)
    fi
}

complete -F _kestro kestro
