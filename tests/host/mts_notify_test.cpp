// The host transport's notifications between two processes: delivery to
// subscribers, and a storm that a slow subscriber cannot keep up with.
#include "mts_test_util.h"

namespace {

using namespace mts_test;

constexpr uint32_t kOpc = 0x5C1D;

using MtsNotify = MtsTest;

TEST_F(MtsNotify, SubscriberGetsEveryNotificationOfItsOpcodesOnly)
{
    Signal subscribed, done;
    pid_t sub = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            return 10;
        if (vlan_mgr_host_mts_subscribe(h, VLAN_MGR_HOST_MTS_LOCAL_NODE, 220, kOpc) != 0)
            return 11;
        subscribed.raise();
        for (uint32_t i = 1; i <= 3; ++i) {
            mts_msg_hdl_t m{};
            if (mts_recv(h, &m, nullptr) != 0)
                return 12;
            vlan_mgr_host_mts_info_t info{};
            vlan_mgr_host_mts_msg_info(&m, &info);
            if (info.kind != VLAN_MGR_HOST_MTS_NOTIFICATION || info.opcode != kOpc || info.seq != i ||
                info.src_sap != 220 || payload_of(m) != std::vector<uint8_t>{static_cast<uint8_t>(i)})
                return 13;
            mts_drop(h, &m);
        }
        done.raise();
        return 0;
    });
    uint32_t pub = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(220, &pub), 0);
    ASSERT_EQ(subscribed.wait(), 'x');
    ASSERT_EQ(vlan_mgr_host_mts_wait_subscribers(pub, kOpc, 1, 5000), 0);
    for (uint8_t i = 1; i <= 3; ++i) {
        uint8_t other = 0xFF;
        ASSERT_EQ(vlan_mgr_host_mts_notify(pub, kOpc + 1, &other, 1), 0); // not subscribed
        ASSERT_EQ(vlan_mgr_host_mts_notify(pub, kOpc, &i, 1), 0);
    }
    EXPECT_EQ(done.wait(), 'x');
    EXPECT_EQ(join(sub), 0);
}

TEST_F(MtsNotify, WaitingForSubscribersTimesOut)
{
    uint32_t pub = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(221, &pub), 0);
    EXPECT_EQ(vlan_mgr_host_mts_wait_subscribers(pub, kOpc, 1, 50), 0x40480103);
    EXPECT_EQ(vlan_mgr_host_mts_wait_subscribers(pub, kOpc, 0, 50), 0);
    // Nobody listening: the notification is simply not delivered.
    EXPECT_EQ(vlan_mgr_host_mts_notify(pub, kOpc, "x", 1), 0);
}

// The publisher sends a storm while the subscriber reads nothing: every send
// returns at once, the subscriber's queue overflows, and on reading it is
// told once per gap that notifications were lost, then gets the rest in order.
TEST_F(MtsNotify, StormToSlowSubscriberNeverBlocksAndReportsOverrun)
{
    host_test::ScopedEnv q(vlan_mgr_host::ENV_MTS_NOTIF_QUEUE, "100");
    constexpr uint32_t kStorm = 20000;
    constexpr uint32_t kEnd = 0xFFFFFFFF;
    Signal subscribed, storm_over, got_end;
    pid_t sub = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            return 10;
        if (vlan_mgr_host_mts_subscribe(h, VLAN_MGR_HOST_MTS_LOCAL_NODE, 222, kOpc) != 0)
            return 11;
        subscribed.raise();
        storm_over.wait(); // reads nothing during the storm
        uint32_t lost = 0, received = 0, last_seq = 0, last_value = 0;
        for (;;) {
            mts_msg_hdl_t m{};
            const int32_t rc = mts_recv(h, &m, nullptr);
            if (rc == 0x40480104) {
                ++lost;
                continue;
            }
            if (rc != 0 || mts_payload_size(&m) != 4)
                return 12;
            vlan_mgr_host_mts_info_t info{};
            vlan_mgr_host_mts_msg_info(&m, &info);
            uint32_t v;
            std::memcpy(&v, mts_payload_get(&m), 4);
            mts_drop(h, &m);
            if (info.seq <= last_seq)
                return 13; // out of order or duplicated
            if (v == kEnd)
                break;
            if (received > 0 && v <= last_value)
                return 14;
            last_seq = info.seq;
            last_value = v;
            ++received;
        }
        got_end.raise();
        if (lost == 0)
            return 15;
        if (received >= kStorm)
            return 16;
        return 0;
    });
    uint32_t pub = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(222, &pub), 0);
    ASSERT_EQ(subscribed.wait(), 'x');
    ASSERT_EQ(vlan_mgr_host_mts_wait_subscribers(pub, kOpc, 1, 5000), 0);
    const uint64_t t0 = now_ms();
    for (uint32_t i = 0; i < kStorm; ++i)
        ASSERT_EQ(vlan_mgr_host_mts_notify(pub, kOpc, &i, 4), 0);
    const uint64_t took = now_ms() - t0;
    EXPECT_LT(took, 5000u); // the sender never waited for the subscriber
    storm_over.raise();
    // The closing notification may itself find the queue full while the
    // subscriber drains it: send it until the subscriber has it.
    int sends = 0;
    do {
        const uint32_t end = kEnd;
        ASSERT_EQ(vlan_mgr_host_mts_notify(pub, kOpc, &end, 4), 0);
        ++sends;
    } while (!got_end.wait_for(20) && sends < 500);
    EXPECT_LT(sends, 500);
    EXPECT_EQ(join(sub), 0);
}

} // namespace
