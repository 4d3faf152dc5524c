// The manager's side of the BD database: the keys and records it publishes,
// made from the layouts that the lookups and getters read.
#include <algorithm>
#include <cstddef>

#include <vlan_mgr/server/bd_record.h>

#include "bd_db/layout.h"
#include "vlan_mgr_platform.h"

namespace vlan_mgr::server {
namespace {

namespace rec = layout::bd_db;

RecordKey object_key(uint16_t vdc_id, uint32_t object)
{
    RecordKey k;
    k.len = rec::VdcKey::kSize;
    wire::Writer w(k.bytes, k.len);
    rec::VdcKey::word.put(w, rec::VdcKey::word_of(vdc_id, object));
    return k;
}

RecordKey future_key(uint32_t word)
{
    RecordKey k;
    k.len = rec::FutureKey::kSize;
    wire::Writer w(k.bytes, k.len);
    rec::FutureKey::word.put(w, word);
    return k;
}

RecordKey port_key(uint8_t type, uint32_t if_index)
{
    RecordKey k;
    k.len = rec::PortKey::kSize;
    wire::Writer w(k.bytes, k.len);
    rec::PortKey::type.put(w, type);
    rec::PortKey::if_index.put(w, hton_if_index(if_index));
    return k;
}

} // namespace

RecordKey vlan_record_key(uint16_t vdc_id, uint32_t vlan_id) { return object_key(vdc_id, vlan_id); }
RecordKey l3_bd_key(uint16_t vdc_id) { return object_key(vdc_id, rec::VdcKey::kL3BdObject); }
RecordKey rsvd_start_key(uint16_t vdc_id) { return object_key(vdc_id, rec::VdcKey::kRsvdStartObject); }
RecordKey rsvd_end_key(uint16_t vdc_id) { return object_key(vdc_id, rec::VdcKey::kRsvdEndObject); }
RecordKey future_rsvd_start_key() { return future_key(rec::FutureKey::kStartWord); }
RecordKey future_rsvd_end_key() { return future_key(rec::FutureKey::kEndWord); }
RecordKey access_key(uint32_t if_index) { return port_key(rec::PortKey::kAccess, if_index); }
RecordKey trunk_key(uint32_t if_index) { return port_key(rec::PortKey::kTrunk, if_index); }

Payload encode_vlan_record(const VlanRecord &r)
{
    using V = rec::VlanRecord;
    Payload out(V::kSize);
    wire::Writer w(out.data(), out.size());
    V::bd_id.put(w, r.bd_id);
    V::primary.put(w, r.primary);
    V::type.put(w, r.type);
    V::mode.put(w, r.mode);
    V::segment.put(w, r.segment);
    return out;
}

Payload encode_l3_bd_record(uint16_t bd_id)
{
    Payload out(rec::L3BdRecord::kSize);
    wire::Writer w(out.data(), out.size());
    rec::L3BdRecord::bd_id.put(w, bd_id);
    return out;
}

Payload encode_rsvd_record(uint16_t vlan_id)
{
    Payload out(rec::RsvdRecord::kSize);
    wire::Writer w(out.data(), out.size());
    rec::RsvdRecord::vlan_id.put(w, vlan_id);
    return out;
}

Payload encode_future_rsvd_record(uint32_t vlan_id)
{
    Payload out(rec::FutureRsvdRecord::kSize);
    wire::Writer w(out.data(), out.size());
    rec::FutureRsvdRecord::vlan_id.put(w, vlan_id);
    return out;
}

Payload encode_access_record(const AccessEntry &e, size_t slots)
{
    using A = rec::AccessEntry;
    if (slots == 0)
        slots = 1;
    Payload out(A::kSize * slots);
    wire::Writer first(out.data(), A::kSize);
    A::if_index.put(first, hton_if_index(e.if_index));
    A::mode.put(first, e.mode);
    A::access_vlan.put(first, e.access_vlan);
    A::vdc_id.put(first, e.vdc_id);
    A::voice_vlan.put(first, e.voice_vlan);
    A::native_vlan.put(first, e.native_vlan);
    A::access_up.put(first, e.access_up ? 1 : 0);
    for (size_t i = 1; i < slots; ++i)
        std::copy(out.begin(), out.begin() + A::kSize, out.begin() + static_cast<std::ptrdiff_t>(A::kSize * i));
    return out;
}

Payload encode_trunk_record(const TrunkPortRecord &t)
{
    using T = rec::TrunkRecord;
    Payload out(T::kSize);
    wire::Writer w(out.data(), out.size());
    T::if_index.put(w, hton_if_index(t.if_index));
    T::vdc_id.put(w, t.vdc_id);
    T::mode.put(w, t.mode);
    T::native_vlan.put(w, t.native_vlan);
    T::configured_len.put(w, T::kBitBytes);
    bits_to_wire(t.configured, w.at(T::kConfiguredBits));
    T::active_len.put(w, T::kBitBytes);
    bits_to_wire(t.active, w.at(T::kActiveBits));
    T::voice_vlan.put(w, t.voice_vlan);
    T::comprgrp.put(w, t.comprgrp);
    return out;
}

} // namespace vlan_mgr::server
