#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "tests/sim/board_fixture.h"
#include "tests/support/output_forms.h"
#include "tests/support/pattern.h"

namespace {

/// Each case configures the log of a process of its own, as a process does it once.
class LoggingDeathTest : public BoardTest {
 protected:
  void SetUp() override { chooseDeathTestStyle(); }

  /// Sends the standard streams of this process to files and leaves it.
  template <class Run>
  static void logged(Run run) {
    if (std::freopen(path("out").c_str(), "w", stdout) == nullptr) std::exit(1);
    if (std::freopen(path("err").c_str(), "w", stderr) == nullptr) std::exit(1);
    run();
    std::exit(0);
  }

  /// The stamps of the lines replaced by "[]".
  static std::string lines(const std::string& name) {
    return replaced(contents(path(name)), kStampPattern, "[]");
  }

  int broken() { return GPUManagerInit(write("broken", "{").c_str(), "", ""); }
  static std::string line() {
    return "[]E" + path("broken") + ":1:2: not JSON: unexpected end of file\n";
  }
};

TEST_F(LoggingDeathTest, ByDefaultNothingIsOpenAndErrorsAreNotLost) {
  EXPECT_EXIT(logged([&] {
                if (logger.output.is_open() || logger.levelText != "3") std::exit(1);
                broken();
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(lines("out"), "");
  EXPECT_EQ(lines("err"), line());
}

TEST_F(LoggingDeathTest, ALevelAloneLogsToStandardOutputInOrder) {
  EXPECT_EXIT(logged([&] {
                GPUSetLogLevel(5);
                if (!logger.output.is_open()) std::exit(1);
                std::printf("one\n");
                logger.output << "two\n";
                std::fputs("three\n", stdout);
                broken();
                std::printf("four\n");
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(lines("out"), "one\ntwo\nthree\n" + line() + "four\n");
  EXPECT_EQ(lines("err"), "");
}

TEST_F(LoggingDeathTest, AFileTakesTheLinesWhateverTheOrder) {
  for (const bool fileFirst : {true, false}) {
    SCOPED_TRACE(fileFirst);
    std::remove(path("log").c_str());
    EXPECT_EXIT(logged([&] {
                  if (!fileFirst) GPUSetLogLevel(4);
                  GPUSetLogger(path("log").c_str());
                  if (fileFirst) GPUSetLogLevel(4);
                  logger.output << "tool\n";
                  broken();
                }),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(lines("log"), "tool\n" + line());
    EXPECT_EQ(lines("out"), "");
  }
}

TEST_F(LoggingDeathTest, AFileIsAppendedTo) {
  write("log", "before\n");
  EXPECT_EXIT(logged([&] {
                GPUSetLogger(path("log").c_str());
                broken();
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(lines("log"), "before\n" + line());
}

TEST_F(LoggingDeathTest, AFileThatCannotBeOpenedIsSaidOnce) {
  EXPECT_EXIT(logged([&] {
                if (GPUSetLogger("/nowhere/log") != sim::kCannotOpen) std::exit(1);
                GPUSetLogLevel(5);
                if (logger.output.is_open()) std::exit(1);
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(lines("err"),
            "[]E/nowhere/log: cannot be opened as the log file: No such file or directory\n");
  EXPECT_EQ(lines("out"), "");
}

TEST_F(LoggingDeathTest, TheLibraryTellsWhatItDoes) {
  EXPECT_EXIT(logged([&] {
                GPUSetLogLevel(4);
                start(R"("readyMs": 1000, "snapshot": {"periodMs": 1000, "refreshMs": 900},
                  "faults": [{"operation": "get", "code": "ioError"}], "timeline": [
                  {"atMs": 2000, "drop": "gpu1"},
                  {"atMs": 3000, "set": "gpu.power.consumption", "device": "gpu0", "value": 1}])");
                wait(2);
                get(0, kName);
                GPUManagerStop();
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(lines("out"),
            "[]Wslow refresh: the snapshot took 900 ms of its 1000 ms\n"
            "[]Dtimeline: drop gpu1\n"
            "[]Dtimeline: set gpu0 gpu.power.consumption\n"
            "[]Wfault rule 0 fired (1): DeviceGetData gpu0 gpu.firmware.writeProtectMode\n"
            "[]Wfault rule 0 fired 1 times in all\n");
}

TEST_F(LoggingDeathTest, DroppedUpdatesAreCounted) {
  std::string bursts;
  for (int i = 0; i < 11; ++i) {
    bursts +=
        std::string(i > 0 ? "," : "") +
        R"({"atMs": 2000, "burst": "gpu.power.consumption", "device": "gpu0", "count": 10000})";
  }
  EXPECT_EXIT(logged([&] {
                GPUSetLogLevel(3);
                start("\"timeline\": [" + bursts + "]");
                DeviceSetCallbackUpdateData(
                    0, kApi, [](auto...) {}, -1, "", "", -1);
                wait(1);
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(lines("out"), "[]W10000 updates dropped: the callbacks are too slow\n");
}

TEST_F(LoggingDeathTest, WarningsAndErrorsSurviveTheProcess) {
  for (const bool toFile : {true, false}) {
    SCOPED_TRACE(toFile);
    std::remove(path("log").c_str());
    EXPECT_EXIT(logged([&] {
                  GPUSetLogLevel(4);
                  if (toFile) GPUSetLogger(path("log").c_str());
                  broken();
                  start(R"("faults": [{"operation": "get", "code": "ioError"}])");
                  get(0, kName);
                  std::raise(SIGKILL);
                }),
                testing::KilledBySignal(SIGKILL), "");
    EXPECT_EQ(
        lines(toFile ? "log" : "out"),
        line() + "[]Wfault rule 0 fired (1): DeviceGetData gpu0 gpu.firmware.writeProtectMode\n");
  }
}

TEST_F(LoggingDeathTest, AFaultOfTheInitialisationIsNamed) {
  EXPECT_EXIT(logged([&] {
                GPUSetLogLevel(4);
                init(R"("faults": [{"operation": "init", "code": "ioError"}])");
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(lines("out"), "[]Wfault rule 0 fired (1): GPUManagerInit\n");
}

TEST_F(LoggingDeathTest, WhatCameBeforeACallThatHangsSurvivesTheProcess) {
  for (const bool hangs : {true, false}) {
    SCOPED_TRACE(hangs);
    std::remove(path("log").c_str());
    const std::string how = hangs ? R"("faults": [{"device": "gpu0", "hang": true}])"
                                  : R"("latencyMs": {"gpu": 3600000})";
    const std::string profile =
        write("real.json", R"({"timeline": [{"atMs": 0, "drop": "gpu1"}], )" + how + "}");
    EXPECT_EXIT(logged([&] {
                  GPUSetLogger(path("log").c_str());
                  GPUSetLogLevel(hangs ? 2 : 4);
                  GPUManagerInit("", profile.c_str(), "");
                  logger.output << "tool\n";
                  GPUManagerRun(0, 0);
                  std::thread([] { pass(0, kPower); }).detach();
                  for (int i = 0; i < 6000 && lines("log").empty(); ++i) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(10));
                  }
                  std::raise(SIGKILL);
                }),
                testing::KilledBySignal(SIGKILL), "");
    EXPECT_EQ(lines("log"), hangs ? "tool\n" : "tool\n[]Dtimeline: drop gpu1\n");
  }
}

TEST_F(LoggingDeathTest, ARunThatHasEndedIsInTheLog) {
  std::remove(path("log").c_str());
  EXPECT_EXIT(logged([&] {
                GPUSetLogger(path("log").c_str());
                GPUSetLogLevel(4);
                start(R"("timeline": [{"atMs": 0, "drop": "gpu1"}])");
                get(0, kPower);
                GPUManagerStop();
                std::raise(SIGKILL);
              }),
              testing::KilledBySignal(SIGKILL), "");
  EXPECT_EQ(lines("log"), "[]Dtimeline: drop gpu1\n");
}

TEST_F(LoggingDeathTest, AFileWithAnotherUseIsNoLog) {
  EXPECT_EXIT(logged([&] {
                const std::string journal = path("journal");
                std::remove(journal.c_str());
                init("\"journal\": \"" + journal + '"');
                for (const std::string& file : {journal, path("manifest.json"),
                                                path("profile.json"), path("properties.json")}) {
                  const std::string before = contents(file);
                  if (GPUSetLogger(file.c_str()) != sim::kCannotOpen) std::exit(1);
                  if (file != journal && contents(file) != before) std::exit(1);
                }
                GPUManagerStop();
                if (GPUSetLogger(journal.c_str()) != 0) std::exit(1);
              }),
              testing::ExitedWithCode(0), "");
  const auto refusal = [](const std::string& name, const std::string& use) {
    return "[]E" + path(name) + ": is " + use + "; the log needs a file of its own\n";
  };
  EXPECT_EQ(lines("err"), refusal("journal", "the journal") +
                              refusal("manifest.json", "the manifest") +
                              refusal("profile.json", "the profile") +
                              refusal("properties.json", "the properties file"));
}

TEST_F(LoggingDeathTest, TheLogIsNoOtherFile) {
  std::remove(path("log").c_str());
  const std::string manifest = write("log", R"({"board": "b", "devices": {}})");
  EXPECT_EXIT(logged([&] {
                GPUSetLogger(path("log").c_str());
                if (GPUManagerInit(manifest.c_str(), "", "") != sim::kFileRefused) std::exit(1);
                if (init("\"journal\": \"" + path("log") + '"') != sim::kFileRefused) std::exit(1);
                if (init("\"journal\": \"" + path("out") + '"') != sim::kFileRefused) std::exit(1);
              }),
              testing::ExitedWithCode(0), "");
  const std::string refusal = "[]E" + path("profile.json") + ":1:59: /journal: '";
  EXPECT_EQ(lines("log"),
            R"({"board": "b", "devices": {}})"
            "[]E" +
                manifest + ": is the log; the manifest needs a file of its own\n" + refusal +
                path("log") + "' is the log; the journal needs a file of its own\n" + refusal +
                path("out") + "' is standard output; the journal needs a file of its own\n");
}

TEST_F(LoggingDeathTest, AMessageIsWholeAndHoldsNothingThatControlsATerminal) {
  const std::string name(254, 'x');
  EXPECT_EXIT(logged([&] {
                GPUManagerInit(write("csi",
                                     "\xc2\x9b"
                                     "31m")
                                   .c_str(),
                               "", "");
                std::string twins = "{\"a\": 1, \"a\": 2}";
                for (int i = 0; i < 9; ++i) twins = "{\"" + name + "\": " + twins + '}';
                GPUManagerInit(write("twins", twins).c_str(), "", "");
              }),
              testing::ExitedWithCode(0), "");
  std::string pointer;
  for (int i = 0; i < 9; ++i) pointer += '/' + name;
  EXPECT_EQ(lines("err"), "[]E" + path("csi") + ":1:1: not JSON: unexpected '?31m'\n" + "[]E" +
                              path("twins") + ":1:2341: " + pointer + "/a: duplicate key\n");
}

TEST_F(LoggingDeathTest, LevelsFilter) {
  EXPECT_EXIT(logged([&] {
                GPUSetLogLevel(1);
                broken();
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(lines("out") + lines("err"), "");
}

}  // namespace
