#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Signs every PDF and XML file below a folder, has other people's programs judge each (pdfsig, openssl,
# qpdf, xmlsec1, Java where it is installed; pdftoppm and mutool must show the same before and after),
# and prints a table of classes. Without a folder: documents made for the purpose.
#   corpus.sh [FOLDER...]
# Needs a build with tests in build/$QUILLET_PRESET (default: release), and for Java's judgement
# "setup-debian.sh corpus". Status 1 when a document was harmed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
tool=$root/build/${QUILLET_PRESET:-release}/bin/sign_files
[ -x "$tool" ] || { echo "corpus: $tool is missing; build with tests first" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/out"
if [ $# -eq 0 ]; then
  "$tool" --make "$work/made"
  set -- "$work/made"
fi

status=0
find "$@" -type f \( -iname '*.pdf' -o -iname '*.xml' \) -size -100M 2>/dev/null | sort >"$work/paths"
"$tool" "$work/out" <"$work/paths" >"$work/verdicts" || status=1

echo "count  kind  class"
cut -f1,2 "$work/verdicts" | sort | uniq -c | sort -k2,2 -k1,1nr \
  | awk '{ count = $1; kind = $2; $1 = $2 = ""; printf "%5d  %-4s %s\n", count, kind, $0 }'
if [ $status -ne 0 ]; then
  echo
  grep -P '\tHARMED' "$work/verdicts" || true
fi
if [ "$(wc -l <"$work/verdicts")" -ne "$(wc -l <"$work/paths")" ]; then
  echo "corpus: not every file has a verdict" >&2
  status=1
fi
if command -v javac >/dev/null && ls "$work"/out/*.xml >/dev/null 2>&1; then
  echo
  ls "$work"/out/*.xml | java "$root/tests/documents/ValidateXml.java" >"$work/java" || status=1
  cut -f1 "$work/java" | sed 's/^INVALID.*/INVALID/' | sort | uniq -c | sed 's/$/ (XML, says Java)/'
  grep INVALID "$work/java" || true
fi
exit $status
