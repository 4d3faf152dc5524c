// The reserved-check exchange: request parser and reply builder.
#include "../common/request_test_util.h"

#include <vlan_mgr/config_req.h>

namespace {

using namespace reqtest;

// VDC 3, two unused bytes, check words 0x11223344 and 0x55667788.
const Bytes kRequest = {0x00, 0x03, 0xFF, 0xFF, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};

TEST(RsvdCheckParse, DecodesTheThreeFields)
{
    HeapCopy c(kRequest);
    uint16_t vdc = 0;
    uint32_t w1 = 0, w2 = 0;
    ASSERT_EQ(vlan_mgr_vlan_rsvd_check_parse_request_pld(c.data(), c.size(), &vdc, &w1, &w2), 0u);
    EXPECT_EQ(vdc, 3);
    EXPECT_EQ(w1, 0x11223344u);
    EXPECT_EQ(w2, 0x55667788u);
}

TEST(RsvdCheckParse, LongerPayloadIsReadForItsFirstTwelveBytes)
{
    const Bytes longer = cat({kRequest, {0xAB, 0xCD, 0xEF, 0x01}});
    HeapCopy c(longer, true);
    uint16_t vdc = 0;
    uint32_t w1 = 0, w2 = 0;
    ASSERT_EQ(vlan_mgr_vlan_rsvd_check_parse_request_pld(c.data(), c.size(), &vdc, &w1, &w2), 0u);
    EXPECT_EQ(vdc, 3);
    EXPECT_EQ(w1, 0x11223344u);
    EXPECT_EQ(w2, 0x55667788u);
}

TEST(RsvdCheckParse, EveryPointerIsChecked)
{
    uint16_t vdc = 9;
    uint32_t w1 = 9, w2 = 9;
    EXPECT_EQ(vlan_mgr_vlan_rsvd_check_parse_request_pld(nullptr, 12, &vdc, &w1, &w2), 0x41100003u);
    EXPECT_EQ(vlan_mgr_vlan_rsvd_check_parse_request_pld(kRequest.data(), 12, nullptr, &w1, &w2), 0x41100003u);
    EXPECT_EQ(vlan_mgr_vlan_rsvd_check_parse_request_pld(kRequest.data(), 12, &vdc, nullptr, &w2), 0x41100003u);
    EXPECT_EQ(vlan_mgr_vlan_rsvd_check_parse_request_pld(kRequest.data(), 12, &vdc, &w1, nullptr), 0x41100003u);
    EXPECT_EQ(vdc, 9);
    EXPECT_EQ(w1, 9u);
    EXPECT_EQ(w2, 9u);
}

TEST(RsvdCheckParse, ShorterPayloadIsTruncatedWithoutCommonReplyRules)
{
    // A request has no bare-status form: 0 and 4 bytes are short like the rest.
    expect_every_cut_fails(
        kRequest,
        [](const uint8_t *p, uint32_t len) {
            uint16_t vdc = 9;
            uint32_t w1 = 9, w2 = 9;
            const uint32_t st = vlan_mgr_vlan_rsvd_check_parse_request_pld(p, len, &vdc, &w1, &w2);
            EXPECT_EQ(vdc, 9);
            EXPECT_EQ(w1, 9u);
            EXPECT_EQ(w2, 9u);
            return st;
        },
        every_cut_truncated);
}

TEST(RsvdCheckBuild, SixteenBytesWithBytesTwoAndThreeZero)
{
    void *p = &p;
    ASSERT_EQ(vlan_mgr_vlan_rsvd_check_build_reply_pld(3, 0x11223344u, 0x55667788u, 0x99AABBCCu, &p), 0u);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(take(p, 16), (Bytes{0x00, 0x03, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA,
                                  0xBB, 0xCC}));
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(RsvdCheckBuild, AllocationFailureLeavesNullPayload)
{
    const long allocs = sweep_alloc_failures([] {
        void *p = &p;
        const uint32_t st = vlan_mgr_vlan_rsvd_check_build_reply_pld(1, 2, 3, 4, &p);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
        }
        std::free(p);
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

TEST(RsvdCheckRoundTrip, ReplyCarriesWhatTheRequestHeld)
{
    HeapCopy c(kRequest, true);
    uint16_t vdc = 0;
    uint32_t w1 = 0, w2 = 0;
    ASSERT_EQ(vlan_mgr_vlan_rsvd_check_parse_request_pld(c.data(), c.size(), &vdc, &w1, &w2), 0u);
    void *p = nullptr;
    ASSERT_EQ(vlan_mgr_vlan_rsvd_check_build_reply_pld(vdc, w1, w2, 1, &p), 0u);
    EXPECT_EQ(take(p, 16), (Bytes{0x00, 0x03, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x00, 0x00,
                                  0x00, 0x01}));
}

TEST(RsvdCheckParse, RequestDecodesTheSameAtAnOddAddress)
{
    expect_same_at_odd_address(kRequest, [](const uint8_t *p, uint32_t len) {
        uint16_t vdc = 0;
        uint32_t w1 = 0, w2 = 0;
        const uint32_t st = vlan_mgr_vlan_rsvd_check_parse_request_pld(p, len, &vdc, &w1, &w2);
        return std::vector<uint32_t>{st, vdc, w1, w2};
    });
}

} // namespace
