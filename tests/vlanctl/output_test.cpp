// vlanctl's tables, folded port lists, show texts and JSON.
#include <gtest/gtest.h>

#include <vlan_mgr/opcodes.h>

#include "output.h"

namespace {

using namespace vlanctl;

std::vector<std::string> eth(std::initializer_list<int> ports)
{
    std::vector<std::string> out;
    for (int p : ports)
        out.push_back("Ethernet1/" + std::to_string(p));
    return out;
}

TEST(VlanctlOutput, TableAlignsColumnsTwoBlanksApartWithoutTrailingBlanks)
{
    Table t{{"VLAN", "Name", "Ports"}, {{"1", "default", "Eth1/1"}, {"100", "x", ""}}};
    EXPECT_EQ(t.render(), "VLAN  Name     Ports\n"
                          "----  -------  ------\n"
                          "1     default  Eth1/1\n"
                          "100   x\n");
}

TEST(VlanctlOutput, TableCellOfSeveralLinesLeavesTheOtherCellsBlank)
{
    Table t{{"A", "B"}, {{"1", "x,\ny"}, {"22", "z"}}};
    EXPECT_EQ(t.render(), "A   B\n"
                          "--  --\n"
                          "1   x,\n"
                          "    y\n"
                          "22  z\n");
}

TEST(VlanctlOutput, PortsFoldIntoRangesOfShortNames)
{
    EXPECT_EQ(fold_port_lines(eth({1, 2, 3, 4, 7}), 48), "Eth1/1-4, Eth1/7");
    EXPECT_EQ(fold_port_lines(eth({5}), 48), "Eth1/5");
    EXPECT_EQ(fold_port_lines({}, 48), "");
    EXPECT_EQ(fold_port_lines({"Ethernet1/1", "Ethernet1/2", "port-channel7"}, 48), "Eth1/1-2, port-channel7");
}

TEST(VlanctlOutput, LongPortListsWrapAtCommas)
{
    // Eth1/1, Eth1/3, ... every other port: nothing folds.
    // A line holds at most 30 characters, its trailing comma included.
    EXPECT_EQ(fold_port_lines(eth({1, 3, 5, 7, 9, 11, 13, 15}), 30), "Eth1/1, Eth1/3, Eth1/5,\n"
                                                                     "Eth1/7, Eth1/9, Eth1/11,\n"
                                                                     "Eth1/13, Eth1/15");
    // An element longer than the width stands alone.
    EXPECT_EQ(fold_port_lines(eth({1, 2, 3, 9}), 5), "Eth1/1-3,\nEth1/9");
}

std::vector<VlanView> sample()
{
    VlanView v1{1, "default", "active", VLAN_MGR_VLAN_TYPE_NORMAL, 0, eth({5, 6, 7, 8})};
    VlanView v10{10, "VLAN0010", "active", VLAN_MGR_VLAN_TYPE_NORMAL, 0, eth({1, 2, 3, 4})};
    VlanView v20{20, "web", "suspended", VLAN_MGR_VLAN_TYPE_PRIMARY, 0, {}};
    VlanView v21{21, "iso", "active", VLAN_MGR_VLAN_TYPE_ISOLATED, 20, eth({5})};
    return {v1, v10, v20, v21};
}

TEST(VlanctlOutput, VlanBriefTable)
{
    EXPECT_EQ(render_vlan_brief(sample()), "VLAN  Name      Status     Ports\n"
                                           "----  --------  ---------  --------\n"
                                           "1     default   active     Eth1/5-8\n"
                                           "10    VLAN0010  active     Eth1/1-4\n"
                                           "20    web       suspended\n"
                                           "21    iso       active     Eth1/5\n");
}

TEST(VlanctlOutput, VlanFullTableAddsTypesAndPrimaries)
{
    EXPECT_EQ(render_vlan_full({sample()[2], sample()[3]}), "VLAN  Name  Status     Ports\n"
                                                            "----  ----  ---------  ------\n"
                                                            "20    web   suspended\n"
                                                            "21    iso   active     Eth1/5\n"
                                                            "\n"
                                                            "VLAN  Type      Primary\n"
                                                            "----  --------  -------\n"
                                                            "20    primary   -\n"
                                                            "21    isolated  20\n");
}

TEST(VlanctlOutput, VlanJsonKeepsFullPortNames)
{
    EXPECT_EQ(json_text(vlans_json({sample()[3]})), R"({
  "vlans": [
    {
      "id": 21,
      "name": "iso",
      "status": "active",
      "type": "isolated",
      "primary": 20,
      "ports": [
        "Ethernet1/5"
      ]
    }
  ]
}
)");
}

TEST(VlanctlOutput, NameBytesOutsidePrintableAsciiAreEscapedInTheTables)
{
    // Names a database or an older saved state may hold: an escape
    // sequence, a byte that is not UTF-8, DEL, a tab.
    const std::vector<VlanView> v{{30, "a\x1b[31mred\xff", "active", VLAN_MGR_VLAN_TYPE_NORMAL, 0, {}},
                                  {31, "x\x7f\ty", "active", VLAN_MGR_VLAN_TYPE_NORMAL, 0, eth({1})}};
    EXPECT_EQ(render_vlan_brief(v), "VLAN  Name              Status  Ports\n"
                                    "----  ----------------  ------  ------\n"
                                    "30    a\\x1b[31mred\\xff  active\n"
                                    "31    x\\x7f\\x09y        active  Eth1/1\n");
}

TEST(VlanctlOutput, JsonIsAsciiAndReplacesBytesThatAreNotUtf8)
{
    const std::vector<VlanView> v{{30, "a\x1b[31mred\xff", "active", VLAN_MGR_VLAN_TYPE_NORMAL, 0, {}},
                                  {31, "caf\xc3\xa9\x7f", "active", VLAN_MGR_VLAN_TYPE_NORMAL, 0, {}}};
    EXPECT_EQ(json_text(vlans_json(v)), R"({
  "vlans": [
    {
      "id": 30,
      "name": "a\u001b[31mred\ufffd",
      "status": "active",
      "type": "normal",
      "primary": null,
      "ports": []
    },
    {
      "id": 31,
      "name": "caf\u00e9\u007f",
      "status": "active",
      "type": "normal",
      "primary": null,
      "ports": []
    }
  ]
}
)");
}

TEST(VlanctlOutput, SwitchportTextAndJson)
{
    SwitchportView p{"Ethernet1/5", VLAN_MGR_PORT_MODE_TRUNK, 1, 1, 0, {20, 21, 22}, {20, 21}};
    EXPECT_EQ(render_switchport(p), "Name                   : Ethernet1/5\n"
                                    "Switchport mode        : trunk\n"
                                    "Access VLAN            : 1\n"
                                    "Trunking native VLAN   : 1\n"
                                    "Trunking VLANs allowed : 20-22\n"
                                    "Voice VLAN             : none\n"
                                    "Trunking VLANs active  : 20-21\n");
    EXPECT_EQ(switchport_json(p).dump(), R"({"name":"Ethernet1/5","mode":"trunk","access_vlan":1,"native_vlan":1,)"
                                         R"("allowed_vlans":"20-22","voice_vlan":null,"active_vlans":"20-21"})");
}

TEST(VlanctlOutput, BdTableAndJson)
{
    EXPECT_EQ(render_bd({{1, 1}, {10, 10}, {4000, 4000}}), "VLAN  BD\n"
                                                           "----  ----\n"
                                                           "1     1\n"
                                                           "10    10\n"
                                                           "4000  4000\n");
    EXPECT_EQ(bd_json({{10, 10}}).dump(), R"({"bds":[{"vlan":10,"bd":10}]})");
}

TEST(VlanctlOutput, SummaryCountsVlansByKind)
{
    std::vector<VlanView> v = sample();
    v.push_back({2000, "big", "active", VLAN_MGR_VLAN_TYPE_COMMUNITY, 20, {}});
    const SummaryView s = summarize(v);
    EXPECT_EQ(render_summary(s), "Existing VLANs          : 5\n"
                                 "User VLANs              : 4\n"
                                 "Extended VLANs          : 1\n"
                                 "Primary private VLANs   : 1\n"
                                 "Isolated private VLANs  : 1\n"
                                 "Community private VLANs : 1\n");
    EXPECT_EQ(summary_json(s).dump(),
              R"({"existing":5,"user":4,"extended":1,"primary":1,"isolated":1,"community":1})");
}

TEST(VlanctlOutput, ReservedText)
{
    ReservedView r{3968, 4095, 3968, 4095, {}};
    for (uint32_t v = 3968; v <= 4094; ++v)
        r.vlans.push_back(v);
    EXPECT_EQ(render_reserved(r), "Reserved VLANs     : 3968-4094\n"
                                  "Configured range   : 3968-4095\n"
                                  "Range after reload : 3968-4095\n");
}

TEST(VlanctlOutput, FailuresFoldRunsOfTheSameStatus)
{
    EXPECT_EQ(render_failures({{3970, 0x411000C2}, {3968, 0x411000C2}, {3969, 0x411000C2}, {5, 0x411000C7}}),
              "  VLAN 5: VLAN name already in use (0x411000c7)\n"
              "  VLAN 3968-3970: VLAN is reserved (0x411000c2)\n");
    EXPECT_EQ(render_failures({}), "");
}

// A type or mode that vlanctl has no word for is shown by its number.
TEST(VlanctlOutput, UnknownTypeAndModeAreShownByNumber)
{
    EXPECT_EQ(vlan_type_name(99), "type 99");
    EXPECT_EQ(port_mode_name(7), "mode 7");
    SwitchportView p{"Ethernet1/5", 7, 0, 0, 0, {}, {}};
    EXPECT_EQ(render_switchport(p), "Name                   : Ethernet1/5\n"
                                    "Switchport mode        : mode 7\n"
                                    "Access VLAN            : none\n"
                                    "Trunking native VLAN   : none\n"
                                    "Trunking VLANs allowed : none\n"
                                    "Voice VLAN             : none\n"
                                    "Trunking VLANs active  : none\n");
}

} // namespace
