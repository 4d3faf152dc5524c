// The reserved VLAN groups: the default layout at the top of the VLAN space,
// the (empty) extended layout, and the groups carved out of a moved reserved
// range in ascending order. Also the process-wide reserved-range values that
// the library defines for the processes that link it.
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/rsvd.h>

#include "frame/bitmap.h"
#include "frame/report.h"
#include "rsvd/rsvd_bits.h"

using namespace vlan_mgr;

extern "C" {
uint32_t DYN_RSVD_VLAN_START = 0;
uint32_t DYN_RSVD_VLAN_END = 0;
uint32_t DYN_RSVD_VLAN_TOTAL = 0;
uint32_t DYN_FUTURE_RSVD_VLAN_START = 0;
uint32_t DYN_FUTURE_RSVD_VLAN_END = 0;
uint32_t DYN_FUTURE_RSVD_VLAN_TOTAL = 0;
uint32_t dyn_rsvd_vlan_init_done = 0;
uint32_t supstate = 0;
dyn_rsvd_vlan_bitmaps_t g_dyn_rsvd_vlan_bitmaps = {};
}

namespace {

// The default layout; VLANs 4040 and 4041 belong to no group.
constexpr uint32_t kDefaultFirst = 3968;
constexpr uint32_t kDefaultGroup64End = 4031;
constexpr uint32_t kDefaultGroup4FirstEnd = 4035;
constexpr uint32_t kDefaultGroup4SecondEnd = 4039;
constexpr uint32_t kDefaultSingle = 4042;

// The candidates needed before a range is laid out by rule, and the most that
// still get the default layout when they start at 3968.
constexpr uint32_t kMinCandidates = 80;
constexpr uint32_t kMaxDefaultCandidates = 127;

// Moves the `n` lowest VLANs left in `work` into `group`.
void take_lowest(uint8_t *work, uint8_t *group, uint32_t n)
{
    for (uint32_t i = 0; i < n; ++i) {
        const int32_t v = bitmap::find_next_bits(work, 0);
        if (v < 0)
            return;
        bitmap::set(group, static_cast<uint32_t>(v));
        bitmap::clear(work, static_cast<uint32_t>(v));
    }
}

// Groups carved out of the candidates by ascending VLAN id, from a working
// copy so that the candidates stay as they are.
void allocate_dynamic(dyn_rsvd_vlan_bitmaps_t *set)
{
    uint8_t work[bitmap::kBytes];
    std::memcpy(work, rsvd::bits(set, rsvd::kCandidates), sizeof work);
    take_lowest(work, rsvd::bits(set, rsvd::kGroup64), 64);
    take_lowest(work, rsvd::bits(set, rsvd::kGroup4First), 4);
    take_lowest(work, rsvd::bits(set, rsvd::kGroup4Second), 4);

    // The single VLAN is the one two above the lowest remaining candidate,
    // candidate or not (the gap of the default layout before 4042); VLAN 1
    // when none remains. An id above 4095 has no bit to set.
    uint8_t *single = rsvd::bits(set, rsvd::kSingle);
    const int32_t f = bitmap::find_next_bits(work, 0);
    if (f < 0) {
        bitmap::set(single, 1);
        return;
    }
    const uint32_t v = static_cast<uint32_t>(f) + 2;
    if (v < bitmap::kBits) {
        bitmap::set(single, v);
        bitmap::clear(work, v);
    }
}

// Whether this is a CA system. The other markers are probed too, in their
// fixed order, though the decision does not depend on them.
bool probe_is_ca_system()
{
    const bool ca = access("/kivo/etc/is_ca_system", F_OK) == 0;
    [[maybe_unused]] uint32_t markers = 0;
    if (access("/kivo/etc/routing-sw/cli/satmgr_ui.cli", F_OK) == 0)
        markers |= 2;
    if (access("/kivo/etc/routing-sw/cli/vim_niv.cli__", F_OK) == 0)
        markers |= 1;
    int fd = open("/tmp/end_host_mode_ethernet", O_RDONLY | O_EXCL);
    if (fd < 0)
        fd = open("/mnt/pss/end_host_mode_ethernet", O_RDONLY | O_EXCL);
    if (fd >= 0) {
        markers |= 4;
        close(fd);
    }
    return ca;
}

} // namespace

extern "C" {

uint32_t vlan_mgr_allocate_default_rsvd_vlans(dyn_rsvd_vlan_bitmaps_t *set)
{
    if (set == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    rsvd::set_range(rsvd::bits(set, rsvd::kGroup64), kDefaultFirst, kDefaultGroup64End);
    rsvd::set_range(rsvd::bits(set, rsvd::kGroup4First), kDefaultGroup64End + 1, kDefaultGroup4FirstEnd);
    rsvd::set_range(rsvd::bits(set, rsvd::kGroup4Second), kDefaultGroup4FirstEnd + 1, kDefaultGroup4SecondEnd);
    bitmap::set(rsvd::bits(set, rsvd::kSingle), kDefaultSingle);
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_allocate_extended_rsvd_vlans(dyn_rsvd_vlan_bitmaps_t *set)
{
    if (set == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_allocate_rsvd_vlans(dyn_rsvd_vlan_bitmaps_t *set, uint32_t mode)
{
    if (set == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    switch (mode) {
    case VLAN_MGR_RSVD_ALLOC_DEFAULT:
        vlan_mgr_allocate_default_rsvd_vlans(set);
        break;
    case VLAN_MGR_RSVD_ALLOC_EXTENDED:
        vlan_mgr_allocate_default_rsvd_vlans(set);
        vlan_mgr_allocate_extended_rsvd_vlans(set);
        break;
    default:
        allocate_dynamic(set);
        break;
    }
    return VLAN_MGR_OK;
}

uint32_t vlan_get_dyn_rsvd_vlans(dyn_rsvd_vlan_bitmaps_t *set, uint16_t vdc_id)
{
    // The open refuses a VDC id outside 1..5 (VLAN_MGR_ERR_VDC_MISMATCH).
    uint32_t st = vlan_open_bd_sdb(vdc_id);
    if (st != VLAN_MGR_OK)
        return st;
    if (set == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;

    std::memset(set, 0, sizeof *set);
    for (size_t i = 0; i < rsvd::kFieldCount; ++i)
        bitmap::init_field(rsvd::field(set, i));

    uint32_t start = 0, end = 0;
    st = vlan_get_rsvd_vlans(vdc_id, &start, &end);
    if (st != VLAN_MGR_OK)
        return st;
    uint8_t *candidates = rsvd::bits(set, rsvd::kCandidates);
    rsvd::set_range(candidates, start, end);
    bitmap::set(candidates, rsvd::kAlwaysReserved);

    const uint32_t count = bitmap::count(candidates);
    const int32_t first = bitmap::find_next_bits(candidates, 0);

    if (count >= kMinCandidates && count <= kMaxDefaultCandidates && first == static_cast<int32_t>(kDefaultFirst))
        return vlan_mgr_allocate_rsvd_vlans(set, VLAN_MGR_RSVD_ALLOC_DEFAULT);
    if (first != static_cast<int32_t>(kDefaultFirst) && count >= kMinCandidates)
        return vlan_mgr_allocate_rsvd_vlans(set, VLAN_MGR_RSVD_ALLOC_DYNAMIC);

    if (probe_is_ca_system())
        return vlan_mgr_allocate_rsvd_vlans(set, VLAN_MGR_RSVD_ALLOC_DEFAULT);
    return report_failure(VLAN_MGR_OK, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG,
                          "vlan_mgr %s: pid %d, count %d start id %d\n", " %s: pid %d, count %d start id %d\n",
                          [&] {
                              return std::make_tuple("vlan_get_dyn_rsvd_vlans", static_cast<int>(getpid()),
                                                     static_cast<int>(count), static_cast<int>(first));
                          });
}

} // extern "C"
