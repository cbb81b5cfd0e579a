# bash completion for ztmake: its options, and project files
# shellcheck shell=bash

_ztmake() {
    # shellcheck disable=SC2034 # set by _init_completion
    local cur prev words cword
    _init_completion || return
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '
            -A --all -v --verbose -q --quiet -R --report -? --help
            --clearobsolete --noobsolete --cleanfirmwarefolder' -- "$cur")
    else
        _filedir ztp
    fi
} &&
    complete -F _ztmake ztmake
