// The daemon's start as a process: relative paths, where the state may
// live, the files of the run directory that it cannot make or lock, a SAP
// that another process already serves, and the message and exit status of
// each refusal.
#include "daemon_fixture.h"

#include <grp.h>

namespace vlan_mgrd::daemon_test {
namespace {

class VlanMgrdStartTest : public VlanMgrdDaemonTest {
protected:
    // Runs vlan_mgrd with `args` from the directory `cwd` (removed before the
    // daemon starts when `remove_cwd`), to its end unless `wait_pid_file`
    // names the pid file it is to write: then returns once it serves.
    pid_t launch(const std::string &cwd, bool remove_cwd, const std::vector<std::string> &args)
    {
        const std::string out_path = dir_ + "/launch.out";
        const pid_t pid = fork();
        if (pid == 0) {
            const int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (out >= 0) {
                dup2(out, STDOUT_FILENO);
                dup2(out, STDERR_FILENO);
            }
            if (chdir(cwd.c_str()) != 0 || (remove_cwd && rmdir(cwd.c_str()) != 0))
                _exit(126);
            std::vector<std::string> all = {VLAN_MGRD_BIN};
            all.insert(all.end(), args.begin(), args.end());
            std::vector<char *> argv;
            for (std::string &a : all)
                argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        return pid;
    }
    std::string launch_output() const { return read_file(dir_ + "/launch.out"); }

    // Waits until `pid_path` names `pid`: true, or false when it ended first.
    bool serving(pid_t pid, const std::string &pid_path)
    {
        const std::string want = std::to_string(pid) + "\n";
        for (int i = 0; i < 2000; ++i) {
            if (read_file(pid_path) == want)
                return true;
            if (waitpid(pid, nullptr, WNOHANG) == pid)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }

    // A run directory made beforehand, as the daemon makes it.
    void make_run_dir() { ASSERT_EQ(mkdir(run_dir_.c_str(), 0700), 0); }

    std::vector<std::string> base() const
    {
        return {"--foreground", "--run-dir", run_dir_, "--state", state_, "--sdb-root", sdb_root_};
    }
    std::vector<std::string> base_with(const std::vector<std::string> &more) const
    {
        std::vector<std::string> a = base();
        a.insert(a.end(), more.begin(), more.end());
        return a;
    }
};

TEST_F(VlanMgrdStartTest, VlanMgrdRelativePathsAreTakenFromTheDirectoryItStartsIn)
{
    const pid_t pid = launch(dir_, false, {"-f", "-r", "run", "-s", "vlan_mgrd.state", "-d", "sdb"});
    ASSERT_TRUE(serving(pid, run_dir_ + "/vlan_mgrd.pid")) << launch_output();
    daemon_ = pid;
    EXPECT_TRUE(exists(dir_ + "/vlan_mgrd.state.lock"));
    EXPECT_TRUE(exists(sdb_root_ + "/vlan_mgr_bd_sdb"));
    EXPECT_EQ(stop_daemon(), 0);
    EXPECT_FALSE(exists(run_dir_ + "/vlan_mgrd.pid"));
}

TEST_F(VlanMgrdStartTest, VlanMgrdStartedInARemovedDirectoryCannotMakeARelativeRunDirectory)
{
    const std::string gone = dir_ + "/gone";
    ASSERT_EQ(mkdir(gone.c_str(), 0700), 0);
    const pid_t pid = launch(gone, true, {"-f", "-r", "run", "-s", state_, "-d", sdb_root_});
    EXPECT_EQ(join(pid), 4);
    EXPECT_EQ(launch_output(), "vlan_mgrd: cannot use run directory run: No such file or directory\n");
}

TEST_F(VlanMgrdStartTest, VlanMgrdWithoutARunDirectoryOptionUsesTheEnvironmentsOne)
{
    // VLAN_MGR_RUN_DIR names run_dir_; the interface table named is missing.
    const std::string iftable = dir_ + "/no-iftable";
    std::string out;
    EXPECT_EQ(run_to_end({"-f", "-s", state_, "-d", sdb_root_, "-i", iftable}, out), 1);
    EXPECT_EQ(out, "vlan_mgrd: start failed (0x411000c6): interface table " + iftable + ": " + iftable +
                       ": cannot be read\n");
    EXPECT_TRUE(exists(run_dir_ + "/vlan_mgrd.lock"));
    EXPECT_FALSE(exists(run_dir_ + "/vlan_mgrd.pid"));
}

TEST_F(VlanMgrdStartTest, VlanMgrdKeepsItsStateInTheRunDirectoryWhenToldTo)
{
    const std::string state = run_dir_ + "/vlan_mgrd.state";
    ASSERT_GT(start_daemon({"--state", state}), 0);
    EXPECT_TRUE(exists(state + ".lock"));
    EXPECT_EQ(stop_daemon(), 0);
}

TEST_F(VlanMgrdStartTest, VlanMgrdWithoutAStateOptionKeepsItInTheRunDirectoryWhenItCannotHaveItsOwn)
{
    // A user other than root cannot make /var/lib/vlan_mgr its own: the
    // state goes into its run directory.
    const std::string home = dir_ + "/u";
    ASSERT_EQ(chmod(dir_.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(home.c_str(), 0700), 0);
    ASSERT_EQ(chown(home.c_str(), 65534, 65534), 0);
    const std::string run = home + "/run";
    const std::string policy = home + "/vdc_access";
    std::ofstream(policy) << "# no one else\n";
    ASSERT_EQ(chown(policy.c_str(), 65534, 65534), 0);
    const std::string out_path = dir_ + "/nobody.out";
    const pid_t pid = fork();
    if (pid == 0) {
        const int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (out >= 0) {
            dup2(out, STDOUT_FILENO);
            dup2(out, STDERR_FILENO);
        }
        if (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
            _exit(126);
        setenv("VLAN_MGR_GROUP", "no_such_group_here", 1); // the trust group: its own
        setenv("VLAN_MGR_HIST_DIR", home.c_str(), 1);
        execl(VLAN_MGRD_BIN, VLAN_MGRD_BIN, "-f", "-r", run.c_str(), "-d", (home + "/sdb").c_str(), "-a",
              policy.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    ASSERT_TRUE(serving(pid, run + "/vlan_mgrd.pid")) << read_file(out_path);
    daemon_ = pid;
    EXPECT_EQ(stop_daemon(), 0);
    struct stat st {};
    ASSERT_EQ(stat((run + "/vlan_mgrd.state.lock").c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, 65534u);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
}

TEST_F(VlanMgrdStartTest, VlanMgrdRefusesAStateDirectoryThatIsASymbolicLink)
{
    ASSERT_EQ(mkdir((dir_ + "/real").c_str(), 0700), 0);
    ASSERT_EQ(symlink((dir_ + "/real").c_str(), (dir_ + "/link").c_str()), 0);
    std::string out;
    EXPECT_EQ(run_to_end({"-f", "-r", run_dir_, "-s", dir_ + "/link/vlan_mgrd.state", "-d", sdb_root_}, out), 1);
    EXPECT_EQ(out, "vlan_mgrd: cannot use state directory " + dir_ + "/link: a symbolic link\n");
    EXPECT_FALSE(exists(dir_ + "/real/vlan_mgrd.state.lock"));
}

TEST_F(VlanMgrdStartTest, VlanMgrdRefusesAStateDirectoryThatIsAFile)
{
    std::ofstream(dir_ + "/plain") << "x";
    std::string out;
    EXPECT_EQ(run_to_end({"-f", "-r", run_dir_, "-s", dir_ + "/plain/vlan_mgrd.state", "-d", sdb_root_}, out), 1);
    EXPECT_EQ(out, "vlan_mgrd: cannot use state directory " + dir_ + "/plain: not a directory\n");
}

TEST_F(VlanMgrdStartTest, VlanMgrdEndsWithStatus4WhenItsInstanceLockCannotBeOpened)
{
    make_run_dir();
    ASSERT_EQ(symlink((dir_ + "/elsewhere").c_str(), (run_dir_ + "/vlan_mgrd.lock").c_str()), 0);
    std::string out;
    EXPECT_EQ(run_to_end(base(), out), 4);
    EXPECT_EQ(out, "vlan_mgrd: cannot open " + run_dir_ + "/vlan_mgrd.lock: Too many levels of symbolic links\n");
    EXPECT_FALSE(exists(dir_ + "/elsewhere"));
}

TEST_F(VlanMgrdStartTest, VlanMgrdEndsWithStatus1WhenTheStateLockCannotBeOpened)
{
    ASSERT_EQ(symlink((dir_ + "/elsewhere").c_str(), (state_ + ".lock").c_str()), 0);
    std::string out;
    EXPECT_EQ(run_to_end(base(), out), 1);
    EXPECT_EQ(out, "vlan_mgrd: cannot open " + state_ + ".lock: Too many levels of symbolic links\n");
    EXPECT_FALSE(exists(dir_ + "/elsewhere"));
}

TEST_F(VlanMgrdStartTest, VlanMgrdSecondManagerNamesAnUnknownPidWhenThePidFileIsMissingOrEmpty)
{
    ASSERT_GT(start_daemon(), 0);
    const std::string second_state = dir_ + "/second.state";
    ASSERT_EQ(unlink(pid_file().c_str()), 0);
    std::string out;
    EXPECT_EQ(run_to_end({"-f", "-r", run_dir_, "-s", second_state, "-d", sdb_root_}, out), 3);
    EXPECT_EQ(out, "vlan_mgrd: another vlan_mgrd (pid ?) runs on run directory " + run_dir_ + "\n");
    std::ofstream(pid_file()) << "";
    EXPECT_EQ(run_to_end({"-f", "-r", run_dir_, "-s", second_state, "-d", sdb_root_}, out), 3);
    EXPECT_EQ(out, "vlan_mgrd: another vlan_mgrd (pid ?) runs on run directory " + run_dir_ + "\n");
    EXPECT_EQ(stop_daemon(), 0);
}

TEST_F(VlanMgrdStartTest, VlanMgrdEndsWithStatus4WhenThePidFileCannotBeWritten)
{
    make_run_dir();
    ASSERT_EQ(symlink((dir_ + "/elsewhere").c_str(), (run_dir_ + "/vlan_mgrd.pid.tmp").c_str()), 0);
    std::string out;
    EXPECT_EQ(run_to_end(base(), out), 4);
    EXPECT_EQ(out, "vlan_mgrd: cannot write " + run_dir_ + "/vlan_mgrd.pid.tmp: Too many levels of symbolic links\n");
    EXPECT_FALSE(exists(dir_ + "/elsewhere"));
    EXPECT_FALSE(exists(run_dir_ + "/sap.167"));
}

TEST_F(VlanMgrdStartTest, VlanMgrdEndsWithStatus4WhenThePidFileCannotBeReplaced)
{
    make_run_dir();
    ASSERT_EQ(mkdir((run_dir_ + "/vlan_mgrd.pid").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((run_dir_ + "/vlan_mgrd.pid/x").c_str(), 0700), 0);
    std::string out;
    EXPECT_EQ(run_to_end(base(), out), 4);
    EXPECT_EQ(out, "vlan_mgrd: cannot write " + run_dir_ + "/vlan_mgrd.pid: Is a directory\n");
    EXPECT_FALSE(exists(run_dir_ + "/vlan_mgrd.pid.tmp"));
}

TEST_F(VlanMgrdStartTest, VlanMgrdEndsWithStatus3WhenAnotherProcessServesTheSap)
{
    // Another process serves the SAP; this one never starts the transport,
    // so the manager is forked from a process without its threads.
    Pipe serving;
    const pid_t other = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(VLAN_MGR_MTS_SAP, &h) != 0)
            return 10;
        serving.raise();
        pause();
        return 0;
    });
    ASSERT_EQ(serving.wait_for(5000), 'x');
    std::string out;
    EXPECT_EQ(run_to_end(base(), out), 3);
    EXPECT_EQ(out, "vlan_mgrd: SAP 167 is already served: another VLAN manager runs on this run directory\n");
    EXPECT_FALSE(exists(pid_file()));
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
}

} // namespace
} // namespace vlan_mgrd::daemon_test
