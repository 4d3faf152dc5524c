// Host event history: every event is stored in this process's ring (see
// host_platform.h for its layout), which lives in a shared file mapping so
// that vlan_mgr_hist_show can print it from outside, even after the process
// has ended. The ring is opened on the first event. When its file cannot be
// made (no directory, no space) the ring lives in anonymous memory instead:
// events are still kept, but only the process itself can read them.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/host_platform.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr_host {

namespace {

struct Ring {
    RingHeader *hdr; // nullptr while closed; published last
    size_t size;
    uint32_t slots;  // kept here: the mapping is not trusted for the slot index
    pid_t pid;       // the process that opened it; a forked child opens its own
    char path[256];  // empty when the ring is anonymous
};

constinit pthread_mutex_t ring_lock = PTHREAD_MUTEX_INITIALIZER;
constinit Ring ring = {nullptr, 0, 0, 0, {}};

uint32_t slots_wanted()
{
    const char *v = std::getenv(ENV_HIST_SLOTS);
    if (v == nullptr || *v == '\0')
        return RING_DEFAULT_SLOTS;
    char *end = nullptr;
    unsigned long n = std::strtoul(v, &end, 10);
    if (*end != '\0' || n < 1 || n > RING_MAX_SLOTS || *v == '-')
        return RING_DEFAULT_SLOTS;
    return static_cast<uint32_t>(n);
}

void init_header(RingHeader *h, uint32_t slots, pid_t pid)
{
    std::memcpy(h->magic, RING_MAGIC, sizeof h->magic);
    h->version = RING_VERSION;
    h->header_size = sizeof(RingHeader);
    h->slot_size = sizeof(RingSlot);
    h->slot_count = slots;
    h->data_size = SLOT_DATA_BYTES;
    h->pid = static_cast<uint32_t>(pid);
}

// Makes the ring file: written under a temporary name and renamed into place,
// so that a reader never sees a half-made ring and a stale file of an earlier
// process with the same id is replaced, not overwritten under its readers.
// The file's pages are reserved up front: a full file system must not turn a
// later event into a SIGBUS.
RingHeader *create_file(const char *path, size_t size)
{
    char tmp[sizeof ring.path + 8];
    if (std::snprintf(tmp, sizeof tmp, "%s.XXXXXX", path) >= static_cast<int>(sizeof tmp))
        return nullptr;
    int fd = mkostemp(tmp, O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    void *p = MAP_FAILED;
    if (fchmod(fd, 0644) == 0 && posix_fallocate(fd, 0, static_cast<off_t>(size)) == 0)
        p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (p == MAP_FAILED) {
        unlink(tmp);
        return nullptr;
    }
    if (rename(tmp, path) != 0) {
        munmap(p, size);
        unlink(tmp);
        return nullptr;
    }
    return static_cast<RingHeader *>(p);
}

RingHeader *open_ring_locked(pid_t pid)
{
    if (ring.hdr != nullptr) {
        // A ring inherited across fork belongs to the parent.
        if (ring.pid == pid)
            return ring.hdr;
        munmap(ring.hdr, ring.size);
        __atomic_store_n(&ring.hdr, nullptr, __ATOMIC_RELEASE);
    }
    const uint32_t slots = slots_wanted();
    const size_t size = sizeof(RingHeader) + static_cast<size_t>(slots) * sizeof(RingSlot);
    char path[sizeof ring.path];
    RingHeader *h = hist_ring_path(pid, path, sizeof path) ? create_file(path, size) : nullptr;
    if (h == nullptr) {
        path[0] = '\0';
        void *p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED)
            return nullptr;
        h = static_cast<RingHeader *>(p);
    }
    init_header(h, slots, pid);
    ring.size = size;
    ring.slots = slots;
    ring.pid = pid;
    std::memcpy(ring.path, path, sizeof ring.path);
    __atomic_store_n(&ring.hdr, h, __ATOMIC_RELEASE);
    return h;
}

// The ring of this process (opened on first use) and its slot count.
RingHeader *current_ring(uint32_t &slots)
{
    const pid_t pid = getpid();
    RingHeader *h = __atomic_load_n(&ring.hdr, __ATOMIC_ACQUIRE);
    if (h == nullptr || __atomic_load_n(&ring.pid, __ATOMIC_RELAXED) != pid) {
        pthread_mutex_lock(&ring_lock);
        h = open_ring_locked(pid);
        pthread_mutex_unlock(&ring_lock);
    }
    slots = ring.slots;
    return h;
}

} // namespace

bool hist_ring_path(pid_t pid, char *buf, size_t size)
{
    const char *dir = std::getenv(ENV_HIST_DIR);
    if (dir == nullptr || *dir == '\0')
        dir = DEFAULT_HIST_DIR;
    int n = std::snprintf(buf, size, "%s/vlan_mgr_hist.%ld", dir, static_cast<long>(pid));
    return n >= 0 && static_cast<size_t>(n) < size;
}

const char *hist_ring_file()
{
    if (__atomic_load_n(&ring.hdr, __ATOMIC_ACQUIRE) == nullptr || ring.path[0] == '\0')
        return nullptr;
    return ring.path;
}

void hist_ring_close(bool remove_file)
{
    pthread_mutex_lock(&ring_lock);
    if (ring.hdr != nullptr) {
        munmap(ring.hdr, ring.size);
        if (remove_file && ring.path[0] != '\0' && ring.pid == getpid())
            unlink(ring.path);
    }
    __atomic_store_n(&ring.hdr, nullptr, __ATOMIC_RELEASE);
    ring.size = 0;
    ring.slots = 0;
    ring.pid = 0;
    ring.path[0] = '\0';
    pthread_mutex_unlock(&ring_lock);
}

RingRead hist_ring_read_self(HistEntryFn fn, void *ctx, HistRingInfo *info)
{
    pthread_mutex_lock(&ring_lock);
    RingRead r = ring.hdr != nullptr && ring.pid == getpid() ? hist_ring_read(ring.hdr, ring.size, fn, ctx, info)
                                                             : RingRead::cannot_open;
    pthread_mutex_unlock(&ring_lock);
    return r;
}

} // namespace vlan_mgr_host

using namespace vlan_mgr_host;

extern "C" {

// An event is recorded unless its class is listed in VLAN_MGR_HIST_OFF.
int32_t sdwrap_hist_event_subtype_check(uint32_t, uint32_t subtype)
{
    return class_listed(ENV_HIST_OFF, subtype) ? 1 : 0;
}

namespace {

// Claims `slot` for entry `n`: its sequence word, set to SLOT_BUSY, locks
// out both readers (who take only complete entries) and a writer that lapped
// the ring onto the same slot. False when a newer entry already holds the
// slot (this one counts as overwritten) or the slot stays busy: a writer
// interrupted by a signal handler that records into the same slot must not
// make the handler wait for ever.
enum class Claim { ok, overwritten, busy };

Claim claim_slot(RingSlot *slot, uint64_t n)
{
    uint64_t cur = __atomic_load_n(&slot->seq, __ATOMIC_RELAXED);
    for (int busy_rounds = 0;;) {
        if (cur == SLOT_BUSY) {
            if (++busy_rounds > 1000)
                return Claim::busy;
            sched_yield();
            cur = __atomic_load_n(&slot->seq, __ATOMIC_RELAXED);
            continue;
        }
        if (cur > n + 1)
            return Claim::overwritten;
        if (__atomic_compare_exchange_n(&slot->seq, &cur, SLOT_BUSY, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED))
            return Claim::ok;
    }
}

} // namespace

// Takes the next sequence number, then fills its slot between claiming it and
// setting its sequence word to n + 1, so that a reader can tell a complete
// entry from one being written. Records longer than a slot keep their first
// SLOT_DATA_BYTES bytes and their full length.
int32_t sdwrap_hist_event(uint32_t event_id, uint32_t length, const void *record)
{
    if (record == nullptr && length > 0)
        return ERR_INVALID_ARG;
    uint32_t slots = 0;
    RingHeader *h = current_ring(slots);
    if (h == nullptr || slots == 0)
        return ERR_NO_MEMORY;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);

    const uint64_t n = __atomic_fetch_add(&h->head, 1, __ATOMIC_RELAXED);
    RingSlot *slot = reinterpret_cast<RingSlot *>(reinterpret_cast<uint8_t *>(h) + sizeof(RingHeader)) +
                     n % slots;
    switch (claim_slot(slot, n)) {
    case Claim::ok:
        break;
    case Claim::overwritten:
        return 0;
    case Claim::busy:
        return ERR_BUSY;
    }
    // The claim is seen before any byte of the new entry.
    __atomic_thread_fence(__ATOMIC_RELEASE);
    slot->event_id = event_id;
    slot->length = length;
    slot->stored = length < SLOT_DATA_BYTES ? length : SLOT_DATA_BYTES;
    slot->time_sec = static_cast<uint32_t>(now.tv_sec);
    slot->time_usec = static_cast<uint32_t>(now.tv_nsec / 1000);
    slot->reserved = 0;
    if (slot->stored > 0)
        std::memcpy(slot->data, record, slot->stored);
    __atomic_store_n(&slot->seq, n + 1, __ATOMIC_RELEASE);
    return 0;
}

// "[YYYY-MM-DD hh:mm:ss.uuuuuu] NAME, length N", time in UTC, on `out` (a
// FILE *) or stdout when `out` is NULL. Returns what fprintf returns.
int32_t sdwrap_hist_print_event_header(void *out, const char *event_name, uint32_t text_length, uint32_t time_sec,
                                       uint32_t time_usec)
{
    std::FILE *f = out != nullptr ? static_cast<std::FILE *>(out) : stdout;
    const time_t t = static_cast<time_t>(time_sec);
    tm parts{};
    char when[32] = "?";
    if (gmtime_r(&t, &parts) != nullptr)
        std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &parts);
    return std::fprintf(f, "[%s.%06u] %s, length %u\n", when, static_cast<unsigned>(time_usec),
                        event_name != nullptr ? event_name : "(unknown event)", static_cast<unsigned>(text_length));
}
}
