// Helpers of the shared database's tests: a private directory under /dev/shm
// and a forked child whose result comes back as its exit status.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "vlan_mgr_platform.h"

namespace sdb_test {

// A fresh directory under /dev/shm (mode 0755, so that a process of another
// user can reach the files), removed with its files at the end.
class ShmDir {
public:
    ShmDir()
    {
        char tmpl[] = "/dev/shm/vlan_mgr_sdb_test.XXXXXX";
        if (mkdtemp(tmpl) != nullptr) {
            path_ = tmpl;
            chmod(tmpl, 0755);
        }
    }
    ~ShmDir()
    {
        if (DIR *d = opendir(path_.c_str())) {
            while (dirent *e = readdir(d)) {
                std::string n = e->d_name;
                if (n != "." && n != "..")
                    unlink((path_ + "/" + n).c_str());
            }
            closedir(d);
        }
        rmdir(path_.c_str());
    }
    std::string file(const char *name) const { return path_ + "/" + name; }
    std::string uri(const char *name) const { return "volatile:" + file(name); }
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

// Runs `fn` in a forked child; returns its exit status (fn's result), or -1
// when the child did not exit normally.
template <class Fn> int in_child(Fn fn)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(fn());
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
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
