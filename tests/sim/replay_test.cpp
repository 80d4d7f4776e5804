#include "sim/library/replay.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

#include "sim/base/codes.h"

namespace sim {
namespace {

using journal::Capture;
using journal::Entry;
using Match = ReplaySettings::Match;

constexpr std::string_view kHeader = R"({"journal":2,"clock":"monotonic"})";
constexpr const char* kLast = "; no line matches; from here on every call answers 0xbad";

Replay replayOf(const std::string& lines, Match match = Match::inOrder) {
  std::istringstream input(std::string(kHeader) + '\n' + lines);
  return {{"j", match, false}, journal::readRecording(input, "j")};
}

std::string clear(int number, int device, const std::string& property, int code = 0) {
  return R"({"n":)" + std::to_string(number) +
         R"(,"at":0,"call":"DeviceClearData","args":{"device":)" + std::to_string(device) +
         R"(,"property":")" + property + R"(","reserved0":0},"code":)" + std::to_string(code) +
         R"(,"took":0})" + '\n';
}

std::string update(int after, int sequence, bool during = false) {
  return R"({"at":0,"update":"a","registration":1,"id":0,"sequence":)" + std::to_string(sequence) +
         R"(,"after":)" + std::to_string(after) + (during ? R"(,"during":1})" : "}") + '\n';
}

Replay::Answer clear(Replay& replay, int device, const char* property, int reserved = 0) {
  return replay.next(Capture(Entry::clearData, device, property, reserved));
}

/// The line of the recorded call that answers, or the difference.
std::string lineOf(const Replay::Answer& answer) {
  return answer.call != nullptr ? std::to_string(answer.call->line) : answer.difference;
}

std::vector<std::uint64_t> sequencesOf(const Replay::Updates& updates) {
  std::vector<std::uint64_t> sequences;
  for (const journal::Update* const one : updates) sequences.push_back(one->sequence);
  return sequences;
}

TEST(Replay, InOrderTheNextCallIsTheNextRecordedOne) {
  Replay replay = replayOf(clear(1, 0, "a") + clear(2, 1, "b", 7));
  EXPECT_EQ(lineOf(clear(replay, 0, "a")), "2");
  EXPECT_FALSE(replay.finished());
  const Replay::Answer second = clear(replay, 1, "b");
  EXPECT_EQ(lineOf(second), "3");
  EXPECT_EQ(second.call->code, 7);
  EXPECT_TRUE(replay.finished());
  EXPECT_EQ(replay.leftOver(), "");
}

TEST(Replay, InOrderAnsweredInTheOrderOfEntry) {
  Replay replay = replayOf(clear(2, 0, "b") + clear(1, 0, "a"));
  EXPECT_EQ(lineOf(clear(replay, 0, "a")), "3");
  EXPECT_EQ(lineOf(clear(replay, 0, "b")), "2");
}

TEST(Replay, TheFirstDifferenceIsNamedOnceAndEndsTheReplay) {
  Replay replay = replayOf(clear(1, 0, "a") + clear(2, 1, "a") + clear(3, 2, "a"));
  EXPECT_EQ(lineOf(clear(replay, 2, "a")),
            "j:2: recorded DeviceClearData(device 0, property 'a'), called DeviceClearData(device "
            "2, property 'a'): 'device' is 2 instead of 0; the nearest line that matches is 4; "
            "from here on every call answers 0xbad");
  EXPECT_TRUE(replay.finished());
  EXPECT_EQ(lineOf(clear(replay, 0, "a")), "") << "nothing is answered any more";
  EXPECT_EQ(replay.leftOver(), "") << "what else was recorded counts for nothing";
}

TEST(Replay, TheNearestMatchIsTheOneToCome) {
  Replay replay = replayOf(clear(1, 5, "a") + clear(2, 1, "a") + clear(3, 5, "a"));
  clear(replay, 5, "a");
  EXPECT_NE(lineOf(clear(replay, 5, "a")).find("line that matches is 4;"), std::string::npos);
  replay = replayOf(clear(1, 5, "a") + clear(2, 1, "a"));
  clear(replay, 5, "a");
  EXPECT_NE(lineOf(clear(replay, 5, "a")).find("line that matches is 2;"), std::string::npos);
}

TEST(Replay, EachKindOfInputIsCompared) {
  Replay replay = replayOf(clear(1, 0, "a"));
  EXPECT_EQ(lineOf(clear(replay, 0, "b")),
            "j:2: recorded DeviceClearData(device 0, property 'a'), called DeviceClearData(device "
            "0, property 'b'): 'property' is 'b' instead of 'a'" +
                std::string(kLast));
  replay = replayOf(clear(1, 0, "a"));
  EXPECT_EQ(lineOf(clear(replay, 0, nullptr)),
            "j:2: recorded DeviceClearData(device 0, property 'a'), called DeviceClearData(device "
            "0, property null): 'property' is null instead of 'a'" +
                std::string(kLast));
  replay = replayOf(clear(1, 0, "a"));
  EXPECT_EQ(lineOf(clear(replay, 0, "a", 3)),
            "j:2: recorded DeviceClearData(device 0, property 'a'), called DeviceClearData(device "
            "0, property 'a'): 'reserved0' is 3 instead of 0" +
                std::string(kLast));
  replay = replayOf(clear(1, 0, "a"));
  EXPECT_EQ(lineOf(replay.next(Capture(Entry::managerStop))),
            "j:2: recorded DeviceClearData(device 0, property 'a'), called GPUManagerStop(): "
            "another function" +
                std::string(kLast));
}

TEST(Replay, LongInputsAreShownInPart) {
  Replay replay = replayOf(
      R"({"n":1,"at":0,"call":"TesselCmd","args":{"device":0,"opcode":1,"arg1":2,"arg2":3,)"
      R"("input":[7],"output":[],"flag":0},"code":0,"took":0})"
      "\n");
  const std::vector<unsigned int> input(17, 4);
  std::vector<unsigned int> output;
  EXPECT_EQ(lineOf(replay.next(Capture(Entry::rawGpu, 0, 1, 2, 3, input, output, false))),
            "j:2: recorded TesselCmd(device 0, opcode 1, arg1 2, arg2 3, input [7]), called "
            "TesselCmd(device 0, opcode 1, arg1 2, arg2 3, input [4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 "
            "...]): 'input' is [4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 ...] instead of [7]" +
                std::string(kLast));
  replay = replayOf(clear(1, 0, "a"));
  const std::string name(61, 'n');
  EXPECT_NE(lineOf(clear(replay, 0, name.c_str())).find(" '" + name.substr(1) + "...' instead"),
            std::string::npos);
}

TEST(Replay, NamesOfFilesAreNotCompared) {
  Replay replay = replayOf(
      R"({"n":1,"at":0,"call":"GPUManagerInit","manifest":"a","profile":"b","properties":"c",)"
      R"("code":0,"took":0})"
      "\n");
  const char* const other = "other";
  EXPECT_EQ(lineOf(replay.next(Capture(Entry::managerInit, other, other, other))), "2");
}

TEST(Replay, ACallTooManyIsADifference) {
  Replay replay = replayOf(clear(1, 0, "a") + R"({"end":"exit","calls":1})" + '\n');
  clear(replay, 0, "a");
  EXPECT_EQ(lineOf(clear(replay, 0, "a")),
            "j: the recording ends, called DeviceClearData(device 0, property 'a'); the nearest "
            "line that matches is 2; from here on every call answers 0xbad");
  replay = replayOf(clear(1, 0, "a") + R"({"end":"limit","calls":1})" + '\n');
  clear(replay, 0, "a");
  EXPECT_EQ(lineOf(clear(replay, 1, "a")),
            "j: the recording ends at its size limit, called DeviceClearData(device 1, property "
            "'a')" +
                std::string(kLast));
}

TEST(Replay, CallsThatWereNotMadeAreCounted) {
  Replay replay = replayOf(clear(1, 0, "a") + clear(2, 1, "b") + clear(3, 2, "c"));
  clear(replay, 0, "a");
  EXPECT_EQ(replay.leftOver(),
            "j:3: 2 recorded calls were not made, from DeviceClearData(device 1, property 'b') on");
  clear(replay, 1, "b");
  EXPECT_EQ(replay.leftOver(),
            "j:4: 1 recorded call was not made, from DeviceClearData(device 2, property 'c') on");
}

TEST(Replay, ARunBeginsWithTheLogOrTheManager) {
  const std::string level =
      R"({"n":2,"at":0,"call":"GPUSetLogLevel","args":{"level":3},"code":0,"took":0})"
      "\n";
  Replay replay = replayOf(clear(1, 0, "a") + level);
  EXPECT_FALSE(replay.hasAnotherRun());
  clear(replay, 0, "a");
  EXPECT_TRUE(replay.hasAnotherRun());
  EXPECT_EQ(lineOf(replay.next(Capture(Entry::setLogLevel, 3))), "3");
  EXPECT_FALSE(replay.hasAnotherRun());
}

TEST(Replay, InOrderUpdatesComeWhereTheyCame) {
  Replay replay =
      replayOf(update(1, 2, true) + clear(1, 0, "a") + update(1, 3) + update(2, 4, true) +
               clear(2, 0, "a") + update(2, 5) + update(0, 1) + clear(3, 0, "a") + update(3, 6));
  using Sequences = std::vector<std::uint64_t>;
  EXPECT_EQ(sequencesOf(replay.due()), Sequences{1});
  EXPECT_EQ(sequencesOf(clear(replay, 0, "a").updates), Sequences{2});
  EXPECT_EQ(sequencesOf(replay.due()), Sequences{3});
  EXPECT_EQ(sequencesOf(clear(replay, 0, "a").updates), Sequences{4});
  EXPECT_EQ(sequencesOf(replay.due()), Sequences{5});
  EXPECT_EQ(sequencesOf(clear(replay, 0, "a").updates), Sequences{6}) << "no call follows it";
  EXPECT_TRUE(replay.due().empty());
}

TEST(Replay, AfterADifferenceNoUpdateComes) {
  Replay replay = replayOf(clear(1, 0, "a") + update(1, 1) + clear(2, 0, "a"));
  clear(replay, 9, "a");
  EXPECT_TRUE(replay.due().empty());
}

TEST(Replay, ByRequestEachRequestHasItsOwnOrder) {
  Replay replay =
      replayOf(clear(1, 0, "a") + clear(2, 1, "a") + clear(3, 0, "a"), Match::byRequest);
  EXPECT_EQ(lineOf(clear(replay, 1, "a")), "3");
  EXPECT_EQ(lineOf(clear(replay, 0, "a")), "2");
  EXPECT_EQ(lineOf(clear(replay, 0, "a")), "4");
  EXPECT_EQ(lineOf(clear(replay, 0, "a")), "4") << "the last answer stays";
  EXPECT_EQ(lineOf(clear(replay, 1, "a")), "3");
}

TEST(Replay, ByRequestWhatIsMissingIsNamedOnce) {
  Replay replay = replayOf(clear(1, 0, "a") + clear(2, 1, "a"), Match::byRequest);
  EXPECT_EQ(lineOf(clear(replay, 5, "a")),
            "j: not recorded: DeviceClearData(device 5, property 'a')");
  EXPECT_EQ(lineOf(clear(replay, 5, "a")), "");
  EXPECT_EQ(lineOf(clear(replay, 6, "a")),
            "j: not recorded: DeviceClearData(device 6, property 'a')");
  EXPECT_EQ(lineOf(clear(replay, 1, "a")), "3") << "the others are still answered";
  EXPECT_EQ(replay.leftOver(), "");
}

TEST(Replay, ByRequestUpdatesComeWithTheFirstAnswer) {
  Replay replay = replayOf(
      clear(1, 0, "a") + update(1, 2) + update(1, 1, true) + clear(2, 1, "a") + update(2, 3),
      Match::byRequest);
  EXPECT_TRUE(replay.due().empty());
  EXPECT_EQ(sequencesOf(clear(replay, 1, "a").updates), std::vector<std::uint64_t>{3});
  EXPECT_EQ(sequencesOf(clear(replay, 0, "a").updates), (std::vector<std::uint64_t>{1, 2}));
  EXPECT_TRUE(clear(replay, 0, "a").updates.empty());
}

TEST(Replay, TheFirstVersionDoesNotHoldEnough) {
  std::istringstream input(R"({"journal":1,"seed":1,"clock":"real"})"
                           "\n");
  try {
    const Replay replay({"j", Match::inOrder, false}, journal::readRecording(input, "j"));
    FAIL();
  } catch (const FileError& error) {
    EXPECT_STREQ(error.what(),
                 "j:1:1: cannot be replayed: version 1 does not hold the names of listings and the "
                 "arguments of rejected calls");
  }
}

}  // namespace
}  // namespace sim
