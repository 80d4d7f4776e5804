#include "journal/reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>
#include <utility>

#include "journal/line.h"

namespace {

constexpr const char* kFirstLine = "{\"journal\":2,\"clock\":\"monotonic\"}\n";

journal::Recording read(const std::string& text) {
  std::istringstream input(text);
  return journal::readRecording(input, "f");
}

std::string rejection(const std::string& text) {
  try {
    read(text);
  } catch (const journal::Error& error) {
    return error.what();
  }
  return "accepted";
}

/// What is said of one line behind the header.
std::string lineRejection(const std::string& line) { return rejection(kFirstLine + line + '\n'); }

std::string stop(int number) {
  return "{\"n\":" + std::to_string(number) +
         R"(,"at":0,"call":"GPUManagerStop","args":{},"code":0,"took":0})" + '\n';
}

TEST(Reader, ReadsEveryKindOfLine) {
  const journal::Recording recording = read(
      R"({"journal":2,"clock":"monotonic","arguments":["a","\u00e9"],"tool":"0a","library":"0b","redacted":true,"seed":3,"more":{"x":[1.5]}}
{"n":2,"at":5,"call":"DeviceClearData","args":{"device":-1,"property":null,"reserved0":0,"fault":4},"code":-7,"took":9}
{"at":6,"update":"A","registration":1,"id":65535,"sequence":18446744073709551615,"after":2,"during":1}
{"rule":0,"fired":2}
{"n":1,"at":1,"call":"SnapShotRefreshStatus","args":{"running":1},"code":0,"took":20}
{"end":"exit","status":-1,"calls":2}
)");
  EXPECT_EQ(recording.header.version, 2);
  EXPECT_EQ(recording.header.arguments, (std::vector<std::string>{"a", "\xe9"}));
  EXPECT_EQ(recording.header.tool + recording.header.library, "0a0b");
  EXPECT_TRUE(recording.header.redacted);
  EXPECT_EQ(recording.header.seed, 3);
  ASSERT_EQ(recording.calls.size(), 2U);
  EXPECT_EQ(recording.calls[0].number, 1) << "in the order of entry";
  EXPECT_EQ(recording.calls[0].line, 5U);
  const journal::Call& clear = recording.calls[1];
  EXPECT_EQ(clear.entry, journal::Entry::clearData);
  EXPECT_EQ(std::tuple(clear.at, clear.code, clear.took, clear.fault), std::tuple(5, -7, 9, 4));
  EXPECT_EQ(*clear.find("device"), journal::Value(std::int64_t{-1}));
  EXPECT_EQ(*clear.find("property"), journal::Value(nullptr));
  EXPECT_EQ(clear.find("colour"), nullptr);
  ASSERT_EQ(recording.updates.size(), 1U);
  const journal::Update& update = recording.updates[0];
  EXPECT_EQ(std::tuple(update.at, update.api, update.registration, update.id, update.after),
            std::tuple(6, "A", 1, 65535, 2));
  EXPECT_EQ(update.sequence, UINT64_MAX);
  EXPECT_TRUE(update.during);
  EXPECT_EQ(recording.rules.at(0).fired, 2);
  EXPECT_EQ(std::tuple(recording.end->how, recording.end->status, recording.end->calls),
            std::tuple("exit", -1, 2));
  EXPECT_EQ(recording.cutAt, std::nullopt);
}

TEST(Reader, ReadsVersion1) {
  const journal::Recording recording = read(
      R"({"journal":1,"seed":5,"clock":"stepped"}
{"at":0,"call":"GPUSetLogLevel","argument":"3","code":0}
{"at":0,"call":"GPUManagerInit","manifest":"m","profile":"p","properties":"","code":0}
{"at":10,"call":"DeviceGetData","args":{"device":0,"property":"a","mode":1,"value":"16"},"code":0,"took":3}
{"at":20,"update":"A","device":"gpu0","value":"1","sequence":1}
{"at":30,"call":"DeviceGetSupportedProperties","args":{"kind":"gpu","names":1},"code":0,"took":0}
{"at":40,"call":"DeviceGetData","hang":1}
{"rule":0,"fired":1}
{"at":50,"call":"GPUManagerStop","code":0}
)");
  ASSERT_EQ(recording.calls.size(), 6U);
  for (std::size_t i = 0; i < 6; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(recording.calls[i].number, static_cast<std::int64_t>(i) + 1);
    EXPECT_EQ(recording.calls[i].code.has_value(), i != 4);
  }
  EXPECT_EQ(*recording.calls[1].find("profile"), journal::Value("p"));
  EXPECT_EQ(*recording.calls[2].find("value"), journal::Value("16"));
  EXPECT_EQ(recording.calls[2].find("size"), nullptr);
  EXPECT_EQ(recording.calls[3].find("names"), nullptr);
  EXPECT_EQ(recording.updates.at(0).sequence, 1U);
  EXPECT_EQ(recording.end.has_value(), false);
}

TEST(Reader, ACallUnderWayComesFromItsPlaceInTheSecondLine) {
  const std::string beginning =
      R"({"n":2,"at":9,"call":"DeviceClearData","args":{"device":1,"property":"a","reserved0":0}})";
  std::string place = beginning + std::string(4095 - beginning.size(), ' ') + '\n';
  journal::Recording recording = read(kFirstLine + place + stop(1));
  ASSERT_EQ(recording.calls.size(), 2U);
  EXPECT_EQ(recording.calls[1].code, std::nullopt);
  EXPECT_EQ(*recording.calls[1].find("property"), journal::Value("a"));
  recording = read(kFirstLine + place + stop(1) + stop(2));
  ASSERT_EQ(recording.calls.size(), 2U) << "the process died before it was blanked";
  EXPECT_EQ(recording.calls[1].code, 0);
  place[0] = ' ';
  EXPECT_EQ(read(kFirstLine + place + stop(1)).calls.size(), 1U) << "what it held before is over";
  EXPECT_EQ(rejection(kFirstLine + stop(1) + place), "f:3:2: not an object");
}

TEST(Reader, ALastLineThatIsCutIsLeftOutAndSaid) {
  const std::string whole = kFirstLine + stop(1);
  const std::string last =
      R"({"n":2,"at":9,"call":"DeviceClearData","args":{"device":1,"property":"\u00ff","reserved0":0},"code":0,"took":3})";
  EXPECT_EQ(read(whole).cutAt, std::nullopt);
  for (std::size_t size = 1; size <= last.size(); ++size) {
    SCOPED_TRACE(size);
    const journal::Recording recording = read(whole + last.substr(0, size));
    EXPECT_EQ(recording.calls.size(), 1U);
    EXPECT_EQ(recording.cutAt, 3U);
  }
  EXPECT_EQ(read(whole + last + '\n').calls.size(), 2U);
}

TEST(Reader, AFileWithoutAHeaderIsNoJournal) {
  for (const char* text : {"", "{\"journal\":2"}) {
    EXPECT_EQ(rejection(text), "f:1:1: not a journal: its first line is missing") << text;
  }
  EXPECT_EQ(rejection("\n"), "f:1:1: not an object");
  EXPECT_EQ(rejection("{}\n"), "f:1:1: 'journal' is missing");
  EXPECT_EQ(rejection(stop(1)), "f:1:1: 'journal' is missing");
  EXPECT_EQ(rejection("{\"journal\":3,\"clock\":\"\"}\n"), "f:1:12: not in 1 to 2");
  EXPECT_EQ(rejection("{\"journal\":2}\n"), "f:1:1: 'clock' is missing");
  EXPECT_EQ(rejection("{\"journal\":2,\"clock\":\"\",\"redacted\":1}\n"),
            "f:1:36: not true or false");
  EXPECT_EQ(rejection("{\"journal\":2,\"clock\":\"\",\"arguments\":\"a\"}\n"),
            "f:1:37: not a list");
  try {
    journal::readRecording("/no/such/file");
    FAIL();
  } catch (const journal::Error& error) {
    EXPECT_STREQ(error.what(), "/no/such/file: cannot be opened: No such file or directory");
  }
}

TEST(Reader, WhatIsNoJsonIsRejectedInItsPlace) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "1: not an object"},
      {"[]", "1: not an object"},
      {"{", "2: a name is missing"},
      {"{}{}", "3: the line should end here"},
      {"{\"a\"1}", "5: ':' is missing"},
      {"{\"a\":1 2}", "8: ',' or '}' is missing"},
      {"{\"a\":[1 2]}", "9: ',' or ']' is missing"},
      {"{\"a\":[1,]}", "9: not JSON"},
      {"{\"a\":", "6: the line ends here"},
      {"{\"a\":nul}", "6: not JSON"},
      {"{\"a\":01}", "6: a number begins with 0"},
      {"{\"a\":-}", "7: a digit is missing"},
      {"{\"a\":1.}", "8: a digit is missing"},
      {"{\"a\":1e+}", "9: a digit is missing"},
      {"{\"a\":\"x}", "6: the text does not end"},
      {"{\"a\":\"\x01\"}", "7: a control character in a text"},
      {"{\"a\":\"\xc3\xa9\"}", "7: a byte outside ASCII"},
      {"{\"a\":\"\\x\"}", "7: an unknown escape"},
      {"{\"a\":\"\\u0100\"}", "7: an escape other than \\u0000 to \\u00ff"},
      {"{\"a\":\"\\u00g0\"}", "7: an escape other than \\u0000 to \\u00ff"},
      {"{\"a\":1,\"a\":2}", "8: 'a' occurs twice"},
      {std::string("{\"a\":\0}", 7), "6: not JSON"},
      {"{\"a\":[[[[]]]]}", "9: nested too deeply"},
      {"{\"a\":1}", "1: not a call, an update or an end"},
      {"{\"journal\":2,\"clock\":\"\"}", "1: not a call, an update or an end"},
  };
  for (const auto& [line, why] : cases) EXPECT_EQ(lineRejection(line), "f:2:" + why) << line;
}

TEST(Reader, WrongAndMissingMembersAreRejectedInTheirPlace) {
  const std::string good =
      R"({"n":1,"at":0,"call":"DeviceGetSupportedProperties","args":{"type":0,"names":["a"],"details":[]},"code":0,"took":0})";
  ASSERT_EQ(lineRejection(good), "accepted");
  const auto changed = [&](const std::string& from, const std::string& to) {
    std::string line = good;
    return lineRejection(line.replace(line.find(from), from.size(), to));
  };
  EXPECT_EQ(changed("\"n\":1", "\"n\":0"), "f:2:6: not in 1 to 1000000");
  EXPECT_EQ(changed("\"n\":1", "\"n\":1000000"), "accepted");
  EXPECT_EQ(changed("\"n\":1", "\"n\":1000001"), "f:2:6: not in 1 to 1000000");
  EXPECT_EQ(changed("\"n\":1", "\"n\":1.0"), "f:2:6: not an integer");
  EXPECT_EQ(changed("\"n\":1", "\"n\":1e0"), "f:2:6: not an integer");
  EXPECT_EQ(changed("\"n\":1", "\"m\":1"), "f:2:1: 'n' is missing");
  EXPECT_EQ(changed("\"at\":0", "\"at\":-1"), "f:2:13: not in 0 to 9223372036854775807");
  EXPECT_EQ(changed("\"at\":0", "\"at\":9223372036854775808"),
            "f:2:13: not in 0 to 9223372036854775807");
  EXPECT_EQ(changed("DeviceGetS", "DeviceGets"), "f:2:22: not an entry point");
  EXPECT_EQ(changed("\"type\":0", "\"type\":\"0\""), "f:2:68: not an integer");
  EXPECT_EQ(changed("\"type\":0", "\"type\":4294967296"),
            "f:2:68: not in -2147483648 to 4294967295");
  EXPECT_EQ(changed("\"type\":0,", ""), "f:2:60: 'type' is missing");
  EXPECT_EQ(changed("[\"a\"]", "1"), "f:2:78: not a list");
  EXPECT_EQ(changed("[\"a\"]", "[1]"), "f:2:79: not a text");
  EXPECT_EQ(changed("\"names\":[\"a\"],", ""), "f:2:60: 'names' is missing");
  EXPECT_EQ(changed("\"code\":0", "\"code\":\"\""), "f:2:105: not an integer");
  EXPECT_EQ(changed("\"code\":0", "\"code\":2147483648"),
            "f:2:105: not in -2147483648 to 2147483647");
  EXPECT_EQ(changed(",\"took\":0", ""), "f:2:1: 'took' is missing");
  EXPECT_EQ(changed("{\"type\":0,\"names\":[\"a\"],\"details\":[]}", "1"), "f:2:60: not an object");
  EXPECT_EQ(
      lineRejection(
          R"({"n":1,"at":0,"call":"TesselAsyncCmdGpu","args":{"device":0,"opcode":1,"input":[4294967296],"size":0,"flag":0}})"),
      "f:2:81: not in 0 to 4294967295");
  EXPECT_EQ(
      lineRejection(
          R"({"n":1,"at":0,"call":"TesselAsyncCmdGpu","args":{"device":0,"opcode":1,"input":[],"size":0,"flag":0,"reply":[1],"output":[]},"code":0,"took":0})"),
      "f:2:109: not 2 words");
}

TEST(Reader, NumbersOccurOnceAndNothingFollowsTheEnd) {
  EXPECT_EQ(rejection(kFirstLine + stop(3) + stop(3)), "f:3:6: the number occurs twice");
  const std::string beginning = "{\"n\":3,\"at\":0,\"call\":\"GPUManagerStop\",\"args\":{}}\n";
  EXPECT_EQ(read(kFirstLine + beginning + stop(3)).calls.size(), 1U);
  EXPECT_EQ(rejection(kFirstLine + beginning + beginning), "f:3:6: the number occurs twice");
  EXPECT_EQ(rejection(std::string(kFirstLine) + "{\"end\":\"exit\",\"calls\":0}\n" + stop(1)),
            "f:3:1: a line after the end");
}

TEST(Reader, KeepsItsLimits) {
  const auto padded = [](std::size_t size) {
    const std::string start = "{\"end\":\"exit\",\"calls\":0,\"a\":\"";
    return start + std::string(size - start.size() - 2, 'x') + "\"}";
  };
  EXPECT_EQ(lineRejection(padded(journal::kMaxLineSize)), "accepted");
  EXPECT_EQ(lineRejection(padded(journal::kMaxLineSize + 1)), "f:2:16777217: the line is too long");

  std::string list = "{\"end\":\"exit\",\"calls\":0,\"a\":[0";
  for (std::size_t i = 0; i < std::size_t{1} << 20U; ++i) list += ",0";
  EXPECT_EQ(lineRejection(list + "]}"), "accepted");

  const auto withMembers = [](std::size_t count) {
    std::string line = "{\"end\":\"exit\",\"calls\":0";
    for (std::size_t i = 2; i < count; ++i) line += ",\"" + std::to_string(i) + "\":0";
    return line + "}";
  };
  EXPECT_EQ(lineRejection(withMembers(journal::kMaxMembers)), "accepted");
  EXPECT_EQ(lineRejection(withMembers(journal::kMaxMembers + 1)), "f:2:451: more than 64 members");

  EXPECT_EQ(lineRejection("{\"end\":\"exit\",\"calls\":0,\"a\":[[[]]]}"), "accepted");
  EXPECT_EQ(lineRejection("{\"end\":\"exit\",\"calls\":0,\"a\":[[[[]]]]}"),
            "f:2:32: nested too deeply");

  std::string lines = kFirstLine;
  for (std::size_t i = 0; i < journal::kMaxLines; ++i) lines += "{\"rule\":0,\"fired\":0}\n";
  EXPECT_EQ(rejection(lines), "f:1000001:1: too many lines");
}

}  // namespace
