// What the reserved-range units share: a range of VLANs set in a bit array,
// and the six bitmaps of a reserved-VLAN bitmap set reached by index.
#pragma once

#include <cstddef>
#include <cstdint>

#include <vlan_mgr/rsvd.h>

#include "frame/bitmap.h"

namespace vlan_mgr::rsvd {

// Index of each bitmap in the set, in its layout order.
enum Field : size_t { kCandidates = 0, kGroup64, kGroup4First, kGroup4Second, kSingle, kSpare, kFieldCount };

inline uint8_t *field(dyn_rsvd_vlan_bitmaps_t *set, size_t index)
{
    return reinterpret_cast<uint8_t *>(set) + index * bitmap::kFieldSize;
}

// The 512-byte bit array of one bitmap of the set (past its length word).
inline uint8_t *bits(dyn_rsvd_vlan_bitmaps_t *set, size_t index) { return field(set, index) + 4; }

// Sets every VLAN from `start` to `end` inclusive; none when start > end.
// Ids above 4095 have no bit in the array, so the range stops at 4095.
inline void set_range(uint8_t *bits, uint32_t start, uint32_t end)
{
    if (end > bitmap::kBits - 1)
        end = bitmap::kBits - 1;
    for (uint32_t v = start; v <= end; ++v)
        bitmap::set(bits, v);
}

constexpr uint32_t kAlwaysReserved = 4094; // in every reserved range

} // namespace vlan_mgr::rsvd
