// The interface table: which ports exist, their names and interface indexes,
// and the VDC each belongs to. The manager loads it at start and writes the
// table it uses to <run dir>/iftable, where vlanctl reads it, so that both
// name ports alike.
//
// File format, one port per line ('#' starts a comment):
//     <name> <if_index> [<vdc>]
// e.g. "Ethernet1/1 0x01010001 1"; the if_index is decimal or 0x-hex, the VDC
// 1..5 (default 1). Without a file: 48 ports Ethernet1/1 .. Ethernet1/48 in
// VDC 1, interface index 0x01010000 + port.
#ifndef VLAN_MGR_APPS_IFTABLE_H
#define VLAN_MGR_APPS_IFTABLE_H

#include <cstdint>
#include <string>
#include <vector>

namespace vlan_mgr_apps {

struct IfEntry {
    std::string name;   // "Ethernet1/1"
    uint32_t if_index;  // host order
    uint16_t vdc;
};

std::vector<IfEntry> default_iftable();

// Reads a table file. False (with a message "line N: ...") on a bad line, a
// duplicate name or index, or a file that cannot be read.
bool load_iftable(const std::string &path, std::vector<IfEntry> &out, std::string &error);

// Writes the table in the file format, replacing `path` atomically.
bool save_iftable(const std::string &path, const std::vector<IfEntry> &table, std::string &error);

// The table a client should use: <run dir>/iftable when it exists, else the
// default table. The run directory is $VLAN_MGR_RUN_DIR or /run/vlan_mgr.
std::string run_dir();
std::vector<IfEntry> client_iftable();

// "Ethernet1/1", "ethernet1/1", "Eth1/1", "eth1/1" all give "Ethernet1/1";
// a name of another form is returned as it is.
std::string canonical_port_name(const std::string &name);
// "Ethernet1/1" -> "Eth1/1" (for folded port lists).
std::string short_port_name(const std::string &name);

const IfEntry *find_port(const std::vector<IfEntry> &table, const std::string &name);
const IfEntry *find_port(const std::vector<IfEntry> &table, uint32_t if_index);

// Folds port names into ranges: Eth1/1, Eth1/2, Eth1/3, Eth1/7 -> "Eth1/1-3, Eth1/7".
std::string fold_ports(const std::vector<std::string> &short_names);

} // namespace vlan_mgr_apps

#endif
