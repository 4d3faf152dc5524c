// The trust boundary's directories and files: created with the trust group
// and exact modes whatever the umask; links, files and other users' entries
// refused.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <grp.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "host_test_util.h"
#include "sdb_test_util.h"
#include "vlan_mgr_host_trust.h"

namespace {

class TrustDir : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/vlan_mgr_trust_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        root_ = tmpl;
    }
    void TearDown() override { (void)!std::system(("rm -rf " + root_).c_str()); }

    static mode_t mode_of(const std::string &path)
    {
        struct stat st {};
        return lstat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
    }

    std::string root_;
};

TEST_F(TrustDir, MissingDirectoryAndParentsAreCreatedWithTheExactModeWhateverTheUmask)
{
    const mode_t old = umask(0077);
    const std::string dir = root_ + "/a/b/run";
    EXPECT_EQ(vlan_mgr_host_trust_dir(dir.c_str(), 02770), 0);
    umask(old);
    EXPECT_EQ(mode_of(dir), 02770u);
    struct stat st {};
    ASSERT_EQ(stat(dir.c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, geteuid());
    EXPECT_EQ(st.st_gid, vlan_mgr_host_trust_gid());
}

TEST_F(TrustDir, AnExistingEmptyDirectoryOthersMayEnterIsNarrowed)
{
    const std::string dir = root_ + "/db";
    ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);
    ASSERT_EQ(chmod(dir.c_str(), 0755), 0);
    EXPECT_EQ(vlan_mgr_host_trust_dir(dir.c_str(), 02750), 0);
    EXPECT_EQ(mode_of(dir), 02750u);
    // Already the boundary's: taken again as it is, files and all.
    const int fd = open((dir + "/file").c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(vlan_mgr_host_trust_dir(dir.c_str(), 02750), 0);
}

TEST_F(TrustDir, ASharedDirectoryIsRefusedAndLeftAsItWas)
{
    const std::string sticky = root_ + "/tmp";
    ASSERT_EQ(mkdir(sticky.c_str(), 0700), 0);
    ASSERT_EQ(chmod(sticky.c_str(), 01777), 0);
    EXPECT_EQ(vlan_mgr_host_trust_dir(sticky.c_str(), 02770), EEXIST);
    EXPECT_EQ(mode_of(sticky), 01777u);

    const std::string writable = root_ + "/open";
    ASSERT_EQ(mkdir(writable.c_str(), 0700), 0);
    ASSERT_EQ(chmod(writable.c_str(), 0777), 0);
    EXPECT_EQ(vlan_mgr_host_trust_dir(writable.c_str(), 02770), EEXIST);
    EXPECT_EQ(mode_of(writable), 0777u);

    const std::string used = root_ + "/run";
    ASSERT_EQ(mkdir(used.c_str(), 0700), 0);
    ASSERT_EQ(chmod(used.c_str(), 0755), 0);
    const int fd = open((used + "/theirs").c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(vlan_mgr_host_trust_dir(used.c_str(), 02770), EEXIST);
    EXPECT_EQ(mode_of(used), 0755u);
}

TEST_F(TrustDir, ALinkAFileAndANullPathAreRefused)
{
    const std::string target = root_ + "/target";
    const std::string link = root_ + "/link";
    const std::string file = root_ + "/file";
    ASSERT_EQ(mkdir(target.c_str(), 0700), 0);
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
    const int fd = open(file.c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(vlan_mgr_host_trust_dir(link.c_str(), 0700), ELOOP);
    EXPECT_EQ(vlan_mgr_host_trust_dir(file.c_str(), 0700), ENOTDIR);
    EXPECT_EQ(vlan_mgr_host_trust_dir(nullptr, 0700), EINVAL);
    EXPECT_EQ(vlan_mgr_host_trust_dir("", 0700), EINVAL);
    EXPECT_EQ(mode_of(target), 0700u);
}

TEST_F(TrustDir, ADirectoryOfAnotherUserIsRefusedAndLeftAsItWas)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to give a directory to another user";
    const std::string dir = root_ + "/theirs";
    ASSERT_EQ(mkdir(dir.c_str(), 0777), 0);
    ASSERT_EQ(chmod(dir.c_str(), 0777), 0);
    ASSERT_EQ(chown(dir.c_str(), 65534, 65534), 0);
    EXPECT_EQ(vlan_mgr_host_trust_dir(dir.c_str(), 0700), EPERM);
    EXPECT_EQ(mode_of(dir), 0777u);
}

TEST_F(TrustDir, AMissingParentThatCannotBeMadeIsReported)
{
    const std::string file = root_ + "/file";
    const int fd = open(file.c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(vlan_mgr_host_trust_dir((file + "/sub/dir").c_str(), 0700), ENOTDIR);
}

TEST_F(TrustDir, FileGetsTheTrustGroupAndTheExactMode)
{
    const std::string file = root_ + "/lock";
    const mode_t old = umask(0);
    const int fd = open(file.c_str(), O_CREAT | O_RDWR, 0666);
    umask(old);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(vlan_mgr_host_trust_fd(fd, 0660), 0);
    EXPECT_EQ(mode_of(file), 0660u);
    struct stat st {};
    ASSERT_EQ(fstat(fd, &st), 0);
    EXPECT_EQ(st.st_gid, vlan_mgr_host_trust_gid());
    close(fd);
    EXPECT_EQ(vlan_mgr_host_trust_fd(-1, 0660), EBADF);
}

TEST(TrustGroup, TheNamedGroupWhenItExistsElseTheEffectiveGroup)
{
    {
        host_test::ScopedEnv group(VLAN_MGR_HOST_ENV_GROUP, "no_such_group_here");
        EXPECT_EQ(vlan_mgr_host_trust_gid(), getegid());
    }
    group *g = getgrgid(0);
    ASSERT_NE(g, nullptr);
    host_test::ScopedEnv group(VLAN_MGR_HOST_ENV_GROUP, g->gr_name);
    EXPECT_EQ(vlan_mgr_host_trust_gid(), 0u);
}

TEST_F(TrustDir, ADescriptorWhoseGroupOrModeCannotBeChangedReportsTheErrno)
{
    const std::string file = root_ + "/lock";
    const int fd = open(file.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    struct stat st {};
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    // A path descriptor can be looked at but its group and mode not changed.
    const int path_fd = open(file.c_str(), O_PATH | O_CLOEXEC);
    ASSERT_GE(path_fd, 0);
    const group *own = getgrgid(st.st_gid);
    ASSERT_NE(own, nullptr);
    const std::string own_name = own->gr_name;
    {
        host_test::ScopedEnv group(VLAN_MGR_HOST_ENV_GROUP, own_name.c_str());
        EXPECT_EQ(vlan_mgr_host_trust_fd(path_fd, 0660), EBADF); // its mode
    }
    const group *other = getgrgid(st.st_gid != 65534 ? 65534 : 0);
    ASSERT_NE(other, nullptr);
    const std::string other_name = other->gr_name;
    {
        host_test::ScopedEnv group(VLAN_MGR_HOST_ENV_GROUP, other_name.c_str());
        EXPECT_EQ(vlan_mgr_host_trust_fd(path_fd, 0660), EBADF); // its group
    }
    close(path_fd);
    EXPECT_EQ(mode_of(file), 0600u);
}

// Directories as uid 65534 sees them, outside the trust group (root's group).
class TrustDirOtherUser : public TrustDir {
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root to switch to another user";
        TrustDir::SetUp();
        ASSERT_EQ(chmod(root_.c_str(), 0755), 0);
    }
    // vlan_mgr_host_trust_dir(path, 02750) as uid 65534: its errno.
    int trust_dir_as_nobody(const std::string &path)
    {
        return sdb_test::in_child([&] {
            if (!sdb_test::become_nobody(false, 0))
                return 100;
            return vlan_mgr_host_trust_dir(path.c_str(), 02750);
        });
    }
    host_test::ScopedEnv group_{VLAN_MGR_HOST_ENV_GROUP, "root"};
};

TEST_F(TrustDirOtherUser, AMissingParentInADirectoryOfAnotherUserIsReportedAsEacces)
{
    EXPECT_EQ(trust_dir_as_nobody(root_ + "/parent/dir"), EACCES);
    EXPECT_EQ(mode_of(root_ + "/parent"), 0u);
}

TEST_F(TrustDirOtherUser, AMissingDirectoryInADirectoryOfAnotherUserIsReportedAsEacces)
{
    EXPECT_EQ(trust_dir_as_nobody(root_ + "/dir"), EACCES);
    EXPECT_EQ(mode_of(root_ + "/dir"), 0u);
}

TEST_F(TrustDirOtherUser, ADirectoryOthersMayEnterButItsOwnerCannotListIsTreatedAsShared)
{
    const std::string dir = root_ + "/unlisted";
    ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);
    ASSERT_EQ(chown(dir.c_str(), 65534, 65534), 0);
    ASSERT_EQ(chmod(dir.c_str(), 0311), 0);
    EXPECT_EQ(trust_dir_as_nobody(dir), EEXIST);
    EXPECT_EQ(mode_of(dir), 0311u);
}

TEST_F(TrustDirOtherUser, ADirectoryWhoseOwnerIsNotInTheTrustGroupIsReportedAsEperm)
{
    const std::string dir = root_ + "/own";
    ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);
    ASSERT_EQ(chown(dir.c_str(), 65534, 65534), 0);
    EXPECT_EQ(trust_dir_as_nobody(dir), EPERM);
    EXPECT_EQ(mode_of(dir), 0700u);
}

} // namespace
