# shellcheck shell=bash
# Completion of wyrt's command line. A test compares the lists below with what the program accepts.

# A command of the new form: COMP_WORDS[1].
_wyrt_command() {
    local areas='why cpu cores mem pressure disk volumes fs net proto limits cgroup proc thread churn file sock self all'
    local sorts='busy read write wait queue bytes packets errors cpu mem io throttled pids growth faults swap children threads switches block files tcp ended failed killed life forward back position size received sent retransmitted drops rtt unread'
    local tasks='--help --root --output'
    local views='--rows --sort --user --pid --command --cgroup --tree --by --limit --port --address --state --resolve-ports --partitions'
    local samples='--interval --count'
    local records='--dir --max-use --keep-free --max-age --sync --config'
    local lives='--save --color --scroll'
    local logs='--help --damaged --output'
    local shows='--at --every --follow'
    local pages='--color --no-pager'
    local infos='--check'
    local stats='--rows --by --color --no-pager'
    local exports='--format --kind --fields --rates --follow'
    local serves='--help --listen --state --since --by --top --all-rows'
    local pushes='--url --ca --cert --key --token-file --user --password-file --cursor --once --config --kind --by --top --all-rows'
    local spans='--since --until'
    local cur=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} words='' logs_too=0

    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
        -o | --output | --save | --root | --dir | --config | --ca | --cert | --key | --token-file | --password-file | --cursor)
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            compopt -o filenames 2>/dev/null
            return 0
            ;;
        --color) words='auto always never' ;;
        --format) words='csv tsv jsonl sqlite openmetrics influx' ;;
        --by) words='command user unit'
            [[ $command == serve || $command == push ]] && words+=' container'
            [[ $command == stats ]] && words='process command user unit disk' ;;
        --state) words='ESTABLISHED SYN_SENT SYN_RECV FIN_WAIT1 FIN_WAIT2 CLOSE CLOSE_WAIT LAST_ACK LISTEN CLOSING ENDED'
            if [[ $command == serve ]]; then
                mapfile -t COMPREPLY < <(compgen -f -- "$cur")
                compopt -o filenames 2>/dev/null
                return 0
            fi ;;
        --sort) words=$sorts ;;
        -i | --interval | -c | --count | -n | --rows | -u | --user | -p | --pid | --command | --cgroup | --limit | --port | --address | --at | --every | --since | --until | --kind | --fields | --max-use | --keep-free | --max-age | --sync | --listen | --top | --url) return 0 ;;
        *)
            case $command in
                live) words="$tasks $views $samples $lives" ;;
                record) words="$tasks $views $samples $records" ;;
                check) words=$tasks ;;
                show) words="$logs $views $shows $pages $spans" ;;
                why) words="$logs $pages $spans --limit" ;;
                stats) words="$logs $stats $spans" ;;
                export) words="$logs $exports $spans" ;;
                chart) words="$logs $spans --limit" ;;
                serve) words=$serves ;;
                push) words="--help --damaged $pushes $spans" ;;
                info) words="$logs $infos" ;;
            esac
            [[ $cur == -* ]] || words=operands
            ;;
    esac
    if [[ $words == operands ]]; then
        words=$areas
        [[ $command == info || $command == why || $command == export || $command == chart || $command == serve || $command == push ]] && words=''
        [[ $command == show || $command == info || $command == why || $command == stats || $command == export || $command == chart || $command == serve || $command == push ]] && logs_too=1
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    if ((logs_too)); then
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$cur")
        compopt -o filenames 2>/dev/null
    fi
    return 0
}

_wyrt() {
    local commands='live record check show why stats export chart serve push info'
    local flags='h e v H a b B V Z k f F S m t r'
    local valued='c s i I C T R g G p P o n d'
    local words='io time mem none ps'
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} letter head='' list letters=()
    local cluster="^(-[${flags// }]*([${valued// }]))(.*)$"

    if ((COMP_CWORD > 1)) && [[ " $commands " == *" ${COMP_WORDS[1]} "* ]]; then
        _wyrt_command
        return
    fi
    ((COMP_CWORD == 1)) && read -ra letters <<<"$commands"

    # The argument is a word of its own or follows its letter: -P io,time or -kPio,time.
    if [[ $prev =~ $cluster && ! ${BASH_REMATCH[3]} ]]; then
        letter=${BASH_REMATCH[2]} list=$cur
    elif [[ $cur =~ $cluster && ${BASH_REMATCH[3]} ]]; then
        letter=${BASH_REMATCH[2]} list=${BASH_REMATCH[3]} head=${BASH_REMATCH[1]}
    else
        for letter in $flags $valued; do letters+=("-$letter"); done
        mapfile -t COMPREPLY < <(compgen -W "${letters[*]}" -- "$cur")
        return
    fi

    COMPREPLY=()
    [[ $letter == P ]] || return 0 # all others take a number
    [[ $list == *,* ]] && head+=${list%,*},
    mapfile -t COMPREPLY < <(compgen -P "$head" -W "$words" -- "${list##*,}")
    compopt -o nospace 2>/dev/null # a comma may follow
    return 0
}
complete -F _wyrt wyrt
