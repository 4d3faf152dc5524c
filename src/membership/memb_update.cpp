// Port membership updates: the access update (one VLAN for a list of ports),
// the trunking update (per port a VLAN, a 16-bit id and a bitmap), their
// replies, and the serialised list of port membership records.
#include <cstdlib>
#include <cstring>

#include "frame/local_vdc.h"
#include "frame/reply.h"
#include "membership/layout.h"
#include "membership/memb_common.h"
#include <vlan_mgr/internal/reply_checks.h>
#include <vlan_mgr/opcodes.h>

namespace vlan_mgr::memb {
namespace {

namespace L = layout::memb;

bool access_op_ok(uint32_t op)
{
    return op == VLAN_MGR_ACCESS_OP_SET_VLAN || op == VLAN_MGR_ACCESS_OP_SET_VOICE || op == VLAN_MGR_ACCESS_OP_REMOVE;
}

// Tested in the order the VLAN manager lists them.
bool trunking_op_ok(int32_t sop)
{
    const auto op = static_cast<uint32_t>(sop);
    return op == VLAN_MGR_TRUNK_OP_SET_NATIVE || op == VLAN_MGR_TRUNK_OP_ALLOW_ALL ||
           op == VLAN_MGR_TRUNK_OP_ADD_ALLOWED || op == VLAN_MGR_TRUNK_OP_REMOVE_ALLOWED ||
           op == VLAN_MGR_TRUNK_OP_SET_ALLOWED || op == VLAN_MGR_TRUNK_OP_ALLOW_NONE || op == VLAN_MGR_TRUNK_OP_SET_MODE;
}

// Trunking update reply: status, operation, VDC id, VLAN id, M, M pairs.
// Without a length, the caller vouches for 18 + 8 * M bytes.
template <typename Result, bool WithVdc>
uint32_t parse_trunking_update(Result **result, const void *payload)
{
    using Rep = L::UpdateTrunkingReply;
    *result = nullptr;
    // No length is known: a reader that spans what the caller vouches for.
    const wire::Reader r(payload, SIZE_MAX);
    const uint32_t status = Rep::status.get(r);
    if (status != 0)
        return status;
    const uint32_t m = Rep::count.get(r);
    const std::optional<size_t> size = checked_size(m, sizeof(trunking_update_pair), sizeof(Result));
    auto *out = size ? static_cast<Result *>(std::malloc(*size)) : nullptr;
    *result = out;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    out->op = Rep::op.get(r);
    if constexpr (WithVdc)
        out->vdc_id = Rep::key.vdc_id.get(r);
    out->vlan_id = Rep::key.vlan_id.get(r);
    out->count = m;
    for (uint32_t i = 0; i < m; ++i) {
        const wire::Reader pair = Rep::pairs.entry(r, i);
        out->pairs[i] = {Rep::word_1.get(pair), Rep::word_2.get(pair)};
    }
    return VLAN_MGR_OK;
}

} // namespace
} // namespace vlan_mgr::memb

namespace vlan_mgr {

// Status, then (status 0) the fields up to the pair count and the pairs it
// counts: what parse_trunking_update reads.
uint32_t trunking_update_reply_check(const void *reply, size_t len)
{
    using Rep = layout::memb::UpdateTrunkingReply;
    if (reply == nullptr || len == 0)
        return VLAN_MGR_ERR_NO_MEMORY;
    const wire::Reader r(reply, len);
    if (!r.has(0, Rep::status.end()))
        return VLAN_MGR_ERR_TRUNCATED;
    if (Rep::status.get(r) != 0)
        return VLAN_MGR_OK;
    if (!r.has(0, Rep::count.end()) || Rep::pairs.end(Rep::count.get(r)) > len)
        return VLAN_MGR_ERR_TRUNCATED;
    return VLAN_MGR_OK;
}

} // namespace vlan_mgr

using namespace vlan_mgr;
using namespace vlan_mgr::memb;

extern "C" {

// Operation, VDC id, VLAN id, port count, if-indexes. The key's VDC id is
// carried as given: this request makes no VDC check.
uint32_t vlan_update_port_memb_build_mts(const uint32_t *if_indexes, uint32_t count, vdc_vlan_id_t key,
                                         uint32_t /*unused*/, uint32_t op, void **payload, uint32_t *payload_len)
{
    if (if_indexes == nullptr || count == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (!access_op_ok(op))
        return VLAN_MGR_ERR_ACCESS_UPD_OP;
    size_t size = 0;
    using Req = L::UpdateAccessRequest;
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, Req::ports.stride, Req::ports.off, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, size, wire::Writer::EveryByte{}); // no gap between the fields
    Req::op.put(w, op);
    Req::key.vdc_id.put(w, key.vdc_id);
    Req::key.vlan_id.put(w, key.vlan_id);
    Req::count.put(w, count);
    for (uint32_t i = 0; i < count; ++i) {
        wire::Writer e = Req::ports.entry(w, i);
        Req::if_index.put(e, if_indexes[i]);
    }
    return VLAN_MGR_OK;
}

uint32_t vlan_update_port_memb_build_mts_local(const uint32_t *if_indexes, uint32_t count, uint32_t vlan_id,
                                               uint32_t unused, uint32_t op, void **payload, uint32_t *payload_len)
{
    const vdc_vlan_id_t key{vlan_mgr_local_vdc_get(), vlan_id};
    return vlan_update_port_memb_build_mts(if_indexes, count, key, unused, op, payload, payload_len);
}

// Reply: status, VDC id, VLAN id.
uint32_t vlan_update_port_memb_parse_reply(vdc_vlan_id_t *key, const void *payload, uint32_t payload_len)
{
    if (key == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    using Rep = L::UpdateAccessReply;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Rep::kLen))
        return VLAN_MGR_ERR_TRUNCATED;
    key->vdc_id = Rep::key.vdc_id.get(r);
    key->vlan_id = Rep::key.vlan_id.get(r);
    return Rep::status.get(r);
}

// The VLAN id is copied out whatever the full parser returned; without a
// reply body it is the scratch key's 0.
uint32_t vlan_update_port_memb_parse_reply_local(uint32_t *vlan_id, const void *payload, uint32_t payload_len)
{
    if (vlan_id == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    vdc_vlan_id_t scratch{0, 0};
    const uint32_t st = vlan_update_port_memb_parse_reply(&scratch, payload, payload_len);
    *vlan_id = scratch.vlan_id;
    return st;
}

// Header (operation, port count), then one 528-byte record per port: VDC id,
// VLAN id, 16-bit id, bitmap length 512 in host order, 512 bitmap bytes,
// if-index. Input records are 524 bytes apart.
uint32_t vlan_update_port_trunking_memb_build_mts(const uint32_t *if_indexes, uint32_t count,
                                                  const trunking_update_input *records, int32_t op, void **payload,
                                                  uint32_t *payload_len)
{
    if (if_indexes == nullptr || count == 0 || records == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (!trunking_op_ok(op))
        return VLAN_MGR_ERR_TRUNK_UPD_OP;
    size_t size = 0;
    using Req = L::UpdateTrunkingRequest;
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, Req::records.stride, Req::records.off, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, size, wire::Writer::EveryByte{}); // no gap between the fields
    Req::op.put(w, static_cast<uint32_t>(op));
    Req::count.put(w, count);
    for (uint32_t i = 0; i < count; ++i) {
        const auto *in = reinterpret_cast<const uint8_t *>(&records[i]);
        wire::Writer rec = Req::records.entry(w, i);
        Req::key.vdc_id.put(rec, records[i].vdc_vlan.vdc_id);
        Req::key.vlan_id.put(rec, records[i].vdc_vlan.vlan_id);
        Req::value.put(rec, records[i].id);
        Req::bitmap.init(rec);
        std::memcpy(Req::bitmap.bits(rec), in + offsetof(trunking_update_input, bitmap) + 4, bitmap::kBytes);
        Req::if_index.put(rec, if_indexes[i]);
    }
    return VLAN_MGR_OK;
}

uint32_t vlan_update_port_trunking_memb_parse_reply(trunking_update_result **result, const void *payload)
{
    return parse_trunking_update<trunking_update_result, true>(result, payload);
}

uint32_t vlan_update_port_trunking_memb_parse_reply_local(trunking_update_result_local **result, const void *payload)
{
    return parse_trunking_update<trunking_update_result_local, false>(result, payload);
}

// Count, then per record: if-index, two keys, bitmap length 512 in host order
// and the 512 bitmap bytes.
uint32_t vlan_build_port_vlan_memb_info_mts(const port_vlan_memb_info *records, uint32_t count, void **payload,
                                            uint32_t *payload_len)
{
    if (count == 0 || records == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    size_t size = 0;
    using Req = L::PortVlanMembInfoRequest;
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, Req::records.stride, Req::records.off, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, size, wire::Writer::EveryByte{}); // no gap between the fields
    Req::count.put(w, count);
    for (uint32_t i = 0; i < count; ++i) {
        const port_vlan_memb_info &in = records[i];
        wire::Writer rec = Req::records.entry(w, i);
        Req::if_index.put(rec, in.if_index);
        Req::first.vdc_id.put(rec, in.vlan_1.vdc_id);
        Req::first.vlan_id.put(rec, in.vlan_1.vlan_id);
        Req::last.vdc_id.put(rec, in.vlan_2.vdc_id);
        Req::last.vlan_id.put(rec, in.vlan_2.vlan_id);
        Req::bitmap.init(rec);
        std::memcpy(Req::bitmap.bits(rec), reinterpret_cast<const uint8_t *>(&in) + offsetof(port_vlan_memb_info, bitmap) + 4,
                    bitmap::kBytes);
    }
    return VLAN_MGR_OK;
}
}
