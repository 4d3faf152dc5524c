// The trust boundary: directories and files of the manager owned by its user
// and the trust group, with modes set explicitly so that no umask widens or
// narrows them.
#include "vlan_mgr_host_trust.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

extern "C" gid_t vlan_mgr_host_trust_gid(void)
{
    const char *name = std::getenv(VLAN_MGR_HOST_ENV_GROUP);
    if (name == nullptr || name[0] == '\0')
        name = VLAN_MGR_HOST_DEFAULT_GROUP;
    group grp{};
    group *found = nullptr;
    char buf[4096];
    if (getgrnam_r(name, &grp, buf, sizeof buf, &found) == 0 && found != nullptr)
        return found->gr_gid;
    return getegid();
}

namespace {

// Creates the parents of `path` that are missing, with mode 0755.
int make_parents(const std::string &path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        const std::string parent = path.substr(0, slash);
        if (mkdir(parent.c_str(), 0755) != 0 && errno != EEXIST)
            return errno;
    }
    return 0;
}

// An existing entry that the boundary may take over: a real directory (not a
// link to one) owned by the caller.
int check_owned_dir(const struct stat &st)
{
    if (S_ISLNK(st.st_mode))
        return ELOOP;
    if (!S_ISDIR(st.st_mode))
        return ENOTDIR;
    if (st.st_uid != geteuid())
        return EPERM;
    return 0;
}

} // namespace

extern "C" int vlan_mgr_host_trust_dir(const char *path, mode_t mode)
{
    if (path == nullptr || path[0] == '\0')
        return EINVAL;
    struct stat st {};
    if (lstat(path, &st) != 0) {
        if (errno != ENOENT)
            return errno;
        if (const int rc = make_parents(path); rc != 0)
            return rc;
        if (mkdir(path, 0700) != 0 && errno != EEXIST)
            return errno;
        if (lstat(path, &st) != 0)
            return errno;
    }
    if (const int rc = check_owned_dir(st); rc != 0)
        return rc;
    if (st.st_gid != vlan_mgr_host_trust_gid() && chown(path, static_cast<uid_t>(-1), vlan_mgr_host_trust_gid()) != 0)
        return errno;
    if (chmod(path, mode & 07777) != 0)
        return errno;
    return 0;
}

extern "C" int vlan_mgr_host_trust_fd(int fd, mode_t mode)
{
    struct stat st {};
    if (fstat(fd, &st) != 0)
        return errno;
    if (st.st_gid != vlan_mgr_host_trust_gid() && fchown(fd, static_cast<uid_t>(-1), vlan_mgr_host_trust_gid()) != 0)
        return errno;
    if (fchmod(fd, mode & 07777) != 0)
        return errno;
    return 0;
}
