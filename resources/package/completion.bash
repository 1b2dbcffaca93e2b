# Completion for lumadoc-diagnostics and lumadoc-diagnostics-archives.

_lumadoc_diagnostics() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    # "=" is a word by itself.
    if [[ $word == = ]]; then
        word=
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    else
        before=
    fi
    case $before in
    /product) COMPREPLY=($(compgen -W 'lumadoc pellix' -- "$word")) ;;
    /track) COMPREPLY=($(compgen -W 'trunk beta qz' -- "$word")) ;;
    /component) COMPREPLY=() ;;
    *)
        COMPREPLY=($(compgen -W '/silent /product= /track= /component=' -- "$word"))
        [[ ${COMPREPLY[0]} != *= ]] || compopt -o nospace
        ;;
    esac
}

_lumadoc_diagnostics_archives() {
    local word=${COMP_WORDS[COMP_CWORD]} words='list show send remove --help --version'
    if ((COMP_CWORD > 1)); then
        case ${COMP_WORDS[1]} in
        list) words=--json ;;
        show) words="--json $(lumadoc-diagnostics-archives list 2>/dev/null | awk 'NR > 1 { print $1 }')" ;;
        send) words="--json --all $(lumadoc-diagnostics-archives list 2>/dev/null | awk 'NR > 1 { print $1 }')" ;;
        remove)
            words="--json --all --older-than $(lumadoc-diagnostics-archives list 2>/dev/null | awk 'NR > 1 { print $1 }')"
            ;;
        *) words= ;;
        esac
    fi
    COMPREPLY=($(compgen -W "$words" -- "$word"))
}

complete -F _lumadoc_diagnostics lumadoc-diagnostics
complete -F _lumadoc_diagnostics_archives lumadoc-diagnostics-archives
