#include <array>
#include <bit>
#include <cstring>

#include <vlan_mgr/internal/wire.h>
#include <vlan_mgr/server/common.h>

#include "frame/bitmap.h"

namespace vlan_mgr::server {
namespace {

// The set's own storage is an array of machine words holding bit i at
// position i % W of word i / W; on a little-endian machine its bytes are
// those of the wire form with the bit order inside each byte reversed, so a
// set converts a byte at a time (bitmaps are written for every port of every
// change) instead of testing 4096 bits one by one.
static_assert(sizeof(VlanBits) == 512, "a VLAN set is 4096 bits without padding");
static_assert(std::endian::native == std::endian::little, "byte-wise conversion assumes little-endian words");

constexpr std::array<uint8_t, 256> make_reverse()
{
    std::array<uint8_t, 256> t{};
    for (unsigned b = 0; b < 256; ++b) {
        unsigned r = 0;
        for (unsigned i = 0; i < 8; ++i)
            if (b & (1u << i))
                r |= 0x80u >> i;
        t[b] = static_cast<uint8_t>(r);
    }
    return t;
}
constexpr std::array<uint8_t, 256> kReverse = make_reverse();

} // namespace

Payload status_payload(uint32_t status)
{
    Payload out(4);
    wire::put_u32(out.data(), 0, status);
    return out;
}

VlanBits bits_from_wire(const uint8_t *bits)
{
    uint8_t raw[bitmap::kBytes];
    for (size_t i = 0; i < sizeof raw; ++i)
        raw[i] = kReverse[bits[i]];
    VlanBits set;
    std::memcpy(&set, raw, sizeof raw);
    return set;
}

void raw_bits_to_wire(const VlanBits &set, uint8_t *bits)
{
    uint8_t raw[bitmap::kBytes];
    std::memcpy(raw, &set, sizeof raw);
    for (size_t i = 0; i < sizeof raw; ++i)
        bits[i] = kReverse[raw[i]];
}

void bits_to_wire(const VlanBits &set, uint8_t *bits)
{
    raw_bits_to_wire(set, bits);
    bits[0] &= 0x7F; // VLAN 0
    bits[bitmap::kBytes - 1] &= 0xFE; // VLAN 4095
}

std::vector<uint32_t> ids_of(const VlanBits &set)
{
    std::vector<uint32_t> ids;
    ids.reserve(set.count());
    for (uint32_t v = 0; v < bitmap::kBits; ++v)
        if (set.test(v))
            ids.push_back(v);
    return ids;
}

} // namespace vlan_mgr::server
