// The 22 accessor families: each of the seven members passes its own table to
// the TLV utility and forwards its arguments; the three converting members
// print a refusal with their own name, the other four print nothing.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/tlv.h>

#include "test_platform.h"
#include "tlv_test_util.h"
#include "tlvu.h"

namespace {

using namespace tlvtest;

struct Family {
    const char *prefix;
    const vlan_mgr_tlv_table_t *table;
    const char *type_name;
    size_t record_size; // fixed part; the sample record has an empty list
    vlan_mgr_tlv_init_fn init;
    int32_t (*itr_init)(void *, const void *, uint32_t, uint32_t, uint16_t);
    int32_t (*get_next)(void *, void *);
    int32_t (*get_field)(const void *, uint32_t, int32_t, void *, uint32_t *);
    int32_t (*struct_sz)(const void *);
    uint32_t (*tlv_sz)(const void *);
    int32_t (*to_tlv)(const void *, void **, uint32_t *, uint32_t, uint32_t *, uint32_t);
    int32_t (*to_struct)(void **, const void *, uint32_t, uint32_t);
};

#define FAMILY(P, T, type_name, size, init)                                                                  \
    Family{#P,           &T,                 type_name,       size,          init, P##_field_itr_init,       \
           P##_field_get_next, P##_get_field, P##_get_struct_sz, P##_get_tlv_sz, P##_to_tlv, P##_to_struct}

const std::vector<Family> &families()
{
    static const std::vector<Family> f = {
        FAMILY(vlan_mgr_create_notif2, vlan_mgr_create_notif2_tbl, "vlan_create_notif2_t", 73,
               vlan_mgr_create_notif2_default_init),
        FAMILY(vlan_mgr_vdc_vlan_info_tlv, vlan_mgr_vdc_vlan_info_tbl, "vdc_vlan_id_t", 6, vlan_mgr_vdc_vlan_info_init),
        FAMILY(vlan_mgr_create_notif2_payload, vlan_mgr_create_notif2_payload_tbl, "vlan_create_notif2_payload_t", 4,
               vlan_mgr_create_notif2_payload_init),
        FAMILY(vlan_mgr_delete_notif2, vlan_mgr_delete_notif2_tbl, "vlan_delete_notif2_t", 53,
               vlan_mgr_delete_notif2_default_init),
        FAMILY(vlan_mgr_delete_notif2_payload, vlan_mgr_delete_notif2_payload_tbl, "vlan_delete_notif2_payload_t", 4,
               vlan_mgr_delete_notif2_payload_init),
        FAMILY(vlan_mgr_create_update, vlan_mgr_create_update_tbl, "vlan_mgr_create_update_t", 48,
               vlan_mgr_create_update_default_init),
        FAMILY(vlan_mgr_create_update_req, vlan_mgr_create_update_req_tbl, "vlan_mgr_create_update_req_t", 2,
               vlan_mgr_create_update_req_default_init),
        FAMILY(vlan_mgr_get_range_created_vlan_name_req, vlan_mgr_name_info_req_tbl, "vlan_name_req_t", 516,
               vlan_name_req_msg_default_init),
        FAMILY(vlan_mgr_get_created_vlan_name_rsp, vlan_mgr_name_rsp_tbl, "vlan_name_and_state_t", 60,
               vlan_name_rsp_default_init),
        FAMILY(vlan_mgr_get_range_created_vlan_name_rsp, vlan_mgr_name_info_rsp_tbl, "vlan_name_rsp_t", 4,
               vlan_name_rsp_msg_default_init),
        FAMILY(vlan_configmode_payload, vlan_configmode_payload_tbl, "vlan_configmode_payload_t", 524,
               vlan_configmode_payload_init),
        FAMILY(vlan_configmode_rsp, vlan_configmode_rsp_tbl, "vlan_configmode_rsp_t", 4, vlan_configmode_rsp_init),
        FAMILY(vlan_get_port_memb_2_req, vlan_get_port_memb_2_req_tbl, "vlan_get_port_memb_2_req_t", 8,
               vlan_get_port_memb_2_req_init),
        FAMILY(vlan_get_port_memb_2_rsp, vlan_get_port_memb_2_rsp_tbl, "vlan_get_port_memb_2_rsp_t", 8,
               vlan_get_port_memb_2_rsp_init),
        FAMILY(vlan_get_port_trunking_memb_2_rsp, vlan_get_port_trunking_memb_2_rsp_tbl,
               "vlan_get_port_trunking_memb_2_rsp_t", 8, vlan_get_port_trunking_memb_2_rsp_init),
        FAMILY(vlan_get_diag_vlan_info_req, vlan_get_diag_vlan_info_req_tbl, "vlan_get_diag_vlan_info_req_t", 4,
               vlan_get_diag_vlan_info_req_init),
        FAMILY(vlan_get_diag_vlan_info_rsp, vlan_get_diag_vlan_info_rsp_tbl, "vlan_get_diag_vlan_info_rsp_t", 8,
               vlan_get_diag_vlan_info_rsp_init),
        FAMILY(vlan_get_all_created_vlan_2_req, vlan_get_all_created_vlan_2_req_tbl,
               "vlan_get_all_created_vlan_2_req_t", 2, vlan_get_all_created_vlan_2_req_init),
        FAMILY(vlan_get_all_created_vlan_2_rsp, vlan_get_all_created_vlan_2_rsp_tbl,
               "vlan_get_all_created_vlan_2_rsp_t", 8, vlan_get_all_created_vlan_2_rsp_init),
        FAMILY(vlan_get_dyn_rsvd_vlan_req, vlan_dyn_rsvd_vlan_req_tbl, "vlan_dyn_rsvd_req_t", 4,
               vlan_dyn_rsvd_vlan_req_msg_default_init),
        FAMILY(vlan_get_dyn_rsvd_vlan_rsp, vlan_dyn_rsvd_vlan_rsp_tbl, "vlan_dyn_rsvd_rsp_t", 2580,
               vlan_get_dyn_rsvd_vlan_rsp_default_init),
        FAMILY(vlan_mgr_comprgrp_change_notif, vlan_mgr_comprgrp_change_notif_tbl,
               "vlan_comprgrp_memb_change_notif_t", 524, vlan_mgr_comprgrp_change_notif_init),
    };
    return f;
}

#undef FAMILY

// A record of the family's type as its init function leaves it (list empty),
// starting from zero bytes for the inits that write nothing.
Bytes sample(const Family &f)
{
    Bytes rec(f.record_size, 0);
    EXPECT_EQ(f.init(rec.data()), 0);
    return rec;
}

// Its TLV form, made by the utility directly with the family's table.
Bytes encode_direct(const Family &f, const Bytes &rec)
{
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&tlv, &len, f.table, rec.data(), 0, nullptr, 0), 0) << f.prefix;
    Freer hold(tlv);
    return bytes_of(tlv, len);
}

// A buffer of another record type than the family's.
Bytes foreign_buffer(const Family &f)
{
    const vlan_mgr_tlv_table_t *other =
        f.table == &vlan_configmode_rsp_tbl ? &vlan_get_diag_vlan_info_req_tbl : &vlan_configmode_rsp_tbl;
    const uint8_t rec[4] = {1, 2, 3, 4};
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&tlv, &len, other, rec, 0, nullptr, 0), 0);
    Freer hold(tlv);
    return bytes_of(tlv, len);
}

std::string line(const Family &f, const char *suffix, const char *code)
{
    return std::string(f.prefix) + suffix + ": ERR " + code + "\n";
}

TEST(TlvAccessors, TwentyTwoFamilies)
{
    EXPECT_EQ(families().size(), 22u);
}

TEST(TlvAccessors, ToTlvEncodesWithItsOwnTable)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        const Bytes rec = sample(f);
        const Bytes expected = encode_direct(f, rec);
        void *tlv = nullptr;
        uint32_t len = 0, written = 0;
        ASSERT_EQ(f.to_tlv(rec.data(), &tlv, &len, 0, &written, 0), 0);
        Freer hold(tlv);
        EXPECT_EQ(bytes_of(tlv, len), expected);
        // The header names the listed record type.
        const std::string name(f.type_name);
        ASSERT_GE(len, 8 + name.size());
        EXPECT_EQ(std::string(static_cast<const char *>(tlv) + 8, name.size()), name);
        EXPECT_EQ(written, static_cast<uint32_t>([&] {
                      uint32_t n = 0;
                      while (f.table->fields[n].id != -1)
                          ++n;
                      return n;
                  }()));
        EXPECT_TRUE(errors().empty());
    }
}

TEST(TlvAccessors, ToTlvForwardsHeadroomAndAcceptsNullCountPointer)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        const Bytes rec = sample(f);
        const Bytes expected = encode_direct(f, rec);
        void *tlv = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(f.to_tlv(rec.data(), &tlv, &len, 12, nullptr, 0), 0);
        Freer hold(tlv);
        ASSERT_EQ(len, expected.size() + 12);
        EXPECT_EQ(bytes_of(tlv, 12), Bytes(12, 0));
        EXPECT_EQ(bytes_of(static_cast<uint8_t *>(tlv) + 12, expected.size()), expected);
    }
}

TEST(TlvAccessors, ToTlvRefusalPrintsItsOwnNameAndReturnsTheCode)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        tp::state().tlvu_errors.clear();
        const Bytes rec = sample(f);
        void *tlv = reinterpret_cast<void *>(uintptr_t{0x1234});
        uint32_t len = 77;
        EXPECT_EQ(f.to_tlv(rec.data(), &tlv, &len, 0, nullptr, 1), kInvalidArg); // flags forwarded
        EXPECT_EQ(errors(), std::vector<std::string>{line(f, "_to_tlv", "0x411b0001")});
        EXPECT_EQ(tlv, reinterpret_cast<void *>(uintptr_t{0x1234}));
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvAccessors, ToStructDecodesWithItsOwnTable)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        const Bytes rec = sample(f);
        const Bytes tlv = encode_direct(f, rec);
        void *out = nullptr;
        ASSERT_EQ(f.to_struct(&out, tlv.data(), static_cast<uint32_t>(tlv.size()), 0), 0);
        Freer hold(out);
        EXPECT_EQ(bytes_of(out, f.record_size), rec);
        EXPECT_TRUE(errors().empty());
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvAccessors, ToStructRefusalPrintsItsOwnNameAndReturnsTheCode)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        tp::state().tlvu_errors.clear();
        const Bytes tlv = encode_direct(f, sample(f));
        void *out = nullptr;
        EXPECT_EQ(f.to_struct(&out, tlv.data(), static_cast<uint32_t>(tlv.size()), 1), kInvalidArg);
        EXPECT_EQ(out, nullptr);
        const Bytes foreign = foreign_buffer(f);
        EXPECT_EQ(f.to_struct(&out, foreign.data(), static_cast<uint32_t>(foreign.size()), 0), kWrongType);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(errors(),
                  (std::vector<std::string>{line(f, "_to_struct", "0x411b0001"), line(f, "_to_struct", "0x411b0006")}));
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvAccessors, GetStructSzIsTheDecodedSize)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        const Bytes tlv = encode_direct(f, sample(f));
        uint32_t direct = 0;
        ASSERT_EQ(tlvu_table_get_struct_size_from_tlv(&direct, tlv.data(), 0, f.table), 0);
        EXPECT_EQ(f.struct_sz(tlv.data()), static_cast<int32_t>(f.record_size));
        EXPECT_EQ(direct, f.record_size);
        EXPECT_TRUE(errors().empty());
    }
}

TEST(TlvAccessors, GetStructSzTakesTheLengthFromTheBuffer)
{
    // The length is not passed: bytes after the buffer's own length are not read.
    const Family &f = families()[11]; // vlan_configmode_rsp
    Bytes tlv = encode_direct(f, sample(f));
    tlv.insert(tlv.end(), {0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(f.struct_sz(tlv.data()), 4);
}

TEST(TlvAccessors, GetStructSzOnRejectedBufferIsMinusOneWithOneLine)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        tp::state().tlvu_errors.clear();
        const Bytes foreign = foreign_buffer(f);
        EXPECT_EQ(f.struct_sz(foreign.data()), -1);
        EXPECT_EQ(errors(), std::vector<std::string>{line(f, "_get_struct_sz", "0x411b0006")});
        tp::state().tlvu_errors.clear();
        EXPECT_EQ(f.struct_sz(nullptr), -1);
        EXPECT_EQ(errors(), std::vector<std::string>{line(f, "_get_struct_sz", "0x411b0001")});
    }
}

TEST(TlvAccessors, GetTlvSzIsTheEncodedSize)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        const Bytes rec = sample(f);
        const Bytes tlv = encode_direct(f, rec);
        EXPECT_EQ(f.tlv_sz(rec.data()), tlv.size());
        EXPECT_EQ(f.tlv_sz(rec.data()), tlvu_table_size(f.table, rec.data()));
        EXPECT_EQ(f.tlv_sz(nullptr), 0u); // the utility's answer, nothing printed
        EXPECT_TRUE(errors().empty());
    }
}

TEST(TlvAccessors, IteratorWalksTheFieldsOfItsOwnTable)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        const Bytes tlv = encode_direct(f, sample(f));
        tlvu_field_itr_t itr{};
        ASSERT_EQ(f.itr_init(&itr, tlv.data(), static_cast<uint32_t>(tlv.size()), 0, 0), 0);
        EXPECT_EQ(itr.table, f.table);
        EXPECT_EQ(itr.buf, tlv.data());
        EXPECT_EQ(itr.len, tlv.size());
        EXPECT_EQ(itr.depth, 0u);
        std::vector<int32_t> ids;
        tlvu_field_t field{};
        int32_t rc;
        while ((rc = f.get_next(&itr, &field)) == 0) {
            ids.push_back(field.id);
            ASSERT_NE(field.desc, nullptr);
            EXPECT_EQ(field.desc, &f.table->fields[ids.size() - 1]);
        }
        EXPECT_EQ(rc, static_cast<int32_t>(TLVU_END));
        std::vector<int32_t> table_ids;
        for (const vlan_mgr_tlv_field_t *d = f.table->fields; d->id != -1; ++d)
            table_ids.push_back(d->id);
        EXPECT_EQ(ids, table_ids);
    }
}

TEST(TlvAccessors, IteratorForwardsFlagsAndDepth)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        const Bytes tlv = encode_direct(f, sample(f));
        tlvu_field_itr_t itr{};
        // Depth 1: a bare run of attributes, no header: the whole buffer is taken as is.
        ASSERT_EQ(f.itr_init(&itr, tlv.data(), 16, 0, 1), 0);
        EXPECT_EQ(itr.depth, 1u);
        EXPECT_EQ(itr.pos, 0u);
        EXPECT_EQ(itr.len, 16u);
        EXPECT_EQ(f.itr_init(&itr, tlv.data(), static_cast<uint32_t>(tlv.size()), 1, 0), kInvalidArg);
        EXPECT_EQ(f.itr_init(&itr, tlv.data(), static_cast<uint32_t>(tlv.size()), 0, 3), kInvalidArg);
        const Bytes foreign = foreign_buffer(f);
        EXPECT_EQ(f.itr_init(&itr, foreign.data(), static_cast<uint32_t>(foreign.size()), 0, 0), kWrongType);
        EXPECT_EQ(f.get_next(&itr, nullptr), kInvalidArg);
        EXPECT_EQ(f.get_next(nullptr, nullptr), kInvalidArg);
        EXPECT_TRUE(errors().empty()); // these members print nothing
    }
}

TEST(TlvAccessors, GetFieldCopiesOneFieldWithItsOwnTable)
{
    for (const Family &f : families()) {
        SCOPED_TRACE(f.prefix);
        const Bytes rec = sample(f);
        const Bytes tlv = encode_direct(f, rec);
        const vlan_mgr_tlv_field_t &first = f.table->fields[0];
        Bytes value(first.elem_size + 8, 0xEE);
        uint32_t value_len = static_cast<uint32_t>(value.size());
        ASSERT_EQ(f.get_field(tlv.data(), static_cast<uint32_t>(tlv.size()), first.id, value.data(), &value_len), 0);
        EXPECT_EQ(value_len, first.elem_size);
        EXPECT_EQ(Bytes(value.begin(), value.begin() + first.elem_size),
                  Bytes(rec.begin() + first.offset, rec.begin() + first.offset + first.elem_size));
        value_len = 0;
        EXPECT_EQ(f.get_field(tlv.data(), static_cast<uint32_t>(tlv.size()), first.id, nullptr, &value_len),
                  0x411B000F); // too small: the utility's own answer
        EXPECT_EQ(value_len, first.elem_size);
        value_len = static_cast<uint32_t>(value.size());
        EXPECT_EQ(f.get_field(tlv.data(), static_cast<uint32_t>(tlv.size()), 12345, value.data(), &value_len),
                  0x411B000E); // not found
        const Bytes foreign = foreign_buffer(f);
        EXPECT_EQ(f.get_field(foreign.data(), static_cast<uint32_t>(foreign.size()), first.id, value.data(),
                              &value_len),
                  kWrongType);
        EXPECT_TRUE(errors().empty());
    }
}

TEST(TlvAccessors, GetFieldDeliversAStringWithItsNul)
{
    vlan_create_notif2_t rec;
    vlan_mgr_create_notif2_default_init(&rec);
    std::strcpy(rec.name, "engineering");
    void *tlv = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_mgr_create_notif2_to_tlv(&rec, &tlv, &len, 0, nullptr, 0), 0);
    Freer hold(tlv);
    char name[33];
    std::memset(name, 'x', sizeof name);
    uint32_t name_len = sizeof name;
    ASSERT_EQ(vlan_mgr_create_notif2_get_field(tlv, len, 8, name, &name_len), 0);
    EXPECT_EQ(name_len, 11u);
    EXPECT_STREQ(name, "engineering");
}

TEST(TlvAccessors, ConvertingMembersAllocateNothingOnRefusal)
{
    for (const Family &f : families()) {
        const Bytes foreign = foreign_buffer(f);
        const long before = tp::live_allocs();
        void *out = nullptr;
        f.to_struct(&out, foreign.data(), static_cast<uint32_t>(foreign.size()), 0);
        f.struct_sz(foreign.data());
        EXPECT_EQ(tp::live_allocs(), before) << f.prefix;
    }
}

// ---- Single records through their own families ------------------------------

// The record families used as a builder/parser pair, the way the messages
// call them: (record, outs, 0, scratch, 0) and (out, buffer, length, 0).
#define ACCESSOR_CODEC(P)                                                               \
    Codec{#P "_to_tlv", #P,                                                              \
          [](const void *r, void **t, uint32_t *l) {                                     \
              uint32_t scratch = 0;                                                      \
              return P##_to_tlv(r, t, l, 0, &scratch, 0);                                \
          },                                                                             \
          [](const void *t, uint32_t l, void **o) { return P##_to_struct(o, t, l, 0); }, \
          false}

const Codec kCreateNotif2 = ACCESSOR_CODEC(vlan_mgr_create_notif2);
const Codec kVdcVlan = ACCESSOR_CODEC(vlan_mgr_vdc_vlan_info_tlv);
const Codec kDeleteNotif2 = ACCESSOR_CODEC(vlan_mgr_delete_notif2);
const Codec kCreateUpdate = ACCESSOR_CODEC(vlan_mgr_create_update);
const Codec kNameAndState = ACCESSOR_CODEC(vlan_mgr_get_created_vlan_name_rsp);

#undef ACCESSOR_CODEC

Bytes create_notif2(size_t name_len)
{
    return plain<vlan_create_notif2_t>(vlan_mgr_create_notif2_default_init, [&](auto &r) {
        r.bd_id = 0x0102;
        r.field10 = 0x0304;
        r.field7 = 0x0506;
        r.vdc_vlan.vdc_id = 5;
        r.vdc_vlan.vlan_id = 4094;
        r.field6 = 0x0708090A;
        r.field13 = 0xFFFFFFFF;
        r.field11 = 0x11111111;
        r.field12 = 0x12121212;
        r.field14 = 0;
        r.field15 = 0x15151515;
        r.field30 = 0x30303030;
        set_name(r.name, name_of(name_len, 3));
    });
}

Bytes vdc_vlan(uint16_t vdc, uint32_t vlan)
{
    return plain<vdc_vlan_id_t>(vlan_mgr_vdc_vlan_info_init, [&](auto &r) {
        r.vdc_id = vdc;
        r.vlan_id = vlan;
    });
}

Bytes delete_notif2(size_t name_len, uint32_t last)
{
    return plain<vlan_delete_notif2_t>(vlan_mgr_delete_notif2_default_init, [&](auto &r) {
        r.bd_id = 0xFFFF;
        r.vdc_vlan.vdc_id = 1;
        r.vdc_vlan.vlan_id = 1;
        r.field20 = 0;
        r.field15 = 0x15;
        set_name(r.name, name_of(name_len, 7));
        r.field31 = last;
    });
}

Bytes create_update(size_t name_len)
{
    return plain<vlan_mgr_create_update_t>(vlan_mgr_create_update_default_init, [&](auto &r) {
        r.field3 = 0xFF;
        r.field5 = 4094;
        r.field6 = 0x66666666;
        r.field7 = 0x7777;
        set_name(r.name, name_of(name_len, 1));
    });
}

Bytes name_and_state(size_t name_len)
{
    return plain<vlan_name_and_state_t>(vlan_name_rsp_default_init, [&](auto &r) {
        r.vlan_id = 4094;
        r.field6 = 6;
        r.bd_id = 0xBDBD;
        r.field23 = 23;
        r.field13 = 13;
        r.field22 = 22;
        set_name(r.name, name_of(name_len, 2));
    });
}

TEST(TlvAccessors, CreateNotif2RecordEncodesInCarryingOrder)
{
    expect_literal(kCreateNotif2, create_notif2(0),
                   TlvWriter("vlan_create_notif2_t")
                       .attr(9, le16(0x0102))
                       .attr(10, le16(0x0304))
                       .attr(7, le16(0x0506))
                       .attr(6, le32(0x0708090A))
                       .attr(16, cat({le16(5), le32(4094)}))
                       .attr(13, le32(0xFFFFFFFF))
                       .attr(11, le32(0x11111111))
                       .attr(12, le32(0x12121212))
                       .attr(14, le32(0))
                       .attr(15, le32(0x15151515))
                       .attr(30, le32(0x30303030))
                       .str(8, "")
                       .done());
}

TEST(TlvAccessors, VdcVlanRecordEncodesBothIds)
{
    expect_literal(kVdcVlan, vdc_vlan(5, 4094),
                   TlvWriter("vdc_vlan_id_t").attr(4, le16(5)).attr(5, le32(4094)).done());
}

TEST(TlvAccessors, DeleteNotif2RecordCarriesTheUnalignedWord)
{
    expect_literal(kDeleteNotif2, delete_notif2(2, 0x01020304),
                   TlvWriter("vlan_delete_notif2_t")
                       .attr(9, le16(0xFFFF))
                       .attr(16, cat({le16(1), le32(1)}))
                       .attr(20, le32(0))
                       .attr(15, le32(0x15))
                       .str(8, "hi")
                       .attr(31, le32(0x01020304))
                       .done());
}

TEST(TlvAccessors, CreateUpdateAndNameRecordsEncodeToLiteralBytes)
{
    expect_literal(kCreateUpdate, create_update(3),
                   TlvWriter("vlan_mgr_create_update_t")
                       .attr(3, {0xFF})
                       .attr(5, le32(4094))
                       .attr(6, le32(0x66666666))
                       .attr(7, le16(0x7777))
                       .str(8, "bcd")
                       .done());
    expect_literal(kNameAndState, name_and_state(1),
                   TlvWriter("vlan_name_and_state_t")
                       .attr(5, le32(4094))
                       .attr(6, le32(6))
                       .attr(9, le16(0xBDBD))
                       .attr(23, le32(23))
                       .attr(13, le32(13))
                       .attr(22, le32(22))
                       .str(8, "c")
                       .done());
}

TEST(TlvAccessors, SingleRecordsRoundTripWithNamesOfZeroAndThirtyTwo)
{
    for (size_t len : {size_t{0}, size_t{32}}) {
        expect_round_trip(kCreateNotif2, create_notif2(len));
        expect_round_trip(kDeleteNotif2, delete_notif2(len, 0xFFFFFFFF));
        expect_round_trip(kDeleteNotif2, delete_notif2(len, 0));
        expect_round_trip(kCreateUpdate, create_update(len));
        expect_round_trip(kNameAndState, name_and_state(len));
    }
    expect_round_trip(kVdcVlan, vdc_vlan(0, 0));
    expect_round_trip(kVdcVlan, vdc_vlan(0xFFFF, 0xFFFFFFFF));
}

TEST(TlvAccessors, SingleRecordBuffersCutShortFailCleanly)
{
    expect_cuts_fail(kCreateNotif2, encode(kCreateNotif2, create_notif2(32)));
    expect_cuts_fail(kVdcVlan, encode(kVdcVlan, vdc_vlan(1, 2)));
    expect_cuts_fail(kDeleteNotif2, encode(kDeleteNotif2, delete_notif2(32, 9)));
    expect_cuts_fail(kCreateUpdate, encode(kCreateUpdate, create_update(32)));
    expect_cuts_fail(kNameAndState, encode(kNameAndState, name_and_state(32)));
}

TEST(TlvAccessors, SingleRecordBuffersWithFlippedBytesFailCleanlyOrDecode)
{
    expect_flips_safe(kCreateNotif2, encode(kCreateNotif2, create_notif2(32)));
    expect_flips_safe(kDeleteNotif2, encode(kDeleteNotif2, delete_notif2(32, 9)));
}

TEST(TlvAccessors, SingleRecordConversionsFailEachAllocationOnce)
{
    for (const Codec *c : {&kCreateNotif2, &kVdcVlan, &kDeleteNotif2, &kCreateUpdate, &kNameAndState}) {
        const Bytes rec = c == &kCreateNotif2   ? create_notif2(32)
                          : c == &kVdcVlan      ? vdc_vlan(1, 2)
                          : c == &kDeleteNotif2 ? delete_notif2(32, 9)
                          : c == &kCreateUpdate ? create_update(32)
                                                : name_and_state(32);
        const Bytes tlv = encode(*c, rec);
        expect_build_alloc_sweep(*c, rec, tlv);
        expect_parse_alloc_sweep(*c, tlv, rec);
    }
}

} // namespace
