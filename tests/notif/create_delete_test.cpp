// Create and delete notifications: the fixed list and the TLV part, exact
// records, allocator sizes and untouched bytes, refused opcodes, empty
// lists, TLV refusals, allocation failures, every shorter length and an odd
// address.
#include "notif_test_util.h"

namespace {

using namespace notiftest;

// TLV framing written by hand: an attribute is a big-endian id and value
// length, the value, zero padding to 4; a buffer is its big-endian length,
// version 1, a zero byte, the type name's big-endian length, the name padded
// to 4, then the attributes.
Bytes attr(int32_t id, const Bytes &v)
{
    Bytes b = cat({be32(static_cast<uint32_t>(id)), be32(static_cast<uint32_t>(v.size())), v});
    while (b.size() % 4 != 0)
        b.push_back(0);
    return b;
}
Bytes text(const std::string &s) { return Bytes(s.begin(), s.end()); }
Bytes tlv(const std::string &type, const Bytes &attrs)
{
    Bytes name = text(type);
    while (name.size() % 4 != 0)
        name.push_back(0);
    const uint32_t total = static_cast<uint32_t>(8 + name.size() + attrs.size());
    return cat({be32(total), {0x01, 0x00}, be16(static_cast<uint16_t>(type.size())), name, attrs});
}

const std::string k40 = "0123456789abcdefghijABCDEFGHIJ0123456789";
const std::string k40First32 = "0123456789abcdefghijABCDEFGHIJ01";

// ---- Create ----------------------------------------------------------------------

// A fixed create entry of 40 bytes (read from 40i: values at 4 to 40; the
// word at 20 and the entry's last 4 bytes are not read).
Bytes create_entry(uint16_t bd, uint32_t vlan)
{
    return cat({be16(bd), be16(0x0B02), be16(0x0C03), be16(1), be32(vlan), be32(0x41424344), be32(0x51525354),
                be32(0x61626364), be32(0x71727374), be32(0x81828384), be32(0x91929394), be32(0xA1A2A3A4)});
}
Bytes create_fixed() { return cat({be32(2), create_entry(0x0A01, 100), create_entry(0x0A02, 101)}); }
Bytes create_record_from_entry(uint16_t bd, uint32_t vlan)
{
    return cat({le16(bd), le16(0x0B02), le16(0x0C03), le16(1), le32(vlan), le32(0x41424344), le32(0x61626364),
                le32(0x71727374), le32(0x81828384), le32(0x91929394), le32(0x91929394), untouched(4), fill(33, 0)});
}

Bytes create_element(uint16_t bd, uint32_t vlan, const std::string &name)
{
    return attr(18, cat({attr(9, le16(bd)), attr(10, le16(0x1011)), attr(7, le16(0x0707)), attr(6, le32(0x06060606)),
                         attr(16, cat({le16(2), le32(vlan)})), attr(13, le32(0x13131313)), attr(11, le32(0x11111111)),
                         attr(12, le32(0x12121212)), attr(14, le32(0x14141414)), attr(15, le32(0x15151515)),
                         attr(30, le32(0x30303030)), attr(8, text(name))}));
}
Bytes create_tlv(uint32_t count, const Bytes &elements)
{
    return tlv("vlan_create_notif2_payload_t", cat({attr(17, le32(count)), attr(18, elements)}));
}
Bytes create_record_from_tlv(uint16_t bd, uint32_t vlan, const std::string &name)
{
    Bytes n = text(name);
    n.resize(33, 0);
    return cat({le16(bd), le16(0x1011), le16(0x0707), le16(2), le32(vlan), le32(0x06060606), le32(0x13131313),
                le32(0x11111111), le32(0x12121212), le32(0x14141414), le32(0x15151515), le32(0x30303030), n});
}
// One fixed entry (ignored), then two TLV records, the second named with 40
// characters.
Bytes create_with_tlv()
{
    return cat({be32(1), create_entry(0x0F0F, 4000),
                create_tlv(2, cat({create_element(0x0A01, 300, "blue"), create_element(0x0A02, 301, k40)}))});
}
const size_t kCreateWithTlvFixedEnd = 44;

// ---- Delete ----------------------------------------------------------------------

Bytes delete_fixed()
{
    return cat({be32(2), be16(0x0A01), be16(1), be32(100), be32(0x20202020), be16(0x0A02), be16(1), be32(101),
                be32(0x20202021)});
}
Bytes delete_record_from_entry(uint16_t bd, uint32_t vlan, uint32_t f20)
{
    return cat({le16(bd), le16(1), le32(vlan), le32(f20), le32(0), fill(33, 0), untouched(4)});
}
Bytes delete_element(uint16_t bd, uint32_t vlan, const std::string &name)
{
    return attr(19, cat({attr(9, le16(bd)), attr(16, cat({le16(3), le32(vlan)})), attr(20, le32(0x20202020)),
                         attr(15, le32(0x15151515)), attr(8, text(name)), attr(31, le32(0xA1B2C3D4))}));
}
Bytes delete_tlv(uint32_t count, const Bytes &elements)
{
    return tlv("vlan_delete_notif2_payload_t", cat({attr(17, le32(count)), attr(19, elements)}));
}
Bytes delete_record_from_tlv(uint16_t bd, uint32_t vlan, const std::string &name)
{
    Bytes n = text(name);
    n.resize(33, 0);
    return cat({le16(bd), le16(3), le32(vlan), le32(0x20202020), le32(0x15151515), n, le32(0xA1B2C3D4)});
}
Bytes delete_with_tlv()
{
    return cat({be32(1), be16(0x0F0F), be16(1), be32(4000), be32(7),
                delete_tlv(2, cat({delete_element(0x0A01, 300, "red"), delete_element(0x0A02, 301, k40)}))});
}
const size_t kDeleteWithTlvFixedEnd = 16;

using CreateParser = uint32_t (*)(const struct mts_msg_hdl *, vlan_create_notif2_t **, uint32_t *,
                                  vlan_mgr_notif_alloc_fn);
using DeleteParser = uint32_t (*)(const struct mts_msg_hdl *, vlan_delete_notif2_t **, uint32_t *,
                                  vlan_mgr_notif_alloc_fn);

uint32_t create_any(const struct mts_msg_hdl *m, void **r, uint32_t *c, vlan_mgr_notif_alloc_fn a)
{
    return vlan_mgr_parse_create_notification_msg(m, reinterpret_cast<vlan_create_notif2_t **>(r), c, a);
}
uint32_t delete_any(const struct mts_msg_hdl *m, void **r, uint32_t *c, vlan_mgr_notif_alloc_fn a)
{
    return vlan_mgr_parse_delete_notification_msg(m, reinterpret_cast<vlan_delete_notif2_t **>(r), c, a);
}

struct Kind {
    const char *name;
    Parser parse;
    uint32_t opcode, opcode2;
    Bytes fixed, fixed_records;
    size_t fixed_size;
    Bytes with_tlv, tlv_records;
    size_t tlv_fixed_end;
    const char *accessor;
};

std::vector<Kind> kinds()
{
    return {{"create", create_any, 0x5C1D, 0x1D40E, create_fixed(),
             cat({create_record_from_entry(0x0A01, 100), create_record_from_entry(0x0A02, 101)}), 146,
             create_with_tlv(),
             cat({create_record_from_tlv(0x0A01, 300, "blue"), create_record_from_tlv(0x0A02, 301, k40First32)}),
             kCreateWithTlvFixedEnd, "vlan_mgr_create_notif2_payload_to_struct"},
            {"delete", delete_any, 0x5C22, 0x1D40F, delete_fixed(),
             cat({delete_record_from_entry(0x0A01, 100, 0x20202020), delete_record_from_entry(0x0A02, 101, 0x20202021)}),
             106, delete_with_tlv(),
             cat({delete_record_from_tlv(0x0A01, 300, "red"), delete_record_from_tlv(0x0A02, 301, k40First32)}),
             kDeleteWithTlvFixedEnd, "vlan_mgr_delete_notif2_payload_to_struct"}};
}

class NotifCreateDelete : public ::testing::Test {
protected:
    void SetUp() override { vlan_mgr_disable_cached_bd_sdb(); }
};

TEST_F(NotifCreateDelete, FixedListOnBothOpcodesGivesNotif2RecordsFromTheAllocator)
{
    for (const Kind &k : kinds())
        for (uint32_t op : {k.opcode, k.opcode2})
            for (bool odd : {false, true}) {
                SCOPED_TRACE(std::string(k.name) + " " + std::to_string(op) + (odd ? " odd" : ""));
                const Result r = run(k.parse, op, k.fixed, odd);
                ASSERT_EQ(r.rc, VLAN_MGR_OK);
                EXPECT_EQ(r.count, 2u);
                EXPECT_EQ(r.sizes, std::vector<size_t>{k.fixed_size});
                EXPECT_EQ(r.records, k.fixed_records);
            }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifCreateDelete, CreateFromTheFixedListHasField14AndField15Equal)
{
    const Result r = run(create_any, 0x5C1D, create_fixed());
    ASSERT_EQ(r.rc, VLAN_MGR_OK);
    vlan_create_notif2_t rec;
    std::memcpy(&rec, r.records.data(), sizeof rec);
    EXPECT_EQ(rec.field14, 0x91929394u);
    EXPECT_EQ(rec.field15, rec.field14);
    EXPECT_EQ(rec.vdc_vlan.vdc_id, 1u);
    EXPECT_EQ(rec.vdc_vlan.vlan_id, 100u);
}

TEST_F(NotifCreateDelete, TlvPartIsDecodedAndTheFixedListIgnored)
{
    for (const Kind &k : kinds())
        for (bool odd : {false, true}) {
            SCOPED_TRACE(std::string(k.name) + (odd ? " odd" : ""));
            const Result r = run(k.parse, k.opcode2, k.with_tlv, odd);
            ASSERT_EQ(r.rc, VLAN_MGR_OK);
            EXPECT_EQ(r.count, 2u);
            EXPECT_EQ(r.sizes, std::vector<size_t>{k.tlv_records.size()});
            EXPECT_EQ(r.records, k.tlv_records);
        }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifCreateDelete, DecodedNameOf40CharactersArrivesAsItsFirst32Terminated)
{
    const Result r = run(create_any, 0x5C1D, create_with_tlv());
    ASSERT_EQ(r.rc, VLAN_MGR_OK);
    vlan_create_notif2_t rec;
    std::memcpy(&rec, r.records.data() + 73, sizeof rec);
    EXPECT_EQ(std::string(rec.name), k40First32);
    EXPECT_EQ(rec.name[32], 0);
    const Result d = run(delete_any, 0x5C22, delete_with_tlv());
    ASSERT_EQ(d.rc, VLAN_MGR_OK);
    vlan_delete_notif2_t drec;
    std::memcpy(&drec, d.records.data() + 53, sizeof drec);
    EXPECT_EQ(std::string(drec.name), k40First32);
    EXPECT_EQ(drec.field31, 0xA1B2C3D4u);
}

TEST_F(NotifCreateDelete, OtherOpcodesAreInvalid)
{
    for (const Kind &k : kinds())
        for (uint32_t op : {0u, 0x5C1Eu, 0x5C21u, 0x5C23u, 0x1D40Du, 0x1D410u, k.opcode == 0x5C1D ? 0x5C22u : 0x5C1Du,
                            k.opcode == 0x5C1D ? 0x1D40Fu : 0x1D40Eu}) {
            SCOPED_TRACE(std::string(k.name) + " " + std::to_string(op));
            const Result r = run(k.parse, op, k.fixed);
            EXPECT_EQ(r.rc, VLAN_MGR_ERR_INVALID_ARG);
            EXPECT_TRUE(r.records_null);
            EXPECT_EQ(r.count, 0u);
            EXPECT_TRUE(r.sizes.empty());
        }
}

TEST_F(NotifCreateDelete, MissingAllocatorIsInvalid)
{
    for (const Kind &k : kinds()) {
        mts_msg_hdl_t msg = tp::make_message(k.opcode, k.fixed);
        void *records = reinterpret_cast<void *>(0x1);
        uint32_t count = 9;
        EXPECT_EQ(k.parse(&msg, &records, &count, nullptr), VLAN_MGR_ERR_INVALID_ARG);
        EXPECT_EQ(records, nullptr);
        EXPECT_EQ(count, 0u);
    }
}

TEST_F(NotifCreateDelete, CountZeroIs41100011)
{
    for (const Kind &k : kinds()) {
        const Result r = run(k.parse, k.opcode, be32(0));
        EXPECT_EQ(r.rc, 0x41100011u);
        EXPECT_TRUE(r.records_null);
        EXPECT_TRUE(r.sizes.empty());
    }
}

TEST_F(NotifCreateDelete, TlvPartWithCountZeroIs41100011AndHandsOutNothing)
{
    const Bytes c = cat({be32(1), create_entry(1, 2), create_tlv(0, {})});
    const Result r = run(create_any, 0x5C1D, c);
    EXPECT_EQ(r.rc, 0x41100011u);
    EXPECT_TRUE(r.records_null);
    EXPECT_EQ(r.count, 0u);
    EXPECT_TRUE(r.sizes.empty());
    const Bytes d = cat({be32(1), fill(12, 1), delete_tlv(0, {})});
    const Result rd = run(delete_any, 0x5C22, d);
    EXPECT_EQ(rd.rc, 0x41100011u);
    EXPECT_TRUE(rd.sizes.empty());
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifCreateDelete, PayloadShorterThanItsFixedListIsTruncated)
{
    for (const Kind &k : kinds()) {
        SCOPED_TRACE(k.name);
        for (size_t len = 0; len < k.fixed.size(); ++len)
            for (bool odd : {false, true}) {
                const Result r = run(k.parse, k.opcode, Bytes(k.fixed.begin(), k.fixed.begin() + static_cast<long>(len)),
                                     odd);
                ASSERT_EQ(r.rc, VLAN_MGR_ERR_TRUNCATED) << "length " << len;
                EXPECT_TRUE(r.records_null);
                EXPECT_EQ(r.count, 0u);
                EXPECT_TRUE(r.sizes.empty());
            }
        // A count that claims more entries than the payload holds.
        Bytes big = k.fixed;
        put(big, 0, be32(0xFFFFFFFF));
        EXPECT_EQ(run(k.parse, k.opcode, big).rc, VLAN_MGR_ERR_TRUNCATED);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifCreateDelete, CutTlvPartIsRefusedByTheTlvUtilityAndPrinted)
{
    for (const Kind &k : kinds()) {
        SCOPED_TRACE(k.name);
        for (size_t len = k.tlv_fixed_end + 1; len < k.with_tlv.size(); ++len) {
            tp::state().tlvu_errors.clear();
            const Result r = run(k.parse, k.opcode, Bytes(k.with_tlv.begin(), k.with_tlv.begin() + static_cast<long>(len)),
                                 len % 2 == 1);
            ASSERT_NE(r.rc, VLAN_MGR_OK) << "length " << len;
            EXPECT_EQ(r.rc & 0xFFFF0000u, 0x411B0000u) << "length " << len;
            EXPECT_TRUE(r.records_null);
            EXPECT_EQ(r.count, 0u);
            EXPECT_TRUE(r.sizes.empty());
            ASSERT_EQ(tp::state().tlvu_errors.size(), 1u);
            char line[96];
            std::snprintf(line, sizeof line, "%s: ERR 0x%x\n", k.accessor, r.rc);
            EXPECT_EQ(tp::state().tlvu_errors[0], line);
        }
        // Cut exactly behind the fixed list, it is a fixed notification.
        const Result f = run(k.parse, k.opcode, Bytes(k.with_tlv.begin(), k.with_tlv.begin() + static_cast<long>(k.tlv_fixed_end)));
        EXPECT_EQ(f.rc, VLAN_MGR_OK);
        EXPECT_EQ(f.count, 1u);
    }
    std::vector<std::string>().swap(tp::state().tlvu_errors);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifCreateDelete, TlvOfAnotherRecordTypeIsWrongType)
{
    const Bytes c = cat({be32(1), create_entry(1, 2), delete_tlv(1, delete_element(1, 2, "x"))});
    const Result r = run(create_any, 0x5C1D, c);
    EXPECT_EQ(r.rc, 0x411B0006u);
    EXPECT_EQ(tp::state().tlvu_errors,
              std::vector<std::string>{"vlan_mgr_create_notif2_payload_to_struct: ERR 0x411b0006\n"});
    EXPECT_TRUE(r.sizes.empty());
}

TEST_F(NotifCreateDelete, AllocatorFailureIs4110000bOnBothPaths)
{
    for (const Kind &k : kinds()) {
        SCOPED_TRACE(k.name);
        const Result f = run(k.parse, k.opcode, k.fixed, false, 1);
        EXPECT_EQ(f.rc, 0x4110000bu);
        EXPECT_TRUE(f.records_null);
        EXPECT_EQ(f.count, 0u);
        const Result t = run(k.parse, k.opcode, k.with_tlv, false, 1);
        EXPECT_EQ(t.rc, 0x4110000bu);
        EXPECT_TRUE(t.records_null);
        EXPECT_EQ(t.count, 0u);
        EXPECT_EQ(t.sizes, std::vector<size_t>{k.tlv_records.size()});
        EXPECT_EQ(tp::live_allocs(), 0); // the decoded TLV record was freed
    }
}

TEST_F(NotifCreateDelete, TlvUtilityAllocationFailureIsItsCodeWithNothingLeft)
{
    for (const Kind &k : kinds()) {
        SCOPED_TRACE(k.name);
        tp::state().tlvu_errors.clear();
        tp::fail_alloc_at(1);
        const Result r = run(k.parse, k.opcode, k.with_tlv);
        tp::fail_alloc_at(0);
        EXPECT_EQ(r.rc, 0x411B0002u);
        EXPECT_TRUE(r.records_null);
        EXPECT_TRUE(r.sizes.empty());
        EXPECT_EQ(tp::state().tlvu_errors.size(), 1u);
    }
    std::vector<std::string>().swap(tp::state().tlvu_errors);
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
