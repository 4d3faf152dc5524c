// Watches the marker-file probes: the test program is linked with
// --wrap=access,open,open64,close, so that every call goes through these
// wrappers, which log it while a test has switched logging on and then make
// the real call. The files themselves are real.
#include <cstdarg>

#include <fcntl.h>
#include <sys/types.h>

#include "rsvd_test_util.h"

extern "C" {
int __real_access(const char *path, int mode);
int __real_open(const char *path, int flags, ...);
int __real_open64(const char *path, int flags, ...);
int __real_close(int fd);
}

namespace rsvdtest {

bool probe_logging = false;
std::vector<Probe> probes;

} // namespace rsvdtest

namespace {
void log_probe(const char *call, const char *path, int arg, int result)
{
    if (rsvdtest::probe_logging)
        rsvdtest::probes.push_back({call, path ? path : "", arg, result});
}

mode_t mode_arg(int flags, va_list ap)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(ap, int)) : 0;
}
} // namespace

extern "C" {

int __wrap_access(const char *path, int mode)
{
    const int r = __real_access(path, mode);
    log_probe("access", path, mode, r);
    return r;
}

int __wrap_open(const char *path, int flags, ...)
{
    va_list ap;
    va_start(ap, flags);
    const mode_t mode = mode_arg(flags, ap);
    va_end(ap);
    const int r = __real_open(path, flags, mode);
    log_probe("open", path, flags, r);
    return r;
}

int __wrap_open64(const char *path, int flags, ...)
{
    va_list ap;
    va_start(ap, flags);
    const mode_t mode = mode_arg(flags, ap);
    va_end(ap);
    const int r = __real_open64(path, flags, mode);
    log_probe("open", path, flags, r);
    return r;
}

int __wrap_close(int fd)
{
    const int r = __real_close(fd);
    log_probe("close", nullptr, fd, r);
    return r;
}

} // extern "C"
