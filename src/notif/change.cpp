// VLAN change notifications: the full and the _local parser, each a switch
// on the opcode over one generic decoder per shape (a counted list of
// fixed-size elements, one fixed record, one record with trailing interface
// indexes, the VLAN name records, the interface lists), and the cache-only
// wrapper. Every read is bounded by the payload's size, checked before
// anything is allocated or any cache entry changes.
#include <cstdlib>
#include <cstring>

#include <vlan_mgr/notif.h>

#include "bd_db/bd_cache_update.h"
#include "frame/exchange_layout.h"
#include "frame/payload.h"
#include "notif/layout.h"
#include "notif/notif_decode.h"

namespace vlan_mgr::notif {
namespace {

using wire::Reader;
namespace L = layout::notif;
using Decode = void (*)(uint8_t *out, const uint8_t *elem, const uint8_t *payload);

// A list of `count` elements of `stride` bytes from payload offset 0; the
// element's fields are read at offsets counted from stride * i, the last one
// read ending at `extent`.
struct Counted {
    uint32_t count_off;
    uint32_t stride;
    uint32_t extent;
    uint32_t rec_size;
    uint32_t nomem; // the code when the allocator fails
};

template <const Counted &F, Decode D>
uint32_t counted(const Reader &r, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    if (!r.has(F.count_off, 4))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = r.u32(F.count_off);
    if (n == 0)
        return kEmpty;
    if (!has_span(r, 0, uint64_t{F.stride} * (n - 1) + F.extent))
        return VLAN_MGR_ERR_TRUNCATED;
    const auto size = checked_size(n, F.rec_size, 0);
    if (!size)
        return VLAN_MGR_ERR_TRUNCATED;
    auto *out = static_cast<uint8_t *>(alloc(*size));
    if (out == nullptr)
        return F.nomem;
    *count = n;
    *records = out;
    const uint8_t *p = r.at(0);
    const uint8_t *e = p;
    for (uint32_t i = 0; i < n; ++i, out += F.rec_size, e += F.stride)
        D(out, e, p);
    return VLAN_MGR_OK;
}

// One record of `rec_size` bytes read from the first `extent` payload bytes.
template <uint32_t Extent, uint32_t RecSize, Decode D>
uint32_t single(const Reader &r, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    if (!r.has(0, Extent))
        return VLAN_MGR_ERR_TRUNCATED;
    auto *out = static_cast<uint8_t *>(alloc(RecSize));
    if (out == nullptr)
        return kAllocFailed;
    *count = 1;
    *records = out;
    D(out, r.at(0), r.at(0));
    return VLAN_MGR_OK;
}

// One record whose header (read from the first `Head` payload bytes, the
// count n of interface indexes at `NOff`) is followed by n interface indexes
// at payload `InIdx` + 4k, written at `OutIdx` + 4k.
template <uint32_t Head, uint32_t NOff, uint32_t InIdx, uint32_t OutIdx, Decode D>
uint32_t with_indexes(const Reader &r, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    if (!r.has(0, Head))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = r.u32(NOff);
    if (!has_span(r, InIdx, uint64_t{4} * n))
        return VLAN_MGR_ERR_TRUNCATED;
    const auto size = checked_size(n, 4, OutIdx);
    if (!size)
        return VLAN_MGR_ERR_TRUNCATED;
    auto *out = static_cast<uint8_t *>(alloc(*size));
    if (out == nullptr)
        return kAllocFailed;
    *count = 1;
    *records = out;
    const uint8_t *p = r.at(0);
    D(out, p, p);
    for (uint32_t k = 0; k < n; ++k)
        cif(out, OutIdx + 4 * size_t{k}, p, InIdx + 4 * size_t{k});
    return VLAN_MGR_OK;
}

// 0x5C21: VLAN name records of one size, 18 + A + B, taken from the first
// record; every record is stepped over and its texts copied with those
// lengths, while its header, its own A and B included, comes from its own
// input record.
uint32_t vlan_names(const Reader &r, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    using Rec = L::Names::Record;
    constexpr uint32_t kHead = Rec::kHead;
    constexpr size_t kFirst = L::Names::kRecordsOff;
    if (!r.has(L::Names::count.off, L::Names::count.width))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = L::Names::count.get(r);
    uint32_t a = 0, b = 0;
    uint64_t size = kHead;
    if (n != 0) {
        if (!r.has(kFirst, kHead))
            return VLAN_MGR_ERR_TRUNCATED;
        const Reader first = r.sub(kFirst);
        a = Rec::len_a.get(first);
        b = Rec::len_b.get(first);
        size += uint64_t{a} + b;
        if (size > (r.size() - kFirst) / n)
            return VLAN_MGR_ERR_TRUNCATED;
        // A record whose flag is set carries two 32-bit values instead of
        // texts.
        static_assert(Rec::value_b.end() - Rec::kHead == 8);
        for (uint32_t i = 0; i < n; ++i)
            if (r.u32(kFirst + i * size + Rec::flag.off) != 0 && uint64_t{a} + b < 8)
                return VLAN_MGR_ERR_TRUNCATED;
    }
    *count = n;
    if (n == 0)
        return kEmpty;
    const auto total = checked_size(n, size, 0);
    if (!total)
        return VLAN_MGR_ERR_TRUNCATED;
    auto *out = static_cast<uint8_t *>(alloc(*total));
    if (out == nullptr)
        return kAllocFailed;
    std::memset(out, 0, *total);
    *records = out;
    const uint8_t *e = r.at(kFirst);
    for (uint32_t i = 0; i < n; ++i, out += size, e += size) {
        // The record keeps the payload's layout, in host order.
        c16(out, Rec::vdc_id.off, e, Rec::vdc_id.off);
        c32(out, Rec::vlan_id.off, e, Rec::vlan_id.off);
        c32(out, Rec::flag.off, e, Rec::flag.off);
        c32(out, Rec::len_a.off, e, Rec::len_a.off);
        c32(out, Rec::len_b.off, e, Rec::len_b.off);
        if (wire::get_u32(e, Rec::flag.off) != 0) {
            c32(out, Rec::value_a.off, e, Rec::value_a.off);
            c32(out, Rec::value_b.off, e, Rec::value_b.off);
        } else {
            // Texts are copied up to their first NUL; the rest stays zero.
            std::memcpy(out + kHead, e + kHead, strnlen(reinterpret_cast<const char *>(e + kHead), a));
            std::memcpy(out + kHead + a, e + kHead + a,
                        strnlen(reinterpret_cast<const char *>(e + kHead + a), b));
        }
    }
    return VLAN_MGR_OK;
}

// 0x5C25: records of six 32-bit words and (w3 + w4 + w5) interface indexes.
// The _local form drops the 16-bit VDC id at record offset 6.
template <bool Local>
uint32_t if_lists(const Reader &r, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    constexpr uint32_t kHead = 24, kOutHead = Local ? 22 : 24;
    if (!r.has(0, 4))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = r.u32(0);
    uint64_t total = 0;
    size_t pos = 4;
    for (uint32_t i = 0; i < n; ++i) {
        if (!r.has(pos, kHead))
            return VLAN_MGR_ERR_TRUNCATED;
        const uint64_t m = uint64_t{r.u32(pos + 12)} + r.u32(pos + 16) + r.u32(pos + 20);
        if (!has_span(r, pos, kHead + 4 * m))
            return VLAN_MGR_ERR_TRUNCATED;
        pos += static_cast<size_t>(kHead + 4 * m);
        total += kOutHead + 4 * m; // bounded by the payload's size
    }
    if (total == 0)
        return kEmpty;
    if (total > SIZE_MAX)
        return VLAN_MGR_ERR_TRUNCATED;
    auto *out = static_cast<uint8_t *>(alloc(static_cast<size_t>(total)));
    if (out == nullptr)
        return kAllocFailed;
    *count = n;
    *records = out;
    const uint8_t *e = r.at(4);
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t m = wire::get_u32(e, 12) + wire::get_u32(e, 16) + wire::get_u32(e, 20);
        c32(out, 0, e, 0);
        c16(out, 4, e, 4);
        size_t o = 6;
        if (!Local) {
            c16(out, 6, e, 6);
            o = 8;
        }
        for (size_t w = 8; w < kHead; w += 4, o += 4)
            c32(out, o, e, w);
        for (uint32_t k = 0; k < m; ++k)
            cif(out, kOutHead + 4 * size_t{k}, e, kHead + 4 * size_t{k});
        out += kOutHead + 4 * size_t{m};
        e += kHead + 4 * size_t{m};
    }
    return VLAN_MGR_OK;
}

// ---- Element decoders --------------------------------------------------------

// The request-response replies (layouts in frame/exchange_layout.h).
namespace X = layout::exchange;
using RE = X::ReqRespReply::Entry;
constexpr size_t r16(size_t field_off) { return L::in_first(X::kReqResp16Reply.entries, field_off); }
constexpr size_t r30(size_t field_off) { return L::in_first(X::kReqResp30Reply.entries, field_off); }

void d5c03(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    c16(o, 0, e, r16(RE::first16.off));
    c32(o, 2, e, r16(RE::first32.off));
    c16(o, 6, e, r16(RE::second16.off));
    c32(o, 8, e, r16(RE::second32.off));
    c32(o, 12, e, r16(RE::word12.off));
}

void d5c03_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    c16(o, 0, e, r16(RE::first16.off));
    c32(o, 2, e, r16(RE::first32.off));
    c32(o, 6, e, r16(RE::second32.off));
    c32(o, 10, e, r16(RE::word12.off));
}

// The BD cache update of one record: the entry point reports a VLAN id out
// of range, makes the VDC's block or drops the update while the cache is off.
inline void set_entry(uint16_t vdc, uint32_t vlan, uint16_t bd) { vlan_mgr_set_bd_cache_entry(vdc, vlan, bd); }

// Payload offsets of the fields of list entry 0 (entry i: + stride * i).
using CE = L::Create::Entry;
constexpr size_t ce(size_t field_off) { return L::in_first(L::Create::entries, field_off); }
using DE = L::Delete::Entry;
constexpr size_t de(size_t field_off) { return L::in_first(L::Delete::entries, field_off); }
using PE = L::PortMembership::Entry;
constexpr size_t pe(size_t field_off) { return L::in_first(L::PortMembership::entries, field_off); }
using BE = L::BdChange::Entry;
constexpr size_t be(size_t field_off) { return L::in_first(L::BdChange::entries, field_off); }
using TC = L::TypeChange;

// The fields that are converted together lie side by side.
static_assert(CE::type.off == CE::bd_id.off + 2 && CE::field7.off == CE::bd_id.off + 4 &&
              CE::vdc_id.off == CE::bd_id.off + 6);
static_assert(CE::primary.off == CE::vlan_id.off + 4 && CE::segment.off == CE::mode.off + 4 &&
              CE::state.off == CE::options.off + 4);

// A created VLAN: its BD id goes into the cache.
void d5c1d(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    c16x4(o, 0, e, ce(CE::bd_id.off));    // bd_id, v2, v4, vdc_id
    c32x2(o, 8, e, ce(CE::vlan_id.off));  // vlan_id, v12
    c32x2(o, 20, e, ce(CE::mode.off));    // v20, v24
    c32x2(o, 28, e, ce(CE::options.off)); // v28, v32
    c32(o, 36, e, ce(CE::field36.off));
    set_entry(wire::get_u16(e, ce(CE::vdc_id.off)), wire::get_u32(e, ce(CE::vlan_id.off)),
              wire::get_u16(e, ce(CE::bd_id.off)));
}

void d5c1d_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    c16(o, 0, e, ce(CE::bd_id.off));
    c16(o, 2, e, ce(CE::type.off));
    c16(o, 4, e, ce(CE::field7.off));
    c32(o, 6, e, ce(CE::vlan_id.off));
    c32(o, 10, e, ce(CE::primary.off));
    c32(o, 14, e, ce(CE::mode.off));
    c32(o, 18, e, ce(CE::segment.off));
    c32(o, 22, e, ce(CE::options.off));
    c32(o, 26, e, ce(CE::state.off));
    set_entry(wire::get_u16(e, ce(CE::vdc_id.off)), wire::get_u32(e, ce(CE::vlan_id.off)),
              wire::get_u16(e, ce(CE::bd_id.off)));
}

// A deleted VLAN: its cache entry is cleared.
void d5c22(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    c16(o, 0, e, de(DE::bd_id.off));
    c16(o, 2, e, de(DE::vdc_id.off));
    c32(o, 4, e, de(DE::vlan_id.off));
    c32(o, 8, e, de(DE::type.off));
    vlan_mgr_invalidate_bd_cache_entry(wire::get_u16(e, de(DE::vdc_id.off)),
                                       static_cast<int32_t>(wire::get_u32(e, de(DE::vlan_id.off))));
}

void d5c22_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    c16(o, 0, e, de(DE::bd_id.off));
    c32(o, 2, e, de(DE::vlan_id.off));
    c32(o, 6, e, de(DE::type.off));
    vlan_mgr_invalidate_bd_cache_entry(wire::get_u16(e, de(DE::vdc_id.off)),
                                       static_cast<int32_t>(wire::get_u32(e, de(DE::vlan_id.off))));
}

void d5c24(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    c16(o, 2, e, pe(PE::vdc_id.off));
    cif(o, 4, e, pe(PE::if_index.off));
    c32(o, 8, e, pe(PE::mode.off));
    cbm(o, 12, e, pe(PE::configured.bits_off()));
    cbm(o, 528, e, pe(PE::active.bits_off()));
}

void d5c24_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    cif(o, 0, e, pe(PE::if_index.off));
    c32(o, 4, e, pe(PE::mode.off));
    cbm(o, 8, e, pe(PE::configured.bits_off()));
}

void d5c28(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    cif(o, 0, e, 4);
    c32(o, 4, e, 8);
    c16(o, 8, e, 12);
    c16(o, 10, e, 14);
    c32(o, 12, e, 16);
    c32(o, 16, e, 20);
    cbm(o, 20, e, 28);
    cbm(o, 536, e, 544);
    cbm(o, 1052, e, 1060);
}

void d5c28_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    cif(o, 0, e, 4);
    c32(o, 4, e, 8);
    c16(o, 8, e, 12);
    c32(o, 10, e, 16);
    c32(o, 14, e, 20);
    cbm(o, 18, e, 28);
    cbm(o, 534, e, 544);
    cbm(o, 1050, e, 1060);
}

// Element i at payload 4 + 30i.
void d5c29(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    c16(o, 0, e, r30(RE::first16.off));
    c32(o, 2, e, r30(RE::first32.off));
    c16(o, 6, e, r30(RE::second16.off));
    c32(o, 8, e, r30(RE::second32.off));
    c32(o, 12, e, r30(RE::word12.off));
    c32(o, 16, e, r30(RE::word16.off));
    c32(o, 20, e, r30(RE::word20.off));
    std::memset(o + 24, 0, 2); // the half word at 24 is not read
    c32(o, 26, e, r30(RE::word26.off));
}

// BD ids of the VDC at payload 2.
void d5c2b(uint8_t *o, const uint8_t *e, const uint8_t *p)
{
    c32(o, 0, e, be(BE::vlan_id.off));
    c16(o, 4, e, be(BE::bd_id.off));
    c16(o, 6, e, be(BE::field6.off));
    set_entry(wire::get_u16(p, L::BdChange::vdc_id.off), wire::get_u32(e, be(BE::vlan_id.off)),
              wire::get_u16(e, be(BE::bd_id.off)));
}

void d5c2c(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    cif(o, 0, e, 8);
    c16(o, 4, e, 12);
    c32(o, 6, e, 14);
    c16(o, 10, e, 1054);
    c32(o, 12, e, 1056);
    cbm(o, 16, e, 26);
}

void d5c2c_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    cif(o, 0, e, 8);
    c32(o, 4, e, 14);
    c32(o, 8, e, 1056);
    cbm(o, 12, e, 26);
}

void d5c1e(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    c16(o, 0, p, 0);
    c32(o, 2, p, 2);
    c16(o, 6, p, 6);
    c32(o, 8, p, 8);
    c32(o, 12, p, 12);
    c32(o, 16, p, 16);
}

void d5c1e_local(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    c32(o, 0, p, 2);
    c32(o, 4, p, 8);
    c32(o, 8, p, 12);
    c32(o, 12, p, 16);
}

void d5c1f(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    c16(o, 0, p, 0);
    for (size_t k = 0; k < 4; ++k)
        cbm(o, 2 + 516 * k, p, 6 + 516 * k);
}

void d5c1f_local(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    for (size_t k = 0; k < 4; ++k)
        cbm(o, 516 * k, p, 6 + 516 * k);
}

void d5c20(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    c16(o, 0, p, 0);
    c32(o, 4, p, 4);
    cbm(o, 8, p, 12);
}

void d5c20_local(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    c32(o, 0, p, 4);
    cbm(o, 4, p, 12);
}

void d5c26(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    c16(o, 0, p, TC::vdc_id.off);
    c32(o, 2, p, TC::vlan_id.off);
    c32(o, 6, p, TC::type.off);
    c32(o, 10, p, TC::primary.off);
}

void d5c26_local(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    c32(o, 0, p, TC::vlan_id.off);
    c32(o, 4, p, TC::type.off);
    c32(o, 8, p, TC::primary.off);
}

void d5c4e(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    c16(o, 0, p, 0);
    c32(o, 2, p, 2);
    c32(o, 6, p, 6);
}

// ---- The lists: count word, stride, bytes read of the last element, record
// size, code of an allocator failure ------------------------------------------

constexpr Counted k5c03{X::kReqResp16Reply.count.off, X::kReqResp16Reply.entries.stride, r16(RE::word12.end()), 16,
                        kAllocFailed};
constexpr Counted k5c03_local{X::kReqResp16Reply.count.off, X::kReqResp16Reply.entries.stride,
                              r16(RE::word12.end()), 14, kAllocFailed};
constexpr Counted k5c1d{L::Create::count.off, L::Create::entries.stride, ce(CE::field36.end()), 40, kAllocFailed};
constexpr Counted k5c1d_local{L::Create::count.off, L::Create::entries.stride, ce(CE::state.end()), 34,
                              kAllocFailed};
constexpr Counted k5c22{L::Delete::count.off, L::Delete::entries.stride, de(DE::type.end()), 12, kAllocFailed};
constexpr Counted k5c22_local{L::Delete::count.off, L::Delete::entries.stride, de(DE::type.end()), 10,
                              kAllocFailed};
constexpr Counted k5c24{L::PortMembership::count.off, L::PortMembership::entries.stride, pe(PE::active.end()), 1044,
                        kAllocFailed};
constexpr Counted k5c24_local{L::PortMembership::count.off, L::PortMembership::entries.stride,
                              pe(PE::configured.end()), 524, kAllocFailed};
constexpr Counted k5c28{0, 1568, 1572, 1568, kAllocFailed};
constexpr Counted k5c28_local{0, 1568, 1572, 1568, kAllocFailed};
constexpr Counted k5c29{X::kReqResp30Reply.count.off, X::kReqResp30Reply.entries.stride, r30(RE::word26.end()), 30,
                        kAllocFailed};
constexpr Counted k5c2b{L::BdChange::count.off, L::BdChange::entries.stride, be(BE::field6.end()), 8, kAllocFailed};
constexpr Counted k5c2c{4, 1052, 1060, 532, VLAN_MGR_ERR_NO_MEMORY};
constexpr Counted k5c2c_local{4, 1052, 1060, 528, VLAN_MGR_ERR_NO_MEMORY};

using Handler = uint32_t (*)(const Reader &, void **, uint32_t *, vlan_mgr_notif_alloc_fn);

Handler full_handler(uint32_t opcode)
{
    switch (opcode) {
    case 0x5C03: return counted<k5c03, d5c03>;
    case 0x5C1D: return counted<k5c1d, d5c1d>;
    case 0x5C1E:
    case 0x5C23: return with_indexes<20, 16, 20, 20, d5c1e>;
    case 0x5C1F: return single<2066, 2066, d5c1f>;
    case 0x5C20: return single<524, 524, d5c20>;
    case 0x5C21: return vlan_names;
    case 0x5C22: return counted<k5c22, d5c22>;
    case 0x5C24: return counted<k5c24, d5c24>;
    case 0x5C25: return if_lists<false>;
    case 0x5C26: return single<TC::kSize, 14, d5c26>;
    case 0x5C28: return counted<k5c28, d5c28>;
    case 0x5C29: return counted<k5c29, d5c29>;
    case 0x5C2B: return counted<k5c2b, d5c2b>;
    case 0x5C2C: return counted<k5c2c, d5c2c>;
    case 0x5C4E:
    case 0x5C4F: return with_indexes<10, 6, 10, 10, d5c4e>;
    default: return nullptr;
    }
}

Handler local_handler(uint32_t opcode)
{
    switch (opcode) {
    case 0x5C03: return counted<k5c03_local, d5c03_local>;
    case 0x5C1D: return counted<k5c1d_local, d5c1d_local>;
    case 0x5C1E:
    case 0x5C23: return with_indexes<20, 16, 20, 16, d5c1e_local>;
    case 0x5C1F: return single<2066, 2064, d5c1f_local>;
    case 0x5C20: return single<524, 520, d5c20_local>;
    case 0x5C21: return vlan_names;
    case 0x5C22: return counted<k5c22_local, d5c22_local>;
    case 0x5C24:
    case 0x5C38: return counted<k5c24_local, d5c24_local>;
    case 0x5C25: return if_lists<true>;
    case 0x5C26: return single<TC::kSize, 12, d5c26_local>;
    case 0x5C28: return counted<k5c28_local, d5c28_local>;
    case 0x5C2B: return counted<k5c2b, d5c2b>;
    case 0x5C2C: return counted<k5c2c_local, d5c2c_local>;
    default: return nullptr;
    }
}

// The steps both parsers share: clear the outs, refuse a missing allocator
// and an opcode outside the range or not handled, then decode.
uint32_t parse(const mts_msg_hdl_t *msg, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc,
               uint32_t last_opcode, Handler (*handler_of)(uint32_t))
{
    *count = 0;
    *records = nullptr;
    if (alloc == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    const uint32_t opcode = mts_opc_get(msg);
    const Reader r = payload_of(msg);
    if (opcode < VLAN_MGR_NOTIF_FIRST_OPC || opcode > last_opcode)
        return VLAN_MGR_ERR_INVALID_ARG;
    const Handler h = handler_of(opcode);
    if (h == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    return h(r, records, count, alloc);
}

} // namespace
} // namespace vlan_mgr::notif

using namespace vlan_mgr::notif;

extern "C" {

uint32_t vlan_mgr_parse_notification_msg(const struct mts_msg_hdl *msg, void **records, uint32_t *count,
                                         vlan_mgr_notif_alloc_fn alloc)
{
    return parse(msg, records, count, alloc, VLAN_MGR_NOTIF_LAST_OPC, full_handler);
}

uint32_t vlan_mgr_parse_notification_msg_local(const struct mts_msg_hdl *msg, void **records, uint32_t *count,
                                               vlan_mgr_notif_alloc_fn alloc)
{
    return parse(msg, records, count, alloc, VLAN_MGR_NOTIF_LAST_LOCAL_OPC, local_handler);
}

uint32_t vlan_mgr_update_bd_cache_local(const struct mts_msg_hdl *msg)
{
    if (msg == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    void *records = nullptr;
    uint32_t count = 0;
    const uint32_t rc = vlan_mgr_parse_notification_msg_local(msg, &records, &count, std::malloc);
    if (records != nullptr)
        std::free(records);
    return rc;
}

} // extern "C"
