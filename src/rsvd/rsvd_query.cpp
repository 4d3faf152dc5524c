// The configured and future reserved VLAN ranges, read from the VDC's BD
// database, as a pair of bounds or as a VLAN bitmap; and the reserved VLAN
// list computed by arithmetic alone. Nothing here reports a failure.
#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/internal/wire.h>
#include <vlan_mgr/rsvd.h>

#include "bd_db/bd_read.h"
#include "frame/bitmap.h"
#include "frame/local_vdc.h"
#include "rsvd/rsvd_bits.h"
#include "vlan_mgr_platform.h"

using namespace vlan_mgr;

namespace {

constexpr uint32_t kUnread = 4095; // both bounds until their records are read

namespace rec = vlan_mgr::layout::bd_db;

// The two records of one range: their keys and the bound's field in the
// record (the current range: RsvdRecord, a 16-bit VLAN id; the future range:
// FutureRsvdRecord, a 32-bit VLAN id).
struct RangeRecords {
    bd_db::Key start_key;
    bd_db::Key end_key;
    uint32_t (*get)(const wire::Reader &r);
    size_t end; // where the field ends: a shorter record is a failed read
};

// The current range's records sit under the VDC's BD keys.
RangeRecords current_records(uint16_t vdc_id)
{
    return {bd_db::make_key(vdc_id, rec::VdcKey::kRsvdStartObject), bd_db::make_key(vdc_id, rec::VdcKey::kRsvdEndObject),
            [](const wire::Reader &r) -> uint32_t { return rec::RsvdRecord::vlan_id.get(r); },
            rec::RsvdRecord::vlan_id.end()};
}

// The future range's records are keyed by bare host-order words.
RangeRecords future_records()
{
    return {bd_db::future_key(rec::FutureKey::kStartWord), bd_db::future_key(rec::FutureKey::kEndWord),
            [](const wire::Reader &r) { return rec::FutureRsvdRecord::vlan_id.get(r); },
            rec::FutureRsvdRecord::vlan_id.end()};
}

// Reads one bound. The read counts only when a record came back with the
// error word 0 and holds the whole value; nothing past the record's length
// is read.
bool read_bound(const char *handle, const bd_db::Key &key, const RangeRecords &layout, uint32_t *value)
{
    const bd_db::Read r = bd_db::read_record(handle, key);
    if (!r.has(layout.end))
        return false;
    *value = layout.get(r.reader());
    return true;
}

// Opens the VDC's database and reads both bounds of a range. The open
// refuses a VDC id outside 1..5 (VLAN_MGR_ERR_VDC_MISMATCH), so the per-VDC
// handle is only looked up for a VDC id inside them.
uint32_t read_range(uint16_t vdc_id, const RangeRecords &layout, uint32_t *start, uint32_t *end)
{
    const uint32_t st = vlan_open_bd_sdb(vdc_id);
    if (st != VLAN_MGR_OK)
        return st;
    *start = kUnread;
    *end = kUnread;
    const char *handle = bd_db::handle_of(vdc_id);
    uint32_t value = 0;
    if (!read_bound(handle, layout.start_key, layout, &value))
        return VLAN_MGR_ERR_RSVD_READ;
    *start = value;
    if (!read_bound(handle, layout.end_key, layout, &value))
        return VLAN_MGR_ERR_RSVD_READ;
    *end = value;
    return VLAN_MGR_OK;
}

// A range as a bitmap: read it first (an error leaves the bitmap untouched),
// then start..end and VLAN 4094 in a cleared bitmap.
template <typename ReadFn> uint32_t range_bitmap(vlan_bitmap *bitmap, ReadFn read)
{
    if (bitmap == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    uint32_t start = 0, end = 0;
    const uint32_t st = read(&start, &end);
    if (st != VLAN_MGR_OK)
        return st;
    auto *field = reinterpret_cast<uint8_t *>(bitmap);
    bitmap::init_field(field);
    rsvd::set_range(field + 4, start, end);
    bitmap::set(field + 4, rsvd::kAlwaysReserved);
    return VLAN_MGR_OK;
}

} // namespace

extern "C" {

uint32_t vlan_get_rsvd_vlans(uint16_t vdc_id, uint32_t *start, uint32_t *end)
{
    if (start == nullptr || end == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    return read_range(vdc_id, current_records(vdc_id), start, end);
}

uint32_t vlan_get_rsvd_vlans_local(uint32_t *start, uint32_t *end)
{
    return vlan_get_rsvd_vlans(vlan_mgr_local_vdc_get(), start, end);
}

// The own VDC id is fetched before the pointers are checked.
uint32_t vlan_get_future_rsvd_vlans_local(uint32_t *start, uint32_t *end)
{
    const uint16_t vdc_id = vlan_mgr_local_vdc_get();
    if (start == nullptr || end == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    return read_range(vdc_id, future_records(), start, end);
}

uint32_t vlan_get_rsvd_vlans2(uint16_t vdc_id, vlan_bitmap *bitmap)
{
    return range_bitmap(bitmap, [vdc_id](uint32_t *s, uint32_t *e) { return vlan_get_rsvd_vlans(vdc_id, s, e); });
}

uint32_t vlan_get_future_rsvd_vlans2_local(vlan_bitmap *bitmap)
{
    return range_bitmap(bitmap, vlan_get_future_rsvd_vlans_local);
}

// Unlike vlan_get_rsvd_vlans2, the bitmap is cleared before anything is read.
uint32_t vlan_get_rsvd_vlans2_local(vlan_bitmap *bitmap)
{
    if (bitmap == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    auto *field = reinterpret_cast<uint8_t *>(bitmap);
    uint8_t *bits = field + 4;
    bitmap::init_field(field);

    uint32_t start = 0, end = 0;
    const uint32_t st = vlan_get_rsvd_vlans_local(&start, &end);
    if (st != VLAN_MGR_OK)
        return st;
    rsvd::set_range(bits, start, end);
    if (vlan_get_future_rsvd_vlans_local(&start, &end) == VLAN_MGR_OK)
        rsvd::set_range(bits, start, end);
    bitmap::set(bits, rsvd::kAlwaysReserved);

    // The VLANs allocated to the VDC: a status of 0 would make every VLAN
    // outside them (but 0, 1 and 4095) reserved; a nonzero status takes the
    // list as it stands.
    vlan_bitmap allocated;
    const auto *alloc_bits = allocated.bits;
    if (vlan_get_vdc_allocated_vlans(&allocated) != 0) {
        for (size_t i = 0; i < bitmap::kBytes; ++i)
            bits[i] |= alloc_bits[i];
    } else {
        uint8_t mask[bitmap::kBytes];
        for (size_t i = 0; i < bitmap::kBytes; ++i)
            mask[i] = static_cast<uint8_t>(~alloc_bits[i]);
        bitmap::clear(mask, 0);
        bitmap::clear(mask, 1);
        bitmap::clear(mask, 4095);
        for (size_t i = 0; i < bitmap::kBytes; ++i)
            bits[i] |= mask[i];
    }
    return VLAN_MGR_OK;
}

uint32_t vlan_get_vdc_allocated_vlans(vlan_bitmap *bitmap)
{
    if (bitmap == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    (void)vlan_mgr_local_vdc_get();
    bitmap::init_field(reinterpret_cast<uint8_t *>(bitmap));
    return 1;
}

// From base + offset upward; from the first 64-aligned boundary above base
// on, the list jumps over one block of 64 ids.
uint32_t vlan_get_reserved_vlans(uint32_t base, uint32_t offset, uint32_t count, uint32_t *out)
{
    if (out == nullptr)
        return VLAN_MGR_OK;
    const uint32_t jump_at = 64 - base % 64;
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t vlan = base + offset + i;
        if (offset + i >= jump_at)
            vlan += 64;
        out[i] = vlan;
    }
    return VLAN_MGR_OK;
}

} // extern "C"
