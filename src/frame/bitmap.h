// The one VLAN bitmap helper. A bitmap field is the 4-byte host-order length
// word followed by 512 bytes; VLAN v is bit 0x80 >> (v & 7) of byte v / 8.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include <vlan_mgr/internal/layout.h>
#include <vlan_mgr/internal/wire.h>

namespace vlan_mgr::bitmap {

constexpr size_t kBits = 4096;
constexpr size_t kBytes = 512;
constexpr size_t kFieldSize = 4 + kBytes;

// Writes the length word 512 and clears all bits of the field at `field`.
void init_field(uint8_t *field);

// The bit operations take the 512-byte bit array (the field past its length word).
inline void set(uint8_t *bits, uint32_t vlan) { layout::bitmap_set(bits, vlan); }
inline void clear(uint8_t *bits, uint32_t vlan) { bits[(vlan >> 3) & 511] &= static_cast<uint8_t>(~(0x80u >> (vlan & 7))); }
inline bool test(const uint8_t *bits, uint32_t vlan) { return layout::bitmap_test(bits, vlan); }
uint32_t count(const uint8_t *bits);

// Smallest VLAN id >= start set in the bit array, or -1. Inline: reply
// decoders call it once per VLAN. The bit array is read as 128 big-endian
// words, so that the most significant bit of word w stands for VLAN 32w and
// countl_zero gives the offset within it.
inline int32_t find_next_bits(const uint8_t *bits, uint32_t start)
{
    uint32_t w = start / 32;
    if (w > 127)
        return -1;
    uint32_t word = wire::get_u32(bits, 4 * w) & (0xFFFFFFFFu >> (start & 31));
    while (word == 0) {
        if (++w > 127)
            return -1;
        word = wire::get_u32(bits, 4 * w);
    }
    return static_cast<int32_t>(32 * w + static_cast<uint32_t>(std::countl_zero(word)));
}

// Walks the members of a bit array in ascending order. Each next() returns
// exactly what find_next_bits(bits, previous + 1) would (from VLAN 0 for the
// first call, and from VLAN 0 again after a -1), but keeps the current word in
// hand instead of reloading it for every member, so that a reply of thousands
// of VLANs is decoded without one search per VLAN.
class Walker {
public:
    explicit Walker(const uint8_t *bits) : bits_(bits), word_(wire::get_u32(bits, 0)) {}
    int32_t next()
    {
        while (word_ == 0) {
            if (++w_ > 127) {
                w_ = 0;
                word_ = wire::get_u32(bits_, 0);
                return -1;
            }
            word_ = wire::get_u32(bits_, 4 * w_);
        }
        const int lz = std::countl_zero(word_);
        word_ &= ~(0x80000000u >> lz);
        return static_cast<int32_t>(32 * w_ + static_cast<uint32_t>(lz));
    }

private:
    const uint8_t *bits_;
    uint32_t w_ = 0;
    uint32_t word_; // the members of word w_ not returned yet
};

} // namespace vlan_mgr::bitmap

extern "C" {
// Smallest VLAN id >= start set in the bitmap field (length word included),
// or -1 when there is none. A start of 4096 or more gives -1 at once.
int32_t vlan_bitmap_find_next(const void *bitmap, int32_t start);
}
