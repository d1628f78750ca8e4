# Completion of the command koln for bash.
_koln() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
  local command='' kind='' word i words
  local general='--help --version --data --instance --key --server --config --debug-log --log-level'
  local commands='discover info locate console offline online repair show views index notes archive
    backup restore export import doctor survey'
  case $previous in
    --data) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
    --config | --html | --to) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
    --debug-log)
      mapfile -t COMPREPLY < <(compgen -W 'stderr none' -f -- "$current"); return ;;
    --log-level) mapfile -t COMPREPLY < <(compgen -W '-1 0 1 2 3 4' -- "$current"); return ;;
    --link) mapfile -t COMPREPLY < <(compgen -W 'url button mime' -- "$current"); return ;;
    --mode) mapfile -t COMPREPLY < <(compgen -W 'create replace update' -- "$current"); return ;;
    --since) mapfile -t COMPREPLY < <(compgen -W 'last' -- "$current"); return ;;
  esac
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    case $word in
      --data | --instance | --key | --server | --config | --debug-log | --log-level) ((++i)) ;;
      -*) ;;
      *)
        if [[ -z $command ]]; then command=$word
        elif [[ $command == discover && -z $kind ]]; then kind=$word
        fi ;;
    esac
  done
  case $command in
    '') words=$commands ;;
    discover)
      case $kind in
        '') words='databases mailboxes additional' ;;
        mailboxes)
          words='--json --short --with-names --department --without-department --first-book-only' ;;
        *) words='--json --short' ;;
      esac ;;
    info | views | index) words='--json' ;;
    show) words='--items --json' ;;
    notes) words='--modified-since --unread --folder --not-folder --json' ;;
    archive)
      words='--older-than --larger-than --unread --to --link --base-url --dry-run --json' ;;
    backup) words='--to --since --json' ;;
    restore) words='--into --dry-run' ;;
    export) words='--to --plain' ;;
    import) words='--into --mode' ;;
    offline) words='--yes' ;;
    doctor) words='--json --time-limit' ;;
    survey) words='--all --older-than --unread --html --json' ;;
    *) words='' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words $general" -- "$current")
  case $command in
    import | restore) mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$current") ;;
  esac
}
complete -F _koln koln
