// The transport's framing header, for the fuzz target and the tests: the
// header parser and builder of mts.cpp over a plain record of the fields
// that they carry. Internal to the host platform.
#ifndef VLAN_MGR_HOST_MTS_FRAME_H
#define VLAN_MGR_HOST_MTS_FRAME_H

#include <cstddef>
#include <cstdint>

namespace vlan_mgr_host {

// The kind of a publisher's heartbeat, after the four kinds of
// vlan_mgr_host_mts.h: read by the transport, never handed out.
inline constexpr uint8_t kMtsKindHeartbeat = 5;

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
