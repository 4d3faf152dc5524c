// The init and count functions of the schema tables: the exact bytes each init
// writes (and the bytes it leaves alone), at any alignment, and the count
// member each count function reads.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/tlv.h>

#include "test_platform.h"

namespace {

constexpr uint8_t kUntouched = 0xA5;
constexpr size_t kSlack = 8; // bytes after the record that no init may write

// The expected image of a record after its init: bytes not written keep
// kUntouched. Multi-byte values are written out in host (little-endian) order.
struct Image {
    std::vector<uint8_t> b;
    explicit Image(size_t record_size) : b(record_size + kSlack, kUntouched) {}
    Image &zero(size_t off, size_t n)
    {
        std::memset(b.data() + off, 0, n);
        return *this;
    }
    Image &bytes(size_t off, std::initializer_list<uint8_t> v)
    {
        std::copy(v.begin(), v.end(), b.begin() + static_cast<ptrdiff_t>(off));
        return *this;
    }
    // An empty VLAN bitmap: length word 512, then 512 clear bytes.
    Image &empty_bitmap(size_t off)
    {
        bytes(off, {0x00, 0x02, 0x00, 0x00});
        return zero(off + 4, 512);
    }
};

// Runs `init` on a record at each of four alignments inside a buffer of
// kUntouched bytes and compares the record and the slack after it.
void expect_init(const char *name, vlan_mgr_tlv_init_fn init, const Image &expected)
{
    for (size_t align = 0; align < 4; ++align) {
        SCOPED_TRACE(std::string(name) + " at alignment " + std::to_string(align));
        std::vector<uint8_t> buf(expected.b.size() + 16, kUntouched);
        const uintptr_t base = (reinterpret_cast<uintptr_t>(buf.data()) + 7) & ~uintptr_t{7};
        uint8_t *record = buf.data() + (base - reinterpret_cast<uintptr_t>(buf.data())) + align;
        ASSERT_LE(record + expected.b.size(), buf.data() + buf.size());
        EXPECT_EQ(init(record), 0);
        EXPECT_EQ(std::vector<uint8_t>(record, record + expected.b.size()), expected.b);
        for (const uint8_t *p = buf.data(); p < record; ++p)
            EXPECT_EQ(*p, kUntouched); // nothing written before the record
    }
}

TEST(TlvInit, CreateNotif2HoldsEightTwoOneOneInFields13_12_14_15)
{
    expect_init("vlan_mgr_create_notif2_default_init", vlan_mgr_create_notif2_default_init,
                Image(73)
                    .zero(0, 73)
                    .bytes(16, {0x08, 0, 0, 0})
                    .bytes(24, {0x02, 0, 0, 0})
                    .bytes(28, {0x01, 0, 0, 0})
                    .bytes(32, {0x01, 0, 0, 0}));
    vlan_create_notif2_t r;
    std::memset(&r, 0xFF, sizeof r);
    vlan_mgr_create_notif2_default_init(&r);
    EXPECT_EQ(r.field13, 8u);
    EXPECT_EQ(r.field12, 2u);
    EXPECT_EQ(r.field14, 1u);
    EXPECT_EQ(r.field15, 1u);
    EXPECT_EQ(r.bd_id, 0u);
    EXPECT_EQ(r.vdc_vlan.vdc_id, 0u);
    EXPECT_EQ(r.vdc_vlan.vlan_id, 0u);
    EXPECT_EQ(r.field30, 0u);
    EXPECT_STREQ(r.name, "");
}

TEST(TlvInit, VdcVlanInfoIsAllZero)
{
    expect_init("vlan_mgr_vdc_vlan_info_init", vlan_mgr_vdc_vlan_info_init, Image(6).zero(0, 6));
}

TEST(TlvInit, CreateNotif2PayloadClearsOnlyTheCount)
{
    expect_init("vlan_mgr_create_notif2_payload_init", vlan_mgr_create_notif2_payload_init, Image(4).zero(0, 4));
}

TEST(TlvInit, DeleteNotif2HoldsHundredInField20AndOneInField15)
{
    expect_init("vlan_mgr_delete_notif2_default_init", vlan_mgr_delete_notif2_default_init,
                Image(53).zero(0, 53).bytes(8, {0x64, 0, 0, 0}).bytes(12, {0x01, 0, 0, 0}));
    vlan_delete_notif2_t r;
    std::memset(&r, 0xFF, sizeof r);
    vlan_mgr_delete_notif2_default_init(&r);
    EXPECT_EQ(r.field20, 100u);
    EXPECT_EQ(r.field15, 1u);
    EXPECT_EQ(r.field31, 0u);
    EXPECT_STREQ(r.name, "");
}

TEST(TlvInit, DeleteNotif2PayloadClearsOnlyTheCount)
{
    expect_init("vlan_mgr_delete_notif2_payload_init", vlan_mgr_delete_notif2_payload_init, Image(4).zero(0, 4));
}

TEST(TlvInit, CreateUpdateIsAllZeroAndLeavesPadding)
{
    expect_init("vlan_mgr_create_update_default_init", vlan_mgr_create_update_default_init,
                Image(48).zero(0, 1).zero(4, 43));
}

TEST(TlvInit, CreateUpdateRequestClearsOnlyTheCount)
{
    expect_init("vlan_mgr_create_update_req_default_init", vlan_mgr_create_update_req_default_init,
                Image(2).zero(0, 2));
}

TEST(TlvInit, NameRequestWritesNothing)
{
    expect_init("vlan_name_req_msg_default_init", vlan_name_req_msg_default_init, Image(516));
}

TEST(TlvInit, NameAndStateIsAllZeroAndLeavesPadding)
{
    expect_init("vlan_name_rsp_default_init", vlan_name_rsp_default_init, Image(60).zero(0, 10).zero(12, 45));
}

TEST(TlvInit, NameResponseClearsOnlyTheCount)
{
    expect_init("vlan_name_rsp_msg_default_init", vlan_name_rsp_msg_default_init, Image(4).zero(0, 4));
}

TEST(TlvInit, ConfigmodePayloadHasEmptyBitmap)
{
    expect_init("vlan_configmode_payload_init", vlan_configmode_payload_init, Image(524).zero(0, 8).empty_bitmap(8));
}

TEST(TlvInit, ConfigmodeResponseIsZero)
{
    expect_init("vlan_configmode_rsp_init", vlan_configmode_rsp_init, Image(4).zero(0, 4));
}

TEST(TlvInit, PortMembRequestHoldsOneThenCountZero)
{
    expect_init("vlan_get_port_memb_2_req_init", vlan_get_port_memb_2_req_init,
                Image(8).bytes(0, {0x01, 0, 0, 0}).zero(4, 4));
}

TEST(TlvInit, PortMembHoldsZeroOneOneZeroZeroZero)
{
    expect_init("vlan_get_port_memb_2_init", vlan_get_port_memb_2_init,
                Image(24).zero(0, 24).bytes(4, {0x01, 0, 0, 0}).bytes(8, {0x01, 0, 0, 0}));
}

TEST(TlvInit, PortMembResponseIsZero)
{
    expect_init("vlan_get_port_memb_2_rsp_init", vlan_get_port_memb_2_rsp_init, Image(8).zero(0, 8));
}

TEST(TlvInit, TrunkingMembHasTwoEmptyBitmaps)
{
    expect_init("vlan_get_port_trunking_memb_2_init", vlan_get_port_trunking_memb_2_init,
                Image(1048).zero(0, 12).empty_bitmap(12).empty_bitmap(528).zero(1044, 4));
}

TEST(TlvInit, TrunkingMembResponseIsZero)
{
    expect_init("vlan_get_port_trunking_memb_2_rsp_init", vlan_get_port_trunking_memb_2_rsp_init,
                Image(8).zero(0, 8));
}

TEST(TlvInit, DiagRequestIsZero)
{
    expect_init("vlan_get_diag_vlan_info_req_init", vlan_get_diag_vlan_info_req_init, Image(4).zero(0, 4));
}

TEST(TlvInit, VlanIdAndBdIsZeroAndLeavesPadding)
{
    expect_init("vlan_id_and_bd_init", vlan_id_and_bd_init, Image(8).zero(0, 6));
}

TEST(TlvInit, DiagResponseIsZero)
{
    expect_init("vlan_get_diag_vlan_info_rsp_init", vlan_get_diag_vlan_info_rsp_init, Image(8).zero(0, 8));
}

TEST(TlvInit, CreatedVlanListingRequestIsZero)
{
    expect_init("vlan_get_all_created_vlan_2_req_init", vlan_get_all_created_vlan_2_req_init, Image(2).zero(0, 2));
}

TEST(TlvInit, CreatedVlanInfoHoldsTwoAndEightInFields6And7)
{
    expect_init("vlan_get_all_created_vlan_2_info_init", vlan_get_all_created_vlan_2_info_init,
                Image(26).zero(0, 26).bytes(10, {0x02, 0, 0, 0}).bytes(14, {0x08, 0, 0, 0}));
}

TEST(TlvInit, CreatedVlanListingResponseIsZero)
{
    expect_init("vlan_get_all_created_vlan_2_rsp_init", vlan_get_all_created_vlan_2_rsp_init, Image(8).zero(0, 8));
}

TEST(TlvInit, DynRsvdRequestHoldsFive)
{
    expect_init("vlan_dyn_rsvd_vlan_req_msg_default_init", vlan_dyn_rsvd_vlan_req_msg_default_init,
                Image(4).bytes(0, {0x05, 0, 0, 0}));
}

TEST(TlvInit, DynRsvdResponseHasFiveEmptyBitmaps)
{
    expect_init("vlan_get_dyn_rsvd_vlan_rsp_default_init", vlan_get_dyn_rsvd_vlan_rsp_default_init,
                Image(2580).empty_bitmap(0).empty_bitmap(516).empty_bitmap(1032).empty_bitmap(1548).empty_bitmap(2064));
}

TEST(TlvInit, ComprgrpChangeWritesNothing)
{
    expect_init("vlan_mgr_comprgrp_change_notif_init", vlan_mgr_comprgrp_change_notif_init, Image(524));
}

TEST(TlvInit, InitsAllocateNothing)
{
    alignas(8) uint8_t rec[2580 + 8];
    for (vlan_mgr_tlv_init_fn fn :
         {vlan_mgr_create_notif2_default_init, vlan_get_dyn_rsvd_vlan_rsp_default_init, vlan_configmode_payload_init,
          vlan_get_port_trunking_memb_2_init})
        fn(rec);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

// ---- Count functions ------------------------------------------------------

struct Count {
    const char *name;
    vlan_mgr_tlv_count_fn fn;
    size_t offset; // of the count member
    size_t width;  // 4, or 2 for the create/update request
};

const Count kCounts[] = {
    {"vlan_mgr_create_notif2_payload_data_get_sz", vlan_mgr_create_notif2_payload_data_get_sz, 0, 4},
    {"vlan_mgr_delete_notif2_payload_data_get_sz", vlan_mgr_delete_notif2_payload_data_get_sz, 0, 4},
    {"vlan_mgr_create_update_msg_get_sz", vlan_mgr_create_update_msg_get_sz, 0, 2},
    {"vlan_name_rsp_msg_data_get_sz", vlan_name_rsp_msg_data_get_sz, 0, 4},
    {"vlan_get_port_memb_2_req_ifindex_list_get_sz", vlan_get_port_memb_2_req_ifindex_list_get_sz, 4, 4},
    {"vlan_get_port_memb_2_rsp_get_port_memb_list_sz", vlan_get_port_memb_2_rsp_get_port_memb_list_sz, 4, 4},
    {"vlan_get_port_trunking_memb_2_rsp_get_port_memb_list_sz",
     vlan_get_port_trunking_memb_2_rsp_get_port_memb_list_sz, 4, 4},
    {"vlan_get_diag_vlan_info_rsp_vlan_id_and_bd_list_sz", vlan_get_diag_vlan_info_rsp_vlan_id_and_bd_list_sz, 4, 4},
    {"vlan_get_all_created_vlan_2_rsp_list_sz", vlan_get_all_created_vlan_2_rsp_list_sz, 4, 4},
};

TEST(TlvCount, EachReturnsItsCountMemberAtAnyAlignment)
{
    // Little-endian images of the counts, with the expected result.
    struct Case {
        uint8_t le[4];
        uint32_t want4, want2;
    };
    const Case cases[] = {
        {{0, 0, 0, 0}, 0, 0},
        {{1, 0, 0, 0}, 1, 1},
        {{0xFE, 0x0F, 0, 0}, 4094, 4094},
        {{0xFF, 0xFF, 0xFF, 0xFF}, 0xFFFFFFFFu, 0xFFFF},
        {{0x78, 0x56, 0x34, 0x12}, 0x12345678u, 0x5678},
    };
    for (const Count &c : kCounts)
        for (const Case &k : cases)
            for (size_t align = 0; align < 4; ++align) {
                SCOPED_TRACE(std::string(c.name) + " at alignment " + std::to_string(align));
                alignas(8) uint8_t buf[24];
                std::memset(buf, 0xEE, sizeof buf); // everything but the count
                uint8_t *record = buf + align;
                std::memcpy(record + c.offset, k.le, c.width);
                EXPECT_EQ(c.fn(record), c.width == 4 ? k.want4 : k.want2);
            }
}

TEST(TlvCount, PayloadWithCountZeroHasNoElements)
{
    vlan_create_notif2_payload_t p;
    vlan_mgr_create_notif2_payload_init(&p);
    EXPECT_EQ(vlan_mgr_create_notif2_payload_data_get_sz(&p), 0u);
    vlan_delete_notif2_payload_t d;
    vlan_mgr_delete_notif2_payload_init(&d);
    EXPECT_EQ(vlan_mgr_delete_notif2_payload_data_get_sz(&d), 0u);
}

TEST(TlvCount, ReadsTheNamedMemberOfEachRecord)
{
    vlan_get_port_memb_2_req_t req{};
    req.field0 = 77;
    req.ifindex_count = 3;
    EXPECT_EQ(vlan_get_port_memb_2_req_ifindex_list_get_sz(&req), 3u);
    vlan_get_port_memb_2_rsp_t rsp{};
    rsp.field4 = 9;
    rsp.count = 5;
    EXPECT_EQ(vlan_get_port_memb_2_rsp_get_port_memb_list_sz(&rsp), 5u);
    vlan_name_rsp_t names{};
    names.count = 6;
    EXPECT_EQ(vlan_name_rsp_msg_data_get_sz(&names), 6u);
}

} // namespace
