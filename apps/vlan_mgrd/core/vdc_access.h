// Who may act for which VDC: the manager's VDC access policy.
//
// A request names its sender's VDC in the transport header, which the sender
// writes itself. The manager checks it against the sender's credentials that
// the transport took from the kernel (uid, gid of the connecting process) and
// a small policy file, by default /etc/vlan_mgr/vdc_access:
//
//   # comment
//   user alice 2,3        a user (by name) acts for VDCs 2 and 3
//   uid 1001 4            a user (by id)
//   group netops 1-5      every member of a group: the peer's own gid, or a
//   gid 120 1             member by the group database
//   remote all            peers over TCP (other nodes): no credentials
//
// VDC lists are "all", "none", or numbers and ranges separated by commas.
// Lines add up. root and the manager's own user act for every VDC; any other
// local peer acts for the VDCs its lines give it and for no other, so a peer
// that no line names acts for none. TCP peers act for the VDCs of the
// "remote" lines (none without one).
#ifndef VLAN_MGRD_VDC_ACCESS_H
#define VLAN_MGRD_VDC_ACCESS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vlan_mgr_host_mts.h"

namespace vlan_mgrd {

inline constexpr const char *kDefaultVdcAccessPath = "/etc/vlan_mgr/vdc_access";

class VdcAccess {
public:
    // An empty policy: only root and `manager_uid` act for any VDC.
    explicit VdcAccess(uid_t manager_uid);

    // Reads the policy from `path`, replacing the current one. A file that
    // does not exist is an empty policy when `missing_ok`. false with `error`
    // ("<path>: <reason>" or "<path> line <n>: <reason>") on failure, and then
    // the policy is unchanged.
    bool load(const std::string &path, bool missing_ok, std::string &error);

    // Parses the policy text (as load does); `error` says "line <n>: ...".
    bool parse(const std::string &text, std::string &error);

    // Whether the sender of a received message may act for `vdc`.
    bool allows(const vlan_mgr_host_mts_info_t &sender, uint16_t vdc);

private:
    using Ranges = std::vector<std::pair<uint16_t, uint16_t>>;
    enum class Who { uid, gid, remote };
    struct Rule {
        Who who;
        uint32_t id;
        Ranges vdcs;
    };
    // The groups that the group database gives a user, looked up once.
    const std::vector<uint32_t> &groups_of(uint32_t uid);

    uid_t manager_uid_;
    std::vector<Rule> rules_;
    bool has_group_rules_ = false;
    std::vector<std::pair<uint32_t, std::vector<uint32_t>>> groups_cache_;
};

} // namespace vlan_mgrd

#endif
