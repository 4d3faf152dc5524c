// Edges of the manager's encoders that the round trips do not reach: inputs
// outside what the manager's state holds.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <vlan_mgr/server/config.h>
#include <vlan_mgr/server/membership.h>

namespace {

namespace server = vlan_mgr::server;

// A result of a VLAN id beyond the bitmap keeps its status entry but sets
// no bit: the reply is the one in which that result names VLAN 5 again.
TEST(ServerEdgeCases, CreateReplyLeavesAVlanBeyondTheBitmapOutOfTheBitmap)
{
    const std::vector<server::VlanStatus> beyond{{5, 0}, {5000, 7}};
    const std::vector<server::VlanStatus> again{{5, 0}, {5, 7}};
    EXPECT_EQ(server::encode_create_reply(1, beyond), server::encode_create_reply(1, again));
    EXPECT_EQ(server::encode_create_update_reply(beyond), server::encode_create_update_reply(again));
}

// A reply kind outside the five has no size.
TEST(ServerEdgeCases, PortReplySizeOfAnUnknownKindIsUnknown)
{
    EXPECT_EQ(server::port_reply_size(static_cast<server::PortReply>(99), 1), UINT64_MAX);
}

} // namespace
