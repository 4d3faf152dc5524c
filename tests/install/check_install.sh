#!/usr/bin/env bash
# Installs the build into a temporary prefix, then builds and runs a small C
# consumer against the installed package twice: through find_package and
# through pkg-config. A broken install rule fails here.
set -euo pipefail
[ -n "${VERBOSE:-}" ] && set -x
build=$1 consumer=$2 cc=$3 flags=${4:-}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
run() { "$@" > "$tmp/log" 2>&1 || { cat "$tmp/log"; exit 1; }; }
run cmake --install "$build" --prefix "$tmp/prefix"

run cmake -S "$consumer" -B "$tmp/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$tmp/prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags"
run cmake --build "$tmp/cmake-build"
LD_LIBRARY_PATH="$tmp/prefix/lib" "$tmp/cmake-build/consumer"

libdir=$(ls -d "$tmp"/prefix/lib*/pkgconfig | head -n1)
export PKG_CONFIG_PATH=$libdir
# shellcheck disable=SC2046,SC2086
$cc $flags -std=c11 -Wall -Werror "$consumer/consumer.c" -o "$tmp/consumer-pc" \
  $(pkg-config --cflags --libs vlan_mgr vlan_mgr-host)
LD_LIBRARY_PATH="$tmp/prefix/lib" "$tmp/consumer-pc"
readelf -d "$tmp/prefix/lib/libvlan_mgr.so" | grep -q 'SONAME.*libvlan_mgr.so.1'
echo "installed package usable through CMake and pkg-config"
