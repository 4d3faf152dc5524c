#include "config_req/config_common.h"

namespace vlan_mgr::config {

uint32_t decode_pairs(const wire::Reader &r, const layout::List &pairs, uint32_t count,
                      vlan_delete_result_t **results)
{
    const std::optional<size_t> size = checked_size(count, sizeof(vlan_delete_result_t), 0);
    auto *out = size ? static_cast<vlan_delete_result_t *>(std::malloc(*size)) : nullptr;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    using Pair = layout::config::Pair;
    for (uint32_t i = 0; i < count; ++i) {
        const wire::Reader e = pairs.entry(r, i);
        out[i] = {Pair::vlan_id.get(e), Pair::status.get(e)};
    }
    *results = out;
    return VLAN_MGR_OK;
}

} // namespace vlan_mgr::config
