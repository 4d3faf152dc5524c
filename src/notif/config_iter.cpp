// The walk over the VLAN name records of a config-change notification: each
// record is 18 bytes of header and the two lengths it holds at 10 and 14.
#include <cstring>

#include <vlan_mgr/notif.h>

extern "C" {

uint32_t vlan_mgr_config_changed_notif_iter_init(const void *first, uint32_t count,
                                                 vlan_mgr_config_changed_notif_iter_t *iter)
{
    if (first == nullptr || iter == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    iter->first = first;
    iter->remaining = count;
    iter->first_call = 1;
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_config_changed_notif_get_attr(vlan_mgr_config_changed_notif_iter_t *iter, const void **cursor)
{
    if (iter == nullptr || cursor == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (iter->remaining == 0) {
        *cursor = nullptr;
        return VLAN_MGR_OK;
    }
    if (iter->first_call != 0) {
        *cursor = iter->first;
        iter->first_call = 0;
    } else {
        // The next record starts after the one the caller's cursor is at.
        const auto *rec = static_cast<const uint8_t *>(*cursor);
        if (rec == nullptr)
            return VLAN_MGR_ERR_INVALID_ARG;
        uint32_t a, b;
        std::memcpy(&a, rec + offsetof(vlan_mgr_notif_vlan_name_t, len_a), 4);
        std::memcpy(&b, rec + offsetof(vlan_mgr_notif_vlan_name_t, len_b), 4);
        *cursor = rec + sizeof(vlan_mgr_notif_vlan_name_t) + size_t{a} + b;
    }
    --iter->remaining;
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_config_changed_notif_iter_destroy(vlan_mgr_config_changed_notif_iter_t *iter,
                                                    void (*release)(void *))
{
    if (iter == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (release != nullptr)
        release(const_cast<void *>(iter->first));
    return VLAN_MGR_OK;
}

} // extern "C"
