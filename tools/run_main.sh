#!/usr/bin/env bash
# The main job: installs what it needs, builds and installs the library with
# the host platform into build/prefix, then builds the example program against
# the installed package (pkg-config) and runs it.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
bash "$src/tools/deps.sh"
dir=$src/build/main
prefix=$src/build/prefix
mkdir -p "$dir"
cmake -S "$src" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVLAN_MGR_TESTS=OFF \
  -DCMAKE_INSTALL_PREFIX="$prefix" > "$dir/configure.log" 2>&1 || { cat "$dir/configure.log"; exit 1; }
cmake --build "$dir" > "$dir/build.log" 2>&1 || { cat "$dir/build.log"; exit 1; }
cmake --install "$dir" > /dev/null
libdir=$(dirname "$(ls -d "$prefix"/lib*/pkgconfig | head -n1)")
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
cc -std=c11 -Wall -Wextra -Werror "$src/examples/vlan_mgr_demo.c" -o "$dir/vlan_mgr_demo" \
  $(pkg-config --cflags --libs vlan_mgr vlan_mgr-host)
LD_LIBRARY_PATH=$libdir "$dir/vlan_mgr_demo"
