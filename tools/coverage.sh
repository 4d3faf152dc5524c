#!/usr/bin/env bash
# Line and branch coverage of every test, per tree (src/, platform/host/,
# apps/): a --coverage build in build/coverage, every ctest, then gcovr.
# (gcovr replaces the file named by -o: never give it /dev/null.)
#   tools/coverage.sh [build-dir]
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-$src/build/coverage}
bash "$src/tools/deps.sh"
command -v gcovr > /dev/null || { apt-get install -y -qq gcovr > /dev/null; }
flags="--coverage -O0 -g"
cmake -S "$src" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage > "$dir.configure.log" 2>&1 ||
  { cat "$dir.configure.log"; exit 1; }
cmake --build "$dir"
find "$dir" -name '*.gcda' -delete
# Tests run programs as another user too: they must be able to write their
# counts. The first run makes the count files (as root); once they are open
# to everyone, a second run adds what the other users' programs did.
chmod -R o+rwX "$dir"
for pass in 1 2; do
  ctest --test-dir "$dir" -j2 > "$dir.ctest.log" 2>&1 ||
    { echo "pass $pass: some tests failed in the coverage build:"; grep -E '^\s+[0-9]+ - ' "$dir.ctest.log" || true; }
  find "$dir" -name '*.gcda' -exec chmod 0666 {} +
done
for tree in src platform/host platform/tlvu apps/vlan_mgrd apps/vlanctl apps/common; do
  echo "== $tree"
  gcovr -r "$src" --object-directory "$dir" --filter "$src/$tree/" --gcov-ignore-parse-errors \
    --exclude-unreachable-branches --exclude-throw-branches --print-summary 2>&1 | grep -E '^(lines|branches)'
done
