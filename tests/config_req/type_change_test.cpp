// VLAN type change: builder, its _local form, and the reply parsers that
// decode the delete reply.
#include "../common/request_test_util.h"

#include <vlan_mgr/config_req.h>

namespace {

using namespace reqtest;

Bytes type_change_request(uint8_t vdc, uint8_t type, uint8_t count,
                          std::initializer_list<std::pair<size_t, uint8_t>> bits)
{
    Bytes b = cat({{0x00, 0x00, 0x00, vdc, 0x00, 0x00, 0x00, type, 0x00, 0x00, 0x00, count}, kLen512, zeros(512)});
    for (auto [index, value] : bits)
        b[16 + index] = value;
    return b;
}

TEST(TypeChangeBuild, TypeFourRefusesVlanOneAndTypeTwoTakesIt)
{
    const vlan_bitmap bm = bitmap_of({1, 10});
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_type_change_build_mts(1, &bm, 4, &p, &len), 0x41100058u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);

    ASSERT_EQ(vlan_type_change_build_mts(1, &bm, 2, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 528u);
    EXPECT_EQ(take(p, len), type_change_request(0x01, 0x02, 0x02, {{0, 0x40}, {1, 0x20}}));
    expect_no_report();
}

TEST(TypeChangeBuild, OnlyTypesThreeToFiveRefuseVlanOne)
{
    const vlan_bitmap bm = bitmap_of({0, 1});
    for (int32_t type : {3, 4, 5}) {
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_type_change_build_mts(1, &bm, type, &p, &len), 0x41100058u) << type;
    }
    for (int32_t type : {2, 6, 0, -1}) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_type_change_build_mts(1, &bm, type, &p, &len), VLAN_MGR_OK) << type;
        std::free(p);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TypeChangeBuild, RestrictedTypeWithoutVlanOneSucceeds)
{
    const vlan_bitmap bm = bitmap_of({0, 2, 4095});
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_type_change_build_mts(2, &bm, 5, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), type_change_request(0x02, 0x05, 0x03, {{0, 0xA0}, {511, 0x01}}));
}

TEST(TypeChangeBuild, BitsAreCopiedAsTheyAreWithTheLengthWordRewritten)
{
    vlan_bitmap bm = bitmap_of({});
    bm.len = 0xFFFFFFFFu; // the caller's length word is not copied
    for (size_t i = 0; i < 512; ++i)
        bm.bits[i] = static_cast<uint8_t>(0xB7 ^ i); // byte 0 is 0xB7: VLAN 1 (bit 0x40) is clear
    // Each 256-byte half runs through every byte value once: 2 x 1024 = 2048 bits.
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_type_change_build_mts(1, &bm, -7, &p, &len), VLAN_MGR_OK);
    const Bytes b = take(p, len);
    EXPECT_EQ(Bytes(b.begin(), b.begin() + 16),
              cat({{0x00, 0x00, 0x00, 0x01, 0xFF, 0xFF, 0xFF, 0xF9, 0x00, 0x00, 0x08, 0x00}, kLen512}));
    EXPECT_EQ(Bytes(b.begin() + 16, b.end()), Bytes(bm.bits, bm.bits + 512));
}

TEST(TypeChangeBuild, EmptyOrMissingBitmapIsInvalid)
{
    const vlan_bitmap empty = bitmap_of({});
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_type_change_build_mts(1, &empty, 2, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_type_change_build_mts(1, &empty, 4, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_type_change_build_mts(1, nullptr, 2, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TypeChangeBuild, VdcIsCheckedByRangeOnlyWithoutReport)
{
    tp::state().vdc_id = 1;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    const vlan_bitmap bm = bitmap_of({10});
    for (uint16_t vdc : {0, 6, 0xFFFF}) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(vlan_type_change_build_mts(vdc, &bm, 2, &p, &len), 0x41100013u);
        EXPECT_EQ(vlan_type_change_build_mts(vdc, nullptr, 2, &p, &len), 0x41100013u); // before the bitmap test
        EXPECT_EQ(p, &p);
    }
    // Another VDC than the caller's own is accepted.
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_type_change_build_mts(5, &bm, 2, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), type_change_request(0x05, 0x02, 0x01, {{1, 0x20}}));
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    expect_no_report();
}

TEST(TypeChangeBuild, VdcSixIsRefusedEvenWhenItIsTheLocalOne)
{
    tp::state().vdc_id = 6;
    const vlan_bitmap bm = bitmap_of({10});
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_type_change_build_mts(6, &bm, 2, &p, &len), 0x41100013u);
    EXPECT_EQ(vlan_type_change_build_mts_local(&bm, 2, &p, &len), 0x41100013u);
    expect_no_report();
}

TEST(TypeChangeBuild, LocalFormUsesTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    const vlan_bitmap bm = bitmap_of({10});
    for (int i = 0; i < 3; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_type_change_build_mts_local(&bm, 2, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), type_change_request(0x03, 0x02, 0x01, {{1, 0x20}}));
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    void *p = &p;
    uint32_t len = 0;
    EXPECT_EQ(vlan_type_change_build_mts_local(nullptr, 2, &p, &len), 0x41100003u);
    const vlan_bitmap one = bitmap_of({1});
    EXPECT_EQ(vlan_type_change_build_mts_local(&one, 3, &p, &len), 0x41100058u);
    EXPECT_EQ(p, &p);
}

TEST(TypeChangeBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const vlan_bitmap bm = bitmap_of({10});
    const long allocs = sweep_alloc_failures([&] {
        void *p = &p;
        uint32_t len = 0;
        const uint32_t st = vlan_type_change_build_mts(1, &bm, 2, &p, &len);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
            EXPECT_EQ(len, 528u);
        } else {
            std::free(p);
        }
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

// ---- Reply: the delete reply ---------------------------------------------------------

// Overall status 0, VDC 2, pairs {10, 0} and {1, 0x41100058}.
const Bytes kReply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,
                      0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x41, 0x10, 0x00, 0x58};

TEST(TypeChangeParse, DecodesTheDeleteReply)
{
    HeapCopy c(kReply);
    vlan_delete_result_t *r = nullptr;
    uint32_t count = 0;
    uint16_t vdc = 0;
    ASSERT_EQ(vlan_type_change_parse_reply(&r, &count, &vdc, c.data(), static_cast<int32_t>(c.size())), 0u);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(vdc, 2);
    EXPECT_EQ(r[0].vlan_id, 10u);
    EXPECT_EQ(r[0].status, 0u);
    EXPECT_EQ(r[1].vlan_id, 1u);
    EXPECT_EQ(r[1].status, 0x41100058u);
    std::free(r);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TypeChangeParse, CommonRulesAndPointerChecksAreTheDeleteParsers)
{
    vlan_delete_result_t sentinel{};
    vlan_delete_result_t *r = &sentinel;
    uint32_t count = 0;
    uint16_t vdc = 0;
    EXPECT_EQ(vlan_type_change_parse_reply(&r, nullptr, &vdc, kReply.data(), 26), 0x41100003u);
    EXPECT_EQ(vlan_type_change_parse_reply(&r, &count, nullptr, kReply.data(), 26), 0x41100003u);
    EXPECT_EQ(vlan_type_change_parse_reply(&r, &count, &vdc, nullptr, 26), 0x41100003u);
    EXPECT_EQ(r, &sentinel);
    const Bytes bare = {0x41, 0x10, 0x00, 0x13};
    EXPECT_EQ(vlan_type_change_parse_reply(&r, &count, &vdc, bare.data(), 4), 0x41100013u);
    EXPECT_EQ(r, nullptr);
    r = &sentinel;
    EXPECT_EQ(vlan_type_change_parse_reply(&r, &count, &vdc, bare.data(), 0), 0x41100002u);
    EXPECT_EQ(r, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TypeChangeParseDeathTest, ResultsPointerIsWrittenWithoutACheck)
{
    uint32_t count = 0;
    EXPECT_DEATH(vlan_type_change_parse_reply_local(nullptr, &count, kReply.data(), 4), "");
}

TEST(TypeChangeParse, AllocationFailureLeavesResultsNull)
{
    HeapCopy c(kReply);
    const long allocs = sweep_alloc_failures([&] {
        vlan_delete_result_t *r = nullptr;
        uint32_t count = 0;
        uint16_t vdc = 0;
        const uint32_t st = vlan_type_change_parse_reply(&r, &count, &vdc, c.data(), static_cast<int32_t>(c.size()));
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(r, nullptr);
        }
        std::free(r);
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

TEST(TypeChangeParse, EveryCutOfAValidReplyFailsCleanly)
{
    expect_every_cut_fails(kReply, [](const uint8_t *p, uint32_t len) {
        vlan_delete_result_t *r = nullptr;
        uint32_t count = 0;
        uint16_t vdc = 0;
        const uint32_t st = vlan_type_change_parse_reply(&r, &count, &vdc, p, static_cast<int32_t>(len));
        EXPECT_EQ(r, nullptr);
        return st;
    });
    expect_every_cut_fails(kReply, [](const uint8_t *p, uint32_t len) {
        vlan_delete_result_t *r = nullptr;
        uint32_t count = 0;
        const uint32_t st = vlan_type_change_parse_reply_local(&r, &count, p, static_cast<int32_t>(len));
        EXPECT_EQ(r, nullptr);
        return st;
    });
}

TEST(TypeChangeParse, LocalFormAtAnOddAddress)
{
    HeapCopy c(kReply, true);
    vlan_delete_result_t *r = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_type_change_parse_reply_local(&r, &count, c.data(), static_cast<int32_t>(c.size())), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(r[1].vlan_id, 1u);
    EXPECT_EQ(r[1].status, 0x41100058u);
    std::free(r);
    EXPECT_EQ(vlan_type_change_parse_reply_local(&r, nullptr, c.data(), static_cast<int32_t>(c.size())),
              0x41100003u);
}

TEST(TypeChangeParse, ValidReplyDecodesTheSameAtAnOddAddress)
{
    expect_same_at_odd_address(kReply, [](const uint8_t *p, uint32_t len) {
        vlan_delete_result_t *r = nullptr;
        uint32_t count = 0;
        uint16_t vdc = 0;
        const uint32_t st = vlan_type_change_parse_reply(&r, &count, &vdc, p, static_cast<int32_t>(len));
        std::vector<uint32_t> out = {st, count, vdc};
        for (uint32_t i = 0; r != nullptr && i < count; ++i) {
            out.push_back(r[i].vlan_id);
            out.push_back(r[i].status);
        }
        std::free(r);
        return out;
    });
}

} // namespace
