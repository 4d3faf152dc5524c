// VLAN change notifications: every opcode of both parsers on a literal
// big-endian payload with the exact host-order records, allocator sizes,
// untouched bytes, refused opcodes, empty lists, allocator failures, every
// shorter length and an odd address.
#include "notif_test_util.h"

namespace {

using namespace notiftest;

// Interface indexes on the wire (four distinct bytes) and in host order.
const Bytes kIfA = {0x1A, 0x2B, 0x3C, 0x4D};
const Bytes kIfAHost = le32(0x1A2B3C4Du);
const Bytes kIfB = {0x5A, 0x6B, 0x7C, 0x8D};
const Bytes kIfBHost = le32(0x5A6B7C8Du);

struct Case {
    const char *name;
    uint32_t opcode;
    Bytes payload;
    uint32_t count;
    Bytes records;  // the whole block handed out
    size_t needed;  // the shortest payload the parser accepts
};

// ---- Payloads ---------------------------------------------------------------

// 0x5C03: count at 4; element i at 8 + 16i.
Bytes p5c03()
{
    return cat({be32(0xCAFEBABE), be32(2),
                be16(0x0102), be32(0x11223344), be16(0x0506), be32(0x21222324), be32(0x31323334),
                be16(0x0103), be32(0x11223345), be16(0x0507), be32(0x21222325), be32(0x31323335)});
}

// 0x5C1D: count at 0; element i at 4 + 40i, VDC 1, VLANs 100 and 101.
Bytes p5c1d_element(uint16_t bd, uint32_t vlan)
{
    return cat({be16(bd), be16(0x0B02), be16(0x0C03), be16(1), be32(vlan), be32(0x41424344), be32(0x51525354),
                be32(0x61626364), be32(0x71727374), be32(0x81828384), be32(0x91929394), be32(0xA1A2A3A4)});
}
Bytes p5c1d() { return cat({be32(2), p5c1d_element(0x0A01, 100), p5c1d_element(0x0A02, 101)}); }

Bytes p5c1e(uint32_t n)
{
    Bytes b = cat({be16(0x0102), be32(0x11223344), be16(0x0506), be32(0x21222324), be32(0x31323334), be32(n)});
    if (n >= 1)
        b = cat({b, kIfA});
    if (n >= 2)
        b = cat({b, kIfB});
    return b;
}

Bytes p5c1f()
{
    return cat({be16(0x0102), fill(4, 0xF0), bits(0), fill(4, 0xF1), bits(1), fill(4, 0xF2), bits(2), fill(4, 0xF3),
                bits(3)});
}

Bytes p5c20() { return cat({be16(0x0102), fill(2, 0xEE), be32(0x11223344), fill(4, 0xF0), bits(0)}); }

// 0x5C21: two records of 18 + 4 + 6 bytes; the second carries values.
Bytes p5c21()
{
    return cat({be32(2), be16(0x0102), be32(0x11223344), be32(0), be32(4), be32(6), {'a', 'b', 'c', 'd'},
                {'x', 'y', 0, 'z', 'z', 'z'}, be16(0x0203), be32(0x21222324), be32(1), be32(4), be32(6),
                be32(0x55667788), be32(0x99AABBCC), fill(2, 0xEE)});
}

Bytes p5c22()
{
    return cat({be32(2), be16(0x0A01), be16(1), be32(100), be32(0x41424344), be16(0x0A02), be16(1), be32(101),
                be32(0x41424345)});
}

// 0x5C24: element i at 1044i (element 0 begins with the count).
Bytes p5c24()
{
    Bytes b(2 * 1044 + 4, 0xEE);
    put(b, 0, be32(2));
    for (size_t i = 0; i < 2; ++i) {
        const size_t e = 1044 * i;
        put(b, e + 6, be16(static_cast<uint16_t>(0x0102 + i)));
        put(b, e + 8, i == 0 ? kIfA : kIfB);
        put(b, e + 12, be32(static_cast<uint32_t>(0x11223344 + i)));
        put(b, e + 20, bits(static_cast<uint8_t>(2 * i)));
        put(b, e + 536, bits(static_cast<uint8_t>(2 * i + 1)));
    }
    return b;
}

// 0x5C25: two records, the first with two interface indexes, the second
// with none.
Bytes p5c25()
{
    return cat({be32(2), be32(0x11223344), be16(0x0102), be16(0x0506), be32(0x21222324), be32(1), be32(0), be32(1),
                kIfA, kIfB, be32(0x31323334), be16(0x0708), be16(0x090A), be32(0x41424344), be32(0), be32(0),
                be32(0)});
}

Bytes p5c26() { return cat({be16(0x0102), be32(0x11223344), be32(0x21222324), be32(0x31323334)}); }

Bytes p5c28()
{
    Bytes b(1568 + 1572, 0xEE);
    put(b, 0, be32(2));
    for (size_t i = 0; i < 2; ++i) {
        const size_t e = 1568 * i;
        put(b, e + 4, i == 0 ? kIfA : kIfB);
        put(b, e + 8, be32(static_cast<uint32_t>(0x11223344 + i)));
        put(b, e + 12, be16(static_cast<uint16_t>(0x0102 + i)));
        put(b, e + 14, be16(static_cast<uint16_t>(0x0506 + i)));
        put(b, e + 16, be32(static_cast<uint32_t>(0x21222324 + i)));
        put(b, e + 20, be32(static_cast<uint32_t>(0x31323334 + i)));
        put(b, e + 28, bits(static_cast<uint8_t>(3 * i)));
        put(b, e + 544, bits(static_cast<uint8_t>(3 * i + 1)));
        put(b, e + 1060, bits(static_cast<uint8_t>(3 * i + 2)));
    }
    return b;
}

Bytes p5c29()
{
    return cat({be32(2), be16(0x0102), be32(0x11223344), be16(0x0506), be32(0x21222324), be32(0x31323334),
                be32(0x41424344), be32(0x51525354), fill(2, 0xEE), be32(0x61626364), be16(0x0103), be32(0x11223345),
                be16(0x0507), be32(0x21222325), be32(0x31323335), be32(0x41424345), be32(0x51525355), fill(2, 0xEE),
                be32(0x61626365)});
}

// 0x5C2B: VDC 1 at 2, count at 4, element i at 8 + 8i.
Bytes p5c2b()
{
    return cat({fill(2, 0xEE), be16(1), be32(2), be32(200), be16(0x0B01), be16(0x0C0D), be32(201), be16(0x0B02),
                be16(0x0C0E)});
}

// 0x5C2C: count at 4; element i at 1052i.
Bytes p5c2c()
{
    Bytes b(1052 + 1060, 0xEE);
    put(b, 4, be32(2));
    for (size_t i = 0; i < 2; ++i) {
        const size_t e = 1052 * i;
        put(b, e + 8, i == 0 ? kIfA : kIfB);
        put(b, e + 12, be16(static_cast<uint16_t>(0x0102 + i)));
        put(b, e + 14, be32(static_cast<uint32_t>(0x11223344 + i)));
        put(b, e + 26, bits(static_cast<uint8_t>(i)));
        put(b, e + 1054, be16(static_cast<uint16_t>(0x0506 + i)));
        put(b, e + 1056, be32(static_cast<uint32_t>(0x21222324 + i)));
    }
    return b;
}

Bytes p5c4e() { return cat({be16(0x0102), be32(0x11223344), be32(2), kIfA, kIfB}); }

// ---- The full parser's cases ---------------------------------------------------

std::vector<Case> full_cases()
{
    std::vector<Case> c;
    c.push_back({"5C03", 0x5C03, p5c03(), 2,
                 cat({le16(0x0102), le32(0x11223344), le16(0x0506), le32(0x21222324), le32(0x31323334),
                      le16(0x0103), le32(0x11223345), le16(0x0507), le32(0x21222325), le32(0x31323335)}),
                 40});
    auto rec1d = [](uint16_t bd, uint32_t vlan) {
        return cat({le16(bd), le16(0x0B02), le16(0x0C03), le16(1), le32(vlan), le32(0x41424344), untouched(4),
                    le32(0x61626364), le32(0x71727374), le32(0x81828384), le32(0x91929394), le32(0xA1A2A3A4)});
    };
    c.push_back({"5C1D", 0x5C1D, p5c1d(), 2, cat({rec1d(0x0A01, 100), rec1d(0x0A02, 101)}), 84});
    const Bytes rec1e = cat({le16(0x0102), le32(0x11223344), le16(0x0506), le32(0x21222324), le32(0x31323334),
                             le32(2), kIfAHost, kIfBHost});
    c.push_back({"5C1E", 0x5C1E, p5c1e(2), 1, rec1e, 28});
    c.push_back({"5C23", 0x5C23, p5c1e(2), 1, rec1e, 28});
    c.push_back({"5C1F", 0x5C1F, p5c1f(), 1,
                 cat({le16(0x0102), kLen512, bits(0), kLen512, bits(1), kLen512, bits(2), kLen512, bits(3)}), 2066});
    c.push_back({"5C20", 0x5C20, p5c20(), 1, cat({le16(0x0102), untouched(2), le32(0x11223344), kLen512, bits(0)}),
                 524});
    const Bytes rec21 = cat({le16(0x0102), le32(0x11223344), le32(0), le32(4), le32(6), {'a', 'b', 'c', 'd'},
                             {'x', 'y', 0, 0, 0, 0}, le16(0x0203), le32(0x21222324), le32(1), le32(4), le32(6),
                             le32(0x55667788), le32(0x99AABBCC), {0, 0}});
    c.push_back({"5C21", 0x5C21, p5c21(), 2, rec21, 60});
    c.push_back({"5C22", 0x5C22, p5c22(), 2,
                 cat({le16(0x0A01), le16(1), le32(100), le32(0x41424344), le16(0x0A02), le16(1), le32(101),
                      le32(0x41424345)}),
                 28});
    c.push_back({"5C24", 0x5C24, p5c24(), 2,
                 cat({untouched(2), le16(0x0102), kIfAHost, le32(0x11223344), kLen512, bits(0), kLen512, bits(1),
                      untouched(2), le16(0x0103), kIfBHost, le32(0x11223345), kLen512, bits(2), kLen512, bits(3)}),
                 2092});
    c.push_back({"5C25", 0x5C25, p5c25(), 2,
                 cat({le32(0x11223344), le16(0x0102), le16(0x0506), le32(0x21222324), le32(1), le32(0), le32(1),
                      kIfAHost, kIfBHost, le32(0x31323334), le16(0x0708), le16(0x090A), le32(0x41424344), le32(0),
                      le32(0), le32(0)}),
                 60});
    c.push_back({"5C26", 0x5C26, p5c26(), 1, cat({le16(0x0102), le32(0x11223344), le32(0x21222324), le32(0x31323334)}),
                 14});
    c.push_back({"5C28", 0x5C28, p5c28(), 2,
                 cat({kIfAHost, le32(0x11223344), le16(0x0102), le16(0x0506), le32(0x21222324), le32(0x31323334),
                      kLen512, bits(0), kLen512, bits(1), kLen512, bits(2), kIfBHost, le32(0x11223345), le16(0x0103),
                      le16(0x0507), le32(0x21222325), le32(0x31323335), kLen512, bits(3), kLen512, bits(4), kLen512,
                      bits(5)}),
                 3140});
    c.push_back({"5C29", 0x5C29, p5c29(), 2,
                 cat({le16(0x0102), le32(0x11223344), le16(0x0506), le32(0x21222324), le32(0x31323334),
                      le32(0x41424344), le32(0x51525354), {0, 0}, le32(0x61626364), le16(0x0103), le32(0x11223345),
                      le16(0x0507), le32(0x21222325), le32(0x31323335), le32(0x41424345), le32(0x51525355), {0, 0},
                      le32(0x61626365)}),
                 64});
    c.push_back({"5C2B", 0x5C2B, p5c2b(), 2,
                 cat({le32(200), le16(0x0B01), le16(0x0C0D), le32(201), le16(0x0B02), le16(0x0C0E)}), 24});
    c.push_back({"5C2C", 0x5C2C, p5c2c(), 2,
                 cat({kIfAHost, le16(0x0102), le32(0x11223344), le16(0x0506), le32(0x21222324), kLen512, bits(0),
                      kIfBHost, le16(0x0103), le32(0x11223345), le16(0x0507), le32(0x21222325), kLen512, bits(1)}),
                 2112});
    const Bytes rec4e = cat({le16(0x0102), le32(0x11223344), le32(2), kIfAHost, kIfBHost});
    c.push_back({"5C4E", 0x5C4E, p5c4e(), 1, rec4e, 18});
    c.push_back({"5C4F", 0x5C4F, p5c4e(), 1, rec4e, 18});
    return c;
}

// ---- The _local parser's cases --------------------------------------------------

std::vector<Case> local_cases()
{
    std::vector<Case> c;
    c.push_back({"5C03", 0x5C03, p5c03(), 2,
                 cat({le16(0x0102), le32(0x11223344), le32(0x21222324), le32(0x31323334), le16(0x0103),
                      le32(0x11223345), le32(0x21222325), le32(0x31323335)}),
                 40});
    auto rec1d = [](uint16_t bd, uint32_t vlan) {
        return cat({le16(bd), le16(0x0B02), le16(0x0C03), le32(vlan), le32(0x41424344), le32(0x61626364),
                    le32(0x71727374), le32(0x81828384), le32(0x91929394), untouched(4)});
    };
    c.push_back({"5C1D", 0x5C1D, p5c1d(), 2, cat({rec1d(0x0A01, 100), rec1d(0x0A02, 101)}), 80});
    const Bytes rec1e = cat({le32(0x11223344), le32(0x21222324), le32(0x31323334), le32(2), kIfAHost, kIfBHost});
    c.push_back({"5C1E", 0x5C1E, p5c1e(2), 1, rec1e, 28});
    c.push_back({"5C23", 0x5C23, p5c1e(2), 1, rec1e, 28});
    c.push_back({"5C1F", 0x5C1F, p5c1f(), 1,
                 cat({kLen512, bits(0), kLen512, bits(1), kLen512, bits(2), kLen512, bits(3)}), 2066});
    c.push_back({"5C20", 0x5C20, p5c20(), 1, cat({le32(0x11223344), kLen512, bits(0)}), 524});
    c.push_back({"5C21", 0x5C21, p5c21(), 2,
                 cat({le16(0x0102), le32(0x11223344), le32(0), le32(4), le32(6), {'a', 'b', 'c', 'd'},
                      {'x', 'y', 0, 0, 0, 0}, le16(0x0203), le32(0x21222324), le32(1), le32(4), le32(6),
                      le32(0x55667788), le32(0x99AABBCC), {0, 0}}),
                 60});
    c.push_back({"5C22", 0x5C22, p5c22(), 2,
                 cat({le16(0x0A01), le32(100), le32(0x41424344), le16(0x0A02), le32(101), le32(0x41424345)}), 28});
    const Bytes rec24 = cat({kIfAHost, le32(0x11223344), kLen512, bits(0), kIfBHost, le32(0x11223345), kLen512,
                             bits(2)});
    c.push_back({"5C24", 0x5C24, p5c24(), 2, rec24, 1044 + 532});
    c.push_back({"5C38", 0x5C38, p5c24(), 2, rec24, 1044 + 532});
    c.push_back({"5C25", 0x5C25, p5c25(), 2,
                 cat({le32(0x11223344), le16(0x0102), le32(0x21222324), le32(1), le32(0), le32(1), kIfAHost,
                      kIfBHost, le32(0x31323334), le16(0x0708), le32(0x41424344), le32(0), le32(0), le32(0)}),
                 60});
    c.push_back({"5C26", 0x5C26, p5c26(), 1, cat({le32(0x11223344), le32(0x21222324), le32(0x31323334)}), 14});
    c.push_back({"5C28", 0x5C28, p5c28(), 2,
                 cat({kIfAHost, le32(0x11223344), le16(0x0102), le32(0x21222324), le32(0x31323334), kLen512, bits(0),
                      kLen512, bits(1), kLen512, bits(2), untouched(2), kIfBHost, le32(0x11223345), le16(0x0103),
                      le32(0x21222325), le32(0x31323335), kLen512, bits(3), kLen512, bits(4), kLen512, bits(5),
                      untouched(2)}),
                 3140});
    c.push_back({"5C2B", 0x5C2B, p5c2b(), 2,
                 cat({le32(200), le16(0x0B01), le16(0x0C0D), le32(201), le16(0x0B02), le16(0x0C0E)}), 24});
    c.push_back({"5C2C", 0x5C2C, p5c2c(), 2,
                 cat({kIfAHost, le32(0x11223344), le32(0x21222324), kLen512, bits(0), kIfBHost, le32(0x11223345),
                      le32(0x21222325), kLen512, bits(1)}),
                 2112});
    return c;
}

void expect_decodes(Parser parse, const Case &c, bool odd)
{
    SCOPED_TRACE(std::string(c.name) + (odd ? " at an odd address" : ""));
    const long live = tp::live_allocs();
    const Result r = run(parse, c.opcode, c.payload, odd);
    ASSERT_EQ(r.rc, VLAN_MGR_OK);
    EXPECT_EQ(r.count, c.count);
    ASSERT_EQ(r.sizes, std::vector<size_t>{c.records.size()});
    EXPECT_EQ(r.records, c.records);
    EXPECT_EQ(tp::live_allocs(), live);
}

void expect_cuts_refused(Parser parse, const Case &c)
{
    SCOPED_TRACE(c.name);
    ASSERT_LE(c.needed, c.payload.size());
    for (size_t len = 0; len < c.payload.size(); ++len) {
        const Bytes cut(c.payload.begin(), c.payload.begin() + static_cast<long>(len));
        for (bool odd : {false, true}) {
            const Result r = run(parse, c.opcode, cut, odd);
            if (len < c.needed) {
                ASSERT_EQ(r.rc, VLAN_MGR_ERR_TRUNCATED) << "length " << len;
                EXPECT_TRUE(r.records_null);
                EXPECT_EQ(r.count, 0u);
                EXPECT_TRUE(r.sizes.empty());
            } else {
                ASSERT_EQ(r.rc, VLAN_MGR_OK) << "length " << len;
                EXPECT_EQ(r.records, c.records);
            }
        }
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

class NotifChange : public ::testing::Test {
protected:
    void SetUp() override { vlan_mgr_disable_cached_bd_sdb(); }
};

TEST_F(NotifChange, EveryOpcodeOfTheFullParserGivesItsHostOrderRecords)
{
    for (const Case &c : full_cases()) {
        expect_decodes(vlan_mgr_parse_notification_msg, c, false);
        expect_decodes(vlan_mgr_parse_notification_msg, c, true);
    }
}

TEST_F(NotifChange, EveryOpcodeOfTheLocalParserGivesItsNarrowerRecords)
{
    for (const Case &c : local_cases()) {
        expect_decodes(vlan_mgr_parse_notification_msg_local, c, false);
        expect_decodes(vlan_mgr_parse_notification_msg_local, c, true);
    }
}

TEST_F(NotifChange, EveryShorterPayloadOfTheFullParserIsTruncatedAndAllocatesNothing)
{
    for (const Case &c : full_cases())
        expect_cuts_refused(vlan_mgr_parse_notification_msg, c);
}

TEST_F(NotifChange, EveryShorterPayloadOfTheLocalParserIsTruncatedAndAllocatesNothing)
{
    for (const Case &c : local_cases())
        expect_cuts_refused(vlan_mgr_parse_notification_msg_local, c);
}

TEST_F(NotifChange, AllocatorFailureIs4110000bExcept5C2CWhichIs41100002AndHandsOutNothing)
{
    for (const Case &c : full_cases()) {
        SCOPED_TRACE(c.name);
        const Result r = run(vlan_mgr_parse_notification_msg, c.opcode, c.payload, false, 1);
        EXPECT_EQ(r.rc, c.opcode == 0x5C2C ? 0x41100002u : 0x4110000bu);
        EXPECT_TRUE(r.records_null);
        // 0x5C21 has stored its count before allocating.
        EXPECT_EQ(r.count, c.opcode == 0x5C21 ? 2u : 0u);
        EXPECT_EQ(r.sizes, std::vector<size_t>{c.records.size()});
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifChange, LocalAllocatorFailureIs4110000bExcept5C2CWhichIs41100002)
{
    for (const Case &c : local_cases()) {
        SCOPED_TRACE(c.name);
        const Result r = run(vlan_mgr_parse_notification_msg_local, c.opcode, c.payload, false, 1);
        EXPECT_EQ(r.rc, c.opcode == 0x5C2C ? 0x41100002u : 0x4110000bu);
        EXPECT_TRUE(r.records_null);
        EXPECT_EQ(r.count, c.opcode == 0x5C21 ? 2u : 0u);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifChange, OpcodesOutsideTheRangeOrNotHandledAreInvalid)
{
    for (uint32_t op : {0u, 0x5C02u, 0x5C04u, 0x5C1Cu, 0x5C27u, 0x5C2Au, 0x5C38u, 0x5C4Du, 0x5C50u, 0x15C1Du}) {
        SCOPED_TRACE(op);
        const Result r = run(vlan_mgr_parse_notification_msg, op, p5c1d());
        EXPECT_EQ(r.rc, VLAN_MGR_ERR_INVALID_ARG);
        EXPECT_TRUE(r.records_null);
        EXPECT_EQ(r.count, 0u);
        EXPECT_TRUE(r.sizes.empty());
    }
}

TEST_F(NotifChange, LocalParserRefusesWhatItDoesNotHandleAndAboveItsNarrowerRange)
{
    for (uint32_t op : {0x5C02u, 0x5C27u, 0x5C29u, 0x5C2Au, 0x5C39u, 0x5C4Eu, 0x5C4Fu}) {
        SCOPED_TRACE(op);
        const Result r = run(vlan_mgr_parse_notification_msg_local, op, p5c4e());
        EXPECT_EQ(r.rc, VLAN_MGR_ERR_INVALID_ARG);
        EXPECT_TRUE(r.records_null);
        EXPECT_EQ(r.count, 0u);
        EXPECT_TRUE(r.sizes.empty());
    }
}

TEST_F(NotifChange, MissingAllocatorIsInvalidAndClearsTheOuts)
{
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        mts_msg_hdl_t msg = tp::make_message(0x5C1D, p5c1d());
        void *records = reinterpret_cast<void *>(0x1);
        uint32_t count = 7;
        EXPECT_EQ(parse(&msg, &records, &count, nullptr), VLAN_MGR_ERR_INVALID_ARG);
        EXPECT_EQ(records, nullptr);
        EXPECT_EQ(count, 0u);
    }
}

TEST_F(NotifChange, CountZeroIs41100011WithNothingAllocated)
{
    struct Z {
        uint32_t opcode;
        Bytes payload;
    };
    const std::vector<Z> zs = {{0x5C03, cat({be32(0xCAFEBABE), be32(0)})},
                               {0x5C1D, be32(0)},
                               {0x5C21, be32(0)},
                               {0x5C22, be32(0)},
                               {0x5C24, be32(0)},
                               {0x5C25, be32(0)},
                               {0x5C28, be32(0)},
                               {0x5C29, be32(0)},
                               {0x5C2B, cat({be16(0), be16(1), be32(0)})},
                               {0x5C2C, cat({be32(0), be32(0)})}};
    for (const Z &z : zs)
        for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
            if (parse == vlan_mgr_parse_notification_msg_local && z.opcode == 0x5C29)
                continue;
            SCOPED_TRACE(z.opcode);
            const Result r = run(parse, z.opcode, z.payload);
            EXPECT_EQ(r.rc, 0x41100011u);
            EXPECT_TRUE(r.records_null);
            EXPECT_EQ(r.count, 0u);
            EXPECT_TRUE(r.sizes.empty());
        }
}

TEST_F(NotifChange, Count0x08000000Of5C28IsTruncatedNotEmpty)
{
    // 0x08000000 x 1568 wraps to 0 in 32 bits; the count is not 0.
    const Result r = run(vlan_mgr_parse_notification_msg, 0x5C28, cat({be32(0x08000000), fill(1600, 0)}));
    EXPECT_EQ(r.rc, VLAN_MGR_ERR_TRUNCATED);
    EXPECT_TRUE(r.sizes.empty());
}

TEST_F(NotifChange, HugeCountsAreTruncated)
{
    for (uint32_t op : {0x5C03u, 0x5C1Du, 0x5C21u, 0x5C22u, 0x5C24u, 0x5C25u, 0x5C28u, 0x5C29u, 0x5C2Bu, 0x5C2Cu}) {
        SCOPED_TRACE(op);
        Bytes b(64, 0x01);
        put(b, 0, be32(0xFFFFFFFF));
        put(b, 4, be32(0xFFFFFFFF));
        const Result r = run(vlan_mgr_parse_notification_msg, op, b);
        EXPECT_EQ(r.rc, VLAN_MGR_ERR_TRUNCATED);
        EXPECT_TRUE(r.sizes.empty());
    }
    // Interface index counts near 2^32.
    for (uint32_t op : {0x5C1Eu, 0x5C4Eu}) {
        Bytes b = op == 0x5C1E ? p5c1e(0) : cat({be16(1), be32(2), be32(0)});
        put(b, op == 0x5C1E ? 16 : 6, be32(0xFFFFFFFF));
        const Result r = run(vlan_mgr_parse_notification_msg, op, b);
        EXPECT_EQ(r.rc, VLAN_MGR_ERR_TRUNCATED);
        EXPECT_TRUE(r.sizes.empty());
    }
}

TEST_F(NotifChange, Notif5C1EWithNoIndexesIsOne20ByteRecordWithCount0)
{
    const Result r = run(vlan_mgr_parse_notification_msg, 0x5C1E, p5c1e(0));
    ASSERT_EQ(r.rc, VLAN_MGR_OK);
    EXPECT_EQ(r.count, 1u);
    EXPECT_EQ(r.sizes, std::vector<size_t>{20});
    EXPECT_EQ(r.records, cat({le16(0x0102), le32(0x11223344), le16(0x0506), le32(0x21222324), le32(0x31323334),
                              le32(0)}));
    const Result l = run(vlan_mgr_parse_notification_msg_local, 0x5C23, p5c1e(0));
    ASSERT_EQ(l.rc, VLAN_MGR_OK);
    EXPECT_EQ(l.records, cat({le32(0x11223344), le32(0x21222324), le32(0x31323334), le32(0)}));
}

TEST_F(NotifChange, Notif5C4EWithNoIndexesIsOne10ByteRecord)
{
    const Result r = run(vlan_mgr_parse_notification_msg, 0x5C4F, cat({be16(0x0102), be32(0x11223344), be32(0)}));
    ASSERT_EQ(r.rc, VLAN_MGR_OK);
    EXPECT_EQ(r.records, cat({le16(0x0102), le32(0x11223344), le32(0)}));
}

TEST_F(NotifChange, Notif5C21WithDifferentLengthsIsDecodedWithTheFirstRecordsLengths)
{
    // Record 1 claims lengths 2 and 3; it is stepped over and its texts are
    // copied with the first record's 4 and 6, but its header, its own
    // lengths included, is copied from its own input.
    const Bytes payload = cat({be32(2), be16(0x0102), be32(0x11223344), be32(0), be32(4), be32(6),
                               {'a', 'b', 'c', 'd'}, {'e', 'f', 'g', 'h', 'i', 'j'}, be16(0x0203), be32(0x21222324),
                               be32(0), be32(2), be32(3), {'k', 'l', 'm', 'n'}, {'o', 'p', 0, 'q', 'r', 's'}});
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        const Result r = run(parse, 0x5C21, payload);
        ASSERT_EQ(r.rc, VLAN_MGR_OK);
        EXPECT_EQ(r.sizes, std::vector<size_t>{56});
        EXPECT_EQ(r.records,
                  cat({le16(0x0102), le32(0x11223344), le32(0), le32(4), le32(6), {'a', 'b', 'c', 'd'},
                       {'e', 'f', 'g', 'h', 'i', 'j'}, le16(0x0203), le32(0x21222324), le32(0), le32(2), le32(3),
                       {'k', 'l', 'm', 'n'}, {'o', 'p', 0, 0, 0, 0}}));
    }
}

TEST_F(NotifChange, Notif5C21WithTheFlagSetAndNoRoomForItsValuesIsTruncated)
{
    const Bytes payload = cat({be32(1), be16(1), be32(2), be32(1), be32(3), be32(4), fill(7, 'x')});
    const Result r = run(vlan_mgr_parse_notification_msg, 0x5C21, payload);
    EXPECT_EQ(r.rc, VLAN_MGR_ERR_TRUNCATED);
    EXPECT_TRUE(r.sizes.empty());
    EXPECT_EQ(r.count, 0u);
    // Lengths 4 and 4: room for both values.
    const Result ok = run(vlan_mgr_parse_notification_msg, 0x5C21,
                          cat({be32(1), be16(1), be32(2), be32(1), be32(4), be32(4), be32(0x0A0B0C0D), be32(7)}));
    ASSERT_EQ(ok.rc, VLAN_MGR_OK);
    EXPECT_EQ(ok.records, cat({le16(1), le32(2), le32(1), le32(4), le32(4), le32(0x0A0B0C0D), le32(7)}));
}

TEST_F(NotifChange, Notif5C21TextsFillingTheirLengthsAreCopiedWhole)
{
    const Result r = run(vlan_mgr_parse_notification_msg, 0x5C21,
                         cat({be32(1), be16(1), be32(2), be32(0), be32(3), be32(2), {'a', 'b', 'c', 'd', 'e'}}));
    ASSERT_EQ(r.rc, VLAN_MGR_OK);
    EXPECT_EQ(r.records, cat({le16(1), le32(2), le32(0), le32(3), le32(2), {'a', 'b', 'c', 'd', 'e'}}));
}

TEST_F(NotifChange, UpdateBdCacheLocalRefusesANullMessage)
{
    EXPECT_EQ(vlan_mgr_update_bd_cache_local(nullptr), VLAN_MGR_ERR_INVALID_ARG);
}

TEST_F(NotifChange, UpdateBdCacheLocalReturnsTheParsersResultAndKeepsNothing)
{
    mts_msg_hdl_t ok = tp::make_message(0x5C1D, p5c1d());
    EXPECT_EQ(vlan_mgr_update_bd_cache_local(&ok), VLAN_MGR_OK);
    mts_msg_hdl_t full_only = tp::make_message(0x5C29, p5c29());
    EXPECT_EQ(vlan_mgr_update_bd_cache_local(&full_only), VLAN_MGR_ERR_INVALID_ARG);
    mts_msg_hdl_t empty = tp::make_message(0x5C22, be32(0));
    EXPECT_EQ(vlan_mgr_update_bd_cache_local(&empty), 0x41100011u);
    const Bytes whole = p5c22();
    mts_msg_hdl_t cut = tp::make_message(0x5C22, Bytes(whole.begin(), whole.end() - 1));
    EXPECT_EQ(vlan_mgr_update_bd_cache_local(&cut), VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifChange, UpdateBdCacheLocalMallocFailureIs4110000b)
{
    mts_msg_hdl_t msg = tp::make_message(0x5C26, p5c26());
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_mgr_update_bd_cache_local(&msg), 0x4110000bu);
    EXPECT_EQ(tp::live_allocs(), 0);
    mts_msg_hdl_t msg2 = tp::make_message(0x5C2C, p5c2c());
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_mgr_update_bd_cache_local(&msg2), 0x41100002u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
