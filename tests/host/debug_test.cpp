// Host debug channel: debug classes switched on through VLAN_MGR_DEBUG, the
// class lists shared with VLAN_MGR_HIST_OFF, and buginf's lines on stderr.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/host_platform.h"
#include "host_test_util.h"
#include "vlan_mgr_platform.h"

using host_test::ScopedEnv;

TEST(SdwrapChkInt, OffWhenTheVariableIsUnset)
{
    ScopedEnv dbg("VLAN_MGR_DEBUG", nullptr);
    EXPECT_EQ(sdwrap_chk_int(100, 0, 0, 1), 0);
    EXPECT_EQ(sdwrap_chk_int(102, 0, 0, 1), 0);
}

TEST(SdwrapChkInt, OnForTheListedClassesOnly)
{
    ScopedEnv dbg("VLAN_MGR_DEBUG", "100,102");
    EXPECT_NE(sdwrap_chk_int(100, 0, 0, 1), 0);
    EXPECT_NE(sdwrap_chk_int(102, 0, 0, 1), 0);
    EXPECT_EQ(sdwrap_chk_int(101, 0, 0, 1), 0);
    EXPECT_EQ(sdwrap_chk_int(10, 0, 0, 1), 0);
    EXPECT_EQ(sdwrap_chk_int(1000, 0, 0, 1), 0);
}

TEST(SdwrapChkInt, AllSwitchesEveryClassOn)
{
    ScopedEnv dbg("VLAN_MGR_DEBUG", "all");
    EXPECT_NE(sdwrap_chk_int(0, 0, 0, 1), 0);
    EXPECT_NE(sdwrap_chk_int(100, 0, 0, 1), 0);
    EXPECT_NE(sdwrap_chk_int(0xFFFFFFFFu, 0, 0, 1), 0);
}

TEST(SdwrapChkInt, ReadsTheEnvironmentAtEveryCall)
{
    ScopedEnv dbg("VLAN_MGR_DEBUG", "100");
    EXPECT_NE(sdwrap_chk_int(100, 0, 0, 1), 0);
    setenv("VLAN_MGR_DEBUG", "102", 1);
    EXPECT_EQ(sdwrap_chk_int(100, 0, 0, 1), 0);
    EXPECT_NE(sdwrap_chk_int(102, 0, 0, 1), 0);
    unsetenv("VLAN_MGR_DEBUG");
    EXPECT_EQ(sdwrap_chk_int(102, 0, 0, 1), 0);
}

TEST(ClassListed, AcceptsBlanksRangesAndUpperCaseAll)
{
    ScopedEnv v("VLAN_MGR_TEST_CLASSES", " 7, 100-102\t200 ");
    EXPECT_TRUE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 7));
    EXPECT_TRUE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 100));
    EXPECT_TRUE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 101));
    EXPECT_TRUE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 102));
    EXPECT_TRUE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 200));
    EXPECT_FALSE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 99));
    EXPECT_FALSE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 103));
    EXPECT_FALSE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 8));
    setenv("VLAN_MGR_TEST_CLASSES", "ALL", 1);
    EXPECT_TRUE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 12345));
}

TEST(ClassListed, MalformedEntriesNameNothingButTheRestStillCounts)
{
    ScopedEnv v("VLAN_MGR_TEST_CLASSES", "10x,abc,-5,7-,all2,99999999999,0x64,102");
    for (uint32_t cls : {10u, 5u, 7u, 100u, 0u})
        EXPECT_FALSE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", cls)) << cls;
    EXPECT_TRUE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 102));
}

TEST(ClassListed, EmptyListNamesNothing)
{
    ScopedEnv v("VLAN_MGR_TEST_CLASSES", " , ");
    EXPECT_FALSE(vlan_mgr_host::class_listed("VLAN_MGR_TEST_CLASSES", 0));
}

TEST(SdwrapDbgModname, IsTheVlanManagersName)
{
    EXPECT_STREQ(sdwrap_dbg_modname.name, "vlan_mgr");
}

TEST(Buginf, PrintsTheLineOnStderrUnderTheModuleName)
{
    testing::internal::CaptureStderr();
    int32_t n = buginf(1, &sdwrap_dbg_modname, 0, "vlan_mgr %s: pid %d, vdcID %d, local vdcID %d\n",
                       "vlan_create_build_mts", 42, 3, 1);
    std::string err = testing::internal::GetCapturedStderr();
    const char expected[] = "vlan_mgr: vlan_mgr vlan_create_build_mts: pid 42, vdcID 3, local vdcID 1\n";
    EXPECT_EQ(err, expected);
    EXPECT_EQ(n, static_cast<int32_t>(std::strlen(expected)));
}

TEST(Buginf, AddsTheMissingNewline)
{
    testing::internal::CaptureStderr();
    buginf(1, &sdwrap_dbg_modname, 0, "no newline %d", 7);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "vlan_mgr: no newline 7\n");
}

TEST(Buginf, UsesTheGivenModuleName)
{
    sdwrap_dbg_modname_t other = {"stp"};
    testing::internal::CaptureStderr();
    buginf(1, &other, 0, "x\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "stp: x\n");
}

TEST(Buginf, ModuleNameWithoutTerminatorIsCutAtItsField)
{
    sdwrap_dbg_modname_t full;
    std::memset(full.name, 'm', sizeof full.name);
    testing::internal::CaptureStderr();
    buginf(1, &full, 0, "x\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(32, 'm') + ": x\n");
}

TEST(Buginf, NullModuleAndNullFormatDoNotCrash)
{
    testing::internal::CaptureStderr();
    buginf(1, nullptr, 0, "text\n");
    buginf(1, &sdwrap_dbg_modname, 0, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "vlan_mgr: text\nvlan_mgr: \n");
}

TEST(Buginf, LongTextIsCutAndStillEndsWithANewline)
{
    std::string text(3000, 'a');
    testing::internal::CaptureStderr();
    int32_t n = buginf(1, &sdwrap_dbg_modname, 0, "%s", text.c_str());
    std::string err = testing::internal::GetCapturedStderr();
    ASSERT_EQ(err.size(), 1023u);
    EXPECT_EQ(n, 1023);
    EXPECT_EQ(err.substr(0, 10), "vlan_mgr: ");
    EXPECT_EQ(err.substr(10, 1012), std::string(1012, 'a'));
    EXPECT_EQ(err.back(), '\n');
}

// A wide character beyond Unicode cannot be converted in any locale.
TEST(Buginf, ATextThatCannotBeFormattedIsRefusedAndNothingIsPrinted)
{
    const wchar_t bad[] = {static_cast<wchar_t>(0x110000), 0};
    testing::internal::CaptureStderr();
    const int32_t n = buginf(1, &sdwrap_dbg_modname, 0, "bad %ls\n", bad);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(n, -1);
}
