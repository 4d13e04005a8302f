# Completion of the program ondrix for bash: commands, options and their values, read from the help that the program
# itself prints; everything else is a file.

_ondrix() {
    local program=${COMP_WORDS[0]/#\~\//$HOME/} word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' index help line found=''
    for ((index = 1; index < COMP_CWORD; index++)); do
        if [[ ${COMP_WORDS[index]} != -* ]]; then command=${COMP_WORDS[index]} && break; fi
    done
    COMPREPLY=()
    help=$("$program" ${command:+"$command"} --help 2>/dev/null) || return
    if [[ -n $command && $option == --* ]]; then
        line=$(grep -E -m 1 "^ +(-[a-z],)?$option " <<<"$help")
        if [[ $line == *:{*}* ]]; then # --mode TEXT:{fill,fit,stretch}
            line=${line#*\{}
            found=${line%%\}*}
            found=${found//,/ }
        elif [[ $option == --effect ]]; then
            found=$("$program" effects 2>/dev/null | grep -E '^[a-z]')
        elif [[ $line =~ ^\ +$option\ [A-Z] ]]; then # a value that isn't listed
            return
        fi
    fi
    if [[ -z $found && ($word == -* || -z $command) ]]; then
        found=$(grep -oE -- '^ +(-[a-z],)?--[a-z-]+' <<<"$help" | grep -oE -- '--[a-z-]+')
        if [[ $word != -* ]]; then found=$(sed -n '/^Subcommands:/,$s/^  \([a-z0-9]\+\) .*/\1/p' <<<"$help"); fi
    fi
    mapfile -t COMPREPLY < <(compgen -W "$found" -- "$word")
}

complete -o bashdefault -o default -F _ondrix ondrix
