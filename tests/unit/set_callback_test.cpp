#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>

#include "catalogue/api_property_map.h"
#include "cli/handlers.h"
#include "devmgr/data_info.h"
#include "tests/support/output_forms.h"
#include "tests/support/pattern.h"
#include "tests/unit/command_test.h"

namespace boardctl {
namespace {

constexpr const char* kApi = "GPUGetVendorIdV2";

class SetCallbackTest : public CommandTest {
 protected:
  static std::string registration(int deviceId, const std::string& api) {
    return "DeviceSetCallbackUpdateData(" + std::to_string(deviceId) + ", \"" + api +
           "\", -1, \"\", \"\", -1)";
  }
};

/// Counts how many of its kind were made and are still there. Carried by a `DataInfo`, whose copies
/// and destructions it follows.
struct Counted {
  static inline std::atomic<int> made = 0;
  static inline std::atomic<int> alive = 0;
  Counted() { count(); }
  Counted(const Counted&) { count(); }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --alive; }
  void operator()() const {}

 private:
  static void count() {
    ++made;
    ++alive;
  }
};

TEST_F(SetCallbackTest, RegistersForAKnownName) {
  const Outcome outcome = run(registerCallbackApi, {"3", kApi, "ignored"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, kStarting + "Callback API Registered.\n");
  EXPECT_EQ(callsWhileRunning(), Calls{registration(3, kApi)});
}

TEST_F(SetCallbackTest, ReadsTheDeviceIndexAsDecimal) {
  run(registerCallbackApi, {"0x1", kApi});
  EXPECT_EQ(callsWhileRunning(), Calls{registration(0, kApi)});
  library().calls.clear();
  EXPECT_THROW(run(registerCallbackApi, {"x", kApi}), std::invalid_argument);
  EXPECT_THROW(run(registerCallbackApi, {"2147483648", kApi}), std::out_of_range);
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(SetCallbackTest, AnUnknownNameIsRejectedAfterTheStartAndTheManagerLeftRunning) {
  startupWaitMs = 6000;
  for (const char* name : {"", "gpugetvendoridv2", "GPUGetVendorId", "GPUGetVendorIdV2 ",
                           "BaseboardGetPowerCapV2", "gpu.pcie.vendorId"}) {
    SCOPED_TRACE(name);
    library().calls.clear();
    const Outcome outcome = run(registerCallbackApi, {"0", name});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, kStarting + "API Name not found.\n");
    EXPECT_EQ(library().calls, (Calls{kInit, kRun, "nanosleep(6, 0)"}));
  }
}

TEST_F(SetCallbackTest, AFailedRegistrationIsReportedInTextOnly) {
  for (const CodeText& row : kCodeTexts) {
    SCOPED_TRACE(row.text);
    library().calls.clear();
    library().registerResult = row.code;
    const Outcome outcome = run(registerCallbackApi, {"0", kApi});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output,
              kStarting + "Register Callback API failed, rc = 0x" + row.text + "\n");
    EXPECT_EQ(callsWhileRunning().size(), 1U);
  }
}

TEST_F(SetCallbackTest, WithTooFewWordsNothingIsStarted) {
  for (const Words& words : {Words{}, Words{"0"}, Words{"x"}}) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = run(registerCallbackApi, words);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "Missing params!\n <devId> <apiName>\n");
  }
  EXPECT_EQ(library().calls, Calls{});
}

TEST_F(SetCallbackTest, LogsItsEntryAndItsArguments) {
  openLog("4");
  run(registerCallbackApi, {"7", "no%sname"});
  const std::vector<std::string> lines = logLines();
  ASSERT_EQ(lines.size(), 2U);
  const std::string site =
      R"(D\[tools/boardctl/set_callback\.cpp:[0-9]+\]\[registerCallbackApi\]: )";
  EXPECT_TRUE(matches(lines[0], site + R"(Entry\(\)\.)")) << lines[0];
  EXPECT_TRUE(matches(lines[1], site + "gpuId : 7, propName : no%sname\\.")) << lines[1];
}

TEST_F(SetCallbackTest, TakesEveryNameOfTheCatalogueAndNoneInAnotherCase) {
  shellActive = true;
  for (std::size_t i = 0; i < PropertyCatalogue::ApiPropertyMap.size(); ++i) {
    std::string name(PropertyCatalogue::ApiPropertyMap.entry(i).apiName);
    SCOPED_TRACE(name);
    EXPECT_EQ(run(registerCallbackApi, {"0", name}).output, "Callback API Registered.\n") << name;
    EXPECT_EQ(library().calls, Calls{registration(0, name)});
    library().calls.clear();
    char& letter = *std::find_if(name.begin() + static_cast<std::ptrdiff_t>(i % 4), name.end(),
                                 [](char c) { return c >= 'A'; });
    letter = static_cast<char>(letter ^ 0x20);
    EXPECT_EQ(run(registerCallbackApi, {"0", name}).output, "API Name not found.\n") << name;
    EXPECT_EQ(library().calls, Calls{});
  }
}

TEST_F(SetCallbackTest, EachCallWritesOneLineAndKeepsNoCopy) {
  run(registerCallbackApi, {"0", kApi});
  openLog("4");
  {
    data_info::DataInfo update;
    update.reader = Counted();
    const int made = Counted::made;
    const int alive = Counted::alive;
    testing::internal::CaptureStdout();
    library().callback(1, update, 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    // One copy for the by-value argument of the callable, one that it makes for the callback.
    EXPECT_EQ(Counted::made - made, 2);
    EXPECT_EQ(Counted::alive, alive);
  }
  const std::vector<std::string> lines = logLines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(
      matches(lines[0],
              R"(D\[tools/boardctl/set_callback\.cpp:[0-9]+\]\[callbackAPI\]: callbackAPI called)"))
      << lines[0];
}

TEST_F(SetCallbackTest, BelowTheDebugLevelUpdatesLeaveNoLine) {
  run(registerCallbackApi, {"0", kApi});
  openLog("3");
  data_info::DataInfo update;
  library().callback(1, update, 2);
  update.onChange();
  EXPECT_EQ(logLines(), std::vector<std::string>{});
}

TEST_F(SetCallbackTest, ACallThatLeavesByAnExceptionKeepsNoCopyEither) {
  run(registerCallbackApi, {"0", kApi});
  openLog("4");
  logger.output.exceptions(std::ios::badbit);
  // A device that is always full: the stream fails as soon as its buffer has to be written.
  logger.output.close();
  logger.output.rdbuf()->pubsetbuf(nullptr, 0);
  logger.output.open("/dev/full");
  data_info::DataInfo update;
  update.reader = Counted();
  const int alive = Counted::alive;
  EXPECT_THROW(library().callback(1, update, 2), std::ios_base::failure);
  EXPECT_EQ(Counted::alive, alive);
  logger.output.exceptions(std::ios::goodbit);
  EXPECT_TRUE(logger.lock.try_lock());
  logger.lock.unlock();
}

TEST_F(SetCallbackTest, CallsFromSeveralThreadsWriteOneLineEach) {
  run(registerCallbackApi, {"0", kApi});
  openLog("4");
  data_info::DataInfo update;
  update.reader = Counted();
  const int made = Counted::made;
  const int alive = Counted::alive;
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&update] {
      for (int i = 0; i < 100; ++i) library().callback(1, update, 2);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Counted::made - made, 2 * 800);
  EXPECT_EQ(Counted::alive, alive);
  EXPECT_EQ(logLines().size(), 800U);
}

TEST_F(SetCallbackTest, AnUpdateLogsItsChangeUnderItsPropertysName) {
  openLog("4");
  data_info::DataInfo update;
  update.propertyName = "gpu.a";
  update.onChange();
  value_type::ValueType& base = update;
  base.onChange();
  const std::string line = "D[N9data_info8DataInfoE][onChange]: Entry(DataInfo (gpu.a)).";
  EXPECT_EQ(logLines(), (std::vector<std::string>{line, line}));
}

}  // namespace
}  // namespace boardctl
