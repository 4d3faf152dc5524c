// Port membership updates: the access update (one VLAN for a list of ports),
// the trunking update (per port a VLAN, a 16-bit id and a bitmap), their
// replies, and the serialised list of port membership records.
#include <cstdlib>
#include <cstring>

#include "frame/local_vdc.h"
#include "frame/reply.h"
#include "membership/memb_common.h"

namespace vlan_mgr::memb {
namespace {

constexpr size_t kTrunkingRecord = 528;
constexpr size_t kMembInfoRecord = 532;

bool access_op_ok(uint32_t op) { return op == 1 || op == 9 || op == 13; }

// Tested in the order the VLAN manager lists them.
bool trunking_op_ok(int32_t op)
{
    return op == 9 || op == 5 || op == 3 || op == 4 || op == 2 || op == 11 || op == 12;
}

// Trunking update reply: status, operation, VDC id, VLAN id, M, M pairs.
// Without a length, the caller vouches for 18 + 8 * M bytes.
template <typename Result, bool WithVdc>
uint32_t parse_trunking_update(Result **result, const void *payload)
{
    *result = nullptr;
    const auto *p = static_cast<const uint8_t *>(payload);
    const uint32_t status = wire::get_u32(p, 0);
    if (status != 0)
        return status;
    const uint32_t m = wire::get_u32(p, 14);
    const std::optional<size_t> size = checked_size(m, sizeof(trunking_update_pair), sizeof(Result));
    auto *out = size ? static_cast<Result *>(std::malloc(*size)) : nullptr;
    *result = out;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    out->op = wire::get_u32(p, 4);
    if constexpr (WithVdc)
        out->vdc_id = wire::get_u16(p, 8);
    out->vlan_id = wire::get_u32(p, 10);
    out->count = m;
    const uint8_t *pair = p + 18;
    for (uint32_t i = 0; i < m; ++i, pair += 8)
        out->pairs[i] = {wire::get_u32(pair, 0), wire::get_u32(pair, 4)};
    return VLAN_MGR_OK;
}

} // namespace
} // namespace vlan_mgr::memb

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
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, 4, 14, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::put_u32(p, 0, op); // every byte is written
    wire::put_u16(p, 4, key.vdc_id);
    wire::put_u32(p, 6, key.vlan_id);
    wire::put_u32(p, 10, count);
    for (uint32_t i = 0; i < count; ++i)
        put_if_index(p, 14 + 4 * size_t{i}, if_indexes[i]);
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
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, 10))
        return VLAN_MGR_ERR_TRUNCATED;
    key->vdc_id = r.u16(4);
    key->vlan_id = r.u32(6);
    return r.u32(0);
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
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, kTrunkingRecord, 8, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::put_u32(p, 0, static_cast<uint32_t>(op)); // every byte is written
    wire::put_u32(p, 4, count);
    uint8_t *rec = p + 8;
    for (uint32_t i = 0; i < count; ++i, rec += kTrunkingRecord) {
        const auto *in = reinterpret_cast<const uint8_t *>(&records[i]);
        wire::put_u16(rec, 0, records[i].vdc_vlan.vdc_id);
        wire::put_u32(rec, 2, records[i].vdc_vlan.vlan_id);
        wire::put_u16(rec, 6, records[i].id);
        wire::put_host_u32(rec, 8, static_cast<uint32_t>(bitmap::kBytes));
        std::memcpy(rec + 12, in + offsetof(trunking_update_input, bitmap) + 4, bitmap::kBytes);
        put_if_index(rec, 524, if_indexes[i]);
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
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, kMembInfoRecord, 4, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::put_u32(p, 0, count); // every byte is written
    uint8_t *rec = p + 4;
    for (uint32_t i = 0; i < count; ++i, rec += kMembInfoRecord) {
        const port_vlan_memb_info &in = records[i];
        put_if_index(rec, 0, in.if_index);
        wire::put_u16(rec, 4, in.vlan_1.vdc_id);
        wire::put_u32(rec, 6, in.vlan_1.vlan_id);
        wire::put_u16(rec, 10, in.vlan_2.vdc_id);
        wire::put_u32(rec, 12, in.vlan_2.vlan_id);
        wire::put_host_u32(rec, 16, static_cast<uint32_t>(bitmap::kBytes));
        std::memcpy(rec + 20, reinterpret_cast<const uint8_t *>(&in) + offsetof(port_vlan_memb_info, bitmap) + 4,
                    bitmap::kBytes);
    }
    return VLAN_MGR_OK;
}
}
