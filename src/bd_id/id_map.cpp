// VLAN ids and software BD ids: the identity mapping in both directions and
// the conversion of VLAN and BD bitmaps.
#include <vlan_mgr/bd_id.h>

#include "frame/bitmap.h"
#include <vlan_mgr/internal/wire.h>

namespace {

bool in_vlan_range(uint32_t bd_id) { return bd_id >= 1 && bd_id <= VLAN_MGR_BD_MAX_VLAN; }

// dst becomes a fresh bitmap (length word 512) holding every id set in src,
// mapped one to one. The walk goes through src's set ids in ascending order;
// src's length word is not read.
uint32_t convert_bitset(const vlan_bitmap *src, vlan_bitmap *dst)
{
    namespace bm = vlan_mgr::bitmap;
    if (src == nullptr || dst == nullptr)
        return VLAN_MGR_ERR_BD_NOT_SUPPORTED;
    uint8_t *out = reinterpret_cast<uint8_t *>(dst);
    if (src == dst) {
        // Converting in place: clearing dst first would lose the source, and
        // the identity leaves every bit where it is. Only the length word
        // is rewritten.
        vlan_mgr::wire::put_host_u32(out, 0, static_cast<uint32_t>(bm::kBytes));
        return VLAN_MGR_OK;
    }
    bm::init_field(out);
    for (int32_t id = bm::find_next_bits(src->bits, 0); id >= 0;
         id = bm::find_next_bits(src->bits, static_cast<uint32_t>(id) + 1))
        bm::set(out + 4, static_cast<uint32_t>(id));
    return VLAN_MGR_OK;
}

} // namespace

extern "C" {

uint32_t vlan_id_to_sw_bd_id(uint32_t vlan_id, uint32_t *out_bd)
{
    if (out_bd == nullptr)
        return VLAN_MGR_ERR_BD_NOT_SUPPORTED;
    *out_bd = 0;
    if (vlan_id > VLAN_MGR_BD_MAX_VLAN)
        return VLAN_MGR_ERR_BD_NOT_SUPPORTED;
    *out_bd = vlan_id;
    return VLAN_MGR_OK;
}

uint32_t sw_bd_id_to_vlan_id(uint32_t bd_id, uint32_t *out_vlan)
{
    if (out_vlan == nullptr)
        return VLAN_MGR_ERR_BD_NOT_SUPPORTED;
    if (!in_vlan_range(bd_id))
        return VLAN_MGR_ERR_BD_NOT_IN_VLAN_RANGE;
    *out_vlan = bd_id;
    return VLAN_MGR_OK;
}

int32_t sw_bd_is_in_vlan_range(uint32_t bd_id) { return in_vlan_range(bd_id) ? 1 : 0; }

uint32_t sw_bd_bitset_to_vlan_bitset(const vlan_bitmap *src, vlan_bitmap *dst) { return convert_bitset(src, dst); }

uint32_t vlan_bitset_to_sw_bd_bitset(const vlan_bitmap *src, vlan_bitmap *dst) { return convert_bitset(src, dst); }
}
