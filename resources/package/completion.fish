# Completion for lumadoc-diagnostics and lumadoc-diagnostics-archives.
complete -c lumadoc-diagnostics -f
complete -c lumadoc-diagnostics -a /silent -d 'Collect and send without a window'
complete -c lumadoc-diagnostics -a '/product=lumadoc /product=pellix' -d 'The product to diagnose'
complete -c lumadoc-diagnostics -a '/track=trunk /track=beta /track=qz' -d 'Its track'
complete -c lumadoc-diagnostics -a /component= -d 'The component that asks'

set -l command lumadoc-diagnostics-archives
set -l ids "($command list 2>/dev/null | string match -r '^\S+' | tail -n +2)"
complete -c $command -f
complete -c $command -n __fish_use_subcommand -a list -d 'What could not be sent'
complete -c $command -n __fish_use_subcommand -a show -d 'What an archive holds'
complete -c $command -n __fish_use_subcommand -a send -d 'Send again'
complete -c $command -n __fish_use_subcommand -a remove -d 'Remove from the disk'
complete -c $command -n __fish_use_subcommand -l help -d 'How it is used'
complete -c $command -n __fish_use_subcommand -l version -d 'Its version'
complete -c $command -n '__fish_seen_subcommand_from list show send remove' -l json -d 'Print JSON'
complete -c $command -n '__fish_seen_subcommand_from send remove' -l all -d 'All of them'
complete -c $command -n '__fish_seen_subcommand_from remove' -l older-than -x -d 'What is older, in days'
complete -c $command -n '__fish_seen_subcommand_from show send remove' -a $ids -d 'Log ID'
