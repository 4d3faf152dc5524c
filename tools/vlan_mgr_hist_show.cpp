// vlan_mgr_hist_show: prints the event history that a process linked with
// libvlan_mgr and the host platform recorded, oldest entry first, through the
// VLAN manager's history print callback.
//
//   vlan_mgr_hist_show <pid>          the ring of process <pid>
//   vlan_mgr_hist_show -f <file>      a ring file given by name
//   vlan_mgr_hist_show --prune        removes the rings of ended processes
//
// Rings are looked up in VLAN_MGR_HIST_DIR (default /dev/shm). Exit status:
// 0 printed, 1 no such ring, 2 not a ring file or a usage error.
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/host_platform.h"

// The VLAN manager's history print callback (libvlan_mgr).
extern "C" int32_t vlan_mgr_history_cli(const char *text, uint32_t text_length, uint16_t event, uint32_t time_sec,
                                        uint32_t time_usec, void *out);

namespace {

using namespace vlan_mgr_host;

void print_entry(const HistEntry &entry, void *)
{
    char text[2 * SLOT_DATA_BYTES + 1];
    uint32_t length = 0;
    hist_entry_text(entry, text, sizeof text, &length, nullptr);
    // A null print context: the header goes to stdout, like the text.
    vlan_mgr_history_cli(text, length, hist_event_number(entry.event_id), entry.time_sec, entry.time_usec, nullptr);
}

int show(const char *path)
{
    HistRingInfo info{};
    switch (hist_ring_read_file(path, print_entry, nullptr, &info)) {
    case RingRead::ok:
        break;
    case RingRead::cannot_open:
        std::fprintf(stderr, "vlan_mgr_hist_show: %s: %s\n", path, std::strerror(errno));
        return 1;
    case RingRead::bad_format:
        std::fprintf(stderr, "vlan_mgr_hist_show: %s: not an event-history ring\n", path);
        return 2;
    }
    std::fflush(stdout);
    std::printf("-- pid %" PRIu32 ": %" PRIu64 " events recorded, %" PRIu64 " shown, %" PRIu64
                " overwritten, %" PRIu64 " skipped while being written\n",
                info.pid, info.recorded, info.delivered, info.overwritten, info.skipped);
    return 0;
}

void report_removed(const char *path, void *) { std::printf("removed %s\n", path); }

int usage()
{
    std::fprintf(stderr, "usage: vlan_mgr_hist_show <pid>\n"
                         "       vlan_mgr_hist_show -f <ring file>\n"
                         "       vlan_mgr_hist_show --prune\n");
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--prune") == 0) {
        hist_ring_prune(report_removed, nullptr);
        return 0;
    }
    if (argc == 3 && std::strcmp(argv[1], "-f") == 0)
        return show(argv[2]);
    if (argc != 2)
        return usage();
    char *end = nullptr;
    errno = 0;
    const long pid = std::strtol(argv[1], &end, 10);
    if (end == argv[1] || *end != '\0' || errno != 0 || pid <= 0 || pid > 0x7FFFFFFF)
        return usage();
    char path[512];
    if (!hist_ring_path(static_cast<pid_t>(pid), path, sizeof path)) {
        std::fprintf(stderr, "vlan_mgr_hist_show: ring directory name too long\n");
        return 2;
    }
    return show(path);
}
