// Internals of the host platform's shared database, shared by the readers
// (sdb.cpp), the publisher (sdb_pub.cpp) and their tests.
//
// Every database file open in this process has one slot in a fixed table and
// at most one LMDB environment, shared by the reader calls and a publisher:
// LMDB must not open one file twice in a process (closing the second would
// drop the first one's locks). The table is constant-initialised and guarded
// by one mutex; the read path takes no lock (see sdb.cpp).
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <lmdb.h>
#include <pthread.h>

#include "host/host_platform.h"

struct sdb_pub;

namespace vlan_mgr_host {

inline constexpr char SDB_SCHEME[] = "volatile:";
inline constexpr size_t SDB_SCHEME_LEN = sizeof SDB_SCHEME - 1;
inline constexpr size_t SDB_URI_MAX = 256;     // bytes of a URI, its NUL included
inline constexpr unsigned SDB_SLOTS = 32;      // database files open at once
inline constexpr unsigned SDB_MAX_READERS = 1024; // reader slots of a new lock file
inline constexpr uint32_t SDB_MAX_KEY = 511;   // LMDB's default key size bound
// The map of a new file: a VDC with every VLAN and 1024 ports republished
// whole takes 91 MiB (three copies of 30 MiB); see docs/host_platform.md.
inline constexpr uint32_t SDB_DEFAULT_MAP_MB = 128;
inline constexpr uint32_t SDB_MAX_MAP_MB = 4096;
inline constexpr const char ENV_SDB_MAP_MB[] = "VLAN_MGR_SDB_MAP_MB"; // map size of a new file

struct SdbReaderTxn; // one thread's read transaction on one slot (sdb.cpp)

struct SdbSlot {
    char uri[SDB_URI_MAX]{};       // "" while the slot is free
    std::atomic<uint32_t> gen{0};  // changes whenever what readers use changes
    bool reader_open = false;      // sdb_open succeeded and no sdb_close since
    bool env_rdonly = false;       // env opened read-only (file of another user)
    MDB_env *env = nullptr;        // nullptr until the file could be opened
    MDB_dbi dbi = 0;
    sdb_pub *pub = nullptr;        // the publisher of this process, or nullptr
    SdbReaderTxn *txns = nullptr;  // every thread's read transaction on env
};

struct SdbRegistry {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    bool atfork_done = false;
    uint32_t forks = 0;            // children this process image has been forked into
    SdbSlot slots[SDB_SLOTS]{};
};

SdbRegistry &sdb_registry();

// The path of a "volatile:<path>" URI, or nullptr when `uri` is not one (or
// does not fit a slot).
const char *sdb_uri_path(const char *uri);
// The file that holds the database of `uri`: its path, with a leading
// "/dev/shm/" replaced by the database root, the directory of the trust
// boundary that holds the databases: $VLAN_MGR_SDB_ROOT when that is set (a
// test or a second instance keeps its databases apart), else
// /dev/shm/vlan_mgr. `*root_len` (may be nullptr) receives the length of the
// root in `out`, or 0 for a path outside /dev/shm/, which is used as it is.
// False when it does not fit.
bool sdb_file_path(const char *uri, char (&out)[SDB_URI_MAX], size_t *root_len = nullptr);

// Modes of the boundary (vlan_mgr_host_trust.h): the database root and its
// VDC directories, the data files, the lock files (readers write their reader
// slot in the lock file, so the group may write it). All in the trust group.
inline constexpr unsigned SDB_DIR_MODE = 02750;
inline constexpr unsigned SDB_FILE_MODE = 0640;
inline constexpr unsigned SDB_LOCK_MODE = 0660;

// Notes `path` as the detail of 0x411a000A for this thread and returns it.
int32_t sdb_denied(const char *path);

// With the registry mutex held: the slot of `uri`, or nullptr.
SdbSlot *sdb_find_slot(const char *uri);
// With the registry mutex held: the slot of `uri`, taking a free one when it
// has none; nullptr when the table is full.
SdbSlot *sdb_take_slot(const char *uri);
// With the registry mutex held: closes the slot's environment (aborting every
// thread's read transaction) when neither readers nor a publisher use it, and
// frees the slot then.
void sdb_release_slot(SdbSlot *slot);
// With the registry mutex held: opens the slot's environment on its existing
// file, read-write when this process's user owns the file, else read-only.
// SDB_ERR_NO_RECORD when the file does not exist.
int32_t sdb_open_env(SdbSlot *slot);
// Registers the fork handlers once (mutex held).
void sdb_register_atfork(SdbRegistry &reg);

// The platform's word for an LMDB result or an errno value. EACCES and EPERM
// give 0x411a000A and MDB_MAP_FULL 0x411a000B, with no detail: a caller that
// knows the path or the cause notes it afterwards.
int32_t sdb_error_word(int rc);

// Test seam: called by sdb_pub_commit inside its write transaction after each
// change applied (applied = 1..total), before the transaction commits. Tests
// use it to kill a publisher in the middle of a batch.
using SdbApplyHook = void (*)(uint32_t applied, uint32_t total);
extern SdbApplyHook sdb_apply_hook;

} // namespace vlan_mgr_host
