#!/usr/bin/env bash
# Compiles each public header alone from a C file (C11) and a C++ file (C++20).
set -euo pipefail
src=$1 cc=$2 cxx=$3 flags=${4:-}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
status=0
for h in "$src"/include/vlan_mgr/*.h; do
  name=vlan_mgr/$(basename "$h")
  printf '#include <%s>\nint main(void) { return 0; }\n' "$name" > "$tmp/t.c"
  cp "$tmp/t.c" "$tmp/t.cpp"
  # shellcheck disable=SC2086
  $cc $flags -std=c11 -Wall -Wextra -Werror -pedantic -I"$src/include" -c "$tmp/t.c" -o "$tmp/t.o" ||
    { echo "C11 compile failed: $name"; status=1; }
  # shellcheck disable=SC2086
  $cxx $flags -std=c++20 -Wall -Wextra -Werror -I"$src/include" -c "$tmp/t.cpp" -o "$tmp/t.o" ||
    { echo "C++20 compile failed: $name"; status=1; }
done
[ $status -eq 0 ] && echo "all headers compile as C11 and C++20"
exit $status
