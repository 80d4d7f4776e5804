# Completion of the command line of boardctl-record for bash: its own words, and then those of the
# command that it runs.
_boardctl_record() {
  local i=1
  while ((i < COMP_CWORD)); do
    case ${COMP_WORDS[i]} in
      --keep-identities) ((i++)) ;;
      --limit) ((i += 2)) ;;
      *) break ;;
    esac
  done
  COMPREPLY=()
  if ((COMP_CWORD < i)); then
    return
  elif ((COMP_CWORD > i)); then
    declare -F _command_offset >/dev/null && _command_offset $((i + 1))
  elif [[ ${COMP_WORDS[i]} == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '-h --help --keep-identities --limit' -- "${COMP_WORDS[i]}")
  else
    compopt -o default
  fi
}

complete -F _boardctl_record boardctl-record
