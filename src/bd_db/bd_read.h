// What a reader of the BD database's records needs: the layouts, the keys
// and one record read. The reserved-range queries (src/rsvd/) read through
// this and nothing else of this subsystem.
#pragma once

#include <cstdint>

#include <vlan_mgr/bd_db.h>

#include "bd_db/layout.h"
#include <vlan_mgr/internal/wire.h>
#include "vlan_mgr_platform.h"

namespace vlan_mgr::bd_db {

namespace rec = layout::bd_db;

inline constexpr uint32_t kL3BdObject = rec::VdcKey::kL3BdObject;

// A 4-byte key: a VDC key, or a future range's host-order word.
struct Key {
    uint8_t bytes[rec::VdcKey::kSize];
};

inline Key make_key(uint16_t vdc_id, uint32_t object)
{
    Key k;
    wire::Writer w(k.bytes, sizeof k.bytes);
    rec::VdcKey::word.put(w, rec::VdcKey::word_of(vdc_id, object));
    return k;
}

inline Key future_key(uint32_t word)
{
    static_assert(rec::FutureKey::kSize == sizeof(Key::bytes));
    Key k;
    wire::Writer w(k.bytes, sizeof k.bytes);
    rec::FutureKey::word.put(w, word);
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
    wire::Reader reader() const { return wire::Reader(data, len); }
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

} // namespace vlan_mgr::bd_db
