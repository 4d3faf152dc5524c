// The reserved VLAN groups: default, extended and dynamic layouts, the choice
// between them from the configured range, the marker-file probes and the
// report of a system without a usable range.
#include <cstddef>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "rsvd_test_util.h"

namespace {

using namespace rsvdtest;

using RsvdAlloc = RsvdTest;

// Checks the six bitmaps of a set against literal ranges, bit by bit, and
// every length word against 512.
void expect_set(const dyn_rsvd_vlan_bitmaps_t &s, std::initializer_list<Range> candidates,
                std::initializer_list<Range> group64, std::initializer_list<Range> group4_first,
                std::initializer_list<Range> group4_second, std::initializer_list<Range> single)
{
    for (const vlan_bitmap *b : {&s.rsvd_candidates, &s.rsvd_group64, &s.rsvd_group4_first, &s.rsvd_group4_second,
                                 &s.rsvd_single, &s.rsvd_spare})
        EXPECT_EQ(len_word(*b), kLen512);
    SCOPED_TRACE("candidates");
    expect_bits(s.rsvd_candidates.bits, candidates);
    {
        SCOPED_TRACE("group64");
        expect_bits(s.rsvd_group64.bits, group64);
    }
    {
        SCOPED_TRACE("group4_first");
        expect_bits(s.rsvd_group4_first.bits, group4_first);
    }
    {
        SCOPED_TRACE("group4_second");
        expect_bits(s.rsvd_group4_second.bits, group4_second);
    }
    {
        SCOPED_TRACE("single");
        expect_bits(s.rsvd_single.bits, single);
    }
    {
        SCOPED_TRACE("spare");
        expect_bits(s.rsvd_spare.bits, {});
    }
}

// The default layout with the given candidates.
void expect_default(const dyn_rsvd_vlan_bitmaps_t &s, std::initializer_list<Range> candidates)
{
    expect_set(s, candidates, {{3968, 4031}}, {{4032, 4035}}, {{4036, 4039}}, {{4042, 4042}});
}

// A set filled with a pattern, to see whether a call touched it.
struct Patterned {
    dyn_rsvd_vlan_bitmaps_t set;
    Patterned() { std::memset(&set, 0xAB, sizeof set); }
    bool untouched() const
    {
        const auto *p = reinterpret_cast<const uint8_t *>(&set);
        for (size_t i = 0; i < sizeof set; ++i)
            if (p[i] != 0xAB)
                return false;
        return true;
    }
};

// A cleared set (length words 512) whose candidates are set by hand.
dyn_rsvd_vlan_bitmaps_t with_candidates(std::initializer_list<Range> ranges)
{
    dyn_rsvd_vlan_bitmaps_t s;
    std::memset(&s, 0, sizeof s);
    for (vlan_bitmap *b : {&s.rsvd_candidates, &s.rsvd_group64, &s.rsvd_group4_first, &s.rsvd_group4_second,
                           &s.rsvd_single, &s.rsvd_spare})
        b->len = 512;
    for (const Range &r : ranges)
        for (uint32_t v = r.first; v <= r.second; ++v)
            s.rsvd_candidates.bits[v / 8] |= static_cast<uint8_t>(0x80 >> (v % 8));
    return s;
}

// ---- Layout and exported data ----

TEST(RsvdLayout, BitmapSetIsSixBitmapsIn3096Bytes)
{
    EXPECT_EQ(sizeof(dyn_rsvd_vlan_bitmaps_t), 3096u);
    EXPECT_EQ(offsetof(dyn_rsvd_vlan_bitmaps_t, rsvd_candidates), 0u);
    EXPECT_EQ(offsetof(dyn_rsvd_vlan_bitmaps_t, rsvd_group64), 516u);
    EXPECT_EQ(offsetof(dyn_rsvd_vlan_bitmaps_t, rsvd_group4_first), 1032u);
    EXPECT_EQ(offsetof(dyn_rsvd_vlan_bitmaps_t, rsvd_group4_second), 1548u);
    EXPECT_EQ(offsetof(dyn_rsvd_vlan_bitmaps_t, rsvd_single), 2064u);
    EXPECT_EQ(offsetof(dyn_rsvd_vlan_bitmaps_t, rsvd_spare), 2580u);
    EXPECT_EQ(sizeof g_dyn_rsvd_vlan_bitmaps, 3096u);
}

TEST(RsvdLayout, ExportedValuesAreZeroAtLoad)
{
    EXPECT_EQ(DYN_RSVD_VLAN_START, 0u);
    EXPECT_EQ(DYN_RSVD_VLAN_END, 0u);
    EXPECT_EQ(DYN_RSVD_VLAN_TOTAL, 0u);
    EXPECT_EQ(DYN_FUTURE_RSVD_VLAN_START, 0u);
    EXPECT_EQ(DYN_FUTURE_RSVD_VLAN_END, 0u);
    EXPECT_EQ(DYN_FUTURE_RSVD_VLAN_TOTAL, 0u);
    EXPECT_EQ(dyn_rsvd_vlan_init_done, 0u);
    EXPECT_EQ(supstate, 0u);
    EXPECT_EQ(sizeof DYN_RSVD_VLAN_START, 4u);
    EXPECT_EQ(sizeof supstate, 4u);
    const auto *p = reinterpret_cast<const uint8_t *>(&g_dyn_rsvd_vlan_bitmaps);
    for (size_t i = 0; i < sizeof g_dyn_rsvd_vlan_bitmaps; ++i)
        ASSERT_EQ(p[i], 0) << i;
}

TEST_F(RsvdAlloc, LibraryLeavesTheExportedValuesAlone)
{
    put_current(kUri1, 1, 2000, 2127);
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    EXPECT_EQ(DYN_RSVD_VLAN_START, 0u);
    EXPECT_EQ(DYN_RSVD_VLAN_TOTAL, 0u);
    EXPECT_EQ(dyn_rsvd_vlan_init_done, 0u);
    EXPECT_EQ(g_dyn_rsvd_vlan_bitmaps.rsvd_candidates.len, 0u);
}

// ---- vlan_mgr_allocate_default_rsvd_vlans / _extended_ ----

TEST_F(RsvdAlloc, DefaultLayoutLeaves4040And4041Out)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({});
    EXPECT_EQ(vlan_mgr_allocate_default_rsvd_vlans(&s), 0u);
    expect_default(s, {});
    // 4032..4039 in two nibbles of byte 504; 4042 is bit 0x20 of byte 505.
    EXPECT_EQ(s.rsvd_group4_first.bits[504], 0xF0);
    EXPECT_EQ(s.rsvd_group4_second.bits[504], 0x0F);
    EXPECT_EQ(s.rsvd_single.bits[505], 0x20);
}

TEST_F(RsvdAlloc, DefaultLayoutIsOredIntoWhatTheSetHolds)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{10, 20}});
    s.rsvd_group64.bits[0] = 0x40;        // VLAN 1
    s.rsvd_single.bits[511] = 0x01;       // VLAN 4095
    EXPECT_EQ(vlan_mgr_allocate_default_rsvd_vlans(&s), 0u);
    expect_set(s, {{10, 20}}, {{1, 1}, {3968, 4031}}, {{4032, 4035}}, {{4036, 4039}}, {{4042, 4042}, {4095, 4095}});
}

TEST_F(RsvdAlloc, ExtendedLayoutChangesNothing)
{
    Patterned p;
    EXPECT_EQ(vlan_mgr_allocate_extended_rsvd_vlans(&p.set), 0u);
    EXPECT_TRUE(p.untouched());
}

TEST_F(RsvdAlloc, NullSetIsRefusedByEveryAllocator)
{
    EXPECT_EQ(vlan_mgr_allocate_default_rsvd_vlans(nullptr), 0x41100003u);
    EXPECT_EQ(vlan_mgr_allocate_extended_rsvd_vlans(nullptr), 0x41100003u);
    for (uint32_t mode : {0u, 1u, 2u, 3u, 99u})
        EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(nullptr, mode), 0x41100003u) << mode;
}

// ---- vlan_mgr_allocate_rsvd_vlans ----

TEST_F(RsvdAlloc, ModeOneIsTheDefaultLayout)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{2000, 2127}});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 1), 0u);
    expect_default(s, {{2000, 2127}});
}

TEST_F(RsvdAlloc, ModeTwoGivesTheSameAsModeOne)
{
    dyn_rsvd_vlan_bitmaps_t one = with_candidates({{2000, 2127}});
    dyn_rsvd_vlan_bitmaps_t two = with_candidates({{2000, 2127}});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&one, 1), 0u);
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&two, 2), 0u);
    expect_default(two, {{2000, 2127}});
    EXPECT_EQ(std::memcmp(&one, &two, sizeof one), 0);
}

TEST_F(RsvdAlloc, DynamicModeCarvesGroupsOutOfTheCandidatesInAscendingOrder)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{2000, 2127}, {4094, 4094}});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 3), 0u);
    expect_set(s, {{2000, 2127}, {4094, 4094}}, {{2000, 2063}}, {{2064, 2067}}, {{2068, 2071}}, {{2074, 2074}});
}

TEST_F(RsvdAlloc, AnyModeOtherThanOneOrTwoIsDynamic)
{
    for (uint32_t mode : {0u, 4u, 0xFFFFFFFFu}) {
        dyn_rsvd_vlan_bitmaps_t s = with_candidates({{2000, 2127}});
        EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, mode), 0u);
        expect_set(s, {{2000, 2127}}, {{2000, 2063}}, {{2064, 2067}}, {{2068, 2071}}, {{2074, 2074}});
    }
}

TEST_F(RsvdAlloc, DynamicSingleIsTwoAboveTheLowestLeftEvenWhenNotACandidate)
{
    // 73 candidates, 100..172: 72 go to the groups, 172 is left, 174 is taken.
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{100, 172}});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 3), 0u);
    expect_set(s, {{100, 172}}, {{100, 163}}, {{164, 167}}, {{168, 171}}, {{174, 174}});
}

TEST_F(RsvdAlloc, DynamicGroupsFollowGapsInTheCandidates)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{10, 41}, {50, 81}, {90, 91}, {95, 96}, {200, 203}, {300, 300}});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 3), 0u);
    expect_set(s, {{10, 41}, {50, 81}, {90, 91}, {95, 96}, {200, 203}, {300, 300}}, {{10, 41}, {50, 81}},
               {{90, 91}, {95, 96}}, {{200, 203}}, {{302, 302}});
}

TEST_F(RsvdAlloc, DynamicWithFewerThan64CandidatesPutsAllInTheGroupOf64AndVlanOneSingle)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{100, 109}, {4094, 4094}});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 3), 0u);
    expect_set(s, {{100, 109}, {4094, 4094}}, {{100, 109}, {4094, 4094}}, {}, {}, {{1, 1}});
}

TEST_F(RsvdAlloc, DynamicWithExactly72CandidatesPutsVlanOneSingle)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{500, 571}});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 3), 0u);
    expect_set(s, {{500, 571}}, {{500, 563}}, {{564, 567}}, {{568, 571}}, {{1, 1}});
}

TEST_F(RsvdAlloc, DynamicWithNoCandidatesPutsOnlyVlanOneSingle)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 3), 0u);
    expect_set(s, {}, {}, {}, {}, {{1, 1}});
}

TEST_F(RsvdAlloc, DynamicSingleAbove4095IsNotSet)
{
    // 4023..4095: the lowest left is 4095, and 4097 has no bit; the spare
    // bitmap's length word stays intact.
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{4023, 4095}});
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 3), 0u);
    expect_set(s, {{4023, 4095}}, {{4023, 4086}}, {{4087, 4090}}, {{4091, 4094}}, {});
}

TEST_F(RsvdAlloc, DynamicGroupsAreOredAndCandidatesKept)
{
    dyn_rsvd_vlan_bitmaps_t s = with_candidates({{2000, 2127}});
    s.rsvd_group64.bits[0] = 0x80;    // VLAN 0
    s.rsvd_single.bits[1] = 0x01;     // VLAN 15
    EXPECT_EQ(vlan_mgr_allocate_rsvd_vlans(&s, 3), 0u);
    expect_set(s, {{2000, 2127}}, {{0, 0}, {2000, 2063}}, {{2064, 2067}}, {{2068, 2071}}, {{15, 15}, {2074, 2074}});
}

// ---- vlan_get_dyn_rsvd_vlans: layouts chosen by rule ----

TEST_F(RsvdAlloc, Range3968To4094Gets127CandidatesAndTheDefaultLayout)
{
    put_current(kUri1, 1, 3968, 4094);
    Patterned p;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&p.set, 1), 0u);
    probe_logging = false;
    expect_default(p.set, {{3968, 4094}});
    EXPECT_TRUE(probes.empty());
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(RsvdAlloc, Range3968To4047GetsEightyOneCandidatesAndTheDefaultLayout)
{
    put_current(kUri1, 1, 3968, 4047);
    Patterned p;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&p.set, 1), 0u);
    probe_logging = false;
    expect_default(p.set, {{3968, 4047}, {4094, 4094}});
    EXPECT_TRUE(probes.empty());
}

TEST_F(RsvdAlloc, Range2000To2127IsAllocatedDynamically)
{
    put_current(kUri2, 2, 2000, 2127);
    Patterned p;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&p.set, 2), 0u);
    probe_logging = false;
    expect_set(p.set, {{2000, 2127}, {4094, 4094}}, {{2000, 2063}}, {{2064, 2067}}, {{2068, 2071}},
               {{2074, 2074}});
    EXPECT_TRUE(probes.empty());
    const auto r = reads();
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0], (std::pair<std::string, Bytes>{kUri2, {0x02, 0x00, 0x10, 0x02}}));
    EXPECT_EQ(r[1], (std::pair<std::string, Bytes>{kUri2, {0x02, 0x00, 0x10, 0x03}}));
}

TEST_F(RsvdAlloc, EightyCandidatesElsewhereAreEnoughForDynamic)
{
    // 1000..1078 is 79, with 4094 80.
    put_current(kUri1, 1, 1000, 1078);
    dyn_rsvd_vlan_bitmaps_t s;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    probe_logging = false;
    expect_set(s, {{1000, 1078}, {4094, 4094}}, {{1000, 1063}}, {{1064, 1067}}, {{1068, 1071}}, {{1074, 1074}});
    EXPECT_TRUE(probes.empty());
}

TEST_F(RsvdAlloc, ManyCandidatesElsewhereAreAllocatedDynamically)
{
    put_current(kUri1, 1, 1, 4094);
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    expect_set(s, {{1, 4094}}, {{1, 64}}, {{65, 68}}, {{69, 72}}, {{75, 75}});
}

// ---- The probe: non-CA system ----

// The probe's calls in their order, with the mode and flags given.
void expect_probe_calls(bool tmp_open_succeeds)
{
    ASSERT_GE(probes.size(), 4u);
    EXPECT_EQ(probes[0].call, "access");
    EXPECT_EQ(probes[0].path, kCaMarker);
    EXPECT_EQ(probes[0].arg, F_OK);
    EXPECT_EQ(probes[1].call, "access");
    EXPECT_EQ(probes[1].path, kSatMarker);
    EXPECT_EQ(probes[1].arg, F_OK);
    EXPECT_EQ(probes[2].call, "access");
    EXPECT_EQ(probes[2].path, kNivMarker);
    EXPECT_EQ(probes[2].arg, F_OK);
    EXPECT_EQ(probes[3].call, "open");
    EXPECT_EQ(probes[3].path, kEhmTmp);
    EXPECT_EQ(probes[3].arg, O_RDONLY | O_EXCL);
    if (tmp_open_succeeds) {
        ASSERT_EQ(probes.size(), 5u);
        EXPECT_GE(probes[3].result, 0);
        EXPECT_EQ(probes[4].call, "close");
        EXPECT_EQ(probes[4].arg, probes[3].result);
        EXPECT_EQ(probes[4].result, 0);
    } else {
        ASSERT_GE(probes.size(), 5u);
        EXPECT_LT(probes[3].result, 0);
        EXPECT_EQ(probes[4].call, "open");
        EXPECT_EQ(probes[4].path, kEhmPss);
        EXPECT_EQ(probes[4].arg, O_RDONLY | O_EXCL);
    }
}

TEST_F(RsvdAlloc, StartEnd4095OnANonCaSystemIsReportedWithCountTwoAndStart4094)
{
    Marker ca(kCaMarker, false);
    Marker tmp(kEhmTmp, false);
    Marker pss(kEhmPss, false);
    put_current(kUri1, 1, 4095, 4095);
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 6;
    dyn_rsvd_vlan_bitmaps_t s;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    probe_logging = false;
    expect_set(s, {{4094, 4095}}, {}, {}, {}, {});
    expect_probe_calls(false);
    EXPECT_EQ(probes.size(), 5u);

    const std::string pid = std::to_string(getpid());
    const std::string debug = "vlan_mgr vlan_get_dyn_rsvd_vlans: pid " + pid + ", count 2 start id 4094\n";
    const std::string sys = " vlan_get_dyn_rsvd_vlans: pid " + pid + ", count 2 start id 4094\n";
    const tp::State &st = tp::state();
    ASSERT_EQ(st.history.size(), 1u);
    EXPECT_EQ(st.history[0].event_id, 0x730000u);
    EXPECT_EQ(st.history[0].subtype(), 102u);
    EXPECT_EQ(st.history[0].text(), debug);
    EXPECT_EQ(st.history[0].length, 4 + debug.size() + 1);
    ASSERT_EQ(st.debug_lines.size(), 1u);
    EXPECT_EQ(st.debug_lines[0], debug);
    ASSERT_EQ(st.syslog.size(), 1u);
    EXPECT_EQ(st.syslog[0].severity, 6u);
    EXPECT_EQ(st.syslog[0].format, "<<%%%s-%d-INFO_MSG>> %s");
    EXPECT_EQ(st.syslog[0].facility, "VLAN_MGR");
    EXPECT_EQ(st.syslog[0].severity_arg, 6);
    EXPECT_EQ(st.syslog[0].text, sys);
    EXPECT_EQ(st.syslog[0].line, "<<%VLAN_MGR-6-INFO_MSG>> " + sys);
}

TEST_F(RsvdAlloc, NonCaReportAtTheInitialLevelSkipsSyslogAndDebugWhenOff)
{
    Marker ca(kCaMarker, false);
    put_current(kUri1, 1, 4095, 4095);
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    const tp::State &st = tp::state();
    ASSERT_EQ(st.history.size(), 1u);
    EXPECT_EQ(st.history[0].text(),
              "vlan_mgr vlan_get_dyn_rsvd_vlans: pid " + std::to_string(getpid()) + ", count 2 start id 4094\n");
    EXPECT_TRUE(st.debug_lines.empty());
    EXPECT_TRUE(st.syslog.empty());
}

TEST_F(RsvdAlloc, NonCaReportWithHistoryFilteredStillSendsDebugAndSyslog)
{
    Marker ca(kCaMarker, false);
    put_current(kUri1, 1, 4095, 4095);
    tp::state().subtype_check_result = 1;
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_EQ(tp::state().debug_lines.size(), 1u);
    EXPECT_EQ(tp::state().syslog.size(), 1u);
}

TEST_F(RsvdAlloc, Range3968To4095IsLeftToTheProbeAndReportedOnANonCaSystem)
{
    Marker ca(kCaMarker, false);
    put_current(kUri1, 1, 3968, 4095);
    dyn_rsvd_vlan_bitmaps_t s;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    probe_logging = false;
    expect_set(s, {{3968, 4095}}, {}, {}, {}, {});
    expect_probe_calls(false);
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text(),
              "vlan_mgr vlan_get_dyn_rsvd_vlans: pid " + std::to_string(getpid()) + ", count 128 start id 3968\n");
}

TEST_F(RsvdAlloc, SeventyNineCandidatesFrom3968AreLeftToTheProbe)
{
    // 3968..4045 is 78, with 4094 79.
    Marker ca(kCaMarker, false);
    put_current(kUri1, 1, 3968, 4045);
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    expect_set(s, {{3968, 4045}, {4094, 4094}}, {}, {}, {}, {});
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text(),
              "vlan_mgr vlan_get_dyn_rsvd_vlans: pid " + std::to_string(getpid()) + ", count 79 start id 3968\n");
}

TEST_F(RsvdAlloc, SeventyNineCandidatesElsewhereAreLeftToTheProbe)
{
    Marker ca(kCaMarker, false);
    put_current(kUri1, 1, 1000, 1077);
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    expect_set(s, {{1000, 1077}, {4094, 4094}}, {}, {}, {}, {});
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text(),
              "vlan_mgr vlan_get_dyn_rsvd_vlans: pid " + std::to_string(getpid()) + ", count 79 start id 1000\n");
}

TEST_F(RsvdAlloc, EmptyRangeLeavesOnly4094ToTheProbe)
{
    Marker ca(kCaMarker, false);
    put_current(kUri1, 1, 200, 100);
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    expect_set(s, {{4094, 4094}}, {}, {}, {}, {});
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text(),
              "vlan_mgr vlan_get_dyn_rsvd_vlans: pid " + std::to_string(getpid()) + ", count 1 start id 4094\n");
}

// ---- The probe: CA system and the other markers ----

TEST_F(RsvdAlloc, Range3968To4095OnACaSystemGetsTheDefaultLayout)
{
    Marker ca(kCaMarker, true);
    put_current(kUri1, 1, 3968, 4095);
    dyn_rsvd_vlan_bitmaps_t s;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    probe_logging = false;
    expect_default(s, {{3968, 4095}});
    expect_probe_calls(false);
    EXPECT_EQ(probes[0].result, 0);
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(RsvdAlloc, StartEnd4095OnACaSystemGetsTheDefaultLayout)
{
    Marker ca(kCaMarker, true);
    put_current(kUri1, 1, 4095, 4095);
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    expect_default(s, {{4094, 4095}});
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

TEST_F(RsvdAlloc, OtherMarkersAreProbedButDoNotDecide)
{
    Marker ca(kCaMarker, false);
    Marker sat(kSatMarker, true);
    Marker niv(kNivMarker, true);
    Marker tmp(kEhmTmp, true);
    put_current(kUri1, 1, 4095, 4095);
    dyn_rsvd_vlan_bitmaps_t s;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    probe_logging = false;
    expect_set(s, {{4094, 4095}}, {}, {}, {}, {});
    expect_probe_calls(true);
    EXPECT_LT(probes[0].result, 0);
    EXPECT_EQ(probes[1].result, 0);
    EXPECT_EQ(probes[2].result, 0);
    EXPECT_EQ(tp::state().history.size(), 1u);
}

TEST_F(RsvdAlloc, SecondEndHostMarkerIsOpenedAndClosedWhenTheFirstIsAbsent)
{
    Marker ca(kCaMarker, false);
    Marker tmp(kEhmTmp, false);
    Marker pss(kEhmPss, true);
    put_current(kUri1, 1, 4095, 4095);
    dyn_rsvd_vlan_bitmaps_t s;
    probe_logging = true;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    probe_logging = false;
    expect_probe_calls(false);
    ASSERT_EQ(probes.size(), 6u);
    EXPECT_GE(probes[4].result, 0);
    EXPECT_EQ(probes[5].call, "close");
    EXPECT_EQ(probes[5].arg, probes[4].result);
    EXPECT_EQ(tp::state().history.size(), 1u);
}

TEST_F(RsvdAlloc, MarkersAreRemovedAgainAfterATest)
{
    {
        Marker ca(kCaMarker, true);
        Marker sat(kSatMarker, true);
        EXPECT_TRUE(std::filesystem::exists(kCaMarker));
        EXPECT_TRUE(std::filesystem::exists(kSatMarker));
    }
    EXPECT_FALSE(std::filesystem::exists(kCaMarker));
    EXPECT_FALSE(std::filesystem::exists(kSatMarker));
}

TEST_F(RsvdAlloc, MarkerPutsBackAFileThatWasThere)
{
    {
        Marker before(kEhmTmp, true); // the machine's own file, as it were
        {
            Marker absent(kEhmTmp, false);
            EXPECT_FALSE(std::filesystem::exists(kEhmTmp));
        }
        EXPECT_TRUE(std::filesystem::exists(kEhmTmp));
    }
    EXPECT_FALSE(std::filesystem::exists(kEhmTmp));
}

// ---- vlan_get_dyn_rsvd_vlans: failures ----

TEST_F(RsvdAlloc, OpenFailureIsReturnedBeforeTheSetIsTouched)
{
    put_current(kUri1, 1, 3968, 4094);
    tp::sdb_fail(tp::SdbOp::open, 1, 0x40480001);
    Patterned p;
    EXPECT_EQ(vlan_get_dyn_rsvd_vlans(&p.set, 1), 0x40480001u);
    EXPECT_TRUE(p.untouched());
    EXPECT_TRUE(reads().empty());
}

TEST_F(RsvdAlloc, NullSetIsRefusedAfterTheDatabaseIsOpened)
{
    EXPECT_EQ(vlan_get_dyn_rsvd_vlans(nullptr, 1), 0x41100003u);
    ASSERT_EQ(sdb_call_count(), 1u);
    EXPECT_EQ(tp::state().sdb_calls[0].op, tp::SdbOp::open);
    EXPECT_EQ(tp::state().sdb_calls[0].uri, kUri1);
    // An open failure comes first.
    SetUp();
    tp::sdb_fail(tp::SdbOp::open, 1, 0x40480001);
    EXPECT_EQ(vlan_get_dyn_rsvd_vlans(nullptr, 1), 0x40480001u);
}

TEST_F(RsvdAlloc, MissingRangeRecordIsReturnedWithTheSetCleared)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x02}, {0x0F, 0x80});
    Patterned p;
    EXPECT_EQ(vlan_get_dyn_rsvd_vlans(&p.set, 1), 0x4110001cu);
    expect_set(p.set, {}, {}, {}, {}, {});
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(RsvdAlloc, ShortRangeRecordIsReturnedWithTheSetCleared)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x02}, {0x0F, 0x80});
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x03}, {0x0F});
    Patterned p;
    EXPECT_EQ(vlan_get_dyn_rsvd_vlans(&p.set, 1), 0x4110001cu);
    expect_set(p.set, {}, {}, {}, {}, {});
}

TEST_F(RsvdAlloc, VdcOutsideOneToFiveIsRefusedBeforeAnything)
{
    for (uint16_t vdc : {0, 6}) {
        Patterned p;
        EXPECT_EQ(vlan_get_dyn_rsvd_vlans(&p.set, vdc), 0x41100013u);
        EXPECT_TRUE(p.untouched());
    }
    EXPECT_EQ(sdb_call_count(), 0u);
}

TEST_F(RsvdAlloc, NothingIsAllocated)
{
    Marker ca(kCaMarker, false);
    put_current(kUri1, 1, 4095, 4095);
    dyn_rsvd_vlan_bitmaps_t s;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    put_current(kUri1, 1, 2000, 2127);
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&s, 1), 0u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
