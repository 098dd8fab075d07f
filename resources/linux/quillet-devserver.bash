# SPDX-License-Identifier: MIT
# Completion for quillet-devserver.
_quillet_devserver() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words
  case $previous in
    --pdf | --xml | --out | --log | --password | --agent)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --authority)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return
      ;;
    --certificate) words="first" ;;
    --signature-at) words="first last after=" ;;
    --port | --room | --timeout | --reason | --location | --id-attribute) return ;;
    *)
      case ${COMP_WORDS[1]} in
        sign)
          words="--pdf --xml --out --certificate --port --room --timeout --authority
            --send-document --log --repair --password --reason --location --id-attribute
            --signature-at --agent"
          ;;
        trust | untrust) words="--authority --yes" ;;
        *) words="--port --open --authority" ;;
      esac
      [ "$COMP_CWORD" -gt 1 ] || words="sign trust untrust --help --version $words"
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
} && complete -F _quillet_devserver quillet-devserver
