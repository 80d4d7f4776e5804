#include <cstring>
#include <stdexcept>

#include "cli/handlers.h"
#include "tests/support/output_forms.h"
#include "tests/unit/command_test.h"

namespace boardctl {
namespace {

class GetTest : public CommandTest {
 protected:
  /// The output of reading one property whose buffer comes back with these bytes.
  std::string read(const std::string& content) {
    library().get = [content](const std::string&, char* buffer, int) {
      std::memcpy(buffer, content.data(), content.size());
      return 0;
    };
    const Outcome outcome = run(getGpuData, {"gpu", "0", "p"});
    EXPECT_EQ(outcome.result, 0);
    return outcome.output;
  }
};

TEST_F(GetTest, ReadsOnePropertyFromTheSnapshot) {
  const Outcome outcome = run(getGpuData, {"gpu", "0", "gpu.a"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, kStarting + "Device[gpu0](gpu.a) value\n");
  EXPECT_EQ(callsWhileRunning(), Calls{readCall("gpu.a")});
}

TEST_F(GetTest, PassesTheAccessModeAndIgnoresFurtherWords) {
  run(getGpuData, {"gpu", "3", "gpu.a", "2", "9"});
  EXPECT_EQ(callsWhileRunning(), Calls{readCall("gpu.a", 3, 2)});
}

TEST_F(GetTest, ConvertsNumbersAsTheStandardConversionDoes) {
  const struct {
    const char* word;
    int value;
  } rows[] = {{"7", 7},
              {" \t7", 7},
              {"+7", 7},
              {"-7", -7},
              {"7x", 7},
              {"0x7", 0},
              {"007", 7},
              {"2147483647", INT32_MAX},
              {"-2147483648", INT32_MIN}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.word);
    resetLibrary();
    const Outcome outcome = run(getGpuData, {"gpu", row.word, "p", row.word});
    EXPECT_EQ(callsWhileRunning(), Calls{readCall("p", row.value, row.value)});
    EXPECT_EQ(outcome.output,
              kStarting + "Device[gpu" + std::to_string(row.value) + "](p) value\n");
  }
}

TEST_F(GetTest, ANumberThatCannotBeConvertedEndsTheCommandBeforeTheStart) {
  for (const char* word : {"", "x", "-", "x7", " ", "2147483648", "-2147483649"}) {
    SCOPED_TRACE(word);
    EXPECT_THROW(run(getGpuData, {"gpu", word, "p"}), std::logic_error) << word;
    EXPECT_THROW(run(getGpuData, {"gpu", "0", "p", word}), std::logic_error) << word;
    EXPECT_EQ(output_, "");
  }
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(GetTest, AnUnknownDeviceWordStillReads) {
  const Outcome outcome = run(getGpuData, {"toaster", "0", "gpu.a"});
  EXPECT_EQ(outcome.output, kStarting + "Device[toaster0](gpu.a) value\n");
  EXPECT_EQ(callsWhileRunning(), Calls{readCall("gpu.a")});
}

TEST_F(GetTest, AllReadsEveryNameInTheLibrarysOrder) {
  library().names = {"gpu.b", "gpu.a", "gpu.b"};
  library().get = [](const std::string& name, char* buffer, int) {
    std::strcpy(buffer, name == "gpu.a" ? "1" : "");
    return 0;
  };
  const Outcome outcome = run(getGpuData, {"cpu", "1", "all", "1"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, kStarting +
                                "Device[cpu1](gpu.b) \n"
                                "Device[cpu1](gpu.a) 1\n"
                                "Device[cpu1](gpu.b) \n");
  EXPECT_EQ(callsWhileRunning(),
            (Calls{"DeviceGetSupportedProperties(24, 0)", readCall("gpu.b", 1, 1),
                   readCall("gpu.a", 1, 1), readCall("gpu.b", 1, 1)}));
}

TEST_F(GetTest, AllIsComparedExactly) {
  run(getGpuData, {"gpu", "0", "ALL"});
  EXPECT_EQ(callsWhileRunning(), Calls{readCall("ALL")});
}

TEST_F(GetTest, AllOfAKindThatHasNothingPrintsNothingAndStops) {
  const Outcome outcome = run(getGpuData, {"gpu", "0", "all"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, kStarting);
  EXPECT_EQ(callsWhileRunning(), Calls{"DeviceGetSupportedProperties(0, 0)"});
}

TEST_F(GetTest, AFailedListIsPrintedInDecimalAndLeavesTheManagerRunning) {
  library().names = {"gpu.a"};
  for (const int code : {31, -1, INT32_MIN, INT32_MAX}) {
    SCOPED_TRACE(code);
    library().calls.clear();
    library().namesResult = code;
    const Outcome outcome = run(getGpuData, {"nothing", "0", "all"});
    EXPECT_EQ(outcome.result, code);
    EXPECT_EQ(outcome.output,
              kStarting + "Get Properties list failed, rc = " + std::to_string(code) + ".\n");
    EXPECT_EQ(library().calls, (Calls{kInit, kRun, "DeviceGetSupportedProperties(-1, 0)"}));
  }
}

TEST_F(GetTest, AFailedReadPrintsItsCodeInHexadecimal) {
  for (const CodeText& row : kCodeTexts) {
    SCOPED_TRACE(row.text);
    resetLibrary();
    library().get = [&row](const std::string&, char* buffer, int) {
      std::strcpy(buffer, "never shown");
      return row.code;
    };
    const Outcome outcome = run(getGpuData, {"gpu", "0", "p"});
    EXPECT_EQ(outcome.result, row.code);
    EXPECT_EQ(outcome.output, kStarting + "Device[gpu0](p) Get Failed, rc = 0x" + row.text + "\n");
    EXPECT_EQ(library().calls.back(), kStop);
  }
}

TEST_F(GetTest, GoesOnAfterAFailureAndGivesTheLastResult) {
  openLog("5");
  library().names = {"a", "b", "c"};
  library().get = [](const std::string& name, char* buffer, int) {
    std::strcpy(buffer, "1");
    return name == "c" ? 0 : 31;
  };
  Outcome outcome = run(getGpuData, {"gpu", "12", "all"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, kStarting +
                                "Device[gpu12](a) Get Failed, rc = 0x1f\n"
                                "Device[gpu12](b) Get Failed, rc = 0x1f\n"
                                "Device[gpu12](c) 1\n");
  EXPECT_EQ(logLines().back(), "E[tools/boardctl/get.cpp:276][getGpuData]: Failure count : 2.");
  library().names = {"c", "a"};
  EXPECT_EQ(run(getGpuData, {"gpu", "12", "all"}).result, 31);
}

TEST_F(GetTest, LogsItsEntryAndItsArguments) {
  openLog("4");
  run(getGpuData, {"fpga", "3", "fpga.a%s", "1"});
  EXPECT_EQ(logLines(),
            (std::vector<std::string>{
                "D[tools/boardctl/get.cpp:182][getGpuData]: Entry().",
                "D[tools/boardctl/get.cpp:209][getGpuData]: devId : 3, propName : fpga.a%s, "
                "accMode : 1, devType : 2."}));
}

TEST_F(GetTest, AnUnknownKindIsLoggedAsMinusOneAndReadAllTheSame) {
  openLog("4");
  run(getGpuData, {"nothing", "3", "a"});
  EXPECT_EQ(logLines().back(),
            "D[tools/boardctl/get.cpp:209][getGpuData]: devId : 3, propName : a, accMode : 0, "
            "devType : -1.");
  EXPECT_EQ(callsWhileRunning().size(), 1U);
}

TEST_F(GetTest, WithTooFewWordsNothingIsStarted) {
  openLog("4");
  for (const Words& words : {Words{}, Words{"gpu"}, Words{"gpu", "x"}}) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = run(getGpuData, words);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output,
              "Missing params!\n"
              "get <deviceType> <deviceId> <propName> [accMode=0]\n"
              " deviceType: gpu, korswitch, fpga, hsc, pcieretimer, pcieswitch, pciegen4sw, "
              "pcbTemp, inletTemp, outputhsc, standbyhsc, baseboard, altPressureSensor, "
              "korlinkBridgeConn, sysvr5v, sysvr3v3, sysvr1v8, sysvr0v9, llc_ab_mps, llc_cd_mps, "
              "moduleTemp, cpu\n");
  }
  EXPECT_EQ(library().calls, Calls{});
  EXPECT_EQ(logLines()[0], "D[tools/boardctl/get.cpp:182][getGpuData]: Entry().");
}

TEST_F(GetTest, PrintsAValueWholeAndNeverAsAFormat) {
  const std::string prefix = kStarting + "Device[gpu0](p) ";
  EXPECT_EQ(read(""), prefix + "\n");
  EXPECT_EQ(read("%s%n%%"), prefix + "%s%n%%\n");
  EXPECT_EQ(read(std::string("a\0b", 3)), prefix + "a\n");
  EXPECT_EQ(read("\xff\x1b\n"), prefix + "\xff\x1b\n\n");
  EXPECT_EQ(read(std::string(10239, 'x')), prefix + std::string(10239, 'x') + "\n");
  EXPECT_EQ(read(std::string(10240, 'x')), prefix + std::string(10240, 'x') + "\n");
}

TEST_F(GetTest, PrintsTheNameBeforeTheRead) {
  library().during = [](const std::string& call) { std::printf("<%s>", call.c_str()); };
  shellActive = true;
  EXPECT_EQ(run(getGpuData, {"gpu", "0", "p"}).output, "Device[gpu0](p) <DeviceGetData>value\n");
}

}  // namespace
}  // namespace boardctl
