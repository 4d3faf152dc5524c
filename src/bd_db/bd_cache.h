// The BD cache's entry points (bd_cache_update.h, the only part of this
// subsystem that the listing and notification parsers see), and the BD
// database's process-wide tables and the steps of the
// library constructor, for the lookups and getters of this subsystem and for
// the tests.
#pragma once

#include <cstdint>

#include "bd_db/bd_cache_update.h"

namespace vlan_mgr::bd_db {

// Status codes of this subsystem beyond the frame's.
inline constexpr uint32_t kErrCacheOff = 0x41100084u;     // BD cache switched off
inline constexpr uint32_t kErrCloseFailed = 0x4110008bu;  // sdb_close failed
inline constexpr uint32_t kErrBadVlan = 0x41100012u;      // VLAN id outside 1..4094
inline constexpr uint32_t kErrNoRecord = 0x4110001cu;     // record could not be read
inline constexpr uint32_t kErrNoPortRecord = 0x4110008cu; // a port's membership record missing
// sdb_open's answer for a database that is open already.
inline constexpr int32_t kSdbAlreadyOpen = 0x411a0003;

inline constexpr unsigned kVdcCount = 5;         // VDC ids 1..5, tables indexed by id - 1
inline constexpr unsigned kCacheEntries = 4096;  // one entry per VLAN id 0..4095
inline constexpr unsigned kUriBufSize = 100;     // a VDC's URI buffer
inline constexpr unsigned kUriFormatBound = 99;  // snprintf bound: at most 98 characters
inline constexpr unsigned kUnusedBlockSize = 200; // the blocks made and dropped in step 1 at load

// The tables of the BD database, set up by the library constructor.
extern char **vlan_mgr_bd_sdb_uri;   // 5 pointers to 100-byte URI buffers
extern uint8_t *opened_flag;         // 5 bytes: 1 once sdb_open succeeded
extern uint8_t first_open_marker;    // 0 until the first vlan_open_bd_sdb
// bd_sdb_cached_p and bd_cache_enabled: in bd_cache_update.h.
// The blocks that the constructor makes and then drops from the tables (the
// five 200-byte blocks of the cache table, the five first URI buffers that
// the first open forgets). They are never freed; they stay referenced here
// so that a leak checker does not count them.
extern void *load_kept[2 * kVdcCount];

// The parameter block handed to the publisher library at load.
struct PublisherDescriptor {
    const char *name;
    uint32_t word[7];
};
struct PublisherParams {
    uint32_t word[4];
    const PublisherDescriptor *descriptors;
};
extern const PublisherParams kPublisherParams;

// The library constructor's steps: allocates the tables (a failed allocation
// is reported and ends the process with abort) and initialises the publisher
// library once (a failure calls abort at once). The constructor runs it at
// load; running it again starts from fresh tables (the old ones are dropped).
void load_tables();

inline bool vdc_in_range(uint16_t vdc_id) { return vdc_id >= 1 && vdc_id <= kVdcCount; }

// The VDC's cache block, or null. Loaded with acquire so that a block made by
// another thread is seen zeroed.
inline uint16_t *cache_block(uint16_t vdc_id)
{
    return __atomic_load_n(&bd_sdb_cached_p[vdc_id - 1], __ATOMIC_ACQUIRE);
}

// One cache entry, read and written whole: a concurrent update never shows a
// half-written entry.
inline uint16_t cache_entry_load(const uint16_t *block, uint32_t vlan_id)
{
    return __atomic_load_n(&block[vlan_id], __ATOMIC_RELAXED);
}
inline void cache_entry_store(uint16_t *block, uint32_t vlan_id, uint16_t bd_id)
{
    __atomic_store_n(&block[vlan_id], bd_id, __ATOMIC_RELAXED);
}

} // namespace vlan_mgr::bd_db
