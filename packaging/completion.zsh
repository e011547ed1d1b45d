#compdef wyrt
# Completion of wyrt's command line for zsh. It asks the program itself: what --help lists is offered, with its help.

# _wyrt_lists SECTION WORDS...: "word:help" lines of a section of `wyrt WORDS... --help`
_wyrt_lists() {
    local section=$1 line word
    local inside=$([[ -z $section ]] && print 1)
    shift
    for line in "${(@f)$(command ${(Q)words[1]} "$@" --help 2>/dev/null)}"; do
        if [[ -n $section && $line == ${section}* && $line != ' '* ]]; then
            inside=1
        elif [[ $line != '  '* ]]; then
            [[ -n $section ]] && inside=
        elif [[ -n $inside ]]; then
            line=${line##[[:space:]]#}
            print -r -- "$line"
        fi
    done
}

_wyrt() {
    setopt localoptions extendedglob
    local line name help type before=$words[CURRENT-1]
    local -a entries options
    local -A takes
    if ((CURRENT == 2)); then
        for line in "${(@f)$(_wyrt_lists '')}"; do
            help=${${line#* }##[[:space:]]#}
            entries+=("${line%% *}:${help%%  *}")
        done
        _describe -t commands 'command of wyrt' entries
        return
    fi
    for line in "${(@f)$(_wyrt_lists options $words[2])}"; do
        help=${line#*  }
        help=${help##[[:space:]]#}
        type=${${line%%  *}#* }
        [[ $type == ${line%%  *} ]] && type=
        for name in ${(s:,:)${line%% *}}; do
            takes[$name]=$type
            options+=("$name:$help")
        done
    done
    case ${takes[$before]:-} in
        FILE | DIR)
            _files
            return ;;
        WHEN)
            entries=(auto always never)
            _describe -t values 'when' entries
            return ;;
        ?*)
            if [[ $before == --sort ]]; then
                for line in "${(@f)$(_wyrt_lists 'words of --sort' $words[2])}"; do
                    entries+=(${(s: :)${line#* }})
                done
                entries=(${(u)entries})
                _describe -t values 'word' entries
            fi
            return ;;
    esac
    if [[ $words[CURRENT] == -* ]]; then
        _describe -o -t options 'option' options
        return
    fi
    for line in "${(@f)$(_wyrt_lists areas $words[2])}"; do
        [[ -n $line ]] && entries+=("${line%% *}:${${line#* }##[[:space:]]#}")
    done
    ((${#entries})) && _describe -t areas 'area' entries
    [[ $words[2] == (live|record|check) ]] || _files
}

[[ $funcstack[1] == _wyrt ]] && _wyrt "$@"
