// Create and delete notifications: a count, a fixed list and, when present,
// the TLV part of the notif2 records behind it. Either form is handed out as
// an array of notif2 records from the caller's allocator.
#include <cstdlib>
#include <cstring>

#include <vlan_mgr/notif.h>

#include "frame/payload.h"
#include "notif/layout.h"
#include "notif/notif_decode.h"

namespace vlan_mgr::notif {
namespace {

using wire::Reader;
namespace L = layout::notif;
using CE = L::Create::Entry;
using DE = L::Delete::Entry;

// Names are cut to their first 32 characters and always terminated.
constexpr size_t kNameChars = VLAN_MGR_TLV_NAME_SIZE - 1;

template <typename T>
void put(uint8_t *o, size_t off, T v)
{
    std::memcpy(o + off, &v, sizeof v);
}

// A fixed create entry (read from 40i, so that its fields lie at the entry's
// offsets plus 4): the state word fills both field14 and field15; field30
// is not written; the name is empty.
constexpr size_t ce(size_t field_off) { return L::in_first(L::Create::entries, field_off); }

void create_from_entry(uint8_t *o, const uint8_t *e)
{
    c16(o, 0, e, ce(CE::bd_id.off));
    c16(o, 2, e, ce(CE::type.off));
    c16(o, 4, e, ce(CE::field7.off));
    c16(o, 6, e, ce(CE::vdc_id.off));
    c32(o, 8, e, ce(CE::vlan_id.off));
    c32(o, 12, e, ce(CE::primary.off));
    c32(o, 16, e, ce(CE::mode.off));
    c32(o, 20, e, ce(CE::segment.off));
    c32(o, 24, e, ce(CE::options.off));
    c32(o, 28, e, ce(CE::state.off));
    c32(o, 32, e, ce(CE::state.off));
    std::memset(o + offsetof(vlan_create_notif2_t, name), 0, VLAN_MGR_TLV_NAME_SIZE);
}

// A fixed delete entry: BD id, VDC id, VLAN id, field20 (the type); field15
// is 0, the name empty, field31 not written.
void delete_from_entry(uint8_t *o, const uint8_t *e)
{
    c16(o, 0, e, DE::bd_id.off);
    c16(o, 2, e, DE::vdc_id.off);
    c32(o, 4, e, DE::vlan_id.off);
    c32(o, 8, e, DE::type.off);
    put<uint32_t>(o, 12, 0);
    std::memset(o + offsetof(vlan_delete_notif2_t, name), 0, VLAN_MGR_TLV_NAME_SIZE);
}

void copy_name(char *dst, const char *src)
{
    // strncpy of at most 32 characters into a zeroed buffer.
    std::memset(dst, 0, VLAN_MGR_TLV_NAME_SIZE);
    std::memcpy(dst, src, strnlen(src, kNameChars));
}

// A decoded TLV record, member by member.
void create_from_tlv(uint8_t *o, const vlan_create_notif2_t &s)
{
    put(o, 0, s.bd_id);
    put(o, 2, s.field10);
    put(o, 4, s.field7);
    put(o, 6, s.vdc_vlan.vdc_id);
    put(o, 8, s.vdc_vlan.vlan_id);
    put(o, 12, s.field6);
    put(o, 16, s.field13);
    put(o, 20, s.field11);
    put(o, 24, s.field12);
    put(o, 28, s.field14);
    put(o, 32, s.field15);
    put(o, 36, s.field30);
    copy_name(reinterpret_cast<char *>(o + offsetof(vlan_create_notif2_t, name)), s.name);
}

void delete_from_tlv(uint8_t *o, const vlan_delete_notif2_t &s)
{
    put(o, 0, s.bd_id);
    put(o, 2, s.vdc_vlan.vdc_id);
    put(o, 4, s.vdc_vlan.vlan_id);
    put(o, 8, s.field20);
    put(o, 12, s.field15);
    copy_name(reinterpret_cast<char *>(o + offsetof(vlan_delete_notif2_t, name)), s.name);
    put(o, 49, s.field31);
}

// What differs between the two notifications.
template <typename Rec, typename Payload>
struct Kind {
    uint32_t opcode, opcode2;
    layout::U32 count;
    layout::List entries;
    uint32_t origin; // entry i is read at origin + stride * i
    void (*from_entry)(uint8_t *, const uint8_t *);
    void (*from_tlv)(uint8_t *, const Rec &);
    int32_t (*parse_tlv)(const void *, uint32_t, Payload **);
};

template <typename Rec, typename Payload>
uint32_t parse(const Kind<Rec, Payload> &k, const mts_msg_hdl_t *msg, Rec **records, uint32_t *count,
               vlan_mgr_notif_alloc_fn alloc)
{
    *records = nullptr;
    *count = 0;
    const uint32_t opcode = mts_opc_get(msg);
    if (opcode != k.opcode && opcode != k.opcode2)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (alloc == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    const Reader r = payload_of(msg);
    if (!r.has(k.count.off, k.count.width))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = k.count.get(r);
    if (n == 0)
        return kEmpty;
    const uint64_t fixed_end = k.entries.end(n);
    if (fixed_end > r.size())
        return VLAN_MGR_ERR_TRUNCATED;
    if (fixed_end == r.size()) {
        // No TLV part: the records come from the fixed list.
        const auto size = checked_size(n, sizeof(Rec), 0);
        if (!size)
            return VLAN_MGR_ERR_TRUNCATED;
        auto *out = static_cast<uint8_t *>(alloc(*size));
        if (out == nullptr)
            return kAllocFailed;
        *count = n;
        *records = reinterpret_cast<Rec *>(out);
        const uint8_t *e = r.at(k.origin);
        for (uint32_t i = 0; i < n; ++i, out += sizeof(Rec), e += k.entries.stride)
            k.from_entry(out, e);
        return VLAN_MGR_OK;
    }
    // The TLV part follows the fixed list, which is then ignored.
    Payload *decoded = nullptr;
    const int32_t rc = k.parse_tlv(r.at(static_cast<size_t>(fixed_end)),
                                   static_cast<uint32_t>(r.size() - fixed_end), &decoded);
    if (rc != 0) {
        std::free(decoded);
        return static_cast<uint32_t>(rc);
    }
    const uint32_t m = decoded->count;
    if (m == 0) {
        std::free(decoded);
        return kEmpty;
    }
    const auto size = checked_size(m, sizeof(Rec), 0);
    auto *out = size ? static_cast<uint8_t *>(alloc(*size)) : nullptr;
    if (out == nullptr) {
        std::free(decoded);
        return kAllocFailed;
    }
    *count = m;
    *records = reinterpret_cast<Rec *>(out);
    for (uint32_t i = 0; i < m; ++i, out += sizeof(Rec))
        k.from_tlv(out, decoded->data[i]);
    std::free(decoded);
    return VLAN_MGR_OK;
}

const Kind<vlan_create_notif2_t, vlan_create_notif2_payload_t> kCreate{
    VLAN_MGR_NOTIF_VLAN_CREATE, VLAN_MGR_NOTIF_VLAN_CREATE_2, L::Create::count, L::Create::entries, 0,
    create_from_entry, create_from_tlv,
    vlan_mgr_create_notif2_parse_notification};
const Kind<vlan_delete_notif2_t, vlan_delete_notif2_payload_t> kDelete{
    VLAN_MGR_NOTIF_VLAN_DELETE, VLAN_MGR_NOTIF_VLAN_DELETE_2, L::Delete::count, L::Delete::entries,
    L::Delete::entries.off, delete_from_entry, delete_from_tlv,
    vlan_mgr_delete_notif2_parse_notification};

} // namespace
} // namespace vlan_mgr::notif

using namespace vlan_mgr::notif;

extern "C" {

uint32_t vlan_mgr_parse_create_notification_msg(const struct mts_msg_hdl *msg, vlan_create_notif2_t **records,
                                                uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    return parse(kCreate, msg, records, count, alloc);
}

uint32_t vlan_mgr_parse_delete_notification_msg(const struct mts_msg_hdl *msg, vlan_delete_notif2_t **records,
                                                uint32_t *count, vlan_mgr_notif_alloc_fn alloc)
{
    return parse(kDelete, msg, records, count, alloc);
}

} // extern "C"
