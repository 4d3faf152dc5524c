#!/usr/bin/env bash
# The manager's side of the protocol declares its types in one namespace,
# vlan_mgr::server, across the headers of include/vlan_mgr/server/. Two
# families declaring a type of the same name would be two definitions of one
# type in the manager (which links them all): its containers would be built
# with one layout and freed with the other. Each name must be declared once.
set -euo pipefail
src=$1
dups=$(grep -hoE '^(struct|class|enum( class)?|using) [A-Za-z_][A-Za-z0-9_]*' "$src"/include/vlan_mgr/server/*.h |
  awk '{print $NF}' | sort | uniq -d)
if [ -n "$dups" ]; then
  echo "types declared by more than one header of include/vlan_mgr/server/:"
  for t in $dups; do
    grep -nE "^(struct|class|enum( class)?|using) $t\b" "$src"/include/vlan_mgr/server/*.h
  done
  exit 1
fi
echo "every type of vlan_mgr::server is declared once"
