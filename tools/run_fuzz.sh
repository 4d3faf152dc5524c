#!/usr/bin/env bash
# Builds every libFuzzer target of fuzz/ with clang and runs each for a
# bounded time: tools/run_fuzz.sh [seconds-per-target] [build-dir]
set -euo pipefail
secs=${1:-20}
[ "$secs" -gt 0 ] || { echo "seconds per target must be positive" >&2; exit 2; }
src=$(cd "$(dirname "$0")/.." && pwd)
dir=${2:-$src/build/fuzz}
mkdir -p "$(dirname "$dir")"
cmake -S "$src" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DVLAN_MGR_FUZZ=ON -DVLAN_MGR_TESTS=OFF > "$dir.configure.log" 2>&1 ||
  { cat "$dir.configure.log"; exit 1; }
cmake --build "$dir"
mkdir -p "$dir/corpus"
found=0
for t in "$dir"/fuzz/fuzz_*; do
  [ -x "$t" ] || continue
  found=1
  name=$(basename "$t")
  mkdir -p "$dir/corpus/$name"
  echo "== $name: ${secs}s"
  "$t" -max_total_time="$secs" -print_final_stats=0 "$dir/corpus/$name" 2>&1 | tail -n 2
done
[ $found -eq 1 ] || echo "no fuzz targets"
