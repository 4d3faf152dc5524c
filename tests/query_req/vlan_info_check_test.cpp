// The whole-reply check of the VLAN info reply: a bare status word or the
// whole 62-byte reply; any other length is cut short.
#include <vlan_mgr/internal/reply_checks.h>

#include "../common/request_test_util.h"

namespace {

using namespace reqtest;

// Status 0, VDC 1, attribute words 1..6 (3, 0, 10, 0, 0, 1), name "v10".
const Bytes kInfo = {0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00,
                     0x00, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0x00, 0x00, 0x01, 'v',  '1',  '0',  0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

uint32_t check(const Bytes &reply, size_t len)
{
    HeapCopy c(reply.data(), len);
    return vlan_mgr::vlan_info_reply_check(c.data(), len);
}

TEST(VlanInfoReplyCheck, WholeReplyPasses)
{
    ASSERT_EQ(kInfo.size(), 62u);
    EXPECT_EQ(check(kInfo, 62), 0u);
}

// Every bare status passes, the reply's own words for an unreadable reply
// included: the parser hands them back as the VLAN's status.
TEST(VlanInfoReplyCheck, BareStatusPassesWhateverItSays)
{
    for (const Bytes &bare : {Bytes{0x41, 0x10, 0x00, 0xC3}, Bytes{0x41, 0x10, 0x00, 0x02},
                              Bytes{0x41, 0x10, 0x00, 0xF0}, Bytes{0x00, 0x00, 0x00, 0x00}})
        EXPECT_EQ(check(bare, 4), 0u);
}

TEST(VlanInfoReplyCheck, EmptyReplyIsTruncated)
{
    EXPECT_EQ(vlan_mgr::vlan_info_reply_check(kInfo.data(), 0), 0x411000F0u);
    EXPECT_EQ(vlan_mgr::vlan_info_reply_check(nullptr, 0), 0x411000F0u);
}

TEST(VlanInfoReplyCheck, EveryOtherCutIsTruncated)
{
    for (size_t len = 1; len < kInfo.size(); ++len)
        EXPECT_EQ(check(kInfo, len), len == 4 ? 0u : 0x411000F0u) << "cut at " << len;
}

TEST(VlanInfoReplyCheck, LongerReplyPasses)
{
    Bytes longer = kInfo;
    longer.push_back(0xEE);
    EXPECT_EQ(check(longer, longer.size()), 0u);
}

TEST(VlanInfoReplyCheck, OddAddressesCheckAlike)
{
    expect_same_at_odd_address(kInfo, [](const uint8_t *d, uint32_t n) {
        Bytes out;
        for (uint32_t len = 0; len <= n; ++len)
            push_be32(out, vlan_mgr::vlan_info_reply_check(d, len));
        return out;
    });
}

} // namespace
