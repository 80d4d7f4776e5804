#include <stdexcept>

#include "cli/handlers.h"
#include "tests/support/output_forms.h"
#include "tests/support/pattern.h"
#include "tests/unit/command_test.h"
#include "tools/boardctl/numeric_arg.h"

namespace boardctl {
namespace {

using Handler = std::int32_t (*)(Words);

TEST(NumericArg, ReadsHexadecimalAfterItsPrefixAndElseDecimal) {
  const struct {
    const char* word;
    int value;
  } rows[] = {{"0x1f", 31},
              {"0X1F", 31},
              {"1f", 1},
              {"-0x10", 0},
              {" 0x10", 0},
              {"+7", 7},
              {"-7", -7},
              {"010", 10},
              {"0x", 0},
              {"0xg", 0},
              {"0x7fffffff", INT32_MAX},
              {"2147483647", INT32_MAX},
              {"-2147483648", INT32_MIN},
              {"0", 0},
              {"0x1fz", 31},
              {"00x1f", 0}};
  for (const auto& row : rows) EXPECT_EQ(parseNumericArg(row.word), row.value) << row.word;
}

TEST(NumericArg, RaisesTheStandardErrorsForAnythingElse) {
  for (const char* word : {"", "zz", "x1", "-", "+", " ", "-x"}) {
    EXPECT_THROW(parseNumericArg(word), std::invalid_argument) << word;
  }
  for (const char* word : {"0x80000000", "0xffffffff", "0x100000000", "0xffffffffffffffffff",
                           "2147483648", "-2147483649", "99999999999999999999"}) {
    EXPECT_THROW(parseNumericArg(word), std::out_of_range) << word;
  }
  try {
    parseNumericArg("zz");
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "stoi");
  }
}

class RawTest : public CommandTest {
 protected:
  static Words request(const std::string& device, const Words& numbers = {"0x01", "0x02", "3"},
                       const Words& data = {"1", "2", "3", "4", "5", "6", "7", "8"}) {
    Words words = {device, "2"};
    words.insert(words.end(), numbers.begin(), numbers.end());
    words.insert(words.end(), data.begin(), data.end());
    return words;
  }
  static Words asyncRequest(const std::string& device, const Words& data = {}) {
    return request(device, {"64", "0x10", "0x20", "0x30"}, data);
  }
};

const std::string kHeader =
    " devId : 2, opcode : 0x1 arg1 : 0x2 arg2 : 0x3 dataRegister : 0x04030201 "
    "extendedDataRegister : 0x08070605\n";

TEST_F(RawTest, RawAsksTheFunctionOfTheDeviceKind) {
  const struct {
    const char* device;
    const char* function;
  } rows[] = {{"gpu", "TesselCmd"}, {"korswitch", "TesselCmdKorswitch"}, {"fpga", "TesselCmdFpga"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.device);
    resetLibrary();
    library().outputWords = {0x04030201, 0xFF0A00B0};
    const Outcome outcome = run(rawData, request(row.device));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, kStarting + row.device + kHeader + "01 02 03 04 b0 00 0a ff \n");
    EXPECT_EQ(callsWhileRunning(),
              Calls{std::string(row.function) + "(2, 1, 2, 3, {67305985 134678021}, {}, false)"});
  }
}

TEST_F(RawTest, SyncAsksTheFunctionOfTheDeviceKind) {
  const struct {
    const char* device;
    const char* function;
  } rows[] = {{"gpu", "TesselSyncCmdGpu"},
              {"korswitch", "TesselSyncCmdKorswitch"},
              {"fpga", "TesselSyncCmdFpga"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.device);
    resetLibrary();
    library().words[0] = 0x04030201;
    library().words[1] = 0;
    library().words[2] = 0xFFFFFFFE;
    const Outcome outcome = run(rawSyncCmdData, request(row.device));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output,
              kStarting + row.device + kHeader + "01 02 03 04 00 00 00 00 fe ff ff ff \n");
    EXPECT_EQ(callsWhileRunning(), Calls{std::string(row.function) +
                                         "(2, 1, 2, 3, 67305985, 134678021, 0, 0, 0, false)"});
  }
}

TEST_F(RawTest, AsyncAsksTheFunctionOfTheDeviceKind) {
  const struct {
    const char* device;
    const char* function;
  } rows[] = {{"gpu", "TesselAsyncCmdGpu"}, {"korswitch", "TesselAsyncCmdKorswitch"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.device);
    resetLibrary();
    library().words[0] = 1;
    library().words[1] = 2;
    library().outputWords = {3};
    const Outcome outcome =
        run(rawAsyncCmdData, asyncRequest(row.device, {"1", "0x1ff", "256", "4", "5"}));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output,
              kStarting + row.device +
                  " devId : 2, opcode : 0x10 arg1 : 0x20 arg2 : 0x30 : dataOutSize : 64 "
                  "dataIn0 : 0x0400ff01 dataIn1 : 0x00000005 \n"
                  "01 00 00 00 02 00 00 00 03 00 00 00 \n");
    EXPECT_EQ(callsWhileRunning(),
              Calls{std::string(row.function) + "(2, 32, {67174145 5}, 0, 0, {}, 64, false)"});
  }
}

TEST_F(RawTest, RawPassesAllPackedWordsAndSyncOnlyTwo) {
  const Words data = {"1", "0", "0", "0", "2", "0", "0", "0", "3"};
  run(rawData, request("gpu", {"1", "2", "3"}, data));
  EXPECT_EQ(callsWhileRunning(), Calls{"TesselCmd(2, 1, 2, 3, {1 2 3}, {}, false)"});
  library().calls.clear();
  run(rawSyncCmdData, request("gpu", {"1", "2", "3"}, data));
  EXPECT_EQ(callsWhileRunning(), Calls{"TesselSyncCmdGpu(2, 1, 2, 3, 1, 2, 0, 0, 0, false)"});
}

TEST_F(RawTest, NumbersAreShownWholeAndPassedAsBytes) {
  const Outcome outcome = run(rawData, request("gpu", {"0x1ff", "-1", "256"}));
  EXPECT_NE(outcome.output.find("opcode : 0x1ff arg1 : 0xffffffff arg2 : 0x100 dataRegister"),
            std::string::npos);
  EXPECT_EQ(callsWhileRunning(),
            Calls{"TesselCmd(2, 255, 255, 0, {67305985 134678021}, {}, false)"});
}

TEST_F(RawTest, ANegativeReplySizeIsPassedAsItsTwosComplement) {
  const Outcome outcome = run(rawAsyncCmdData, request("gpu", {"-1", "1", "2", "3"}, {}));
  EXPECT_EQ(outcome.output, kStarting +
                                "gpu devId : 2, opcode : 0x1 arg1 : 0x2 arg2 : 0x3 : dataOutSize : "
                                "-1 \n00 00 00 00 00 00 00 00 \n");
  EXPECT_EQ(callsWhileRunning(), Calls{"TesselAsyncCmdGpu(2, 2, {}, 0, 0, {}, 4294967295, false)"});
}

TEST_F(RawTest, TheIndexOfAsyncDataWordsIsOneByte) {
  shellActive = true;
  const Outcome outcome = run(rawAsyncCmdData, asyncRequest("gpu", Words(4 * 257, "1")));
  EXPECT_NE(outcome.output.find("dataIn255 : 0x01010101 dataIn0 : 0x01010101 \n"),
            std::string::npos);
}

struct Limit {
  Handler handler;
  std::size_t wordsNeeded;
  const char* usage;
};
const Limit kLimits[] = {
    {rawData, 13,
     "Missing params!\nraw <gpu/korswitch/baseboard> <devId> <opcode> <arg1> <arg2> <data...>\n"},
    {rawSyncCmdData, 13,
     "Missing params!\nrawSyncCmdData <gpu/korswitch/baseboard> <devId> <opcode> <arg1> <arg2> "
     "<data...>\n"},
    {rawAsyncCmdData, 6,
     "Missing params!\nrawAsyncCmdData <gpu/korswitch> <devId> <opcode> <arg1> <arg2> <data...>\n"},
};

TEST_F(RawTest, WithTooFewWordsNothingIsStarted) {
  for (const Limit& limit : kLimits) {
    SCOPED_TRACE(limit.usage);
    for (std::size_t count = 0; count < limit.wordsNeeded; ++count) {
      SCOPED_TRACE(count);
      resetLibrary();
      Words words(count, "1");
      if (count > 0) words[0] = "gpu";
      const Outcome outcome = run(limit.handler, words);
      EXPECT_EQ(outcome.result, -1);
      EXPECT_EQ(outcome.output, limit.usage);
      EXPECT_EQ(library().calls, Calls{});
    }
    Words words(limit.wordsNeeded, "1");
    words[0] = "gpu";
    EXPECT_EQ(run(limit.handler, words).result, 0);
    EXPECT_EQ(callsWhileRunning().size(), 1U);
  }
}

TEST_F(RawTest, AnyOtherDeviceIsRejectedBeforeTheStart) {
  for (const Limit& limit : kLimits) {
    SCOPED_TRACE(limit.usage);
    for (const char* device : {"baseboard", "0", "", "GPU", "all", "hsc", "-1"}) {
      SCOPED_TRACE(device);
      const Outcome outcome = run(limit.handler, request(device));
      EXPECT_EQ(outcome.result, -1);
      EXPECT_EQ(outcome.output, "Unknown device [" + std::string(device) +
                                    "] - supported devices - [gpu, korswitch, fpga]\n");
    }
  }
  EXPECT_EQ(run(rawAsyncCmdData, request("fpga")).output,
            "Unknown device [fpga] - supported devices - [gpu, korswitch, fpga]\n");
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(RawTest, AnUnknownDeviceIsNamedUpToItsFirstNul) {
  EXPECT_EQ(run(rawData, request(std::string("a\0b", 3))).output,
            "Unknown device [a] - supported devices - [gpu, korswitch, fpga]\n");
}

TEST_F(RawTest, TheDeviceIsJudgedBeforeTheNumbers) {
  EXPECT_EQ(run(rawData, Words(13, "zz")).result, -1);
}

TEST_F(RawTest, ABadNumberEndsTheCommandBeforeTheStart) {
  for (const Limit& limit : kLimits) {
    SCOPED_TRACE(limit.usage);
    for (std::size_t position = 1; position < 13; ++position) {
      SCOPED_TRACE(position);
      Words words(13, "1");
      words[0] = "gpu";
      words[position] = "zz";
      EXPECT_THROW(run(limit.handler, words), std::invalid_argument);
      words[position] = "0x80000000";
      EXPECT_THROW(run(limit.handler, words), std::out_of_range);
      EXPECT_EQ(output_, "");
    }
  }
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(RawTest, AFailedRawStillPrintsWhatTheLibraryLeft) {
  library().postboxResult = 31;
  EXPECT_EQ(run(rawData, request("gpu")).output,
            kStarting + "gpu" + kHeader + "Raw cmd failed, rc = 0x1f\n\n");
  library().outputWords = {0xA1};
  library().calls.clear();
  const Outcome outcome = run(rawData, request("gpu"));
  EXPECT_EQ(outcome.result, 31);
  EXPECT_EQ(outcome.output,
            kStarting + "gpu" + kHeader + "Raw cmd failed, rc = 0x1f\na1 00 00 00 \n");
  EXPECT_EQ(callsWhileRunning().size(), 1U);
}

TEST_F(RawTest, AFailedSyncOrAsyncPrintsOnlyItsCode) {
  for (const CodeText& row : kCodeTexts) {
    SCOPED_TRACE(row.text);
    library().calls.clear();
    library().outputWords = {1};
    library().postboxResult = row.code;
    Outcome outcome = run(rawSyncCmdData, request("gpu"));
    EXPECT_EQ(outcome.result, row.code);
    EXPECT_EQ(outcome.output,
              kStarting + "gpu" + kHeader + "Raw Syncmd failed, rc = 0x" + row.text + "\n");
    EXPECT_EQ(callsWhileRunning().size(), 1U);
    outcome = run(rawAsyncCmdData, asyncRequest("gpu"));
    EXPECT_EQ(outcome.result, row.code);
    EXPECT_TRUE(outcome.output.ends_with("dataOutSize : 64 \nRaw Asynccmd failed, rc = 0x" +
                                         std::string(row.text) + "\n"));
  }
}

TEST_F(RawTest, LogsItsEntryEachDataByteAndEachGroupOfTheReply) {
  const struct {
    Handler handler;
    const char* name;
    Words words;
    std::size_t changes;
  } rows[] = {{rawData, "rawData", request("gpu"), 8 + 1},
              {rawSyncCmdData, "rawSyncCmdData", request("gpu"), 8 + 3},
              {rawAsyncCmdData, "rawAsyncCmdData", asyncRequest("gpu", {"1", "2"}), 2 + 3}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    openLog("4");
    run(row.handler, row.words);
    const std::vector<std::string> lines = logLines();
    ASSERT_EQ(lines.size(), 1 + row.changes);
    EXPECT_TRUE(matches(lines[0], R"(D\[tools/boardctl/raw\.cpp:[0-9]+\]\[)" +
                                      std::string(row.name) + R"(\]: Entry\(\)\.)"))
        << lines[0];
    for (std::size_t i = 1; i < lines.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(lines[i], "D[N10value_type9ValueTypeE][onChange]: ValueType");
    }
    logger.output.close();
  }
}

}  // namespace
}  // namespace boardctl
