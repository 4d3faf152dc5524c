#include "config_ops.h"

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/query_req.h>

#include "printable.h"

namespace vlan_mgrd::config_ops {
namespace {

std::string default_name(uint32_t vlan_id)
{
    char buf[32];
    const int32_t len = vlan_mgr_vlan_id_to_name(vlan_id, buf);
    return std::string(buf, static_cast<size_t>(len));
}

// The VLAN 1..4094 whose default name is `name` ("VLAN" and four digits,
// exactly as the default name of that id is written), or 0.
uint32_t default_name_id(const std::string &name)
{
    if (name.size() != 8 || name.compare(0, 4, "VLAN") != 0)
        return 0;
    uint32_t id = 0;
    for (size_t i = 4; i < name.size(); ++i) {
        if (name[i] < '0' || name[i] > '9')
            return 0;
        id = id * 10 + static_cast<uint32_t>(name[i] - '0');
    }
    if (!Manager::vlan_valid(id) || default_name(id) != name)
        return 0;
    return id;
}

// A created VLAN other than `except` that answers to `name`; 0 when none.
uint32_t name_owner(const Vdc &vdc, const std::string &name, uint32_t except)
{
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        if (v != except && vdc.vlans[v].created && vdc.vlans[v].name == name)
            return v;
    const uint32_t d = default_name_id(name);
    if (d != 0 && d != except && vdc.vlans[d].created && vdc.vlans[d].name.empty())
        return d;
    return 0;
}

// Removes `secondary` from its primary's set and clears its primary.
void unlink_secondary(Vdc &vdc, ChangeSet &changes, uint32_t secondary)
{
    Vlan &s = vdc.vlans[secondary];
    if (s.primary == 0)
        return;
    const uint32_t p = s.primary;
    if (Manager::vlan_valid(p)) {
        vdc.vlans[p].secondaries.reset(secondary);
        changes.mark_retyped(vdc.id, p);
    }
    s.primary = 0;
    changes.mark_retyped(vdc.id, secondary);
}

// Clears every secondary of primary `primary`.
void unlink_primary(Vdc &vdc, ChangeSet &changes, uint32_t primary)
{
    Vlan &p = vdc.vlans[primary];
    if (p.secondaries.none())
        return;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!p.secondaries.test(v))
            continue;
        if (vdc.vlans[v].primary == primary) {
            vdc.vlans[v].primary = 0;
            changes.mark_retyped(vdc.id, v);
        }
    }
    p.secondaries.reset();
    changes.mark_retyped(vdc.id, primary);
}

} // namespace

std::string effective_name(uint32_t vlan_id, const Vlan &v)
{
    return v.name.empty() ? default_name(vlan_id) : v.name;
}

uint32_t find_by_name(const Vdc &vdc, const std::string &name)
{
    if (name.empty())
        return 0;
    return name_owner(vdc, name, 0);
}

void mark_ports_carrying(const Vdc &vdc, ChangeSet &changes, uint32_t vlan_id)
{
    for (const Port &p : vdc.ports)
        if (vdc.port_vlans(p, false).test(vlan_id))
            changes.mark_port(vdc.id, p.if_index);
}

uint32_t create_or_rename(Vdc &vdc, ChangeSet &changes, uint32_t vlan_id, const std::string &name,
                          bool rename_only, uint32_t create_options)
{
    if (!Manager::vlan_valid(vlan_id))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if (vdc.reserved.test(vlan_id))
        return VLAN_MGR_ERR_VLAN_RESERVED;
    if (name.size() > kNameMax)
        return VLAN_MGR_ERR_NAME_TOO_LONG;
    // Only printable ASCII: a name is shown on terminals and in JSON.
    if (!vlan_mgr_apps::all_printable_ascii(name))
        return VLAN_MGR_ERR_BAD_NAME;
    Vlan &v = vdc.vlans[vlan_id];
    if (rename_only && !v.created)
        return VLAN_MGR_ERR_VLAN_NOT_CREATED;
    // The default name is kept as no name at all, so that it follows the id.
    const std::string stored = (name == default_name(vlan_id)) ? std::string() : name;
    if (!name.empty() && name_owner(vdc, name, vlan_id) != 0)
        return VLAN_MGR_ERR_NAME_IN_USE;

    if (!v.created) {
        v = Vlan{};
        v.created = true;
        v.name = stored;
        v.create_options = create_options;
        changes.mark_created(vdc.id, vlan_id);
        mark_ports_carrying(vdc, changes, vlan_id);
        return 0;
    }
    if (!name.empty() && v.name != stored) {
        v.name = stored;
        changes.mark_renamed(vdc.id, vlan_id);
    }
    return 0;
}

uint32_t delete_vlan(Vdc &vdc, ChangeSet &changes, uint32_t vlan_id)
{
    if (!Manager::vlan_valid(vlan_id))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if (vlan_id == kDefaultVlan)
        return VLAN_MGR_ERR_DEFAULT_VLAN;
    if (vdc.reserved.test(vlan_id))
        return VLAN_MGR_ERR_VLAN_RESERVED;
    if (!vdc.vlans[vlan_id].created)
        return VLAN_MGR_ERR_VLAN_NOT_CREATED;
    const Vlan before = vdc.vlans[vlan_id];
    unlink_primary(vdc, changes, vlan_id);
    unlink_secondary(vdc, changes, vlan_id);
    vdc.vlans[vlan_id] = Vlan{};
    changes.mark_deleted(vdc.id, vlan_id, before);
    mark_ports_carrying(vdc, changes, vlan_id);
    return 0;
}

uint32_t change_type(Vdc &vdc, ChangeSet &changes, uint32_t vlan_id, uint32_t type)
{
    if (!Manager::vlan_valid(vlan_id))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if (!vdc.vlans[vlan_id].created)
        return VLAN_MGR_ERR_VLAN_NOT_CREATED;
    const bool private_type = type == VLAN_MGR_VLAN_TYPE_PRIMARY || type == VLAN_MGR_VLAN_TYPE_ISOLATED ||
                              type == VLAN_MGR_VLAN_TYPE_COMMUNITY;
    if (type != VLAN_MGR_VLAN_TYPE_NORMAL && !private_type)
        return VLAN_MGR_ERR_PVLAN;
    if (vlan_id == kDefaultVlan && private_type)
        return VLAN_MGR_ERR_DEFAULT_VLAN;
    Vlan &v = vdc.vlans[vlan_id];
    if (v.type == type)
        return 0;
    unlink_primary(vdc, changes, vlan_id);
    unlink_secondary(vdc, changes, vlan_id);
    v.type = type;
    changes.mark_retyped(vdc.id, vlan_id);
    return 0;
}

uint32_t check_primary(const Vdc &vdc, uint32_t primary)
{
    if (!Manager::vlan_valid(primary))
        return VLAN_MGR_ERR_VLAN_RANGE;
    if (primary == kDefaultVlan)
        return VLAN_MGR_ERR_DEFAULT_VLAN;
    if (!vdc.vlans[primary].created)
        return VLAN_MGR_ERR_VLAN_NOT_CREATED;
    if (vdc.vlans[primary].type != VLAN_MGR_VLAN_TYPE_PRIMARY)
        return VLAN_MGR_ERR_PVLAN;
    return 0;
}

uint32_t associate(Vdc &vdc, ChangeSet &changes, uint32_t primary, uint32_t secondary)
{
    if (!Manager::vlan_valid(secondary))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if (secondary == kDefaultVlan)
        return VLAN_MGR_ERR_DEFAULT_VLAN;
    Vlan &s = vdc.vlans[secondary];
    if (!s.created)
        return VLAN_MGR_ERR_VLAN_NOT_CREATED;
    if (s.type != VLAN_MGR_VLAN_TYPE_ISOLATED && s.type != VLAN_MGR_VLAN_TYPE_COMMUNITY)
        return VLAN_MGR_ERR_PVLAN;
    if (s.primary == primary)
        return 0;
    if (s.primary != 0)
        return VLAN_MGR_ERR_PVLAN;
    s.primary = primary;
    vdc.vlans[primary].secondaries.set(secondary);
    changes.mark_retyped(vdc.id, secondary);
    changes.mark_retyped(vdc.id, primary);
    return 0;
}

uint32_t dissociate(Vdc &vdc, ChangeSet &changes, uint32_t primary, uint32_t secondary)
{
    if (!Manager::vlan_valid(secondary))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if (secondary == kDefaultVlan)
        return VLAN_MGR_ERR_DEFAULT_VLAN;
    Vlan &s = vdc.vlans[secondary];
    if (!s.created)
        return VLAN_MGR_ERR_VLAN_NOT_CREATED;
    if (s.primary == 0)
        return 0;
    if (primary != 0 && s.primary != primary)
        return VLAN_MGR_ERR_PVLAN;
    unlink_secondary(vdc, changes, secondary);
    return 0;
}

} // namespace vlan_mgrd::config_ops
