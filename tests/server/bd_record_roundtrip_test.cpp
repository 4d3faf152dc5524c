// The manager's BD database records: encoder -> the test platform's database
// -> the library's lookups and getters give back what was written.
#include <algorithm>
#include <cstring>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/rsvd.h>
#include <vlan_mgr/server/bd_record.h>

#include "../bd_db/bd_db_test_util.h"
#include "roundtrip.h"
#include "test_platform.h"

namespace server = vlan_mgr::server;
using roundtrip::Gen;
using roundtrip::Owned;

namespace {

constexpr uint32_t kTypes[] = {VLAN_MGR_VLAN_TYPE_NORMAL, VLAN_MGR_VLAN_TYPE_PRIMARY, VLAN_MGR_VLAN_TYPE_ISOLATED,
                               VLAN_MGR_VLAN_TYPE_COMMUNITY};

std::string uri_of(uint16_t vdc)
{
    return vdc == 1 ? bdtest::kUri1 : "volatile:/dev/shm/" + std::to_string(vdc) + "/vlan_mgr_bd_sdb";
}

void put(uint16_t vdc, const server::RecordKey &k, const server::Payload &v)
{
    tp::sdb_put(uri_of(vdc), tp::Bytes(k.bytes, k.bytes + k.len), v);
}

// The stored bytes of a big-endian word, read as the type getter hands
// them out (not converted).
uint32_t stored_bytes(uint32_t v)
{
    uint8_t b[4] = {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8),
                    static_cast<uint8_t>(v)};
    uint32_t out;
    std::memcpy(&out, b, 4);
    return out;
}

class BdRecordRoundTrip : public bdtest::BdDb {};

TEST_F(BdRecordRoundTrip, VlanRecordsOfEveryTypeReadBackThroughTheLookupsAndGetters)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < 60; ++i) {
        bdtest::fresh_tables();
        tp::state().module_type = 232; // a module type with segment ids
        const uint16_t vdc = i % 4 == 0 ? 1 : g.vdc();
        const std::vector<uint32_t> ids = g.vlans(g.size_for(i, 4094));
        std::vector<server::VlanRecord> in;
        vlan_bitmap all;
        std::memset(&all, 0, sizeof all);
        all.len = 512;
        for (size_t k = 0; k < ids.size(); ++k) {
            const uint32_t type = kTypes[(k + static_cast<size_t>(i)) % std::size(kTypes)];
            const bool secondary = type == VLAN_MGR_VLAN_TYPE_ISOLATED || type == VLAN_MGR_VLAN_TYPE_COMMUNITY;
            // Segment ids distinct per VLAN, so that the segment walk finds this one.
            in.push_back({static_cast<uint16_t>(g.in(1, 0xFFFF)), secondary ? g.vlan() : ids[k], type, g.u32(),
                          0x01000000u + ids[k]});
            put(vdc, server::vlan_record_key(vdc, ids[k]), server::encode_vlan_record(in.back()));
            all.bits[ids[k] / 8] |= static_cast<uint8_t>(0x80u >> (ids[k] % 8));
        }
        for (size_t k = 0; k < ids.size(); ++k) {
            vdc_vlan_id_t key;
            key.vdc_id = vdc;
            key.vlan_id = ids[k];
            server::VlanRecord got;
            ASSERT_EQ(vlan_get_bd_and_primary_vlan(key, &got.bd_id, &got.primary), 0u) << "VLAN " << ids[k];
            uint32_t type = 0;
            ASSERT_EQ(vlan_mgr_sdb_get_vlan_type(vdc, ids[k], &type), 0u);
            got.type = stored_bytes(type);
            ASSERT_EQ(vlan_mgr_sdb_get_vlan_mode(vdc, ids[k], &got.mode), 0u);
            ASSERT_EQ(vlan_mgr_sdb_get_vlan_segment_id(vdc, ids[k], &got.segment), 0u);
            ASSERT_EQ(got, in[k]) << "VLAN " << ids[k];
            uint16_t bd = 0;
            ASSERT_EQ(vlan_get_bd(key, &bd), 0u);
            ASSERT_EQ(bd, in[k].bd_id);
        }
        // The multi getters: one pair per VLAN, in ascending order.
        uint32_t count = 0;
        vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
        ASSERT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(vdc, &all, &count, &pairs), 0u);
        Owned<vlan_mgr_sdb_vlan_pair_t> own_modes(pairs);
        ASSERT_EQ(count, ids.size());
        for (size_t k = 0; k < ids.size(); ++k)
            ASSERT_TRUE(pairs[k].vlan_id == ids[k] && pairs[k].value == in[k].mode) << k;
        ASSERT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id(vdc, &all, &count, &pairs), 0u);
        Owned<vlan_mgr_sdb_vlan_pair_t> own_segments(pairs);
        ASSERT_EQ(count, ids.size());
        for (size_t k = 0; k < ids.size(); ++k)
            ASSERT_TRUE(pairs[k].vlan_id == in[k].primary && pairs[k].value == in[k].segment) << k;
        const size_t pick = g.in(0, static_cast<uint32_t>(ids.size() - 1));
        uint32_t by_segment = 0;
        ASSERT_EQ(vlan_mgr_sdb_get_segment_vlan_id(vdc, in[pick].segment, &by_segment), 0u);
        EXPECT_EQ(by_segment, in[pick].primary);
        if (vdc == 1) {
            uint32_t *list = nullptr;
            ASSERT_EQ(vlan_get_secondary_pvlan_list_local(&list, &count), 0u);
            Owned<uint32_t> own_list(list);
            std::vector<uint32_t> want;
            for (size_t k = 0; k < ids.size(); ++k)
                if (in[k].type == VLAN_MGR_VLAN_TYPE_ISOLATED || in[k].type == VLAN_MGR_VLAN_TYPE_COMMUNITY)
                    want.push_back(ids[k]);
            EXPECT_EQ(std::vector<uint32_t>(list, list + count), want);
        }
    }
}

TEST_F(BdRecordRoundTrip, LayerThreeBdAndReservedRangesReadBack)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        bdtest::fresh_tables();
        const uint16_t vdc = g.vdc();
        const uint16_t l3 = g.u16();
        const uint32_t start = g.in(2, 4000), end = g.in(start, 4094);
        const uint32_t fstart = g.in(2, 4000), fend = g.in(fstart, 4094);
        put(vdc, server::l3_bd_key(vdc), server::encode_l3_bd_record(l3));
        put(vdc, server::rsvd_start_key(vdc), server::encode_rsvd_record(static_cast<uint16_t>(start)));
        put(vdc, server::rsvd_end_key(vdc), server::encode_rsvd_record(static_cast<uint16_t>(end)));
        // The future range is read from the own VDC's database.
        put(1, server::future_rsvd_start_key(), server::encode_future_rsvd_record(fstart));
        put(1, server::future_rsvd_end_key(), server::encode_future_rsvd_record(fend));
        uint16_t bd = 0;
        ASSERT_EQ(vlan_get_l3_bd(vdc, &bd), 0u);
        EXPECT_EQ(bd, l3);
        uint32_t s = 0, e = 0;
        ASSERT_EQ(vlan_get_rsvd_vlans(vdc, &s, &e), 0u);
        EXPECT_EQ(s, start);
        EXPECT_EQ(e, end);
        ASSERT_EQ(vlan_get_future_rsvd_vlans_local(&s, &e), 0u);
        EXPECT_EQ(s, fstart);
        EXPECT_EQ(e, fend);
    }
}

TEST_F(BdRecordRoundTrip, AccessEntriesReadBackFromEachPortsSlot)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        bdtest::fresh_tables();
        const size_t n = g.size_for(i, 48);
        std::vector<int32_t> ifs;
        std::vector<server::AccessEntry> in;
        for (size_t k = 0; k < n; ++k) {
            server::AccessEntry a{0x1A000000u + static_cast<uint32_t>(k) * 0x1000u,
                                  g.in(1, 2),
                                  g.vlan(),
                                  1,
                                  g.coin() ? g.vlan() : 0,
                                  static_cast<uint16_t>(g.vlan()),
                                  g.coin()};
            in.push_back(a);
            ifs.push_back(static_cast<int32_t>(a.if_index));
            put(1, server::access_key(a.if_index), server::encode_access_record(a, n));
        }
        uint32_t *raw = nullptr;
        ASSERT_EQ(vlan_mgr_sdb_get_port_accntv_memb(ifs.data(), static_cast<uint32_t>(n), &raw), 0u);
        Owned<uint32_t> own(raw);
        for (size_t k = 0; k < n; ++k) {
            vlan_mgr_sdb_accntv_memb_t e;
            std::memcpy(&e, reinterpret_cast<const uint8_t *>(raw) + sizeof e * k, sizeof e);
            const server::AccessEntry got{e.if_index, e.value1, e.value2, e.value3, e.value4, e.value5, e.value6 == 1};
            ASSERT_EQ(got, in[k]) << "port " << k;
            ASSERT_LE(e.value6, 1u);
        }
    }
}

// The first case reads 4096 ports.
TEST_F(BdRecordRoundTrip, TrunkRecordsReadBack)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < 60; ++i) {
        bdtest::fresh_tables();
        const size_t n = i == 0 ? 4096 : g.size_for(i, 48);
        std::vector<uint32_t> ifs;
        std::vector<server::TrunkPortRecord> in;
        for (size_t k = 0; k < n; ++k) {
            server::TrunkPortRecord t;
            t.if_index = 0x1A000000u + static_cast<uint32_t>(k) * 0x1000u;
            t.vdc_id = 1;
            t.mode = g.in(1, 2);
            t.native_vlan = static_cast<uint16_t>(g.vlan());
            if (k < 4 || g.in(0, 15) == 0) {
                t.configured = g.bits_of(g.vlans(k == 0 ? 4094 : g.size_for(i, 4094)));
                t.active = t.configured & g.bits_of(g.vlans(g.size_for(i, 4094)));
            }
            t.voice_vlan = static_cast<uint16_t>(g.coin() ? g.vlan() : 0);
            t.comprgrp = g.u32();
            in.push_back(t);
            ifs.push_back(t.if_index);
            put(1, server::trunk_key(t.if_index), server::encode_trunk_record(t));
        }
        uint32_t *raw = nullptr;
        ASSERT_EQ(vlan_mgr_sdb_get_port_trunking_memb(1, ifs.data(), static_cast<uint32_t>(n), &raw), 0u);
        Owned<uint32_t> own(raw);
        for (size_t k = 0; k < n; ++k) {
            const uint8_t *e = reinterpret_cast<const uint8_t *>(raw) + sizeof(vlan_mgr_sdb_trunking_memb_t) * k;
            vlan_mgr_sdb_trunking_memb_t h;
            std::memcpy(&h, e, offsetof(vlan_mgr_sdb_trunking_memb_t, bitmap1));
            uint16_t voice;
            uint32_t comprgrp;
            std::memcpy(&voice, e + offsetof(vlan_mgr_sdb_trunking_memb_t, value4), 2);
            std::memcpy(&comprgrp, e + offsetof(vlan_mgr_sdb_trunking_memb_t, value5), 4);
            server::TrunkPortRecord got;
            got.if_index = h.if_index;
            got.vdc_id = h.value1;
            got.mode = h.value2;
            got.native_vlan = h.value3;
            got.configured = server::bits_from_wire(e + offsetof(vlan_mgr_sdb_trunking_memb_t, bitmap1) + 4);
            got.active = server::bits_from_wire(e + offsetof(vlan_mgr_sdb_trunking_memb_t, bitmap2) + 4);
            got.voice_vlan = voice;
            got.comprgrp = comprgrp;
            ASSERT_EQ(got, in[k]) << "port " << k;
        }
    }
}

// ---- Literal bytes -------------------------------------------------------------

TEST(BdRecordEncode, KeysAndSmallRecords)
{
    auto bytes = [](const server::RecordKey &k) { return server::Payload(k.bytes, k.bytes + k.len); };
    EXPECT_EQ(bytes(server::vlan_record_key(2, 100)), (server::Payload{0x02, 0x00, 0x00, 0x64}));
    EXPECT_EQ(bytes(server::vlan_record_key(0x0105, 0x1234567)), (server::Payload{0x05, 0x23, 0x45, 0x67}));
    EXPECT_EQ(bytes(server::l3_bd_key(3)), (server::Payload{0x03, 0x00, 0x10, 0x00}));
    EXPECT_EQ(bytes(server::rsvd_start_key(1)), (server::Payload{0x01, 0x00, 0x10, 0x02}));
    EXPECT_EQ(bytes(server::rsvd_end_key(1)), (server::Payload{0x01, 0x00, 0x10, 0x03}));
    EXPECT_EQ(bytes(server::future_rsvd_start_key()), (server::Payload{9, 0, 0, 0}));
    EXPECT_EQ(bytes(server::future_rsvd_end_key()), (server::Payload{10, 0, 0, 0}));
    // The test platform's hton_if_index swaps the bytes (0x0010001A), kept in
    // host order.
    EXPECT_EQ(bytes(server::access_key(0x1A001000)), (server::Payload{1, 0x1A, 0x00, 0x10, 0x00}));
    EXPECT_EQ(bytes(server::trunk_key(0x1A001000)), (server::Payload{2, 0x1A, 0x00, 0x10, 0x00}));

    EXPECT_EQ(server::encode_vlan_record({20, 10, 4, 0x0102, 0x00ABCDEF}),
              (server::Payload{0, 20, 0, 0, 0, 10, 0, 0, 0, 4, 0, 0, 1, 2, 0, 0xAB, 0xCD, 0xEF}));
    EXPECT_EQ(server::encode_l3_bd_record(0x0FFF), (server::Payload{0x0F, 0xFF}));
    EXPECT_EQ(server::encode_rsvd_record(3968), (server::Payload{0x0F, 0x80}));
    EXPECT_EQ(server::encode_future_rsvd_record(4094), (server::Payload{0, 0, 0, 0, 0x0F, 0xFE}));
}

TEST(BdRecordEncode, AccessRecordRepeatsItsEntryAndTrunkRecordBytes)
{
    const server::AccessEntry a{0x1A000000, 1, 10, 2, 0, 1, true};
    const server::Payload one{0x1A, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 10, 0, 2, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(server::encode_access_record(a, 0), one);
    server::Payload two = one;
    two.insert(two.end(), one.begin(), one.end());
    EXPECT_EQ(server::encode_access_record(a, 2), two);

    server::TrunkPortRecord t;
    t.if_index = 0x1A000000;
    t.vdc_id = 1;
    t.mode = 2;
    t.native_vlan = 1;
    t.configured.set(0).set(1).set(4094).set(4095);
    t.active.set(4094);
    t.voice_vlan = 0x0203;
    t.comprgrp = 0x04050607;
    const server::Payload p = server::encode_trunk_record(t);
    ASSERT_EQ(p.size(), 1050u);
    EXPECT_EQ((server::Payload(p.begin(), p.begin() + 17)),
              (server::Payload{0x1A, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 1, 0, 0, 2, 0, 0x40}));
    EXPECT_EQ(p[16 + 511], 0x02);                                                      // VLAN 4094 only
    EXPECT_EQ((server::Payload(p.begin() + 528, p.begin() + 532)), (server::Payload{0, 0, 2, 0})); // big-endian 512
    EXPECT_EQ(p[532], 0);
    EXPECT_EQ(p[532 + 511], 0x02);
    EXPECT_EQ((server::Payload(p.begin() + 1044, p.end())), (server::Payload{2, 3, 4, 5, 6, 7}));
}

} // namespace
