// The one VLAN bitmap helper. A bitmap field is the 4-byte host-order length
// word followed by 512 bytes; VLAN v is bit 0x80 >> (v & 7) of byte v / 8.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vlan_mgr::bitmap {

constexpr size_t kBits = 4096;
constexpr size_t kBytes = 512;
constexpr size_t kFieldSize = 4 + kBytes;

// Writes the length word 512 and clears all bits of the field at `field`.
void init_field(uint8_t *field);

// The bit operations take the 512-byte bit array (the field past its length word).
inline void set(uint8_t *bits, uint32_t vlan) { bits[(vlan >> 3) & 511] |= static_cast<uint8_t>(0x80u >> (vlan & 7)); }
inline void clear(uint8_t *bits, uint32_t vlan) { bits[(vlan >> 3) & 511] &= static_cast<uint8_t>(~(0x80u >> (vlan & 7))); }
inline bool test(const uint8_t *bits, uint32_t vlan)
{
    return vlan < kBits && (bits[vlan >> 3] & (0x80u >> (vlan & 7))) != 0;
}
uint32_t count(const uint8_t *bits);

// Smallest VLAN id >= start set in the bit array, or -1.
int32_t find_next_bits(const uint8_t *bits, uint32_t start);

} // namespace vlan_mgr::bitmap

extern "C" {
// Smallest VLAN id >= start set in the bitmap field (length word included),
// or -1 when there is none. A start of 4096 or more gives -1 at once.
int32_t vlan_bitmap_find_next(const void *bitmap, int32_t start);
}
