// VLAN change notifications: the full and the _local parser, each a switch
// on the opcode over one generic decoder per shape (a counted list of
// fixed-size elements, one fixed record, one record with trailing interface
// indexes, the VLAN name records, the interface lists), and the cache-only
// wrapper. Every read is bounded by the payload's size, checked before
// anything is allocated or any cache entry changes.
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <type_traits>

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

// A list of `count` elements of `stride` bytes from payload offset 0 (the
// count word among them); the element's fields are read at offsets counted
// from stride * i, the last one read ending at `extent`.
struct Counted {
    layout::U32 count;
    uint32_t stride;
    uint32_t extent;
    uint32_t rec_size;
    uint32_t nomem; // the code when the allocator fails
};

template <const Counted &F, Decode D>
uint32_t counted(const Reader &r, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    if (!r.has(F.count.off, F.count.width))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = F.count.get(r);
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

// One record whose header (the first `head` payload bytes, the count n of
// interface indexes in it) is followed by n interface indexes (`in`), written
// into the record from `out_off` on, `out_width` bytes each.
struct Indexed {
    size_t head;
    layout::U32 n;
    layout::List in;
    size_t out_off;
    size_t out_width;
};

template <const Indexed &F, Decode D>
uint32_t with_indexes(const Reader &r, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    if (!r.has(0, F.head))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = F.n.get(r);
    if (!has_span(r, F.in.off, uint64_t{F.in.stride} * n))
        return VLAN_MGR_ERR_TRUNCATED;
    const auto size = checked_size(n, F.out_width, F.out_off);
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
        cif(out, F.out_off + F.out_width * size_t{k}, p, F.in.off + F.in.stride * size_t{k});
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
        constexpr uint64_t kValues = Rec::value_b.end() - Rec::kHead;
        for (uint32_t i = 0; i < n; ++i)
            if (r.u32(kFirst + i * size + Rec::flag.off) != 0 && uint64_t{a} + b < kValues)
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

// 0x5C25: records of six 32-bit words and (n3 + n4 + n5) interface indexes.
// The _local form drops the 16-bit VDC id.
template <bool Local>
uint32_t if_lists(const Reader &r, void **records, uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    using Rec = L::IfLists::Record;
    using O = std::conditional_t<Local, vlan_mgr_notif_if_lists_local_t, vlan_mgr_notif_if_lists_t>;
    constexpr size_t kHead = Rec::kHead, kIn = Rec::if_indexes.stride;
    constexpr size_t kOutHead = offsetof(O, if_index), kOut = sizeof(uint32_t);
    static_assert(kOutHead == sizeof(O) && Rec::if_indexes.off == kHead);
    if (!r.has(L::IfLists::count.off, L::IfLists::count.width))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = L::IfLists::count.get(r);
    uint64_t total = 0;
    size_t pos = L::IfLists::kRecordsOff;
    for (uint32_t i = 0; i < n; ++i) {
        if (!r.has(pos, kHead))
            return VLAN_MGR_ERR_TRUNCATED;
        const uint64_t m = uint64_t{r.u32(pos + Rec::n3.off)} + r.u32(pos + Rec::n4.off) + r.u32(pos + Rec::n5.off);
        if (!has_span(r, pos, kHead + kIn * m))
            return VLAN_MGR_ERR_TRUNCATED;
        pos += static_cast<size_t>(kHead + kIn * m);
        total += kOutHead + kOut * m; // bounded by the payload's size
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
    const uint8_t *e = r.at(L::IfLists::kRecordsOff);
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t m =
            wire::get_u32(e, Rec::n3.off) + wire::get_u32(e, Rec::n4.off) + wire::get_u32(e, Rec::n5.off);
        c32(out, offsetof(O, w0), e, Rec::w0.off);
        c16(out, offsetof(O, v4), e, Rec::v4.off);
        if constexpr (!Local)
            c16(out, offsetof(O, vdc_id), e, Rec::vdc_id.off);
        c32(out, offsetof(O, w2), e, Rec::w2.off);
        c32(out, offsetof(O, n3), e, Rec::n3.off);
        c32(out, offsetof(O, n4), e, Rec::n4.off);
        c32(out, offsetof(O, n5), e, Rec::n5.off);
        for (uint32_t k = 0; k < m; ++k)
            cif(out, kOutHead + kOut * size_t{k}, e, Rec::if_indexes.off + kIn * size_t{k});
        out += kOutHead + kOut * size_t{m};
        e += kHead + kIn * size_t{m};
    }
    return VLAN_MGR_OK;
}

// ---- Element decoders --------------------------------------------------------
// Input offsets come from the layouts (notif/layout.h, frame/exchange_layout.h),
// output offsets from the public record types (vlan_mgr/notif.h).

// The k-th of the VLAN bitmaps that lie side by side from `first`.
constexpr size_t nth_bitmap(size_t first, size_t k) { return first + k * sizeof(vlan_bitmap); }

// The request-response replies (layouts in frame/exchange_layout.h).
namespace X = layout::exchange;
using RE = X::ReqRespReply::Entry;
constexpr size_t r16(size_t field_off) { return L::in_first(X::kReqResp16Reply.entries, field_off); }
constexpr size_t r30(size_t field_off) { return L::in_first(X::kReqResp30Reply.entries, field_off); }

void d5c03(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c03_t;
    c16(o, offsetof(O, v0), e, r16(RE::first16.off));
    c32(o, offsetof(O, v2), e, r16(RE::first32.off));
    c16(o, offsetof(O, vdc_id), e, r16(RE::second16.off));
    c32(o, offsetof(O, v8), e, r16(RE::second32.off));
    c32(o, offsetof(O, v12), e, r16(RE::word12.off));
}

void d5c03_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c03_local_t;
    c16(o, offsetof(O, v0), e, r16(RE::first16.off));
    c32(o, offsetof(O, v2), e, r16(RE::first32.off));
    c32(o, offsetof(O, v6), e, r16(RE::second32.off));
    c32(o, offsetof(O, v10), e, r16(RE::word12.off));
}

// The BD cache update of one record.
inline void set_entry(uint16_t vdc, uint32_t vlan, uint16_t bd) { vlan_mgr::bd_db::set_cache_entry(vdc, vlan, bd); }

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
using E28 = L::Notif5C28::Entry;
constexpr size_t e28(size_t field_off) { return L::in_first(L::Notif5C28::entries, field_off); }
using E2C = L::Notif5C2C::Entry;
constexpr size_t e2c(size_t field_off) { return L::in_first(L::Notif5C2C::entries, field_off); }

// The fields that are converted together lie side by side, in the payload
// and in the record.
using CreateRec = vlan_mgr_notif_vlan_create_t;
static_assert(CE::type.off == CE::bd_id.end() && CE::field7.off == CE::type.end() &&
              CE::vdc_id.off == CE::field7.end());
static_assert(CE::primary.off == CE::vlan_id.end() && CE::segment.off == CE::mode.end() &&
              CE::state.off == CE::options.end());
static_assert(offsetof(CreateRec, v2) == offsetof(CreateRec, bd_id) + sizeof(CreateRec::bd_id) &&
              offsetof(CreateRec, v4) == offsetof(CreateRec, v2) + sizeof(CreateRec::v2) &&
              offsetof(CreateRec, vdc_id) == offsetof(CreateRec, v4) + sizeof(CreateRec::v4));
static_assert(offsetof(CreateRec, v12) == offsetof(CreateRec, vlan_id) + sizeof(CreateRec::vlan_id) &&
              offsetof(CreateRec, v24) == offsetof(CreateRec, v20) + sizeof(CreateRec::v20) &&
              offsetof(CreateRec, v32) == offsetof(CreateRec, v28) + sizeof(CreateRec::v28));

// A created VLAN: its BD id goes into the cache.
void d5c1d(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = CreateRec;
    c16x4(o, offsetof(O, bd_id), e, ce(CE::bd_id.off));     // bd_id, v2, v4, vdc_id
    c32x2(o, offsetof(O, vlan_id), e, ce(CE::vlan_id.off)); // vlan_id, v12
    c32x2(o, offsetof(O, v20), e, ce(CE::mode.off));        // v20, v24
    c32x2(o, offsetof(O, v28), e, ce(CE::options.off));     // v28, v32
    c32(o, offsetof(O, v36), e, ce(CE::field36.off));
    set_entry(wire::get_u16(e, ce(CE::vdc_id.off)), wire::get_u32(e, ce(CE::vlan_id.off)),
              wire::get_u16(e, ce(CE::bd_id.off)));
}

void d5c1d_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_vlan_create_local_t;
    c16(o, offsetof(O, bd_id), e, ce(CE::bd_id.off));
    c16(o, offsetof(O, v2), e, ce(CE::type.off));
    c16(o, offsetof(O, v4), e, ce(CE::field7.off));
    c32(o, offsetof(O, vlan_id), e, ce(CE::vlan_id.off));
    c32(o, offsetof(O, v10), e, ce(CE::primary.off));
    c32(o, offsetof(O, v14), e, ce(CE::mode.off));
    c32(o, offsetof(O, v18), e, ce(CE::segment.off));
    c32(o, offsetof(O, v22), e, ce(CE::options.off));
    c32(o, offsetof(O, v26), e, ce(CE::state.off));
    set_entry(wire::get_u16(e, ce(CE::vdc_id.off)), wire::get_u32(e, ce(CE::vlan_id.off)),
              wire::get_u16(e, ce(CE::bd_id.off)));
}

// A deleted VLAN: its cache entry is cleared.
void d5c22(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_vlan_delete_t;
    c16(o, offsetof(O, bd_id), e, de(DE::bd_id.off));
    c16(o, offsetof(O, vdc_id), e, de(DE::vdc_id.off));
    c32(o, offsetof(O, vlan_id), e, de(DE::vlan_id.off));
    c32(o, offsetof(O, v8), e, de(DE::type.off));
    vlan_mgr_invalidate_bd_cache_entry(wire::get_u16(e, de(DE::vdc_id.off)),
                                       static_cast<int32_t>(wire::get_u32(e, de(DE::vlan_id.off))));
}

void d5c22_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_vlan_delete_local_t;
    c16(o, offsetof(O, bd_id), e, de(DE::bd_id.off));
    c32(o, offsetof(O, vlan_id), e, de(DE::vlan_id.off));
    c32(o, offsetof(O, v6), e, de(DE::type.off));
    vlan_mgr_invalidate_bd_cache_entry(wire::get_u16(e, de(DE::vdc_id.off)),
                                       static_cast<int32_t>(wire::get_u32(e, de(DE::vlan_id.off))));
}

void d5c24(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c24_t;
    c16(o, offsetof(O, vdc_id), e, pe(PE::vdc_id.off));
    cif(o, offsetof(O, if_index), e, pe(PE::if_index.off));
    c32(o, offsetof(O, v8), e, pe(PE::mode.off));
    cbm(o, nth_bitmap(offsetof(O, bitmap), 0), e, pe(PE::configured.bits_off()));
    cbm(o, nth_bitmap(offsetof(O, bitmap), 1), e, pe(PE::active.bits_off()));
}

void d5c24_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c24_local_t;
    cif(o, offsetof(O, if_index), e, pe(PE::if_index.off));
    c32(o, offsetof(O, v4), e, pe(PE::mode.off));
    cbm(o, offsetof(O, bitmap), e, pe(PE::configured.bits_off()));
}

void d5c28(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c28_t;
    cif(o, offsetof(O, if_index), e, e28(E28::if_index.off));
    c32(o, offsetof(O, v4), e, e28(E28::v4.off));
    c16(o, offsetof(O, v8), e, e28(E28::v8.off));
    c16(o, offsetof(O, vdc_id), e, e28(E28::vdc_id.off));
    c32(o, offsetof(O, v12), e, e28(E28::v12.off));
    c32(o, offsetof(O, v16), e, e28(E28::v16.off));
    for (size_t k = 0; k < std::size(E28::bitmaps); ++k)
        cbm(o, nth_bitmap(offsetof(O, bitmap), k), e, e28(E28::bitmaps[k].bits_off()));
}

void d5c28_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c28_local_t;
    cif(o, offsetof(O, if_index), e, e28(E28::if_index.off));
    c32(o, offsetof(O, v4), e, e28(E28::v4.off));
    c16(o, offsetof(O, v8), e, e28(E28::v8.off));
    c32(o, offsetof(O, v10), e, e28(E28::v12.off));
    c32(o, offsetof(O, v14), e, e28(E28::v16.off));
    for (size_t k = 0; k < std::size(E28::bitmaps); ++k)
        cbm(o, nth_bitmap(offsetof(O, bitmap), k), e, e28(E28::bitmaps[k].bits_off()));
}

// Element i at payload 4 + 30i (kReqResp30Reply).
void d5c29(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c29_t;
    c16(o, offsetof(O, v0), e, r30(RE::first16.off));
    c32(o, offsetof(O, v2), e, r30(RE::first32.off));
    c16(o, offsetof(O, v6), e, r30(RE::second16.off));
    c32(o, offsetof(O, v8), e, r30(RE::second32.off));
    c32(o, offsetof(O, v12), e, r30(RE::word12.off));
    c32(o, offsetof(O, v16), e, r30(RE::word16.off));
    c32(o, offsetof(O, v20), e, r30(RE::word20.off));
    std::memset(o + offsetof(O, v24), 0, sizeof(O::v24)); // no input field: written as 0
    c32(o, offsetof(O, v26), e, r30(RE::word26.off));
}

// BD ids of the VDC at payload 2.
void d5c2b(uint8_t *o, const uint8_t *e, const uint8_t *p)
{
    using O = vlan_mgr_notif_bd_change_t;
    c32(o, offsetof(O, vlan_id), e, be(BE::vlan_id.off));
    c16(o, offsetof(O, bd_id), e, be(BE::bd_id.off));
    c16(o, offsetof(O, v6), e, be(BE::field6.off));
    set_entry(wire::get_u16(p, L::BdChange::vdc_id.off), wire::get_u32(e, be(BE::vlan_id.off)),
              wire::get_u16(e, be(BE::bd_id.off)));
}

void d5c2c(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c2c_t;
    cif(o, offsetof(O, if_index), e, e2c(E2C::if_index.off));
    c16(o, offsetof(O, v4), e, e2c(E2C::v4.off));
    c32(o, offsetof(O, v6), e, e2c(E2C::v6.off));
    c16(o, offsetof(O, v10), e, e2c(E2C::v10.off));
    c32(o, offsetof(O, v12), e, e2c(E2C::v12.off));
    cbm(o, offsetof(O, bitmap), e, e2c(E2C::bitmap.bits_off()));
}

void d5c2c_local(uint8_t *o, const uint8_t *e, const uint8_t *)
{
    using O = vlan_mgr_notif_5c2c_local_t;
    cif(o, offsetof(O, if_index), e, e2c(E2C::if_index.off));
    c32(o, offsetof(O, v4), e, e2c(E2C::v6.off));
    c32(o, offsetof(O, v8), e, e2c(E2C::v12.off));
    cbm(o, offsetof(O, bitmap), e, e2c(E2C::bitmap.bits_off()));
}

using N1E = L::Notif5C1E;

void d5c1e(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c1e_t;
    c16(o, offsetof(O, v0), p, N1E::v0.off);
    c32(o, offsetof(O, v2), p, N1E::v2.off);
    c16(o, offsetof(O, v6), p, N1E::v6.off);
    c32(o, offsetof(O, v8), p, N1E::v8.off);
    c32(o, offsetof(O, v12), p, N1E::v12.off);
    c32(o, offsetof(O, n), p, N1E::n.off);
}

void d5c1e_local(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c1e_local_t;
    c32(o, offsetof(O, v0), p, N1E::v2.off);
    c32(o, offsetof(O, v4), p, N1E::v8.off);
    c32(o, offsetof(O, v8), p, N1E::v12.off);
    c32(o, offsetof(O, n), p, N1E::n.off);
}

using N1F = L::Notif5C1F;

void d5c1f(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c1f_t;
    c16(o, offsetof(O, vdc_id), p, N1F::vdc_id.off);
    for (size_t k = 0; k < N1F::kBitmaps; ++k)
        cbm(o, nth_bitmap(offsetof(O, bitmap), k), p, N1F::bitmaps[k].bits_off());
}

void d5c1f_local(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c1f_local_t;
    for (size_t k = 0; k < N1F::kBitmaps; ++k)
        cbm(o, nth_bitmap(offsetof(O, bitmap), k), p, N1F::bitmaps[k].bits_off());
}

using N20 = L::Notif5C20;

void d5c20(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c20_t;
    c16(o, offsetof(O, vdc_id), p, N20::vdc_id.off);
    c32(o, offsetof(O, v4), p, N20::v4.off);
    cbm(o, offsetof(O, bitmap), p, N20::bitmap.bits_off());
}

void d5c20_local(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c20_local_t;
    c32(o, offsetof(O, v0), p, N20::v4.off);
    cbm(o, offsetof(O, bitmap), p, N20::bitmap.bits_off());
}

void d5c26(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c26_t;
    c16(o, offsetof(O, vdc_id), p, TC::vdc_id.off);
    c32(o, offsetof(O, v2), p, TC::vlan_id.off);
    c32(o, offsetof(O, v6), p, TC::type.off);
    c32(o, offsetof(O, v10), p, TC::primary.off);
}

void d5c26_local(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c26_local_t;
    c32(o, offsetof(O, v0), p, TC::vlan_id.off);
    c32(o, offsetof(O, v4), p, TC::type.off);
    c32(o, offsetof(O, v8), p, TC::primary.off);
}

using N4E = L::Notif5C4E;

void d5c4e(uint8_t *o, const uint8_t *p, const uint8_t *)
{
    using O = vlan_mgr_notif_5c4e_t;
    c16(o, offsetof(O, v0), p, N4E::v0.off);
    c32(o, offsetof(O, v2), p, N4E::v2.off);
    c32(o, offsetof(O, n), p, N4E::n.off);
}

// ---- The lists: count word, stride, bytes read of the last element, record
// size, code of an allocator failure ------------------------------------------

constexpr Counted k5c03{X::kReqResp16Reply.count, X::kReqResp16Reply.entries.stride, r16(RE::word12.end()),
                        sizeof(vlan_mgr_notif_5c03_t), kAllocFailed};
constexpr Counted k5c03_local{X::kReqResp16Reply.count, X::kReqResp16Reply.entries.stride,
                              r16(RE::word12.end()), sizeof(vlan_mgr_notif_5c03_local_t), kAllocFailed};
constexpr Counted k5c1d{L::Create::count, L::Create::entries.stride, ce(CE::field36.end()),
                        sizeof(vlan_mgr_notif_vlan_create_t), kAllocFailed};
constexpr Counted k5c1d_local{L::Create::count, L::Create::entries.stride, ce(CE::state.end()),
                              sizeof(vlan_mgr_notif_vlan_create_local_t), kAllocFailed};
constexpr Counted k5c22{L::Delete::count, L::Delete::entries.stride, de(DE::type.end()),
                        sizeof(vlan_mgr_notif_vlan_delete_t), kAllocFailed};
constexpr Counted k5c22_local{L::Delete::count, L::Delete::entries.stride, de(DE::type.end()),
                              sizeof(vlan_mgr_notif_vlan_delete_local_t), kAllocFailed};
constexpr Counted k5c24{L::PortMembership::count, L::PortMembership::entries.stride, pe(PE::active.end()),
                        sizeof(vlan_mgr_notif_5c24_t), kAllocFailed};
constexpr Counted k5c24_local{L::PortMembership::count, L::PortMembership::entries.stride,
                              pe(PE::configured.end()), sizeof(vlan_mgr_notif_5c24_local_t), kAllocFailed};
constexpr size_t k5c28End = e28(E28::bitmaps[std::size(E28::bitmaps) - 1].end());
constexpr Counted k5c28{L::Notif5C28::count, L::Notif5C28::entries.stride, k5c28End, sizeof(vlan_mgr_notif_5c28_t),
                        kAllocFailed};
constexpr Counted k5c28_local{L::Notif5C28::count, L::Notif5C28::entries.stride, k5c28End,
                              sizeof(vlan_mgr_notif_5c28_local_t), kAllocFailed};
constexpr Counted k5c29{X::kReqResp30Reply.count, X::kReqResp30Reply.entries.stride, r30(RE::word26.end()),
                        sizeof(vlan_mgr_notif_5c29_t), kAllocFailed};
constexpr Counted k5c2b{L::BdChange::count, L::BdChange::entries.stride, be(BE::field6.end()),
                        sizeof(vlan_mgr_notif_bd_change_t), kAllocFailed};
constexpr Counted k5c2c{L::Notif5C2C::count, L::Notif5C2C::entries.stride, e2c(E2C::v12.end()),
                        sizeof(vlan_mgr_notif_5c2c_t), VLAN_MGR_ERR_NO_MEMORY};
constexpr Counted k5c2c_local{L::Notif5C2C::count, L::Notif5C2C::entries.stride, e2c(E2C::v12.end()),
                              sizeof(vlan_mgr_notif_5c2c_local_t), VLAN_MGR_ERR_NO_MEMORY};

// ---- The records with trailing interface indexes: header, count field,
// the indexes in the payload, where they go in the record ---------------------

constexpr size_t kOutIfIndex = sizeof(uint32_t);
constexpr Indexed k5c1e{N1E::kSize, N1E::n, N1E::if_indexes, offsetof(vlan_mgr_notif_5c1e_t, if_index), kOutIfIndex};
constexpr Indexed k5c1e_local{N1E::kSize, N1E::n, N1E::if_indexes, offsetof(vlan_mgr_notif_5c1e_local_t, if_index),
                              kOutIfIndex};
constexpr Indexed k5c4e{N4E::kSize, N4E::n, N4E::if_indexes, offsetof(vlan_mgr_notif_5c4e_t, if_index), kOutIfIndex};

using Handler = uint32_t (*)(const Reader &, void **, uint32_t *, vlan_mgr_notif_alloc_fn);

Handler full_handler(uint32_t opcode)
{
    switch (opcode) {
    case 0x5C03: return counted<k5c03, d5c03>;
    case 0x5C1D: return counted<k5c1d, d5c1d>;
    case 0x5C1E:
    case 0x5C23: return with_indexes<k5c1e, d5c1e>;
    case 0x5C1F: return single<N1F::kSize, sizeof(vlan_mgr_notif_5c1f_t), d5c1f>;
    case 0x5C20: return single<N20::kSize, sizeof(vlan_mgr_notif_5c20_t), d5c20>;
    case 0x5C21: return vlan_names;
    case 0x5C22: return counted<k5c22, d5c22>;
    case 0x5C24: return counted<k5c24, d5c24>;
    case 0x5C25: return if_lists<false>;
    case 0x5C26: return single<TC::kSize, sizeof(vlan_mgr_notif_5c26_t), d5c26>;
    case 0x5C28: return counted<k5c28, d5c28>;
    case 0x5C29: return counted<k5c29, d5c29>;
    case 0x5C2B: return counted<k5c2b, d5c2b>;
    case 0x5C2C: return counted<k5c2c, d5c2c>;
    case 0x5C4E:
    case 0x5C4F: return with_indexes<k5c4e, d5c4e>;
    default: return nullptr;
    }
}

Handler local_handler(uint32_t opcode)
{
    switch (opcode) {
    case 0x5C03: return counted<k5c03_local, d5c03_local>;
    case 0x5C1D: return counted<k5c1d_local, d5c1d_local>;
    case 0x5C1E:
    case 0x5C23: return with_indexes<k5c1e_local, d5c1e_local>;
    case 0x5C1F: return single<N1F::kSize, sizeof(vlan_mgr_notif_5c1f_local_t), d5c1f_local>;
    case 0x5C20: return single<N20::kSize, sizeof(vlan_mgr_notif_5c20_local_t), d5c20_local>;
    case 0x5C21: return vlan_names;
    case 0x5C22: return counted<k5c22_local, d5c22_local>;
    case 0x5C24:
    case 0x5C38: return counted<k5c24_local, d5c24_local>;
    case 0x5C25: return if_lists<true>;
    case 0x5C26: return single<TC::kSize, sizeof(vlan_mgr_notif_5c26_local_t), d5c26_local>;
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
