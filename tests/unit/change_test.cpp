#include <stdexcept>

#include "cli/handlers.h"
#include "tests/support/output_forms.h"
#include "tests/unit/command_test.h"

namespace boardctl {
namespace {

class ChangeTest : public CommandTest {
 protected:
  ChangeTest() { library().names = {"gpu.a", "gpu.b"}; }
};

TEST_F(ChangeTest, SetWritesTheValueOfASupportedName) {
  const Outcome outcome = run(setGpuData, {"1", "gpu.b", "300", "ignored"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, kStarting + "Set done.\n");
  EXPECT_EQ(callsWhileRunning(), (Calls{"DeviceGetSupportedProperties(0, 0)",
                                        "DeviceSetData(1, \"gpu.b\", 300, 4, 0)"}));
}

TEST_F(ChangeTest, ClearIgnoresAThirdWord) {
  const Outcome outcome = run(clearGpuData, {"1", "gpu.b", "nonsense"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, kStarting + "Clear done.\n");
  EXPECT_EQ(callsWhileRunning(),
            (Calls{"DeviceGetSupportedProperties(0, 0)", "DeviceClearData(1, \"gpu.b\", 0)"}));
}

TEST_F(ChangeTest, ConvertsTheValueAsDecimal) {
  const struct {
    const char* word;
    const char* value;
  } rows[] = {{"0x10", "0"},
              {"-5", "-5"},
              {" 8.5", "8"},
              {"2147483647", "2147483647"},
              {"-2147483648", "-2147483648"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.word);
    library().calls.clear();
    run(setGpuData, {"0", "gpu.a", row.word});
    EXPECT_EQ(callsWhileRunning().back(),
              "DeviceSetData(0, \"gpu.a\", " + std::string(row.value) + ", 4, 0)");
  }
}

TEST_F(ChangeTest, ANumberThatCannotBeConvertedEndsTheCommandBeforeTheStart) {
  EXPECT_THROW(run(setGpuData, {"0", "gpu.a", "2147483648"}), std::out_of_range);
  EXPECT_THROW(run(setGpuData, {"0", "gpu.a", "x"}), std::invalid_argument);
  EXPECT_THROW(run(setGpuData, {"x", "gpu.a", "0"}), std::invalid_argument);
  EXPECT_THROW(run(clearGpuData, {"x", "gpu.a"}), std::invalid_argument);
  EXPECT_THROW(run(clearGpuData, {"-2147483649", "gpu.a"}), std::out_of_range);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(ChangeTest, TakesTheDeviceKindFromTheName) {
  const struct {
    const char* name;
    int type;
  } rows[] = {{"baseboard.x.y", 11}, {"cpu", 24},   {"cpu.", 24},        {".cpu", -1}, {"", -1},
              {"gpux.a", -1},        {"GPU.a", -1}, {"moduleTemp..", 23}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    resetLibrary();
    library().names = {row.name};
    EXPECT_EQ(run(clearGpuData, {"0", row.name}).output, kStarting + "Clear done.\n");
    EXPECT_EQ(callsWhileRunning()[0],
              "DeviceGetSupportedProperties(" + std::to_string(row.type) + ", 0)");
  }
}

TEST_F(ChangeTest, AnUnsupportedNameIsRejectedAndTheManagerLeftRunning) {
  for (const char* name : {"gpu.c", "gpu.", "gpu.A", "gpu.aa", "gpu.a ", "gpu"}) {
    SCOPED_TRACE(name);
    for (const auto handler : {setGpuData, clearGpuData}) {
      SCOPED_TRACE(handler == setGpuData ? "set" : "clear");
      library().calls.clear();
      const Outcome outcome = run(handler, {"0", name, "1"});
      EXPECT_EQ(outcome.result, -1);
      EXPECT_EQ(outcome.output,
                kStarting + "Property (" + std::string(name) + ") is not supported!\n");
      EXPECT_EQ(library().calls, (Calls{kInit, kRun, "DeviceGetSupportedProperties(0, 0)"}));
    }
  }
}

TEST_F(ChangeTest, AnUnsupportedNameIsRejectedOnlyAfterTheWholeWait) {
  startupWaitMs = 6000;
  for (const auto handler : {setGpuData, clearGpuData}) {
    SCOPED_TRACE(handler == setGpuData ? "set" : "clear");
    library().calls.clear();
    run(handler, {"0", "gpu.c", "1"});
    EXPECT_EQ(library().calls,
              (Calls{kInit, kRun, "nanosleep(6, 0)", "DeviceGetSupportedProperties(0, 0)"}));
  }
}

TEST_F(ChangeTest, AFailedListIsPrintedInDecimalAndLeavesTheManagerRunning) {
  for (const int code : {31, -1, INT32_MIN, INT32_MAX}) {
    SCOPED_TRACE(code);
    for (const auto handler : {setGpuData, clearGpuData}) {
      SCOPED_TRACE(handler == setGpuData ? "set" : "clear");
      library().calls.clear();
      library().namesResult = code;
      const Outcome outcome = run(handler, {"0", "gpu.a", "1"});
      EXPECT_EQ(outcome.result, code);
      EXPECT_EQ(outcome.output,
                kStarting + "Get Properties list failed, rc = " + std::to_string(code) + ".\n");
      EXPECT_EQ(library().calls, (Calls{kInit, kRun, "DeviceGetSupportedProperties(0, 0)"}));
    }
  }
}

TEST_F(ChangeTest, AFailureIsPrintedInHexadecimalAndTheManagerStopped) {
  for (const CodeText& row : kCodeTexts) {
    SCOPED_TRACE(row.text);
    library().calls.clear();
    library().setResult = library().clearResult = row.code;
    Outcome outcome = run(setGpuData, {"0", "gpu.a", "1"});
    EXPECT_EQ(outcome.result, row.code);
    EXPECT_EQ(outcome.output, kStarting + "Set failed, rc = 0x" + row.text + "\n");
    EXPECT_EQ(callsWhileRunning().size(), 2U);
    outcome = run(clearGpuData, {"0", "gpu.a"});
    EXPECT_EQ(outcome.result, row.code);
    EXPECT_EQ(outcome.output, kStarting + "Clear failed, rc = 0x" + row.text + "\n");
  }
}

TEST_F(ChangeTest, WithTooFewWordsNothingIsStarted) {
  for (const Words& words : {Words{}, Words{"x"}, Words{"0", "gpu.a"}}) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = run(setGpuData, words);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "Missing params!\nset <devId> <propName> <propValue>\n");
  }
  for (const Words& words : {Words{}, Words{"x"}}) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = run(clearGpuData, words);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "Missing params!\nclear <devId> <propName>\n");
  }
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(ChangeTest, LogsItsEntryAndItsArguments) {
  openLog("4");
  run(setGpuData, {"3", "gpu.a", "-9"});
  run(clearGpuData, {"4", "gpu.b"});
  const std::string file = "D[tools/boardctl/change.cpp:";
  EXPECT_EQ(logLines(), (std::vector<std::string>{
                            file + "285][setGpuData]: Entry().",
                            file + "298][setGpuData]: devId : 3, propName : gpu.a, propValue : -9.",
                            file + "362][clearGpuData]: Entry().",
                            file + "374][clearGpuData]: gpuId : 4, propName : gpu.b."}));
}

TEST_F(ChangeTest, UnderTheShellOnlyTheOutcomeIsPrinted) {
  shellActive = true;
  EXPECT_EQ(run(setGpuData, {"0", "gpu.a", "1"}).output, "Set done.\n");
  EXPECT_EQ(run(clearGpuData, {"0", "gpu.c"}).output, "Property (gpu.c) is not supported!\n");
  EXPECT_EQ(library().calls.size(), 3U);
}

}  // namespace
}  // namespace boardctl
