#compdef boardctl-record
# Completion of the command line of boardctl-record for zsh: its own words, and then those of the
# command that it runs.
_arguments -S '(- *)'{-h,--help}'[print a usage message]' \
  '--keep-identities[do not replace identities]' '--limit[largest size of the file]:bytes:' \
  '1:file:_files' '*::command:_normal'
