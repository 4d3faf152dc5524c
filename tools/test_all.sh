#!/usr/bin/env bash
# The test command: installs what it needs, then builds and runs every test in
# the three builds (release with -Werror, ASan+UBSan, i386), then runs each
# fuzz target for a bounded time.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
bash "$src/tools/deps.sh"
for kind in release asan i386; do
  echo "==== build: $kind"
  bash "$src/tools/build.sh" "$kind"
done
echo "==== fuzz"
bash "$src/tools/run_fuzz.sh" "${VLAN_MGR_FUZZ_SECONDS:-10}"
echo "==== all tests passed in the three builds"
