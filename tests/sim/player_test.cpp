#include <sys/stat.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "tests/sim/board_fixture.h"
#include "tests/support/output_forms.h"
#include "tests/support/pattern.h"

namespace {

/// A replay behind the library's entry points. Log lines go to one of the standard streams.
class Player : public BoardTest {
 protected:
  /// Initialises the library with a recording of these calls, after those that every one begins
  /// with; `settings` are further members of the profile's replay.
  int replay(const std::string& calls, const std::string& settings = "") {
    write("j", kHeader + kStart + calls);
    return replayFile(settings);
  }
  int replayFile(const std::string& settings = "") {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    return initialise(settings);
  }
  static int initialise(const std::string& settings = "") {
    const std::string profile =
        write("profile.json", R"({"replay": {"journal": ")" + path("j") + '"' + settings + "}}");
    return GPUManagerInit("no manifest", profile.c_str(), "no properties");
  }
  int run(const std::string& calls, const std::string& settings = "") {
    const int code = replay(calls, settings);
    return code == 0 ? GPUManagerRun(0, 0) : code;
  }
  /// What the library has logged since, without the stamps and the name of the recording.
  static std::string said() {
    std::string lines =
        testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    lines = replaced(lines, kStampPattern, "");
    for (std::size_t at = 0; (at = lines.find(path("j"))) != std::string::npos;) {
      lines.replace(at, path("j").size(), "j");
    }
    return lines;
  }

  static std::string call(int number, const std::string& name, const std::string& args,
                          int code = 0, const std::string& took = "0") {
    return R"({"n":)" + std::to_string(number) + R"(,"at":0,"call":")" + name + R"(","args":{)" +
           args + R"(},"code":)" + std::to_string(code) + R"(,"took":)" + took + "}\n";
  }
  static std::string read(int number, int device, const std::string& value, int code = 0,
                          const std::string& took = "0") {
    return call(number, "DeviceGetData", argsOf(device) + R"(,"value":")" + value + '"', code,
                took);
  }
  static std::string argsOf(int device) {
    return R"("device":)" + std::to_string(device) + R"(,"property":")" + kPower +
           R"(","reserved0":0,"reserved1":0,"size":10240,"mode":0,"reserved2":0)";
  }
  static std::string stop(int number, int code = 0) {
    return call(number, "GPUManagerStop", "", code);
  }
  static std::string registration(int number) {
    return call(
        number, "DeviceSetCallbackUpdateData",
        R"("device":0,"api":")" + std::string(kApi) +
            R"(","callback":1,"reserved0":-1,"reserved1":"","reserved2":"","reserved3":-1)");
  }
  static std::string update(int after, int sequence, bool during = false) {
    return R"({"at":0,"update":")" + std::string(kApi) +
           R"(","registration":3,"id":258,"sequence":)" + std::to_string(sequence) +
           R"(,"after":)" + std::to_string(after) + (during ? R"(,"during":1})" : "}") + '\n';
  }
  static int subscribe(const UpdateCallback& callback) {
    return DeviceSetCallbackUpdateData(0, kApi, callback, -1, "", "", -1);
  }

  /// What configured the log before is not part of this.
  void SetUp() override {
    GPUManagerInit("", "", "");
    GPUManagerStop();
  }
  void TearDown() override { GPUManagerStop(); }

  static const std::string kHeader;
  static const std::string kStart;
};

const std::string Player::kHeader = R"({"journal":2,"clock":"monotonic"})"
                                    "\n";

const std::string Player::kStart =
    R"({"n":1,"at":0,"call":"GPUManagerInit","manifest":"","profile":"","properties":"","code":0,)"
    R"("took":0})"
    "\n"
    R"({"n":2,"at":0,"call":"GPUManagerRun","args":{"reserved0":0,"reserved1":0},"code":0,)"
    R"("took":0})"
    "\n";

TEST_F(Player, AnswersWhatWasRecorded) {
  ASSERT_EQ(run(read(3, 0, "300") + read(4, 1, "", 23) +
                call(5, "SnapShotRefreshStatus", R"("running":1)") + stop(6, 17)),
            0);
  EXPECT_EQ(get(0, kPower), "300");
  EXPECT_EQ(get(1, kPower), "rc = 23");
  EXPECT_TRUE(refreshing());
  EXPECT_EQ(GPUManagerStop(), 17);
  EXPECT_EQ(said(), "");
}

TEST_F(Player, HandsOverEveryFormOfOutput) {
  const std::string sync = R"("device":1,"opcode":1,"arg1":0,"arg2":0,"data":7,"extended":8,)"
                           R"("reply":[1,2,4294967295],"flag":0)";
  const std::string async = R"("device":1,"opcode":16,"input":[5],"reply":[3,4],)"
                            R"("output":[6,7],"size":8,"flag":0)";
  ASSERT_EQ(run(call(3, "TesselSyncCmdGpu", sync) + call(4, "TesselAsyncCmdGpu", async, 18) +
                call(5, "DeviceGetSupportedProperties",
                     R"("type":0,"names":["a","b"],"details":["W",""])") +
                call(6, "DeviceGetSupportedProperties",
                     R"("type":0,"text":"ab\u00ff#","unterminated":1,"size":4)") +
                stop(7)),
            0);
  std::array<unsigned int, 3> words{};
  EXPECT_EQ(TesselSyncCmdGpu(1, 1, 0, 0, 7, 8, &words[0], &words[1], &words[2], false), 0);
  EXPECT_EQ(words, (std::array<unsigned int, 3>{1, 2, 4294967295U}));
  std::vector<unsigned int> output;
  EXPECT_EQ(TesselAsyncCmdGpu(1, 16, {5}, &words[0], &words[1], output, 8, false), 18);
  EXPECT_EQ(words[0] + 10 * words[1], 43U);
  EXPECT_EQ(output, (std::vector<unsigned int>{6, 7}));
  std::vector<std::string> names;
  std::vector<std::string> details;
  EXPECT_EQ(DeviceGetSupportedProperties(0, names, details), 0);
  EXPECT_EQ(names, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(details, (std::vector<std::string>{"W", ""}));
  std::string text(5, '?');
  EXPECT_EQ(DeviceGetSupportedProperties(0, text.data(), 4), 0);
  EXPECT_EQ(text, "ab\xff#?");
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(said(), "");
}

TEST_F(Player, AfterADifferenceEveryCallAnswersTheReservedCode) {
  ASSERT_EQ(run(read(3, 0, "300") + read(4, 0, "301") + stop(5)), 0);
  EXPECT_EQ(get(1, kPower), "rc = 2989");
  EXPECT_EQ(get(0, kPower), "rc = 2989");
  EXPECT_FALSE(refreshing()) << "the value is stored all the same";
  EXPECT_EQ(GPUManagerStop(), sim::kNotRecorded);
  EXPECT_EQ(said(),
            "Ej:4: recorded DeviceGetData(device 0, property 'gpu.power.consumption', mode 0), "
            "called DeviceGetData(device 1, property 'gpu.power.consumption', mode 0): 'device' is "
            "1 instead of 0; no line matches; from here on every call answers 0xbad\n");
  EXPECT_EQ(get(0, kPower), "rc = 1") << "the stop ended the replay";
}

TEST_F(Player, EveryEntryPointIsAnswered) {
  ASSERT_EQ(run(""), 0);
  std::array<char, 8> text{};
  unsigned int word = 0;
  std::vector<unsigned int> words;
  std::vector<std::string> texts;
  std::int32_t value = 0;
  const std::array codes{GPUSetLogLevel(3),
                         GPUManagerInit(nullptr, "", ""),
                         GPUManagerRun(0, 0),
                         DeviceGetData(0, nullptr, 0, 0, text.data(), 8, 0, 0),
                         DeviceSetData(0, "a", &value, 3, 0),
                         DeviceClearData(0, nullptr, 0),
                         DeviceGetSupportedProperties(0, text.data(), 8),
                         DeviceGetSupportedProperties(22, text.data(), 8),
                         DeviceGetSupportedProperties(0, texts, texts),
                         DeviceGetAllSupportedProperties(text.data(), 8),
                         SnapShotRefreshStatus(nullptr),
                         subscribe([](auto...) {}),
                         TesselCmd(0, 0, 0, 0, {}, words, false),
                         TesselCmdKorswitch(0, 0, 0, 0, {1, 2}, words, false),
                         TesselCmdFpga(0, 0, 0, 0, {1, 2}, words, false),
                         TesselSyncCmdGpu(0, 0, 0, 0, 0, 0, nullptr, &word, &word, false),
                         TesselSyncCmdKorswitch(0, 0, 0, 0, 0, 0, &word, &word, &word, false),
                         TesselSyncCmdFpga(0, 0, 0, 0, 0, 0, &word, &word, &word, false),
                         TesselAsyncCmdGpu(0, 0, {}, nullptr, &word, words, 0, false),
                         TesselAsyncCmdKorswitch(0, 0, {}, &word, &word, words, 0, false),
                         GPUManagerStop()};
  for (std::size_t i = 0; i < codes.size(); ++i) EXPECT_EQ(codes[i], sim::kNotRecorded) << i;
  EXPECT_EQ(said(),
            "Ej: the recording ends, called GPUSetLogLevel(level 3); no line matches; from here on "
            "every call answers 0xbad\n");
}

TEST_F(Player, CallsThatConfiguredTheLogAreMatchedWithTheInitialisation) {
  const std::string level = R"({"n":3,"at":0,"call":"GPUSetLogLevel","args":{"level":)";
  write("j",
        R"({"journal":2,"clock":"monotonic"})" + ('\n' + level) + "3},\"code\":0,\"took\":0}\n");
  GPUSetLogLevel(4);
  EXPECT_EQ(replayFile(), sim::kNotRecorded);
  EXPECT_EQ(said(),
            "Ej:2: recorded GPUSetLogLevel(level 3), called GPUSetLogLevel(level 4): 'level' is 4 "
            "instead of 3; no line matches; from here on every call answers 0xbad\n");
  GPUManagerStop();
  write("j", R"({"journal":2,"clock":"monotonic"})" + ('\n' + level) +
                 "3},\"code\":0,\"took\":0}\n" + call(4, "GPUSetLogLevel", R"("level":9)", 12) +
                 R"({"n":5,"at":0,"call":"GPUManagerInit","manifest":"","profile":"",)" +
                 R"("properties":"","code":0,"took":0})" + '\n' +
                 call(6, "GPUSetLogLevel", R"("level":2)", 5) + stop(7));
  GPUSetLogLevel(3);
  GPUSetLogLevel(9);
  EXPECT_EQ(replayFile(), 0);
  EXPECT_EQ(logger.levelText, "3");
  EXPECT_EQ(GPUSetLogLevel(2), 5) << "the recorded code";
  EXPECT_EQ(logger.levelText, "2") << "the log is this process's own";
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(said(), "");
}

TEST_F(Player, UpdatesComeWhereTheyCame) {
  ASSERT_EQ(run(registration(3) + update(3, 1) + read(4, 0, "300") + update(4, 2, true) +
                update(4, 3) + stop(5)),
            0);
  std::string order;
  std::thread::id thread;
  EXPECT_EQ(
      subscribe([&](std::uint16_t code, const data_info::DataInfo& info, std::uint64_t sequence) {
        order += std::to_string(sequence);
        thread = std::this_thread::get_id();
        EXPECT_EQ(code, 258);
        EXPECT_EQ(info.propertyName, kPower);
        EXPECT_EQ(info.apiName, kApi);
        EXPECT_EQ(info.deviceType, 1);
        EXPECT_EQ(info.deviceId, 2);
        EXPECT_EQ(info.updateCount, sequence);
      }),
      0);
  EXPECT_EQ(order, "");
  EXPECT_EQ(get(0, kPower), "300");
  EXPECT_EQ(order, "12");
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(order, "123");
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(said(), "");
}

TEST_F(Player, CallbacksMayMakeCallsAndMayFail) {
  ASSERT_EQ(run(registration(3) + read(4, 0, "300") + update(4, 1, true) + read(5, 1, "301") +
                update(5, 2) + stop(6)),
            0);
  std::string got;
  subscribe([&](auto...) {
    if (!got.empty()) throw 1;
    got = get(1, kPower);
  });
  EXPECT_EQ(get(0, kPower), "300");
  EXPECT_EQ(got, "301");
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(said(), std::string("Ea callback for ") + kApi + " ended with an exception\n");
}

TEST_F(Player, OnlyAPacedReplayTakesAsLongAsTheRecording) {
  ASSERT_EQ(run(read(3, 0, "300", 0, "3600000000") + stop(4)), 0);
  EXPECT_EQ(get(0, kPower), "300") << "and not in an hour";
  GPUManagerStop();
  said();
  ASSERT_EQ(run(read(3, 0, "300", 0, "20000") + stop(4), R"(, "pace": 1)"), 0);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(get(0, kPower), "300");
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
  GPUManagerStop();
  EXPECT_EQ(said(), "");
}

TEST_F(Player, CallsLeftOverAreNamedAtTheStop) {
  ASSERT_EQ(run(stop(3) + read(4, 0, "300")), 0);
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(said(),
            "Ej:5: 1 recorded call was not made, from DeviceGetData(device 0, property "
            "'gpu.power.consumption', mode 0) on\n");
}

TEST_F(Player, ARecordingMayHoldSeveralRuns) {
  std::string second = kStart;
  second.replace(second.find("\"n\":1"), 5, "\"n\":4")
      .replace(second.find("\"n\":2"), 5, "\"n\":5");
  ASSERT_EQ(run(stop(3) + second + read(6, 0, "300") + stop(7)), 0);
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(GPUManagerInit("", "", ""), 0);
  EXPECT_EQ(GPUManagerRun(0, 0), 0);
  EXPECT_EQ(get(0, kPower), "300");
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(said(), "");
  EXPECT_EQ(get(0, kPower), "rc = 1");
}

TEST_F(Player, TheLogOfAnEarlierRunIsNoPartOfTheReplay) {
  ASSERT_EQ(GPUManagerInit("", "", ""), 0);
  EXPECT_EQ(GPUSetLogLevel(3), 0);
  EXPECT_EQ(GPUManagerStop(), 0);
  ASSERT_EQ(run(stop(3)), 0);
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(said(), "");
}

TEST_F(Player, AnInitialisationThatFailedMayBeAllThatWasRecorded) {
  write("j", R"({"journal":2,"clock":"monotonic"})"
             "\n"
             R"({"n":1,"at":0,"call":"GPUManagerInit","manifest":"","profile":"",)"
             R"("properties":"","code":23,"took":0})"
             "\n");
  EXPECT_EQ(replayFile(), 23);
  EXPECT_EQ(get(0, kPower), "rc = 1");
  EXPECT_EQ(said(), "");
}

TEST_F(Player, ALastLineThatIsCutIsLeftOut) {
  GPUSetLogLevel(3);
  const std::string level = call(1, "GPUSetLogLevel", R"("level":3)");
  write("j", R"({"journal":2,"clock":"monotonic"})" + ('\n' + level) + "{\"n\":2,");
  EXPECT_EQ(replayFile(), sim::kNotRecorded);
  EXPECT_EQ(said(),
            "Wj:3: the last line is cut off and left out\n"
            "Ej: the recording ends, called GPUManagerInit(manifest 'no manifest', profile '" +
                path("profile.json").substr(0, 60) +
                (path("profile.json").size() > 60 ? "...'" : "'") +
                ", properties 'no properties'); no line matches; from here on every call answers "
                "0xbad\n");
  GPUManagerStop();
}

TEST_F(Player, ABadRecordingIsARejectedFile) {
  write("j", "{\"journal\":2,\"clock\":\"real\"}\n{\"at\":0}\n");
  EXPECT_EQ(replayFile(), sim::kFileRefused);
  EXPECT_EQ(said(), "Ej:2:1: not a call, an update or an end\n");
  EXPECT_EQ(get(0, kPower), "rc = 1");
}

TEST_F(Player, AMissingRecordingIsARejectedFile) {
  std::remove(path("j").c_str());
  EXPECT_EQ(replayFile(), sim::kFileRefused);
  EXPECT_TRUE(
      said().ends_with(" /replay/journal: 'j' cannot be opened: No such file or directory\n"));
}

TEST_F(Player, ARecordingThatCannotBeReadIsARejectedFile) {
  std::remove(path("j").c_str());
  ASSERT_EQ(mkdir(path("j").c_str(), 0700), 0);
  EXPECT_EQ(replayFile(), sim::kFileRefused);
  EXPECT_EQ(said(), "Ej:1:1: cannot be read: Is a directory\n");
}

TEST_F(Player, TheRecordingHasNoOtherUse) {
  ASSERT_EQ(run(stop(3)), 0);
  GPUSetLogger(path("j").c_str());
  EXPECT_TRUE(said().starts_with("Ej: is the recording; the log needs a file of its own\n"));
  GPUManagerStop();
}

/// In a process of its own.
class PlayerDeathTest : public Player {
 protected:
  void SetUp() override { chooseDeathTestStyle(); }
};

TEST_F(PlayerDeathTest, TheRecordingIsNotTheLog) {
  write("j", kHeader + kStart);
  EXPECT_EXIT(
      {
        GPUSetLogger(path("j").c_str());
        std::exit(initialise() == sim::kFileRefused ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_NE(contents(path("j")).find("j' is the log; the recording needs a file of its own\n"),
            std::string::npos);
}

TEST_F(PlayerDeathTest, ACallThatNeverReturnedHangsUntilTheStop) {
  EXPECT_EXIT(
      {
        const std::string log = path("log");
        std::remove(log.c_str());
        write("j", kHeader + kStart + call(3, "GPUSetLogger", "\"file\":\"" + log + '"') +
                       R"({"n":4,"at":0,"call":"DeviceGetData","args":{)" + argsOf(0) + "}}\n" +
                       stop(5));
        if (initialise() != 0 || GPUManagerRun(0, 0) != 0 || GPUSetLogger(log.c_str()) != 0) {
          std::exit(1);
        }
        std::string answer;
        std::thread caller([&] { answer = get(0, kPower); });
        const std::string line =
            "W" + path("j") + ":5: this call never returned, nor does it now\n";
        while (contents(log).find(line) == std::string::npos) std::this_thread::yield();
        if (GPUManagerStop() != 0) std::exit(2);
        caller.join();
        std::exit(answer == "rc = 17" ? 0 : 3);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(PlayerDeathTest, CallsLeftOverAreNamedWhenTheProcessEnds) {
  EXPECT_EXIT(
      {
        write("j", kHeader + kStart + read(3, 0, "300") + stop(4));
        if (initialise() == 0) GPUManagerRun(0, 0);
        std::exit(0);
      },
      testing::ExitedWithCode(0),
      "2 recorded calls were not made, from DeviceGetData.device 0, property "
      "'gpu.power.consumption', mode 0. on\n");
}

}  // namespace
