#compdef boardctl-journal
# Completion of the command line of boardctl-journal for zsh.
case $CURRENT:$words[2] in
  2:-*) compadd -- -h --help -V --version ;;
  2:*) compadd -- board check redact scan ;;
  3:[^-]*|4:board|4:redact) _files ;;
esac
