// What the port membership families share: interface indexes on the wire
// (always through the platform's conversion, never swapped here), and the
// builder's allocation of a payload whose size comes from a count.
#pragma once

#include <cstddef>
#include <cstdint>

#include <vlan_mgr/membership.h>

#include "frame/payload.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr::memb {

// An if-index goes out as hton_if_index gives it, byte for byte.
inline void put_if_index(uint8_t *p, size_t off, uint32_t if_index)
{
    wire::put_host_u32(p, off, hton_if_index(if_index));
}

inline uint32_t get_if_index(const uint8_t *p, size_t off) { return ntoh_if_index(wire::get_host_u32(p, off)); }

// The builder shape for a payload of extra + count * elem bytes: the length
// is stored, then the buffer (NULL when the allocation failed). A size that
// does not fit a 32-bit length is an allocation failure too: *payload is then
// NULL and the length is not written.
inline uint8_t *alloc_counted_payload(void **payload, uint32_t *payload_len, uint32_t count, uint32_t elem,
                                      uint32_t extra, size_t *size)
{
    const std::optional<size_t> s = checked_size(count, elem, extra);
    if (!s || *s > UINT32_MAX) {
        *payload = nullptr;
        return nullptr;
    }
    *size = *s;
    return alloc_payload(payload, payload_len, static_cast<uint32_t>(*s));
}

} // namespace vlan_mgr::memb
