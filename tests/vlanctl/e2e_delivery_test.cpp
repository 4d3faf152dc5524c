// vlanctl's truthful outcomes against a manager that stops answering or a
// watch that stops reading: a request that timed out is never applied later
// and says so (exit 4), the time-out is the one asked for, and a watch learns
// within about a second how many notifications it lost.
#include "vlanctl_test_util.h"

#include <cstring>

#include <vlan_mgr/vlan_mgr.h>

#include "vlan_mgr_host_mts.h"

namespace {

using vlanctl_test::Result;
using vlanctl_test::VlanctlE2e;

using Clock = std::chrono::steady_clock;

long ms_between(Clock::time_point a, Clock::time_point b)
{
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(b - a).count());
}

size_t count_lines(const std::string &text, const std::string &prefix)
{
    size_t n = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        if (text.compare(at, prefix.size(), prefix) == 0)
            ++n;
        if (end == std::string::npos)
            break;
        at = end + 1;
    }
    return n;
}

class VlanctlDelivery : public VlanctlE2e {
protected:
    void SetUp() override
    {
        VlanctlE2e::SetUp();
        start_daemon();
    }
    void TearDown() override
    {
        if (daemon_ > 0)
            kill(daemon_, SIGCONT);
        VlanctlE2e::TearDown();
    }
};

// The manager stopped (SIGSTOP): `vlan create 607` with a 1000 ms time-out
// gives up after one time-out with exit 4 and says that the change may or
// may not have been applied. The manager resumes 1300 ms after the client
// started, when the client has given up: VLAN 607 is never created.
TEST_F(VlanctlDelivery, CreateThatTimedOutExitsFourAndIsNeverAppliedLater)
{
    ASSERT_EQ(kill(daemon_, SIGSTOP), 0);
    const std::string out = dir_ + "/ctl.out", err = dir_ + "/ctl.err";
    const Clock::time_point t0 = Clock::now();
    const pid_t c = vlanctl_test::spawn({VLANCTL_BIN, "--timeout", "1000", "vlan", "create", "607"}, out, err);
    int status = 0;
    long took = -1;
    bool resumed = false;
    for (;;) {
        if (!resumed && ms_between(t0, Clock::now()) >= 1300) {
            kill(daemon_, SIGCONT);
            resumed = true;
        }
        const pid_t r = waitpid(c, &status, WNOHANG);
        if (r == c) {
            took = ms_between(t0, Clock::now());
            break;
        }
        ASSERT_EQ(r, 0);
        ASSERT_LT(ms_between(t0, Clock::now()), 20000);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (!resumed)
        std::this_thread::sleep_for(std::chrono::milliseconds(1300 - ms_between(t0, Clock::now())));
    kill(daemon_, SIGCONT);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 4);
    EXPECT_EQ(vlanctl_test::read_file(out), "");
    EXPECT_EQ(vlanctl_test::read_file(err), "Error: no answer; the change may or may not have been applied\n");
    EXPECT_GE(took, 1000);
    EXPECT_LT(took, 1500);
    // The manager, running again, has nothing of it to apply.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const Result r = ctl({"show", "vlan", "id", "607"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: VLAN does not exist (0x411000c3)\n  VLAN 607: VLAN does not exist (0x411000c3)\n");
    EXPECT_EQ(ctl({"show", "vlan", "brief"}).out.find("607"), std::string::npos);
}

// Nothing was sent: a manager that is not there is exit 3, at once.
TEST_F(VlanctlDelivery, ManagerThatIsNotThereIsExitThreeNotFour)
{
    stop_daemon();
    const Clock::time_point t0 = Clock::now();
    const Result r = ctl({"--timeout", "1000", "vlan", "create", "607"});
    EXPECT_EQ(r.status, 3);
    EXPECT_EQ(r.err, "Error: VLAN manager not reachable: message transport: nobody serves the destination SAP\n");
    EXPECT_LT(ms_between(t0, Clock::now()), 1000);
}

// The usage text names every exit status, 4 included.
TEST_F(VlanctlDelivery, UsageTextListsTheExitStatuses)
{
    const Result r = ctl({"--help"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("Exit status: 0 success, 1 refused by the manager, 2 usage error, 3 the manager cannot be "
                         "reached (nothing was sent), 4 no answer within the time-out (the change may or may not "
                         "have been applied).\n"),
              std::string::npos)
        << r.out;
}

// One request-reply exchange with the manager from this process.
int32_t create_one(uint32_t handle, uint32_t vlan)
{
    void *payload = nullptr;
    uint32_t len = 0;
    if (vlan_create_build_mts(1, 1, &vlan, "", 0, &payload, &len) != 0)
        return -1;
    mts_addr_t addr{};
    addr.word[0] = 1;
    mts_msg_hdl_t sent{}, reply{};
    // The payload goes to the transport with the address record.
    int32_t rc = mts_send(handle, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, VLAN_MGR_OPC_VLAN_CREATE, payload, len,
                          &sent, nullptr, &addr);
    if (rc != 0)
        return rc;
    mts_recv_opts_t opts{};
    opts.word[0] = 1;
    opts.word[3] = mts_rr_token_get(&sent);
    mts_drop(handle, &sent);
    rc = mts_recv(handle, &reply, &opts);
    if (rc == 0)
        mts_drop(handle, &reply);
    return rc;
}

// A watch stopped (SIGSTOP) while 1000 VLANs are created one by one, far
// more than its queue of 20 holds, then resumed with nothing more changing:
// it prints what it had and, within two seconds, exactly one line on stderr
// with the number it lost, and the two add up to the 1000 creations.
TEST_F(VlanctlDelivery, StoppedWatchReportsHowManyNotificationsItLost)
{
    stop_daemon();
    setenv("VLAN_MGR_MTS_NOTIF_QUEUE", "20", 1);
    start_daemon();
    const std::string out = dir_ + "/watch.out", err = dir_ + "/watch.err";
    const pid_t w = vlanctl_test::spawn({VLANCTL_BIN, "watch"}, out, err);
    for (int i = 0; i < 500 && vlanctl_test::read_file(err).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(vlanctl_test::read_file(err), "Watching the VLAN manager's notifications\n");
    // The subscription is live once a change shows.
    uint32_t h = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &h), 0);
    ASSERT_EQ(create_one(h, 2), 0);
    for (int i = 0; i < 500 && vlanctl_test::read_file(out).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(vlanctl_test::read_file(out), "create vdc 1 vlan 2 bd 2 name VLAN0002\n");

    ASSERT_EQ(kill(w, SIGSTOP), 0);
    constexpr size_t kChanges = 3000; // far more than the queues and the socket buffers hold
    for (uint32_t v = 3; v < 3 + kChanges; ++v)
        ASSERT_EQ(create_one(h, v), 0) << v;
    vlan_mgr_host_mts_close(h);
    vlan_mgr_host_mts_shutdown();
    const Clock::time_point resumed = Clock::now();
    ASSERT_EQ(kill(w, SIGCONT), 0);
    const std::string prefix = "Watching the VLAN manager's notifications\nvlanctl: lost ";
    std::string e;
    long reported = -1;
    while (ms_between(resumed, Clock::now()) < 2500) {
        e = vlanctl_test::read_file(err);
        if (e.size() > prefix.size() && e.back() == '\n') {
            reported = ms_between(resumed, Clock::now());
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_GE(reported, 0) << "no loss reported within 2500 ms";
    // A second report would be a wrong count: give it the time to show.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    kill(w, SIGTERM);
    EXPECT_EQ(vlanctl_test::wait_exit(w, 5000), 0);
    e = vlanctl_test::read_file(err);
    const size_t printed = count_lines(vlanctl_test::read_file(out), "create vdc 1 vlan ") - 1;
    ASSERT_LT(printed, kChanges);
    const size_t lost = kChanges - printed;
    EXPECT_EQ(e, "Watching the VLAN manager's notifications\nvlanctl: lost " + std::to_string(lost) +
                     " notifications; re-read the state with 'vlanctl show vlan'\n");
    unsetenv("VLAN_MGR_MTS_NOTIF_QUEUE");
}

} // namespace
