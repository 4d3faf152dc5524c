#include "iftable.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <strings.h>
#include <unistd.h>

namespace vlan_mgr_apps {

std::vector<IfEntry> default_iftable()
{
    std::vector<IfEntry> t;
    for (uint32_t p = 1; p <= 48; ++p)
        t.push_back({"Ethernet1/" + std::to_string(p), 0x01010000u + p, 1});
    return t;
}

namespace {

bool parse_u32(const std::string &s, uint32_t &out)
{
    if (s.empty() || s[0] == '-')
        return false;
    errno = 0;
    char *end = nullptr;
    const unsigned long long v = std::strtoull(s.c_str(), &end, 0);
    if (errno != 0 || *end != '\0' || v > 0xFFFFFFFFull)
        return false;
    out = static_cast<uint32_t>(v);
    return true;
}

} // namespace

bool load_iftable(const std::string &path, std::vector<IfEntry> &out, std::string &error)
{
    std::ifstream in(path);
    if (!in) {
        error = path + ": cannot be read";
        return false;
    }
    std::vector<IfEntry> t;
    std::string line;
    for (unsigned n = 1; std::getline(in, line); ++n) {
        if (const size_t hash = line.find('#'); hash != std::string::npos)
            line.erase(hash);
        std::istringstream fields(line);
        std::string name, index, vdc, extra;
        if (!(fields >> name))
            continue;
        uint32_t if_index = 0, vdc_id = 1;
        const std::string where = path + ": line " + std::to_string(n) + ": ";
        if (!(fields >> index) || !parse_u32(index, if_index) || if_index == 0) {
            error = where + "interface index missing or invalid";
            return false;
        }
        if ((fields >> vdc) && (!parse_u32(vdc, vdc_id) || vdc_id < 1 || vdc_id > 5)) {
            error = where + "VDC must be 1..5";
            return false;
        }
        if (fields >> extra) {
            error = where + "unexpected text \"" + extra + "\"";
            return false;
        }
        name = canonical_port_name(name);
        if (find_port(t, name) != nullptr || find_port(t, if_index) != nullptr) {
            error = where + "duplicate interface " + name;
            return false;
        }
        t.push_back({name, if_index, static_cast<uint16_t>(vdc_id)});
    }
    out = std::move(t);
    return true;
}

bool save_iftable(const std::string &path, const std::vector<IfEntry> &table, std::string &error)
{
    const std::string tmp = path + ".tmp." + std::to_string(getpid());
    {
        std::ofstream o(tmp, std::ios::trunc);
        if (!o) {
            error = tmp + ": cannot be written";
            return false;
        }
        o << "# name if_index vdc\n";
        for (const IfEntry &e : table) {
            char idx[16];
            std::snprintf(idx, sizeof idx, "0x%08x", e.if_index);
            o << e.name << ' ' << idx << ' ' << e.vdc << '\n';
        }
        if (!o.flush()) {
            error = tmp + ": write failed";
            std::remove(tmp.c_str());
            return false;
        }
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        error = path + ": cannot be replaced";
        std::remove(tmp.c_str());
        return false;
    }
    return true;
}

std::string run_dir()
{
    const char *d = std::getenv("VLAN_MGR_RUN_DIR");
    return d != nullptr && d[0] != '\0' ? d : "/run/vlan_mgr";
}

std::vector<IfEntry> client_iftable()
{
    std::vector<IfEntry> t;
    std::string error;
    if (load_iftable(run_dir() + "/iftable", t, error))
        return t;
    return default_iftable();
}

std::string canonical_port_name(const std::string &name)
{
    static const char *const kPrefixes[] = {"ethernet", "eth", "e"};
    for (const char *prefix : kPrefixes) {
        const size_t n = std::char_traits<char>::length(prefix);
        if (name.size() > n && strncasecmp(name.c_str(), prefix, n) == 0 && name[n] >= '0' && name[n] <= '9')
            return "Ethernet" + name.substr(n);
    }
    return name;
}

std::string short_port_name(const std::string &name)
{
    if (name.rfind("Ethernet", 0) == 0)
        return "Eth" + name.substr(8);
    return name;
}

const IfEntry *find_port(const std::vector<IfEntry> &table, const std::string &name)
{
    const std::string c = canonical_port_name(name);
    for (const IfEntry &e : table)
        if (e.name == c)
            return &e;
    return nullptr;
}

const IfEntry *find_port(const std::vector<IfEntry> &table, uint32_t if_index)
{
    for (const IfEntry &e : table)
        if (e.if_index == if_index)
            return &e;
    return nullptr;
}

std::string fold_ports(const std::vector<std::string> &names)
{
    // Consecutive names that differ only in a trailing number fold into a range.
    auto split = [](const std::string &s, std::string &stem, long &num) {
        size_t i = s.size();
        while (i > 0 && s[i - 1] >= '0' && s[i - 1] <= '9')
            --i;
        if (i == s.size() || s.size() - i > 9)
            return false;
        stem = s.substr(0, i);
        num = std::stol(s.substr(i));
        return true;
    };
    std::string out;
    size_t i = 0;
    while (i < names.size()) {
        std::string stem, next_stem;
        long first = 0, last = 0, n = 0;
        size_t j = i + 1;
        if (split(names[i], stem, first)) {
            last = first;
            while (j < names.size() && split(names[j], next_stem, n) && next_stem == stem && n == last + 1) {
                last = n;
                ++j;
            }
        }
        if (!out.empty())
            out += ", ";
        out += names[i];
        if (j - i > 1)
            out += "-" + std::to_string(last);
        i = j;
    }
    return out;
}

} // namespace vlan_mgr_apps
