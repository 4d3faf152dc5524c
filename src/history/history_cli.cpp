// The print callback that the VLAN manager registers with the event-history
// service: a header line from the service, then the entry's text.
#include <cstdio>

#include <vlan_mgr/history.h>

#include "vlan_mgr_platform.h"

namespace {

// The largest text buffer an entry is formatted into: 126 characters and
// the terminating NUL.
constexpr uint32_t kTextBufSize = 127;

} // namespace

extern "C" int32_t vlan_mgr_history_cli(const char *text, uint32_t text_length, uint16_t event, uint32_t time_sec,
                                        uint32_t time_usec, void *out)
{
    sdwrap_hist_print_event_header(out, __vlan_mgr_event_enums_t_find(event), text_length, time_sec, time_usec);

    if (event >= VLAN_MGR_EVENT_LAST)
        return std::printf("Error: invalid event %d\n", static_cast<int>(event));

    // text_length + 1, at most 127; compared first so that a length of
    // 0xFFFFFFFF cannot wrap the sum.
    const uint32_t limit = text_length < kTextBufSize - 1 ? text_length + 1 : kTextBufSize;
    char buf[kTextBufSize];
    buf[0] = '\0';
    if (text != nullptr) {
        // The entry's text is its own format string: that is how the VLAN
        // manager records its entries, and how history readers expect them
        // shown ("%%" prints one '%'). The text is never given arguments.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::snprintf(buf, limit, text);
#pragma GCC diagnostic pop
    }
    return std::printf("    %s\n", buf);
}
