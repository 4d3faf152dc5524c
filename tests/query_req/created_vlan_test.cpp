// Created-VLAN listings: the all-created and range-created builders, their
// _local forms, and the shared reply parser with its _local form.
#include <cstdio>

#include "../common/request_test_util.h"

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/query_req.h>

#include "bd_db/bd_cache.h"

namespace {

using namespace reqtest;

std::string hex_of(const void *p)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "%x", static_cast<unsigned>(reinterpret_cast<uintptr_t>(p)));
    return buf;
}

// ---- Builders ---------------------------------------------------------------------

TEST(CreatedBuild, AllCreatedInVdcOneGivesSixBytes)
{
    tp::state().vdc_id = 1;
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 6u);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x01, 0x00, 0x01}));
    expect_no_report();
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(CreatedBuild, RangeRequestCarriesAHostOrderLengthAndTheVdcLast)
{
    tp::state().vdc_id = 2;
    const uint16_t vdc = 2;
    vlan_bitmap bm = bitmap_of({0, 7, 8, 4095});
    bm.len = 0xDEADBEEF; // the caller's length word is not copied
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_range_created_vlan_build_mts(&vdc, 1, &p, &len, &bm), VLAN_MGR_OK);
    ASSERT_EQ(len, 522u);
    Bytes bits = zeros(512);
    bits[0] = 0x81;
    bits[1] = 0x80;
    bits[511] = 0x01;
    EXPECT_EQ(take(p, len), cat({{0x00, 0x00, 0x00, 0x01}, {0x00, 0x02, 0x00, 0x00}, bits, {0x00, 0x02}}));
    expect_no_report();
}

TEST(CreatedBuild, RangeBitsAreCopiedAsTheyAre)
{
    vlan_bitmap bm;
    bm.len = 512;
    for (size_t i = 0; i < 512; ++i)
        bm.bits[i] = static_cast<uint8_t>(i * 7 + 3);
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_range_created_vlan_build_mts_local(&p, &len, &bm), VLAN_MGR_OK);
    const Bytes b = take(p, len);
    ASSERT_EQ(b.size(), 522u);
    EXPECT_EQ(Bytes(b.begin() + 8, b.begin() + 520), Bytes(bm.bits, bm.bits + 512));
}

using Builder = uint32_t (*)(const uint16_t *, uint32_t, void **, uint32_t *);

uint32_t build_range_empty(const uint16_t *vdcs, uint32_t n, void **p, uint32_t *len)
{
    static const vlan_bitmap bm = bitmap_of({});
    return vlan_get_range_created_vlan_build_mts(vdcs, n, p, len, &bm);
}

const Builder kBuilders[] = {vlan_get_all_created_vlan_build_mts, build_range_empty};

TEST(CreatedBuild, TwoVdcIdsAreReportedAndInvalid)
{
    for (Builder build : kBuilders) {
        tp::reset();
        all_channels_on();
        const uint16_t vdcs[] = {1, 1};
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(vdcs, 2, &p, &len), 0x41100003u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
        const std::string text = " pid " + pid_text() + ", vdc_id_p 0x" + hex_of(vdcs) + ", num_entries 2\n";
        expect_report(100, "vlan_mgr" + text, text, "ERROR_MSG", 3, true, true);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreatedBuild, NullArrayOrCountZeroIsReportedAndInvalid)
{
    for (Builder build : kBuilders) {
        tp::reset();
        all_channels_on();
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(nullptr, 1, &p, &len), 0x41100003u);
        const std::string text = " pid " + pid_text() + ", vdc_id_p 0x0, num_entries 1\n";
        expect_report(100, "vlan_mgr" + text, text, "ERROR_MSG", 3, true, true);

        tp::reset();
        syslog_fac_LOG_VLAN_MGR.current_level = 2;
        const uint16_t vdc = 1;
        EXPECT_EQ(build(&vdc, 0, &p, &len), 0x41100003u);
        expect_report(100, "vlan_mgr pid " + pid_text() + ", vdc_id_p 0x" + hex_of(&vdc) + ", num_entries 0\n", "",
                      "ERROR_MSG", 3, false, false);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
        EXPECT_EQ(tp::state().vdc_get_calls, 0);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreatedBuild, ForeignVdcIsAMismatch)
{
    for (Builder build : kBuilders) {
        tp::reset();
        tp::state().vdc_id = 1;
        all_channels_on();
        const uint16_t vdc = 4;
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(&vdc, 1, &p, &len), 0x41100013u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
        expect_report(100, "vlan_mgr pid " + pid_text() + ", vdcID 4, local vdcID 1\n",
                      " pid " + pid_text() + ", vdcID 4, local vdcID 1\n", "ERROR_MSG", 3, true, true);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreatedBuild, LocalFormsUseTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    const vlan_bitmap bm = bitmap_of({4094});
    Bytes bits = zeros(512);
    bits[511] = 0x02;
    for (int i = 0; i < 3; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_get_all_created_vlan_build_mts_local(&p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x01, 0x00, 0x03}));
        ASSERT_EQ(vlan_get_range_created_vlan_build_mts_local(&p, &len, &bm), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), cat({{0x00, 0x00, 0x00, 0x01}, kLen512, bits, {0x00, 0x03}}));
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    expect_no_report();
}

TEST(CreatedBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const uint16_t vdc = 1;
    const uint32_t sizes[] = {6, 522};
    for (int b = 0; b < 2; ++b) {
        const long allocs = sweep_alloc_failures([&] {
            void *p = &p;
            uint32_t len = 0;
            const uint32_t st = kBuilders[b](&vdc, 1, &p, &len);
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(p, nullptr);
                EXPECT_EQ(len, sizes[b]);
            } else {
                std::free(p);
            }
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

// ---- Parsers -------------------------------------------------------------------------------

// Wire records: VLAN id, attribute word 2, BD id, attribute words 4, 5, 6.
const Bytes kRec10 = {0x00, 0x00, 0x00, 0x0A, 0x01, 0x02, 0x03, 0x04, 0x10, 0x01, 0x11, 0x12,
                      0x13, 0x14, 0x21, 0x22, 0x23, 0x24, 0x31, 0x32, 0x33, 0x34};
const Bytes kRec4094 = {0x00, 0x00, 0x0F, 0xFE, 0x00, 0x00, 0x00, 0x02, 0x1F, 0xFE, 0x00, 0x00,
                        0x00, 0x04, 0x00, 0x00, 0x00, 0x05, 0xFF, 0xFF, 0xFF, 0xFF};
const Bytes kRec20 = {0x00, 0x00, 0x00, 0x14, 0xA0, 0xA1, 0xA2, 0xA3, 0x00, 0x14, 0xB0, 0xB1,
                      0xB2, 0xB3, 0xC0, 0xC1, 0xC2, 0xC3, 0xD0, 0xD1, 0xD2, 0xD3};

// One group of VDC 1 with two records; the reserved space after them is not
// sent.
const Bytes kOneGroup = cat({{0x00, 0x00, 0x00, 0x01}, {0x00, 0x01, 0x00, 0x00, 0x00, 0x02}, kRec10, kRec4094});

// Two groups: VDC 1 with two records, its reserved space filled with CC, then
// VDC 2 with one record at 4 + 36 + 264 = 304.
const Bytes kTwoGroups = cat({{0x00, 0x00, 0x00, 0x02}, {0x00, 0x01, 0x00, 0x00, 0x00, 0x02}, kRec10, kRec4094,
                              Bytes(300 - 6 - 44, 0xCC), {0x00, 0x02, 0x00, 0x00, 0x00, 0x01}, kRec20});

void expect_rec10(const created_vlan_record_local &r)
{
    EXPECT_EQ(r.vlan_id, 10u);
    EXPECT_EQ(r.attr2, 0x01020304u);
    EXPECT_EQ(r.bd_id, 0x1001);
    EXPECT_EQ(r.attr4, 0x11121314u);
    EXPECT_EQ(r.attr5, 0x21222324u);
    EXPECT_EQ(r.attr6, 0x31323334u);
}

created_vlan_record_local local_of(const created_vlan_record &r)
{
    return {r.vlan_id, r.attr2, r.bd_id, r.attr4, r.attr5, r.attr6};
}

TEST(CreatedParse, OneGroupGivesItsRecordsWithTheGroupsVdc)
{
    HeapCopy c(kOneGroup);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(recs[0].vdc_id, 1);
    expect_rec10(local_of(recs[0]));
    EXPECT_EQ(recs[1].vdc_id, 1);
    EXPECT_EQ(recs[1].vlan_id, 4094u);
    EXPECT_EQ(recs[1].attr2, 2u);
    EXPECT_EQ(recs[1].bd_id, 0x1FFE);
    EXPECT_EQ(recs[1].attr4, 4u);
    EXPECT_EQ(recs[1].attr5, 5u);
    EXPECT_EQ(recs[1].attr6, 0xFFFFFFFFu);
    // The aligned record's padding bytes are 0.
    const auto *b = reinterpret_cast<const uint8_t *>(recs);
    EXPECT_EQ(Bytes(b + 2, b + 4), (Bytes{0, 0}));
    EXPECT_EQ(Bytes(b + 14, b + 16), (Bytes{0, 0}));
    std::free(recs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(CreatedParseLocal, OneGroupGivesPackedRecordsWithoutVdc)
{
    HeapCopy c(kOneGroup);
    created_vlan_record_local *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply_local(&recs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 2u);
    expect_rec10(recs[0]);
    // The second record in host order, byte for byte.
    const uint8_t want[22] = {0xFE, 0x0F, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0xFE, 0x1F, 0x04,
                              0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF};
    const auto *b = reinterpret_cast<const uint8_t *>(recs + 1);
    EXPECT_EQ(Bytes(b, b + 22), Bytes(want, want + 22));
    std::free(recs);
}

TEST(CreatedParse, SecondGroupIsReadAfterTheFirstGroupsReservedSpace)
{
    ASSERT_EQ(kTwoGroups.size(), 304u + 6 + 22);
    HeapCopy c(kTwoGroups);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(recs[0].vdc_id, 1);
    EXPECT_EQ(recs[1].vdc_id, 1);
    EXPECT_EQ(recs[1].vlan_id, 4094u);
    EXPECT_EQ(recs[2].vdc_id, 2);
    EXPECT_EQ(recs[2].vlan_id, 20u);
    EXPECT_EQ(recs[2].attr2, 0xA0A1A2A3u);
    EXPECT_EQ(recs[2].bd_id, 0x0014);
    EXPECT_EQ(recs[2].attr4, 0xB0B1B2B3u);
    EXPECT_EQ(recs[2].attr5, 0xC0C1C2C3u);
    EXPECT_EQ(recs[2].attr6, 0xD0D1D2D3u);
    std::free(recs);
    created_vlan_record_local *lrecs = nullptr;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 3u);
    expect_rec10(lrecs[0]);
    EXPECT_EQ(lrecs[2].vlan_id, 20u);
    EXPECT_EQ(lrecs[2].bd_id, 0x0014);
    std::free(lrecs);
}

TEST(CreatedParse, EmptyGroupStillOccupies36Bytes)
{
    // G = 2: VDC 1 with no records (36 bytes), then VDC 3 with one at 40.
    const Bytes reply = cat({{0x00, 0x00, 0x00, 0x02}, {0x00, 0x01, 0x00, 0x00, 0x00, 0x00}, Bytes(30, 0xCC),
                             {0x00, 0x03, 0x00, 0x00, 0x00, 0x01}, kRec20});
    HeapCopy c(reply);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(recs[0].vdc_id, 3);
    EXPECT_EQ(recs[0].vlan_id, 20u);
    std::free(recs);
}

TEST(CreatedParse, NoGroupsOrNoRecordsIsNoVlans)
{
    const Bytes no_groups = {0x00, 0x00, 0x00, 0x00, 0xAA};
    const Bytes one_empty = cat({{0x00, 0x00, 0x00, 0x01}, {0x00, 0x01, 0x00, 0x00, 0x00, 0x00}, zeros(30)});
    const Bytes two_empty = cat({{0x00, 0x00, 0x00, 0x02}, {0x00, 0x01, 0x00, 0x00, 0x00, 0x00}, zeros(30),
                                 {0x00, 0x02, 0x00, 0x00, 0x00, 0x00}});
    for (const Bytes *reply : {&no_groups, &one_empty, &two_empty}) {
        HeapCopy c(*reply);
        created_vlan_record *recs = reinterpret_cast<created_vlan_record *>(&recs);
        uint32_t count = 99;
        EXPECT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0x41100011u);
        EXPECT_EQ(recs, nullptr);
        EXPECT_EQ(count, 0u);
        created_vlan_record_local *lrecs = nullptr;
        count = 99;
        EXPECT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, &count, c.data(), c.size()), 0x41100011u);
        EXPECT_EQ(count, 0u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreatedParse, BareStatusEmptyReplyAndNullPointers)
{
    const Bytes bare = {0x41, 0x10, 0x00, 0x1c};
    created_vlan_record *recs = reinterpret_cast<created_vlan_record *>(&recs);
    created_vlan_record_local *lrecs = reinterpret_cast<created_vlan_record_local *>(&lrecs);
    uint32_t count = 99;
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, bare.data(), 4), 0x4110001cu);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(count, 0u);
    count = 99;
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, &count, bare.data(), 4), 0x4110001cu);
    EXPECT_EQ(lrecs, nullptr);
    EXPECT_EQ(count, 0u);
    count = 99;
    recs = reinterpret_cast<created_vlan_record *>(&recs);
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, bare.data(), 0), 0x41100002u);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, &count, bare.data(), 0), 0x41100002u);

    count = 99;
    recs = reinterpret_cast<created_vlan_record *>(&recs);
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, nullptr, kOneGroup.data(), 54), 0x41100003u);
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, nullptr, 54), 0x41100003u);
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, nullptr, kOneGroup.data(), 54), 0x41100003u);
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, &count, nullptr, 54), 0x41100003u);
    EXPECT_EQ(recs, reinterpret_cast<created_vlan_record *>(&recs));
    EXPECT_EQ(count, 99u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreatedParse, CountsBeyondTheReplyAreTruncated)
{
    // More groups than sent; more records than sent; counts that would wrap.
    const Bytes replies[] = {
        cat({{0x00, 0x00, 0x00, 0x02}, Bytes(kOneGroup.begin() + 4, kOneGroup.end())}),
        cat({{0xFF, 0xFF, 0xFF, 0xFF}, Bytes(kOneGroup.begin() + 4, kOneGroup.end())}),
        cat({{0x00, 0x00, 0x00, 0x01}, {0x00, 0x01, 0x00, 0x00, 0x00, 0x03}, kRec10, kRec4094}),
        cat({{0x00, 0x00, 0x00, 0x01}, {0x00, 0x01, 0xFF, 0xFF, 0xFF, 0xFF}, kRec10, kRec4094}),
        cat({{0x00, 0x00, 0x00, 0x01}, {0x00, 0x01, 0x0B, 0xA2, 0xE8, 0xBB}, kRec10, kRec4094}),
        cat({{0x00, 0x00, 0x00, 0x02}, {0x00, 0x01, 0x00, 0x00, 0x00, 0x00}, zeros(30), {0x00, 0x02, 0x00, 0x00}}),
    };
    for (const Bytes &reply : replies) {
        HeapCopy c(reply);
        created_vlan_record *recs = nullptr;
        uint32_t count = 99;
        EXPECT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), VLAN_MGR_ERR_TRUNCATED);
        EXPECT_EQ(recs, nullptr);
        EXPECT_EQ(count, 0u);
        created_vlan_record_local *lrecs = nullptr;
        EXPECT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, &count, c.data(), c.size()),
                  VLAN_MGR_ERR_TRUNCATED);
        EXPECT_EQ(lrecs, nullptr);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreatedParse, AllocationFailureLeavesNullAndZero)
{
    HeapCopy c(kTwoGroups);
    long allocs = sweep_alloc_failures([&] {
        created_vlan_record *recs = nullptr;
        uint32_t count = 99;
        const uint32_t st = vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size());
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(recs, nullptr);
            EXPECT_EQ(count, 0u);
        }
        std::free(recs);
        return st;
    });
    EXPECT_EQ(allocs, 1);
    allocs = sweep_alloc_failures([&] {
        created_vlan_record_local *recs = nullptr;
        uint32_t count = 99;
        const uint32_t st = vlan_get_all_created_vlan_parse_reply_local(&recs, &count, c.data(), c.size());
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(recs, nullptr);
            EXPECT_EQ(count, 0u);
        }
        std::free(recs);
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

TEST(CreatedParse, EveryCutOfAValidReplyFailsCleanly)
{
    for (const Bytes *reply : {&kOneGroup, &kTwoGroups}) {
        expect_every_cut_fails(*reply, [](const uint8_t *p, uint32_t len) {
            created_vlan_record *recs = nullptr;
            uint32_t count = 99;
            const uint32_t st = vlan_get_all_created_vlan_parse_reply(&recs, &count, p, len);
            EXPECT_EQ(recs, nullptr);
            EXPECT_EQ(count, 0u);
            return st;
        });
        expect_every_cut_fails(*reply, [](const uint8_t *p, uint32_t len) {
            created_vlan_record_local *recs = nullptr;
            uint32_t count = 99;
            const uint32_t st = vlan_get_all_created_vlan_parse_reply_local(&recs, &count, p, len);
            EXPECT_EQ(recs, nullptr);
            EXPECT_EQ(count, 0u);
            return st;
        });
    }
}

TEST(CreatedParse, ReplyAtAnOddAddressDecodesTheSame)
{
    for (const Bytes *reply : {&kOneGroup, &kTwoGroups}) {
        expect_same_at_odd_address(*reply, [](const uint8_t *p, uint32_t len) {
            created_vlan_record *recs = nullptr;
            uint32_t count = 0;
            std::vector<uint32_t> out{vlan_get_all_created_vlan_parse_reply(&recs, &count, p, len), count};
            const auto *b = reinterpret_cast<const uint8_t *>(recs);
            out.insert(out.end(), b, b + count * sizeof *recs);
            std::free(recs);
            return out;
        });
        expect_same_at_odd_address(*reply, [](const uint8_t *p, uint32_t len) {
            created_vlan_record_local *recs = nullptr;
            uint32_t count = 0;
            std::vector<uint32_t> out{vlan_get_all_created_vlan_parse_reply_local(&recs, &count, p, len), count};
            const auto *b = reinterpret_cast<const uint8_t *>(recs);
            out.insert(out.end(), b, b + count * sizeof *recs);
            std::free(recs);
            return out;
        });
    }
}

// A listing of VLANs 1..4094 in one group, VLAN v with BD 0x8000 | v and
// attribute words derived from v, with the whole reserved space sent.
Bytes listing_4094(uint16_t vdc)
{
    Bytes reply;
    push_be32(reply, 1);
    push_be16(reply, vdc);
    push_be32(reply, 4094);
    for (uint32_t v = 1; v <= 4094; ++v) {
        push_be32(reply, v);
        push_be32(reply, v << 8);
        push_be16(reply, static_cast<uint16_t>(0x8000 | v));
        push_be32(reply, v << 12);
        push_be32(reply, ~v);
        push_be32(reply, v * 3);
    }
    reply.resize(4 + 36 + 132 * 4094, 0);
    return reply;
}

TEST(CreatedParse, RangeRequestOfAll4094VlansAndItsListingRoundTrip)
{
    vlan_bitmap bm{};
    for (uint32_t v = 1; v <= 4094; ++v)
        bm.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_range_created_vlan_build_mts_local(&p, &len, &bm), VLAN_MGR_OK);
    const Bytes req = take(p, len);
    Bytes bits(512, 0xFF);
    bits[0] = 0x7F;
    bits[511] = 0xFE;
    EXPECT_EQ(req, cat({{0x00, 0x00, 0x00, 0x01}, kLen512, bits, {0x00, 0x01}}));

    const Bytes reply = listing_4094(1);
    HeapCopy c(reply, true);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 4094u);
    for (uint32_t i = 0; i < 4094; ++i) {
        const uint32_t v = i + 1;
        ASSERT_EQ(recs[i].vdc_id, 1);
        ASSERT_EQ(recs[i].vlan_id, v);
        ASSERT_EQ(recs[i].attr2, v << 8);
        ASSERT_EQ(recs[i].bd_id, 0x8000 | v);
        ASSERT_EQ(recs[i].attr4, v << 12);
        ASSERT_EQ(recs[i].attr5, ~v);
        ASSERT_EQ(recs[i].attr6, v * 3);
    }
    std::free(recs);
    created_vlan_record_local *lrecs = nullptr;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 4094u);
    EXPECT_EQ(lrecs[4093].vlan_id, 4094u);
    EXPECT_EQ(lrecs[4093].bd_id, 0x8000 | 4094);
    std::free(lrecs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

// ---- The BD cache --------------------------------------------------------------------------

// The cache is process-wide: each test of this group starts from an empty
// cache switched on and leaves it switched off, as the library loads.
class CreatedParseCache : public ::testing::Test {
protected:
    void SetUp() override
    {
        vlan_mgr_disable_cached_bd_sdb();
        vlan_mgr_enable_cached_bd_sdb();
        tp::reset_allocs();
    }
    void TearDown() override { vlan_mgr_disable_cached_bd_sdb(); }
};

const uint16_t *block(uint16_t vdc) { return vlan_mgr::bd_db::cache_block(vdc); }

// The entries of a VDC's block that are not 0, as (VLAN, BD) pairs.
std::vector<std::pair<uint32_t, uint16_t>> entries(uint16_t vdc)
{
    std::vector<std::pair<uint32_t, uint16_t>> out;
    const uint16_t *b = block(vdc);
    for (uint32_t v = 0; b != nullptr && v < 4096; ++v)
        if (b[v] != 0)
            out.emplace_back(v, b[v]);
    return out;
}

using Entries = std::vector<std::pair<uint32_t, uint16_t>>;

TEST_F(CreatedParseCache, ListingLeavesTheBdOfEveryListedVlanInItsVdc)
{
    HeapCopy c(kTwoGroups);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    std::free(recs);
    EXPECT_EQ(entries(1), (Entries{{10, 0x1001}, {4094, 0x1FFE}}));
    EXPECT_EQ(entries(2), (Entries{{20, 0x0014}}));
    for (uint16_t vdc : {3, 4, 5})
        EXPECT_EQ(block(vdc), nullptr) << vdc;
    expect_no_report();
}

TEST_F(CreatedParseCache, LocalListingFillsTheCacheToo)
{
    HeapCopy c(kOneGroup, true);
    created_vlan_record_local *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply_local(&recs, &count, c.data(), c.size()), 0u);
    std::free(recs);
    EXPECT_EQ(entries(1), (Entries{{10, 0x1001}, {4094, 0x1FFE}}));
    EXPECT_EQ(block(2), nullptr);
}

TEST_F(CreatedParseCache, ListingOf4094VlansCachesEveryOne)
{
    const Bytes reply = listing_4094(3);
    HeapCopy c(reply);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    std::free(recs);
    const uint16_t *b = block(3);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b[0], 0);
    EXPECT_EQ(b[4095], 0);
    for (uint32_t v = 1; v <= 4094; ++v)
        ASSERT_EQ(b[v], 0x8000 | v) << v;
    EXPECT_EQ(block(1), nullptr);
}

TEST_F(CreatedParseCache, LaterListingOverwritesAnEntry)
{
    HeapCopy c(kOneGroup);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    std::free(recs);
    Bytes moved = kOneGroup;
    moved[10 + 8] = 0x20; // VLAN 10 now in BD 0x2001
    HeapCopy m(moved);
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, m.data(), m.size()), 0u);
    std::free(recs);
    EXPECT_EQ(entries(1), (Entries{{10, 0x2001}, {4094, 0x1FFE}}));
}

TEST_F(CreatedParseCache, VlanOutsideOneTo4094IsReportedByTheCacheAndStillListed)
{
    all_channels_on();
    // VDC 1, one record of VLAN 4095 in BD 7.
    const Bytes reply = {0x00, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x0F, 0xFF,
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                         0x00, 0x00, 0x00, 0x00};
    HeapCopy c(reply);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(recs[0].vlan_id, 4095u);
    EXPECT_EQ(recs[0].bd_id, 7);
    std::free(recs);
    const std::string text = " pid " + pid_text() + ", vdc 1: got invalid VLAN id 4095, must be 1<=VLAN<=4094\n";
    expect_report(102, "vlan_mgr" + text, text, "INFO_MSG", 6, true, true);
    EXPECT_EQ(block(1), nullptr);
}

TEST_F(CreatedParseCache, GroupOfAnUnknownVdcIsListedButNotCached)
{
    Bytes reply = kOneGroup;
    reply[5] = 0x07; // VDC 7
    HeapCopy c(reply);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(recs[0].vdc_id, 7);
    std::free(recs);
    for (uint16_t vdc = 1; vdc <= 5; ++vdc)
        EXPECT_EQ(block(vdc), nullptr) << vdc;
    expect_no_report();
}

TEST_F(CreatedParseCache, CacheBlockThatCannotBeMadeDoesNotFailTheListing)
{
    all_channels_on();
    HeapCopy c(kOneGroup);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    tp::fail_alloc_at(2); // the result array first, then the cache block
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    tp::fail_alloc_at(0);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(recs[1].vlan_id, 4094u);
    std::free(recs);
    // The second record makes the block.
    EXPECT_EQ(entries(1), (Entries{{4094, 0x1FFE}}));
    const std::string text = " vlan_mgr_check_bd_cache: pid " + pid_text() + ", vdc 1, malloc 8192 bytes BD cache failed\n";
    expect_report(100, "vlan_mgr" + text, text, "ERROR_MSG", 3, true, true);
}

TEST(CreatedParseCacheOff, ListingMakesNoCacheBlock)
{
    vlan_mgr_disable_cached_bd_sdb();
    HeapCopy c(kTwoGroups);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, c.data(), c.size()), 0u);
    std::free(recs);
    for (uint16_t vdc = 1; vdc <= 5; ++vdc)
        EXPECT_EQ(block(vdc), nullptr) << vdc;
    EXPECT_EQ(tp::alloc_calls(), 1);
    expect_no_report();
}

TEST(CreatedParse, BareZeroStatusReturnsZeroWithNoRecords)
{
    const Bytes bare = {0x00, 0x00, 0x00, 0x00};
    created_vlan_record *recs = reinterpret_cast<created_vlan_record *>(&recs);
    uint32_t count = 99;
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, bare.data(), 4), 0u);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(count, 0u);
    created_vlan_record_local *lrecs = reinterpret_cast<created_vlan_record_local *>(&lrecs);
    count = 99;
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply_local(&lrecs, &count, bare.data(), 4), 0u);
    EXPECT_EQ(lrecs, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

} // namespace
