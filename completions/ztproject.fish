# fish completion for ztproject: its commands, their options, and project files

complete -c ztproject -f
complete -c ztproject -n __fish_use_subcommand -a check -d 'Find what would build the wrong firmware'
complete -c ztproject -n __fish_use_subcommand -a why -d 'Tell what a build would do, and why'
complete -c ztproject -n __fish_use_subcommand -a init -d 'Start a project'
complete -c ztproject -n __fish_use_subcommand -a size -d 'Show what the firmware holds'
complete -c ztproject -n __fish_use_subcommand -l version -d 'Print the version'
complete -c ztproject -l help -d 'Print the usage text'
complete -c ztproject -n '__fish_seen_subcommand_from check' -l strict -d 'Fail for warnings, too'
complete -c ztproject -n '__fish_seen_subcommand_from check' -l format -x -a 'text json' -d 'Form of the findings'
complete -c ztproject -n '__fish_seen_subcommand_from why' -l all -d 'As for a build with --all'
complete -c ztproject -n '__fish_seen_subcommand_from why' -l commands -d 'Show the tool calls, too'
complete -c ztproject -n '__fish_seen_subcommand_from init' -l model -x -d 'A device model'
complete -c ztproject -n '__fish_seen_subcommand_from init' -l language -x -d 'Translate into this language'
complete -c ztproject -n '__fish_seen_subcommand_from init' -l sdk -r -F -d 'Version or directory of the SDK'
complete -c ztproject -n '__fish_seen_subcommand_from init' -l key -d 'Make a key, and sign with it'
complete -c ztproject -n '__fish_seen_subcommand_from size' -l svg -r -F -d 'Draw the sizes into this file'
complete -c ztproject -n '__fish_seen_subcommand_from check why size' -a '(__fish_complete_path (commandline -ct) | string match -ri "^[^\t]*(?:\.ztp|/)(?:\t.*)?\$")'
