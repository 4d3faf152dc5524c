// The manager's side of the notifications it publishes: the encoders of
// VLAN create, delete, config change (names), type change, BD change and
// port membership change, made from the layouts the parsers read.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vlan_mgr/notif.h>
#include <vlan_mgr/server/notif.h>

#include "notif/layout.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr::server {
namespace {

namespace L = layout::notif;

// A name field of the notif2 records: up to 32 characters, zero-filled.
void copy_name(char (&dst)[VLAN_MGR_TLV_NAME_SIZE], const std::string &name)
{
    std::memset(dst, 0, sizeof dst);
    std::memcpy(dst, name.data(), std::min(name.size(), sizeof dst - 1));
}

// Appends the TLV part that `build` makes of `rec` (a calloc'ed payload
// record) to `out`; frees both.
template <typename Rec, typename Build>
bool append_tlv(Rec *rec, Build build, Payload &out, std::string &error, const char *what)
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

// The notif2 payload record of `n` records, zeroed, with its count set.
template <typename PayloadRec, typename Rec>
PayloadRec *alloc_records(size_t n)
{
    auto *recs = static_cast<PayloadRec *>(std::calloc(1, sizeof(PayloadRec) + sizeof(Rec) * n));
    if (recs != nullptr)
        recs->count = static_cast<uint32_t>(n);
    return recs;
}

} // namespace

bool encode_create_notification(std::span<const CreatedVlanNotice> vlans, Payload &out, std::string &error)
{
    using E = L::Create::Entry;
    const size_t n = vlans.size();
    out.assign(L::Create::entries.end(n), 0);
    out.reserve(out.size() + 128 * n);
    auto *recs = alloc_records<vlan_create_notif2_payload_t, vlan_create_notif2_t>(n);
    if (recs == nullptr) {
        error = "out of memory for the create notification";
        return false;
    }
    wire::Writer w(out.data(), out.size());
    L::Create::count.put(w, static_cast<uint32_t>(n));
    for (size_t i = 0; i < n; ++i) {
        const CreatedVlanNotice &v = vlans[i];
        wire::Writer e = L::Create::entries.entry(w, i);
        E::bd_id.put(e, v.bd_id);
        E::type.put(e, v.type);
        E::vdc_id.put(e, v.vdc_id);
        E::vlan_id.put(e, v.vlan_id);
        E::primary.put(e, v.primary);
        E::mode.put(e, v.mode);
        E::segment.put(e, v.segment);
        E::options.put(e, v.options);
        E::state.put(e, v.state);
        vlan_create_notif2_t rec{};
        rec.bd_id = v.bd_id;
        rec.field10 = v.type;
        rec.field7 = 0;
        rec.vdc_vlan.vdc_id = v.vdc_id;
        rec.vdc_vlan.vlan_id = v.vlan_id;
        rec.field6 = v.primary;
        rec.field13 = v.mode;
        rec.field11 = v.segment;
        rec.field12 = v.options;
        rec.field14 = v.state;
        rec.field15 = v.state;
        rec.field30 = 0;
        copy_name(rec.name, v.name);
        std::memcpy(&recs->data[i], &rec, sizeof rec);
    }
    return append_tlv(recs, vlan_mgr_create_notif2_build_notification, out, error, "create notification");
}

bool encode_delete_notification(std::span<const DeletedVlan> vlans, Payload &out, std::string &error)
{
    using E = L::Delete::Entry;
    const size_t n = vlans.size();
    out.assign(L::Delete::entries.end(n), 0);
    out.reserve(out.size() + 96 * n);
    auto *recs = alloc_records<vlan_delete_notif2_payload_t, vlan_delete_notif2_t>(n);
    if (recs == nullptr) {
        error = "out of memory for the delete notification";
        return false;
    }
    wire::Writer w(out.data(), out.size());
    L::Delete::count.put(w, static_cast<uint32_t>(n));
    for (size_t i = 0; i < n; ++i) {
        const DeletedVlan &v = vlans[i];
        wire::Writer e = L::Delete::entries.entry(w, i);
        E::bd_id.put(e, v.bd_id);
        E::vdc_id.put(e, v.vdc_id);
        E::vlan_id.put(e, v.vlan_id);
        E::type.put(e, v.type);
        vlan_delete_notif2_t rec{};
        rec.bd_id = v.bd_id;
        rec.vdc_vlan.vdc_id = v.vdc_id;
        rec.vdc_vlan.vlan_id = v.vlan_id;
        rec.field20 = v.type;
        rec.field15 = v.state;
        copy_name(rec.name, v.name);
        rec.field31 = v.primary;
        std::memcpy(&recs->data[i], &rec, sizeof rec);
    }
    return append_tlv(recs, vlan_mgr_delete_notif2_build_notification, out, error, "delete notification");
}

Payload encode_name_notification(std::span<const VlanName> vlans)
{
    using R = L::Names::Record;
    constexpr size_t kRecord = R::kHead + L::Names::kNameField;
    Payload out(L::Names::kRecordsOff + kRecord * vlans.size());
    wire::Writer w(out.data(), out.size());
    L::Names::count.put(w, static_cast<uint32_t>(vlans.size()));
    for (size_t i = 0; i < vlans.size(); ++i) {
        const VlanName &v = vlans[i];
        wire::Writer r = w.sub(L::Names::kRecordsOff + kRecord * i);
        R::vdc_id.put(r, v.vdc_id);
        R::vlan_id.put(r, v.vlan_id);
        R::flag.put(r, 0); // texts, not values
        R::len_a.put(r, L::Names::kNameField);
        R::len_b.put(r, 0); // no second text
        r.bytes(R::kHead, v.name.data(), std::min<size_t>(v.name.size(), L::Names::kNameField - 1));
    }
    return out;
}

Payload encode_type_change_notification(uint16_t vdc_id, uint32_t vlan_id, uint32_t type, uint32_t primary)
{
    using T = L::TypeChange;
    Payload out(T::kSize);
    wire::Writer w(out.data(), out.size());
    T::vdc_id.put(w, vdc_id);
    T::vlan_id.put(w, vlan_id);
    T::type.put(w, type);
    T::primary.put(w, primary);
    return out;
}

Payload encode_bd_change_notification(uint16_t vdc_id, std::span<const VlanBd> vlans)
{
    using B = L::BdChange;
    Payload out(B::entries.end(vlans.size()));
    wire::Writer w(out.data(), out.size());
    B::vdc_id.put(w, vdc_id);
    B::count.put(w, static_cast<uint32_t>(vlans.size()));
    for (size_t i = 0; i < vlans.size(); ++i) {
        wire::Writer e = B::entries.entry(w, i);
        B::Entry::vlan_id.put(e, vlans[i].vlan_id);
        B::Entry::bd_id.put(e, vlans[i].bd_id);
    }
    return out;
}

Payload encode_port_membership_notification(std::span<const PortMembership> ports)
{
    using P = L::PortMembership;
    Payload out(P::entries.end(ports.size()));
    wire::Writer w(out.data(), out.size());
    P::count.put(w, static_cast<uint32_t>(ports.size()));
    for (size_t i = 0; i < ports.size(); ++i) {
        const PortMembership &p = ports[i];
        wire::Writer e = P::entries.entry(w, i);
        P::Entry::vdc_id.put(e, p.vdc_id);
        P::Entry::if_index.put(e, hton_if_index(p.if_index));
        P::Entry::mode.put(e, p.mode);
        P::Entry::configured.init(e);
        bits_to_wire(p.configured, P::Entry::configured.bits(e));
        P::Entry::active.init(e);
        bits_to_wire(p.active, P::Entry::active.bits(e));
    }
    return out;
}

} // namespace vlan_mgr::server
