#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <tuple>
#include <utility>

#include "tests/sim/rejections.h"

namespace sim {
namespace {

TEST(Json, EveryValueKnowsItsPlace) {
  const Document root =
      parseJson("{\n  \"a\": [1, -2.50,\n  {\"b/~\":\ttrue}],\n\"c\" : \"x\\ny\" }", "f");
  const auto place = [](const Node& node) { return rejection([&] { node.reject("here"); }); };
  const Node& a = *root.find("a");
  const Node& b = a.items[2].items[0];
  EXPECT_EQ(place(root), "f:1:1: here");
  EXPECT_EQ(place(a), "f:2:8: /a: here");
  EXPECT_EQ(place(a.items[0]), "f:2:9: /a/0: here");
  EXPECT_EQ(place(a.items[1]), "f:2:12: /a/1: here");
  EXPECT_EQ(place(b), "f:3:11: /a/2/b~1~0: here");
  EXPECT_EQ(place(*root.find("c")), "f:4:7: /c: here");
  EXPECT_EQ(a.items[1].text, "-2.50");
  EXPECT_EQ(root.find("c")->text, "x\ny");
  EXPECT_TRUE(b.truth);
}

TEST(Json, AStringKeepsItsTextWhateverStandsInIt) {
  const auto textOf = [](const std::string& spelled) {
    return std::string(parseJson("[\n  1,\n  \"" + spelled + "\"]", "f").items[1].text);
  };
  for (const char* plain : {"", "a", ", b: [{ ", "\xc3\xa9", "c\xc3\xa9 d", "\x7f"})
    EXPECT_EQ(textOf(plain), plain) << plain;
  EXPECT_EQ(textOf(R"(a\"b)"), "a\"b");
  EXPECT_EQ(textOf(R"(\\)"), "\\");
  EXPECT_EQ(textOf(R"(a\n  b)"), "a\n  b");
  EXPECT_EQ(textOf(R"(\u00e9 \u0022)"), "\xc3\xa9 \"");
}

TEST(Json, MalformedTextIsRejectedWithItsPlaceAndTheReason) {
  const std::string unclosed = "a string without its closing quotation mark";
  const std::string badString = "a string with an invalid character or escape";
  const std::tuple<std::string_view, const char*, std::string> rows[] = {
      {"", "1:1", "unexpected end of file"},
      {" \n", "2:1", "unexpected end of file"},
      {"{\"a\"", "1:5", "unexpected end of file"},
      {"[1, 2", "1:6", "unexpected end of file"},
      {"[1, 2 ", "1:7", "unexpected end of file"},
      {"{\"a\": 1,\n  }", "2:3", "unexpected '}'"},
      {"{\"a\": tru}", "1:7", "unexpected 'tru'"},
      {"[tru", "1:2", "unexpected 'tru'"},
      {"[1] x", "1:5", "unexpected 'x'"},
      {"[1.]", "1:2", "unexpected '1.'"},
      {"[1 2]", "1:4", "unexpected '2'"},
      {"[1.5 2.5]", "1:6", "unexpected '2.5'"},
      {"[\"some  text\"\n    x y", "2:5", "unexpected 'x'"},
      {"[1 \"a\\\"b\", 2]", "1:4", "unexpected '\"a\\\"b\"'"},
      {"{1: 2}", "1:2", "unexpected '1'"},
      {"['a']", "1:2", "unexpected ''a''"},
      {"\x01", "1:1", "unexpected '?'"},
      {"[\x1b[31mred]", "1:2", "unexpected '?'"},
      {"[\xc2\x9b"
       "31m]",
       "1:2", "unexpected '?31m'"},
      {"\xff"
       "z[]",
       "1:1", "unexpected '?z'"},
      {"\"", "1:1", unclosed},
      {"[1, \"abc", "1:5", unclosed},
      {"[1, \"abc\\", "1:5", unclosed},
      {"{\"\n\": 1}", "1:2", badString},
      {"[\"\xff\"]", "1:2", badString},
      {"[\"\xff", "1:2", badString},
      {"[\"\xc3\"]", "1:2", badString},
      {"[\"a\\x\"]", "1:2", badString},
      {"[\"\\u12\"]", "1:2", badString},
      {"[\"\\ud800\"]", "1:2", badString},
  };
  for (const auto& [text, place, why] : rows) {
    EXPECT_EQ(jsonRejection(text), std::string("f.json:") + place + ": not JSON: " + why) << text;
  }
  EXPECT_EQ(jsonRejection("[1e999]"), "f.json:1:2: the number 1e999 is too large");
}

TEST(Json, AByteOrderMarkIsNoPartOfAValue) {
  EXPECT_EQ(parseJson("\xef\xbb\xbf\"abc\"", "f").text, "abc");
  EXPECT_EQ(jsonRejection("\xef\xbb\xbfx"), "f.json:1:4: not JSON: unexpected 'x'");
}

TEST(Json, WhatAMessageQuotesIsShortenedAtACharacter) {
  std::string accents;
  for (int i = 0; i < 200; ++i) accents += "\xc3\xa9";
  const std::string shown = accents.substr(0, 254) + "...";
  EXPECT_EQ(jsonRejection("[" + accents), "f.json:1:2: not JSON: unexpected '" + shown + "'");
  EXPECT_EQ(jsonRejection("[1 \"" + accents + "\"]"),
            "f.json:1:4: not JSON: unexpected '\"" + shown + "'");
  EXPECT_EQ(jsonRejection("[1" + std::string(300, '0') + "e999]"),
            "f.json:1:2: the number 1" + std::string(254, '0') + "... is too large");
  EXPECT_EQ(jsonRejection("{\"" + accents + "\": {\"a/\": 1, \"a/\": 1}}"),
            "f.json:1:416: /" + shown + "/a~1: duplicate key");
  const std::string name(255, 'x');
  EXPECT_EQ(manifestRejection(R"({"board": "b", "devices": {")" + name + R"(": 1}})"),
            "m.json:1:287: /devices/" + name + ": unknown key '" + name + "'");
  EXPECT_EQ(manifestRejection(R"({"board": "b", "devices": {"x)" + name + R"(": 1}})"),
            "m.json:1:288: /devices/x" + name.substr(1) + "...: unknown key 'x" + name.substr(1) +
                "...'");
  const auto sentence = [](const std::string& rejection) {
    return rejection.substr(rejection.rfind("...") + 3);
  };
  const std::string text = std::string(300, '9');
  EXPECT_EQ(sentence(manifestRejection(R"({"board":"b","devices":{"gpu":)" + text + "}}")),
            " is not in 0..255");
  EXPECT_EQ(sentence(manifestRejection(R"({"board":"b","devices":{"gpu":1.)" + text + "}}")), "");
  EXPECT_EQ(sentence(manifestRejection(R"({"board":"b","devices":{},"overrides":{")" + text +
                                       R"(":{}}})")),
            "' is not a device name (expected e.g. 'gpu3')");
  EXPECT_EQ(sentence(propertyRejection("1." + text)), " has more than 6 digits after the point");
  EXPECT_EQ(sentence(propertyRejection(R"({"sum": ")" + text + "\"}")), "'");
  EXPECT_EQ(sentence(propertiesRejection(R"({"properties": {}})",
                                         R"({"board":"b","devices":{"gpu":1},"overrides":{)"
                                         R"("gpu0":{"properties":{")" +
                                             text + R"(": 1}}}})")),
            "' is not a property of gpu0");
}

TEST(Json, AMessageIsOneLine) {
  EXPECT_EQ(jsonRejection("{\"a\": 1, \"a\": 2}"), "f.json:1:10: /a: duplicate key");
  EXPECT_EQ(
      jsonRejection(std::string(40, '[')), "f.json:1:33: " + [] {
        std::string pointer;
        for (int i = 0; i < 32; ++i) pointer += "/0";
        return pointer;
      }() + ": nested too deeply");
  EXPECT_EQ(jsonRejection(R"({"a\nb": 1, "a\nb": 2})"), "f.json:1:13: /a?b: duplicate key");
  for (const char* text : {"{", "[", "\"", "{\"a\"", "\x01", "{\"\n\": 1}", "[\"\xff\"]"}) {
    SCOPED_TRACE(text);
    const std::string why = jsonRejection(text);
    EXPECT_NE(why, "accepted");
    EXPECT_EQ(why.find('\n'), std::string::npos) << why;
  }
}

TEST(Json, NothingHidesBehindANulByte) {
  using namespace std::string_view_literals;
  for (const auto& [text, place] :
       {std::pair("\0"sv, "1:1"), std::pair("[1]\0"sv, "1:4"), std::pair("[1]\n\0 x"sv, "2:1"),
        std::pair("[\0 1]"sv, "1:2"), std::pair("[\"a\0b\"]"sv, "1:4")}) {
    SCOPED_TRACE(place);
    EXPECT_EQ(jsonRejection(text),
              "f.json:" + std::string(place) + ": not JSON: found a NUL byte; expected UTF-8 text");
  }
  EXPECT_EQ(jsonRejection(R"(["\u0000"])"), "accepted") << "an escape is text";
}

TEST(Json, AFileThatCannotBeReadIsNamed) {
  EXPECT_EQ(rejection([] { readJsonFile("/nowhere/x.json"); }),
            "/nowhere/x.json: cannot be opened: No such file or directory");
  EXPECT_EQ(rejection([] { readJsonFile("/"); }), "/: cannot be read: Is a directory");
}

TEST(Json, ATwinIsFoundAmongManyMembers) {
  for (const int members : {1, 15, 16, 17, 18, 4096}) {
    for (const int twin : {0, members / 2, members - 1}) {
      std::string text = "{";
      for (int i = 0; i < members; ++i) text += "\"m" + std::to_string(i) + "\": {},\n";
      const std::string name = 'm' + std::to_string(twin);
      EXPECT_EQ(jsonRejection(text + '"' + name + "\": {}}"),
                "f.json:" + std::to_string(members + 1) + ":1: /" + name + ": duplicate key")
          << members;
    }
  }
}

TEST(Json, AnObjectHoldsSoManyMembersAndNoMore) {
  const auto objectOf = [](int members) {
    std::string text = R"({"o": {"m0": 0)";
    for (int i = 1; i < members; ++i) text += ", \"m" + std::to_string(i) + "\": 0";
    return text + "}}";
  };
  EXPECT_EQ(jsonRejection(objectOf(4096)), "accepted");
  EXPECT_EQ(jsonRejection(objectOf(4097)), "f.json:1:7: /o: more than 4096 members");
}

TEST(Json, ValuesAreNestedSoDeepAndNoDeeper) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_EQ(jsonRejection(nested(32)), "accepted");
  EXPECT_TRUE(jsonRejection(nested(33)).ends_with(": nested too deeply"));
}

TEST(Json, AFileIsReadToItsEndWhateverItsSizeIsSaidToBe) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string text = '"' + std::string(10'000, 'x') + '"';
  ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  close(ends[1]);
  EXPECT_EQ(readJsonFile("/dev/fd/" + std::to_string(ends[0])).text.size(), 10'000U);
  close(ends[0]);
  EXPECT_TRUE(
      rejection([] { readJsonFile("/proc/version"); }).starts_with("/proc/version:1:1: not"));
}

TEST(Json, AFileMayGetTheDescriptorOfAClosedStandardInput) {
  const int kept = dup(0);
  close(0);
  EXPECT_EQ(rejection([] { readJsonFile("/dev/null"); }),
            "/dev/null:1:1: not JSON: unexpected end of file");
  dup2(kept, 0);
  close(kept);
}

TEST(Json, AFileHoldsFourMebibytesAtMost) {
  const std::string file = testing::TempDir() + "limit.json";
  std::ofstream(file) << std::string((4U << 20U) - 1, ' ') << '1';
  EXPECT_EQ(readJsonFile(file).text, "1");
  std::ofstream(file, std::ios::app) << ' ';
  EXPECT_EQ(rejection([&] { readJsonFile(file); }), file + ": larger than 4 MiB");
  unlink(file.c_str());
}

}  // namespace
}  // namespace sim
