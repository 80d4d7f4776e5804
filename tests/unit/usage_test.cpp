#include "cli/usage.h"

#include <gtest/gtest.h>

namespace boardctl {
namespace {

std::string row(const std::string& name, const std::string& help, ArgKind kind = ArgKind::none,
                const std::string& hint = "", const std::string& longName = "") {
  return formatOptionTable({{name, longName, kind, hint, Presence::optional, help, {}}}, 14, 80);
}

const std::string kIndent(14, ' ');

TEST(OptionTable, PadsAShortLabelAndBreaksAfterALongOne) {
  EXPECT_EQ(row("-h", "x", ArgKind::none, "", "--help"), "-h, --help    x\n\n");
  EXPECT_EQ(row("1234567890123", "x"), "1234567890123 x\n\n");
  EXPECT_EQ(row("12345678901234", "x"), "12345678901234\n" + kIndent + "x\n\n");
  EXPECT_EQ(row("123456789012345", "x"), "123456789012345\n" + kIndent + "x\n\n");
}

TEST(OptionTable, ShowsTheHintOnlyOfAnEntryThatTakesWords) {
  EXPECT_EQ(row("-m", "x", ArgKind::replace, "<file>"), "-m <file>     x\n\n");
  EXPECT_EQ(row("list", "x", ArgKind::accumulate, "<a>"), "list <a>      x\n\n");
  EXPECT_EQ(row("shell", "x", ArgKind::none, "<a>"), "shell         x\n\n");
  EXPECT_EQ(row("-m", "x", ArgKind::replace, "", "--more"), "-m, --more    x\n\n");
}

TEST(OptionTable, KeepsTheRowOfAnEmptyHelp) {
  EXPECT_EQ(row("a", ""), "a" + kIndent.substr(1) + "\n\n");
}

TEST(OptionTable, WrapsAfter66CharactersOnlyWhenMoreFollow) {
  const std::string full(66, 'x');
  const std::string label = "a" + kIndent.substr(1);
  EXPECT_EQ(row("a", full), label + full + "\n\n");
  EXPECT_EQ(row("a", full + "\nb"), label + full + "\n" + kIndent + "b\n\n");
  EXPECT_EQ(row("a", full + "y"), label + full + "\n" + kIndent + "y\n\n");
  EXPECT_EQ(row("a", full + full), label + full + "\n" + kIndent + full + "\n\n");
  EXPECT_EQ(row("a", full + full + "z"),
            label + full + "\n" + kIndent + full + "\n" + kIndent + "z\n\n");
}

TEST(OptionTable, CountsColumnsAnewAfterALineBreak) {
  const std::string label = "a" + kIndent.substr(1);
  EXPECT_EQ(row("a", "12\n" + std::string(67, 'x')),
            label + "12\n" + kIndent + std::string(66, 'x') + "\n" + kIndent + "x\n\n");
}

TEST(OptionTable, KeepsBlanksAndRunsOfLineBreaks) {
  const std::string label = "a" + kIndent.substr(1);
  EXPECT_EQ(row("a", "\n\nb "), label + "\n" + kIndent + "\n" + kIndent + "b \n\n");
  EXPECT_EQ(row("a", "b\n"), label + "b\n" + kIndent + "\n\n");
}

TEST(OptionTable, ListsEntriesInRegistryOrder) {
  const std::vector<OptionSpec> registry = {
      {"z", "", ArgKind::none, "", Presence::optional, "1", {}},
      {"a", "", ArgKind::none, "", Presence::optional, "2", {}}};
  EXPECT_EQ(formatOptionTable(registry, 3, 80), "z  1\n\na  2\n\n");
  EXPECT_EQ(formatOptionTable({}, 14, 80), "");
}

TEST(OptionTable, NeverWrapsWhenTheWidthIsNotAboveTheIndent) {
  const std::vector<OptionSpec> registry = {
      {"a", "", ArgKind::none, "", Presence::optional, std::string(200, 'x'), {}}};
  EXPECT_EQ(formatOptionTable(registry, 3, 3), "a  " + std::string(200, 'x') + "\n\n");
  EXPECT_EQ(formatOptionTable(registry, 3, 0), "a  " + std::string(200, 'x') + "\n\n");
}

}  // namespace
}  // namespace boardctl
