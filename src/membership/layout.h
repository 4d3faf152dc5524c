// The layouts of the port membership messages, written once: the builders
// and parsers of this folder and the manager's decoders and encoders
// (*_server.cpp) are all made from them. Offsets inside a list entry are
// from the start of that entry.
#pragma once

#include <vlan_mgr/internal/layout.h>

#include "vlan_mgr_platform.h"

namespace vlan_mgr::layout::memb {

// An interface index: the platform's hton_if_index of the index, copied as
// it stands (never swapped here).
struct IfIndex {
    size_t off;
    static constexpr size_t width = 4;
    constexpr size_t end() const { return off + width; }
    uint32_t get(const wire::Reader &r) const { return ntoh_if_index(r.host_u32(off)); }
    void put(wire::Writer &w, uint32_t if_index) const { w.host_u32(off, hton_if_index(if_index)); }
};

// A VDC id and a VLAN id side by side (6 bytes).
struct Key {
    U16 vdc_id;
    U32 vlan_id;
};

// The request of the five port queries: N, then N interface indexes.
struct PortListRequest {
    static constexpr U32 count{0};
    static constexpr List ports{4, 4};
    static constexpr IfIndex if_index{0}; // of a port entry
};

// The head of every port query reply: status, N, then the entries.
struct PortReplyHead {
    static constexpr U32 status{0};
    static constexpr U32 count{4};
    static constexpr size_t kLen = 8;
};

// Port active membership and voice VLAN replies: entries of if-index, VDC
// id, VLAN id.
struct PortVlanReply : PortReplyHead {
    static constexpr List entries{8, 10};
    static constexpr IfIndex if_index{0};
    static constexpr Key vlan{{4}, {6}};
};

// Port membership reply: if-index, word 1 (mode), word 2 (voice VLAN),
// VLAN A (access), VLAN B (native).
struct PortMembReply : PortReplyHead {
    static constexpr List entries{8, 24};
    static constexpr IfIndex if_index{0};
    static constexpr U32 word_1{4};
    static constexpr U32 word_2{8};
    static constexpr Key vlan_a{{12}, {14}};
    static constexpr Key vlan_b{{18}, {20}};
};

// Port trunking membership reply: if-index, VLAN word 1 with its VDC id,
// the bitmaps' VDC id, 2 bytes 0, bitmap 1, bitmap 2, VLAN word 2 with its
// VDC id.
struct PortTrunkingReply : PortReplyHead {
    static constexpr List entries{8, 1052};
    static constexpr IfIndex if_index{0};
    static constexpr Key word_1{{4}, {6}};
    static constexpr U16 bitmap_vdc_id{10};
    static constexpr Bitmap bitmap_1{14};
    static constexpr Bitmap bitmap_2{530};
    static constexpr Key word_2{{1046}, {1048}};
};

// Port active trunking reply: N interface indexes, then N blocks of 2 bytes
// 0, the VDC id and a bitmap.
struct PortActiveTrunkingReply : PortReplyHead {
    static constexpr List if_indexes{8, 4};
    static constexpr IfIndex if_index{0};
    static constexpr size_t kBlock = 520;
    // The blocks follow the n interface indexes.
    static constexpr List blocks(uint64_t n) { return {static_cast<size_t>(if_indexes.end(n)), kBlock}; }
    static constexpr U16 vdc_id{2};
    static constexpr Bitmap bitmap{4};
};

// Per-VLAN queries: N, then N keys.
struct PerVlanRequest {
    static constexpr U32 count{0};
    static constexpr List keys{4, 6};
    static constexpr Key key{{0}, {2}};
};

// Per-VLAN reply: status, G, then G groups of VDC id, VLAN id, K and K
// interface indexes, one after the other.
struct PerVlanReply {
    static constexpr U32 status{0};
    static constexpr U32 groups{4};
    static constexpr size_t kFirstGroup = 8;
    static constexpr Key key{{0}, {2}};     // of a group
    static constexpr U32 count{6};          // of a group
    static constexpr List ports{10, 4};     // of a group
    static constexpr IfIndex if_index{0};   // of a port
    static constexpr size_t kGroupHead = 10;
};

// VLAN-range membership reply: status, the VDC id, K, K interface indexes.
struct VlanRangeReply {
    static constexpr U32 status{0};
    static constexpr U16 vdc_id{4};
    static constexpr U32 count{6};
    static constexpr List ports{10, 4};
    static constexpr IfIndex if_index{0};
    static constexpr size_t kHead = 10;
};

// Access membership update: operation, key, N, N interface indexes.
struct UpdateAccessRequest {
    static constexpr U32 op{0};
    static constexpr Key key{{4}, {6}};
    static constexpr U32 count{10};
    static constexpr List ports{14, 4};
    static constexpr IfIndex if_index{0};
};

// Its reply: status and the request's key.
struct UpdateAccessReply {
    static constexpr U32 status{0};
    static constexpr Key key{{4}, {6}};
    static constexpr size_t kLen = 10;
};

// Trunking membership update: operation, N, then N records of a key, a
// 16-bit value, a bitmap and the interface index.
struct UpdateTrunkingRequest {
    static constexpr U32 op{0};
    static constexpr U32 count{4};
    static constexpr List records{8, 528};
    static constexpr Key key{{0}, {2}};
    static constexpr U16 value{6};
    static constexpr Bitmap bitmap{8};
    static constexpr IfIndex if_index{524};
};

// Its reply: status, operation, VDC id, VLAN id, M, then M pairs of two
// words. The manager writes word 1 as an interface index; the library reads
// both words big-endian.
struct UpdateTrunkingReply {
    static constexpr U32 status{0};
    static constexpr U32 op{4};
    static constexpr Key key{{8}, {10}};
    static constexpr U32 count{14};
    static constexpr List pairs{18, 8};
    static constexpr IfIndex if_index{0};
    static constexpr U32 word_1{0};
    static constexpr U32 word_2{4};
};

// Port VLAN membership info: N, then N records of the interface index, two
// keys and a bitmap.
struct PortVlanMembInfoRequest {
    static constexpr U32 count{0};
    static constexpr List records{4, 532};
    static constexpr IfIndex if_index{0};
    static constexpr Key first{{4}, {6}};
    static constexpr Key last{{10}, {12}};
    static constexpr Bitmap bitmap{16};
};

} // namespace vlan_mgr::layout::memb
