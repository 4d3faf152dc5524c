// The host transport's delivery guarantees: a request is never handled after
// its sender gave up (its deadline travels with it), an exchange takes one
// time-out at most, a payload sent with an address record is the transport's,
// and a subscriber learns from the publisher's heartbeat how many
// notifications it lost.
#include "mts_test_util.h"

#include <malloc.h>

namespace {

using namespace mts_test;

constexpr uint32_t kStop = 1; // datagram opcode that ends a test server

using MtsDelivery = MtsTest;

// Sends a request of `opcode` and waits for its reply: the receive's word.
int32_t exchange(uint32_t c, uint32_t sap, uint32_t opcode, uint8_t byte)
{
    mts_addr_t a = request_addr();
    mts_msg_hdl_t sent{}, reply{};
    int32_t rc = mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, sap, opcode, handed(&byte, 1), 1, &sent, nullptr, &a);
    if (rc != 0)
        return rc;
    mts_recv_opts_t o = by_token(mts_rr_token_get(&sent));
    mts_drop(c, &sent);
    rc = mts_recv(c, &reply, &o);
    if (rc == 0)
        mts_drop(c, &reply);
    return rc;
}

// A request that reached the server's socket but waited there past its
// deadline (the server busy elsewhere) is dropped unhandled and counted; the
// server goes on with what comes next.
TEST_F(MtsDelivery, RequestPastItsDeadlineIsDroppedBeforeTheServerSeesIt)
{
    Signal ready, resume;
    pid_t server = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(230, &h) != 0)
            return 10;
        ready.raise();
        for (int n = 0;; ++n) {
            mts_msg_hdl_t m{};
            if (mts_recv(h, &m, nullptr) != 0)
                return 11;
            vlan_mgr_host_mts_info_t info{};
            vlan_mgr_host_mts_msg_info(&m, &info);
            if (info.kind == VLAN_MGR_HOST_MTS_DATAGRAM && info.opcode == kStop) {
                mts_drop(h, &m);
                vlan_mgr_host_mts_stats_t st{};
                if (vlan_mgr_host_mts_stats(h, &st) != 0)
                    return 12;
                return st.requests_expired == 1 ? 0 : 13;
            }
            if (info.opcode == 0x22)
                return 20; // the request its sender gave up on was handed out
            uint8_t ok = 0;
            mts_send(h, 0, 0, 0, &ok, 1, nullptr, &m, nullptr);
            mts_drop(h, &m);
            if (n == 0)
                resume.wait(); // busy: reads nothing until told
        }
    });
    ASSERT_EQ(ready.wait(), 'x');
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    // The first exchange connects; the server then stops reading.
    ASSERT_EQ(exchange(c, 230, 0x21, 1), 0);
    const uint64_t t0 = now_ms();
    EXPECT_EQ(exchange(c, 230, 0x22, 2), 0x40480103);
    const uint64_t took = now_ms() - t0;
    EXPECT_GE(took, 1000u);
    EXPECT_LT(took, 1500u);
    resume.raise();
    ASSERT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 230, kStop, nullptr, 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(join(server), 0);
}

// With the server stopped (SIGSTOP), a request's whole exchange ends within
// one time-out (1000 ms here): the send, the wait for the reply, and the
// close and shutdown of the transport after it, which leave nothing behind
// to deliver.
TEST_F(MtsDelivery, ExchangeWithAStoppedServerEndsWithinOneTimeout)
{
    Signal ready;
    pid_t server = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(231, &h) != 0)
            return 10;
        ready.raise();
        mts_msg_hdl_t m{};
        mts_recv(h, &m, nullptr);
        return 0;
    });
    ASSERT_EQ(ready.wait(), 'x');
    ASSERT_EQ(kill(server, SIGSTOP), 0);
    const uint64_t t0 = now_ms();
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    EXPECT_EQ(exchange(c, 231, 0x23, 3), 0x40480103);
    const uint64_t answered = now_ms() - t0;
    EXPECT_EQ(vlan_mgr_host_mts_close(c), 0);
    vlan_mgr_host_mts_shutdown();
    const uint64_t took = now_ms() - t0;
    EXPECT_GE(answered, 1000u);
    EXPECT_LT(took, 1500u);
    kill(server, SIGKILL);
    kill(server, SIGCONT);
    join(server);
}

// A payload sent with an address record is the transport's: it is freed
// whether the send succeeds or not. 64 sends of 1 MiB to a SAP nobody serves
// leave the heap as it was (each one kept would hold 1 MiB).
TEST_F(MtsDelivery, PayloadSentWithAnAddressRecordIsFreedByTheTransport)
{
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    mts_addr_t a = request_addr();
    constexpr size_t kSize = 1u << 20;
    const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    for (int i = 0; i < 64; ++i) {
        void *p = std::calloc(1, kSize);
        ASSERT_NE(p, nullptr);
        mts_msg_hdl_t sent{};
        ASSERT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 233, 5, p, kSize, &sent, nullptr, &a), 0x40480102);
    }
    const size_t after = mallinfo2().uordblks + mallinfo2().hblkhd;
    EXPECT_LT(after, before + kSize);
}

// The subscriber reads nothing while the publisher sends more than its queue
// holds, and nothing is published after that: the publisher's heartbeat
// tells it, at its next receive, exactly how many it lost (counting only the
// opcodes it subscribes to), and no heartbeat is ever handed out.
TEST_F(MtsDelivery, HeartbeatTellsAStoppedSubscriberHowManyNotificationsItLost)
{
    host_test::ScopedEnv q(vlan_mgr_host::ENV_MTS_NOTIF_QUEUE, "20");
    constexpr uint32_t kOpc = 0x5C1D, kOther = 0x5C22, kTotal = 3000;
    Signal subscribed, storm_over;
    pid_t sub = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            return 10;
        if (vlan_mgr_host_mts_subscribe(h, VLAN_MGR_HOST_MTS_LOCAL_NODE, 232, kOpc) != 0)
            return 11;
        subscribed.raise();
        storm_over.wait(); // reads nothing meanwhile
        // Its transport's own thread keeps reading, so gaps may also show
        // between notifications; every loss is reported with its count, the
        // last one (nothing follows it) by the heartbeat alone.
        uint64_t received = 0, lost = 0;
        for (;;) {
            mts_msg_hdl_t m{};
            const int32_t rc = vlan_mgr_host_mts_recv_timed(h, &m, nullptr, 1500);
            if (rc == 0x40480103)
                break;
            if (rc == 0x40480104) {
                vlan_mgr_host_mts_stats_t st{};
                if (vlan_mgr_host_mts_stats(h, &st) != 0 || st.last_lost == 0)
                    return 12;
                lost += st.last_lost;
                continue;
            }
            if (rc != 0)
                return 13;
            vlan_mgr_host_mts_info_t info{};
            vlan_mgr_host_mts_msg_info(&m, &info);
            mts_drop(h, &m);
            // Heartbeats never come out; numbers match what was counted.
            if (info.kind != VLAN_MGR_HOST_MTS_NOTIFICATION || info.opcode != kOpc ||
                info.seq != received + lost + 1)
                return 14;
            ++received;
        }
        vlan_mgr_host_mts_stats_t st{};
        if (vlan_mgr_host_mts_stats(h, &st) != 0)
            return 15;
        if (lost == 0 || received + lost != kTotal || st.notifications_lost != lost)
            return 16;
        return 0;
    });
    uint32_t pub = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(232, &pub), 0);
    ASSERT_EQ(subscribed.wait(), 'x');
    ASSERT_EQ(vlan_mgr_host_mts_wait_subscribers(pub, kOpc, 1, 5000), 0);
    for (uint32_t i = 0; i < kTotal; ++i) {
        ASSERT_EQ(vlan_mgr_host_mts_notify(pub, kOpc, &i, 4), 0);
        ASSERT_EQ(vlan_mgr_host_mts_notify(pub, kOther, &i, 4), 0);
    }
    storm_over.raise();
    int status = -1;
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(vlan_mgr_host_mts_heartbeat(pub), 0);
        poll(nullptr, 0, 100);
        if (waitpid(sub, &status, WNOHANG) == sub)
            break;
    }
    if (status == -1) {
        kill(sub, SIGKILL);
        waitpid(sub, nullptr, 0);
    }
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// A heartbeat of a handle that serves no SAP, or of no handle, is refused.
TEST_F(MtsDelivery, HeartbeatNeedsAServingHandle)
{
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    EXPECT_EQ(vlan_mgr_host_mts_heartbeat(c), 0x40480001);
    EXPECT_EQ(vlan_mgr_host_mts_heartbeat(0), 0x40480101);
    vlan_mgr_host_mts_stats_t st{};
    EXPECT_EQ(vlan_mgr_host_mts_stats(c, nullptr), 0x40480001);
    ASSERT_EQ(vlan_mgr_host_mts_stats(c, &st), 0);
    EXPECT_EQ(st.requests_expired, 0u);
    EXPECT_EQ(st.notifications_lost, 0u);
    EXPECT_EQ(st.last_lost, 0u);
}

} // namespace
