#include "tools/boardctl/manager.h"

#include <algorithm>
#include <cerrno>

#include "cli/handlers.h"
#include "tests/unit/command_test.h"

namespace boardctl {
namespace {

// Before any test has set them.
const std::int32_t kInitialWaitMs = startupWaitMs;
const bool kInitiallyInShell = shellActive;

class ManagerTest : public CommandTest {
 protected:
  Calls sleepCalls() {
    Calls sleeps;
    for (const std::string& call : library().calls) {
      if (call.starts_with("nanosleep")) sleeps.push_back(call);
    }
    return sleeps;
  }
};

const Words kRawWords = {"gpu", "0", "1", "2", "3", "1", "2", "3", "4", "5", "6", "7", "8"};

/// The departures of each command from the common procedure, as its user sees them.
struct Row {
  const char* command;
  std::int32_t (*handler)(Words);
  Words words;
  bool checksInit;
  bool printsStartLine;
  bool waits;
};

const Row kRows[] = {
    {"list", listGpuProperties, {"gpu"}, false, false, false},
    {"get", getGpuData, {"gpu", "0", "gpu.a"}, true, true, true},
    {"set", setGpuData, {"0", "gpu.a", "1"}, false, true, true},
    {"clear", clearGpuData, {"0", "gpu.a"}, false, true, true},
    {"raw", rawData, kRawWords, true, true, true},
    {"rawSyncCmd", rawSyncCmdData, kRawWords, true, true, true},
    {"rawAsyncCmd", rawAsyncCmdData, kRawWords, true, true, true},
    {"set_callback", registerCallbackApi, {"0", "GPUGetVendorIdV2"}, false, true, true},
};

TEST_F(ManagerTest, EachCommandStartsWaitsAndStopsInItsOwnWay) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.command);
    resetLibrary();
    library().names = {"gpu.a"};
    startupWaitMs = 6000;
    const Outcome outcome = run(row.handler, row.words);
    EXPECT_EQ(outcome.output.starts_with(kStarting), row.printsStartLine);
    const Calls& calls = library().calls;
    ASSERT_GE(calls.size(), 4U);
    EXPECT_EQ(calls[0], kInit);
    EXPECT_EQ(calls[1], kRun);
    EXPECT_EQ(calls[2] == "nanosleep(6, 0)", row.waits) << calls[2];
    EXPECT_EQ(sleepCalls().size(), row.waits ? 1U : 0U);
    EXPECT_EQ(calls.back(), kStop);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), kStop), 1);
  }
}

TEST_F(ManagerTest, AFailedInitEndsTheCommandsThatCheckIt) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.command);
    resetLibrary();
    library().names = {"gpu.a"};
    library().initResult = 42;
    const Outcome outcome = run(row.handler, row.words);
    if (row.checksInit) {
      EXPECT_EQ(outcome.result, 42);
      EXPECT_EQ(outcome.output, "GPU Manager Init failed!!\n");
      EXPECT_EQ(library().calls, Calls{kInit});
    } else {
      EXPECT_EQ(outcome.result, 0);
      EXPECT_EQ(outcome.output.find("failed"), std::string::npos);
      EXPECT_EQ(library().calls[1], kRun);
      EXPECT_EQ(library().calls.back(), kStop);
    }
  }
}

TEST_F(ManagerTest, UnderTheShellNothingIsStartedWaitedForOrStopped) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.command);
    resetLibrary();
    library().names = {"gpu.a"};
    library().initResult = 42;
    startupWaitMs = 6000;
    shellActive = true;
    const Outcome outcome = run(row.handler, row.words);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output.find("GPU Manager"), std::string::npos) << outcome.output;
    for (const std::string& call : library().calls) {
      EXPECT_FALSE(call == kInit || call == kRun || call == kStop) << call;
    }
    EXPECT_TRUE(sleepCalls().empty());
  }
}

TEST_F(ManagerTest, FileNamesThatWereNotGivenAreEmptyTexts) {
  manifestFile = profileFile = propertiesFile = "";
  ManagerSession().start(kStartForList);
  EXPECT_EQ(library().calls[0], R"(GPUManagerInit("", "", ""))");
}

TEST_F(ManagerTest, FileNamesArePassedInTheirOrder) {
  manifestFile = "a";
  profileFile = "b";
  propertiesFile = "c";
  ManagerSession().start(kStartForList);
  EXPECT_EQ(library().calls[0], R"(GPUManagerInit("a", "b", "c"))");
}

TEST_F(ManagerTest, TheWaitIsSecondsAndNanoseconds) {
  const struct {
    std::int32_t milliseconds;
    Calls calls;
  } rows[] = {{6000, {"nanosleep(6, 0)"}},
              {1, {"nanosleep(0, 1000000)"}},
              {999, {"nanosleep(0, 999000000)"}},
              {1001, {"nanosleep(1, 1000000)"}},
              {INT32_MAX, {"nanosleep(2147483, 647000000)"}},
              {0, {}},
              {-1, {}},
              {INT32_MIN, {}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.milliseconds);
    resetLibrary();
    startupWaitMs = row.milliseconds;
    run([](const Words&) { return ManagerSession().start(kStartForGet); }, {});
    EXPECT_EQ(sleepCalls(), row.calls);
  }
}

TEST_F(ManagerTest, TheWaitTakesSixSecondsOutsideTheShellUnlessSet) {
  EXPECT_EQ(kInitialWaitMs, 6000);
  EXPECT_FALSE(kInitiallyInShell);
}

TEST_F(ManagerTest, AnInterruptedSleepGoesOnForTheRest) {
  startupWaitMs = 6000;
  library().sleepResults = {EINTR, EINTR, 0};
  run([](const Words&) { return ManagerSession().start(kStartForGet); }, {});
  EXPECT_EQ(sleepCalls(), (Calls{"nanosleep(6, 0)", "nanosleep(3, 7)", "nanosleep(1, 7)"}));
}

TEST_F(ManagerTest, AnyOtherFailureEndsTheWait) {
  startupWaitMs = 6000;
  library().sleepResults = {EINVAL, 0};
  EXPECT_EQ(run([](const Words&) { return ManagerSession().start(kStartForGet); }, {}).result, 0);
  EXPECT_EQ(sleepCalls(), Calls{"nanosleep(6, 0)"});
}

TEST_F(ManagerTest, TheStartLineComesAfterTheRunAndBeforeTheWait) {
  startupWaitMs = 1;
  library().during = [](const std::string& call) { std::printf("<%s>", call.c_str()); };
  const Outcome outcome =
      run([](const Words&) { return ManagerSession().start(kStartForGet); }, {});
  EXPECT_EQ(outcome.output, "<GPUManagerInit><GPUManagerRun>" + kStarting + "<nanosleep>");
}

TEST_F(ManagerTest, DestructionStopsNothing) {
  run([](const Words&) { return ManagerSession().start(kStartForGet); }, {});
  EXPECT_EQ(library().calls, (Calls{kInit, kRun}));
}

}  // namespace
}  // namespace boardctl
