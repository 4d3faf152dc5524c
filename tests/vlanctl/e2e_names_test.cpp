// VLAN names end to end: what vlanctl and the manager accept, and how names
// that an older manager saved without the printable rule are shown.
#include <memory>
#include <string>

#include <vlan_mgr/opcodes.h>

#include "persist.h"
#include "state.h"
#include "vlanctl_test_util.h"

namespace {

using vlanctl_test::Result;
using vlanctl_test::VlanctlE2e;

class VlanctlNames : public VlanctlE2e {
protected:
    void expect_output(const std::vector<std::string> &args, const std::string &out)
    {
        const Result r = ctl(args, 10000);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.out, out);
    }
};

TEST_F(VlanctlNames, BlanksAndPunctuationArePartOfAName)
{
    start_daemon();
    ok({"vlan", "create", "30", "--name", " a~b \"c\" "});
    expect_output({"show", "vlan", "brief"}, "VLAN  Name       Status  Ports\n"
                                             "----  ---------  ------  ---------\n"
                                             "1     VLAN0001   active  Eth1/1-48\n"
                                             "30     a~b \"c\"   active\n");
    expect_output({"show", "vlan", "id", "30", "--json"}, R"({
  "vlans": [
    {
      "id": 30,
      "name": " a~b \"c\" ",
      "status": "active",
      "type": "normal",
      "primary": null,
      "ports": []
    }
  ]
}
)");
    expect_output({"show", "vlan", "name", " a~b \"c\" "}, "VLAN  Name       Status  Ports\n"
                                                         "----  ---------  ------  -----\n"
                                                         "30     a~b \"c\"   active\n"
                                                         "\n"
                                                         "VLAN  Type    Primary\n"
                                                         "----  ------  -------\n"
                                                         "30    normal  -\n");
}

TEST_F(VlanctlNames, NamesSavedBeforeThePrintableRuleLoadAndAreShownEscaped)
{
    // A saved state as an older manager wrote it: names with an escape
    // sequence and a byte that is not UTF-8, and with valid UTF-8 beyond
    // ASCII and DEL.
    {
        auto m = std::make_unique<vlan_mgrd::Manager>(); // too big for the stack
        m->vdc(1).vlans[30].created = true;
        m->vdc(1).vlans[30].name = "a\x1b[31mred\xff";
        m->vdc(1).vlans[31].created = true;
        m->vdc(1).vlans[31].name = "caf\xc3\xa9\x7f";
        std::string error;
        ASSERT_TRUE(vlan_mgrd::save_state(*m, dir_ + "/state/vlan_mgrd.state", false, error)) << error;
    }
    start_daemon();
    expect_output({"show", "vlan", "brief"}, "VLAN  Name              Status  Ports\n"
                                             "----  ----------------  ------  ---------\n"
                                             "1     VLAN0001          active  Eth1/1-48\n"
                                             "30    a\\x1b[31mred\\xff  active\n"
                                             "31    caf\\xc3\\xa9\\x7f   active\n");
    expect_output({"show", "vlan", "id", "30", "--json"}, R"({
  "vlans": [
    {
      "id": 30,
      "name": "a\u001b[31mred\ufffd",
      "status": "active",
      "type": "normal",
      "primary": null,
      "ports": []
    }
  ]
}
)");
    // The whole listing, VLAN 1 with its 48 ports included.
    const Result all = ctl({"show", "vlan", "--json"}, 10000);
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_EQ(all.err, "");
    EXPECT_NE(all.out.find("\n      \"name\": \"a\\u001b[31mred\\ufffd\",\n"), std::string::npos) << all.out;
    EXPECT_NE(all.out.find("\n      \"name\": \"caf\\u00e9\\u007f\",\n"), std::string::npos) << all.out;
    // Such a VLAN takes a valid name, and can be deleted.
    ok({"vlan", "name", "30", "red"});
    ok({"vlan", "delete", "31"});
    expect_output({"show", "vlan", "brief"}, "VLAN  Name      Status  Ports\n"
                                             "----  --------  ------  ---------\n"
                                             "1     VLAN0001  active  Eth1/1-48\n"
                                             "30    red       active\n");
}

} // namespace
