// vlanctl watch: every kind of notification the manager sends, a count that
// ends part-way through a notification, notifications that do not decode or
// that watch has no words for, and a watch refused its subscription.
#include "vlanctl_test_util.h"

#include <cstring>

#include <grp.h>
#include <sys/stat.h>

#include <vlan_mgr/vlan_mgr.h>
#include <vlan_mgr/opcodes.h>

#include "vlan_mgr_host_mts.h"
#include "watch.h"

namespace {

using vlanctl_test::Result;
using vlanctl_test::VlanctlE2e;

class VlanctlWatch : public VlanctlE2e {
protected:
    // Starts `vlanctl watch <args>` and waits until it says that it watches
    // and its subscriptions have had a moment to reach the manager.
    pid_t start_watch(const std::vector<std::string> &args)
    {
        std::vector<std::string> argv{VLANCTL_BIN, "watch"};
        argv.insert(argv.end(), args.begin(), args.end());
        const pid_t w = vlanctl_test::spawn(argv, dir_ + "/watch.out", dir_ + "/watch.err");
        for (int i = 0; i < 500 && vlanctl_test::read_file(dir_ + "/watch.err").empty(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(vlanctl_test::read_file(dir_ + "/watch.err"), "Watching the VLAN manager's notifications\n");
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return w;
    }
};

TEST_F(VlanctlWatch, WatchPrintsTypeChangesBdRecordsAndDeletes)
{
    start_daemon();
    ok({"vlan", "create", "40-41"});
    const pid_t w = start_watch({"--count", "5"});
    ok({"vlan", "type", "40", "primary"});
    ok({"vlan", "delete", "41"});
    ok({"vlan", "type", "40", "normal"});
    EXPECT_EQ(vlanctl_test::wait_exit(w, 10000), 0);
    EXPECT_EQ(vlanctl_test::read_file(dir_ + "/watch.out"), "type vdc 1 vlan 40 type primary primary 0\n"
                                                           "bd vlan 40 bd 40\n"
                                                           "delete vdc 1 vlan 41 bd 41\n"
                                                           "type vdc 1 vlan 40 type normal primary 0\n"
                                                           "bd vlan 40 bd 40\n");
}

// Three VLANs created at once are one notification of three records: a
// count of two prints two of them and ends.
TEST_F(VlanctlWatch, CountEndsTheWatchPartWayThroughANotification)
{
    start_daemon();
    const pid_t w = start_watch({"--count", "2"});
    ok({"vlan", "create", "50-52"});
    EXPECT_EQ(vlanctl_test::wait_exit(w, 10000), 0);
    EXPECT_EQ(vlanctl_test::read_file(dir_ + "/watch.out"), "create vdc 1 vlan 50 bd 50 name VLAN0050\n"
                                                           "create vdc 1 vlan 51 bd 51 name VLAN0051\n");
}

// A user who may send requests to the manager but may not connect to its
// notification socket: the watch ends at once (exit 3) and names the socket.
TEST_F(VlanctlWatch, WatchRefusedTheNotificationSocketExitsThreeNamingIt)
{
    // uid 65534 may act for VDC 1: its listing is answered.
    std::ofstream(dir_ + "/vdc_access") << "uid 65534 1\n";
    setenv("VLAN_MGR_VDC_ACCESS", (dir_ + "/vdc_access").c_str(), 1);
    start_daemon();
    unsetenv("VLAN_MGR_VDC_ACCESS");
    const std::string pub = run_ + "/pub.167";
    ASSERT_EQ(chmod(run_.c_str(), 0755), 0);
    ASSERT_EQ(chmod(dir_.c_str(), 0755), 0);
    ASSERT_EQ(chmod((run_ + "/sap.167").c_str(), 0666), 0);
    ASSERT_EQ(chmod(pub.c_str(), 0600), 0);
    const std::string out = dir_ + "/hostile.out", err = dir_ + "/hostile.err";
    const pid_t c = fork();
    if (c == 0) {
        const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const gid_t none[1] = {65534};
        if (o < 0 || e < 0 || setgroups(1, none) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
            _exit(126);
        dup2(o, 1);
        dup2(e, 2);
        execl(VLANCTL_BIN, VLANCTL_BIN, "watch", static_cast<char *>(nullptr));
        _exit(127);
    }
    ASSERT_GT(c, 0);
    EXPECT_EQ(vlanctl_test::wait_exit(c, 10000), 3);
    EXPECT_EQ(vlanctl_test::read_file(out), "");
    EXPECT_EQ(vlanctl_test::read_file(err), "Error: VLAN manager not reachable: message transport: permission denied: " + pub + "\n");
}

// Notifications made here, on a SAP of the test's own, received as watch
// receives them.
class DescribeNotification : public VlanctlE2e {
protected:
    void TearDown() override
    {
        vlan_mgr_host_mts_shutdown();
        VlanctlE2e::TearDown();
    }

    // The lines watch prints for a notification of `opcode` with `payload`.
    std::vector<std::string> describe(uint32_t opcode, const std::vector<uint8_t> &payload)
    {
        uint32_t pub = 0, sub = 0;
        EXPECT_EQ(vlan_mgr_host_mts_open(VLAN_MGR_MTS_SAP, &pub), 0);
        EXPECT_EQ(vlan_mgr_host_mts_open(0, &sub), 0);
        EXPECT_EQ(vlan_mgr_host_mts_subscribe(sub, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opcode), 0);
        EXPECT_EQ(vlan_mgr_host_mts_wait_subscribers(pub, opcode, 1, 5000), 0);
        EXPECT_EQ(vlan_mgr_host_mts_notify(pub, opcode, payload.data(), static_cast<uint32_t>(payload.size())), 0);
        mts_msg_hdl_t msg{};
        std::vector<std::string> lines;
        EXPECT_EQ(vlan_mgr_host_mts_recv_timed(sub, &msg, nullptr, 5000), 0);
        if (msg.msg != nullptr) {
            EXPECT_EQ(mts_opc_get(&msg), opcode);
            lines = vlanctl::describe_notification(msg, vlan_mgr_apps::default_iftable());
            mts_drop(sub, &msg);
        }
        vlan_mgr_host_mts_close(sub);
        vlan_mgr_host_mts_close(pub);
        return lines;
    }
};

using Lines = std::vector<std::string>;

TEST_F(DescribeNotification, CreateNotificationCutShortIsOneUndecodableLine)
{
    // A count of 2 and no entries.
    EXPECT_EQ(describe(VLAN_MGR_NOTIF_VLAN_CREATE, {0, 0, 0, 2}),
              Lines{"undecodable notification 0x5c1d: reply truncated (0x411000f0)"});
}

TEST_F(DescribeNotification, DeleteNotificationCutShortIsOneUndecodableLine)
{
    EXPECT_EQ(describe(VLAN_MGR_NOTIF_VLAN_DELETE, {0, 0, 0, 1, 0, 7}),
              Lines{"undecodable notification 0x5c22: reply truncated (0x411000f0)"});
}

TEST_F(DescribeNotification, PortNotificationCutShortIsOneUndecodableLine)
{
    EXPECT_EQ(describe(VLAN_MGR_NOTIF_PORT_MEMB_CHANGE, {0, 0, 0, 1}),
              Lines{"undecodable notification 0x5c24: reply truncated (0x411000f0)"});
}

// A notification the library decodes but watch has no words for: its
// opcode and its number of records.
TEST_F(DescribeNotification, NotificationWithoutWordsGivesItsOpcodeAndRecordCount)
{
    std::vector<uint8_t> one(34, 0); // a count of 1 and one 30-byte element
    one[3] = 1;
    EXPECT_EQ(describe(0x5C29, one), Lines{"notification 0x5c29: 1 records"});
}

// An opcode the library does not decode at all.
TEST_F(DescribeNotification, NotificationOfAnUnknownOpcodeIsUndecodable)
{
    EXPECT_EQ(describe(0x5C02, {0, 0, 0, 0}), Lines{"undecodable notification 0x5c02: invalid argument (0x41100003)"});
}

} // namespace
