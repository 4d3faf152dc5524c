// Host syslog: kivo_syslog formats the message and sends it with syslog(3) at
// its severity (0..7 are the syslog priorities, LOG_EMERG..LOG_DEBUG; larger
// numbers are sent as LOG_DEBUG). The facility is the process's own, as set
// by openlog(3) (LOG_USER when it never called it). With
// VLAN_MGR_SYSLOG_STDERR=1 the message is also written to stderr.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <syslog.h>
#include <unistd.h>

#include "host/host_platform.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr_host {

namespace {

void send_to_syslog(int severity, const char *text) { syslog(severity, "%s", text); }

constinit SyslogSender sender = &send_to_syslog;

bool stderr_copy_wanted()
{
    const char *v = std::getenv(ENV_SYSLOG_STDERR);
    return v != nullptr && std::strcmp(v, "1") == 0;
}

} // namespace

SyslogSender set_syslog_sender(SyslogSender s)
{
    SyslogSender old = __atomic_exchange_n(&sender, s != nullptr ? s : &send_to_syslog, __ATOMIC_ACQ_REL);
    return old;
}

} // namespace vlan_mgr_host

extern "C" int32_t kivo_syslog(uint32_t severity, const char *format, ...)
{
    if (format == nullptr)
        return -1;
    // Room for the library's longest syslog text (255 characters) with its
    // mnemonic prefix; longer messages are cut.
    char text[1024];
    va_list ap;
    va_start(ap, format);
    int n = std::vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    if (n < 0)
        return -1;
    const int priority = severity <= LOG_DEBUG ? static_cast<int>(severity) : LOG_DEBUG;
    __atomic_load_n(&vlan_mgr_host::sender, __ATOMIC_ACQUIRE)(priority, text);

    if (vlan_mgr_host::stderr_copy_wanted()) {
        size_t len = std::strlen(text);
        if (len == 0 || text[len - 1] != '\n') {
            if (len == sizeof text - 1)
                --len;
            text[len++] = '\n';
            text[len] = '\0';
        }
        std::fflush(stderr);
        if (write(STDERR_FILENO, text, len) < 0)
            return -1;
    }
    return 0;
}
