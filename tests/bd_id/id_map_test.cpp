#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include <vlan_mgr/bd_id.h>

#include "test_platform.h"

namespace {

constexpr uint32_t kSentinel = 0xDEADBEEFu;

TEST(VlanToBd, Vlan0MapsToBd0)
{
    uint32_t bd = kSentinel;
    EXPECT_EQ(vlan_id_to_sw_bd_id(0, &bd), 0u);
    EXPECT_EQ(bd, 0u);
}

TEST(VlanToBd, Vlan1And4095MapToThemselves)
{
    uint32_t bd = kSentinel;
    EXPECT_EQ(vlan_id_to_sw_bd_id(1, &bd), 0u);
    EXPECT_EQ(bd, 1u);
    bd = kSentinel;
    EXPECT_EQ(vlan_id_to_sw_bd_id(4095, &bd), 0u);
    EXPECT_EQ(bd, 4095u);
}

TEST(VlanToBd, EveryVlanInRangeMapsToItself)
{
    for (uint32_t v = 0; v <= 4095; ++v) {
        uint32_t bd = kSentinel;
        ASSERT_EQ(vlan_id_to_sw_bd_id(v, &bd), 0u) << v;
        ASSERT_EQ(bd, v);
    }
}

TEST(VlanToBd, Vlan4096RefusedAndBdLeftZero)
{
    uint32_t bd = kSentinel;
    EXPECT_EQ(vlan_id_to_sw_bd_id(4096, &bd), 0x411000B7u);
    EXPECT_EQ(bd, 0u);
}

TEST(VlanToBd, LargestVlanIdRefusedAndBdLeftZero)
{
    uint32_t bd = kSentinel;
    EXPECT_EQ(vlan_id_to_sw_bd_id(0xFFFFFFFFu, &bd), 0x411000B7u);
    EXPECT_EQ(bd, 0u);
}

TEST(VlanToBd, NullOutIsNotSupported)
{
    EXPECT_EQ(vlan_id_to_sw_bd_id(10, nullptr), 0x411000B7u);
    EXPECT_EQ(vlan_id_to_sw_bd_id(5000, nullptr), 0x411000B7u);
}

TEST(BdToVlan, Bd0RefusedAndVlanLeftAlone)
{
    uint32_t v = kSentinel;
    EXPECT_EQ(sw_bd_id_to_vlan_id(0, &v), 0x411000B5u);
    EXPECT_EQ(v, kSentinel);
}

TEST(BdToVlan, EveryBdInRangeMapsToItself)
{
    for (uint32_t b = 1; b <= 4095; ++b) {
        uint32_t v = kSentinel;
        ASSERT_EQ(sw_bd_id_to_vlan_id(b, &v), 0u) << b;
        ASSERT_EQ(v, b);
    }
}

TEST(BdToVlan, Bd4096RefusedAndVlanLeftAlone)
{
    uint32_t v = kSentinel;
    EXPECT_EQ(sw_bd_id_to_vlan_id(4096, &v), 0x411000B5u);
    EXPECT_EQ(v, kSentinel);
    EXPECT_EQ(sw_bd_id_to_vlan_id(0xFFFFFFFFu, &v), 0x411000B5u);
    EXPECT_EQ(v, kSentinel);
}

TEST(BdToVlan, NullOutIsNotSupportedBeforeRangeCheck)
{
    EXPECT_EQ(sw_bd_id_to_vlan_id(10, nullptr), 0x411000B7u);
    EXPECT_EQ(sw_bd_id_to_vlan_id(0, nullptr), 0x411000B7u);
    EXPECT_EQ(sw_bd_id_to_vlan_id(4096, nullptr), 0x411000B7u);
}

// The two directions differ on purpose at 0 and in their range error.
TEST(IdMappingSiblings, ZeroAcceptedVlanToBdRefusedBdToVlan)
{
    uint32_t bd = kSentinel, v = kSentinel;
    EXPECT_EQ(vlan_id_to_sw_bd_id(0, &bd), 0u);
    EXPECT_EQ(bd, 0u);
    EXPECT_EQ(sw_bd_id_to_vlan_id(0, &v), 0x411000B5u);
    EXPECT_EQ(v, kSentinel);
}

TEST(IdMappingSiblings, OutOfRangeCodesAndOutHandlingDiffer)
{
    uint32_t bd = kSentinel, v = kSentinel;
    EXPECT_EQ(vlan_id_to_sw_bd_id(4096, &bd), 0x411000B7u);
    EXPECT_EQ(bd, 0u); // cleared before the check
    EXPECT_EQ(sw_bd_id_to_vlan_id(4096, &v), 0x411000B5u);
    EXPECT_EQ(v, kSentinel); // untouched
}

TEST(IdMappingSiblings, StatusCodeNamesHaveTheirValues)
{
    EXPECT_EQ(VLAN_MGR_ERR_BD_NOT_SUPPORTED, 0x411000B7u);
    EXPECT_EQ(VLAN_MGR_ERR_BD_NOT_IN_VLAN_RANGE, 0x411000B5u);
    EXPECT_EQ(VLAN_MGR_ERR_BD_NO_NETWORK_ID, 0x411000B8u);
}

TEST(BdInVlanRange, Bounds)
{
    EXPECT_EQ(sw_bd_is_in_vlan_range(4095), 1);
    EXPECT_EQ(sw_bd_is_in_vlan_range(4096), 0);
    EXPECT_EQ(sw_bd_is_in_vlan_range(0), 0);
    EXPECT_EQ(sw_bd_is_in_vlan_range(1), 1);
    EXPECT_EQ(sw_bd_is_in_vlan_range(0xFFFFFFFFu), 0);
    EXPECT_EQ(sw_bd_is_in_vlan_range(0x80000001u), 0);
}

TEST(BdInVlanRange, EveryIdUpTo5000)
{
    for (uint32_t b = 0; b <= 5000; ++b)
        ASSERT_EQ(sw_bd_is_in_vlan_range(b), (b >= 1 && b <= 4095) ? 1 : 0) << b;
}

// ---- Bitmap conversion: both directions behave the same ------------------

using Convert = uint32_t (*)(const vlan_bitmap *, vlan_bitmap *);

class BitsetConversion : public ::testing::TestWithParam<Convert> {
protected:
    // The source in an exact-size heap block, so that any read past its end
    // is seen by AddressSanitizer.
    vlan_bitmap *heap_bitmap(uint32_t len_word)
    {
        auto *b = static_cast<vlan_bitmap *>(std::malloc(sizeof(vlan_bitmap)));
        if (b != nullptr) {
            b->len = len_word;
            std::memset(b->bits, 0, sizeof b->bits);
        }
        return b;
    }
    static void fill_garbage(vlan_bitmap &b)
    {
        b.len = 0x5A5A5A5Au;
        std::memset(b.bits, 0xA5, sizeof b.bits);
    }
};

TEST_P(BitsetConversion, Ids0And1And4095WithOddLengthWord)
{
    vlan_bitmap *src = heap_bitmap(7);
    ASSERT_NE(src, nullptr);
    src->bits[0] = 0xC0;   // ids 0 and 1
    src->bits[511] = 0x01; // id 4095
    vlan_bitmap dst;
    fill_garbage(dst);
    EXPECT_EQ(GetParam()(src, &dst), 0u);
    EXPECT_EQ(dst.len, 512u);
    uint8_t expected[512] = {};
    expected[0] = 0xC0;
    expected[511] = 0x01;
    EXPECT_EQ(std::memcmp(dst.bits, expected, sizeof expected), 0);
    EXPECT_EQ(src->len, 7u); // the source is not written
    std::free(src);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_P(BitsetConversion, SourceLengthWordIsNotRead)
{
    for (uint32_t len_word : {0u, 1u, 511u, 513u, 0xFFFFFFFFu}) {
        vlan_bitmap *src = heap_bitmap(len_word);
        ASSERT_NE(src, nullptr);
        src->bits[125] = 0x10; // id 1003
        vlan_bitmap dst;
        fill_garbage(dst);
        EXPECT_EQ(GetParam()(src, &dst), 0u);
        EXPECT_EQ(dst.len, 512u) << len_word;
        uint8_t expected[512] = {};
        expected[125] = 0x10;
        EXPECT_EQ(std::memcmp(dst.bits, expected, sizeof expected), 0) << len_word;
        std::free(src);
    }
}

TEST_P(BitsetConversion, EmptySourceGivesClearDestination)
{
    vlan_bitmap *src = heap_bitmap(512);
    ASSERT_NE(src, nullptr);
    vlan_bitmap dst;
    fill_garbage(dst);
    EXPECT_EQ(GetParam()(src, &dst), 0u);
    EXPECT_EQ(dst.len, 512u);
    const uint8_t expected[512] = {};
    EXPECT_EQ(std::memcmp(dst.bits, expected, sizeof expected), 0);
    std::free(src);
}

TEST_P(BitsetConversion, FullSourceGivesFullDestination)
{
    vlan_bitmap *src = heap_bitmap(512);
    ASSERT_NE(src, nullptr);
    std::memset(src->bits, 0xFF, sizeof src->bits);
    vlan_bitmap dst;
    std::memset(&dst, 0, sizeof dst);
    EXPECT_EQ(GetParam()(src, &dst), 0u);
    EXPECT_EQ(dst.len, 512u);
    uint8_t expected[512];
    std::memset(expected, 0xFF, sizeof expected);
    EXPECT_EQ(std::memcmp(dst.bits, expected, sizeof expected), 0);
    std::free(src);
}

TEST_P(BitsetConversion, ScatteredPatternIsCopiedBitForBit)
{
    vlan_bitmap *src = heap_bitmap(512);
    ASSERT_NE(src, nullptr);
    uint8_t pattern[512];
    uint32_t x = 12345;
    for (uint8_t &b : pattern) {
        x = x * 1103515245u + 12345u;
        b = static_cast<uint8_t>(x >> 16);
    }
    std::memcpy(src->bits, pattern, sizeof pattern);
    vlan_bitmap dst;
    fill_garbage(dst);
    EXPECT_EQ(GetParam()(src, &dst), 0u);
    EXPECT_EQ(dst.len, 512u);
    EXPECT_EQ(std::memcmp(dst.bits, pattern, sizeof pattern), 0);
    std::free(src);
}

TEST_P(BitsetConversion, EachSingleIdLandsOnItsOwnBit)
{
    vlan_bitmap *src = heap_bitmap(512);
    ASSERT_NE(src, nullptr);
    for (uint32_t id = 0; id < 4096; ++id) {
        std::memset(src->bits, 0, sizeof src->bits);
        src->bits[id / 8] = static_cast<uint8_t>(0x80u >> (id % 8));
        vlan_bitmap dst;
        fill_garbage(dst);
        ASSERT_EQ(GetParam()(src, &dst), 0u);
        uint8_t expected[512] = {};
        expected[id / 8] = static_cast<uint8_t>(0x80u >> (id % 8));
        ASSERT_EQ(std::memcmp(dst.bits, expected, sizeof expected), 0) << id;
    }
    std::free(src);
}

TEST_P(BitsetConversion, NullSourceOrDestinationIsNotSupported)
{
    vlan_bitmap src;
    std::memset(&src, 0x11, sizeof src);
    vlan_bitmap dst;
    fill_garbage(dst);
    EXPECT_EQ(GetParam()(nullptr, &dst), 0x411000B7u);
    EXPECT_EQ(dst.len, 0x5A5A5A5Au);
    for (uint8_t b : dst.bits)
        ASSERT_EQ(b, 0xA5);
    EXPECT_EQ(GetParam()(&src, nullptr), 0x411000B7u);
    EXPECT_EQ(GetParam()(nullptr, nullptr), 0x411000B7u);
}

TEST_P(BitsetConversion, InPlaceKeepsTheBitsAndRewritesLengthWord)
{
    vlan_bitmap b;
    std::memset(&b, 0, sizeof b);
    b.len = 3;
    b.bits[0] = 0xC0;
    b.bits[300] = 0x24;
    b.bits[511] = 0x01;
    EXPECT_EQ(GetParam()(&b, &b), 0u);
    EXPECT_EQ(b.len, 512u);
    uint8_t expected[512] = {};
    expected[0] = 0xC0;
    expected[300] = 0x24;
    expected[511] = 0x01;
    EXPECT_EQ(std::memcmp(b.bits, expected, sizeof expected), 0);
}

TEST_P(BitsetConversion, AllocatesNothing)
{
    vlan_bitmap src{}, dst{};
    src.bits[1] = 0x80;
    const long before = tp::alloc_calls();
    EXPECT_EQ(GetParam()(&src, &dst), 0u);
    EXPECT_EQ(tp::alloc_calls(), before);
}

INSTANTIATE_TEST_SUITE_P(BothDirections, BitsetConversion,
                         ::testing::Values(&sw_bd_bitset_to_vlan_bitset, &vlan_bitset_to_sw_bd_bitset),
                         [](const ::testing::TestParamInfo<Convert> &info) {
                             return info.param == &sw_bd_bitset_to_vlan_bitset ? std::string("BdToVlan")
                                                                              : std::string("VlanToBd");
                         });

} // namespace
