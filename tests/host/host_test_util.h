// Helpers of the host platform's tests: environment variables set for the
// length of one scope, and a private directory for event-history rings.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

#include <dirent.h>
#include <unistd.h>

// In a coverage build (--coverage) the program holds GCC's coverage run-time;
// elsewhere these weak references stay null. Its per-process dump is always
// linked with it, its public wrapper only when something else needs it.
extern "C" void __gcov_dump(void) __attribute__((weak));
extern "C" void __gcov_dump_one(void *root) __attribute__((weak));
extern "C" char __gcov_root[] __attribute__((weak));

namespace host_test {

// Ends a forked child with `status`. _exit skips the exit handlers, so a
// coverage build writes the child's counters first: what a child runs (a
// reader of another user, a child after fork) is measured like the rest.
[[noreturn]] inline void child_exit(int status)
{
    if (__gcov_dump != nullptr)
        __gcov_dump();
    else if (__gcov_dump_one != nullptr && __gcov_root != nullptr)
        __gcov_dump_one(__gcov_root);
    _exit(status);
}

// Sets (or, with nullptr, unsets) one environment variable and puts the old
// value back when the scope ends.
class ScopedEnv {
public:
    ScopedEnv(const char *name, const char *value) : name_(name)
    {
        if (const char *old = std::getenv(name))
            old_ = old;
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv()
    {
        if (old_)
            setenv(name_.c_str(), old_->c_str(), 1);
        else
            unsetenv(name_.c_str());
    }
    ScopedEnv(const ScopedEnv &) = delete;
    ScopedEnv &operator=(const ScopedEnv &) = delete;

private:
    std::string name_;
    std::optional<std::string> old_;
};

// A fresh directory under /tmp, removed with its files at the end.
class TempDir {
public:
    TempDir()
    {
        char tmpl[] = "/tmp/vlan_mgr_host_test.XXXXXX";
        if (mkdtemp(tmpl) != nullptr)
            path_ = tmpl;
    }
    ~TempDir()
    {
        if (path_.empty())
            return;
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
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

} // namespace host_test
