// Internals of the Linux host platform shared by its source files, its tests
// and the history tool: the platform's error words, the environment it reads,
// the layout of the event-history ring file and the ring's reader.
//
// Everything here works before static constructors have run: the host
// platform keeps its state in constant-initialised data only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace vlan_mgr_host {

// ---- Error words of the host platform ---------------------------------------
// 0x4048xxxx: the platform's general services; 0x411axxxx: the shared database.
inline constexpr int32_t ERR_INVALID_ARG = 0x40480001;     // "invalid argument"
inline constexpr int32_t ERR_NO_MEMORY = 0x40480002;       // "out of memory"
inline constexpr int32_t ERR_NOT_FOUND = 0x40480003;       // "no such entry"
inline constexpr int32_t ERR_BUSY = 0x40480004;            // "resource busy"
// Message transport (0x404801xx); the same values as the
// VLAN_MGR_HOST_ERR_MTS_* macros of vlan_mgr_host_mts.h.
inline constexpr int32_t MTS_ERR_BAD_HANDLE = 0x40480101; // "message transport: no such handle"
inline constexpr int32_t MTS_ERR_NO_SERVER = 0x40480102;
inline constexpr int32_t MTS_ERR_TIMEOUT = 0x40480103;
inline constexpr int32_t MTS_ERR_NOTIF_LOST = 0x40480104;
inline constexpr int32_t MTS_ERR_TOO_BIG = 0x40480105;
inline constexpr int32_t MTS_ERR_SAP_BUSY = 0x40480106;
inline constexpr int32_t MTS_ERR_NO_NODE = 0x40480107;
inline constexpr int32_t MTS_ERR_PEER_GONE = 0x40480108;
inline constexpr int32_t MTS_ERR_IO = 0x40480109;
inline constexpr int32_t MTS_ERR_ACCESS = 0x4048010A;
inline constexpr int32_t SDB_ERR_INVALID_ARG = 0x411a0001; // "shared database: invalid argument"
inline constexpr int32_t SDB_ERR_NOT_OPEN = 0x411a0002;    // "shared database: database not open"
inline constexpr int32_t SDB_ERR_ALREADY_OPEN = 0x411a0003;
inline constexpr int32_t SDB_ERR_BACKING_FILE = 0x411a0004;
inline constexpr int32_t SDB_ERR_NO_MEMORY = 0x411a0005;
inline constexpr int32_t SDB_ERR_CORRUPT = 0x411a0006;
inline constexpr int32_t SDB_ERR_NO_RECORD = 0x411a0007;
// The shared database's publisher (vlan_mgr_host_sdb.h).
inline constexpr int32_t SDB_ERR_NOT_OWNER = 0x411a0008;           // file of another user
inline constexpr int32_t SDB_ERR_PUBLISHED_ELSEWHERE = 0x411a0009; // another process publishes
// Outside the trust boundary: "shared database: permission denied", with the
// path that was refused (see note_error_detail).
inline constexpr int32_t SDB_ERR_PERMISSION = 0x411a000A;
// The map is full: "shared database: database file full", with its cause (the
// reader that holds the oldest snapshot, or the map size).
inline constexpr int32_t SDB_ERR_FULL = 0x411a000B;

// Gives this thread's next syserr2str(error) a detail: the word's text is
// followed by ": " and `detail` (cut to 255 bytes) until the thread notes
// another detail. A NULL or empty detail clears it. The shared database notes
// the refused path with 0x411a000A and the cause with 0x411a000B whenever it
// returns them.
void note_error_detail(int32_t error, const char *detail);

// ---- Environment ------------------------------------------------------------
// Every variable is read when it is needed (not cached), so that a change made
// with setenv takes effect at the next call.
inline constexpr const char ENV_VDC[] = "VLAN_MGR_VDC";                   // own VDC id
inline constexpr const char ENV_VDC_FILE[] = "VLAN_MGR_VDC_FILE";         // file holding it
inline constexpr const char DEFAULT_VDC_FILE[] = "/etc/vlan_mgr/vdc";
inline constexpr const char ENV_DEBUG[] = "VLAN_MGR_DEBUG";               // debug classes on
inline constexpr const char ENV_HIST_OFF[] = "VLAN_MGR_HIST_OFF";         // history classes off
inline constexpr const char ENV_HIST_DIR[] = "VLAN_MGR_HIST_DIR";         // ring directory
inline constexpr const char DEFAULT_HIST_DIR[] = "/dev/shm";
inline constexpr const char ENV_HIST_SLOTS[] = "VLAN_MGR_HIST_SLOTS";     // ring size
inline constexpr const char ENV_SYSLOG_STDERR[] = "VLAN_MGR_SYSLOG_STDERR"; // "1": copy to stderr
inline constexpr const char ENV_MODULE_TYPE[] = "VLAN_MGR_MODULE_TYPE";   // card module type
// Message transport.
inline constexpr const char ENV_SDB_ROOT[] = "VLAN_MGR_SDB_ROOT";         // replaces /dev/shm in database paths
inline constexpr const char DEFAULT_SDB_ROOT[] = "/dev/shm/vlan_mgr";    // ... when it is not set
inline constexpr const char ENV_RUN_DIR[] = "VLAN_MGR_RUN_DIR";           // ipc endpoints
inline constexpr const char DEFAULT_RUN_DIR[] = "/run/vlan_mgr";
inline constexpr const char ENV_MTS_TIMEOUT_MS[] = "VLAN_MGR_MTS_TIMEOUT_MS"; // reply time-out
inline constexpr uint32_t DEFAULT_MTS_TIMEOUT_MS = 5000;
inline constexpr const char ENV_MTS_NOTIF_QUEUE[] = "VLAN_MGR_MTS_NOTIF_QUEUE"; // per subscriber
inline constexpr uint32_t DEFAULT_MTS_NOTIF_QUEUE = 1000;
// How long a serving handle's replies and notifications still queued when it
// closes may take to leave (at most the time-out): a peer that does not read
// never holds up a server's exit for longer.
inline constexpr uint32_t MTS_SERVE_LINGER_MS = 500;
inline constexpr const char ENV_NODE[] = "VLAN_MGR_NODE";                 // own node id
inline constexpr const char ENV_NODE_TABLE[] = "VLAN_MGR_NODE_TABLE";     // node -> TCP address
inline constexpr const char DEFAULT_NODE_TABLE[] = "/etc/vlan_mgr/nodes";

// True when `cls` is named by the class list in environment variable
// `env_name`: "all", or decimal numbers and ranges separated by commas or
// blanks ("100,102", "100-102 7"). Unset, empty or malformed entries name
// nothing.
bool class_listed(const char *env_name, uint32_t cls);

// The VDC whose context the process switched into with sysmgr_set_vdc_ctxt,
// or 0 while it runs in its own.
uint16_t vdc_ctxt();

// ---- Event-history ring file -------------------------------------------------
// Each process keeps its event history in a ring of fixed-size slots in a
// file-backed shared mapping, <dir>/vlan_mgr_hist.<pid> (dir: VLAN_MGR_HIST_DIR,
// default /dev/shm), created on the first event and left in place when the
// process ends so that its history can still be printed. Integers are in the
// byte order of the machine that wrote them.

inline constexpr char RING_MAGIC[8] = {'V', 'M', 'G', 'R', 'H', 'I', 'S', 'T'};
inline constexpr uint32_t RING_VERSION = 1;
inline constexpr uint32_t RING_DEFAULT_SLOTS = 512;
inline constexpr uint32_t RING_MAX_SLOTS = 65536;
inline constexpr uint32_t SLOT_DATA_BYTES = 544; // holds the largest report record (516)
inline constexpr uint64_t SLOT_BUSY = ~uint64_t{0};

struct RingHeader {
    char magic[8];           // RING_MAGIC
    uint32_t version;        // RING_VERSION
    uint32_t header_size;    // sizeof(RingHeader)
    uint32_t slot_size;      // sizeof(RingSlot)
    uint32_t slot_count;
    uint32_t data_size;      // SLOT_DATA_BYTES
    uint32_t pid;            // the process that writes the ring
    alignas(8) uint64_t head; // events ever recorded; entry n lives in slot n % slot_count
    uint8_t reserved[24];
};
static_assert(sizeof(RingHeader) == 64);
static_assert(offsetof(RingHeader, head) == 32);

struct RingSlot {
    alignas(8) uint64_t seq; // n + 1 once entry n is complete; SLOT_BUSY while
                             // a writer fills the slot; 0 never written
    uint32_t event_id;
    uint32_t length;         // length the event was recorded with
    uint32_t stored;         // bytes kept in data: min(length, SLOT_DATA_BYTES)
    uint32_t time_sec;       // CLOCK_REALTIME when recorded
    uint32_t time_usec;
    uint32_t reserved;
    uint8_t data[SLOT_DATA_BYTES];
};
static_assert(sizeof(RingSlot) == 576);
static_assert(offsetof(RingSlot, data) == 32);

// Writes the ring file path of process `pid` into `buf` (the directory from
// VLAN_MGR_HIST_DIR, else /dev/shm). False when it does not fit.
bool hist_ring_path(pid_t pid, char *buf, size_t size);

// The file of this process's ring, or nullptr while no ring is open or when the
// ring lives in anonymous memory because its file could not be created.
const char *hist_ring_file();

// Closes this process's ring (the file stays unless `remove_file`); the next
// event opens a fresh one, reading VLAN_MGR_HIST_DIR and VLAN_MGR_HIST_SLOTS
// again. Used by tests; not safe while other threads record events.
void hist_ring_close(bool remove_file);

// One entry as the reader hands it over; `data` points at a private copy that
// is valid during the callback only.
struct HistEntry {
    uint64_t seq; // 0-based sequence number of the entry
    uint32_t event_id;
    uint32_t length;
    uint32_t stored;
    uint32_t time_sec;
    uint32_t time_usec;
    const uint8_t *data;
};

struct HistRingInfo {
    uint32_t pid;
    uint32_t slot_count;
    uint64_t recorded;    // events ever recorded
    uint64_t overwritten; // the oldest entries that the ring no longer holds
    uint64_t skipped;     // entries being written (or overwritten) while read
    uint64_t delivered;   // entries handed to the callback
};

using HistEntryFn = void (*)(const HistEntry &entry, void *ctx);

// Reader status codes.
enum class RingRead { ok, cannot_open, bad_format };

// Walks a ring laid out at `base` (`size` bytes), oldest entry first, calling
// `fn` for every complete entry. The ring may be written concurrently: an
// entry that changes while it is copied is skipped and counted.
RingRead hist_ring_read(const void *base, size_t size, HistEntryFn fn, void *ctx, HistRingInfo *info);

// Maps the ring file `path` read-only and walks it as above.
RingRead hist_ring_read_file(const char *path, HistEntryFn fn, void *ctx, HistRingInfo *info);

// Walks this process's own ring (anonymous or not). Returns cannot_open while
// no ring is open.
RingRead hist_ring_read_self(HistEntryFn fn, void *ctx, HistRingInfo *info);

// Removes the ring files (and temporary files of rings being made) that
// processes which no longer exist left in the ring directory. Calls `removed`
// (may be nullptr) with each file removed; returns how many were.
size_t hist_ring_prune(void (*removed)(const char *path, void *ctx), void *ctx);

// The event number that an entry is printed under: the low 16 bits of its
// event id (the high bits name the history, 0x73 for the VLAN manager's).
inline uint16_t hist_event_number(uint32_t event_id) { return static_cast<uint16_t>(event_id & 0xFFFFu); }

// Prepares an entry's text for the history print callback, which uses the
// text as a printf format: library reports (event id 0x730000) hold a 32-bit
// class, then the text; every other event's bytes are the text. The text ends
// at its first NUL or at the stored bytes; trailing newlines are dropped,
// other control bytes (but tabs) become '.', and every '%' is doubled so that it prints
// as itself. `*text_length` receives the length of the text as printed
// (before doubling). `out` needs 2 * SLOT_DATA_BYTES + 1 bytes; a smaller
// buffer cuts the text. `*report_class` (may be nullptr) receives the class of
// a library report, else 0.
void hist_entry_text(const HistEntry &entry, char *out, size_t out_size, uint32_t *text_length,
                     uint32_t *report_class);

// ---- Syslog seam ----------------------------------------------------------------
// kivo_syslog hands each formatted message to this function (by default one
// that calls syslog(3) with priority `severity`). Tests install their own;
// returns the previous one.
using SyslogSender = void (*)(int severity, const char *text);
SyslogSender set_syslog_sender(SyslogSender sender);

} // namespace vlan_mgr_host
