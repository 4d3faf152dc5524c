#include <gtest/gtest.h>

#include "frame/local_vdc.h"
#include "test_platform.h"

namespace {

TEST(LocalVdc, FetchedOnceAndCached)
{
    tp::state().vdc_id = 3;
    EXPECT_EQ(vlan_mgr_local_vdc_get(), 3);
    tp::state().vdc_id = 4; // never refreshed once cached
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(vlan_mgr_local_vdc_get(), 3);
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
}

TEST(LocalVdc, ZeroFromSystemManagerIsAskedAgain)
{
    tp::state().vdc_id = 0;
    EXPECT_EQ(vlan_mgr_local_vdc_get(), 0);
    EXPECT_EQ(vlan_mgr_local_vdc_get(), 0);
    EXPECT_EQ(tp::state().vdc_get_calls, 2);
    tp::state().vdc_id = 2;
    EXPECT_EQ(vlan_mgr_local_vdc_get(), 2);
    EXPECT_EQ(vlan_mgr_local_vdc_get(), 2);
    EXPECT_EQ(tp::state().vdc_get_calls, 3);
}

} // namespace
