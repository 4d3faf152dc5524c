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

// VLAN delete and delete-range request (one layout, two opcodes).
//   unused(2) vdc(2) count(4) bitmap(516)
struct DeleteRequest {
    static constexpr U16 vdc_id{2};
    static constexpr U32 count{4};
    static constexpr Bitmap vlans{8};
    static constexpr uint32_t kLen = 524;
};

// VLAN type change request.
//   unused(2) vdc(2) type(4) count(4) bitmap(516)
struct TypeChangeRequest {
    static constexpr U16 vdc_id{2};
    static constexpr U32 type{4};
    static constexpr U32 count{8};
    static constexpr Bitmap vlans{12};
    static constexpr uint32_t kLen = 528;
};

// One {VLAN id, status} pair of a reply.
struct Pair {
    static constexpr U32 vlan_id{0};
    static constexpr U32 status{4};
    static constexpr size_t kLen = 8;
};

// The delete reply, also the type-change reply.
//   status(4) vdc(2) count(4) count pairs
struct DeleteReply {
    static constexpr U32 status{0};
    static constexpr U16 vdc_id{4};
    static constexpr U32 count{6};
    static constexpr List pairs{10, Pair::kLen};
};

// One private-VLAN association entry of the single and the multi request.
//   tag(2) vdc(2) type(4) primary(4) count(4) bitmap(516)
struct AssocEntry {
    static constexpr U16 tag{0};
    static constexpr U16 vdc_id{2};
    static constexpr U32 type{4};
    static constexpr U32 primary{8};
    static constexpr U32 count{12};
    static constexpr Bitmap secondaries{16};
    static constexpr uint32_t kLen = 532;
};

// The single association request (magic, 1, one entry) and the multi request
// (cookie, n, n entries).
struct AssocRequest {
    static constexpr uint32_t kMagic = 0xBABEFACEu;
    static constexpr U32 magic{0}; // the multi request's cookie
    static constexpr U32 n{4};
    static constexpr List entries{8, AssocEntry::kLen};
    static constexpr uint32_t kSingleLen = 8 + AssocEntry::kLen;
};

// One entry of an association reply: its status, the request entry's fields
// in another order, then count {secondary, status} pairs.
//   status(4) vdc(2) type(4) primary(4) tag(2) count(4) pairs
struct AssocReplyEntry {
    static constexpr U32 status{0};
    static constexpr U16 vdc_id{4};
    static constexpr U32 type{6};
    static constexpr U32 primary{10};
    static constexpr U16 tag{14};
    static constexpr U32 count{16};
    static constexpr List pairs{20, Pair::kLen};
    static constexpr size_t kHeadLen = 20;
};

// The association replies: a 12-byte head, then the entries from 12.
//   single: magic(4) 1(4) 0(4) entry
//   multi:  cookie(4) status(4) n(4) n entries
struct AssocReply {
    static constexpr U32 magic{0}; // multi: the cookie
    static constexpr U32 word1{4}; // single: 1; multi: the overall status
    static constexpr U32 word2{8}; // single: 0; multi: n
    static constexpr size_t kEntriesOff = 12;
};

// VLAN name to id: the request carries the VDC id, the name and its NUL as
// the last byte; the reply is always 10 bytes.
struct NameToIdRequest {
    static constexpr U16 vdc_id{0};
    static constexpr size_t kNameOff = 2;
    // One character fewer than a create request carries: the two limits
    // differ.
    static constexpr size_t kNameMax = 32;
    // Without the name: the VDC id and the NUL.
    static constexpr uint32_t kFixedLen = kNameOff + 1;
};
struct NameToIdReply {
    static constexpr U32 status{0};
    static constexpr U16 vdc_id{4};
    static constexpr U32 vlan_id{6};
    static constexpr uint32_t kLen = 10;
};

// Reserved check: request vdc(2) unused(2) word1(4) word2(4); the reply
// echoes them and adds the result.
struct RsvdCheckRequest {
    static constexpr U16 vdc_id{0};
    static constexpr U32 check_word1{4};
    static constexpr U32 check_word2{8};
    static constexpr uint32_t kLen = 12;
};
struct RsvdCheckReply {
    static constexpr U16 vdc_id{0};
    static constexpr U32 check_word1{4};
    static constexpr U32 check_word2{8};
    static constexpr U32 check_result{12};
    static constexpr uint32_t kLen = 16;
};

} // namespace vlan_mgr::layout::config
