// What the port membership families share: the builder's allocation of a
// payload whose size comes from a count. Interface indexes on the wire are
// the layouts' IfIndex fields (membership/layout.h).
#pragma once

#include <cstddef>
#include <cstdint>

#include <vlan_mgr/membership.h>

#include "frame/payload.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr::memb {

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
