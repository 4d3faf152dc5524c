// The helpers that every request family shares: sizes from counts, span
// checks, the VDC range test, request bitmaps and payload allocation.
#include <gtest/gtest.h>

#include <cstdlib>

#include "frame/payload.h"
#include "test_platform.h"

namespace {

using namespace vlan_mgr;

TEST(Payload, CheckedSizeRefusesWhatDoesNotFit)
{
    EXPECT_EQ(checked_size(512, 532, 8), std::optional<size_t>(272392));
    EXPECT_EQ(checked_size(0, 12, 0), std::optional<size_t>(0));
    EXPECT_EQ(checked_size(UINT64_MAX, 2, 0), std::nullopt);
    EXPECT_EQ(checked_size(UINT64_MAX / 8, 8, 8), std::nullopt);
    // 12 x 2^30 wraps a 32-bit size but not a 64-bit one.
    if (sizeof(size_t) == 4)
        EXPECT_EQ(checked_size(1u << 30, 12, 0), std::nullopt);
    else
        EXPECT_EQ(checked_size(1u << 30, 12, 0), std::optional<size_t>(size_t{12} << 30));
}

TEST(Payload, HasSpanChecksSixtyFourBitWidths)
{
    const uint8_t buf[16] = {};
    const vlan_mgr::wire::Reader r(buf, sizeof buf);
    EXPECT_TRUE(has_span(r, 0, 16));
    EXPECT_TRUE(has_span(r, 16, 0));
    EXPECT_FALSE(has_span(r, 8, 9));
    EXPECT_FALSE(has_span(r, 17, 0));
    EXPECT_FALSE(has_span(r, 8, (uint64_t{1} << 32) + 4)); // would pass if cut to 32 bits
    EXPECT_FALSE(has_span(r, (uint64_t{1} << 32) + 2, 4));
}

TEST(Payload, VdcRangeIsOneToFive)
{
    EXPECT_FALSE(vdc_in_range(0));
    for (uint16_t v = 1; v <= 5; ++v)
        EXPECT_TRUE(vdc_in_range(v));
    EXPECT_FALSE(vdc_in_range(6));
    EXPECT_FALSE(vdc_in_range(0xFFFF));
}

TEST(Payload, BitmapFromIdsWritesTheLengthWordAndEachBit)
{
    alignas(4) uint8_t field[517] = {};
    const uint32_t ids[] = {0, 7, 8, 4095, 8};
    write_bitmap_from_ids(field + 1, ids, 5); // odd address
    EXPECT_EQ(field[1], 0x00);
    EXPECT_EQ(field[2], 0x02); // 512 in host order (little-endian target)
    EXPECT_EQ(field[3], 0x00);
    EXPECT_EQ(field[4], 0x00);
    EXPECT_EQ(field[5], 0x81);
    EXPECT_EQ(field[6], 0x80);
    EXPECT_EQ(field[5 + 511], 0x01);
    EXPECT_EQ(field[0], 0x00);
    int set = 0;
    for (size_t i = 5; i < 517; ++i)
        set += __builtin_popcount(field[i]);
    EXPECT_EQ(set, 4);
}

TEST(Payload, AllocPayloadStoresTheLengthFirstAndNullOnFailure)
{
    void *p = &p;
    uint32_t len = 0;
    tp::fail_alloc_at(1);
    EXPECT_EQ(alloc_payload(&p, &len, 40), nullptr);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(len, 40u);
    uint8_t *q = alloc_payload(&p, &len, 41);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(static_cast<void *>(q), p);
    EXPECT_EQ(len, 41u);
    std::free(p);
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
