// Port and VLAN getters: direct reads of port membership records and of
// single attributes of VLAN records, one VLAN at a time or for a whole VLAN
// bitmap in batches. No cache, no reports.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "bd_db/bd_record.h"
#include "frame/bitmap.h"
#include "frame/local_vdc.h"
#include "frame/payload.h"

namespace vlan_mgr::bd_db {
namespace {

using Acc = rec::AccessEntry;
using Trk = rec::TrunkRecord;
using Vr = rec::VlanRecord;
constexpr uint8_t kAccessRecord = rec::PortKey::kAccess;
constexpr uint8_t kTrunkingRecord = rec::PortKey::kTrunk;
constexpr size_t kAccessEntry = Acc::kSize;
constexpr size_t kTrunkingStored = Trk::kSize;
constexpr size_t kTrunkingEntry = rec::TrunkingCallerEntry::kSize;
static_assert(rec::AccessCallerEntry::kSize == kAccessEntry, "one caller entry per stored entry");
constexpr uint32_t kMultiBatch = 99;    // keys per multi-fetch of the multi-VLAN getters
constexpr uint32_t kSegmentBatch = 100; // keys per multi-fetch of the segment walk
constexpr uint32_t kSegmentWalkLast = 4095;

// The own VDC of the segment getters' _local forms: a cache of their own.
uint16_t segment_local_vdc = 0;

uint16_t segment_vdc_get()
{
    if (segment_local_vdc == 0)
        segment_local_vdc = sysmgr_vdc_get();
    return segment_local_vdc;
}

// Open, with sdb_open's "already open" also counted as success.
uint32_t open_db(uint16_t vdc_id)
{
    const uint32_t st = vlan_open_bd_sdb(vdc_id);
    return st == static_cast<uint32_t>(kSdbAlreadyOpen) ? VLAN_MGR_OK : st;
}

struct PortKey {
    uint8_t bytes[rec::PortKey::kSize];
};

PortKey port_key(uint8_t type, uint32_t if_index)
{
    PortKey k;
    wire::Writer w(k.bytes, sizeof k.bytes);
    rec::PortKey::type.put(w, type);
    rec::PortKey::if_index.put(w, hton_if_index(if_index)); // kept as the platform produced it
    return k;
}

const sdb_rec_t *read_port(const char *handle, const PortKey &key, int32_t *error)
{
    const sdb_key_t desc{key.bytes, sizeof key.bytes};
    return sdb_read(handle, &desc, error);
}

// The interface index as stored, converted with the platform's ntoh_if_index.
uint32_t stored_if_index(const wire::Reader &r, const layout::HostU32 &f) { return ntoh_if_index(f.get(r)); }

// The caller's 24-byte entry: the stored fields in host order.
void fill_access_entry(uint8_t *out, const uint8_t *in)
{
    using C = rec::AccessCallerEntry;
    const wire::Reader r(in, kAccessEntry);
    wire::Writer w(out, C::kSize);
    C::if_index.put(w, stored_if_index(r, Acc::if_index));
    C::mode.put(w, Acc::mode.get(r));
    C::access_vlan.put(w, Acc::access_vlan.get(r));
    C::vdc_id.put(w, Acc::vdc_id.get(r));
    C::voice_vlan.put(w, Acc::voice_vlan.get(r));
    C::native_vlan.put(w, Acc::native_vlan.get(r));
    C::access_up.put(w, Acc::access_up.get(r));
}

// The caller's 1052-byte entry: the stored fields in host order, the
// bitmaps behind a host-order length word (the writer zeroes the rest).
void fill_trunking_entry(uint8_t *out, const uint8_t *in)
{
    using C = rec::TrunkingCallerEntry;
    const wire::Reader r(in, kTrunkingStored);
    wire::Writer w(out, C::kSize);
    C::if_index.put(w, stored_if_index(r, Trk::if_index));
    C::vdc_id.put(w, Trk::vdc_id.get(r));
    C::mode.put(w, Trk::mode.get(r));
    C::native_vlan.put(w, Trk::native_vlan.get(r));
    // Each bitmap: the stored length word is not read; 512 is written.
    C::configured.init(w);
    std::memcpy(C::configured.bits(w), r.at(Trk::kConfiguredBits), bitmap::kBytes);
    C::active.init(w);
    std::memcpy(C::active.bits(w), r.at(Trk::kActiveBits), bitmap::kBytes);
    C::voice_vlan.put(w, Trk::voice_vlan.get(r));
    C::comprgrp.put(w, Trk::comprgrp.get(r));
}

// The pair a multi getter makes of one VLAN's record: false when the record
// is too short for its fields (then no pair).
using PairFn = bool (*)(uint32_t vlan_id, const uint8_t *rec, uint32_t len, vlan_mgr_sdb_vlan_pair_t &pair);

bool mode_pair(uint32_t vlan_id, const uint8_t *rec, uint32_t len, vlan_mgr_sdb_vlan_pair_t &pair)
{
    if (len < Vr::mode.end())
        return false;
    pair.vlan_id = vlan_id;
    pair.value = Vr::mode.get(wire::Reader(rec, len));
    return true;
}

bool type_pair(uint32_t, const uint8_t *rec, uint32_t len, vlan_mgr_sdb_vlan_pair_t &pair)
{
    if (len < Vr::type.end())
        return false;
    pair.vlan_id = Vr::primary.get(wire::Reader(rec, len));
    std::memcpy(&pair.value, rec + Vr::type.off, 4); // stored bytes, as the single getter
    return true;
}

bool segment_pair(uint32_t, const uint8_t *rec, uint32_t len, vlan_mgr_sdb_vlan_pair_t &pair)
{
    if (len < Vr::segment.end())
        return false;
    const wire::Reader r(rec, len);
    pair.vlan_id = Vr::primary.get(r);
    pair.value = Vr::segment.get(r);
    return true;
}

// Steps 2 to 5 of the multi getters, once the member's own checks passed.
uint32_t multi_walk(uint16_t vdc_id, const vlan_bitmap *bitmap, uint32_t *count, vlan_mgr_sdb_vlan_pair_t **pairs,
                    PairFn make_pair)
{
    const uint32_t members = bitmap::count(bitmap->bits);
    const auto size = checked_size(members, sizeof(vlan_mgr_sdb_vlan_pair_t), 0);
    auto *out = size ? static_cast<vlan_mgr_sdb_vlan_pair_t *>(std::malloc(*size)) : nullptr;
    *pairs = out;
    if (out == nullptr && members != 0)
        return VLAN_MGR_ERR_NO_MEMORY;
    if (const uint32_t st = open_db(vdc_id); st != VLAN_MGR_OK)
        return st;
    const char *handle = handle_of(vdc_id);

    Key keys[kMultiBatch];
    uint32_t vlans[kMultiBatch];
    sdb_key_t descs[kMultiBatch];
    sdb_rec_t recs[kMultiBatch];
    uint32_t filled = 0;
    uint32_t status = VLAN_MGR_OK;
    uint32_t n = 0;
    bitmap::Walker walk(bitmap->bits);
    for (int32_t v = walk.next();; v = walk.next()) {
        if (v >= 0) {
            vlans[n] = static_cast<uint32_t>(v);
            keys[n] = make_key(vdc_id, static_cast<uint32_t>(v));
            descs[n] = {keys[n].bytes, sizeof keys[n].bytes};
            ++n;
        }
        if (n == kMultiBatch || (v < 0 && n != 0)) {
            int32_t error = 0;
            std::memset(recs, 0, sizeof recs);
            const int32_t r = sdb_mfetch(handle, descs, n, recs, &error);
            if (r != 0) {
                status = static_cast<uint32_t>(r);
                break;
            }
            if (error == 0)
                for (uint32_t i = 0; i < n; ++i)
                    if (recs[i].data != nullptr && filled < members &&
                        make_pair(vlans[i], static_cast<const uint8_t *>(recs[i].data), recs[i].len, out[filled]))
                        ++filled;
            sdb_mfetch_done(handle, recs, n);
            n = 0;
        }
        if (v < 0)
            break;
    }
    *count = filled;
    return status;
}

} // namespace

void segment_vdc_forget() { segment_local_vdc = 0; }

} // namespace vlan_mgr::bd_db

using namespace vlan_mgr;
using namespace vlan_mgr::bd_db;

extern "C" {

uint32_t vlan_mgr_sdb_get_port_accntv_memb(int32_t *if_indexes, uint32_t count, uint32_t **entries)
{
    if (entries == nullptr || (if_indexes == nullptr && count != 0))
        return VLAN_MGR_ERR_INVALID_ARG;
    const uint16_t vdc_id = vlan_mgr_local_vdc_get();
    if (const uint32_t st = vlan_open_bd_sdb(vdc_id); st != VLAN_MGR_OK)
        return st;
    const auto size = checked_size(count, kAccessEntry, 0);
    auto *out = size ? static_cast<uint8_t *>(std::malloc(*size)) : nullptr;
    *entries = reinterpret_cast<uint32_t *>(out);
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    std::memset(out, 0, *size);
    for (uint32_t i = 0; i < count; ++i) {
        int32_t error = 0;
        const sdb_rec_t *rec =
            read_port(handle_of(vdc_id), port_key(kAccessRecord, static_cast<uint32_t>(if_indexes[i])), &error);
        // Entry i lies in the i-th slot of port i's record.
        const uint64_t need = (static_cast<uint64_t>(i) + 1) * kAccessEntry;
        if (rec == nullptr || error != 0 || rec->data == nullptr || rec->len < need)
            return VLAN_MGR_ERR_PORT_RECORD;
        fill_access_entry(out + kAccessEntry * i, static_cast<const uint8_t *>(rec->data) + kAccessEntry * i);
    }
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_sdb_get_port_trunking_memb(uint16_t vdc_id, uint32_t *if_indexes, uint32_t count,
                                             uint32_t **entries)
{
    if (entries == nullptr || (if_indexes == nullptr && count != 0))
        return VLAN_MGR_ERR_INVALID_ARG;
    *entries = nullptr;
    if (!bd_db::vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    // Opens the own VDC's database, reads through the handle of the VDC given.
    if (const uint32_t st = vlan_open_bd_sdb(vlan_mgr_local_vdc_get()); st != VLAN_MGR_OK)
        return st;
    const auto size = checked_size(count, kTrunkingEntry, 0);
    auto *out = size ? static_cast<uint8_t *>(std::malloc(*size)) : nullptr;
    *entries = reinterpret_cast<uint32_t *>(out);
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    std::memset(out, 0, *size);
    const char *handle = handle_of(vdc_id);
    for (uint32_t i = 0; i < count; ++i) {
        if (handle == nullptr)
            return VLAN_MGR_ERR_PORT_RECORD; // that VDC's database was never opened
        int32_t error = 0;
        const sdb_rec_t *rec = read_port(handle, port_key(kTrunkingRecord, if_indexes[i]), &error);
        if (rec == nullptr || error != 0 || rec->data == nullptr || rec->len < kTrunkingStored)
            return VLAN_MGR_ERR_PORT_RECORD;
        fill_trunking_entry(out + kTrunkingEntry * i, static_cast<const uint8_t *>(rec->data));
    }
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_sdb_get_vlan_type(uint16_t vdc_id, uint32_t vlan_id, uint32_t *type)
{
    if (!bd_db::vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (type == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const uint32_t st = open_db(vdc_id); st != VLAN_MGR_OK)
        return st;
    const Read r = read_record(handle_of(vdc_id), make_key(vdc_id, vlan_id));
    if (!r.has(Vr::type.end()))
        return VLAN_MGR_ERR_SDB_READ;
    std::memcpy(type, r.data + Vr::type.off, 4); // the stored bytes, not converted
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_sdb_get_vlan_mode(uint16_t vdc_id, uint32_t vlan_id, uint32_t *mode)
{
    if (!bd_db::vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (mode == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const uint32_t st = open_db(vdc_id); st != VLAN_MGR_OK)
        return st;
    const Read r = read_record(handle_of(vdc_id), make_key(vdc_id, vlan_id));
    if (!r.has(Vr::mode.end()))
        return VLAN_MGR_ERR_SDB_READ;
    *mode = Vr::mode.get(r.reader());
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_sdb_get_vlan_segment_id(uint16_t vdc_id, uint32_t vlan_id, uint32_t *segment_id)
{
    if (segment_id == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    uint32_t module_type = 0;
    if (const int32_t r = get_card_module_info(&module_type); r != 0) {
        *segment_id = 0;
        return static_cast<uint32_t>(r);
    }
    switch (module_type) {
    case 232: case 247: case 251: case 273: case 284: case 285:
        break;
    default: // no segment ids on this module type
        *segment_id = 0;
        return VLAN_MGR_OK;
    }
    if (const uint32_t st = open_db(vdc_id); st != VLAN_MGR_OK)
        return st;
    const Read r = read_record(handle_of(vdc_id), make_key(vdc_id, vlan_id));
    if (!r.has(Vr::segment.end()))
        return VLAN_MGR_ERR_SDB_READ;
    *segment_id = Vr::segment.get(r.reader());
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_sdb_get_vlan_segment_id_local(uint32_t vlan_id, uint32_t *segment_id)
{
    return vlan_mgr_sdb_get_vlan_segment_id(segment_vdc_get(), vlan_id, segment_id);
}

uint32_t vlan_mgr_sdb_get_segment_vlan_id(uint16_t vdc_id, uint32_t segment_id, uint32_t *vlan_id)
{
    if (vlan_id == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const uint32_t st = open_db(vdc_id); st != VLAN_MGR_OK)
        return st;
    const char *handle = handle_of(vdc_id);
    Key keys[kSegmentBatch];
    sdb_key_t descs[kSegmentBatch];
    sdb_rec_t recs[kSegmentBatch];
    for (uint32_t first = 1; first <= kSegmentWalkLast; first += kSegmentBatch) {
        const uint32_t n = std::min(kSegmentBatch, kSegmentWalkLast - first + 1);
        for (uint32_t i = 0; i < n; ++i) {
            keys[i] = make_key(vdc_id, first + i);
            descs[i] = {keys[i].bytes, sizeof keys[i].bytes};
        }
        std::memset(recs, 0, sizeof recs);
        int32_t error = 0;
        if (sdb_mfetch(handle, descs, n, recs, &error) != 0 || error != 0)
            continue; // a batch whose fetch fails is skipped
        for (uint32_t i = 0; i < n; ++i) {
            const auto *data = static_cast<const uint8_t *>(recs[i].data);
            if (data == nullptr || recs[i].len < Vr::kSize)
                continue;
            const wire::Reader r(data, recs[i].len);
            if (Vr::segment.get(r) == segment_id) {
                // The walk ends here; this batch is not released.
                *vlan_id = Vr::primary.get(r);
                return VLAN_MGR_OK;
            }
        }
        sdb_mfetch_done(handle, recs, n);
    }
    return VLAN_MGR_ERR_INVALID_ARG;
}

uint32_t vlan_mgr_sdb_get_segment_vlan_id_local(uint32_t segment_id, uint32_t *vlan_id)
{
    return vlan_mgr_sdb_get_segment_vlan_id(segment_vdc_get(), segment_id, vlan_id);
}

uint32_t vlan_mgr_sdb_get_multi_vlan_mode(uint16_t vdc_id, vlan_bitmap *bitmap, uint32_t *count,
                                          vlan_mgr_sdb_vlan_pair_t **pairs)
{
    if (!bd_db::vdc_in_range(vdc_id) || bitmap == nullptr)
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (count == nullptr || pairs == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    return multi_walk(vdc_id, bitmap, count, pairs, mode_pair);
}

uint32_t vlan_mgr_sdb_get_multi_vlan_type(uint16_t vdc_id, vlan_bitmap *bitmap, uint32_t *count,
                                          vlan_mgr_sdb_vlan_pair_t **pairs)
{
    if (!bd_db::vdc_in_range(vdc_id) || bitmap == nullptr)
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (count == nullptr || pairs == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    return multi_walk(vdc_id, bitmap, count, pairs, type_pair);
}

uint32_t vlan_mgr_sdb_get_multi_vlan_segment_id(uint16_t vdc_id, vlan_bitmap *bitmap, uint32_t *count,
                                                vlan_mgr_sdb_vlan_pair_t **pairs)
{
    if (bitmap == nullptr)
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (pairs == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    if (count == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    // No VDC check of its own: one outside 1..5 is refused by the open.
    return multi_walk(vdc_id, bitmap, count, pairs, segment_pair);
}

uint32_t vlan_mgr_sdb_get_multi_vlan_segment_id_local(vlan_bitmap *bitmap, uint32_t *count,
                                                      vlan_mgr_sdb_vlan_pair_t **pairs)
{
    return vlan_mgr_sdb_get_multi_vlan_segment_id(segment_vdc_get(), bitmap, count, pairs);
}

} // extern "C"
