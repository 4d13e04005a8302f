# Completion of the program ondrix for fish: commands and options, read from the help that the program itself prints.
function __ondrix_help
    set -l words (commandline -opc)
    set -l command (string match -v -- '-*' $words[2..-1])[1]
    $words[1] $command --help 2>/dev/null
end
complete -c ondrix -f -n __fish_use_subcommand \
    -a '(__ondrix_help | sed -n "/^Subcommands:/,\$s/^  \([a-z0-9]\+\)  *\(.*\)/\1\t\2/p")'
complete -c ondrix -n 'string match -q -- "-*" (commandline -ct)' \
    -a '(__ondrix_help | string match -r -- "--[a-z-]+" | sort -u)'
