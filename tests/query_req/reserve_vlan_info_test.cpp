// Reserved-VLAN information: the builder, the two parsers and the _local
// builder.
#include "../common/request_test_util.h"

#include <vlan_mgr/query_req.h>

#include "frame/bitmap.h"

namespace {

using namespace reqtest;

// ---- Builder -------------------------------------------------------------------------

TEST(ReserveInfoBuild, QueryFiveInVdcOneGivesTenBytes)
{
    tp::state().vdc_id = 1;
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_reserve_vlan_info_build_mts(&vdc, 1, 5, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 10u);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x01, 0x00, 0x01}));
    expect_no_report();
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(ReserveInfoBuild, QueryWordIsSentAsGiven)
{
    tp::state().vdc_id = 2;
    const uint16_t vdc = 2;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_reserve_vlan_info_build_mts(&vdc, 1, 0xA1B2C3D4u, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), (Bytes{0xA1, 0xB2, 0xC3, 0xD4, 0x00, 0x00, 0x00, 0x01, 0x00, 0x02}));
}

TEST(ReserveInfoBuild, CountOfTwoIsReportedAndInvalid)
{
    all_channels_on();
    const uint16_t vdcs[] = {1, 1};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_reserve_vlan_info_build_mts(vdcs, 2, 5, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_report(100, "vlan_mgr pid " + pid_text() + ", num_entries 2, should be 1\n",
                  " pid " + pid_text() + ", num_entries 2, should be 1\n", "ERROR_MSG", 3, true, true);
}

TEST(ReserveInfoBuild, NegativeCountIsReportedAsIs)
{
    const uint16_t vdc = 1;
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_reserve_vlan_info_build_mts(&vdc, -1, 5, &p, &len), 0x41100003u);
    expect_report(100, "vlan_mgr pid " + pid_text() + ", num_entries -1, should be 1\n", "", "ERROR_MSG", 3, false,
                  false);
}

TEST(ReserveInfoBuild, CountZeroOrNoArrayIsInvalidSilently)
{
    all_channels_on();
    const uint16_t vdc = 2; // not the local VDC: the count is checked first
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_reserve_vlan_info_build_mts(&vdc, 0, 5, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_get_reserve_vlan_info_build_mts(nullptr, 1, 5, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_get_reserve_vlan_info_build_mts(nullptr, 2, 5, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    expect_no_report();
}

TEST(ReserveInfoBuild, ForeignVdcIsReportedAsAMismatch)
{
    tp::state().vdc_id = 1;
    all_channels_on();
    const uint16_t vdc = 3;
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_reserve_vlan_info_build_mts(&vdc, 1, 5, &p, &len), 0x41100013u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_report(100, "vlan_mgr pid " + pid_text() + ", vdcID 3, local vdcID 1\n",
                  " pid " + pid_text() + ", vdcID 3, local vdcID 1\n", "ERROR_MSG", 3, true, true);
}

TEST(ReserveInfoBuild, LocalFormUsesTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    for (int i = 0; i < 3; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_get_reserve_vlan_info_build_mts_local(7, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x07, 0x00, 0x00, 0x00, 0x01, 0x00, 0x03}));
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    expect_no_report();
}

TEST(ReserveInfoBuild, AllocationFailureLeavesNullPayloadAndLengthTen)
{
    const long allocs = sweep_alloc_failures([&] {
        void *p = &p;
        uint32_t len = 0;
        const uint32_t st = vlan_get_reserve_vlan_info_build_mts_local(5, &p, &len);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
            EXPECT_EQ(len, 10u);
        } else {
            std::free(p);
        }
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

// ---- Parsers -------------------------------------------------------------------------------

// A wire record: unused bytes EE EE (never read), the VDC id, bitmap 1 with
// length word FF FF FF FF (never read) and `b1` at byte 0 and `b1last` at
// byte 511, bitmap 2 with length word 00 00 00 00 and `b2` at byte 1, word 1
// and word 2.
Bytes wire_record(uint8_t vdc, uint8_t b1, uint8_t b1last, uint8_t b2, Bytes word1, Bytes word2)
{
    Bytes bits1 = zeros(512), bits2 = zeros(512);
    bits1[0] = b1;
    bits1[511] = b1last;
    bits2[1] = b2;
    return cat({{0xEE, 0xEE, 0x00, vdc}, {0xFF, 0xFF, 0xFF, 0xFF}, bits1, {0x00, 0x00, 0x00, 0x00}, bits2, word1,
                word2});
}

// Status 0x41100033, two records (VDC 1 and VDC 2).
const Bytes kTwoRecords = cat({{0x41, 0x10, 0x00, 0x33, 0x00, 0x00, 0x00, 0x02},
                               wire_record(1, 0x80, 0x01, 0x40, {0x00, 0x00, 0x0F, 0xA0}, {0x00, 0x00, 0x00, 0x80}),
                               wire_record(2, 0x0F, 0xF0, 0xFF, {0x01, 0x02, 0x03, 0x04}, {0xFF, 0xFF, 0xFF, 0xFE})});

// Status 0, one record.
const Bytes kOneRecord =
    cat({{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01},
         wire_record(5, 0x12, 0x34, 0x56, {0x00, 0x00, 0x00, 0x01}, {0x00, 0x00, 0x00, 0x02})});

template <typename Record>
void expect_bitmaps(const Record &r, uint8_t b1, uint8_t b1last, uint8_t b2)
{
    Bytes want1 = zeros(512), want2 = zeros(512);
    want1[0] = b1;
    want1[511] = b1last;
    want2[1] = b2;
    EXPECT_EQ(r.bitmap1.len, 512u);
    EXPECT_EQ(r.bitmap2.len, 512u);
    EXPECT_EQ(Bytes(r.bitmap1.bits, r.bitmap1.bits + 512), want1);
    EXPECT_EQ(Bytes(r.bitmap2.bits, r.bitmap2.bits + 512), want2);
}

TEST(ReserveInfoParse, DecodesEveryRecordAndHandsTheStatusBack)
{
    ASSERT_EQ(kTwoRecords.size(), 8u + 2 * 1044);
    HeapCopy c(kTwoRecords);
    reserve_vlan_info *recs = nullptr;
    uint32_t count = 99, status = 99;
    ASSERT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(status, 0x41100033u);
    ASSERT_NE(recs, nullptr);
    EXPECT_EQ(recs[0].unused[0], 0);
    EXPECT_EQ(recs[0].unused[1], 0);
    EXPECT_EQ(recs[0].vdc_id, 1);
    expect_bitmaps(recs[0], 0x80, 0x01, 0x40);
    EXPECT_EQ(recs[0].word1, 4000u);
    EXPECT_EQ(recs[0].word2, 128u);
    EXPECT_EQ(recs[1].unused[0], 0);
    EXPECT_EQ(recs[1].unused[1], 0);
    EXPECT_EQ(recs[1].vdc_id, 2);
    expect_bitmaps(recs[1], 0x0F, 0xF0, 0xFF);
    EXPECT_EQ(recs[1].word1, 0x01020304u);
    EXPECT_EQ(recs[1].word2, 0xFFFFFFFEu);
    std::free(recs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(ReserveInfoParseLocal, DecodesEveryRecordWithoutVdc)
{
    HeapCopy c(kTwoRecords);
    reserve_vlan_info_local *recs = nullptr;
    uint32_t count = 99, status = 99;
    ASSERT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&recs, &count, &status, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(status, 0x41100033u);
    expect_bitmaps(recs[0], 0x80, 0x01, 0x40);
    EXPECT_EQ(recs[0].word1, 4000u);
    EXPECT_EQ(recs[0].word2, 128u);
    expect_bitmaps(recs[1], 0x0F, 0xF0, 0xFF);
    EXPECT_EQ(recs[1].word1, 0x01020304u);
    EXPECT_EQ(recs[1].word2, 0xFFFFFFFEu);
    std::free(recs);
}

TEST(ReserveInfoParse, NonZeroStatusWithOneRecordReturnsZero)
{
    const Bytes reply = cat({{0x41, 0x10, 0x00, 0x44}, Bytes(kOneRecord.begin() + 4, kOneRecord.end())});
    HeapCopy c(reply);
    reserve_vlan_info *recs = nullptr;
    uint32_t count = 0, status = 0;
    ASSERT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, c.data(), c.size()), 0u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(status, 0x41100044u);
    ASSERT_NE(recs, nullptr);
    EXPECT_EQ(recs[0].vdc_id, 5);
    std::free(recs);
    reserve_vlan_info_local *lrecs = nullptr;
    status = 0;
    ASSERT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, &count, &status, c.data(), c.size()), 0u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(status, 0x41100044u);
    EXPECT_EQ(lrecs[0].word2, 2u);
    std::free(lrecs);
}

TEST(ReserveInfoParse, BareStatusLeavesTheOutStatusUntouched)
{
    const Bytes bare = {0x41, 0x10, 0x00, 0x1c};
    reserve_vlan_info *recs = reinterpret_cast<reserve_vlan_info *>(&recs);
    uint32_t count = 99, status = 0xDEAD;
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, bare.data(), 4), 0x4110001cu);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(status, 0xDEADu);
    reserve_vlan_info_local *lrecs = reinterpret_cast<reserve_vlan_info_local *>(&lrecs);
    count = 99;
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, &count, &status, bare.data(), 4), 0x4110001cu);
    EXPECT_EQ(lrecs, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(status, 0xDEADu);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(ReserveInfoParse, NoRecordsIsNoVlansWithCountAndStatusSet)
{
    const Bytes reply = {0x41, 0x10, 0x00, 0x55, 0x00, 0x00, 0x00, 0x00, 0xAA};
    HeapCopy c(reply);
    reserve_vlan_info *recs = reinterpret_cast<reserve_vlan_info *>(&recs);
    uint32_t count = 99, status = 0;
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, c.data(), c.size()), 0x41100011u);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(status, 0x41100055u);
    reserve_vlan_info_local *lrecs = nullptr;
    status = 0;
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, &count, &status, c.data(), 8), 0x41100011u);
    EXPECT_EQ(status, 0x41100055u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(ReserveInfoParse, EmptyReplyAndNullPointers)
{
    reserve_vlan_info *recs = reinterpret_cast<reserve_vlan_info *>(&recs);
    reserve_vlan_info_local *lrecs = nullptr;
    uint32_t count = 99, status = 0xDEAD;
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, kOneRecord.data(), 0), 0x41100002u);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(status, 0xDEADu);
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, &count, &status, kOneRecord.data(), 0),
              0x41100002u);
    recs = reinterpret_cast<reserve_vlan_info *>(&recs);
    count = 99;
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, nullptr, &status, kOneRecord.data(), 1052), 0x41100003u);
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, nullptr, kOneRecord.data(), 1052), 0x41100003u);
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, nullptr, 1052), 0x41100003u);
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, nullptr, &status, kOneRecord.data(), 1052),
              0x41100003u);
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, &count, nullptr, kOneRecord.data(), 1052),
              0x41100003u);
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, &count, &status, nullptr, 1052), 0x41100003u);
    EXPECT_EQ(recs, reinterpret_cast<reserve_vlan_info *>(&recs));
    EXPECT_EQ(count, 99u);
    EXPECT_EQ(status, 0xDEADu);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(ReserveInfoParse, CountBeyondTheReplyIsTruncatedAndStoresNothing)
{
    for (const Bytes &n : {Bytes{0x00, 0x00, 0x00, 0x02}, Bytes{0x40, 0x00, 0x00, 0x00}, Bytes{0xFF, 0xFF, 0xFF, 0xFF}}) {
        const Bytes reply = cat({{0x00, 0x00, 0x00, 0x07}, n, Bytes(kOneRecord.begin() + 8, kOneRecord.end())});
        HeapCopy c(reply);
        reserve_vlan_info *recs = reinterpret_cast<reserve_vlan_info *>(&recs);
        uint32_t count = 99, status = 0xDEAD;
        EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, c.data(), c.size()),
                  VLAN_MGR_ERR_TRUNCATED);
        EXPECT_EQ(recs, nullptr);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(status, 0xDEADu);
        reserve_vlan_info_local *lrecs = nullptr;
        EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, &count, &status, c.data(), c.size()),
                  VLAN_MGR_ERR_TRUNCATED);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(status, 0xDEADu);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(ReserveInfoParse, AllocationFailureKeepsCountAndStatus)
{
    HeapCopy c(kTwoRecords);
    long allocs = sweep_alloc_failures([&] {
        reserve_vlan_info *recs = nullptr;
        uint32_t count = 0, status = 0;
        const uint32_t st = vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, c.data(), c.size());
        EXPECT_EQ(count, 2u);
        EXPECT_EQ(status, 0x41100033u);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(recs, nullptr);
        }
        std::free(recs);
        return st;
    });
    EXPECT_EQ(allocs, 1);
    allocs = sweep_alloc_failures([&] {
        reserve_vlan_info_local *recs = nullptr;
        uint32_t count = 0, status = 0;
        const uint32_t st = vlan_get_reserve_vlan_info_parse_reply_local(&recs, &count, &status, c.data(), c.size());
        EXPECT_EQ(count, 2u);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(recs, nullptr);
        }
        std::free(recs);
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

TEST(ReserveInfoParse, EveryCutOfAValidReplyFailsCleanly)
{
    for (const Bytes *reply : {&kOneRecord, &kTwoRecords}) {
        expect_every_cut_fails(*reply, [](const uint8_t *p, uint32_t len) {
            reserve_vlan_info *recs = nullptr;
            uint32_t count = 99, status = 0xDEAD;
            const uint32_t st = vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, p, len);
            EXPECT_EQ(recs, nullptr);
            EXPECT_EQ(count, 0u);
            EXPECT_EQ(status, 0xDEADu);
            return st;
        });
        expect_every_cut_fails(*reply, [](const uint8_t *p, uint32_t len) {
            reserve_vlan_info_local *recs = nullptr;
            uint32_t count = 99, status = 0xDEAD;
            const uint32_t st = vlan_get_reserve_vlan_info_parse_reply_local(&recs, &count, &status, p, len);
            EXPECT_EQ(recs, nullptr);
            EXPECT_EQ(status, 0xDEADu);
            return st;
        });
    }
}

TEST(ReserveInfoParse, ReplyAtAnOddAddressDecodesTheSame)
{
    expect_same_at_odd_address(kTwoRecords, [](const uint8_t *p, uint32_t len) {
        reserve_vlan_info *recs = nullptr;
        uint32_t count = 0, status = 0;
        std::vector<uint32_t> out{vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, p, len), count,
                                  status};
        const auto *b = reinterpret_cast<const uint8_t *>(recs);
        out.insert(out.end(), b, b + count * sizeof *recs);
        std::free(recs);
        return out;
    });
    expect_same_at_odd_address(kTwoRecords, [](const uint8_t *p, uint32_t len) {
        reserve_vlan_info_local *recs = nullptr;
        uint32_t count = 0, status = 0;
        std::vector<uint32_t> out{vlan_get_reserve_vlan_info_parse_reply_local(&recs, &count, &status, p, len), count,
                                  status};
        const auto *b = reinterpret_cast<const uint8_t *>(recs);
        out.insert(out.end(), b, b + count * sizeof *recs);
        std::free(recs);
        return out;
    });
}

// A full reserved set: every VLAN 1..4094 in bitmap 1, none in bitmap 2.
TEST(ReserveInfoParse, FullBitmapOf4094VlansComesBackWhole)
{
    Bytes bits1(512, 0xFF);
    bits1[0] = 0x7F;
    bits1[511] = 0xFE;
    const Bytes reply = cat({{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01}, kLen512,
                             bits1, kLen512, zeros(512), zeros(8)});
    HeapCopy c(reply, true);
    reserve_vlan_info *recs = nullptr;
    uint32_t count = 0, status = 0;
    ASSERT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 1u);
    uint32_t n = 0;
    for (int32_t v = vlan_bitmap_find_next(&recs[0].bitmap1, 0); v >= 0;
         v = vlan_bitmap_find_next(&recs[0].bitmap1, v + 1))
        EXPECT_EQ(static_cast<uint32_t>(v), ++n);
    EXPECT_EQ(n, 4094u);
    EXPECT_EQ(vlan_bitmap_find_next(&recs[0].bitmap2, 0), -1);
    std::free(recs);
}

TEST(ReserveInfoParse, BareZeroStatusReturnsZeroAndLeavesTheOutStatus)
{
    const Bytes bare = {0x00, 0x00, 0x00, 0x00};
    reserve_vlan_info *recs = reinterpret_cast<reserve_vlan_info *>(&recs);
    uint32_t count = 99, status = 0xDEAD;
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, bare.data(), 4), 0u);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(status, 0xDEADu);
    reserve_vlan_info_local *lrecs = reinterpret_cast<reserve_vlan_info_local *>(&lrecs);
    count = 99;
    EXPECT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&lrecs, &count, &status, bare.data(), 4), 0u);
    EXPECT_EQ(lrecs, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(status, 0xDEADu);
}

} // namespace
