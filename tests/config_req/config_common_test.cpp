// The helpers shared by the configuration request families.
#include "../common/request_test_util.h"

#include <vlan_mgr/config_req.h>

#include "config_req/config_common.h"

namespace {

using namespace reqtest;
using namespace vlan_mgr::config;

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
