# Completion of the command line of devmgr-check for bash.
_devmgr_check() {
  local word=${COMP_WORDS[COMP_CWORD]} IFS=$' \t\n'
  COMPREPLY=()
  case $COMP_CWORD:$word in
    1:-*) mapfile -t COMPREPLY < <(compgen -W '-h --help' -- "$word") ;;
    2:*) [[ ${COMP_WORDS[1]} == -* ]] || mapfile -t COMPREPLY < <(compgen -W --live -- "$word") ;;
    [1345]:*) compopt -o default ;;
  esac
}

complete -F _devmgr_check devmgr-check
