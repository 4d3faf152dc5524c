// Helpers of the host transport's two-process tests: a private run directory
// and a short reply time-out per test, forked peers that report through their
// exit status, and pipes used as one-byte signals (never sleeps).
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "host/host_platform.h"
#include "host_test_util.h"
#include "vlan_mgr_host_mts.h"

namespace mts_test {

// A one-byte signal between two processes.
class Signal {
public:
    Signal()
    {
        if (pipe(fd_) != 0)
            fd_[0] = fd_[1] = -1;
    }
    ~Signal()
    {
        close(fd_[0]);
        close(fd_[1]);
    }
    Signal(const Signal &) = delete;
    Signal &operator=(const Signal &) = delete;
    void raise(char c = 'x') const { (void)!write(fd_[1], &c, 1); }
    // Waits for a byte: the byte, or 0 at end of file.
    char wait() const
    {
        char c = 0;
        while (read(fd_[0], &c, 1) < 0 && errno == EINTR) {
        }
        return c;
    }
    // True when a byte arrived within `ms`.
    bool wait_for(int ms) const
    {
        pollfd p{fd_[0], POLLIN, 0};
        if (poll(&p, 1, ms) <= 0)
            return false;
        wait();
        return true;
    }

private:
    int fd_[2];
};

// Runs `body` in a forked child, which ends with the body's result as its
// exit status after flushing its transport.
template <typename Fn>
pid_t spawn(Fn body)
{
    pid_t pid = fork();
    if (pid == 0) {
        int rc = body();
        vlan_mgr_host_mts_shutdown();
        host_test::child_exit(rc);
    }
    return pid;
}

// The exit status of a child; -1 when it did not exit normally.
inline int join(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline uint64_t now_ms()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

inline mts_addr_t request_addr()
{
    mts_addr_t a{};
    a.word[0] = 1;
    return a;
}

// A payload to send with an address record, which the transport takes and
// frees: a malloc'ed copy of `len` bytes at `bytes`.
inline void *handed(const void *bytes, size_t len)
{
    void *p = std::malloc(len != 0 ? len : 1);
    if (p != nullptr && len != 0)
        std::memcpy(p, bytes, len);
    return p;
}

inline mts_recv_opts_t by_token(uint32_t token)
{
    mts_recv_opts_t o{};
    o.word[0] = 1;
    o.word[3] = token;
    return o;
}

inline std::vector<uint8_t> payload_of(const mts_msg_hdl_t &m)
{
    const auto *p = static_cast<const uint8_t *>(mts_payload_get(&m));
    return std::vector<uint8_t>(p, p + mts_payload_size(&m));
}

// Every test runs with its own run directory and a 1 s reply time-out.
class MtsTest : public ::testing::Test {
protected:
    host_test::TempDir dir_;
    host_test::ScopedEnv run_dir_{vlan_mgr_host::ENV_RUN_DIR, dir_.path().c_str()};
    host_test::ScopedEnv timeout_{vlan_mgr_host::ENV_MTS_TIMEOUT_MS, "1000"};
    void TearDown() override { vlan_mgr_host_mts_shutdown(); }
};

} // namespace mts_test
