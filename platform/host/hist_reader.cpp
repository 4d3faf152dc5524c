// Reader of the event-history ring: walks a ring (this process's own, or the
// file of another process mapped read-only) and prepares entries for the
// history print callback. Used by vlan_mgr_hist_show.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vlan_mgr/frame.h>

#include "host/host_platform.h"

namespace vlan_mgr_host {

namespace {

bool header_valid(const RingHeader &h, size_t size)
{
    if (std::memcmp(h.magic, RING_MAGIC, sizeof h.magic) != 0 || h.version != RING_VERSION ||
        h.header_size != sizeof(RingHeader) || h.slot_size != sizeof(RingSlot) || h.data_size != SLOT_DATA_BYTES ||
        h.slot_count < 1 || h.slot_count > RING_MAX_SLOTS)
        return false;
    return static_cast<uint64_t>(size) >=
           sizeof(RingHeader) + static_cast<uint64_t>(h.slot_count) * sizeof(RingSlot);
}

} // namespace

RingRead hist_ring_read(const void *base, size_t size, HistEntryFn fn, void *ctx, HistRingInfo *info)
{
    HistRingInfo local{};
    HistRingInfo &out = info != nullptr ? *info : local;
    out = HistRingInfo{};
    if (base == nullptr || size < sizeof(RingHeader))
        return RingRead::bad_format;
    const auto *hdr = static_cast<const RingHeader *>(base);
    RingHeader h;
    std::memcpy(&h, hdr, sizeof h);
    if (!header_valid(h, size))
        return RingRead::bad_format;

    const uint64_t head = __atomic_load_n(&hdr->head, __ATOMIC_ACQUIRE);
    const uint64_t first = head > h.slot_count ? head - h.slot_count : 0;
    out.pid = h.pid;
    out.slot_count = h.slot_count;
    out.recorded = head;
    out.overwritten = first;
    const auto *slots = reinterpret_cast<const RingSlot *>(static_cast<const uint8_t *>(base) + sizeof(RingHeader));
    RingSlot copy;
    for (uint64_t n = first; n < head; ++n) {
        const RingSlot *s = slots + n % h.slot_count;
        const uint64_t before = __atomic_load_n(&s->seq, __ATOMIC_ACQUIRE);
        if (before != n + 1) {
            ++out.skipped;
            continue;
        }
        // Copied field by field: the writer may be rewriting the slot; the
        // sequence word read again afterwards tells whether it did.
        copy.event_id = s->event_id;
        copy.length = s->length;
        copy.stored = s->stored < SLOT_DATA_BYTES ? s->stored : SLOT_DATA_BYTES;
        copy.time_sec = s->time_sec;
        copy.time_usec = s->time_usec;
        std::memcpy(copy.data, s->data, copy.stored);
        __atomic_thread_fence(__ATOMIC_ACQUIRE);
        if (__atomic_load_n(&s->seq, __ATOMIC_RELAXED) != before) {
            ++out.skipped;
            continue;
        }
        ++out.delivered;
        if (fn != nullptr)
            fn(HistEntry{n, copy.event_id, copy.length, copy.stored, copy.time_sec, copy.time_usec, copy.data},
               ctx);
    }
    return RingRead::ok;
}

RingRead hist_ring_read_file(const char *path, HistEntryFn fn, void *ctx, HistRingInfo *info)
{
    if (info != nullptr)
        *info = HistRingInfo{};
    if (path == nullptr)
        return RingRead::cannot_open;
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return RingRead::cannot_open;
    struct stat st{};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        return RingRead::cannot_open;
    }
    if (st.st_size < static_cast<off_t>(sizeof(RingHeader))) {
        close(fd);
        return RingRead::bad_format;
    }
    // Nothing beyond the largest ring is ever read.
    constexpr uint64_t largest = sizeof(RingHeader) + uint64_t{RING_MAX_SLOTS} * sizeof(RingSlot);
    const size_t size = static_cast<size_t>(static_cast<uint64_t>(st.st_size) < largest ? st.st_size : largest);
    void *p = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    if (p == MAP_FAILED)
        return RingRead::cannot_open;
    RingRead r = hist_ring_read(p, size, fn, ctx, info);
    munmap(p, size);
    return r;
}

namespace {

// The pid of a ring file name, "vlan_mgr_hist.<pid>" or a temporary
// "vlan_mgr_hist.<pid>.XXXXXX"; 0 for any other name.
pid_t ring_owner(const char *name)
{
    static constexpr char prefix[] = "vlan_mgr_hist.";
    if (std::strncmp(name, prefix, sizeof prefix - 1) != 0)
        return 0;
    const char *p = name + sizeof prefix - 1;
    long pid = 0;
    const char *digits = p;
    while (*p >= '0' && *p <= '9' && p - digits < 10)
        pid = pid * 10 + (*p++ - '0');
    if (p == digits || (*p != '\0' && *p != '.') || pid <= 0 || pid > 0x7FFFFFFF)
        return 0;
    if (*p == '.' && std::strlen(p) != 7) // mkostemp's six characters
        return 0;
    return static_cast<pid_t>(pid);
}

} // namespace

size_t hist_ring_prune(void (*removed)(const char *path, void *ctx), void *ctx)
{
    char dir_path[256];
    const char *dir = std::getenv(ENV_HIST_DIR);
    if (dir == nullptr || *dir == '\0')
        dir = DEFAULT_HIST_DIR;
    if (std::snprintf(dir_path, sizeof dir_path, "%s", dir) >= static_cast<int>(sizeof dir_path))
        return 0;
    DIR *d = opendir(dir_path);
    if (d == nullptr)
        return 0;
    size_t count = 0;
    while (dirent *e = readdir(d)) {
        const pid_t pid = ring_owner(e->d_name);
        if (pid == 0 || kill(pid, 0) == 0 || errno != ESRCH)
            continue; // not a ring, or its process (or one we may not signal) exists
        char path[sizeof dir_path + 256];
        if (std::snprintf(path, sizeof path, "%s/%s", dir_path, e->d_name) >= static_cast<int>(sizeof path))
            continue;
        if (unlink(path) == 0) {
            ++count;
            if (removed != nullptr)
                removed(path, ctx);
        }
    }
    closedir(d);
    return count;
}

void hist_entry_text(const HistEntry &entry, char *out, size_t out_size, uint32_t *text_length,
                     uint32_t *report_class)
{
    const uint8_t *text = entry.data;
    size_t avail = entry.stored;
    uint32_t cls = 0;
    if (entry.event_id == VLAN_MGR_LIB_HIST_ID && avail >= 4) {
        std::memcpy(&cls, text, 4);
        text += 4;
        avail -= 4;
    }
    size_t len = 0;
    while (len < avail && text[len] != '\0')
        ++len;
    while (len > 0 && (text[len - 1] == '\n' || text[len - 1] == '\r'))
        --len;

    size_t o = 0;
    uint32_t shown = 0;
    for (size_t i = 0; i < len && out_size > 0; ++i) {
        char c = static_cast<char>(text[i]);
        if (c == '%') {
            if (o + 2 >= out_size)
                break;
            out[o++] = '%';
            out[o++] = '%';
        } else {
            if (o + 1 >= out_size)
                break;
            const auto u = static_cast<unsigned char>(c);
            out[o++] = (u < 0x20 && c != '\t') || u == 0x7f ? '.' : c;
        }
        ++shown;
    }
    if (out_size > 0)
        out[o] = '\0';
    if (text_length != nullptr)
        *text_length = shown;
    if (report_class != nullptr)
        *report_class = cls;
}

} // namespace vlan_mgr_host
