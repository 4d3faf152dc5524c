// A failure that the library reports reaches the host platform's channels:
// the event history ring, the debug line on stderr and syslog.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include <vlan_mgr/frame.h>

#include "frame/local_vdc.h"
#include "frame/report.h"
#include "host/host_platform.h"
#include "host_test_util.h"

using host_test::ScopedEnv;
using host_test::TempDir;
using namespace vlan_mgr_host;

namespace {

struct Entry {
    uint32_t event_id, length;
    std::vector<uint8_t> data;
};

void collect(const HistEntry &e, void *ctx)
{
    static_cast<std::vector<Entry> *>(ctx)->push_back({e.event_id, e.length, {e.data, e.data + e.stored}});
}

std::vector<std::pair<int, std::string>> sent;
void capture(int priority, const char *text) { sent.emplace_back(priority, text); }

// The process runs in VDC 2; the ring lives in a private directory; debug
// and history switches are off unless a test sets them; syslog is captured.
class LibraryReport : public testing::Test {
protected:
    LibraryReport()
        : vdc_("VLAN_MGR_VDC", "2"), dir_env_("VLAN_MGR_HIST_DIR", dir_.path().c_str()),
          debug_("VLAN_MGR_DEBUG", nullptr), off_("VLAN_MGR_HIST_OFF", nullptr),
          copy_("VLAN_MGR_SYSLOG_STDERR", nullptr)
    {
        hist_ring_close(false);
        vlan_mgr::local_vdc_forget();
        sent.clear();
        previous_ = set_syslog_sender(&capture);
        syslog_fac_LOG_VLAN_MGR.current_level = 2;
    }
    ~LibraryReport() override
    {
        set_syslog_sender(previous_);
        syslog_fac_LOG_VLAN_MGR.current_level = 2;
        hist_ring_close(true);
        vlan_mgr::local_vdc_forget();
    }

    std::vector<Entry> ring()
    {
        std::vector<Entry> got;
        const char *path = hist_ring_file();
        if (path == nullptr)
            return got;
        EXPECT_EQ(hist_ring_read_file(path, collect, &got, nullptr), RingRead::ok);
        return got;
    }

    std::string mismatch_text() const
    {
        return "vlan_mgr vlan_create_build_mts: pid " + std::to_string(getpid()) + ", vdcID 3, local vdcID 2\n";
    }

private:
    TempDir dir_;
    ScopedEnv vdc_, dir_env_, debug_, off_, copy_;
    SyslogSender previous_ = nullptr;
};

} // namespace

TEST_F(LibraryReport, VdcMismatchIsRecordedInTheRing)
{
    EXPECT_EQ(vlan_mgr::check_local_vdc(3, "vlan_create_build_mts"), VLAN_MGR_ERR_VDC_MISMATCH);
    std::vector<Entry> got = ring();
    ASSERT_EQ(got.size(), 1u);
    const std::string text = mismatch_text();
    EXPECT_EQ(got[0].event_id, 0x730000u);
    EXPECT_EQ(got[0].length, 4 + text.size() + 1);
    uint32_t cls = 0;
    std::memcpy(&cls, got[0].data.data(), 4);
    EXPECT_EQ(cls, 100u);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(got[0].data.data() + 4)), text);

    // As the history tool prints it: event number 0, the text without its
    // newline, and the class.
    char out[2 * SLOT_DATA_BYTES + 1];
    uint32_t len = 0, rclass = 0;
    HistEntry e{0, got[0].event_id, got[0].length, static_cast<uint32_t>(got[0].data.size()), 0, 0,
                got[0].data.data()};
    hist_entry_text(e, out, sizeof out, &len, &rclass);
    EXPECT_EQ(hist_event_number(e.event_id), 0);
    EXPECT_EQ(std::string(out), text.substr(0, text.size() - 1));
    EXPECT_EQ(len, text.size() - 1);
    EXPECT_EQ(rclass, 100u);
}

TEST_F(LibraryReport, OwnVdcReportsNothing)
{
    EXPECT_EQ(vlan_mgr::check_local_vdc(2, "vlan_create_build_mts"), VLAN_MGR_OK);
    EXPECT_TRUE(ring().empty());
    EXPECT_EQ(hist_ring_file(), nullptr);
}

TEST_F(LibraryReport, HistoryClassSwitchedOffRecordsNothing)
{
    ScopedEnv off("VLAN_MGR_HIST_OFF", "100");
    EXPECT_EQ(vlan_mgr::check_local_vdc(3, "vlan_create_build_mts"), VLAN_MGR_ERR_VDC_MISMATCH);
    EXPECT_EQ(hist_ring_file(), nullptr);
}

TEST_F(LibraryReport, DebugLineOnStderrWhenItsClassIsOn)
{
    ScopedEnv debug("VLAN_MGR_DEBUG", "100");
    testing::internal::CaptureStderr();
    EXPECT_EQ(vlan_mgr::check_local_vdc(3, "vlan_create_build_mts"), VLAN_MGR_ERR_VDC_MISMATCH);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "vlan_mgr: " + mismatch_text());
}

TEST_F(LibraryReport, NoDebugLineWhenItsClassIsOff)
{
    ScopedEnv debug("VLAN_MGR_DEBUG", "102");
    testing::internal::CaptureStderr();
    vlan_mgr::check_local_vdc(3, "vlan_create_build_mts");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LibraryReport, SyslogHeldBackAtTheInitialLevel)
{
    vlan_mgr::check_local_vdc(3, "vlan_create_build_mts");
    EXPECT_TRUE(sent.empty());
}

TEST_F(LibraryReport, SyslogSentOnceTheLevelAllowsIt)
{
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    ScopedEnv copy("VLAN_MGR_SYSLOG_STDERR", "1");
    testing::internal::CaptureStderr();
    vlan_mgr::check_local_vdc(3, "vlan_create_build_mts");
    const std::string line = "<<%VLAN_MGR-3-ERROR_MSG>>  vlan_create_build_mts: pid " + std::to_string(getpid()) +
                             ", vdcID 3, local vdcID 2\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), line);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].first, 3);
    EXPECT_EQ(sent[0].second, line);
}

TEST_F(LibraryReport, InvalidVlanIsRecordedWithItsClass)
{
    EXPECT_EQ(vlan_mgr::report_invalid_vlan(VLAN_MGR_ERR_INVALID_ARG, "vlan_info_build_mts", 4095),
              VLAN_MGR_ERR_INVALID_ARG);
    std::vector<Entry> got = ring();
    ASSERT_EQ(got.size(), 1u);
    uint32_t cls = 0;
    std::memcpy(&cls, got[0].data.data(), 4);
    EXPECT_EQ(cls, 102u);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(got[0].data.data() + 4)),
              "vlan_mgr vlan_info_build_mts:pid " + std::to_string(getpid()) + ", invalid vlanID 4095\n");
}
