// vlan_mgrd: the VLAN manager daemon. Restores the saved configuration,
// republishes every VDC's BD database, then serves SAP VLAN_MGR_MTS_SAP on
// the host transport until SIGTERM or SIGINT.
//
// Exit status: 0 stopped by a signal; 1 the manager could not start (state,
// state directory, interface table or database); 2 usage error; 3 another
// manager already runs on the run directory or owns the state file (or
// serves the SAP); 4 the run directory or the pid file cannot be made or
// secured; 5 the transport failed while serving.
//
// The files and directories it makes belong to its user and the trust group
// (vlan_mgr_host_trust.h), with exact modes whatever the umask: the run
// directory 02770 (members of the group may use its sockets), the pid file
// 0640, the state directory 0700 (when it makes it), the state file, its log and both lock
// files 0600. Under systemd (Type=notify) it reports READY=1 once the SAP
// answers (and, after a start that restored a saved configuration, once the
// BD-change notifications of the restart are out) and STOPPING=1 when a stop
// begins.
#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <getopt.h>
#include <memory>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <vlan_mgr/frame.h>

#include "engine.h"
#include "persist.h"
#include "server.h"
#include "vlan_mgr_host_mts.h"
#include "vlan_mgr_host_trust.h"

#ifndef VLAN_MGRD_VERSION
#define VLAN_MGRD_VERSION "1.0.0"
#endif

namespace {

enum Exit : int {
    kExitOk = 0,
    kExitStart = 1,
    kExitUsage = 2,
    kExitRunning = 3,
    kExitRunDir = 4,
    kExitTransport = 5,
};

constexpr const char *kDefaultRunDir = "/run/vlan_mgr";
constexpr const char *kDefaultStateDir = "/var/lib/vlan_mgr";
constexpr const char *kStateFile = "vlan_mgrd.state";
constexpr const char *kPidFile = "vlan_mgrd.pid";
constexpr const char *kLockFile = "vlan_mgrd.lock";

// The modes of the trust boundary (see the header comment).
constexpr mode_t kRunDirMode = 02770;
constexpr mode_t kStateDirMode = 0700;
constexpr mode_t kPidFileMode = 0640;
constexpr mode_t kLockFileMode = 0600;

struct Options {
    bool foreground = false;
    std::string run_dir;
    std::string state;
    std::string iftable;
    std::string sdb_root;
    std::string vdc_access;      // the VDC access policy; empty: the default path
    bool vdc_access_given = false;
    bool sync = true;
};

void usage(FILE *out)
{
    std::fprintf(out,
                 "Usage: vlan_mgrd [OPTION]...\n"
                 "The VLAN manager: serves VLAN requests on SAP 167 and publishes the BD databases.\n"
                 "\n"
                 "  -f, --foreground     stay in the foreground (default: run as a daemon)\n"
                 "  -r, --run-dir DIR    transport endpoints and the pid file (default: $VLAN_MGR_RUN_DIR,\n"
                 "                       else %s)\n"
                 "  -s, --state FILE     saved configuration (default: %s/%s, or <run dir>/%s\n"
                 "                       when %s cannot be used); a directory it creates for it\n"
                 "                       is the manager's own (mode 0700)\n"
                 "  -i, --iftable FILE   interface table (default: 48 ports Ethernet1/1-48 in VDC 1)\n"
                 "  -d, --sdb-root DIR   directory of the BD database files (default: $VLAN_MGR_SDB_ROOT,\n"
                 "                       else /dev/shm/vlan_mgr)\n"
                 "  -n, --no-sync        do not flush each save to disk (saves stay atomic and survive\n"
                 "                       the daemon being killed, not a crash of the machine)\n"
                 "  -a, --vdc-access FILE  who may act for which VDC (default: $VLAN_MGR_VDC_ACCESS,\n"
                 "                       else %s when it exists; without one only root and\n"
                 "                       the manager's own user act for any VDC)\n"
                 "  -h, --help           show this help and exit\n"
                 "  -V, --version        show the version and exit\n"
                 "\n"
                 "Exit status: 0 stopped by SIGTERM or SIGINT, 1 start failed, 2 usage error,\n"
                 "3 another manager runs on the run directory or owns the state file,\n"
                 "4 run directory or pid file error, 5 transport failure (SAP cannot be opened or\n"
                 "receiving failed).\n",
                 kDefaultRunDir, kDefaultStateDir, kStateFile, kStateFile, kDefaultStateDir,
                 vlan_mgrd::kDefaultVdcAccessPath);
}

// An absolute form of `path`, since the daemon changes to "/".
std::string absolute(const std::string &path)
{
    if (path.empty() || path[0] == '/')
        return path;
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) == nullptr)
        return path;
    return std::string(cwd) + "/" + path;
}

// Makes `dir` a directory of the trust boundary (created when missing; the
// trust group and exactly `mode`). "" when done, else why not, naming `what`
// and the path: "cannot use run directory /run/x: owned by another user (uid 65534)".
std::string secure_dir(const char *what, const std::string &dir, mode_t mode)
{
    const int e = vlan_mgr_host_trust_dir(dir.c_str(), mode);
    if (e == 0)
        return "";
    std::string why = std::strerror(e);
    struct stat st {};
    if (lstat(dir.c_str(), &st) == 0) {
        if (S_ISLNK(st.st_mode))
            why = "a symbolic link";
        else if (!S_ISDIR(st.st_mode))
            why = "not a directory";
        else if (st.st_uid != geteuid())
            why = "owned by another user (uid " + std::to_string(st.st_uid) + ")";
        else if (e == EEXIST) {
            char mode[8];
            std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
            why = std::string("shared with other users (mode ") + mode + "); give the manager a directory of its own";
        }
    }
    return std::string("cannot use ") + what + " " + dir + ": " + why;
}

// The directory of the state file. The manager makes it its own (trust
// group, 0700) when it creates it, and always for the default
// /var/lib/vlan_mgr; an existing directory named through --state (which may be
// a system directory such as /etc) is left as it is, but must be a real
// directory of the manager's user or of root that no one else may write, so
// that no one else can replace the state or its lock. The run directory
// itself is already the manager's.
std::string secure_state_dir(const std::string &state, const std::string &run_dir)
{
    const size_t slash = state.find_last_of('/');
    const std::string dir = slash == std::string::npos ? "." : (slash == 0 ? "/" : state.substr(0, slash));
    if (dir == run_dir)
        return "";
    struct stat st {};
    if (dir == kDefaultStateDir || lstat(dir.c_str(), &st) != 0)
        return secure_dir("state directory", dir, kStateDirMode);
    const std::string head = "cannot use state directory " + dir + ": ";
    if (S_ISLNK(st.st_mode))
        return head + "a symbolic link";
    if (!S_ISDIR(st.st_mode))
        return head + "not a directory";
    if (st.st_uid != geteuid() && st.st_uid != 0)
        return head + "owned by another user (uid " + std::to_string(st.st_uid) + ")";
    if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        char mode[8];
        std::snprintf(mode, sizeof mode, "0%o", static_cast<unsigned>(st.st_mode & 07777));
        return head + "writable by other users (mode " + mode + "); give the state file a directory of its own";
    }
    return "";
}

// /var/lib/vlan_mgr when the manager can make it its own, else the run
// directory.
std::string default_state_path(const std::string &run_dir)
{
    if (secure_dir("state directory", kDefaultStateDir, kStateDirMode).empty())
        return std::string(kDefaultStateDir) + "/" + kStateFile;
    return run_dir + "/" + kStateFile;
}

int parse_options(int argc, char **argv, Options &o)
{
    static const option longopts[] = {
        {"foreground", no_argument, nullptr, 'f'}, {"run-dir", required_argument, nullptr, 'r'},
        {"state", required_argument, nullptr, 's'}, {"iftable", required_argument, nullptr, 'i'},
        {"sdb-root", required_argument, nullptr, 'd'}, {"no-sync", no_argument, nullptr, 'n'},
        {"vdc-access", required_argument, nullptr, 'a'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},    {nullptr, 0, nullptr, 0},
    };
    int c;
    while ((c = getopt_long(argc, argv, "fr:s:i:d:a:nhV", longopts, nullptr)) != -1) {
        switch (c) {
        case 'f': o.foreground = true; break;
        case 'r': o.run_dir = optarg; break;
        case 's': o.state = optarg; break;
        case 'i': o.iftable = optarg; break;
        case 'd': o.sdb_root = optarg; break;
        case 'n': o.sync = false; break;
        case 'a': o.vdc_access = optarg; o.vdc_access_given = true; break;
        case 'h': usage(stdout); std::exit(kExitOk);
        case 'V': std::printf("vlan_mgrd %s\n", VLAN_MGRD_VERSION); std::exit(kExitOk);
        default: usage(stderr); return kExitUsage;
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "vlan_mgrd: unexpected argument '%s'\n", argv[optind]);
        usage(stderr);
        return kExitUsage;
    }
    if (o.run_dir.empty()) {
        const char *env = std::getenv("VLAN_MGR_RUN_DIR");
        o.run_dir = env != nullptr && env[0] != '\0' ? env : kDefaultRunDir;
    }
    o.run_dir = absolute(o.run_dir);
    o.state = absolute(o.state);
    o.iftable = absolute(o.iftable);
    o.sdb_root = absolute(o.sdb_root);
    if (!o.vdc_access_given) {
        const char *env = std::getenv("VLAN_MGR_VDC_ACCESS");
        o.vdc_access_given = env != nullptr && env[0] != '\0';
        o.vdc_access = o.vdc_access_given ? env : vlan_mgrd::kDefaultVdcAccessPath;
    }
    o.vdc_access = absolute(o.vdc_access);
    return kExitOk;
}

// How the daemon tells the process that started it whether it came up: one
// status byte and a message, through a pipe; the starting process exits with
// that status. In the foreground the message goes to stderr directly.
struct Readiness {
    int fd = -1;

    void report(int status, const std::string &message)
    {
        if (fd < 0) {
            if (!message.empty())
                std::fprintf(stderr, "vlan_mgrd: %s\n", message.c_str());
            return;
        }
        std::string out(1, static_cast<char>(status));
        out += message;
        ssize_t ignored = write(fd, out.data(), out.size());
        (void)ignored;
        ::close(fd);
        fd = -1;
    }
};

// fork, setsid, fork; the first process waits for the daemon's readiness
// report and exits with its status. Returns in the daemon only.
void daemonize(Readiness &ready)
{
    int p[2];
    if (pipe(p) != 0) {
        std::perror("vlan_mgrd: pipe");
        std::exit(kExitStart);
    }
    const pid_t child = fork();
    if (child < 0) {
        std::perror("vlan_mgrd: fork");
        std::exit(kExitStart);
    }
    if (child > 0) {
        ::close(p[1]);
        std::string msg;
        char buf[512];
        ssize_t n;
        while ((n = read(p[0], buf, sizeof buf)) > 0 || (n < 0 && errno == EINTR))
            if (n > 0)
                msg.append(buf, static_cast<size_t>(n));
        if (msg.empty()) {
            std::fprintf(stderr, "vlan_mgrd: the daemon ended before it was ready\n");
            _exit(kExitStart);
        }
        const int status = static_cast<unsigned char>(msg[0]);
        if (msg.size() > 1)
            std::fprintf(status == 0 ? stdout : stderr, "vlan_mgrd: %s\n", msg.c_str() + 1);
        std::fflush(nullptr);
        _exit(status);
    }
    ::close(p[0]);
    if (setsid() < 0)
        _exit(kExitStart);
    const pid_t grandchild = fork();
    if (grandchild < 0)
        _exit(kExitStart);
    if (grandchild > 0)
        _exit(kExitOk);
    ready.fd = p[1];
    if (chdir("/") != 0)
        _exit(kExitStart);
    umask(0007);
    const int null = open("/dev/null", O_RDWR);
    if (null >= 0) {
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        if (null > STDERR_FILENO)
            ::close(null);
    }
}

// The instance lock: held (flock) for the daemon's life, so that a second
// manager on the same run directory refuses to start before it touches the
// database. Returns the lock's descriptor, -1 when another process holds it.
int take_instance_lock(const std::string &path, std::string &error)
{
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockFileMode);
    if (fd < 0) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return -2;
    }
    if (const int e = vlan_mgr_host_trust_fd(fd, kLockFileMode); e != 0) {
        ::close(fd);
        error = "cannot secure " + path + ": " + std::strerror(e);
        return -2;
    }
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

std::string running_pid(const std::string &pid_path)
{
    FILE *f = std::fopen(pid_path.c_str(), "r");
    if (f == nullptr)
        return "?";
    char buf[32] = {};
    if (std::fgets(buf, sizeof buf, f) == nullptr)
        buf[0] = '\0';
    std::fclose(f);
    std::string s(buf);
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r'))
        s.pop_back();
    return s.empty() ? "?" : s;
}

// Writes the pid file whole (a temporary file renamed into place), so that a
// reader never sees it half written.
bool write_pid_file(const std::string &path, std::string &error)
{
    const std::string tmp = path + ".tmp";
    const int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kPidFileMode);
    if (fd < 0) {
        error = "cannot write " + tmp + ": " + std::strerror(errno);
        return false;
    }
    if (const int e = vlan_mgr_host_trust_fd(fd, kPidFileMode); e != 0) {
        ::close(fd);
        unlink(tmp.c_str());
        error = "cannot secure " + tmp + ": " + std::strerror(e);
        return false;
    }
    FILE *f = fdopen(fd, "w");
    if (f == nullptr) {
        error = "cannot write " + tmp + ": " + std::strerror(errno);
        ::close(fd);
        unlink(tmp.c_str());
        return false;
    }
    std::fprintf(f, "%ld\n", static_cast<long>(getpid()));
    if (std::fclose(f) != 0 || rename(tmp.c_str(), path.c_str()) != 0) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        unlink(tmp.c_str());
        return false;
    }
    return true;
}

const sigset_t &stop_signals()
{
    static const sigset_t set = [] {
        sigset_t s;
        sigemptyset(&s);
        sigaddset(&s, SIGTERM);
        sigaddset(&s, SIGINT);
        return s;
    }();
    return set;
}

// SIGTERM and SIGINT stay blocked in every thread, from before the
// transport starts its own; the server loop takes them with sigtimedwait
// between messages. No handler runs at all: nothing interrupts the transport,
// and the stop is seen within one poll interval.
void install_signals()
{
    pthread_sigmask(SIG_BLOCK, &stop_signals(), nullptr);
    struct sigaction ign {};
    ign.sa_handler = SIG_IGN;
    sigemptyset(&ign.sa_mask);
    sigaction(SIGPIPE, &ign, nullptr);
    sigaction(SIGHUP, &ign, nullptr);
}

} // namespace

int main(int argc, char **argv)
{
    Options o;
    if (const int rc = parse_options(argc, argv, o); rc != kExitOk)
        return rc;

    // The transport and the database publisher read their places from the
    // environment when they first open; set them before either is used.
    setenv("VLAN_MGR_RUN_DIR", o.run_dir.c_str(), 1);
    if (!o.sdb_root.empty())
        setenv("VLAN_MGR_SDB_ROOT", o.sdb_root.c_str(), 1);

    install_signals();
    Readiness ready;
    if (!o.foreground)
        daemonize(ready);

    if (const std::string msg = secure_dir("run directory", o.run_dir, kRunDirMode); !msg.empty()) {
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, msg);
        ready.report(kExitRunDir, msg);
        return kExitRunDir;
    }
    const std::string pid_path = o.run_dir + "/" + kPidFile;
    std::string error;
    const int lock_fd = take_instance_lock(o.run_dir + "/" + kLockFile, error);
    if (lock_fd == -2) {
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, error);
        ready.report(kExitRunDir, error);
        return kExitRunDir;
    }
    if (lock_fd < 0) {
        const std::string msg =
            "another vlan_mgrd (pid " + running_pid(pid_path) + ") runs on run directory " + o.run_dir;
        ready.report(kExitRunning, msg);
        return kExitRunning;
    }
    if (o.state.empty())
        o.state = default_state_path(o.run_dir);
    if (const std::string msg = secure_state_dir(o.state, o.run_dir); !msg.empty()) {
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, msg);
        ready.report(kExitStart, msg);
        return kExitStart;
    }
    // The state is this manager's from before it is loaded until it exits:
    // a second manager on another run directory cannot load or save it.
    pid_t holder = 0;
    const int state_lock_fd = vlan_mgrd::lock_state(o.state, holder, error);
    if (state_lock_fd == -2) {
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, error);
        ready.report(kExitStart, error);
        return kExitStart;
    }
    if (state_lock_fd < 0) {
        const std::string msg = "state file " + o.state + " is in use by another manager (pid " +
                                (holder > 0 ? std::to_string(holder) : std::string("?")) + ")";
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, msg);
        ready.report(kExitRunning, msg);
        return kExitRunning;
    }

    // Who may act for which VDC: a policy named on purpose must be there.
    vlan_mgrd::VdcAccess vdc_access(geteuid());
    if (!vdc_access.load(o.vdc_access, !o.vdc_access_given, error)) {
        const std::string msg = "cannot use the VDC access policy " + error;
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, msg);
        ready.report(kExitStart, msg);
        return kExitStart;
    }

    vlan_mgrd::EngineOptions eo;
    eo.state_path = o.state;
    eo.iftable_path = o.iftable;
    eo.run_dir = o.run_dir;
    eo.publish = true;
    eo.sync = o.sync;
    // The manager's state is large (five VDCs of 4096 VLANs): on the heap.
    auto engine_ptr = std::make_unique<vlan_mgrd::Engine>(eo);
    vlan_mgrd::Engine &engine = *engine_ptr;

    // The state is back and published before the SAP opens: no request is
    // answered from a half-restored manager.
    if (const uint32_t rc = engine.start(error); rc != 0) {
        char word[16];
        std::snprintf(word, sizeof word, "0x%08x", rc);
        const std::string msg = "start failed (" + std::string(word) + "): " + error;
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, msg);
        ready.report(kExitStart, msg);
        vlan_mgr_host_mts_shutdown();
        return kExitStart;
    }

    vlan_mgrd::ServerOptions so;
    so.vdc_access = &vdc_access;
    vlan_mgrd::Server server(engine, so);
    if (const int32_t rc = server.open(error); rc != 0) {
        const int status = rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_SAP_BUSY) ? kExitRunning : kExitTransport;
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, error);
        ready.report(status, error);
        vlan_mgr_host_mts_shutdown();
        return status;
    }
    if (!write_pid_file(pid_path, error)) {
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, error);
        ready.report(kExitRunDir, error);
        server.close();
        vlan_mgr_host_mts_shutdown();
        return kExitRunDir;
    }

    // After a restored start the subscribers of the previous run are told
    // every VLAN's BD (one VLAN_MGR_NOTIF_BD_CHANGE per VDC) before any
    // request is served and before the start is reported ready: by READY=1
    // (or the exit of the daemonizing parent) the restored state has been
    // sent to their BD caches, and no change notification precedes it.
    server.publish_restart();

    const std::string started = "started, pid " + std::to_string(getpid()) + ", run directory " + o.run_dir +
                                ", state " + o.state;
    vlan_mgrd::log_started(started);
    ready.report(kExitOk, o.foreground ? "" : started);
    // The service manager learns that the manager serves (a no-op outside
    // systemd: NOTIFY_SOCKET unset).
    sd_notifyf(0, "READY=1\nSTATUS=Serving SAP %u, run directory %s\nMAINPID=%ld", unsigned{VLAN_MGR_MTS_SAP},
               o.run_dir.c_str(), static_cast<long>(getpid()));

    const int32_t rc = server.run(stop_signals(), error);
    sd_notify(0, "STOPPING=1");
    const vlan_mgrd::ServerStats st = server.stats();
    server.close();
    vlan_mgr_host_mts_shutdown();
    unlink(pid_path.c_str());
    if (rc != 0) {
        vlan_mgrd::log_event(vlan_mgrd::LogKind::Error, "stopped: " + error);
        if (o.foreground)
            std::fprintf(stderr, "vlan_mgrd: %s\n", error.c_str());
        return kExitTransport;
    }
    vlan_mgrd::log_event(vlan_mgrd::LogKind::Info, "stopped after " + std::to_string(st.requests) + " requests, " +
                                                        std::to_string(st.notifications) + " notifications");
    ::close(state_lock_fd);
    ::close(lock_fd);
    return kExitOk;
}
