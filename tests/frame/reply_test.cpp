#include <gtest/gtest.h>

#include "frame/reply.h"

namespace {

TEST(CommonReply, FourByteReplyIsItsBigEndianStatus)
{
    const uint8_t status[4] = {0x41, 0x10, 0x00, 0x11};
    EXPECT_EQ(vlan_mgr::common_reply_status(status, 4), std::optional<uint32_t>(0x41100011u));
}

TEST(CommonReply, FourZeroBytesReturnZero)
{
    const uint8_t status[4] = {0, 0, 0, 0};
    EXPECT_EQ(vlan_mgr::common_reply_status(status, 4), std::optional<uint32_t>(0u));
}

TEST(CommonReply, FourByteStatusAtOddAddress)
{
    alignas(4) uint8_t buf[5] = {0xEE, 0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(vlan_mgr::common_reply_status(buf + 1, 4), std::optional<uint32_t>(0x12345678u));
}

TEST(CommonReply, EmptyReplyIsNoMemory)
{
    const uint8_t b[1] = {0};
    EXPECT_EQ(vlan_mgr::common_reply_status(b, 0), std::optional<uint32_t>(VLAN_MGR_ERR_NO_MEMORY));
}

TEST(CommonReply, MissingPayloadIsNoMemory)
{
    EXPECT_EQ(vlan_mgr::common_reply_status(nullptr, 4), std::optional<uint32_t>(VLAN_MGR_ERR_NO_MEMORY));
}

TEST(CommonReply, OtherLengthsAreDecodedByTheParser)
{
    const uint8_t b[16] = {};
    EXPECT_FALSE(vlan_mgr::common_reply_status(b, 3).has_value());
    EXPECT_FALSE(vlan_mgr::common_reply_status(b, 5).has_value());
    EXPECT_FALSE(vlan_mgr::common_reply_status(b, 16).has_value());
}

} // namespace
