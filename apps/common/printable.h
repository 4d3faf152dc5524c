// Which VLAN names the manager and vlanctl accept, and how text from outside
// (a name from the manager or from an older saved state, an operator's
// command-line word) is made safe to print on a terminal.
//
// A VLAN name is at most 32 characters, each printable ASCII (0x20 to 0x7E,
// the blank included). Control bytes, DEL and bytes from 0x80 up are refused:
// they are invisible or move the cursor on a terminal, and the JSON output
// cannot carry bytes that are not UTF-8.
#ifndef VLAN_MGR_APPS_PRINTABLE_H
#define VLAN_MGR_APPS_PRINTABLE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace vlan_mgr_apps {

inline constexpr size_t kVlanNameMaxChars = 32;
// Operator input quoted in a message is cut to this many bytes, then "...".
inline constexpr size_t kEchoMaxChars = 40;

inline bool is_printable_ascii(char c)
{
    const auto b = static_cast<unsigned char>(c);
    return b >= 0x20 && b <= 0x7E;
}

// True when every byte of `text` is printable ASCII (an empty text is).
inline bool all_printable_ascii(std::string_view text)
{
    for (char c : text)
        if (!is_printable_ascii(c))
            return false;
    return true;
}

// `text` with every byte outside 0x20..0x7E written as \xNN (two lower-case
// hex digits), the others as they are: "a\x1b[31m" for ESC.
inline std::string escape_unprintable(std::string_view text)
{
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        if (is_printable_ascii(c)) {
            out += c;
        } else {
            const auto b = static_cast<unsigned char>(c);
            out += "\\x";
            out += kHex[b >> 4];
            out += kHex[b & 0x0F];
        }
    }
    return out;
}

// Operator input as a message quotes it: its first kEchoMaxChars bytes,
// escaped as above, followed by "..." when it was longer.
inline std::string echo_text(std::string_view text)
{
    if (text.size() <= kEchoMaxChars)
        return escape_unprintable(text);
    return escape_unprintable(text.substr(0, kEchoMaxChars)) + "...";
}

} // namespace vlan_mgr_apps

#endif
