// The configuration operations that the handlers share, called directly:
// names that only look like a default name, and the refusals of ids outside
// 1..4094 and of VLAN 1 that the request decoders never let through.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/config_req.h>
#include <vlan_mgr/opcodes.h>

#include "config_ops.h"
#include "state.h"

namespace vlan_mgrd::config_ops {
namespace {

class ConfigOps : public ::testing::Test {
protected:
    std::unique_ptr<Manager> m_ = std::make_unique<Manager>(); // 12 MB: not on the stack
    Vdc &vdc_ = m_->vdc(1);
    ChangeSet changes_;
};

TEST_F(ConfigOps, ADefaultNameWithANonDigitNamesNoVlan)
{
    vdc_.vlans[12].created = true;
    vdc_.vlans[14].created = true;
    EXPECT_EQ(find_by_name(vdc_, "VLAN0012"), 12u);
    EXPECT_EQ(find_by_name(vdc_, "VLAN001x"), 0u);
    EXPECT_EQ(find_by_name(vdc_, "VLAN 014"), 0u);
    EXPECT_EQ(find_by_name(vdc_, ""), 0u);
}

TEST_F(ConfigOps, DefaultNamesOfIdsOutsideTheRangeNameNoVlan)
{
    EXPECT_EQ(find_by_name(vdc_, "VLAN0000"), 0u);
    EXPECT_EQ(find_by_name(vdc_, "VLAN4095"), 0u);
    EXPECT_EQ(find_by_name(vdc_, "VLAN9999"), 0u);
    EXPECT_EQ(find_by_name(vdc_, "VLAN0001"), 1u); // VLAN 1 always exists
}

TEST_F(ConfigOps, EffectiveNameIsTheDefaultNameUntilOneIsGiven)
{
    Vlan v;
    EXPECT_EQ(effective_name(10, v), "VLAN0010");
    EXPECT_EQ(effective_name(4094, v), "VLAN4094");
    v.name = "blue";
    EXPECT_EQ(effective_name(10, v), "blue");
}

TEST_F(ConfigOps, DeleteAndRetypeRefuseIdsOutsideOneTo4094)
{
    for (uint32_t id : {0u, 4095u, 70000u}) {
        EXPECT_EQ(delete_vlan(vdc_, changes_, id), VLAN_MGR_ERR_INVALID_VLAN) << id;
        EXPECT_EQ(change_type(vdc_, changes_, id, VLAN_MGR_VLAN_TYPE_PRIMARY), VLAN_MGR_ERR_INVALID_VLAN) << id;
    }
    EXPECT_FALSE(changes_.any());
}

TEST_F(ConfigOps, APrimaryOutsideTheRangeOrVlanOneIsRefused)
{
    EXPECT_EQ(check_primary(vdc_, 0), VLAN_MGR_ERR_VLAN_RANGE);
    EXPECT_EQ(check_primary(vdc_, 4095), VLAN_MGR_ERR_VLAN_RANGE);
    EXPECT_EQ(check_primary(vdc_, 1), VLAN_MGR_ERR_DEFAULT_VLAN);
}

TEST_F(ConfigOps, ASecondaryOutsideTheRangeOrVlanOneIsRefused)
{
    ASSERT_EQ(create_or_rename(vdc_, changes_, 10, "", false, 0), 0u);
    ASSERT_EQ(change_type(vdc_, changes_, 10, VLAN_MGR_VLAN_TYPE_PRIMARY), 0u);
    ChangeSet c;
    EXPECT_EQ(associate(vdc_, c, 10, 0), VLAN_MGR_ERR_INVALID_VLAN);
    EXPECT_EQ(associate(vdc_, c, 10, 4095), VLAN_MGR_ERR_INVALID_VLAN);
    EXPECT_EQ(associate(vdc_, c, 10, 1), VLAN_MGR_ERR_DEFAULT_VLAN);
    EXPECT_EQ(dissociate(vdc_, c, 10, 0), VLAN_MGR_ERR_INVALID_VLAN);
    EXPECT_EQ(dissociate(vdc_, c, 10, 4095), VLAN_MGR_ERR_INVALID_VLAN);
    EXPECT_EQ(dissociate(vdc_, c, 10, 1), VLAN_MGR_ERR_DEFAULT_VLAN);
    EXPECT_FALSE(c.any());
}

TEST_F(ConfigOps, DissociatingAnUnassociatedSecondaryChangesNothing)
{
    ASSERT_EQ(create_or_rename(vdc_, changes_, 20, "", false, 0), 0u);
    ASSERT_EQ(change_type(vdc_, changes_, 20, VLAN_MGR_VLAN_TYPE_ISOLATED), 0u);
    ChangeSet c;
    EXPECT_EQ(dissociate(vdc_, c, 10, 20), 0u);
    EXPECT_EQ(dissociate(vdc_, c, 0, 20), 0u);
    EXPECT_FALSE(c.any());
    EXPECT_EQ(vdc_.vlans[20].primary, 0u);
}

TEST_F(ConfigOps, DissociatingFromAnotherPrimaryIsRefusedAndKeepsTheAssociation)
{
    for (uint32_t p : {10u, 11u}) {
        ASSERT_EQ(create_or_rename(vdc_, changes_, p, "", false, 0), 0u);
        ASSERT_EQ(change_type(vdc_, changes_, p, VLAN_MGR_VLAN_TYPE_PRIMARY), 0u);
    }
    ASSERT_EQ(create_or_rename(vdc_, changes_, 20, "", false, 0), 0u);
    ASSERT_EQ(change_type(vdc_, changes_, 20, VLAN_MGR_VLAN_TYPE_COMMUNITY), 0u);
    ASSERT_EQ(associate(vdc_, changes_, 10, 20), 0u);
    ChangeSet c;
    EXPECT_EQ(dissociate(vdc_, c, 11, 20), VLAN_MGR_ERR_PVLAN);
    EXPECT_FALSE(c.any());
    EXPECT_EQ(vdc_.vlans[20].primary, 10u);
    EXPECT_TRUE(vdc_.vlans[10].secondaries.test(20));
    // Without a primary named, the association goes whatever its primary.
    EXPECT_EQ(dissociate(vdc_, c, 0, 20), 0u);
    EXPECT_EQ(vdc_.vlans[20].primary, 0u);
    EXPECT_FALSE(vdc_.vlans[10].secondaries.test(20));
    EXPECT_TRUE(c.vdc(1).retyped.test(10));
    EXPECT_TRUE(c.vdc(1).retyped.test(20));
}

} // namespace
} // namespace vlan_mgrd::config_ops
