// The manager's side of the delivery guarantees, as processes: a request
// that waited past its deadline is dropped unhandled and logged, and neither
// a subscriber that stopped reading nor a client that stopped reading its
// replies holds up the manager's exit.
#include "daemon_fixture.h"

#include <vlan_mgr/opcodes.h>

namespace {

using namespace vlan_mgrd::daemon_test;

using Clock = std::chrono::steady_clock;

long ms_since(Clock::time_point t0)
{
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count());
}

// Creates VLAN `vlan` in VDC 1: the transport's word, or the VLAN's status.
int64_t create_vlan(uint32_t h, uint32_t vlan)
{
    void *p = nullptr;
    uint32_t len = 0;
    if (vlan_create_build_mts(1, 1, &vlan, "", 0, &p, &len) != 0)
        return -1;
    Exchange x = exchange_built(h, VLAN_MGR_OPC_VLAN_CREATE, p, len);
    if (x.rc != 0)
        return x.rc;
    uint16_t vdc = 0, count = 0;
    uint32_t *ids = nullptr, *statuses = nullptr;
    int64_t result = vlan_create_parse_reply(&vdc, &count, &ids, &statuses, x.reply.data(),
                                             static_cast<uint32_t>(x.reply.size()));
    if (result == 0)
        result = count == 1 ? statuses[0] : -2;
    std::free(ids);
    std::free(statuses);
    return result;
}

// The VLANs the manager has created in VDC 1.
std::vector<uint32_t> created(uint32_t h)
{
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    if (vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len) != 0)
        return {};
    Exchange x = exchange_built(h, VLAN_MGR_OPC_ALL_CREATED_VLAN, p, len);
    created_vlan_record *records = nullptr;
    uint32_t count = 0;
    std::vector<uint32_t> ids;
    if (x.rc == 0 && vlan_get_all_created_vlan_parse_reply(&records, &count, x.reply.data(),
                                                           static_cast<uint32_t>(x.reply.size())) == 0)
        for (uint32_t i = 0; i < count; ++i)
            ids.push_back(records[i].vlan_id);
    std::free(records);
    std::sort(ids.begin(), ids.end());
    return ids;
}

// The manager stopped (SIGSTOP) after the client's connection was made: the
// client's create reaches the manager's socket but times out (1000 ms); when
// the manager runs again it drops the request unhandled, says so in its log,
// and the VLAN does not exist.
TEST_F(VlanMgrdDaemonTest, RequestThatWaitedPastItsDeadlineIsDroppedUnhandledAndLogged)
{
    ASSERT_GT(start_daemon(), 0);
    setenv("VLAN_MGR_MTS_TIMEOUT_MS", "1000", 1); // this process's requests only
    ASSERT_EQ(create_vlan(client(), 699), 0);
    ASSERT_EQ(kill(daemon_, SIGSTOP), 0);
    const Clock::time_point t0 = Clock::now();
    EXPECT_EQ(create_vlan(client(), 700), 0x40480103);
    const long took = ms_since(t0);
    EXPECT_GE(took, 1000);
    EXPECT_LT(took, 1500);
    ASSERT_EQ(kill(daemon_, SIGCONT), 0);
    EXPECT_EQ(created(client()), (std::vector<uint32_t>{1, 699}));
    const std::string line = "1 request dropped unhandled: the sender's deadline had passed";
    for (int i = 0; i < 200 && read_file(log_file()).find(line) == std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_NE(read_file(log_file()).find(line), std::string::npos) << read_file(log_file());
    EXPECT_EQ(stop_daemon(), 0);
}

// A subscriber stopped (SIGSTOP) with the manager's notifications queued for
// it: SIGTERM still ends the manager within 2 s (its transport's time-out is
// 5 s here).
TEST_F(VlanMgrdDaemonTest, ManagerExitsPromptlyWhileASubscriberIsStopped)
{
    setenv("VLAN_MGR_MTS_TIMEOUT_MS", "5000", 1);
    setenv("VLAN_MGR_MTS_NOTIF_QUEUE", "20", 1);
    ASSERT_GT(start_daemon(), 0);
    Pipe subscribed;
    const pid_t sub = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0 ||
            vlan_mgr_host_mts_subscribe(h, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, 0x5C1D) != 0)
            return 10;
        // Live once a notification has come: from then on the manager
        // queues every one for this subscriber.
        mts_msg_hdl_t m{};
        if (vlan_mgr_host_mts_recv_timed(h, &m, nullptr, 10000) != 0)
            return 11;
        mts_drop(h, &m);
        subscribed.raise();
        pause();
        return 0;
    });
    uint32_t v = 2;
    char live = 0;
    for (; v < 100 && live == 0; ++v) {
        ASSERT_EQ(create_vlan(client(), v), 0);
        live = subscribed.wait_for(100);
    }
    ASSERT_EQ(live, 'x');
    ASSERT_EQ(kill(sub, SIGSTOP), 0);
    for (; v < 500; ++v)
        ASSERT_EQ(create_vlan(client(), v), 0);
    reopen_client();
    const Clock::time_point t0 = Clock::now();
    EXPECT_EQ(stop_daemon(), 0);
    EXPECT_LT(ms_since(t0), 2000);
    kill(sub, SIGKILL);
    kill(sub, SIGCONT);
    join(sub);
    unsetenv("VLAN_MGR_MTS_NOTIF_QUEUE");
}

// A client that sends requests and then stops (SIGSTOP) without reading the
// replies: the manager neither waits for room for them nor, at SIGTERM, for
// them to leave; it exits within 2 s.
TEST_F(VlanMgrdDaemonTest, ManagerExitsPromptlyWhileAClientStoppedReadingItsReplies)
{
    setenv("VLAN_MGR_MTS_TIMEOUT_MS", "5000", 1);
    ASSERT_GT(start_daemon(), 0);
    std::vector<uint32_t> many;
    for (uint32_t v = 2; v < 1002; ++v)
        many.push_back(v);
    {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_create_build_mts(1, static_cast<uint16_t>(many.size()), many.data(), "", 0, &p, &len), 0u);
        ASSERT_EQ(exchange_built(client(), VLAN_MGR_OPC_VLAN_CREATE, p, len).rc, 0);
    }
    reopen_client();
    Pipe sent;
    const pid_t c = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            return 10;
        const uint16_t vdc = 1;
        // Listings of 1001 VLANs: replies of some 8 KB each, never read.
        for (int i = 0; i < 3000; ++i) {
            void *p = nullptr;
            uint32_t len = 0;
            if (vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len) != 0)
                return 11;
            mts_addr_t addr{};
            addr.word[0] = 1;
            mts_msg_hdl_t m{};
            if (mts_send(h, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, VLAN_MGR_OPC_ALL_CREATED_VLAN, p, len, &m,
                         nullptr, &addr) != 0)
                return 12;
            mts_drop(h, &m);
        }
        sent.raise();
        pause();
        return 0;
    });
    ASSERT_EQ(sent.wait_for(60000), 'x') << join(c, 1000) << " " << read_file(log_file()).substr(0, 3000);
    ASSERT_EQ(kill(c, SIGSTOP), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the manager answers what it has
    const Clock::time_point t0 = Clock::now();
    EXPECT_EQ(stop_daemon(), 0);
    EXPECT_LT(ms_since(t0), 2000);
    kill(c, SIGKILL);
    kill(c, SIGCONT);
    join(c);
}

} // namespace
