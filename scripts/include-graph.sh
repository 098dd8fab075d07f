#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Draws which room includes which, from the sources: the lowest rooms last, so that every arrow runs
# down. Fails when rooms include one another in a circle. Only direct includes are drawn.
#   include-graph.sh [PROJECT_ROOT]
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"

find ZqMacClient foundation frameworks platform devserver -name '*.h' -o -name '*.cpp' -o -name '*.mm' \
  | sort | xargs grep -HE '^[[:space:]]*#[[:space:]]*(include|import)[[:space:]]+"' | awk '
  function room(path) {
    if (path == "ZqMacClient/main.cpp" || path == "devserver/program/main.cpp") return path
    sub(/\/[^\/]*$/, "", path)
    return path
  }
  # The rooms below `name` are as many as the longest way down from it.
  function depth(name,   parts, count, i, below, deepest) {
    if (name in known) return known[name]
    if (name in walking) { print "in a circle: " name > "/dev/stderr"; failed = 1; return 0 }
    walking[name] = 1
    count = split(below_of[name], parts, " ")
    deepest = -1
    for (i = 1; i <= count; ++i) { below = depth(parts[i]); if (below > deepest) deepest = below }
    delete walking[name]
    return known[name] = deepest + 1
  }
  {
    file = $0; sub(/:.*/, "", file)
    included = $0; sub(/^[^"]*"/, "", included); sub(/".*/, "", included)
    from = room(file)
    rooms[from] = 1
    if (included !~ /\//) next # made by CMake
    to = room(included)
    rooms[to] = 1
    if (from != to && !((from, to) in seen)) {
      seen[from, to] = 1
      below_of[from] = below_of[from] " " to
    }
  }
  END {
    for (name in rooms) {
      level = depth(name)
      count = split(below_of[name], parts, " ")
      # Sorted, for the order of files is no order of rooms.
      for (i = 2; i <= count; ++i)
        for (j = i; j > 1 && parts[j] < parts[j - 1]; --j) {
          other = parts[j]; parts[j] = parts[j - 1]; parts[j - 1] = other
        }
      text = ""
      for (i = 1; i <= count; ++i) text = text " " parts[i]
      printf "%02d %s%s\n", level, name, text
    }
    exit failed
  }' | sort -k1,1nr -k2,2 | awk '
  {
    arrow = NF > 2 ? "->" : ""
    line = sprintf("    %d  %-27s %s", $1, $2, arrow)
    indent = "\n" sprintf("%37s", "")
    width = length(line)
    for (i = 3; i <= NF; ++i) {
      if (width + length($i) + 1 > 100) { line = line indent; width = 37 }
      line = line " " $i
      width += length($i) + 1
    }
    sub(/ +$/, "", line)
    print line
  }'
