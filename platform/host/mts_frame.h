// The transport's framing: the layout of the header that leads every message
// (from which both its writer and its reader in mts.cpp are made), the
// layouts of the few other transport-owned frames, and the header parser and
// builder over a plain record of the fields, for the fuzz target and the
// tests. Internal to the host platform.
#ifndef VLAN_MGR_HOST_MTS_FRAME_H
#define VLAN_MGR_HOST_MTS_FRAME_H

#include <cstddef>
#include <cstdint>

#include <vlan_mgr/internal/layout.h>

namespace vlan_mgr_host {

// The kind of a publisher's heartbeat, after the four kinds of
// vlan_mgr_host_mts.h: read by the transport, never handed out.
inline constexpr uint8_t kMtsKindHeartbeat = 5;

// The header of every message, big-endian. Version 1 ends after the sequence
// number; version 2 adds the deadline (CLOCK_REALTIME milliseconds after
// which a request is dropped; 0 for none).
struct MtsHeaderLayout {
    static constexpr vlan_mgr::layout::U32 magic{0};
    static constexpr vlan_mgr::layout::U8 version{4};
    static constexpr vlan_mgr::layout::U8 kind{5};
    static constexpr vlan_mgr::layout::U16 src_vdc{6}; // the sender's own VDC id
    static constexpr vlan_mgr::layout::U32 src_node{8};
    static constexpr vlan_mgr::layout::U32 src_sap{12};
    static constexpr vlan_mgr::layout::U32 dest_sap{16};
    static constexpr vlan_mgr::layout::U32 opcode{20};
    static constexpr vlan_mgr::layout::U32 token{24};
    static constexpr vlan_mgr::layout::U32 seq{28};
    static constexpr vlan_mgr::layout::U64 deadline{32};

    static constexpr uint32_t kMagic = 0x564D5453; // "VMTS"
    static constexpr uint8_t kVersion1 = 1;        // no deadline (still read)
    static constexpr uint8_t kVersion = 2;         // the version written
    static constexpr size_t kSize1 = seq.end();     // 32 bytes
    static constexpr size_t kSize = deadline.end(); // 40 bytes
};
static_assert(MtsHeaderLayout::kSize1 == 32 && MtsHeaderLayout::kSize == 40);

// A notification's topic frame, and the subscription topics: the opcode,
// big-endian, so that a subscriber's prefix match is on the whole word.
struct MtsTopicLayout {
    static constexpr vlan_mgr::layout::U32 opcode{0};
    static constexpr size_t kSize = opcode.end();
};

// What a publisher's socket receives when a subscriber comes or goes: 1
// (subscribe) or 0 (unsubscribe), then the topic.
struct MtsSubscriptionLayout {
    static constexpr vlan_mgr::layout::U8 subscribe{0};
    static constexpr vlan_mgr::layout::U32 opcode{1};
    static constexpr size_t kSize = opcode.end();
};

// A heartbeat's payload: for every opcode published, {opcode, the latest
// sequence number}, big-endian.
struct MtsHeartbeatLayout {
    static constexpr vlan_mgr::layout::List entries{0, 8};
    static constexpr vlan_mgr::layout::U32 opcode{0}; // in an entry
    static constexpr vlan_mgr::layout::U32 latest{4}; // in an entry
};

// The header fields of one message, as decoded.
struct MtsFrame {
    uint32_t kind, src_vdc, src_node, src_sap, dest_sap, opcode, token, seq;
    uint64_t deadline; // requests: CLOCK_REALTIME ms after which it is dropped; 0 none
};

// The size of the header that mts_frame_encode writes.
size_t mts_frame_header_size();

// Parses the header frame `h` of `len` bytes as the transport does with
// every frame it receives: true and *out filled, or false (the transport
// drops the message) with *out unspecified.
bool mts_frame_decode(const uint8_t *h, size_t len, MtsFrame *out);

// Writes the header of `f` to `out` (mts_frame_header_size() bytes) as the
// transport does for every message it sends.
void mts_frame_encode(const MtsFrame &f, uint8_t *out);

} // namespace vlan_mgr_host

#endif
