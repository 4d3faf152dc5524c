// The manager's message loop in-process on the host transport: opening the
// SAP (twice, busy, in a run directory that cannot be used), messages that
// are not for it, an empty request, a transport that refuses the reply and
// the notifications, a handle that is gone, and a flood of refused requests
// whose log lines are limited.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <time.h>
#include <vector>

#include <grp.h>
#include <pthread.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/frame.h>
#include <vlan_mgr/opcodes.h>

#include "engine.h"
#include "frame/local_vdc.h"
#include "host/host_platform.h"
#include "server.h"
#include "vlan_mgr_host_mts.h"

namespace vlan_mgrd {
namespace {

// The syslog lines of this process, captured while a test runs.
std::mutex g_lines_mutex;
std::vector<std::string> g_lines;

void capture_syslog(int, const char *text)
{
    std::lock_guard<std::mutex> lock(g_lines_mutex);
    g_lines.emplace_back(text);
}

std::vector<std::string> lines_with(const std::string &needle)
{
    std::lock_guard<std::mutex> lock(g_lines_mutex);
    std::vector<std::string> out;
    for (const std::string &l : g_lines)
        if (l.find(needle) != std::string::npos)
            out.push_back(l);
    return out;
}

class ServerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/server_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        ASSERT_EQ(chmod(dir_.c_str(), 0755), 0); // a second user reaches the run directory
        vlan_mgr_host_mts_shutdown();
        setenv("VLAN_MGR_RUN_DIR", (dir_ + "/run").c_str(), 1);
        setenv("VLAN_MGR_SDB_ROOT", (dir_ + "/sdb").c_str(), 1);
        setenv("VLAN_MGR_MTS_TIMEOUT_MS", "2000", 1);
        setenv("VLAN_MGR_VDC", "1", 1);
        vlan_mgr::local_vdc_forget();
        {
            std::lock_guard<std::mutex> lock(g_lines_mutex);
            g_lines.clear();
        }
        old_sender_ = vlan_mgr_host::set_syslog_sender(capture_syslog);
        EngineOptions o;
        o.publish = false;
        engine_ = std::make_unique<Engine>(o);
        std::string error;
        ASSERT_EQ(engine_->start(error), 0u) << error;
    }
    void TearDown() override
    {
        server_.reset();
        vlan_mgr_host_mts_shutdown();
        vlan_mgr_host::set_syslog_sender(old_sender_);
        unsetenv("VLAN_MGR_MTS_TIMEOUT_MS");
        EXPECT_EQ(std::system(("rm -rf " + dir_).c_str()), 0);
    }

    Server &open_server(ServerOptions so = {})
    {
        server_ = std::make_unique<Server>(*engine_, so);
        std::string error;
        EXPECT_EQ(server_->open(error), 0) << error;
        return *server_;
    }

    // Sends a request of `opcode` from `handle` to the manager's SAP; the
    // token of its reply.
    static uint32_t send_request(uint32_t handle, uint32_t opcode, const std::vector<uint8_t> &payload)
    {
        void *copy = std::malloc(payload.empty() ? 1 : payload.size());
        if (!payload.empty())
            std::memcpy(copy, payload.data(), payload.size());
        mts_addr_t addr{};
        addr.word[0] = 1;
        mts_msg_hdl_t sent{};
        EXPECT_EQ(mts_send(handle, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opcode, copy,
                           static_cast<uint32_t>(payload.size()), &sent, nullptr, &addr),
                  0);
        const uint32_t token = mts_rr_token_get(&sent);
        mts_drop(handle, &sent);
        return token;
    }

    static std::vector<uint8_t> receive_reply(uint32_t handle, uint32_t token)
    {
        mts_recv_opts_t opts{};
        opts.word[0] = 1;
        opts.word[3] = token;
        mts_msg_hdl_t reply{};
        std::vector<uint8_t> out;
        if (vlan_mgr_host_mts_recv_timed(handle, &reply, &opts, 2000) != 0)
            return {0xEE};
        const auto *p = static_cast<const uint8_t *>(mts_payload_get(&reply));
        if (p != nullptr)
            out.assign(p, p + mts_payload_size(&reply));
        mts_drop(handle, &reply);
        return out;
    }

    std::string dir_;
    std::unique_ptr<Engine> engine_;
    std::unique_ptr<Server> server_;
    vlan_mgr_host::SyslogSender old_sender_ = nullptr;
};

TEST_F(ServerTest, OpeningTheSapTwiceKeepsTheFirstHandle)
{
    Server &s = open_server();
    const uint32_t h = s.handle();
    std::string error;
    EXPECT_EQ(s.open(error), 0);
    EXPECT_EQ(s.handle(), h);
    EXPECT_EQ(error, "");
}

TEST_F(ServerTest, ASecondServerOfTheSapIsToldThatItIsBusy)
{
    open_server();
    Server second(*engine_, ServerOptions{});
    std::string error;
    EXPECT_EQ(second.open(error), static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_SAP_BUSY));
    EXPECT_EQ(error, "SAP 167 is already served: another VLAN manager runs on this run directory");
}

TEST_F(ServerTest, ARunDirectoryThatCannotBeMadeFailsTheOpenWithTheTransportsWord)
{
    std::ofstream(dir_ + "/file") << "x";
    vlan_mgr_host_mts_shutdown();
    setenv("VLAN_MGR_RUN_DIR", (dir_ + "/file/run").c_str(), 1);
    Server s(*engine_, ServerOptions{});
    std::string error;
    const int32_t rc = s.open(error);
    EXPECT_EQ(rc, static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_IO));
    EXPECT_EQ(error, "cannot open SAP 167: " + std::string(syserr2str(rc)) + " (0x40480109)");
}

TEST_F(ServerTest, ANotificationReceivedByTheManagerIsDroppedUnanswered)
{
    Server &s = open_server();
    uint32_t publisher = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(300, &publisher), 0);
    ASSERT_EQ(vlan_mgr_host_mts_subscribe(s.handle(), VLAN_MGR_HOST_MTS_LOCAL_NODE, 300, 0x7777), 0);
    ASSERT_EQ(vlan_mgr_host_mts_wait_subscribers(publisher, 0x7777, 1, 2000), 0);
    const uint8_t payload[4] = {1, 2, 3, 4};
    ASSERT_EQ(vlan_mgr_host_mts_notify(publisher, 0x7777, payload, 4), 0);
    mts_msg_hdl_t msg{};
    ASSERT_EQ(vlan_mgr_host_mts_recv_timed(s.handle(), &msg, nullptr, 2000), 0);
    s.serve_one(msg);
    EXPECT_EQ(msg.msg, nullptr); // dropped
    EXPECT_EQ(s.stats().requests, 0u);
    EXPECT_EQ(s.stats().datagrams, 0u);
    EXPECT_EQ(s.stats().failures, 0u);
    vlan_mgr_host_mts_close(publisher);
}

TEST_F(ServerTest, ARequestWithoutPayloadIsServed)
{
    Server &s = open_server();
    engine_->manager().autostate_disable = 1;
    uint32_t client = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &client), 0);
    const uint32_t token = send_request(client, MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE, {});
    mts_msg_hdl_t msg{};
    ASSERT_EQ(vlan_mgr_host_mts_recv_timed(s.handle(), &msg, nullptr, 2000), 0);
    EXPECT_EQ(mts_payload_size(&msg), 0u);
    s.serve_one(msg);
    uint8_t word[4];
    const uint32_t one = 1;
    std::memcpy(word, &one, 4); // the setting in host order
    EXPECT_EQ(receive_reply(client, token), std::vector<uint8_t>(word, word + 4));
    EXPECT_EQ(s.stats().requests, 1u);
    vlan_mgr_host_mts_close(client);
}

TEST_F(ServerTest, AChangeServedOnAClosedHandleCountsTheNotificationAndTheReplyAsFailures)
{
    Server &s = open_server();
    uint32_t client = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &client), 0);
    void *p = nullptr;
    uint32_t len = 0;
    uint32_t vlan = 10;
    ASSERT_EQ(vlan_create_build_mts(1, 1, &vlan, "", 0, &p, &len), 0u);
    const std::vector<uint8_t> payload(static_cast<uint8_t *>(p), static_cast<uint8_t *>(p) + len);
    std::free(p);
    send_request(client, VLAN_MGR_OPC_VLAN_CREATE, payload);
    mts_msg_hdl_t msg{};
    ASSERT_EQ(vlan_mgr_host_mts_recv_timed(s.handle(), &msg, nullptr, 2000), 0);
    s.close();  // the message stays valid; the handle is gone
    s.serve_one(msg);
    EXPECT_EQ(msg.msg, nullptr);
    // The change is made; its notification and its reply are not sent.
    EXPECT_TRUE(engine_->manager().vdc(1).vlans[10].created);
    EXPECT_EQ(s.stats().requests, 1u);
    EXPECT_EQ(s.stats().notifications, 0u);
    EXPECT_EQ(s.stats().failures, 2u);
    vlan_mgr_host_mts_close(client);
}

TEST_F(ServerTest, TheLoopEndsWithTheReceiveErrorWhenItsHandleIsGone)
{
    Server &s = open_server();
    s.close();
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGUSR2);
    std::string error;
    const int32_t rc = s.run(stop, error);
    EXPECT_EQ(rc, static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_BAD_HANDLE));
    EXPECT_EQ(error, "receive failed: " + std::string(syserr2str(rc)) + " (0x40480101)");
}

TEST_F(ServerTest, TheLoopGoesOnAfterALossOfNotificationsUntilTheStopSignal)
{
    // The manager's handle subscribes to another publisher and reads
    // nothing while that one sends more than its queue holds: its loop's
    // receive is told of the loss, and the loop serves on until it is
    // stopped.
    setenv("VLAN_MGR_MTS_NOTIF_QUEUE", "20", 1);
    Server &s = open_server();
    uint32_t publisher = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(300, &publisher), 0);
    ASSERT_EQ(vlan_mgr_host_mts_subscribe(s.handle(), VLAN_MGR_HOST_MTS_LOCAL_NODE, 300, 0x7777), 0);
    unsetenv("VLAN_MGR_MTS_NOTIF_QUEUE");
    ASSERT_EQ(vlan_mgr_host_mts_wait_subscribers(publisher, 0x7777, 1, 2000), 0);
    // More than the queues and the socket buffers between them hold.
    const std::vector<uint8_t> big(4096, 0x5A);
    for (uint32_t i = 0; i < 2000; ++i)
        ASSERT_EQ(vlan_mgr_host_mts_notify(publisher, 0x7777, big.data(), static_cast<uint32_t>(big.size())), 0);
    ASSERT_EQ(vlan_mgr_host_mts_heartbeat(publisher), 0);
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGUSR2);
    sigset_t old;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &stop, &old), 0);
    const pthread_t loop = pthread_self();
    // The publisher's heartbeats tell the loop of the gap once it has read
    // what was queued; the stop comes once the loss is counted (or after
    // 5 s at most).
    const uint32_t handle = s.handle();
    std::thread stopper([loop, publisher, handle] {
        for (int i = 0; i < 250; ++i) {
            vlan_mgr_host_mts_stats_t st{};
            if (vlan_mgr_host_mts_stats(handle, &st) == 0 && st.notifications_lost > 0)
                break;
            vlan_mgr_host_mts_heartbeat(publisher);
            usleep(20 * 1000);
        }
        pthread_kill(loop, SIGUSR2);
    });
    std::string error;
    const int32_t rc = s.run(stop, error);
    stopper.join();
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    EXPECT_EQ(rc, 0) << error;
    EXPECT_EQ(error, "");
    vlan_mgr_host_mts_stats_t st{};
    ASSERT_EQ(vlan_mgr_host_mts_stats(handle, &st), 0);
    EXPECT_GT(st.notifications_lost, 0u);
    EXPECT_LT(st.notifications_lost, 2000u);
    // Notifications are not the manager's to answer.
    EXPECT_EQ(s.stats().requests, 0u);
    EXPECT_EQ(s.stats().datagrams, 0u);
    vlan_mgr_host_mts_close(publisher);
}

TEST_F(ServerTest, RefusalsAreLoggedAtMostTenASecondAndTheNextLineCountsTheRest)
{
    constexpr int kFlood = 25;
    // A second user, in the run directory's group but allowed no VDC, sends
    // one-way messages once the server is open; the last one after the
    // parent says so. It is forked before this process starts the transport,
    // so that no lock of the transport's threads is inherited held.
    int start[2], go[2];
    ASSERT_EQ(pipe(start), 0);
    ASSERT_EQ(pipe(go), 0);
    const std::string run = dir_ + "/run";
    const pid_t child = fork();
    if (child == 0) {
        close(go[1]);
        close(start[1]);
        char started = 0;
        struct stat st {};
        if (read(start[0], &started, 1) != 1 || stat(run.c_str(), &st) != 0)
            _exit(19);
        const gid_t groups[1] = {st.st_gid};
        if (setgroups(1, groups) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
            _exit(20);
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            _exit(21);
        const uint8_t payload[4] = {0, 0, 0, 0};
        auto send_one = [&] {
            return mts_send(h, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE,
                            const_cast<uint8_t *>(payload), 4, nullptr, nullptr, nullptr) == 0;
        };
        for (int i = 0; i < kFlood; ++i)
            if (!send_one())
                _exit(22);
        char c = 0;
        if (read(go[0], &c, 1) != 1 || !send_one())
            _exit(23);
        vlan_mgr_host_mts_shutdown();
        _exit(0);
    }
    close(go[0]);
    close(start[0]);
    Server &s = open_server();
    ASSERT_EQ(write(start[1], "s", 1), 1);
    close(start[1]);
    for (int i = 0; i < kFlood; ++i) {
        mts_msg_hdl_t msg{};
        ASSERT_EQ(vlan_mgr_host_mts_recv_timed(s.handle(), &msg, nullptr, 2000), 0) << i;
        s.serve_one(msg);
    }
    // Into the next second of the monotonic clock, then the last one.
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const time_t second = now.tv_sec;
    while (now.tv_sec == second) {
        usleep(20 * 1000);
        clock_gettime(CLOCK_MONOTONIC, &now);
    }
    ASSERT_EQ(write(go[1], "x", 1), 1);
    close(go[1]);
    mts_msg_hdl_t msg{};
    ASSERT_EQ(vlan_mgr_host_mts_recv_timed(s.handle(), &msg, nullptr, 2000), 0);
    s.serve_one(msg);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);

    EXPECT_EQ(s.stats().vdc_denied, static_cast<uint64_t>(kFlood + 1));
    EXPECT_EQ(s.stats().datagrams, 0u);
    const std::string head = "<<%VLAN_MGR-4-WARN_MSG>> request 0x00005c53 refused: uid 65534 (pid " + std::to_string(child) +
                             ") is not authorised for VDC 1";
    const std::vector<std::string> lines = lines_with(" refused: ");
    ASSERT_GE(lines.size(), 2u);
    ASSERT_LE(lines.size(), 21u); // 25 within at most two seconds, then one
    EXPECT_EQ(lines[0], head);
    // Every refusal is either a line or counted in a later one.
    uint64_t counted = 0;
    for (const std::string &l : lines) {
        ASSERT_EQ(l.rfind(head, 0), 0u) << l;
        const std::string rest = l.substr(head.size());
        if (rest.empty())
            continue;
        unsigned long n = 0;
        char tail[64] = {};
        ASSERT_EQ(std::sscanf(rest.c_str(), " (%lu more refused, not logge%63[^\n]", &n, tail), 2) << l;
        EXPECT_EQ(std::string(tail), "d)") << l;
        counted += n;
    }
    EXPECT_GE(counted, 3u);
    EXPECT_EQ(lines.size() + counted, static_cast<uint64_t>(kFlood + 1));
}

} // namespace
} // namespace vlan_mgrd
