// The layouts of the VLAN query messages with fixed layouts, written once:
// the builders and parsers of this folder and the manager's decoders and
// encoders (*_server.cpp) are all made from them. The TLV-framed queries are
// described by their schema tables (src/tlv/tables.c).
#pragma once

#include <vlan_mgr/internal/layout.h>
#include <vlan_mgr/opcodes.h>

namespace vlan_mgr::layout::query {

// VLAN info and next-VLAN info request: VDC id, VLAN id.
struct InfoRequest {
    static constexpr U16 vdc_id{0};
    static constexpr U32 vlan_id{2};
    static constexpr uint32_t kLen = 6;
};

// VLAN info reply: status, VDC id, attribute words 1..6, the name in 32
// NUL-padded bytes (a 32-character name has no NUL).
struct InfoReply {
    static constexpr U32 status{0};
    static constexpr U16 vdc_id{4};
    static constexpr List attrs{6, 4}; // six words, word 1 first
    static constexpr size_t kAttrs = 6;
    static constexpr Bytes name{30, 32};
    static constexpr uint32_t kLen = 62;
};

// All created VLANs request: count of VDC ids (1), VDC id.
struct AllCreatedRequest {
    static constexpr U32 num{0};
    static constexpr U16 vdc_id{4};
    static constexpr uint32_t kLen = 6;
};

// Created VLANs in a range: count of VDC ids (1), the VLAN bitmap, VDC id.
struct RangeCreatedRequest {
    static constexpr U32 num{0};
    static constexpr Bitmap vlans{4};
    static constexpr U16 vdc_id{520};
    static constexpr uint32_t kLen = 522;
};

// Created-VLAN listing reply: the number of groups, then the groups. A group
// is its VDC id, its record count R and R records; it takes 36 + 132·R
// bytes, so the next group starts that far on (the rest is zero).
struct CreatedReply {
    static constexpr U32 groups{0};
    static constexpr size_t kGroupsOff = 4;
    static constexpr uint64_t kGroupFixed = 36;
    static constexpr uint64_t kGroupPerRecord = 132;
    // Where the group after one of `n` records starts, from that group's start.
    static constexpr uint64_t group_size(uint64_t n) { return kGroupFixed + kGroupPerRecord * n; }
};

// One group of a listing reply, offsets from the group's start.
struct CreatedGroup {
    static constexpr U16 vdc_id{0};
    static constexpr U32 count{2};
    static constexpr List records{6, 22};
    static constexpr size_t kHead = 6;
};

// One record of a group: VLAN id, attribute word 2, BD id, attribute words
// 4, 5 and 6.
struct CreatedRecord {
    static constexpr U32 vlan_id{0};
    static constexpr U32 attr2{4};
    static constexpr U16 bd_id{8};
    static constexpr U32 attr4{10};
    static constexpr U32 attr5{14};
    static constexpr U32 attr6{18};
};

// VLANs by attribute request: VDC id, attribute number.
struct AttrRequest {
    static constexpr U16 vdc_id{0};
    static constexpr U32 attr{2};
    static constexpr uint32_t kLen = 6;
};

// VLANs by attribute reply: status, the attribute echoed, the entry count,
// then the entries: VLAN ids, or for attribute 7 (VLAN id, value) pairs.
struct AttrReply {
    static constexpr U32 status{0};
    static constexpr U32 attr{4};
    static constexpr U32 count{8};
    static constexpr size_t kEntriesOff = 12;
    static constexpr uint32_t kValueAttr = VLAN_MGR_ATTR_BD_PAIRS;
    static constexpr List ids{kEntriesOff, 4};
    static constexpr List pairs{kEntriesOff, 8};
    static constexpr List entries(uint32_t attr) { return attr == kValueAttr ? pairs : ids; }
};

// One entry of the attribute reply, offsets from the entry's start.
struct AttrEntry {
    static constexpr U32 vlan_id{0};
    static constexpr U32 value{4}; // attribute 7 only
};

// Reserved-VLAN info request: query word, count of VDC ids (1), VDC id.
struct ReserveRequest {
    static constexpr U32 query{0};
    static constexpr U32 num{4};
    static constexpr U16 vdc_id{8};
    static constexpr uint32_t kLen = 10;
};

// Reserved-VLAN info reply: status, record count, the records.
struct ReserveReply {
    static constexpr U32 status{0};
    static constexpr U32 count{4};
    static constexpr List records{8, 1044};
};

// One record: 2 unused bytes, VDC id, two VLAN bitmaps, two words.
struct ReserveRecord {
    static constexpr U16 vdc_id{2};
    static constexpr Bitmap bitmap1{4};
    static constexpr Bitmap bitmap2{520};
    static constexpr U32 word1{1036};
    static constexpr U32 word2{1040};
};

// What the manager checks of a TLV-framed query before the TLV utility sees
// it: the buffer's own total length (big-endian, header included) must be
// the payload's length, and the header is at least 8 bytes. The utility
// trusts a buffer whose length it is told is 0, so a short buffer never
// reaches it.
struct TlvRequest {
    static constexpr U32 total{0};
    static constexpr uint32_t kHeaderMin = 8;
};

} // namespace vlan_mgr::layout::query
