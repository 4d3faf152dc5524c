// What the configuration request families share among themselves: the
// decoding of {VLAN id, status} pair lists. The helpers that every request
// family uses live in frame/payload.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include <vlan_mgr/config_req.h>

#include "frame/payload.h"

namespace vlan_mgr::config {

// Decodes `count` {VLAN id, status} pairs of 8 bytes from offset `off` into
// a new array stored in *results (malloc'ed even for 0 pairs). The caller has
// checked that the pairs lie inside the payload. Returns 0 or
// VLAN_MGR_ERR_NO_MEMORY (*results left NULL).
uint32_t decode_pairs(const wire::Reader &r, size_t off, uint32_t count, vlan_delete_result_t **results);

} // namespace vlan_mgr::config
