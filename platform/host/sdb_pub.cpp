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
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/sdb_internal.h"
#include "vlan_mgr_host_sdb.h"

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
    uint32_t commits;
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

// Makes a new, empty database at `path`: written under a temporary name with
// mode 0644 and renamed into place.
int32_t create_file(const char *path)
{
    char tmp[SDB_URI_MAX + 16];
    char tmp_lock[SDB_URI_MAX + 32];
    if (std::snprintf(tmp, sizeof tmp, "%s.XXXXXX", path) >= static_cast<int>(sizeof tmp))
        return SDB_ERR_INVALID_ARG;
    const int fd = mkstemp(tmp);
    if (fd < 0)
        return errno == EACCES || errno == EPERM ? SDB_ERR_NOT_OWNER : SDB_ERR_BACKING_FILE;
    const bool chmod_ok = fchmod(fd, 0644) == 0;
    close(fd);
    std::snprintf(tmp_lock, sizeof tmp_lock, "%s-lock", tmp);
    MDB_env *env = nullptr;
    int rc = chmod_ok ? mdb_env_create(&env) : EACCES;
    if (rc == 0) {
        mdb_env_set_mapsize(env, static_cast<size_t>(map_mb()) << 20);
        mdb_env_set_maxreaders(env, SDB_MAX_READERS);
        rc = mdb_env_open(env, tmp, MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC | MDB_NOMETASYNC, 0644);
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
        return sdb_error_word(rc);
    }
    return 0;
}

// Opens (creating when needed) the lock file and takes the publisher's flock.
int32_t lock_publisher(const char *path, int *fd_out)
{
    char lock_path[SDB_URI_MAX + 8];
    std::snprintf(lock_path, sizeof lock_path, "%s-lock", path);
    const int fd = open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0)
        return errno == EACCES || errno == EPERM ? SDB_ERR_NOT_OWNER : SDB_ERR_BACKING_FILE;
    // Every reader registers in the lock file, whatever its user.
    struct stat st;
    if (fstat(fd, &st) == 0 && st.st_uid == geteuid() && (st.st_mode & 0777) != 0666)
        (void)fchmod(fd, 0666);
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int e = errno;
        close(fd);
        return e == EWOULDBLOCK ? SDB_ERR_PUBLISHED_ELSEWHERE : SDB_ERR_BACKING_FILE;
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
    if (!sdb_file_path(uri, path))
        return SDB_ERR_BACKING_FILE;
    struct stat st;
    if (stat(path, &st) == 0 && (st.st_uid != geteuid() || !S_ISREG(st.st_mode)))
        return st.st_uid != geteuid() ? SDB_ERR_NOT_OWNER : SDB_ERR_BACKING_FILE;
    int lock_fd = -1;
    int32_t rc = lock_publisher(path, &lock_fd);
    if (rc != 0)
        return rc;
    // Under the lock no other publisher makes the file at the same time.
    if (stat(path, &st) != 0)
        rc = errno == ENOENT ? create_file(path) : SDB_ERR_BACKING_FILE;
    else if (st.st_uid != geteuid())
        rc = SDB_ERR_NOT_OWNER;
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
    // Reader slots of processes that died are given back now and then.
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
    int rc = pub->count > 0 ? apply(pub) : 0;
    clear_batch(pub);
    if (rc == 0 && ++pub->commits % 64 == 0) {
        int dead = 0;
        mdb_reader_check(pub->slot->env, &dead);
    }
    pthread_mutex_unlock(&pub->mutex);
    return sdb_error_word(rc);
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
