// The shared database's failures on the host platform: URIs whose file path is
// outside the database root or does not fit, a full table of open databases,
// files that are not databases, lock files that are not files, a reader table
// that is full, and the refusals that a process of another user meets (each
// naming the file that refused it).
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <string>
#include <vector>

#include <lmdb.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/host_platform.h"
#include "host/sdb_internal.h"
#include "host_test_util.h"
#include "sdb_test_util.h"
#include "vlan_mgr_host_sdb.h"
#include "vlan_mgr_host_trust.h"
#include "vlan_mgr_platform.h"

using host_test::ScopedEnv;
using sdb_test::become_nobody;
using sdb_test::child_text;
using sdb_test::key4;
using sdb_test::ShmDir;

namespace {

constexpr int32_t NOT_OPEN = 0x411a0002;
constexpr int32_t BACKING_FILE = 0x411a0004;
constexpr int32_t NO_MEMORY = 0x411a0005;
constexpr int32_t CORRUPT = 0x411a0006;
constexpr int32_t NO_RECORD = 0x411a0007;
constexpr int32_t PERMISSION = 0x411a000A;

const uint8_t K1[4] = {0x01, 0x00, 0x00, 0x01};
const uint8_t V1[3] = {0xaa, 0xbb, 0xcc};

std::string hex(int32_t rc)
{
    char b[16];
    std::snprintf(b, sizeof b, "0x%x", static_cast<unsigned>(rc));
    return b;
}

// "<word> [<text>]": the status word and this thread's text for it (with the
// detail noted for it).
std::string word_and_text(int32_t rc) { return hex(rc) + " [" + syserr2str(rc) + "]"; }

// A fresh directory under /tmp (mode 0755: another user may reach what is in
// it), outside the database root: "volatile:<dir>/<name>" is the file
// <dir>/<name> itself. Removed with everything in it at the end.
class PlainDir {
public:
    PlainDir()
    {
        char tmpl[] = "/tmp/vlan_mgr_sdb_errors.XXXXXX";
        if (mkdtemp(tmpl) != nullptr) {
            path_ = tmpl;
            chmod(tmpl, 0755);
        }
    }
    ~PlainDir()
    {
        if (!path_.empty())
            nftw(path_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    }
    PlainDir(const PlainDir &) = delete;
    PlainDir &operator=(const PlainDir &) = delete;
    std::string file(const char *name) const { return path_ + "/" + name; }
    std::string uri(const char *name) const { return "volatile:" + file(name); }
    const std::string &path() const { return path_; }

private:
    static int remove_entry(const char *p, const struct stat *, int, FTW *)
    {
        (void)remove(p);
        return 0;
    }
    std::string path_;
};

// Makes a database with one record (K1 -> V1) at `uri` and closes its
// publisher: the file and its lock file stay.
void make_database(const std::string &uri)
{
    sdb_pub_t *pub = nullptr;
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    const sdb_key_t k = key4(K1);
    ASSERT_EQ(sdb_pub_put(pub, &k, V1, sizeof V1), 0);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    ASSERT_EQ(sdb_pub_close(pub), 0);
}

void write_file(const std::string &path, const std::vector<uint8_t> &bytes)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << path;
    ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(fd);
}

// The record K1 of `uri` as this process reads it: "<hex bytes>" or the word.
std::string read_k1(const std::string &uri)
{
    const sdb_key_t k = key4(K1);
    int32_t err = 0;
    const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
    if (rec == nullptr)
        return hex(err);
    std::string out;
    for (uint32_t i = 0; i < rec->len; ++i) {
        char b[4];
        std::snprintf(b, sizeof b, "%02x", static_cast<const uint8_t *>(rec->data)[i]);
        out += b;
    }
    return out;
}

TEST(SdbErrors, AUriOutsideTheShmDirectoryNamesItsFileDirectly)
{
    PlainDir dir;
    const std::string uri = dir.uri("db");
    make_database(uri);
    struct stat st {};
    EXPECT_EQ(lstat(dir.file("db").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(read_k1(uri), "aabbcc");
    EXPECT_EQ(sdb_close(uri.c_str()), 0);
}

TEST(SdbErrors, TrailingSlashesOfTheDatabaseRootAreIgnored)
{
    ShmDir dir;
    ScopedEnv root("VLAN_MGR_SDB_ROOT", (dir.root() + "///").c_str());
    const std::string uri = dir.uri("slashes");
    make_database(uri);
    struct stat st {};
    EXPECT_EQ(lstat(dir.file("slashes").c_str(), &st), 0);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(read_k1(uri), "aabbcc");
    EXPECT_EQ(sdb_close(uri.c_str()), 0);
}

TEST(SdbErrors, AnEmptyRootVariableMeansTheDefaultRoot)
{
    ShmDir dir;
    ScopedEnv root("VLAN_MGR_SDB_ROOT", "");
    // A name that nothing publishes in the default root: it opens, and finds
    // no record, as any database that is not made yet.
    const std::string uri = dir.uri(("vlan_mgr_sdb_errors_none_" + std::to_string(getpid())).c_str());
    char path[vlan_mgr_host::SDB_URI_MAX];
    ASSERT_TRUE(vlan_mgr_host::sdb_file_path(uri.c_str(), path));
    EXPECT_EQ(std::string(path), std::string(vlan_mgr_host::DEFAULT_SDB_ROOT) + "/vlan_mgr_sdb_errors_none_" +
                                     std::to_string(getpid()));
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(read_k1(uri), hex(NO_RECORD));
    EXPECT_EQ(sdb_close(uri.c_str()), 0);
}

TEST(SdbErrors, AFilePathLongerThanAUriIsABackingFileErrorForReaderAndPublisher)
{
    ShmDir dir;
    // The root takes 220 bytes and the name 60: together more than a URI
    // holds, each alone less.
    const std::string long_root = dir.root() + "/" + std::string(220 - dir.root().size() - 1, 'r');
    ScopedEnv root("VLAN_MGR_SDB_ROOT", long_root.c_str());
    const std::string uri = dir.uri(std::string(60, 'n').c_str());
    EXPECT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), BACKING_FILE);
    EXPECT_EQ(sdb_close(uri.c_str()), NOT_OPEN);
    sdb_pub_t *pub = nullptr;
    EXPECT_EQ(sdb_pub_open(uri.c_str(), &pub), BACKING_FILE);
    EXPECT_EQ(pub, nullptr);
}

TEST(SdbErrors, ARootOfSlashAloneIsRefusedAsPermissionDeniedNamingSlash)
{
    ScopedEnv root("VLAN_MGR_SDB_ROOT", "/");
    const std::string uri = "volatile:/dev/shm/vlan_mgr_sdb_errors_" + std::to_string(getpid());
    sdb_pub_t *pub = nullptr;
    const int32_t rc = sdb_pub_open(uri.c_str(), &pub);
    EXPECT_EQ(word_and_text(rc), "0x411a000a [shared database: permission denied: /]");
    EXPECT_EQ(pub, nullptr);
}

TEST(SdbErrors, TheThirtyThirdOpenDatabaseIsRefusedForReaderAndPublisherUntilOneCloses)
{
    ShmDir dir;
    std::vector<std::string> open;
    int32_t rc = 0;
    // Other tests close what they open: the table has all its slots free.
    for (unsigned i = 0; i < vlan_mgr_host::SDB_SLOTS; ++i) {
        const std::string uri = dir.uri(("table" + std::to_string(i)).c_str());
        rc = sdb_open(uri.c_str(), 1, 0, 0, 0);
        if (rc != 0)
            break;
        open.push_back(uri);
    }
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(open.size(), size_t{vlan_mgr_host::SDB_SLOTS});
    const std::string extra = dir.uri("one_too_many");
    EXPECT_EQ(sdb_open(extra.c_str(), 1, 0, 0, 0), NO_MEMORY);
    sdb_pub_t *pub = nullptr;
    EXPECT_EQ(sdb_pub_open(extra.c_str(), &pub), NO_MEMORY);
    EXPECT_EQ(pub, nullptr);
    // The refused publisher left its lock and made its file, and holds neither.
    ASSERT_FALSE(open.empty());
    EXPECT_EQ(sdb_close(open.back().c_str()), 0);
    open.pop_back();
    ASSERT_EQ(sdb_pub_open(extra.c_str(), &pub), 0);
    EXPECT_EQ(sdb_pub_close(pub), 0);
    for (const std::string &uri : open)
        EXPECT_EQ(sdb_close(uri.c_str()), 0);
}

TEST(SdbErrors, ADirectoryWhereTheFileShouldBeIsABackingFileError)
{
    PlainDir dir;
    ASSERT_EQ(mkdir(dir.file("db").c_str(), 0755), 0);
    EXPECT_EQ(sdb_open(dir.uri("db").c_str(), 1, 0, 0, 0), BACKING_FILE);
    EXPECT_EQ(sdb_close(dir.uri("db").c_str()), NOT_OPEN);
}

TEST(SdbErrors, AFileThatIsNotADatabaseIsCorrupt)
{
    PlainDir dir;
    write_file(dir.file("db"), std::vector<uint8_t>(8192, 0x5a));
    EXPECT_EQ(sdb_open(dir.uri("db").c_str(), 1, 0, 0, 0), CORRUPT);
    EXPECT_EQ(sdb_close(dir.uri("db").c_str()), NOT_OPEN);
}

TEST(SdbErrors, ADatabaseWhoseRecordPagesAreDamagedReadsAsCorruptAndFetchesNothing)
{
    PlainDir dir;
    const std::string uri = dir.uri("db");
    make_database(uri);
    // The two meta pages stay; every page after them is zeroed, which no
    // page of a database is.
    struct stat st {};
    ASSERT_EQ(stat(dir.file("db").c_str(), &st), 0);
    ASSERT_GT(st.st_size, 8192);
    const int fd = open(dir.file("db").c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    const std::vector<uint8_t> zeros(static_cast<size_t>(st.st_size) - 8192, 0);
    ASSERT_EQ(pwrite(fd, zeros.data(), zeros.size(), 8192), static_cast<ssize_t>(zeros.size()));
    close(fd);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(read_k1(uri), hex(CORRUPT));
    const sdb_key_t k = key4(K1);
    sdb_rec_t rec{reinterpret_cast<const void *>(&k), 7};
    int32_t err = 0;
    EXPECT_EQ(sdb_mfetch(uri.c_str(), &k, 1, &rec, &err), CORRUPT);
    EXPECT_EQ(err, CORRUPT);
    EXPECT_EQ(rec.data, nullptr);
    EXPECT_EQ(rec.len, 0u);
    EXPECT_EQ(sdb_close(uri.c_str()), 0);
}

TEST(SdbErrors, ALockPathThatIsADirectoryIsABackingFileErrorForReaderAndPublisher)
{
    PlainDir dir;
    write_file(dir.file("db"), std::vector<uint8_t>(8192, 0x5a));
    ASSERT_EQ(mkdir(dir.file("db-lock").c_str(), 0755), 0);
    EXPECT_EQ(sdb_open(dir.uri("db").c_str(), 1, 0, 0, 0), BACKING_FILE);
    sdb_pub_t *pub = nullptr;
    EXPECT_EQ(sdb_pub_open(dir.uri("db").c_str(), &pub), BACKING_FILE);
    EXPECT_EQ(pub, nullptr);
}

TEST(SdbErrors, ALockFileThatIsAFifoIsABackingFileErrorForThePublisher)
{
    PlainDir dir;
    ASSERT_EQ(mkfifo(dir.file("db-lock").c_str(), 0660), 0);
    sdb_pub_t *pub = nullptr;
    EXPECT_EQ(sdb_pub_open(dir.uri("db").c_str(), &pub), BACKING_FILE);
    EXPECT_EQ(pub, nullptr);
    struct stat st {};
    EXPECT_NE(lstat(dir.file("db").c_str(), &st), 0); // nothing made
}

TEST(SdbErrors, AMapSizeThatIsNotAWholeNumberOfMiBInRangeGivesTheDefaultMap)
{
    for (const char *value : {"12x", "-5", "0", "99999", ""}) {
        PlainDir dir;
        ScopedEnv map("VLAN_MGR_SDB_MAP_MB", value);
        make_database(dir.uri("db"));
        // The map size is stored in the file: read it back with LMDB itself.
        MDB_env *env = nullptr;
        ASSERT_EQ(mdb_env_create(&env), 0);
        ASSERT_EQ(mdb_env_open(env, dir.file("db").c_str(), MDB_NOSUBDIR | MDB_RDONLY, 0), 0) << value;
        MDB_envinfo info{};
        mdb_env_info(env, &info);
        mdb_env_close(env);
        EXPECT_EQ(info.me_mapsize, size_t{vlan_mgr_host::SDB_DEFAULT_MAP_MB} << 20) << '"' << value << '"';
    }
}

// Another process holds the only reader slot of the database's lock file:
// this process's read finds the reader table full, gives back the slots of
// dead readers (none), tries once more and reports no memory.
TEST(SdbErrors, AFullReaderTableIsReportedAsNoMemoryAndTheNextReadWorksOnceASlotIsFree)
{
    PlainDir dir;
    const std::string uri = dir.uri("db");
    make_database(uri);
    // Nobody has the file open: the next to open it sets its lock file up anew.
    ASSERT_EQ(truncate(dir.file("db-lock").c_str(), 0), 0);
    int ready[2], release[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(release), 0);
    const pid_t holder = fork();
    ASSERT_GE(holder, 0);
    if (holder == 0) {
        // The first process to open the file sets up its lock file: with one
        // reader slot.
        MDB_env *env = nullptr;
        MDB_txn *txn = nullptr;
        char c = 'x';
        if (mdb_env_create(&env) != 0 || mdb_env_set_maxreaders(env, 1) != 0 ||
            mdb_env_open(env, dir.file("db").c_str(), MDB_NOSUBDIR | MDB_NOTLS, 0640) != 0)
            c = 'o';
        (void)!write(ready[1], &c, 1);
        if (c == 'x' && read(release[0], &c, 1) == 1 && mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) == 0) {
            c = 'h';
            (void)!write(ready[1], &c, 1); // holds the only slot
            (void)!read(release[0], &c, 1);
            mdb_txn_abort(txn);
        }
        host_test::child_exit(0);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ASSERT_EQ(c, 'x');
    // Opened while the slot is free: the open's own check passes.
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    c = 'g';
    ASSERT_EQ(write(release[1], &c, 1), 1);
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ASSERT_EQ(c, 'h');
    const std::string full = read_k1(uri);
    sdb_rec_t rec{};
    const sdb_key_t k = key4(K1);
    int32_t err = 0;
    const int32_t mrc = sdb_mfetch(uri.c_str(), &k, 1, &rec, &err);
    ASSERT_EQ(write(release[1], &c, 1), 1);
    int status = 0;
    ASSERT_EQ(waitpid(holder, &status, 0), holder);
    close(ready[0]);
    close(ready[1]);
    close(release[0]);
    close(release[1]);
    EXPECT_EQ(full, hex(NO_MEMORY));
    EXPECT_EQ(mrc, NO_MEMORY);
    EXPECT_EQ(err, NO_MEMORY);
    EXPECT_EQ(rec.data, nullptr);
    EXPECT_EQ(read_k1(uri), "aabbcc");
    EXPECT_EQ(sdb_close(uri.c_str()), 0);
}

// ---- Another user -----------------------------------------------------------

class SdbErrorsOtherUser : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root to switch to another user";
    }
    PlainDir dir;
    std::string uri = dir.uri("db");
    std::string path = dir.file("db");
    std::string lock = path + "-lock";
    // The trust group is root's group: uid 65534 is not in it.
    ScopedEnv group{VLAN_MGR_HOST_ENV_GROUP, "root"};

    // Runs sdb_open as uid 65534 outside the trust group: its word and text.
    std::string open_as_nobody()
    {
        return child_text([&] {
            if (!become_nobody(false, 0))
                return std::string("cannot become nobody");
            return word_and_text(sdb_open(uri.c_str(), 1, 0, 0, 0));
        });
    }
    // Runs sdb_pub_open as uid 65534 outside the trust group: its word and
    // text.
    std::string publish_as_nobody()
    {
        return child_text([&] {
            if (!become_nobody(false, 0))
                return std::string("cannot become nobody");
            sdb_pub_t *pub = nullptr;
            const int32_t rc = sdb_pub_open(uri.c_str(), &pub);
            return word_and_text(rc) + (pub == nullptr ? "" : " and a publisher");
        });
    }
};

TEST_F(SdbErrorsOtherUser, AReaderWhoCannotOpenTheLockFileIsToldItsPath)
{
    make_database(uri);
    EXPECT_EQ(open_as_nobody(), "0x411a000a [shared database: permission denied: " + lock + "]");
}

TEST_F(SdbErrorsOtherUser, AReaderWhoMayUseTheLockFileButNotReadTheDataFileIsToldTheDataFilesPath)
{
    make_database(uri);
    ASSERT_EQ(chmod(lock.c_str(), 0666), 0);
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    EXPECT_EQ(open_as_nobody(), "0x411a000a [shared database: permission denied: " + path + "]");
}

TEST_F(SdbErrorsOtherUser, AnOwnerWhoCannotMakeTheLockFileIsToldItsPath)
{
    make_database(uri);
    ASSERT_EQ(unlink(lock.c_str()), 0);
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    EXPECT_EQ(open_as_nobody(), "0x411a000a [shared database: permission denied: " + lock + "]");
    struct stat st {};
    EXPECT_NE(lstat(lock.c_str(), &st), 0);
}

TEST_F(SdbErrorsOtherUser, APublisherWhoCannotMakeTheLockFileIsToldItsPath)
{
    make_database(uri);
    ASSERT_EQ(unlink(lock.c_str()), 0);
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    EXPECT_EQ(publish_as_nobody(), "0x411a000a [shared database: permission denied: " + lock + "]");
}

TEST_F(SdbErrorsOtherUser, APublisherWhoCannotGiveTheLockFileTheTrustGroupIsToldItsPath)
{
    const int fd = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0660);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_EQ(chown(lock.c_str(), 65534, 65534), 0);
    EXPECT_EQ(publish_as_nobody(), "0x411a000a [shared database: permission denied: " + lock + "]");
    struct stat st {};
    EXPECT_NE(lstat(path.c_str(), &st), 0); // no file made
}

TEST_F(SdbErrorsOtherUser, APublisherWhoCannotMakeTheFileInItsDirectoryIsToldTheFilesPath)
{
    const int fd = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0660);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_EQ(chown(lock.c_str(), 65534, 0), 0);
    EXPECT_EQ(publish_as_nobody(), "0x411a000a [shared database: permission denied: " + path + "]");
}

TEST_F(SdbErrorsOtherUser, APublisherWhoseNewFileCannotGetTheTrustGroupIsToldTheFilesPathAndLeavesNoFile)
{
    ASSERT_EQ(chown(dir.path().c_str(), 65534, 65534), 0);
    const int fd = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0660);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_EQ(chown(lock.c_str(), 65534, 0), 0);
    EXPECT_EQ(publish_as_nobody(), "0x411a000a [shared database: permission denied: " + path + "]");
    // The temporary file is gone, the lock file stays.
    EXPECT_EQ(sdb_test::count_entries(dir.path()), 1);
}

TEST_F(SdbErrorsOtherUser, APublisherWhoCannotReadItsOwnFileIsToldItsPath)
{
    make_database(uri);
    ASSERT_EQ(chown(lock.c_str(), 65534, 0), 0);
    ASSERT_EQ(chown(path.c_str(), 65534, 0), 0);
    ASSERT_EQ(chmod(path.c_str(), 0000), 0);
    EXPECT_EQ(publish_as_nobody(), "0x411a000a [shared database: permission denied: " + path + "]");
}

TEST_F(SdbErrorsOtherUser, APublisherWhoCannotGiveItsOwnFileTheTrustGroupIsToldItsPath)
{
    make_database(uri);
    ASSERT_EQ(chown(lock.c_str(), 65534, 0), 0);
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    EXPECT_EQ(publish_as_nobody(), "0x411a000a [shared database: permission denied: " + path + "]");
}

} // namespace
