# SPDX-License-Identifier: MIT
# Completion for ZqMacClient.
_ZqMacClient() {
  [ "$COMP_CWORD" -eq 1 ] || return 0
  mapfile -t COMPREPLY < <(compgen -W "install policy identities --help --version quillet://" -- "${COMP_WORDS[1]}")
  # A link goes on where this ends.
  if [ "${COMPREPLY[*]}" = "quillet://" ]; then
    compopt -o nospace
  fi
} && complete -F _ZqMacClient ZqMacClient
