// Private-VLAN association: the single and the multi request and their
// replies. Both requests carry the same 532-byte entry.
#include "config_req/config_common.h"
#include "config_req/layout.h"
#include "frame/local_vdc.h"
#include "frame/reply.h"
#include <vlan_mgr/opcodes.h>

namespace vlan_mgr::config {
namespace {

using Entry = layout::config::AssocEntry;
using Req = layout::config::AssocRequest;
using Rep = layout::config::AssocReply;
using RepEntry = layout::config::AssocReplyEntry;
constexpr uint32_t kMaxAssoc = 512;

// VLAN_MGR_ASSOC_ADD is the only association type that names a primary VLAN.
bool names_primary(int32_t assoc_type) { return assoc_type == static_cast<int32_t>(VLAN_MGR_ASSOC_ADD); }
bool assoc_type_ok(int32_t assoc_type)
{
    return names_primary(assoc_type) || assoc_type == static_cast<int32_t>(VLAN_MGR_ASSOC_REMOVE);
}

bool default_vlan_set(const uint8_t *bits) { return bitmap::test(bits, 1); }

// The primary VLAN test of type 2: 1..4094, and not the default VLAN.
uint32_t check_primary(uint32_t primary)
{
    if (primary < 1 || primary > 4094)
        return VLAN_MGR_ERR_VLAN_RANGE;
    if (primary == 1)
        return VLAN_MGR_ERR_DEFAULT_VLAN;
    return VLAN_MGR_OK;
}

// Association entry `i` of a request: tag, VDC id, type, primary VLAN, the
// number of secondaries, then their bitmap field with the bits copied as they
// are.
void write_entry(const wire::Writer &w, size_t i, uint16_t assoc_tag, uint16_t vdc_id, int32_t assoc_type,
                 uint32_t primary, const uint8_t *bits, uint32_t count)
{
    wire::Writer e = Req::entries.entry(w, i);
    Entry::tag.put(e, assoc_tag);
    Entry::vdc_id.put(e, vdc_id);
    Entry::type.put(e, static_cast<uint32_t>(assoc_type));
    Entry::primary.put(e, primary);
    Entry::count.put(e, count);
    Entry::secondaries.init(e);
    e.bytes(Entry::secondaries.bits_off(), bits, bitmap::kBytes);
}

// Single reply: 12 bytes not read, status, VDC id, type, primary, tag, count,
// then count {secondary, status} pairs from offset 32.
uint32_t parse_single(vlan_delete_result_t **results, uint32_t *count, uint16_t *vdc_id, uint32_t *assoc_type,
                      uint32_t *primary_vlan, uint16_t *assoc_tag, const void *payload, uint32_t payload_len)
{
    if (count == nullptr || vdc_id == nullptr || assoc_type == nullptr || primary_vlan == nullptr ||
        assoc_tag == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *results = nullptr;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader whole(payload, payload_len);
    if (!whole.has(Rep::kEntriesOff, RepEntry::kHeadLen))
        return VLAN_MGR_ERR_TRUNCATED;
    const wire::Reader r = whole.sub(Rep::kEntriesOff);
    const uint32_t n = RepEntry::count.get(r);
    if (!has_span(r, RepEntry::pairs.off, RepEntry::pairs.end(n) - RepEntry::pairs.off))
        return VLAN_MGR_ERR_TRUNCATED;
    *vdc_id = RepEntry::vdc_id.get(r);
    *assoc_type = RepEntry::type.get(r);
    *primary_vlan = RepEntry::primary.get(r);
    *assoc_tag = RepEntry::tag.get(r);
    *count = n;
    if (const uint32_t st = decode_pairs(r, RepEntry::pairs, n, results); st != VLAN_MGR_OK)
        return st;
    return RepEntry::status.get(r);
}

// Multi reply: cookie, status, n, then n entries from offset 12, each a
// 20-byte head (status, VDC id, type, primary, tag, k) and k pairs.

uint32_t parse_multi(uint16_t *vdc_id, uint32_t *cookie, uint32_t *assoc_type, uint32_t *total,
                     vlan_assoc_result_t **results, const void *payload, uint32_t payload_len)
{
    if (vdc_id == nullptr || cookie == nullptr || assoc_type == nullptr || total == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *results = nullptr;
    *total = 0;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Rep::kEntriesOff))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = Rep::word2.get(r);

    // First pass: every entry head and its pairs lie inside the payload; sum
    // the pairs. Each entry takes at least 20 bytes, so a count that points
    // beyond the payload ends the pass early.
    uint64_t pairs = 0;
    uint64_t off = Rep::kEntriesOff;
    for (uint32_t i = 0; i < n; ++i) {
        if (!has_span(r, off, RepEntry::kHeadLen))
            return VLAN_MGR_ERR_TRUNCATED;
        const wire::Reader e = r.sub(static_cast<size_t>(off));
        const uint32_t k = RepEntry::count.get(e);
        if (!has_span(e, RepEntry::pairs.off, RepEntry::pairs.end(k) - RepEntry::pairs.off))
            return VLAN_MGR_ERR_TRUNCATED;
        pairs += k;
        off += RepEntry::pairs.end(k);
    }

    *cookie = Rep::magic.get(r);
    const wire::Reader first = r.sub(Rep::kEntriesOff);
    *vdc_id = n != 0 ? RepEntry::vdc_id.get(first) : 0;
    *assoc_type = n != 0 ? RepEntry::type.get(first) : 0;
    const std::optional<size_t> size = checked_size(pairs, sizeof(vlan_assoc_result_t), 0);
    auto *out = size ? static_cast<vlan_assoc_result_t *>(std::malloc(*size)) : nullptr;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;

    using Pair = layout::config::Pair;
    size_t written = 0;
    off = Rep::kEntriesOff;
    for (uint32_t i = 0; i < n && written < pairs; ++i) {
        const wire::Reader e = r.sub(static_cast<size_t>(off));
        const uint32_t k = RepEntry::count.get(e);
        const uint32_t primary = RepEntry::primary.get(e);
        for (uint32_t j = 0; j < k; ++j, ++written) {
            const wire::Reader pair = RepEntry::pairs.entry(e, j);
            out[written] = {Pair::vlan_id.get(pair), primary, Pair::status.get(pair)};
        }
        off += RepEntry::pairs.end(k);
    }
    // *total goes with the array, so that a failed allocation leaves the
    // caller no count to walk a NULL array with. At most payload_len / 8.
    *results = out;
    *total = static_cast<uint32_t>(pairs);
    return Rep::word1.get(r);
}

} // namespace
} // namespace vlan_mgr::config

using namespace vlan_mgr;
using namespace vlan_mgr::config;

extern "C" {

uint32_t vlan_association_build_mts(uint16_t vdc_id, int32_t primary_vlan, const vlan_bitmap *bitmap,
                                    int32_t assoc_type, uint16_t assoc_tag, void **payload, uint32_t *payload_len)
{
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (bitmap == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (!assoc_type_ok(assoc_type))
        return VLAN_MGR_ERR_ASSOC_TYPE;
    if (names_primary(assoc_type)) // a negative id is out of range as an unsigned one
        if (const uint32_t st = check_primary(static_cast<uint32_t>(primary_vlan)); st != VLAN_MGR_OK)
            return st;
    const uint32_t count = bitmap::count(bitmap->bits);
    if (count == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (default_vlan_set(bitmap->bits))
        return VLAN_MGR_ERR_DEFAULT_VLAN;

    uint8_t *p = alloc_payload(payload, payload_len, Req::kSingleLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, Req::kSingleLen);
    Req::magic.put(w, Req::kMagic);
    Req::n.put(w, 1);
    write_entry(w, 0, assoc_tag, vdc_id, assoc_type, static_cast<uint32_t>(primary_vlan), bitmap->bits, count);
    return VLAN_MGR_OK;
}

uint32_t vlan_association_build_mts_local(int32_t primary_vlan, const vlan_bitmap *bitmap, int32_t assoc_type,
                                          uint16_t assoc_tag, void **payload, uint32_t *payload_len)
{
    return vlan_association_build_mts(vlan_mgr_local_vdc_get(), primary_vlan, bitmap, assoc_type, assoc_tag,
                                      payload, payload_len);
}

uint32_t vlan_association_multi_build_mts(uint16_t vdc_id, uint32_t cookie, uint16_t assoc_tag, int32_t assoc_type,
                                          uint32_t n, const uint32_t *primary_vlans, const vlan_bitmap *bitmaps,
                                          void **payload, uint32_t *payload_len)
{
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (bitmaps == nullptr || primary_vlans == nullptr || n == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (n > kMaxAssoc)
        return VLAN_MGR_ERR_TOO_MANY_ASSOC;
    if (n > 1 && !names_primary(assoc_type))
        return VLAN_MGR_ERR_MULTI_ASSOC_TYPE;
    if (!assoc_type_ok(assoc_type))
        return VLAN_MGR_ERR_ASSOC_TYPE;
    if (names_primary(assoc_type))
        for (uint32_t i = 0; i < n; ++i)
            if (const uint32_t st = check_primary(primary_vlans[i]); st != VLAN_MGR_OK)
                return st;
    for (uint32_t i = 0; i < n; ++i) {
        if (default_vlan_set(bitmaps[i].bits))
            return VLAN_MGR_ERR_DEFAULT_VLAN;
        if (bitmap::count(bitmaps[i].bits) == 0)
            return VLAN_MGR_ERR_INVALID_ARG;
    }

    const std::optional<size_t> size = checked_size(n, Entry::kLen, Req::entries.off);
    if (!size || *size > UINT32_MAX) {
        *payload = nullptr;
        return VLAN_MGR_ERR_NO_MEMORY;
    }
    uint8_t *p = alloc_payload(payload, payload_len, static_cast<uint32_t>(*size));
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, *size);
    Req::magic.put(w, cookie);
    Req::n.put(w, n);
    for (uint32_t i = 0; i < n; ++i)
        write_entry(w, i, assoc_tag, vdc_id, assoc_type, primary_vlans[i], bitmaps[i].bits,
                    bitmap::count(bitmaps[i].bits));
    return VLAN_MGR_OK;
}

uint32_t vlan_association_multi_build_mts_local(uint32_t cookie, uint16_t assoc_tag, int32_t assoc_type, uint32_t n,
                                                const uint32_t *primary_vlans, const vlan_bitmap *bitmaps,
                                                void **payload, uint32_t *payload_len)
{
    return vlan_association_multi_build_mts(vlan_mgr_local_vdc_get(), cookie, assoc_tag, assoc_type, n,
                                            primary_vlans, bitmaps, payload, payload_len);
}

uint32_t vlan_association_parse_reply(vlan_delete_result_t **results, uint32_t *count, uint16_t *vdc_id,
                                      uint32_t *assoc_type, uint32_t *primary_vlan, uint16_t *assoc_tag,
                                      const void *payload, uint32_t payload_len)
{
    return parse_single(results, count, vdc_id, assoc_type, primary_vlan, assoc_tag, payload, payload_len);
}

uint32_t vlan_association_parse_reply_local(vlan_delete_result_t **results, uint32_t *count, uint32_t *assoc_type,
                                            uint32_t *primary_vlan, uint16_t *assoc_tag, const void *payload,
                                            uint32_t payload_len)
{
    uint16_t vdc_id;
    return vlan_association_parse_reply(results, count, &vdc_id, assoc_type, primary_vlan, assoc_tag, payload,
                                        payload_len);
}

uint32_t vlan_association_multi_parse_reply(uint16_t *vdc_id, uint32_t *cookie, uint32_t *assoc_type,
                                            uint32_t *total, vlan_assoc_result_t **results, const void *payload,
                                            uint32_t payload_len)
{
    return parse_multi(vdc_id, cookie, assoc_type, total, results, payload, payload_len);
}

uint32_t vlan_association_multi_parse_reply_local(uint32_t *cookie, uint32_t *assoc_type, uint32_t *total,
                                                  vlan_assoc_result_t **results, const void *payload,
                                                  uint32_t payload_len)
{
    uint16_t vdc_id;
    return vlan_association_multi_parse_reply(&vdc_id, cookie, assoc_type, total, results, payload, payload_len);
}
}
