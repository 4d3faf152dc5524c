#!/usr/bin/env bash
# The main job: installs what it needs, builds and installs the library with
# the host platform, the VLAN manager and its client into build/prefix, builds
# the example program against the installed package (pkg-config) and runs it,
# then starts the installed vlan_mgrd on a run directory of its own and runs
# a short vlanctl session against it.
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

# ---- The VLAN manager and a vlanctl session ---------------------------------
# Everything the manager and the client share lives in a temporary directory:
# the transport's endpoints, the BD database files, the event histories.
vlan_mgrd=$prefix/sbin/vlan_mgrd
vlanctl=$prefix/bin/vlanctl
work=$(mktemp -d "${TMPDIR:-/tmp}/vlan_mgr_main.XXXXXX")
export VLAN_MGR_RUN_DIR=$work/run VLAN_MGR_SDB_ROOT=$work/sdb VLAN_MGR_HIST_DIR=$work/hist
export VLAN_MGR_MTS_TIMEOUT_MS=2000
mkdir -p "$VLAN_MGR_RUN_DIR" "$VLAN_MGR_SDB_ROOT" "$VLAN_MGR_HIST_DIR"
mgrd_pid=""
watch_pid=""
cleanup() {
  [ -n "$watch_pid" ] && kill "$watch_pid" 2> /dev/null || true
  [ -n "$mgrd_pid" ] && kill -TERM "$mgrd_pid" 2> /dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

"$vlan_mgrd" --foreground --state "$work/vlan_mgrd.state" > "$work/vlan_mgrd.log" 2>&1 &
mgrd_pid=$!
for _ in $(seq 1 500); do
  [ -s "$VLAN_MGR_RUN_DIR/vlan_mgrd.pid" ] && break
  kill -0 "$mgrd_pid" 2> /dev/null || { echo "main job: vlan_mgrd ended at start"; cat "$work/vlan_mgrd.log"; exit 1; }
  sleep 0.02
done
[ -s "$VLAN_MGR_RUN_DIR/vlan_mgrd.pid" ] || { echo "main job: vlan_mgrd did not start"; cat "$work/vlan_mgrd.log"; exit 1; }
echo "vlan_mgrd running, pid $(cat "$VLAN_MGR_RUN_DIR/vlan_mgrd.pid")"

commands=0
ctl() {
  echo "\$ vlanctl $*"
  local rc=0
  "$vlanctl" "$@" || rc=$?
  if [ "$rc" -ne 0 ]; then
    echo "main job: 'vlanctl $*' failed with exit status $rc"
    exit 1
  fi
  commands=$((commands + 1))
}

ctl vlan create 10,20-25
ctl vlan name 10 users
ctl vlan name 20 web
ctl vlan name 21 db
for p in 1 2 3 4; do
  ctl interface "Ethernet1/$p" access vlan 10
done
ctl interface Ethernet1/5 mode trunk
ctl interface Ethernet1/5 trunk allowed vlan set 20-25
ctl show vlan
ctl show interface Ethernet1/5 switchport

# watch, with a change made beside it: it prints the change and stops.
echo "\$ vlanctl watch --count 1 &"
"$vlanctl" watch --count 1 > "$work/watch.out" 2> "$work/watch.err" &
watch_pid=$!
for _ in $(seq 1 500); do
  [ -s "$work/watch.err" ] && break
  sleep 0.02
done
sleep 0.3 # the subscription reaches the manager
ctl vlan create 30 --name watched
rc=0
wait "$watch_pid" || rc=$?
watch_pid=""
cat "$work/watch.out"
if [ "$rc" -ne 0 ] || [ ! -s "$work/watch.out" ]; then
  echo "main job: 'vlanctl watch --count 1' failed with exit status $rc"
  cat "$work/watch.err"
  exit 1
fi
commands=$((commands + 1))

ctl show bd 10
ctl show vlan summary --json

kill -TERM "$mgrd_pid"
rc=0
wait "$mgrd_pid" || rc=$?
mgrd_pid=""
if [ "$rc" -ne 0 ]; then
  echo "main job: vlan_mgrd ended with exit status $rc"
  cat "$work/vlan_mgrd.log"
  exit 1
fi
echo "main job: $commands commands, all succeeded"
