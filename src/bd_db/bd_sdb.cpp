// The BD database's handle and cache: the process-wide tables set up by the
// library constructor, the per-VDC open and close of the database, the cache
// switch and the cache entry updates.
//
// The constructor lives in this object together with vlan_open_bd_sdb. A
// program linked with the static archive keeps this object (and so the
// constructor) even when it calls nothing of it: the archive's CMake target
// passes --undefined=vlan_open_bd_sdb to the linker.
#include "bd_db/bd_cache.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include <vlan_mgr/bd_db.h>

#include "frame/local_vdc.h"
#include "frame/report.h"
#include "vlan_mgr_platform.h"

extern "C" {
char **bd_sdb_uri_p = nullptr;
int32_t vlan_mgr_pblr_lib_init_done = 0;
}

namespace vlan_mgr::bd_db {

char **vlan_mgr_bd_sdb_uri = nullptr;
uint8_t *opened_flag = nullptr;
uint8_t first_open_marker = 0;
uint16_t **bd_sdb_cached_p = nullptr;
int32_t bd_cache_enabled = 0;
void *load_kept[2 * kVdcCount] = {};

namespace {

constexpr PublisherDescriptor kPublisherDescriptor = {"vlan_mgr_bd_sdb", {0, 23614, 0, 2, 0, 0, 0}};

} // namespace

const PublisherParams kPublisherParams = {{1, 0, 0, 0}, &kPublisherDescriptor};

namespace {

constexpr size_t kCacheBlockBytes = kCacheEntries * sizeof(uint16_t); // 8192

// The load-failure path: report (class 102, INFO_MSG) with "vlan_mgr" directly
// followed by the text, then abort whether or not syslog sent it.
[[noreturn]] void load_failed(const char *what)
{
    report_failure(0, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG, "vlan_mgr%s", "%s",
                   [&] { return std::make_tuple(what); });
    std::abort();
}

void *alloc_or_die(size_t size, const char *what)
{
    void *p = std::malloc(size);
    if (p == nullptr)
        load_failed(what);
    return p;
}

// A table of five pointers, each to a zero-filled 100-byte buffer.
char **alloc_uri_table(const char *what)
{
    auto **table = static_cast<char **>(alloc_or_die(kVdcCount * sizeof(char *), what));
    for (unsigned i = 0; i < kVdcCount; ++i) {
        table[i] = static_cast<char *>(alloc_or_die(kUriBufSize, what));
        std::memset(table[i], 0, kUriBufSize);
    }
    return table;
}

void free_cache_blocks()
{
    for (unsigned i = 0; i < kVdcCount; ++i) {
        uint16_t *block = bd_sdb_cached_p[i];
        __atomic_store_n(&bd_sdb_cached_p[i], nullptr, __ATOMIC_RELEASE);
        std::free(block);
    }
}

void forget_uri(unsigned i)
{
    std::memset(vlan_mgr_bd_sdb_uri[i], 0, kUriBufSize);
    bd_sdb_uri_p[i] = nullptr;
}

// The VDC's URI into its buffer: VDC 1 without a directory, the others with
// their id as one.
void format_uri(uint16_t vdc_id)
{
    char *buf = vlan_mgr_bd_sdb_uri[vdc_id - 1];
    std::memset(buf, 0, kUriBufSize);
    if (vdc_id == 1)
        std::snprintf(buf, kUriFormatBound, "volatile:/dev/shm/%s%s", "vlan_mgr_", "bd_sdb");
    else
        std::snprintf(buf, kUriFormatBound, "volatile:/dev/shm/%d/%s%s", static_cast<int>(vdc_id), "vlan_mgr_",
                      "bd_sdb");
    bd_sdb_uri_p[vdc_id - 1] = buf;
}

// Checks the VLAN id of an entry update; an id outside 1..4094 is reported.
bool entry_vlan_ok(uint16_t vdc_id, int64_t vlan_id)
{
    if (vlan_id >= 1 && vlan_id <= 4094)
        return true;
    report_failure(0, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG,
                   "vlan_mgr pid %d, vdc %d: got invalid VLAN id %d, must be %d<=VLAN<=%d\n",
                   " pid %d, vdc %d: got invalid VLAN id %d, must be %d<=VLAN<=%d\n", [&] {
                       return std::make_tuple(static_cast<int>(getpid()), static_cast<int>(vdc_id),
                                              static_cast<int>(vlan_id), 1, 4094);
                   });
    return false;
}

} // namespace

void load_tables()
{
    // 1. The cache table; the five blocks made here are dropped, not freed:
    // cache blocks come into being only through vlan_mgr_check_bd_cache.
    bd_sdb_cached_p = static_cast<uint16_t **>(alloc_or_die(kVdcCount * sizeof(uint16_t *), "bd_sdb_cached_p malloc failed"));
    for (unsigned i = 0; i < kVdcCount; ++i) {
        void *block = alloc_or_die(kUnusedBlockSize, "bd_sdb_cached_p malloc failed");
        std::memset(block, 0, kUriBufSize);
        bd_sdb_cached_p[i] = static_cast<uint16_t *>(block);
        load_kept[i] = block;
    }
    for (unsigned i = 0; i < kVdcCount; ++i)
        bd_sdb_cached_p[i] = nullptr;
    // 2.
    bd_cache_enabled = 0;
    // 3. Cleared again by the first vlan_open_bd_sdb; zeroed here as well, so
    // that a close before any open never sees heap contents as "open".
    opened_flag = static_cast<uint8_t *>(alloc_or_die(kVdcCount, "opened_flag malloc failed"));
    std::memset(opened_flag, 0, kVdcCount);
    // 4. and 5.
    bd_sdb_uri_p = alloc_uri_table("bd_sdb_uri_p malloc failed");
    for (unsigned i = 0; i < kVdcCount; ++i)
        load_kept[kVdcCount + i] = bd_sdb_uri_p[i];
    vlan_mgr_bd_sdb_uri = alloc_uri_table("vlan_mgr_bd_sdb_uri malloc failed");
    // 6. The publisher library, once per process.
    if (vlan_mgr_pblr_lib_init_done == 0) {
        if (fsrv_sdb_publisher_lib_init(&kPublisherParams) != 0)
            std::abort();
        vlan_mgr_pblr_lib_init_done = 1;
    }
}

} // namespace vlan_mgr::bd_db

namespace {
// Runs before the constructors without a priority, so that a program's own
// static constructors already find the tables.
__attribute__((constructor(101))) void vlan_mgr_bd_db_constructor() { vlan_mgr::bd_db::load_tables(); }
} // namespace

using namespace vlan_mgr;
using namespace vlan_mgr::bd_db;

extern "C" {

uint32_t vlan_open_bd_sdb(uint16_t vdc_id)
{
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (first_open_marker == 0) {
        first_open_marker = 1;
        for (unsigned i = 0; i < kVdcCount; ++i) {
            opened_flag[i] = 0;
            bd_sdb_uri_p[i] = nullptr;
        }
    }
    const unsigned i = vdc_id - 1u;
    if (opened_flag[i] != 0)
        return VLAN_MGR_OK;
    if (bd_sdb_uri_p[i] == nullptr) {
        uint32_t state = 0;
        const bool switched = vdc_is_created(vdc_id, &state) != 0 && vdc_id != vlan_mgr_local_vdc_get();
        if (switched) {
            if (const int32_t r = sysmgr_set_vdc_ctxt(vdc_id); r != 0)
                return static_cast<uint32_t>(r);
        }
        format_uri(vdc_id);
        if (switched) {
            if (const int32_t r = sysmgr_reset_vdc_ctxt(); r != 0)
                return static_cast<uint32_t>(r);
        }
    }
    const int32_t r = sdb_open(bd_sdb_uri_p[i], 1, 0, 0, 0);
    if (r == 0 || r == kSdbAlreadyOpen) {
        opened_flag[i] = 1;
        return VLAN_MGR_OK;
    }
    report_failure(0, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG,
                   "vlan_mgr %s:%d pid %d, vdc %d, sdb_open(%s) failed, err 0x%x [%s]\n",
                   " %s:%d pid %d, vdc %d, sdb_open(%s) failed, err 0x%x [%s]\n", [&] {
                       return std::make_tuple("vlan_open_bd_sdb", 4854, static_cast<int>(getpid()),
                                              static_cast<int>(vdc_id), static_cast<const char *>(bd_sdb_uri_p[i]),
                                              static_cast<unsigned>(r), syserr2str(r));
                   });
    forget_uri(i);
    return static_cast<uint32_t>(r);
}

uint32_t vlan_close_bd_sdb(uint16_t vdc_id)
{
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    const unsigned i = vdc_id - 1u;
    if (opened_flag[i] == 1) {
        if (sdb_close(bd_sdb_uri_p[i]) != 0)
            return kErrCloseFailed;
        opened_flag[i] = 0;
    }
    forget_uri(i);
    uint16_t *block = bd_sdb_cached_p[i];
    if (block != nullptr) {
        __atomic_store_n(&bd_sdb_cached_p[i], nullptr, __ATOMIC_RELEASE);
        std::free(block);
    }
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_enable_cached_bd_sdb(void)
{
    if (bd_cache_enabled == 1)
        return VLAN_MGR_OK;
    free_cache_blocks();
    bd_cache_enabled = 1;
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_disable_cached_bd_sdb(void)
{
    free_cache_blocks();
    bd_cache_enabled = 0;
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_check_bd_cache(uint16_t vdc_id)
{
    if (bd_cache_enabled == 0)
        return kErrCacheOff;
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (cache_block(vdc_id) != nullptr)
        return VLAN_MGR_OK;
    // The block is zeroed before it is published, so that a lookup on another
    // thread never sees it uninitialised.
    auto *block = static_cast<uint16_t *>(std::malloc(kCacheBlockBytes));
    if (block != nullptr)
        std::memset(block, 0, kCacheBlockBytes);
    __atomic_store_n(&bd_sdb_cached_p[vdc_id - 1], block, __ATOMIC_RELEASE);
    if (block == nullptr)
        return report_failure(VLAN_MGR_ERR_NO_MEMORY, VLAN_MGR_REPORT_VDC_MISMATCH, syslog_msg_ERROR_MSG,
                              "vlan_mgr %s: pid %d, vdc %d, malloc %d bytes BD cache failed\n",
                              " %s: pid %d, vdc %d, malloc %d bytes BD cache failed\n", [&] {
                                  return std::make_tuple("vlan_mgr_check_bd_cache", static_cast<int>(getpid()),
                                                         static_cast<int>(vdc_id),
                                                         static_cast<int>(kCacheBlockBytes));
                              });
    return VLAN_MGR_OK;
}

void vlan_mgr_invalidate_bd_cache_entry(uint16_t vdc_id, int32_t vlan_id)
{
    if (!entry_vlan_ok(vdc_id, vlan_id))
        return;
    if (vlan_mgr_check_bd_cache(vdc_id) == VLAN_MGR_OK)
        cache_entry_store(cache_block(vdc_id), static_cast<uint32_t>(vlan_id), 0);
}

void vlan_mgr_set_bd_cache_entry(uint16_t vdc_id, uint32_t vlan_id, uint16_t bd_id)
{
    if (!entry_vlan_ok(vdc_id, vlan_id))
        return;
    if (vlan_mgr_check_bd_cache(vdc_id) == VLAN_MGR_OK)
        cache_entry_store(cache_block(vdc_id), vlan_id, bd_id);
}

} // extern "C"
