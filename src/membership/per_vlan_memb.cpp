// Per-VLAN membership queries: which ports belong to each of a list of VLANs
// (trunking members, access members, all members: one request and one reply
// under three names each), and the VLAN-range membership reply.
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "frame/local_vdc.h"
#include "frame/reply.h"
#include "frame/report.h"
#include "membership/layout.h"
#include "membership/memb_common.h"

namespace vlan_mgr::memb {
namespace {

constexpr uint32_t kMinVlan = 1;
constexpr uint32_t kMaxVlan = 4094;
using Req = layout::memb::PerVlanRequest;
using Rep = layout::memb::PerVlanReply;

} // namespace

namespace {

// Reports the first key that fails, in order: its VDC id against the local
// one (key 0) or key 0's (every later key, the same value once key 0 passed),
// then its VLAN id. Returns 0 when every key passes.
uint32_t report_first_bad_key(const vdc_vlan_id_t *keys, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        const uint16_t vdc_id = keys[i].vdc_id;
        const uint32_t vlan_id = keys[i].vlan_id;
        const uint16_t want = i == 0 ? vlan_mgr_local_vdc_get() : keys[0].vdc_id;
        if (vdc_id != want)
            return report_failure(
                VLAN_MGR_ERR_VDC_MISMATCH, VLAN_MGR_REPORT_VDC_MISMATCH, syslog_msg_ERROR_MSG,
                "vlan_mgr pid %d, vdcID %d, local vdcID %d, vdcIDs not match; entry %d, vlanID %d\n",
                " pid %d, vdcID %d, local vdcID %d, vdcIDs not match; entry %d, vlanID %d\n", [&] {
                    return std::make_tuple(static_cast<int>(getpid()), static_cast<int>(vdc_id),
                                           static_cast<int>(vlan_mgr_local_vdc_get()), static_cast<int>(i),
                                           static_cast<int>(vlan_id));
                });
        if (vlan_id < kMinVlan || vlan_id > kMaxVlan)
            return report_failure(VLAN_MGR_ERR_INVALID_VLAN, VLAN_MGR_REPORT_VDC_MISMATCH, syslog_msg_ERROR_MSG,
                                  "vlan_mgrpid %d passed Invalid vlanID :%d \n", "pid %d passed Invalid vlanID :%d \n",
                                  [&] {
                                      return std::make_tuple(static_cast<int>(getpid()), static_cast<int>(vlan_id));
                                  });
    }
    return VLAN_MGR_OK;
}

} // namespace

// Every key is checked before anything is allocated. The common case (all
// keys good) is one pass without branches; only a list with a bad key walks
// again, in order, to report the first one.
uint32_t get_per_vlan_memb_info_build_mts(const vdc_vlan_id_t *keys, uint32_t count, void **payload,
                                          uint32_t *payload_len)
{
    if (keys == nullptr || count == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    const uint16_t local = vlan_mgr_local_vdc_get();
    // The keys are read as bytes: VDC id then VLAN id, in host order.
    const auto *k = reinterpret_cast<const uint8_t *>(keys);
    for (uint32_t i = 0; i < count; ++i, k += sizeof(vdc_vlan_id_t)) {
        uint16_t vdc_id;
        uint32_t vlan_id;
        std::memcpy(&vdc_id, k, 2);
        std::memcpy(&vlan_id, k + 2, 4);
        if (__builtin_expect(vdc_id != local || vlan_id - kMinVlan > kMaxVlan - kMinVlan, 0))
            return report_first_bad_key(keys, count);
    }
    size_t size = 0;
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, Req::keys.stride, Req::keys.off, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, size, wire::Writer::EveryByte{}); // no gap between the fields
    Req::count.put(w, count);
    for (uint32_t i = 0; i < count; ++i) {
        wire::Writer e = Req::keys.entry(w, i);
        Req::key.vdc_id.put(e, keys[i].vdc_id);
        Req::key.vlan_id.put(e, keys[i].vlan_id);
    }
    return VLAN_MGR_OK;
}

// Validates while it writes: the first bad VLAN id stops the build with the
// payload left allocated, written up to and including the bad entry.
uint32_t get_per_vlan_memb_info_build_mts_local(const int32_t *vlan_ids, uint32_t count, void **payload,
                                                uint32_t *payload_len)
{
    const uint16_t vdc_id = vlan_mgr_local_vdc_get();
    if (vlan_ids == nullptr || count == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    size_t size = 0;
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, Req::keys.stride, Req::keys.off, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    // The writer zeroes the payload first: after a bad VLAN id the rest goes
    // out as 0.
    wire::Writer w(p, size);
    Req::count.put(w, count);
    for (uint32_t i = 0; i < count; ++i) {
        const int32_t vlan_id = vlan_ids[i];
        wire::Writer e = Req::keys.entry(w, i);
        Req::key.vdc_id.put(e, vdc_id);
        Req::key.vlan_id.put(e, static_cast<uint32_t>(vlan_id));
        if (vlan_id < static_cast<int32_t>(kMinVlan) || vlan_id > static_cast<int32_t>(kMaxVlan))
            return report_invalid_vlan(VLAN_MGR_ERR_INVALID_VLAN, "get_per_vlan_memb_info_build_mts_local", vlan_id);
    }
    return VLAN_MGR_OK;
}

namespace {

// Status, group count G (signed: G <= 0 means none), then G groups of VDC id,
// VLAN id, port count K and K if-indexes. A first pass checks every group
// against the reply's length and sums the ports; the second fills one record
// per port. `fill(rec, vdc_id, vlan_id, if_index)`.
template <typename Rec, typename Fill>
uint32_t parse_per_vlan(Rec **records, uint32_t *count, const void *payload, uint32_t payload_len, Fill fill)
{
    if (count == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *count = 0;
    *records = nullptr;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Rep::kFirstGroup))
        return VLAN_MGR_ERR_TRUNCATED;
    const int32_t groups = static_cast<int32_t>(Rep::groups.get(r));

    // A negative port count reads as a huge one and runs past the reply.
    uint64_t total = 0;
    size_t off = Rep::kFirstGroup;
    for (int32_t g = 0; g < groups; ++g) {
        if (!r.has(off, Rep::kGroupHead))
            return VLAN_MGR_ERR_TRUNCATED;
        const wire::Reader group = r.sub(off);
        const uint32_t k = Rep::count.get(group);
        if (!has_span(group, Rep::ports.off, uint64_t{k} * Rep::ports.stride))
            return VLAN_MGR_ERR_TRUNCATED;
        off += static_cast<size_t>(Rep::ports.end(k));
        total += k;
    }
    if (total == 0)
        return VLAN_MGR_ERR_NO_ENTRIES;
    // The ports fit in the reply, so the total fits its 32-bit count.
    *count = static_cast<uint32_t>(total);
    const std::optional<size_t> size = checked_size(total, sizeof(Rec), 0);
    Rec *out = size ? static_cast<Rec *>(std::malloc(*size)) : nullptr;
    *records = out;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;

    off = Rep::kFirstGroup;
    for (int32_t g = 0; g < groups; ++g) {
        const wire::Reader group = r.sub(off);
        const uint16_t vdc_id = Rep::key.vdc_id.get(group);
        const uint32_t vlan_id = Rep::key.vlan_id.get(group);
        const uint32_t k = Rep::count.get(group);
        for (uint32_t j = 0; j < k; ++j)
            fill(*out++, vdc_id, vlan_id, Rep::if_index.get(Rep::ports.entry(group, j)));
        off += static_cast<size_t>(Rep::ports.end(k));
    }
    return Rep::status.get(r);
}

void fill_full(vlan_port_memb &rec, uint16_t vdc_id, uint32_t vlan_id, uint32_t if_index)
{
    rec.vdc_vlan.vdc_id = vdc_id;
    rec.vdc_vlan.vlan_id = vlan_id;
    rec.reserved[0] = 0;
    rec.reserved[1] = 0;
    rec.if_index = if_index;
}

void fill_local(vlan_port_memb_local &rec, uint16_t, uint32_t vlan_id, uint32_t if_index)
{
    rec.vlan_id = vlan_id;
    rec.if_index = if_index;
}

uint32_t parse_full(vlan_port_memb **records, uint32_t *count, const void *payload, uint32_t payload_len)
{
    return parse_per_vlan(records, count, payload, payload_len, fill_full);
}

uint32_t parse_local(vlan_port_memb_local **records, uint32_t *count, const void *payload, uint32_t payload_len)
{
    return parse_per_vlan(records, count, payload, payload_len, fill_local);
}

} // namespace
} // namespace vlan_mgr::memb

using namespace vlan_mgr;
using namespace vlan_mgr::memb;

extern "C" {

// The three query kinds share one implementation per operation; each name is
// one line over it.
#define VLAN_MGR_PER_VLAN_KIND(kind)                                                                                \
    uint32_t vlan_get_per_vlan##kind##memb_info_build_mts(const vdc_vlan_id_t *keys, uint32_t count,                 \
                                                          void **payload, uint32_t *payload_len)                    \
    {                                                                                                                \
        return get_per_vlan_memb_info_build_mts(keys, count, payload, payload_len);                                 \
    }                                                                                                                \
    uint32_t vlan_get_per_vlan##kind##memb_info_build_mts_local(const int32_t *vlan_ids, uint32_t count,             \
                                                                void **payload, uint32_t *payload_len)              \
    {                                                                                                                \
        return get_per_vlan_memb_info_build_mts_local(vlan_ids, count, payload, payload_len);                       \
    }                                                                                                                \
    uint32_t vlan_get_per_vlan##kind##memb_info_parse_reply(vlan_port_memb **records, uint32_t *count,               \
                                                            const void *payload, uint32_t payload_len)              \
    {                                                                                                                \
        return parse_full(records, count, payload, payload_len);                                                    \
    }                                                                                                                \
    uint32_t vlan_get_per_vlan##kind##memb_info_parse_reply_local(vlan_port_memb_local **records, uint32_t *count,   \
                                                                  const void *payload, uint32_t payload_len)        \
    {                                                                                                                \
        return parse_local(records, count, payload, payload_len);                                                   \
    }

VLAN_MGR_PER_VLAN_KIND(_trunking_)
VLAN_MGR_PER_VLAN_KIND(_access_)
VLAN_MGR_PER_VLAN_KIND(_)

#undef VLAN_MGR_PER_VLAN_KIND

// Status, two bytes not read, port count K, K if-indexes.
uint32_t vlan_get_vlan_range_memb_info_parse_reply_local(uint32_t **if_indexes, uint32_t *count, const void *payload,
                                                         uint32_t payload_len)
{
    if (count == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *count = 0;
    *if_indexes = nullptr;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    using Range = layout::memb::VlanRangeReply;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Range::kHead))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t k = Range::count.get(r);
    if (k == 0)
        return VLAN_MGR_ERR_NO_ENTRIES;
    if (!has_span(r, Range::ports.off, uint64_t{k} * Range::ports.stride))
        return VLAN_MGR_ERR_TRUNCATED;
    *count = k;
    const std::optional<size_t> size = checked_size(k, 4, 0);
    auto *out = size ? static_cast<uint32_t *>(std::malloc(*size)) : nullptr;
    *if_indexes = out;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    for (uint32_t i = 0; i < k; ++i)
        out[i] = Range::if_index.get(Range::ports.entry(r, i));
    return Range::status.get(r);
}
}
