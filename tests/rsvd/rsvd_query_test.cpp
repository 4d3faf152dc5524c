// The configured and future reserved ranges read from the BD database, as
// bounds and as bitmaps, and the arithmetic reserved list.
#include <cstring>

#include "rsvd_test_util.h"

namespace {

using namespace rsvdtest;

constexpr uint32_t kReadFailed = 0x4110001cu;

// A bitmap filled with a pattern, to see whether a call touched it.
vlan_bitmap patterned()
{
    vlan_bitmap b;
    std::memset(&b, 0xAB, sizeof b);
    return b;
}
bool untouched(const vlan_bitmap &b)
{
    const auto *p = reinterpret_cast<const uint8_t *>(&b);
    for (size_t i = 0; i < sizeof b; ++i)
        if (p[i] != 0xAB)
            return false;
    return true;
}

using RsvdQuery = RsvdTest;

// ---- vlan_get_rsvd_vlans ----

TEST_F(RsvdQuery, ReadsBothBoundsUnderVdcQualifiedKeys)
{
    put_current(kUri1, 1, 3968, 4094);
    uint32_t start = 0, end = 0;
    ASSERT_EQ(vlan_get_rsvd_vlans(1, &start, &end), 0u);
    EXPECT_EQ(start, 3968u);
    EXPECT_EQ(end, 4094u);
    const auto r = reads();
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].first, kUri1);
    EXPECT_EQ(r[0].second, (Bytes{0x01, 0x00, 0x10, 0x02}));
    EXPECT_EQ(r[1].first, kUri1);
    EXPECT_EQ(r[1].second, (Bytes{0x01, 0x00, 0x10, 0x03}));
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(RsvdQuery, VdcTwoReadsItsOwnDatabaseWithItsIdInTheKeys)
{
    tp::sdb_put(kUri2, {0x02, 0x00, 0x10, 0x02}, {0x07, 0xD0});
    tp::sdb_put(kUri2, {0x02, 0x00, 0x10, 0x03}, {0x08, 0x4F});
    uint32_t start = 0, end = 0;
    ASSERT_EQ(vlan_get_rsvd_vlans(2, &start, &end), 0u);
    EXPECT_EQ(start, 2000u);
    EXPECT_EQ(end, 2127u);
    const auto r = reads();
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0], (std::pair<std::string, Bytes>{kUri2, {0x02, 0x00, 0x10, 0x02}}));
    EXPECT_EQ(r[1], (std::pair<std::string, Bytes>{kUri2, {0x02, 0x00, 0x10, 0x03}}));
}

TEST_F(RsvdQuery, ValueIsTheFirstTwoBytesOfALongerRecord)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x02}, {0x0F, 0x80, 0xFF, 0xFF, 0xFF, 0xFF});
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x03}, {0x0F, 0xFE, 0x12});
    uint32_t start = 0, end = 0;
    ASSERT_EQ(vlan_get_rsvd_vlans(1, &start, &end), 0u);
    EXPECT_EQ(start, 3968u);
    EXPECT_EQ(end, 4094u);
}

TEST_F(RsvdQuery, MissingEndRecordLeavesStartSetAndEnd4095)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x02}, {0x0F, 0x80});
    uint32_t start = 0, end = 0;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), kReadFailed);
    EXPECT_EQ(start, 3968u);
    EXPECT_EQ(end, 4095u);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

TEST_F(RsvdQuery, MissingStartRecordLeavesBoth4095AndReadsNoFurther)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x03}, {0x0F, 0xFE});
    uint32_t start = 0, end = 0;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), kReadFailed);
    EXPECT_EQ(start, 4095u);
    EXPECT_EQ(end, 4095u);
    EXPECT_EQ(reads().size(), 1u);
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(RsvdQuery, ReadWithErrorWordFails)
{
    put_current(kUri1, 1, 3968, 4094);
    tp::sdb_fail(tp::SdbOp::read, 2, 0x40480003);
    uint32_t start = 0, end = 0;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), kReadFailed);
    EXPECT_EQ(start, 3968u);
    EXPECT_EQ(end, 4095u);
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(RsvdQuery, RecordShorterThanItsValueCountsAsUnreadable)
{
    // One byte and zero bytes: the 16-bit value is not there.
    for (const Bytes &value : {Bytes{0x0F}, Bytes{}}) {
        SetUp();
        tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x02}, value);
        tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x03}, {0x0F, 0xFE});
        uint32_t start = 0, end = 0;
        EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), kReadFailed);
        EXPECT_EQ(start, 4095u);
        EXPECT_EQ(end, 4095u);
    }
    SetUp();
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x02}, {0x0F, 0x80});
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x03}, {0x0F});
    uint32_t start = 0, end = 0;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), kReadFailed);
    EXPECT_EQ(start, 3968u);
    EXPECT_EQ(end, 4095u);
}

TEST_F(RsvdQuery, NullPointerIsRefusedBeforeTheDatabase)
{
    uint32_t v = 7;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, nullptr, &v), 0x41100003u);
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &v, nullptr), 0x41100003u);
    EXPECT_EQ(vlan_get_rsvd_vlans(1, nullptr, nullptr), 0x41100003u);
    // Checked before the VDC id too.
    EXPECT_EQ(vlan_get_rsvd_vlans(0, nullptr, &v), 0x41100003u);
    EXPECT_EQ(v, 7u);
    EXPECT_EQ(sdb_call_count(), 0u);
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
}

TEST_F(RsvdQuery, VdcOutsideOneToFiveIsRefusedWithoutTouchingTheDatabase)
{
    for (uint16_t vdc : {0, 6, 0xFFFF}) {
        uint32_t start = 7, end = 8;
        EXPECT_EQ(vlan_get_rsvd_vlans(vdc, &start, &end), 0x41100013u) << vdc;
        EXPECT_EQ(start, 7u);
        EXPECT_EQ(end, 8u);
    }
    EXPECT_EQ(sdb_call_count(), 0u);
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(RsvdQuery, VdcFiveIsAccepted)
{
    const std::string uri5 = "volatile:/dev/shm/5/vlan_mgr_bd_sdb";
    put_current(uri5, 5, 100, 200);
    uint32_t start = 0, end = 0;
    ASSERT_EQ(vlan_get_rsvd_vlans(5, &start, &end), 0u);
    EXPECT_EQ(start, 100u);
    EXPECT_EQ(end, 200u);
    EXPECT_EQ(reads().at(0).second, (Bytes{0x05, 0x00, 0x10, 0x02}));
}

TEST_F(RsvdQuery, OpenFailureIsReturnedWithOutputsUntouched)
{
    put_current(kUri1, 1, 3968, 4094);
    tp::sdb_fail(tp::SdbOp::open, 1, 0x40480001);
    uint32_t start = 7, end = 8;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), 0x40480001u);
    EXPECT_EQ(start, 7u);
    EXPECT_EQ(end, 8u);
    EXPECT_TRUE(reads().empty());
}

TEST_F(RsvdQuery, DatabaseAlreadyOpenCountsAsOpen)
{
    put_current(kUri1, 1, 10, 20);
    tp::sdb_fail(tp::SdbOp::open, 1, 0x411a0003);
    uint32_t start = 0, end = 0;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), 0u);
    EXPECT_EQ(start, 10u);
    EXPECT_EQ(end, 20u);
}

TEST_F(RsvdQuery, LocalFormReadsTheOwnVdcAndFetchesItOnce)
{
    tp::state().vdc_id = 3;
    put_current(kUri3, 3, 2000, 2127);
    uint32_t start = 0, end = 0;
    ASSERT_EQ(vlan_get_rsvd_vlans_local(&start, &end), 0u);
    ASSERT_EQ(vlan_get_rsvd_vlans_local(&start, &end), 0u);
    EXPECT_EQ(start, 2000u);
    EXPECT_EQ(end, 2127u);
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    EXPECT_EQ(reads().at(0), (std::pair<std::string, Bytes>{kUri3, {0x03, 0x00, 0x10, 0x02}}));
}

TEST_F(RsvdQuery, LocalFormFetchesTheVdcBeforeCheckingPointers)
{
    uint32_t v = 7;
    EXPECT_EQ(vlan_get_rsvd_vlans_local(nullptr, &v), 0x41100003u);
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    EXPECT_EQ(sdb_call_count(), 0u);
}

TEST_F(RsvdQuery, LocalFormWithOwnVdcOutsideOneToFiveIsRefused)
{
    tp::state().vdc_id = 6;
    uint32_t start = 7, end = 8;
    EXPECT_EQ(vlan_get_rsvd_vlans_local(&start, &end), 0x41100013u);
    EXPECT_EQ(start, 7u);
    EXPECT_EQ(sdb_call_count(), 0u);
}

// ---- vlan_get_future_rsvd_vlans_local ----

TEST_F(RsvdQuery, FutureRangeUsesHostOrderKeysAndValuesAtOffsetTwo)
{
    tp::state().vdc_id = 3;
    tp::sdb_put(kUri3, {0x09, 0x00, 0x00, 0x00}, {0xEE, 0xEE, 0x00, 0x00, 0x07, 0xD0});
    tp::sdb_put(kUri3, {0x0a, 0x00, 0x00, 0x00}, {0xEE, 0xEE, 0x00, 0x00, 0x08, 0x4F, 0x99});
    uint32_t start = 0, end = 0;
    ASSERT_EQ(vlan_get_future_rsvd_vlans_local(&start, &end), 0u);
    EXPECT_EQ(start, 2000u);
    EXPECT_EQ(end, 2127u);
    const auto r = reads();
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0], (std::pair<std::string, Bytes>{kUri3, {0x09, 0x00, 0x00, 0x00}}));
    EXPECT_EQ(r[1], (std::pair<std::string, Bytes>{kUri3, {0x0a, 0x00, 0x00, 0x00}}));
}

TEST_F(RsvdQuery, FutureValueIsAFullThirtyTwoBitWord)
{
    tp::sdb_put(kUri1, {0x09, 0x00, 0x00, 0x00}, {0x00, 0x00, 0x12, 0x34, 0x56, 0x78});
    tp::sdb_put(kUri1, {0x0a, 0x00, 0x00, 0x00}, {0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF});
    uint32_t start = 0, end = 0;
    ASSERT_EQ(vlan_get_future_rsvd_vlans_local(&start, &end), 0u);
    EXPECT_EQ(start, 0x12345678u);
    EXPECT_EQ(end, 0xFFFFFFFFu);
}

TEST_F(RsvdQuery, FutureRecordShorterThanSixBytesCountsAsUnreadable)
{
    for (size_t len = 0; len < 6; ++len) {
        SetUp();
        const Bytes full = future_value(3968);
        tp::sdb_put(kUri1, {0x09, 0x00, 0x00, 0x00}, Bytes(full.begin(), full.begin() + static_cast<long>(len)));
        tp::sdb_put(kUri1, {0x0a, 0x00, 0x00, 0x00}, future_value(4094));
        uint32_t start = 0, end = 0;
        EXPECT_EQ(vlan_get_future_rsvd_vlans_local(&start, &end), kReadFailed) << len;
        EXPECT_EQ(start, 4095u);
        EXPECT_EQ(end, 4095u);
    }
    for (size_t len = 0; len < 6; ++len) {
        SetUp();
        const Bytes full = future_value(4094);
        tp::sdb_put(kUri1, {0x09, 0x00, 0x00, 0x00}, future_value(3968));
        tp::sdb_put(kUri1, {0x0a, 0x00, 0x00, 0x00}, Bytes(full.begin(), full.begin() + static_cast<long>(len)));
        uint32_t start = 0, end = 0;
        EXPECT_EQ(vlan_get_future_rsvd_vlans_local(&start, &end), kReadFailed) << len;
        EXPECT_EQ(start, 3968u);
        EXPECT_EQ(end, 4095u);
    }
}

TEST_F(RsvdQuery, MissingFutureEndRecordLeavesStartSet)
{
    tp::sdb_put(kUri1, {0x09, 0x00, 0x00, 0x00}, future_value(100));
    uint32_t start = 0, end = 0;
    EXPECT_EQ(vlan_get_future_rsvd_vlans_local(&start, &end), kReadFailed);
    EXPECT_EQ(start, 100u);
    EXPECT_EQ(end, 4095u);
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(RsvdQuery, FutureFormFetchesTheVdcBeforeCheckingPointers)
{
    uint32_t v = 7;
    EXPECT_EQ(vlan_get_future_rsvd_vlans_local(&v, nullptr), 0x41100003u);
    EXPECT_EQ(vlan_get_future_rsvd_vlans_local(nullptr, &v), 0x41100003u);
    EXPECT_EQ(v, 7u);
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    EXPECT_EQ(sdb_call_count(), 0u);
}

TEST_F(RsvdQuery, FutureFormOpenFailureIsReturned)
{
    tp::sdb_fail(tp::SdbOp::open, 1, 0x40480001);
    uint32_t start = 7, end = 8;
    EXPECT_EQ(vlan_get_future_rsvd_vlans_local(&start, &end), 0x40480001u);
    EXPECT_EQ(start, 7u);
    EXPECT_EQ(end, 8u);
}

// ---- vlan_get_rsvd_vlans2 ----

TEST_F(RsvdQuery, Bitmap3968To4094Sets127Bits)
{
    put_current(kUri1, 1, 3968, 4094);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_rsvd_vlans2(1, &b), 0u);
    EXPECT_EQ(len_word(b), kLen512);
    expect_bits(b.bits, {{3968, 4094}});
    // Bytes 496..510 full, byte 511 without VLAN 4095, nothing below.
    for (size_t i = 0; i < 496; ++i)
        ASSERT_EQ(b.bits[i], 0x00) << i;
    for (size_t i = 496; i < 511; ++i)
        ASSERT_EQ(b.bits[i], 0xFF) << i;
    EXPECT_EQ(b.bits[511], 0xFE);
}

TEST_F(RsvdQuery, Bitmap2000To2127HoldsTheRangeAnd4094)
{
    put_current(kUri2, 2, 2000, 2127);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_rsvd_vlans2(2, &b), 0u);
    EXPECT_EQ(len_word(b), kLen512);
    expect_bits(b.bits, {{2000, 2127}, {4094, 4094}});
    EXPECT_EQ(b.bits[250], 0xFF); // 2000..2007
    EXPECT_EQ(b.bits[265], 0xFF); // 2120..2127
    EXPECT_EQ(b.bits[266], 0x00);
    EXPECT_EQ(b.bits[511], 0x02);
}

TEST_F(RsvdQuery, BitmapOfAnEmptyRangeHoldsOnly4094)
{
    put_current(kUri1, 1, 300, 200);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_rsvd_vlans2(1, &b), 0u);
    expect_bits(b.bits, {{4094, 4094}});
}

TEST_F(RsvdQuery, BitmapOfRangeRecordsHolding4095)
{
    put_current(kUri1, 1, 4095, 4095);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_rsvd_vlans2(1, &b), 0u);
    expect_bits(b.bits, {{4094, 4095}});
    EXPECT_EQ(b.bits[511], 0x03);
}

TEST_F(RsvdQuery, BitmapRangeStopsAtTheLastVlan)
{
    // An end above 4095 has no bits beyond 4095; nothing wraps to low VLANs.
    put_current(kUri1, 1, 4000, 0xFFFF);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_rsvd_vlans2(1, &b), 0u);
    expect_bits(b.bits, {{4000, 4095}});
}

TEST_F(RsvdQuery, BitmapReadFailureLeavesTheBitmapUntouched)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x02}, {0x0F, 0x80});
    vlan_bitmap b = patterned();
    EXPECT_EQ(vlan_get_rsvd_vlans2(1, &b), kReadFailed);
    EXPECT_TRUE(untouched(b));
    EXPECT_EQ(vlan_get_rsvd_vlans2(6, &b), 0x41100013u);
    EXPECT_TRUE(untouched(b));
    // The next open (VDC 2's first) fails.
    tp::sdb_fail(tp::SdbOp::open, tp::state().sdb_op_counts[tp::SdbOp::open] + 1, 0x40480001);
    EXPECT_EQ(vlan_get_rsvd_vlans2(2, &b), 0x40480001u);
    EXPECT_TRUE(untouched(b));
}

TEST_F(RsvdQuery, BitmapNullIsRefusedBeforeTheDatabase)
{
    EXPECT_EQ(vlan_get_rsvd_vlans2(1, nullptr), 0x41100003u);
    EXPECT_EQ(vlan_get_rsvd_vlans2(0, nullptr), 0x41100003u);
    EXPECT_EQ(sdb_call_count(), 0u);
}

// ---- vlan_get_future_rsvd_vlans2_local ----

TEST_F(RsvdQuery, FutureBitmapHoldsTheFutureRangeAnd4094)
{
    put_future(kUri1, 1000, 1099);
    put_current(kUri1, 1, 3968, 4094);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_future_rsvd_vlans2_local(&b), 0u);
    EXPECT_EQ(len_word(b), kLen512);
    expect_bits(b.bits, {{1000, 1099}, {4094, 4094}});
}

TEST_F(RsvdQuery, FutureBitmapFailureLeavesTheBitmapUntouched)
{
    vlan_bitmap b = patterned();
    EXPECT_EQ(vlan_get_future_rsvd_vlans2_local(&b), kReadFailed);
    EXPECT_TRUE(untouched(b));
    EXPECT_EQ(vlan_get_future_rsvd_vlans2_local(nullptr), 0x41100003u);
}

TEST_F(RsvdQuery, FutureBitmapOfAHugeEndStopsAtTheLastVlan)
{
    put_future(kUri1, 4090, 0xFFFFFFFFu);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_future_rsvd_vlans2_local(&b), 0u);
    expect_bits(b.bits, {{4090, 4095}});
}

// ---- vlan_get_rsvd_vlans2_local ----

TEST_F(RsvdQuery, LocalBitmapWithoutFutureRecordsHoldsTheCurrentRangeAnd4094)
{
    tp::state().vdc_id = 2;
    put_current(kUri2, 2, 2000, 2127);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_rsvd_vlans2_local(&b), 0u);
    EXPECT_EQ(len_word(b), kLen512);
    expect_bits(b.bits, {{2000, 2127}, {4094, 4094}});
    // Current start and end, then the future start (missing, so no end read).
    const auto r = reads();
    ASSERT_EQ(r.size(), 3u);
    EXPECT_EQ(r[0].second, (Bytes{0x02, 0x00, 0x10, 0x02}));
    EXPECT_EQ(r[1].second, (Bytes{0x02, 0x00, 0x10, 0x03}));
    EXPECT_EQ(r[2].second, (Bytes{0x09, 0x00, 0x00, 0x00}));
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
}

TEST_F(RsvdQuery, LocalBitmapJoinsTheCurrentAndFutureRanges)
{
    put_current(kUri1, 1, 3968, 4047);
    put_future(kUri1, 1000, 1127);
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_rsvd_vlans2_local(&b), 0u);
    expect_bits(b.bits, {{1000, 1127}, {3968, 4047}, {4094, 4094}});
}

TEST_F(RsvdQuery, LocalBitmapIgnoresAHalfReadFutureRange)
{
    put_current(kUri1, 1, 3968, 4047);
    tp::sdb_put(kUri1, {0x09, 0x00, 0x00, 0x00}, future_value(1000));
    vlan_bitmap b = patterned();
    ASSERT_EQ(vlan_get_rsvd_vlans2_local(&b), 0u);
    expect_bits(b.bits, {{3968, 4047}, {4094, 4094}});
}

TEST_F(RsvdQuery, LocalBitmapIsClearedEvenWhenTheCurrentRangeIsMissing)
{
    put_future(kUri1, 1000, 1127);
    vlan_bitmap b = patterned();
    EXPECT_EQ(vlan_get_rsvd_vlans2_local(&b), kReadFailed);
    EXPECT_EQ(len_word(b), kLen512);
    expect_bits(b.bits, {});
}

TEST_F(RsvdQuery, LocalBitmapOpenFailureIsReturnedWithTheBitmapCleared)
{
    tp::sdb_fail(tp::SdbOp::open, 1, 0x40480001);
    vlan_bitmap b = patterned();
    EXPECT_EQ(vlan_get_rsvd_vlans2_local(&b), 0x40480001u);
    EXPECT_EQ(len_word(b), kLen512);
    expect_bits(b.bits, {});
}

TEST_F(RsvdQuery, LocalBitmapNullIsRefused)
{
    EXPECT_EQ(vlan_get_rsvd_vlans2_local(nullptr), 0x41100003u);
    EXPECT_EQ(sdb_call_count(), 0u);
}

// ---- vlan_get_vdc_allocated_vlans ----

TEST_F(RsvdQuery, AllocatedVlansReturnsOneWithAnEmptyBitmap)
{
    tp::state().vdc_id = 4;
    vlan_bitmap b = patterned();
    EXPECT_EQ(vlan_get_vdc_allocated_vlans(&b), 1u);
    EXPECT_EQ(len_word(b), kLen512);
    expect_bits(b.bits, {});
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    EXPECT_EQ(sdb_call_count(), 0u);
}

TEST_F(RsvdQuery, AllocatedVlansNullIsRefused)
{
    EXPECT_EQ(vlan_get_vdc_allocated_vlans(nullptr), 0x41100003u);
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
}

// ---- vlan_get_reserved_vlans ----

TEST_F(RsvdQuery, ReservedListFrom3968RunsUpward)
{
    uint32_t out[4] = {9, 9, 9, 9};
    EXPECT_EQ(vlan_get_reserved_vlans(3968, 0, 3, out), 0u);
    EXPECT_EQ(out[0], 3968u);
    EXPECT_EQ(out[1], 3969u);
    EXPECT_EQ(out[2], 3970u);
    EXPECT_EQ(out[3], 9u);
}

TEST_F(RsvdQuery, ReservedListJumpsOneBlockAtTheFirstBoundaryAboveBase)
{
    uint32_t out[3] = {9, 9, 9};
    EXPECT_EQ(vlan_get_reserved_vlans(100, 27, 2, out), 0u);
    EXPECT_EQ(out[0], 127u);
    EXPECT_EQ(out[1], 192u);
    EXPECT_EQ(out[2], 9u);
}

TEST_F(RsvdQuery, ReservedListFromAnAlignedBaseJumpsAfterSixtyFour)
{
    uint32_t out[66];
    EXPECT_EQ(vlan_get_reserved_vlans(3968, 0, 66, out), 0u);
    EXPECT_EQ(out[63], 4031u);
    EXPECT_EQ(out[64], 4096u);
    EXPECT_EQ(out[65], 4097u);
}

TEST_F(RsvdQuery, ReservedListIsNotBoundedTo4095)
{
    uint32_t out[8];
    EXPECT_EQ(vlan_get_reserved_vlans(4090, 0, 8, out), 0u);
    const uint32_t want[8] = {4090, 4091, 4092, 4093, 4094, 4095, 4160, 4161};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(out[i], want[i]) << i;
}

TEST_F(RsvdQuery, ReservedListOfCountZeroStoresNothing)
{
    uint32_t out[1] = {9};
    EXPECT_EQ(vlan_get_reserved_vlans(100, 0, 0, out), 0u);
    EXPECT_EQ(out[0], 9u);
    EXPECT_EQ(vlan_get_reserved_vlans(100, 0, 5, nullptr), 0u);
}

TEST_F(RsvdQuery, NothingIsAllocated)
{
    put_current(kUri1, 1, 3968, 4094);
    put_future(kUri1, 100, 200);
    uint32_t s = 0, e = 0;
    vlan_bitmap b;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &s, &e), 0u);
    EXPECT_EQ(vlan_get_rsvd_vlans2(1, &b), 0u);
    EXPECT_EQ(vlan_get_rsvd_vlans2_local(&b), 0u);
    EXPECT_EQ(vlan_get_future_rsvd_vlans2_local(&b), 0u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
