// VLAN info and next-VLAN info: the two builders, the reply parser and their
// _local forms.
#include "../common/request_test_util.h"

#include <vlan_mgr/query_req.h>

namespace {

using namespace reqtest;

using Builder = uint32_t (*)(const vdc_vlan_id_t *, void **, uint32_t *);
using LocalBuilder = uint32_t (*)(uint32_t, void **, uint32_t *);

const Builder kBuilders[] = {vlan_get_vlan_info_build_mts, vlan_get_next_vlan_info_build_mts};
const LocalBuilder kLocalBuilders[] = {vlan_get_vlan_info_build_mts_local, vlan_get_next_vlan_info_build_mts_local};

// ---- Builders ---------------------------------------------------------------------

TEST(VlanInfoBuild, VlanHundredInVdcOneGivesSixBytes)
{
    tp::state().vdc_id = 1;
    const vdc_vlan_id_t key{1, 100};
    for (Builder build : kBuilders) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(build(&key, &p, &len), VLAN_MGR_OK);
        ASSERT_EQ(len, 6u);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x01, 0x00, 0x00, 0x00, 0x64}));
    }
    expect_no_report();
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(VlanInfoBuild, BothEndsOfTheRangeAreAccepted)
{
    tp::state().vdc_id = 5;
    const vdc_vlan_id_t first{5, 1}, last{5, 4094};
    for (Builder build : kBuilders) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(build(&first, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x05, 0x00, 0x00, 0x00, 0x01}));
        ASSERT_EQ(build(&last, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x05, 0x00, 0x00, 0x0F, 0xFE}));
    }
}

TEST(VlanInfoBuild, InfoRejectsZeroAnd4095WithoutAReport)
{
    all_channels_on();
    for (uint32_t vlan : {0u, 4095u, 0xFFFFFFFFu}) {
        const vdc_vlan_id_t key{1, vlan};
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(vlan_get_vlan_info_build_mts(&key, &p, &len), 0x41100012u) << vlan;
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
}

TEST(VlanInfoBuild, NextInfoAcceptsZeroToStartTheWalk)
{
    const vdc_vlan_id_t key{1, 0};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_next_vlan_info_build_mts(&key, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 6u);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x01, 0x00, 0x00, 0x00, 0x00}));
    expect_no_report();
}

TEST(VlanInfoBuild, NextInfoReports4095AsAnInvalidVlan)
{
    all_channels_on();
    const vdc_vlan_id_t key{1, 4095};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_next_vlan_info_build_mts(&key, &p, &len), 0x41100012u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_report(102, "vlan_mgr vlan_get_next_vlan_info_build_mts:pid " + pid_text() + ", invalid vlanID 4095\n",
                  " vlan_get_next_vlan_info_build_mts:pid " + pid_text() + ", invalid vlanID 4095\n", "INFO_MSG", 6,
                  true, true);
}

TEST(VlanInfoBuild, NextInfoInvalidVlanAtDefaultLevelsGoesToHistoryOnly)
{
    const vdc_vlan_id_t key{1, 0xFFFFFFFFu};
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_get_next_vlan_info_build_mts(&key, &p, &len), 0x41100012u);
    expect_report(102, "vlan_mgr vlan_get_next_vlan_info_build_mts:pid " + pid_text() + ", invalid vlanID -1\n", "",
                  "INFO_MSG", 6, false, false);
}

TEST(VlanInfoBuild, NullKeyIsInvalidBeforeTheVdcIsFetched)
{
    all_channels_on();
    for (Builder build : kBuilders) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(nullptr, &p, &len), 0x41100003u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
}

TEST(VlanInfoBuild, ForeignVdcIsReportedBeforeTheVlanIdIsLookedAt)
{
    for (Builder build : kBuilders) {
        tp::reset();
        tp::state().vdc_id = 1;
        all_channels_on();
        const vdc_vlan_id_t key{2, 4095}; // out of range for both builders
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(&key, &p, &len), 0x41100013u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
        expect_report(100, "vlan_mgr pid " + pid_text() + ", vdcID 2, local vdcID 1\n",
                      " pid " + pid_text() + ", vdcID 2, local vdcID 1\n", "ERROR_MSG", 3, true, true);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(VlanInfoBuild, ForeignVdcAtDefaultSyslogLevelIsNotSentToSyslog)
{
    tp::state().vdc_id = 4;
    const vdc_vlan_id_t key{3, 10};
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_get_vlan_info_build_mts(&key, &p, &len), 0x41100013u);
    expect_vdc_report("vlan_mgr pid " + pid_text() + ", vdcID 3, local vdcID 4\n", "", false, false);
}

TEST(VlanInfoBuild, LocalFormsUseTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    for (int i = 0; i < 3; ++i)
        for (LocalBuilder build : kLocalBuilders) {
            void *p = nullptr;
            uint32_t len = 0;
            ASSERT_EQ(build(0x0ABC, &p, &len), VLAN_MGR_OK);
            EXPECT_EQ(take(p, len), (Bytes{0x00, 0x03, 0x00, 0x00, 0x0A, 0xBC}));
        }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    expect_no_report();
}

TEST(VlanInfoBuild, LocalFormsKeepTheirBuildersRanges)
{
    all_channels_on();
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_get_vlan_info_build_mts_local(0, &p, &len), 0x41100012u);
    expect_no_report();
    EXPECT_EQ(vlan_get_next_vlan_info_build_mts_local(4095, &p, &len), 0x41100012u);
    EXPECT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    ASSERT_EQ(vlan_get_next_vlan_info_build_mts_local(0, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x01, 0x00, 0x00, 0x00, 0x00}));
}

TEST(VlanInfoBuild, AllocationFailureLeavesNullPayloadAndLengthSix)
{
    const vdc_vlan_id_t key{1, 10};
    for (Builder build : kBuilders) {
        const long allocs = sweep_alloc_failures([&] {
            void *p = &p;
            uint32_t len = 0;
            const uint32_t st = build(&key, &p, &len);
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(p, nullptr);
                EXPECT_EQ(len, 6u);
            } else {
                std::free(p);
            }
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

// ---- Reply ------------------------------------------------------------------------------

const Bytes kName = {'V', 'L', 'A', 'N', '0', '1', '0', '0'};

// Status 0, VDC 2, attribute words 0x01020304 .. 0x06070809 apart, name
// "VLAN0100" padded with NULs to 32 bytes.
const Bytes kReply = cat({{0x00, 0x00, 0x00, 0x00, 0x00, 0x02},
                          {0x01, 0x02, 0x03, 0x04, 0x11, 0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24,
                           0x31, 0x32, 0x33, 0x34, 0x41, 0x42, 0x43, 0x44, 0xF1, 0xF2, 0xF3, 0xF4},
                          kName, zeros(24)});

vlan_info_record filled_record()
{
    vlan_info_record r;
    std::memset(&r, 0xAB, sizeof r);
    return r;
}

vlan_info_record_local filled_local_record()
{
    vlan_info_record_local r;
    std::memset(&r, 0xAB, sizeof r);
    return r;
}

void expect_record_of_kreply(const uint32_t *attr, const char *name)
{
    const uint32_t want[] = {0x01020304, 0x11121314, 0x21222324, 0x31323334, 0x41424344, 0xF1F2F3F4};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(attr[i], want[i]) << i;
    EXPECT_EQ(std::string(name), "VLAN0100");
    for (int i = 8; i < 33; ++i)
        EXPECT_EQ(name[i], '\0') << i;
}

TEST(VlanInfoParse, DecodesVdcAttributesAndName)
{
    ASSERT_EQ(kReply.size(), 62u);
    HeapCopy c(kReply);
    vlan_info_record r = filled_record();
    ASSERT_EQ(vlan_get_vlan_info_parse_reply(&r, c.data(), c.size()), 0u);
    EXPECT_EQ(r.vdc_id, 2);
    uint32_t attr[6];
    std::memcpy(attr, reinterpret_cast<const uint8_t *>(&r) + 2, sizeof attr);
    expect_record_of_kreply(attr, r.name);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(VlanInfoParseLocal, DecodesAttributesAndNameWithoutVdc)
{
    HeapCopy c(kReply);
    vlan_info_record_local r = filled_local_record();
    ASSERT_EQ(vlan_get_vlan_info_parse_reply_local(&r, c.data(), c.size()), 0u);
    uint32_t attr[6];
    std::memcpy(attr, &r, sizeof attr);
    expect_record_of_kreply(attr, r.name);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(VlanInfoParse, NonZeroStatusWithAFullBodyFillsTheRecordAndReturnsIt)
{
    Bytes reply = kReply;
    reply[0] = 0x41;
    reply[1] = 0x10;
    reply[3] = 0x1c;
    HeapCopy c(reply);
    vlan_info_record r = filled_record();
    EXPECT_EQ(vlan_get_vlan_info_parse_reply(&r, c.data(), c.size()), 0x4110001cu);
    EXPECT_EQ(r.vdc_id, 2);
    EXPECT_EQ(std::string(r.name), "VLAN0100");
    vlan_info_record_local l = filled_local_record();
    EXPECT_EQ(vlan_get_vlan_info_parse_reply_local(&l, c.data(), c.size()), 0x4110001cu);
    EXPECT_EQ(std::string(l.name), "VLAN0100");
}

TEST(VlanInfoParse, NameOf32NonNulBytesIsCutAndTerminated)
{
    const Bytes name32 = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'm', 'n', 'o', 'p',
                          'q', 'r', 's', 't', 'u', 'v', 'w', 'x', 'y', 'z', '0', '1', '2', '3', '4', '5'};
    const Bytes reply = cat({Bytes(kReply.begin(), kReply.begin() + 30), name32});
    HeapCopy c(reply);
    vlan_info_record r = filled_record();
    ASSERT_EQ(vlan_get_vlan_info_parse_reply(&r, c.data(), c.size()), 0u);
    EXPECT_EQ(std::string(r.name), "abcdefghijklmnopqrstuvwxyz012345");
    EXPECT_EQ(r.name[32], '\0');
    vlan_info_record_local l = filled_local_record();
    ASSERT_EQ(vlan_get_vlan_info_parse_reply_local(&l, c.data(), c.size()), 0u);
    EXPECT_EQ(std::string(l.name), "abcdefghijklmnopqrstuvwxyz012345");
    EXPECT_EQ(l.name[32], '\0');
}

TEST(VlanInfoParse, BytesAfterTheNamesNulAreNotCopied)
{
    Bytes reply = kReply;
    reply[30 + 10] = 'Z'; // after "VLAN0100" and its NUL
    HeapCopy c(reply);
    vlan_info_record r = filled_record();
    ASSERT_EQ(vlan_get_vlan_info_parse_reply(&r, c.data(), c.size()), 0u);
    for (int i = 8; i < 33; ++i)
        EXPECT_EQ(r.name[i], '\0') << i;
}

TEST(VlanInfoParse, BareStatusIsReturnedAndTheRecordIsUntouched)
{
    const Bytes bare = {0x41, 0x10, 0x00, 0x1c};
    const Bytes zero = {0x00, 0x00, 0x00, 0x00};
    vlan_info_record r = filled_record();
    vlan_info_record_local l = filled_local_record();
    EXPECT_EQ(vlan_get_vlan_info_parse_reply(&r, bare.data(), 4), 0x4110001cu);
    EXPECT_EQ(vlan_get_vlan_info_parse_reply(&r, zero.data(), 4), 0u);
    EXPECT_EQ(vlan_get_vlan_info_parse_reply_local(&l, bare.data(), 4), 0x4110001cu);
    EXPECT_EQ(vlan_get_vlan_info_parse_reply_local(&l, zero.data(), 4), 0u);
    const vlan_info_record r0 = filled_record();
    const vlan_info_record_local l0 = filled_local_record();
    EXPECT_EQ(std::memcmp(&r, &r0, sizeof r), 0);
    EXPECT_EQ(std::memcmp(&l, &l0, sizeof l), 0);
}

TEST(VlanInfoParse, EmptyReplyAndNullPointers)
{
    vlan_info_record r = filled_record();
    vlan_info_record_local l = filled_local_record();
    EXPECT_EQ(vlan_get_vlan_info_parse_reply(&r, kReply.data(), 0), 0x41100002u);
    EXPECT_EQ(vlan_get_vlan_info_parse_reply_local(&l, kReply.data(), 0), 0x41100002u);
    EXPECT_EQ(vlan_get_vlan_info_parse_reply(nullptr, kReply.data(), 62), 0x41100003u);
    EXPECT_EQ(vlan_get_vlan_info_parse_reply(&r, nullptr, 62), 0x41100003u);
    EXPECT_EQ(vlan_get_vlan_info_parse_reply_local(nullptr, kReply.data(), 62), 0x41100003u);
    EXPECT_EQ(vlan_get_vlan_info_parse_reply_local(&l, nullptr, 62), 0x41100003u);
    const vlan_info_record r0 = filled_record();
    const vlan_info_record_local l0 = filled_local_record();
    EXPECT_EQ(std::memcmp(&r, &r0, sizeof r), 0);
    EXPECT_EQ(std::memcmp(&l, &l0, sizeof l), 0);
}

TEST(VlanInfoParse, EveryCutOfAValidReplyFailsCleanlyAndLeavesTheRecord)
{
    expect_every_cut_fails(kReply, [](const uint8_t *p, uint32_t len) {
        vlan_info_record r = filled_record();
        const uint32_t st = vlan_get_vlan_info_parse_reply(&r, p, len);
        const vlan_info_record r0 = filled_record();
        EXPECT_EQ(std::memcmp(&r, &r0, sizeof r), 0) << len;
        return st;
    });
    expect_every_cut_fails(kReply, [](const uint8_t *p, uint32_t len) {
        vlan_info_record_local r = filled_local_record();
        const uint32_t st = vlan_get_vlan_info_parse_reply_local(&r, p, len);
        const vlan_info_record_local r0 = filled_local_record();
        EXPECT_EQ(std::memcmp(&r, &r0, sizeof r), 0) << len;
        return st;
    });
}

TEST(VlanInfoParse, ReplyAtAnOddAddressDecodesTheSame)
{
    expect_same_at_odd_address(kReply, [](const uint8_t *p, uint32_t len) {
        vlan_info_record r = filled_record();
        std::vector<uint32_t> out{vlan_get_vlan_info_parse_reply(&r, p, len), r.vdc_id};
        for (int i = 0; i < 6; ++i) {
            uint32_t a;
            std::memcpy(&a, reinterpret_cast<const uint8_t *>(&r) + 2 + 4 * i, 4);
            out.push_back(a);
        }
        out.insert(out.end(), r.name, r.name + 33);
        return out;
    });
    expect_same_at_odd_address(kReply, [](const uint8_t *p, uint32_t len) {
        vlan_info_record_local r = filled_local_record();
        std::vector<uint32_t> out{vlan_get_vlan_info_parse_reply_local(&r, p, len)};
        const auto *b = reinterpret_cast<const uint8_t *>(&r);
        out.insert(out.end(), b, b + sizeof r);
        return out;
    });
}

// Every VLAN id 0..4094 goes out in a next-info request and comes back in the
// first attribute word of a reply that echoes the request's bytes.
TEST(VlanInfoParse, RoundTripOfEveryVlanIdThroughTheNextInfoRequest)
{
    for (uint32_t vlan = 0; vlan <= 4094; ++vlan) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_get_next_vlan_info_build_mts_local(vlan, &p, &len), VLAN_MGR_OK);
        const Bytes req = take(p, len);
        ASSERT_EQ(req.size(), 6u);
        // The VLAN manager's answer for `vlan`: its VDC back, the id in word 1.
        Bytes reply = cat({zeros(4), Bytes(req.begin(), req.begin() + 2), Bytes(req.begin() + 2, req.end()),
                           zeros(20), kName, zeros(24)});
        HeapCopy c(reply, vlan % 2 == 1);
        vlan_info_record r = filled_record();
        ASSERT_EQ(vlan_get_vlan_info_parse_reply(&r, c.data(), c.size()), 0u);
        EXPECT_EQ(r.vdc_id, 1);
        uint32_t a0;
        std::memcpy(&a0, reinterpret_cast<const uint8_t *>(&r) + 2, 4);
        ASSERT_EQ(a0, vlan);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
