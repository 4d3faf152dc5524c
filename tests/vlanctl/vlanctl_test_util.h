// End-to-end tests of vlanctl: a vlan_mgrd of the test's own (--foreground,
// run directory, database root and history directory in a fresh temp
// directory) and vlanctl run as a user runs it, its output captured.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vlanctl_test {

struct Result {
    int status = -1;  // exit status; -1 when the process did not exit normally
    std::string out;  // stdout
    std::string err;  // stderr
};

inline std::string read_file(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Starts `argv` with stdout and stderr sent to the given files.
inline pid_t spawn(const std::vector<std::string> &argv, const std::string &out, const std::string &err)
{
    pid_t pid = fork();
    if (pid == 0) {
        const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (o < 0 || e < 0)
            _exit(126);
        dup2(o, 1);
        dup2(e, 2);
        std::vector<char *> args;
        for (const std::string &a : argv)
            args.push_back(const_cast<char *>(a.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    return pid;
}

// Waits for `pid` at most `ms` milliseconds, then kills it: its exit status,
// -1 when it was killed or did not exit normally.
inline int wait_exit(pid_t pid, int ms)
{
    int st = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    for (;;) {
        const pid_t r = waitpid(pid, &st, WNOHANG);
        if (r == pid)
            return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
        if (r < 0)
            return -1;
        if (std::chrono::steady_clock::now() > end) {
            kill(pid, SIGKILL);
            waitpid(pid, &st, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

class VlanctlE2e : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/vlanctl_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        run_ = dir_ + "/run";
        for (const char *sub : {"/run", "/sdb", "/hist", "/state"})
            std::filesystem::create_directory(dir_ + sub);
        setenv("VLAN_MGR_RUN_DIR", run_.c_str(), 1);
        setenv("VLAN_MGR_SDB_ROOT", (dir_ + "/sdb").c_str(), 1);
        setenv("VLAN_MGR_HIST_DIR", (dir_ + "/hist").c_str(), 1);
        setenv("VLAN_MGR_MTS_TIMEOUT_MS", "2000", 1);
        unsetenv("VLAN_MGR_VDC");
    }

    void TearDown() override
    {
        stop_daemon();
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }

    // Starts vlan_mgrd --foreground, its configuration saved in the temp
// directory, and waits for its pid file.
    void start_daemon()
    {
        daemon_ = spawn({VLAN_MGRD_BIN, "--foreground", "--state", dir_ + "/state/vlan_mgrd.state"}, dir_ + "/mgrd.out",
                        dir_ + "/mgrd.err");
        const std::string pidfile = run_ + "/vlan_mgrd.pid";
        for (int i = 0; i < 1000; ++i) {
            if (std::filesystem::exists(pidfile) && !read_file(pidfile).empty())
                return;
            int st = 0;
            if (waitpid(daemon_, &st, WNOHANG) == daemon_) {
                daemon_ = 0;
                FAIL() << "vlan_mgrd ended at start: " << read_file(dir_ + "/mgrd.err");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        FAIL() << "no " << pidfile << " after 10 s";
    }

    void stop_daemon()
    {
        if (daemon_ > 0) {
            kill(daemon_, SIGTERM);
            EXPECT_EQ(wait_exit(daemon_, 10000), 0) << read_file(dir_ + "/mgrd.err");
            daemon_ = 0;
        }
    }

    // Runs vlanctl with `args` and waits for it (at most `limit_ms`; a
    // vlanctl still running then is killed and its status is -1).
    Result ctl(const std::vector<std::string> &args, int limit_ms = 20000)
    {
        std::vector<std::string> argv{VLANCTL_BIN};
        argv.insert(argv.end(), args.begin(), args.end());
        const std::string out = dir_ + "/ctl.out", err = dir_ + "/ctl.err";
        Result r;
        r.status = wait_exit(spawn(argv, out, err), limit_ms);
        r.out = read_file(out);
        r.err = read_file(err);
        return r;
    }

    // Runs vlanctl and expects it to succeed silently.
    void ok(const std::vector<std::string> &args)
    {
        const Result r = ctl(args);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, "");
    }

    std::string dir_, run_;
    pid_t daemon_ = 0;
};

} // namespace vlanctl_test
