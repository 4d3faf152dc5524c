#!/usr/bin/env bash
# Installs what the build, the tests, the fuzzers and the benchmarks need on a
# fresh Debian machine. Skips apt when everything is already there.
set -euo pipefail
pkgs="cmake ninja-build g++ g++-multilib clang libclang-rt-14-dev googletest libgtest-dev
      libbenchmark-dev pkg-config binutils libzmq3-dev liblmdb-dev ccache
      libcli11-dev nlohmann-json3-dev libsystemd-dev"
missing=""
for p in $pkgs; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  echo "installing:$missing"
  export DEBIAN_FRONTEND=noninteractive
  # A mirror caught mid-sync fails one index; what the others give is enough.
  apt-get update -qq || true
  # shellcheck disable=SC2086
  apt-get install -y -qq $missing > /dev/null
fi
