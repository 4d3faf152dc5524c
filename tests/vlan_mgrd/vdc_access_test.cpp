// Who may act for which VDC: the policy file's rules, and the manager as a
// process refusing a request whose VDC its sender may not act for (a second
// user, dropped to uid 65534 in a forked child), and a sender outside the
// run directory's group told "permission denied" with the socket's path.
#include "daemon_fixture.h"

#include <algorithm>

#include <grp.h>
#include <pwd.h>

#include <vlan_mgr/opcodes.h>

#include "frame/local_vdc.h"
#include "vdc_access.h"

namespace vlan_mgrd::daemon_test {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kNobody = 65534;
const Bytes kVdcDenied = {0x41, 0x10, 0x00, 0xCA};

vlan_mgr_host_mts_info_t local_peer(uint32_t uid, uint32_t gid)
{
    vlan_mgr_host_mts_info_t i{};
    i.peer = VLAN_MGR_HOST_MTS_PEER_LOCAL;
    i.peer_uid = uid;
    i.peer_gid = gid;
    i.peer_pid = 1234;
    return i;
}

// ---- The policy --------------------------------------------------------------

TEST(VdcAccessPolicy, VdcAccessRootAndTheManagersUserActForEveryVdcOthersForNone)
{
    VdcAccess a(1000);
    std::string error;
    ASSERT_TRUE(a.parse("", error));
    for (uint16_t vdc : {1, 2, 5, 65535}) {
        EXPECT_TRUE(a.allows(local_peer(0, 0), vdc));
        EXPECT_TRUE(a.allows(local_peer(1000, 1000), vdc));
        EXPECT_FALSE(a.allows(local_peer(1001, 1000), vdc));
    }
    vlan_mgr_host_mts_info_t remote{};
    remote.peer = VLAN_MGR_HOST_MTS_PEER_REMOTE;
    EXPECT_FALSE(a.allows(remote, 1));
    vlan_mgr_host_mts_info_t unknown{};  // no credentials, even with uid 0
    EXPECT_FALSE(a.allows(unknown, 1));
}

TEST(VdcAccessPolicy, VdcAccessLinesGrantTheirVdcsAndAddUp)
{
    VdcAccess a(1000);
    std::string error;
    ASSERT_TRUE(a.parse("# operators\n"
                        "uid 2001 2,4   # two VDCs\n"
                        "uid 2001 5\n"
                        "gid 3000 1-3\n"
                        "\n"
                        "uid 2002 none\n"
                        "remote 3\n",
                        error))
        << error;
    EXPECT_FALSE(a.allows(local_peer(2001, 1), 1));
    EXPECT_TRUE(a.allows(local_peer(2001, 1), 2));
    EXPECT_FALSE(a.allows(local_peer(2001, 1), 3));
    EXPECT_TRUE(a.allows(local_peer(2001, 1), 4));
    EXPECT_TRUE(a.allows(local_peer(2001, 1), 5));
    EXPECT_TRUE(a.allows(local_peer(2002, 3000), 1));   // by its gid
    EXPECT_TRUE(a.allows(local_peer(2002, 3000), 3));
    EXPECT_FALSE(a.allows(local_peer(2002, 3000), 4));
    vlan_mgr_host_mts_info_t remote{};
    remote.peer = VLAN_MGR_HOST_MTS_PEER_REMOTE;
    EXPECT_FALSE(a.allows(remote, 1));
    EXPECT_TRUE(a.allows(remote, 3));
}

TEST(VdcAccessPolicy, VdcAccessNamesAreLookedUpAndGroupMembersByTheGroupDatabase)
{
    // The user "nobody" (65534) and the group "root" (0) exist on every
    // machine this runs on.
    VdcAccess a(1000);
    std::string error;
    ASSERT_TRUE(a.parse("user nobody 2\ngroup root 4\n", error)) << error;
    EXPECT_TRUE(a.allows(local_peer(kNobody, kNobody), 2));
    EXPECT_FALSE(a.allows(local_peer(kNobody, kNobody), 4));
    // A peer whose own gid is the group.
    EXPECT_TRUE(a.allows(local_peer(4242, 0), 4));
}

TEST(VdcAccessPolicy, VdcAccessBadLinesAreRefusedWithTheirLineNumber)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"uid 12 2\nuser\n", "line 2: expected 'user NAME VDCS', 'uid N VDCS', 'group NAME VDCS', 'gid N VDCS' or "
                             "'remote VDCS'"},
        {"uid x 2\n", "line 1: not a uid: 'x'"},
        {"gid -1 2\n", "line 1: not a gid: '-1'"},
        {"uid 5 0\n", "line 1: not a VDC list: '0' (numbers and ranges such as 1,3-5, or all, or none)"},
        {"uid 5 3-2\n", "line 1: not a VDC list: '3-2' (numbers and ranges such as 1,3-5, or all, or none)"},
        {"uid 5 1,\n", "line 1: not a VDC list: '1,' (numbers and ranges such as 1,3-5, or all, or none)"},
        {"uid 5 65536\n", "line 1: not a VDC list: '65536' (numbers and ranges such as 1,3-5, or all, or none)"},
        {"user no_such_user_here 1\n", "line 1: no such user: 'no_such_user_here'"},
        {"group no_such_group_here 1\n", "line 1: no such group: 'no_such_group_here'"},
        {"remote 1 2\n", "line 1: expected 'user NAME VDCS', 'uid N VDCS', 'group NAME VDCS', 'gid N VDCS' or "
                         "'remote VDCS'"},
    };
    for (const auto &[text, want] : cases) {
        VdcAccess a(1000);
        std::string error;
        ASSERT_TRUE(a.parse("uid 7 1\n", error));
        EXPECT_FALSE(a.parse(text, error)) << text;
        EXPECT_EQ(error, want) << text;
        EXPECT_TRUE(a.allows(local_peer(7, 7), 1)) << "unchanged after " << text;
    }
}

TEST(VdcAccessPolicy, VdcAccessLoadMissingFileIsEmptyOnlyWhenAllowed)
{
    VdcAccess a(1000);
    std::string error;
    EXPECT_TRUE(a.load("/nonexistent/vdc_access", true, error));
    EXPECT_FALSE(a.load("/nonexistent/vdc_access", false, error));
    EXPECT_EQ(error, "/nonexistent/vdc_access: No such file or directory");
}

TEST(VdcAccessPolicy, VdcAccessAllGrantsEveryVdcAndOverlongNumbersAreRefused)
{
    VdcAccess a(1000);
    std::string error;
    ASSERT_TRUE(a.parse("uid 2001 all\nremote all\n", error)) << error;
    for (uint16_t vdc : {1, 5, 4096, 65535})
        EXPECT_TRUE(a.allows(local_peer(2001, 1), vdc)) << vdc;
    EXPECT_FALSE(a.allows(local_peer(2002, 1), 1));
    vlan_mgr_host_mts_info_t remote{};
    remote.peer = VLAN_MGR_HOST_MTS_PEER_REMOTE;
    EXPECT_TRUE(a.allows(remote, 65535));
    EXPECT_FALSE(a.parse("uid 12345678901 1\n", error));
    EXPECT_EQ(error, "line 1: not a uid: '12345678901'");
    EXPECT_FALSE(a.parse("uid 5 00000000001\n", error));
    EXPECT_EQ(error, "line 1: not a VDC list: '00000000001' (numbers and ranges such as 1,3-5, or all, or none)");
    EXPECT_TRUE(a.allows(local_peer(2001, 1), 3)) << "unchanged after a refused text";
}

TEST(VdcAccessPolicy, VdcAccessSupplementaryGroupsOfTheSenderCount)
{
    // A user that the group database lists as a member of a group that is
    // not its own primary group.
    std::string member;
    gid_t group_id = 0;
    uid_t uid = 0;
    gid_t primary = 0;
    setgrent();
    for (group *g = getgrent(); g != nullptr && member.empty(); g = getgrent()) {
        for (char **m = g->gr_mem; m != nullptr && *m != nullptr; ++m) {
            const passwd *pw = getpwnam(*m);
            if (pw != nullptr && pw->pw_uid != 0 && pw->pw_gid != g->gr_gid) {
                member = *m;
                group_id = g->gr_gid;
                uid = pw->pw_uid;
                primary = pw->pw_gid;
                break;
            }
        }
    }
    endgrent();
    if (member.empty())
        GTEST_SKIP() << "no user with a supplementary group on this machine";
    VdcAccess a(1000);
    std::string error;
    ASSERT_TRUE(a.parse("gid " + std::to_string(group_id) + " 3\n", error)) << error;
    EXPECT_TRUE(a.allows(local_peer(uid, primary), 3)) << member;
    EXPECT_FALSE(a.allows(local_peer(uid, primary), 2)) << member;
}

TEST(VdcAccessPolicy, VdcAccessGroupLookupsOfManySendersStayCorrect)
{
    // More senders than the group cache keeps: it is emptied and filled
    // again, and every answer stays the same.
    VdcAccess a(1000);
    std::string error;
    ASSERT_TRUE(a.parse("gid 3000 1\n", error)) << error;
    for (int round = 0; round < 2; ++round) {
        for (uint32_t uid = 50000; uid < 50300; ++uid) {
            ASSERT_FALSE(a.allows(local_peer(uid, 4000), 1)) << uid;
            ASSERT_TRUE(a.allows(local_peer(uid, 3000), 1)) << uid;
        }
    }
}

// ---- The manager as a process --------------------------------------------------

// Drops this (child) process to uid and gid 65534 with `groups`.
bool become_nobody(const std::vector<gid_t> &groups)
{
    return setgroups(groups.size(), groups.empty() ? nullptr : groups.data()) == 0 && setgid(kNobody) == 0 &&
           setuid(kNobody) == 0;
}

// A create of one VLAN in `vdc` (payload and header alike): the raw reply,
// or a transport word of 4 bytes 0xFF.. when the exchange failed.
Bytes create_in(uint32_t h, uint16_t vdc, uint32_t vlan)
{
    void *p = nullptr;
    uint32_t len = 0;
    if (vlan_create_build_mts(vdc, 1, &vlan, "", 0, &p, &len) != 0)
        return {0xFF};
    Exchange x = exchange_built(h, VLAN_MGR_OPC_VLAN_CREATE, p, len);
    if (x.rc != 0)
        return {0xFF, 0xFF, 0xFF, 0xFF};
    return x.reply;
}

// The VLANs created in `vdc`, as a sender in that VDC sees them.
std::vector<uint32_t> created(uint32_t h, uint16_t vdc)
{
    void *p = nullptr;
    uint32_t len = 0;
    std::vector<uint32_t> out;
    if (vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len) != 0)
        return {0xFFFFFFFFu};
    Exchange x = exchange_built(h, VLAN_MGR_OPC_ALL_CREATED_VLAN, p, len);
    created_vlan_record *records = nullptr;
    uint32_t count = 0;
    if (x.rc != 0 ||
        vlan_get_all_created_vlan_parse_reply(&records, &count, x.reply.data(), static_cast<uint32_t>(x.reply.size())) != 0)
        return {0xFFFFFFFEu};
    for (uint32_t i = 0; i < count; ++i)
        out.push_back(records[i].vlan_id);
    std::free(records);
    return out;
}

class VdcAccessDaemonTest : public VlanMgrdDaemonTest {
protected:
    void SetUp() override
    {
        VlanMgrdDaemonTest::SetUp();
        // Another user may pass through the test's directory; the run
        // directory inside it is the manager's and its group's.
        ASSERT_EQ(chmod(dir_.c_str(), 0711), 0);
    }
    gid_t run_dir_group() const
    {
        struct stat st {};
        return stat(run_dir_.c_str(), &st) == 0 ? st.st_gid : static_cast<gid_t>(-1);
    }
};

TEST_F(VdcAccessDaemonTest, VlanMgrdSecondUserActsOnlyForTheVdcsThePolicyGivesIt)
{
    const std::string policy = dir_ + "/vdc_access";
    std::ofstream(policy) << "# the second user: VDC 2 only\nuid 65534 2\n";
    ASSERT_GT(start_daemon({"--vdc-access", policy}), 0);
    const gid_t group = run_dir_group();
    ASSERT_NE(group, static_cast<gid_t>(-1));

    // The child: 0 when the create in `vdc_id` got `want` (empty: created).
    auto as_nobody = [group](const char *vdc, uint16_t vdc_id, uint32_t vlan, const Bytes &want) {
        return spawn([=] {
            if (!become_nobody({group}))
                return 20;
            setenv("VLAN_MGR_VDC", vdc, 1);
            vlan_mgr::local_vdc_forget();  // the library asks again, as a new process would
            uint32_t h = 0;
            if (vlan_mgr_host_mts_open(0, &h) != 0)
                return 21;
            const Bytes reply = create_in(h, vdc_id, vlan);
            if (reply == Bytes{0xFF, 0xFF, 0xFF, 0xFF})
                return 22;
            if (!want.empty())
                return reply == want ? 0 : 23;
            uint16_t out_vdc = 0, count = 0;
            uint32_t *ids = nullptr, *statuses = nullptr;
            const uint32_t st = vlan_create_parse_reply(&out_vdc, &count, &ids, &statuses, reply.data(),
                                                        static_cast<uint32_t>(reply.size()));
            const bool ok = st == 0 && out_vdc == vdc_id && count == 1 && ids[0] == vlan && statuses[0] == 0;
            std::free(ids);
            std::free(statuses);
            return ok ? 0 : 24;
        });
    };
    EXPECT_EQ(join(as_nobody("2", 2, 200, {})), 0);
    EXPECT_EQ(join(as_nobody("1", 1, 100, kVdcDenied)), 0);

    // vlanctl run by that user in VDC 1: refused, status 1.
    const std::string out = dir_ + "/vlanctl.out", err = dir_ + "/vlanctl.err";
    const pid_t ctl = fork();
    if (ctl == 0) {
        const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (o < 0 || e < 0 || !become_nobody({group}))
            _exit(126);
        dup2(o, STDOUT_FILENO);
        dup2(e, STDERR_FILENO);
        setenv("VLAN_MGR_VDC", "1", 1);
        execl(VLANCTL_BIN, VLANCTL_BIN, "vlan", "create", "101", static_cast<char *>(nullptr));
        _exit(127);
    }
    EXPECT_EQ(join(ctl), 1);
    EXPECT_EQ(read_file(err), "Error: not authorised for that VDC (0x411000ca)\n");
    EXPECT_EQ(read_file(out), "");
    // What the manager holds: VLAN 200 in VDC 2, no VLAN 100 in VDC 1, as its
    // list of VDC 1 and the BD database of both VDCs tell.
    const std::vector<uint32_t> vdc1 = created(client(), 1);
    EXPECT_EQ(std::count(vdc1.begin(), vdc1.end(), 100u), 0) << ::testing::PrintToString(vdc1);
    EXPECT_EQ(std::count(vdc1.begin(), vdc1.end(), 101u), 0) << ::testing::PrintToString(vdc1);
    const pid_t reader = spawn([] {
        uint16_t bd = 0;
        if (vlan_get_bd(vdc_vlan_id_t{2, 200}, &bd) != 0 || bd == 0)
            return 30;
        if (vlan_get_bd(vdc_vlan_id_t{1, 100}, &bd) == 0)
            return 31;
        vlan_close_bd_sdb(1);
        vlan_close_bd_sdb(2);
        return 0;
    });
    EXPECT_EQ(join(reader), 0);
    EXPECT_EQ(stop_daemon(), 0);
    const std::string log = read_file(log_file());
    EXPECT_NE(log.find("request 0x00005d01 refused: uid 65534 (pid "), std::string::npos) << log;
    EXPECT_NE(log.find(") is not authorised for VDC 1"), std::string::npos) << log;
}

TEST_F(VdcAccessDaemonTest, VlanMgrdSenderOutsideTheGroupGetsPermissionDeniedWithTheSocketPath)
{
    ASSERT_GT(start_daemon(), 0);
    const std::string sap = run_dir_ + "/sap.167";
    // Through the library: the exact word, and the path; nothing was sent.
    const pid_t child = spawn([sap] {
        if (!become_nobody({}))
            return 20;
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            return 21;
        const Bytes reply = create_in(h, 1, 607);
        if (reply != Bytes{0xFF, 0xFF, 0xFF, 0xFF})
            return 22;
        Exchange x = exchange(h, VLAN_MGR_OPC_VLAN_INFO, nullptr, 0);
        if (x.rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_NO_SERVER))
            return 23;
        if (x.rc != static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_ACCESS))
            return 24;
        return sap == vlan_mgr_host_mts_last_error_path() ? 0 : 25;
    });
    EXPECT_EQ(join(child), 0);

    // vlanctl as that user: the exact line and status 3.
    const std::string out = dir_ + "/vlanctl.out", err = dir_ + "/vlanctl.err";
    const pid_t ctl = fork();
    if (ctl == 0) {
        const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (o < 0 || e < 0 || !become_nobody({}))
            _exit(126);
        dup2(o, STDOUT_FILENO);
        dup2(e, STDERR_FILENO);
        execl(VLANCTL_BIN, VLANCTL_BIN, "vlan", "create", "607", static_cast<char *>(nullptr));
        _exit(127);
    }
    EXPECT_EQ(join(ctl), 3);
    EXPECT_EQ(read_file(err), "Error: message transport: permission denied: " + sap + "\n");
    EXPECT_EQ(read_file(out), "");
    const std::vector<uint32_t> vdc1 = created(client(), 1);
    EXPECT_EQ(std::count(vdc1.begin(), vdc1.end(), 607u), 0);
    EXPECT_EQ(stop_daemon(), 0);
}

TEST_F(VdcAccessDaemonTest, VlanMgrdStartEndsWithStatus1WhenTheNamedPolicyCannotBeUsed)
{
    const std::vector<std::string> common = {"--foreground", "--run-dir", run_dir_, "--state", state_,
                                             "--sdb-root", sdb_root_};
    std::string output;
    std::vector<std::string> args = common;
    args.insert(args.end(), {"--vdc-access", dir_ + "/missing"});
    EXPECT_EQ(run_to_end(args, output), 1);
    EXPECT_NE(output.find("vlan_mgrd: cannot use the VDC access policy " + dir_ + "/missing: No such file or directory\n"),
              std::string::npos)
        << output;

    std::ofstream(dir_ + "/bad") << "uid 1001 2\nuid 1002 2-1\n";
    setenv("VLAN_MGR_VDC_ACCESS", (dir_ + "/bad").c_str(), 1);
    EXPECT_EQ(run_to_end(common, output), 1);
    unsetenv("VLAN_MGR_VDC_ACCESS");
    EXPECT_NE(output.find("vlan_mgrd: cannot use the VDC access policy " + dir_ +
                          "/bad line 2: not a VDC list: '2-1' (numbers and ranges such as 1,3-5, or all, or none)\n"),
              std::string::npos)
        << output;
}

} // namespace
} // namespace vlan_mgrd::daemon_test
