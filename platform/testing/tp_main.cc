// GoogleTest main of every test program: resets the test platform before
// each test, so that no test sees another's calls, messages or allocations.
#include <gtest/gtest.h>

#include <vlan_mgr/frame.h>

#include "test_platform.h"

namespace vlan_mgr {
void local_vdc_forget(); // the library's cached local VDC id
}

namespace {
class ResetListener : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo &) override
    {
        tp::reset();
        tp::reset_allocs();
        vlan_mgr::local_vdc_forget();
        syslog_fac_LOG_VLAN_MGR.current_level = 2;
    }
};
} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new ResetListener);
    return RUN_ALL_TESTS();
}
