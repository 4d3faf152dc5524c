// The manager's notifications: encoder -> the library's notification
// parsers give back what went in.
#include <algorithm>
#include <cstring>

#include <vlan_mgr/notif.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/notif.h>

#include "roundtrip.h"
#include "test_platform.h"

namespace server = vlan_mgr::server;
using roundtrip::Gen;
using roundtrip::Owned;

namespace {

constexpr uint32_t kTypes[] = {VLAN_MGR_VLAN_TYPE_NORMAL, VLAN_MGR_VLAN_TYPE_PRIMARY, VLAN_MGR_VLAN_TYPE_ISOLATED,
                               VLAN_MGR_VLAN_TYPE_COMMUNITY};
constexpr uint32_t kModes[] = {VLAN_MGR_PORT_MODE_ACCESS, VLAN_MGR_PORT_MODE_TRUNK};

// The type of VLAN k of a case: every type in turn.
uint32_t type_of(size_t k) { return kTypes[k % std::size(kTypes)]; }

// A secondary private VLAN's primary, else 0.
uint32_t primary_for(Gen &g, uint32_t type)
{
    return type == VLAN_MGR_VLAN_TYPE_ISOLATED || type == VLAN_MGR_VLAN_TYPE_COMMUNITY ? g.vlan() : 0;
}

std::string name32(const std::string &s) { return s.substr(0, 32); }

// Runs a parser over a message holding `payload`; the records it allocated.
template <class Rec>
uint32_t parse(uint32_t (*parser)(const mts_msg_hdl *, Rec **, uint32_t *, vlan_mgr_notif_alloc_fn), uint32_t opcode,
               const server::Payload &payload, Owned<Rec> &out, uint32_t &count)
{
    mts_msg_hdl_t msg = tp::make_message(opcode, payload);
    Rec *recs = nullptr;
    const uint32_t st = parser(&msg, &recs, &count, std::malloc);
    out.reset(recs);
    return st;
}

uint32_t parse_change(uint32_t opcode, const server::Payload &payload, Owned<uint8_t> &out, uint32_t &count)
{
    mts_msg_hdl_t msg = tp::make_message(opcode, payload);
    void *recs = nullptr;
    const uint32_t st = vlan_mgr_parse_notification_msg(&msg, &recs, &count, std::malloc);
    out.reset(static_cast<uint8_t *>(recs));
    return st;
}

using roundtrip::record_at;

TEST(NotifRoundTrip, CreateNotificationReadsBackFromTheTlvPartAndTheFixedList)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const std::vector<uint32_t> ids = g.vlans(g.size_for(i, 4094));
        std::vector<server::CreatedVlanNotice> in;
        for (size_t k = 0; k < ids.size(); ++k) {
            server::CreatedVlanNotice c;
            c.bd_id = static_cast<uint16_t>(ids[k]);
            c.type = static_cast<uint16_t>(type_of(k + static_cast<size_t>(i)));
            c.vdc_id = vdc;
            c.vlan_id = ids[k];
            c.primary = primary_for(g, c.type);
            c.mode = g.u32();
            c.segment = g.u32();
            c.options = g.in(0, 3);
            c.state = g.in(0, 1);
            c.name = g.coin() ? g.name(40) : "VLAN" + std::to_string(ids[k]);
            in.push_back(c);
        }
        server::Payload p;
        std::string error;
        ASSERT_TRUE(server::encode_create_notification(in, p, error)) << error;

        Owned<vlan_create_notif2_t> recs;
        uint32_t count = 0;
        ASSERT_EQ(parse(vlan_mgr_parse_create_notification_msg, VLAN_MGR_NOTIF_VLAN_CREATE, p, recs, count), 0u)
            << "case " << i;
        ASSERT_EQ(count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const vlan_create_notif2_t r = recs.get()[k];
            server::CreatedVlanNotice got;
            got.bd_id = r.bd_id;
            got.type = r.field10;
            got.vdc_id = r.vdc_vlan.vdc_id;
            got.vlan_id = r.vdc_vlan.vlan_id;
            got.primary = r.field6;
            got.mode = r.field13;
            got.segment = r.field11;
            got.options = r.field12;
            got.state = r.field14;
            got.name = r.name;
            server::CreatedVlanNotice want = in[k];
            want.name = name32(want.name);
            ASSERT_EQ(got, want) << "entry " << k;
            ASSERT_EQ(r.field15, want.state);
            ASSERT_EQ(r.field7, 0u);
            ASSERT_EQ(r.field30, 0u);
        }

        Owned<uint8_t> fixed;
        ASSERT_EQ(parse_change(VLAN_MGR_NOTIF_VLAN_CREATE, p, fixed, count), 0u);
        ASSERT_EQ(count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const auto r = record_at<vlan_mgr_notif_vlan_create_t>(fixed.get(), k);
            ASSERT_EQ(r.bd_id, in[k].bd_id);
            ASSERT_EQ(r.v2, in[k].type);
            ASSERT_EQ(r.v4, 0u);
            ASSERT_EQ(r.vdc_id, in[k].vdc_id);
            ASSERT_EQ(r.vlan_id, in[k].vlan_id);
            ASSERT_EQ(r.v12, in[k].primary);
            ASSERT_EQ(r.v20, in[k].mode);
            ASSERT_EQ(r.v24, in[k].segment);
            ASSERT_EQ(r.v28, in[k].options);
            ASSERT_EQ(r.v32, in[k].state);
            ASSERT_EQ(r.v36, 0u);
        }
    }
}

TEST(NotifRoundTrip, DeleteNotificationReadsBackFromTheTlvPartAndTheFixedList)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const std::vector<uint32_t> ids = g.vlans(g.size_for(i, 4094));
        std::vector<server::DeletedVlan> in;
        for (size_t k = 0; k < ids.size(); ++k) {
            server::DeletedVlan d;
            d.bd_id = static_cast<uint16_t>(ids[k]);
            d.vdc_id = vdc;
            d.vlan_id = ids[k];
            d.type = type_of(k + static_cast<size_t>(i));
            d.state = g.in(0, 1);
            d.primary = primary_for(g, d.type);
            d.name = g.name(40);
            in.push_back(d);
        }
        server::Payload p;
        std::string error;
        ASSERT_TRUE(server::encode_delete_notification(in, p, error)) << error;

        Owned<vlan_delete_notif2_t> recs;
        uint32_t count = 0;
        ASSERT_EQ(parse(vlan_mgr_parse_delete_notification_msg, VLAN_MGR_NOTIF_VLAN_DELETE, p, recs, count), 0u)
            << "case " << i;
        ASSERT_EQ(count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const vlan_delete_notif2_t r = recs.get()[k];
            server::DeletedVlan got{r.bd_id, r.vdc_vlan.vdc_id, r.vdc_vlan.vlan_id, r.field20, r.field15, r.field31,
                                    r.name};
            server::DeletedVlan want = in[k];
            want.name = name32(want.name);
            ASSERT_EQ(got, want) << "entry " << k;
        }

        Owned<uint8_t> fixed;
        ASSERT_EQ(parse_change(VLAN_MGR_NOTIF_VLAN_DELETE, p, fixed, count), 0u);
        ASSERT_EQ(count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const auto r = record_at<vlan_mgr_notif_vlan_delete_t>(fixed.get(), k);
            ASSERT_EQ(r.bd_id, in[k].bd_id);
            ASSERT_EQ(r.vdc_id, in[k].vdc_id);
            ASSERT_EQ(r.vlan_id, in[k].vlan_id);
            ASSERT_EQ(r.v8, in[k].type);
        }
    }
}

TEST(NotifRoundTrip, NameNotificationReadsBackAsNameRecords)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        std::vector<server::VlanName> in;
        for (uint32_t v : g.vlans(g.size_for(i, 4094)))
            in.push_back({vdc, v, g.name(40)});
        const server::Payload p = server::encode_name_notification(in);
        Owned<uint8_t> recs;
        uint32_t count = 0;
        ASSERT_EQ(parse_change(VLAN_MGR_NOTIF_VLAN_NAME, p, recs, count), 0u) << "case " << i;
        ASSERT_EQ(count, in.size());
        vlan_mgr_config_changed_notif_iter_t it;
        ASSERT_EQ(vlan_mgr_config_changed_notif_iter_init(recs.get(), count, &it), 0u);
        const void *cursor = nullptr;
        for (size_t k = 0; k < in.size(); ++k) {
            ASSERT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cursor), 0u);
            const auto *rec = static_cast<const uint8_t *>(cursor);
            vlan_mgr_notif_vlan_name_t h;
            std::memcpy(&h, rec, sizeof h);
            ASSERT_EQ(h.flag, 0u);
            ASSERT_EQ(h.len_a, 33u);
            ASSERT_EQ(h.len_b, 0u);
            const std::string name(reinterpret_cast<const char *>(rec + sizeof h),
                                   strnlen(reinterpret_cast<const char *>(rec + sizeof h), 33));
            ASSERT_EQ((server::VlanName{h.v0, h.v2, name}), (server::VlanName{vdc, in[k].vlan_id, name32(in[k].name)}))
                << "entry " << k;
        }
    }
}

TEST(NotifRoundTrip, TypeChangeNotificationOfEveryType)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const uint32_t vlan = g.vlan(), type = type_of(static_cast<size_t>(i)), primary = primary_for(g, type);
        const server::Payload p = server::encode_type_change_notification(vdc, vlan, type, primary);
        Owned<uint8_t> recs;
        uint32_t count = 0;
        ASSERT_EQ(parse_change(VLAN_MGR_NOTIF_VLAN_TYPE_CHANGE, p, recs, count), 0u);
        ASSERT_EQ(count, 1u);
        const auto r = record_at<vlan_mgr_notif_5c26_t>(recs.get(), 0);
        EXPECT_EQ(r.vdc_id, vdc);
        EXPECT_EQ(r.v2, vlan);
        EXPECT_EQ(r.v6, type);
        EXPECT_EQ(r.v10, primary);
    }
}

TEST(NotifRoundTrip, BdChangeNotification)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        std::vector<server::VlanBd> in;
        for (uint32_t v : g.vlans(g.size_for(i, 4094)))
            in.push_back({v, g.u16()});
        const server::Payload p = server::encode_bd_change_notification(vdc, in);
        Owned<uint8_t> recs;
        uint32_t count = 0;
        ASSERT_EQ(parse_change(VLAN_MGR_NOTIF_BD_CHANGE, p, recs, count), 0u);
        ASSERT_EQ(count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const auto r = record_at<vlan_mgr_notif_bd_change_t>(recs.get(), k);
            ASSERT_EQ((server::VlanBd{r.vlan_id, r.bd_id}), in[k]) << "entry " << k;
            ASSERT_EQ(r.v6, 0u);
        }
    }
}

// The first case carries 65,536 ports, the rest a few; every port mode.
TEST(NotifRoundTrip, PortMembershipNotificationOfEveryPortMode)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < 40; ++i) {
        const uint16_t vdc = g.vdc();
        const size_t n = i == 0 ? 65536 : g.size_for(i, 64);
        std::vector<server::PortMembership> in(n);
        for (size_t k = 0; k < n; ++k) {
            server::PortMembership &p = in[k];
            p.vdc_id = vdc;
            p.if_index = g.u32();
            p.mode = kModes[k % std::size(kModes)];
            if (k < 4 || g.in(0, 63) == 0) { // full bitmaps are costly at 65,536 ports
                p.configured = g.bits_of(g.vlans(k == 0 ? 4094 : g.size_for(i, 4094)));
                p.active = p.configured & g.bits_of(g.vlans(g.size_for(i, 4094)));
            }
        }
        const server::Payload p = server::encode_port_membership_notification(in);
        Owned<uint8_t> recs;
        uint32_t count = 0;
        ASSERT_EQ(parse_change(VLAN_MGR_NOTIF_PORT_MEMB_CHANGE, p, recs, count), 0u);
        ASSERT_EQ(count, n);
        for (size_t k = 0; k < n; ++k) {
            const uint8_t *r = recs.get() + sizeof(vlan_mgr_notif_5c24_t) * k;
            vlan_mgr_notif_5c24_t h;
            std::memcpy(&h, r, offsetof(vlan_mgr_notif_5c24_t, bitmap));
            const uint8_t *bm = r + offsetof(vlan_mgr_notif_5c24_t, bitmap);
            uint32_t len0, len1;
            std::memcpy(&len0, bm, 4);
            std::memcpy(&len1, bm + 516, 4);
            ASSERT_EQ(len0, 512u);
            ASSERT_EQ(len1, 512u);
            const server::PortMembership got{h.vdc_id, h.if_index, h.v8, server::bits_from_wire(bm + 4),
                                             server::bits_from_wire(bm + 520)};
            ASSERT_EQ(got, in[k]) << "port " << k;
        }
    }
}

// ---- Literal bytes -------------------------------------------------------------

TEST(NotifEncode, TypeChangeAndBdChangeBytes)
{
    EXPECT_EQ(server::encode_type_change_notification(2, 0x1234, 4, 10),
              (server::Payload{0, 2, 0, 0, 0x12, 0x34, 0, 0, 0, 4, 0, 0, 0, 10}));
    const server::VlanBd bds[] = {{10, 10}, {4094, 0x0FFE}};
    EXPECT_EQ(server::encode_bd_change_notification(3, bds),
              (server::Payload{0, 0, 0, 3, 0, 0, 0, 2,                                //
                               0, 0, 0, 10, 0, 10, 0, 0, 0, 0, 0x0F, 0xFE, 0x0F, 0xFE, 0, 0}));
    EXPECT_EQ(server::encode_bd_change_notification(1, {}), (server::Payload{0, 0, 0, 1, 0, 0, 0, 0}));
}

TEST(NotifEncode, NameNotificationBytes)
{
    const server::VlanName names[] = {{1, 20, "blue"}};
    const server::Payload p = server::encode_name_notification(names);
    server::Payload want{0, 0, 0, 1, 0, 1, 0, 0, 0, 20, 0, 0, 0, 0, 0, 0, 0, 33, 0, 0, 0, 0, 'b', 'l', 'u', 'e'};
    want.resize(4 + 18 + 33, 0);
    EXPECT_EQ(p, want);
}

TEST(NotifEncode, CreateAndDeleteFixedEntryBytes)
{
    server::CreatedVlanNotice c;
    c.bd_id = 10;
    c.type = 4;
    c.vdc_id = 1;
    c.vlan_id = 10;
    c.primary = 3;
    c.mode = 5;
    c.segment = 0x10000;
    c.options = 1;
    c.state = 1;
    c.name = "ten";
    server::Payload p;
    std::string error;
    ASSERT_TRUE(server::encode_create_notification(std::span(&c, 1), p, error));
    ASSERT_GT(p.size(), 44u); // the TLV part follows
    EXPECT_EQ((server::Payload(p.begin(), p.begin() + 44)),
              (server::Payload{0, 0, 0, 1,                                  //
                               0, 10, 0, 4, 0, 0, 0, 1, 0, 0, 0, 10, 0, 0, 0, 3, //
                               0, 0, 0, 0, 0, 0, 0, 5, 0, 1, 0, 0, 0, 0, 0, 1, //
                               0, 0, 0, 1, 0, 0, 0, 0}));
    server::DeletedVlan d{10, 1, 10, 4, 1, 3, "ten"};
    ASSERT_TRUE(server::encode_delete_notification(std::span(&d, 1), p, error));
    ASSERT_GT(p.size(), 16u);
    EXPECT_EQ((server::Payload(p.begin(), p.begin() + 16)),
              (server::Payload{0, 0, 0, 1, 0, 10, 0, 1, 0, 0, 0, 10, 0, 0, 0, 4}));
}

TEST(NotifEncode, PortMembershipBytes)
{
    server::PortMembership port;
    port.vdc_id = 1;
    port.if_index = 0x1A000000;
    port.mode = VLAN_MGR_PORT_MODE_TRUNK;
    port.configured.set(0).set(1).set(4094).set(4095);
    port.active.set(1);
    const server::Payload p = server::encode_port_membership_notification(std::span(&port, 1));
    ASSERT_EQ(p.size(), 4u + 1044u);
    // The interface index as the test platform's hton_if_index gives it (a
    // byte swap), in host order.
    EXPECT_EQ((server::Payload(p.begin(), p.begin() + 16)),
              (server::Payload{0, 0, 0, 1, 0, 0, 0, 1, 0x1A, 0, 0, 0, 0, 0, 0, 2}));
    uint32_t len_word;
    std::memcpy(&len_word, p.data() + 16, 4);
    EXPECT_EQ(len_word, 512u);
    EXPECT_EQ(p[20], 0x40);       // VLAN 1; VLAN 0 is not written
    EXPECT_EQ(p[20 + 511], 0x02); // VLAN 4094; VLAN 4095 is not written
    EXPECT_EQ(p[536], 0x40);
    EXPECT_EQ(std::count(p.begin() + 537, p.end(), 0), 511);
}

} // namespace
