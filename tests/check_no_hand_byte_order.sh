#!/usr/bin/env bash
# Fails, listing the offending lines, when apps/ or platform/host/ hold byte
# order written by hand: every byte there is read and written through the one
# codec (include/vlan_mgr/internal/wire.h) and the layouts made from it.
#
# What counts as hand byte order:
#   - the C library's and the compiler's swaps: htonl ntohl htons ntohs, any
#     bswap;
#   - home-made helpers named be16/be32/be64, put16/32/64, get16/32/64;
#   - a byte taken out of a word by a shift: a cast to a byte type of an
#     expression shifted right by 8, 16, ... 56, or by (24 - 8 * i) and the
#     like; a loop whose shift counts down from 24 or 56 to 0;
#   - a byte put into a word by a shift: an indexed element shifted left by
#     8, 16, ... 56;
#   - any shift by 24 (the top byte of a word) or by 32..56 (the halves and
#     bytes of a 64-bit word).
# A power of two written as a shift of the literal 1 (size_t{1} << 24, 1u <<
# 24: a size limit) is no byte order and is not counted.
# In apps/, a VLAN's bit in a bitmap is not worked out by hand either (0x80 >>
# (v % 8) and the like): vlan_mgr::layout::bitmap_set/bitmap_test or
# vlan_bitmap_find_next do it. Comments that describe a bitmap are not
# counted.
set -euo pipefail
src=${1:?usage: check_no_hand_byte_order.sh <source dir>}
cd "$src"

shift_n='(8|16|24|32|40|48|56)'
byte_cast='(static_cast<(uint8_t|unsigned char|char)>|\((uint8_t|unsigned char)\)|\buint8_t)'
patterns=(
  '\b(htonl|ntohl|htons|ntohs)\b'
  'bswap'
  '\b(be|put|get)(16|32|64)\b'
  "${byte_cast}\\s*\\([^;]*>>\\s*(${shift_n}\\b|\\(\\s*${shift_n}\\s*-)"
  '=\s*(24|56)\s*;\s*\w+\s*>=\s*0\s*;'
  "\\][)}]*\\s*<<\\s*${shift_n}\\b"
  '(<<|>>)\s*(24|32|40|48|56)\b'
)
pattern=$(IFS='|'; echo "${patterns[*]}")

hits=$(
  find apps platform/host -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.hpp' -o -name '*.c' \) -print0 |
    sort -z |
    while IFS= read -r -d '' f; do
      # Shifts of the literal 1 are powers of two, not bytes.
      sed -E 's/(\{1\}|\b1[uUlL]*)[[:space:]]*<<[[:space:]]*[0-9]+/POW2/g' "$f" |
        grep -nE "$pattern" | sed "s|^|$f:|" || true
    done
)

bit_pattern='0x80[uU]?[[:space:]]*>>[[:space:]]*\('
bit_hits=$(
  find apps -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.hpp' -o -name '*.c' \) -print0 |
    sort -z |
    while IFS= read -r -d '' f; do
      # Line comments describe layouts; only code counts.
      sed -E 's|//.*$||' "$f" | grep -nE "$bit_pattern" | sed "s|^|$f:|" || true
    done
)
if [ -n "$bit_hits" ]; then
  hits=${hits:+$hits$'\n'}$bit_hits
fi

if [ -n "$hits" ]; then
  echo "byte order written by hand (use vlan_mgr::wire and the layouts instead):"
  echo "$hits"
  exit 1
fi
echo "no hand byte order in apps/ and platform/host/"
