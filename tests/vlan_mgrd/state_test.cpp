// The port and VLAN views of the state.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "state.h"

namespace vlan_mgrd {
namespace {

TEST(VdcView, ActiveVlansAreTheCreatedActiveOnes)
{
    auto m = std::make_unique<Manager>(); // megabytes: not on the stack
    Vdc &vdc = m->vdc(1);
    vdc.vlans[10].created = true;
    vdc.vlans[20].created = true;
    vdc.vlans[20].state = VlanState::Suspended;
    const VlanSet active = vdc.active_vlans();
    EXPECT_EQ(active.count(), 2u);
    EXPECT_TRUE(active.test(1));
    EXPECT_TRUE(active.test(10));
    EXPECT_FALSE(active.test(20));

    Port trunk;
    trunk.mode = VLAN_MGR_PORT_MODE_TRUNK;
    EXPECT_EQ(vdc.port_vlans(trunk, false).count(), kVlanMax);
    EXPECT_EQ(vdc.port_vlans(trunk, true), active);
    Port access;
    access.access_vlan = 20;
    access.voice_vlan = 10;
    EXPECT_EQ(vdc.port_vlans(access, false).count(), 2u);
    const VlanSet carried = vdc.port_vlans(access, true);
    EXPECT_EQ(carried.count(), 1u);
    EXPECT_TRUE(carried.test(10));
}

TEST(VdcView, PortsAreFoundByNameAndByInterfaceIndex)
{
    auto m = std::make_unique<Manager>();
    Vdc &vdc = m->vdc(2);
    Port a;
    a.if_index = 0x1a000000;
    a.name = "Ethernet1/1";
    Port b;
    b.if_index = 0x1a001000;
    b.name = "Ethernet1/2";
    vdc.ports = {a, b};
    ASSERT_NE(vdc.port_named("Ethernet1/2"), nullptr);
    EXPECT_EQ(vdc.port_named("Ethernet1/2")->if_index, 0x1a001000u);
    EXPECT_EQ(vdc.port_named("Ethernet1/3"), nullptr);
    EXPECT_EQ(vdc.port_named(""), nullptr);
    const Vdc &cvdc = vdc;
    ASSERT_NE(cvdc.port(0x1a000000), nullptr);
    EXPECT_EQ(cvdc.port(0x1a000000)->name, "Ethernet1/1");
    EXPECT_EQ(cvdc.port(0x1a002000), nullptr);
}

TEST(ChangeSetMarks, AVlanDeletedAndCreatedAgainInOneRequestIsAChangeNotADeletion)
{
    ChangeSet c;
    Vlan before;
    before.created = true;
    before.name = "old";
    c.mark_deleted(3, 40, before);
    ASSERT_TRUE(c.vdc(3).deleted.test(40));
    ASSERT_EQ(c.vdc(3).deleted_before.count(40), 1u);
    c.mark_created(3, 40);
    EXPECT_FALSE(c.vdc(3).deleted.test(40));
    EXPECT_EQ(c.vdc(3).deleted_before.count(40), 0u);
    EXPECT_FALSE(c.vdc(3).created.test(40));
    EXPECT_TRUE(c.vdc(3).retyped.test(40));
    EXPECT_TRUE(c.vdc(3).renamed.test(40));
    EXPECT_TRUE(c.any());
    EXPECT_FALSE(c.vdc(1).any());
}

} // namespace
} // namespace vlan_mgrd
