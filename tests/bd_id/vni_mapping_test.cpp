#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include <vlan_mgr/bd_id.h>

#include "test_platform.h"

namespace {

constexpr uint32_t kSentinel = 0xDEADBEEFu;

// ---- Request builder ------------------------------------------------------

TEST(VniMappingBuild, PayloadIsOneValueKey)
{
    void *buf = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 0x0A0B0C0Du, 0x11223344u, &buf, &len), 0u);
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(len, 12u);
    const uint8_t expected[12] = {0x00, 0x00, 0x00, 0x01, 0x11, 0x22, 0x33, 0x44, 0x0A, 0x0B, 0x0C, 0x0D};
    EXPECT_EQ(std::memcmp(buf, expected, sizeof expected), 0);
    std::free(buf);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(VniMappingBuild, FirstArgumentIsIgnored)
{
    for (uint32_t ignored : {0u, 1u, 5u, 0xFFFFFFFFu}) {
        void *buf = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(ignored, 5000, 10, &buf, &len), 0u);
        ASSERT_NE(buf, nullptr);
        EXPECT_EQ(len, 12u);
        const uint8_t expected[12] = {0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x13, 0x88};
        EXPECT_EQ(std::memcmp(buf, expected, sizeof expected), 0) << ignored;
        std::free(buf);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(VniMappingBuild, ZeroValueIsAccepted)
{
    void *buf = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 0xFFFFFFFFu, 0, &buf, &len), 0u);
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(len, 12u);
    const uint8_t expected[12] = {0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(std::memcmp(buf, expected, sizeof expected), 0);
    std::free(buf);
}

TEST(VniMappingBuild, AllocatesExactlyTwelveBytesOnce)
{
    void *buf = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 1, 2, &buf, &len), 0u);
    EXPECT_EQ(tp::alloc_calls(), 1);
    EXPECT_EQ(tp::live_allocs(), 1);
    std::free(buf);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(VniMappingBuild, ZeroKeyIsInvalidAndChangesNothing)
{
    void *buf = &buf;
    uint32_t len = kSentinel;
    EXPECT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 0, 0x11223344u, &buf, &len), 0x41100003u);
    EXPECT_EQ(buf, &buf);
    EXPECT_EQ(len, kSentinel);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(VniMappingBuild, NullOutputsAreInvalid)
{
    void *buf = &buf;
    uint32_t len = kSentinel;
    EXPECT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 1, 2, nullptr, &len), 0x41100003u);
    EXPECT_EQ(len, kSentinel);
    EXPECT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 1, 2, &buf, nullptr), 0x41100003u);
    EXPECT_EQ(buf, &buf);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(VniMappingBuild, AllocationFailureKeepsLength12AndNullBuffer)
{
    void *buf = &buf;
    uint32_t len = kSentinel;
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 1, 2, &buf, &len), 0x41100002u);
    EXPECT_EQ(buf, nullptr);
    EXPECT_EQ(len, 12u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(VniMappingBuild, AllocationSweepFailsCleanlyUntilSuccess)
{
    int failures = 0;
    for (long n = 1;; ++n) {
        tp::fail_alloc_at(n);
        void *buf = &buf;
        uint32_t len = 0;
        const uint32_t rc = vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 7, 8, &buf, &len);
        EXPECT_EQ(len, 12u);
        if (rc == 0u) {
            ASSERT_NE(buf, nullptr);
            std::free(buf);
            EXPECT_EQ(tp::live_allocs(), 0);
            break;
        }
        ASSERT_EQ(rc, 0x41100002u);
        EXPECT_EQ(buf, nullptr);
        EXPECT_EQ(tp::live_allocs(), 0);
        ++failures;
        ASSERT_LT(n, 10);
    }
    EXPECT_EQ(failures, 1);
    tp::fail_alloc_at(0);
}

TEST(VniMappingBuild, ReportsNothing)
{
    void *buf = nullptr;
    uint32_t len = 0;
    vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 0, 1, &buf, &len);
    tp::fail_alloc_at(1);
    vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 1, 1, &buf, &len);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
}

// ---- Reply parser ---------------------------------------------------------

// Status 0; the three values 5000, 100, 1000 (stored in out3, out1, out2).
const std::vector<uint8_t> kReply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x13, 0x88,
                                     0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x03, 0xE8};

// The bytes in an exact-size heap block (at `shift` bytes past its start),
// so that AddressSanitizer sees any read past their end.
struct HeapBytes {
    uint8_t *block = nullptr;
    uint8_t *data = nullptr;
    HeapBytes(const uint8_t *p, size_t n, size_t shift = 0)
    {
        block = static_cast<uint8_t *>(std::calloc(n + shift == 0 ? 1 : n + shift, 1));
        data = block + shift;
        if (block != nullptr && n != 0)
            std::memcpy(data, p, n);
    }
    ~HeapBytes() { std::free(block); }
};

struct Outs {
    uint32_t o1 = kSentinel, o2 = kSentinel, o3 = kSentinel;
    void expect_untouched() const
    {
        EXPECT_EQ(o1, kSentinel);
        EXPECT_EQ(o2, kSentinel);
        EXPECT_EQ(o3, kSentinel);
    }
};

TEST(VniMappingReply, ValidReplyStoresValuesAndReturnsStatus)
{
    HeapBytes b(kReply.data(), kReply.size());
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 16), 0u);
    EXPECT_EQ(o.o3, 5000u);
    EXPECT_EQ(o.o1, 100u);
    EXPECT_EQ(o.o2, 1000u);
}

TEST(VniMappingReply, NonZeroStatusStillStoresValues)
{
    const uint8_t reply[16] = {0x41, 0x10, 0x00, 0x42, 0xAA, 0xBB, 0xCC, 0xDD,
                               0x01, 0x02, 0x03, 0x04, 0xF0, 0xE0, 0xD0, 0xC0};
    HeapBytes b(reply, sizeof reply);
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 16), 0x41100042u);
    EXPECT_EQ(o.o3, 0xAABBCCDDu);
    EXPECT_EQ(o.o1, 0x01020304u);
    EXPECT_EQ(o.o2, 0xF0E0D0C0u);
}

TEST(VniMappingReply, LongerReplyReadsItsFirstSixteenBytes)
{
    std::vector<uint8_t> longer = kReply;
    longer.insert(longer.end(), {0x99, 0x99, 0x99, 0x99, 0x99});
    HeapBytes b(longer.data(), longer.size());
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 21), 0u);
    EXPECT_EQ(o.o3, 5000u);
    EXPECT_EQ(o.o1, 100u);
    EXPECT_EQ(o.o2, 1000u);
}

TEST(VniMappingReply, FourByteReplyReturnsStatusAndLeavesOutsUntouched)
{
    const uint8_t reply[4] = {0x41, 0x10, 0x00, 0x55};
    HeapBytes b(reply, sizeof reply);
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 4), 0x41100055u);
    o.expect_untouched();
}

TEST(VniMappingReply, FourByteZeroStatusReturnsZero)
{
    const uint8_t reply[4] = {0, 0, 0, 0};
    HeapBytes b(reply, sizeof reply);
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 4), 0u);
    o.expect_untouched();
}

TEST(VniMappingReply, NullOut1IsInvalid)
{
    HeapBytes b(kReply.data(), kReply.size());
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(nullptr, &o.o2, &o.o3, b.data, 16), 0x41100003u);
    o.expect_untouched();
}

TEST(VniMappingReply, NullOut2IsInvalid)
{
    HeapBytes b(kReply.data(), kReply.size());
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, nullptr, &o.o3, b.data, 16), 0x41100003u);
    o.expect_untouched();
}

TEST(VniMappingReply, NullOutsCheckedBeforeStatusReply)
{
    const uint8_t reply[4] = {0x41, 0x10, 0x00, 0x55};
    HeapBytes b(reply, sizeof reply);
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(nullptr, &o.o2, &o.o3, b.data, 4), 0x41100003u);
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, nullptr, &o.o3, b.data, 4), 0x41100003u);
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, nullptr, 0), 0x41100002u);
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(nullptr, nullptr, nullptr, nullptr, 0), 0x41100003u);
    o.expect_untouched();
}

// out1 and out2 are required; out3 is not checked and a NULL out3 does not
// stop the parse.
TEST(VniMappingReply, NullOut3IsNotRefused)
{
    HeapBytes b(kReply.data(), kReply.size());
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, nullptr, b.data, 16), 0u);
    EXPECT_EQ(o.o1, 100u);
    EXPECT_EQ(o.o2, 1000u);
    EXPECT_EQ(o.o3, kSentinel);
}

TEST(VniMappingReply, NullOut3WithStatusReply)
{
    const uint8_t reply[4] = {0x41, 0x10, 0x00, 0x77};
    HeapBytes b(reply, sizeof reply);
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, nullptr, b.data, 4), 0x41100077u);
    o.expect_untouched();
}

TEST(VniMappingReply, EmptyReplyIsNoMemory)
{
    HeapBytes b(nullptr, 0);
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 0), 0x41100002u);
    o.expect_untouched();
}

TEST(VniMappingReply, NullPayloadIsNoMemory)
{
    Outs o;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, nullptr, 16), 0x41100002u);
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, nullptr, 0), 0x41100002u);
    // A status-length reply with no bytes at all is refused too, rather than read.
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, nullptr, 4), 0x41100002u);
    o.expect_untouched();
}

TEST(VniMappingReply, ShortRepliesAreTruncated)
{
    for (uint32_t len : {1u, 2u, 3u, 5u, 8u, 12u, 15u}) {
        HeapBytes b(kReply.data(), len);
        Outs o;
        EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, len), 0x411000F0u) << len;
        o.expect_untouched();
    }
}

// Expected result of the valid reply cut to `len` bytes.
uint32_t expected_for_cut(uint32_t len)
{
    if (len == 0)
        return 0x41100002u; // empty
    if (len == 4)
        return 0u; // bare status: the reply's status word, 0
    return 0x411000F0u;
}

TEST(VniMappingReply, EveryCutOfValidReplyFailsCleanly)
{
    for (uint32_t len = 0; len < 16; ++len) {
        HeapBytes b(kReply.data(), len);
        Outs o;
        EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, len), expected_for_cut(len))
            << len;
        o.expect_untouched();
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(VniMappingReply, EveryCutAtOddAddressFailsCleanly)
{
    for (uint32_t len = 0; len < 16; ++len) {
        HeapBytes b(kReply.data(), len, 1);
        Outs o;
        EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, len), expected_for_cut(len))
            << len;
        o.expect_untouched();
    }
}

TEST(VniMappingReply, ValidReplyAtOddAddress)
{
    for (size_t shift : {1u, 3u}) {
        HeapBytes b(kReply.data(), kReply.size(), shift);
        Outs o;
        EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 16), 0u) << shift;
        EXPECT_EQ(o.o3, 5000u);
        EXPECT_EQ(o.o1, 100u);
        EXPECT_EQ(o.o2, 1000u);
    }
}

TEST(VniMappingReply, AllocatesNothingAndReportsNothing)
{
    HeapBytes b(kReply.data(), kReply.size());
    Outs o;
    const long before = tp::alloc_calls();
    vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 16);
    vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 7);
    vlan_mgr_parse_vni_vlan_mapping_reply(nullptr, &o.o2, &o.o3, b.data, 16);
    EXPECT_EQ(tp::alloc_calls(), before);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
}

TEST(VniMappingReply, ParsesWhatTheServerWouldAnswerToABuiltRequest)
{
    // The request asks about key 5000; the reply's words are literal.
    void *req = nullptr;
    uint32_t req_len = 0;
    ASSERT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 5000, 0, &req, &req_len), 0u);
    const uint8_t expected_req[12] = {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0x13, 0x88};
    EXPECT_EQ(std::memcmp(req, expected_req, 12), 0);
    std::free(req);
    {
        HeapBytes b(kReply.data(), kReply.size());
        Outs o;
        EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&o.o1, &o.o2, &o.o3, b.data, 16), 0u);
        EXPECT_EQ(o.o3, 5000u);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
