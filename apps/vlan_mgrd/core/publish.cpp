// Publishing the VDCs' BD databases (record layouts in publish.h).
#include "publish.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vlan_mgr_host_sdb.h>
#include <vlan_mgr_platform.h>

#include "wire_io.h"

namespace vlan_mgrd {
namespace {

constexpr uint32_t kL3BdObject = 0x1000;
constexpr uint32_t kRsvdStartObject = 0x1002;
constexpr uint32_t kRsvdEndObject = 0x1003;
constexpr uint32_t kFutureStartWord = 9;
constexpr uint32_t kFutureEndWord = 10;
constexpr uint8_t kAccessType = 1;
constexpr uint8_t kTrunkType = 2;

struct Key {
    uint8_t bytes[5];
    uint32_t len;
    sdb_key_t desc() const { return sdb_key_t{bytes, len}; }
};

Key object_key(uint16_t vdc_id, uint32_t object)
{
    Key k{};
    const uint32_t word = (static_cast<uint32_t>(vdc_id & 0xFFu) << 24) | (object & 0xFFFFFFu);
    for (int i = 0; i < 4; ++i)
        k.bytes[i] = static_cast<uint8_t>(word >> (24 - 8 * i));
    k.len = 4;
    return k;
}

Key host_word_key(uint32_t word)
{
    Key k{};
    std::memcpy(k.bytes, &word, 4);
    k.len = 4;
    return k;
}

Key port_key(uint8_t type, uint32_t if_index)
{
    Key k{};
    k.bytes[0] = type;
    const uint32_t v = hton_if_index(if_index);
    std::memcpy(k.bytes + 1, &v, 4);
    k.len = 5;
    return k;
}

void put_if_index(WireWriter &w, uint32_t if_index)
{
    const uint32_t v = hton_if_index(if_index);
    w.bytes(&v, 4);
}

std::string hex(uint32_t v)
{
    char b[16];
    std::snprintf(b, sizeof b, "0x%x", v);
    return b;
}

} // namespace

std::string bd_sdb_uri(uint16_t vdc_id)
{
    if (vdc_id == 1)
        return "volatile:/dev/shm/vlan_mgr_bd_sdb";
    return "volatile:/dev/shm/" + std::to_string(vdc_id) + "/vlan_mgr_bd_sdb";
}

std::vector<uint8_t> vlan_record(const Vdc &vdc, uint32_t vlan_id)
{
    const Vlan &v = vdc.vlans[vlan_id];
    std::vector<uint8_t> out;
    out.reserve(kVlanRecordSize);
    WireWriter w(out);
    w.u16(bd_of(vlan_id));
    w.u32(v.primary != 0 ? v.primary : vlan_id);
    w.u32(v.type);
    w.u32(v.mode);
    w.u32(v.segment);
    return out;
}

std::vector<uint8_t> access_record(const Vdc &vdc, const Port &p)
{
    std::vector<uint8_t> entry;
    entry.reserve(kAccessEntrySize);
    WireWriter w(entry);
    put_if_index(w, p.if_index);
    w.u32(p.mode);
    w.u32(p.access_vlan);
    w.u16(vdc.id);
    w.u32(p.voice_vlan);
    w.u16(static_cast<uint16_t>(p.native_vlan));
    const bool up = Manager::vlan_valid(p.access_vlan) && vdc.vlans[p.access_vlan].created &&
                    vdc.vlans[p.access_vlan].state == VlanState::Active;
    w.u32(up ? 1 : 0);
    const size_t slots = vdc.ports.empty() ? 1 : vdc.ports.size();
    std::vector<uint8_t> out;
    out.reserve(kAccessEntrySize * slots);
    for (size_t i = 0; i < slots; ++i)
        out.insert(out.end(), entry.begin(), entry.end());
    return out;
}

std::vector<uint8_t> trunk_record(const Vdc &vdc, const Port &p, const VlanSet &active)
{
    std::vector<uint8_t> out;
    out.reserve(kTrunkRecordSize);
    WireWriter w(out);
    put_if_index(w, p.if_index);
    w.u16(vdc.id);
    w.u32(p.mode);
    w.u16(static_cast<uint16_t>(p.native_vlan));
    w.u32(512);
    const VlanSet configured = vdc.port_vlans(p, false);
    w.bitmap_bits(configured);
    w.u32(512);
    w.bitmap_bits(configured & active);
    w.u16(static_cast<uint16_t>(p.voice_vlan));
    w.u32(p.comprgrp);
    return out;
}

std::set<uint32_t> affected_ports(const Vdc &vdc, const VdcChanges &c)
{
    std::set<uint32_t> out(c.ports.begin(), c.ports.end());
    const VlanSet touched = c.created | c.deleted | c.retyped;
    if (touched.none())
        return out;
    for (const Port &p : vdc.ports)
        if ((vdc.port_vlans(p, false) & touched).any())
            out.insert(p.if_index);
    return out;
}

Publisher::~Publisher() { close(); }

void Publisher::close()
{
    for (sdb_pub *&p : pubs_) {
        if (p != nullptr)
            sdb_pub_close(p);
        p = nullptr;
    }
}

uint32_t Publisher::open(std::string &error)
{
    // The publisher makes the database root and the VDCs' directories itself,
    // inside the trust boundary.
    for (uint16_t id = 1; id <= kVdcCount; ++id) {
        if (pubs_[id - 1] != nullptr)
            continue;
        const std::string uri = bd_sdb_uri(id);
        sdb_pub *pub = nullptr;
        const int32_t rc = sdb_pub_open(uri.c_str(), &pub);
        if (rc != 0) {
            error = "cannot publish " + uri + ": error " + hex(static_cast<uint32_t>(rc)) + " (" +
                    syserr2str(rc) + ")";
            return static_cast<uint32_t>(rc);
        }
        pubs_[id - 1] = pub;
    }
    return 0;
}

uint32_t Publisher::commit(uint16_t vdc_id, std::string &error)
{
    const int32_t rc = sdb_pub_commit(pubs_[vdc_id - 1]);
    if (rc != 0) {
        error = "cannot commit " + bd_sdb_uri(vdc_id) + ": error " + hex(static_cast<uint32_t>(rc)) + " (" +
                syserr2str(rc) + ")";
        return static_cast<uint32_t>(rc);
    }
    return 0;
}

// Adds every record of the VDC to its batch.
uint32_t Publisher::put_vdc_records(const Vdc &vdc, std::string &error)
{
    sdb_pub *pub = pubs_[vdc.id - 1];
    int32_t rc = 0;
    auto put = [&](const Key &k, const void *data, uint32_t len) {
        if (rc == 0) {
            const sdb_key_t d = k.desc();
            rc = sdb_pub_put(pub, &d, data, len);
        }
    };
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!vdc.vlans[v].created)
            continue;
        const std::vector<uint8_t> rec = vlan_record(vdc, v);
        put(object_key(vdc.id, v), rec.data(), static_cast<uint32_t>(rec.size()));
    }
    std::vector<uint8_t> l3;
    WireWriter(l3).u16(vdc.l3_bd);
    put(object_key(vdc.id, kL3BdObject), l3.data(), 2);
    std::vector<uint8_t> rs, re, fs, fe;
    WireWriter(rs).u16(static_cast<uint16_t>(vdc.rsvd_start));
    WireWriter(re).u16(static_cast<uint16_t>(vdc.rsvd_end));
    WireWriter(fs).u16(0);
    WireWriter(fs).u32(vdc.rsvd_start);
    WireWriter(fe).u16(0);
    WireWriter(fe).u32(vdc.rsvd_end);
    put(object_key(vdc.id, kRsvdStartObject), rs.data(), 2);
    put(object_key(vdc.id, kRsvdEndObject), re.data(), 2);
    put(host_word_key(kFutureStartWord), fs.data(), 6);
    put(host_word_key(kFutureEndWord), fe.data(), 6);
    const VlanSet active = vdc.active_vlans();
    for (const Port &p : vdc.ports) {
        const std::vector<uint8_t> a = access_record(vdc, p);
        const std::vector<uint8_t> t = trunk_record(vdc, p, active);
        put(port_key(kAccessType, p.if_index), a.data(), static_cast<uint32_t>(a.size()));
        put(port_key(kTrunkType, p.if_index), t.data(), static_cast<uint32_t>(t.size()));
    }
    if (rc != 0) {
        error = "cannot queue records of VDC " + std::to_string(vdc.id) + ": error " +
                hex(static_cast<uint32_t>(rc));
        sdb_pub_discard(pub);
        return static_cast<uint32_t>(rc);
    }
    return 0;
}

uint32_t Publisher::publish_all(const Vdc &vdc, std::string &error)
{
    sdb_pub *pub = pubs_[vdc.id - 1];
    if (pub == nullptr) {
        error = "database of VDC " + std::to_string(vdc.id) + " not open";
        return VLAN_MGR_ERR_STORE;
    }
    if (const int32_t rc = sdb_pub_del_all(pub); rc != 0) {
        error = "cannot clear " + bd_sdb_uri(vdc.id) + ": error " + hex(static_cast<uint32_t>(rc));
        sdb_pub_discard(pub);
        return static_cast<uint32_t>(rc);
    }
    if (const uint32_t rc = put_vdc_records(vdc, error); rc != 0)
        return rc;
    return commit(vdc.id, error);
}

uint32_t Publisher::publish_changes(const Manager &m, const ChangeSet &changes, std::string &error)
{
    uint32_t first_error = 0;
    for (const Vdc &vdc : m.vdcs) {
        const VdcChanges &c = changes.vdc(vdc.id);
        if (!c.any())
            continue;
        sdb_pub *pub = pubs_[vdc.id - 1];
        if (pub == nullptr) {
            error = "database of VDC " + std::to_string(vdc.id) + " not open";
            return VLAN_MGR_ERR_STORE;
        }
        int32_t rc = 0;
        auto put = [&](const Key &k, const std::vector<uint8_t> &rec) {
            if (rc == 0) {
                const sdb_key_t d = k.desc();
                rc = sdb_pub_put(pub, &d, rec.data(), static_cast<uint32_t>(rec.size()));
            }
        };
        // VLAN records: the created and changed ones, and the private-VLAN
        // partners of a changed one (their primary field may have moved).
        VlanSet rewrite = c.created | c.retyped;
        for (uint32_t v = 1; v <= kVlanMax; ++v) {
            if (!c.retyped.test(v))
                continue;
            const Vlan &vl = vdc.vlans[v];
            rewrite |= vl.secondaries;
            if (Manager::vlan_valid(vl.primary))
                rewrite.set(vl.primary);
        }
        for (uint32_t v = 1; v <= kVlanMax; ++v) {
            if (c.deleted.test(v) && !vdc.vlans[v].created) {
                if (rc == 0) {
                    const Key k = object_key(vdc.id, v); // outlives the descriptor
                    const sdb_key_t d = k.desc();
                    rc = sdb_pub_del(pub, &d);
                }
            } else if (rewrite.test(v) && vdc.vlans[v].created) {
                put(object_key(vdc.id, v), vlan_record(vdc, v));
            }
        }
        if (c.vdc_config) {
            std::vector<uint8_t> l3, rs, re, fs, fe;
            WireWriter(l3).u16(vdc.l3_bd);
            WireWriter(rs).u16(static_cast<uint16_t>(vdc.rsvd_start));
            WireWriter(re).u16(static_cast<uint16_t>(vdc.rsvd_end));
            WireWriter(fs).u16(0);
            WireWriter(fs).u32(vdc.rsvd_start);
            WireWriter(fe).u16(0);
            WireWriter(fe).u32(vdc.rsvd_end);
            put(object_key(vdc.id, kL3BdObject), l3);
            put(object_key(vdc.id, kRsvdStartObject), rs);
            put(object_key(vdc.id, kRsvdEndObject), re);
            put(host_word_key(kFutureStartWord), fs);
            put(host_word_key(kFutureEndWord), fe);
        }
        const VlanSet active = vdc.active_vlans();
        for (uint32_t if_index : affected_ports(vdc, c)) {
            const Port *p = vdc.port(if_index);
            if (p == nullptr)
                continue;
            put(port_key(kAccessType, if_index), access_record(vdc, *p));
            put(port_key(kTrunkType, if_index), trunk_record(vdc, *p, active));
        }
        if (rc != 0) {
            error = "cannot queue records of VDC " + std::to_string(vdc.id) + ": error " +
                    hex(static_cast<uint32_t>(rc));
            sdb_pub_discard(pub);
            if (first_error == 0)
                first_error = static_cast<uint32_t>(rc);
            continue;
        }
        if (sdb_pub_pending(pub) == 0)
            continue;
        if (const uint32_t st = commit(vdc.id, error); st != 0 && first_error == 0)
            first_error = st;
    }
    return first_error;
}

} // namespace vlan_mgrd
