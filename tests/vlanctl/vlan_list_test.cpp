// The VLAN-list syntax of vlanctl: parsing, errors, folding, bitmaps.
#include <gtest/gtest.h>

#include "vlan_list.h"

namespace {

using vlanctl::format_vlan_list;
using vlanctl::parse_vlan_id;
using vlanctl::parse_vlan_list;

std::vector<uint32_t> parsed(const std::string &text)
{
    std::vector<uint32_t> out;
    std::string error;
    EXPECT_TRUE(parse_vlan_list(text, out, error)) << text << ": " << error;
    EXPECT_EQ(error, "");
    return out;
}

std::string error_of(const std::string &text)
{
    std::vector<uint32_t> out{99};
    std::string error;
    EXPECT_FALSE(parse_vlan_list(text, out, error)) << text;
    EXPECT_TRUE(out.empty()) << text;
    return error;
}

TEST(VlanctlVlanList, SingleIdsAndRanges)
{
    EXPECT_EQ(parsed("10"), (std::vector<uint32_t>{10}));
    EXPECT_EQ(parsed("10,20-25"), (std::vector<uint32_t>{10, 20, 21, 22, 23, 24, 25}));
    EXPECT_EQ(parsed("1"), (std::vector<uint32_t>{1}));
    EXPECT_EQ(parsed("4094"), (std::vector<uint32_t>{4094}));
    EXPECT_EQ(parsed("7-7"), (std::vector<uint32_t>{7}));
}

TEST(VlanctlVlanList, WholeRangeHasEveryVlanOnce)
{
    const std::vector<uint32_t> all = parsed("1-4094");
    ASSERT_EQ(all.size(), 4094u);
    EXPECT_EQ(all.front(), 1u);
    EXPECT_EQ(all.back(), 4094u);
}

TEST(VlanctlVlanList, ResultIsSortedWithoutDuplicates)
{
    EXPECT_EQ(parsed("30,10,7-9,8,10"), (std::vector<uint32_t>{7, 8, 9, 10, 30}));
}

TEST(VlanctlVlanList, BadListsAreRefusedWithTheirReason)
{
    EXPECT_EQ(error_of(""), "empty VLAN list");
    EXPECT_EQ(error_of("10,,20"), "empty element in VLAN list \"10,,20\"");
    EXPECT_EQ(error_of("10,"), "empty element in VLAN list \"10,\"");
    EXPECT_EQ(error_of(",10"), "empty element in VLAN list \",10\"");
    EXPECT_EQ(error_of("0"), "VLAN 0 out of range 1-4094");
    EXPECT_EQ(error_of("4095"), "VLAN 4095 out of range 1-4094");
    EXPECT_EQ(error_of("10,4000-4095"), "VLAN 4095 out of range 1-4094");
    EXPECT_EQ(error_of("30-20"), "range 30-20 is not ascending");
    EXPECT_EQ(error_of("abc"), "invalid VLAN id \"abc\"");
    EXPECT_EQ(error_of(" 10"), "invalid VLAN id \" 10\"");
    EXPECT_EQ(error_of("+10"), "invalid VLAN id \"+10\"");
    EXPECT_EQ(error_of("10-"), "invalid VLAN range \"10-\"");
    EXPECT_EQ(error_of("-5"), "invalid VLAN range \"-5\"");
    EXPECT_EQ(error_of("1-2-3"), "invalid VLAN range \"1-2-3\"");
    EXPECT_EQ(error_of("1234567890"), "invalid VLAN id \"1234567890\"");
}

TEST(VlanctlVlanList, SingleIdParser)
{
    uint32_t v = 0;
    std::string error;
    EXPECT_TRUE(parse_vlan_id("20", v, error));
    EXPECT_EQ(v, 20u);
    EXPECT_FALSE(parse_vlan_id("4095", v, error));
    EXPECT_EQ(error, "VLAN 4095 out of range 1-4094");
    EXPECT_FALSE(parse_vlan_id("10,20", v, error));
    EXPECT_EQ(error, "invalid VLAN id \"10,20\"");
    EXPECT_EQ(v, 20u);
}

TEST(VlanctlVlanList, FoldsIntoRanges)
{
    EXPECT_EQ(format_vlan_list({}), "");
    EXPECT_EQ(format_vlan_list({10}), "10");
    EXPECT_EQ(format_vlan_list({10, 20, 21, 22, 30}), "10,20-22,30");
    EXPECT_EQ(format_vlan_list({1, 2, 4, 5}), "1-2,4-5");
    EXPECT_EQ(format_vlan_list(parsed("1-4094")), "1-4094");
}

TEST(VlanctlVlanList, BitmapHasTheWireLayout)
{
    const vlan_bitmap b = vlanctl::to_bitmap({1, 10, 4094});
    EXPECT_EQ(b.len, 512u);
    EXPECT_EQ(b.bits[0], 0x40);   // VLAN 1: 0x80 >> 1
    EXPECT_EQ(b.bits[1], 0x20);   // VLAN 10: byte 1, 0x80 >> 2
    EXPECT_EQ(b.bits[511], 0x02); // VLAN 4094: byte 511, 0x80 >> 6
    int set = 0;
    for (uint8_t byte : b.bits)
        set += __builtin_popcount(byte);
    EXPECT_EQ(set, 3);
    EXPECT_EQ(vlanctl::from_bitmap(b), (std::vector<uint32_t>{1, 10, 4094}));
}

} // namespace
