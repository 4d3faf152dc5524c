#include "output.h"

#include <algorithm>
#include <cstdio>

#include <vlan_mgr/opcodes.h>

#include "iftable.h"
#include "printable.h"
#include "status_text.h"
#include "vlan_list.h"

namespace vlanctl {

namespace {

constexpr size_t kPortsWidth = 48; // the Ports column wraps beyond this

std::vector<std::string> split_lines(const std::string &cell)
{
    std::vector<std::string> lines;
    size_t pos = 0;
    for (;;) {
        const size_t nl = cell.find('\n', pos);
        lines.push_back(cell.substr(pos, nl == std::string::npos ? std::string::npos : nl - pos));
        if (nl == std::string::npos)
            return lines;
        pos = nl + 1;
    }
}

void append_line(std::string &out, std::string line)
{
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    out += line;
    out += '\n';
}

// "Key   : value" lines with the colons aligned.
std::string render_fields(const std::vector<std::pair<std::string, std::string>> &fields)
{
    size_t width = 0;
    for (const auto &f : fields)
        width = std::max(width, f.first.size());
    std::string out;
    for (const auto &f : fields)
        append_line(out, f.first + std::string(width - f.first.size(), ' ') + " : " + f.second);
    return out;
}

std::string vlan_or_none(uint32_t vlan) { return vlan == 0 ? "none" : std::to_string(vlan); }

Json vlan_or_null(uint32_t vlan) { return vlan == 0 ? Json(nullptr) : Json(vlan); }

std::string list_or_none(const std::vector<uint32_t> &vlans)
{
    return vlans.empty() ? "none" : format_vlan_list(vlans);
}

} // namespace

std::string Table::render() const
{
    std::vector<size_t> width(headers.size(), 0);
    for (size_t c = 0; c < headers.size(); ++c)
        width[c] = headers[c].size();
    for (const auto &row : rows)
        for (size_t c = 0; c < row.size() && c < width.size(); ++c)
            for (const std::string &l : split_lines(row[c]))
                width[c] = std::max(width[c], l.size());

    auto line_of = [&](const std::vector<std::string> &cells) {
        std::string line;
        for (size_t c = 0; c < width.size(); ++c) {
            const std::string cell = c < cells.size() ? cells[c] : std::string();
            line += cell;
            if (c + 1 < width.size())
                line += std::string(width[c] - cell.size() + 2, ' ');
        }
        return line;
    };
    std::string out;
    append_line(out, line_of(headers));
    std::vector<std::string> dashes;
    for (size_t w : width)
        dashes.push_back(std::string(w, '-'));
    append_line(out, line_of(dashes));
    for (const auto &row : rows) {
        std::vector<std::vector<std::string>> cells;
        size_t height = 1;
        for (size_t c = 0; c < width.size(); ++c) {
            cells.push_back(split_lines(c < row.size() ? row[c] : std::string()));
            height = std::max(height, cells.back().size());
        }
        for (size_t l = 0; l < height; ++l) {
            std::vector<std::string> line;
            for (const auto &cell : cells)
                line.push_back(l < cell.size() ? cell[l] : std::string());
            append_line(out, line_of(line));
        }
    }
    return out;
}

std::string fold_port_lines(const std::vector<std::string> &full_names, size_t width)
{
    std::vector<std::string> shorts;
    for (const std::string &n : full_names)
        shorts.push_back(vlan_mgr_apps::short_port_name(n));
    const std::string folded = vlan_mgr_apps::fold_ports(shorts);
    if (folded.empty())
        return folded;
    std::vector<std::string> elements;
    size_t pos = 0;
    for (;;) {
        const size_t sep = folded.find(", ", pos);
        elements.push_back(folded.substr(pos, sep == std::string::npos ? std::string::npos : sep - pos));
        if (sep == std::string::npos)
            break;
        pos = sep + 2;
    }
    std::string out, line;
    for (const std::string &e : elements) {
        if (line.empty()) {
            line = e;
        } else if (line.size() + 2 + e.size() + 1 <= width) { // room for ", e" and a trailing ","
            line += ", " + e;
        } else {
            out += line + ",\n";
            line = e;
        }
    }
    return out + line;
}

std::string vlan_type_name(uint32_t type)
{
    switch (type) {
    case VLAN_MGR_VLAN_TYPE_NORMAL:
        return "normal";
    case VLAN_MGR_VLAN_TYPE_PRIMARY:
        return "primary";
    case VLAN_MGR_VLAN_TYPE_ISOLATED:
        return "isolated";
    case VLAN_MGR_VLAN_TYPE_COMMUNITY:
        return "community";
    default:
        return "type " + std::to_string(type);
    }
}

std::string port_mode_name(uint32_t mode)
{
    switch (mode) {
    case VLAN_MGR_PORT_MODE_ACCESS:
        return "access";
    case VLAN_MGR_PORT_MODE_TRUNK:
        return "trunk";
    default:
        return "mode " + std::to_string(mode);
    }
}

std::string render_vlan_brief(const std::vector<VlanView> &vlans)
{
    Table t{{"VLAN", "Name", "Status", "Ports"}, {}};
    for (const VlanView &v : vlans)
        t.rows.push_back({std::to_string(v.id), vlan_mgr_apps::escape_unprintable(v.name), v.status,
                          fold_port_lines(v.ports, kPortsWidth)});
    return t.render();
}

std::string render_vlan_full(const std::vector<VlanView> &vlans)
{
    Table t{{"VLAN", "Type", "Primary"}, {}};
    for (const VlanView &v : vlans)
        t.rows.push_back({std::to_string(v.id), vlan_type_name(v.type), v.primary == 0 ? "-" : std::to_string(v.primary)});
    return render_vlan_brief(vlans) + "\n" + t.render();
}

Json vlans_json(const std::vector<VlanView> &vlans)
{
    Json list = Json::array();
    for (const VlanView &v : vlans)
        list.push_back({{"id", v.id},
                        {"name", v.name},
                        {"status", v.status},
                        {"type", vlan_type_name(v.type)},
                        {"primary", vlan_or_null(v.primary)},
                        {"ports", v.ports}});
    return {{"vlans", list}};
}

std::string render_switchport(const SwitchportView &p)
{
    return render_fields({{"Name", p.name},
                          {"Switchport mode", port_mode_name(p.mode)},
                          {"Access VLAN", vlan_or_none(p.access_vlan)},
                          {"Trunking native VLAN", vlan_or_none(p.native_vlan)},
                          {"Trunking VLANs allowed", list_or_none(p.allowed)},
                          {"Voice VLAN", vlan_or_none(p.voice_vlan)},
                          {"Trunking VLANs active", list_or_none(p.active)}});
}

Json switchport_json(const SwitchportView &p)
{
    return {{"name", p.name},
            {"mode", port_mode_name(p.mode)},
            {"access_vlan", vlan_or_null(p.access_vlan)},
            {"native_vlan", vlan_or_null(p.native_vlan)},
            {"allowed_vlans", format_vlan_list(p.allowed)},
            {"voice_vlan", vlan_or_null(p.voice_vlan)},
            {"active_vlans", format_vlan_list(p.active)}};
}

std::string render_bd(const std::vector<BdView> &bds)
{
    Table t{{"VLAN", "BD"}, {}};
    for (const BdView &b : bds)
        t.rows.push_back({std::to_string(b.vlan), std::to_string(b.bd)});
    return t.render();
}

Json bd_json(const std::vector<BdView> &bds)
{
    Json list = Json::array();
    for (const BdView &b : bds)
        list.push_back({{"vlan", b.vlan}, {"bd", b.bd}});
    return {{"bds", list}};
}

std::string render_reserved(const ReservedView &r)
{
    return render_fields({{"Reserved VLANs", list_or_none(r.vlans)},
                          {"Configured range", std::to_string(r.start) + "-" + std::to_string(r.end)},
                          {"Range after reload", std::to_string(r.future_start) + "-" + std::to_string(r.future_end)}});
}

Json reserved_json(const ReservedView &r)
{
    return {{"reserved_vlans", format_vlan_list(r.vlans)},
            {"start", r.start},
            {"end", r.end},
            {"future_start", r.future_start},
            {"future_end", r.future_end}};
}

SummaryView summarize(const std::vector<VlanView> &vlans)
{
    SummaryView s;
    for (const VlanView &v : vlans) {
        ++s.existing;
        if (v.id != 1)
            ++s.user;
        if (v.id > 1005)
            ++s.extended;
        if (v.type == VLAN_MGR_VLAN_TYPE_PRIMARY)
            ++s.primary;
        else if (v.type == VLAN_MGR_VLAN_TYPE_ISOLATED)
            ++s.isolated;
        else if (v.type == VLAN_MGR_VLAN_TYPE_COMMUNITY)
            ++s.community;
    }
    return s;
}

std::string render_summary(const SummaryView &s)
{
    return render_fields({{"Existing VLANs", std::to_string(s.existing)},
                          {"User VLANs", std::to_string(s.user)},
                          {"Extended VLANs", std::to_string(s.extended)},
                          {"Primary private VLANs", std::to_string(s.primary)},
                          {"Isolated private VLANs", std::to_string(s.isolated)},
                          {"Community private VLANs", std::to_string(s.community)}});
}

Json summary_json(const SummaryView &s)
{
    return {{"existing", s.existing}, {"user", s.user},           {"extended", s.extended},
            {"primary", s.primary},   {"isolated", s.isolated},   {"community", s.community}};
}

std::string render_failures(const std::vector<VlanFailure> &failures)
{
    std::vector<VlanFailure> sorted = failures;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const VlanFailure &a, const VlanFailure &b) { return a.vlan < b.vlan; });
    std::string out;
    size_t i = 0;
    while (i < sorted.size()) {
        size_t j = i;
        while (j + 1 < sorted.size() && sorted[j + 1].vlan == sorted[j].vlan + 1 &&
               sorted[j + 1].status == sorted[i].status)
            ++j;
        std::string vlans = std::to_string(sorted[i].vlan);
        if (j > i)
            vlans += "-" + std::to_string(sorted[j].vlan);
        out += "  VLAN " + vlans + ": " + vlan_mgr_apps::status_text(sorted[i].status) + " (" +
               hex_word(sorted[i].status) + ")\n";
        i = j + 1;
    }
    return out;
}

std::string hex_word(uint32_t word)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08x", word);
    return buf;
}

std::string json_text(const Json &j)
{
    // ASCII only: every other character as \uXXXX, and a byte that is not
    // UTF-8 (a name saved by an older manager) as U+FFFD instead of an
    // exception.
    return j.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}

} // namespace vlanctl
