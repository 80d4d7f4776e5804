#include "cli/command_line.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "cli/registry.h"

namespace boardctl {
namespace {

/// The shipped entries with handlers that note "name[words]" and return 0, or what the test sets.
class Parser {
 public:
  Parser() : registry_(optionRegistry) {
    for (OptionSpec& entry : registry_) {
      entry.handler = [this, name = entry.name](const std::vector<std::string>& words) {
        std::string call = name + "[";
        for (const std::string& word : words) call += (call.ends_with('[') ? "" : " ") + word;
        calls_ += call + "]";
        return name == failing_ ? failure_ : 0;
      };
    }
  }

  void fail(const std::string& name, std::int32_t result) {
    failing_ = name;
    failure_ = result;
  }

  /// The calls and the result of `run`, or the message of the error that refused the line.
  std::string operator()(const std::vector<std::string>& words) {
    std::vector<std::string> args = {"boardctl"};
    args.insert(args.end(), words.begin(), words.end());
    calls_.clear();
    CommandLine line(args, registry_);
    try {
      EXPECT_EQ(line.parse(), 0);
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(calls_, "") << "a refused line ran something";
      return error.what();
    }
    EXPECT_EQ(calls_, "") << "parsing ran something";
    const std::int32_t result = line.run();
    return calls_ + "=" + std::to_string(result);
  }

 private:
  std::vector<OptionSpec> registry_;
  std::string calls_;
  std::string failing_;
  std::int32_t failure_ = 0;
};

using Line = std::vector<std::string>;

struct Pair {
  Line accepted;
  std::string calls;
  Line refused;
  std::string message;
};

TEST(CommandLine, AcceptsALineAndRejectsItsCounterpart) {
  const Pair pairs[] = {
      {{"-m", "a", "list", "all"}, "-m[a]list[all]=0", {}, "Arg -m is needed!"},
      {{"list", "all", "-m", "a"}, "-m[a]list[all]=0", {"list", "all"}, "Arg -m is needed!"},
      {{"-m", "a", "shell"}, "-m[a]shell[]=0", {"-m", "a"}, "Arg cmd is needed!"},
      {{"shell", "-m", "a"}, "-m[a]shell[]=0", {"shell", "all"}, "Uknown argument: all!"},
      {{"-m", "a", "-m", "b", "list", "all"},
       "-m[b]list[all]=0",
       {"list", "all", "-m"},
       "Argument -m needs parameter!"},
      {{"-m", "a", "get", "gpu", "0", "x", "1"},
       "-m[a]get[gpu 0 x 1]=0",
       {"-m", "a", "get", "gpu", "0", "x"},
       "Argument get needs parameter!"},
      {{"-m", "a", "list", "5"},
       "-m[a]list[5]=0",
       {"-m", "a", "list", "-5"},
       "Argument list needs parameter!"},
      {{"-m", "a", "list", ""},
       "-m[a]list[]=0",
       {"-m", "a", "list", "-"},
       "Argument list needs parameter!"},
      {{"-m", "list", "list", "all"},
       "-m[list]list[all]=0",
       {"-m", "-list", "list", "all"},
       "Argument -m needs parameter!"},
      {{"-m", "a", "list", "all", "get", "gpu"},
       "-m[a]list[all gpu]=0",
       {"-m", "a", "list", "all", "get"},
       "Argument get needs parameter!"},
      {{"-m", "a", "shell", "list"},
       "-m[a]shell[]=0",
       {"-m", "a", "shell", "list", "all"},
       "Uknown argument: all!"},
      {{"-m", "a", "-h", "list"},
       "-h[]=-1",
       {"-m", "a", "--Help", "list"},
       "Uknown argument: --Help!"},
      {{"--help"}, "-h[]=-1", {"--help=1"}, "Uknown argument: --help=1!"},
      {{"-h", "-x"}, "-h[]=-1", {"-x", "-h"}, "Uknown argument: -x!"},
      {{"-L", "f", "-l", "5", "-t", "t", "-p", "p", "-m", "m", "clear", "0", "x"},
       "-L[f]-l[5]-m[m]-p[p]-t[t]clear[0 x]=0",
       {"-Lf", "-l", "5", "-m", "m", "clear", "0", "x"},
       "Uknown argument: -Lf!"},
      {{"-m", "a", "set", "0", "x", "1"},
       "-m[a]set[0 x 1]=0",
       {"-m", "a", "set", "0", "x", "-1"},
       "Argument set needs parameter!"},
      {{"-m", "a", "set_callback", "0", "x"},
       "-m[a]set_callback[0 x]=0",
       {"-m", "a", "set_callback", "0"},
       "Argument set_callback needs parameter!"},
      {{"-m", "a", "list", "all"},
       "-m[a]list[all]=0",
       {"-m", "a", "snapshot", "refresh_status"},
       "Uknown argument: snapshot!"},
      {{"-l", "3", "-m", "a", "list", "all"},
       "-l[3]-m[a]list[all]=0",
       {"-l", "-1", "-m", "a", "list", "all"},
       "Argument -l needs parameter!"},
      {{"-m", "", "list", "all"},
       "-m[]list[all]=0",
       {"-m", "a", "", "list", "all"},
       "Uknown argument: !"},
      {{"-m", "a", "list", "all"},
       "-m[a]list[all]=0",
       {"-m", "a", "List", "all"},
       "Uknown argument: List!"},
  };
  Parser parser;
  for (const Pair& pair : pairs) {
    EXPECT_EQ(parser(pair.accepted), pair.calls) << testing::PrintToString(pair.accepted);
    EXPECT_EQ(parser(pair.refused), pair.message) << testing::PrintToString(pair.refused);
  }
}

TEST(CommandLine, CountsTheWordsOfTheRawCommandsByTheirHints) {
  Parser parser;
  const struct {
    const char* name;
    std::size_t count;
  } rows[] = {{"raw", 13}, {"rawSyncCmd", 13}, {"rawAsyncCmd", 17}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Line line = {"-m", "a", row.name};
    std::string words;
    for (std::size_t i = 0; i < row.count; ++i) {
      SCOPED_TRACE(i);
      const std::string word = std::to_string(i);
      EXPECT_EQ(parser(line), "Argument " + std::string(row.name) + " needs parameter!");
      line.push_back(word);
      words += (i == 0 ? "" : " ") + word;
    }
    EXPECT_EQ(parser(line), "-m[a]" + std::string(row.name) + "[" + words + "]=0");
    line.push_back("more");
    EXPECT_EQ(parser(line), "Uknown argument: more!");
  }
}

TEST(CommandLine, GivesTheCommandsResult) {
  Parser parser;
  for (const std::int32_t result : {3, -1, 1, INT32_MIN, INT32_MAX}) {
    SCOPED_TRACE(result);
    parser.fail("list", result);
    EXPECT_EQ(parser({"-m", "a", "list", "all"}), "-m[a]list[all]=" + std::to_string(result));
  }
}

TEST(CommandLine, StopsAtTheFirstHandlerThatFails) {
  Parser parser;
  parser.fail("-l", 9);
  EXPECT_EQ(parser({"-m", "a", "-L", "f", "-l", "1", "list", "all"}), "-L[f]-l[1]=9");
  parser.fail("-h", 4);
  EXPECT_EQ(parser({"-h"}), "-h[]=4");
}

TEST(CommandLine, IndexesEveryNameOfTheRegistryWhenItParses) {
  CommandLine line({"boardctl", "-h"}, optionRegistry);
  EXPECT_TRUE(line.byName().empty());
  line.parse();
  EXPECT_EQ(line.byName().size(), optionRegistry.size() + 1);
  for (const OptionSpec& entry : optionRegistry) {
    EXPECT_EQ(line.byName().at(entry.name), &entry) << entry.name;
  }
  EXPECT_EQ(line.byName().at("--help"), line.byName().at("-h"));
  EXPECT_EQ(line.required(), (std::map<std::string, bool>{{"-m", false}, {"cmd", false}}));
}

TEST(CommandLine, FindsNothingToRunBeforeItHasParsed) {
  bool called = false;
  const std::vector<OptionSpec> registry = {
      {"-h", "--help", ArgKind::none, "", Presence::exclusive, "",
       [&called](const std::vector<std::string>&) { return called = true; }}};
  CommandLine line({"boardctl", "-h"}, registry);
  EXPECT_EQ(line.run(), -1);
  EXPECT_FALSE(called);
}

TEST(CommandLine, KeepsTheRequiredGroupsAndTheSelection) {
  CommandLine line({"boardctl", "-m", "a.json", "list", "all"}, optionRegistry);
  line.parse();
  EXPECT_EQ(line.required(), (std::map<std::string, bool>{{"-m", true}, {"cmd", true}}));
  ASSERT_EQ(line.selected().size(), 2U);
  EXPECT_EQ(line.selected().at("-m")->words, Line{"a.json"});
  EXPECT_EQ(line.selected().at("cmd")->name, "list");
  EXPECT_EQ(line.selected().at("cmd")->words, Line{"all"});
  for (const OptionSpec& entry : optionRegistry) EXPECT_TRUE(entry.words.empty()) << entry.name;
}

TEST(CommandLine, KeysTheHelpByItsFirstNameHoweverItIsTyped) {
  for (const char* word : {"-h", "--help"}) {
    SCOPED_TRACE(word);
    CommandLine line({"boardctl", word}, optionRegistry);
    line.parse();
    ASSERT_EQ(line.selected().size(), 1U);
    EXPECT_EQ(line.selected().begin()->first, "-h");
  }
}

TEST(CommandLine, MayBeGivenNoWordsAtAll) {
  CommandLine line({}, optionRegistry);
  EXPECT_THROW(line.parse(), std::runtime_error);
}

TEST(CommandLine, AnEmptyHandlerRaisesTheStandardError) {
  const std::vector<OptionSpec> registry = {
      {"do", "", ArgKind::none, "", Presence::optional, "", {}}};
  CommandLine line({"boardctl", "do"}, registry);
  line.parse();
  EXPECT_THROW(line.run(), std::bad_function_call);
}

TEST(CommandLine, RunsTheHelpWhenNothingIsRequiredAndNothingIsGiven) {
  std::string calls;
  const auto handler = [&calls](const char* name) {
    return [&calls, name](const std::vector<std::string>&) {
      calls += name;
      return 5;
    };
  };
  std::vector<OptionSpec> registry = {
      {"--help", "", ArgKind::none, "", Presence::exclusive, "", handler("long ")},
      {"-h", "", ArgKind::none, "", Presence::exclusive, "", handler("short ")}};
  for (const char* expected : {"short ", "long ", ""}) {
    SCOPED_TRACE(expected);
    calls.clear();
    CommandLine line({"boardctl"}, registry);
    EXPECT_EQ(line.parse(), 0);
    EXPECT_EQ(line.run(), -1);
    EXPECT_EQ(calls, expected);
    if (!registry.empty()) registry.pop_back();
  }
}

TEST(CommandLine, ALaterEntryOfTheSameNameOverwrites) {
  std::string calls;
  const auto handler = [&calls](const char* name) {
    return [&calls, name](const std::vector<std::string>&) {
      calls += name;
      return 0;
    };
  };
  const std::vector<OptionSpec> registry = {
      {"go", "", ArgKind::none, "", Presence::required, "", handler("first")},
      {"", "go", ArgKind::none, "", Presence::required, "", handler("second")}};
  CommandLine line({"boardctl", "go"}, registry);
  line.parse();
  EXPECT_EQ(line.run(), 0);
  EXPECT_EQ(calls, "second");
}

TEST(CommandLine, KeysAnOptionWithoutAFirstNameByItsSecond) {
  const std::vector<OptionSpec> registry = {{"", "--only", ArgKind::none, "", Presence::required,
                                             "",
                                             [](const std::vector<std::string>&) { return 0; }}};
  CommandLine line({"boardctl"}, registry);
  try {
    line.parse();
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Arg --only is needed!");
  }
}

}  // namespace
}  // namespace boardctl
