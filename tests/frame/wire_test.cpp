#include <gtest/gtest.h>

#include <cstring>

#include <vlan_mgr/internal/wire.h>

namespace {

using namespace vlan_mgr::wire;

TEST(Wire, BigEndianPutAndGetAtOddOffsets)
{
    uint8_t b[9] = {};
    put_u16(b, 1, 0x1234);
    put_u32(b, 3, 0xA1B2C3D4u);
    const uint8_t want[9] = {0x00, 0x12, 0x34, 0xA1, 0xB2, 0xC3, 0xD4, 0x00, 0x00};
    EXPECT_EQ(std::memcmp(b, want, 9), 0);
    EXPECT_EQ(get_u16(b, 1), 0x1234);
    EXPECT_EQ(get_u32(b, 3), 0xA1B2C3D4u);
}

TEST(Wire, HostOrderLengthWord)
{
    uint8_t b[5] = {};
    put_host_u32(b, 1, 512);
    const uint8_t want[5] = {0x00, 0x00, 0x02, 0x00, 0x00}; // little-endian target
    EXPECT_EQ(std::memcmp(b, want, 5), 0);
    EXPECT_EQ(get_host_u32(b, 1), 512u);
}

TEST(Wire, WriterZeroesEveryByte)
{
    uint8_t b[8];
    std::memset(b, 0xAB, sizeof b);
    Writer w(b, sizeof b);
    w.u16(2, 0x0102);
    const uint8_t want[8] = {0, 0, 1, 2, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(b, want, 8), 0);
}

TEST(Wire, ReaderBoundsChecks)
{
    const uint8_t b[6] = {};
    Reader r(b, sizeof b);
    EXPECT_TRUE(r.has(0, 6));
    EXPECT_TRUE(r.has(2, 4));
    EXPECT_TRUE(r.has(6, 0));
    EXPECT_FALSE(r.has(3, 4));
    EXPECT_FALSE(r.has(7, 0));
    EXPECT_FALSE(r.has(2, SIZE_MAX)); // no wrap-around
}

} // namespace
