// The helpers shared by the configuration request families.
#include "config_test_util.h"

#include "config_req/config_common.h"

namespace {

using namespace cfgtest;
using namespace vlan_mgr::config;

TEST(ConfigCommon, CheckedSizeRefusesWhatDoesNotFit)
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

TEST(ConfigCommon, HasSpanChecksSixtyFourBitWidths)
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

TEST(ConfigCommon, VdcRangeIsOneToFive)
{
    EXPECT_FALSE(vdc_in_range(0));
    for (uint16_t v = 1; v <= 5; ++v)
        EXPECT_TRUE(vdc_in_range(v));
    EXPECT_FALSE(vdc_in_range(6));
    EXPECT_FALSE(vdc_in_range(0xFFFF));
}

TEST(ConfigCommon, BitmapFromIdsWritesTheLengthWordAndEachBit)
{
    alignas(4) uint8_t field[517] = {};
    const uint32_t ids[] = {0, 7, 8, 4095, 8};
    write_bitmap_from_ids(field + 1, ids, 5); // odd address
    EXPECT_EQ(Bytes(field + 1, field + 5), kLen512);
    EXPECT_EQ(field[5], 0x81);
    EXPECT_EQ(field[6], 0x80);
    EXPECT_EQ(field[5 + 511], 0x01);
    EXPECT_EQ(field[0], 0x00);
    int set = 0;
    for (size_t i = 5; i < 517; ++i)
        set += __builtin_popcount(field[i]);
    EXPECT_EQ(set, 4);
}

TEST(ConfigCommon, AllocPayloadStoresTheLengthFirstAndNullOnFailure)
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

TEST(ConfigCommon, DecodePairsAllocatesAndSwapsEachWord)
{
    const Bytes b = {0xFF, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02};
    HeapCopy c(b, true);
    const vlan_mgr::wire::Reader r(c.data(), c.size());
    vlan_delete_result_t *out = nullptr;
    ASSERT_EQ(decode_pairs(r, 1, 1, &out), 0u);
    EXPECT_EQ(out[0].vlan_id, 1u);
    EXPECT_EQ(out[0].status, 2u);
    std::free(out);
    tp::fail_alloc_at(1);
    out = nullptr;
    EXPECT_EQ(decode_pairs(r, 1, 1, &out), VLAN_MGR_ERR_NO_MEMORY);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace

namespace {

// The create reply decoders walk the bitmap with bitmap::Walker; its sequence
// must be the one that repeated searches from (previous id + 1) give, -1 and
// the restart from VLAN 0 included.
TEST(ConfigCommon, BitmapWalkerYieldsTheSearchSequence)
{
    uint32_t seed = 12345;
    auto rnd = [&] { return seed = seed * 1103515245u + 12345u; };
    for (int round = 0; round < 200; ++round) {
        alignas(4) uint8_t field[517] = {};
        uint8_t *bits = field + 5; // odd address
        const int members = round % 7 == 0 ? 0 : static_cast<int>(rnd() % 64);
        for (int i = 0; i < members; ++i) {
            const uint32_t v = round % 5 == 0 ? 4095 - (rnd() % 40) : rnd() % 4096;
            bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
        }
        if (round == 1)
            std::memset(bits, 0xFF, 512);
        vlan_mgr::bitmap::Walker walk(bits);
        int32_t prev = -1;
        for (int i = 0; i < 2 * members + 4100 * (round == 1) + 3; ++i) {
            const int32_t want = vlan_bitmap_find_next(field + 1, prev + 1);
            ASSERT_EQ(walk.next(), want) << "round " << round << " step " << i;
            prev = want;
        }
    }
}

} // namespace
