// Feeds arbitrary database records to the BD lookups and the port and VLAN
// getters through the test platform's in-memory database: the input is cut
// into records (a length byte, then that many bytes), stored under VLAN keys
// 1, 2, ... of VDC 1, and the last ones under the layer-3 key and the access
// and trunking keys of port 1. Every getter must stay inside the records.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <vlan_mgr/bd_db.h>

#include "bd_db/bd_cache.h"
#include "test_platform.h"

namespace {

const char kUri[] = "volatile:/dev/shm/vlan_mgr_bd_sdb";

void put(const tp::Bytes &key, const uint8_t *p, size_t n) { tp::sdb_put(kUri, key, tp::Bytes(p, p + n)); }

void touch(const void *p, size_t n)
{
    volatile uint8_t sink = 0;
    const auto *b = static_cast<const uint8_t *>(p);
    for (size_t i = 0; i < n; ++i)
        sink = static_cast<uint8_t>(sink ^ b[i]);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    tp::reset();
    for (uint16_t vdc = 1; vdc <= 5; ++vdc)
        vlan_close_bd_sdb(vdc);
    tp::state().vdc_id = 1;
    tp::state().module_type = 232;

    // Records of VLANs 1, 2, ...: a length byte (0..31), then the bytes.
    size_t off = 0;
    uint32_t vlan = 1;
    while (off < size && vlan <= 64) {
        const size_t n = std::min<size_t>(data[off] & 31u, size - off - 1);
        put({0x01, 0x00, 0x00, static_cast<uint8_t>(vlan)}, data + off + 1, n);
        off += 1 + n;
        ++vlan;
    }
    // The rest of the input is the layer-3 record and both membership records
    // of port 1 (interface index 1: key bytes 00 00 00 01 after the type).
    const uint8_t *rest = data + off;
    const size_t rest_n = size - off;
    put({0x01, 0x00, 0x10, 0x00}, rest, rest_n);
    put({0x01, 0x00, 0x00, 0x00, 0x01}, rest, rest_n);
    put({0x02, 0x00, 0x00, 0x00, 0x01}, rest, rest_n);

    vlan_mgr_enable_cached_bd_sdb();
    vlan_mgr_invalidate_bd_cache_entry(1, 1);
    for (uint32_t v = 1; v < vlan; ++v) {
        vdc_vlan_id_t key;
        key.vdc_id = 1;
        key.vlan_id = v;
        uint16_t bd = 0;
        uint32_t primary = 0, value = 0;
        vlan_get_bd(key, &bd);
        vlan_get_bd(key, &bd);
        vlan_get_bd_and_primary_vlan(key, &bd, &primary);
        vlan_mgr_sdb_get_vlan_type(1, v, &value);
        vlan_mgr_sdb_get_vlan_mode(1, v, &value);
        vlan_mgr_sdb_get_vlan_segment_id(1, v, &value);
    }
    uint16_t l3 = 0;
    vlan_get_l3_bd(1, &l3);
    uint32_t *secondary = nullptr;
    uint32_t n_secondary = 0;
    if (vlan_get_secondary_pvlan_list_local(&secondary, &n_secondary) == 0)
        touch(secondary, n_secondary * sizeof *secondary);
    std::free(secondary);

    vlan_bitmap bm;
    bm.len = 512;
    std::memset(bm.bits, 0, sizeof bm.bits);
    for (uint32_t v = 0; v < vlan; ++v)
        bm.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    uint32_t count = 0;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    if (vlan_mgr_sdb_get_multi_vlan_type(1, &bm, &count, &pairs) == 0)
        touch(pairs, count * sizeof *pairs);
    std::free(pairs);
    pairs = nullptr;
    if (vlan_mgr_sdb_get_multi_vlan_mode(1, &bm, &count, &pairs) == 0)
        touch(pairs, count * sizeof *pairs);
    std::free(pairs);
    pairs = nullptr;
    if (vlan_mgr_sdb_get_multi_vlan_segment_id(1, &bm, &count, &pairs) == 0)
        touch(pairs, count * sizeof *pairs);
    std::free(pairs);

    uint32_t found = 0;
    vlan_mgr_sdb_get_segment_vlan_id(1, size > 0 ? data[0] : 0, &found);

    int32_t ports[2] = {1, 1};
    uint32_t *entries = nullptr;
    if (vlan_mgr_sdb_get_port_accntv_memb(ports, 2, &entries) == 0)
        touch(entries, 2 * 24);
    std::free(entries);
    uint32_t tports[1] = {1};
    entries = nullptr;
    if (vlan_mgr_sdb_get_port_trunking_memb(1, tports, 1, &entries) == 0)
        touch(entries, 1052);
    std::free(entries);
    vlan_mgr_disable_cached_bd_sdb();
    return 0;
}
