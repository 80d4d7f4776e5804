#include "cli/option_spec.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/registry.h"

namespace boardctl {
namespace {

TEST(HintTokens, CountsWordsBetweenAnyWhiteSpace) {
  const struct {
    const char* hint;
    std::int32_t count;
  } rows[] = {{"", 0},     {" ", 0},       {" \t\n\v\f\r", 0},   {"<file>", 1}, {" <a>", 1},
              {"<a> ", 1}, {"<a> <b>", 2}, {"<a>\t<b>\n<c>", 3}, {"a  b", 2},   {"\xe4 \xff", 2}};
  for (const auto& row : rows) EXPECT_EQ(countHintTokens(row.hint), row.count) << row.hint;
}

TEST(OptionSpec, TakesNoWordsWhateverItsHintWhenItsKindIsNone) {
  const OptionSpec entry("x", "", ArgKind::none, "<a> <b>", Presence::optional, "", {});
  EXPECT_EQ(entry.paramCount, 0);
  EXPECT_TRUE(entry.words.empty());
}

TEST(OptionSpec, CopiesEveryField) {
  OptionSpec entry("n", "l", ArgKind::replace, "<a> <b>", Presence::required, "h",
                   [](std::vector<std::string>) { return 7; });
  entry.words = {"w"};
  const OptionSpec copy = entry;
  EXPECT_EQ(copy.name, "n");
  EXPECT_EQ(copy.longName, "l");
  EXPECT_EQ(copy.argKind, ArgKind::replace);
  EXPECT_EQ(copy.hint, "<a> <b>");
  EXPECT_EQ(copy.presence, Presence::required);
  EXPECT_EQ(copy.help, "h");
  EXPECT_EQ(copy.handler({}), 7);
  EXPECT_EQ(copy.words, entry.words);
  EXPECT_EQ(copy.paramCount, 2);
}

TEST(Registry, HoldsItsFifteenEntriesInOrder) {
  std::string summary;
  for (const OptionSpec& entry : optionRegistry) {
    std::ostringstream line;
    line << entry.name << '|' << entry.longName << '|' << static_cast<unsigned>(entry.argKind)
         << static_cast<unsigned>(entry.presence) << '|' << entry.paramCount << '\n';
    summary += line.str();
    EXPECT_TRUE(entry.words.empty()) << entry.name;
    EXPECT_TRUE(entry.handler) << entry.name;
  }
  EXPECT_EQ(summary,
            "-h|--help|02|0\n"
            "-m||11|1\n"
            "-p||10|1\n"
            "-t||10|1\n"
            "-l||10|1\n"
            "-L||10|1\n"
            "list||21|1\n"
            "get||21|4\n"
            "set||21|3\n"
            "clear||21|2\n"
            "set_callback||21|2\n"
            "raw||21|13\n"
            "rawSyncCmd||21|13\n"
            "rawAsyncCmd||21|17\n"
            "shell||01|0\n");
}

TEST(Registry, NeverOffersTheSnapshotCommand) {
  for (const OptionSpec& entry : optionRegistry)
    EXPECT_NE(entry.name, "snapshot") << entry.longName;
}

}  // namespace
}  // namespace boardctl
