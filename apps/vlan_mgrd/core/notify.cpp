// The notifications of a change. Every payload is big-endian except the
// bitmaps' length words (host order, 512) and interface indexes (as
// hton_if_index gives them); the TLV parts are built by the library's own
// encoders. Field meanings: docs/protocol/notifications.md.
#include "notify.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vlan_mgr/notif.h>
#include <vlan_mgr_platform.h>

#include "publish.h"
#include "wire_io.h"

namespace vlan_mgrd {
namespace {

constexpr size_t kCreateEntry = 40;
constexpr size_t kDeleteEntry = 12;
constexpr size_t kPortElement = 1044;
constexpr uint32_t kNameField = 33; // a name and its NUL

void copy_name(char (&dst)[VLAN_MGR_TLV_NAME_SIZE], const std::string &name)
{
    std::memset(dst, 0, sizeof dst);
    std::memcpy(dst, name.data(), std::min(name.size(), sizeof dst - 1));
}

// Appends the TLV part that `build` makes of `rec` (a malloc'ed payload
// record) to `out`; frees both.
template <typename Rec, typename Build>
bool append_tlv(Rec *rec, Build build, std::vector<uint8_t> &out, std::string &error, const char *what)
{
    void *tlv = nullptr;
    uint32_t tlv_len = 0;
    const int32_t rc = build(rec, &tlv, &tlv_len);
    std::free(rec);
    if (rc != 0 || tlv == nullptr) {
        std::free(tlv);
        char b[96];
        std::snprintf(b, sizeof b, "%s: TLV encoding failed, error 0x%x", what, static_cast<uint32_t>(rc));
        error = b;
        return false;
    }
    const auto *p = static_cast<const uint8_t *>(tlv);
    out.insert(out.end(), p, p + tlv_len);
    std::free(tlv);
    return true;
}

bool build_create(const Vdc &vdc, const VlanSet &created, std::vector<Notification> &out, std::string &error)
{
    const uint32_t n = static_cast<uint32_t>(created.count());
    Notification note{VLAN_MGR_NOTIF_VLAN_CREATE, {}};
    note.payload.reserve(4 + kCreateEntry * n + 128 * size_t{n});
    WireWriter w(note.payload);
    w.u32(n);
    const size_t rec_size = sizeof(vlan_create_notif2_payload_t) + sizeof(vlan_create_notif2_t) * size_t{n};
    auto *recs = static_cast<vlan_create_notif2_payload_t *>(std::calloc(1, rec_size));
    if (recs == nullptr) {
        error = "out of memory for the create notification";
        return false;
    }
    recs->count = n;
    uint32_t i = 0;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!created.test(v))
            continue;
        const Vlan &vl = vdc.vlans[v];
        const uint32_t state = static_cast<uint32_t>(vl.state);
        w.u16(bd_of(v));
        w.u16(static_cast<uint16_t>(vl.type));
        w.u16(0);
        w.u16(vdc.id);
        w.u32(v);
        w.u32(vl.primary);
        w.u32(0);
        w.u32(vl.mode);
        w.u32(vl.segment);
        w.u32(vl.create_options);
        w.u32(state);
        w.u32(0);
        vlan_create_notif2_t rec{};
        rec.bd_id = bd_of(v);
        rec.field10 = static_cast<uint16_t>(vl.type);
        rec.field7 = 0;
        rec.vdc_vlan.vdc_id = vdc.id;
        rec.vdc_vlan.vlan_id = v;
        rec.field6 = vl.primary;
        rec.field13 = vl.mode;
        rec.field11 = vl.segment;
        rec.field12 = vl.create_options;
        rec.field14 = state;
        rec.field15 = state;
        rec.field30 = 0;
        copy_name(rec.name, display_name(v, vl));
        std::memcpy(&recs->data[i++], &rec, sizeof rec);
    }
    if (!append_tlv(recs, vlan_mgr_create_notif2_build_notification, note.payload, error, "create notification"))
        return false;
    out.push_back(std::move(note));
    return true;
}

bool build_delete(const Vdc &vdc, const VdcChanges &c, std::vector<Notification> &out, std::string &error)
{
    const uint32_t n = static_cast<uint32_t>(c.deleted.count());
    Notification note{VLAN_MGR_NOTIF_VLAN_DELETE, {}};
    note.payload.reserve(4 + kDeleteEntry * n + 96 * size_t{n});
    WireWriter w(note.payload);
    w.u32(n);
    const size_t rec_size = sizeof(vlan_delete_notif2_payload_t) + sizeof(vlan_delete_notif2_t) * size_t{n};
    auto *recs = static_cast<vlan_delete_notif2_payload_t *>(std::calloc(1, rec_size));
    if (recs == nullptr) {
        error = "out of memory for the delete notification";
        return false;
    }
    recs->count = n;
    uint32_t i = 0;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!c.deleted.test(v))
            continue;
        const auto it = c.deleted_before.find(v);
        const Vlan before = it != c.deleted_before.end() ? it->second : Vlan{};
        w.u16(bd_of(v));
        w.u16(vdc.id);
        w.u32(v);
        w.u32(before.type);
        vlan_delete_notif2_t rec{};
        rec.bd_id = bd_of(v);
        rec.vdc_vlan.vdc_id = vdc.id;
        rec.vdc_vlan.vlan_id = v;
        rec.field20 = before.type;
        rec.field15 = static_cast<uint32_t>(before.state);
        copy_name(rec.name, display_name(v, before));
        rec.field31 = before.primary;
        std::memcpy(&recs->data[i++], &rec, sizeof rec);
    }
    if (!append_tlv(recs, vlan_mgr_delete_notif2_build_notification, note.payload, error, "delete notification"))
        return false;
    out.push_back(std::move(note));
    return true;
}

void build_names(const Vdc &vdc, const VlanSet &renamed, std::vector<Notification> &out)
{
    Notification note{VLAN_MGR_NOTIF_VLAN_NAME, {}};
    WireWriter w(note.payload);
    w.u32(static_cast<uint32_t>(renamed.count()));
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!renamed.test(v))
            continue;
        w.u16(vdc.id);
        w.u32(v);
        w.u32(0);          // texts, not values
        w.u32(kNameField); // the name
        w.u32(0);          // no second text
        char name[kNameField];
        std::memset(name, 0, sizeof name);
        const std::string s = display_name(v, vdc.vlans[v]);
        std::memcpy(name, s.data(), std::min(s.size(), sizeof name - 1));
        w.bytes(name, sizeof name);
    }
    out.push_back(std::move(note));
}

void build_types(const Vdc &vdc, const VlanSet &retyped, std::vector<Notification> &out)
{
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!retyped.test(v) || !vdc.vlans[v].created)
            continue;
        Notification note{VLAN_MGR_NOTIF_VLAN_TYPE_CHANGE, {}};
        WireWriter w(note.payload);
        w.u16(vdc.id);
        w.u32(v);
        w.u32(vdc.vlans[v].type);
        w.u32(vdc.vlans[v].primary);
        out.push_back(std::move(note));
    }
}

void build_bd(const Vdc &vdc, const VlanSet &vlans, std::vector<Notification> &out)
{
    Notification note{VLAN_MGR_NOTIF_BD_CHANGE, {}};
    WireWriter w(note.payload);
    w.u16(0);
    w.u16(vdc.id);
    w.u32(static_cast<uint32_t>(vlans.count()));
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!vlans.test(v))
            continue;
        w.u32(v);
        w.u16(bd_of(v));
        w.u16(0);
    }
    out.push_back(std::move(note));
}

void build_ports(const Vdc &vdc, const std::set<uint32_t> &ports, std::vector<Notification> &out)
{
    Notification note{VLAN_MGR_NOTIF_PORT_MEMB_CHANGE, {}};
    note.payload.reserve(4 + kPortElement * ports.size());
    WireWriter w(note.payload);
    const size_t count_at = w.size();
    w.u32(0);
    uint32_t n = 0;
    const VlanSet active = vdc.active_vlans();
    for (uint32_t if_index : ports) {
        const Port *p = vdc.port(if_index);
        if (p == nullptr)
            continue;
        ++n;
        w.u16(0);
        w.u16(vdc.id);
        const uint32_t idx = hton_if_index(p->if_index);
        w.bytes(&idx, 4);
        w.u32(p->mode);
        const VlanSet configured = vdc.port_vlans(*p, false);
        w.bitmap(configured);
        w.bitmap(configured & active);
    }
    if (n == 0)
        return;
    w.patch32(count_at, n);
    out.push_back(std::move(note));
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
