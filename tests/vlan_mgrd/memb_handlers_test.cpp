// The manager's port membership handlers, driven in-process: every request is
// built with the library's builder and every reply decoded with the library's
// parser (and, for a few, compared with literal bytes).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <vector>

#include <vlan_mgr/membership.h>
#include <vlan_mgr/tlv.h>

#include "handler_test_util.h"
#include "handlers.h"
#include "iftable.h"
#include "state.h"

using namespace vlan_mgrd;
using vlan_mgrd::test::run;
using vlan_mgrd::test::run_built;
using vlan_mgrd::test::be32;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t ifx(uint32_t port) { return 0x01010000u + port; }

Bytes bare(uint32_t status)
{
    return {static_cast<uint8_t>(status >> 24), static_cast<uint8_t>(status >> 16), static_cast<uint8_t>(status >> 8),
            static_cast<uint8_t>(status)};
}

bool bit(const uint8_t *bits, uint32_t v) { return (bits[v / 8] & (0x80u >> (v % 8))) != 0; }

// The VLAN ids set in a 512-byte bitmap.
std::set<uint32_t> bits_of(const uint8_t *bits)
{
    std::set<uint32_t> out;
    for (uint32_t v = 0; v < 4096; ++v)
        if (bit(bits, v))
            out.insert(v);
    return out;
}

vlan_bitmap make_bitmap(std::initializer_list<uint32_t> vlans)
{
    vlan_bitmap b{};
    b.len = 512;
    for (uint32_t v : vlans)
        b.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return b;
}

VlanSet set_of(std::initializer_list<uint32_t> vlans)
{
    VlanSet s;
    for (uint32_t v : vlans)
        s.set(v);
    return s;
}

// What a port's membership is, for comparing the state before and after.
struct PortState {
    uint32_t if_index, mode, access, native, voice, comprgrp;
    VlanSet allowed;
    bool operator==(const PortState &) const = default;
};

std::vector<PortState> snapshot(const Manager &m)
{
    std::vector<PortState> out;
    for (uint16_t d = 1; d <= kVdcCount; ++d)
        for (const Port &p : m.vdc(d).ports)
            out.push_back({p.if_index, p.mode, p.access_vlan, p.native_vlan, p.voice_vlan, p.comprgrp,
                           p.trunk_allowed});
    return out;
}

std::set<uint32_t> marked(const ChangeSet &ch, uint32_t vdc = 1)
{
    return {ch.vdc(vdc).ports.begin(), ch.vdc(vdc).ports.end()};
}

class MembHandlers : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const vlan_mgr_apps::IfEntry &e : vlan_mgr_apps::default_iftable()) {
            Port p;
            p.if_index = e.if_index;
            p.name = e.name;
            m.vdc(e.vdc).ports.push_back(p);
        }
        for (uint32_t v : {10u, 20u, 30u, 100u})
            m.vdc(1).vlans[v].created = true;
    }

    Port &port(uint32_t n) { return *m.vdc(1).port(ifx(n)); }

    using PortBuilder = uint32_t (*)(const uint32_t *, uint32_t, void **, uint32_t *);
    Reply query(uint32_t opcode, PortBuilder build, const std::vector<uint32_t> &ifs, uint16_t src_vdc = 1)
    {
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(build(ifs.data(), static_cast<uint32_t>(ifs.size()), &p, &len), 0u);
        return run_built(m, opcode, p, len, ch, src_vdc);
    }

    Reply per_vlan(uint32_t opcode, const std::vector<uint32_t> &vlans, uint16_t key_vdc = 1, uint16_t src_vdc = 1)
    {
        std::vector<vdc_vlan_id_t> keys;
        for (uint32_t v : vlans)
            keys.push_back({key_vdc, v});
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_get_per_vlan_memb_info_build_mts(keys.data(), static_cast<uint32_t>(keys.size()), &p, &len),
                  0u);
        return run_built(m, opcode, p, len, ch, src_vdc);
    }

    Reply access_update(uint32_t op, uint16_t vdc, uint32_t vlan, const std::vector<uint32_t> &ifs,
                        uint16_t src_vdc = 1)
    {
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_update_port_memb_build_mts(ifs.data(), static_cast<uint32_t>(ifs.size()), {vdc, vlan}, 0, op,
                                                  &p, &len),
                  0u);
        return run_built(m, VLAN_MGR_OPC_UPDATE_PORT_MEMB, p, len, ch, src_vdc);
    }

    Reply trunk_update(int32_t op, const std::vector<uint32_t> &ifs, const std::vector<trunking_update_input> &in,
                       uint16_t src_vdc = 1)
    {
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_update_port_trunking_memb_build_mts(ifs.data(), static_cast<uint32_t>(ifs.size()), in.data(),
                                                           op, &p, &len),
                  0u);
        return run_built(m, VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB, p, len, ch, src_vdc);
    }

    static trunking_update_input input(uint32_t vlan, uint16_t value = 0, vlan_bitmap b = make_bitmap({}),
                                       uint16_t vdc = 1)
    {
        trunking_update_input in{};
        in.vdc_vlan = {vdc, vlan};
        in.id = value;
        in.bitmap = b;
        return in;
    }

    Manager m;
    ChangeSet ch;
};

// ---- Port queries -----------------------------------------------------------------

TEST_F(MembHandlers, ActiveMembGivesTheActiveAccessVlanOfEachPort)
{
    port(1).access_vlan = 10;
    port(2).access_vlan = 300; // configured, never created
    port(3).mode = VLAN_MGR_PORT_MODE_TRUNK;
    port(5).access_vlan = 20;
    m.vdc(1).vlans[20].state = VlanState::Suspended;
    const Reply r = query(VLAN_MGR_OPC_PORT_ACTIVE_MEMB, vlan_get_port_active_memb_build_mts,
                          {ifx(1), ifx(2), ifx(3), ifx(4), ifx(5)});
    ASSERT_EQ(r.size(), 8u + 5 * 10);
    EXPECT_EQ(Bytes(r.begin(), r.begin() + 18),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 5, 0x01, 0x01, 0x00, 0x01, 0x00, 0x01, 0, 0, 0, 10}));

    void *recs = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_port_active_memb_parse_reply(&recs, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 5u);
    const auto *pv = static_cast<const port_vdc_vlan *>(recs);
    const uint32_t want[] = {10, 0, 0, 1, 0};
    for (uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(pv[i].if_index, ifx(i + 1));
        EXPECT_EQ(pv[i].vdc_vlan.vdc_id, 1u);
        EXPECT_EQ(pv[i].vdc_vlan.vlan_id, want[i]) << i;
    }
    std::free(recs);

    ASSERT_EQ(vlan_get_port_active_memb_parse_reply_local(&recs, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 5u);
    EXPECT_EQ(static_cast<const port_vlan_local *>(recs)[0].vlan_id, 10u);
    EXPECT_EQ(static_cast<const port_vlan_local *>(recs)[3].if_index, ifx(4));
    std::free(recs);
    EXPECT_FALSE(ch.any());
}

TEST_F(MembHandlers, VoiceVlanMembGivesTheVoiceVlanOrZero)
{
    port(7).voice_vlan = 100;
    const Reply r = query(VLAN_MGR_OPC_PORT_VOICE_VLAN_MEMB, vlan_get_port_voice_vlan_memb_build_mts, {ifx(7), ifx(8)});
    void *recs = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_port_voice_vlan_memb_parse_reply(&recs, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 2u);
    const auto *pv = static_cast<const port_vdc_vlan *>(recs);
    EXPECT_EQ(pv[0].if_index, ifx(7));
    EXPECT_EQ(pv[0].vdc_vlan.vdc_id, 1u);
    EXPECT_EQ(pv[0].vdc_vlan.vlan_id, 100u);
    EXPECT_EQ(pv[1].if_index, ifx(8));
    EXPECT_EQ(pv[1].vdc_vlan.vlan_id, 0u);
    std::free(recs);
}

TEST_F(MembHandlers, PortMembWordsAreModeAndVoiceVlanWithAccessAndNativeVlans)
{
    port(9).mode = VLAN_MGR_PORT_MODE_TRUNK;
    port(9).native_vlan = 30;
    port(9).access_vlan = 10;
    port(9).voice_vlan = 100;
    const Reply r = query(VLAN_MGR_OPC_PORT_MEMB, vlan_get_port_memb_build_mts, {ifx(9), ifx(10)});
    ASSERT_EQ(r.size(), 8u + 2 * 24);
    EXPECT_EQ(Bytes(r.begin() + 8, r.begin() + 32),
              (Bytes{0x01, 0x01, 0x00, 0x09, 0, 0, 0, 2, 0, 0, 0, 100, 0, 1, 0, 0, 0, 10, 0, 1, 0, 0, 0, 30}));
    void *recs = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_port_memb_parse_reply(&recs, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 2u);
    const auto *pm = static_cast<const port_memb *>(recs);
    EXPECT_EQ(pm[0].if_index, ifx(9));
    EXPECT_EQ(pm[0].word_1, VLAN_MGR_PORT_MODE_TRUNK);
    EXPECT_EQ(pm[0].word_2, 100u);
    EXPECT_EQ(pm[0].vlan_a.vdc_id, 1u);
    EXPECT_EQ(pm[0].vlan_a.vlan_id, 10u);
    EXPECT_EQ(pm[0].vlan_b.vdc_id, 1u);
    EXPECT_EQ(pm[0].vlan_b.vlan_id, 30u);
    EXPECT_EQ(pm[1].word_1, VLAN_MGR_PORT_MODE_ACCESS);
    EXPECT_EQ(pm[1].word_2, 0u);
    EXPECT_EQ(pm[1].vlan_a.vlan_id, 1u);
    EXPECT_EQ(pm[1].vlan_b.vlan_id, 1u);
    std::free(recs);
    ASSERT_EQ(vlan_get_port_memb_parse_reply_local(&recs, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    const auto *pl = static_cast<const port_memb_local *>(recs);
    EXPECT_EQ(pl[0].vlan_a, 10u);
    EXPECT_EQ(pl[0].vlan_b, 30u);
    std::free(recs);
}

TEST_F(MembHandlers, TrunkingMembGivesAllowedAndActiveAllowedBitmaps)
{
    Port &p = port(11);
    p.mode = VLAN_MGR_PORT_MODE_TRUNK;
    p.trunk_allowed = set_of({1, 10, 20, 300});
    p.native_vlan = 10;
    p.access_vlan = 30;
    m.vdc(1).vlans[20].state = VlanState::Suspended;
    const Reply r = query(VLAN_MGR_OPC_PORT_TRUNKING_MEMB, vlan_get_port_trunking_memb_build_mts, {ifx(11)});
    ASSERT_EQ(r.size(), 8u + 1052);
    void *recs = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply(&recs, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 1u);
    const auto *t = static_cast<const port_trunking_memb *>(recs);
    EXPECT_EQ(t->if_index, ifx(11));
    EXPECT_EQ(t->vdc_id_1, 1u);
    EXPECT_EQ(t->vlan_word_1, 10u);
    EXPECT_EQ(t->bitmap_vdc_id, 1u);
    EXPECT_EQ(bits_of(t->bitmap_1.bits), (std::set<uint32_t>{1, 10, 20, 300}));
    EXPECT_EQ(bits_of(t->bitmap_2.bits), (std::set<uint32_t>{1, 10}));
    EXPECT_EQ(t->vdc_id_2, 1u);
    EXPECT_EQ(t->vlan_word_2, 30u);
    std::free(recs);

    // The library's VLAN check over the same reply.
    auto *list = static_cast<port_vlan_check_list *>(std::malloc(4 + 3 * sizeof(port_vlan_check_entry)));
    list->count = 3;
    list->entries[0] = {ifx(11), 300, 9, 9, 9};
    list->entries[1] = {ifx(11), 30, 9, 9, 9};
    list->entries[2] = {ifx(12), 10, 9, 9, 9};
    ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply_check_vlan_local(r.data(), static_cast<uint32_t>(r.size()), list),
              0u);
    EXPECT_EQ(list->entries[0].in_bitmap, 1u);
    EXPECT_EQ(list->entries[0].is_vlan_word_1, 0u);
    EXPECT_EQ(list->entries[1].in_bitmap, 0u);
    EXPECT_EQ(list->entries[1].is_vlan_word_2, 1u);
    EXPECT_EQ(list->entries[2].in_bitmap, 0u);
    std::free(list);
}

TEST_F(MembHandlers, ActiveTrunkingMembIsEmptyForAccessPorts)
{
    port(13).mode = VLAN_MGR_PORT_MODE_TRUNK;
    port(13).trunk_allowed = set_of({1, 10, 11});
    port(14).access_vlan = 10;
    const Reply r =
        query(VLAN_MGR_OPC_PORT_ACTIVE_TRUNKING_MEMB, vlan_get_port_active_trunking_memb_build_mts, {ifx(13), ifx(14)});
    ASSERT_EQ(r.size(), 8u + 2 * 524);
    uint32_t *ids = nullptr;
    void *maps = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_port_active_trunking_memb_parse_reply(&ids, &n, &maps, r.data(), static_cast<uint32_t>(r.size())),
              0u);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(ids[0], ifx(13));
    EXPECT_EQ(ids[1], ifx(14));
    const auto *b = static_cast<const port_active_trunking *>(maps);
    EXPECT_EQ(b[0].vdc_id, 1u);
    EXPECT_EQ(bits_of(b[0].bitmap.bits), (std::set<uint32_t>{1, 10}));
    EXPECT_EQ(bits_of(b[1].bitmap.bits), std::set<uint32_t>{});
    std::free(ids);
    std::free(maps);
}

TEST_F(MembHandlers, PortQueryNamingAnUnknownPortIsRefused)
{
    const uint32_t ops[] = {VLAN_MGR_OPC_PORT_ACTIVE_MEMB, VLAN_MGR_OPC_PORT_VOICE_VLAN_MEMB, VLAN_MGR_OPC_PORT_MEMB,
                            VLAN_MGR_OPC_PORT_TRUNKING_MEMB, VLAN_MGR_OPC_PORT_ACTIVE_TRUNKING_MEMB};
    for (uint32_t op : ops) {
        const Reply r = query(op, vlan_get_port_memb_build_mts, {ifx(1), 0x02020202u});
        EXPECT_EQ(r, bare(VLAN_MGR_ERR_UNKNOWN_PORT)) << std::hex << op;
    }
    // VDC 2 has no ports: VDC 1's ports are unknown there.
    EXPECT_EQ(query(VLAN_MGR_OPC_PORT_MEMB, vlan_get_port_memb_build_mts, {ifx(1)}, 2), bare(VLAN_MGR_ERR_UNKNOWN_PORT));
    void *recs = nullptr;
    uint32_t n = 0;
    const Reply r = query(VLAN_MGR_OPC_PORT_MEMB, vlan_get_port_memb_build_mts, {0x02020202u});
    EXPECT_EQ(vlan_get_port_memb_parse_reply(&recs, &n, r.data(), static_cast<uint32_t>(r.size())),
              VLAN_MGR_ERR_UNKNOWN_PORT);
    EXPECT_EQ(n, 0u);
}

TEST_F(MembHandlers, PortQueryWithTrailingBytesOrNoPortsIsBadRequest)
{
    const Bytes extra = {0, 0, 0, 1, 0x01, 0x01, 0x00, 0x01, 0};
    EXPECT_EQ(run(m, VLAN_MGR_OPC_PORT_MEMB, extra, ch), bare(VLAN_MGR_ERR_BAD_REQUEST));
    const Bytes none = {0, 0, 0, 0};
    EXPECT_EQ(run(m, VLAN_MGR_OPC_PORT_MEMB, none, ch), bare(VLAN_MGR_ERR_BAD_REQUEST));
    const Bytes huge = {0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x01, 0x00, 0x01};
    EXPECT_EQ(run(m, VLAN_MGR_OPC_PORT_TRUNKING_MEMB, huge, ch), bare(VLAN_MGR_ERR_BAD_REQUEST));
}

// ---- Per-VLAN queries -------------------------------------------------------------

TEST_F(MembHandlers, PerVlanQueriesListTrunkAccessAndAllMembers)
{
    for (uint32_t n = 1; n <= 48; ++n) // no trunk port carries VLAN 10 unless told below
        port(n).trunk_allowed.reset(10);
    port(1).access_vlan = 10;
    port(2).mode = VLAN_MGR_PORT_MODE_TRUNK;
    port(2).trunk_allowed = set_of({10, 20});
    port(3).voice_vlan = 10;
    port(4).mode = VLAN_MGR_PORT_MODE_TRUNK;
    port(4).access_vlan = 10; // ignored in trunk mode
    port(4).trunk_allowed = set_of({20});

    const Reply all = per_vlan(VLAN_MGR_OPC_PER_VLAN_MEMB, {10, 30});
    // Status, 2 groups: (1, 10) with 3 ports, (1, 30) with none.
    const Bytes want = {0, 0, 0, 0, 0, 0, 0, 2,                                   //
                        0, 1, 0, 0, 0, 10, 0, 0, 0, 3,                            //
                        0x01, 0x01, 0x00, 0x01, 0x01, 0x01, 0x00, 0x02, 0x01, 0x01, 0x00, 0x03, //
                        0, 1, 0, 0, 0, 30, 0, 0, 0, 0};
    EXPECT_EQ(all, want);

    vlan_port_memb *recs = nullptr;
    uint32_t n = 0;
    Reply r = per_vlan(VLAN_MGR_OPC_PER_VLAN_TRUNKING_MEMB, {10, 20});
    ASSERT_EQ(vlan_get_per_vlan_trunking_memb_info_parse_reply(&recs, &n, r.data(), static_cast<uint32_t>(r.size())),
              0u);
    ASSERT_EQ(n, 3u);
    EXPECT_EQ(recs[0].vdc_vlan.vdc_id, 1u);
    EXPECT_EQ(recs[0].vdc_vlan.vlan_id, 10u);
    EXPECT_EQ(recs[0].if_index, ifx(2));
    EXPECT_EQ(recs[1].vdc_vlan.vlan_id, 20u);
    EXPECT_EQ(recs[1].if_index, ifx(2));
    EXPECT_EQ(recs[2].vdc_vlan.vlan_id, 20u);
    EXPECT_EQ(recs[2].if_index, ifx(4));
    std::free(recs);

    vlan_port_memb_local *loc = nullptr;
    r = per_vlan(VLAN_MGR_OPC_PER_VLAN_ACCESS_MEMB, {10});
    ASSERT_EQ(vlan_get_per_vlan_access_memb_info_parse_reply_local(&loc, &n, r.data(), static_cast<uint32_t>(r.size())),
              0u);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(loc[0].vlan_id, 10u);
    EXPECT_EQ(loc[0].if_index, ifx(1));
    EXPECT_EQ(loc[1].if_index, ifx(3));
    std::free(loc);

    // A VLAN no port carries: the parser reports no entries.
    r = per_vlan(VLAN_MGR_OPC_PER_VLAN_ACCESS_MEMB, {30});
    EXPECT_EQ(vlan_get_per_vlan_access_memb_info_parse_reply(&recs, &n, r.data(), static_cast<uint32_t>(r.size())),
              VLAN_MGR_ERR_NO_ENTRIES);
}

TEST_F(MembHandlers, PerVlanQueryWithVlanOutOfRangeIsRefused)
{
    const Bytes req = {0, 0, 0, 1, 0, 1, 0, 0, 0x0F, 0xFF};
    EXPECT_EQ(run(m, VLAN_MGR_OPC_PER_VLAN_MEMB, req, ch), bare(VLAN_MGR_ERR_INVALID_VLAN));
    const Bytes zero = {0, 0, 0, 1, 0, 1, 0, 0, 0, 0};
    EXPECT_EQ(run(m, VLAN_MGR_OPC_PER_VLAN_MEMB, zero, ch), bare(VLAN_MGR_ERR_INVALID_VLAN));
}

TEST_F(MembHandlers, FortyEightTrunkPortsByAllVlans)
{
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        m.vdc(1).vlans[v].created = true;
    std::vector<uint32_t> ifs;
    for (uint32_t n = 1; n <= 48; ++n) {
        port(n).mode = VLAN_MGR_PORT_MODE_TRUNK;
        ifs.push_back(ifx(n));
    }
    Reply r = query(VLAN_MGR_OPC_PORT_TRUNKING_MEMB, vlan_get_port_trunking_memb_build_mts, ifs);
    void *recs = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply_local(&recs, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 48u);
    const auto *t = static_cast<const port_trunking_memb_local *>(recs);
    for (uint32_t i = 0; i < 48; ++i) {
        EXPECT_EQ(t[i].if_index, ifx(i + 1));
        EXPECT_EQ(t[i].bitmap_1.len, 512u);
        EXPECT_EQ(bits_of(t[i].bitmap_1.bits).size(), 4094u);
        EXPECT_EQ(bits_of(t[i].bitmap_2.bits).size(), 4094u);
        EXPECT_FALSE(bit(t[i].bitmap_1.bits, 0));
        EXPECT_FALSE(bit(t[i].bitmap_1.bits, 4095));
    }
    std::free(recs);

    std::vector<uint32_t> vlans;
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        vlans.push_back(v);
    r = per_vlan(VLAN_MGR_OPC_PER_VLAN_TRUNKING_MEMB, vlans);
    EXPECT_EQ(r.size(), 8u + 4094 * (10 + 48 * 4));
    vlan_port_memb_local *loc = nullptr;
    ASSERT_EQ(vlan_get_per_vlan_trunking_memb_info_parse_reply_local(&loc, &n, r.data(), static_cast<uint32_t>(r.size())),
              0u);
    ASSERT_EQ(n, 4094u * 48);
    uint32_t bad = 0;
    for (uint32_t i = 0; i < n; ++i)
        if (loc[i].vlan_id != i / 48 + 1 || loc[i].if_index != ifx(i % 48 + 1))
            ++bad;
    EXPECT_EQ(bad, 0u);
    std::free(loc);

    // No access member anywhere.
    r = per_vlan(VLAN_MGR_OPC_PER_VLAN_ACCESS_MEMB, vlans);
    EXPECT_EQ(r.size(), 8u + 4094 * 10);
}

// ---- Access updates ---------------------------------------------------------------

TEST_F(MembHandlers, AccessSetVlanChangesAndMarksOnlyChangedPorts)
{
    port(2).access_vlan = 10;
    const Reply r = access_update(1, 1, 10, {ifx(1), ifx(2), ifx(3)});
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 1, 0, 0, 0, 10}));
    vdc_vlan_id_t key{};
    EXPECT_EQ(vlan_update_port_memb_parse_reply(&key, r.data(), static_cast<uint32_t>(r.size())), 0u);
    EXPECT_EQ(key.vdc_id, 1u);
    EXPECT_EQ(key.vlan_id, 10u);
    EXPECT_EQ(port(1).access_vlan, 10u);
    EXPECT_EQ(port(3).access_vlan, 10u);
    EXPECT_EQ(port(4).access_vlan, 1u);
    EXPECT_EQ(marked(ch), (std::set<uint32_t>{ifx(1), ifx(3)}));
}

TEST_F(MembHandlers, AccessSetVlanToAVlanNotCreatedIsConfiguredInactive)
{
    const Reply r = access_update(1, 1, 300, {ifx(5)});
    uint32_t vlan = 0;
    EXPECT_EQ(vlan_update_port_memb_parse_reply_local(&vlan, r.data(), static_cast<uint32_t>(r.size())), 0u);
    EXPECT_EQ(vlan, 300u);
    EXPECT_EQ(port(5).access_vlan, 300u);
    EXPECT_EQ(marked(ch), std::set<uint32_t>{ifx(5)});
    ChangeSet none;
    const Reply a = run(m, VLAN_MGR_OPC_PORT_ACTIVE_MEMB, Bytes{0, 0, 0, 1, 0x01, 0x01, 0x00, 0x05}, none);
    EXPECT_EQ(a, (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0x01, 0x01, 0x00, 0x05, 0, 1, 0, 0, 0, 0}));
    // Created later, the port is active in it.
    m.vdc(1).vlans[300].created = true;
    const Reply b = run(m, VLAN_MGR_OPC_PORT_ACTIVE_MEMB, Bytes{0, 0, 0, 1, 0x01, 0x01, 0x00, 0x05}, none);
    EXPECT_EQ(b, (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0x01, 0x01, 0x00, 0x05, 0, 1, 0, 0, 0x01, 0x2C}));
}

TEST_F(MembHandlers, AccessSetVoiceVlanAndRemove)
{
    Reply r = access_update(9, 1, 100, {ifx(6), ifx(7)});
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 1, 0, 0, 0, 100}));
    EXPECT_EQ(port(6).voice_vlan, 100u);
    EXPECT_EQ(port(7).voice_vlan, 100u);
    EXPECT_EQ(marked(ch), (std::set<uint32_t>{ifx(6), ifx(7)}));

    port(6).access_vlan = 100;
    port(8).access_vlan = 20;
    ch = ChangeSet{};
    r = access_update(13, 1, 100, {ifx(6), ifx(7), ifx(8)});
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 1, 0, 0, 0, 100}));
    EXPECT_EQ(port(6).access_vlan, 1u);
    EXPECT_EQ(port(6).voice_vlan, 0u);
    EXPECT_EQ(port(7).voice_vlan, 0u);
    EXPECT_EQ(port(7).access_vlan, 1u);
    EXPECT_EQ(port(8).access_vlan, 20u); // not in VLAN 100: untouched
    EXPECT_EQ(marked(ch), (std::set<uint32_t>{ifx(6), ifx(7)}));
}

TEST_F(MembHandlers, AccessUpdateRefusalsChangeNothing)
{
    m.vdc(1).reserved.set(3968);
    const auto before = snapshot(m);
    for (uint32_t op : {1u, 9u}) {
        Reply r = access_update(op, 1, 3968, {ifx(1)});
        EXPECT_EQ(r, (Bytes{0x41, 0x10, 0x00, 0xC2, 0, 1, 0, 0, 0x0F, 0x80}));
        vdc_vlan_id_t key{};
        EXPECT_EQ(vlan_update_port_memb_parse_reply(&key, r.data(), static_cast<uint32_t>(r.size())),
                  VLAN_MGR_ERR_VLAN_RESERVED);
        r = access_update(op, 1, 4095, {ifx(1)});
        EXPECT_EQ(be32(r, 0), VLAN_MGR_ERR_INVALID_VLAN);
        r = access_update(op, 1, 0, {ifx(1)});
        EXPECT_EQ(be32(r, 0), VLAN_MGR_ERR_INVALID_VLAN);
        // One unknown port refuses the whole list, the known ports included.
        EXPECT_EQ(access_update(op, 1, 10, {ifx(1), 0x7777u}), bare(VLAN_MGR_ERR_UNKNOWN_PORT));
        EXPECT_EQ(access_update(op, 2, 10, {ifx(1)}), bare(VLAN_MGR_ERR_VDC_MISMATCH));
    }
    EXPECT_EQ(access_update(13, 1, 0, {ifx(1)}), (Bytes{0x41, 0x10, 0x00, 0x12, 0, 1, 0, 0, 0, 0}));
    const Bytes bad_op = {0, 0, 0, 2, 0, 1, 0, 0, 0, 10, 0, 0, 0, 1, 0x01, 0x01, 0x00, 0x01};
    EXPECT_EQ(run(m, VLAN_MGR_OPC_UPDATE_PORT_MEMB, bad_op, ch), bare(VLAN_MGR_ERR_ACCESS_UPD_OP));
    EXPECT_EQ(snapshot(m), before);
    EXPECT_FALSE(ch.any());
}

// ---- Trunking updates -------------------------------------------------------------

struct TrunkResult {
    uint32_t status;
    trunking_update_result *res;
};

TrunkResult parse_trunk(const Reply &r)
{
    trunking_update_result *res = nullptr;
    const uint32_t st = vlan_update_port_trunking_memb_parse_reply(&res, r.data());
    return {st, res};
}

TEST_F(MembHandlers, TrunkingSetAddRemoveAllowedVlans)
{
    Reply r = trunk_update(2, {ifx(1), ifx(2)}, {input(10, 0, make_bitmap({10, 20})), input(10, 0, make_bitmap({30}))});
    // Status, operation 2, VDC 1, VLAN 10, two pairs.
    const Bytes want = {0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0, 0, 0, 10, 0, 0, 0, 2, //
                        0x01, 0x01, 0x00, 0x01, 0, 0, 0, 0, 0x01, 0x01, 0x00, 0x02, 0, 0, 0, 0};
    EXPECT_EQ(r, want);
    TrunkResult t = parse_trunk(r);
    ASSERT_EQ(t.status, 0u);
    EXPECT_EQ(t.res->op, 2u);
    EXPECT_EQ(t.res->vdc_id, 1u);
    EXPECT_EQ(t.res->vlan_id, 10u);
    ASSERT_EQ(t.res->count, 2u);
    EXPECT_EQ(t.res->pairs[0].word_1, ifx(1));
    EXPECT_EQ(t.res->pairs[1].word_2, 0u);
    std::free(t.res);
    EXPECT_EQ(port(1).trunk_allowed, set_of({10, 20}));
    EXPECT_EQ(port(2).trunk_allowed, set_of({30}));
    EXPECT_EQ(marked(ch), (std::set<uint32_t>{ifx(1), ifx(2)}));

    ch = ChangeSet{};
    r = trunk_update(3, {ifx(1)}, {input(0, 0, make_bitmap({30, 4094}))});
    EXPECT_EQ(be32(r, 0), 0u);
    EXPECT_EQ(port(1).trunk_allowed, set_of({10, 20, 30, 4094}));
    r = trunk_update(4, {ifx(1), ifx(2)}, {input(0, 0, make_bitmap({10, 4094})), input(0, 0, make_bitmap({10}))});
    EXPECT_EQ(port(1).trunk_allowed, set_of({20, 30}));
    EXPECT_EQ(port(2).trunk_allowed, set_of({30}));
    EXPECT_EQ(marked(ch), std::set<uint32_t>{ifx(1)}); // port 2 did not carry VLAN 10
}

TEST_F(MembHandlers, TrunkingAllNoneNativeAndMode)
{
    Reply r = trunk_update(11, {ifx(3)}, {input(0)});
    EXPECT_TRUE(port(3).trunk_allowed.none());
    r = trunk_update(5, {ifx(3)}, {input(0)});
    EXPECT_EQ(port(3).trunk_allowed.count(), 4094u);
    EXPECT_FALSE(port(3).trunk_allowed.test(0));
    EXPECT_FALSE(port(3).trunk_allowed.test(4095));

    r = trunk_update(9, {ifx(3), ifx(4)}, {input(20), input(30)});
    TrunkResult t = parse_trunk(r);
    ASSERT_EQ(t.status, 0u);
    EXPECT_EQ(t.res->op, 9u);
    EXPECT_EQ(t.res->vlan_id, 20u);
    std::free(t.res);
    EXPECT_EQ(port(3).native_vlan, 20u);
    EXPECT_EQ(port(4).native_vlan, 30u);

    ch = ChangeSet{};
    r = trunk_update(12, {ifx(3), ifx(4), ifx(5)},
                     {input(0, VLAN_MGR_PORT_MODE_TRUNK), input(0, VLAN_MGR_PORT_MODE_ACCESS), input(0, 7)});
    trunking_update_result_local *loc = nullptr;
    ASSERT_EQ(vlan_update_port_trunking_memb_parse_reply_local(&loc, r.data()), 0u);
    ASSERT_EQ(loc->count, 3u);
    EXPECT_EQ(loc->pairs[0].word_2, 0u);
    EXPECT_EQ(loc->pairs[1].word_2, 0u);
    EXPECT_EQ(loc->pairs[2].word_1, ifx(5));
    EXPECT_EQ(loc->pairs[2].word_2, VLAN_MGR_ERR_INVALID_ARG);
    std::free(loc);
    EXPECT_EQ(port(3).mode, VLAN_MGR_PORT_MODE_TRUNK);
    EXPECT_EQ(port(4).mode, VLAN_MGR_PORT_MODE_ACCESS);
    EXPECT_EQ(port(5).mode, VLAN_MGR_PORT_MODE_ACCESS);
    EXPECT_EQ(marked(ch), std::set<uint32_t>{ifx(3)}); // port 4 was in access mode already
}

TEST_F(MembHandlers, TrunkingPerPortRefusals)
{
    m.vdc(1).reserved.set(3968);
    const VlanSet before1 = port(1).trunk_allowed;
    Reply r = trunk_update(2, {ifx(1), 0x7777u, ifx(2)},
                           {input(0, 0, make_bitmap({10, 3968})), input(0, 0, make_bitmap({10})),
                            input(0, 0, make_bitmap({10}))});
    TrunkResult t = parse_trunk(r);
    ASSERT_EQ(t.status, 0u);
    ASSERT_EQ(t.res->count, 3u);
    EXPECT_EQ(t.res->pairs[0].word_2, VLAN_MGR_ERR_VLAN_RESERVED);
    EXPECT_EQ(t.res->pairs[1].word_1, 0x7777u);
    EXPECT_EQ(t.res->pairs[1].word_2, VLAN_MGR_ERR_UNKNOWN_PORT);
    EXPECT_EQ(t.res->pairs[2].word_2, 0u);
    std::free(t.res);
    EXPECT_EQ(port(1).trunk_allowed, before1);
    EXPECT_EQ(port(2).trunk_allowed, set_of({10}));
    EXPECT_EQ(marked(ch), std::set<uint32_t>{ifx(2)});

    r = trunk_update(3, {ifx(1)}, {input(0, 0, make_bitmap({0, 10}))});
    EXPECT_EQ(be32(r, 22), VLAN_MGR_ERR_INVALID_VLAN);
    r = trunk_update(9, {ifx(1), ifx(2)}, {input(3968), input(4095)});
    EXPECT_EQ(be32(r, 22), VLAN_MGR_ERR_VLAN_RESERVED);
    EXPECT_EQ(be32(r, 30), VLAN_MGR_ERR_INVALID_VLAN);
    EXPECT_EQ(port(1).native_vlan, 1u);
    EXPECT_EQ(port(2).native_vlan, 1u);

    // A record of another VDC refuses the whole request.
    const auto snap = snapshot(m);
    EXPECT_EQ(trunk_update(11, {ifx(1), ifx(2)}, {input(0), input(0, 0, make_bitmap({}), 2)}),
              bare(VLAN_MGR_ERR_VDC_MISMATCH));
    EXPECT_EQ(snapshot(m), snap);
    // An operation the manager does not know.
    Bytes req(8 + 528, 0);
    req[3] = 6;
    req[7] = 1;
    EXPECT_EQ(run(m, VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB, req, ch), bare(VLAN_MGR_ERR_TRUNK_UPD_OP));
}

// ---- Port VLAN membership info ---------------------------------------------------

TEST_F(MembHandlers, PortVlanMembInfoListsThePortsCarryingTheAskedVlans)
{
    port(1).access_vlan = 10;
    port(2).mode = VLAN_MGR_PORT_MODE_TRUNK;
    port(2).trunk_allowed = set_of({200, 300});
    port(3).access_vlan = 20;
    std::vector<port_vlan_memb_info> recs(4);
    recs[0] = {ifx(1), {1, 5}, {1, 15}, make_bitmap({})};     // range 5..15 holds 10: yes
    recs[1] = {ifx(2), {1, 0}, {1, 0}, make_bitmap({300})};   // bitmap 300: yes
    recs[2] = {ifx(3), {1, 21}, {1, 30}, make_bitmap({19})};  // neither: no
    recs[3] = {ifx(1), {1, 0}, {1, 0}, make_bitmap({1, 2})};  // no
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(recs.data(), 4, &p, &len), 0u);
    const Reply r = run_built(m, VLAN_MGR_OPC_PORT_VLAN_MEMB_INFO, p, len, ch);
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0x01, 0x01, 0x00, 0x01, 0x01, 0x01, 0x00, 0x02}));
    uint32_t *ids = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(ids[0], ifx(1));
    EXPECT_EQ(ids[1], ifx(2));
    std::free(ids);
    EXPECT_FALSE(ch.any());

    // A backwards range, an unknown port, another VDC.
    recs[0].vlan_1.vlan_id = 16;
    ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(recs.data(), 1, &p, &len), 0u);
    EXPECT_EQ(run_built(m, VLAN_MGR_OPC_PORT_VLAN_MEMB_INFO, p, len, ch), bare(VLAN_MGR_ERR_INVALID_VLAN));
    recs[1].if_index = 0x7777u;
    ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(&recs[1], 1, &p, &len), 0u);
    EXPECT_EQ(run_built(m, VLAN_MGR_OPC_PORT_VLAN_MEMB_INFO, p, len, ch), bare(VLAN_MGR_ERR_UNKNOWN_PORT));
    recs[3].vlan_2.vdc_id = 3;
    ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(&recs[3], 1, &p, &len), 0u);
    EXPECT_EQ(run_built(m, VLAN_MGR_OPC_PORT_VLAN_MEMB_INFO, p, len, ch), bare(VLAN_MGR_ERR_VDC_MISMATCH));
}

// ---- TLV messages -----------------------------------------------------------------

// A port membership request of the TLV family: VDC id in field 0, then ports.
Bytes tlv_port_req(uint32_t vdc, const std::vector<uint32_t> &ifs)
{
    const size_t size = sizeof(vlan_get_port_memb_2_req_t) + 4 * ifs.size();
    auto *rec = static_cast<vlan_get_port_memb_2_req_t *>(std::calloc(1, size));
    vlan_get_port_memb_2_req_init(rec);
    rec->field0 = vdc;
    rec->ifindex_count = static_cast<uint32_t>(ifs.size());
    for (size_t i = 0; i < ifs.size(); ++i)
        rec->ifindex[i] = ifs[i];
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_build_get_port_memb_2_req(rec, &tlv, &len), 0);
    std::free(rec);
    Bytes out(static_cast<const uint8_t *>(tlv), static_cast<const uint8_t *>(tlv) + len);
    std::free(tlv);
    return out;
}

TEST_F(MembHandlers, TlvPortMembGivesEachPortWithItsStatus)
{
    port(1).mode = VLAN_MGR_PORT_MODE_TRUNK;
    port(1).native_vlan = 20;
    port(2).access_vlan = 10;
    port(2).voice_vlan = 100;
    const Reply r = run(m, VLAN_MGR_OPC_PORT_MEMB_2, tlv_port_req(1, {ifx(1), ifx(2), 0x7777u}), ch);
    vlan_get_port_memb_2_rsp_t *rsp = nullptr;
    ASSERT_EQ(vlan_parse_get_port_memb_2_rsp(r.data(), static_cast<uint32_t>(r.size()), &rsp), 0);
    EXPECT_EQ(rsp->field4, 0u);
    ASSERT_EQ(rsp->count, 3u);
    const vlan_get_port_memb_2_t &a = rsp->data[0], &b = rsp->data[1], &c = rsp->data[2];
    EXPECT_EQ(a.field3, ifx(1));
    EXPECT_EQ(a.field6, VLAN_MGR_PORT_MODE_TRUNK);
    EXPECT_EQ(a.field7, 1u);
    EXPECT_EQ(a.field8, 0u);
    EXPECT_EQ(a.field9, 20u);
    EXPECT_EQ(a.field10, 0u);
    EXPECT_EQ(b.field6, VLAN_MGR_PORT_MODE_ACCESS);
    EXPECT_EQ(b.field7, 10u);
    EXPECT_EQ(b.field8, 100u);
    EXPECT_EQ(b.field9, 1u);
    EXPECT_EQ(c.field3, 0x7777u);
    EXPECT_EQ(c.field10, VLAN_MGR_ERR_UNKNOWN_PORT);
    std::free(rsp);
    EXPECT_FALSE(ch.any());
}

TEST_F(MembHandlers, TlvTrunkingMembGivesBitmaps)
{
    port(4).mode = VLAN_MGR_PORT_MODE_TRUNK;
    port(4).trunk_allowed = set_of({10, 11, 4094});
    port(4).native_vlan = 10;
    const Reply r = run(m, VLAN_MGR_OPC_PORT_TRUNKING_MEMB_2, tlv_port_req(1, {ifx(4), 0x7777u}), ch);
    vlan_get_port_trunking_memb_2_rsp_t *rsp = nullptr;
    ASSERT_EQ(vlan_parse_get_port_trunking_memb_2_rsp(r.data(), static_cast<uint32_t>(r.size()), &rsp), 0);
    EXPECT_EQ(rsp->field0, 0u);
    ASSERT_EQ(rsp->count, 2u);
    const vlan_get_port_trunking_memb_2_t &a = rsp->data[0];
    EXPECT_EQ(a.field3, ifx(4));
    EXPECT_EQ(a.field4, VLAN_MGR_PORT_MODE_TRUNK);
    EXPECT_EQ(a.field5, 10u);
    EXPECT_EQ(a.vlans6.len, 512u);
    EXPECT_EQ(bits_of(a.vlans6.bits), (std::set<uint32_t>{10, 11, 4094}));
    EXPECT_EQ(bits_of(a.vlans7.bits), std::set<uint32_t>{10});
    EXPECT_EQ(a.field8, 0u);
    EXPECT_EQ(rsp->data[1].field3, 0x7777u);
    EXPECT_EQ(rsp->data[1].field8, VLAN_MGR_ERR_UNKNOWN_PORT);
    EXPECT_TRUE(bits_of(rsp->data[1].vlans6.bits).empty());
    std::free(rsp);
}

Bytes comprgrp_msg(uint32_t if_index, uint16_t group, uint16_t vdc)
{
    vlan_comprgrp_memb_change_notif_t rec{};
    rec.field38 = if_index;
    rec.vlans = make_bitmap({10});
    rec.field40 = group;
    rec.field41 = vdc;
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_build_comprgrp_memb_change_msg(&rec, &tlv, &len), 0);
    Bytes out(static_cast<const uint8_t *>(tlv), static_cast<const uint8_t *>(tlv) + len);
    std::free(tlv);
    return out;
}

TEST_F(MembHandlers, ComprgrpChangeStoresTheGroup)
{
    EXPECT_EQ(run(m, VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE, comprgrp_msg(ifx(12), 7, 1), ch), bare(0));
    EXPECT_EQ(port(12).comprgrp, 7u);
    EXPECT_EQ(marked(ch), std::set<uint32_t>{ifx(12)});
    ChangeSet again;
    EXPECT_EQ(run(m, VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE, comprgrp_msg(ifx(12), 7, 1), again), bare(0));
    EXPECT_FALSE(again.any());
    EXPECT_EQ(run(m, VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE, comprgrp_msg(0x7777u, 7, 1), again),
              bare(VLAN_MGR_ERR_UNKNOWN_PORT));
    EXPECT_EQ(run(m, VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE, comprgrp_msg(ifx(13), 7, 2), again),
              bare(VLAN_MGR_ERR_VDC_MISMATCH));
    EXPECT_EQ(port(13).comprgrp, 0u);
    EXPECT_FALSE(again.any());
    // Another record type is not this request.
    EXPECT_EQ(run(m, VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE, tlv_port_req(1, {ifx(1)}), again),
              bare(VLAN_MGR_ERR_BAD_REQUEST));
}

// ---- The VDC rule ---------------------------------------------------------------

TEST_F(MembHandlers, RequestsNamingAnotherVdcAreRefused)
{
    const auto before = snapshot(m);
    const Bytes mismatch = bare(0x41100013u);
    EXPECT_EQ(per_vlan(VLAN_MGR_OPC_PER_VLAN_MEMB, {10}, 1, 2), mismatch);
    EXPECT_EQ(per_vlan(VLAN_MGR_OPC_PER_VLAN_TRUNKING_MEMB, {10}, 1, 2), mismatch);
    EXPECT_EQ(per_vlan(VLAN_MGR_OPC_PER_VLAN_ACCESS_MEMB, {10}, 1, 2), mismatch);
    EXPECT_EQ(access_update(1, 2, 10, {ifx(1)}), mismatch);
    EXPECT_EQ(access_update(1, 6, 10, {ifx(1)}, 6), mismatch);
    EXPECT_EQ(access_update(1, 0, 10, {ifx(1)}), mismatch);
    EXPECT_EQ(trunk_update(5, {ifx(1)}, {input(0, 0, make_bitmap({}), 1)}, 2), mismatch);
    EXPECT_EQ(run(m, VLAN_MGR_OPC_PORT_MEMB_2, tlv_port_req(2, {ifx(1)}), ch), mismatch);
    EXPECT_EQ(run(m, VLAN_MGR_OPC_PORT_TRUNKING_MEMB_2, tlv_port_req(1, {ifx(1)}), ch, 3), mismatch);
    EXPECT_EQ(run(m, VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE, comprgrp_msg(ifx(1), 4, 1), ch, 2), mismatch);
    // A request without a VDC id from a requester outside 1..5.
    EXPECT_EQ(query(VLAN_MGR_OPC_PORT_ACTIVE_MEMB, vlan_get_port_active_memb_build_mts, {ifx(1)}, 6), mismatch);
    EXPECT_EQ(snapshot(m), before);
    EXPECT_FALSE(ch.any());
}

// ---- Truncated requests ----------------------------------------------------------

TEST_F(MembHandlers, EveryRequestCutShortIsBadRequestAndChangesNothing)
{
    struct Case {
        uint32_t opcode;
        Bytes req;
    };
    std::vector<Case> cases;
    auto take = [](void *p, uint32_t len) {
        Bytes b(static_cast<const uint8_t *>(p), static_cast<const uint8_t *>(p) + len);
        std::free(p);
        return b;
    };
    const uint32_t ifs[] = {ifx(1), ifx(2)};
    void *p = nullptr;
    uint32_t len = 0;
    const uint32_t port_ops[] = {VLAN_MGR_OPC_PORT_ACTIVE_MEMB, VLAN_MGR_OPC_PORT_VOICE_VLAN_MEMB,
                                 VLAN_MGR_OPC_PORT_MEMB, VLAN_MGR_OPC_PORT_TRUNKING_MEMB,
                                 VLAN_MGR_OPC_PORT_ACTIVE_TRUNKING_MEMB};
    for (uint32_t op : port_ops) {
        ASSERT_EQ(vlan_get_port_memb_build_mts(ifs, 2, &p, &len), 0u);
        cases.push_back({op, take(p, len)});
    }
    const vdc_vlan_id_t keys[] = {{1, 10}, {1, 20}};
    for (uint32_t op : {VLAN_MGR_OPC_PER_VLAN_TRUNKING_MEMB, VLAN_MGR_OPC_PER_VLAN_ACCESS_MEMB,
                        VLAN_MGR_OPC_PER_VLAN_MEMB}) {
        ASSERT_EQ(vlan_get_per_vlan_memb_info_build_mts(keys, 2, &p, &len), 0u);
        cases.push_back({op, take(p, len)});
    }
    ASSERT_EQ(vlan_update_port_memb_build_mts(ifs, 2, {1, 10}, 0, 1, &p, &len), 0u);
    cases.push_back({VLAN_MGR_OPC_UPDATE_PORT_MEMB, take(p, len)});
    const trunking_update_input in[] = {input(10, 0, make_bitmap({10})), input(10, 0, make_bitmap({20}))};
    ASSERT_EQ(vlan_update_port_trunking_memb_build_mts(ifs, 2, in, 2, &p, &len), 0u);
    cases.push_back({VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB, take(p, len)});
    const port_vlan_memb_info info[] = {{ifx(1), {1, 1}, {1, 10}, make_bitmap({})},
                                        {ifx(2), {1, 0}, {1, 0}, make_bitmap({10})}};
    ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(info, 2, &p, &len), 0u);
    cases.push_back({VLAN_MGR_OPC_PORT_VLAN_MEMB_INFO, take(p, len)});
    cases.push_back({VLAN_MGR_OPC_PORT_MEMB_2, tlv_port_req(1, {ifx(1), ifx(2)})});
    cases.push_back({VLAN_MGR_OPC_PORT_TRUNKING_MEMB_2, tlv_port_req(1, {ifx(1), ifx(2)})});
    cases.push_back({VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE, comprgrp_msg(ifx(1), 3, 1)});

    const auto before = snapshot(m);
    for (const Case &c : cases) {
        // The whole request is served (and changes what it changes) ...
        {
            auto whole = std::make_unique<Manager>(m); // far too large for the stack
            ChangeSet changes;
            const Reply r = run(*whole, c.opcode, c.req, changes);
            EXPECT_NE(r, bare(VLAN_MGR_ERR_BAD_REQUEST)) << std::hex << c.opcode;
        }
        // ... every shorter one is refused without a change.
        for (size_t cut = 0; cut < c.req.size(); ++cut) {
            // An exact-size heap copy, so that a read past the end shows.
            auto *copy = static_cast<uint8_t *>(std::malloc(cut == 0 ? 1 : cut));
            if (cut > 0)
                std::memcpy(copy, c.req.data(), cut);
            ChangeSet changes;
            const Reply r = run(m, c.opcode, copy, static_cast<uint32_t>(cut), changes);
            std::free(copy);
            ASSERT_EQ(r, bare(VLAN_MGR_ERR_BAD_REQUEST)) << std::hex << c.opcode << std::dec << " cut at " << cut;
            ASSERT_FALSE(changes.any());
        }
    }
    EXPECT_EQ(snapshot(m), before);
}

// ---- Arbitrary bytes --------------------------------------------------------------

TEST_F(MembHandlers, ArbitraryBytesAreAnsweredAndQueriesChangeNothing)
{
    const uint32_t queries[] = {VLAN_MGR_OPC_PORT_ACTIVE_MEMB,         VLAN_MGR_OPC_PORT_VOICE_VLAN_MEMB,
                                VLAN_MGR_OPC_PORT_MEMB,                VLAN_MGR_OPC_PORT_TRUNKING_MEMB,
                                VLAN_MGR_OPC_PORT_ACTIVE_TRUNKING_MEMB, VLAN_MGR_OPC_PER_VLAN_TRUNKING_MEMB,
                                VLAN_MGR_OPC_PER_VLAN_ACCESS_MEMB,     VLAN_MGR_OPC_PER_VLAN_MEMB,
                                VLAN_MGR_OPC_PORT_VLAN_MEMB_INFO,      VLAN_MGR_OPC_PORT_MEMB_2,
                                VLAN_MGR_OPC_PORT_TRUNKING_MEMB_2};
    const auto before = snapshot(m);
    uint32_t seed = 12345;
    auto next = [&] {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    for (uint32_t op : queries) {
        for (int round = 0; round < 300; ++round) {
            Bytes req(next() % 1200);
            for (uint8_t &b : req)
                b = static_cast<uint8_t>(next());
            // Small counts in the first word make the count checks meet real lengths.
            if (req.size() >= 4 && round % 2 == 0) {
                req[0] = req[1] = req[2] = 0;
                req[3] = static_cast<uint8_t>(next() % 4);
            }
            auto *copy = static_cast<uint8_t *>(std::malloc(req.empty() ? 1 : req.size()));
            if (!req.empty())
                std::memcpy(copy, req.data(), req.size());
            ChangeSet changes;
            const Reply r = run(m, op, copy, static_cast<uint32_t>(req.size()), changes);
            std::free(copy);
            ASSERT_GE(r.size(), 4u) << std::hex << op;
            ASSERT_FALSE(changes.any());
        }
    }
    EXPECT_EQ(snapshot(m), before);
}

// ---- Large requests ---------------------------------------------------------------

TEST_F(MembHandlers, SixtyFiveThousandPortRequests)
{
    std::vector<uint32_t> ifs(65536);
    for (size_t i = 0; i < ifs.size(); ++i)
        ifs[i] = ifx(static_cast<uint32_t>(i % 48 + 1));
    port(48).access_vlan = 10;

    Reply r = query(VLAN_MGR_OPC_PORT_ACTIVE_MEMB, vlan_get_port_active_memb_build_mts, ifs);
    ASSERT_EQ(r.size(), 8u + 65536 * 10);
    void *recs = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_port_active_memb_parse_reply_local(&recs, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 65536u);
    const auto *pv = static_cast<const port_vlan_local *>(recs);
    EXPECT_EQ(pv[47].vlan_id, 10u);
    EXPECT_EQ(pv[65535].if_index, ifx(65535 % 48 + 1));
    EXPECT_EQ(pv[65535].vlan_id, 1u);
    std::free(recs);

    r = query(VLAN_MGR_OPC_PORT_MEMB, vlan_get_port_memb_build_mts, ifs);
    EXPECT_EQ(r.size(), 8u + 65536 * 24);
    // The trunking replies would not fit in one message.
    EXPECT_EQ(query(VLAN_MGR_OPC_PORT_TRUNKING_MEMB, vlan_get_port_trunking_memb_build_mts, ifs),
              bare(VLAN_MGR_ERR_NOT_SUPPORTED));
    EXPECT_EQ(query(VLAN_MGR_OPC_PORT_ACTIVE_TRUNKING_MEMB, vlan_get_port_active_trunking_memb_build_mts, ifs),
              bare(VLAN_MGR_ERR_NOT_SUPPORTED));
    // The largest trunking query that fits is served.
    const uint32_t fit = static_cast<uint32_t>((16u * 1024 * 1024 - 8) / 1052);
    std::vector<uint32_t> most(ifs.begin(), ifs.begin() + fit);
    r = query(VLAN_MGR_OPC_PORT_TRUNKING_MEMB, vlan_get_port_trunking_memb_build_mts, most);
    EXPECT_EQ(r.size(), 8u + uint64_t{fit} * 1052);
    most.push_back(ifx(1));
    EXPECT_EQ(query(VLAN_MGR_OPC_PORT_TRUNKING_MEMB, vlan_get_port_trunking_memb_build_mts, most),
              bare(VLAN_MGR_ERR_NOT_SUPPORTED));

    r = access_update(1, 1, 20, ifs);
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 1, 0, 0, 0, 20}));
    EXPECT_EQ(marked(ch).size(), 48u);
    EXPECT_EQ(port(1).access_vlan, 20u);

    r = run(m, VLAN_MGR_OPC_PORT_MEMB_2, tlv_port_req(1, ifs), ch);
    vlan_get_port_memb_2_rsp_t *rsp = nullptr;
    ASSERT_EQ(vlan_parse_get_port_memb_2_rsp(r.data(), static_cast<uint32_t>(r.size()), &rsp), 0);
    ASSERT_EQ(rsp->count, 65536u);
    EXPECT_EQ(rsp->data[65535].field7, 20u);
    std::free(rsp);
    EXPECT_EQ(run(m, VLAN_MGR_OPC_PORT_TRUNKING_MEMB_2, tlv_port_req(1, ifs), ch), bare(VLAN_MGR_ERR_NOT_SUPPORTED));

    // 65,536 VLAN keys, every one with its 48 trunk members: 13 MB.
    for (uint32_t i = 1; i <= 48; ++i)
        port(i).mode = VLAN_MGR_PORT_MODE_TRUNK;
    std::vector<uint32_t> vlans(65536);
    for (size_t i = 0; i < vlans.size(); ++i)
        vlans[i] = static_cast<uint32_t>(i % 4094 + 1);
    r = per_vlan(VLAN_MGR_OPC_PER_VLAN_MEMB, vlans);
    ASSERT_EQ(r.size(), 8u + 65536u * (10 + 48 * 4));
    vlan_port_memb_local *loc = nullptr;
    ASSERT_EQ(vlan_get_per_vlan_memb_info_parse_reply_local(&loc, &n, r.data(), static_cast<uint32_t>(r.size())), 0u);
    ASSERT_EQ(n, 65536u * 48);
    EXPECT_EQ(loc[n - 1].vlan_id, 65535u % 4094 + 1);
    EXPECT_EQ(loc[n - 1].if_index, ifx(48));
    std::free(loc);
}

} // namespace
