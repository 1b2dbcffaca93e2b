#compdef lumadoc-diagnostics lumadoc-diagnostics-archives

_lumadoc_diagnostics_ids() {
    local -a ids
    ids=(${(f)"$(lumadoc-diagnostics-archives list 2>/dev/null | awk 'NR > 1 { print $1 }')"})
    compadd -a ids
}

case $service in
lumadoc-diagnostics)
    _arguments \
        '/silent[collect and send without a window]' \
        '/product=-[the product to diagnose]:product:(lumadoc pellix)' \
        '/track=-[its track]:track:(trunk beta qz)' \
        '/component=-[the component that asks]:component:'
    ;;
lumadoc-diagnostics-archives)
    local json='--json[print JSON]'
    if ((CURRENT == 2)); then
        _values command \
            'list[what could not be sent]' 'show[what an archive holds]' \
            'send[send again]' 'remove[remove from the disk]' '--help[how it is used]' '--version[its version]'
    else
        case $words[2] in
        list) _arguments ':command:' $json ;;
        show) _arguments ':command:' $json '*:id:_lumadoc_diagnostics_ids' ;;
        send) _arguments ':command:' $json '--all[every archive]' '*:id:_lumadoc_diagnostics_ids' ;;
        remove)
            _arguments ':command:' $json '--all[everything]' '--older-than[what is older]:days:' \
                '*:id:_lumadoc_diagnostics_ids'
            ;;
        esac
    fi
    ;;
esac
