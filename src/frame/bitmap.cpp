#include "frame/bitmap.h"

#include <bit>
#include <cstring>

#include "frame/wire.h"

namespace vlan_mgr::bitmap {

void init_field(uint8_t *field)
{
    wire::put_host_u32(field, 0, static_cast<uint32_t>(kBytes));
    std::memset(field + 4, 0, kBytes);
}

uint32_t count(const uint8_t *bits)
{
    uint32_t n = 0;
    for (size_t w = 0; w < kBytes / 4; ++w)
        n += static_cast<uint32_t>(std::popcount(wire::get_u32(bits, 4 * w)));
    return n;
}

// Reads the bit array as 128 big-endian words, so that the most significant
// bit of word w stands for VLAN 32w and countl_zero gives the offset within it.
int32_t find_next_bits(const uint8_t *bits, uint32_t start)
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

} // namespace vlan_mgr::bitmap

extern "C" int32_t vlan_bitmap_find_next(const void *bitmap, int32_t start)
{
    return vlan_mgr::bitmap::find_next_bits(static_cast<const uint8_t *>(bitmap) + 4, static_cast<uint32_t>(start));
}
