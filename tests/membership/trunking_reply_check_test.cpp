// The whole-reply check of the trunking update reply, whose parser takes no
// length: a client hands the parser only a reply that the check passed.
#include <vlan_mgr/internal/reply_checks.h>

#include "memb_test_util.h"

namespace {

using namespace reqtest;

// Status 0, operation 11, VDC 3, VLAN 4094, two pairs.
const Bytes kTwoPairs = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0B, 0x00, 0x03, 0x00, 0x00, 0x0F,
                         0xFE, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x0A, 0x41, 0x10, 0x00, 0x12,
                         0x00, 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x00};

// Status 0, operation 2, VDC 1, VLAN 10, no pairs: the 18 bytes up to the count.
const Bytes kNoPairs = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00,
                        0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00};

uint32_t check(const Bytes &reply, size_t len)
{
    HeapCopy c(reply.data(), len);
    return vlan_mgr::trunking_update_reply_check(c.data(), len);
}

TEST(TrunkingUpdateReplyCheck, WholeRepliesPass)
{
    EXPECT_EQ(check(kTwoPairs, kTwoPairs.size()), 0u);
    EXPECT_EQ(check(kNoPairs, kNoPairs.size()), 0u);
}

TEST(TrunkingUpdateReplyCheck, EmptyReplyIsTheLibrarysWordForNoReply)
{
    EXPECT_EQ(vlan_mgr::trunking_update_reply_check(kTwoPairs.data(), 0), 0x41100002u);
    EXPECT_EQ(vlan_mgr::trunking_update_reply_check(nullptr, 0), 0x41100002u);
}

TEST(TrunkingUpdateReplyCheck, EveryCutOfAWholeReplyIsTruncated)
{
    for (size_t len = 1; len < kTwoPairs.size(); ++len)
        EXPECT_EQ(check(kTwoPairs, len), 0x411000F0u) << "cut at " << len;
    for (size_t len = 1; len < kNoPairs.size(); ++len)
        EXPECT_EQ(check(kNoPairs, len), 0x411000F0u) << "cut at " << len;
}

// A refusal is its status word alone: the parser gives that status without
// reading on, so the check passes it; a cut status word is truncated.
TEST(TrunkingUpdateReplyCheck, BareRefusalPassesAndItsCutsAreTruncated)
{
    const Bytes refusal = {0x41, 0x10, 0x00, 0xCA};
    EXPECT_EQ(check(refusal, 4), 0u);
    for (size_t len = 1; len < 4; ++len)
        EXPECT_EQ(check(refusal, len), 0x411000F0u) << "cut at " << len;
}

TEST(TrunkingUpdateReplyCheck, CountBeyondThePairsCarriedIsTruncated)
{
    Bytes three = kTwoPairs;
    three[17] = 0x03;
    EXPECT_EQ(check(three, three.size()), 0x411000F0u);
    // A count whose size would wrap a 32-bit length.
    const Bytes huge = cat({Bytes(kTwoPairs.begin(), kTwoPairs.begin() + 14), be32(0xFFFFFFFFu),
                            Bytes(kTwoPairs.begin() + 18, kTwoPairs.end())});
    EXPECT_EQ(check(huge, huge.size()), 0x411000F0u);
    Bytes wrap = kTwoPairs;
    wrap[14] = 0x20; // 0x20000002 pairs: 8 * count wraps to 16 in 32 bits
    EXPECT_EQ(check(wrap, wrap.size()), 0x411000F0u);
}

TEST(TrunkingUpdateReplyCheck, BytesAfterTheLastPairAreLeftAlone)
{
    Bytes longer = kTwoPairs;
    longer.push_back(0xEE);
    EXPECT_EQ(check(longer, longer.size()), 0u);
}

TEST(TrunkingUpdateReplyCheck, OddAddressesCheckAlike)
{
    expect_same_at_odd_address(kTwoPairs, [](const uint8_t *d, uint32_t n) {
        Bytes out;
        for (uint32_t len = 0; len <= n; ++len)
            push_be32(out, vlan_mgr::trunking_update_reply_check(d, len));
        return out;
    });
}

} // namespace
