// The init and count functions that the schema tables point to. The TLV
// utility calls them on records it allocates, and on list elements that may
// sit at any address (a 48-byte create/update element starts at offset 2 of
// its request), so members are written and read through memcpy at their
// offsets, never through a typed pointer. An init writes the members of the
// fixed part, nothing after it and no padding.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/tlv.h>

#include "frame/bitmap.h"

namespace {

uint8_t *at(void *record, size_t off) { return static_cast<uint8_t *>(record) + off; }

template <typename V>
void put(void *record, size_t off, V value)
{
    std::memcpy(at(record, off), &value, sizeof value);
}

uint32_t get_u32(const void *record, size_t off)
{
    uint32_t v;
    std::memcpy(&v, static_cast<const uint8_t *>(record) + off, sizeof v);
    return v;
}

} // namespace

// SET writes a value of the member's own width; CLEAR zeroes a member whole
// (a name buffer, a VLAN key); BITMAP writes the length word 512 and clears
// the bits.
#define SET(T, member, value) put<decltype(T::member)>(record, offsetof(T, member), (value))
#define CLEAR(T, member) std::memset(at(record, offsetof(T, member)), 0, sizeof(T::member))
#define BITMAP(T, member) vlan_mgr::bitmap::init_field(at(record, offsetof(T, member)))

extern "C" {

int32_t vlan_mgr_create_notif2_default_init(void *record)
{
    using T = vlan_create_notif2_t;
    SET(T, bd_id, 0);
    SET(T, field10, 0);
    SET(T, field7, 0);
    SET(T, field6, 0);
    CLEAR(T, vdc_vlan);
    SET(T, field13, 8);
    SET(T, field11, 0);
    SET(T, field12, 2);
    SET(T, field14, 1);
    SET(T, field15, 1);
    SET(T, field30, 0);
    CLEAR(T, name);
    return 0;
}

int32_t vlan_mgr_vdc_vlan_info_init(void *record)
{
    SET(vdc_vlan_id_t, vdc_id, 0);
    SET(vdc_vlan_id_t, vlan_id, 0);
    return 0;
}

int32_t vlan_mgr_create_notif2_payload_init(void *record)
{
    SET(vlan_create_notif2_payload_t, count, 0);
    return 0;
}

uint32_t vlan_mgr_create_notif2_payload_data_get_sz(const void *record)
{
    return get_u32(record, offsetof(vlan_create_notif2_payload_t, count));
}

int32_t vlan_mgr_delete_notif2_default_init(void *record)
{
    using T = vlan_delete_notif2_t;
    SET(T, bd_id, 0);
    CLEAR(T, vdc_vlan);
    SET(T, field20, 100);
    SET(T, field15, 1);
    CLEAR(T, name);
    SET(T, field31, 0);
    return 0;
}

int32_t vlan_mgr_delete_notif2_payload_init(void *record)
{
    SET(vlan_delete_notif2_payload_t, count, 0);
    return 0;
}

uint32_t vlan_mgr_delete_notif2_payload_data_get_sz(const void *record)
{
    return get_u32(record, offsetof(vlan_delete_notif2_payload_t, count));
}

int32_t vlan_mgr_create_update_default_init(void *record)
{
    using T = vlan_mgr_create_update_t;
    SET(T, field3, 0);
    SET(T, field5, 0);
    SET(T, field6, 0);
    SET(T, field7, 0);
    CLEAR(T, name);
    return 0;
}

int32_t vlan_name_req_msg_default_init(void *)
{
    return 0; // the caller fills the whole bitmap
}

int32_t vlan_name_rsp_default_init(void *record)
{
    using T = vlan_name_and_state_t;
    SET(T, vlan_id, 0);
    SET(T, field6, 0);
    SET(T, bd_id, 0);
    SET(T, field23, 0);
    SET(T, field13, 0);
    SET(T, field22, 0);
    CLEAR(T, name);
    return 0;
}

int32_t vlan_name_rsp_msg_default_init(void *record)
{
    SET(vlan_name_rsp_t, count, 0);
    return 0;
}

uint32_t vlan_name_rsp_msg_data_get_sz(const void *record)
{
    return get_u32(record, offsetof(vlan_name_rsp_t, count));
}

int32_t vlan_configmode_payload_init(void *record)
{
    using T = vlan_configmode_payload_t;
    SET(T, field26, 0);
    SET(T, field27, 0);
    BITMAP(T, vlans);
    return 0;
}

int32_t vlan_configmode_rsp_init(void *record)
{
    SET(vlan_configmode_rsp_t, field29, 0);
    return 0;
}

int32_t vlan_get_port_memb_2_req_init(void *record)
{
    SET(vlan_get_port_memb_2_req_t, field0, 1);
    SET(vlan_get_port_memb_2_req_t, ifindex_count, 0);
    return 0;
}

uint32_t vlan_get_port_memb_2_req_ifindex_list_get_sz(const void *record)
{
    return get_u32(record, offsetof(vlan_get_port_memb_2_req_t, ifindex_count));
}

int32_t vlan_get_port_memb_2_init(void *record)
{
    using T = vlan_get_port_memb_2_t;
    SET(T, field3, 0);
    SET(T, field6, 1);
    SET(T, field7, 1);
    SET(T, field8, 0);
    SET(T, field9, 0);
    SET(T, field10, 0);
    return 0;
}

int32_t vlan_get_port_memb_2_rsp_init(void *record)
{
    SET(vlan_get_port_memb_2_rsp_t, field4, 0);
    SET(vlan_get_port_memb_2_rsp_t, count, 0);
    return 0;
}

uint32_t vlan_get_port_memb_2_rsp_get_port_memb_list_sz(const void *record)
{
    return get_u32(record, offsetof(vlan_get_port_memb_2_rsp_t, count));
}

int32_t vlan_get_port_trunking_memb_2_init(void *record)
{
    using T = vlan_get_port_trunking_memb_2_t;
    SET(T, field3, 0);
    SET(T, field4, 0);
    SET(T, field5, 0);
    BITMAP(T, vlans6);
    BITMAP(T, vlans7);
    SET(T, field8, 0);
    return 0;
}

int32_t vlan_get_port_trunking_memb_2_rsp_init(void *record)
{
    SET(vlan_get_port_trunking_memb_2_rsp_t, field0, 0);
    SET(vlan_get_port_trunking_memb_2_rsp_t, count, 0);
    return 0;
}

uint32_t vlan_get_port_trunking_memb_2_rsp_get_port_memb_list_sz(const void *record)
{
    return get_u32(record, offsetof(vlan_get_port_trunking_memb_2_rsp_t, count));
}

int32_t vlan_get_diag_vlan_info_req_init(void *record)
{
    SET(vlan_get_diag_vlan_info_req_t, field0, 0);
    return 0;
}

int32_t vlan_id_and_bd_init(void *record)
{
    SET(vlan_id_and_bd_t, vlan_id, 0);
    SET(vlan_id_and_bd_t, bd_id, 0);
    return 0;
}

int32_t vlan_get_diag_vlan_info_rsp_init(void *record)
{
    SET(vlan_get_diag_vlan_info_rsp_t, field0, 0);
    SET(vlan_get_diag_vlan_info_rsp_t, count, 0);
    return 0;
}

uint32_t vlan_get_diag_vlan_info_rsp_vlan_id_and_bd_list_sz(const void *record)
{
    return get_u32(record, offsetof(vlan_get_diag_vlan_info_rsp_t, count));
}

int32_t vlan_get_all_created_vlan_2_req_init(void *record)
{
    SET(vlan_get_all_created_vlan_2_req_t, field0, 0);
    return 0;
}

int32_t vlan_get_all_created_vlan_2_info_init(void *record)
{
    using T = vlan_get_all_created_vlan_2_info_t;
    SET(T, field3, 0);
    SET(T, field4, 0);
    SET(T, field5, 0);
    SET(T, field6, 2);
    SET(T, field7, 8);
    SET(T, field8, 0);
    SET(T, field9, 0);
    return 0;
}

int32_t vlan_get_all_created_vlan_2_rsp_init(void *record)
{
    SET(vlan_get_all_created_vlan_2_rsp_t, field0, 0);
    SET(vlan_get_all_created_vlan_2_rsp_t, count, 0);
    return 0;
}

uint32_t vlan_get_all_created_vlan_2_rsp_list_sz(const void *record)
{
    return get_u32(record, offsetof(vlan_get_all_created_vlan_2_rsp_t, count));
}

int32_t vlan_dyn_rsvd_vlan_req_msg_default_init(void *record)
{
    SET(vlan_dyn_rsvd_req_t, field32, VLAN_MGR_DYN_RSVD_ALL);
    return 0;
}

int32_t vlan_get_dyn_rsvd_vlan_rsp_default_init(void *record)
{
    using T = vlan_dyn_rsvd_rsp_t;
    BITMAP(T, vlans33);
    BITMAP(T, vlans34);
    BITMAP(T, vlans35);
    BITMAP(T, vlans36);
    BITMAP(T, vlans37);
    return 0;
}

int32_t vlan_mgr_comprgrp_change_notif_init(void *)
{
    return 0; // the sender fills the whole record
}

} // extern "C"

#undef SET
#undef CLEAR
#undef BITMAP
