// The host platform's shared database, reader side: sdb_open, sdb_read,
// sdb_mfetch, sdb_mfetch_done, sdb_close and fsrv_sdb_publisher_lib_init, on
// LMDB environments of one file each ("volatile:<path>", MDB_NOSUBDIR).
//
// Reads take no lock and never wait for the publisher: each thread keeps one
// LMDB read transaction per database (MDB_NOTLS), renewed for a read and reset
// right after it, so that no snapshot stays pinned between calls. The record
// is copied out of the map inside the transaction, into a buffer of the
// thread's own: it is whole (one snapshot) and stays valid until the thread's
// next call on the same handle, even after the publisher has replaced it.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/sdb_internal.h"
#include "vlan_mgr_host_trust.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr_host {

void sdb_pub_forget_after_fork(sdb_pub *pub); // sdb_pub.cpp

// One thread's read transaction on one slot, with the buffers that hold what
// its last sdb_read and sdb_mfetch returned.
struct SdbReaderTxn {
    SdbSlot *slot;        // the slot the transaction was made for
    uint32_t gen;         // the slot's generation then
    MDB_txn *txn;         // nullptr: none (another thread's close may clear it)
    MDB_dbi dbi;
    SdbReaderTxn *next;   // in slot->txns
    char uri[SDB_URI_MAX];
    unsigned char *rbuf;  // sdb_read's record
    size_t rcap;
    sdb_rec_t rrec;
    unsigned char *mbuf;  // sdb_mfetch's records
    size_t mcap;
};

namespace {

constinit SdbRegistry registry;

// Unlinks `t` from its slot's list and aborts its transaction (mutex held).
void drop_txn(SdbReaderTxn *t)
{
    if (t->txn == nullptr)
        return;
    for (SdbReaderTxn **p = &t->slot->txns; *p != nullptr; p = &(*p)->next)
        if (*p == t) {
            *p = t->next;
            break;
        }
    mdb_txn_abort(t->txn);
    t->txn = nullptr;
    t->next = nullptr;
}

void drop_all_txns(SdbSlot *slot)
{
    while (slot->txns != nullptr)
        drop_txn(slot->txns);
}

// The read transactions of this thread, one per slot. The destructor (thread
// exit) gives their reader slots back to the database.
struct ThreadReaders {
    SdbReaderTxn t[SDB_SLOTS]{};
    unsigned last = 0;
    ~ThreadReaders()
    {
        pthread_mutex_lock(&registry.mutex);
        for (SdbReaderTxn &r : t)
            drop_txn(&r);
        pthread_mutex_unlock(&registry.mutex);
        for (SdbReaderTxn &r : t) {
            std::free(r.rbuf);
            std::free(r.mbuf);
        }
    }
};

thread_local ThreadReaders readers;

bool grow(unsigned char *&buf, size_t &cap, size_t need)
{
    if (need <= cap && buf != nullptr)
        return true;
    size_t n = cap < 64 ? 64 : cap;
    while (n < need) {
        if (n > SIZE_MAX / 2)
            return false;
        n *= 2;
    }
    void *p = std::realloc(buf, n);
    if (p == nullptr)
        return false;
    buf = static_cast<unsigned char *>(p);
    cap = n;
    return true;
}

// Slow path of reader_for, with the registry mutex held.
SdbReaderTxn *reader_locked(const char *handle, int32_t *err)
{
    SdbSlot *slot = sdb_find_slot(handle);
    if (slot == nullptr || !slot->reader_open) {
        *err = SDB_ERR_NOT_OPEN;
        return nullptr;
    }
    if (slot->env == nullptr) {
        // Opened before the file existed: try again now.
        int32_t rc = sdb_open_env(slot);
        if (rc != 0) {
            *err = rc;
            return nullptr;
        }
    }
    const unsigned index = static_cast<unsigned>(slot - registry.slots);
    SdbReaderTxn &r = readers.t[index];
    const uint32_t gen = slot->gen.load(std::memory_order_relaxed);
    if (r.txn == nullptr || r.slot != slot || r.gen != gen) {
        drop_txn(&r);
        MDB_txn *txn = nullptr;
        int rc = mdb_txn_begin(slot->env, nullptr, MDB_RDONLY, &txn);
        if (rc == MDB_READERS_FULL) {
            // Slots of readers that died are given back, then one more try.
            int dead = 0;
            mdb_reader_check(slot->env, &dead);
            rc = mdb_txn_begin(slot->env, nullptr, MDB_RDONLY, &txn);
        }
        if (rc != 0) {
            *err = sdb_error_word(rc);
            return nullptr;
        }
        mdb_txn_reset(txn);
        r.slot = slot;
        r.gen = gen;
        r.txn = txn;
        r.dbi = slot->dbi;
        r.next = slot->txns;
        slot->txns = &r;
        std::memcpy(r.uri, slot->uri, sizeof r.uri);
    }
    readers.last = index;
    return &r;
}

// This thread's read transaction for `handle`: the one used last when it still
// belongs to the handle (no lock), else found under the registry mutex.
SdbReaderTxn *reader_for(const char *handle, int32_t *err)
{
    ThreadReaders &t = readers;
    SdbReaderTxn &r = t.t[t.last];
    if (r.txn != nullptr && r.gen == r.slot->gen.load(std::memory_order_acquire) &&
        std::strcmp(r.uri, handle) == 0)
        return &r;
    pthread_mutex_lock(&registry.mutex);
    SdbReaderTxn *found = reader_locked(handle, err);
    pthread_mutex_unlock(&registry.mutex);
    return found;
}

// A value length that a record descriptor can carry (always on 32-bit hosts).
bool fits_u32(size_t n)
{
    if constexpr (sizeof(size_t) > sizeof(uint32_t))
        return n <= UINT32_MAX;
    return true;
}

bool key_ok(const sdb_key_t *key)
{
    return key != nullptr && key->data != nullptr && key->len >= 1 && key->len <= SDB_MAX_KEY;
}

// In a forked child the environments of the parent must not be used (LMDB's
// rule) nor closed (that would clear the parent's reader slots in the shared
// lock file): they are left as they are and the child opens its own.
void prepare_fork() { pthread_mutex_lock(&registry.mutex); }
void parent_after_fork() { pthread_mutex_unlock(&registry.mutex); }
void child_after_fork()
{
    for (SdbSlot &s : registry.slots) {
        for (SdbReaderTxn *t = s.txns; t != nullptr;) {
            SdbReaderTxn *next = t->next;
            t->txn = nullptr;
            t->next = nullptr;
            t = next;
        }
        s.txns = nullptr;
        s.env = nullptr;
        if (s.pub != nullptr) {
            sdb_pub_forget_after_fork(s.pub);
            s.pub = nullptr;
        }
        if (!s.reader_open)
            s.uri[0] = '\0';
        s.gen.fetch_add(1, std::memory_order_release);
    }
    ++registry.forks;
    pthread_mutex_unlock(&registry.mutex);
}

} // namespace

SdbRegistry &sdb_registry() { return registry; }

const char *sdb_uri_path(const char *uri)
{
    if (uri == nullptr || std::strncmp(uri, SDB_SCHEME, SDB_SCHEME_LEN) != 0)
        return nullptr;
    const size_t len = strnlen(uri, SDB_URI_MAX);
    if (len == SDB_URI_MAX || len == SDB_SCHEME_LEN)
        return nullptr;
    return uri + SDB_SCHEME_LEN;
}

bool sdb_file_path(const char *uri, char (&out)[SDB_URI_MAX], size_t *root_len)
{
    static constexpr char kShm[] = "/dev/shm/";
    const char *path = sdb_uri_path(uri);
    if (root_len != nullptr)
        *root_len = 0;
    if (path == nullptr)
        return false;
    if (std::strncmp(path, kShm, sizeof kShm - 1) != 0) {
        const int n = std::snprintf(out, sizeof out, "%s", path);
        return n >= 0 && static_cast<size_t>(n) < sizeof out;
    }
    const char *root = std::getenv(vlan_mgr_host::ENV_SDB_ROOT);
    if (root == nullptr || root[0] == '\0')
        root = DEFAULT_SDB_ROOT;
    size_t len = std::strlen(root);
    while (len > 1 && root[len - 1] == '/')
        --len;
    const int n = std::snprintf(out, sizeof out, "%.*s/%s", static_cast<int>(len), root, path + sizeof kShm - 1);
    if (n < 0 || static_cast<size_t>(n) >= sizeof out)
        return false;
    if (root_len != nullptr)
        *root_len = len;
    return true;
}

int32_t sdb_denied(const char *path)
{
    note_error_detail(SDB_ERR_PERMISSION, path);
    return SDB_ERR_PERMISSION;
}

SdbSlot *sdb_find_slot(const char *uri)
{
    for (SdbSlot &s : registry.slots)
        if (s.uri[0] != '\0' && std::strcmp(s.uri, uri) == 0)
            return &s;
    return nullptr;
}

SdbSlot *sdb_take_slot(const char *uri)
{
    if (SdbSlot *s = sdb_find_slot(uri))
        return s;
    for (SdbSlot &s : registry.slots)
        if (s.uri[0] == '\0') {
            std::strncpy(s.uri, uri, sizeof s.uri - 1);
            s.uri[sizeof s.uri - 1] = '\0';
            s.reader_open = false;
            s.env_rdonly = false;
            s.env = nullptr;
            s.pub = nullptr;
            s.txns = nullptr;
            s.gen.fetch_add(1, std::memory_order_release);
            return &s;
        }
    return nullptr;
}

void sdb_release_slot(SdbSlot *slot)
{
    if (slot->reader_open || slot->pub != nullptr)
        return;
    drop_all_txns(slot);
    if (slot->env != nullptr)
        mdb_env_close(slot->env);
    slot->env = nullptr;
    slot->uri[0] = '\0';
    slot->gen.fetch_add(1, std::memory_order_release);
}

namespace {

// The owner's process makes a missing lock file itself, in the trust group
// with mode 0660 whatever the umask, before LMDB would make it with the
// umask's mode. 0 or an errno value.
int make_lock_file(const char *lock_path)
{
    const int fd = open(lock_path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, SDB_LOCK_MODE);
    if (fd < 0)
        return errno == EEXIST ? 0 : errno;
    const int rc = vlan_mgr_host_trust_fd(fd, SDB_LOCK_MODE);
    close(fd);
    return rc;
}

// The file that refused this process: the lock file when it cannot be opened
// for writing (every reader writes its slot), else the data file.
const char *refused_file(const char *path, const char *lock_path)
{
    const int fd = open(lock_path, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (fd >= 0) {
        close(fd);
        return path;
    }
    return errno == EACCES || errno == EPERM ? lock_path : path;
}

} // namespace

int32_t sdb_open_env(SdbSlot *slot)
{
    char path[SDB_URI_MAX];
    if (!sdb_file_path(slot->uri, path))
        return SDB_ERR_BACKING_FILE;
    struct stat st;
    if (stat(path, &st) != 0) {
        if (errno == EACCES)
            return sdb_denied(path);
        return errno == ENOENT || errno == ENOTDIR ? SDB_ERR_NO_RECORD : SDB_ERR_BACKING_FILE;
    }
    if (!S_ISREG(st.st_mode))
        return SDB_ERR_BACKING_FILE;
    if (st.st_size == 0)
        return SDB_ERR_CORRUPT;
    // The owner's processes open the file read-write, so that a publisher of
    // the same process can share the environment; others read only.
    const bool rdonly = st.st_uid != geteuid();
    char lock_path[SDB_URI_MAX + 8];
    std::snprintf(lock_path, sizeof lock_path, "%s-lock", path);
    if (!rdonly) {
        if (const int e = make_lock_file(lock_path); e != 0)
            return e == EACCES || e == EPERM ? sdb_denied(lock_path) : SDB_ERR_BACKING_FILE;
    }
    MDB_env *env = nullptr;
    int rc = mdb_env_create(&env);
    if (rc != 0)
        return sdb_error_word(rc);
    mdb_env_set_maxreaders(env, SDB_MAX_READERS);
    const unsigned flags =
        MDB_NOSUBDIR | MDB_NOTLS | MDB_NORDAHEAD | (rdonly ? MDB_RDONLY : MDB_NOSYNC | MDB_NOMETASYNC);
    rc = mdb_env_open(env, path, flags, SDB_FILE_MODE);
    MDB_txn *txn = nullptr;
    MDB_dbi dbi = 0;
    if (rc == 0) {
        // Slots of readers that died are given back at every open.
        int dead = 0;
        mdb_reader_check(env, &dead);
        rc = mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn);
    }
    if (rc == 0) {
        rc = mdb_dbi_open(txn, nullptr, 0, &dbi);
        mdb_txn_abort(txn);
    }
    if (rc != 0) {
        mdb_env_close(env);
        if (rc == EACCES || rc == EPERM)
            return sdb_denied(refused_file(path, lock_path));
        return rc == ENOENT ? SDB_ERR_NO_RECORD : sdb_error_word(rc);
    }
    slot->env = env;
    slot->dbi = dbi;
    slot->env_rdonly = rdonly;
    slot->gen.fetch_add(1, std::memory_order_release);
    return 0;
}

void sdb_register_atfork(SdbRegistry &reg)
{
    if (reg.atfork_done)
        return;
    reg.atfork_done = pthread_atfork(prepare_fork, parent_after_fork, child_after_fork) == 0;
}

int32_t sdb_error_word(int rc)
{
    switch (rc) {
    case 0:
        return 0;
    case MDB_NOTFOUND:
        return SDB_ERR_NO_RECORD;
    case EACCES:
    case EPERM:
        note_error_detail(SDB_ERR_PERMISSION, nullptr);
        return SDB_ERR_PERMISSION;
    case MDB_MAP_FULL:
        note_error_detail(SDB_ERR_FULL, nullptr);
        return SDB_ERR_FULL;
    case ENOMEM:
    case MDB_TXN_FULL:
    case MDB_READERS_FULL:
    case MDB_DBS_FULL:
    case MDB_TLS_FULL:
    case MDB_CURSOR_FULL:
    case MDB_PAGE_FULL:
        return SDB_ERR_NO_MEMORY;
    case MDB_INVALID:
    case MDB_VERSION_MISMATCH:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_PANIC:
    case MDB_INCOMPATIBLE:
        return SDB_ERR_CORRUPT;
    case MDB_BAD_VALSIZE:
    case EINVAL:
        return SDB_ERR_INVALID_ARG;
    default:
        return SDB_ERR_BACKING_FILE;
    }
}

} // namespace vlan_mgr_host

using namespace vlan_mgr_host;

extern "C" {

// Opens the database for reading in this process. The file need not exist
// yet: until its publisher has made it, reads find no record (0x411a0007).
// 0x411a0003 when the database is open already (it stays open).
int32_t sdb_open(const char *uri, uint32_t, uint32_t, uint32_t, uint32_t)
{
    if (sdb_uri_path(uri) == nullptr)
        return SDB_ERR_INVALID_ARG;
    pthread_mutex_lock(&registry.mutex);
    sdb_register_atfork(registry);
    int32_t rc = 0;
    SdbSlot *slot = sdb_find_slot(uri);
    if (slot != nullptr && slot->reader_open) {
        rc = SDB_ERR_ALREADY_OPEN;
    } else if ((slot = sdb_take_slot(uri)) == nullptr) {
        rc = SDB_ERR_NO_MEMORY;
    } else {
        if (slot->env == nullptr)
            rc = sdb_open_env(slot);
        if (rc == 0 || rc == SDB_ERR_NO_RECORD) {
            rc = 0;
            slot->reader_open = true;
            slot->gen.fetch_add(1, std::memory_order_release);
        } else {
            sdb_release_slot(slot);
        }
    }
    pthread_mutex_unlock(&registry.mutex);
    return rc;
}

const sdb_rec_t *sdb_read(const char *handle, const sdb_key_t *key, int32_t *error)
{
    if (error == nullptr)
        return nullptr;
    if (handle == nullptr || !key_ok(key)) {
        *error = SDB_ERR_INVALID_ARG;
        return nullptr;
    }
    SdbReaderTxn *r = reader_for(handle, error);
    if (r == nullptr)
        return nullptr;
    int rc = mdb_txn_renew(r->txn);
    if (rc != 0) {
        *error = sdb_error_word(rc);
        return nullptr;
    }
    MDB_val k{key->len, const_cast<void *>(key->data)};
    MDB_val v;
    rc = mdb_get(r->txn, r->dbi, &k, &v);
    const sdb_rec_t *rec = nullptr;
    if (rc != 0) {
        *error = sdb_error_word(rc);
    } else if (!fits_u32(v.mv_size)) {
        *error = SDB_ERR_CORRUPT;
    } else if (!grow(r->rbuf, r->rcap, v.mv_size)) {
        *error = SDB_ERR_NO_MEMORY;
    } else {
        std::memcpy(r->rbuf, v.mv_data, v.mv_size);
        r->rrec = {r->rbuf, static_cast<uint32_t>(v.mv_size)};
        rec = &r->rrec;
        *error = 0;
    }
    mdb_txn_reset(r->txn);
    return rec;
}

// All keys are looked up in one snapshot. A missing key leaves its descriptor
// {NULL, 0} and does not fail the call; an invalid key fails it. The values
// stay valid until sdb_mfetch_done, or this thread's next sdb_mfetch on the
// handle.
int32_t sdb_mfetch(const char *handle, const sdb_key_t *keys, uint32_t count, sdb_rec_t *recs, int32_t *error)
{
    int32_t local_error = 0;
    int32_t *err = error != nullptr ? error : &local_error;
    *err = 0;
    if (handle == nullptr || (count > 0 && (keys == nullptr || recs == nullptr))) {
        *err = SDB_ERR_INVALID_ARG;
        return *err;
    }
    for (uint32_t i = 0; i < count; ++i)
        recs[i] = {nullptr, 0};
    for (uint32_t i = 0; i < count; ++i)
        if (!key_ok(&keys[i])) {
            *err = SDB_ERR_INVALID_ARG;
            return *err;
        }
    SdbReaderTxn *r = reader_for(handle, err);
    if (r == nullptr) {
        if (*err == SDB_ERR_NO_RECORD) // nothing published yet: every key is missing
            *err = 0;
        return *err;
    }
    if (count == 0)
        return 0;
    int rc = mdb_txn_renew(r->txn);
    if (rc != 0) {
        *err = sdb_error_word(rc);
        return *err;
    }
    // First the sizes, then one buffer for all values, then the copies.
    size_t total = 0;
    for (uint32_t i = 0; i < count && rc == 0; ++i) {
        MDB_val k{keys[i].len, const_cast<void *>(keys[i].data)};
        MDB_val v;
        rc = mdb_get(r->txn, r->dbi, &k, &v);
        if (rc == MDB_NOTFOUND) {
            rc = 0;
        } else if (rc == 0) {
            if (!fits_u32(v.mv_size) || v.mv_size > SIZE_MAX - total)
                rc = MDB_CORRUPTED;
            total += v.mv_size;
            recs[i] = {v.mv_data, static_cast<uint32_t>(v.mv_size)};
        }
    }
    if (rc == 0 && !grow(r->mbuf, r->mcap, total))
        rc = ENOMEM;
    if (rc == 0) {
        size_t off = 0;
        for (uint32_t i = 0; i < count; ++i)
            if (recs[i].data != nullptr) {
                std::memcpy(r->mbuf + off, recs[i].data, recs[i].len);
                recs[i].data = r->mbuf + off;
                off += recs[i].len;
            }
    } else {
        for (uint32_t i = 0; i < count; ++i)
            recs[i] = {nullptr, 0};
        *err = sdb_error_word(rc);
    }
    mdb_txn_reset(r->txn);
    return *err;
}

// Ends the use of an sdb_mfetch's values; the descriptors are cleared.
int32_t sdb_mfetch_done(const char *handle, sdb_rec_t *recs, uint32_t count)
{
    if (handle == nullptr || (count > 0 && recs == nullptr))
        return SDB_ERR_INVALID_ARG;
    pthread_mutex_lock(&registry.mutex);
    SdbSlot *slot = sdb_find_slot(handle);
    const bool open = slot != nullptr && slot->reader_open;
    pthread_mutex_unlock(&registry.mutex);
    if (!open)
        return SDB_ERR_NOT_OPEN;
    for (uint32_t i = 0; i < count; ++i)
        recs[i] = {nullptr, 0};
    return 0;
}

// Closes the database in this process. No other thread may be reading it at
// the same time; records returned before stay readable until each thread's
// next call on the handle.
int32_t sdb_close(const char *handle)
{
    if (sdb_uri_path(handle) == nullptr)
        return SDB_ERR_INVALID_ARG;
    pthread_mutex_lock(&registry.mutex);
    int32_t rc = 0;
    SdbSlot *slot = sdb_find_slot(handle);
    if (slot == nullptr || !slot->reader_open) {
        rc = SDB_ERR_NOT_OPEN;
    } else {
        slot->reader_open = false;
        slot->gen.fetch_add(1, std::memory_order_release);
        drop_all_txns(slot);
        sdb_release_slot(slot);
    }
    pthread_mutex_unlock(&registry.mutex);
    return rc;
}

// Readers need no set-up of their own on this platform: the block (and the
// database descriptors it points to) is checked for presence only.
int32_t fsrv_sdb_publisher_lib_init(const void *params)
{
    return params == nullptr ? SDB_ERR_INVALID_ARG : 0;
}

} // extern "C"
