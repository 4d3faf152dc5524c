// The shared database's trust boundary: the publisher keeps the database root,
// the VDC directories, the data files and the lock files in the trust group
// with exact modes whatever the umask; a local user outside the group can
// neither open, truncate nor fill them, and a reader outside the group is told
// "permission denied" with the path.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/host_platform.h"
#include "sdb_test_util.h"
#include "vlan_mgr_host_sdb.h"
#include "vlan_mgr_host_trust.h"
#include "vlan_mgr_platform.h"

using sdb_test::become_nobody;
using sdb_test::child_text;
using sdb_test::in_child;
using sdb_test::key4;
using sdb_test::ShmDir;

namespace {

constexpr int32_t PERMISSION = 0x411a000A;

const uint8_t K1[4] = {0x01, 0x00, 0x00, 0x01};
const uint8_t K2[4] = {0x01, 0x00, 0x00, 0x02};
const uint8_t V1[3] = {0xaa, 0xbb, 0xcc};

struct Mode {
    mode_t mode;
    uid_t uid;
    gid_t gid;
    bool operator==(const Mode &) const = default;
};

std::ostream &operator<<(std::ostream &os, const Mode &m)
{
    char b[64];
    std::snprintf(b, sizeof b, "{0%o, uid %u, gid %u}", static_cast<unsigned>(m.mode), static_cast<unsigned>(m.uid),
                  static_cast<unsigned>(m.gid));
    return os << b;
}

Mode mode_of(const std::string &path)
{
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0)
        return {0, 0, 0};
    return {st.st_mode & 07777, st.st_uid, st.st_gid};
}

// What a process gets when it tries `open(path, flags)`: "opened" or the
// errno's name for the two that matter here.
std::string try_open(const std::string &path, int flags)
{
    const int fd = open(path.c_str(), flags | O_CLOEXEC);
    if (fd >= 0) {
        close(fd);
        return "opened";
    }
    return errno == EACCES ? "EACCES" : errno == ENOENT ? "ENOENT" : std::strerror(errno);
}

class SdbBoundary : public ::testing::Test {
protected:
    ShmDir dir;
    std::string uri = dir.uri("vlan_mgr_bd_sdb");
    std::string path = dir.file("vlan_mgr_bd_sdb");
    std::string lock = path + "-lock";
    sdb_pub_t *pub = nullptr;

    void publish_one(const uint8_t *key)
    {
        const sdb_key_t k = key4(key);
        ASSERT_EQ(sdb_pub_put(pub, &k, V1, sizeof V1), 0);
        ASSERT_EQ(sdb_pub_commit(pub), 0);
    }
    void TearDown() override
    {
        sdb_close(uri.c_str());
        if (pub != nullptr)
            sdb_pub_close(pub);
    }
};

class SdbBoundaryUmask : public SdbBoundary, public ::testing::WithParamInterface<mode_t> {};

TEST_P(SdbBoundaryUmask, RootVdcDirectoryDataAndLockFilesHaveTheDocumentedModesWhateverTheUmask)
{
    const std::string vdc_uri = dir.uri("2/vlan_mgr_bd_sdb");
    const mode_t old = umask(GetParam());
    sdb_pub_t *vdc2 = nullptr;
    const int32_t rc1 = sdb_pub_open(uri.c_str(), &pub);
    const int32_t rc2 = sdb_pub_open(vdc_uri.c_str(), &vdc2);
    umask(old);
    ASSERT_EQ(rc1, 0);
    ASSERT_EQ(rc2, 0);
    const uid_t uid = geteuid();
    const gid_t gid = vlan_mgr_host_trust_gid();
    EXPECT_EQ(mode_of(dir.root()), (Mode{02750, uid, gid}));
    EXPECT_EQ(mode_of(path), (Mode{0640, uid, gid}));
    EXPECT_EQ(mode_of(lock), (Mode{0660, uid, gid}));
    EXPECT_EQ(mode_of(dir.root() + "/2"), (Mode{02750, uid, gid}));
    EXPECT_EQ(mode_of(dir.file("2/vlan_mgr_bd_sdb")), (Mode{0640, uid, gid}));
    EXPECT_EQ(mode_of(dir.file("2/vlan_mgr_bd_sdb-lock")), (Mode{0660, uid, gid}));
    // Only the files, their lock files and VDC 2's directory: the temporary
    // files are gone.
    EXPECT_EQ(sdb_test::count_entries(dir.root()), 3);
    EXPECT_EQ(sdb_test::count_entries(dir.root() + "/2"), 2);
    ASSERT_EQ(sdb_pub_close(vdc2), 0);
}

INSTANTIATE_TEST_SUITE_P(Umask, SdbBoundaryUmask, ::testing::Values(mode_t{0}, mode_t{077}),
                         [](const ::testing::TestParamInfo<mode_t> &i) {
                             return i.param == 0 ? std::string("Umask0") : std::string("Umask077");
                         });

TEST_F(SdbBoundary, FilesOfAnEarlierVersionAreNarrowedByTheNextPublisher)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(sdb_pub_close(pub), 0);
    pub = nullptr;
    // What an earlier version left: a root without the setgid bit, a 0644
    // file and a 0666 lock file.
    ASSERT_EQ(chmod(dir.root().c_str(), 0750), 0);
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    ASSERT_EQ(chmod(lock.c_str(), 0666), 0);
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    EXPECT_EQ(mode_of(dir.root()).mode, 02750u);
    EXPECT_EQ(mode_of(path).mode, 0640u);
    EXPECT_EQ(mode_of(lock).mode, 0660u);
}

TEST_F(SdbBoundary, ARootThatOthersMayEnterAndThatHoldsFilesIsNeverTakenOver)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(sdb_pub_close(pub), 0);
    pub = nullptr;
    // Opened to everyone since (as a directory that other programs use):
    // narrowing it would lock them out, so the publisher refuses it.
    ASSERT_EQ(chmod(dir.root().c_str(), 0755), 0);
    EXPECT_EQ(sdb_pub_open(uri.c_str(), &pub), PERMISSION);
    EXPECT_EQ(pub, nullptr);
    EXPECT_EQ(std::string(syserr2str(PERMISSION)), "shared database: permission denied: " + dir.root());
    EXPECT_EQ(mode_of(dir.root()).mode, 0755u);
}

TEST_F(SdbBoundary, ASharedStickyDirectoryIsNeverTakenOverAsTheRoot)
{
    ASSERT_EQ(mkdir(dir.root().c_str(), 0777), 0);
    ASSERT_EQ(chmod(dir.root().c_str(), 01777), 0);
    EXPECT_EQ(sdb_pub_open(uri.c_str(), &pub), PERMISSION);
    EXPECT_EQ(pub, nullptr);
    EXPECT_EQ(std::string(syserr2str(PERMISSION)), "shared database: permission denied: " + dir.root());
    EXPECT_EQ(mode_of(dir.root()).mode, 01777u);
    EXPECT_EQ(sdb_test::count_entries(dir.root()), 0);
}

TEST_F(SdbBoundary, ALockFileMadeByAnotherUserIsRefused)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to make a file of another user";
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(sdb_pub_close(pub), 0);
    pub = nullptr;
    ASSERT_EQ(unlink(lock.c_str()), 0);
    const int fd = open(lock.c_str(), O_RDWR | O_CREAT | O_EXCL, 0666);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(fchown(fd, 65534, 65534), 0);
    close(fd);
    EXPECT_EQ(sdb_pub_open(uri.c_str(), &pub), 0x411a0008);
    EXPECT_EQ(pub, nullptr);
}

// ---- A local user outside the trust group ------------------------------------

TEST_F(SdbBoundary, AUserOutsideTheGroupCannotOpenTruncateOrWriteTheFiles)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to another user";
    // The root exists already, readable by all, as /dev/shm was.
    ASSERT_EQ(mkdir(dir.root().c_str(), 0755), 0);
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    publish_one(K1);
    const gid_t gid = vlan_mgr_host_trust_gid();
    const std::string seen = child_text([&] {
        if (!become_nobody(false, gid))
            return std::string("cannot become nobody");
        return "lock rw " + try_open(lock, O_RDWR) + ", lock ro " + try_open(lock, O_RDONLY) + ", lock trunc " +
               try_open(lock, O_WRONLY | O_TRUNC) + ", data ro " + try_open(path, O_RDONLY) + ", data rw " +
               try_open(path, O_RDWR) + ", new file " + try_open(dir.file("x"), O_WRONLY | O_CREAT);
    });
    EXPECT_EQ(seen, "lock rw EACCES, lock ro EACCES, lock trunc EACCES, data ro EACCES, data rw EACCES, "
                    "new file EACCES");
    // The manager's next change succeeds.
    publish_one(K2);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    const sdb_key_t k = key4(K2);
    int32_t err = -1;
    ASSERT_NE(sdb_read(uri.c_str(), &k, &err), nullptr);
}

TEST_F(SdbBoundary, AReaderOutsideTheGroupGetsPermissionDeniedNamingThePath)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to another user";
    ASSERT_EQ(mkdir(dir.root().c_str(), 0755), 0);
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    publish_one(K1);
    const gid_t gid = vlan_mgr_host_trust_gid();
    const std::string seen = child_text([&] {
        if (!become_nobody(false, gid))
            return std::string("cannot become nobody");
        char word[32];
        const int32_t rc = sdb_open(uri.c_str(), 1, 0, 0, 0);
        std::snprintf(word, sizeof word, "0x%x", static_cast<unsigned>(rc));
        const sdb_key_t k = key4(K1);
        int32_t err = 0;
        const bool read = sdb_read(uri.c_str(), &k, &err) != nullptr;
        return std::string(word) + " [" + syserr2str(rc) + "] read " + (read ? "yes" : "no");
    });
    EXPECT_EQ(seen, "0x411a000a [shared database: permission denied: " + path + "] read no");
}

TEST_F(SdbBoundary, AReaderInTheGroupReadsButCannotPublish)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to another user";
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    publish_one(K1);
    const gid_t gid = vlan_mgr_host_trust_gid();
    const std::string seen = child_text([&] {
        if (!become_nobody(true, gid))
            return std::string("cannot become nobody");
        sdb_pub_t *p = nullptr;
        char pub_word[32];
        std::snprintf(pub_word, sizeof pub_word, "0x%x", static_cast<unsigned>(sdb_pub_open(uri.c_str(), &p)));
        if (sdb_open(uri.c_str(), 1, 0, 0, 0) != 0)
            return std::string("open failed");
        const sdb_key_t k = key4(K1);
        int32_t err = -1;
        const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
        const std::string value = rec != nullptr ? std::string(static_cast<const char *>(rec->data), rec->len) : "";
        return std::string("publish ") + pub_word + ", data rw " + try_open(path, O_RDWR) + ", read " +
               (value == std::string(reinterpret_cast<const char *>(V1), 3) ? "V1" : "other");
    });
    EXPECT_EQ(seen, "publish 0x411a0008, data rw EACCES, read V1");
    publish_one(K2);
}

// The manager's publisher in a process of its own (it may die of SIGBUS when
// its lock file is truncated under it): it commits, lets a hostile process at
// the lock file, then commits again. Returns "exit N" or "signal N".
enum class Attack { truncate, fill };

std::string publisher_survives(const std::string &uri, const std::string &lock, Attack attack)
{
    int ready[2], go[2];
    if (pipe(ready) != 0 || pipe(go) != 0)
        return "no pipe";
    const pid_t publisher = fork();
    if (publisher == 0) {
        close(ready[0]);
        close(go[1]);
        sdb_pub_t *p = nullptr;
        const sdb_key_t k1 = key4(K1), k2 = key4(K2);
        if (sdb_pub_open(uri.c_str(), &p) != 0 || sdb_pub_put(p, &k1, V1, 3) != 0 || sdb_pub_commit(p) != 0)
            host_test::child_exit(1);
        char c = 1;
        (void)!write(ready[1], &c, 1);
        if (read(go[0], &c, 1) != 1)
            host_test::child_exit(2);
        if (sdb_pub_put(p, &k2, V1, 3) != 0 || sdb_pub_commit(p) != 0)
            host_test::child_exit(3);
        host_test::child_exit(sdb_pub_close(p) == 0 ? 0 : 4);
    }
    close(ready[1]);
    close(go[0]);
    char c = 0;
    const bool up = read(ready[0], &c, 1) == 1;
    const gid_t gid = vlan_mgr_host_trust_gid();
    if (up) {
        // The hostile user: truncates the lock file, or overwrites its start
        // with bytes.
        in_child([&] {
            if (!become_nobody(false, gid))
                return 1;
            const int fd = open(lock.c_str(), (attack == Attack::truncate ? O_WRONLY | O_TRUNC : O_RDWR) | O_CLOEXEC);
            if (fd < 0)
                return 2;
            if (attack == Attack::fill) {
                const std::vector<char> junk(8192, '\xff');
                (void)!pwrite(fd, junk.data(), junk.size(), 0);
            }
            close(fd);
            return 0;
        });
    }
    (void)!write(go[1], &c, 1);
    close(go[1]);
    close(ready[0]);
    int status = 0;
    if (waitpid(publisher, &status, 0) != publisher)
        return "lost";
    if (WIFSIGNALED(status))
        return "signal " + std::to_string(WTERMSIG(status));
    return "exit " + std::to_string(WEXITSTATUS(status));
}

TEST_F(SdbBoundary, ThePublisherSurvivesAHostileUserTruncatingTheLockFile)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to another user";
    ASSERT_EQ(mkdir(dir.root().c_str(), 0755), 0);
    EXPECT_EQ(publisher_survives(uri, lock, Attack::truncate), "exit 0");
    EXPECT_EQ(sdb_test::count_entries(dir.root()), 2);
    struct stat st {};
    ASSERT_EQ(stat(lock.c_str(), &st), 0);
    EXPECT_GT(st.st_size, 0);
}

TEST_F(SdbBoundary, ThePublisherSurvivesAHostileUserFillingTheLockFileWithBytes)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to another user";
    ASSERT_EQ(mkdir(dir.root().c_str(), 0755), 0);
    EXPECT_EQ(publisher_survives(uri, lock, Attack::fill), "exit 0");
    // A new publisher still works on the file.
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    publish_one(K1);
}

} // namespace
