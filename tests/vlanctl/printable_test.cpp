// The VLAN name rule and the escaping of text from outside before it is
// printed (apps/common/printable.h).
#include <gtest/gtest.h>

#include <string>

#include "printable.h"

namespace {

using vlan_mgr_apps::all_printable_ascii;
using vlan_mgr_apps::echo_text;
using vlan_mgr_apps::escape_unprintable;

TEST(Printable, OnlyBytesFrom0x20To0x7EArePrintable)
{
    EXPECT_TRUE(all_printable_ascii(""));
    EXPECT_TRUE(all_printable_ascii(" !~ web-10_a.b "));
    for (int b = 0; b < 256; ++b) {
        const std::string one(1, static_cast<char>(b));
        EXPECT_EQ(all_printable_ascii(one), b >= 0x20 && b <= 0x7E) << b;
    }
    EXPECT_FALSE(all_printable_ascii("caf\xc3\xa9"));
}

TEST(Printable, BytesOutsidePrintableAsciiAreEscapedAsHex)
{
    EXPECT_EQ(escape_unprintable("web 10"), "web 10");
    EXPECT_EQ(escape_unprintable("a\x1b[31mred\xff"), "a\\x1b[31mred\\xff");
    EXPECT_EQ(escape_unprintable(std::string("\0\t\n\x7f\x80", 5)), "\\x00\\x09\\x0a\\x7f\\x80");
    EXPECT_EQ(escape_unprintable("caf\xc3\xa9"), "caf\\xc3\\xa9");
}

TEST(Printable, EchoedInputIsCutToFortyBytesAndEscaped)
{
    EXPECT_EQ(echo_text(std::string(40, 'x')), std::string(40, 'x'));
    EXPECT_EQ(echo_text(std::string(41, 'x')), std::string(40, 'x') + "...");
    EXPECT_EQ(echo_text(std::string(126 * 1024, '7')), std::string(40, '7') + "...");
    EXPECT_EQ(echo_text("a\x1b" "b"), "a\\x1bb");
}

} // namespace
