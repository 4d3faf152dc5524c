// The common reply rules that every parser applies before decoding: a 4-byte
// reply is a bare status word, an empty reply (or none at all) is an error.
#pragma once

#include <cstdint>
#include <optional>

#include <vlan_mgr/frame.h>

#include <vlan_mgr/internal/wire.h>

namespace vlan_mgr {

// A value when the parser must return it at once without decoding; nullopt
// when the reply carries fields to decode.
inline std::optional<uint32_t> common_reply_status(const void *payload, uint32_t payload_len)
{
    if (payload == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    if (payload_len == 4)
        return wire::get_u32(static_cast<const uint8_t *>(payload), 0);
    if (payload_len == 0)
        return VLAN_MGR_ERR_NO_MEMORY;
    return std::nullopt;
}

} // namespace vlan_mgr
