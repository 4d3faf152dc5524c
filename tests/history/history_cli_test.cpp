#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <vlan_mgr/history.h>

#include "test_platform.h"

namespace {

struct Printed {
    int32_t result;
    std::string out;
};

Printed print_entry(const char *text, uint32_t text_length, uint16_t event, uint32_t sec = 1, uint32_t usec = 2,
                    void *out = nullptr)
{
    testing::internal::CaptureStdout();
    const int32_t r = vlan_mgr_history_cli(text, text_length, event, sec, usec, out);
    return {r, testing::internal::GetCapturedStdout()};
}

int ctx; // stands for the history service's print context

TEST(HistoryCli, Event123PrintsTheText)
{
    const Printed p = print_entry("vlan 10 created", 15, 123, 1700000000, 250000, &ctx);
    EXPECT_EQ(p.out, "    vlan 10 created\n");
    EXPECT_EQ(p.result, 20);
    ASSERT_EQ(tp::state().history_headers.size(), 1u);
    const auto &h = tp::state().history_headers[0];
    EXPECT_EQ(h.out, &ctx);
    EXPECT_FALSE(h.name_null);
    EXPECT_EQ(h.name, "VLAN_MGR_EVENT_VLAN_CREATE_REQ_RESP");
    EXPECT_EQ(h.len, 15u);
    EXPECT_EQ(h.sec, 1700000000u);
    EXPECT_EQ(h.usec, 250000u);
}

TEST(HistoryCli, Event0PrintsTheText)
{
    const Printed p = print_entry("cli error", 9, 0);
    EXPECT_EQ(p.out, "    cli error\n");
    EXPECT_EQ(p.result, 14);
    ASSERT_EQ(tp::state().history_headers.size(), 1u);
    EXPECT_EQ(tp::state().history_headers[0].name, "VLAN_MGR_EVENT_CLI_ERROR");
}

TEST(HistoryCli, Event124PrintsErrorAfterHeader)
{
    const Printed p = print_entry("ignored text", 12, 124, 5, 6, &ctx);
    EXPECT_EQ(p.out, "Error: invalid event 124\n");
    EXPECT_EQ(p.result, 25);
    ASSERT_EQ(tp::state().history_headers.size(), 1u);
    const auto &h = tp::state().history_headers[0];
    EXPECT_EQ(h.out, &ctx);
    EXPECT_FALSE(h.name_null);
    EXPECT_EQ(h.name, "VLAN_MGR_EVENT_LAST");
    EXPECT_EQ(h.len, 12u);
    EXPECT_EQ(h.sec, 5u);
    EXPECT_EQ(h.usec, 6u);
}

TEST(HistoryCli, Event125HasNullNameInHeaderAndPrintsError)
{
    const Printed p = print_entry("x", 1, 125, 7, 8, &ctx);
    EXPECT_EQ(p.out, "Error: invalid event 125\n");
    EXPECT_EQ(p.result, 25);
    ASSERT_EQ(tp::state().history_headers.size(), 1u);
    const auto &h = tp::state().history_headers[0];
    EXPECT_TRUE(h.name_null);
    EXPECT_EQ(h.len, 1u);
    EXPECT_EQ(h.sec, 7u);
    EXPECT_EQ(h.usec, 8u);
}

TEST(HistoryCli, LargestEventNumberPrintsError)
{
    const Printed p = print_entry("x", 1, 65535);
    EXPECT_EQ(p.out, "Error: invalid event 65535\n");
    EXPECT_EQ(p.result, 27);
    ASSERT_EQ(tp::state().history_headers.size(), 1u);
    EXPECT_TRUE(tp::state().history_headers[0].name_null);
}

TEST(HistoryCli, HeaderNamesEveryEvent)
{
    for (uint16_t e = 0; e <= 124; ++e) {
        print_entry("t", 1, e);
        ASSERT_EQ(tp::state().history_headers.size(), e + 1u);
        EXPECT_EQ(tp::state().history_headers.back().name, __vlan_mgr_event_enums_t_find(e)) << e;
        EXPECT_FALSE(tp::state().history_headers.back().name_null) << e;
    }
}

TEST(HistoryCli, Text300CharactersIsCutTo126)
{
    const std::string text(300, 'a');
    const Printed p = print_entry(text.c_str(), 300, 44);
    EXPECT_EQ(p.out, "    " + std::string(126, 'a') + "\n");
    EXPECT_EQ(p.result, 131);
}

TEST(HistoryCli, Text126CharactersIsPrintedWhole)
{
    std::string text(126, 'b');
    text[125] = 'Z';
    const Printed p = print_entry(text.c_str(), 126, 44);
    EXPECT_EQ(p.out, "    " + text + "\n");
    EXPECT_EQ(p.result, 131);
}

TEST(HistoryCli, Text127CharactersLosesItsLast)
{
    std::string text(127, 'c');
    text[126] = 'Z';
    const Printed p = print_entry(text.c_str(), 127, 44);
    EXPECT_EQ(p.out, "    " + std::string(126, 'c') + "\n");
    EXPECT_EQ(p.result, 131);
}

TEST(HistoryCli, LimitFollowsTextLengthBelow127)
{
    const Printed p = print_entry("abcdefgh", 3, 4);
    EXPECT_EQ(p.out, "    abc\n");
    EXPECT_EQ(p.result, 8);
}

TEST(HistoryCli, ZeroTextLengthPrintsEmptyLine)
{
    const Printed p = print_entry("abcdefgh", 0, 4);
    EXPECT_EQ(p.out, "    \n");
    EXPECT_EQ(p.result, 5);
}

TEST(HistoryCli, TextShorterThanItsLengthStopsAtNul)
{
    const Printed p = print_entry("ab", 50, 4);
    EXPECT_EQ(p.out, "    ab\n");
    EXPECT_EQ(p.result, 7);
}

TEST(HistoryCli, MaximumTextLengthDoesNotWrapTheLimit)
{
    const std::string text(200, 'd');
    const Printed p = print_entry(text.c_str(), 0xFFFFFFFFu, 4);
    EXPECT_EQ(p.out, "    " + std::string(126, 'd') + "\n");
    EXPECT_EQ(p.result, 131);
    ASSERT_EQ(tp::state().history_headers.size(), 1u);
    EXPECT_EQ(tp::state().history_headers[0].len, 0xFFFFFFFFu);
}

TEST(HistoryCli, TextLength0xFFFFFFFEIsCutTo126)
{
    const std::string text(130, 'e');
    const Printed p = print_entry(text.c_str(), 0xFFFFFFFEu, 4);
    EXPECT_EQ(p.out, "    " + std::string(126, 'e') + "\n");
    EXPECT_EQ(p.result, 131);
}

TEST(HistoryCli, TextIsItsOwnFormatString)
{
    const Printed p = print_entry("100%% done", 10, 4);
    EXPECT_EQ(p.out, "    100% done\n");
    EXPECT_EQ(p.result, 14);
}

TEST(HistoryCli, LimitAppliesToTheFormattedText)
{
    // "%%%%ab" formats to "%%ab"; a length of 3 keeps the first 3 characters.
    const Printed p = print_entry("%%%%ab", 3, 4);
    EXPECT_EQ(p.out, "    %%a\n");
    EXPECT_EQ(p.result, 8);
}

TEST(HistoryCli, TextAtOddAddressFromExactSizeHeapBuffer)
{
    const char src[] = "port 5 added";
    char *buf = static_cast<char *>(std::malloc(sizeof src + 1));
    ASSERT_NE(buf, nullptr);
    std::memcpy(buf + 1, src, sizeof src);
    const Printed p = print_entry(buf + 1, 12, 33);
    std::free(buf);
    EXPECT_EQ(p.out, "    port 5 added\n");
    EXPECT_EQ(p.result, 17);
}

TEST(HistoryCli, NullTextPrintsEmptyLine)
{
    const Printed p = print_entry(nullptr, 10, 4);
    EXPECT_EQ(p.out, "    \n");
    EXPECT_EQ(p.result, 5);
    ASSERT_EQ(tp::state().history_headers.size(), 1u);
    EXPECT_EQ(tp::state().history_headers[0].name, "VLAN_MGR_EVENT_VLAN");
}

TEST(HistoryCli, AllocatesNothingAndReportsNothing)
{
    print_entry("abc", 3, 10);
    print_entry("abc", 3, 200);
    EXPECT_EQ(tp::alloc_calls(), 0);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
}

} // namespace
