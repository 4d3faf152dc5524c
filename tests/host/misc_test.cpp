// The host platform's small services: interface-index byte order, error
// texts, the card's module type, transport memory release, TLV error lines.
#include <gtest/gtest.h>

#include <cstdlib>
#include <malloc.h>
#include <cstring>
#include <string>

#include "host/host_platform.h"
#include "host_test_util.h"
#include "tlvu.h"
#include "vlan_mgr_platform.h"

using host_test::ScopedEnv;

TEST(IfIndex, HtonPutsTheMostSignificantByteFirstInMemory)
{
    const uint32_t wire = hton_if_index(0x1a2b3c4du);
    uint8_t bytes[4];
    std::memcpy(bytes, &wire, 4);
    const uint8_t expected[4] = {0x1a, 0x2b, 0x3c, 0x4d};
    EXPECT_EQ(std::memcmp(bytes, expected, 4), 0);
}

TEST(IfIndex, NtohReadsNetworkOrderBytes)
{
    const uint8_t wire_bytes[4] = {0x05, 0x00, 0x00, 0x2a};
    uint32_t wire;
    std::memcpy(&wire, wire_bytes, 4);
    EXPECT_EQ(ntoh_if_index(wire), 0x0500002au);
}

TEST(IfIndex, RoundTripKeepsEveryValue)
{
    for (uint32_t v : {0u, 1u, 0x1a000000u, 0x0500002au, 0x80000001u, 0xFFFFFFFFu, 0x12345678u}) {
        EXPECT_EQ(ntoh_if_index(hton_if_index(v)), v);
        EXPECT_EQ(hton_if_index(ntoh_if_index(v)), v);
    }
}

TEST(Syserr2str, PlatformWordsHaveTheirTexts)
{
    EXPECT_STREQ(syserr2str(0x411a0003), "shared database: database already open");
    EXPECT_STREQ(syserr2str(0x411a0007), "shared database: no such record");
    EXPECT_STREQ(syserr2str(0x40480003), "no such entry");
    EXPECT_STREQ(syserr2str(0x40480001), "invalid argument");
    EXPECT_STREQ(syserr2str(0x40480002), "out of memory");
    EXPECT_STREQ(syserr2str(0x40480004), "resource busy");
    EXPECT_STREQ(syserr2str(0x411a0001), "shared database: invalid argument");
    EXPECT_STREQ(syserr2str(0x411a0002), "shared database: database not open");
    EXPECT_STREQ(syserr2str(0x411a0004), "shared database: cannot create or map the database file");
    EXPECT_STREQ(syserr2str(0x411a0005), "shared database: out of memory");
    EXPECT_STREQ(syserr2str(0x411a0006), "shared database: database file is corrupt");
}

TEST(Syserr2str, ZeroIsSuccess) { EXPECT_STREQ(syserr2str(0), "success"); }

TEST(Syserr2str, ErrnoValuesGetTheCLibraryText)
{
    EXPECT_STREQ(syserr2str(ENOENT), std::strerror(ENOENT));
    EXPECT_STREQ(syserr2str(ENOMEM), std::strerror(ENOMEM));
}

TEST(Syserr2str, UnknownWordsAreNamedInHex)
{
    EXPECT_STREQ(syserr2str(0x411a00ff), "unknown error 0x411a00ff");
    EXPECT_STREQ(syserr2str(-1), "unknown error 0xffffffff");
    EXPECT_STREQ(syserr2str(0x41100013), "unknown error 0x41100013");
}

TEST(Syserr2str, NeverNull)
{
    for (int32_t e : {INT32_MIN, -4096, -1, 0, 1, 4095, 4096, 0x40480000, 0x411a0000, 0x411a0003, INT32_MAX}) {
        const char *t = syserr2str(e);
        ASSERT_NE(t, nullptr) << e;
        EXPECT_GT(std::strlen(t), 0u) << e;
    }
}

TEST(GetCardModuleInfo, DefaultsToZero)
{
    ScopedEnv type("VLAN_MGR_MODULE_TYPE", nullptr);
    uint32_t t = 99;
    EXPECT_EQ(get_card_module_info(&t), 0);
    EXPECT_EQ(t, 0u);
}

TEST(GetCardModuleInfo, TakesTheTypeFromTheEnvironment)
{
    ScopedEnv type("VLAN_MGR_MODULE_TYPE", "12");
    uint32_t t = 0;
    EXPECT_EQ(get_card_module_info(&t), 0);
    EXPECT_EQ(t, 12u);
    setenv("VLAN_MGR_MODULE_TYPE", "0x1f", 1);
    EXPECT_EQ(get_card_module_info(&t), 0);
    EXPECT_EQ(t, 0x1fu);
    setenv("VLAN_MGR_MODULE_TYPE", "4294967295", 1);
    EXPECT_EQ(get_card_module_info(&t), 0);
    EXPECT_EQ(t, 0xFFFFFFFFu);
}

TEST(GetCardModuleInfo, MalformedTypeIsAnErrorWithTypeZero)
{
    for (const char *bad : {"abc", "12x", "-1", "4294967296"}) {
        ScopedEnv type("VLAN_MGR_MODULE_TYPE", bad);
        uint32_t t = 99;
        EXPECT_EQ(get_card_module_info(&t), 0x40480001) << bad;
        EXPECT_EQ(t, 0u) << bad;
    }
}

TEST(GetCardModuleInfo, NullOutputIsRefused) { EXPECT_EQ(get_card_module_info(nullptr), 0x40480001); }

TEST(MtrackFree, ReleasesMallocMemory)
{
#if defined(__SANITIZE_ADDRESS__)
    // The sanitizer's allocator keeps no malloc statistics; it fails the run
    // on a wrong release and reports a block that was never released.
    void *p = std::malloc(4096);
    ASSERT_NE(p, nullptr);
    mtrack_free(p);
    mtrack_free(nullptr);
    SUCCEED();
#else
    const size_t before = mallinfo2().uordblks;
    void *p = std::malloc(4096);
    ASSERT_NE(p, nullptr);
    EXPECT_GE(mallinfo2().uordblks, before + 4096);
    mtrack_free(p);
    EXPECT_EQ(mallinfo2().uordblks, before);
    mtrack_free(nullptr);
    EXPECT_EQ(mallinfo2().uordblks, before);
#endif
}

TEST(TlvuErrorSink, WritesTheLineToStderr)
{
    testing::internal::CaptureStderr();
    tlvu_error_sink("tlvu: field 3 too long\n");
    tlvu_error_sink("no newline");
    tlvu_error_sink("");
    tlvu_error_sink(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "tlvu: field 3 too long\nno newline\n\n");
}
