// vlan_mgrd under a service manager (systemd, Type=notify): it reports
// READY=1 on $NOTIFY_SOCKET once its SAP answers, and STOPPING=1 when a stop
// begins.
#include "daemon_fixture.h"

#include <sys/socket.h>
#include <sys/un.h>

namespace vlan_mgrd::daemon_test {
namespace {

const std::vector<uint8_t> kUnknownRequest = {0x41, 0x10, 0x00, 0xC1};

// A Unix datagram socket bound to `path`, as the service manager's notify
// socket; -1 on failure.
int notify_socket(const std::string &path)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) {
        close(fd);
        return -1;
    }
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// The next datagram within `ms`, or "" when none came.
std::string next_datagram(int fd, int ms)
{
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, ms) <= 0)
        return "";
    char buf[4096];
    const ssize_t n = recv(fd, buf, sizeof buf, 0);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : "";
}

std::vector<std::string> lines(const std::string &s)
{
    std::vector<std::string> out;
    std::stringstream in(s);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdNotifiesReadyOnceItServesAndStoppingOnSigterm)
{
    const std::string sock_path = dir_ + "/notify";
    const int sock = notify_socket(sock_path);
    ASSERT_GE(sock, 0) << std::strerror(errno);

    const pid_t pid = fork();
    if (pid == 0) {
        setenv("NOTIFY_SOCKET", sock_path.c_str(), 1);
        const int out = open(log_file().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        if (out >= 0) {
            dup2(out, STDOUT_FILENO);
            dup2(out, STDERR_FILENO);
        }
        std::vector<std::string> args = {VLAN_MGRD_BIN, "--foreground", "--run-dir", run_dir_,
                                         "--state",     state_,          "--sdb-root", sdb_root_};
        std::vector<char *> argv;
        for (std::string &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    ASSERT_GT(pid, 0);
    daemon_ = pid;

    // The first thing it says is that it is ready, and by then it answers.
    const std::string ready = next_datagram(sock, 10000);
    const std::vector<std::string> ready_lines = lines(ready);
    ASSERT_FALSE(ready_lines.empty()) << "no notification: " << read_file(log_file());
    EXPECT_EQ(ready_lines[0], "READY=1");
    const uint8_t req[4] = {0, 0, 0, 1};
    const Exchange x = exchange(client(), 0x5DFFu, req, sizeof req);
    EXPECT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kUnknownRequest);
    EXPECT_EQ(read_file(pid_file()), std::to_string(pid) + "\n");
    EXPECT_EQ(ready, "READY=1\nSTATUS=Serving SAP 167, run directory " + run_dir_ + "\nMAINPID=" +
                         std::to_string(pid));
    // Nothing more while it serves.
    EXPECT_EQ(next_datagram(sock, 100), "");

    ASSERT_EQ(kill(pid, SIGTERM), 0);
    EXPECT_EQ(next_datagram(sock, 10000), "STOPPING=1");
    EXPECT_EQ(join(pid, 10000), 0);
    daemon_ = -1;
    EXPECT_EQ(next_datagram(sock, 100), "");
    close(sock);
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdNotifiesNothingWhenItCannotStart)
{
    const std::string sock_path = dir_ + "/notify";
    const int sock = notify_socket(sock_path);
    ASSERT_GE(sock, 0) << std::strerror(errno);
    // A run directory that cannot be made: its place is a file.
    ASSERT_TRUE(std::ofstream(run_dir_).good());
    setenv("NOTIFY_SOCKET", sock_path.c_str(), 1);
    std::string out;
    const int rc = run_to_end({"--foreground", "--run-dir", run_dir_, "--state", state_, "--sdb-root", sdb_root_}, out);
    unsetenv("NOTIFY_SOCKET");
    EXPECT_EQ(rc, 4);
    EXPECT_EQ(out, "vlan_mgrd: cannot use run directory " + run_dir_ + ": not a directory\n");
    EXPECT_EQ(next_datagram(sock, 100), "");
    close(sock);
}

} // namespace
} // namespace vlan_mgrd::daemon_test
