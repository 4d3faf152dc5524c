// What the notification parsers share: the payload of a received message as
// a bounded reader, field copies from big-endian payload fields into
// host-order record fields, and the VLAN bitmap copy.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <vlan_mgr/notif.h>

#include <vlan_mgr/internal/layout.h>
#include <vlan_mgr/internal/wire.h>
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

// A VLAN bitmap: the record's vlan_bitmap at `oo` gets the length word 512
// in host order (the one on the wire is not read) and the 512-byte array at
// `eo` (the input field's bits_off()) as it stands.
inline void cbm(uint8_t *o, size_t oo, const uint8_t *e, size_t eo)
{
    static_assert(layout::Bitmap::kBitBytes == VLAN_MGR_BITMAP_BYTES && sizeof(vlan_bitmap) == layout::Bitmap::width);
    wire::put_host_u32(o, oo + offsetof(vlan_bitmap, len), static_cast<uint32_t>(layout::Bitmap::kBitBytes));
    std::memcpy(o + oo + offsetof(vlan_bitmap, bits), e + eo, layout::Bitmap::kBitBytes);
}

// Several big-endian fields side by side, converted in one 64-bit word on a
// little-endian host: four 16-bit fields, or two 32-bit fields.
inline uint64_t load64(const uint8_t *p)
{
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

inline void c16x4(uint8_t *o, size_t oo, const uint8_t *e, size_t eo)
{
    if constexpr (std::endian::native == std::endian::little) {
        const uint64_t x = load64(e + eo);
        const uint64_t v = ((x & 0x00FF00FF00FF00FFull) << 8) | ((x >> 8) & 0x00FF00FF00FF00FFull);
        std::memcpy(o + oo, &v, 8);
    } else {
        for (size_t k = 0; k < 8; k += 2)
            c16(o, oo + k, e, eo + k);
    }
}

inline void c32x2(uint8_t *o, size_t oo, const uint8_t *e, size_t eo)
{
    if constexpr (std::endian::native == std::endian::little) {
        const uint64_t v = std::rotl(__builtin_bswap64(load64(e + eo)), 32);
        std::memcpy(o + oo, &v, 8);
    } else {
        c32(o, oo, e, eo);
        c32(o, oo + 4, e, eo + 4);
    }
}

} // namespace vlan_mgr::notif
