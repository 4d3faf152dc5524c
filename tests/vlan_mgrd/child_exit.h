// Ending a forked child of a test: its results go back through a pipe, and
// it ends with exit(), so that a coverage build writes the child's counters
// too (the objects of the test body are on its stack or owned by the
// fixture: exit() destroys none of them, only static ones). Under
// AddressSanitizer it ends with _exit(): the host platform's fork handler
// lets the child forget (not close) the parent's database environments, and
// the leak check at exit would report them.
#ifndef VLAN_MGRD_CHILD_EXIT_H
#define VLAN_MGRD_CHILD_EXIT_H

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VLAN_MGRD_TEST_HAS_ASAN 1
#endif
#endif
#ifndef VLAN_MGRD_TEST_HAS_ASAN
#define VLAN_MGRD_TEST_HAS_ASAN 0
#endif

namespace vlan_mgrd::test {

[[noreturn]] inline void child_exit(int status)
{
#if defined(__SANITIZE_ADDRESS__) || VLAN_MGRD_TEST_HAS_ASAN
    _exit(status);
#else
    std::exit(status);
#endif
}

// Writes `text` whole to `fd` (a pipe to the parent).
inline void child_write(int fd, const std::string &text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n <= 0)
            return;
        done += static_cast<size_t>(n);
    }
}

// Runs `body` in a forked child that writes its report to the pipe; returns
// the report, and the child's exit status in `status` (-1: not exited).
template <typename Body>
std::string in_child(Body body, int &status)
{
    status = -1;
    int p[2];
    if (pipe(p) != 0)
        return "pipe failed";
    std::fflush(nullptr); // nothing of the parent's buffers is written twice
    const pid_t pid = fork();
    if (pid < 0)
        return "fork failed";
    if (pid == 0) {
        close(p[0]);
        child_write(p[1], body());
        close(p[1]);
        child_exit(0);
    }
    close(p[1]);
    std::string out;
    char buf[4096];
    ssize_t n;
    while ((n = read(p[0], buf, sizeof buf)) > 0)
        out.append(buf, static_cast<size_t>(n));
    close(p[0]);
    int ws = 0;
    if (waitpid(pid, &ws, 0) == pid && WIFEXITED(ws))
        status = WEXITSTATUS(ws);
    return out;
}

} // namespace vlan_mgrd::test

#endif
