// What every request family shares beyond the wire helpers: payload
// allocation in the builder shape, sizes computed from counts, span checks
// with 64-bit widths, the VDC range test of the builders that take any VDC,
// and a request bitmap written from a list of VLAN ids.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "frame/bitmap.h"
#include <vlan_mgr/internal/wire.h>

namespace vlan_mgr {

// The builder shape: the length is stored first, then the new buffer, even
// when the allocation failed (the caller's pointer is then NULL).
inline uint8_t *alloc_payload(void **payload, uint32_t *payload_len, uint32_t len)
{
    *payload_len = len;
    void *p = std::malloc(len);
    *payload = p;
    return static_cast<uint8_t *>(p);
}

// count * elem + extra as an allocation size, or nullopt when it does not fit
// (which callers treat as an allocation failure).
inline std::optional<size_t> checked_size(uint64_t count, uint64_t elem, uint64_t extra)
{
    if (elem != 0 && count > (UINT64_MAX - extra) / elem)
        return std::nullopt;
    const uint64_t size = count * elem + extra;
    if (size > SIZE_MAX)
        return std::nullopt;
    return static_cast<size_t>(size);
}

// Whether `width` bytes from `off` lie inside the payload; widths computed
// from counts are 64-bit so that they cannot wrap on the 32-bit target.
inline bool has_span(const wire::Reader &r, uint64_t off, uint64_t width)
{
    return off <= SIZE_MAX && width <= SIZE_MAX && r.has(static_cast<size_t>(off), static_cast<size_t>(width));
}

// Whether a payload length fits the 32-bit length words of the message
// functions (always on a 32-bit target).
inline bool fits_u32(size_t len)
{
    if constexpr (sizeof(size_t) > sizeof(uint32_t))
        return len <= UINT32_MAX;
    else
        return true;
}

// VDC ids 1..5: a range test, not a comparison with the caller's own VDC.
inline bool vdc_in_range(uint16_t vdc_id) { return vdc_id >= 1 && vdc_id <= 5; }

// Writes a request bitmap field at `field` (already zeroed by the writer):
// the length word, then the bit of each listed VLAN id (no range check; ids
// are taken modulo 4096, duplicates collapse).
inline void write_bitmap_from_ids(uint8_t *field, const uint32_t *ids, size_t n)
{
    wire::put_host_u32(field, 0, static_cast<uint32_t>(bitmap::kBytes));
    uint8_t *bits = field + 4;
    for (size_t i = 0; i < n; ++i)
        bitmap::set(bits, ids[i]);
}

} // namespace vlan_mgr
