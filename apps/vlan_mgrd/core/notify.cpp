// The notifications of a change: which VLANs and ports each notification
// names. The payloads are written by the manager's encoders
// (vlan_mgr/server/notif.h), from the layouts the library's notification
// parsers read.
#include "notify.h"

#include <cstdio>

#include <vlan_mgr/notif.h>
#include <vlan_mgr/server/notif.h>

#include "publish.h"

namespace vlan_mgrd {
namespace {

namespace server = vlan_mgr::server;

bool build_create(const Vdc &vdc, const VlanSet &created, std::vector<Notification> &out, std::string &error)
{
    std::vector<server::CreatedVlanNotice> vlans;
    vlans.reserve(created.count());
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!created.test(v))
            continue;
        const Vlan &vl = vdc.vlans[v];
        server::CreatedVlanNotice c;
        c.bd_id = bd_of(v);
        c.type = static_cast<uint16_t>(vl.type);
        c.vdc_id = vdc.id;
        c.vlan_id = v;
        c.primary = vl.primary;
        c.mode = vl.mode;
        c.segment = vl.segment;
        c.options = vl.create_options;
        c.state = static_cast<uint32_t>(vl.state);
        c.name = display_name(v, vl);
        vlans.push_back(std::move(c));
    }
    Notification note{VLAN_MGR_NOTIF_VLAN_CREATE, {}};
    if (!server::encode_create_notification(vlans, note.payload, error))
        return false;
    out.push_back(std::move(note));
    return true;
}

bool build_delete(const Vdc &vdc, const VdcChanges &c, std::vector<Notification> &out, std::string &error)
{
    std::vector<server::DeletedVlan> vlans;
    vlans.reserve(c.deleted.count());
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!c.deleted.test(v))
            continue;
        const auto it = c.deleted_before.find(v);
        const Vlan before = it != c.deleted_before.end() ? it->second : Vlan{};
        server::DeletedVlan d;
        d.bd_id = bd_of(v);
        d.vdc_id = vdc.id;
        d.vlan_id = v;
        d.type = before.type;
        d.state = static_cast<uint32_t>(before.state);
        d.primary = before.primary;
        d.name = display_name(v, before);
        vlans.push_back(std::move(d));
    }
    Notification note{VLAN_MGR_NOTIF_VLAN_DELETE, {}};
    if (!server::encode_delete_notification(vlans, note.payload, error))
        return false;
    out.push_back(std::move(note));
    return true;
}

void build_names(const Vdc &vdc, const VlanSet &renamed, std::vector<Notification> &out)
{
    std::vector<server::VlanName> vlans;
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        if (renamed.test(v))
            vlans.push_back({vdc.id, v, display_name(v, vdc.vlans[v])});
    out.push_back({VLAN_MGR_NOTIF_VLAN_NAME, server::encode_name_notification(vlans)});
}

void build_types(const Vdc &vdc, const VlanSet &retyped, std::vector<Notification> &out)
{
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!retyped.test(v) || !vdc.vlans[v].created)
            continue;
        out.push_back({VLAN_MGR_NOTIF_VLAN_TYPE_CHANGE,
                       server::encode_type_change_notification(vdc.id, v, vdc.vlans[v].type, vdc.vlans[v].primary)});
    }
}

void build_bd(const Vdc &vdc, const VlanSet &vlans, std::vector<Notification> &out)
{
    std::vector<server::VlanBd> bds;
    bds.reserve(vlans.count());
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        if (vlans.test(v))
            bds.push_back({v, bd_of(v)});
    out.push_back({VLAN_MGR_NOTIF_BD_CHANGE, server::encode_bd_change_notification(vdc.id, bds)});
}

void build_ports(const Vdc &vdc, const std::set<uint32_t> &ports, std::vector<Notification> &out)
{
    std::vector<server::PortMembership> entries;
    const VlanSet active = vdc.active_vlans();
    for (uint32_t if_index : ports) {
        const Port *p = vdc.port(if_index);
        if (p == nullptr)
            continue;
        const VlanSet configured = vdc.port_vlans(*p, false);
        entries.push_back({vdc.id, p->if_index, p->mode, configured, configured & active});
    }
    if (entries.empty())
        return;
    out.push_back({VLAN_MGR_NOTIF_PORT_MEMB_CHANGE, server::encode_port_membership_notification(entries)});
}

} // namespace

std::string display_name(uint32_t vlan_id, const Vlan &v)
{
    if (!v.name.empty())
        return v.name;
    char b[16];
    std::snprintf(b, sizeof b, "VLAN%04u", static_cast<unsigned>(vlan_id));
    return b;
}

bool build_notifications(const Manager &m, const ChangeSet &changes, std::vector<Notification> &out,
                         std::string &error)
{
    for (const Vdc &vdc : m.vdcs) {
        const VdcChanges &c = changes.vdc(vdc.id);
        if (!c.any())
            continue;
        if (c.deleted.any() && !build_delete(vdc, c, out, error))
            return false;
        // A VLAN marked created that a later step of the request removed
        // again is not announced.
        VlanSet created;
        VlanSet renamed, retyped;
        for (uint32_t v = 1; v <= kVlanMax; ++v) {
            if (!vdc.vlans[v].created)
                continue;
            if (c.created.test(v))
                created.set(v);
            if (c.renamed.test(v))
                renamed.set(v);
            if (c.retyped.test(v))
                retyped.set(v);
        }
        if (created.any() && !build_create(vdc, created, out, error))
            return false;
        if (renamed.any())
            build_names(vdc, renamed, out);
        if (retyped.any()) {
            build_types(vdc, retyped, out);
            build_bd(vdc, retyped, out);
        }
        // Ports: those the request named and those whose active VLANs moved
        // with a created, deleted or retyped VLAN.
        const std::set<uint32_t> ports = affected_ports(vdc, c);
        if (!ports.empty())
            build_ports(vdc, ports, out);
    }
    return true;
}

void build_bd_snapshot(const Manager &m, std::vector<Notification> &out)
{
    for (const Vdc &vdc : m.vdcs) {
        VlanSet created;
        for (uint32_t v = 1; v <= kVlanMax; ++v)
            if (vdc.vlans[v].created)
                created.set(v);
        build_bd(vdc, created, out);
    }
}

} // namespace vlan_mgrd
