// Host syslog: the formatted message goes to syslog(3) at its severity, and
// to stderr as well when VLAN_MGR_SYSLOG_STDERR=1.
#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <syslog.h>
#include <vector>

#include "host/host_platform.h"
#include "host_test_util.h"
#include "vlan_mgr_platform.h"

using host_test::ScopedEnv;

namespace {

struct Sent {
    int priority;
    std::string text;
};
std::vector<Sent> sent;

void capture(int priority, const char *text) { sent.push_back({priority, text}); }

// Replaces the syslog(3) call with a recorder for one test.
class KivoSyslog : public testing::Test {
protected:
    void SetUp() override
    {
        sent.clear();
        previous_ = vlan_mgr_host::set_syslog_sender(&capture);
    }
    void TearDown() override { vlan_mgr_host::set_syslog_sender(previous_); }

private:
    vlan_mgr_host::SyslogSender previous_ = nullptr;
};

} // namespace

TEST_F(KivoSyslog, SendsTheFormattedTextAtItsSeverity)
{
    ScopedEnv copy("VLAN_MGR_SYSLOG_STDERR", nullptr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(kivo_syslog(3, "<<%%%s-%d-ERROR_MSG>> %s", "VLAN_MGR", 3, " pid 7, vdcID 2, local vdcID 1\n"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].priority, LOG_ERR);
    EXPECT_EQ(sent[0].text, "<<%VLAN_MGR-3-ERROR_MSG>>  pid 7, vdcID 2, local vdcID 1\n");
}

TEST_F(KivoSyslog, EachSeverityIsItsOwnPriority)
{
    for (uint32_t sev = 0; sev <= 7; ++sev)
        kivo_syslog(sev, "m%u", sev);
    ASSERT_EQ(sent.size(), 8u);
    const int priorities[] = {LOG_EMERG, LOG_ALERT, LOG_CRIT, LOG_ERR, LOG_WARNING, LOG_NOTICE, LOG_INFO, LOG_DEBUG};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(sent[i].priority, priorities[i]);
        const char expected[] = {'m', static_cast<char>('0' + i), '\0'};
        EXPECT_EQ(sent[i].text, expected);
    }
}

TEST_F(KivoSyslog, SeverityAboveSevenIsSentAsDebug)
{
    kivo_syslog(8, "x");
    kivo_syslog(0x103, "y");
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].priority, LOG_DEBUG);
    EXPECT_EQ(sent[1].priority, LOG_DEBUG);
}

TEST_F(KivoSyslog, CopiesTheLineToStderrWhenAsked)
{
    ScopedEnv copy("VLAN_MGR_SYSLOG_STDERR", "1");
    testing::internal::CaptureStderr();
    kivo_syslog(6, "<<%%%s-%d-INFO_MSG>> %s", "VLAN_MGR", 6, " vlan_x:pid 9, invalid vlanID 4095\n");
    kivo_syslog(5, "no newline");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "<<%VLAN_MGR-6-INFO_MSG>>  vlan_x:pid 9, invalid vlanID 4095\nno newline\n");
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].text, "no newline");
}

TEST_F(KivoSyslog, OnlyTheValueOneCopiesToStderr)
{
    for (const char *v : {"0", "", "yes", "11"}) {
        ScopedEnv copy("VLAN_MGR_SYSLOG_STDERR", v);
        testing::internal::CaptureStderr();
        kivo_syslog(3, "quiet");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << v;
    }
    EXPECT_EQ(sent.size(), 4u);
}

TEST_F(KivoSyslog, LongMessageIsCut)
{
    std::string text(5000, 'z');
    kivo_syslog(3, "%s", text.c_str());
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].text, std::string(1023, 'z'));
}

TEST_F(KivoSyslog, NullFormatIsRefused)
{
    EXPECT_EQ(kivo_syslog(3, nullptr), -1);
    EXPECT_TRUE(sent.empty());
}

TEST(KivoSyslogDefault, SendsThroughSyslog)
{
    // LOG_PERROR makes syslog(3) echo every message it sends on stderr.
    ScopedEnv copy("VLAN_MGR_SYSLOG_STDERR", nullptr);
    openlog("vlan_mgr_host_test", LOG_PERROR, LOG_USER);
    testing::internal::CaptureStderr();
    EXPECT_EQ(kivo_syslog(7, "host platform test message %d", 1), 0);
    std::string err = testing::internal::GetCapturedStderr();
    closelog();
    EXPECT_NE(err.find("host platform test message 1"), std::string::npos) << err;
}

// A wide character beyond Unicode cannot be converted in any locale.
TEST_F(KivoSyslog, ATextThatCannotBeFormattedIsRefusedAndNotSent)
{
    const wchar_t bad[] = {static_cast<wchar_t>(0x110000), 0};
    EXPECT_EQ(kivo_syslog(3, "bad %ls", bad), -1);
    EXPECT_TRUE(sent.empty());
}

TEST_F(KivoSyslog, ACutMessageCopiedToStderrKeepsRoomForItsNewline)
{
    ScopedEnv copy("VLAN_MGR_SYSLOG_STDERR", "1");
    const std::string text(5000, 'z');
    testing::internal::CaptureStderr();
    EXPECT_EQ(kivo_syslog(3, "%s", text.c_str()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(1022, 'z') + "\n");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].text, std::string(1023, 'z'));
}

TEST_F(KivoSyslog, AStderrThatCannotBeWrittenFailsTheCallAfterTheMessageWasSent)
{
    ScopedEnv copy("VLAN_MGR_SYSLOG_STDERR", "1");
    std::fflush(stderr);
    const int saved = dup(STDERR_FILENO);
    ASSERT_GE(saved, 0);
    const int read_only = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(read_only, 0);
    ASSERT_EQ(dup2(read_only, STDERR_FILENO), STDERR_FILENO);
    const int32_t rc = kivo_syslog(4, "to nowhere");
    dup2(saved, STDERR_FILENO);
    close(saved);
    close(read_only);
    EXPECT_EQ(rc, -1);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].priority, 4);
    EXPECT_EQ(sent[0].text, "to nowhere");
}
