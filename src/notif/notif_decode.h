// What the notification parsers share: the payload of a received message as
// a bounded reader, field copies from big-endian payload fields into
// host-order record fields, and the VLAN bitmap copy.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <vlan_mgr/notif.h>

#include "frame/wire.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr::notif {

// Status codes of the parsers.
constexpr uint32_t kAllocFailed = VLAN_MGR_ERR_NOTIF_ALLOC;
constexpr uint32_t kEmpty = VLAN_MGR_ERR_NOTIF_EMPTY;

// The payload of a received message, bounded by its size.
inline wire::Reader payload_of(const mts_msg_hdl_t *msg)
{
    return wire::Reader(mts_payload_get(msg), mts_payload_size(msg));
}

// Record fields are host order and unaligned: written with memcpy.
inline void c16(uint8_t *o, size_t oo, const uint8_t *e, size_t eo)
{
    const uint16_t v = wire::get_u16(e, eo);
    std::memcpy(o + oo, &v, 2);
}

inline void c32(uint8_t *o, size_t oo, const uint8_t *e, size_t eo)
{
    const uint32_t v = wire::get_u32(e, eo);
    std::memcpy(o + oo, &v, 4);
}

// Interface indexes go through the platform's conversion, never a swap.
inline void cif(uint8_t *o, size_t oo, const uint8_t *e, size_t eo)
{
    const uint32_t v = ntoh_if_index(wire::get_host_u32(e, eo));
    std::memcpy(o + oo, &v, 4);
}

// A VLAN bitmap: the length word is written as 512 in host order (the one on
// the wire is not read), the 512-byte array copied as it stands.
inline void cbm(uint8_t *o, size_t oo, const uint8_t *e, size_t eo)
{
    wire::put_host_u32(o, oo, VLAN_MGR_BITMAP_BYTES);
    std::memcpy(o + oo + 4, e + eo, VLAN_MGR_BITMAP_BYTES);
}

} // namespace vlan_mgr::notif
