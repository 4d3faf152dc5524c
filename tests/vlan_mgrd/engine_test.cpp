// The engine's effects read back through the library: the BD database by the
// lookups, getters and reserved-range queries; the notifications by the
// library's parsers after a trip through the host transport; the saved
// configuration by a second engine.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/frame.h>
#include <vlan_mgr/notif.h>
#include <vlan_mgr/rsvd.h>
#include <vlan_mgr_host_mts.h>
#include <vlan_mgr_platform.h>

#include "engine.h"
#include "handler_test_util.h"
#include "persist.h"

namespace vlan_mgrd {
namespace {

constexpr uint32_t kPort1 = 0x01010001;
constexpr uint32_t kPort2 = 0x01010002;
constexpr uint32_t kSap = 167;

bool bit(const vlan_bitmap &b, uint32_t v)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(&b) + 4;
    return (bytes[v / 8] & (0x80u >> (v % 8))) != 0;
}

uint32_t bit_count(const vlan_bitmap &b)
{
    uint32_t n = 0;
    for (uint32_t v = 0; v < 4096; ++v)
        n += bit(b, v) ? 1 : 0;
    return n;
}

// A word as the database stores it (big-endian), read back in host order.
uint32_t stored_word(uint32_t v)
{
    const uint8_t b[4] = {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8),
                          static_cast<uint8_t>(v)};
    uint32_t out = 0;
    std::memcpy(&out, b, 4);
    return out;
}

class EngineTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/engine_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        ASSERT_EQ(system(("mkdir -p " + dir_ + "/sdb " + dir_ + "/mts").c_str()), 0);
        setenv("VLAN_MGR_SDB_ROOT", (dir_ + "/sdb").c_str(), 1);
        setenv("VLAN_MGR_RUN_DIR", (dir_ + "/mts").c_str(), 1);
        setenv("VLAN_MGR_VDC", "1", 1);
        options_.state_path = dir_ + "/state";
        options_.run_dir = dir_ + "/run";
        options_.sync = false;
    }

    void TearDown() override
    {
        close_dbs();
        engine_.reset();
        if (sub_ != 0 || pub_ != 0)
            vlan_mgr_host_mts_shutdown();
        if (!dir_.empty()) {
            EXPECT_EQ(system(("rm -rf " + dir_).c_str()), 0);
        }
    }

    static void close_dbs()
    {
        for (uint16_t v = 1; v <= 5; ++v)
            vlan_close_bd_sdb(v);
    }

    Engine &start(EngineOptions o)
    {
        close_dbs();
        engine_.reset();
        engine_ = std::make_unique<Engine>(std::move(o));
        std::string error;
        EXPECT_EQ(engine_->start(error), 0u) << error;
        return *engine_;
    }
    Engine &start() { return start(options_); }

    // Sends the notification through the transport and receives it as a
    // subscriber would; the caller drops the message.
    mts_msg_hdl_t deliver(const Notification &n)
    {
        if (pub_ == 0) {
            EXPECT_EQ(vlan_mgr_host_mts_open(kSap, &pub_), 0);
            EXPECT_EQ(vlan_mgr_host_mts_open(0, &sub_), 0);
        }
        if (subscribed_.insert(n.opcode).second) {
            EXPECT_EQ(vlan_mgr_host_mts_subscribe(sub_, VLAN_MGR_HOST_MTS_LOCAL_NODE, kSap, n.opcode), 0);
            EXPECT_EQ(vlan_mgr_host_mts_wait_subscribers(pub_, n.opcode, 1, 5000), 0);
        }
        EXPECT_EQ(vlan_mgr_host_mts_notify(pub_, n.opcode, n.payload.data(), static_cast<uint32_t>(n.payload.size())),
                  0);
        mts_msg_hdl_t m{};
        EXPECT_EQ(vlan_mgr_host_mts_recv_timed(sub_, &m, nullptr, 5000), 0);
        EXPECT_EQ(mts_opc_get(&m), n.opcode);
        return m;
    }

    static const Notification *find(const std::vector<Notification> &ns, uint32_t opcode, size_t nth = 0)
    {
        for (const Notification &n : ns)
            if (n.opcode == opcode && nth-- == 0)
                return &n;
        return nullptr;
    }

    std::string dir_;
    EngineOptions options_;
    std::unique_ptr<Engine> engine_;
    uint32_t pub_ = 0, sub_ = 0;
    std::set<uint32_t> subscribed_;
};

TEST_F(EngineTest, StartPublishesTheDefaultState)
{
    Engine &e = start();
    uint16_t bd = 0;
    uint32_t primary = 0;
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{1, 1}, &bd, &primary), 0u);
    EXPECT_EQ(bd, 1);
    EXPECT_EQ(primary, 1u);
    for (uint16_t vdc = 2; vdc <= 5; ++vdc) {
        EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{vdc, 1}, &bd, &primary), 0u) << vdc;
        EXPECT_EQ(bd, 1);
    }
    EXPECT_NE(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{1, 2}, &bd, &primary), 0u);
    EXPECT_EQ(vlan_get_l3_bd(1, &bd), 0u);
    EXPECT_EQ(bd, 0);

    uint32_t start = 0, end = 0;
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), 0u);
    EXPECT_EQ(start, 3968u);
    EXPECT_EQ(end, 4094u);
    EXPECT_EQ(vlan_get_future_rsvd_vlans_local(&start, &end), 0u);
    EXPECT_EQ(start, 3968u);
    EXPECT_EQ(end, 4094u);
    const Vdc &v1 = e.manager().vdc(1);
    EXPECT_EQ(v1.rsvd_start, 3968u);
    EXPECT_EQ(v1.rsvd_end, 4094u);
    EXPECT_EQ(v1.reserved.count(), 127u);
    EXPECT_TRUE(v1.reserved.test(3968));
    EXPECT_TRUE(v1.reserved.test(4094));
    EXPECT_FALSE(v1.reserved.test(3967));

    // Ports of the default table, VDC 1, access mode in VLAN 1.
    ASSERT_EQ(v1.ports.size(), 48u);
    EXPECT_TRUE(e.manager().vdc(2).ports.empty());
    std::ifstream table(options_.run_dir + "/iftable");
    std::string all((std::istreambuf_iterator<char>(table)), std::istreambuf_iterator<char>());
    EXPECT_NE(all.find("Ethernet1/48"), std::string::npos);

    uint32_t ports[2] = {kPort1, kPort2};
    uint32_t *raw = nullptr;
    ASSERT_EQ(vlan_mgr_sdb_get_port_trunking_memb(1, ports, 2, &raw), 0u);
    auto *t = reinterpret_cast<vlan_mgr_sdb_trunking_memb_t *>(raw);
    EXPECT_EQ(t[0].if_index, kPort1);
    EXPECT_EQ(t[1].if_index, kPort2);
    EXPECT_EQ(t[0].value1, 1);                                 // VDC
    EXPECT_EQ(t[0].value2, VLAN_MGR_PORT_MODE_ACCESS);
    EXPECT_EQ(t[0].value3, 1);                                 // native VLAN
    EXPECT_EQ(bit_count(t[0].bitmap1), 1u);
    EXPECT_TRUE(bit(t[0].bitmap1, 1));
    EXPECT_EQ(bit_count(t[0].bitmap2), 1u);
    EXPECT_EQ(t[0].value4, 0);
    EXPECT_EQ(t[0].value5, 0u);
    std::free(raw);

    int32_t idx[2] = {static_cast<int32_t>(kPort1), static_cast<int32_t>(kPort2)};
    ASSERT_EQ(vlan_mgr_sdb_get_port_accntv_memb(idx, 2, &raw), 0u);
    auto *a = reinterpret_cast<vlan_mgr_sdb_accntv_memb_t *>(raw);
    EXPECT_EQ(a[0].if_index, kPort1);
    EXPECT_EQ(a[1].if_index, kPort2); // port 2's entry from the second slot
    EXPECT_EQ(a[1].value1, VLAN_MGR_PORT_MODE_ACCESS);
    EXPECT_EQ(a[1].value2, 1u); // access VLAN
    EXPECT_EQ(a[1].value3, 1);  // VDC
    EXPECT_EQ(a[1].value4, 0u); // voice VLAN
    EXPECT_EQ(a[1].value5, 1);  // native VLAN
    EXPECT_EQ(a[1].value6, 1u); // access VLAN up
    std::free(raw);

    // The reserved allocation read back from the same database.
    dyn_rsvd_vlan_bitmaps_t set;
    ASSERT_EQ(vlan_get_dyn_rsvd_vlans(&set, 1), 0u);
    EXPECT_EQ(bit_count(set.rsvd_group64), 64u);
    EXPECT_TRUE(bit(set.rsvd_single, 4042));
}

TEST_F(EngineTest, CreateIsPublishedAndAnnounced)
{
    Engine &e = start();
    Vdc &vdc = e.manager().vdc(1);
    ChangeSet c;
    vdc.vlans[10].created = true;
    vdc.vlans[10].name = "blue";
    vdc.vlans[10].mode = 7;
    vdc.vlans[10].segment = 5000;
    vdc.vlans[10].create_options = 0;
    vdc.vlans[20].created = true;
    vdc.vlans[20].type = VLAN_MGR_VLAN_TYPE_PRIMARY;
    vdc.vlans[20].secondaries.set(21);
    vdc.vlans[21].created = true;
    vdc.vlans[21].type = VLAN_MGR_VLAN_TYPE_ISOLATED;
    vdc.vlans[21].primary = 20;
    vdc.vlans[21].state = VlanState::Suspended;
    c.mark_created(1, 10);
    c.mark_created(1, 20);
    c.mark_created(1, 21);
    std::vector<Notification> notes;
    ASSERT_EQ(e.apply(c, notes), 0u);

    close_dbs();
    uint16_t bd = 0;
    uint32_t primary = 0, value = 0, count0 = 0;
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{1, 21}, &bd, &primary), 0u);
    EXPECT_EQ(bd, 21);
    EXPECT_EQ(primary, 20u);
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{1, 10}, &bd, &primary), 0u);
    EXPECT_EQ(bd, 10);
    EXPECT_EQ(primary, 10u);
    EXPECT_EQ(vlan_get_bd(vdc_vlan_id_t{1, 20}, &bd), 0u);
    EXPECT_EQ(bd, 20);
    // The type getter hands out the stored (big-endian) bytes as they are.
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_type(1, 21, &value), 0u);
    EXPECT_EQ(value, stored_word(VLAN_MGR_VLAN_TYPE_ISOLATED));
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(1, 10, &value), 0u);
    EXPECT_EQ(value, 7u);
    vlan_bitmap want{};
    want.len = 512;
    reinterpret_cast<uint8_t *>(&want)[4 + 10 / 8] |= 0x80u >> (10 % 8);
    reinterpret_cast<uint8_t *>(&want)[4 + 21 / 8] |= 0x80u >> (21 % 8);
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    ASSERT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id(1, &want, &count0, &pairs), 0u);
    ASSERT_EQ(count0, 2u);
    EXPECT_EQ(pairs[0].vlan_id, 10u);
    EXPECT_EQ(pairs[0].value, 5000u);
    EXPECT_EQ(pairs[1].vlan_id, 20u); // a secondary's pair names its primary
    EXPECT_EQ(pairs[1].value, 0u);
    std::free(pairs);
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id(1, 5000, &value), 0u);
    EXPECT_EQ(value, 10u);
    uint32_t *list = nullptr, count = 0;
    ASSERT_EQ(vlan_get_secondary_pvlan_list_local(&list, &count), 0u);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(list[0], 21u);
    std::free(list);

    // Create notification: one, with the three VLANs, fixed list and TLV.
    ASSERT_EQ(notes.size(), 1u);
    const Notification *n = find(notes, VLAN_MGR_NOTIF_VLAN_CREATE);
    ASSERT_NE(n, nullptr);
    mts_msg_hdl_t m = deliver(*n);
    vlan_create_notif2_t *recs = nullptr;
    ASSERT_EQ(vlan_mgr_parse_create_notification_msg(&m, &recs, &count, std::malloc), 0u);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(recs[0].bd_id, 10);
    EXPECT_EQ(recs[0].vdc_vlan.vdc_id, 1);
    EXPECT_EQ(recs[0].vdc_vlan.vlan_id, 10u);
    EXPECT_STREQ(recs[0].name, "blue");
    EXPECT_EQ(recs[0].field10, VLAN_MGR_VLAN_TYPE_NORMAL);
    EXPECT_EQ(recs[0].field13, 7u);    // mode
    EXPECT_EQ(recs[0].field11, 5000u); // segment
    EXPECT_EQ(recs[0].field14, 1u);    // active
    EXPECT_STREQ(recs[1].name, "VLAN0020");
    EXPECT_EQ(recs[1].field10, VLAN_MGR_VLAN_TYPE_PRIMARY);
    EXPECT_EQ(recs[2].vdc_vlan.vlan_id, 21u);
    EXPECT_EQ(recs[2].field6, 20u); // primary
    EXPECT_EQ(recs[2].field10, VLAN_MGR_VLAN_TYPE_ISOLATED);
    EXPECT_EQ(recs[2].field14, 2u); // suspended
    std::free(recs);
    // The fixed list through the change parser.
    void *raw = nullptr;
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&m, &raw, &count, std::malloc), 0u);
    ASSERT_EQ(count, 3u);
    auto *fixed = static_cast<vlan_mgr_notif_vlan_create_t *>(raw);
    EXPECT_EQ(fixed[2].bd_id, 21);
    EXPECT_EQ(fixed[2].vdc_id, 1);
    EXPECT_EQ(fixed[2].vlan_id, 21u);
    EXPECT_EQ(fixed[2].v2, VLAN_MGR_VLAN_TYPE_ISOLATED);
    EXPECT_EQ(fixed[2].v12, 20u);
    EXPECT_EQ(fixed[0].v20, 7u);
    EXPECT_EQ(fixed[0].v24, 5000u);
    EXPECT_EQ(fixed[2].v32, 2u);
    std::free(raw);
    mts_drop(sub_, &m);
}

TEST_F(EngineTest, DeleteRemovesTheRecordAndAnnouncesTheName)
{
    Engine &e = start();
    Vdc &vdc = e.manager().vdc(1);
    ChangeSet c1;
    vdc.vlans[30].created = true;
    vdc.vlans[30].name = "red";
    c1.mark_created(1, 30);
    std::vector<Notification> notes;
    ASSERT_EQ(e.apply(c1, notes), 0u);

    ChangeSet c2;
    const Vlan before = vdc.vlans[30];
    vdc.vlans[30] = Vlan{};
    c2.mark_deleted(1, 30, before);
    notes.clear();
    ASSERT_EQ(e.apply(c2, notes), 0u);
    close_dbs();
    uint16_t bd = 0;
    uint32_t primary = 0;
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{1, 30}, &bd, &primary), VLAN_MGR_ERR_SDB_READ);

    ASSERT_EQ(notes.size(), 1u);
    mts_msg_hdl_t m = deliver(notes[0]);
    vlan_delete_notif2_t *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_mgr_parse_delete_notification_msg(&m, &recs, &count, std::malloc), 0u);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(recs[0].bd_id, 30);
    EXPECT_EQ(recs[0].vdc_vlan.vdc_id, 1);
    EXPECT_EQ(recs[0].vdc_vlan.vlan_id, 30u);
    EXPECT_STREQ(recs[0].name, "red");
    EXPECT_EQ(recs[0].field20, VLAN_MGR_VLAN_TYPE_NORMAL);
    std::free(recs);
    void *raw = nullptr;
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&m, &raw, &count, std::malloc), 0u);
    ASSERT_EQ(count, 1u);
    auto *d = static_cast<vlan_mgr_notif_vlan_delete_t *>(raw);
    EXPECT_EQ(d->bd_id, 30);
    EXPECT_EQ(d->vdc_id, 1);
    EXPECT_EQ(d->vlan_id, 30u);
    std::free(raw);
    mts_drop(sub_, &m);
}

TEST_F(EngineTest, PortMembershipRenameAndRetype)
{
    Engine &e = start();
    Vdc &vdc = e.manager().vdc(1);
    ChangeSet c1;
    for (uint32_t v : {10u, 11u}) {
        vdc.vlans[v].created = true;
        c1.mark_created(1, v);
    }
    std::vector<Notification> notes;
    ASSERT_EQ(e.apply(c1, notes), 0u);

    ChangeSet c2;
    Port *p = vdc.port(kPort2);
    ASSERT_NE(p, nullptr);
    p->mode = VLAN_MGR_PORT_MODE_TRUNK;
    p->trunk_allowed.reset();
    p->trunk_allowed.set(1);
    p->trunk_allowed.set(10);
    p->trunk_allowed.set(30); // not created: configured, not active
    p->native_vlan = 10;
    p->voice_vlan = 11;
    p->comprgrp = 4;
    c2.mark_port(1, kPort2);
    vdc.vlans[10].name = "green";
    c2.mark_renamed(1, 10);
    vdc.vlans[11].type = VLAN_MGR_VLAN_TYPE_PRIMARY;
    c2.mark_retyped(1, 11);
    notes.clear();
    ASSERT_EQ(e.apply(c2, notes), 0u);

    close_dbs();
    uint32_t ports[1] = {kPort2};
    uint32_t *raw32 = nullptr;
    ASSERT_EQ(vlan_mgr_sdb_get_port_trunking_memb(1, ports, 1, &raw32), 0u);
    auto *t = reinterpret_cast<vlan_mgr_sdb_trunking_memb_t *>(raw32);
    EXPECT_EQ(t->if_index, kPort2);
    EXPECT_EQ(t->value2, VLAN_MGR_PORT_MODE_TRUNK);
    EXPECT_EQ(t->value3, 10);
    EXPECT_EQ(bit_count(t->bitmap1), 3u);
    EXPECT_TRUE(bit(t->bitmap1, 30));
    EXPECT_EQ(bit_count(t->bitmap2), 2u);
    EXPECT_FALSE(bit(t->bitmap2, 30));
    EXPECT_EQ(t->value4, 11);
    EXPECT_EQ(t->value5, 4u);
    std::free(raw32);
    uint32_t type = 0;
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_type(1, 11, &type), 0u);
    EXPECT_EQ(type, stored_word(VLAN_MGR_VLAN_TYPE_PRIMARY));

    // Names, type, BD and port notifications, in that order.
    ASSERT_EQ(notes.size(), 4u);
    EXPECT_EQ(notes[0].opcode, VLAN_MGR_NOTIF_VLAN_NAME);
    EXPECT_EQ(notes[1].opcode, VLAN_MGR_NOTIF_VLAN_TYPE_CHANGE);
    EXPECT_EQ(notes[2].opcode, VLAN_MGR_NOTIF_BD_CHANGE);
    EXPECT_EQ(notes[3].opcode, VLAN_MGR_NOTIF_PORT_MEMB_CHANGE);

    void *raw = nullptr;
    uint32_t count = 0;
    mts_msg_hdl_t m = deliver(notes[0]);
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&m, &raw, &count, std::malloc), 0u);
    ASSERT_EQ(count, 1u);
    auto *name = static_cast<vlan_mgr_notif_vlan_name_t *>(raw);
    EXPECT_EQ(name->v0, 1);
    EXPECT_EQ(name->v2, 10u);
    EXPECT_EQ(name->flag, 0u);
    EXPECT_EQ(name->len_a, 33u);
    EXPECT_EQ(name->len_b, 0u);
    EXPECT_STREQ(reinterpret_cast<const char *>(name->data), "green");
    std::free(raw);
    mts_drop(sub_, &m);

    m = deliver(notes[1]);
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&m, &raw, &count, std::malloc), 0u);
    ASSERT_EQ(count, 1u);
    auto *ty = static_cast<vlan_mgr_notif_5c26_t *>(raw);
    EXPECT_EQ(ty->vdc_id, 1);
    EXPECT_EQ(ty->v2, 11u);
    EXPECT_EQ(ty->v6, VLAN_MGR_VLAN_TYPE_PRIMARY);
    EXPECT_EQ(ty->v10, 0u);
    std::free(raw);
    mts_drop(sub_, &m);

    m = deliver(notes[2]);
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&m, &raw, &count, std::malloc), 0u);
    ASSERT_EQ(count, 1u);
    auto *b = static_cast<vlan_mgr_notif_bd_change_t *>(raw);
    EXPECT_EQ(b->vlan_id, 11u);
    EXPECT_EQ(b->bd_id, 11);
    std::free(raw);
    mts_drop(sub_, &m);

    m = deliver(notes[3]);
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&m, &raw, &count, std::malloc), 0u);
    ASSERT_EQ(count, 1u);
    auto *pm = static_cast<vlan_mgr_notif_5c24_t *>(raw);
    EXPECT_EQ(pm->vdc_id, 1);
    EXPECT_EQ(pm->if_index, kPort2);
    EXPECT_EQ(pm->v8, VLAN_MGR_PORT_MODE_TRUNK);
    EXPECT_EQ(bit_count(pm->bitmap[0]), 3u);
    EXPECT_TRUE(bit(pm->bitmap[0], 30));
    EXPECT_EQ(bit_count(pm->bitmap[1]), 2u);
    EXPECT_TRUE(bit(pm->bitmap[1], 10));
    std::free(raw);
    mts_drop(sub_, &m);
}

TEST_F(EngineTest, LayerThreeBdAndRangeFollowAVdcChange)
{
    Engine &e = start();
    Vdc &vdc = e.manager().vdc(2);
    vdc.l3_bd = 4000;
    vdc.rsvd_start = 2000;
    vdc.rsvd_end = 2127;
    ChangeSet c;
    c.vdc(2).vdc_config = true;
    std::vector<Notification> notes;
    ASSERT_EQ(e.apply(c, notes), 0u);
    EXPECT_TRUE(notes.empty());
    close_dbs();
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_l3_bd(2, &bd), 0u);
    EXPECT_EQ(bd, 4000);
    uint32_t start = 0, end = 0;
    EXPECT_EQ(vlan_get_rsvd_vlans(2, &start, &end), 0u);
    EXPECT_EQ(start, 2000u);
    EXPECT_EQ(end, 2127u);
    // VDC 1 untouched.
    EXPECT_EQ(vlan_get_rsvd_vlans(1, &start, &end), 0u);
    EXPECT_EQ(start, 3968u);
}

TEST_F(EngineTest, ConfigurationSurvivesARestart)
{
    {
        Engine &e = start();
        Manager &m = e.manager();
        m.autostate_disable = 1;
        Vdc &v1 = m.vdc(1);
        ChangeSet c;
        for (uint32_t v = 2; v <= 1000; ++v) {
            v1.vlans[v].created = true;
            c.mark_created(1, v);
        }
        v1.vlans[100].name = "hundred";
        v1.vlans[100].mode = 3;
        v1.vlans[100].segment = 70000;
        v1.vlans[100].create_options = 1;
        v1.vlans[200].type = VLAN_MGR_VLAN_TYPE_PRIMARY;
        v1.vlans[200].secondaries.set(201);
        v1.vlans[200].secondaries.set(202);
        v1.vlans[201].type = VLAN_MGR_VLAN_TYPE_ISOLATED;
        v1.vlans[201].primary = 200;
        v1.vlans[202].type = VLAN_MGR_VLAN_TYPE_COMMUNITY;
        v1.vlans[202].primary = 200;
        v1.vlans[300].state = VlanState::Suspended;
        Port *p = v1.port(kPort1);
        p->mode = VLAN_MGR_PORT_MODE_TRUNK;
        p->trunk_allowed.reset();
        p->trunk_allowed.set(100);
        p->trunk_allowed.set(200);
        p->native_vlan = 100;
        p->comprgrp = 9;
        Port *q = v1.port(kPort2);
        q->access_vlan = 300;
        q->voice_vlan = 301;
        c.mark_port(1, kPort1);
        c.mark_port(1, kPort2);
        v1.l3_bd = 3000;
        v1.config_mode = 2;
        v1.vni_to_vlan[10000] = 100;
        v1.vni_to_vlan[20000] = 200;
        Vdc &v3 = m.vdc(3);
        v3.vlans[5].created = true;
        v3.vlans[5].name = "five";
        c.mark_created(3, 5);
        c.global = true;
        std::vector<Notification> notes;
        ASSERT_EQ(e.apply(c, notes), 0u);
    }
    // A second engine as after kill -9: only the file and the databases.
    Engine &e = start();
    const Manager &m = e.manager();
    EXPECT_EQ(m.autostate_disable, 1u);
    const Vdc &v1 = m.vdc(1);
    uint32_t created = 0;
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        created += v1.vlans[v].created ? 1 : 0;
    EXPECT_EQ(created, 1000u);
    EXPECT_EQ(v1.vlans[100].name, "hundred");
    EXPECT_EQ(v1.vlans[100].mode, 3u);
    EXPECT_EQ(v1.vlans[100].segment, 70000u);
    EXPECT_EQ(v1.vlans[100].create_options, 1u);
    EXPECT_EQ(v1.vlans[200].type, VLAN_MGR_VLAN_TYPE_PRIMARY);
    EXPECT_EQ(v1.vlans[200].secondaries.count(), 2u);
    EXPECT_TRUE(v1.vlans[200].secondaries.test(202));
    EXPECT_EQ(v1.vlans[201].primary, 200u);
    EXPECT_EQ(v1.vlans[201].type, VLAN_MGR_VLAN_TYPE_ISOLATED);
    EXPECT_EQ(v1.vlans[202].type, VLAN_MGR_VLAN_TYPE_COMMUNITY);
    EXPECT_EQ(v1.vlans[300].state, VlanState::Suspended);
    EXPECT_EQ(v1.vlans[2].name, "");
    const Port *p = v1.port(kPort1);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->name, "Ethernet1/1");
    EXPECT_EQ(p->mode, VLAN_MGR_PORT_MODE_TRUNK);
    EXPECT_EQ(p->trunk_allowed.count(), 2u);
    EXPECT_TRUE(p->trunk_allowed.test(200));
    EXPECT_EQ(p->native_vlan, 100u);
    EXPECT_EQ(p->comprgrp, 9u);
    const Port *q = v1.port(kPort2);
    EXPECT_EQ(q->mode, VLAN_MGR_PORT_MODE_ACCESS);
    EXPECT_EQ(q->access_vlan, 300u);
    EXPECT_EQ(q->voice_vlan, 301u);
    EXPECT_EQ(q->trunk_allowed.count(), kVlanMax);
    EXPECT_EQ(v1.l3_bd, 3000);
    EXPECT_EQ(v1.config_mode, 2u);
    EXPECT_EQ(v1.vni_to_vlan.size(), 2u);
    EXPECT_EQ(v1.vni_to_vlan.at(20000), 200u);
    EXPECT_EQ(m.vdc(3).vlans[5].name, "five");
    EXPECT_TRUE(m.vdc(3).vlans[1].created);
    EXPECT_FALSE(m.vdc(3).vlans[6].created);

    // And the databases were rebuilt from it.
    close_dbs();
    uint16_t bd = 0;
    uint32_t primary = 0;
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{1, 202}, &bd, &primary), 0u);
    EXPECT_EQ(bd, 202);
    EXPECT_EQ(primary, 200u);
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{3, 5}, &bd, &primary), 0u);
    EXPECT_EQ(vlan_get_l3_bd(1, &bd), 0u);
    EXPECT_EQ(bd, 3000);

    // The BD snapshot for subscribers after the restart.
    std::vector<Notification> snap;
    e.restart_notifications(snap);
    ASSERT_EQ(snap.size(), 5u);
    mts_msg_hdl_t msg = deliver(snap[0]);
    void *raw = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&msg, &raw, &count, std::malloc), 0u);
    EXPECT_EQ(count, 1000u);
    auto *b = static_cast<vlan_mgr_notif_bd_change_t *>(raw);
    EXPECT_EQ(b[999].vlan_id, 1000u);
    EXPECT_EQ(b[999].bd_id, 1000);
    std::free(raw);
    mts_drop(sub_, &msg);
}

TEST_F(EngineTest, RestartDropsRecordsOfAnUnsavedState)
{
    {
        Engine &e = start();
        e.manager().vdc(1).vlans[50].created = true;
        ChangeSet c;
        c.mark_created(1, 50);
        std::vector<Notification> notes;
        ASSERT_EQ(e.apply(c, notes), 0u);
        close_dbs();
        uint16_t bd = 0;
        ASSERT_EQ(vlan_get_bd(vdc_vlan_id_t{1, 50}, &bd), 0u);
        ASSERT_EQ(bd, 50);
    }
    EngineOptions o = options_;
    o.state_path = dir_ + "/other_state"; // nothing saved there
    start(o);
    close_dbs();
    uint16_t bd = 0;
    uint32_t primary = 0;
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{1, 50}, &bd, &primary), VLAN_MGR_ERR_SDB_READ);
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{1, 1}, &bd, &primary), 0u);
}

TEST_F(EngineTest, DamagedStateFileStopsTheStart)
{
    {
        Engine &e = start();
        e.manager().vdc(1).vlans[7].created = true;
        ChangeSet c;
        c.mark_created(1, 7);
        std::vector<Notification> notes;
        ASSERT_EQ(e.apply(c, notes), 0u);
        // The state as a snapshot alone, no log.
        std::string error;
        ASSERT_TRUE(save_state(e.manager(), options_.state_path, false, error)) << error;
    }
    engine_.reset();
    ASSERT_EQ(unlink((options_.state_path + ".log").c_str()), 0);
    std::ifstream in(options_.state_path, std::ios::binary);
    std::vector<char> good((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_GT(good.size(), 20u);

    auto try_start = [&](const std::vector<char> &bytes) {
        std::ofstream(options_.state_path, std::ios::binary | std::ios::trunc).write(bytes.data(), bytes.size());
        auto e = std::make_unique<Engine>(options_); // a Manager is too big for the stack
        std::string error;
        const uint32_t st = e->start(error);
        EXPECT_EQ(st, VLAN_MGR_ERR_STORE);
        return error;
    };
    std::vector<char> flipped = good;
    flipped[good.size() - 3] ^= 0x40;
    EXPECT_NE(try_start(flipped).find("checksum mismatch"), std::string::npos);
    std::vector<char> cut(good.begin(), good.end() - 5);
    EXPECT_NE(try_start(cut).find("does not match the file size"), std::string::npos);
    EXPECT_NE(try_start(std::vector<char>{'x', 'y'}).find("too short"), std::string::npos);
    std::vector<char> garbage(100, 'z');
    EXPECT_NE(try_start(garbage).find("bad magic"), std::string::npos);
    std::vector<char> version = good;
    version[11] = 9;
    EXPECT_NE(try_start(version).find("unsupported format version 9"), std::string::npos);
}

std::vector<char> read_all(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<char>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void write_all(const std::string &path, const std::vector<char> &bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

TEST_F(EngineTest, UnfinishedLogRecordIsIgnoredAndTheLogCompacted)
{
    const std::string log = options_.state_path + ".log";
    {
        Engine &e = start();
        for (uint32_t v : {7u, 8u}) {
            e.manager().vdc(1).vlans[v].created = true;
            ChangeSet c;
            c.mark_created(1, v);
            std::vector<Notification> notes;
            ASSERT_EQ(e.apply(c, notes), 0u);
        }
    }
    engine_.reset();
    std::vector<char> bytes = read_all(log);
    ASSERT_EQ(bytes.size() % 2, 0u); // two records of one size
    const size_t rec = bytes.size() / 2;
    std::vector<char> torn = bytes;
    torn.insert(torn.end(), bytes.begin(), bytes.begin() + 100); // a write cut short
    write_all(log, torn);
    {
        Engine &e = start();
        EXPECT_TRUE(e.manager().vdc(1).vlans[7].created);
        EXPECT_TRUE(e.manager().vdc(1).vlans[8].created);
    }
    engine_.reset();
    // Compacted at start: the snapshot holds it all, the log is empty.
    EXPECT_EQ(read_all(log).size(), 0u);
    EXPECT_GT(read_all(options_.state_path).size(), 0u);
    {
        Engine &e = start();
        EXPECT_TRUE(e.manager().vdc(1).vlans[8].created);
        e.manager().vdc(1).vlans[8] = Vlan{};
        ChangeSet c;
        c.mark_deleted(1, 8, Vlan{});
        std::vector<Notification> notes;
        ASSERT_EQ(e.apply(c, notes), 0u);
    }
    engine_.reset();
    {
        // The log's record is newer than the snapshot.
        Engine &e = start();
        EXPECT_TRUE(e.manager().vdc(1).vlans[7].created);
        EXPECT_FALSE(e.manager().vdc(1).vlans[8].created);
    }
    engine_.reset();

    // Damage inside the log (not at its end) refuses the start.
    std::vector<char> bad = bytes;
    bad[rec / 2] ^= 0x01;
    write_all(log, bad);
    auto e = std::make_unique<Engine>(options_);
    std::string error;
    EXPECT_EQ(e->start(error), VLAN_MGR_ERR_STORE);
    EXPECT_NE(error.find("checksum mismatch at offset 0"), std::string::npos) << error;
}

TEST_F(EngineTest, NameSavedBeforeThePrintableRuleStillLoads)
{
    // An older manager kept any bytes but NUL in a name: such a state
    // starts, the name kept as it was, for the clients to show escaped.
    {
        auto m = std::make_unique<Manager>(); // too big for the stack
        m->vdc(1).vlans[30].created = true;
        m->vdc(1).vlans[30].name = "a\x1b[31mred\xff";
        std::string error;
        ASSERT_TRUE(save_state(*m, options_.state_path, false, error)) << error;
    }
    Engine &e = start();
    EXPECT_TRUE(e.manager().vdc(1).vlans[30].created);
    EXPECT_EQ(e.manager().vdc(1).vlans[30].name, "a\x1b[31mred\xff");
}

TEST_F(EngineTest, DecodeRefusesInconsistentContentWithAValidChecksum)
{
    auto mp = std::make_unique<Manager>(); // too big for the stack
    auto outp = std::make_unique<Manager>();
    Manager &m = *mp;
    Manager &out = *outp;
    m.vdc(1).vlans[5].created = true;
    m.vdc(1).vlans[5].name = "n";
    m.vdc(1).vlans[5].type = 9; // not a VLAN type
    std::vector<uint8_t> bytes = encode_state(m);
    std::string error;
    EXPECT_FALSE(decode_state(bytes.data(), bytes.size(), out, error));
    EXPECT_NE(error.find("VDC 1: VLAN 5: bad type 9"), std::string::npos) << error;
    EXPECT_FALSE(out.vdc(1).vlans[5].created);

    m.vdc(1).vlans[5].type = 0;
    m.vdc(1).vlans[1].created = false;
    bytes = encode_state(m);
    EXPECT_FALSE(decode_state(bytes.data(), bytes.size(), out, error));
    EXPECT_NE(error.find("VLAN 1 missing"), std::string::npos) << error;

    m.vdc(1).vlans[1].created = true;
    bytes = encode_state(m);
    EXPECT_TRUE(decode_state(bytes.data(), bytes.size(), out, error)) << error;
    EXPECT_EQ(out.vdc(1).vlans[5].name, "n");
    // Every truncation of a valid body is refused, never read past.
    for (size_t len = 0; len < bytes.size(); ++len) {
        std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(len));
        EXPECT_FALSE(decode_state(cut.data(), cut.size(), out, error)) << len;
    }
}

TEST_F(EngineTest, StoreFailureIsReported)
{
    EngineOptions o = options_;
    o.state_path = dir_ + "/no/such/dir/state";
    Engine &e = start(o);
    e.manager().vdc(1).vlans[9].created = true;
    ChangeSet c;
    c.mark_created(1, 9);
    std::vector<Notification> notes;
    EXPECT_EQ(e.apply(c, notes), VLAN_MGR_ERR_STORE);
    // Published and announced all the same: the state in memory is the truth.
    EXPECT_EQ(notes.size(), 1u);
    close_dbs();
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_bd(vdc_vlan_id_t{1, 9}, &bd), 0u);
    EXPECT_EQ(bd, 9);
}

TEST_F(EngineTest, AutostateAndRequestResponseHandlers)
{
    Engine &e = start();
    e.manager().autostate_disable = 0x01020304;
    ChangeSet c;
    Reply r = test::run(e.manager(), MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE, nullptr, 0, c);
    ASSERT_EQ(r.size(), 4u);
    uint32_t word = 0;
    std::memcpy(&word, r.data(), 4);
    EXPECT_EQ(word, 0x01020304u);

    Vdc &vdc = e.manager().vdc(1);
    vdc.vlans[40].created = true;
    vdc.vlans[40].segment = 123456;
    vdc.vlans[41].created = true;
    vdc.vlans[41].type = VLAN_MGR_VLAN_TYPE_COMMUNITY;
    vdc.vlans[41].primary = 40;
    const std::vector<uint8_t> keys = {0, 1, 0, 0, 0, 40, 0, 1, 0, 0, 0, 41, 0, 1, 0, 0, 0, 42};
    r = test::run(e.manager(), MTS_OPC_VLAN_REQ_RESP_16, keys, c);
    ASSERT_EQ(r.size(), 48u);
    uint16_t v16 = 0;
    uint32_t v32 = 0;
    std::memcpy(&v16, r.data() + 0, 2);
    EXPECT_EQ(v16, 1);
    std::memcpy(&v32, r.data() + 2, 4);
    EXPECT_EQ(v32, 40u);
    std::memcpy(&v16, r.data() + 6, 2);
    EXPECT_EQ(v16, 40);
    std::memcpy(&v32, r.data() + 8, 4);
    EXPECT_EQ(v32, 123456u);
    std::memcpy(&v16, r.data() + 32 + 6, 2);
    EXPECT_EQ(v16, 0); // VLAN 42 not created

    r = test::run(e.manager(), MTS_OPC_VLAN_REQ_RESP_30, keys, c);
    ASSERT_EQ(r.size(), 90u);
    std::memcpy(&v32, r.data() + 30 + 2, 4);
    EXPECT_EQ(v32, 41u);
    std::memcpy(&v16, r.data() + 30 + 6, 2);
    EXPECT_EQ(v16, VLAN_MGR_VLAN_TYPE_COMMUNITY);
    std::memcpy(&v32, r.data() + 30 + 8, 4);
    EXPECT_EQ(v32, 40u);

    EXPECT_EQ(test::be32(test::run(e.manager(), MTS_OPC_VLAN_REQ_RESP_16, nullptr, 0, c), 0),
              VLAN_MGR_ERR_BAD_REQUEST);
    const std::vector<uint8_t> odd(keys.begin(), keys.begin() + 7);
    EXPECT_EQ(test::be32(test::run(e.manager(), MTS_OPC_VLAN_REQ_RESP_30, odd, c), 0), VLAN_MGR_ERR_BAD_REQUEST);
    const std::vector<uint8_t> other = {0, 2, 0, 0, 0, 40};
    EXPECT_EQ(test::be32(test::run(e.manager(), MTS_OPC_VLAN_REQ_RESP_16, other, c), 0), VLAN_MGR_ERR_VDC_MISMATCH);
    const std::vector<uint8_t> bad_vlan = {0, 1, 0, 0, 0x10, 0};
    EXPECT_EQ(test::be32(test::run(e.manager(), MTS_OPC_VLAN_REQ_RESP_16, bad_vlan, c), 0),
              VLAN_MGR_ERR_INVALID_VLAN);
    EXPECT_FALSE(c.any());
}

TEST_F(EngineTest, LargeChangesGoInOneNotificationEach)
{
    Engine &e = start();
    Vdc &vdc = e.manager().vdc(1);
    ChangeSet c;
    for (uint32_t v = 2; v <= kVlanMax; ++v) {
        if (vdc.reserved.test(v))
            continue;
        vdc.vlans[v].created = true;
        c.mark_created(1, v);
    }
    for (Port &p : vdc.ports) {
        p.mode = VLAN_MGR_PORT_MODE_TRUNK;
        c.mark_port(1, p.if_index);
    }
    std::vector<Notification> notes;
    ASSERT_EQ(e.apply(c, notes), 0u);
    ASSERT_EQ(notes.size(), 2u);
    mts_msg_hdl_t m = deliver(notes[0]);
    vlan_create_notif2_t *recs = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_mgr_parse_create_notification_msg(&m, &recs, &count, std::malloc), 0u);
    ASSERT_EQ(count, 3966u); // 2..3967
    EXPECT_EQ(recs[3965].vdc_vlan.vlan_id, 3967u);
    EXPECT_STREQ(recs[3965].name, "VLAN3967");
    std::free(recs);
    mts_drop(sub_, &m);

    m = deliver(notes[1]);
    void *raw = nullptr;
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&m, &raw, &count, std::malloc), 0u);
    ASSERT_EQ(count, 48u);
    auto *pm = static_cast<vlan_mgr_notif_5c24_t *>(raw);
    EXPECT_EQ(pm[47].if_index, 0x01010030u);
    EXPECT_EQ(bit_count(pm[47].bitmap[0]), kVlanMax);
    EXPECT_EQ(bit_count(pm[47].bitmap[1]), 3967u); // created ones: 1..3967
    std::free(raw);
    mts_drop(sub_, &m);

    close_dbs();
    uint32_t ports[1] = {0x01010030};
    uint32_t *entries = nullptr;
    ASSERT_EQ(vlan_mgr_sdb_get_port_trunking_memb(1, ports, 1, &entries), 0u);
    EXPECT_EQ(bit_count(reinterpret_cast<vlan_mgr_sdb_trunking_memb_t *>(entries)->bitmap2), 3967u);
    std::free(entries);
}

// 4094 single-VLAN changes, each saved and published, as the daemon's
// benchmark drives them; prints the time per change.
TEST_F(EngineTest, ManySingleVlanChanges)
{
    for (bool sync : {false, true}) {
        EngineOptions o = options_;
        o.sync = sync;
        o.state_path = dir_ + (sync ? "/state_sync" : "/state_nosync");
        Engine &e = start(o);
        Vdc &vdc = e.manager().vdc(1);
        const uint32_t last = sync ? 300 : kVlanMax; // fsync is slow on some disks
        double save_total = 0;
        uint32_t n = 0;
        const auto t0 = std::chrono::steady_clock::now();
        for (uint32_t v = 2; v <= last; ++v) {
            if (vdc.reserved.test(v))
                continue;
            vdc.vlans[v].created = true;
            ChangeSet c;
            c.mark_created(1, v);
            std::vector<Notification> notes;
            ASSERT_EQ(e.apply(c, notes), 0u);
            ASSERT_EQ(notes.size(), 1u);
            ++n;
        }
        const auto t1 = std::chrono::steady_clock::now();
        for (int i = 0; i < 50; ++i) {
            std::string error;
            const auto s0 = std::chrono::steady_clock::now();
            ASSERT_TRUE(save_state(e.manager(), o.state_path, sync, error)) << error;
            save_total += std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - s0).count();
        }
        const double per = std::chrono::duration<double, std::micro>(t1 - t0).count() / n;
        const auto e0 = std::chrono::steady_clock::now();
        size_t bytes = 0;
        for (int i = 0; i < 50; ++i)
            bytes = encode_state(e.manager()).size();
        const double encode =
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - e0).count() / 50;
        std::printf("[ engine ] sync=%d: %u changes, %.1f us per change (log save+publish+notify), snapshot write %.1f us "
                    "(encoding %.1f us, %zu bytes)\n",
                    sync ? 1 : 0, n, per, save_total / 50, encode, bytes);
        close_dbs();
        uint16_t bd = 0;
        EXPECT_EQ(vlan_get_bd(vdc_vlan_id_t{1, sync ? 300u : 3967u}, &bd), 0u);
        EXPECT_EQ(bd, sync ? 300 : 3967);
    }
}

} // namespace
} // namespace vlan_mgrd
