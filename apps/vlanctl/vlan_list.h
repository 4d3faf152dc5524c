// VLAN lists in the operators' range syntax: "10", "10,20-30", "1-4094".
// Elements are separated by commas, each a VLAN id or an ascending range
// "first-last" of ids 1..4094; the result is sorted and free of duplicates.
#ifndef VLANCTL_VLAN_LIST_H
#define VLANCTL_VLAN_LIST_H

#include <cstdint>
#include <string>
#include <vector>

#include <vlan_mgr/frame.h>

namespace vlanctl {

inline constexpr uint32_t kVlanMin = 1;
inline constexpr uint32_t kVlanMax = 4094;

// Parses `text` into ascending, distinct VLAN ids. False with `error` set
// ("VLAN 4095 out of range 1-4094", "range 30-20 is not ascending", ...)
// when the text is not a valid list; `out` is then left empty. Quoted input
// in `error` is cut to 40 bytes followed by "..." and escaped (\xNN).
bool parse_vlan_list(const std::string &text, std::vector<uint32_t> &out, std::string &error);

// Parses one VLAN id (decimal, 1..4094).
bool parse_vlan_id(const std::string &text, uint32_t &out, std::string &error);

// The inverse: ascending ids folded into ranges, "10,20-30"; "" for none.
std::string format_vlan_list(const std::vector<uint32_t> &vlans);

// Conversions to and from the wire bitmap (length word 512, host order).
vlan_bitmap to_bitmap(const std::vector<uint32_t> &vlans);
std::vector<uint32_t> from_bitmap(const vlan_bitmap &bitmap);
std::vector<uint32_t> from_bitmap_bits(const uint8_t *bits);

} // namespace vlanctl

#endif
