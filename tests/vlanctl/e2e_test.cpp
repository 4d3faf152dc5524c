// vlanctl against a running vlan_mgrd: every command as a user types it,
// with the exact text of its output, its messages and its exit status.
#include "vlanctl_test_util.h"

namespace {

using vlanctl_test::Result;
using vlanctl_test::VlanctlE2e;

constexpr char kBadName[] = "Error: invalid VLAN name: must be 1 to 32 printable ASCII characters\n";

constexpr char kUnreachable[] =
    "Error: VLAN manager not reachable: message transport: nobody serves the destination SAP\n";

// ---- Without a manager -------------------------------------------------------

TEST_F(VlanctlE2e, AbsentManagerGivesExit3)
{
    for (const std::vector<std::string> &args : std::vector<std::vector<std::string>>{
             {"vlan", "create", "10"},
             {"show", "vlan"},
             {"show", "vlan", "brief", "--json"},
             {"interface", "Ethernet1/1", "access", "vlan", "10"},
             {"watch", "--count", "1"}}) {
        const Result r = ctl(args);
        EXPECT_EQ(r.status, 3) << args[0];
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, kUnreachable);
    }
}

TEST_F(VlanctlE2e, UsageErrorsNeedNoManager)
{
    struct Case {
        std::vector<std::string> args;
        std::string err;
    };
    const Case cases[] = {
        {{"vlan", "create", "10,30-20"}, "Error: range 30-20 is not ascending\n"},
        {{"vlan", "create", "0"}, "Error: VLAN 0 out of range 1-4094\n"},
        {{"vlan", "delete", "4095"}, "Error: VLAN 4095 out of range 1-4094\n"},
        {{"vlan", "create", "10,,20"}, "Error: empty element in VLAN list \"10,,20\"\n"},
        {{"vlan", "create", "10,20", "--name", "x"}, "Error: --name needs a single VLAN\n"},
        {{"vlan", "create", "10", "--name", std::string(33, 'n')}, kBadName},
        {{"vlan", "type", "10-x", "primary"}, "Error: invalid VLAN range \"10-x\"\n"},
        {{"vlan", "private-vlan", "5000", "add", "10"}, "Error: VLAN 5000 out of range 1-4094\n"},
        {{"interface", "Ethernet9/9", "access", "vlan", "10"}, "Error: unknown interface Ethernet9/9\n"},
        {{"interface", "Ethernet1/1", "trunk", "allowed", "vlan", "add", "1-5000"},
         "Error: VLAN 5000 out of range 1-4094\n"},
        {{"show", "interface", "Gi0/1", "switchport"}, "Error: unknown interface Gi0/1\n"},
        {{"show", "vlan", "id", "4095"}, "Error: VLAN 4095 out of range 1-4094\n"},
    };
    for (const Case &c : cases) {
        const Result r = ctl(c.args);
        EXPECT_EQ(r.status, 2) << c.err;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, c.err);
    }
}

TEST_F(VlanctlE2e, NamesOutsideTheRuleAreRefusedBeforeAnythingIsSent)
{
    // 1 to 32 characters, each printable ASCII (0x20..0x7E).
    const std::vector<std::vector<std::string>> cases{
        {"vlan", "create", "10", "--name", ""},
        {"vlan", "create", "10", "--name", std::string(33, 'n')},
        {"vlan", "create", "10", "--name", "a\x1b[31mred"},
        {"vlan", "create", "10", "--name", "caf\xc3\xa9"},
        {"vlan", "create", "10", "--name", "x\xff"},
        {"vlan", "name", "10", "x\ty"},
        {"vlan", "name", "10", "del\x7f"},
        {"vlan", "name", "10", ""},
    };
    for (const std::vector<std::string> &args : cases) {
        const Result r = ctl(args);
        EXPECT_EQ(r.status, 2) << args.back();
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, kBadName) << args.back();
    }
}

TEST_F(VlanctlE2e, LongBadInputIsEchoedCutToFortyBytes)
{
    const std::string forty_x(40, 'x');
    std::string ones = "1,,";
    while (ones.size() < 126 * 1024)
        ones += "1,";
    ones += "1";
    struct Case {
        std::vector<std::string> args;
        std::string err;
    };
    const Case cases[] = {
        {{"vlan", "create", std::string(126 * 1024, 'x')}, "Error: invalid VLAN id \"" + forty_x + "...\"\n"},
        {{"vlan", "delete", ones}, "Error: empty element in VLAN list \"1,,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1...\"\n"},
        {{"interface", "Ethernet1/1", "trunk", "allowed", "vlan", "add", "1-" + std::string(126 * 1024, '9')},
         "Error: invalid VLAN range \"1-" + std::string(38, '9') + "...\"\n"},
        {{"show", "vlan", "id", std::string(100, '1')}, "Error: invalid VLAN id \"" + std::string(40, '1') + "...\"\n"},
        {{"interface", std::string(126 * 1024, 'E'), "access", "vlan", "10"},
         "Error: unknown interface " + std::string(40, 'E') + "...\n"},
        {{"vlan", "create", "10,\x1b[2J"}, "Error: invalid VLAN id \"\\x1b[2J\"\n"},
    };
    for (const Case &c : cases) {
        const Result r = ctl(c.args, 5000);
        EXPECT_EQ(r.status, 2) << c.err;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, c.err);
    }
}

TEST_F(VlanctlE2e, UnknownCommandIsNamed)
{
    struct Case {
        std::vector<std::string> args;
        std::string err;
    };
    const Case cases[] = {
        {{"frobnicate"}, "Error: unknown command 'frobnicate'\n"},
        {{"vlan", "frobnicate"}, "Error: unknown command 'vlan frobnicate'\n"},
        {{"show", "vlan", "frobnicate"}, "Error: unknown command 'show vlan frobnicate'\n"},
        {{"interface", "Ethernet1/1", "trunk", "allowed", "frobnicate"},
         "Error: unknown command 'interface trunk allowed frobnicate'\n"},
        {{std::string(126 * 1024, 'f')}, "Error: unknown command '" + std::string(40, 'f') + "...'\n"},
        {{"frob\x1b[2J"}, "Error: unknown command 'frob\\x1b[2J'\n"},
    };
    for (const Case &c : cases) {
        const Result r = ctl(c.args, 5000);
        EXPECT_EQ(r.status, 2) << c.err;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, c.err);
    }
}

TEST_F(VlanctlE2e, HistoryNeedsAProcessId)
{
    for (const char *arg : {"abc", "0", "-1", "+5", "4194305", "99999999999999999999999", ""}) {
        const Result r = ctl({"history", arg}, 5000);
        EXPECT_EQ(r.status, 2) << arg;
        EXPECT_EQ(r.out, "") << arg;
        EXPECT_EQ(r.err, "Error: history: the process id must be a number from 1 to 4194304\n") << arg;
    }
}

TEST_F(VlanctlE2e, CommandLineErrorsAreUsageErrors)
{
    Result r = ctl({"vlan", "type", "10", "purple"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "type: purple not in {normal,primary,isolated,community}\n"
                     "Run with --help for more information.\n");
    r = ctl({});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "A subcommand is required\nRun with --help for more information.\n");
    r = ctl({"--vdc", "0", "show", "vlan"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "--vdc: Value 0 not in range 1 to 65535\nRun with --help for more information.\n");
}

TEST_F(VlanctlE2e, EveryCommandHasHelp)
{
    const std::vector<std::vector<std::string>> commands{
        {},
        {"vlan"},
        {"vlan", "create"},
        {"vlan", "delete"},
        {"vlan", "name"},
        {"vlan", "type"},
        {"vlan", "private-vlan"},
        {"interface", "Ethernet1/1"},
        {"interface", "Ethernet1/1", "access", "vlan"},
        {"interface", "Ethernet1/1", "trunk", "allowed", "vlan"},
        {"interface", "Ethernet1/1", "trunk", "native", "vlan"},
        {"interface", "Ethernet1/1", "voice", "vlan"},
        {"interface", "Ethernet1/1", "mode"},
        {"show", "vlan"},
        {"show", "vlan", "brief"},
        {"show", "vlan", "id"},
        {"show", "vlan", "name"},
        {"show", "vlan", "reserved"},
        {"show", "vlan", "summary"},
        {"show", "interface", "Ethernet1/1", "switchport"},
        {"show", "bd"},
        {"watch"},
        {"history"},
    };
    for (std::vector<std::string> args : commands) {
        args.push_back("--help");
        const Result r = ctl(args);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_NE(r.out.find("Usage: "), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("-h,--help"), std::string::npos) << r.out;
        EXPECT_EQ(r.err, "");
    }
    const Result r = ctl({"vlan", "create", "--help"});
    EXPECT_EQ(r.out.rfind("Create VLANs\n", 0), 0u) << r.out;
}

TEST_F(VlanctlE2e, HistoryOfAProcessWithoutOne)
{
    const Result r = ctl({"history", "999999"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "vlan_mgr_hist_show: " + dir_ + "/hist/vlan_mgr_hist.999999: No such file or directory\n");
    const Result none = ctl({"history"});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, "Error: no manager process id in " + run_ + "/vlan_mgrd.pid; give a process id\n");
}

} // namespace
