// Helpers of the VLAN query handler tests: a manager with a known set of
// VLANs, requests built by the library's builders kept as byte vectors (so
// that they can be cut short), and VLAN bitmaps.
#ifndef VLAN_MGRD_QUERY_TEST_UTIL_H
#define VLAN_MGRD_QUERY_TEST_UTIL_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <vlan_mgr/frame.h>

#include "handler_test_util.h"
#include "state.h"

namespace vlan_mgrd::qtest {

using Bytes = std::vector<uint8_t>;

// A builder's malloc'ed payload as bytes; the payload is freed.
inline Bytes take(void *payload, uint32_t len)
{
    const auto *p = static_cast<const uint8_t *>(payload);
    Bytes b(p, p + len);
    std::free(payload);
    return b;
}

inline vlan_bitmap bitmap_of(std::initializer_list<uint32_t> vlans)
{
    vlan_bitmap bm;
    bm.len = VLAN_MGR_BITMAP_BYTES;
    std::memset(bm.bits, 0, sizeof bm.bits);
    for (uint32_t v : vlans)
        bm.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return bm;
}

inline vlan_bitmap bitmap_range(uint32_t first, uint32_t last)
{
    vlan_bitmap bm = bitmap_of({});
    for (uint32_t v = first; v <= last; ++v)
        bm.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return bm;
}

// The VLAN ids set in a bitmap, ascending.
inline std::vector<uint32_t> members(const vlan_bitmap &bm)
{
    std::vector<uint32_t> out;
    for (uint32_t v = 0; v < 4096; ++v)
        if (bm.bits[v / 8] & (0x80u >> (v % 8)))
            out.push_back(v);
    return out;
}

inline std::vector<uint32_t> range_ids(uint32_t first, uint32_t last)
{
    std::vector<uint32_t> out;
    for (uint32_t v = first; v <= last; ++v)
        out.push_back(v);
    return out;
}

// The manager of the query tests. VDC 1: VLAN 1 (default); VLAN 10 named
// "finance"; primary VLAN 20 named "pvlan-primary" with isolated 21 and
// community 22; VLAN 30 with mode 2, segment 5000, suspended; reserved range
// 3968..4094. VDC 2: VLAN 100.
inline std::unique_ptr<Manager> make_manager()
{
    auto m = std::make_unique<Manager>();
    Vdc &d = m->vdc(1);
    d.vlans[10].created = true;
    d.vlans[10].name = "finance";
    d.vlans[20].created = true;
    d.vlans[20].name = "pvlan-primary";
    d.vlans[20].type = VLAN_MGR_VLAN_TYPE_PRIMARY;
    d.vlans[20].secondaries.set(21);
    d.vlans[20].secondaries.set(22);
    d.vlans[21].created = true;
    d.vlans[21].type = VLAN_MGR_VLAN_TYPE_ISOLATED;
    d.vlans[21].primary = 20;
    d.vlans[22].created = true;
    d.vlans[22].type = VLAN_MGR_VLAN_TYPE_COMMUNITY;
    d.vlans[22].primary = 20;
    d.vlans[30].created = true;
    d.vlans[30].mode = 2;
    d.vlans[30].segment = 5000;
    d.vlans[30].state = VlanState::Suspended;
    for (uint32_t v = 3968; v <= 4094; ++v)
        d.reserved.set(v);
    d.rsvd_start = 3968;
    d.rsvd_end = 4094;
    m->vdc(2).vlans[100].created = true;
    return m;
}

// Every VLAN 1..4094 of VDC 1 created, nothing reserved.
inline void create_all(Manager &m)
{
    Vdc &d = m.vdc(1);
    d.reserved.reset();
    d.rsvd_start = d.rsvd_end = 0;
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        d.vlans[v].created = true;
}

inline std::vector<uint8_t> status_reply(uint32_t status)
{
    return {static_cast<uint8_t>(status >> 24), static_cast<uint8_t>(status >> 16), static_cast<uint8_t>(status >> 8),
            static_cast<uint8_t>(status)};
}

} // namespace vlan_mgrd::qtest

#endif
