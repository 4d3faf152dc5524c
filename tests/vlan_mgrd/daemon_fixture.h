// The daemon as a process: a private temporary directory (run directory,
// database root, history and state), vlan_mgrd started on it in the
// foreground, request-reply exchanges with it over the host transport, and
// forked peers that report through their exit status.
#ifndef VLAN_MGRD_DAEMON_FIXTURE_H
#define VLAN_MGRD_DAEMON_FIXTURE_H

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vlan_mgr/vlan_mgr.h>

#include "vlan_mgr_host.h"

namespace vlan_mgrd::daemon_test {

// A one-byte signal between two processes.
class Pipe {
public:
    Pipe()
    {
        if (pipe(fd_) != 0)
            fd_[0] = fd_[1] = -1;
    }
    ~Pipe()
    {
        close(fd_[0]);
        close(fd_[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
    void raise(char c = 'x') const { (void)!write(fd_[1], &c, 1); }
    // The byte that arrived within `ms`, or 0.
    char wait_for(int ms) const
    {
        pollfd p{fd_[0], POLLIN, 0};
        if (poll(&p, 1, ms) <= 0)
            return 0;
        char c = 0;
        if (read(fd_[0], &c, 1) != 1)
            return 0;
        return c;
    }

private:
    int fd_[2];
};

// Runs `body` in a forked child that exits with the body's result after
// flushing its transport.
template <typename Fn>
pid_t spawn(Fn body)
{
    const pid_t pid = fork();
    if (pid == 0) {
        const int rc = body();
        vlan_mgr_host_mts_shutdown();
        _exit(rc);
    }
    return pid;
}

// The exit status of a child; -1 when it did not exit normally, -2 when it
// did not end within `ms`.
inline int join(pid_t pid, int ms = 20000)
{
    int status = 0;
    for (int waited = 0;; waited += 5) {
        const pid_t r = waitpid(pid, &status, WNOHANG);
        if (r == pid)
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (r < 0)
            return -1;
        if (waited >= ms) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return -2;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// One request-reply exchange: the first non-zero transport word, and the
// reply payload when there was one.
struct Exchange {
    int32_t rc = 0;
    std::vector<uint8_t> reply;
};

inline Exchange exchange(uint32_t handle, uint32_t opcode, const void *payload, uint32_t len)
{
    Exchange x;
    mts_addr_t addr{};
    addr.word[0] = 1;
    // Sent with an address record, the payload is the transport's to free:
    // it gets a malloc'ed copy.
    void *copy = std::malloc(len != 0 ? len : 1);
    if (copy != nullptr && len != 0)
        std::memcpy(copy, payload, len);
    mts_msg_hdl_t sent{};
    x.rc = mts_send(handle, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opcode, copy, len, &sent, nullptr, &addr);
    if (x.rc != 0)
        return x;
    mts_recv_opts_t opts{};
    opts.word[0] = 1;
    opts.word[3] = mts_rr_token_get(&sent);
    mts_drop(handle, &sent);
    mts_msg_hdl_t reply{};
    x.rc = mts_recv(handle, &reply, &opts);
    if (x.rc != 0)
        return x;
    const auto *p = static_cast<const uint8_t *>(mts_payload_get(&reply));
    x.reply.assign(p, p + mts_payload_size(&reply));
    mts_drop(handle, &reply);
    return x;
}

inline Exchange exchange(uint32_t handle, uint32_t opcode, const std::vector<uint8_t> &payload)
{
    return exchange(handle, opcode, payload.data(), static_cast<uint32_t>(payload.size()));
}

// Sends a payload that a library builder malloc'ed, and frees it.
inline Exchange exchange_built(uint32_t handle, uint32_t opcode, void *payload, uint32_t len)
{
    Exchange x = exchange(handle, opcode, payload, len);
    std::free(payload);
    return x;
}

inline std::string read_file(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline bool exists(const std::string &path)
{
    struct stat st {};
    return stat(path.c_str(), &st) == 0;
}

class VlanMgrdDaemonTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/vlan_mgrd_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        run_dir_ = dir_ + "/run";
        sdb_root_ = dir_ + "/sdb";
        state_ = dir_ + "/vlan_mgrd.state";
        ASSERT_EQ(mkdir(sdb_root_.c_str(), 0700), 0);
        ASSERT_EQ(mkdir((dir_ + "/hist").c_str(), 0700), 0);
        // The transport, the database and the history read their places when
        // they first open; both this process and the daemon use these.
        vlan_mgr_host_mts_shutdown();
        setenv("VLAN_MGR_RUN_DIR", run_dir_.c_str(), 1);
        setenv("VLAN_MGR_SDB_ROOT", sdb_root_.c_str(), 1);
        setenv("VLAN_MGR_MTS_TIMEOUT_MS", "2000", 1);
        setenv("VLAN_MGR_HIST_DIR", (dir_ + "/hist").c_str(), 1);
        unsetenv("VLAN_MGR_VDC");
    }

    void TearDown() override
    {
        if (client_open_)
            vlan_mgr_host_mts_close(client_);
        client_open_ = false;
        vlan_mgr_host_mts_shutdown();
        for (uint16_t vdc = 1; vdc <= 5; ++vdc)
            vlan_close_bd_sdb(vdc);
        vlan_mgr_disable_cached_bd_sdb();
        if (daemon_ > 0) {
            kill(daemon_, SIGKILL);
            waitpid(daemon_, nullptr, 0);
            daemon_ = -1;
        }
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }

    std::string pid_file() const { return run_dir_ + "/vlan_mgrd.pid"; }
    std::string log_file() const { return dir_ + "/daemon.log"; }

    // Starts vlan_mgrd in the foreground on the test's directory (output to
    // daemon.log) and waits until its pid file names it. Returns its pid, or
    // -1 when it ended or did not come up within 10 s.
    pid_t start_daemon(const std::vector<std::string> &extra = {})
    {
        std::vector<std::string> args = {VLAN_MGRD_BIN, "--foreground", "--run-dir", run_dir_,
                                         "--state",     state_,          "--sdb-root", sdb_root_};
        args.insert(args.end(), extra.begin(), extra.end());
        const pid_t pid = fork();
        if (pid == 0) {
            // The daemon's syslog lines are copied to its output, which the
            // tests read.
            setenv("VLAN_MGR_SYSLOG_STDERR", "1", 1);
            const int out = open(log_file().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            if (out >= 0) {
                dup2(out, STDOUT_FILENO);
                dup2(out, STDERR_FILENO);
            }
            std::vector<char *> argv;
            for (std::string &a : args)
                argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        const std::string want = std::to_string(pid) + "\n";
        for (int i = 0; i < 2000; ++i) {
            if (read_file(pid_file()) == want) {
                daemon_ = pid;
                return pid;
            }
            int status = 0;
            if (waitpid(pid, &status, WNOHANG) == pid) {
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

    // Sends `sig` to the daemon and returns its exit status (-1: killed by
    // a signal or did not end).
    int stop_daemon(int sig = SIGTERM)
    {
        if (daemon_ <= 0)
            return -3;
        kill(daemon_, sig);
        const int rc = join(daemon_, 10000);
        daemon_ = -1;
        return rc;
    }

    // Runs vlan_mgrd with `args` to its end: exit status and output.
    int run_to_end(const std::vector<std::string> &args, std::string &output)
    {
        const std::string out_path = dir_ + "/run_to_end.out";
        // Everything the child needs is made before the fork: between fork
        // and exec it only makes system calls, since an allocator lock held
        // by another thread of this process (the transport's) at the fork
        // would never be released in the child.
        std::vector<std::string> all = {VLAN_MGRD_BIN};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char *> argv;
        for (std::string &a : all)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            const int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (out >= 0) {
                dup2(out, STDOUT_FILENO);
                dup2(out, STDERR_FILENO);
            }
            execv(argv[0], argv.data());
            _exit(127);
        }
        const int rc = join(pid, 10000);
        output = read_file(out_path);
        return rc;
    }

    // This process's client handle (SAP 0), opened at first use.
    uint32_t client()
    {
        if (!client_open_) {
            EXPECT_EQ(vlan_mgr_host_mts_open(0, &client_), 0);
            client_open_ = true;
        }
        return client_;
    }
    // Forgets the client handle, so that the next one connects afresh.
    void reopen_client()
    {
        if (client_open_)
            vlan_mgr_host_mts_close(client_);
        client_open_ = false;
    }

    std::string dir_, run_dir_, sdb_root_, state_;
    pid_t daemon_ = -1;
    uint32_t client_ = 0;
    bool client_open_ = false;
};

} // namespace vlan_mgrd::daemon_test

#endif
