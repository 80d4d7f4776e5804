#include "sim/base/text.h"

#include <gtest/gtest.h>

#include <utility>

namespace sim {
namespace {

using namespace std::string_view_literals;

TEST(Text, NothingThatControlsATerminalIsPrinted) {
  for (const auto& [text, shown] :
       {std::pair(""sv, ""sv), std::pair(" ~"sv, " ~"sv),
        std::pair("a\n\t\x1b[31m"sv, "a???[31m"sv), std::pair("\0\x1f\x7f"sv, "???"sv),
        std::pair("caf\xc3\xa9"sv, "caf\xc3\xa9"sv),
        std::pair("\xc2\x7f\xc2\x80 \xc2\x9b\xc2\x9f\xc2\xa0"sv, "??? ??\xc2\xa0"sv),
        // Line separators, and what turns the direction of writing.
        std::pair("\xe2\x80\xa7\xe2\x80\xa8\xe2\x80\xae\xe2\x80\xaf"sv,
                  "\xe2\x80\xa7??\xe2\x80\xaf"sv),
        std::pair("\xd8\x9c\xe2\x80\x8f\xe2\x81\xa6"sv, "???"sv),
        std::pair("\xf0\x9f\x99\x82\xf4\x8f\xbf\xbf"sv, "\xf0\x9f\x99\x82\xf4\x8f\xbf\xbf"sv)}) {
    SCOPED_TRACE(shown);
    EXPECT_EQ(printable(text), shown);
    EXPECT_EQ(isPrintable(text), text == shown);
  }
}

TEST(Text, WhatIsNotUtf8IsNotPrinted) {
  for (const auto& [text, shown] :
       {std::pair("\x80"sv, "?"sv), std::pair("\xbf\x80"sv, "??"sv),
        std::pair("a\xe9"
                  "b"sv,
                  "a?b"sv),
        std::pair("\xc3"sv, "?"sv), std::pair("\xc3\xc3\xa9"sv, "?\xc3\xa9"sv),
        std::pair("\xe2\x80"sv, "??"sv), std::pair("\xf8\x88\x80\x80\x80"sv, "?????"sv),
        std::pair("\xff"sv, "?"sv),
        // Longer than necessary, a surrogate, and beyond the last character.
        std::pair("\xc1\xbf"sv, "??"sv), std::pair("\xe0\x9f\xbf"sv, "???"sv),
        std::pair("\xf0\x8f\xbf\xbf"sv, "????"sv), std::pair("\xed\xa0\x80"sv, "?"sv),
        std::pair("\xf4\x90\x80\x80"sv, "????"sv)}) {
    SCOPED_TRACE(shown);
    EXPECT_EQ(printable(text), shown);
    EXPECT_FALSE(isPrintable(text));
  }
}

TEST(Text, ALongTextIsShortenedAtACharacter) {
  const std::string longest(255, 'x');
  EXPECT_EQ(inQuotes(longest), '\'' + longest + '\'');
  EXPECT_EQ(inQuotes(longest + 'y'), '\'' + longest + "...'");
  EXPECT_EQ(shortened(longest.substr(1) + "\xc3\xa9"), longest.substr(1) + "...");
  EXPECT_EQ(shortened(longest.substr(2) + "\xc3\xa9"), longest.substr(2) + "\xc3\xa9");
  EXPECT_EQ(shortened(std::string(300, '\x80')), "...");
}

}  // namespace
}  // namespace sim
