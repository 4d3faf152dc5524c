// Port membership queries: one request (a list of ports) under five names,
// and a parser per reply layout: active and voice VLANs, membership records,
// trunking bitmaps, active trunking bitmaps, and the VLAN check over a
// trunking reply.
#include <cstdlib>
#include <cstring>

#include "frame/reply.h"
#include "membership/layout.h"
#include "membership/memb_common.h"

namespace vlan_mgr::memb {
namespace {

namespace L = layout::memb;

// Request: the port count, then each port's if-index. Every byte is written.
uint32_t build_ports(const uint32_t *if_indexes, uint32_t count, void **payload, uint32_t *payload_len)
{
    if (if_indexes == nullptr || count == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    size_t size = 0;
    uint8_t *p = alloc_counted_payload(payload, payload_len, count, 4, 4, &size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    using Req = L::PortListRequest;
    wire::Writer w(p, size, wire::Writer::EveryByte{}); // no gap between the fields
    Req::count.put(w, count);
    for (uint32_t i = 0; i < count; ++i) {
        wire::Writer e = Req::ports.entry(w, i);
        Req::if_index.put(e, if_indexes[i]);
    }
    return VLAN_MGR_OK;
}

// What sets the single-array parsers apart.
enum class OnStatus { stop, parse };      // a non-zero reply status stops parsing, or is returned after it
enum class OnNoMemory { reset, keep };    // the out count after a failed allocation

// Status, count, then `count` entries of the reply layout `Rep`, each turned
// into one `Rec` by `fill(rec, entry)`.
template <typename Rec, typename Rep, OnStatus S, OnNoMemory M, typename Fill>
uint32_t parse_ports(void **records, uint32_t *count, const void *payload, uint32_t payload_len, Fill fill)
{
    if (count == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *count = 0;
    *records = nullptr;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(Rep::status.off, Rep::status.width))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t status = Rep::status.get(r);
    if (S == OnStatus::stop && status != 0)
        return status;
    if (!r.has(Rep::count.off, Rep::count.width))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = Rep::count.get(r);
    if (n == 0)
        return VLAN_MGR_ERR_NO_ENTRIES;
    if (!has_span(r, Rep::entries.off, uint64_t{n} * Rep::entries.stride))
        return VLAN_MGR_ERR_TRUNCATED;
    *count = n;
    const std::optional<size_t> size = checked_size(n, sizeof(Rec), 0);
    Rec *out = size ? static_cast<Rec *>(std::malloc(*size)) : nullptr;
    *records = out;
    if (out == nullptr) {
        if (M == OnNoMemory::reset)
            *count = 0;
        return VLAN_MGR_ERR_NO_MEMORY;
    }
    for (uint32_t i = 0; i < n; ++i)
        fill(out[i], Rep::entries.entry(r, i));
    return S == OnStatus::stop ? VLAN_MGR_OK : status;
}

// A bitmap field of a result record at `field` (records are packed, so the
// field is addressed as bytes): length 512, then the 512 bytes.
inline void copy_bitmap(uint8_t *field, const uint8_t *bits)
{
    wire::put_host_u32(field, 0, static_cast<uint32_t>(bitmap::kBytes));
    std::memcpy(field + 4, bits, bitmap::kBytes);
}

template <typename Rec>
inline uint8_t *field_at(Rec &rec, size_t off)
{
    return reinterpret_cast<uint8_t *>(&rec) + off;
}

using PV = L::PortVlanReply;
using PM = L::PortMembReply;
using PT = L::PortTrunkingReply;
using PA = L::PortActiveTrunkingReply;

void fill_port_vlan_local(port_vlan_local &rec, const wire::Reader &e)
{
    rec.if_index = PV::if_index.get(e);
    rec.vlan_id = PV::vlan.vlan_id.get(e);
}

void fill_port_vdc_vlan(port_vdc_vlan &rec, const wire::Reader &e)
{
    rec.if_index = PV::if_index.get(e);
    rec.vdc_vlan.vdc_id = PV::vlan.vdc_id.get(e);
    rec.vdc_vlan.vlan_id = PV::vlan.vlan_id.get(e);
}

void fill_port_memb_local(port_memb_local &rec, const wire::Reader &e)
{
    rec.if_index = PM::if_index.get(e);
    rec.word_1 = PM::word_1.get(e);
    rec.word_2 = PM::word_2.get(e);
    rec.vlan_a = PM::vlan_a.vlan_id.get(e);
    rec.vlan_b = PM::vlan_b.vlan_id.get(e);
}

void fill_port_memb(port_memb &rec, const wire::Reader &e)
{
    rec.if_index = PM::if_index.get(e);
    rec.word_1 = PM::word_1.get(e);
    rec.word_2 = PM::word_2.get(e);
    rec.vlan_a.vdc_id = PM::vlan_a.vdc_id.get(e);
    rec.vlan_a.vlan_id = PM::vlan_a.vlan_id.get(e);
    rec.vlan_b.vdc_id = PM::vlan_b.vdc_id.get(e);
    rec.vlan_b.vlan_id = PM::vlan_b.vlan_id.get(e);
}

void fill_trunking_local(port_trunking_memb_local &rec, const wire::Reader &e)
{
    rec.if_index = PT::if_index.get(e);
    rec.vlan_word_1 = PT::word_1.vlan_id.get(e);
    copy_bitmap(field_at(rec, offsetof(port_trunking_memb_local, bitmap_1)), PT::bitmap_1.bits(e));
    copy_bitmap(field_at(rec, offsetof(port_trunking_memb_local, bitmap_2)), PT::bitmap_2.bits(e));
    rec.vlan_word_2 = PT::word_2.vlan_id.get(e);
}

void fill_trunking(port_trunking_memb &rec, const wire::Reader &e)
{
    rec.if_index = PT::if_index.get(e);
    rec.vdc_id_1 = PT::word_1.vdc_id.get(e);
    rec.vlan_word_1 = PT::word_1.vlan_id.get(e);
    rec.bitmap_vdc_id = PT::bitmap_vdc_id.get(e);
    rec.reserved = 0; // not carried
    copy_bitmap(field_at(rec, offsetof(port_trunking_memb, bitmap_1)), PT::bitmap_1.bits(e));
    copy_bitmap(field_at(rec, offsetof(port_trunking_memb, bitmap_2)), PT::bitmap_2.bits(e));
    rec.vdc_id_2 = PT::word_2.vdc_id.get(e);
    rec.vlan_word_2 = PT::word_2.vlan_id.get(e);
}

// Active trunking reply: status, count N, N if-indexes, then N blocks of 520
// bytes (2 not read, VDC id, length not read, bitmap). The two arrays are
// allocated in turn; when the second fails the first is released with
// `release` (the two forms differ here).
template <typename Rec, bool WithVdc>
uint32_t parse_active_trunking(uint32_t **if_indexes, uint32_t *count, void **bitmaps, const void *payload,
                               uint32_t payload_len, void (*release)(void *))
{
    if (count == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, PA::kLen))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = PA::count.get(r);
    if (n == 0) {
        *count = 0;
        return VLAN_MGR_ERR_NO_ENTRIES;
    }
    // Each port takes its index and its block (in 64 bits: no count wraps).
    if (!has_span(r, PA::if_indexes.off, uint64_t{n} * (PA::if_indexes.stride + PA::kBlock)))
        return VLAN_MGR_ERR_TRUNCATED;
    const layout::List blocks = PA::blocks(n);
    *count = n;

    const std::optional<size_t> size1 = checked_size(n, 4, 0);
    auto *ids = size1 ? static_cast<uint32_t *>(std::malloc(*size1)) : nullptr;
    *if_indexes = ids;
    if (ids == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    const std::optional<size_t> size2 = checked_size(n, sizeof(Rec), 0);
    Rec *out = size2 ? static_cast<Rec *>(std::malloc(*size2)) : nullptr;
    *bitmaps = out;
    if (out == nullptr) {
        release(ids);
        *if_indexes = nullptr;
        *bitmaps = nullptr;
        *count = 0;
        return VLAN_MGR_ERR_NO_MEMORY;
    }

    for (uint32_t i = 0; i < n; ++i)
        ids[i] = PA::if_index.get(PA::if_indexes.entry(r, i));
    for (uint32_t i = 0; i < n; ++i) {
        const wire::Reader block = blocks.entry(r, i);
        if constexpr (WithVdc) {
            out[i].reserved[0] = 0;
            out[i].reserved[1] = 0;
            out[i].vdc_id = PA::vdc_id.get(block);
            copy_bitmap(field_at(out[i], offsetof(port_active_trunking, bitmap)), PA::bitmap.bits(block));
        } else {
            copy_bitmap(field_at(out[i], 0), PA::bitmap.bits(block));
        }
    }
    return PA::status.get(r);
}

void release_free(void *p) { std::free(p); }
void release_mtrack(void *p) { mtrack_free(p); }

} // namespace
} // namespace vlan_mgr::memb

using namespace vlan_mgr;
using namespace vlan_mgr::memb;

extern "C" {

uint32_t vlan_get_port_active_memb_build_mts(const uint32_t *if_indexes, uint32_t count, void **payload,
                                             uint32_t *payload_len)
{
    return build_ports(if_indexes, count, payload, payload_len);
}

uint32_t vlan_get_port_voice_vlan_memb_build_mts(const uint32_t *if_indexes, uint32_t count, void **payload,
                                                 uint32_t *payload_len)
{
    return build_ports(if_indexes, count, payload, payload_len);
}

uint32_t vlan_get_port_memb_build_mts(const uint32_t *if_indexes, uint32_t count, void **payload,
                                      uint32_t *payload_len)
{
    return build_ports(if_indexes, count, payload, payload_len);
}

uint32_t vlan_get_port_trunking_memb_build_mts(const uint32_t *if_indexes, uint32_t count, void **payload,
                                               uint32_t *payload_len)
{
    return build_ports(if_indexes, count, payload, payload_len);
}

uint32_t vlan_get_port_active_trunking_memb_build_mts(const uint32_t *if_indexes, uint32_t count, void **payload,
                                                      uint32_t *payload_len)
{
    return build_ports(if_indexes, count, payload, payload_len);
}

uint32_t vlan_get_port_active_memb_parse_reply_local(void **records, uint32_t *count, const void *payload,
                                                     uint32_t payload_len)
{
    return parse_ports<port_vlan_local, PV, OnStatus::stop, OnNoMemory::reset>(
        records, count, payload, payload_len, fill_port_vlan_local);
}

uint32_t vlan_get_port_active_memb_parse_reply(void **records, uint32_t *count, const void *payload,
                                               uint32_t payload_len)
{
    return parse_ports<port_vdc_vlan, PV, OnStatus::stop, OnNoMemory::reset>(
        records, count, payload, payload_len, fill_port_vdc_vlan);
}

uint32_t vlan_get_port_voice_vlan_memb_parse_reply(void **records, uint32_t *count, const void *payload,
                                                   uint32_t payload_len)
{
    return parse_ports<port_vdc_vlan, PV, OnStatus::stop, OnNoMemory::keep>(
        records, count, payload, payload_len, fill_port_vdc_vlan);
}

uint32_t vlan_get_port_memb_parse_reply_local(void **records, uint32_t *count, const void *payload,
                                              uint32_t payload_len)
{
    return parse_ports<port_memb_local, PM, OnStatus::parse, OnNoMemory::keep>(
        records, count, payload, payload_len, fill_port_memb_local);
}

uint32_t vlan_get_port_memb_parse_reply(void **records, uint32_t *count, const void *payload, uint32_t payload_len)
{
    return parse_ports<port_memb, PM, OnStatus::parse, OnNoMemory::keep>(records, count, payload,
                                                                                    payload_len, fill_port_memb);
}

uint32_t vlan_get_port_trunking_memb_parse_reply_local(void **records, uint32_t *count, const void *payload,
                                                       uint32_t payload_len)
{
    return parse_ports<port_trunking_memb_local, PT, OnStatus::stop, OnNoMemory::keep>(
        records, count, payload, payload_len, fill_trunking_local);
}

uint32_t vlan_get_port_trunking_memb_parse_reply(void **records, uint32_t *count, const void *payload,
                                                 uint32_t payload_len)
{
    return parse_ports<port_trunking_memb, PT, OnStatus::stop, OnNoMemory::keep>(
        records, count, payload, payload_len, fill_trunking);
}

uint32_t vlan_get_port_active_trunking_memb_parse_reply_local(uint32_t **if_indexes, uint32_t *count,
                                                              void **bitmaps, const void *payload,
                                                              uint32_t payload_len)
{
    return parse_active_trunking<port_active_trunking_local, false>(if_indexes, count, bitmaps, payload,
                                                                    payload_len, release_free);
}

uint32_t vlan_get_port_active_trunking_memb_parse_reply(uint32_t **if_indexes, uint32_t *count, void **bitmaps,
                                                        const void *payload, uint32_t payload_len)
{
    return parse_active_trunking<port_active_trunking, true>(if_indexes, count, bitmaps, payload, payload_len,
                                                             release_mtrack);
}

uint32_t vlan_get_port_trunking_memb_parse_reply_check_vlan_local(const void *payload, uint32_t payload_len,
                                                                 port_vlan_check_list *list)
{
    if (payload == nullptr || list == nullptr || list->count == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    void *parsed = nullptr;
    uint32_t n = 0;
    const uint32_t st = vlan_get_port_trunking_memb_parse_reply_local(&parsed, &n, payload, payload_len);
    if (st != VLAN_MGR_OK)
        return st;
    if (parsed == nullptr)
        return VLAN_MGR_ERR_NO_ENTRIES;
    if (n == 0) {
        std::free(parsed);
        return VLAN_MGR_ERR_NO_ENTRIES;
    }
    const auto *recs = static_cast<const port_trunking_memb_local *>(parsed);
    for (uint32_t j = 0; j < list->count; ++j) {
        port_vlan_check_entry &q = list->entries[j];
        q.in_bitmap = q.is_vlan_word_1 = q.is_vlan_word_2 = 0;
    }
    for (uint32_t j = 0; j < list->count; ++j) {
        port_vlan_check_entry &q = list->entries[j];
        for (uint32_t i = 0; i < n; ++i) {
            if (recs[i].if_index != q.if_index)
                continue;
            q.is_vlan_word_1 = q.vlan_id == recs[i].vlan_word_1 ? 1 : 0;
            q.is_vlan_word_2 = q.vlan_id == recs[i].vlan_word_2 ? 1 : 0;
            q.in_bitmap = bitmap::test(recs[i].bitmap_1.bits, q.vlan_id) ? 1 : 0;
            break;
        }
    }
    std::free(parsed);
    return VLAN_MGR_OK;
}
}
