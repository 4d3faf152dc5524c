// Helpers of the shared database's tests: a private directory under /dev/shm
// that is the database root, a forked child whose result comes back as its
// exit status, and a child that becomes another user.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include <cstdio>
#include <cstdlib>

#include <dirent.h>
#include <ftw.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host_test_util.h"
#include "vlan_mgr_platform.h"

namespace sdb_test {

// A fresh directory under /dev/shm (mode 0755, so that a process of another
// user can reach what is in it), removed with everything in it at the end.
// While it lives, the database root ($VLAN_MGR_SDB_ROOT) is its subdirectory
// "sdb", which the first publisher makes: uri("name") is
// "volatile:/dev/shm/name" and its file is file("name"), <dir>/sdb/name.
class ShmDir {
public:
    ShmDir()
    {
        char tmpl[] = "/dev/shm/vlan_mgr_sdb_test.XXXXXX";
        if (mkdtemp(tmpl) != nullptr) {
            path_ = tmpl;
            chmod(tmpl, 0755);
        }
        if (const char *old = std::getenv("VLAN_MGR_SDB_ROOT")) {
            had_root_ = true;
            old_root_ = old;
        }
        setenv("VLAN_MGR_SDB_ROOT", root().c_str(), 1);
    }
    ~ShmDir()
    {
        if (had_root_)
            setenv("VLAN_MGR_SDB_ROOT", old_root_.c_str(), 1);
        else
            unsetenv("VLAN_MGR_SDB_ROOT");
        if (!path_.empty())
            nftw(path_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    }
    ShmDir(const ShmDir &) = delete;
    ShmDir &operator=(const ShmDir &) = delete;
    // The database root.
    std::string root() const { return path_ + "/sdb"; }
    std::string file(const char *name) const { return root() + "/" + name; }
    std::string uri(const char *name) const { return std::string("volatile:/dev/shm/") + name; }
    const std::string &path() const { return path_; }

private:
    static int remove_entry(const char *p, const struct stat *, int, FTW *)
    {
        (void)remove(p);
        return 0; // go on with the others
    }
    std::string path_;
    bool had_root_ = false;
    std::string old_root_;
};

// Counts the entries of a directory ("." and ".." not counted); -1 when it
// cannot be read.
inline int count_entries(const std::string &dir)
{
    DIR *d = opendir(dir.c_str());
    if (d == nullptr)
        return -1;
    int n = 0;
    while (dirent *e = readdir(d))
        n += std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0;
    closedir(d);
    return n;
}

// Switches a forked child to user and group 65534 (nobody). With `member`, it
// keeps the trust group as its only supplementary group (a reader inside the
// boundary); without, it has none (a local user outside it).
inline bool become_nobody(bool member, gid_t trust_gid)
{
    const gid_t groups[1] = {trust_gid};
    return setgroups(member ? 1 : 0, groups) == 0 && setgid(65534) == 0 && setuid(65534) == 0 &&
           geteuid() == 65534;
}

// Runs `fn` in a forked child; returns its exit status (fn's result), or -1
// when the child did not exit normally.
template <class Fn> int in_child(Fn fn)
{
    const pid_t pid = fork();
    if (pid == 0)
        host_test::child_exit(fn());
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

// Runs `fn` in a forked child and returns the text it gives back, or "child
// died" when the child did not exit normally.
template <class Fn> std::string child_text(Fn fn)
{
    int p[2];
    if (pipe(p) != 0)
        return "no pipe";
    const pid_t pid = fork();
    if (pid == 0) {
        close(p[0]);
        const std::string text = fn();
        (void)!write(p[1], text.data(), text.size());
        host_test::child_exit(0);
    }
    close(p[1]);
    std::string text;
    char buf[512];
    ssize_t n;
    while ((n = read(p[0], buf, sizeof buf)) > 0)
        text.append(buf, static_cast<size_t>(n));
    close(p[0]);
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return "child died";
    return text;
}

inline sdb_key_t key4(const uint8_t *bytes) { return sdb_key_t{bytes, 4}; }

// FNV-1a over `len` bytes: the records of the multi-process tests carry it.
inline uint64_t fnv1a(const void *data, size_t len)
{
    const auto *p = static_cast<const uint8_t *>(data);
    uint64_t h = 0xcbf29ce484222325ull;
    for (size_t i = 0; i < len; ++i)
        h = (h ^ p[i]) * 0x100000001b3ull;
    return h;
}

} // namespace sdb_test
