#include "state.h"

#include <bit>
#include <cstring>

namespace vlan_mgrd {

Port *Vdc::port(uint32_t if_index)
{
    for (Port &p : ports)
        if (p.if_index == if_index)
            return &p;
    return nullptr;
}

const Port *Vdc::port(uint32_t if_index) const
{
    for (const Port &p : ports)
        if (p.if_index == if_index)
            return &p;
    return nullptr;
}

Port *Vdc::port_named(const std::string &name)
{
    for (Port &p : ports)
        if (p.name == name)
            return &p;
    return nullptr;
}

VlanSet Vdc::port_vlans(const Port &p, bool active) const
{
    VlanSet set;
    if (p.mode == VLAN_MGR_PORT_MODE_TRUNK) {
        set = p.trunk_allowed;
    } else {
        if (p.access_vlan != 0)
            set.set(p.access_vlan);
        if (p.voice_vlan != 0)
            set.set(p.voice_vlan);
    }
    if (active)
        set &= active_vlans();
    return set;
}

VlanSet Vdc::active_vlans() const
{
    VlanSet set;
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        if (vlans[v].created && vlans[v].state == VlanState::Active)
            set.set(v);
    return set;
}


Manager::Manager()
{
    for (uint16_t i = 0; i < kVdcCount; ++i) {
        vdcs[i].id = static_cast<uint16_t>(i + 1);
        vdcs[i].vlans[kDefaultVlan].created = true; // VLAN 1 always exists
    }
}

void ChangeSet::mark_created(uint32_t vdc_id, uint32_t vlan_id)
{
    VdcChanges &c = vdc(vdc_id);
    if (c.deleted.test(vlan_id)) {
        // Deleted and created again in one request: subscribers see a change.
        c.deleted.reset(vlan_id);
        c.deleted_before.erase(vlan_id);
        c.retyped.set(vlan_id);
        c.renamed.set(vlan_id);
        return;
    }
    c.created.set(vlan_id);
}

void ChangeSet::mark_deleted(uint32_t vdc_id, uint32_t vlan_id, const Vlan &before)
{
    VdcChanges &c = vdc(vdc_id);
    c.renamed.reset(vlan_id);
    c.retyped.reset(vlan_id);
    if (c.created.test(vlan_id)) {
        c.created.reset(vlan_id); // never seen by anyone
        return;
    }
    c.deleted.set(vlan_id);
    c.deleted_before.emplace(vlan_id, before);
}

void ChangeSet::mark_renamed(uint32_t vdc_id, uint32_t vlan_id)
{
    VdcChanges &c = vdc(vdc_id);
    if (!c.created.test(vlan_id))
        c.renamed.set(vlan_id);
}

void ChangeSet::mark_retyped(uint32_t vdc_id, uint32_t vlan_id)
{
    VdcChanges &c = vdc(vdc_id);
    if (!c.created.test(vlan_id))
        c.retyped.set(vlan_id);
}

} // namespace vlan_mgrd
