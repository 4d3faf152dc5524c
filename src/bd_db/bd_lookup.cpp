// BD lookups: a VLAN's BD (through the BD cache), its BD and primary VLAN,
// the VDC's layer-3 BD and the secondary private VLANs of the own VDC.
#include <cstdlib>
#include <unistd.h>

#include "bd_db/bd_record.h"
#include "frame/local_vdc.h"
#include "frame/report.h"
#include <vlan_mgr/opcodes.h>

namespace vlan_mgr::bd_db {
namespace {

constexpr uint32_t kMaxVlan = 4094;

bool vlan_in_range(uint32_t vlan_id) { return vlan_id >= 1 && vlan_id <= kMaxVlan; }

// The read-failure report of vlan_get_bd_2 (and, with the BD, the zero-BD one).
void report_read(int line, uint16_t vdc_id, uint32_t vlan_id, int32_t error)
{
    report_failure(0, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG,
                   "vlan_mgr %s:%d [%d:%d] pid %d, sdb_read(%s) failed, err 0x%x [%s]\n",
                   " %s:%d [%d:%d] pid %d, sdb_read(%s) failed, err 0x%x [%s]\n", [&] {
                       return std::make_tuple("vlan_get_bd_2", line, static_cast<int>(vdc_id),
                                              static_cast<int>(vlan_id), static_cast<int>(getpid()),
                                              handle_of(vdc_id), static_cast<unsigned>(error), syserr2str(error));
                   });
}

void report_zero_bd(uint16_t vdc_id, uint32_t vlan_id)
{
    report_failure(0, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG,
                   "vlan_mgr %s:%d [%d:%d] pid %d, sdb_read(%s) failed, err 0x%x [%s] bd=%d\n",
                   " %s:%d [%d:%d] pid %d, sdb_read(%s) failed, err 0x%x [%s] bd=%d\n", [&] {
                       return std::make_tuple("vlan_get_bd_2", 5008, static_cast<int>(vdc_id),
                                              static_cast<int>(vlan_id), static_cast<int>(getpid()),
                                              handle_of(vdc_id), 0u, syserr2str(0), 0);
                   });
}

// A lookup that the cache did not answer: read the record and fill the entry
// of the VDC's block when one exists (0 included); never makes a block. Kept
// out of line so that a hit runs without saving registers.
[[gnu::noinline]] uint32_t get_bd_miss(uint16_t vdc_id, uint32_t vlan_id, uint16_t *bd)
{
    vdc_vlan_id_t key;
    key.vdc_id = vdc_id;
    key.vlan_id = vlan_id;
    const uint32_t st = vlan_get_bd_2(key, bd);
    if (st == VLAN_MGR_OK) {
        if (uint16_t *block = cache_block(vdc_id))
            cache_entry_store(block, vlan_id, *bd);
    }
    return st;
}

} // namespace
} // namespace vlan_mgr::bd_db

using namespace vlan_mgr;
using namespace vlan_mgr::bd_db;

extern "C" {

uint32_t vlan_get_bd_2(vdc_vlan_id_t key, uint16_t *bd)
{
    const uint16_t vdc_id = key.vdc_id;
    const uint32_t vlan_id = key.vlan_id;
    if (const uint32_t st = vlan_open_bd_sdb(vdc_id); st != VLAN_MGR_OK)
        return st;
    const Read r = read_record(handle_of(vdc_id), make_key(vdc_id, vlan_id));
    if (r.ok) {
        if (r.len < rec::VlanRecord::bd_id.end()) {
            // A record too short to hold a BD id: a failed read.
            report_read(4998, vdc_id, vlan_id, static_cast<int32_t>(VLAN_MGR_ERR_TRUNCATED));
            return VLAN_MGR_ERR_TRUNCATED;
        }
        *bd = rec::VlanRecord::bd_id.get(r.reader());
        if (*bd == 0)
            report_zero_bd(vdc_id, vlan_id);
        return VLAN_MGR_OK;
    }
    // No such record: returned without a report.
    if (r.error == 0x40480003 || r.error == 0x411a0007)
        return static_cast<uint32_t>(r.error);
    // Any other failure is reported; a missing result with error word 0 is
    // reported with 0 and returns 0, leaving *bd as it was.
    report_read(4998, vdc_id, vlan_id, r.error);
    return static_cast<uint32_t>(r.error);
}

uint32_t vlan_get_bd(vdc_vlan_id_t key, uint16_t *bd)
{
    const uint16_t vdc_id = key.vdc_id;
    const uint32_t vlan_id = key.vlan_id;
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (!vlan_in_range(vlan_id))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if (bd == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    // Cache hit: a non-zero entry, no database access.
    if (const uint16_t *block = cache_block(vdc_id)) {
        if (const uint16_t cached = cache_entry_load(block, vlan_id); cached != 0) {
            *bd = cached;
            return VLAN_MGR_OK;
        }
    }
    return get_bd_miss(vdc_id, vlan_id, bd);
}

uint32_t vlan_get_bd_local(uint32_t vlan_id, uint16_t *bd)
{
    vdc_vlan_id_t key;
    key.vdc_id = vlan_mgr_local_vdc_get();
    key.vlan_id = vlan_id;
    return vlan_get_bd(key, bd);
}

uint32_t vlan_get_bd_and_primary_vlan(vdc_vlan_id_t key, uint16_t *bd, uint32_t *primary_vlan)
{
    const uint16_t vdc_id = key.vdc_id;
    const uint32_t vlan_id = key.vlan_id;
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (!vlan_in_range(vlan_id))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if (bd == nullptr || primary_vlan == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const uint32_t st = vlan_open_bd_sdb(vdc_id); st != VLAN_MGR_OK)
        return st;
    const Read r = read_record(handle_of(vdc_id), make_key(vdc_id, vlan_id));
    if (!r.has(rec::VlanRecord::primary.end()))
        return VLAN_MGR_ERR_SDB_READ;
    *bd = rec::VlanRecord::bd_id.get(r.reader());
    *primary_vlan = rec::VlanRecord::primary.get(r.reader());
    return VLAN_MGR_OK;
}

uint32_t vlan_get_bd_and_primary_vlan_local(uint32_t vlan_id, uint16_t *bd, uint32_t *primary_vlan)
{
    vdc_vlan_id_t key;
    key.vdc_id = vlan_mgr_local_vdc_get();
    key.vlan_id = vlan_id;
    return vlan_get_bd_and_primary_vlan(key, bd, primary_vlan);
}

uint32_t vlan_get_l3_bd(uint16_t vdc_id, uint16_t *bd)
{
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (bd == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const uint32_t st = vlan_open_bd_sdb(vdc_id); st != VLAN_MGR_OK)
        return st;
    const Read r = read_record(handle_of(vdc_id), make_key(vdc_id, kL3BdObject));
    if (!r.has(rec::L3BdRecord::bd_id.end()))
        return VLAN_MGR_ERR_SDB_READ;
    *bd = rec::L3BdRecord::bd_id.get(r.reader());
    return VLAN_MGR_OK;
}

uint32_t vlan_get_l3_bd_local(uint16_t *bd) { return vlan_get_l3_bd(vlan_mgr_local_vdc_get(), bd); }

uint32_t vlan_get_secondary_pvlan_list_local(uint32_t **list, uint32_t *count)
{
    if (list == nullptr || count == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *list = nullptr;
    *count = 0;
    const uint16_t vdc_id = vlan_mgr_local_vdc_get();
    if (const uint32_t st = vlan_open_bd_sdb(vdc_id); st != VLAN_MGR_OK)
        return st;
    auto *ids = static_cast<uint32_t *>(std::malloc(kMaxVlan * sizeof(uint32_t)));
    if (ids == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    *list = ids;
    uint32_t n = 0;
    for (uint32_t vlan = 1; vlan <= kMaxVlan; ++vlan) {
        const Read r = read_record(handle_of(vdc_id), make_key(vdc_id, vlan));
        if (!r.has(rec::VlanRecord::type.end()))
            continue; // failed reads are skipped
        const uint32_t type = rec::VlanRecord::type.get(r.reader());
        if (type == VLAN_MGR_VLAN_TYPE_ISOLATED || type == VLAN_MGR_VLAN_TYPE_COMMUNITY)
            ids[n++] = vlan;
    }
    *count = n;
    if (n == 0) {
        std::free(ids);
        *list = nullptr;
    }
    return VLAN_MGR_OK;
}

} // extern "C"
