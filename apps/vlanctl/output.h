// vlanctl's output: aligned tables, folded port lists, the texts of every
// show command and their JSON forms. Pure functions of the model records,
// so that tests check the exact text without a manager.
#ifndef VLANCTL_OUTPUT_H
#define VLANCTL_OUTPUT_H

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "model.h"

namespace vlanctl {
// JSON objects keep their keys in the order they were written.
using Json = nlohmann::ordered_json;
}

namespace vlanctl {

// A table: a header row, a row of dashes under it, then the rows. Columns
// are two blanks apart and as wide as their widest cell; a cell may hold
// several lines ('\n'), the other cells of its row staying blank on the
// continuation lines. Lines carry no trailing blanks.
struct Table {
    std::vector<std::string> headers;
    std::vector<std::vector<std::string>> rows;
    std::string render() const;
};

// Port names folded into ranges of short names ("Eth1/1-4, Eth1/7") and
// wrapped into lines of at most `width` characters (an element longer than
// that stands alone on its line); each line but the last ends with ",".
std::string fold_port_lines(const std::vector<std::string> &full_names, size_t width);

std::string vlan_type_name(uint32_t type);   // "normal", "primary", "isolated", "community"
std::string port_mode_name(uint32_t mode);   // "access", "trunk"

// show vlan brief: VLAN, Name, Status, Ports. A name's bytes outside
// printable ASCII are shown as \xNN.
std::string render_vlan_brief(const std::vector<VlanView> &vlans);
// show vlan / id / name: the brief table, then VLAN, Type, Primary.
std::string render_vlan_full(const std::vector<VlanView> &vlans);
Json vlans_json(const std::vector<VlanView> &vlans);

std::string render_switchport(const SwitchportView &port);
Json switchport_json(const SwitchportView &port);

std::string render_bd(const std::vector<BdView> &bds);
Json bd_json(const std::vector<BdView> &bds);

std::string render_reserved(const ReservedView &reserved);
Json reserved_json(const ReservedView &reserved);

SummaryView summarize(const std::vector<VlanView> &vlans);
std::string render_summary(const SummaryView &summary);
Json summary_json(const SummaryView &summary);

// The lines under "Error: ..." of a refused change: one per run of
// consecutive VLANs with the same status, "  VLAN 20-22: <text> (0x%08x)".
std::string render_failures(const std::vector<VlanFailure> &failures);

// "0x%08x".
std::string hex_word(uint32_t word);

// JSON text as vlanctl prints it: indented by two, ending with a newline,
// ASCII only (other characters as \uXXXX escapes, bytes that are not UTF-8
// replaced by \ufffd); it never throws.
std::string json_text(const Json &j);

} // namespace vlanctl

#endif
