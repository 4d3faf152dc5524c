// Host debug channel: which debug classes are switched on (VLAN_MGR_DEBUG)
// and the debug lines themselves, printed on stderr under the module's name.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "host/host_platform.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr_host {

namespace {

bool is_separator(char c) { return c == ',' || c == ' ' || c == '\t'; }

// Reads one decimal number at `p`; false (and `p` unchanged) when there is none
// or it does not fit 32 bits.
bool read_number(const char *&p, uint32_t &value)
{
    if (*p < '0' || *p > '9')
        return false;
    uint64_t v = 0;
    const char *q = p;
    while (*q >= '0' && *q <= '9') {
        v = v * 10 + static_cast<uint64_t>(*q - '0');
        if (v > 0xFFFFFFFFu)
            return false;
        ++q;
    }
    value = static_cast<uint32_t>(v);
    p = q;
    return true;
}

} // namespace

bool class_listed(const char *env_name, uint32_t cls)
{
    const char *p = std::getenv(env_name);
    if (p == nullptr)
        return false;
    while (*p != '\0') {
        while (is_separator(*p))
            ++p;
        if (*p == '\0')
            break;
        const char *entry = p;
        while (*p != '\0' && !is_separator(*p))
            ++p;
        const size_t len = static_cast<size_t>(p - entry);
        if (len == 3 && strncasecmp(entry, "all", 3) == 0)
            return true;
        // "N" or "N-M"; anything else in the entry makes it name nothing.
        const char *q = entry;
        uint32_t lo = 0, hi = 0;
        if (!read_number(q, lo))
            continue;
        hi = lo;
        if (*q == '-') {
            ++q;
            if (!read_number(q, hi))
                continue;
        }
        if (q != p)
            continue;
        if (cls >= lo && cls <= hi)
            return true;
    }
    return false;
}

} // namespace vlan_mgr_host

extern "C" {

sdwrap_dbg_modname_t sdwrap_dbg_modname = {"vlan_mgr"};

int32_t sdwrap_chk_int(uint32_t subtype, uint32_t, uint32_t, uint32_t)
{
    return vlan_mgr_host::class_listed(vlan_mgr_host::ENV_DEBUG, subtype) ? 1 : 0;
}

// "<module>: <text>", one write per line so that lines of several processes
// sharing a terminal or log file do not interleave. Texts longer than the
// buffer are cut; the line always ends with one newline.
int32_t buginf(int32_t, const sdwrap_dbg_modname_t *modname, int32_t, const char *format, ...)
{
    const sdwrap_dbg_modname_t *mod = modname != nullptr ? modname : &sdwrap_dbg_modname;
    char line[1024];
    int n = std::snprintf(line, sizeof line, "%.*s: ", static_cast<int>(strnlen(mod->name, sizeof mod->name)),
                          mod->name);
    if (n < 0)
        return -1;
    size_t used = static_cast<size_t>(n) < sizeof line ? static_cast<size_t>(n) : sizeof line - 1;
    if (format != nullptr) {
        va_list ap;
        va_start(ap, format);
        int m = std::vsnprintf(line + used, sizeof line - used, format, ap);
        va_end(ap);
        if (m < 0)
            return -1;
        used += static_cast<size_t>(m) < sizeof line - used ? static_cast<size_t>(m) : sizeof line - used - 1;
    }
    if (used == 0 || line[used - 1] != '\n') {
        if (used == sizeof line - 1)
            --used; // make room for the newline in a cut line
        line[used++] = '\n';
        line[used] = '\0';
    }
    std::fflush(stderr);
    ssize_t written = write(STDERR_FILENO, line, used);
    return written < 0 ? -1 : static_cast<int32_t>(written);
}
}
