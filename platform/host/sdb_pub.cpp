// The host platform's shared database, publisher side (vlan_mgr_host_sdb.h).
//
// A batch is collected in memory and applied in one LMDB write transaction by
// sdb_pub_commit, so the write lock is held only while a commit runs and a
// publisher that dies (even inside the transaction) leaves the last committed
// state: LMDB's writer mutex is robust and the next writer recovers it.
//
// One publisher per database: the publisher holds an exclusive flock on the
// lock file for its whole life. Only the file's owner may publish; a new file
// is made under a temporary name and renamed into place, so that a reader
// never finds a file that is not yet a database.
//
// The publisher keeps its files inside the trust boundary
// (vlan_mgr_host_trust.h): it makes the database root and the VDC directories
// under it (02750), the data file (0640) and the lock file (0660), all in the
// trust group whatever the umask, so that nobody outside the group can open,
// truncate or fill them.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/sdb_internal.h"
#include "vlan_mgr_host_sdb.h"
#include "vlan_mgr_host_trust.h"

static_assert(std::string_view(vlan_mgr_host::DEFAULT_SDB_ROOT) == VLAN_MGR_HOST_SDB_DEFAULT_ROOT);
static_assert(vlan_mgr_host::SDB_DIR_MODE == VLAN_MGR_HOST_SDB_DIR_MODE);

namespace {

enum : uint8_t { OP_PUT = 1, OP_DEL = 2, OP_DEL_ALL = 3 };
constexpr size_t OP_HEADER = 9; // op, key length, value length

} // namespace

struct sdb_pub {
    pthread_mutex_t mutex;
    vlan_mgr_host::SdbSlot *slot; // nullptr in a forked child
    int lock_fd;                  // holds the flock
    unsigned char *ops;           // the batch: OP_HEADER, key, value; repeated
    size_t len;
    size_t cap;
    uint32_t count;
};

namespace vlan_mgr_host {

constinit SdbApplyHook sdb_apply_hook = nullptr;

// Called by the fork handler in the child (registry mutex held): the child
// does not publish with its parent's environment nor keep its lock alive.
void sdb_pub_forget_after_fork(sdb_pub *pub)
{
    pub->slot = nullptr;
    if (pub->lock_fd >= 0)
        close(pub->lock_fd);
    pub->lock_fd = -1;
}

} // namespace vlan_mgr_host

using namespace vlan_mgr_host;

namespace {

uint32_t map_mb()
{
    constexpr uint32_t max_mb = sizeof(size_t) > 4 ? SDB_MAX_MAP_MB : 1024;
    const char *v = std::getenv(ENV_SDB_MAP_MB);
    if (v == nullptr || *v == '\0')
        return SDB_DEFAULT_MAP_MB;
    char *end = nullptr;
    unsigned long mb = std::strtoul(v, &end, 10);
    if (*end != '\0' || *v == '-' || mb == 0 || mb > max_mb)
        return SDB_DEFAULT_MAP_MB;
    return static_cast<uint32_t>(mb);
}

// The word for a failed open/create of `file`: permission refused names it.
int32_t file_error(int e, const char *file)
{
    if (e == EACCES || e == EPERM)
        return sdb_denied(file);
    return SDB_ERR_BACKING_FILE;
}

// Makes `dir` a directory of the boundary (SDB_DIR_MODE, trust group). A
// directory that every user may write to (a shared temporary directory such
// as /dev/shm itself) is never taken over, nor is one of another user.
int32_t secure_dir(const char *dir)
{
    const int e = vlan_mgr_host_trust_dir(dir, SDB_DIR_MODE);
    if (e == 0)
        return 0;
    return e == EACCES || e == EPERM || e == EEXIST ? sdb_denied(dir) : SDB_ERR_BACKING_FILE;
}

// Makes the root and every directory between it and the file (a VDC's
// directory) directories of the boundary. `root_len` 0: a path outside the
// root, whose directory is the caller's.
int32_t secure_dirs(const char *path, size_t root_len)
{
    if (root_len == 0)
        return 0;
    if (root_len == 1) // the root directory "/" itself is nobody's database directory
        return sdb_denied("/");
    char dir[SDB_URI_MAX];
    std::memcpy(dir, path, SDB_URI_MAX);
    for (size_t i = root_len; dir[i] != '\0'; ++i) {
        if (dir[i] != '/' || i == 0)
            continue;
        dir[i] = '\0';
        const bool skip = i > root_len && dir[i - 1] == '/';
        const int32_t rc = skip ? 0 : secure_dir(dir);
        dir[i] = '/';
        if (rc != 0)
            return rc;
    }
    return 0;
}

// Makes a new, empty database at `path`: written under a temporary name with
// mode 0640 in the trust group and renamed into place.
int32_t create_file(const char *path)
{
    char tmp[SDB_URI_MAX + 16];
    char tmp_lock[SDB_URI_MAX + 32];
    if (std::snprintf(tmp, sizeof tmp, "%s.XXXXXX", path) >= static_cast<int>(sizeof tmp))
        return SDB_ERR_INVALID_ARG;
    const int fd = mkstemp(tmp);
    if (fd < 0)
        return file_error(errno, path);
    const int trust_rc = vlan_mgr_host_trust_fd(fd, SDB_FILE_MODE);
    close(fd);
    std::snprintf(tmp_lock, sizeof tmp_lock, "%s-lock", tmp);
    MDB_env *env = nullptr;
    int rc = trust_rc == 0 ? mdb_env_create(&env) : trust_rc;
    if (rc == 0) {
        mdb_env_set_mapsize(env, static_cast<size_t>(map_mb()) << 20);
        mdb_env_set_maxreaders(env, SDB_MAX_READERS);
        rc = mdb_env_open(env, tmp, MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC | MDB_NOMETASYNC, SDB_FILE_MODE);
        MDB_txn *txn = nullptr;
        if (rc == 0)
            rc = mdb_txn_begin(env, nullptr, 0, &txn);
        if (rc == 0)
            rc = mdb_txn_commit(txn);
        mdb_env_close(env);
    }
    unlink(tmp_lock);
    if (rc == 0 && rename(tmp, path) != 0)
        rc = errno;
    if (rc != 0) {
        unlink(tmp);
        return rc == EACCES || rc == EPERM ? sdb_denied(path) : sdb_error_word(rc);
    }
    return 0;
}

// Makes the open file `fd` (at `path`) one of the boundary: a regular file
// of this user, given the trust group and exactly `mode`.
int32_t secure_open_file(int fd, const char *path, mode_t mode)
{
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        return SDB_ERR_BACKING_FILE;
    if (st.st_uid != geteuid())
        return SDB_ERR_NOT_OWNER;
    if (const int e = vlan_mgr_host_trust_fd(fd, mode); e != 0)
        return file_error(e, path);
    return 0;
}

// Gives an existing data file of this user the boundary's group and mode (a
// file made by an earlier version had mode 0644).
int32_t secure_file(const char *path)
{
    const int fd = open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return file_error(errno, path);
    const int32_t rc = secure_open_file(fd, path, SDB_FILE_MODE);
    close(fd);
    return rc;
}

// Opens (creating when needed) the lock file and takes the publisher's flock.
// The lock file is this user's, mode 0660 in the trust group: every reader of
// the group registers in it, nobody else may open it.
int32_t lock_publisher(const char *path, int *fd_out)
{
    char lock_path[SDB_URI_MAX + 8];
    std::snprintf(lock_path, sizeof lock_path, "%s-lock", path);
    const int fd = open(lock_path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, SDB_LOCK_MODE);
    if (fd < 0)
        return file_error(errno, lock_path);
    int32_t rc = secure_open_file(fd, lock_path, SDB_LOCK_MODE);
    if (rc == 0 && flock(fd, LOCK_EX | LOCK_NB) != 0)
        rc = errno == EWOULDBLOCK ? SDB_ERR_PUBLISHED_ELSEWHERE : SDB_ERR_BACKING_FILE;
    if (rc != 0) {
        close(fd);
        return rc;
    }
    *fd_out = fd;
    return 0;
}

int32_t open_locked(const char *uri, sdb_pub **out)
{
    SdbSlot *slot = sdb_find_slot(uri);
    if (slot != nullptr && slot->pub != nullptr)
        return SDB_ERR_ALREADY_OPEN;
    char path[SDB_URI_MAX];
    size_t root_len = 0;
    if (!sdb_file_path(uri, path, &root_len))
        return SDB_ERR_BACKING_FILE;
    struct stat st;
    if (lstat(path, &st) == 0 && (st.st_uid != geteuid() || !S_ISREG(st.st_mode)))
        return st.st_uid != geteuid() ? SDB_ERR_NOT_OWNER : SDB_ERR_BACKING_FILE;
    int32_t rc = secure_dirs(path, root_len);
    if (rc != 0)
        return rc;
    int lock_fd = -1;
    rc = lock_publisher(path, &lock_fd);
    if (rc != 0)
        return rc;
    // Under the lock no other publisher makes the file at the same time.
    if (lstat(path, &st) != 0)
        rc = errno == ENOENT ? create_file(path) : file_error(errno, path);
    else
        rc = secure_file(path);
    if (rc == 0 && (slot = sdb_take_slot(uri)) == nullptr)
        rc = SDB_ERR_NO_MEMORY;
    if (rc == 0 && slot->env == nullptr) {
        rc = sdb_open_env(slot);
        if (rc == SDB_ERR_NO_RECORD)
            rc = SDB_ERR_BACKING_FILE; // removed again under our feet
    }
    if (rc == 0 && slot->env_rdonly)
        rc = SDB_ERR_NOT_OWNER;
    sdb_pub *pub = nullptr;
    if (rc == 0 && (pub = static_cast<sdb_pub *>(std::calloc(1, sizeof *pub))) == nullptr)
        rc = SDB_ERR_NO_MEMORY;
    if (rc != 0) {
        if (slot != nullptr)
            sdb_release_slot(slot);
        close(lock_fd);
        return rc;
    }
    // Reader slots of processes that died are given back.
    int dead = 0;
    mdb_reader_check(slot->env, &dead);
    pthread_mutex_init(&pub->mutex, nullptr);
    pub->slot = slot;
    pub->lock_fd = lock_fd;
    slot->pub = pub;
    *out = pub;
    return 0;
}

bool append(sdb_pub *pub, uint8_t op, const sdb_key_t *key, const void *value, uint32_t len)
{
    const uint32_t klen = key != nullptr ? key->len : 0;
    const size_t need = OP_HEADER + size_t{klen} + len;
    if (pub->count == UINT32_MAX || need > SIZE_MAX - pub->len)
        return false;
    if (pub->len + need > pub->cap) {
        size_t n = pub->cap < 4096 ? 4096 : pub->cap;
        while (n < pub->len + need) {
            if (n > SIZE_MAX / 2)
                return false;
            n *= 2;
        }
        void *p = std::realloc(pub->ops, n);
        if (p == nullptr)
            return false;
        pub->ops = static_cast<unsigned char *>(p);
        pub->cap = n;
    }
    unsigned char *w = pub->ops + pub->len;
    w[0] = op;
    std::memcpy(w + 1, &klen, 4);
    std::memcpy(w + 5, &len, 4);
    if (klen > 0)
        std::memcpy(w + OP_HEADER, key->data, klen);
    if (len > 0)
        std::memcpy(w + OP_HEADER + klen, value, len);
    pub->len += need;
    ++pub->count;
    return true;
}

void clear_batch(sdb_pub *pub)
{
    pub->len = 0;
    pub->count = 0;
    // A very large batch does not keep its memory.
    if (pub->cap > (size_t{1} << 24)) {
        std::free(pub->ops);
        pub->ops = nullptr;
        pub->cap = 0;
    }
}

int32_t add(sdb_pub *pub, uint8_t op, const sdb_key_t *key, const void *value, uint32_t len)
{
    if (pub == nullptr)
        return SDB_ERR_INVALID_ARG;
    if (op != OP_DEL_ALL &&
        (key == nullptr || key->data == nullptr || key->len == 0 || key->len > SDB_MAX_KEY))
        return SDB_ERR_INVALID_ARG;
    if (value == nullptr && len > 0)
        return SDB_ERR_INVALID_ARG;
    if (pub->slot == nullptr)
        return SDB_ERR_NOT_OPEN;
    pthread_mutex_lock(&pub->mutex);
    const bool ok = append(pub, op, key, value, len);
    pthread_mutex_unlock(&pub->mutex);
    return ok ? 0 : SDB_ERR_NO_MEMORY;
}

// Applies the batch in one write transaction (publisher mutex held).
int apply(sdb_pub *pub)
{
    MDB_env *env = pub->slot->env;
    const MDB_dbi dbi = pub->slot->dbi;
    // Reader slots of processes that died are given back before every write
    // transaction: a reader killed inside its read transaction would
    // otherwise keep its snapshot's pages from being reused until the map is
    // full.
    int dead = 0;
    mdb_reader_check(env, &dead);
    MDB_txn *txn = nullptr;
    int rc = mdb_txn_begin(env, nullptr, 0, &txn);
    if (rc != 0)
        return rc;
    const unsigned char *r = pub->ops;
    for (uint32_t i = 0; i < pub->count && rc == 0; ++i) {
        uint32_t klen, vlen;
        std::memcpy(&klen, r + 1, 4);
        std::memcpy(&vlen, r + 5, 4);
        MDB_val k{klen, const_cast<unsigned char *>(r + OP_HEADER)};
        MDB_val v{vlen, const_cast<unsigned char *>(r + OP_HEADER + klen)};
        switch (r[0]) {
        case OP_PUT:
            rc = mdb_put(txn, dbi, &k, &v, 0);
            break;
        case OP_DEL:
            rc = mdb_del(txn, dbi, &k, nullptr);
            if (rc == MDB_NOTFOUND)
                rc = 0;
            break;
        default:
            rc = mdb_drop(txn, dbi, 0);
            break;
        }
        r += OP_HEADER + klen + vlen;
        if (rc == 0 && sdb_apply_hook != nullptr)
            sdb_apply_hook(i + 1, pub->count);
    }
    if (rc == 0)
        return mdb_txn_commit(txn);
    mdb_txn_abort(txn);
    return rc;
}

// The oldest snapshot that a live reader holds, from LMDB's reader table.
struct OldestReader {
    long pid = 0;
    unsigned long long txnid = 0;
};

// mdb_reader_list's lines: a title, then "pid thread txnid" per slot in use,
// txnid "-" for a reader between transactions.
int scan_reader(const char *line, void *ctx)
{
    auto *oldest = static_cast<OldestReader *>(ctx);
    long pid = 0;
    char txn[32] = "";
    if (std::sscanf(line, "%ld %*s %31s", &pid, txn) != 2 || pid <= 0 || txn[0] < '0' || txn[0] > '9')
        return 0;
    const unsigned long long txnid = std::strtoull(txn, nullptr, 10);
    if (oldest->pid == 0 || txnid < oldest->txnid) {
        oldest->pid = pid;
        oldest->txnid = txnid;
    }
    return 0;
}

// Notes why the map is full: the reader that holds the oldest snapshot, when
// one holds a snapshot older than the last commit (its pages cannot be
// reused), else the map's size (the batch does not fit).
void note_full_cause(MDB_env *env)
{
    int dead = 0;
    mdb_reader_check(env, &dead);
    OldestReader oldest;
    mdb_reader_list(env, scan_reader, &oldest);
    MDB_envinfo info{};
    mdb_env_info(env, &info);
    char text[160];
    if (oldest.pid != 0 && oldest.txnid < static_cast<unsigned long long>(info.me_last_txnid))
        std::snprintf(text, sizeof text, "reader pid %ld holds a snapshot since transaction %llu", oldest.pid,
                      oldest.txnid);
    else
        std::snprintf(text, sizeof text, "the batch does not fit the map of %lu MiB",
                      static_cast<unsigned long>(info.me_mapsize >> 20));
    note_error_detail(SDB_ERR_FULL, text);
}

} // namespace

extern "C" {

int32_t sdb_pub_open(const char *uri, sdb_pub_t **pub)
{
    if (pub == nullptr)
        return SDB_ERR_INVALID_ARG;
    *pub = nullptr;
    if (sdb_uri_path(uri) == nullptr)
        return SDB_ERR_INVALID_ARG;
    SdbRegistry &reg = sdb_registry();
    pthread_mutex_lock(&reg.mutex);
    sdb_register_atfork(reg);
    const int32_t rc = open_locked(uri, pub);
    pthread_mutex_unlock(&reg.mutex);
    return rc;
}

int32_t sdb_pub_put(sdb_pub_t *pub, const sdb_key_t *key, const void *value, uint32_t len)
{
    return add(pub, OP_PUT, key, value, len);
}

int32_t sdb_pub_del(sdb_pub_t *pub, const sdb_key_t *key) { return add(pub, OP_DEL, key, nullptr, 0); }

int32_t sdb_pub_del_all(sdb_pub_t *pub) { return add(pub, OP_DEL_ALL, nullptr, nullptr, 0); }

int32_t sdb_pub_commit(sdb_pub_t *pub)
{
    if (pub == nullptr)
        return SDB_ERR_INVALID_ARG;
    if (pub->slot == nullptr)
        return SDB_ERR_NOT_OPEN;
    pthread_mutex_lock(&pub->mutex);
    const int rc = pub->count > 0 ? apply(pub) : 0;
    clear_batch(pub);
    const int32_t word = sdb_error_word(rc);
    if (rc == MDB_MAP_FULL)
        note_full_cause(pub->slot->env);
    pthread_mutex_unlock(&pub->mutex);
    return word;
}

int32_t sdb_pub_discard(sdb_pub_t *pub)
{
    if (pub == nullptr)
        return SDB_ERR_INVALID_ARG;
    pthread_mutex_lock(&pub->mutex);
    clear_batch(pub);
    pthread_mutex_unlock(&pub->mutex);
    return 0;
}

uint32_t sdb_pub_pending(const sdb_pub_t *pub) { return pub != nullptr ? pub->count : 0; }

int32_t sdb_pub_close(sdb_pub_t *pub)
{
    if (pub == nullptr)
        return SDB_ERR_INVALID_ARG;
    SdbRegistry &reg = sdb_registry();
    pthread_mutex_lock(&reg.mutex);
    if (pub->slot != nullptr) {
        pub->slot->pub = nullptr;
        sdb_release_slot(pub->slot);
        pub->slot = nullptr;
    }
    pthread_mutex_unlock(&reg.mutex);
    if (pub->lock_fd >= 0)
        close(pub->lock_fd);
    pthread_mutex_destroy(&pub->mutex);
    std::free(pub->ops);
    std::free(pub);
    return 0;
}

} // extern "C"
