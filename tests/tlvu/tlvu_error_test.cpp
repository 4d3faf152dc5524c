// The utility's error lines: tlvu_error_print formats one bounded line and
// hands it to the platform's sink.
#include "tlvu_test_util.h"

namespace tlvu_test {
namespace {

TEST(TlvuError, FormatsOneLineIntoTheSink)
{
    tlvu_error_print("%s: ERR 0x%x\n", "vlan_mgr_create_notif2_to_struct", 0x411B0006u);
    ASSERT_EQ(tp::state().tlvu_errors.size(), 1u);
    EXPECT_EQ(tp::state().tlvu_errors[0], "vlan_mgr_create_notif2_to_struct: ERR 0x411b0006\n");
}

TEST(TlvuError, EachCallIsOneLine)
{
    tlvu_error_print("first %d", 1);
    tlvu_error_print("second");
    const std::vector<std::string> want = {"first 1", "second"};
    EXPECT_EQ(tp::state().tlvu_errors, want);
}

TEST(TlvuError, LongLineIsCutToTheLineLimit)
{
    const std::string big(1000, 'w');
    tlvu_error_print("%s: ERR 0x%x\n", big.c_str(), 1u);
    ASSERT_EQ(tp::state().tlvu_errors.size(), 1u);
    EXPECT_EQ(tp::state().tlvu_errors[0], std::string(TLVU_ERROR_LINE_MAX - 1, 'w'));
}

TEST(TlvuError, NullFormatPrintsNothing)
{
    tlvu_error_print(nullptr);
    EXPECT_TRUE(tp::state().tlvu_errors.empty());
}

TEST(TlvuError, DecodingFailuresPrintNothingThemselves)
{
    // Reporting is the caller's: the utility only returns its code.
    const Bytes junk = {0, 0, 0, 8, 9, 9, 9, 9};
    HeapCopy c(junk);
    void *rec = nullptr;
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, 8, key_tbl.get(), 0), TLVU_ERR_BAD_HEADER);
    EXPECT_TRUE(tp::state().tlvu_errors.empty());
}

} // namespace
} // namespace tlvu_test
