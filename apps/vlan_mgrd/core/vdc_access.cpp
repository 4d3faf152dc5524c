#include "vdc_access.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <fstream>
#include <sstream>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace vlan_mgrd {

namespace {

bool in(const std::vector<std::pair<uint16_t, uint16_t>> &ranges, uint16_t vdc)
{
    for (const auto &r : ranges)
        if (vdc >= r.first && vdc <= r.second)
            return true;
    return false;
}

// A decimal number from 0 to `max`, the whole of `s`.
bool number(const std::string &s, unsigned long max, unsigned long &out)
{
    if (s.empty() || s.size() > 10)
        return false;
    for (char c : s)
        if (c < '0' || c > '9')
            return false;
    out = std::strtoul(s.c_str(), nullptr, 10);
    return out <= max;
}

// "all", "none", or "N" and "N-M" separated by commas, VDC ids 1..65535.
bool vdc_list(const std::string &s, std::vector<std::pair<uint16_t, uint16_t>> &out)
{
    out.clear();
    if (s == "all") {
        out.push_back({1, 0xFFFF});
        return true;
    }
    if (s == "none")
        return true;
    std::stringstream items(s);
    std::string item;
    size_t seen = 0;
    while (std::getline(items, item, ',')) {
        ++seen;
        const size_t dash = item.find('-');
        unsigned long first = 0, last = 0;
        if (!number(item.substr(0, dash), 0xFFFF, first) ||
            !number(dash == std::string::npos ? item : item.substr(dash + 1), 0xFFFF, last) || first == 0 ||
            last < first)
            return false;
        out.push_back({static_cast<uint16_t>(first), static_cast<uint16_t>(last)});
    }
    // No empty item, no trailing comma.
    return seen > 0 && s.back() != ',';
}

bool user_id(const std::string &name, uint32_t &uid)
{
    std::vector<char> buf(16384);
    passwd pw{}, *found = nullptr;
    if (getpwnam_r(name.c_str(), &pw, buf.data(), buf.size(), &found) != 0 || found == nullptr)
        return false;
    uid = pw.pw_uid;
    return true;
}

bool group_id(const std::string &name, uint32_t &gid)
{
    std::vector<char> buf(65536);
    group gr{}, *found = nullptr;
    if (getgrnam_r(name.c_str(), &gr, buf.data(), buf.size(), &found) != 0 || found == nullptr)
        return false;
    gid = gr.gr_gid;
    return true;
}

} // namespace

VdcAccess::VdcAccess(uid_t manager_uid) : manager_uid_(manager_uid) {}

bool VdcAccess::parse(const std::string &text, std::string &error)
{
    std::vector<Rule> rules;
    bool group_rules = false;
    std::stringstream lines(text);
    std::string line;
    for (unsigned n = 1; std::getline(lines, line); ++n) {
        if (const size_t hash = line.find('#'); hash != std::string::npos)
            line.erase(hash);
        std::stringstream words(line);
        std::vector<std::string> w;
        for (std::string word; words >> word;)
            w.push_back(word);
        if (w.empty())
            continue;
        const std::string at = "line " + std::to_string(n) + ": ";
        Rule r{Who::remote, 0, {}};
        std::string list;
        if (w[0] == "remote" && w.size() == 2) {
            list = w[1];
        } else if ((w[0] == "user" || w[0] == "uid" || w[0] == "group" || w[0] == "gid") && w.size() == 3) {
            const bool by_user = w[0] == "user" || w[0] == "uid";
            r.who = by_user ? Who::uid : Who::gid;
            unsigned long id = 0;
            if (w[0] == "uid" || w[0] == "gid") {
                if (!number(w[1], 0xFFFFFFFEul, id)) {
                    error = at + "not a " + w[0] + ": '" + w[1] + "'";
                    return false;
                }
                r.id = static_cast<uint32_t>(id);
            } else if (!(by_user ? user_id(w[1], r.id) : group_id(w[1], r.id))) {
                error = at + "no such " + w[0] + ": '" + w[1] + "'";
                return false;
            }
            group_rules = group_rules || !by_user;
            list = w[2];
        } else {
            error = at + "expected 'user NAME VDCS', 'uid N VDCS', 'group NAME VDCS', 'gid N VDCS' or 'remote VDCS'";
            return false;
        }
        if (!vdc_list(list, r.vdcs)) {
            error = at + "not a VDC list: '" + list + "' (numbers and ranges such as 1,3-5, or all, or none)";
            return false;
        }
        rules.push_back(std::move(r));
    }
    rules_ = std::move(rules);
    has_group_rules_ = group_rules;
    groups_cache_.clear();
    return true;
}

bool VdcAccess::load(const std::string &path, bool missing_ok, std::string &error)
{
    std::ifstream in(path);
    if (!in) {
        const int err = errno;
        if (err == ENOENT && missing_ok)
            return parse("", error);
        error = path + ": " + std::strerror(err != 0 ? err : EIO);
        return false;
    }
    std::stringstream text;
    text << in.rdbuf();
    if (!parse(text.str(), error)) {
        error = path + " " + error;
        return false;
    }
    return true;
}

const std::vector<uint32_t> &VdcAccess::groups_of(uint32_t uid)
{
    for (const auto &e : groups_cache_)
        if (e.first == uid)
            return e.second;
    std::vector<uint32_t> groups;
    std::vector<char> buf(16384);
    passwd pw{}, *found = nullptr;
    if (getpwuid_r(uid, &pw, buf.data(), buf.size(), &found) == 0 && found != nullptr) {
        int count = 64;
        std::vector<gid_t> list(static_cast<size_t>(count));
        if (getgrouplist(pw.pw_name, pw.pw_gid, list.data(), &count) < 0 && count > 0) {
            list.resize(static_cast<size_t>(count));
            if (getgrouplist(pw.pw_name, pw.pw_gid, list.data(), &count) < 0)
                count = 0;
        }
        groups.assign(list.begin(), list.begin() + std::max(count, 0));
    }
    if (groups_cache_.size() >= 256)
        groups_cache_.clear();  // bounded, whatever the number of peers
    groups_cache_.push_back({uid, std::move(groups)});
    return groups_cache_.back().second;
}

bool VdcAccess::allows(const vlan_mgr_host_mts_info_t &sender, uint16_t vdc)
{
    if (sender.peer == VLAN_MGR_HOST_MTS_PEER_REMOTE) {
        for (const Rule &r : rules_)
            if (r.who == Who::remote && in(r.vdcs, vdc))
                return true;
        return false;
    }
    if (sender.peer != VLAN_MGR_HOST_MTS_PEER_LOCAL)
        return false;
    if (sender.peer_uid == 0 || sender.peer_uid == manager_uid_)
        return true;
    for (const Rule &r : rules_)
        if (r.who == Who::uid && r.id == sender.peer_uid && in(r.vdcs, vdc))
            return true;
    if (!has_group_rules_)
        return false;
    for (const Rule &r : rules_) {
        if (r.who != Who::gid || !in(r.vdcs, vdc))
            continue;
        if (r.id == sender.peer_gid)
            return true;
        for (uint32_t g : groups_of(sender.peer_uid))
            if (g == r.id)
                return true;
    }
    return false;
}

} // namespace vlan_mgrd
