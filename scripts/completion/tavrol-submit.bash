# bash completion for tavrol-submit
_tavrol_submit()
{
    local cur prev
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD-1]}
    case $prev in
    --queue)
        mapfile -t COMPREPLY < <(compgen -W 'long short queueless auto' -- "$cur")
        return
        ;;
    --type | --name | --var | --timeout)
        return
        ;;
    esac
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--gui --console --type --queue --name --confirm
            --var --wait --timeout --help' -- "$cur")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}
complete -o filenames -F _tavrol_submit tavrol-submit
