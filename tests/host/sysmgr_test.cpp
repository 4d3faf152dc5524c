// Host system manager: the process's VDC id from the environment, from a file
// or by default, which VDCs exist, and the context switches.
#include <gtest/gtest.h>

#include <fstream>

#include "host/host_platform.h"
#include "host_test_util.h"
#include "vlan_mgr_platform.h"

using host_test::ScopedEnv;
using host_test::TempDir;

namespace {

std::string write_file(const TempDir &dir, const char *name, const char *content)
{
    std::string path = dir.path() + "/" + name;
    std::ofstream(path) << content;
    return path;
}

} // namespace

TEST(SysmgrVdcGet, TakesTheIdFromTheEnvironment)
{
    ScopedEnv vdc("VLAN_MGR_VDC", "3");
    EXPECT_EQ(sysmgr_vdc_get(), 3);
}

TEST(SysmgrVdcGet, ReadsTheEnvironmentAtEveryCall)
{
    ScopedEnv vdc("VLAN_MGR_VDC", "2");
    EXPECT_EQ(sysmgr_vdc_get(), 2);
    setenv("VLAN_MGR_VDC", "5", 1);
    EXPECT_EQ(sysmgr_vdc_get(), 5);
}

TEST(SysmgrVdcGet, EnvironmentWinsOverTheFile)
{
    TempDir dir;
    ScopedEnv file("VLAN_MGR_VDC_FILE", write_file(dir, "vdc", "4\n").c_str());
    ScopedEnv vdc("VLAN_MGR_VDC", "2");
    EXPECT_EQ(sysmgr_vdc_get(), 2);
}

TEST(SysmgrVdcGet, TakesTheIdFromTheFileWhenTheEnvironmentHasNone)
{
    TempDir dir;
    ScopedEnv vdc("VLAN_MGR_VDC", nullptr);
    ScopedEnv file("VLAN_MGR_VDC_FILE", write_file(dir, "vdc", "4\n").c_str());
    EXPECT_EQ(sysmgr_vdc_get(), 4);
}

TEST(SysmgrVdcGet, FileMayHoldBlanksAroundTheId)
{
    TempDir dir;
    ScopedEnv vdc("VLAN_MGR_VDC", nullptr);
    ScopedEnv file("VLAN_MGR_VDC_FILE", write_file(dir, "vdc", "  5 \r\n").c_str());
    EXPECT_EQ(sysmgr_vdc_get(), 5);
}

TEST(SysmgrVdcGet, MalformedEnvironmentFallsBackToTheFile)
{
    TempDir dir;
    ScopedEnv file("VLAN_MGR_VDC_FILE", write_file(dir, "vdc", "3").c_str());
    for (const char *bad : {"", "abc", "2x", "0", "-2", "65536", "99999999999"}) {
        ScopedEnv vdc("VLAN_MGR_VDC", bad);
        EXPECT_EQ(sysmgr_vdc_get(), 3) << "VLAN_MGR_VDC=\"" << bad << "\"";
    }
}

TEST(SysmgrVdcGet, AcceptsTheLargestSixteenBitId)
{
    ScopedEnv vdc("VLAN_MGR_VDC", "65535");
    EXPECT_EQ(sysmgr_vdc_get(), 65535);
}

TEST(SysmgrVdcGet, DefaultsToOneWithoutEnvironmentOrFile)
{
    TempDir dir;
    ScopedEnv vdc("VLAN_MGR_VDC", nullptr);
    ScopedEnv file("VLAN_MGR_VDC_FILE", (dir.path() + "/missing").c_str());
    EXPECT_EQ(sysmgr_vdc_get(), 1);
}

TEST(SysmgrVdcGet, DefaultsToOneWhenTheFileIsMalformed)
{
    TempDir dir;
    ScopedEnv vdc("VLAN_MGR_VDC", nullptr);
    ScopedEnv file("VLAN_MGR_VDC_FILE", write_file(dir, "vdc", "vdc 4\n").c_str());
    EXPECT_EQ(sysmgr_vdc_get(), 1);
}

TEST(VdcIsCreated, VdcsOneToFiveExist)
{
    for (uint16_t vdc = 1; vdc <= 5; ++vdc) {
        uint32_t out = 77;
        EXPECT_EQ(vdc_is_created(vdc, &out), 1) << vdc;
        EXPECT_EQ(out, 1u) << vdc;
    }
}

TEST(VdcIsCreated, VdcsZeroAndSixAndAboveDoNotExist)
{
    for (uint16_t vdc : {0, 6, 7, 4094, 65535}) {
        uint32_t out = 77;
        EXPECT_EQ(vdc_is_created(static_cast<uint16_t>(vdc), &out), 0) << vdc;
        EXPECT_EQ(out, 0u) << vdc;
    }
}

TEST(VdcIsCreated, AcceptsANullStatePointer)
{
    EXPECT_EQ(vdc_is_created(2, nullptr), 1);
    EXPECT_EQ(vdc_is_created(9, nullptr), 0);
}

TEST(SysmgrVdcCtxt, SwitchIntoAnExistingVdcAndBack)
{
    EXPECT_EQ(vlan_mgr_host::vdc_ctxt(), 0);
    EXPECT_EQ(sysmgr_set_vdc_ctxt(4), 0);
    EXPECT_EQ(vlan_mgr_host::vdc_ctxt(), 4);
    EXPECT_EQ(sysmgr_reset_vdc_ctxt(), 0);
    EXPECT_EQ(vlan_mgr_host::vdc_ctxt(), 0);
}

TEST(SysmgrVdcCtxt, SwitchIntoAMissingVdcIsRefused)
{
    EXPECT_EQ(sysmgr_set_vdc_ctxt(6), 0x40480001);
    EXPECT_EQ(sysmgr_set_vdc_ctxt(0), 0x40480001);
    EXPECT_EQ(vlan_mgr_host::vdc_ctxt(), 0);
}

TEST(SysmgrVdcCtxt, SwitchDoesNotChangeTheOwnVdc)
{
    ScopedEnv vdc("VLAN_MGR_VDC", "2");
    ASSERT_EQ(sysmgr_set_vdc_ctxt(3), 0);
    EXPECT_EQ(sysmgr_vdc_get(), 2);
    EXPECT_EQ(sysmgr_reset_vdc_ctxt(), 0);
}
