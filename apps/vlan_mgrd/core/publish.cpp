// Publishing the VDCs' BD databases: which records each change rewrites.
// The keys and records are written by the encoders of
// vlan_mgr/server/bd_record.h (layouts in src/bd_db/layout.h).
#include "publish.h"

#include <cstdio>

#include <vlan_mgr/server/bd_record.h>
#include <vlan_mgr_host_sdb.h>
#include <vlan_mgr_platform.h>

namespace vlan_mgrd {
namespace {

namespace server = vlan_mgr::server;
using server::Payload;
using server::RecordKey;

sdb_key_t desc_of(const RecordKey &k) { return sdb_key_t{k.bytes, k.len}; }

std::string hex(uint32_t v)
{
    char b[16];
    std::snprintf(b, sizeof b, "0x%x", v);
    return b;
}

Payload vlan_record(const Vdc &vdc, uint32_t vlan_id)
{
    const Vlan &v = vdc.vlans[vlan_id];
    return server::encode_vlan_record({bd_of(vlan_id), v.primary != 0 ? v.primary : vlan_id, v.type, v.mode,
                                       v.segment});
}

// The port's access entry, once per port of the VDC.
Payload access_record(const Vdc &vdc, const Port &p)
{
    const bool up = Manager::vlan_valid(p.access_vlan) && vdc.vlans[p.access_vlan].created &&
                    vdc.vlans[p.access_vlan].state == VlanState::Active;
    const server::AccessEntry e{p.if_index,  p.mode, p.access_vlan, vdc.id, p.voice_vlan,
                                static_cast<uint16_t>(p.native_vlan), up};
    return server::encode_access_record(e, vdc.ports.size());
}

// `active` is vdc.active_vlans(), computed once for all the ports of a batch.
Payload trunk_record(const Vdc &vdc, const Port &p, const VlanSet &active)
{
    server::TrunkPortRecord t;
    t.if_index = p.if_index;
    t.vdc_id = vdc.id;
    t.mode = p.mode;
    t.native_vlan = static_cast<uint16_t>(p.native_vlan);
    t.configured = vdc.port_vlans(p, false);
    t.active = t.configured & active;
    t.voice_vlan = static_cast<uint16_t>(p.voice_vlan);
    t.comprgrp = p.comprgrp;
    return server::encode_trunk_record(t);
}

// The VDC's layer-3 BD and reserved ranges, keyed.
struct VdcRecords {
    RecordKey key;
    Payload value;
};
std::vector<VdcRecords> vdc_config_records(const Vdc &vdc)
{
    return {{server::l3_bd_key(vdc.id), server::encode_l3_bd_record(vdc.l3_bd)},
            {server::rsvd_start_key(vdc.id), server::encode_rsvd_record(static_cast<uint16_t>(vdc.rsvd_start))},
            {server::rsvd_end_key(vdc.id), server::encode_rsvd_record(static_cast<uint16_t>(vdc.rsvd_end))},
            {server::future_rsvd_start_key(), server::encode_future_rsvd_record(vdc.rsvd_start)},
            {server::future_rsvd_end_key(), server::encode_future_rsvd_record(vdc.rsvd_end)}};
}

} // namespace

std::string bd_sdb_uri(uint16_t vdc_id)
{
    if (vdc_id == 1)
        return "volatile:/dev/shm/vlan_mgr_bd_sdb";
    return "volatile:/dev/shm/" + std::to_string(vdc_id) + "/vlan_mgr_bd_sdb";
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
    auto put = [&](const RecordKey &k, const Payload &rec) {
        if (rc == 0) {
            const sdb_key_t d = desc_of(k);
            rc = sdb_pub_put(pub, &d, rec.data(), static_cast<uint32_t>(rec.size()));
        }
    };
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!vdc.vlans[v].created)
            continue;
        put(server::vlan_record_key(vdc.id, v), vlan_record(vdc, v));
    }
    for (const VdcRecords &r : vdc_config_records(vdc))
        put(r.key, r.value);
    const VlanSet active = vdc.active_vlans();
    for (const Port &p : vdc.ports) {
        put(server::access_key(p.if_index), access_record(vdc, p));
        put(server::trunk_key(p.if_index), trunk_record(vdc, p, active));
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
        auto put = [&](const RecordKey &k, const Payload &rec) {
            if (rc == 0) {
                const sdb_key_t d = desc_of(k);
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
                    const RecordKey k = server::vlan_record_key(vdc.id, v); // outlives the descriptor
                    const sdb_key_t d = desc_of(k);
                    rc = sdb_pub_del(pub, &d);
                }
            } else if (rewrite.test(v) && vdc.vlans[v].created) {
                put(server::vlan_record_key(vdc.id, v), vlan_record(vdc, v));
            }
        }
        if (c.vdc_config)
            for (const VdcRecords &r : vdc_config_records(vdc))
                put(r.key, r.value);
        const VlanSet active = vdc.active_vlans();
        for (uint32_t if_index : affected_ports(vdc, c)) {
            const Port *p = vdc.port(if_index);
            if (p == nullptr)
                continue;
            put(server::access_key(if_index), access_record(vdc, *p));
            put(server::trunk_key(if_index), trunk_record(vdc, *p, active));
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
