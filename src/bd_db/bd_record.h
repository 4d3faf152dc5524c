// The BD database's keys and records, and the reads that the lookups and the
// getters share.
//
// Key: 4 bytes, big-endian: the VDC id's low 8 bits, then a 24-bit object id
// (a VLAN id 1..4094, or 4096 for the VDC's layer-3 BD record). VDC 2,
// VLAN 100 is 02 00 00 64.
//
// VLAN record, big-endian, packed: BD id (2 bytes), primary VLAN id (4),
// VLAN type (4), VLAN mode (4), segment id (4). A record shorter than the
// fields that a reader needs counts as a failed read.
#pragma once

#include <cstdint>

#include <vlan_mgr/bd_db.h>

#include "bd_db/bd_cache.h"
#include <vlan_mgr/internal/wire.h>
#include "vlan_mgr_platform.h"

namespace vlan_mgr::bd_db {

inline constexpr uint32_t kL3BdObject = 0x1000;

inline constexpr size_t kOffBd = 0;
inline constexpr size_t kOffPrimary = 2;
inline constexpr size_t kOffType = 6;
inline constexpr size_t kOffMode = 10;
inline constexpr size_t kOffSegment = 14;
inline constexpr size_t kRecordSize = 18;

struct Key {
    uint8_t bytes[4];
};

inline Key make_key(uint16_t vdc_id, uint32_t object)
{
    Key k;
    wire::put_u32(k.bytes, 0, (static_cast<uint32_t>(vdc_id & 0xFFu) << 24) | (object & 0xFFFFFFu));
    return k;
}

// The outcome of one sdb_read: ok only when a record came back and the error
// word is 0.
struct Read {
    const uint8_t *data;
    uint32_t len;
    int32_t error;
    bool ok;
    bool has(size_t width) const { return ok && len >= width; }
};

inline Read read_record(const char *handle, const Key &key)
{
    const sdb_key_t desc{key.bytes, sizeof key.bytes};
    int32_t error = 0;
    const sdb_rec_t *rec = sdb_read(handle, &desc, &error);
    Read r{nullptr, 0, error, false};
    if (rec != nullptr && error == 0 && rec->data != nullptr) {
        r.data = static_cast<const uint8_t *>(rec->data);
        r.len = rec->len;
        r.ok = true;
    }
    return r;
}

// The VDC's database handle (its URI); null while none is set.
inline const char *handle_of(uint16_t vdc_id) { return bd_sdb_uri_p[vdc_id - 1]; }

// Test hook: forgets the own VDC id cached by the segment getters' _local forms.
void segment_vdc_forget();

} // namespace vlan_mgr::bd_db

extern "C" {
// The uncached BD read behind vlan_get_bd: opens the VDC's database, reads the
// VLAN's record and reports read failures and a zero BD. The VDC and VLAN ids
// are checked by the caller.
uint32_t vlan_get_bd_2(vdc_vlan_id_t key, uint16_t *bd);
}
