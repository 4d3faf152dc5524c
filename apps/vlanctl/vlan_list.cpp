#include "vlan_list.h"

#include <algorithm>

#include <vlan_mgr/internal/layout.h>

#include "printable.h"

namespace vlanctl {

namespace {

// A decimal number without sign or blanks, at most 9 digits.
bool parse_number(const std::string &s, uint32_t &out)
{
    if (s.empty() || s.size() > 9)
        return false;
    uint32_t v = 0;
    for (char c : s) {
        if (c < '0' || c > '9')
            return false;
        v = v * 10 + static_cast<uint32_t>(c - '0');
    }
    out = v;
    return true;
}

bool in_range(uint32_t v, std::string &error)
{
    if (v >= kVlanMin && v <= kVlanMax)
        return true;
    error = "VLAN " + std::to_string(v) + " out of range 1-4094";
    return false;
}

} // namespace

bool parse_vlan_id(const std::string &text, uint32_t &out, std::string &error)
{
    uint32_t v = 0;
    if (!parse_number(text, v)) {
        error = "invalid VLAN id \"" + vlan_mgr_apps::echo_text(text) + "\"";
        return false;
    }
    if (!in_range(v, error))
        return false;
    out = v;
    return true;
}

bool parse_vlan_list(const std::string &text, std::vector<uint32_t> &out, std::string &error)
{
    out.clear();
    if (text.empty()) {
        error = "empty VLAN list";
        return false;
    }
    std::vector<bool> seen(kVlanMax + 1, false);
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t comma = text.find(',', pos);
        if (comma == std::string::npos)
            comma = text.size();
        const std::string element = text.substr(pos, comma - pos);
        if (element.empty()) {
            error = "empty element in VLAN list \"" + vlan_mgr_apps::echo_text(text) + "\"";
            return false;
        }
        const size_t dash = element.find('-');
        uint32_t first = 0, last = 0;
        if (dash == std::string::npos) {
            if (!parse_number(element, first)) {
                error = "invalid VLAN id \"" + vlan_mgr_apps::echo_text(element) + "\"";
                return false;
            }
            last = first;
        } else if (!parse_number(element.substr(0, dash), first) || !parse_number(element.substr(dash + 1), last)) {
            error = "invalid VLAN range \"" + vlan_mgr_apps::echo_text(element) + "\"";
            return false;
        }
        if (!in_range(first, error) || !in_range(last, error))
            return false;
        if (last < first) {
            error = "range " + element + " is not ascending";
            return false;
        }
        for (uint32_t v = first; v <= last; ++v)
            seen[v] = true;
        pos = comma + 1;
    }
    for (uint32_t v = kVlanMin; v <= kVlanMax; ++v)
        if (seen[v])
            out.push_back(v);
    return true;
}

std::string format_vlan_list(const std::vector<uint32_t> &vlans)
{
    std::string out;
    size_t i = 0;
    while (i < vlans.size()) {
        size_t j = i;
        while (j + 1 < vlans.size() && vlans[j + 1] == vlans[j] + 1)
            ++j;
        if (!out.empty())
            out += ',';
        out += std::to_string(vlans[i]);
        if (j > i)
            out += '-' + std::to_string(vlans[j]);
        i = j + 1;
    }
    return out;
}

vlan_bitmap to_bitmap(const std::vector<uint32_t> &vlans)
{
    // The bitmap field as the library writes one: the length word, then the
    // VLANs' bits.
    constexpr vlan_mgr::layout::Bitmap field{0};
    static_assert(sizeof(vlan_bitmap) == field.width);
    vlan_bitmap b;
    vlan_mgr::wire::Writer w(&b, sizeof b);
    field.init(w);
    for (uint32_t v : vlans)
        if (v < 8 * field.kBitBytes)
            vlan_mgr::layout::bitmap_set(field.bits(w), v);
    return b;
}

std::vector<uint32_t> from_bitmap_bits(const uint8_t *bits)
{
    std::vector<uint32_t> out;
    for (uint32_t v = kVlanMin; v <= kVlanMax; ++v)
        if (vlan_mgr::layout::bitmap_test(bits, v))
            out.push_back(v);
    return out;
}

std::vector<uint32_t> from_bitmap(const vlan_bitmap &bitmap) { return from_bitmap_bits(bitmap.bits); }

} // namespace vlanctl
