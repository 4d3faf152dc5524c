#include "config_req/config_common.h"

namespace vlan_mgr::config {

uint32_t decode_pairs(const wire::Reader &r, size_t off, uint32_t count, vlan_delete_result_t **results)
{
    const std::optional<size_t> size = checked_size(count, sizeof(vlan_delete_result_t), 0);
    auto *out = size ? static_cast<vlan_delete_result_t *>(std::malloc(*size)) : nullptr;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    for (uint32_t i = 0; i < count; ++i, off += 8)
        out[i] = {r.u32(off), r.u32(off + 4)};
    *results = out;
    return VLAN_MGR_OK;
}

} // namespace vlan_mgr::config
