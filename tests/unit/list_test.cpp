#include "cli/handlers.h"
#include "tests/unit/command_test.h"

namespace boardctl {
namespace {

class ListTest : public CommandTest {};

const std::string kHeading = "Device Property List: \n";
const std::string kRule = std::string(61, '-') + "\n";

TEST_F(ListTest, PrintsTheListingBetweenTwoRules) {
  library().listing = "gpu.a\ngpu.b";
  const Outcome outcome = run(listGpuProperties, {"gpu", "ignored"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, kHeading + kRule + "gpu.a\ngpu.b\n" + kRule);
  EXPECT_EQ(callsWhileRunning(), Calls{"DeviceGetSupportedProperties(0, true, 20480)"});
}

TEST_F(ListTest, AllUsesTheCallForAllKinds) {
  library().listing = "x";
  const Outcome outcome = run(listGpuProperties, {"all"});
  EXPECT_EQ(outcome.output, kHeading + kRule + "x\n" + kRule);
  EXPECT_EQ(callsWhileRunning(), Calls{"DeviceGetAllSupportedProperties(true, 20480)"});
}

TEST_F(ListTest, AnUnknownWordIsTheLibrarysToJudge) {
  for (const char* word : {"", "ALL", "gpus"}) {
    SCOPED_TRACE(word);
    resetLibrary();
    library().listing = "any";
    EXPECT_EQ(run(listGpuProperties, {word}).output, kHeading + kRule + "any\n" + kRule);
    EXPECT_EQ(callsWhileRunning(), Calls{"DeviceGetSupportedProperties(-1, true, 20480)"});
    library().listResult = 12;
    EXPECT_EQ(run(listGpuProperties, {word}).output, "Get property list failed, rc = 12\n");
  }
}

TEST_F(ListTest, AnEmptyListingIsAnEmptyLine) {
  EXPECT_EQ(run(listGpuProperties, {"cpu"}).output, kHeading + kRule + "\n" + kRule);
}

TEST_F(ListTest, AFailureIsPrintedInDecimalAfterTheStop) {
  for (const int code : {1, 255, -1, INT32_MIN, INT32_MAX}) {
    SCOPED_TRACE(code);
    for (const char* word : {"all", "hostBmc"}) {
      SCOPED_TRACE(word);
      resetLibrary();
      library().listing = "never shown";
      library().listResult = library().allListResult = code;
      const Outcome outcome = run(listGpuProperties, {word});
      EXPECT_EQ(outcome.result, code);
      EXPECT_EQ(outcome.output, "Get property list failed, rc = " + std::to_string(code) + "\n");
      EXPECT_EQ(callsWhileRunning().size(), 1U);
    }
  }
}

const std::string kMissing =
    "Missing params!\n"
    "list <DeviceType> gpu, baseboard, korswitch, fpga, hsc, pcieretimer, pcieswitch, pciegen4sw, "
    "pcbTemp, inletTemp, outputhsc, standbyhsc, altPressureSensor, sysvr5v, sysvr3v3, sysvr1v8, "
    "sysvr0v9, llc_ab_mps, llc_cd_mps, korlinkBridgeConn, hmc, moduleTemp, cpu, all\n";

TEST_F(ListTest, WithoutAWordTheManagerIsStartedAndNotStopped) {
  const Outcome outcome = run(listGpuProperties, {});
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.output, kMissing);
  EXPECT_EQ(library().calls, (Calls{kInit, kRun}));
}

TEST_F(ListTest, WithoutAWordInTheShellNothingIsCalled) {
  shellActive = true;
  const Outcome outcome = run(listGpuProperties, {});
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.output, kMissing);
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(ListTest, AListingWithoutANulIsPrintedUpToTheBuffersSize) {
  const std::string listing(30000, 'x');
  library().listing = listing;
  EXPECT_EQ(run(listGpuProperties, {"all"}).output,
            kHeading + kRule + listing.substr(0, 20480) + "\n" + kRule);
}

}  // namespace
}  // namespace boardctl
