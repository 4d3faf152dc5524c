// The manager's side of the fixed-layout port membership requests: the port
// queries, the per-VLAN queries, the access and trunking updates and the
// port VLAN membership info, each request decoded and each reply encoded.
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/membership.h>

#include "membership/layout.h"

namespace vlan_mgr::server {
namespace {

namespace L = layout::memb;

// A request of a count at `count` and that many entries of `list`: exactly
// as long as the count makes it, and the count at least 1. The count, or 0
// when the request is refused.
uint32_t counted(const wire::Reader &r, layout::U32 count, layout::List list)
{
    // A null payload is refused like an empty one.
    if (r.at(0) == nullptr || !r.has(count.off, count.width))
        return 0;
    const uint32_t n = count.get(r);
    if (n == 0 || uint64_t{r.size()} != list.end(n))
        return 0;
    return n;
}

void put_key(wire::Writer &w, const L::Key &k, VdcVlan v)
{
    k.vdc_id.put(w, v.vdc_id);
    k.vlan_id.put(w, v.vlan_id);
}

VdcVlan get_key(const wire::Reader &r, const L::Key &k) { return {k.vdc_id.get(r), k.vlan_id.get(r)}; }

// The bitmap field `b` of `w` with its length word and the set's VLANs
// 1..4094.
void put_bits(wire::Writer &w, const layout::Bitmap &b, const VlanBits &set)
{
    b.init(w);
    bits_to_wire(set, b.bits(w));
}

} // namespace

uint32_t decode_port_list_request(const uint8_t *payload, size_t len, std::vector<uint32_t> &if_indexes)
{
    using Req = L::PortListRequest;
    const wire::Reader r(payload, len);
    const uint32_t n = counted(r, Req::count, Req::ports);
    if (n == 0)
        return VLAN_MGR_ERR_BAD_REQUEST;
    if_indexes.resize(n);
    for (uint32_t i = 0; i < n; ++i)
        if_indexes[i] = Req::if_index.get(Req::ports.entry(r, i));
    return 0;
}

uint64_t port_reply_size(PortReply kind, uint64_t ports)
{
    switch (kind) {
    case PortReply::active:
    case PortReply::voice:
        return L::PortVlanReply::entries.end(ports);
    case PortReply::memb:
        return L::PortMembReply::entries.end(ports);
    case PortReply::trunking:
        return L::PortTrunkingReply::entries.end(ports);
    case PortReply::active_trunking:
        return L::PortActiveTrunkingReply::blocks(ports).end(ports);
    }
    return UINT64_MAX;
}

Payload encode_port_vlan_reply(std::span<const PortVlan> entries)
{
    using Rep = L::PortVlanReply;
    Payload out(static_cast<size_t>(Rep::entries.end(entries.size())));
    wire::Writer w(out.data(), out.size());
    Rep::count.put(w, static_cast<uint32_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i) {
        wire::Writer e = Rep::entries.entry(w, i);
        Rep::if_index.put(e, entries[i].if_index);
        put_key(e, Rep::vlan, entries[i].vlan);
    }
    return out;
}

Payload encode_port_memb_reply(std::span<const PortMemb> entries)
{
    using Rep = L::PortMembReply;
    Payload out(static_cast<size_t>(Rep::entries.end(entries.size())));
    wire::Writer w(out.data(), out.size());
    Rep::count.put(w, static_cast<uint32_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i) {
        wire::Writer e = Rep::entries.entry(w, i);
        Rep::if_index.put(e, entries[i].if_index);
        Rep::word_1.put(e, entries[i].mode);
        Rep::word_2.put(e, entries[i].voice_vlan);
        put_key(e, Rep::vlan_a, entries[i].access);
        put_key(e, Rep::vlan_b, entries[i].native);
    }
    return out;
}

Payload encode_port_trunking_reply(std::span<const PortTrunking> entries)
{
    using Rep = L::PortTrunkingReply;
    Payload out(static_cast<size_t>(Rep::entries.end(entries.size())));
    wire::Writer w(out.data(), out.size());
    Rep::count.put(w, static_cast<uint32_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i) {
        wire::Writer e = Rep::entries.entry(w, i);
        const PortTrunking &p = entries[i];
        Rep::if_index.put(e, p.if_index);
        put_key(e, Rep::word_1, p.native);
        Rep::bitmap_vdc_id.put(e, p.bitmap_vdc_id);
        put_bits(e, Rep::bitmap_1, p.allowed);
        put_bits(e, Rep::bitmap_2, p.active);
        put_key(e, Rep::word_2, p.access);
    }
    return out;
}

Payload encode_port_active_trunking_reply(std::span<const PortActiveTrunking> entries)
{
    using Rep = L::PortActiveTrunkingReply;
    const size_t n = entries.size();
    const layout::List blocks = Rep::blocks(n);
    Payload out(static_cast<size_t>(blocks.end(n)));
    wire::Writer w(out.data(), out.size());
    Rep::count.put(w, static_cast<uint32_t>(n));
    for (size_t i = 0; i < n; ++i) {
        wire::Writer e = Rep::if_indexes.entry(w, i);
        Rep::if_index.put(e, entries[i].if_index);
    }
    for (size_t i = 0; i < n; ++i) {
        wire::Writer b = blocks.entry(w, i);
        Rep::vdc_id.put(b, entries[i].vdc_id);
        put_bits(b, Rep::bitmap, entries[i].active);
    }
    return out;
}

uint32_t decode_per_vlan_request(const uint8_t *payload, size_t len, std::vector<VdcVlan> &keys)
{
    using Req = L::PerVlanRequest;
    const wire::Reader r(payload, len);
    const uint32_t n = counted(r, Req::count, Req::keys);
    if (n == 0)
        return VLAN_MGR_ERR_BAD_REQUEST;
    keys.resize(n);
    for (uint32_t i = 0; i < n; ++i)
        keys[i] = get_key(Req::keys.entry(r, i), Req::key);
    return 0;
}

uint64_t per_vlan_reply_size(std::span<const PerVlanGroup> groups)
{
    using Rep = L::PerVlanReply;
    uint64_t size = Rep::kFirstGroup;
    for (const PerVlanGroup &g : groups)
        size += Rep::ports.end(g.ports.size());
    return size;
}

Payload encode_per_vlan_reply(std::span<const PerVlanGroup> groups)
{
    using Rep = L::PerVlanReply;
    Payload out(static_cast<size_t>(per_vlan_reply_size(groups)));
    wire::Writer w(out.data(), out.size());
    Rep::groups.put(w, static_cast<uint32_t>(groups.size()));
    size_t off = Rep::kFirstGroup;
    for (const PerVlanGroup &g : groups) {
        wire::Writer e = w.sub(off);
        put_key(e, Rep::key, g.key);
        Rep::count.put(e, static_cast<uint32_t>(g.ports.size()));
        for (size_t j = 0; j < g.ports.size(); ++j) {
            wire::Writer p = Rep::ports.entry(e, j);
            Rep::if_index.put(p, g.ports[j]);
        }
        off += static_cast<size_t>(Rep::ports.end(g.ports.size()));
    }
    return out;
}

uint32_t decode_update_port_memb_request(const uint8_t *payload, size_t len, UpdatePortMembRequest &out)
{
    using Req = L::UpdateAccessRequest;
    const wire::Reader r(payload, len);
    const uint32_t n = counted(r, Req::count, Req::ports);
    if (n == 0)
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.op = Req::op.get(r);
    out.key = get_key(r, Req::key);
    out.if_indexes.resize(n);
    for (uint32_t i = 0; i < n; ++i)
        out.if_indexes[i] = Req::if_index.get(Req::ports.entry(r, i));
    return 0;
}

Payload encode_update_port_memb_reply(uint32_t status, VdcVlan key)
{
    using Rep = L::UpdateAccessReply;
    Payload out(Rep::kLen);
    wire::Writer w(out.data(), out.size());
    Rep::status.put(w, status);
    put_key(w, Rep::key, key);
    return out;
}

uint32_t decode_update_port_trunking_memb_request(const uint8_t *payload, size_t len,
                                                  UpdatePortTrunkingMembRequest &out)
{
    using Req = L::UpdateTrunkingRequest;
    const wire::Reader r(payload, len);
    const uint32_t n = counted(r, Req::count, Req::records);
    if (n == 0)
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.op = Req::op.get(r);
    out.records.resize(n);
    for (uint32_t i = 0; i < n; ++i) {
        const wire::Reader e = Req::records.entry(r, i);
        TrunkUpdateRecord &rec = out.records[i];
        rec.key = get_key(e, Req::key);
        rec.value = Req::value.get(e);
        // The length word is the sender's 512 in its own byte order: not read.
        rec.vlans = bits_from_wire(Req::bitmap.bits(e));
        rec.if_index = Req::if_index.get(e);
    }
    return 0;
}

Payload encode_update_port_trunking_memb_reply(uint32_t op, VdcVlan key, std::span<const PortStatus> ports)
{
    using Rep = L::UpdateTrunkingReply;
    Payload out(static_cast<size_t>(Rep::pairs.end(ports.size())));
    wire::Writer w(out.data(), out.size());
    Rep::op.put(w, op);
    put_key(w, Rep::key, key);
    Rep::count.put(w, static_cast<uint32_t>(ports.size()));
    for (size_t i = 0; i < ports.size(); ++i) {
        wire::Writer e = Rep::pairs.entry(w, i);
        Rep::if_index.put(e, ports[i].if_index);
        Rep::word_2.put(e, ports[i].status);
    }
    return out;
}

uint32_t decode_port_vlan_memb_info_request(const uint8_t *payload, size_t len, std::vector<PortVlanMembInfo> &out)
{
    using Req = L::PortVlanMembInfoRequest;
    const wire::Reader r(payload, len);
    const uint32_t n = counted(r, Req::count, Req::records);
    if (n == 0)
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.resize(n);
    for (uint32_t i = 0; i < n; ++i) {
        const wire::Reader e = Req::records.entry(r, i);
        PortVlanMembInfo &rec = out[i];
        rec.if_index = Req::if_index.get(e);
        rec.first = get_key(e, Req::first);
        rec.last = get_key(e, Req::last);
        // The length word is the sender's 512 in its own byte order: not read.
        rec.vlans = bits_from_wire(Req::bitmap.bits(e));
    }
    return 0;
}

Payload encode_vlan_range_memb_reply(uint16_t vdc_id, std::span<const uint32_t> if_indexes)
{
    using Rep = L::VlanRangeReply;
    Payload out(static_cast<size_t>(Rep::ports.end(if_indexes.size())));
    wire::Writer w(out.data(), out.size());
    Rep::vdc_id.put(w, vdc_id);
    Rep::count.put(w, static_cast<uint32_t>(if_indexes.size()));
    for (size_t i = 0; i < if_indexes.size(); ++i) {
        wire::Writer e = Rep::ports.entry(w, i);
        Rep::if_index.put(e, if_indexes[i]);
    }
    return out;
}

} // namespace vlan_mgr::server
