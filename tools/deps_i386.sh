#!/usr/bin/env bash
# The i386 build's copies of the host platform's libraries (ZeroMQ, LMDB,
# libsystemd for the manager's sd_notify, and what they need at link and run
# time), taken from Debian's i386 packages
# and unpacked into a private directory: tools/deps_i386.sh DIR
#
# The packages are unpacked rather than installed because Debian's mirrors do
# not always carry the same version of every shared library for amd64 and
# i386 at once, and a multi-arch install then wants to replace system
# packages. The libraries land in DIR/lib, registered with the dynamic
# linker, and pkg-config files in DIR/pkgconfig.
set -euo pipefail
dir=${1:?directory}
pkgs="libzmq5 libzmq3-dev libsodium23 libpgm-5.3-0 libnorm1 libgssapi-krb5-2 libkrb5-3 libk5crypto3
      libkrb5support0 libcom-err2 libkeyutils1 libssl3 libbsd0 libmd0 liblmdb0 liblmdb-dev
      libsystemd0 libsystemd-dev libcap2 libgcrypt20 libgpg-error0 liblz4-1 liblzma5 libzstd1"
export DEBIAN_FRONTEND=noninteractive

# Some kernels (virtual machines among them) run no 32-bit programs; there
# qemu's user-mode emulator runs them, registered with binfmt_misc so that a
# 32-bit program starts like any other, children and scripts included.
probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
echo 'int main(void) { return 0; }' > "$probe/t.c"
cc -m32 "$probe/t.c" -o "$probe/t"
if ! "$probe/t" 2>/dev/null; then
  if ! [ -x /usr/bin/qemu-i386-static ]; then
    apt-get install -y -qq qemu-user-static > /dev/null || { apt-get update -qq || true; apt-get install -y -qq qemu-user-static > /dev/null; }
  fi
  [ -e /proc/sys/fs/binfmt_misc/register ] || mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
  if ! [ -e /proc/sys/fs/binfmt_misc/qemu-i386 ]; then
    printf '%s' ':qemu-i386:M::\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00:\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff:/usr/bin/qemu-i386-static:F' \
      > /proc/sys/fs/binfmt_misc/register
  fi
  "$probe/t" || { echo "this machine cannot run 32-bit programs" >&2; exit 1; }
fi

# The dynamic linker finds the copies for every program, libzmq's own
# dependencies included (an executable's runpath does not reach those).
register() {
  echo "$(cd "$dir/lib" && pwd)" > /etc/ld.so.conf.d/vlan_mgr-i386.conf
  ldconfig
}

# "done" holds the package list it was made from (one a line): a changed list
# makes it anew.
# shellcheck disable=SC2086
stamp=$(printf '%s\n' $pkgs)
if [ -f "$dir/done" ] && [ "$(cat "$dir/done")" = "$stamp" ]; then
  register
  exit 0
fi
if ! dpkg --print-foreign-architectures | grep -qx i386; then
  dpkg --add-architecture i386
  apt-get update -qq || true
fi
rm -rf "$dir" && mkdir -p "$dir/debs" "$dir/root" "$dir/lib" "$dir/pkgconfig"
# shellcheck disable=SC2046
(cd "$dir/debs" && apt-get download -qq $(for p in $pkgs; do echo "$p:i386"; done) 2>/dev/null) ||
  { apt-get update -qq || true; (cd "$dir/debs" && apt-get download -qq $(for p in $pkgs; do echo "$p:i386"; done)); }
for f in "$dir"/debs/*.deb; do dpkg -x "$f" "$dir/root"; done
# One directory holds every library, so that one rpath finds them all.
cp -a "$dir"/root/usr/lib/i386-linux-gnu/*.so* "$dir"/root/lib/i386-linux-gnu/*.so* "$dir/lib/"
inc=$dir/root/usr/include
cat > "$dir/pkgconfig/libzmq.pc" <<PC
Name: libzmq
Description: ZeroMQ (i386 copy)
Version: 4.3.4
Libs: -L$dir/lib -Wl,-rpath,$dir/lib -lzmq
Cflags: -I$inc
PC
cat > "$dir/pkgconfig/lmdb.pc" <<PC
Name: liblmdb
Description: LMDB (i386 copy)
Version: 0.9.24
Libs: -L$dir/lib -Wl,-rpath,$dir/lib -llmdb
Cflags: -I$inc
PC
cat > "$dir/pkgconfig/libsystemd.pc" <<PC
Name: systemd
Description: systemd library (i386 copy)
Version: 252
Libs: -L$dir/lib -Wl,-rpath,$dir/lib -lsystemd
Cflags: -I$inc
PC
register
echo "$stamp" > "$dir/done"
