// The 26 schema tables, compared with their listings: header, every
// descriptor in carrying order, the terminator, their order in the library's
// data, and on the 32-bit target the raw words the TLV utility reads.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/tlv.h>

namespace {

using Table = vlan_mgr_tlv_table_t;

struct Desc {
    int32_t id;
    uint32_t elem_size;
    uint32_t offset;
    uint32_t kind;
    vlan_mgr_tlv_count_fn count_fn;
    uint32_t max_size;
    const Table *nested;
};

// The three kinds as listed: fixed (width = element size = maximum size),
// string (element size 1, maximum 33), list (count function, element table or
// none, maximum 0).
Desc fixed(int32_t id, uint32_t off, uint32_t width) { return {id, width, off, 1, nullptr, width, nullptr}; }
Desc string(int32_t id, uint32_t off) { return {id, 1, off, 3, nullptr, 33, nullptr}; }
Desc list(int32_t id, uint32_t off, uint32_t elem, vlan_mgr_tlv_count_fn fn, const Table *nested)
{
    return {id, elem, off, 5, fn, 0, nested};
}

struct Listing {
    const char *symbol;
    Table *table;
    uint32_t size;
    const char *type_name;
    vlan_mgr_tlv_init_fn init;
    std::vector<Desc> fields;
};

const std::vector<Listing> &listings()
{
    static const std::vector<Listing> l = {
        {"vlan_mgr_create_notif2_tbl", &vlan_mgr_create_notif2_tbl, 73, "vlan_create_notif2_t",
         vlan_mgr_create_notif2_default_init,
         {fixed(9, 0, 2), fixed(10, 2, 2), fixed(7, 4, 2), fixed(6, 12, 4), fixed(16, 6, 6), fixed(13, 16, 4),
          fixed(11, 20, 4), fixed(12, 24, 4), fixed(14, 28, 4), fixed(15, 32, 4), fixed(30, 36, 4), string(8, 40)}},
        {"vlan_mgr_vdc_vlan_info_tbl", &vlan_mgr_vdc_vlan_info_tbl, 6, "vdc_vlan_id_t", vlan_mgr_vdc_vlan_info_init,
         {fixed(4, 0, 2), fixed(5, 2, 4)}},
        {"vlan_mgr_create_notif2_payload_tbl", &vlan_mgr_create_notif2_payload_tbl, 4, "vlan_create_notif2_payload_t",
         vlan_mgr_create_notif2_payload_init,
         {fixed(17, 0, 4), list(18, 4, 73, vlan_mgr_create_notif2_payload_data_get_sz, &vlan_mgr_create_notif2_tbl)}},
        {"vlan_mgr_delete_notif2_tbl", &vlan_mgr_delete_notif2_tbl, 53, "vlan_delete_notif2_t",
         vlan_mgr_delete_notif2_default_init,
         {fixed(9, 0, 2), fixed(16, 2, 6), fixed(20, 8, 4), fixed(15, 12, 4), string(8, 16), fixed(31, 49, 4)}},
        {"vlan_mgr_delete_notif2_payload_tbl", &vlan_mgr_delete_notif2_payload_tbl, 4, "vlan_delete_notif2_payload_t",
         vlan_mgr_delete_notif2_payload_init,
         {fixed(17, 0, 4), list(19, 4, 53, vlan_mgr_delete_notif2_payload_data_get_sz, &vlan_mgr_delete_notif2_tbl)}},
        {"vlan_mgr_create_update_tbl", &vlan_mgr_create_update_tbl, 48, "vlan_mgr_create_update_t",
         vlan_mgr_create_update_default_init,
         {fixed(3, 0, 1), fixed(5, 4, 4), fixed(6, 8, 4), fixed(7, 12, 2), string(8, 14)}},
        {"vlan_mgr_create_update_req_tbl", &vlan_mgr_create_update_req_tbl, 2, "vlan_mgr_create_update_req_t",
         vlan_mgr_create_update_req_default_init,
         {fixed(1, 0, 2), list(2, 2, 48, vlan_mgr_create_update_msg_get_sz, &vlan_mgr_create_update_tbl)}},
        {"vlan_mgr_name_info_req_tbl", &vlan_mgr_name_info_req_tbl, 516, "vlan_name_req_t",
         vlan_name_req_msg_default_init, {fixed(21, 0, 516)}},
        {"vlan_mgr_name_rsp_tbl", &vlan_mgr_name_rsp_tbl, 60, "vlan_name_and_state_t", vlan_name_rsp_default_init,
         {fixed(5, 0, 4), fixed(6, 4, 4), fixed(9, 8, 2), fixed(23, 12, 4), fixed(13, 16, 4), fixed(22, 20, 4),
          string(8, 24)}},
        {"vlan_mgr_name_info_rsp_tbl", &vlan_mgr_name_info_rsp_tbl, 4, "vlan_name_rsp_t", vlan_name_rsp_msg_default_init,
         {fixed(24, 0, 4), list(25, 4, 60, vlan_name_rsp_msg_data_get_sz, &vlan_mgr_name_rsp_tbl)}},
        {"vlan_configmode_payload_tbl", &vlan_configmode_payload_tbl, 524, "vlan_configmode_payload_t",
         vlan_configmode_payload_init, {fixed(26, 0, 4), fixed(27, 4, 4), fixed(28, 8, 516)}},
        {"vlan_configmode_rsp_tbl", &vlan_configmode_rsp_tbl, 4, "vlan_configmode_rsp_t", vlan_configmode_rsp_init,
         {fixed(29, 0, 4)}},
        {"vlan_get_port_memb_2_req_tbl", &vlan_get_port_memb_2_req_tbl, 8, "vlan_get_port_memb_2_req_t",
         vlan_get_port_memb_2_req_init,
         {fixed(0, 0, 4), fixed(1, 4, 4), list(2, 8, 4, vlan_get_port_memb_2_req_ifindex_list_get_sz, nullptr)}},
        {"vlan_get_port_memb_2_tbl", &vlan_get_port_memb_2_tbl, 24, "vlan_get_port_memb_2_t", vlan_get_port_memb_2_init,
         {fixed(3, 0, 4), fixed(6, 4, 4), fixed(7, 8, 4), fixed(8, 12, 4), fixed(9, 16, 4), fixed(10, 20, 4)}},
        {"vlan_get_port_memb_2_rsp_tbl", &vlan_get_port_memb_2_rsp_tbl, 8, "vlan_get_port_memb_2_rsp_t",
         vlan_get_port_memb_2_rsp_init,
         {fixed(4, 0, 4), fixed(1, 4, 4),
          list(5, 8, 24, vlan_get_port_memb_2_rsp_get_port_memb_list_sz, &vlan_get_port_memb_2_tbl)}},
        {"vlan_get_port_trunking_memb_2_tbl", &vlan_get_port_trunking_memb_2_tbl, 1048,
         "vlan_get_port_trunking_memb_2_t", vlan_get_port_trunking_memb_2_init,
         {fixed(3, 0, 4), fixed(4, 4, 4), fixed(5, 8, 4), fixed(6, 12, 516), fixed(7, 528, 516), fixed(8, 1044, 4)}},
        {"vlan_get_port_trunking_memb_2_rsp_tbl", &vlan_get_port_trunking_memb_2_rsp_tbl, 8,
         "vlan_get_port_trunking_memb_2_rsp_t", vlan_get_port_trunking_memb_2_rsp_init,
         {fixed(0, 0, 4), fixed(1, 4, 4),
          list(2, 8, 1048, vlan_get_port_trunking_memb_2_rsp_get_port_memb_list_sz,
               &vlan_get_port_trunking_memb_2_tbl)}},
        {"vlan_get_diag_vlan_info_req_tbl", &vlan_get_diag_vlan_info_req_tbl, 4, "vlan_get_diag_vlan_info_req_t",
         vlan_get_diag_vlan_info_req_init, {fixed(0, 0, 4)}},
        {"vlan_id_and_bd_tbl", &vlan_id_and_bd_tbl, 8, "vlan_id_and_bd_t", vlan_id_and_bd_init,
         {fixed(3, 0, 4), fixed(4, 4, 2)}},
        {"vlan_get_diag_vlan_info_rsp_tbl", &vlan_get_diag_vlan_info_rsp_tbl, 8, "vlan_get_diag_vlan_info_rsp_t",
         vlan_get_diag_vlan_info_rsp_init,
         {fixed(0, 0, 4), fixed(1, 4, 4),
          list(2, 8, 8, vlan_get_diag_vlan_info_rsp_vlan_id_and_bd_list_sz, &vlan_id_and_bd_tbl)}},
        {"vlan_get_all_created_vlan_2_req_tbl", &vlan_get_all_created_vlan_2_req_tbl, 2,
         "vlan_get_all_created_vlan_2_req_t", vlan_get_all_created_vlan_2_req_init, {fixed(0, 0, 2)}},
        {"vlan_get_all_created_vlan_2_info_tbl", &vlan_get_all_created_vlan_2_info_tbl, 26,
         "vlan_get_all_created_vlan_2_info_t", vlan_get_all_created_vlan_2_info_init,
         {fixed(3, 0, 4), fixed(4, 4, 4), fixed(5, 8, 2), fixed(6, 10, 4), fixed(7, 14, 4), fixed(8, 18, 4),
          fixed(9, 22, 4)}},
        {"vlan_get_all_created_vlan_2_rsp_tbl", &vlan_get_all_created_vlan_2_rsp_tbl, 8,
         "vlan_get_all_created_vlan_2_rsp_t", vlan_get_all_created_vlan_2_rsp_init,
         {fixed(0, 0, 4), fixed(1, 4, 4),
          list(2, 8, 26, vlan_get_all_created_vlan_2_rsp_list_sz, &vlan_get_all_created_vlan_2_info_tbl)}},
        {"vlan_dyn_rsvd_vlan_req_tbl", &vlan_dyn_rsvd_vlan_req_tbl, 4, "vlan_dyn_rsvd_req_t",
         vlan_dyn_rsvd_vlan_req_msg_default_init, {fixed(32, 0, 4)}},
        {"vlan_dyn_rsvd_vlan_rsp_tbl", &vlan_dyn_rsvd_vlan_rsp_tbl, 2580, "vlan_dyn_rsvd_rsp_t",
         vlan_get_dyn_rsvd_vlan_rsp_default_init,
         {fixed(33, 0, 516), fixed(34, 516, 516), fixed(35, 1032, 516), fixed(36, 1548, 516), fixed(37, 2064, 516)}},
        {"vlan_mgr_comprgrp_change_notif_tbl", &vlan_mgr_comprgrp_change_notif_tbl, 524,
         "vlan_comprgrp_memb_change_notif_t", vlan_mgr_comprgrp_change_notif_init,
         {fixed(38, 0, 4), fixed(39, 4, 516), fixed(40, 520, 2), fixed(41, 522, 2)}},
    };
    return l;
}

TEST(TlvTables, TwentySixTablesAreListed)
{
    EXPECT_EQ(listings().size(), 26u);
}

TEST(TlvTables, HeaderHoldsSizeTypeNameInitAndZero)
{
    for (const Listing &l : listings()) {
        SCOPED_TRACE(l.symbol);
        EXPECT_EQ(l.table->size, l.size);
        ASSERT_NE(l.table->type_name, nullptr);
        EXPECT_STREQ(l.table->type_name, l.type_name);
        EXPECT_EQ(l.table->init, l.init);
        EXPECT_EQ(l.table->reserved, 0u);
    }
}

TEST(TlvTables, DescriptorsMatchListingInCarryingOrder)
{
    for (const Listing &l : listings()) {
        for (size_t i = 0; i < l.fields.size(); ++i) {
            SCOPED_TRACE(std::string(l.symbol) + " descriptor " + std::to_string(i));
            const vlan_mgr_tlv_field_t &f = l.table->fields[i];
            const Desc &d = l.fields[i];
            EXPECT_EQ(f.id, d.id);
            EXPECT_EQ(f.elem_size, d.elem_size);
            EXPECT_EQ(f.offset, d.offset);
            EXPECT_EQ(f.kind, d.kind);
            EXPECT_EQ(f.reserved[0], 0u);
            EXPECT_EQ(f.reserved[1], 0u);
            EXPECT_EQ(f.reserved[2], 0u);
            EXPECT_EQ(f.count_fn, d.count_fn);
            EXPECT_EQ(f.terminator, 0);
            EXPECT_EQ(f.max_size, d.max_size);
            EXPECT_EQ(f.always_minus_one, -1);
            EXPECT_EQ(f.nested, d.nested);
        }
    }
}

TEST(TlvTables, TerminatorFollowsLastDescriptor)
{
    for (const Listing &l : listings()) {
        SCOPED_TRACE(l.symbol);
        const vlan_mgr_tlv_field_t &t = l.table->fields[l.fields.size()];
        EXPECT_EQ(t.id, -1);
        EXPECT_EQ(t.elem_size, 0xFFFFFFFFu);
        EXPECT_EQ(t.offset, 0xFFFFFFFFu);
        EXPECT_EQ(t.kind, 0u);
        EXPECT_EQ(t.reserved[0], 0u);
        EXPECT_EQ(t.reserved[1], 0u);
        EXPECT_EQ(t.reserved[2], 0u);
        EXPECT_EQ(t.count_fn, nullptr);
        EXPECT_EQ(t.terminator, -1);
        EXPECT_EQ(t.max_size, 0xFFFFFFFFu);
        EXPECT_EQ(t.always_minus_one, -1);
        EXPECT_EQ(t.nested, nullptr);
    }
}

TEST(TlvTables, FieldIdsAreUniqueWithinEachTable)
{
    for (const Listing &l : listings()) {
        SCOPED_TRACE(l.symbol);
        for (size_t i = 0; i < l.fields.size(); ++i)
            for (size_t j = i + 1; j < l.fields.size(); ++j)
                EXPECT_NE(l.table->fields[i].id, l.table->fields[j].id);
    }
}

TEST(TlvTables, FixedFieldsLieInsideTheRecordAndListsTrailIt)
{
    for (const Listing &l : listings()) {
        SCOPED_TRACE(l.symbol);
        for (size_t i = 0; i < l.fields.size(); ++i) {
            const vlan_mgr_tlv_field_t &f = l.table->fields[i];
            if (f.kind == 5)
                EXPECT_EQ(f.offset, l.table->size);
            else
                EXPECT_LE(f.offset + f.max_size, l.table->size);
        }
    }
}

TEST(TlvTables, StandInListedOrderInTheLibrarysData)
{
    const auto &l = listings();
    for (size_t i = 1; i < l.size(); ++i) {
        SCOPED_TRACE(l[i].symbol);
        const auto prev = reinterpret_cast<uintptr_t>(l[i - 1].table);
        const auto cur = reinterpret_cast<uintptr_t>(l[i].table);
        // After the whole previous table: header and descriptors with terminator.
        EXPECT_GE(cur, prev + sizeof(Table) + (l[i - 1].fields.size() + 1) * sizeof(vlan_mgr_tlv_field_t));
    }
}

TEST(TlvTables, AreWritable)
{
    for (const Listing &l : listings()) {
        volatile uint32_t *word = &l.table->reserved;
        *word = 0x5A5A5A5Au;
        EXPECT_EQ(l.table->reserved, 0x5A5A5A5Au) << l.symbol;
        *word = 0;
    }
}

TEST(TlvTables, ListElementTablesMatchTheirElementSize)
{
    for (const Listing &l : listings()) {
        for (const Desc &d : l.fields) {
            if (d.kind == 5 && d.nested != nullptr) {
                EXPECT_EQ(d.nested->size, d.elem_size) << l.symbol;
            }
        }
    }
}

// On the 32-bit target the tables are read as 32-bit words: four of header,
// then twelve per descriptor. The expected words are built from the listing.
TEST(TlvTables, RawWordsOnThe32BitTarget)
{
    if (sizeof(void *) != 4)
        GTEST_SKIP() << "pointers are 64-bit on this target";
    auto word = [](const void *p) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p)); };
    for (const Listing &l : listings()) {
        SCOPED_TRACE(l.symbol);
        std::vector<uint32_t> expected = {l.size, word(l.type_name), word(reinterpret_cast<const void *>(l.init)), 0};
        for (const Desc &d : l.fields) {
            const uint32_t w[12] = {static_cast<uint32_t>(d.id), d.elem_size, d.offset, d.kind, 0, 0, 0,
                                    word(reinterpret_cast<const void *>(d.count_fn)), 0, d.max_size, 0xFFFFFFFFu,
                                    word(d.nested)};
            expected.insert(expected.end(), w, w + 12);
        }
        const uint32_t end[12] = {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0, 0, 0, 0,
                                  0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0};
        expected.insert(expected.end(), end, end + 12);
        std::vector<uint32_t> actual(expected.size());
        std::memcpy(actual.data(), l.table, actual.size() * 4);
        // The type name word points at the table's own string; compare the text.
        EXPECT_STREQ(reinterpret_cast<const char *>(static_cast<uintptr_t>(actual[1])), l.type_name);
        actual[1] = expected[1];
        EXPECT_EQ(actual, expected);
        EXPECT_EQ(sizeof(Table), 16u);
        EXPECT_EQ(sizeof(vlan_mgr_tlv_field_t), 48u);
    }
}

} // namespace
