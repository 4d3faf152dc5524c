#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <unistd.h>

#include "frame/local_vdc.h"
#include "frame/report.h"
#include "test_platform.h"

namespace {

std::string pid() { return std::to_string(getpid()); }

std::string expected_bytes_of(uint32_t subtype, const std::string &text)
{
    std::string b(reinterpret_cast<const char *>(&subtype), 4);
    return b + text + '\0';
}

TEST(Report, VdcMismatchWithBuilderNameOnAllChannels)
{
    tp::state().vdc_id = 1;
    tp::set_debug(100, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    EXPECT_EQ(vlan_mgr::check_local_vdc(2, "vlan_create_build_mts"), 0x41100013u);

    const std::string text = "vlan_mgr vlan_create_build_mts: pid " + pid() + ", vdcID 2, local vdcID 1\n";
    ASSERT_EQ(tp::state().history.size(), 1u);
    const tp::HistoryEvent &ev = tp::state().history[0];
    EXPECT_EQ(ev.event_id, 0x730000u);
    EXPECT_EQ(ev.length, 4 + text.size() + 1);
    EXPECT_EQ(std::string(ev.bytes.begin(), ev.bytes.end()), expected_bytes_of(100, text));

    ASSERT_EQ(tp::state().debug_lines.size(), 1u);
    EXPECT_EQ(tp::state().debug_lines[0], text);

    ASSERT_EQ(tp::state().syslog.size(), 1u);
    const tp::SyslogCall &sl = tp::state().syslog[0];
    EXPECT_EQ(sl.severity, 3u);
    EXPECT_EQ(sl.format, "<<%%%s-%d-ERROR_MSG>> %s");
    EXPECT_EQ(sl.facility, "VLAN_MGR");
    EXPECT_EQ(sl.severity_arg, 3);
    EXPECT_EQ(sl.text, " vlan_create_build_mts: pid " + pid() + ", vdcID 2, local vdcID 1\n");
    EXPECT_EQ(sl.line, "<<%VLAN_MGR-3-ERROR_MSG>>  vlan_create_build_mts: pid " + pid() + ", vdcID 2, local vdcID 1\n");
}

TEST(Report, VdcMismatchWithoutBuilderName)
{
    tp::state().vdc_id = 4;
    tp::set_debug(100, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
    EXPECT_EQ(vlan_mgr::check_local_vdc(1, nullptr), 0x41100013u);

    const std::string text = "vlan_mgr pid " + pid() + ", vdcID 1, local vdcID 4\n";
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].length, 4 + text.size() + 1);
    EXPECT_EQ(tp::state().history[0].subtype(), 100u);
    EXPECT_EQ(tp::state().history[0].text(), text);
    ASSERT_EQ(tp::state().debug_lines.size(), 1u);
    EXPECT_EQ(tp::state().debug_lines[0], text);
    ASSERT_EQ(tp::state().syslog.size(), 1u);
    EXPECT_EQ(tp::state().syslog[0].text, " pid " + pid() + ", vdcID 1, local vdcID 4\n");
}

TEST(Report, MatchingVdcReportsNothing)
{
    tp::state().vdc_id = 2;
    tp::set_debug(100, true);
    EXPECT_EQ(vlan_mgr::check_local_vdc(2, "vlan_create_build_mts"), 0u);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

TEST(Report, ErrorHeldBackAtInitialFacilityLevelButHistoryAndDebugRecorded)
{
    ASSERT_EQ(syslog_fac_LOG_VLAN_MGR.current_level, 2);
    tp::set_debug(100, true);
    EXPECT_EQ(vlan_mgr::check_local_vdc(3, nullptr), 0x41100013u);
    EXPECT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().debug_lines.size(), 1u);
    EXPECT_TRUE(tp::state().syslog.empty());

    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    EXPECT_EQ(vlan_mgr::check_local_vdc(3, nullptr), 0x41100013u);
    EXPECT_EQ(tp::state().syslog.size(), 1u);
}

TEST(Report, DebugLineOnlyWhenClassSwitchedOn)
{
    tp::set_debug(102, true); // another class
    EXPECT_EQ(vlan_mgr::check_local_vdc(5, nullptr), 0x41100013u);
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_EQ(tp::state().history.size(), 1u);
}

TEST(Report, SubtypeCheckRefusalSkipsHistoryOnly)
{
    tp::state().subtype_check_result = 1;
    tp::set_debug(100, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    EXPECT_EQ(vlan_mgr::check_local_vdc(2, nullptr), 0x41100013u);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_EQ(tp::state().debug_lines.size(), 1u);
    EXPECT_EQ(tp::state().syslog.size(), 1u);
}

TEST(Report, InvalidVlanIsInfoOfClass102)
{
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 5; // INFO_MSG (6) is held back
    EXPECT_EQ(vlan_mgr::report_invalid_vlan(0x41100003u, "vlan_info_build_mts", 4096), 0x41100003u);
    const std::string text = "vlan_mgr vlan_info_build_mts:pid " + pid() + ", invalid vlanID 4096\n";
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].subtype(), 102u);
    EXPECT_EQ(tp::state().history[0].text(), text);
    ASSERT_EQ(tp::state().debug_lines.size(), 1u);
    EXPECT_EQ(tp::state().debug_lines[0], text);
    EXPECT_TRUE(tp::state().syslog.empty());

    syslog_fac_LOG_VLAN_MGR.current_level = 6;
    vlan_mgr::report_invalid_vlan(0x41100003u, "vlan_info_build_mts", 0);
    ASSERT_EQ(tp::state().syslog.size(), 1u);
    EXPECT_EQ(tp::state().syslog[0].severity, 6u);
    EXPECT_EQ(tp::state().syslog[0].format, "<<%%%s-%d-INFO_MSG>> %s");
    EXPECT_EQ(tp::state().syslog[0].text, " vlan_info_build_mts:pid " + pid() + ", invalid vlanID 0\n");
}

uint32_t report_text(const std::string &debug_text, const std::string &syslog_text)
{
    return vlan_mgr::report_failure(7u, 100, syslog_msg_ERROR_MSG, "%s", "%s",
                                    [&] { return std::make_tuple(debug_text.c_str(), syslog_text.c_str()); });
}

TEST(Report, DebugTextOf511CharactersLoggedWithLength516)
{
    tp::set_debug(100, true);
    const std::string text(511, 'x');
    EXPECT_EQ(report_text(text, "s"), 7u); // the site's status comes back unchanged
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].length, 516u);
    EXPECT_EQ(tp::state().history[0].text(), text);
    EXPECT_EQ(tp::state().debug_lines[0], text); // the debug channel formats on its own
}

TEST(Report, LongTextsAreCutByTheirBuffers)
{
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    const std::string text(600, 'y');
    report_text(text, text);
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].length, 516u); // 511 characters and the NUL
    EXPECT_EQ(tp::state().history[0].text(), std::string(511, 'y'));
    ASSERT_EQ(tp::state().syslog.size(), 1u);
    EXPECT_EQ(tp::state().syslog[0].text, std::string(254, 'y'));
}

TEST(Report, ArgumentsAreProducedAfreshForEachChannel)
{
    tp::set_debug(100, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    int calls = 0;
    vlan_mgr::report_failure(0u, 100, syslog_msg_ERROR_MSG, "d%d", "s%d", [&] { return std::make_tuple(++calls); });
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(tp::state().syslog[0].text, "s1");
    EXPECT_EQ(tp::state().history[0].text(), "d2");
    EXPECT_EQ(tp::state().debug_lines[0], "d3");
}

TEST(Report, LocalVdcFetchedAgainWhileStillZero)
{
    tp::state().vdc_id = 0;
    EXPECT_EQ(vlan_mgr::check_local_vdc(1, nullptr), 0x41100013u);
    // The check and the syslog and history texts each ask again while 0.
    EXPECT_EQ(tp::state().vdc_get_calls, 3);
}

TEST(Report, UpperCaseOfFacilityName)
{
    EXPECT_STREQ(vlan_mgr_str_toupper("vlan_mgr"), "VLAN_MGR");
    EXPECT_STREQ(vlan_mgr_str_toupper("a1-b"), "A1-B");
    EXPECT_STREQ(vlan_mgr_str_toupper(""), "");
    const std::string long_name(100, 'q');
    EXPECT_EQ(std::string(vlan_mgr_str_toupper(long_name.c_str())), std::string(63, 'Q'));
}

} // namespace
