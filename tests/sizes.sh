#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Proves that no file of the sources has more than 350 lines and no function more than 60: what is longer
# is read by nobody.
#   sizes.sh PROJECT_ROOT
set -u
cd "$1" || exit 2

sources() {
  find ZqMacClient bench devserver foundation frameworks platform resources samples scripts tests \
    -name node_modules -prune -o -type f \( "$@" \) -print
}
long=$(sources -name '*.cpp' -o -name '*.css' -o -name '*.h' -o -name '*.html' -o -name '*.js' -o -name '*.mm' \
  -o -name '*.py' -o -name '*.sh' | xargs awk '
  FNR == 351 { print FILENAME ": more than 350 lines" }')

# A function goes from where its declaration begins to the brace of the same indentation.
long+=$'\n'$(sources -name '*.cpp' -o -name '*.h' -o -name '*.mm' | xargs awk '
  function indentation(line) { match(line, /^ */); return RLENGTH }
  FNR == 1 { inside = 0; statement = "" }
  inside {
    if ($0 ~ /^ *\}/ && indentation($0) == level) {
      if (FNR - start >= 60) print FILENAME ":" start ": a function of " FNR - start + 1 " lines"
      inside = 0
    }
    next
  }
  /^ *(\/\/|#|$)/ { next }
  {
    if (statement == "") { start = FNR; level = indentation($0) }
    statement = statement $0
  }
  /\{$/ {
    inside = statement ~ /\(/ && statement !~ /^ *(\{|namespace|class|struct|enum|union|extern "C" \{)/
    statement = ""
  }
  /[;}]$|^ *(public|private|protected):$/ { statement = "" }')
[ "$long" = $'\n' ] || { echo "too long: $long"; exit 1; }
