// Per-VLAN membership queries: the full and local builders under their three
// names each, the full and local reply parsers, and the VLAN-range parser.
#include "memb_test_util.h"

namespace {

using namespace reqtest;
using namespace membtest;

using Builder = uint32_t (*)(const vdc_vlan_id_t *, uint32_t, void **, uint32_t *);
using LocalBuilder = uint32_t (*)(const int32_t *, uint32_t, void **, uint32_t *);
using Parser = uint32_t (*)(vlan_port_memb **, uint32_t *, const void *, uint32_t);
using LocalParser = uint32_t (*)(vlan_port_memb_local **, uint32_t *, const void *, uint32_t);

const Builder kBuilders[] = {vlan_get_per_vlan_trunking_memb_info_build_mts,
                             vlan_get_per_vlan_access_memb_info_build_mts, vlan_get_per_vlan_memb_info_build_mts};
const LocalBuilder kLocalBuilders[] = {vlan_get_per_vlan_trunking_memb_info_build_mts_local,
                                       vlan_get_per_vlan_access_memb_info_build_mts_local,
                                       vlan_get_per_vlan_memb_info_build_mts_local};
const Parser kParsers[] = {vlan_get_per_vlan_trunking_memb_info_parse_reply,
                           vlan_get_per_vlan_access_memb_info_parse_reply, vlan_get_per_vlan_memb_info_parse_reply};
const LocalParser kLocalParsers[] = {vlan_get_per_vlan_trunking_memb_info_parse_reply_local,
                                     vlan_get_per_vlan_access_memb_info_parse_reply_local,
                                     vlan_get_per_vlan_memb_info_parse_reply_local};

// ---- Full builder ---------------------------------------------------------------

TEST(PerVlanBuild, TwoKeysOfTheLocalVdc)
{
    tp::state().vdc_id = 1;
    const vdc_vlan_id_t keys[] = {{1, 10}, {1, 4094}};
    for (Builder build : kBuilders) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(build(keys, 2, &p, &len), VLAN_MGR_OK);
        ASSERT_EQ(len, 16u);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x02, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x01, 0x00,
                                       0x00, 0x0F, 0xFE}));
    }
    expect_no_report();
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(PerVlanBuild, NoKeysOrCountZeroIsInvalidBeforeTheVdcIsFetched)
{
    const vdc_vlan_id_t keys[] = {{1, 10}};
    for (Builder build : kBuilders) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(nullptr, 1, &p, &len), 0x41100003u);
        EXPECT_EQ(build(keys, 0, &p, &len), 0x41100003u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
}

TEST(PerVlanBuild, BadVlanIdOfALaterKeyIsReportedAndNothingAllocated)
{
    tp::state().vdc_id = 1;
    all_channels_on();
    const vdc_vlan_id_t keys[] = {{1, 10}, {1, 4095}};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_per_vlan_memb_info_build_mts(keys, 2, &p, &len), 0x41100012u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_report(100, "vlan_mgrpid " + pid_text() + " passed Invalid vlanID :4095 \n",
                  "pid " + pid_text() + " passed Invalid vlanID :4095 \n", "ERROR_MSG", 3, true, true);
}

TEST(PerVlanBuild, VlanZeroIsRefusedAtDefaultLevelsOnTheHistoryOnly)
{
    tp::state().vdc_id = 2;
    const vdc_vlan_id_t keys[] = {{2, 0}};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_per_vlan_trunking_memb_info_build_mts(keys, 1, &p, &len), 0x41100012u);
    expect_report(100, "vlan_mgrpid " + pid_text() + " passed Invalid vlanID :0 \n", "", "ERROR_MSG", 3, false,
                  false);
}

TEST(PerVlanBuild, KeyOfAnotherVdcIsReportedWithItsEntry)
{
    tp::state().vdc_id = 1;
    all_channels_on();
    const vdc_vlan_id_t keys[] = {{1, 10}, {2, 20}};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_per_vlan_access_memb_info_build_mts(keys, 2, &p, &len), 0x41100013u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_report(100,
                  "vlan_mgr pid " + pid_text() + ", vdcID 2, local vdcID 1, vdcIDs not match; entry 1, vlanID 20\n",
                  " pid " + pid_text() + ", vdcID 2, local vdcID 1, vdcIDs not match; entry 1, vlanID 20\n",
                  "ERROR_MSG", 3, true, true);
}

TEST(PerVlanBuild, TheVdcOfAKeyIsCheckedBeforeItsVlan)
{
    tp::state().vdc_id = 1;
    all_channels_on();
    const vdc_vlan_id_t keys[] = {{3, 4095}};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_per_vlan_memb_info_build_mts(keys, 1, &p, &len), 0x41100013u);
    expect_report(100,
                  "vlan_mgr pid " + pid_text() + ", vdcID 3, local vdcID 1, vdcIDs not match; entry 0, vlanID 4095\n",
                  " pid " + pid_text() + ", vdcID 3, local vdcID 1, vdcIDs not match; entry 0, vlanID 4095\n",
                  "ERROR_MSG", 3, true, true);
}

TEST(PerVlanBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const vdc_vlan_id_t keys[] = {{1, 10}, {1, 20}};
    for (Builder build : kBuilders) {
        const long allocs = sweep_alloc_failures([&] {
            void *p = &p;
            uint32_t len = 0;
            const uint32_t st = build(keys, 2, &p, &len);
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(p, nullptr);
                EXPECT_EQ(len, 16u);
            } else {
                std::free(p);
            }
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

// ---- Local builder ----------------------------------------------------------------

TEST(PerVlanBuildLocal, FillsTheLocalVdcFetchedOnce)
{
    tp::state().vdc_id = 3;
    const int32_t vlans[] = {10, 4094};
    for (int round = 0; round < 2; ++round)
        for (LocalBuilder build : kLocalBuilders) {
            void *p = nullptr;
            uint32_t len = 0;
            ASSERT_EQ(build(vlans, 2, &p, &len), VLAN_MGR_OK);
            EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x02, 0x00, 0x03, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x03,
                                           0x00, 0x00, 0x0F, 0xFE}));
        }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    expect_no_report();
}

TEST(PerVlanBuildLocal, FetchesTheVdcEvenForAnInvalidList)
{
    const int32_t vlans[] = {10};
    for (LocalBuilder build : kLocalBuilders) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(nullptr, 1, &p, &len), 0x41100003u);
        EXPECT_EQ(build(vlans, 0, &p, &len), 0x41100003u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PerVlanBuildLocal, BadVlanLeavesThePayloadWrittenUpToIt)
{
    tp::state().vdc_id = 3;
    all_channels_on();
    const int32_t vlans[] = {10, 0, 20};
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_get_per_vlan_memb_info_build_mts_local(vlans, 3, &p, &len), 0x41100012u);
    ASSERT_NE(p, nullptr);
    ASSERT_EQ(len, 22u);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x03, 0x00, 0x03, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x03, 0x00,
                                   0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(tp::live_allocs(), 0);
    expect_report(102, "vlan_mgr get_per_vlan_memb_info_build_mts_local:pid " + pid_text() + ", invalid vlanID 0\n",
                  " get_per_vlan_memb_info_build_mts_local:pid " + pid_text() + ", invalid vlanID 0\n", "INFO_MSG",
                  6, true, true);
}

TEST(PerVlanBuildLocal, NegativeAndTooHighIdsAreRefused)
{
    tp::state().vdc_id = 1;
    for (int32_t bad : {-1, 4095}) {
        tp::reset();
        tp::state().vdc_id = 1;
        all_channels_on();
        const int32_t vlans[] = {bad};
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_get_per_vlan_access_memb_info_build_mts_local(vlans, 1, &p, &len), 0x41100012u);
        const Bytes want = cat({{0x00, 0x00, 0x00, 0x01, 0x00, 0x01}, be32(static_cast<uint32_t>(bad))});
        EXPECT_EQ(take(p, len), want);
        const std::string id = std::to_string(bad);
        expect_report(102,
                      "vlan_mgr get_per_vlan_memb_info_build_mts_local:pid " + pid_text() + ", invalid vlanID " + id +
                          "\n",
                      " get_per_vlan_memb_info_build_mts_local:pid " + pid_text() + ", invalid vlanID " + id + "\n",
                      "INFO_MSG", 6, true, true);
    }
}

TEST(PerVlanBuildLocal, AllocationFailureLeavesNullPayload)
{
    const int32_t vlans[] = {10};
    for (LocalBuilder build : kLocalBuilders) {
        const long allocs = sweep_alloc_failures([&] {
            void *p = &p;
            uint32_t len = 0;
            const uint32_t st = build(vlans, 1, &p, &len);
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
}

TEST(PerVlanBuildLocal, ACountWhoseSizeOverflowsIsAnAllocationFailure)
{
    // 4 + 6 * 0x2AAAAAAB does not fit a 32-bit length; no VLAN is read.
    const int32_t vlans[] = {10};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_per_vlan_memb_info_build_mts_local(vlans, 0x2AAAAAABu, &p, &len), VLAN_MGR_ERR_NO_MEMORY);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

// ---- Parsers ----------------------------------------------------------------------

// Status 0x41100099; VLAN 10 with two ports, VLAN 20 with none, VLAN 4094
// with three, all of VDC 3.
const Bytes kReply = {0x41, 0x10, 0x00, 0x99, 0x00, 0x00, 0x00, 0x03,                   // status, 3 groups
                      0x00, 0x03, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x02,       // VLAN 10, 2 ports
                      0x1A, 0x2B, 0x3C, 0x4D, 0x01, 0x02, 0x03, 0x04,                   //
                      0x00, 0x03, 0x00, 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x00,       // VLAN 20, none
                      0x00, 0x03, 0x00, 0x00, 0x0F, 0xFE, 0x00, 0x00, 0x00, 0x03,       // VLAN 4094, 3 ports
                      0x11, 0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24, 0x31, 0x32, 0x33, 0x34};

TEST(PerVlanParse, GroupsOfTwoNoneAndThreeGiveFiveRecordsAndTheStatus)
{
    for (Parser parse : kParsers) {
        HeapCopy c(kReply);
        vlan_port_memb *r = nullptr;
        uint32_t count = 0;
        ASSERT_EQ(parse(&r, &count, c.data(), c.size()), 0x41100099u);
        ASSERT_EQ(count, 5u);
        // Host order: VDC 3, VLAN, two zero bytes, if-index.
        const Bytes want = {0x03, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x4D, 0x3C, 0x2B, 0x1A,
                            0x03, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x03, 0x02, 0x01,
                            0x03, 0x00, 0xFE, 0x0F, 0x00, 0x00, 0x00, 0x00, 0x14, 0x13, 0x12, 0x11,
                            0x03, 0x00, 0xFE, 0x0F, 0x00, 0x00, 0x00, 0x00, 0x24, 0x23, 0x22, 0x21,
                            0x03, 0x00, 0xFE, 0x0F, 0x00, 0x00, 0x00, 0x00, 0x34, 0x33, 0x32, 0x31};
        EXPECT_EQ(bytes_of(r, count), want);
        EXPECT_EQ(r[0].if_index, kIfx);
        std::free(r);
    }
}

TEST(PerVlanParse, LocalRecordsKeepVlanAndPort)
{
    for (LocalParser parse : kLocalParsers) {
        HeapCopy c(kReply);
        vlan_port_memb_local *r = nullptr;
        uint32_t count = 0;
        ASSERT_EQ(parse(&r, &count, c.data(), c.size()), 0x41100099u);
        ASSERT_EQ(count, 5u);
        const std::vector<std::pair<uint32_t, uint32_t>> want = {
            {10, kIfx}, {10, 0x01020304u}, {4094, 0x11121314u}, {4094, 0x21222324u}, {4094, 0x31323334u}};
        for (size_t i = 0; i < 5; ++i) {
            EXPECT_EQ(r[i].vlan_id, want[i].first) << i;
            EXPECT_EQ(r[i].if_index, want[i].second) << i;
        }
        std::free(r);
    }
}

// Runs a full and a local parser of each name on `reply` and expects `want`
// with no array.
void expect_no_array(const Bytes &reply, uint32_t want)
{
    for (size_t i = 0; i < 3; ++i) {
        HeapCopy c(reply);
        vlan_port_memb *r = reinterpret_cast<vlan_port_memb *>(&r);
        uint32_t count = 9;
        EXPECT_EQ(kParsers[i](&r, &count, c.data(), c.size()), want);
        EXPECT_EQ(r, nullptr);
        EXPECT_EQ(count, 0u);
        vlan_port_memb_local *l = reinterpret_cast<vlan_port_memb_local *>(&l);
        count = 9;
        EXPECT_EQ(kLocalParsers[i](&l, &count, c.data(), c.size()), want);
        EXPECT_EQ(l, nullptr);
        EXPECT_EQ(count, 0u);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(PerVlanParse, GroupsWithoutPortsAreNoEntries)
{
    expect_no_array({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00,
                     0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0B, 0x00, 0x00, 0x00, 0x00},
                    0x41100011u);
}

TEST(PerVlanParse, NoGroupsOrANegativeGroupCountIsNoEntries)
{
    expect_no_array({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, 0x41100011u);
    // G = -1 reads as none, whatever follows.
    expect_no_array({0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00,
                     0x00, 0x01, 0x1A, 0x2B, 0x3C, 0x4D},
                    0x41100011u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PerVlanParse, FourByteAndEmptyReplies)
{
    expect_no_array({0x41, 0x10, 0x00, 0x55}, 0x41100055u);
    expect_no_array({0x00, 0x00, 0x00, 0x00}, 0u);
    expect_no_array({}, 0x41100002u);
}

TEST(PerVlanParse, GroupsPastThePayloadAreTruncated)
{
    // One group announced, none there; a port count past the end; a negative
    // port count; the largest group count over a short reply.
    expect_no_array({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01}, VLAN_MGR_ERR_TRUNCATED);
    expect_no_array({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00,
                     0x00, 0x02, 0x1A, 0x2B, 0x3C, 0x4D},
                    VLAN_MGR_ERR_TRUNCATED);
    expect_no_array({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0xFF, 0xFF,
                     0xFF, 0xFF, 0x1A, 0x2B, 0x3C, 0x4D},
                    VLAN_MGR_ERR_TRUNCATED);
    expect_no_array({0x00, 0x00, 0x00, 0x00, 0x7F, 0xFF, 0xFF, 0xFF, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00,
                     0x00, 0x00},
                    VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PerVlanParse, NullCountOrPayloadIsInvalidAndTouchesNothing)
{
    for (size_t i = 0; i < 3; ++i) {
        vlan_port_memb *r = reinterpret_cast<vlan_port_memb *>(&r);
        vlan_port_memb_local *l = reinterpret_cast<vlan_port_memb_local *>(&l);
        uint32_t count = 9;
        EXPECT_EQ(kParsers[i](&r, nullptr, kReply.data(), 8), 0x41100003u);
        EXPECT_EQ(kParsers[i](&r, &count, nullptr, 8), 0x41100003u);
        EXPECT_EQ(kLocalParsers[i](&l, nullptr, kReply.data(), 8), 0x41100003u);
        EXPECT_EQ(kLocalParsers[i](&l, &count, nullptr, 8), 0x41100003u);
        EXPECT_EQ(r, reinterpret_cast<vlan_port_memb *>(&r));
        EXPECT_EQ(l, reinterpret_cast<vlan_port_memb_local *>(&l));
        EXPECT_EQ(count, 9u);
    }
}

TEST(PerVlanParseDeathTest, RecordsPointerIsWrittenWithoutACheck)
{
    uint32_t count = 0;
    EXPECT_DEATH(vlan_get_per_vlan_memb_info_parse_reply(nullptr, &count, kReply.data(), 4), "");
    EXPECT_DEATH(vlan_get_per_vlan_memb_info_parse_reply_local(nullptr, &count, kReply.data(), 4), "");
}

TEST(PerVlanParse, AllocationFailureKeepsThePortCount)
{
    for (size_t i = 0; i < 3; ++i) {
        HeapCopy c(kReply);
        EXPECT_EQ(sweep_alloc_failures([&] {
                      vlan_port_memb *r = reinterpret_cast<vlan_port_memb *>(&r);
                      uint32_t count = 9;
                      const uint32_t st = kParsers[i](&r, &count, c.data(), c.size());
                      if (st == VLAN_MGR_ERR_NO_MEMORY) {
                          EXPECT_EQ(r, nullptr);
                          EXPECT_EQ(count, 5u);
                      }
                      std::free(r);
                      return st;
                  }),
                  1);
        EXPECT_EQ(sweep_alloc_failures([&] {
                      vlan_port_memb_local *r = reinterpret_cast<vlan_port_memb_local *>(&r);
                      uint32_t count = 9;
                      const uint32_t st = kLocalParsers[i](&r, &count, c.data(), c.size());
                      if (st == VLAN_MGR_ERR_NO_MEMORY) {
                          EXPECT_EQ(r, nullptr);
                          EXPECT_EQ(count, 5u);
                      }
                      std::free(r);
                      return st;
                  }),
                  1);
    }
}

TEST(PerVlanParse, EveryCutFailsCleanlyAndOddAddressesDecodeAlike)
{
    for (size_t i = 0; i < 3; ++i) {
        expect_every_cut_fails(kReply, [&](const uint8_t *d, uint32_t n) {
            vlan_port_memb *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = kParsers[i](&r, &count, d, n);
            std::free(r);
            return st;
        });
        expect_every_cut_fails(kReply, [&](const uint8_t *d, uint32_t n) {
            vlan_port_memb_local *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = kLocalParsers[i](&r, &count, d, n);
            std::free(r);
            return st;
        });
        expect_same_at_odd_address(kReply, [&](const uint8_t *d, uint32_t n) {
            vlan_port_memb *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = kParsers[i](&r, &count, d, n);
            const Bytes out = cat({be32(st), be32(count), bytes_of(r, count)});
            std::free(r);
            return out;
        });
        expect_same_at_odd_address(kReply, [&](const uint8_t *d, uint32_t n) {
            vlan_port_memb_local *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = kLocalParsers[i](&r, &count, d, n);
            const Bytes out = cat({be32(st), be32(count), bytes_of(r, count)});
            std::free(r);
            return out;
        });
    }
}

TEST(PerVlanRoundTrip, EveryVlanWithSixteenPorts)
{
    // The request for all 4094 VLANs, then a reply that gives each of them 16
    // ports whose if-indexes have four distinct bytes.
    tp::state().vdc_id = 2;
    std::vector<int32_t> vlans;
    for (int32_t v = 1; v <= 4094; ++v)
        vlans.push_back(v);
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_per_vlan_memb_info_build_mts_local(vlans.data(), 4094, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 4 + 6 * 4094u);
    const Bytes req = take(p, len);
    EXPECT_EQ(Bytes(req.end() - 6, req.end()), (Bytes{0x00, 0x02, 0x00, 0x00, 0x0F, 0xFE}));
    Bytes reply = cat({be32(0), be32(4094)});
    for (uint32_t g = 0; g < 4094; ++g) {
        reply.insert(reply.end(), req.begin() + 4 + 6 * g, req.begin() + 10 + 6 * g);
        push_be32(reply, 16);
        for (uint32_t k = 0; k < 16; ++k)
            push_be32(reply, kIfx + (g << 8) + k);
    }
    vlan_port_memb *r = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_per_vlan_memb_info_parse_reply(&r, &count, reply.data(), static_cast<uint32_t>(reply.size())),
              0u);
    ASSERT_EQ(count, 4094u * 16);
    for (uint32_t g = 0; g < 4094; ++g)
        for (uint32_t k = 0; k < 16; ++k) {
            const vlan_port_memb &m = r[g * 16 + k];
            ASSERT_EQ(m.vdc_vlan.vdc_id, 2);
            ASSERT_EQ(m.vdc_vlan.vlan_id, g + 1);
            ASSERT_EQ(m.if_index, kIfx + (g << 8) + k);
        }
    std::free(r);
    EXPECT_EQ(tp::live_allocs(), 0);
}

// ---- VLAN-range parser --------------------------------------------------------------

// Status 0x41100099, two bytes not read, two ports.
const Bytes kRangeReply = {0x41, 0x10, 0x00, 0x99, 0xAA, 0xBB, 0x00, 0x00, 0x00, 0x02,
                           0x1A, 0x2B, 0x3C, 0x4D, 0x01, 0x02, 0x03, 0x04};

TEST(VlanRangeParse, PortsAndTheStatus)
{
    HeapCopy c(kRangeReply);
    uint32_t *ids = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &count, c.data(), c.size()), 0x41100099u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(ids[0], kIfx);
    EXPECT_EQ(ids[1], 0x01020304u);
    std::free(ids);
}

TEST(VlanRangeParse, NoPortsFourByteEmptyAndTruncatedReplies)
{
    struct Case {
        Bytes reply;
        uint32_t want;
    } cases[] = {{{0x00, 0x00, 0x00, 0x00, 0xAA, 0xBB, 0x00, 0x00, 0x00, 0x00}, 0x41100011u},
                 {{0x41, 0x10, 0x00, 0x55}, 0x41100055u},
                 {{}, 0x41100002u},
                 {{0x00, 0x00, 0x00, 0x00, 0xAA, 0xBB, 0x00, 0x00, 0x00, 0x02, 0x1A, 0x2B, 0x3C, 0x4D},
                  VLAN_MGR_ERR_TRUNCATED},
                 {{0x00, 0x00, 0x00, 0x00, 0xAA, 0xBB, 0xFF, 0xFF, 0xFF, 0xFF, 0x1A, 0x2B, 0x3C, 0x4D},
                  VLAN_MGR_ERR_TRUNCATED}};
    for (const Case &k : cases) {
        HeapCopy c(k.reply);
        uint32_t *ids = reinterpret_cast<uint32_t *>(&ids);
        uint32_t count = 9;
        const Bytes dummy = {0};
        EXPECT_EQ(vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &count, k.reply.empty() ? dummy.data()
                                                                                                 : c.data(),
                                                                  c.size()),
                  k.want);
        EXPECT_EQ(ids, nullptr);
        EXPECT_EQ(count, 0u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(VlanRangeParse, NullCountOrPayloadIsInvalid)
{
    uint32_t *ids = reinterpret_cast<uint32_t *>(&ids);
    uint32_t count = 9;
    EXPECT_EQ(vlan_get_vlan_range_memb_info_parse_reply_local(&ids, nullptr, kRangeReply.data(), 18), 0x41100003u);
    EXPECT_EQ(vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &count, nullptr, 18), 0x41100003u);
    EXPECT_EQ(ids, reinterpret_cast<uint32_t *>(&ids));
    EXPECT_EQ(count, 9u);
}

TEST(VlanRangeParseDeathTest, ArrayPointerIsWrittenWithoutACheck)
{
    uint32_t count = 0;
    EXPECT_DEATH(vlan_get_vlan_range_memb_info_parse_reply_local(nullptr, &count, kRangeReply.data(), 4), "");
}

TEST(VlanRangeParse, AllocationFailureKeepsThePortCount)
{
    HeapCopy c(kRangeReply);
    EXPECT_EQ(sweep_alloc_failures([&] {
                  uint32_t *ids = reinterpret_cast<uint32_t *>(&ids);
                  uint32_t count = 9;
                  const uint32_t st = vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &count, c.data(), c.size());
                  if (st == VLAN_MGR_ERR_NO_MEMORY) {
                      EXPECT_EQ(ids, nullptr);
                      EXPECT_EQ(count, 2u);
                  }
                  std::free(ids);
                  return st;
              }),
              1);
}

TEST(VlanRangeParse, EveryCutFailsCleanlyAndOddAddressesDecodeAlike)
{
    expect_every_cut_fails(kRangeReply, [&](const uint8_t *d, uint32_t n) {
        uint32_t *ids = nullptr;
        uint32_t count = 0;
        const uint32_t st = vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &count, d, n);
        std::free(ids);
        return st;
    });
    expect_same_at_odd_address(kRangeReply, [&](const uint8_t *d, uint32_t n) {
        uint32_t *ids = nullptr;
        uint32_t count = 0;
        const uint32_t st = vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &count, d, n);
        const Bytes out = cat({be32(st), be32(count), bytes_of(ids, count)});
        std::free(ids);
        return out;
    });
}

} // namespace
