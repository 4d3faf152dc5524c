#include <gtest/gtest.h>

#include <cstring>

#include "frame/bitmap.h"
#include <vlan_mgr/internal/wire.h>

namespace {

struct Field {
    alignas(4) uint8_t bytes[516];
    Field() { vlan_mgr::bitmap::init_field(bytes); }
    uint8_t *bits() { return bytes + 4; }
};

TEST(Bitmap, BuildFromListSetsMostSignificantBitFirst)
{
    Field f;
    for (uint32_t v : {0u, 7u, 8u, 4095u})
        vlan_mgr::bitmap::set(f.bits(), v);
    EXPECT_EQ(f.bits()[0], 0x81);
    EXPECT_EQ(f.bits()[1], 0x80);
    EXPECT_EQ(f.bits()[511], 0x01);
    const uint8_t len_le[4] = {0x00, 0x02, 0x00, 0x00};
    EXPECT_EQ(std::memcmp(f.bytes, len_le, 4), 0); // 512, host order on the little-endian target
    EXPECT_EQ(vlan_mgr::bitmap::count(f.bits()), 4u);
}

TEST(Bitmap, FindNextStartBeyondLastVlanIsMinusOne)
{
    Field f;
    vlan_mgr::bitmap::set(f.bits(), 4095);
    EXPECT_EQ(vlan_bitmap_find_next(f.bytes, 4096), -1);
    EXPECT_EQ(vlan_bitmap_find_next(f.bytes, 100000), -1);
    EXPECT_EQ(vlan_bitmap_find_next(f.bytes, 4095), 4095);
}

TEST(Bitmap, FindNextOnEmptyBitmapIsMinusOne)
{
    Field f;
    EXPECT_EQ(vlan_bitmap_find_next(f.bytes, 0), -1);
}

TEST(Bitmap, FindNextWithBits5And40)
{
    Field f;
    vlan_mgr::bitmap::set(f.bits(), 5);
    vlan_mgr::bitmap::set(f.bits(), 40);
    for (int32_t s = 0; s <= 5; ++s)
        EXPECT_EQ(vlan_bitmap_find_next(f.bytes, s), 5) << s;
    for (int32_t s = 6; s <= 40; ++s)
        EXPECT_EQ(vlan_bitmap_find_next(f.bytes, s), 40) << s;
    EXPECT_EQ(vlan_bitmap_find_next(f.bytes, 41), -1);
}

TEST(Bitmap, FindNextIgnoresLengthWord)
{
    Field f;
    vlan_mgr::wire::put_host_u32(f.bytes, 0, 0xFFFFFFFFu);
    EXPECT_EQ(vlan_bitmap_find_next(f.bytes, 0), -1);
}

TEST(Bitmap, FindNextWalksEveryVlanOfAFullBitmap)
{
    Field f;
    std::memset(f.bits(), 0xFF, 512);
    int32_t v = vlan_bitmap_find_next(f.bytes, 0);
    for (int32_t want = 0; want < 4096; ++want) {
        ASSERT_EQ(v, want);
        v = vlan_bitmap_find_next(f.bytes, v + 1);
    }
    EXPECT_EQ(v, -1);
}

TEST(Bitmap, FindNextAtOddAddress)
{
    alignas(4) uint8_t buf[517];
    vlan_mgr::bitmap::init_field(buf + 1);
    vlan_mgr::bitmap::set(buf + 5, 33);
    EXPECT_EQ(vlan_bitmap_find_next(buf + 1, 0), 33);
}

TEST(Bitmap, SetTestClear)
{
    Field f;
    vlan_mgr::bitmap::set(f.bits(), 100);
    EXPECT_TRUE(vlan_mgr::bitmap::test(f.bits(), 100));
    EXPECT_FALSE(vlan_mgr::bitmap::test(f.bits(), 101));
    EXPECT_FALSE(vlan_mgr::bitmap::test(f.bits(), 4096));
    vlan_mgr::bitmap::clear(f.bits(), 100);
    EXPECT_FALSE(vlan_mgr::bitmap::test(f.bits(), 100));
    EXPECT_EQ(vlan_mgr::bitmap::count(f.bits()), 0u);
}

} // namespace
