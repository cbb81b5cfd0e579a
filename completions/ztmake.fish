# fish completion for ztmake: its options, and project files

complete -c ztmake -f
complete -c ztmake -s A -l all -d 'Build everything, whatever the time stamps say'
complete -c ztmake -s v -l verbose -d 'Say more'
complete -c ztmake -s q -l quiet -d 'Do not echo the tool calls'
complete -c ztmake -s R -l report -d 'Print translation statistics afterwards'
complete -c ztmake -s '?' -l help -d 'Print the usage text'
complete -c ztmake -l clearobsolete -d 'Only drop translations that are no longer used'
complete -c ztmake -l noobsolete -d 'Only drop translations that are no longer used'
complete -c ztmake -l cleanfirmwarefolder -d 'Only remove firmware files from the output folder'
complete -c ztmake -a '(__fish_complete_path (commandline -ct) | string match -ri "^[^\t]*(?:\.ztp|/)(?:\t.*)?\$")'
