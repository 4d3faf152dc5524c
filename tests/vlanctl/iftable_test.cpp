// The interface table file shared by the manager and vlanctl: what a bad
// line, a missing file or an unwritable directory gives, and the texts of
// status words that no table knows.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "iftable.h"
#include "status_text.h"

namespace {

using vlan_mgr_apps::IfEntry;

class IfTable : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/iftable_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override
    {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }

    // Writes `text` to <dir>/iftable and loads it: the error text, "" when
    // the load succeeded.
    std::string load_error(const std::string &text)
    {
        const std::string path = dir_ + "/iftable";
        std::ofstream(path, std::ios::trunc) << text;
        std::vector<IfEntry> t{{"kept", 1, 1}};
        std::string error;
        if (vlan_mgr_apps::load_iftable(path, t, error))
            return "";
        // A table that failed to load leaves the caller's table as it was.
        EXPECT_EQ(t.size(), 1u);
        EXPECT_EQ(t.front().name, "kept");
        return error;
    }

    std::string dir_;
};

TEST_F(IfTable, LineWithoutAnInterfaceIndexIsRefusedWithItsLineNumber)
{
    EXPECT_EQ(load_error("# ports\nEthernet1/1 0x01010001\nEthernet1/2\n"),
              dir_ + "/iftable: line 3: interface index missing or invalid");
}

TEST_F(IfTable, NegativeZeroOrNonNumericIndexIsRefused)
{
    EXPECT_EQ(load_error("Ethernet1/1 -1\n"), dir_ + "/iftable: line 1: interface index missing or invalid");
    EXPECT_EQ(load_error("Ethernet1/1 0\n"), dir_ + "/iftable: line 1: interface index missing or invalid");
    EXPECT_EQ(load_error("Ethernet1/1 12x\n"), dir_ + "/iftable: line 1: interface index missing or invalid");
    EXPECT_EQ(load_error("Ethernet1/1 0x100000000\n"), dir_ + "/iftable: line 1: interface index missing or invalid");
    EXPECT_EQ(load_error("Ethernet1/1 99999999999999999999999\n"),
              dir_ + "/iftable: line 1: interface index missing or invalid");
}

TEST_F(IfTable, VdcOutsideOneToFiveIsRefused)
{
    EXPECT_EQ(load_error("Ethernet1/1 1 0\n"), dir_ + "/iftable: line 1: VDC must be 1..5");
    EXPECT_EQ(load_error("Ethernet1/1 1 6\n"), dir_ + "/iftable: line 1: VDC must be 1..5");
    EXPECT_EQ(load_error("Ethernet1/1 1 two\n"), dir_ + "/iftable: line 1: VDC must be 1..5");
}

TEST_F(IfTable, TextAfterTheVdcIsRefused)
{
    EXPECT_EQ(load_error("Ethernet1/1 1 2 extra # comment\n"), dir_ + "/iftable: line 1: unexpected text \"extra\"");
}

TEST_F(IfTable, DuplicateNameOrIndexIsRefused)
{
    EXPECT_EQ(load_error("Ethernet1/1 1\neth1/1 2\n"), dir_ + "/iftable: line 2: duplicate interface Ethernet1/1");
    EXPECT_EQ(load_error("Ethernet1/1 1\nEthernet1/2 0x1\n"),
              dir_ + "/iftable: line 2: duplicate interface Ethernet1/2");
}

TEST_F(IfTable, WellFormedFileLoadsWithCanonicalNamesAndDefaultVdc)
{
    EXPECT_EQ(load_error("e1/1 0x01010001\n\n  # only a comment\nEth1/2 17 3\n"), "");
    std::vector<IfEntry> t;
    std::string error;
    ASSERT_TRUE(vlan_mgr_apps::load_iftable(dir_ + "/iftable", t, error));
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0].name, "Ethernet1/1");
    EXPECT_EQ(t[0].if_index, 0x01010001u);
    EXPECT_EQ(t[0].vdc, 1);
    EXPECT_EQ(t[1].name, "Ethernet1/2");
    EXPECT_EQ(t[1].if_index, 17u);
    EXPECT_EQ(t[1].vdc, 3);
}

TEST_F(IfTable, MissingFileCannotBeRead)
{
    std::vector<IfEntry> t;
    std::string error;
    EXPECT_FALSE(vlan_mgr_apps::load_iftable(dir_ + "/none", t, error));
    EXPECT_EQ(error, dir_ + "/none: cannot be read");
}

TEST_F(IfTable, SaveIntoAMissingDirectoryCannotBeWritten)
{
    std::string error;
    const std::string path = dir_ + "/missing/iftable";
    EXPECT_FALSE(vlan_mgr_apps::save_iftable(path, vlan_mgr_apps::default_iftable(), error));
    EXPECT_EQ(error, path + ".tmp." + std::to_string(getpid()) + ": cannot be written");
}

// The file's place is taken by a directory that is not empty: the written
// table cannot replace it, and its temporary file is removed.
TEST_F(IfTable, SaveOverANonEmptyDirectoryCannotReplaceItAndLeavesNoTemporaryFile)
{
    const std::string path = dir_ + "/iftable";
    ASSERT_TRUE(std::filesystem::create_directories(path + "/sub"));
    std::string error;
    EXPECT_FALSE(vlan_mgr_apps::save_iftable(path, vlan_mgr_apps::default_iftable(), error));
    EXPECT_EQ(error, path + ": cannot be replaced");
    EXPECT_FALSE(std::filesystem::exists(path + ".tmp." + std::to_string(getpid())));
    EXPECT_TRUE(std::filesystem::is_directory(path + "/sub"));
}

// /dev/full takes the open and refuses every write: the flush fails and the
// error names the temporary file, which is removed. The temporary name is
// made a symbolic link to /dev/full so that the table's own code writes there.
TEST_F(IfTable, SaveWhoseWriteFailsReportsWriteFailed)
{
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "no writable /dev/full";
    const std::string path = dir_ + "/iftable";
    const std::string tmp = path + ".tmp." + std::to_string(getpid());
    std::filesystem::create_symlink("/dev/full", tmp);
    std::string error;
    EXPECT_FALSE(vlan_mgr_apps::save_iftable(path, vlan_mgr_apps::default_iftable(), error));
    EXPECT_EQ(error, tmp + ": write failed");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(tmp)));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(IfTable, SavedTableLoadsBackAsItWas)
{
    const std::string path = dir_ + "/iftable";
    const std::vector<IfEntry> table{{"Ethernet2/1", 0x02010001u, 2}, {"mgmt0", 7u, 1}};
    std::string error;
    ASSERT_TRUE(vlan_mgr_apps::save_iftable(path, table, error)) << error;
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    EXPECT_EQ(s.str(), "# name if_index vdc\nEthernet2/1 0x02010001 2\nmgmt0 0x00000007 1\n");
    std::vector<IfEntry> back;
    ASSERT_TRUE(vlan_mgr_apps::load_iftable(path, back, error)) << error;
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[1].name, "mgmt0");
    EXPECT_EQ(back[1].if_index, 7u);
}

TEST_F(IfTable, NamesOfOtherFormsStayAsTheyAre)
{
    EXPECT_EQ(vlan_mgr_apps::canonical_port_name("mgmt0"), "mgmt0");
    EXPECT_EQ(vlan_mgr_apps::canonical_port_name("e"), "e");
    EXPECT_EQ(vlan_mgr_apps::canonical_port_name("ETH1/5"), "Ethernet1/5");
    EXPECT_EQ(vlan_mgr_apps::short_port_name("mgmt0"), "mgmt0");
}

// A name that ends in no number, or in more than nine digits, is listed as
// it is and never folded into a range.
TEST_F(IfTable, NamesWithoutASmallTrailingNumberAreNeverFolded)
{
    EXPECT_EQ(vlan_mgr_apps::fold_ports({"mgmt", "Eth1/1", "Eth1/2", "Eth1/1234567890", "Eth1/1234567891"}),
              "mgmt, Eth1/1-2, Eth1/1234567890, Eth1/1234567891");
}

TEST(StatusText, UnknownWordIsShownAsItsNumber)
{
    EXPECT_EQ(vlan_mgr_apps::status_text(0x12345678u), "status 0x12345678");
    // A transport word that the platform has no text for: its own text.
    EXPECT_EQ(vlan_mgr_apps::status_text(0x4048FFFFu), "unknown error 0x4048ffff");
}

} // namespace
