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
#include <vector>
#include <dirent.h>

extern "C" gid_t vlan_mgr_host_trust_gid(void)
{
    const char *name = std::getenv(VLAN_MGR_HOST_ENV_GROUP);
    if (name == nullptr || name[0] == '\0')
        name = VLAN_MGR_HOST_DEFAULT_GROUP;
    // A group with many members needs more than the usual buffer: grow it
    // rather than fall back to the wrong group.
    std::vector<char> buf(4096);
    for (;;) {
        group grp{};
        group *found = nullptr;
        const int rc = getgrnam_r(name, &grp, buf.data(), buf.size(), &found);
        if (rc == ERANGE && buf.size() < (size_t{1} << 24)) {
            buf.resize(buf.size() * 2);
            continue;
        }
        if (rc == 0 && found != nullptr)
            return found->gr_gid;
        return getegid();
    }
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

// True when the directory holds an entry besides "." and "..".
bool has_entries(const char *path)
{
    DIR *d = opendir(path);
    if (d == nullptr)
        return true;
    bool found = false;
    while (const dirent *e = readdir(d)) {
        if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0) {
            found = true;
            break;
        }
    }
    closedir(d);
    return found;
}

// An existing entry that the boundary may take over: a real directory (not a
// link to one) owned by the caller and used by nobody else. A directory that
// others may write (a sticky one such as /tmp), or that others may enter and
// that already holds something (such as /run or /srv for root), is shared:
// narrowing it would lock its other users out.
int check_owned_dir(const char *path, const struct stat &st)
{
    if (S_ISLNK(st.st_mode))
        return ELOOP;
    if (!S_ISDIR(st.st_mode))
        return ENOTDIR;
    if (st.st_uid != geteuid())
        return EPERM;
    if ((st.st_mode & (S_ISVTX | S_IWOTH)) != 0 || ((st.st_mode & S_IRWXO) != 0 && has_entries(path)))
        return EEXIST;
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
    if (const int rc = check_owned_dir(path, st); rc != 0)
        return rc;
    const gid_t gid = vlan_mgr_host_trust_gid();
    if (st.st_gid != gid && chown(path, static_cast<uid_t>(-1), gid) != 0)
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
    const gid_t gid = vlan_mgr_host_trust_gid();
    if (st.st_gid != gid && fchown(fd, static_cast<uid_t>(-1), gid) != 0)
        return errno;
    if (fchmod(fd, mode & 07777) != 0)
        return errno;
    return 0;
}
