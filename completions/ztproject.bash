# bash completion for ztproject: its commands, their options, and project files
# shellcheck shell=bash

_ztproject() {
    # shellcheck disable=SC2034 # set by _init_completion
    local cur prev words cword options=''
    _init_completion -s || return
    if ((cword == 1)); then
        mapfile -t COMPREPLY < <(compgen -W 'check why init size --help --version' -- "$cur")
        return
    fi
    case $prev in
        --format)
            mapfile -t COMPREPLY < <(compgen -W 'text json' -- "$cur")
            return
            ;;
        --sdk) _filedir -d; return ;;
        --svg) _filedir svg; return ;;
        --model | --language) return ;;
    esac
    case ${words[1]} in
        check) options='--strict --compare --format' ;;
        why) options='--all --commands' ;;
        init) options='--model --language --sdk --key' ;;
        size) options='--svg' ;;
    esac
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options --help" -- "$cur")
    elif [[ ${words[1]} != init ]]; then
        _filedir ztp
    fi
} &&
    complete -F _ztproject ztproject
