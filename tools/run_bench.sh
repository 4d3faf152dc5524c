#!/usr/bin/env bash
# Builds the Google Benchmark programs of bench/ and runs each, printing every
# figure as a ratio to its floor: tools/run_bench.sh [min-time] [build-dir]
set -euo pipefail
min=${1:-0.2}
src=$(cd "$(dirname "$0")/.." && pwd)
dir=${2:-$src/build/bench}
mkdir -p "$(dirname "$dir")"
cmake -S "$src" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVLAN_MGR_BENCH=ON -DVLAN_MGR_TESTS=OFF \
  > "$dir.configure.log" 2>&1 || { cat "$dir.configure.log"; exit 1; }
cmake --build "$dir"
for b in "$dir"/bench/bench_*; do
  [ -x "$b" ] || continue
  echo "== $(basename "$b")"
  "$b" --benchmark_min_time="$min" --benchmark_color=false | sed -n '/^benchmark /,$p'
done
