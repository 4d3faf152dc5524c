// The VLAN configuration handlers, driven with requests built by the
// library's builders and replies decoded by the library's parsers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/query_req.h>
#include <vlan_mgr/tlv.h>

#include "handler_test_util.h"
#include "handlers.h"
#include "state.h"

namespace {

using namespace vlan_mgrd;
using vlan_mgrd::test::run;
using vlan_mgrd::test::run_built;
using Bytes = std::vector<uint8_t>;

// ---- Request builders (library) -----------------------------------------------

Bytes take(void *p, uint32_t len)
{
    const auto *b = static_cast<const uint8_t *>(p);
    Bytes out(b, b + len);
    std::free(p);
    return out;
}

Bytes create_req(std::vector<uint32_t> ids, const char *name = "", uint32_t options = 0, uint16_t vdc = 1)
{
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_create_build_mts(vdc, static_cast<uint16_t>(ids.size()), ids.data(), name, options, &p, &len), 0u);
    return take(p, len);
}

Bytes delete_req(std::vector<uint32_t> ids, bool range = false)
{
    void *p = nullptr;
    uint32_t len = 0;
    const uint32_t n = static_cast<uint32_t>(ids.size());
    EXPECT_EQ(range ? vlan_delete_range_build_mts(1, n, ids.data(), &p, &len)
                    : vlan_delete_build_mts(1, n, ids.data(), &p, &len),
              0u);
    return take(p, len);
}

vlan_bitmap bitmap_of(std::initializer_list<uint32_t> ids)
{
    vlan_bitmap b{};
    b.len = 512;
    for (uint32_t v : ids)
        b.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return b;
}

Bytes type_req(std::initializer_list<uint32_t> ids, int32_t type, uint16_t vdc = 1)
{
    const vlan_bitmap b = bitmap_of(ids);
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_type_change_build_mts(vdc, &b, type, &p, &len), 0u);
    return take(p, len);
}

Bytes assoc_req(int32_t primary, std::initializer_list<uint32_t> secondaries, int32_t type, uint16_t tag,
                uint16_t vdc = 1)
{
    const vlan_bitmap b = bitmap_of(secondaries);
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_association_build_mts(vdc, primary, &b, type, tag, &p, &len), 0u);
    return take(p, len);
}

Bytes name_req(const char *name, uint16_t vdc = 1)
{
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_name_to_id_build_mts(name, &vdc, &p, &len), 0u);
    return take(p, len);
}

// The 12-byte reserved-check request (built by the client side by hand).
Bytes rsvd_req(uint16_t vdc, uint32_t first, uint32_t last)
{
    Bytes b(12, 0);
    b[0] = static_cast<uint8_t>(vdc >> 8);
    b[1] = static_cast<uint8_t>(vdc);
    for (int i = 0; i < 4; ++i) {
        b[4 + i] = static_cast<uint8_t>(first >> (24 - 8 * i));
        b[8 + i] = static_cast<uint8_t>(last >> (24 - 8 * i));
    }
    return b;
}

struct CuItem {
    uint8_t op;
    uint32_t vlan;
    uint32_t segment;
    uint16_t mode;
    const char *name;
};

Bytes create_update_req(const std::vector<CuItem> &items)
{
    vlan_mgr_create_update_req_t *msg = nullptr;
    EXPECT_EQ(vlan_mgr_init_create_update_req_msg(&msg, static_cast<uint32_t>(items.size())), 0);
    const auto count = static_cast<uint16_t>(items.size());
    std::memcpy(msg, &count, 2);
    for (size_t i = 0; i < items.size(); ++i) {
        vlan_mgr_create_update_t rec{};
        rec.field3 = items[i].op;
        rec.field5 = items[i].vlan;
        rec.field6 = items[i].segment;
        rec.field7 = items[i].mode;
        std::strncpy(rec.name, items[i].name, sizeof rec.name - 1);
        std::memcpy(reinterpret_cast<uint8_t *>(msg) + 2 + 48 * i, &rec, sizeof rec);
    }
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_mgr_create_update_build_mts(msg, &tlv, &len), 0);
    std::free(msg);
    return take(tlv, len);
}

Bytes configmode_req(uint32_t mode)
{
    vlan_configmode_payload_t p{};
    vlan_configmode_payload_init(&p);
    p.field26 = mode;
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_build_vlan_configmode_change_req(&p, &tlv, &len), 0);
    return take(tlv, len);
}

// ---- Reply decoders (library) ----------------------------------------------------

struct CreateReply {
    uint32_t status = 0xEEEEEEEEu;
    uint16_t vdc = 0, count = 0;
    std::vector<uint32_t> ids, statuses;
};

CreateReply parse_create(const Reply &r, bool create_update = false)
{
    CreateReply d;
    uint32_t *ids = nullptr, *st = nullptr;
    d.status = create_update
                   ? vlan_mgr_create_update_parse_reply(&d.count, &ids, &st, r.data(), static_cast<int32_t>(r.size()))
                   : vlan_create_parse_reply(&d.vdc, &d.count, &ids, &st, r.data(), static_cast<uint32_t>(r.size()));
    if (d.status == 0) {
        const uint32_t n = d.count == 0 ? 1 : d.count;
        d.ids.assign(ids, ids + n);
        d.statuses.assign(st, st + n);
        std::free(ids);
        std::free(st);
    }
    return d;
}

struct PairReply {
    uint32_t status = 0xEEEEEEEEu;
    uint16_t vdc = 0;
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
};

PairReply parse_delete(const Reply &r)
{
    PairReply d;
    vlan_delete_result_t *res = nullptr;
    uint32_t count = 0;
    d.status = vlan_delete_parse_reply(&res, &count, &d.vdc, r.data(), static_cast<int32_t>(r.size()));
    if (res != nullptr) {
        for (uint32_t i = 0; i < count; ++i)
            d.pairs.emplace_back(res[i].vlan_id, res[i].status);
        std::free(res);
    }
    return d;
}

PairReply parse_type(const Reply &r)
{
    PairReply d;
    vlan_delete_result_t *res = nullptr;
    uint32_t count = 0;
    d.status = vlan_type_change_parse_reply(&res, &count, &d.vdc, r.data(), static_cast<int32_t>(r.size()));
    if (res != nullptr) {
        for (uint32_t i = 0; i < count; ++i)
            d.pairs.emplace_back(res[i].vlan_id, res[i].status);
        std::free(res);
    }
    return d;
}

using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;

// What of the state the configuration requests can change, as text.
std::string fingerprint(const Manager &m)
{
    std::ostringstream o;
    for (const Vdc &vdc : m.vdcs) {
        o << "vdc " << vdc.id << " mode " << vdc.config_mode << "\n";
        for (uint32_t v = 0; v < 4096; ++v) {
            const Vlan &l = vdc.vlans[v];
            if (l.created)
                o << v << " " << l.name << " " << l.type << " " << l.primary << " " << l.secondaries.count() << " "
                  << l.mode << " " << l.segment << "\n";
        }
        for (const Port &p : vdc.ports)
            o << p.if_index << " " << p.access_vlan << "\n";
    }
    return o.str();
}

class ConfigHandlers : public ::testing::Test {
protected:
    Manager m;
    ChangeSet ch;
    Vdc &vdc1() { return m.vdc(1); }
    Reply go(uint32_t opcode, const Bytes &payload, uint16_t src_vdc = 1)
    {
        // An exact-size heap copy, so that a read past the end is caught.
        auto *p = static_cast<uint8_t *>(std::malloc(payload.empty() ? 1 : payload.size()));
        if (!payload.empty())
            std::memcpy(p, payload.data(), payload.size());
        return run_built(m, opcode, p, static_cast<uint32_t>(payload.size()), ch, src_vdc);
    }
    void create(std::vector<uint32_t> ids, const char *name = "")
    {
        ChangeSet scratch;
        const Reply r = run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req(std::move(ids), name), scratch);
        const CreateReply d = parse_create(r);
        ASSERT_EQ(d.status, 0u);
        for (uint32_t s : d.statuses)
            ASSERT_EQ(s, 0u);
    }
    void set_type(std::initializer_list<uint32_t> ids, int32_t type)
    {
        ChangeSet scratch;
        const PairReply d = parse_type(run(m, VLAN_MGR_OPC_VLAN_TYPE_CHANGE, type_req(ids, type), scratch));
        ASSERT_EQ(d.status, 0u);
    }
    // Every strict prefix of `payload` is refused as malformed and changes nothing.
    void expect_truncations_refused(uint32_t opcode, const Bytes &payload)
    {
        const std::string before = fingerprint(m);
        for (size_t len = 0; len < payload.size(); ++len) {
            ChangeSet c;
            auto *p = static_cast<uint8_t *>(std::malloc(len == 0 ? 1 : len));
            std::memcpy(p, payload.data(), len);
            const Reply r = run_built(m, opcode, p, static_cast<uint32_t>(len), c);
            ASSERT_EQ(r.size(), 4u) << "length " << len;
            ASSERT_EQ(test::be32(r, 0), VLAN_MGR_ERR_BAD_REQUEST) << "length " << len;
            ASSERT_FALSE(c.any()) << "length " << len;
        }
        EXPECT_EQ(fingerprint(m), before);
        // The whole request is accepted.
        const Reply r = go(opcode, payload);
        EXPECT_FALSE(r.size() == 4 && test::be32(r, 0) == VLAN_MGR_ERR_BAD_REQUEST);
    }
};

// ---- Create ------------------------------------------------------------------

TEST_F(ConfigHandlers, CreateOneNamed)
{
    const Reply r = go(VLAN_MGR_OPC_VLAN_CREATE, create_req({10}, "engineering"));
    const CreateReply d = parse_create(r);
    ASSERT_EQ(d.status, 0u);
    EXPECT_EQ(d.vdc, 1);
    EXPECT_EQ(d.count, 1);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{10}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0}));
    EXPECT_TRUE(vdc1().vlans[10].created);
    EXPECT_EQ(vdc1().vlans[10].name, "engineering");
    EXPECT_TRUE(ch.vdc(1).created.test(10));
    EXPECT_EQ(ch.vdc(1).created.count(), 1u);
    EXPECT_EQ(r.size(), 528u);
}

TEST_F(ConfigHandlers, CreateSetGivesAscendingIdsAndStatuses)
{
    const CreateReply d = parse_create(go(VLAN_MGR_OPC_VLAN_CREATE, create_req({100, 5, 100})));
    ASSERT_EQ(d.status, 0u);
    EXPECT_EQ(d.count, 2);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{5, 100}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0, 0}));
    EXPECT_TRUE(vdc1().vlans[5].created);
    EXPECT_TRUE(vdc1().vlans[100].created);
    EXPECT_EQ(vdc1().vlans[5].name, "");
    EXPECT_EQ(ch.vdc(1).created.count(), 2u);
}

TEST_F(ConfigHandlers, CreateExistingIsIdempotentAndANameRenames)
{
    create({20});
    ChangeSet c;
    CreateReply d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({20}), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0}));
    EXPECT_FALSE(c.any());
    d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({20}, "blue"), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0}));
    EXPECT_EQ(vdc1().vlans[20].name, "blue");
    EXPECT_TRUE(c.vdc(1).renamed.test(20));
    EXPECT_FALSE(c.vdc(1).created.test(20));
}

TEST_F(ConfigHandlers, CreateInvalidAndReservedVlans)
{
    for (uint32_t v = 3000; v <= 3010; ++v)
        vdc1().reserved.set(v);
    const CreateReply d = parse_create(go(VLAN_MGR_OPC_VLAN_CREATE, create_req({0, 2999, 3000, 3005, 4095})));
    ASSERT_EQ(d.status, 0u);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{0, 2999, 3000, 3005, 4095}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_INVALID_VLAN, 0, VLAN_MGR_ERR_VLAN_RESERVED,
                                                 VLAN_MGR_ERR_VLAN_RESERVED, VLAN_MGR_ERR_INVALID_VLAN}));
    EXPECT_TRUE(vdc1().vlans[2999].created);
    EXPECT_FALSE(vdc1().vlans[3000].created);
    EXPECT_EQ(ch.vdc(1).created.count(), 1u);

    const CreateReply one = parse_create(go(VLAN_MGR_OPC_VLAN_CREATE, create_req({5000}, "x")));
    EXPECT_EQ(one.ids, (std::vector<uint32_t>{5000}));
    EXPECT_EQ(one.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_INVALID_VLAN}));
}

TEST_F(ConfigHandlers, CreateNameRules)
{
    create({10}, "red");
    ChangeSet c;
    // Another VLAN's name, compared case-sensitively.
    CreateReply d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({11}, "red"), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_NAME_IN_USE}));
    EXPECT_FALSE(vdc1().vlans[11].created);
    d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({11}, "Red"), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0}));
    // Another VLAN's default name.
    d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({12}, "VLAN0001"), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_NAME_IN_USE}));
    // Its own default name is fine.
    d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({12}, "VLAN0012"), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0}));
    EXPECT_TRUE(vdc1().vlans[12].created);
    // 33 characters: the builder takes them, the manager keeps at most 32.
    d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({13}, "abcdefghijklmnopqrstuvwxyz0123456"), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_NAME_TOO_LONG}));
    EXPECT_FALSE(vdc1().vlans[13].created);
    d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({13}, "abcdefghijklmnopqrstuvwxyz012345"), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0}));
    EXPECT_EQ(vdc1().vlans[13].name, "abcdefghijklmnopqrstuvwxyz012345");
}

TEST_F(ConfigHandlers, CreateRenameOption)
{
    CreateReply d = parse_create(go(VLAN_MGR_OPC_VLAN_CREATE, create_req({30}, "green", VLAN_MGR_CREATE_OPT_RENAME)));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_VLAN_NOT_CREATED}));
    EXPECT_FALSE(vdc1().vlans[30].created);
    EXPECT_FALSE(ch.any());
    create({30}, "olive");
    ChangeSet c;
    d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({30}, "green", VLAN_MGR_CREATE_OPT_RENAME), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0}));
    EXPECT_EQ(vdc1().vlans[30].name, "green");
    EXPECT_TRUE(c.vdc(1).renamed.test(30));
    EXPECT_FALSE(c.vdc(1).created.any());
}

TEST_F(ConfigHandlers, NameWithBytesOutsidePrintableAsciiIsRefusedAndChangesNothing)
{
    create({30}, "olive");
    const std::string before = fingerprint(m);
    // A control byte (ESC), DEL, a byte that is not UTF-8, and valid UTF-8
    // that is not ASCII: each refused when creating, renaming, or through
    // the create/update records.
    for (const char *bad : {"a\x1b[31mred", "del\x7f", "x\xff", "caf\xc3\xa9", "\t"}) {
        ChangeSet c;
        CreateReply d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({31}, bad), c));
        EXPECT_EQ(d.status, 0u) << bad;
        EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_BAD_NAME})) << bad;
        d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({30}, bad, VLAN_MGR_CREATE_OPT_RENAME), c));
        EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_BAD_NAME})) << bad;
        d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({30}, bad), c));
        EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_BAD_NAME})) << bad;
        d = parse_create(
            run(m, VLAN_MGR_OPC_VLAN_CREATE_UPDATE, create_update_req({{0, 30, 0, 0, bad}, {0, 32, 0, 0, bad}}), c),
            true);
        EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_BAD_NAME, VLAN_MGR_ERR_BAD_NAME})) << bad;
        EXPECT_FALSE(c.any()) << bad;
    }
    EXPECT_EQ(fingerprint(m), before);
    EXPECT_EQ(vdc1().vlans[30].name, "olive");
    // Blanks and every other printable ASCII character are names.
    ChangeSet c;
    const std::string edges = " !~\\ x ";
    CreateReply d = parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE, create_req({31}, edges.c_str()), c));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0}));
    EXPECT_EQ(vdc1().vlans[31].name, edges);
}

TEST_F(ConfigHandlers, CreateAll4094InOneRequest)
{
    std::vector<uint32_t> ids;
    for (uint32_t v = 1; v <= 4094; ++v)
        ids.push_back(v);
    const CreateReply d = parse_create(go(VLAN_MGR_OPC_VLAN_CREATE, create_req(ids)));
    ASSERT_EQ(d.status, 0u);
    EXPECT_EQ(d.count, 4094);
    EXPECT_EQ(d.ids, ids);
    EXPECT_EQ(d.statuses, std::vector<uint32_t>(4094, 0));
    for (uint32_t v = 1; v <= 4094; ++v)
        ASSERT_TRUE(vdc1().vlans[v].created);
    EXPECT_EQ(ch.vdc(1).created.count(), 4093u); // VLAN 1 existed
}

// ---- Delete ------------------------------------------------------------------

TEST_F(ConfigHandlers, DeleteStatuses)
{
    create({10, 20});
    vdc1().reserved.set(3500);
    const PairReply d = parse_delete(go(VLAN_MGR_OPC_VLAN_DELETE, delete_req({1, 10, 15, 20, 3500})));
    EXPECT_EQ(d.status, VLAN_MGR_ERR_DEFAULT_VLAN);
    EXPECT_EQ(d.vdc, 1);
    EXPECT_EQ(d.pairs, (Pairs{{1, VLAN_MGR_ERR_DEFAULT_VLAN},
                              {10, 0},
                              {15, VLAN_MGR_ERR_VLAN_NOT_CREATED},
                              {20, 0},
                              {3500, VLAN_MGR_ERR_VLAN_RESERVED}}));
    EXPECT_TRUE(vdc1().vlans[1].created);
    EXPECT_FALSE(vdc1().vlans[10].created);
    EXPECT_FALSE(vdc1().vlans[20].created);
    EXPECT_EQ(ch.vdc(1).deleted.count(), 2u);
    EXPECT_TRUE(ch.vdc(1).deleted.test(10));
    EXPECT_EQ(ch.vdc(1).deleted_before.count(20), 1u);
}

TEST_F(ConfigHandlers, DeleteAllSucceededAndKeepsThePreviousState)
{
    create({10}, "sales");
    const PairReply d = parse_delete(go(VLAN_MGR_OPC_VLAN_DELETE, delete_req({10})));
    EXPECT_EQ(d.status, 0u);
    EXPECT_EQ(d.pairs, (Pairs{{10, 0}}));
    ASSERT_EQ(ch.vdc(1).deleted_before.count(10), 1u);
    EXPECT_EQ(ch.vdc(1).deleted_before.at(10).name, "sales");
    EXPECT_EQ(vdc1().vlans[10].name, "");
}

TEST_F(ConfigHandlers, DeleteRangeAndPortsKeepTheirConfiguration)
{
    create({100, 101, 102, 103});
    Port p;
    p.if_index = 0x01010001u;
    p.name = "Ethernet1/2";
    p.access_vlan = 101;
    vdc1().ports.push_back(p);
    const PairReply d = parse_delete(go(VLAN_MGR_OPC_VLAN_DELETE_RANGE, delete_req({100, 101, 102, 103}, true)));
    EXPECT_EQ(d.status, 0u);
    EXPECT_EQ(d.pairs, (Pairs{{100, 0}, {101, 0}, {102, 0}, {103, 0}}));
    EXPECT_EQ(vdc1().ports[0].access_vlan, 101u);
    EXPECT_FALSE(vdc1().port_vlans(vdc1().ports[0], true).test(101));
    EXPECT_EQ(ch.vdc(1).ports, (std::set<uint32_t>{0x01010001u}));
    EXPECT_EQ(ch.vdc(1).deleted.count(), 4u);
}

TEST_F(ConfigHandlers, DeletePrivateVlansDropsTheirAssociations)
{
    create({10, 20, 30});
    set_type({10}, 3);
    set_type({20, 30}, 4);
    ChangeSet c;
    run(m, VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(10, {20, 30}, 2, 0), c);
    ASSERT_EQ(vdc1().vlans[20].primary, 10u);
    // A secondary leaves its primary.
    parse_delete(go(VLAN_MGR_OPC_VLAN_DELETE, delete_req({30})));
    EXPECT_FALSE(vdc1().vlans[10].secondaries.test(30));
    EXPECT_TRUE(ch.vdc(1).retyped.test(10));
    // A primary frees its secondaries.
    ChangeSet c2;
    run(m, VLAN_MGR_OPC_VLAN_DELETE, delete_req({10}), c2);
    EXPECT_EQ(vdc1().vlans[20].primary, 0u);
    EXPECT_TRUE(c2.vdc(1).retyped.test(20));
    EXPECT_TRUE(c2.vdc(1).deleted.test(10));
    EXPECT_EQ(vdc1().vlans[20].type, 4u);
}

// ---- Type change -------------------------------------------------------------

TEST_F(ConfigHandlers, TypeChangeRules)
{
    create({10, 11});
    PairReply d = parse_type(go(VLAN_MGR_OPC_VLAN_TYPE_CHANGE, type_req({10, 12}, 3)));
    EXPECT_EQ(d.status, VLAN_MGR_ERR_VLAN_NOT_CREATED);
    EXPECT_EQ(d.vdc, 1);
    EXPECT_EQ(d.pairs, (Pairs{{10, 0}, {12, VLAN_MGR_ERR_VLAN_NOT_CREATED}}));
    EXPECT_EQ(vdc1().vlans[10].type, 3u);
    EXPECT_TRUE(ch.vdc(1).retyped.test(10));
    EXPECT_EQ(ch.vdc(1).retyped.count(), 1u);

    // Type 2 is not a type the manager knows; VLAN 1 may be set to normal.
    ChangeSet c;
    d = parse_type(run(m, VLAN_MGR_OPC_VLAN_TYPE_CHANGE, type_req({1, 11}, 2), c));
    EXPECT_EQ(d.pairs, (Pairs{{1, VLAN_MGR_ERR_PVLAN}, {11, VLAN_MGR_ERR_PVLAN}}));
    EXPECT_FALSE(c.any());
    d = parse_type(run(m, VLAN_MGR_OPC_VLAN_TYPE_CHANGE, type_req({1, 11}, 0), c));
    EXPECT_EQ(d.status, 0u);
    EXPECT_EQ(d.pairs, (Pairs{{1, 0}, {11, 0}}));
    EXPECT_FALSE(c.any());

    // VLAN 1 in a private type: the builder refuses it, so the bit is set by hand.
    Bytes req = type_req({11}, 5);
    req[16] |= 0x40;
    d = parse_type(run(m, VLAN_MGR_OPC_VLAN_TYPE_CHANGE, req, c));
    EXPECT_EQ(d.pairs, (Pairs{{1, VLAN_MGR_ERR_DEFAULT_VLAN}, {11, 0}}));
    EXPECT_EQ(vdc1().vlans[1].type, 0u);
    EXPECT_EQ(vdc1().vlans[11].type, 5u);
}

TEST_F(ConfigHandlers, TypeChangeDissociates)
{
    create({10, 20});
    set_type({10}, 3);
    set_type({20}, 5);
    ChangeSet c;
    run(m, VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(10, {20}, 2, 0), c);
    ASSERT_EQ(vdc1().vlans[20].primary, 10u);
    const PairReply d = parse_type(go(VLAN_MGR_OPC_VLAN_TYPE_CHANGE, type_req({20}, 4)));
    EXPECT_EQ(d.pairs, (Pairs{{20, 0}}));
    EXPECT_EQ(vdc1().vlans[20].primary, 0u);
    EXPECT_FALSE(vdc1().vlans[10].secondaries.test(20));
    EXPECT_TRUE(ch.vdc(1).retyped.test(10));
    EXPECT_TRUE(ch.vdc(1).retyped.test(20));
}

// ---- Association -------------------------------------------------------------

struct AssocReply {
    uint32_t status = 0xEEEEEEEEu;
    uint16_t vdc = 0, tag = 0;
    uint32_t type = 0, primary = 0;
    Pairs pairs;
};

AssocReply parse_assoc(const Reply &r)
{
    AssocReply d;
    vlan_delete_result_t *res = nullptr;
    uint32_t count = 0;
    d.status = vlan_association_parse_reply(&res, &count, &d.vdc, &d.type, &d.primary, &d.tag, r.data(),
                                            static_cast<uint32_t>(r.size()));
    if (res != nullptr) {
        for (uint32_t i = 0; i < count; ++i)
            d.pairs.emplace_back(res[i].vlan_id, res[i].status);
        std::free(res);
    }
    return d;
}

TEST_F(ConfigHandlers, AssociationAddAndRemove)
{
    create({10, 20, 21, 22, 40});
    set_type({10, 40}, 3);
    set_type({20, 21}, 4);
    // 22 stays normal; 23 does not exist.
    AssocReply d = parse_assoc(go(VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(10, {20, 21, 22, 23}, 2, 0x1234)));
    EXPECT_EQ(d.status, VLAN_MGR_ERR_PVLAN);
    EXPECT_EQ(d.vdc, 1);
    EXPECT_EQ(d.type, 2u);
    EXPECT_EQ(d.primary, 10u);
    EXPECT_EQ(d.tag, 0x1234);
    EXPECT_EQ(d.pairs, (Pairs{{20, 0}, {21, 0}, {22, VLAN_MGR_ERR_PVLAN}, {23, VLAN_MGR_ERR_VLAN_NOT_CREATED}}));
    EXPECT_EQ(vdc1().vlans[20].primary, 10u);
    EXPECT_TRUE(vdc1().vlans[10].secondaries.test(21));
    EXPECT_TRUE(ch.vdc(1).retyped.test(10));
    EXPECT_TRUE(ch.vdc(1).retyped.test(20));
    EXPECT_FALSE(ch.vdc(1).retyped.test(22));

    // Already associated with another primary.
    ChangeSet c;
    d = parse_assoc(run(m, VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(40, {20}, 2, 7), c));
    EXPECT_EQ(d.pairs, (Pairs{{20, VLAN_MGR_ERR_PVLAN}}));
    EXPECT_FALSE(c.any());
    // A primary that is not of the primary type, or does not exist.
    d = parse_assoc(run(m, VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(22, {20}, 2, 7), c));
    EXPECT_EQ(d.pairs, (Pairs{{20, VLAN_MGR_ERR_PVLAN}}));
    d = parse_assoc(run(m, VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(50, {20}, 2, 7), c));
    EXPECT_EQ(d.status, VLAN_MGR_ERR_VLAN_NOT_CREATED);
    EXPECT_EQ(d.pairs, (Pairs{{20, VLAN_MGR_ERR_VLAN_NOT_CREATED}}));
    EXPECT_FALSE(c.any());

    // Remove.
    d = parse_assoc(run(m, VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(0, {20, 23}, 3, 9), c));
    EXPECT_EQ(d.type, 3u);
    EXPECT_EQ(d.tag, 9);
    EXPECT_EQ(d.pairs, (Pairs{{20, 0}, {23, VLAN_MGR_ERR_VLAN_NOT_CREATED}}));
    EXPECT_EQ(vdc1().vlans[20].primary, 0u);
    EXPECT_FALSE(vdc1().vlans[10].secondaries.test(20));
    EXPECT_TRUE(vdc1().vlans[10].secondaries.test(21));
    EXPECT_TRUE(c.vdc(1).retyped.test(20));
    EXPECT_TRUE(c.vdc(1).retyped.test(10));
}

TEST_F(ConfigHandlers, AssociationMulti)
{
    create({10, 11, 20, 21, 30});
    set_type({10, 11}, 3);
    set_type({20, 30}, 4);
    set_type({21}, 5);
    const uint32_t primaries[2] = {10, 11};
    const vlan_bitmap bitmaps[2] = {bitmap_of({20, 21}), bitmap_of({20, 30, 31})};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_multi_build_mts(1, 0xC0C0A, 0x55, 2, 2, primaries, bitmaps, &p, &len), 0u);
    const Reply r = run_built(m, VLAN_MGR_OPC_VLAN_ASSOCIATION_MULTI, p, len, ch);

    uint16_t vdc = 0;
    uint32_t cookie = 0, type = 0, total = 0;
    vlan_assoc_result_t *res = nullptr;
    const uint32_t st = vlan_association_multi_parse_reply(&vdc, &cookie, &type, &total, &res, r.data(),
                                                           static_cast<uint32_t>(r.size()));
    ASSERT_NE(res, nullptr);
    std::vector<std::tuple<uint32_t, uint32_t, uint32_t>> got;
    for (uint32_t i = 0; i < total; ++i)
        got.emplace_back(res[i].secondary_vlan, res[i].primary_vlan, res[i].status);
    std::free(res);
    EXPECT_EQ(st, VLAN_MGR_ERR_PVLAN);
    EXPECT_EQ(vdc, 1);
    EXPECT_EQ(cookie, 0xC0C0Au);
    EXPECT_EQ(type, 2u);
    EXPECT_EQ(got, (std::vector<std::tuple<uint32_t, uint32_t, uint32_t>>{
                       {20, 10, 0},
                       {21, 10, 0},
                       {20, 11, VLAN_MGR_ERR_PVLAN},
                       {30, 11, 0},
                       {31, 11, VLAN_MGR_ERR_VLAN_NOT_CREATED}}));
    EXPECT_EQ(vdc1().vlans[30].primary, 11u);
    EXPECT_EQ(vdc1().vlans[20].primary, 10u);
    // The tag and each entry's status in the reply bytes: entry 0 then entry 1.
    EXPECT_EQ(test::be32(r, 12), 0u);
    EXPECT_EQ(test::be16(r, 12 + 14), 0x55);
    EXPECT_EQ(test::be32(r, 12 + 20 + 16), VLAN_MGR_ERR_PVLAN);
    EXPECT_TRUE(ch.vdc(1).retyped.test(11));
    EXPECT_TRUE(ch.vdc(1).retyped.test(30));
}

// ---- Name to id -----------------------------------------------------------------

TEST_F(ConfigHandlers, NameToId)
{
    create({42}, "lab");
    create({43});
    vdc_vlan_id_t res{0, 0};
    Reply r = go(VLAN_MGR_OPC_VLAN_NAME_TO_ID, name_req("lab"));
    EXPECT_EQ(vlan_name_to_id_parse_reply(&res, r.data(), static_cast<uint32_t>(r.size())), 0u);
    EXPECT_EQ(res.vdc_id, 1);
    EXPECT_EQ(res.vlan_id, 42u);

    r = go(VLAN_MGR_OPC_VLAN_NAME_TO_ID, name_req("VLAN0043"));
    EXPECT_EQ(vlan_name_to_id_parse_reply(&res, r.data(), static_cast<uint32_t>(r.size())), 0u);
    EXPECT_EQ(res.vlan_id, 43u);
    r = go(VLAN_MGR_OPC_VLAN_NAME_TO_ID, name_req("VLAN0001"));
    EXPECT_EQ(vlan_name_to_id_parse_reply(&res, r.data(), static_cast<uint32_t>(r.size())), 0u);
    EXPECT_EQ(res.vlan_id, 1u);

    // VLAN 42 has a name of its own; its default name is free; 44 does not exist.
    for (const char *absent : {"VLAN0042", "VLAN0044", "LAB", "", "VLAN43"}) {
        r = go(VLAN_MGR_OPC_VLAN_NAME_TO_ID, name_req(absent));
        ASSERT_EQ(r.size(), 10u);
        EXPECT_EQ(vlan_name_to_id_parse_reply(&res, r.data(), static_cast<uint32_t>(r.size())),
                  VLAN_MGR_ERR_NO_SUCH_NAME)
            << absent;
        uint32_t id = 99;
        EXPECT_EQ(vlan_name_to_id_parse_reply_local(&id, r.data(), static_cast<uint32_t>(r.size())),
                  VLAN_MGR_ERR_NO_SUCH_NAME);
        EXPECT_EQ(id, 0u);
    }
    EXPECT_FALSE(ch.any());
}

// ---- Reserved check -----------------------------------------------------------

TEST_F(ConfigHandlers, ReservedCheck)
{
    for (uint32_t v = 3968; v <= 4094; ++v)
        vdc1().reserved.set(v);
    const struct {
        uint32_t first, last, result;
    } cases[] = {{1, 100, 0}, {3960, 3970, 3}, {3968, 4094, 127}, {1, 0xFFFFFFFFu, 127}, {4000, 3999, 0}};
    for (const auto &c : cases) {
        const Reply r = go(VLAN_MGR_OPC_VLAN_RSVD_CHECK, rsvd_req(1, c.first, c.last));
        ASSERT_EQ(r.size(), 16u);
        EXPECT_EQ(test::be16(r, 0), 1);
        EXPECT_EQ(test::be32(r, 4), c.first);
        EXPECT_EQ(test::be32(r, 8), c.last);
        EXPECT_EQ(test::be32(r, 12), c.result) << c.first << ".." << c.last;
    }
    EXPECT_FALSE(ch.any());
}

// ---- Create/update ---------------------------------------------------------------

TEST_F(ConfigHandlers, CreateUpdateRecords)
{
    create({200}, "old");
    vdc1().reserved.set(3000);
    const Reply r = go(VLAN_MGR_OPC_VLAN_CREATE_UPDATE, create_update_req({{0, 300, 5000, 2, "web"},
                                                                             {0, 200, 0, 0, "new"},
                                                                             {1, 250, 0, 0, ""},
                                                                             {0, 3000, 0, 0, ""},
                                                                             {0, 0, 0, 0, ""}}));
    const CreateReply d = parse_create(r, true);
    ASSERT_EQ(d.status, 0u);
    EXPECT_EQ(d.count, 5);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{0, 200, 250, 300, 3000}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{VLAN_MGR_ERR_INVALID_VLAN, 0, VLAN_MGR_ERR_VLAN_NOT_CREATED, 0,
                                                 VLAN_MGR_ERR_VLAN_RESERVED}));
    EXPECT_TRUE(vdc1().vlans[300].created);
    EXPECT_EQ(vdc1().vlans[300].name, "web");
    EXPECT_EQ(vdc1().vlans[300].segment, 5000u);
    EXPECT_EQ(vdc1().vlans[300].mode, 2u);
    EXPECT_EQ(vdc1().vlans[200].name, "new");
    EXPECT_FALSE(vdc1().vlans[250].created);
    EXPECT_TRUE(ch.vdc(1).created.test(300));
    EXPECT_TRUE(ch.vdc(1).renamed.test(200));

    // One record: the id travels in the vlan_id field.
    ChangeSet c;
    const CreateReply one =
        parse_create(run(m, VLAN_MGR_OPC_VLAN_CREATE_UPDATE, create_update_req({{1, 300, 6000, 2, ""}}), c), true);
    EXPECT_EQ(one.count, 1);
    EXPECT_EQ(one.ids, (std::vector<uint32_t>{300}));
    EXPECT_EQ(one.statuses, (std::vector<uint32_t>{0}));
    EXPECT_EQ(vdc1().vlans[300].segment, 6000u);
    EXPECT_EQ(vdc1().vlans[300].name, "web");
    EXPECT_TRUE(c.vdc(1).retyped.test(300));
    EXPECT_FALSE(c.vdc(1).renamed.any());
}

TEST_F(ConfigHandlers, CreateUpdateRefusesTwoRecordsOfOneVlan)
{
    const Reply r = go(VLAN_MGR_OPC_VLAN_CREATE_UPDATE, create_update_req({{0, 7, 0, 0, "a"}, {0, 7, 0, 0, "b"}}));
    ASSERT_EQ(r.size(), 4u);
    EXPECT_EQ(test::be32(r, 0), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_FALSE(vdc1().vlans[7].created);
    EXPECT_FALSE(ch.any());
}

// ---- Configuration mode ----------------------------------------------------------

TEST_F(ConfigHandlers, ConfigMode)
{
    const Reply r = go(VLAN_MGR_OPC_VLAN_CONFIGMODE, configmode_req(3));
    vlan_configmode_rsp_t *rsp = nullptr;
    ASSERT_EQ(vlan_parse_vlan_configmode_change_rsp(r.data(), static_cast<uint32_t>(r.size()), &rsp), 0);
    ASSERT_NE(rsp, nullptr);
    EXPECT_EQ(rsp->field29, 0u);
    std::free(rsp);
    EXPECT_EQ(vdc1().config_mode, 3u);
    EXPECT_TRUE(ch.vdc(1).vdc_config);
    EXPECT_FALSE(ch.vdc(2).vdc_config);

    // The requester's own VDC is the one changed.
    ChangeSet c;
    run(m, VLAN_MGR_OPC_VLAN_CONFIGMODE, configmode_req(5), c, 2);
    EXPECT_EQ(m.vdc(2).config_mode, 5u);
    EXPECT_EQ(vdc1().config_mode, 3u);
    EXPECT_TRUE(c.vdc(2).vdc_config);
}

// ---- VDC rule and malformed requests -------------------------------------------------

TEST_F(ConfigHandlers, RequestForAnotherVdcIsRefused)
{
    create({10, 20});
    set_type({10}, 3);
    set_type({20}, 4);
    // Requests built for VDC 1, then addressed to VDC 2 (the builders of the
    // create, delete and name requests only take the caller's own VDC).
    Bytes create = create_req({30}, "x");
    create[1] = 2;
    Bytes del = delete_req({10});
    del[3] = 2;
    Bytes name = name_req("x");
    name[1] = 2;
    const uint32_t primaries[1] = {10};
    const vlan_bitmap bitmaps[1] = {bitmap_of({20})};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_multi_build_mts(2, 1, 1, 2, 1, primaries, bitmaps, &p, &len), 0u);
    const Bytes multi = take(p, len);
    const std::pair<uint32_t, Bytes> requests[] = {
        {VLAN_MGR_OPC_VLAN_CREATE, create},
        {VLAN_MGR_OPC_VLAN_DELETE, del},
        {VLAN_MGR_OPC_VLAN_DELETE_RANGE, del},
        {VLAN_MGR_OPC_VLAN_TYPE_CHANGE, type_req({10}, 0, 2)},
        {VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(10, {20}, 2, 0, 2)},
        {VLAN_MGR_OPC_VLAN_ASSOCIATION_MULTI, multi},
        {VLAN_MGR_OPC_VLAN_NAME_TO_ID, name},
        {VLAN_MGR_OPC_VLAN_RSVD_CHECK, rsvd_req(2, 1, 10)},
        {VLAN_MGR_OPC_VLAN_RSVD_CHECK, rsvd_req(6, 1, 10)},
    };
    const std::string before = fingerprint(m);
    for (const auto &[opcode, payload] : requests) {
        ChangeSet c;
        const Reply r = run(m, opcode, payload, c, 1);
        ASSERT_EQ(r.size(), 4u) << std::hex << opcode;
        EXPECT_EQ(test::be32(r, 0), 0x41100013u) << std::hex << opcode;
        EXPECT_FALSE(c.any());
    }
    EXPECT_EQ(fingerprint(m), before);
}

TEST_F(ConfigHandlers, EveryTruncatedRequestIsBadAndChangesNothing)
{
    create({10, 20, 21});
    set_type({10}, 3);
    set_type({20, 21}, 4);
    Port port;
    port.if_index = 0x01010000u;
    port.access_vlan = 10;
    vdc1().ports.push_back(port);
    const uint32_t primaries[2] = {10, 10};
    const vlan_bitmap bitmaps[2] = {bitmap_of({20}), bitmap_of({21})};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_multi_build_mts(1, 1, 1, 2, 2, primaries, bitmaps, &p, &len), 0u);
    const Bytes multi = take(p, len);

    expect_truncations_refused(VLAN_MGR_OPC_VLAN_CREATE, create_req({30}, "named"));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_CREATE, create_req({31, 32}));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_DELETE, delete_req({31}));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_DELETE_RANGE, delete_req({32}, true));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_TYPE_CHANGE, type_req({30}, 5));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_ASSOCIATION, assoc_req(10, {20}, 2, 3));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_ASSOCIATION_MULTI, multi);
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_NAME_TO_ID, name_req("named"));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_RSVD_CHECK, rsvd_req(1, 1, 4094));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_CREATE_UPDATE,
                               create_update_req({{0, 40, 1, 1, "forty"}, {0, 41, 0, 0, ""}}));
    expect_truncations_refused(VLAN_MGR_OPC_VLAN_CONFIGMODE, configmode_req(9));
}

TEST_F(ConfigHandlers, MalformedFieldsAreBadRequests)
{
    // Association without its magic word, with an empty bitmap, and a multi
    // request whose count outruns the payload.
    Bytes a = assoc_req(10, {20}, 2, 0);
    a[0] = 0;
    Bytes empty_secondaries = assoc_req(10, {20}, 2, 0);
    empty_secondaries[8 + 20 + 20 / 8] = 0;
    Bytes del = delete_req({5});
    del[12] = 0; // no VLAN left in the bitmap
    Bytes create_no_nul = create_req({5}, "abc");
    create_no_nul[528 + 3] = 'd';
    create_no_nul[528 + 4] = 'e';
    create_no_nul[528 + 5] = 'f';
    create_no_nul[528 + 6] = 'g';
    Bytes multi_count = {0, 0, 0, 1, 0, 0, 0, 2};
    multi_count.resize(8 + 532, 0);
    const std::pair<uint32_t, Bytes> requests[] = {
        {VLAN_MGR_OPC_VLAN_ASSOCIATION, a},
        {VLAN_MGR_OPC_VLAN_ASSOCIATION, empty_secondaries},
        {VLAN_MGR_OPC_VLAN_DELETE, del},
        {VLAN_MGR_OPC_VLAN_CREATE, create_no_nul},
        {VLAN_MGR_OPC_VLAN_ASSOCIATION_MULTI, multi_count},
        {VLAN_MGR_OPC_VLAN_CREATE_UPDATE, configmode_req(1)},
        {VLAN_MGR_OPC_VLAN_CONFIGMODE, create_update_req({{0, 5, 0, 0, ""}})},
    };
    for (const auto &[opcode, payload] : requests) {
        const Reply r = go(opcode, payload);
        ASSERT_EQ(r.size(), 4u) << std::hex << opcode;
        EXPECT_EQ(test::be32(r, 0), VLAN_MGR_ERR_BAD_REQUEST) << std::hex << opcode;
    }
    EXPECT_FALSE(ch.any());
    EXPECT_FALSE(vdc1().vlans[5].created);
}

} // namespace
