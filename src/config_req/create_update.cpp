// The create/update request record: allocation, default init and its count.
#include <cstdlib>
#include <cstring>

#include <vlan_mgr/config_req.h>

#include <vlan_mgr/internal/wire.h>

extern "C" {

int32_t vlan_mgr_init_create_update_req_msg(vlan_mgr_create_update_req_t **msg, uint32_t n)
{
    // 2 x (24n + 1) bytes; a count whose size does not fit is an allocation failure.
    const uint64_t size = 48ull * n + 2;
    void *p = size <= SIZE_MAX ? std::malloc(static_cast<size_t>(size)) : nullptr;
    *msg = static_cast<vlan_mgr_create_update_req_t *>(p);
    if (p == nullptr)
        return 1;
    std::memset(p, 0, static_cast<size_t>(size));
    return 0;
}

int32_t vlan_mgr_create_update_req_default_init(void *msg)
{
    const uint16_t zero = 0;
    std::memcpy(msg, &zero, sizeof zero);
    return 0;
}

uint32_t vlan_mgr_create_update_msg_get_sz(const void *msg)
{
    uint16_t count;
    std::memcpy(&count, msg, sizeof count);
    return count;
}
}
