// vlan_mgrd's files as a process sees them: the run directory, the state
// directory and the files in them belong to the manager's user and the trust
// group with exact modes whatever the umask; directories that it cannot make
// its own refuse the start; the state file is owned by one manager at a time.
#include "daemon_fixture.h"

#include <grp.h>
#include <sys/file.h>

#include <vlan_mgr/opcodes.h>

namespace vlan_mgrd::daemon_test {
namespace {

const std::vector<uint8_t> kUnknownRequest = {0x41, 0x10, 0x00, 0xC1};

// The group the daemon is told to use as its trust group: one that exists
// and is not the test's own, so that a file left with the creator's group
// shows.
constexpr const char *kTrustGroup = "nogroup";

gid_t group_id(const char *name)
{
    const group *g = getgrnam(name);
    return g != nullptr ? g->gr_gid : static_cast<gid_t>(-1);
}

struct FileInfo {
    bool found = false;
    bool link = false;
    mode_t mode = 0;  // permission and set-id bits
    uid_t uid = 0;
    gid_t gid = 0;
};

FileInfo info(const std::string &path)
{
    FileInfo fi;
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0)
        return fi;
    fi.found = true;
    fi.link = S_ISLNK(st.st_mode);
    fi.mode = st.st_mode & 07777;
    fi.uid = st.st_uid;
    fi.gid = st.st_gid;
    return fi;
}

// Creates VLAN `id` in VDC 1: the per-VLAN status, or the failing word.
uint32_t create_vlan(uint32_t h, uint32_t id)
{
    void *p = nullptr;
    uint32_t len = 0;
    uint32_t rc = vlan_create_build_mts(1, 1, &id, "", 0, &p, &len);
    if (rc != 0)
        return rc;
    Exchange x = exchange_built(h, VLAN_MGR_OPC_VLAN_CREATE, p, len);
    if (x.rc != 0)
        return static_cast<uint32_t>(x.rc);
    uint16_t vdc = 0, count = 0;
    uint32_t *ids = nullptr, *statuses = nullptr;
    rc = vlan_create_parse_reply(&vdc, &count, &ids, &statuses, x.reply.data(), static_cast<uint32_t>(x.reply.size()));
    if (rc == 0)
        rc = count == 1 ? statuses[0] : 0xBADu;
    std::free(ids);
    std::free(statuses);
    return rc;
}

class VlanMgrdFilesTest : public VlanMgrdDaemonTest {
protected:
    void SetUp() override
    {
        VlanMgrdDaemonTest::SetUp();
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root: files are given to another group and user";
    }

    // Starts vlan_mgrd in the foreground with `args` after the run
    // directory's, under `mask` and with `env` added, and waits for its pid
    // file in `run_dir`. Its pid, or -1.
    pid_t start_with(const std::string &run_dir, const std::vector<std::string> &args, mode_t mask,
                     const std::vector<std::pair<std::string, std::string>> &env = {})
    {
        std::vector<std::string> all = {VLAN_MGRD_BIN, "--foreground", "--run-dir", run_dir};
        all.insert(all.end(), args.begin(), args.end());
        const pid_t pid = fork();
        if (pid == 0) {
            for (const auto &[name, value] : env)
                setenv(name.c_str(), value.c_str(), 1);
            const int out = open(log_file().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            if (out >= 0) {
                dup2(out, STDOUT_FILENO);
                dup2(out, STDERR_FILENO);
            }
            umask(mask);
            std::vector<char *> argv;
            for (std::string &a : all)
                argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        const std::string want = std::to_string(pid) + "\n";
        for (int i = 0; i < 2000; ++i) {
            if (read_file(run_dir + "/vlan_mgrd.pid") == want)
                return pid;
            if (waitpid(pid, nullptr, WNOHANG) == pid) {
                ADD_FAILURE() << "vlan_mgrd ended at start: " << read_file(log_file());
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        ADD_FAILURE() << "vlan_mgrd did not come up: " << read_file(log_file());
        return -1;
    }
};

// ---- The trust boundary's files ----------------------------------------------------

TEST_F(VlanMgrdFilesTest, VlanMgrdGivesItsDirectoriesAndFilesTheTrustGroupAndExactModesWhateverTheUmask)
{
    const gid_t trust = group_id(kTrustGroup);
    ASSERT_NE(trust, static_cast<gid_t>(-1));
    ASSERT_NE(trust, getegid());
    for (const mode_t mask : {mode_t{0}, mode_t{077}}) {
        SCOPED_TRACE("umask " + std::to_string(mask));
        const std::string base = dir_ + "/umask" + std::to_string(mask);
        const std::string run = base + "/run", state_dir = base + "/state";
        const std::string state = state_dir + "/vlan_mgrd.state";
        ASSERT_EQ(mkdir(base.c_str(), 0700), 0);
        const std::vector<std::string> args = {"--state", state, "--sdb-root", sdb_root_};
        const std::vector<std::pair<std::string, std::string>> env = {{"VLAN_MGR_GROUP", kTrustGroup},
                                                                       {"VLAN_MGR_RUN_DIR", run}};
        setenv("VLAN_MGR_RUN_DIR", run.c_str(), 1);
        vlan_mgr_host_mts_shutdown();

        pid_t pid = start_with(run, args, mask, env);
        ASSERT_GT(pid, 0);
        daemon_ = pid;
        // One change, so that the state's log exists.
        EXPECT_EQ(create_vlan(client(), 10), 0u);

        const struct {
            std::string path;
            mode_t mode;
        } expected[] = {
            {run, 02770},                        // the group may reach the sockets
            {run + "/vlan_mgrd.pid", 0640},      // the group may read the pid
            {run + "/vlan_mgrd.lock", 0600},     // the instance lock: the manager alone
            {state_dir, 0700},                   // the saved configuration: the manager alone
            {state + ".lock", 0600},
            {state + ".log", 0600},
        };
        for (const auto &e : expected) {
            const FileInfo fi = info(e.path);
            ASSERT_TRUE(fi.found) << e.path;
            EXPECT_FALSE(fi.link) << e.path;
            EXPECT_EQ(fi.mode, e.mode) << e.path << ": 0" << std::oct << fi.mode;
            EXPECT_EQ(fi.uid, geteuid()) << e.path;
            EXPECT_EQ(fi.gid, trust) << e.path;
        }
        // The socket inherits the run directory's group.
        EXPECT_EQ(info(run + "/sap.167").gid, trust);
        // The lock names its owner.
        EXPECT_EQ(read_file(state + ".lock"), std::to_string(pid) + "\n");

        // A restart writes the restored state as the snapshot.
        EXPECT_EQ(stop_daemon(SIGTERM), 0);
        reopen_client();
        pid = start_with(run, args, mask, env);
        ASSERT_GT(pid, 0);
        daemon_ = pid;
        const FileInfo snapshot = info(state);
        ASSERT_TRUE(snapshot.found);
        EXPECT_EQ(snapshot.mode, 0600u) << std::oct << snapshot.mode;
        EXPECT_EQ(snapshot.gid, trust);
        EXPECT_EQ(info(state + ".log").mode, 0600u);
        EXPECT_EQ(info(run + "/vlan_mgrd.pid").mode, 0640u);
        EXPECT_EQ(stop_daemon(SIGTERM), 0);
        reopen_client();
        vlan_mgr_host_mts_shutdown();
    }
}

TEST_F(VlanMgrdFilesTest, VlanMgrdRefusesARunDirectoryOwnedByAnotherUserWithStatus4)
{
    ASSERT_EQ(mkdir(run_dir_.c_str(), 0700), 0);
    ASSERT_EQ(chmod(run_dir_.c_str(), 0777), 0);
    ASSERT_EQ(chown(run_dir_.c_str(), 65534, 65534), 0);
    std::string out;
    EXPECT_EQ(run_to_end({"--foreground", "--run-dir", run_dir_, "--state", state_, "--sdb-root", sdb_root_}, out), 4);
    EXPECT_EQ(out, "vlan_mgrd: cannot use run directory " + run_dir_ + ": owned by another user (uid 65534)\n");
    // Left as it was, nothing made in it.
    const FileInfo fi = info(run_dir_);
    EXPECT_EQ(fi.mode, 0777u);
    EXPECT_EQ(fi.uid, 65534u);
    EXPECT_FALSE(exists(run_dir_ + "/vlan_mgrd.lock"));
    EXPECT_FALSE(exists(state_));
}

TEST_F(VlanMgrdFilesTest, VlanMgrdRefusesASharedRunDirectoryAndLeavesItAsItWas)
{
    // A sticky directory that everyone writes (as /tmp), and one that others
    // may enter and that holds files of theirs (as /run): narrowing either
    // would lock its other users out.
    ASSERT_EQ(mkdir(run_dir_.c_str(), 0700), 0);
    ASSERT_EQ(chmod(run_dir_.c_str(), 01777), 0);
    std::string out;
    EXPECT_EQ(run_to_end({"--foreground", "--run-dir", run_dir_, "--state", state_, "--sdb-root", sdb_root_}, out), 4);
    EXPECT_EQ(out, "vlan_mgrd: cannot use run directory " + run_dir_ +
                       ": shared with other users (mode 1777); give the manager a directory of its own\n");
    EXPECT_EQ(info(run_dir_).mode, 01777u);

    ASSERT_EQ(chmod(run_dir_.c_str(), 0755), 0);
    const std::string theirs = run_dir_ + "/other.pid";
    const int fd = open(theirs.c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(run_to_end({"--foreground", "--run-dir", run_dir_, "--state", state_, "--sdb-root", sdb_root_}, out), 4);
    EXPECT_EQ(out, "vlan_mgrd: cannot use run directory " + run_dir_ +
                       ": shared with other users (mode 0755); give the manager a directory of its own\n");
    EXPECT_EQ(info(run_dir_).mode, 0755u);
    EXPECT_FALSE(exists(run_dir_ + "/vlan_mgrd.lock"));
    EXPECT_FALSE(exists(state_));
}

TEST_F(VlanMgrdFilesTest, VlanMgrdRefusesARunDirectoryThatIsASymbolicLinkWithStatus4)
{
    const std::string target = dir_ + "/elsewhere";
    ASSERT_EQ(mkdir(target.c_str(), 0700), 0);
    ASSERT_EQ(symlink(target.c_str(), run_dir_.c_str()), 0);
    std::string out;
    EXPECT_EQ(run_to_end({"--foreground", "--run-dir", run_dir_, "--state", state_, "--sdb-root", sdb_root_}, out), 4);
    EXPECT_EQ(out, "vlan_mgrd: cannot use run directory " + run_dir_ + ": a symbolic link\n");
    EXPECT_FALSE(exists(target + "/vlan_mgrd.lock"));
}

TEST_F(VlanMgrdFilesTest, VlanMgrdRefusesAStateDirectoryOwnedByAnotherUserWithStatus1)
{
    const std::string state_dir = dir_ + "/state";
    ASSERT_EQ(mkdir(state_dir.c_str(), 0700), 0);
    ASSERT_EQ(chmod(state_dir.c_str(), 0777), 0);
    ASSERT_EQ(chown(state_dir.c_str(), 65534, 65534), 0);
    std::string out;
    EXPECT_EQ(run_to_end({"--foreground", "--run-dir", run_dir_, "--state", state_dir + "/vlan_mgrd.state",
                          "--sdb-root", sdb_root_},
                         out),
              1);
    EXPECT_EQ(out, "vlan_mgrd: cannot use state directory " + state_dir + ": owned by another user (uid 65534)\n");
    EXPECT_EQ(info(state_dir).mode, 0777u);
    EXPECT_FALSE(exists(state_dir + "/vlan_mgrd.state.lock"));
}

TEST_F(VlanMgrdFilesTest, VlanMgrdRefusesAStateDirectoryThatOthersMayWriteWithStatus1)
{
    // Shared like /tmp: sticky and writable by everyone.
    const std::string shared = dir_ + "/shared";
    ASSERT_EQ(mkdir(shared.c_str(), 0700), 0);
    ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
    std::string out;
    EXPECT_EQ(run_to_end({"--foreground", "--run-dir", run_dir_, "--state", shared + "/vlan_mgrd.state",
                          "--sdb-root", sdb_root_},
                         out),
              1);
    EXPECT_EQ(out, "vlan_mgrd: cannot use state directory " + shared +
                       ": writable by other users (mode 01777); give the state file a directory of its own\n");
    EXPECT_EQ(info(shared).mode, 01777u);
    EXPECT_FALSE(exists(shared + "/vlan_mgrd.state.lock"));
}

TEST_F(VlanMgrdFilesTest, VlanMgrdKeepsTheModeOfAnExistingStateDirectoryOfItsOwn)
{
    // A directory the operator chose (it could be /etc): used, never narrowed.
    const std::string own = dir_ + "/etc";
    ASSERT_EQ(mkdir(own.c_str(), 0700), 0);
    ASSERT_EQ(chmod(own.c_str(), 0755), 0);
    const std::string state = own + "/vlan_mgrd.state";
    daemon_ = start_with(run_dir_, {"--state", state, "--sdb-root", sdb_root_}, 022,
                         {{"VLAN_MGR_GROUP", kTrustGroup}});
    ASSERT_GT(daemon_, 0);
    EXPECT_EQ(info(own).mode, 0755u);
    EXPECT_EQ(info(own).gid, getegid());
    EXPECT_EQ(info(state + ".lock").mode, 0600u);
    EXPECT_EQ(info(state + ".lock").gid, group_id(kTrustGroup));
    EXPECT_EQ(stop_daemon(), 0);
}

// ---- One manager per state file --------------------------------------------------

TEST_F(VlanMgrdFilesTest, VlanMgrdSecondManagerOnTheSameStateFileRefusesWithStatus3)
{
    const pid_t first = start_daemon();
    ASSERT_GT(first, 0);
    ASSERT_EQ(create_vlan(client(), 20), 0u);
    const std::string other_run = dir_ + "/run2", other_sdb = dir_ + "/sdb2";
    ASSERT_EQ(mkdir(other_sdb.c_str(), 0700), 0);
    std::string out;
    const int rc = run_to_end(
        {"--foreground", "--run-dir", other_run, "--state", state_, "--sdb-root", other_sdb}, out);
    EXPECT_EQ(rc, 3);
    EXPECT_EQ(out, "vlan_mgrd: state file " + state_ + " is in use by another manager (pid " + std::to_string(first) +
                       ")\n");
    // The second one served nothing and published nothing.
    EXPECT_FALSE(exists(other_run + "/sap.167"));
    EXPECT_FALSE(exists(other_run + "/vlan_mgrd.pid"));
    EXPECT_TRUE(std::filesystem::is_empty(other_sdb));
    // The first still serves, and its changes are still saved.
    const uint8_t req[4] = {0, 0, 0, 1};
    Exchange x = exchange(client(), 0x5DFFu, req, sizeof req);
    ASSERT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kUnknownRequest);
    EXPECT_EQ(create_vlan(client(), 21), 0u);
    EXPECT_EQ(stop_daemon(), 0);

    // Once the first has stopped, the state is free again and holds both.
    reopen_client();
    ASSERT_GT(start_daemon(), 0);
    const pid_t reader = spawn([] {
        uint16_t bd = 0;
        for (uint32_t v : {20u, 21u})
            if (vlan_get_bd(vdc_vlan_id_t{1, v}, &bd) != 0 || bd != v)
                return static_cast<int>(v);
        vlan_close_bd_sdb(1);
        return 0;
    });
    EXPECT_EQ(join(reader), 0);
    EXPECT_EQ(stop_daemon(), 0);
}

TEST_F(VlanMgrdFilesTest, VlanMgrdStateLockIsHeldByTheDaemonAfterItsFork)
{
    std::string out;
    ASSERT_EQ(run_to_end({"--run-dir", run_dir_, "--state", state_, "--sdb-root", sdb_root_}, out), 0) << out;
    const std::string pid_text = read_file(pid_file());
    ASSERT_FALSE(pid_text.empty());
    const pid_t daemon = static_cast<pid_t>(std::stol(pid_text));
    // The starting processes are gone; the daemon alone holds the lock.
    EXPECT_EQ(read_file(state_ + ".lock"), pid_text);
    const int fd = open((state_ + ".lock").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(flock(fd, LOCK_SH | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    close(fd);
    const std::string other_run = dir_ + "/run2";
    EXPECT_EQ(run_to_end({"--foreground", "--run-dir", other_run, "--state", state_, "--sdb-root", sdb_root_}, out),
              3);
    EXPECT_EQ(out, "vlan_mgrd: state file " + state_ + " is in use by another manager (pid " + std::to_string(daemon) +
                       ")\n");
    ASSERT_EQ(kill(daemon, SIGTERM), 0);
    bool gone = false;
    for (int i = 0; i < 2000 && !gone; ++i) {
        gone = kill(daemon, 0) != 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(gone);
}

} // namespace
} // namespace vlan_mgrd::daemon_test
