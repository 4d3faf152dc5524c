// The layouts of the VLAN configuration messages, written once: the builders
// and parsers of this folder and the manager's decoders and encoders
// (*_server.cpp) are all made from them.
#pragma once

#include <vlan_mgr/internal/layout.h>

namespace vlan_mgr::layout::config {

// VLAN create request: one VLAN with its name, or a bitmap of VLANs.
//   vdc(2) count(2) vlan_id(4) options(4) bitmap(516) name NUL trailing(4)
struct CreateRequest {
    static constexpr U16 vdc_id{0};
    static constexpr U16 count{2};
    static constexpr U32 vlan_id{4};
    static constexpr U32 options{8};
    static constexpr Bitmap vlans{12};
    static constexpr size_t kNameOff = 528;
    static constexpr size_t kNameMax = 33;
    static constexpr size_t kTrailing = 4;
    // Without the name: its NUL and the trailing bytes.
    static constexpr uint32_t kFixedLen = kNameOff + 1 + kTrailing;
};

// The create reply and, without the leading VDC id, the create/update reply:
// count, the id (count 1) or the bitmap of the ids, then one status word per
// id in ascending order.
struct StatusListReply {
    bool has_vdc;
    U16 vdc_id;
    U16 count;
    U32 vlan_id;
    Bitmap vlans;
    List statuses;
};
inline constexpr StatusListReply kCreateReply{true, {0}, {2}, {4}, {8}, {524, 4}};
inline constexpr StatusListReply kCreateUpdateReply{false, {0}, {0}, {2}, {6}, {522, 4}};

} // namespace vlan_mgr::layout::config
