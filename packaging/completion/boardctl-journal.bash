# Completion of the command line of boardctl-journal for bash.
_boardctl_journal() {
  local word=${COMP_WORDS[COMP_CWORD]} IFS=$' \t\n'
  COMPREPLY=()
  case $COMP_CWORD:${COMP_WORDS[1]} in
    1:-*) mapfile -t COMPREPLY < <(compgen -W '-h --help -V --version' -- "$word") ;;
    1:*) mapfile -t COMPREPLY < <(compgen -W 'board check redact scan' -- "$word") ;;
    2:[!-]* | 3:board | 3:redact) compopt -o default ;;
  esac
}

complete -F _boardctl_journal boardctl-journal
