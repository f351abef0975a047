# What bash completes for qormath. The tests compare it with what the program's help shows.

_qormath() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local commands='reduce report info realise simulate convert resample pairing'
    local command= word options= values= suffix= dirs=
    COMPREPLY=()

    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ " $commands " == *" $word "* ]]; then
            command=$word
            break
        fi
    done

    # The options, and the kind of file that stands without one.
    case $command in
        reduce)
            options='-o --output --order --curve-tolerance --damping --gain-tolerance --keep-null-pairs --state-space'
            options+=' --aligned --out-dir --jobs --resume --report --json'
            suffix=fir
            ;;
        report)
            options='-o --output --order --curve-tolerance --damping --gain-tolerance --keep-null-pairs --json'
            suffix=fir
            ;;
        info) options='--json' suffix=fir ;;
        realise) options='-o --output --order --no-retain-gain --aligned --json' suffix=fir ;;
        simulate) options='--like -o --output --json' suffix=json ;;
        convert) options='--to --sample-time -o --output --method --json' suffix=json ;;
        resample) options='--sample-time -o --output --method --json' suffix=json ;;
        pairing) options='--size --top --condition-limit --unscaled --json' suffix=fir ;;
        *) options='--version' values=$commands ;;
    esac
    options+=' -h --help'

    # What the option before the cursor takes.
    case $command:$previous in
        reduce:--order | report:--order) values='coarse middle fine' options= suffix= ;;
        convert:--to) values='continuous discrete' options= suffix= ;;
        *:--method) values='zoh tustin' options= suffix= ;;
        pairing:--size | pairing:--top | pairing:--condition-limit) return ;;
        *:--out-dir) dirs=yes options= suffix= ;;
        *:--jobs) return ;;
        *:--order | *:--curve-tolerance | *:--damping | *:--gain-tolerance | *:--sample-time) return ;;
        *:--state-space) options= suffix=json ;;
        *:--report | report:-o | report:--output) options= suffix=html ;;
        simulate:--like) options= suffix=fir ;;
        reduce:-o | reduce:--output | simulate:-o | simulate:--output) options= suffix=fir ;;
        *:-o | *:--output) options= suffix=json ;;
    esac

    if [[ $current == -* ]]; then
        values=$options suffix= dirs=
    fi
    if [[ -n $values ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current")
    fi
    if [[ -n $dirs ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
    fi
    if [[ -n $suffix ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -X "!*.$suffix" -- "$current"; compgen -d -- "$current")
    fi
}

complete -F _qormath qormath
