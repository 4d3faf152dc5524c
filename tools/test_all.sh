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
echo "==== ThreadSanitizer: BD cache lookups beside cache updates"
tsan=$src/build/tsan
cmake -S "$src" -B "$tsan" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_FLAGS=-fsanitize=thread \
  -DCMAKE_CXX_FLAGS=-fsanitize=thread -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread \
  -DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread > "$tsan.configure.log" 2>&1 || { cat "$tsan.configure.log"; exit 1; }
cmake --build "$tsan" --target test_bd_db
TSAN_OPTIONS=halt_on_error=1 "$tsan/tests/test_bd_db" --gtest_filter='BdLookup.LookupsBesideCacheUpdatesNeverSeeATornEntry'
echo "==== fuzz"
bash "$src/tools/run_fuzz.sh" "${VLAN_MGR_FUZZ_SECONDS:-10}"
echo "==== all tests passed in the three builds"
