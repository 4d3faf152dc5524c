// The failure report: one sequence by which every site reports a failure on
// the three channels, always in the same order: event history, debug line,
// syslog. Each channel formats its own text, and the arguments are produced
// afresh for each channel (the process id, the local VDC id, errno), which is
// why a site passes them as a callable returning a tuple.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <tuple>

#include <vlan_mgr/frame.h>

#include "vlan_mgr_platform.h"

extern "C" {
// Copies `text` upper-cased into one process-wide buffer and returns it; the
// result is valid until the next call.
const char *vlan_mgr_str_toupper(const char *text);
}

namespace vlan_mgr {

// The record handed to the event history: the report class, then the text;
// logged up to and including the text's NUL.
struct HistoryRecord {
    uint32_t subtype;
    char text[512];
};
static_assert(sizeof(HistoryRecord) == 516);

// Sends `text` with the catalogue record when its severity passes the
// facility's current level.
void report_syslog(const vlan_mgr_syslog_msg_t &msg, const char *text);

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

// Runs the report sequence and returns `status` unchanged.
template <typename ArgsFn>
uint32_t report_failure(uint32_t status, uint32_t report_class, const vlan_mgr_syslog_msg_t &msg,
                        const char *debug_format, const char *syslog_format, ArgsFn args)
{
    char syslog_text[256];
    std::memset(syslog_text, 0, sizeof syslog_text);
    std::apply([&](auto... a) { std::snprintf(syslog_text, sizeof syslog_text - 1, syslog_format, a...); }, args());

    if (sdwrap_hist_event_subtype_check(VLAN_MGR_LIB_HIST_ID, report_class) == 0) {
        HistoryRecord record;
        record.subtype = report_class;
        std::apply([&](auto... a) { std::snprintf(record.text, sizeof record.text, debug_format, a...); }, args());
        sdwrap_hist_event(VLAN_MGR_LIB_HIST_ID, static_cast<uint32_t>(4 + std::strlen(record.text) + 1), &record);
    }
    if (sdwrap_chk_int(report_class, 0, 0, 1) != 0)
        std::apply([&](auto... a) { buginf(1, &sdwrap_dbg_modname, 0, debug_format, a...); }, args());

    report_syslog(msg, syslog_text);
    return status;
}

#pragma GCC diagnostic pop

// The VDC check of the builders that compare the given VDC id with the local
// one. `builder_name` selects the text form: the builder's exported name, or
// nullptr for the form without it. Returns 0 or VLAN_MGR_ERR_VDC_MISMATCH
// (reported, class 100, ERROR_MSG).
uint32_t check_local_vdc(uint16_t vdc_id, const char *builder_name);

// Reports an out-of-range VLAN id of a query builder (class 102, INFO_MSG)
// and returns `status`.
uint32_t report_invalid_vlan(uint32_t status, const char *builder_name, int32_t vlan_id);

} // namespace vlan_mgr
