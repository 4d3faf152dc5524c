#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include <vlan_mgr/bd_id.h>

#include "test_platform.h"

namespace {

constexpr uint32_t kSentinel = 0xDEADBEEFu;

// The answers that are negative or truth values come back as signed words,
// the status answers as unsigned ones.
static_assert(std::is_same_v<decltype(if_index_vni_get_id(0)), int32_t>);
static_assert(std::is_same_v<decltype(sw_bd_to_vni(0)), int32_t>);
static_assert(std::is_same_v<decltype(bd_mgr_get_vsi_if_index_for_bd_and_parent_port(0, 0, nullptr)), int32_t>);
static_assert(std::is_same_v<decltype(bd_mgr_get_bd_bmp_for_parent_port(0, nullptr)), int32_t>);
static_assert(std::is_same_v<decltype(bd_mgr_is_sw_bd_in_vlan_range(0)), uint32_t>);
static_assert(std::is_same_v<decltype(bd_mgr_get_sw_bd_to_network_id(0, nullptr)), uint32_t>);

// Out-arguments given to the services: every word starts as the sentinel and
// must still hold it after the call.
struct Outs {
    uint32_t a = kSentinel, b = kSentinel;
    int32_t flag = static_cast<int32_t>(kSentinel);
    char name[16];
    vlan_bitmap bmp;
    Outs()
    {
        std::memset(name, 0x5A, sizeof name);
        std::memset(&bmp, 0x5A, sizeof bmp);
    }
    void expect_untouched() const
    {
        EXPECT_EQ(a, kSentinel);
        EXPECT_EQ(b, kSentinel);
        EXPECT_EQ(flag, static_cast<int32_t>(kSentinel));
        for (char c : name)
            EXPECT_EQ(c, 0x5A);
        const auto *p = reinterpret_cast<const uint8_t *>(&bmp);
        for (size_t i = 0; i < sizeof bmp; ++i)
            ASSERT_EQ(p[i], 0x5A) << i;
    }
};

// One test per row of the services' answers, called with real pointers (left
// untouched) and with NULL pointers (accepted).

TEST(BdMgrServices, IfIndexVniGetIdIs12)
{
    EXPECT_EQ(if_index_vni_get_id(0), 12);
    EXPECT_EQ(if_index_vni_get_id(0x1A000000u), 12);
}

TEST(BdMgrServices, SwBdToHwBdNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_sw_bd_to_hw_bd(10, &o.a), 0x411000B7u);
    EXPECT_EQ(bd_mgr_get_sw_bd_to_hw_bd(10, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, TessellinkMembershipNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_check_sw_bd_to_tessellink_membership(10, 0x1A000000u, &o.flag), 0x411000B7u);
    EXPECT_EQ(bd_mgr_check_sw_bd_to_tessellink_membership(10, 0x1A000000u, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, FabricScaleBdInfoNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_fabric_scale_bd_info(&o.a, &o.b), 0x411000B7u);
    EXPECT_EQ(bd_mgr_get_fabric_scale_bd_info(nullptr, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, IsFabricScaleSwBdIs0)
{
    EXPECT_EQ(bd_mgr_is_fabric_scale_sw_bd(0), 0);
    EXPECT_EQ(bd_mgr_is_fabric_scale_sw_bd(4095), 0);
}

TEST(BdMgrServices, FabricControlBdInfoNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_fabric_control_bd_info(&o.a), 0x411000B7u);
    EXPECT_EQ(bd_mgr_get_fabric_control_bd_info(nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, IsSwBdFabricBdIs0)
{
    EXPECT_EQ(bd_mgr_is_sw_bd_fabric_bd(1), 0);
    EXPECT_EQ(bd_mgr_is_sw_bd_fabric_bd(5000), 0);
}

TEST(BdMgrServices, IsSwBdVlanIs1)
{
    EXPECT_EQ(bd_mgr_is_sw_bd_vlan(1), 1);
    EXPECT_EQ(bd_mgr_is_sw_bd_vlan(0), 1);
    EXPECT_EQ(bd_mgr_is_sw_bd_vlan(0xFFFFFFFFu), 1);
}

TEST(BdMgrServices, IsFabricControlSwBdIs0)
{
    EXPECT_EQ(bd_mgr_is_fabric_control_sw_bd(1), 0);
    EXPECT_EQ(bd_mgr_is_fabric_control_sw_bd(4096), 0);
}

TEST(BdMgrServices, BdRangeAllocationNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_bd_range_allocation(&o.a, &o.b), 0x411000B7u);
    EXPECT_EQ(bd_mgr_get_bd_range_allocation(nullptr, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, FabricBdRangeAllocationNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_fabric_bd_range_allocation(&o.a, &o.b), 0x411000B7u);
    EXPECT_EQ(bd_mgr_get_fabric_bd_range_allocation(nullptr, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, IsSwBdInVlanRangeIsNotSupportedStatus)
{
    EXPECT_EQ(bd_mgr_is_sw_bd_in_vlan_range(1), 0x411000B7u);
    EXPECT_EQ(bd_mgr_is_sw_bd_in_vlan_range(4095), 0x411000B7u);
    EXPECT_EQ(bd_mgr_is_sw_bd_in_vlan_range(0), 0x411000B7u);
    EXPECT_EQ(bd_mgr_is_sw_bd_in_vlan_range(4096), 0x411000B7u);
}

// The BD-manager entry point answers with a status; the plain one with a truth value.
TEST(BdMgrServices, InVlanRangeSiblingsDiffer)
{
    EXPECT_EQ(sw_bd_is_in_vlan_range(100), 1);
    EXPECT_EQ(bd_mgr_is_sw_bd_in_vlan_range(100), 0x411000B7u);
    EXPECT_EQ(sw_bd_is_in_vlan_range(0), 0);
    EXPECT_EQ(bd_mgr_is_sw_bd_in_vlan_range(0), 0x411000B7u);
}

TEST(BdMgrServices, HwBdToSwBdNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_hw_bd_to_sw_bd(10, &o.a), 0x411000B7u);
    EXPECT_EQ(bd_mgr_get_hw_bd_to_sw_bd(10, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, SwBdToVniIsMinus1)
{
    EXPECT_EQ(sw_bd_to_vni(10), -1);
    EXPECT_EQ(sw_bd_to_vni(0), -1);
}

TEST(BdMgrServices, BdNameToHwBdNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_bd_name_to_hw_bd("bd-10", &o.a), 0x411000B7u);
    EXPECT_EQ(bd_mgr_bd_name_to_hw_bd(nullptr, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, BdNameToSwBdNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_bd_name_to_sw_bd("bd-10", &o.a), 0x411000B7u);
    EXPECT_EQ(bd_mgr_bd_name_to_sw_bd(nullptr, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, SwBdToBdNameNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_sw_bd_to_bd_name(10, o.name, sizeof o.name), 0x411000B7u);
    EXPECT_EQ(bd_mgr_sw_bd_to_bd_name(10, nullptr, 0), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, VniToSwBdNotSupported)
{
    Outs o;
    EXPECT_EQ(vni_to_sw_bd(5000, &o.a), 0x411000B7u);
    EXPECT_EQ(vni_to_sw_bd(5000, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, SwBdToVlanNotSupported)
{
    Outs o;
    EXPECT_EQ(sw_bd_to_vlan(10, &o.a), 0x411000B7u);
    EXPECT_EQ(sw_bd_to_vlan(10, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, SwBdToNetworkIdHasNoNetworkId)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_sw_bd_to_network_id(10, &o.a), 0x411000B8u);
    EXPECT_EQ(bd_mgr_get_sw_bd_to_network_id(10, nullptr), 0x411000B8u);
    o.expect_untouched();
}

TEST(BdMgrServices, BdIdForNameNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_bd_id_for_name("bd-10", &o.a), 0x411000B7u);
    EXPECT_EQ(bd_mgr_get_bd_id_for_name(nullptr, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, VlanLsdbInfoIs0AndFillsNothing)
{
    Outs o;
    EXPECT_EQ(vlan_mgr_get_vlan_lsdb_info(10, &o.bmp), 0u);
    EXPECT_EQ(vlan_mgr_get_vlan_lsdb_info(10, nullptr), 0u);
    o.expect_untouched();
}

TEST(BdMgrServices, BdLsdbInfoIs0AndFillsNothing)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_bd_lsdb_info(10, &o.bmp), 0u);
    EXPECT_EQ(bd_mgr_get_bd_lsdb_info(10, nullptr), 0u);
    o.expect_untouched();
}

TEST(BdMgrServices, IsSwBdCreatedIs0)
{
    EXPECT_EQ(bd_mgr_is_sw_bd_created(1), 0);
    EXPECT_EQ(bd_mgr_is_sw_bd_created(4095), 0);
}

TEST(BdMgrServices, BdAndPrimaryBdNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_bd_and_primary_bd(10, &o.a, &o.b), 0x411000B7u);
    EXPECT_EQ(bd_mgr_get_bd_and_primary_bd(10, nullptr, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, AllocSwBdForNameNotSupported)
{
    Outs o;
    EXPECT_EQ(bd_mgr_alloc_swbd_for_name("bd-10", &o.a), 0x411000B7u);
    EXPECT_EQ(bd_mgr_alloc_swbd_for_name(nullptr, nullptr), 0x411000B7u);
    o.expect_untouched();
}

TEST(BdMgrServices, VsiIfIndexForBdAndParentPortIsMinus1)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_vsi_if_index_for_bd_and_parent_port(10, 0x1A000000u, &o.a), -1);
    EXPECT_EQ(bd_mgr_get_vsi_if_index_for_bd_and_parent_port(10, 0x1A000000u, nullptr), -1);
    o.expect_untouched();
}

TEST(BdMgrServices, BdBmpForParentPortIsMinus1)
{
    Outs o;
    EXPECT_EQ(bd_mgr_get_bd_bmp_for_parent_port(0x1A000000u, &o.bmp), -1);
    EXPECT_EQ(bd_mgr_get_bd_bmp_for_parent_port(0x1A000000u, nullptr), -1);
    o.expect_untouched();
}

TEST(BdMgrServices, NoneAllocatesOrReports)
{
    Outs o;
    bd_mgr_get_sw_bd_to_hw_bd(1, &o.a);
    bd_mgr_get_sw_bd_to_network_id(1, &o.a);
    bd_mgr_get_bd_bmp_for_parent_port(1, &o.bmp);
    EXPECT_EQ(tp::alloc_calls(), 0);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
}

} // namespace
