// vlanctl against a running vlan_mgrd: changes, every show in table and JSON
// form, refusals, the BD database, watch.
#include "vlanctl_test_util.h"

namespace {

using vlanctl_test::Result;
using vlanctl_test::VlanctlE2e;

class VlanctlManager : public VlanctlE2e {
protected:
    void SetUp() override
    {
        VlanctlE2e::SetUp();
        start_daemon();
    }

    // VLANs 10, 20-25 (20 named "web"), Ethernet1/1-4 access in 10,
    // Ethernet1/5 a trunk allowing 20-25.
    void configure()
    {
        ok({"vlan", "create", "10,20-25"});
        ok({"vlan", "name", "20", "web"});
        for (int p = 1; p <= 4; ++p)
            ok({"interface", "Ethernet1/" + std::to_string(p), "access", "vlan", "10"});
        ok({"interface", "eth1/5", "mode", "trunk"});
        ok({"interface", "Ethernet1/5", "trunk", "allowed", "vlan", "set", "20-25"});
    }

    void expect_output(const std::vector<std::string> &args, const std::string &out)
    {
        const Result r = ctl(args);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.out, out);
    }
};

TEST_F(VlanctlManager, FreshManagerHasVlan1WithEveryPort)
{
    // VLAN 1 answers to its default name, like every VLAN without one.
    expect_output({"show", "vlan", "brief"}, "VLAN  Name      Status  Ports\n"
                                             "----  --------  ------  ---------\n"
                                             "1     VLAN0001  active  Eth1/1-48\n");
}

TEST_F(VlanctlManager, ShowVlanBriefAfterChanges)
{
    configure();
    expect_output({"show", "vlan", "brief"}, "VLAN  Name      Status  Ports\n"
                                             "----  --------  ------  ---------\n"
                                             "1     VLAN0001  active  Eth1/6-48\n"
                                             "10    VLAN0010  active  Eth1/1-4\n"
                                             "20    web       active  Eth1/5\n"
                                             "21    VLAN0021  active  Eth1/5\n"
                                             "22    VLAN0022  active  Eth1/5\n"
                                             "23    VLAN0023  active  Eth1/5\n"
                                             "24    VLAN0024  active  Eth1/5\n"
                                             "25    VLAN0025  active  Eth1/5\n");
}

TEST_F(VlanctlManager, ShowVlanIdAndNameAndTheirJson)
{
    configure();
    const std::string text = "VLAN  Name  Status  Ports\n"
                             "----  ----  ------  ------\n"
                             "20    web   active  Eth1/5\n"
                             "\n"
                             "VLAN  Type    Primary\n"
                             "----  ------  -------\n"
                             "20    normal  -\n";
    expect_output({"show", "vlan", "id", "20"}, text);
    expect_output({"show", "vlan", "name", "web"}, text);
    expect_output({"show", "vlan", "id", "10", "--json"}, R"({
  "vlans": [
    {
      "id": 10,
      "name": "VLAN0010",
      "status": "active",
      "type": "normal",
      "primary": null,
      "ports": [
        "Ethernet1/1",
        "Ethernet1/2",
        "Ethernet1/3",
        "Ethernet1/4"
      ]
    }
  ]
}
)");
}

TEST_F(VlanctlManager, ShowVlanWithTypesAndPrivateVlans)
{
    ok({"vlan", "create", "100-102"});
    ok({"vlan", "type", "100", "primary"});
    ok({"vlan", "type", "101", "isolated"});
    ok({"vlan", "type", "102", "community"});
    ok({"vlan", "private-vlan", "100", "add", "101-102"});
    expect_output({"show", "vlan"}, "VLAN  Name      Status  Ports\n"
                                    "----  --------  ------  ---------\n"
                                    "1     VLAN0001  active  Eth1/1-48\n"
                                    "100   VLAN0100  active\n"
                                    "101   VLAN0101  active\n"
                                    "102   VLAN0102  active\n"
                                    "\n"
                                    "VLAN  Type       Primary\n"
                                    "----  ---------  -------\n"
                                    "1     normal     -\n"
                                    "100   primary    -\n"
                                    "101   isolated   100\n"
                                    "102   community  100\n");
    ok({"vlan", "private-vlan", "100", "remove", "102"});
    expect_output({"show", "vlan", "summary"}, "Existing VLANs          : 4\n"
                                               "User VLANs              : 3\n"
                                               "Extended VLANs          : 0\n"
                                               "Primary private VLANs   : 1\n"
                                               "Isolated private VLANs  : 1\n"
                                               "Community private VLANs : 1\n");
}

TEST_F(VlanctlManager, ShowVlanBriefJson)
{
    ok({"vlan", "create", "30", "--name", "db"});
    ok({"interface", "Ethernet1/48", "access", "vlan", "30"});
    const Result r = ctl({"show", "vlan", "brief", "--json"});
    EXPECT_EQ(r.status, 0) << r.err;
    std::string ports1;
    for (int p = 1; p <= 47; ++p)
        ports1 += "        \"Ethernet1/" + std::to_string(p) + "\"" + (p < 47 ? ",\n" : "\n");
    EXPECT_EQ(r.out, "{\n"
                     "  \"vlans\": [\n"
                     "    {\n"
                     "      \"id\": 1,\n"
                     "      \"name\": \"VLAN0001\",\n"
                     "      \"status\": \"active\",\n"
                     "      \"type\": \"normal\",\n"
                     "      \"primary\": null,\n"
                     "      \"ports\": [\n" +
                         ports1 +
                         "      ]\n"
                         "    },\n"
                         "    {\n"
                         "      \"id\": 30,\n"
                         "      \"name\": \"db\",\n"
                         "      \"status\": \"active\",\n"
                         "      \"type\": \"normal\",\n"
                         "      \"primary\": null,\n"
                         "      \"ports\": [\n"
                         "        \"Ethernet1/48\"\n"
                         "      ]\n"
                         "    }\n"
                         "  ]\n"
                         "}\n");
}

TEST_F(VlanctlManager, ShowInterfaceSwitchport)
{
    configure();
    ok({"interface", "Ethernet1/5", "trunk", "native", "vlan", "20"});
    ok({"interface", "Ethernet1/5", "trunk", "allowed", "vlan", "add", "10"});
    ok({"interface", "Ethernet1/5", "trunk", "allowed", "vlan", "remove", "25"});
    expect_output({"show", "interface", "Ethernet1/5", "switchport"}, "Name                   : Ethernet1/5\n"
                                                                     "Switchport mode        : trunk\n"
                                                                     "Access VLAN            : 1\n"
                                                                     "Trunking native VLAN   : 20\n"
                                                                     "Trunking VLANs allowed : 10,20-24\n"
                                                                     "Voice VLAN             : none\n"
                                                                     "Trunking VLANs active  : 10,20-24\n");
    ok({"interface", "Ethernet1/1", "voice", "vlan", "21"});
    expect_output({"show", "interface", "eth1/1", "switchport", "--json"},
                  "{\n"
                  "  \"name\": \"Ethernet1/1\",\n"
                  "  \"mode\": \"access\",\n"
                  "  \"access_vlan\": 10,\n"
                  "  \"native_vlan\": 1,\n"
                  "  \"allowed_vlans\": \"1-4094\",\n"
                  "  \"voice_vlan\": 21,\n"
                  "  \"active_vlans\": \"1,10,20-25\"\n"
                  "}\n");
}

TEST_F(VlanctlManager, ReservedVlansAreRefusedWithExit1)
{
    const Result r = ctl({"vlan", "create", "10,3999-4001"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: VLAN is reserved (0x411000c2)\n"
                     "  VLAN 3999-4001: VLAN is reserved (0x411000c2)\n");
    // VLAN 10 was created all the same.
    expect_output({"show", "bd", "10"}, "VLAN  BD\n"
                                        "----  --\n"
                                        "10    10\n");
}

TEST_F(VlanctlManager, RefusalsListTheFailingVlans)
{
    Result r = ctl({"vlan", "delete", "10"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: VLAN does not exist (0x411000c3)\n"
                     "  VLAN 10: VLAN does not exist (0x411000c3)\n");
    r = ctl({"interface", "Ethernet1/1", "access", "vlan", "4000"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: VLAN is reserved (0x411000c2)\n");
    r = ctl({"interface", "Ethernet1/2", "trunk", "allowed", "vlan", "add", "10,4000"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: VLAN is reserved (0x411000c2)\n");
    r = ctl({"vlan", "private-vlan", "10", "add", "11"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: VLAN does not exist (0x411000c3)\n"
                     "  VLAN 11: VLAN does not exist (0x411000c3)\n");
    r = ctl({"show", "vlan", "id", "77"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: VLAN does not exist (0x411000c3)\n"
                     "  VLAN 77: VLAN does not exist (0x411000c3)\n");
    r = ctl({"show", "vlan", "name", "nothing"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: no VLAN has that name (0x411000c8)\n");
    r = ctl({"vlan", "type", "1", "primary"});
    EXPECT_EQ(r.status, 2); // refused by the builder: nothing sent
    EXPECT_EQ(r.err, "Error: not allowed on the default VLAN 1 (0x41100058)\n");
}

TEST_F(VlanctlManager, ShowBdFromTheDatabase)
{
    ok({"vlan", "create", "10,300"});
    expect_output({"show", "bd"}, "VLAN  BD\n"
                                  "----  ---\n"
                                  "1     1\n"
                                  "10    10\n"
                                  "300   300\n");
    expect_output({"show", "bd", "300", "--json"}, "{\n"
                                                   "  \"bds\": [\n"
                                                   "    {\n"
                                                   "      \"vlan\": 300,\n"
                                                   "      \"bd\": 300\n"
                                                   "    }\n"
                                                   "  ]\n"
                                                   "}\n");
    // A deleted VLAN's record leaves the database.
    ok({"vlan", "delete", "300"});
    const Result r = ctl({"show", "bd", "300"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: shared database: no such record (0x411a0007)\n"
                     "  VLAN 300: shared database: no such record (0x411a0007)\n");
}

TEST_F(VlanctlManager, ShowVlanSummaryJson)
{
    ok({"vlan", "create", "10,20-25,2000"});
    expect_output({"show", "vlan", "summary", "--json"}, "{\n"
                                                         "  \"existing\": 9,\n"
                                                         "  \"user\": 8,\n"
                                                         "  \"extended\": 1,\n"
                                                         "  \"primary\": 0,\n"
                                                         "  \"isolated\": 0,\n"
                                                         "  \"community\": 0\n"
                                                         "}\n");
}

TEST_F(VlanctlManager, ShowVlanReserved)
{
    expect_output({"show", "vlan", "reserved"}, "Reserved VLANs     : 3968-4094\n"
                                                "Configured range   : 3968-4094\n"
                                                "Range after reload : 3968-4094\n");
    const Result r = ctl({"vlan", "create", "3968"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: VLAN is reserved (0x411000c2)\n"
                     "  VLAN 3968: VLAN is reserved (0x411000c2)\n");
}

TEST_F(VlanctlManager, OtherVdcHasItsOwnVlans)
{
    ok({"--vdc", "2", "vlan", "create", "40"});
    expect_output({"--vdc", "2", "show", "bd"}, "VLAN  BD\n"
                                                "----  --\n"
                                                "1     1\n"
                                                "40    40\n");
    expect_output({"show", "bd"}, "VLAN  BD\n"
                                  "----  --\n"
                                  "1     1\n");
}

TEST_F(VlanctlManager, WatchPrintsTheRecordsOfAChange)
{
    const std::string out = dir_ + "/watch.out", err = dir_ + "/watch.err";
    const pid_t w = vlanctl_test::spawn({VLANCTL_BIN, "watch", "--count", "2"}, out, err);
    // Subscribed once it says so; the subscription then needs a moment to
    // reach the manager.
    for (int i = 0; i < 500 && vlanctl_test::read_file(err).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(vlanctl_test::read_file(err), "Watching the VLAN manager's notifications\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ok({"vlan", "create", "40-41"});
    EXPECT_EQ(vlanctl_test::wait_exit(w, 10000), 0);
    EXPECT_EQ(vlanctl_test::read_file(out), "create vdc 1 vlan 40 bd 40 name VLAN0040\n"
                                            "create vdc 1 vlan 41 bd 41 name VLAN0041\n");
}

TEST_F(VlanctlManager, WatchPrintsRenamesAndPortChanges)
{
    ok({"vlan", "create", "40"});
    const std::string out = dir_ + "/watch.out", err = dir_ + "/watch.err";
    const pid_t w = vlanctl_test::spawn({VLANCTL_BIN, "watch", "--count", "3"}, out, err);
    for (int i = 0; i < 500 && vlanctl_test::read_file(err).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ok({"vlan", "name", "40", "x"});
    ok({"interface", "eth1/7", "mode", "trunk"});
    ok({"interface", "eth1/7", "trunk", "allowed", "vlan", "set", "40"});
    EXPECT_EQ(vlanctl_test::wait_exit(w, 10000), 0);
    EXPECT_EQ(vlanctl_test::read_file(out), "config vdc 1 vlan 40 name x\n"
                                            "port vdc 1 Ethernet1/7 mode trunk vlans 1-4094 active 1,40\n"
                                            "port vdc 1 Ethernet1/7 mode trunk vlans 40 active 40\n");
}

TEST_F(VlanctlManager, LongPortListsWrapInTheTable)
{
    ok({"vlan", "create", "40", "--name", "x"});
    for (int p = 1; p <= 23; p += 2)
        ok({"interface", "Ethernet1/" + std::to_string(p), "access", "vlan", "40"});
    expect_output({"show", "vlan", "brief"}, "VLAN  Name      Status  Ports\n"
                                             "----  --------  ------  ------------------------------------------------\n"
                                             "1     VLAN0001  active  Eth1/2, Eth1/4, Eth1/6, Eth1/8, Eth1/10,\n"
                                             "                        Eth1/12, Eth1/14, Eth1/16, Eth1/18, Eth1/20,\n"
                                             "                        Eth1/22, Eth1/24-48\n"
                                             "40    x         active  Eth1/1, Eth1/3, Eth1/5, Eth1/7, Eth1/9, Eth1/11,\n"
                                             "                        Eth1/13, Eth1/15, Eth1/17, Eth1/19, Eth1/21,\n"
                                             "                        Eth1/23\n");
}

TEST_F(VlanctlManager, WatchStopsOnSigterm)
{
    const std::string out = dir_ + "/watch.out", err = dir_ + "/watch.err";
    const pid_t w = vlanctl_test::spawn({VLANCTL_BIN, "watch"}, out, err);
    for (int i = 0; i < 500 && vlanctl_test::read_file(err).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    kill(w, SIGTERM);
    EXPECT_EQ(vlanctl_test::wait_exit(w, 5000), 0);
    EXPECT_EQ(vlanctl_test::read_file(out), "");
}

TEST_F(VlanctlManager, WatchCountMustBeANumberFromOne)
{
    // Refused at once with a manager that would serve the watch: none of
    // them may start a watch that never ends.
    for (const char *count : {"0", "-1", "abc", "", "4294967296", "99999999999999999999999"}) {
        const Result r = ctl({"watch", "--count", count}, 5000);
        EXPECT_EQ(r.status, 2) << count;
        EXPECT_EQ(r.out, "") << count;
        EXPECT_EQ(r.err, "Error: --count must be a number from 1 to 4294967295\n") << count;
    }
    const Result r = ctl({"watch", "--count=-1"}, 5000);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "Error: --count must be a number from 1 to 4294967295\n");
}

TEST_F(VlanctlManager, ManagerThatDoesNotAnswerTimesOut)
{
    ASSERT_EQ(kill(daemon_, SIGSTOP), 0);
    const auto start = std::chrono::steady_clock::now();
    const Result r = ctl({"--timeout", "300", "show", "vlan"});
    const auto took = std::chrono::steady_clock::now() - start;
    kill(daemon_, SIGCONT);
    // Sent, not answered: exit 4, not 3 (which says that nothing was sent).
    EXPECT_EQ(r.status, 4);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: no answer; the change may or may not have been applied\n");
    EXPECT_LT(took, std::chrono::milliseconds(1800)); // not the environment's 2000 ms
}

TEST_F(VlanctlManager, HistoryOfTheManager)
{
    const std::string pid = vlanctl_test::read_file(run_ + "/vlan_mgrd.pid");
    const std::string n = pid.substr(0, pid.find('\n'));
    const Result r = ctl({"history"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    // The entry's header carries its time; its text and the summary are exact.
    EXPECT_NE(r.out.find("] VLAN_MGR_EVENT_DONE_INIT, length "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\n    vlan_mgrd started, pid " + n + ", run directory " + run_ + ", state " + dir_ +
                         "/state/vlan_mgrd.state\n"),
              std::string::npos)
        << r.out;
    const std::string last = "-- pid " + n + ": 1 events recorded, 1 shown, 0 overwritten, 0 skipped while being written\n";
    ASSERT_GE(r.out.size(), last.size());
    EXPECT_EQ(r.out.substr(r.out.size() - last.size()), last);
    // The same through the process id.
    EXPECT_EQ(ctl({"history", n}).out, r.out);
}

TEST_F(VlanctlManager, StoppedManagerGivesExit3)
{
    stop_daemon();
    const Result r = ctl({"show", "vlan"});
    EXPECT_EQ(r.status, 3);
    EXPECT_EQ(r.err, "Error: VLAN manager not reachable: message transport: nobody serves the destination SAP\n");
}

} // namespace
