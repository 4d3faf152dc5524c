// Private-VLAN association: the single and multi builders, their replies and
// the _local forms.
#include "../common/request_test_util.h"

#include <vlan_mgr/config_req.h>

namespace {

using namespace reqtest;

// A 532-byte entry: the head written out, then the bitmap field with the
// given bytes of the bit array set.
Bytes entry(const Bytes &head, std::initializer_list<std::pair<size_t, uint8_t>> bits)
{
    Bytes b = cat({head, kLen512, zeros(512)});
    for (auto [index, value] : bits)
        b[20 + index] = value;
    return b;
}

const Bytes kSingleHead = {0xBA, 0xBE, 0xFA, 0xCE, 0x00, 0x00, 0x00, 0x01};

// ---- Single association builder ------------------------------------------------------

TEST(AssociationBuild, PrimaryAssociationGives540Bytes)
{
    const vlan_bitmap bm = bitmap_of({200, 201});
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_build_mts(2, 100, &bm, 2, 0x1234, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 540u);
    const Bytes want = cat({kSingleHead, entry({0x12, 0x34, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,
                                                0x64, 0x00, 0x00, 0x00, 0x02},
                                               {{25, 0xC0}})});
    EXPECT_EQ(take(p, len), want);
    expect_no_report();
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AssociationBuild, TypeThreeIgnoresThePrimaryButStillRefusesVlanOne)
{
    const vlan_bitmap bm = bitmap_of({300});
    for (int32_t primary : {0, -5, 5000, 1}) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_association_build_mts(1, primary, &bm, 3, 0, &p, &len), VLAN_MGR_OK) << primary;
        const Bytes b = take(p, len);
        const uint32_t written = (uint32_t{b[16]} << 24) | (uint32_t{b[17]} << 16) | (uint32_t{b[18]} << 8) | b[19];
        EXPECT_EQ(written, static_cast<uint32_t>(primary)); // carried as given
    }
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_build_mts(1, 0, &bm, 3, 0, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), cat({kSingleHead, entry({0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00,
                                                     0x00, 0x00, 0x00, 0x00, 0x00, 0x01},
                                                    {{37, 0x08}})}));
    const vlan_bitmap with_one = bitmap_of({1, 300});
    EXPECT_EQ(vlan_association_build_mts(1, 0, &with_one, 3, 0, &p, &len), 0x41100058u);
}

TEST(AssociationBuild, TypeOtherThanTwoOrThreeIsRefusedFirst)
{
    const vlan_bitmap empty = bitmap_of({});
    for (int32_t type : {0, 1, 4, -2}) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(vlan_association_build_mts(1, 0, &empty, type, 0, &p, &len), 0x4110005fu) << type;
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
}

TEST(AssociationBuild, PrimaryOfTypeTwoMustBeInRangeAndNotVlanOne)
{
    const vlan_bitmap bm = bitmap_of({10});
    void *p = &p;
    uint32_t len = 77;
    for (int32_t primary : {0, -1, 4095, 100000})
        EXPECT_EQ(vlan_association_build_mts(1, primary, &bm, 2, 0, &p, &len), 0x41100056u) << primary;
    EXPECT_EQ(vlan_association_build_mts(1, 1, &bm, 2, 0, &p, &len), 0x41100058u);
    const vlan_bitmap empty = bitmap_of({});
    EXPECT_EQ(vlan_association_build_mts(1, 0, &empty, 2, 0, &p, &len), 0x41100056u); // before the bitmap tests
    EXPECT_EQ(p, &p);
    EXPECT_EQ(tp::alloc_calls(), 0);
    for (int32_t primary : {2, 4094}) {
        ASSERT_EQ(vlan_association_build_mts(1, primary, &bm, 2, 0, &p, &len), VLAN_MGR_OK);
        std::free(p);
    }
}

TEST(AssociationBuild, EmptyBitmapOrVlanOneAmongSecondariesIsRefused)
{
    const vlan_bitmap empty = bitmap_of({}), one = bitmap_of({1}), zero_and_one = bitmap_of({0, 1});
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_association_build_mts(1, 100, &empty, 2, 0, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_association_build_mts(1, 100, &one, 2, 0, &p, &len), 0x41100058u);
    EXPECT_EQ(vlan_association_build_mts(1, 100, &zero_and_one, 2, 0, &p, &len), 0x41100058u);
    EXPECT_EQ(vlan_association_build_mts(1, 100, nullptr, 2, 0, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationBuild, VdcIsCheckedByRangeOnlyWithoutReport)
{
    tp::state().vdc_id = 1;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    const vlan_bitmap bm = bitmap_of({10});
    void *p = &p;
    uint32_t len = 77;
    for (uint16_t vdc : {0, 6}) {
        EXPECT_EQ(vlan_association_build_mts(vdc, 100, &bm, 2, 0, &p, &len), 0x41100013u);
        EXPECT_EQ(vlan_association_build_mts(vdc, 100, nullptr, 7, 0, &p, &len), 0x41100013u);
    }
    EXPECT_EQ(p, &p);
    ASSERT_EQ(vlan_association_build_mts(4, 100, &bm, 2, 0, &p, &len), VLAN_MGR_OK);
    const Bytes b = take(p, len);
    EXPECT_EQ(Bytes(b.begin() + 10, b.begin() + 12), (Bytes{0x00, 0x04}));
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    expect_no_report();
}

TEST(AssociationBuild, LocalFormUsesTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    const vlan_bitmap bm = bitmap_of({10});
    for (int i = 0; i < 3; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_association_build_mts_local(100, &bm, 2, 0xABCD, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), cat({kSingleHead, entry({0xAB, 0xCD, 0x00, 0x03, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00,
                                                         0x00, 0x64, 0x00, 0x00, 0x00, 0x01},
                                                        {{1, 0x20}})}));
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    void *p = &p;
    uint32_t len = 0;
    EXPECT_EQ(vlan_association_build_mts_local(100, &bm, 4, 0, &p, &len), 0x4110005fu);
    EXPECT_EQ(p, &p);
}

TEST(AssociationBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const vlan_bitmap bm = bitmap_of({10});
    const long allocs = sweep_alloc_failures([&] {
        void *p = &p;
        uint32_t len = 0;
        const uint32_t st = vlan_association_build_mts(1, 100, &bm, 2, 0, &p, &len);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
            EXPECT_EQ(len, 540u);
        } else {
            std::free(p);
        }
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

// ---- Multi association builder -------------------------------------------------------

TEST(AssociationMultiBuild, TwoAssociationsShareVdcTagAndType)
{
    const uint32_t primaries[] = {100, 300};
    const vlan_bitmap bms[] = {bitmap_of({200}), bitmap_of({400, 401, 402})};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_multi_build_mts(1, 0xCAFEF00Du, 7, 2, 2, primaries, bms, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 1072u);
    const Bytes want = cat({{0xCA, 0xFE, 0xF0, 0x0D, 0x00, 0x00, 0x00, 0x02},
                            entry({0x00, 0x07, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00,
                                   0x00, 0x01},
                                  {{25, 0x80}}),
                            entry({0x00, 0x07, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x01, 0x2C, 0x00, 0x00,
                                   0x00, 0x03},
                                  {{50, 0xE0}})});
    EXPECT_EQ(take(p, len), want);
    expect_no_report();
}

TEST(AssociationMultiBuild, OneAssociationOfTypeThreeIgnoresItsPrimary)
{
    const uint32_t primaries[] = {0};
    const vlan_bitmap bms[] = {bitmap_of({20})};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_multi_build_mts(2, 1, 0, 3, 1, primaries, bms, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 540u);
    EXPECT_EQ(take(p, len), cat({{0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01},
                                 entry({0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00,
                                        0x00, 0x00, 0x01},
                                       {{2, 0x08}})}));
    const vlan_bitmap with_one[] = {bitmap_of({1})};
    EXPECT_EQ(vlan_association_multi_build_mts(2, 1, 0, 3, 1, primaries, with_one, &p, &len), 0x41100058u);
}

TEST(AssociationMultiBuild, CountAndTypeTestsComeInTheirOrder)
{
    const uint32_t primaries[2] = {100, 200};
    const vlan_bitmap bms[2] = {bitmap_of({10}), bitmap_of({11})};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 3, 2, primaries, bms, &p, &len), 0x41100087u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 4, 2, primaries, bms, &p, &len), 0x41100087u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 4, 1, primaries, bms, &p, &len), 0x4110005fu);
    // 513 associations are refused before any type test, and before the
    // arrays are read.
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 3, 513, primaries, bms, &p, &len), 0x41100085u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 9, 0xFFFFFFFFu, primaries, bms, &p, &len), 0x41100085u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationMultiBuild, PrimariesAreCheckedInOrderBeforeTheBitmaps)
{
    const vlan_bitmap bms[2] = {bitmap_of({1}), bitmap_of({})};
    void *p = &p;
    uint32_t len = 77;
    const uint32_t one_first[] = {1, 5000}, range_first[] = {5000, 1}, zero[] = {0, 100};
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 2, one_first, bms, &p, &len), 0x41100058u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 2, range_first, bms, &p, &len), 0x41100056u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 2, zero, bms, &p, &len), 0x41100056u);
    EXPECT_EQ(p, &p);
}

TEST(AssociationMultiBuild, BitmapsAreCheckedInOrder)
{
    const uint32_t primaries[] = {100, 200};
    void *p = &p;
    uint32_t len = 77;
    const vlan_bitmap one_first[2] = {bitmap_of({1}), bitmap_of({})};
    const vlan_bitmap empty_first[2] = {bitmap_of({}), bitmap_of({1})};
    const vlan_bitmap second_has_one[2] = {bitmap_of({5}), bitmap_of({0, 1})};
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 2, primaries, one_first, &p, &len), 0x41100058u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 2, primaries, empty_first, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 2, primaries, second_has_one, &p, &len), 0x41100058u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationMultiBuild, MissingArraysOrNoAssociationIsInvalidAfterTheVdcRange)
{
    const uint32_t primaries[] = {100};
    const vlan_bitmap bms[] = {bitmap_of({10})};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 1, nullptr, bms, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 1, primaries, nullptr, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 2, 0, primaries, bms, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_build_mts(1, 0, 0, 9, 600, nullptr, nullptr, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_build_mts(0, 0, 0, 2, 0, nullptr, nullptr, &p, &len), 0x41100013u);
    EXPECT_EQ(vlan_association_multi_build_mts(6, 0, 0, 2, 1, primaries, bms, &p, &len), 0x41100013u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationMultiBuild, VdcSixIsRefusedByAllThreeBuildersEvenWhenLocal)
{
    tp::state().vdc_id = 6;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    const uint32_t primaries[] = {100};
    const vlan_bitmap bms[] = {bitmap_of({10})};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_type_change_build_mts(6, bms, 2, &p, &len), 0x41100013u);
    EXPECT_EQ(vlan_association_build_mts(6, 100, bms, 2, 0, &p, &len), 0x41100013u);
    EXPECT_EQ(vlan_association_multi_build_mts(6, 0, 0, 2, 1, primaries, bms, &p, &len), 0x41100013u);
    EXPECT_EQ(vlan_type_change_build_mts_local(bms, 2, &p, &len), 0x41100013u);
    EXPECT_EQ(vlan_association_build_mts_local(100, bms, 2, 0, &p, &len), 0x41100013u);
    EXPECT_EQ(vlan_association_multi_build_mts_local(0, 0, 2, 1, primaries, bms, &p, &len), 0x41100013u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
}

TEST(AssociationMultiBuild, LocalFormUsesTheCachedLocalVdc)
{
    tp::state().vdc_id = 5;
    const uint32_t primaries[] = {100};
    const vlan_bitmap bms[] = {bitmap_of({10})};
    for (int i = 0; i < 3; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_association_multi_build_mts_local(9, 1, 2, 1, primaries, bms, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), cat({{0x00, 0x00, 0x00, 0x09, 0x00, 0x00, 0x00, 0x01},
                                     entry({0x00, 0x01, 0x00, 0x05, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x64,
                                            0x00, 0x00, 0x00, 0x01},
                                           {{1, 0x20}})}));
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
}

TEST(AssociationMultiBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const uint32_t primaries[] = {100, 200};
    const vlan_bitmap bms[2] = {bitmap_of({10}), bitmap_of({11})};
    const long allocs = sweep_alloc_failures([&] {
        void *p = &p;
        uint32_t len = 0;
        const uint32_t st = vlan_association_multi_build_mts(1, 0, 0, 2, 2, primaries, bms, &p, &len);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
            EXPECT_EQ(len, 1072u);
        } else {
            std::free(p);
        }
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

// ---- Single association reply ----------------------------------------------------------

// Unread header, status 0x41100011, VDC 2, type 2, primary 100, tag 0x1234,
// pairs {200, 0} and {201, 0x41100056}.
const Bytes kSingleReply = {0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0x41, 0x10,
                            0x00, 0x11, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x64, 0x12, 0x34,
                            0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0xC8, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                            0x00, 0xC9, 0x41, 0x10, 0x00, 0x56};

struct SingleOut {
    vlan_delete_result_t *r = nullptr;
    uint32_t count = 0xEEEEEEEE, type = 0xEEEEEEEE, primary = 0xEEEEEEEE;
    uint16_t vdc = 0xEEEE, tag = 0xEEEE;
    uint32_t parse(const void *p, uint32_t len)
    {
        return vlan_association_parse_reply(&r, &count, &vdc, &type, &primary, &tag, p, len);
    }
};

TEST(AssociationParse, DecodesTheHeaderAndPairsAndReturnsTheOverallStatus)
{
    HeapCopy c(kSingleReply);
    SingleOut o;
    ASSERT_EQ(o.parse(c.data(), c.size()), 0x41100011u);
    EXPECT_EQ(o.vdc, 2);
    EXPECT_EQ(o.type, 2u);
    EXPECT_EQ(o.primary, 100u);
    EXPECT_EQ(o.tag, 0x1234);
    ASSERT_EQ(o.count, 2u);
    EXPECT_EQ(o.r[0].vlan_id, 200u);
    EXPECT_EQ(o.r[0].status, 0u);
    EXPECT_EQ(o.r[1].vlan_id, 201u);
    EXPECT_EQ(o.r[1].status, 0x41100056u);
    std::free(o.r);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AssociationParse, FourByteReplyClearsResultsOnly)
{
    for (const Bytes &word : {Bytes{0x00, 0x00, 0x00, 0x00}, Bytes{0x41, 0x10, 0x00, 0x5f}}) {
        SingleOut o;
        vlan_delete_result_t sentinel{};
        o.r = &sentinel;
        EXPECT_EQ(o.parse(word.data(), 4), first_word(word));
        EXPECT_EQ(o.r, nullptr);
        EXPECT_EQ(o.count, 0xEEEEEEEEu);
        EXPECT_EQ(o.vdc, 0xEEEE);
        EXPECT_EQ(o.type, 0xEEEEEEEEu);
        EXPECT_EQ(o.primary, 0xEEEEEEEEu);
        EXPECT_EQ(o.tag, 0xEEEE);
    }
    const Bytes bare = {0x41, 0x10, 0x00, 0x5f};
    SingleOut o;
    vlan_delete_result_t sentinel{};
    o.r = &sentinel;
    EXPECT_EQ(o.parse(bare.data(), 0), 0x41100002u);
    EXPECT_EQ(o.r, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationParse, EveryOutParameterButResultsIsChecked)
{
    vlan_delete_result_t sentinel{};
    vlan_delete_result_t *r = &sentinel;
    uint32_t count, type, primary;
    uint16_t vdc, tag;
    const void *p = kSingleReply.data();
    const uint32_t n = static_cast<uint32_t>(kSingleReply.size());
    EXPECT_EQ(vlan_association_parse_reply(&r, nullptr, &vdc, &type, &primary, &tag, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_parse_reply(&r, &count, nullptr, &type, &primary, &tag, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_parse_reply(&r, &count, &vdc, nullptr, &primary, &tag, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_parse_reply(&r, &count, &vdc, &type, nullptr, &tag, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_parse_reply(&r, &count, &vdc, &type, &primary, nullptr, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_parse_reply(&r, &count, &vdc, &type, &primary, &tag, nullptr, n), 0x41100003u);
    EXPECT_EQ(r, &sentinel);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationParseDeathTest, ResultsPointerIsWrittenWithoutACheck)
{
    uint32_t count, type, primary;
    uint16_t vdc, tag;
    EXPECT_DEATH(vlan_association_parse_reply(nullptr, &count, &vdc, &type, &primary, &tag, kSingleReply.data(), 4),
                 "");
}

TEST(AssociationParse, AllocationFailureLeavesResultsNull)
{
    HeapCopy c(kSingleReply);
    const long allocs = sweep_alloc_failures([&] {
        SingleOut o;
        const uint32_t st = o.parse(c.data(), c.size());
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(o.r, nullptr);
        }
        std::free(o.r);
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

TEST(AssociationParse, CountBeyondThePayloadIsTruncated)
{
    Bytes reply = kSingleReply;
    reply[31] = 0x03;
    HeapCopy c(reply);
    SingleOut o;
    EXPECT_EQ(o.parse(c.data(), c.size()), VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(o.r, nullptr);
    EXPECT_EQ(o.count, 0xEEEEEEEEu);
    EXPECT_EQ(o.vdc, 0xEEEE);
    reply[28] = 0xFF;
    HeapCopy huge(reply);
    EXPECT_EQ(o.parse(huge.data(), huge.size()), VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationParse, EveryCutOfAValidReplyFailsCleanly)
{
    expect_every_cut_fails(kSingleReply, [](const uint8_t *p, uint32_t len) {
        SingleOut o;
        const uint32_t st = o.parse(p, len);
        EXPECT_EQ(o.r, nullptr);
        return st;
    });
}

TEST(AssociationParse, LocalFormAtAnOddAddress)
{
    HeapCopy c(kSingleReply, true);
    vlan_delete_result_t *r = nullptr;
    uint32_t count = 0, type = 0, primary = 0;
    uint16_t tag = 0;
    ASSERT_EQ(vlan_association_parse_reply_local(&r, &count, &type, &primary, &tag, c.data(), c.size()),
              0x41100011u);
    EXPECT_EQ(type, 2u);
    EXPECT_EQ(primary, 100u);
    EXPECT_EQ(tag, 0x1234);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(r[1].vlan_id, 201u);
    std::free(r);
    EXPECT_EQ(vlan_association_parse_reply_local(&r, &count, nullptr, &primary, &tag, c.data(), c.size()),
              0x41100003u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

// ---- Multi association reply --------------------------------------------------------------

// Cookie 0xCAFEF00D, status 0x41100011, two entries: VDC 3, type 2, primary
// 100 with pairs {200, 0}, {201, 1}; then (VDC 4 and type 3, not read) primary
// 300 with pairs {400, 2}, {401, 3}, {402, 4}.
const Bytes kMultiReply = {
    0xCA, 0xFE, 0xF0, 0x0D, 0x41, 0x10, 0x00, 0x11, 0x00, 0x00, 0x00, 0x02,
    // entry 1
    0xEE, 0xEE, 0xEE, 0xEE, 0x00, 0x03, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x64, 0x00, 0x07, 0x00, 0x00, 0x00,
    0x02, 0x00, 0x00, 0x00, 0xC8, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC9, 0x00, 0x00, 0x00, 0x01,
    // entry 2
    0xEE, 0xEE, 0xEE, 0xEE, 0x00, 0x04, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x01, 0x2C, 0x00, 0x07, 0x00, 0x00, 0x00,
    0x03, 0x00, 0x00, 0x01, 0x90, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x01, 0x91, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00,
    0x01, 0x92, 0x00, 0x00, 0x00, 0x04};
// Cookie 1, status 0, no entries.
const Bytes kMultiEmptyReply = {0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

struct MultiOut {
    vlan_assoc_result_t *r = nullptr;
    uint32_t cookie = 0xEEEEEEEE, type = 0xEEEEEEEE, total = 0xEEEEEEEE;
    uint16_t vdc = 0xEEEE;
    uint32_t parse(const void *p, uint32_t len)
    {
        return vlan_association_multi_parse_reply(&vdc, &cookie, &type, &total, &r, p, len);
    }
};

TEST(AssociationMultiParse, EntriesOfTwoAndThreePairsGiveFiveTriplesInOrder)
{
    HeapCopy c(kMultiReply);
    MultiOut o;
    ASSERT_EQ(o.parse(c.data(), c.size()), 0x41100011u);
    EXPECT_EQ(o.cookie, 0xCAFEF00Du);
    EXPECT_EQ(o.vdc, 3);   // from the first entry only
    EXPECT_EQ(o.type, 2u); // from the first entry only
    ASSERT_EQ(o.total, 5u);
    const uint32_t want[5][3] = {{200, 100, 0}, {201, 100, 1}, {400, 300, 2}, {401, 300, 3}, {402, 300, 4}};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(o.r[i].secondary_vlan, want[i][0]) << i;
        EXPECT_EQ(o.r[i].primary_vlan, want[i][1]) << i;
        EXPECT_EQ(o.r[i].status, want[i][2]) << i;
    }
    std::free(o.r);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AssociationMultiParse, NoEntriesGiveNoTriplesAndZeroVdcAndType)
{
    HeapCopy c(kMultiEmptyReply);
    MultiOut o;
    EXPECT_EQ(o.parse(c.data(), c.size()), 0u);
    EXPECT_EQ(o.cookie, 1u);
    EXPECT_EQ(o.total, 0u);
    EXPECT_EQ(o.vdc, 0);
    EXPECT_EQ(o.type, 0u);
    EXPECT_EQ(tp::live_allocs(), 1); // the empty array
    std::free(o.r);
}

TEST(AssociationMultiParse, FourByteReplyClearsResultsAndTotal)
{
    for (const Bytes &word : {Bytes{0x00, 0x00, 0x00, 0x00}, Bytes{0x41, 0x10, 0x00, 0x85}}) {
        MultiOut o;
        vlan_assoc_result_t sentinel{};
        o.r = &sentinel;
        EXPECT_EQ(o.parse(word.data(), 4), first_word(word));
        EXPECT_EQ(o.r, nullptr);
        EXPECT_EQ(o.total, 0u);
        EXPECT_EQ(o.cookie, 0xEEEEEEEEu);
        EXPECT_EQ(o.vdc, 0xEEEE);
        EXPECT_EQ(o.type, 0xEEEEEEEEu);
    }
    const Bytes bare = {0x41, 0x10, 0x00, 0x85};
    MultiOut o;
    vlan_assoc_result_t sentinel{};
    o.r = &sentinel;
    o.total = 9;
    EXPECT_EQ(o.parse(bare.data(), 0), 0x41100002u);
    EXPECT_EQ(o.r, nullptr);
    EXPECT_EQ(o.total, 0u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationMultiParse, VdcCookieTypeTotalAndPayloadAreChecked)
{
    vlan_assoc_result_t sentinel{};
    vlan_assoc_result_t *r = &sentinel;
    uint32_t cookie, type, total = 9;
    uint16_t vdc;
    const void *p = kMultiReply.data();
    const uint32_t n = static_cast<uint32_t>(kMultiReply.size());
    EXPECT_EQ(vlan_association_multi_parse_reply(nullptr, &cookie, &type, &total, &r, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_parse_reply(&vdc, nullptr, &type, &total, &r, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_parse_reply(&vdc, &cookie, nullptr, &total, &r, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_parse_reply(&vdc, &cookie, &type, nullptr, &r, p, n), 0x41100003u);
    EXPECT_EQ(vlan_association_multi_parse_reply(&vdc, &cookie, &type, &total, &r, nullptr, n), 0x41100003u);
    EXPECT_EQ(r, &sentinel);
    EXPECT_EQ(total, 9u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationMultiParseDeathTest, ResultsPointerIsWrittenWithoutACheck)
{
    uint32_t cookie, type, total;
    uint16_t vdc;
    EXPECT_DEATH(vlan_association_multi_parse_reply(&vdc, &cookie, &type, &total, nullptr, kMultiReply.data(), 4),
                 "");
}

TEST(AssociationMultiParse, AllocationFailureLeavesResultsNull)
{
    HeapCopy c(kMultiReply);
    const long allocs = sweep_alloc_failures([&] {
        MultiOut o;
        const uint32_t st = o.parse(c.data(), c.size());
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(o.r, nullptr);
            EXPECT_EQ(o.total, 0u);
            EXPECT_EQ(o.cookie, 0xCAFEF00Du);
        }
        std::free(o.r);
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

TEST(AssociationMultiParse, CountsBeyondThePayloadAreTruncated)
{
    MultiOut o;
    Bytes more_pairs = kMultiReply;
    more_pairs[12 + 36 + 19] = 0x04; // the second entry announces 4 pairs
    HeapCopy a(more_pairs);
    EXPECT_EQ(o.parse(a.data(), a.size()), VLAN_MGR_ERR_TRUNCATED);
    Bytes more_entries = kMultiReply;
    more_entries[11] = 0x03; // a third entry
    HeapCopy b(more_entries);
    EXPECT_EQ(o.parse(b.data(), b.size()), VLAN_MGR_ERR_TRUNCATED);
    Bytes huge = kMultiReply;
    huge[8] = 0xFF; // about 4 billion entries
    huge[12 + 16] = 0xFF; // and a first entry of about 4 billion pairs
    HeapCopy h(huge);
    EXPECT_EQ(o.parse(h.data(), h.size()), VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(o.r, nullptr);
    EXPECT_EQ(o.total, 0u);
    EXPECT_EQ(o.cookie, 0xEEEEEEEEu);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AssociationMultiParse, EveryCutOfAValidReplyFailsCleanly)
{
    for (const Bytes &reply : {kMultiReply, kMultiEmptyReply})
        expect_every_cut_fails(reply, [](const uint8_t *p, uint32_t len) {
            MultiOut o;
            const uint32_t st = o.parse(p, len);
            EXPECT_EQ(o.r, nullptr);
            EXPECT_EQ(o.total, 0u);
            return st;
        });
}

TEST(AssociationMultiParse, LocalFormAtAnOddAddress)
{
    HeapCopy c(kMultiReply, true);
    vlan_assoc_result_t *r = nullptr;
    uint32_t cookie = 0, type = 0, total = 0;
    ASSERT_EQ(vlan_association_multi_parse_reply_local(&cookie, &type, &total, &r, c.data(), c.size()),
              0x41100011u);
    EXPECT_EQ(cookie, 0xCAFEF00Du);
    EXPECT_EQ(type, 2u);
    ASSERT_EQ(total, 5u);
    EXPECT_EQ(r[4].secondary_vlan, 402u);
    EXPECT_EQ(r[4].primary_vlan, 300u);
    EXPECT_EQ(r[4].status, 4u);
    std::free(r);
    EXPECT_EQ(vlan_association_multi_parse_reply_local(nullptr, &type, &total, &r, c.data(), c.size()), 0x41100003u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

// ---- Round trip -----------------------------------------------------------------------------

TEST(AssociationRoundTrip, FiveHundredTwelveAssociations)
{
    std::vector<uint32_t> primaries(512);
    std::vector<vlan_bitmap> bms(512);
    for (uint32_t i = 0; i < 512; ++i) {
        primaries[i] = 2 + i;
        bms[i] = bitmap_of({1000 + i, 3000 + i});
    }
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_multi_build_mts(1, 0x01020304, 0x0506, 2, 512, primaries.data(), bms.data(), &p, &len),
              VLAN_MGR_OK);
    ASSERT_EQ(len, 272392u); // 8 + 532 * 512
    const Bytes req = take(p, len);
    EXPECT_EQ(Bytes(req.begin(), req.begin() + 8), (Bytes{0x01, 0x02, 0x03, 0x04, 0x00, 0x00, 0x02, 0x00}));
    // The last entry: primary 513, VLANs 1511 and 3511.
    const Bytes last(req.begin() + 8 + 532 * 511, req.end());
    EXPECT_EQ(last, entry({0x05, 0x06, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x02, 0x01, 0x00, 0x00, 0x00,
                           0x02},
                          {{188, 0x01}, {438, 0x01}}));

    // The VLAN manager answers every entry with its two secondaries, read
    // back from the request by the test's own walk.
    Bytes reply = {0x01, 0x02, 0x03, 0x04, 0x00, 0x00, 0x00, 0x00};
    push_be32(reply, 512);
    for (uint32_t i = 0; i < 512; ++i) {
        const uint8_t *e = req.data() + 8 + 532 * i;
        push_be32(reply, 0);
        reply.insert(reply.end(), e + 2, e + 12); // VDC id, type, primary
        reply.insert(reply.end(), e, e + 2);      // tag
        push_be32(reply, 2);
        for (uint32_t v = 0; v < 4096; ++v)
            if (e[20 + v / 8] & (0x80u >> (v % 8))) {
                push_be32(reply, v);
                push_be32(reply, i);
            }
    }
    HeapCopy c(reply);
    MultiOut o;
    ASSERT_EQ(o.parse(c.data(), c.size()), 0u);
    EXPECT_EQ(o.cookie, 0x01020304u);
    EXPECT_EQ(o.vdc, 1);
    EXPECT_EQ(o.type, 2u);
    ASSERT_EQ(o.total, 1024u);
    for (uint32_t i = 0; i < 512; ++i) {
        ASSERT_EQ(o.r[2 * i].secondary_vlan, 1000 + i);
        ASSERT_EQ(o.r[2 * i + 1].secondary_vlan, 3000 + i);
        ASSERT_EQ(o.r[2 * i].primary_vlan, 2 + i);
        ASSERT_EQ(o.r[2 * i + 1].primary_vlan, 2 + i);
        ASSERT_EQ(o.r[2 * i + 1].status, i);
    }
    std::free(o.r);
    EXPECT_EQ(tp::live_allocs(), 0);
}

// ---- Every valid reply, every parser form -------------------------------------------

std::vector<uint32_t> decode_single(const uint8_t *p, uint32_t len)
{
    SingleOut o;
    const uint32_t st = o.parse(p, len);
    std::vector<uint32_t> out = {st, o.count, o.vdc, o.type, o.primary, o.tag};
    for (uint32_t i = 0; o.r != nullptr && i < o.count; ++i) {
        out.push_back(o.r[i].vlan_id);
        out.push_back(o.r[i].status);
    }
    std::free(o.r);
    return out;
}

std::vector<uint32_t> decode_single_local(const uint8_t *p, uint32_t len)
{
    vlan_delete_result_t *r = nullptr;
    uint32_t count = 0, type = 0, primary = 0;
    uint16_t tag = 0;
    const uint32_t st = vlan_association_parse_reply_local(&r, &count, &type, &primary, &tag, p, len);
    std::vector<uint32_t> out = {st, count, type, primary, tag, r != nullptr};
    for (uint32_t i = 0; r != nullptr && i < count; ++i) {
        out.push_back(r[i].vlan_id);
        out.push_back(r[i].status);
    }
    std::free(r);
    return out;
}

std::vector<uint32_t> decode_multi(const uint8_t *p, uint32_t len)
{
    MultiOut o;
    const uint32_t st = o.parse(p, len);
    std::vector<uint32_t> out = {st, o.cookie, o.vdc, o.type, o.total};
    for (uint32_t i = 0; o.r != nullptr && i < o.total; ++i) {
        out.push_back(o.r[i].secondary_vlan);
        out.push_back(o.r[i].primary_vlan);
        out.push_back(o.r[i].status);
    }
    std::free(o.r);
    return out;
}

std::vector<uint32_t> decode_multi_local(const uint8_t *p, uint32_t len)
{
    vlan_assoc_result_t *r = nullptr;
    uint32_t cookie = 0, type = 0, total = 0;
    const uint32_t st = vlan_association_multi_parse_reply_local(&cookie, &type, &total, &r, p, len);
    std::vector<uint32_t> out = {st, cookie, type, total, r != nullptr};
    for (uint32_t i = 0; r != nullptr && i < total; ++i) {
        out.push_back(r[i].secondary_vlan);
        out.push_back(r[i].status);
    }
    std::free(r);
    return out;
}

TEST(AssociationParse, EveryValidReplyInBothFormsAtAnOddAddressAndCut)
{
    expect_same_at_odd_address(kSingleReply, decode_single);
    expect_same_at_odd_address(kSingleReply, decode_single_local);
    expect_every_cut_fails(kSingleReply, [](const uint8_t *p, uint32_t len) {
        const std::vector<uint32_t> out = decode_single_local(p, len);
        EXPECT_EQ(out[5], 0u); // no array handed back
        return out[0];
    });
}

TEST(AssociationMultiParse, EveryValidReplyInBothFormsAtAnOddAddressAndCut)
{
    for (const Bytes &reply : {kMultiReply, kMultiEmptyReply}) {
        expect_same_at_odd_address(reply, decode_multi);
        expect_same_at_odd_address(reply, decode_multi_local);
        expect_every_cut_fails(reply, [](const uint8_t *p, uint32_t len) {
            const std::vector<uint32_t> out = decode_multi_local(p, len);
            EXPECT_EQ(out[3], 0u); // total
            EXPECT_EQ(out[4], 0u); // no array handed back
            return out[0];
        });
    }
}

} // namespace
