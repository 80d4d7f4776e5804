#compdef devmgr-check
# Completion of the command line of devmgr-check for zsh.
case $CURRENT:$PREFIX in
  2:-*) compadd -- -h --help ;;
  3:*) [[ $words[2] == -* ]] || compadd -- --live ;;
  [2456]:*) _files ;;
esac
