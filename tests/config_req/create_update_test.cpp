// The create/update request record: allocation, default init and count.
#include "../common/request_test_util.h"

#include <vlan_mgr/config_req.h>

namespace {

using namespace reqtest;

TEST(CreateUpdateReq, ZeroEntriesAllocateTwoBytesHoldingCountZero)
{
    vlan_mgr_create_update_req_t *msg = nullptr;
    tp::fail_alloc_at(0);
    ASSERT_EQ(vlan_mgr_init_create_update_req_msg(&msg, 0), 0);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(Bytes(reinterpret_cast<uint8_t *>(msg), reinterpret_cast<uint8_t *>(msg) + 2), (Bytes{0x00, 0x00}));
    EXPECT_EQ(vlan_mgr_create_update_msg_get_sz(msg), 0u);
    EXPECT_EQ(tp::live_allocs(), 1);
    std::free(msg);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(CreateUpdateReq, EntriesAreAllocatedZeroFilled)
{
    vlan_mgr_create_update_req_t *msg = nullptr;
    ASSERT_EQ(vlan_mgr_init_create_update_req_msg(&msg, 3), 0);
    // 48 * 3 + 2 bytes, every one of them zero; ASan checks the size.
    const auto *b = reinterpret_cast<const uint8_t *>(msg);
    EXPECT_EQ(Bytes(b, b + 146), zeros(146));
    std::free(msg);
}

TEST(CreateUpdateReq, AllocationFailureReturnsOneAndNull)
{
    vlan_mgr_create_update_req_t *msg = reinterpret_cast<vlan_mgr_create_update_req_t *>(&msg);
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_mgr_init_create_update_req_msg(&msg, 2), 1);
    EXPECT_EQ(msg, nullptr);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(CreateUpdateReq, EveryAllocationFailureReturnsOne)
{
    const long allocs = sweep_alloc_failures(
        [] {
            vlan_mgr_create_update_req_t *msg = nullptr;
            const int32_t st = vlan_mgr_init_create_update_req_msg(&msg, 5);
            std::free(msg);
            return static_cast<uint32_t>(st);
        },
        1);
    EXPECT_EQ(allocs, 1);
}

TEST(CreateUpdateReq, EntryCountWhoseSizeWrapsIsAnAllocationFailure)
{
    if (sizeof(size_t) > 4)
        GTEST_SKIP() << "48n + 2 wraps only with a 32-bit size";
    vlan_mgr_create_update_req_t *msg = nullptr;
    EXPECT_EQ(vlan_mgr_init_create_update_req_msg(&msg, 0xFFFFFFFFu), 1);
    EXPECT_EQ(msg, nullptr);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(CreateUpdateReq, DefaultInitSetsTheCountToZero)
{
    uint8_t buf[3] = {0x12, 0x34, 0x56};
    EXPECT_EQ(vlan_mgr_create_update_req_default_init(buf + 1), 0); // odd address
    EXPECT_EQ(buf[0], 0x12);
    EXPECT_EQ(buf[1], 0x00);
    EXPECT_EQ(buf[2], 0x00);
    EXPECT_EQ(vlan_mgr_create_update_msg_get_sz(buf + 1), 0u);
}

TEST(CreateUpdateReq, GetSizeReturnsTheLeadingCount)
{
    vlan_mgr_create_update_req_t *msg = nullptr;
    ASSERT_EQ(vlan_mgr_init_create_update_req_msg(&msg, 2), 0);
    msg->count = 2;
    EXPECT_EQ(vlan_mgr_create_update_msg_get_sz(msg), 2u);
    msg->count = 0xFFFF;
    EXPECT_EQ(vlan_mgr_create_update_msg_get_sz(msg), 0xFFFFu);
    EXPECT_EQ(vlan_mgr_create_update_req_default_init(msg), 0);
    EXPECT_EQ(vlan_mgr_create_update_msg_get_sz(msg), 0u);
    std::free(msg);
}

} // namespace
