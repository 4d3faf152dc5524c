// Helpers of the VLAN query tests: the configuration tests' byte helpers,
// sweeps and report expectations, and the expectations of the reports that
// only the queries make.
#pragma once

#include "../config_req/config_test_util.h"

#include <vlan_mgr/query_req.h>

namespace qtest {

using namespace cfgtest;

// Expects exactly one report on the three channels: the history record
// (event 0x730000, the class, the debug text and its NUL), the debug line
// when the class is switched on, and the syslog call of the catalogue record
// (`mnemonic`, `severity`) when the facility level lets it through.
inline void expect_report(uint32_t report_class, const std::string &debug_text, bool debug_on,
                          const char *mnemonic, uint32_t severity, const std::string &syslog_text, bool syslog_on)
{
    const tp::State &s = tp::state();
    ASSERT_EQ(s.history.size(), 1u);
    EXPECT_EQ(s.history[0].event_id, 0x730000u);
    EXPECT_EQ(s.history[0].length, 4 + debug_text.size() + 1);
    EXPECT_EQ(s.history[0].subtype(), report_class);
    EXPECT_EQ(s.history[0].text(), debug_text);
    if (debug_on) {
        ASSERT_EQ(s.debug_lines.size(), 1u);
        EXPECT_EQ(s.debug_lines[0], debug_text);
    } else {
        EXPECT_TRUE(s.debug_lines.empty());
    }
    if (syslog_on) {
        ASSERT_EQ(s.syslog.size(), 1u);
        EXPECT_EQ(s.syslog[0].severity, severity);
        EXPECT_EQ(s.syslog[0].format, std::string("<<%%%s-%d-") + mnemonic + ">> %s");
        EXPECT_EQ(s.syslog[0].facility, "VLAN_MGR");
        EXPECT_EQ(s.syslog[0].severity_arg, static_cast<int>(severity));
        EXPECT_EQ(s.syslog[0].text, syslog_text);
        EXPECT_EQ(s.syslog[0].line, "<<%VLAN_MGR-" + std::to_string(severity) + "-" + mnemonic + ">> " + syslog_text);
    } else {
        EXPECT_TRUE(s.syslog.empty());
    }
}

// Every channel switched on: debug lines of both classes, syslog up to INFO.
inline void all_channels_on()
{
    tp::set_debug(100, true);
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
}

// Big-endian bytes of a 32-bit word, for expectations built field by field.
inline Bytes be32(uint32_t v)
{
    Bytes b;
    push_be32(b, v);
    return b;
}
inline Bytes be16(uint16_t v)
{
    Bytes b;
    push_be16(b, v);
    return b;
}

} // namespace qtest
