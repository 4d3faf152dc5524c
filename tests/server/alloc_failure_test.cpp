// The manager's side under allocation failure: every malloc-based allocation
// that a decoder or an encoder makes (its own and the library's TLV parsers'
// and builders') is failed in turn. Each failing run gives the documented
// outcome (a decoder's VLAN_MGR_ERR_BAD_REQUEST, an encoder's bare status
// VLAN_MGR_ERR_NO_MEMORY, a notification's error text) and leaves nothing
// allocated.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/config.h>
#include <vlan_mgr/server/membership.h>
#include <vlan_mgr/server/notif.h>
#include <vlan_mgr/server/query.h>
#include <vlan_mgr/tlv.h>

#include "roundtrip.h"
#include "test_platform.h"

namespace {

namespace server = vlan_mgr::server;
using server::Payload;
using roundtrip::Owned;

// The bare status reply of an encoder that could not allocate.
const Payload kNoMemory{0x41, 0x10, 0x00, 0x02};

// Fails allocation 1, 2, ... of `call` until a run makes fewer allocations
// than the one set to fail (that run succeeded). Every failing run's result
// must satisfy `failed`, and every run leaves the blocks held before.
// Returns how many allocations a successful run makes.
template <typename Call, typename Failed>
long sweep(Call call, Failed failed)
{
    const long held = tp::live_allocs();
    for (long n = 1; n < 200; ++n) {
        const long before = tp::alloc_calls();
        tp::fail_alloc_at(n);
        const auto result = call();
        const long made = tp::alloc_calls() - before;
        tp::fail_alloc_at(0);
        EXPECT_EQ(tp::live_allocs(), held) << "allocation " << n << " failing";
        if (made < n)
            return n - 1;
        EXPECT_TRUE(failed(result)) << "allocation " << n << " failing";
    }
    ADD_FAILURE() << "the call never succeeded";
    return -1;
}

auto is_status(uint32_t want)
{
    return [want](uint32_t st) { return st == want; };
}

auto is_payload(const Payload &want)
{
    return [want](const Payload &p) { return p == want; };
}

template <typename R>
Payload tlv_of(int32_t (*build)(const R *, void **, uint32_t *), const R &rec)
{
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(build(&rec, &p, &len), 0);
    Owned<> own(p);
    return roundtrip::bytes_of(p, len);
}

Payload create_update_request(uint32_t count)
{
    vlan_mgr_create_update_req_t *msg = nullptr;
    EXPECT_EQ(vlan_mgr_init_create_update_req_msg(&msg, count), 0);
    Owned<vlan_mgr_create_update_req_t> own(msg);
    const auto n = static_cast<uint16_t>(count);
    std::memcpy(msg, &n, sizeof n);
    for (uint32_t i = 0; i < count; ++i) {
        vlan_mgr_create_update_t rec{};
        rec.field5 = 10 + i;
        std::memcpy(rec.name, "web", 3);
        std::memcpy(reinterpret_cast<uint8_t *>(msg) + 2 + sizeof rec * i, &rec, sizeof rec);
    }
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_mgr_create_update_build_mts(msg, &tlv, &len), 0);
    Owned<> own_tlv(tlv);
    return roundtrip::bytes_of(tlv, len);
}

std::vector<server::CreatedVlan> created_vlans(size_t n)
{
    std::vector<server::CreatedVlan> v(n);
    for (size_t i = 0; i < n; ++i) {
        v[i].vlan_id = static_cast<uint32_t>(2 + i);
        v[i].attrs.bd_id = static_cast<uint32_t>(100 + i);
        v[i].name = "vlan" + std::to_string(i);
    }
    return v;
}

// ---- Configuration ----------------------------------------------------------

TEST(ServerAllocFailure, CreateUpdateDecoderRefusesWhenTheParserCannotAllocate)
{
    const Payload req = create_update_request(3);
    const long allocs = sweep(
        [&] {
            std::vector<server::CreateUpdateItem> out;
            return server::decode_create_update_request(req.data(), req.size(), out);
        },
        is_status(VLAN_MGR_ERR_BAD_REQUEST));
    EXPECT_GT(allocs, 0);
    std::vector<server::CreateUpdateItem> out;
    ASSERT_EQ(server::decode_create_update_request(req.data(), req.size(), out), 0u);
    EXPECT_EQ(out.size(), 3u);
}

TEST(ServerAllocFailure, ConfigModeDecoderRefusesWhenTheParserCannotAllocate)
{
    vlan_configmode_payload_t msg{};
    vlan_configmode_payload_init(&msg);
    msg.field26 = 1;
    const Payload req = tlv_of(vlan_build_vlan_configmode_change_req, msg);
    const long allocs = sweep(
        [&] {
            server::ConfigModeRequest out;
            return server::decode_configmode_request(req.data(), req.size(), out);
        },
        is_status(VLAN_MGR_ERR_BAD_REQUEST));
    EXPECT_GT(allocs, 0);
}

TEST(ServerAllocFailure, ConfigModeReplyIsNoMemoryWhenTheBuilderCannotAllocate)
{
    const long allocs = sweep([] { return server::encode_configmode_reply(7); }, is_payload(kNoMemory));
    EXPECT_GT(allocs, 0);
    EXPECT_NE(server::encode_configmode_reply(7), kNoMemory);
}

// A length beyond the TLV parsers' 32-bit lengths is refused before a byte
// is read (only a 64-bit size can hold one).
TEST(ServerAllocFailure, TlvDecodersRefuseALengthBeyondThirtyTwoBits)
{
    if (sizeof(size_t) <= sizeof(uint32_t))
        GTEST_SKIP() << "a 32-bit size holds no such length";
    const uint8_t byte = 0;
    const size_t huge = static_cast<size_t>(UINT32_MAX) + 1;
    std::vector<server::CreateUpdateItem> items;
    EXPECT_EQ(server::decode_create_update_request(&byte, huge, items), VLAN_MGR_ERR_BAD_REQUEST);
    server::ConfigModeRequest mode;
    EXPECT_EQ(server::decode_configmode_request(&byte, huge, mode), VLAN_MGR_ERR_BAD_REQUEST);
    server::PortMemb2Request memb;
    EXPECT_EQ(server::decode_port_memb_2_request(&byte, huge, memb), VLAN_MGR_ERR_BAD_REQUEST);
    server::ComprgrpChange change;
    EXPECT_EQ(server::decode_comprgrp_memb_change(&byte, huge, change), VLAN_MGR_ERR_BAD_REQUEST);
}

TEST(ServerAllocFailure, TlvDecodersRefuseANullOrEmptyPayload)
{
    const uint8_t byte = 0;
    std::vector<server::CreateUpdateItem> items;
    EXPECT_EQ(server::decode_create_update_request(nullptr, 8, items), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_create_update_request(&byte, 0, items), VLAN_MGR_ERR_BAD_REQUEST);
    server::ConfigModeRequest mode;
    EXPECT_EQ(server::decode_configmode_request(nullptr, 8, mode), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_configmode_request(&byte, 0, mode), VLAN_MGR_ERR_BAD_REQUEST);
    server::PortMemb2Request memb;
    EXPECT_EQ(server::decode_port_memb_2_request(nullptr, 8, memb), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_port_memb_2_request(&byte, 0, memb), VLAN_MGR_ERR_BAD_REQUEST);
    server::ComprgrpChange change;
    EXPECT_EQ(server::decode_comprgrp_memb_change(nullptr, 8, change), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_comprgrp_memb_change(&byte, 0, change), VLAN_MGR_ERR_BAD_REQUEST);
}

// ---- Membership -------------------------------------------------------------

TEST(ServerAllocFailure, PortMemb2DecoderRefusesWhenTheParserCannotAllocate)
{
    Owned<vlan_get_port_memb_2_req_t> rec(
        static_cast<vlan_get_port_memb_2_req_t *>(std::calloc(1, sizeof(vlan_get_port_memb_2_req_t) + 4 * 3)));
    vlan_get_port_memb_2_req_init(rec.get());
    rec->field0 = 1;
    rec->ifindex_count = 3;
    const uint32_t ports[3] = {0x1a000000, 0x1a000001, 0x1a000002};
    std::memcpy(rec->ifindex, ports, sizeof ports);
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_build_get_port_memb_2_req(rec.get(), &p, &len), 0);
    const Payload req = roundtrip::bytes_of(p, len);
    std::free(p);
    rec.reset();
    const long allocs = sweep(
        [&] {
            server::PortMemb2Request out;
            return server::decode_port_memb_2_request(req.data(), req.size(), out);
        },
        is_status(VLAN_MGR_ERR_BAD_REQUEST));
    EXPECT_GT(allocs, 0);
}

TEST(ServerAllocFailure, ComprgrpDecoderRefusesWhenTheParserCannotAllocate)
{
    vlan_comprgrp_memb_change_notif_t msg{};
    msg.field38 = 0x1a000000;
    msg.vlans.len = VLAN_MGR_BITMAP_BYTES;
    msg.field40 = 3;
    msg.field41 = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_build_comprgrp_memb_change_msg(&msg, &p, &len), 0);
    const Payload req = roundtrip::bytes_of(p, len);
    std::free(p);
    const long allocs = sweep(
        [&] {
            server::ComprgrpChange out;
            return server::decode_comprgrp_memb_change(req.data(), req.size(), out);
        },
        is_status(VLAN_MGR_ERR_BAD_REQUEST));
    EXPECT_GT(allocs, 0);
}

TEST(ServerAllocFailure, ReplySizesAreUnknownWhenTheirRecordCannotBeAllocated)
{
    const long memb = sweep([] { return server::port_memb_2_reply_size(5); },
                            [](uint64_t size) { return size == UINT64_MAX; });
    EXPECT_GT(memb, 0);
    const long trunking = sweep([] { return server::port_trunking_memb_2_reply_size(5); },
                                [](uint64_t size) { return size == UINT64_MAX; });
    EXPECT_GT(trunking, 0);
    EXPECT_NE(server::port_memb_2_reply_size(5), UINT64_MAX);
    EXPECT_NE(server::port_trunking_memb_2_reply_size(5), UINT64_MAX);
}

TEST(ServerAllocFailure, PortMemb2ReplyIsNoMemoryWhenARecordCannotBeAllocated)
{
    const std::vector<server::PortMemb2> entries(4);
    Payload out;
    const long allocs =
        sweep([&] { return server::encode_port_memb_2_reply(entries, out); }, is_status(VLAN_MGR_ERR_NO_MEMORY));
    EXPECT_GT(allocs, 1); // the record and the builder's buffer
    out.clear();
    ASSERT_EQ(server::encode_port_memb_2_reply(entries, out), 0u);
    EXPECT_EQ(out.size(), server::port_memb_2_reply_size(4));
}

TEST(ServerAllocFailure, PortTrunkingMemb2ReplyIsNoMemoryWhenARecordCannotBeAllocated)
{
    std::vector<server::PortTrunkingMemb2> entries(2);
    entries[1].allowed.set(10);
    Payload out;
    const long allocs = sweep([&] { return server::encode_port_trunking_memb_2_reply(entries, out); },
                              is_status(VLAN_MGR_ERR_NO_MEMORY));
    EXPECT_GT(allocs, 1);
    out.clear();
    ASSERT_EQ(server::encode_port_trunking_memb_2_reply(entries, out), 0u);
    EXPECT_EQ(out.size(), server::port_trunking_memb_2_reply_size(2));
}

// ---- Queries ----------------------------------------------------------------

TEST(ServerAllocFailure, QueryTlvRepliesAreNoMemoryWhenARecordCannotBeAllocated)
{
    const auto vlans = created_vlans(5);
    for (const size_t n : {size_t{0}, vlans.size()}) {
        const std::span<const server::CreatedVlan> some(vlans.data(), n);
        EXPECT_GT(sweep([&] { return server::encode_all_created_vlan_2_reply(1, some); }, is_payload(kNoMemory)), 1)
            << n;
        EXPECT_GT(sweep([&] { return server::encode_diag_vlan_info_reply(1, some); }, is_payload(kNoMemory)), 1)
            << n;
        EXPECT_GT(sweep([&] { return server::encode_range_created_vlan_name_reply(some); }, is_payload(kNoMemory)),
                  1)
            << n;
    }
    server::DynRsvdGroups groups;
    groups.single.set(4000);
    EXPECT_GT(sweep([&] { return server::encode_dyn_rsvd_vlan_info_reply(groups); }, is_payload(kNoMemory)), 0);
    EXPECT_NE(server::encode_all_created_vlan_2_reply(1, vlans), kNoMemory);
}

TEST(ServerAllocFailure, QueryTlvDecodersRefuseWhenTheParserCannotAllocate)
{
    const Payload all = tlv_of(vlan_build_get_all_created_vlan_2_req, vlan_get_all_created_vlan_2_req_t{2});
    const Payload diag = tlv_of(vlan_build_get_diag_vlan_info_req, vlan_get_diag_vlan_info_req_t{2});
    const Payload dyn = tlv_of(vlan_build_get_dyn_rsvd_vlan_info_req_msg, vlan_dyn_rsvd_req_t{5});
    vlan_name_req_t rq{};
    rq.vlans.len = VLAN_MGR_BITMAP_BYTES;
    const Payload names = tlv_of(vlan_build_get_range_created_vlan_req_msg, rq);
    EXPECT_GT(sweep(
                  [&] {
                      uint16_t vdc = 0;
                      return server::decode_all_created_vlan_2_request(all.data(), all.size(), vdc);
                  },
                  is_status(VLAN_MGR_ERR_BAD_REQUEST)),
              0);
    EXPECT_GT(sweep(
                  [&] {
                      uint32_t vdc = 0;
                      return server::decode_diag_vlan_info_request(diag.data(), diag.size(), vdc);
                  },
                  is_status(VLAN_MGR_ERR_BAD_REQUEST)),
              0);
    EXPECT_GT(sweep(
                  [&] {
                      uint32_t kind = 0;
                      return server::decode_dyn_rsvd_vlan_info_request(dyn.data(), dyn.size(), kind);
                  },
                  is_status(VLAN_MGR_ERR_BAD_REQUEST)),
              0);
    EXPECT_GT(sweep(
                  [&] {
                      server::VlanBits vlans;
                      return server::decode_range_created_vlan_name_request(names.data(), names.size(), vlans);
                  },
                  is_status(VLAN_MGR_ERR_BAD_REQUEST)),
              0);
}

// ---- Notifications ----------------------------------------------------------

struct NotifResult {
    bool ok;
    std::string error;
};

TEST(ServerAllocFailure, CreateAndDeleteNotificationsSayWhatCouldNotBeMade)
{
    std::vector<server::CreatedVlanNotice> created(3);
    std::vector<server::DeletedVlan> deleted(3);
    for (uint32_t i = 0; i < 3; ++i) {
        created[i].vlan_id = deleted[i].vlan_id = 10 + i;
        created[i].vdc_id = deleted[i].vdc_id = 1;
        created[i].name = deleted[i].name = "v" + std::to_string(i);
    }
    for (const bool create : {true, false}) {
        const std::string what = create ? "create notification" : "delete notification";
        std::vector<std::string> errors;
        const long allocs = sweep(
            [&] {
                Payload out;
                std::string error;
                const bool ok = create ? server::encode_create_notification(created, out, error)
                                       : server::encode_delete_notification(deleted, out, error);
                return NotifResult{ok, error};
            },
            [&](const NotifResult &r) {
                errors.push_back(r.error);
                return !r.ok;
            });
        ASSERT_GT(allocs, 1) << what;
        ASSERT_EQ(errors.size(), static_cast<size_t>(allocs)) << what;
        // The first allocation is the records'; the later ones are the TLV
        // builder's, which reports TLVU_ERR_NO_MEMORY (0x411b0002).
        EXPECT_EQ(errors[0], "out of memory for the " + what);
        for (size_t i = 1; i < errors.size(); ++i)
            EXPECT_EQ(errors[i], what + ": TLV encoding failed, error 0x411b0002") << "allocation " << i + 1;
    }
}

} // namespace
