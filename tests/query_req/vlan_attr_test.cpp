// VLANs by attribute: the builder, its _local form and the reply parser.
#include "../common/request_test_util.h"

#include <vlan_mgr/query_req.h>

namespace {

using namespace reqtest;

// ---- Builder -------------------------------------------------------------------------

TEST(AttrBuild, AttributeSevenInVdcOneGivesSixBytes)
{
    tp::state().vdc_id = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_vlans_for_attr_value_build_mts(1, 7, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 6u);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x01, 0x00, 0x00, 0x00, 0x07}));
    expect_no_report();
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AttrBuild, BothEndsOfTheAttributeRangeAreAccepted)
{
    tp::state().vdc_id = 4;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_vlans_for_attr_value_build_mts(4, 1, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x04, 0x00, 0x00, 0x00, 0x01}));
    ASSERT_EQ(vlan_get_vlans_for_attr_value_build_mts(4, 21, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x04, 0x00, 0x00, 0x00, 0x15}));
}

TEST(AttrBuild, AttributeOutsideOneTo21IsRejectedWithNullPayloadAndLengthZero)
{
    all_channels_on();
    for (int32_t attr : {0, 22, -1, INT32_MIN}) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(vlan_get_vlans_for_attr_value_build_mts(1, attr, &p, &len), 0x41100076u) << attr;
        EXPECT_EQ(p, nullptr);
        EXPECT_EQ(len, 0u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
}

TEST(AttrBuild, ForeignVdcIsReportedAsAMismatchButAnsweredAsInvalid)
{
    tp::state().vdc_id = 1;
    all_channels_on();
    void *p = &p;
    uint32_t len = 77;
    // The attribute is out of range too: the VDC is checked first.
    EXPECT_EQ(vlan_get_vlans_for_attr_value_build_mts(2, 0, &p, &len), 0x41100003u);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_report(100, "vlan_mgr pid " + pid_text() + ", vdcID 2, local vdcID 1\n",
                  " pid " + pid_text() + ", vdcID 2, local vdcID 1\n", "ERROR_MSG", 3, true, true);
}

TEST(AttrBuild, ForeignVdcAtDefaultSyslogLevelIsNotSentToSyslog)
{
    tp::state().vdc_id = 2;
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_get_vlans_for_attr_value_build_mts(5, 3, &p, &len), 0x41100003u);
    expect_vdc_report("vlan_mgr pid " + pid_text() + ", vdcID 5, local vdcID 2\n", "", false, false);
}

TEST(AttrBuild, LocalFormUsesTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    for (int i = 0; i < 3; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_get_vlans_for_attr_value_build_mts_local(12, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x03, 0x00, 0x00, 0x00, 0x0C}));
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_vlans_for_attr_value_build_mts_local(22, &p, &len), 0x41100076u);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(len, 0u);
    expect_no_report();
}

TEST(AttrBuild, AllocationFailureSetsTheLengthBackToZero)
{
    const long allocs = sweep_alloc_failures([&] {
        void *p = &p;
        uint32_t len = 77;
        const uint32_t st = vlan_get_vlans_for_attr_value_build_mts(1, 7, &p, &len);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
            EXPECT_EQ(len, 0u);
        } else {
            EXPECT_EQ(len, 6u);
            std::free(p);
        }
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

// ---- Parser --------------------------------------------------------------------------------

// Status 0, attribute 7, two pairs: (10, 0x00012345) and (4094, 0xFFFF0001).
const Bytes kAttr7 = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07, 0x00, 0x00, 0x00, 0x02,
                      0x00, 0x00, 0x00, 0x0A, 0x00, 0x01, 0x23, 0x45, 0x00, 0x00, 0x0F, 0xFE, 0xFF, 0xFF, 0x00, 0x01};
// Status 0, attribute 3, three VLAN ids: 1, 100, 4094.
const Bytes kAttr3 = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x03,
                      0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x0F, 0xFE};

Bytes entry_bytes(const vlan_attr_entry *e, uint32_t n)
{
    const auto *b = reinterpret_cast<const uint8_t *>(e);
    return Bytes(b, b + 8 * n);
}

TEST(AttrParse, AttributeSevenGivesVlanAndLow16BitsOfTheValue)
{
    HeapCopy c(kAttr7);
    uint32_t attr = 0, count = 0;
    vlan_attr_entry *recs = nullptr;
    ASSERT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, c.data(), c.size()), 0u);
    EXPECT_EQ(attr, 7u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(recs[0].vlan_id, 10u);
    EXPECT_EQ(recs[0].value, 0x2345);
    EXPECT_EQ(recs[1].vlan_id, 4094u);
    EXPECT_EQ(recs[1].value, 0x0001);
    // The two trailing bytes of each entry are never decoded and hold 0.
    EXPECT_EQ(entry_bytes(recs, 2)[6], 0);
    EXPECT_EQ(entry_bytes(recs, 2)[7], 0);
    EXPECT_EQ(entry_bytes(recs, 2)[14], 0);
    EXPECT_EQ(entry_bytes(recs, 2)[15], 0);
    std::free(recs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AttrParse, OtherAttributesGiveVlanIdsAlone)
{
    HeapCopy c(kAttr3);
    uint32_t attr = 0, count = 0;
    vlan_attr_entry *recs = nullptr;
    ASSERT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, c.data(), c.size()), 0u);
    EXPECT_EQ(attr, 3u);
    ASSERT_EQ(count, 3u);
    // VLAN ids in host order, value and trailing bytes 0.
    const vlan_attr_entry want[3] = {{1, 0, {0, 0}}, {100, 0, {0, 0}}, {4094, 0, {0, 0}}};
    EXPECT_EQ(entry_bytes(recs, 3), entry_bytes(want, 3));
    std::free(recs);
}

TEST(AttrParse, StrideFollowsTheEchoedAttribute)
{
    // Eight bytes of entries hold two VLAN ids, but only one pair.
    Bytes reply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x02,
                   0x00, 0x00, 0x00, 0x0A, 0x00, 0x01, 0x23, 0x45};
    HeapCopy three(reply);
    uint32_t attr = 0, count = 0;
    vlan_attr_entry *recs = nullptr;
    ASSERT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, three.data(), three.size()), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(recs[0].vlan_id, 10u);
    EXPECT_EQ(recs[1].vlan_id, 0x00012345u);
    EXPECT_EQ(recs[1].value, 0);
    std::free(recs);
    reply[7] = 0x07;
    HeapCopy seven(reply);
    attr = 0;
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, seven.data(), seven.size()),
              VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(attr, 0u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AttrParse, NonZeroStatusStillReportsAttributeAndCount)
{
    // Status 0x41100021, attribute 9, count 5, no entries sent.
    const Bytes reply = {0x41, 0x10, 0x00, 0x21, 0x00, 0x00, 0x00, 0x09, 0x00, 0x00, 0x00, 0x05};
    HeapCopy c(reply);
    uint32_t attr = 0, count = 0;
    vlan_attr_entry *recs = reinterpret_cast<vlan_attr_entry *>(&recs);
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, c.data(), c.size()), 0x41100021u);
    EXPECT_EQ(attr, 9u);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AttrParse, ZeroEntriesGiveAnEmptyArray)
{
    const Bytes reply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00};
    HeapCopy c(reply);
    uint32_t attr = 0, count = 99;
    vlan_attr_entry *recs = nullptr;
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, c.data(), c.size()), 0u);
    EXPECT_EQ(attr, 2u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(tp::alloc_calls(), 1); // allocated even for no entries
    std::free(recs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AttrParse, BareStatusEmptyReplyAndNullPointers)
{
    const Bytes bare = {0x41, 0x10, 0x00, 0x1c};
    uint32_t attr = 99, count = 99;
    vlan_attr_entry *recs = reinterpret_cast<vlan_attr_entry *>(&recs);
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, bare.data(), 4), 0x4110001cu);
    EXPECT_EQ(attr, 99u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(recs, nullptr);
    count = 99;
    recs = reinterpret_cast<vlan_attr_entry *>(&recs);
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, bare.data(), 0), 0x41100002u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(recs, nullptr);
    count = 99;
    recs = reinterpret_cast<vlan_attr_entry *>(&recs);
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(nullptr, &count, &recs, kAttr3.data(), 24), 0x41100003u);
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, nullptr, &recs, kAttr3.data(), 24), 0x41100003u);
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, nullptr, 24), 0x41100003u);
    EXPECT_EQ(attr, 99u);
    EXPECT_EQ(count, 99u);
    EXPECT_EQ(recs, reinterpret_cast<vlan_attr_entry *>(&recs));
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AttrParse, CountBeyondTheReplyIsTruncated)
{
    for (const Bytes &n : {Bytes{0x00, 0x00, 0x00, 0x04}, Bytes{0x40, 0x00, 0x00, 0x00}, Bytes{0xFF, 0xFF, 0xFF, 0xFF}}) {
        const Bytes reply = cat({Bytes(kAttr3.begin(), kAttr3.begin() + 8), n, Bytes(kAttr3.begin() + 12, kAttr3.end())});
        HeapCopy c(reply);
        uint32_t attr = 99, count = 99;
        vlan_attr_entry *recs = nullptr;
        EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, c.data(), c.size()),
                  VLAN_MGR_ERR_TRUNCATED);
        EXPECT_EQ(attr, 99u);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(recs, nullptr);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AttrParse, AllocationFailureKeepsAttributeAndCount)
{
    for (const Bytes *reply : {&kAttr7, &kAttr3}) {
        HeapCopy c(*reply);
        const long allocs = sweep_alloc_failures([&] {
            uint32_t attr = 0, count = 0;
            vlan_attr_entry *recs = nullptr;
            const uint32_t st = vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, c.data(), c.size());
            EXPECT_EQ(attr, (*reply)[7]);
            EXPECT_EQ(count, (*reply)[11]);
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(recs, nullptr);
            }
            std::free(recs);
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

TEST(AttrParse, EveryCutOfAValidReplyFailsCleanly)
{
    for (const Bytes *reply : {&kAttr7, &kAttr3}) {
        expect_every_cut_fails(*reply, [](const uint8_t *p, uint32_t len) {
            uint32_t attr = 99, count = 99;
            vlan_attr_entry *recs = nullptr;
            const uint32_t st = vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, p, len);
            EXPECT_EQ(attr, 99u);
            EXPECT_EQ(count, 0u);
            EXPECT_EQ(recs, nullptr);
            return st;
        });
    }
}

TEST(AttrParse, ReplyAtAnOddAddressDecodesTheSame)
{
    for (const Bytes *reply : {&kAttr7, &kAttr3}) {
        expect_same_at_odd_address(*reply, [](const uint8_t *p, uint32_t len) {
            uint32_t attr = 0, count = 0;
            vlan_attr_entry *recs = nullptr;
            std::vector<uint32_t> out{vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, p, len), attr,
                                      count};
            const Bytes b = entry_bytes(recs, count);
            out.insert(out.end(), b.begin(), b.end());
            std::free(recs);
            return out;
        });
    }
}

// 4094 VLANs with attribute 7, each with the value 0xABCD0000 | vlan, come
// back in order with the low 16 bits; the same ids under attribute 5 alone.
TEST(AttrParse, RoundTripOf4094Vlans)
{
    for (uint32_t attr_no : {7u, 5u}) {
        Bytes reply;
        push_be32(reply, 0);
        push_be32(reply, attr_no);
        push_be32(reply, 4094);
        for (uint32_t v = 1; v <= 4094; ++v) {
            push_be32(reply, v);
            if (attr_no == 7)
                push_be32(reply, 0xABCD0000u | v);
        }
        HeapCopy c(reply, true);
        uint32_t attr = 0, count = 0;
        vlan_attr_entry *recs = nullptr;
        ASSERT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, c.data(), c.size()), 0u);
        EXPECT_EQ(attr, attr_no);
        ASSERT_EQ(count, 4094u);
        for (uint32_t i = 0; i < 4094; ++i) {
            ASSERT_EQ(recs[i].vlan_id, i + 1);
            ASSERT_EQ(recs[i].value, attr_no == 7 ? i + 1 : 0u);
        }
        std::free(recs);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AttrParse, BareZeroStatusReturnsZeroAndLeavesTheAttribute)
{
    const Bytes bare = {0x00, 0x00, 0x00, 0x00};
    uint32_t attr = 99, count = 99;
    vlan_attr_entry *recs = reinterpret_cast<vlan_attr_entry *>(&recs);
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, bare.data(), 4), 0u);
    EXPECT_EQ(attr, 99u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(recs, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

} // namespace
