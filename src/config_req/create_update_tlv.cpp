// The create/update request in its TLV form: the two entry points over the
// request's accessor family. Unlike the other TLV-framed messages they hand
// the caller's outs to the utility as they stand, without clearing them.
#include <cstdint>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/tlv.h>

extern "C" {

int32_t vlan_mgr_create_update_build_mts(const vlan_mgr_create_update_req_t *record, void **tlv_buffer,
                                         uint32_t *tlv_len)
{
    uint32_t fields_written = 0; // scratch: the count is not reported
    return vlan_mgr_create_update_req_to_tlv(record, tlv_buffer, tlv_len, 0, &fields_written, 0);
}

int32_t vlan_mgr_create_update_parse_req(const void *tlv_buffer, uint32_t tlv_len, vlan_mgr_create_update_req_t **record)
{
    // The utility stores the new record through the caller's out itself.
    return vlan_mgr_create_update_req_to_struct(reinterpret_cast<void **>(record), tlv_buffer, tlv_len, 0);
}
}
