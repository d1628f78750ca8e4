# Completion of the command koln-simulate for bash.
_koln_simulate() {
  local current=${COMP_WORDS[COMP_CWORD]} words='create delete'
  case ${COMP_WORDS[COMP_CWORD-1]} in
    --user) mapfile -t COMPREPLY < <(compgen -u -- "$current"); return ;;
    --home) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
  esac
  case ${COMP_WORDS[1]} in
    create)
      words='--mailboxes --notes --attachments --folders --persons --departments --books --seed
        --user --home --force' ;;
    delete) words='--every' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words --help" -- "$current")
  ((COMP_CWORD < 2)) || mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$current")
}
complete -F _koln_simulate koln-simulate
