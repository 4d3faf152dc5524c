// The VLAN set's wire conversion and the bare status reply.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <vlan_mgr/server/common.h>

namespace server = vlan_mgr::server;

namespace {

TEST(VlanBitsWire, VlansLandOnTheirBitsMostSignificantFirst)
{
    server::VlanBits set;
    set.set(1);
    set.set(9);
    set.set(4094);
    uint8_t out[512];
    server::bits_to_wire(set, out);
    std::vector<uint8_t> expected(512, 0);
    expected[0] = 0x40;   // VLAN 1
    expected[1] = 0x40;   // VLAN 9
    expected[511] = 0x02; // VLAN 4094
    EXPECT_EQ(std::vector<uint8_t>(out, out + 512), expected);
    EXPECT_EQ(server::bits_from_wire(out), set);
}

TEST(VlanBitsWire, VlansZeroAnd4095ReachTheWireOnlyRaw)
{
    server::VlanBits set;
    set.set(0);
    set.set(4095);
    set.set(100);
    uint8_t out[512];
    server::bits_to_wire(set, out);
    EXPECT_EQ(out[0], 0x00);
    EXPECT_EQ(out[511], 0x00);
    EXPECT_EQ(out[12], 0x08); // VLAN 100 = byte 12, bit 0x80 >> 4
    server::raw_bits_to_wire(set, out);
    EXPECT_EQ(out[0], 0x80);
    EXPECT_EQ(out[511], 0x01);
    EXPECT_EQ(out[12], 0x08);
    EXPECT_EQ(server::bits_from_wire(out), set);
}

TEST(VlanBitsWire, EveryVlanRoundTripsAlone)
{
    for (uint32_t v = 1; v <= 4094; ++v) {
        server::VlanBits set;
        set.set(v);
        uint8_t out[512];
        server::bits_to_wire(set, out);
        ASSERT_EQ(out[v / 8], 0x80u >> (v % 8)) << v;
        ASSERT_EQ(server::bits_from_wire(out), set) << v;
        ASSERT_EQ(server::ids_of(set), std::vector<uint32_t>{v});
    }
}

TEST(StatusPayload, IsTheBigEndianWord)
{
    EXPECT_EQ(server::status_payload(0x411000C0u), (server::Payload{0x41, 0x10, 0x00, 0xC0}));
}

} // namespace
