/* Reserved VLAN ranges: the reserved VLAN groups and the configured and future ranges. */
#ifndef VLAN_MGR_RSVD_H
#define VLAN_MGR_RSVD_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

/* Status of the range queries when a range record could not be read (missing,
 * or shorter than its value). */
#define VLAN_MGR_ERR_RSVD_READ 0x4110001cu

/* The reserved-VLAN bitmap set: six VLAN bitmaps of 516 bytes each, 3096
 * bytes in all. After an allocation `rsvd_candidates` holds the configured
 * reserved range plus VLAN 4094, the four groups hold what was handed out
 * (64 VLANs, 4, 4 and one single VLAN), and `rsvd_spare` stays empty.
 * Packed, and aligned like its length words, so that the address of each of
 * its bitmaps is an aligned `vlan_bitmap *`. */
typedef struct VLAN_MGR_PACKED __attribute__((aligned(4))) dyn_rsvd_vlan_bitmaps {
    vlan_bitmap rsvd_candidates;
    vlan_bitmap rsvd_group64;
    vlan_bitmap rsvd_group4_first;
    vlan_bitmap rsvd_group4_second;
    vlan_bitmap rsvd_single;
    vlan_bitmap rsvd_spare;
} dyn_rsvd_vlan_bitmaps_t;
VLAN_MGR_ASSERT_SIZE(dyn_rsvd_vlan_bitmaps_t, 3096);
VLAN_MGR_ASSERT_OFFSET(dyn_rsvd_vlan_bitmaps_t, rsvd_candidates, 0);
VLAN_MGR_ASSERT_OFFSET(dyn_rsvd_vlan_bitmaps_t, rsvd_group64, 516);
VLAN_MGR_ASSERT_OFFSET(dyn_rsvd_vlan_bitmaps_t, rsvd_group4_first, 1032);
VLAN_MGR_ASSERT_OFFSET(dyn_rsvd_vlan_bitmaps_t, rsvd_group4_second, 1548);
VLAN_MGR_ASSERT_OFFSET(dyn_rsvd_vlan_bitmaps_t, rsvd_single, 2064);
VLAN_MGR_ASSERT_OFFSET(dyn_rsvd_vlan_bitmaps_t, rsvd_spare, 2580);

/* Allocation modes of vlan_mgr_allocate_rsvd_vlans; any other value allocates
 * dynamically from the candidates. */
#define VLAN_MGR_RSVD_ALLOC_DEFAULT  1u
#define VLAN_MGR_RSVD_ALLOC_EXTENDED 2u
#define VLAN_MGR_RSVD_ALLOC_DYNAMIC  3u

/* Process-wide values kept for the processes that link the library; all zero
 * at load. The library itself neither reads nor writes them. */
VLAN_MGR_API extern uint32_t DYN_RSVD_VLAN_START;
VLAN_MGR_API extern uint32_t DYN_RSVD_VLAN_END;
VLAN_MGR_API extern uint32_t DYN_RSVD_VLAN_TOTAL;
VLAN_MGR_API extern uint32_t DYN_FUTURE_RSVD_VLAN_START;
VLAN_MGR_API extern uint32_t DYN_FUTURE_RSVD_VLAN_END;
VLAN_MGR_API extern uint32_t DYN_FUTURE_RSVD_VLAN_TOTAL;
VLAN_MGR_API extern uint32_t dyn_rsvd_vlan_init_done;
VLAN_MGR_API extern uint32_t supstate;
VLAN_MGR_API extern dyn_rsvd_vlan_bitmaps_t g_dyn_rsvd_vlan_bitmaps;

/* Fills `set` for the VDC: clears it (length words 512), puts the configured
 * reserved range and VLAN 4094 into the candidates, then hands out the groups:
 * the default layout for 80..127 candidates from 3968, dynamic allocation for
 * 80 or more from elsewhere; otherwise the default layout on a CA system
 * (marker file /kivo/etc/is_ca_system), and on any other system a report and
 * 0 with only the candidates set. Returns 0; the error of vlan_open_bd_sdb
 * (before `set` is touched); VLAN_MGR_ERR_INVALID_ARG for a NULL `set`;
 * 0x4110001c when a range record is missing (`set` left cleared);
 * VLAN_MGR_ERR_VDC_MISMATCH for a VDC id outside 1..5. */
VLAN_MGR_API uint32_t vlan_get_dyn_rsvd_vlans(dyn_rsvd_vlan_bitmaps_t *set, uint16_t vdc_id);

/* Hands out the groups into `set` by `mode` (see the modes above); group bits
 * are ORed into what `set` holds. Returns 0, or VLAN_MGR_ERR_INVALID_ARG for
 * a NULL `set`. */
VLAN_MGR_API uint32_t vlan_mgr_allocate_rsvd_vlans(dyn_rsvd_vlan_bitmaps_t *set, uint32_t mode);

/* ORs the default layout into `set`: group of 64 = 3968..4031, groups of 4 =
 * 4032..4035 and 4036..4039, single = 4042. Returns 0, or
 * VLAN_MGR_ERR_INVALID_ARG for a NULL `set`. */
VLAN_MGR_API uint32_t vlan_mgr_allocate_default_rsvd_vlans(dyn_rsvd_vlan_bitmaps_t *set);

/* The extended layout is empty: changes nothing. Returns 0, or
 * VLAN_MGR_ERR_INVALID_ARG for a NULL `set`. */
VLAN_MGR_API uint32_t vlan_mgr_allocate_extended_rsvd_vlans(dyn_rsvd_vlan_bitmaps_t *set);

/* Reads the VDC's configured reserved range from its BD database. Both
 * outputs are set to 4095 before the reads; each value read replaces one.
 * Returns 0; VLAN_MGR_ERR_INVALID_ARG for a NULL pointer;
 * VLAN_MGR_ERR_VDC_MISMATCH for a VDC id outside 1..5; the error of
 * vlan_open_bd_sdb; 0x4110001c when a record could not be read. */
VLAN_MGR_API uint32_t vlan_get_rsvd_vlans(uint16_t vdc_id, uint32_t *start, uint32_t *end);
/* The same for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_get_rsvd_vlans_local(uint32_t *start, uint32_t *end);
/* The range that takes effect after the next reload, from the caller's own
 * VDC's database; codes as vlan_get_rsvd_vlans. */
VLAN_MGR_API uint32_t vlan_get_future_rsvd_vlans_local(uint32_t *start, uint32_t *end);

/* The VDC's configured range as a bitmap: start..end and VLAN 4094. Returns 0,
 * VLAN_MGR_ERR_INVALID_ARG for a NULL bitmap, or the error of
 * vlan_get_rsvd_vlans (the bitmap is then left untouched). */
VLAN_MGR_API uint32_t vlan_get_rsvd_vlans2(uint16_t vdc_id, vlan_bitmap *bitmap);
/* The caller's own VDC's current and future ranges and VLAN 4094. The bitmap
 * is cleared first, also when the current range cannot be read (its error is
 * returned); a future range that cannot be read is left out. Returns 0,
 * VLAN_MGR_ERR_INVALID_ARG for a NULL bitmap, or the current range's error. */
VLAN_MGR_API uint32_t vlan_get_rsvd_vlans2_local(vlan_bitmap *bitmap);
/* The future range of the caller's own VDC as a bitmap, with VLAN 4094.
 * Codes as vlan_get_rsvd_vlans2. */
VLAN_MGR_API uint32_t vlan_get_future_rsvd_vlans2_local(vlan_bitmap *bitmap);

/* Clears the bitmap (length word 512) and returns 1: no VLAN is listed as
 * allocated to the VDC. VLAN_MGR_ERR_INVALID_ARG for a NULL bitmap. */
VLAN_MGR_API uint32_t vlan_get_vdc_allocated_vlans(vlan_bitmap *bitmap);

/* Stores `count` VLAN ids in `out`: base + offset + i, plus 64 from the first
 * 64-aligned boundary above `base` on. The values are not bounded to 4095.
 * Always returns 0; a NULL `out` stores nothing. */
VLAN_MGR_API uint32_t vlan_get_reserved_vlans(uint32_t base, uint32_t offset, uint32_t count, uint32_t *out);

VLAN_MGR_END_DECLS

#endif
