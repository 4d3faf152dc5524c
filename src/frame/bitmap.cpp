#include "frame/bitmap.h"

#include <bit>
#include <cstring>

#include <vlan_mgr/internal/wire.h>

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

} // namespace vlan_mgr::bitmap

extern "C" int32_t vlan_bitmap_find_next(const void *bitmap, int32_t start)
{
    return vlan_mgr::bitmap::find_next_bits(static_cast<const uint8_t *>(bitmap) + 4, static_cast<uint32_t>(start));
}
