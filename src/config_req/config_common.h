// What the configuration request families share among themselves: the
// decoding of {VLAN id, status} pair lists. The helpers that every request
// family uses live in frame/payload.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include <vlan_mgr/config_req.h>

#include "config_req/layout.h"
#include "frame/payload.h"

namespace vlan_mgr::config {

// Decodes the first `count` {VLAN id, status} pairs of the list `pairs` into
// a new array stored in *results (malloc'ed even for 0 pairs). The caller has
// checked that the pairs lie inside the payload. Returns 0 or
// VLAN_MGR_ERR_NO_MEMORY (*results left NULL).
uint32_t decode_pairs(const wire::Reader &r, const layout::List &pairs, uint32_t count,
                      vlan_delete_result_t **results);
// The same for pairs that start at offset `off`.
inline uint32_t decode_pairs(const wire::Reader &r, size_t off, uint32_t count, vlan_delete_result_t **results)
{
    return decode_pairs(r, layout::List{off, layout::config::Pair::kLen}, count, results);
}

} // namespace vlan_mgr::config
