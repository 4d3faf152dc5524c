// vlan_mgr_hist_show prints a ring written by this process, through the
// library's history print callback. Built only with the tool.
#ifdef VLAN_MGR_HIST_SHOW_TOOL

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <vlan_mgr/frame.h>

#include "frame/local_vdc.h"
#include "frame/report.h"
#include "host/host_platform.h"
#include "host_test_util.h"

using host_test::ScopedEnv;
using host_test::TempDir;
using namespace vlan_mgr_host;

namespace {

struct ToolRun {
    int status;
    std::string out;
};

ToolRun run_tool(const std::string &args)
{
    const std::string cmd = std::string(VLAN_MGR_HIST_SHOW_TOOL) + " " + args + " 2>/dev/null";
    ToolRun r{-1, {}};
    std::FILE *p = popen(cmd.c_str(), "r");
    if (p == nullptr)
        return r;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0)
        r.out.append(buf, n);
    int st = pclose(p);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

// Sets the time of slot `i` of the ring file, so that the output is fixed.
void set_time(const std::string &path, uint32_t i, uint32_t sec, uint32_t usec)
{
    int fd = open(path.c_str(), O_WRONLY);
    ASSERT_GE(fd, 0);
    const off_t slot = 64 + static_cast<off_t>(i) * 576;
    ASSERT_EQ(pwrite(fd, &sec, 4, slot + 20), 4);
    ASSERT_EQ(pwrite(fd, &usec, 4, slot + 24), 4);
    close(fd);
}

class HistShowTool : public testing::Test {
protected:
    HistShowTool()
        : dir_env_("VLAN_MGR_HIST_DIR", dir_.path().c_str()), vdc_("VLAN_MGR_VDC", "2"),
          off_("VLAN_MGR_HIST_OFF", nullptr), slots_("VLAN_MGR_HIST_SLOTS", nullptr)
    {
        hist_ring_close(false);
        vlan_mgr::local_vdc_forget();
    }
    ~HistShowTool() override
    {
        hist_ring_close(true);
        vlan_mgr::local_vdc_forget();
    }
    std::string ring_path() const { return dir_.path() + "/vlan_mgr_hist." + std::to_string(getpid()); }

    TempDir dir_;

private:
    ScopedEnv dir_env_, vdc_, off_, slots_;
};

} // namespace

TEST_F(HistShowTool, PrintsEveryEntryThroughTheHistoryCallback)
{
    ASSERT_EQ(vlan_mgr::check_local_vdc(3, "vlan_create_build_mts"), VLAN_MGR_ERR_VDC_MISMATCH);
    ASSERT_EQ(sdwrap_hist_event(0x73007b, 21, "VLAN 10 created 100%"), 0);
    ASSERT_EQ(sdwrap_hist_event(0x73007c, 4, "end"), 0);
    set_time(ring_path(), 0, 1700000000, 0);
    set_time(ring_path(), 1, 1700000001, 1);
    set_time(ring_path(), 2, 1700000002, 2);

    const std::string pid = std::to_string(getpid());
    const std::string report = "vlan_mgr vlan_create_build_mts: pid " + pid + ", vdcID 3, local vdcID 2";
    const std::string expected =
        "[2023-11-14 22:13:20.000000] VLAN_MGR_EVENT_CLI_ERROR, length " + std::to_string(report.size()) + "\n" +
        "    " + report + "\n" +
        "[2023-11-14 22:13:21.000001] VLAN_MGR_EVENT_VLAN_CREATE_REQ_RESP, length 20\n"
        "    VLAN 10 created 100%\n"
        "[2023-11-14 22:13:22.000002] VLAN_MGR_EVENT_LAST, length 3\n"
        "Error: invalid event 124\n"
        "-- pid " + pid + ": 3 events recorded, 3 shown, 0 overwritten, 0 skipped while being written\n";
    ToolRun r = run_tool(pid);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, expected);

    ToolRun by_file = run_tool("-f " + ring_path());
    EXPECT_EQ(by_file.status, 0);
    EXPECT_EQ(by_file.out, expected);
}

TEST_F(HistShowTool, LongTextIsCutByTheCallback)
{
    std::string text(300, 'a');
    ASSERT_EQ(sdwrap_hist_event(0x73002c, 301, text.c_str()), 0);
    set_time(ring_path(), 0, 0, 0);
    ToolRun r = run_tool(std::to_string(getpid()));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.substr(0, r.out.find("-- pid")),
              "[1970-01-01 00:00:00.000000] VLAN_MGR_EVENT_VLAN_CREATE, length 300\n    " + std::string(126, 'a') +
                  "\n");
}

TEST_F(HistShowTool, MissingRingExitsWithOne)
{
    ToolRun r = run_tool("999999999");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
}

TEST_F(HistShowTool, ForeignFileAndBadArgumentsExitWithTwo)
{
    const std::string junk = dir_.path() + "/junk";
    std::FILE *f = std::fopen(junk.c_str(), "w");
    ASSERT_NE(f, nullptr);
    std::fputs("not a ring at all", f);
    std::fclose(f);
    EXPECT_EQ(run_tool("-f " + junk).status, 2);
    EXPECT_EQ(run_tool("").status, 2);
    EXPECT_EQ(run_tool("12x").status, 2);
    EXPECT_EQ(run_tool("0").status, 2);
    EXPECT_EQ(run_tool("1 2").status, 2);
}

TEST_F(HistShowTool, PruneRemovesTheRingsOfEndedProcesses)
{
    const pid_t gone = fork();
    ASSERT_GE(gone, 0);
    if (gone == 0)
        _exit(0);
    ASSERT_EQ(waitpid(gone, nullptr, 0), gone);
    const std::string dead = dir_.path() + "/vlan_mgr_hist." + std::to_string(gone);
    std::FILE *f = std::fopen(dead.c_str(), "w");
    ASSERT_NE(f, nullptr);
    std::fclose(f);
    ASSERT_EQ(sdwrap_hist_event(0x730001, 2, "x"), 0);

    ToolRun r = run_tool("--prune");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "removed " + dead + "\n");
    EXPECT_EQ(access(ring_path().c_str(), F_OK), 0);
}

#endif
