#include <atomic>
#include <chrono>
#include <thread>

#include "tests/sim/board_fixture.h"

namespace {

class Faults : public BoardTest {
 protected:
  void startWith(const std::string& rules) { start("\"faults\": [" + rules + "]"); }

  /// Reads of a device once a second from the first second on: '.' for an answer, 'x' for absent.
  static std::string seen(int id, int seconds) {
    std::string all;
    for (int i = 0; i < seconds; ++i) all += get(id, kName) == "rc = 6" ? 'x' : '.';
    return all;
  }
};

TEST_F(Faults, ACodeAlways) {
  startWith(R"({"device": "gpu2", "code": "ioError"})");
  EXPECT_EQ(get(2, kName), "rc = 23");
  EXPECT_EQ(set(2, kName, 1), sim::kIoError);
  EXPECT_EQ(DeviceClearData(2, kName, 0), sim::kIoError);
  EXPECT_EQ(get(1, kName), "0");
}

TEST_F(Faults, ANumberMayBeAnyCode) {
  startWith(R"({"device": "gpu0", "code": -1}, {"device": "gpu1", "code": -2147483648})");
  EXPECT_EQ(get(0, kName), "rc = -1");
  EXPECT_EQ(get(1, kName), "rc = -2147483648");
}

TEST_F(Faults, EveryNthTimeNTimes) {
  startWith(R"({"every": 3, "times": 2, "code": "timeout"})");
  std::string seen;
  for (int i = 0; i < 12; ++i) seen += get(0, kName) == "0" ? '.' : 'x';
  EXPECT_EQ(seen, "..x..x......");
}

TEST_F(Faults, WithAProbabilityThatTheSeedRepeats) {
  const std::string rule = R"({"probability": 0.25, "code": "busy"})";
  std::array<std::string, 2> seen;
  for (std::string& run : seen) {
    startWith(rule);
    for (int i = 0; i < 400; ++i) run += get(0, kName) == "0" ? '.' : 'x';
    GPUManagerStop();
  }
  EXPECT_EQ(seen[0], seen[1]);
  const auto failures = std::count(seen[0].begin(), seen[0].end(), 'x');
  EXPECT_GT(failures, 70);
  EXPECT_LT(failures, 130);
}

TEST_F(Faults, TheFirstMatchingRuleThatFiresWins) {
  startWith(R"({"property": "gpu.firmware.*", "times": 1, "code": 101},
               {"property": "gpu.*", "operation": "get", "accessMode": 1, "code": 102},
               {"device": "gpu*", "property": "*Mode", "code": 103})");
  EXPECT_EQ(get(0, kName), "rc = 101");
  EXPECT_EQ(get(0, kName), "rc = 103");
  EXPECT_EQ(pass(0, kName), "rc = 102");
  EXPECT_EQ(get(0, kPower), "300");
  EXPECT_EQ(set(0, kName, 1), 103);
}

TEST_F(Faults, OnlyBetweenTwoMoments) {
  startWith(R"({"fromMs": 2000, "untilMs": 4000, "code": "ioError"})");
  EXPECT_EQ(get(0, kName), "0");
  EXPECT_EQ(get(0, kName), "rc = 23");
  EXPECT_EQ(get(0, kName), "rc = 23");
  EXPECT_EQ(get(0, kName), "0");
}

TEST_F(Faults, TextsComeBackTruncatedEmptyOrWithoutAnEnd) {
  startWith(R"({"operation": "get", "device": "gpu0", "text": "truncated"},
               {"operation": "get", "device": "gpu1", "text": "empty"},
               {"operation": "get", "device": "gpu2", "text": "unterminated"})");
  EXPECT_EQ(get(0, "gpu.inventory.serialNumber"), "SN0");
  EXPECT_EQ(get(1, "gpu.inventory.serialNumber"), "");
  std::array<char, 32> buffer{};
  buffer.back() = '!';
  EXPECT_EQ(DeviceGetData(2, "gpu.inventory.serialNumber", 0, 0, buffer.data(), 31, 0, 0), 0);
  EXPECT_EQ(std::string(buffer.data(), 32), "SN0003" + std::string(25, '#') + "!");
}

TEST_F(Faults, ADeviceFallsOffTheBusDuringAReadAndComesBack) {
  startWith(R"({"device": "gpu1", "operation": "get", "times": 1, "dropMs": 3000})");
  EXPECT_EQ(get(1, kName), "rc = 6");  // 1 s
  EXPECT_EQ(set(1, kName, 1), sim::kDeviceAbsent);
  EXPECT_EQ(get(1, kName), "rc = 6");
  EXPECT_EQ(get(1, kName), "0");  // 4 s
}

TEST_F(Faults, ADropWithAnEndDoesNotEndALaterOneOfTheTimeline) {
  start(R"("faults": [{"device": "gpu1", "times": 1, "dropMs": 4000}],
    "timeline": [{"atMs": 3000, "drop": "gpu1"}, {"atMs": 8000, "restore": "gpu1"}])");
  EXPECT_EQ(seen(1, 9), "xxxxxxx..");
}

TEST_F(Faults, ADropWithAnEndDoesNotEndALaterOneWithout) {
  startWith(R"({"device": "gpu1", "times": 1, "dropMs": 4000},
               {"device": "gpu1", "times": 1, "dropMs": 0})");
  EXPECT_EQ(seen(1, 9), "xxxxxxxxx");
}

TEST_F(Faults, OfTwoDropsTheLongerOneDecides) {
  startWith(R"({"device": "gpu1", "times": 1, "dropMs": 4000},
               {"device": "gpu1", "times": 1, "dropMs": 5000},
               {"device": "gpu1", "times": 1, "dropMs": 1000})");
  EXPECT_EQ(seen(1, 9), "xxxxxx...") << "from 1 s on, from 2 s on for 5 s, from 3 s on";
}

TEST_F(Faults, ARestoreEndsAllDropsAndALaterOneCountsAnew) {
  start(R"("faults": [{"device": "gpu1", "times": 1, "dropMs": 6000}],
    "timeline": [{"atMs": 3000, "restore": "gpu1"}, {"atMs": 5000, "drop": "gpu1"}])");
  EXPECT_EQ(seen(1, 9), "xx..xxxxx");
}

TEST_F(Faults, ADeviceThatIsOffForGoodDoesNotReturnByAFault) {
  startWithOverrides(R"({"gpu1": {"absent": true}})",
                     R"("faults": [{"device": "gpu*", "times": 7, "dropMs": 2000}],
    "timeline": [{"atMs": 4000, "drop": "gpu2"}])");
  EXPECT_EQ(seen(1, 4), "xxxx") << "it was never fitted";
  EXPECT_EQ(seen(2, 5), "xxxxx") << "the timeline has not restored it";
}

TEST_F(Faults, ADelayLetsTimePass) {
  start(R"("faults": [{"operation": "get", "device": "gpu0", "delayMs": 5000}],
           "latencyMs": {"gpu": 2000})");
  EXPECT_EQ(get(0, "gpu.sram.ecc.correctable"), "6");
  EXPECT_EQ(pass(1, "gpu.sram.ecc.correctable"), "9") << "a pass-through read has its latency";
  EXPECT_EQ(get(1, "gpu.sram.ecc.correctable"), "10") << "a snapshot read has none";
}

TEST_F(Faults, AHangLastsUntilTheManagerIsStopped) {
  startWith(R"({"device": "gpu3", "hang": true})");
  std::atomic<bool> stopping = false;
  std::thread stopper([&stopping] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    stopping = true;
    GPUManagerStop();
  });
  EXPECT_EQ(get(3, kName), "rc = 17");
  EXPECT_TRUE(stopping);
  stopper.join();
}

TEST_F(Faults, APostBoxThatIsLateDropsAndStormsAllTheSame) {
  start(R"("mailbox": {"timeoutMs": 1000}, "faults": [{"operation": "rawSyncCmd",
    "device": "gpu0", "times": 1, "delayMs": 1001, "dropMs": 0, "storm": 2}])");
  std::atomic<int> updates = 0;
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                0, kApi, [&](auto...) { ++updates; }, -1, "", "", -1),
            0);
  unsigned int word = 0;
  EXPECT_EQ(TesselSyncCmdGpu(0, 1, 0, 0, 0, 0, &word, &word, &word, false), sim::kTimeout);
  EXPECT_EQ(updates, 2);
  EXPECT_EQ(get(0, kName), "rc = 6");
}

TEST_F(Faults, ADeviceDropsAndStormsWhileTheCallHangs) {
  startWith(R"({"device": "gpu3", "operation": "clear", "hang": true, "dropMs": 0, "storm": 2})");
  std::atomic<int> updates = 0;
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                3, kApi, [&](auto...) { ++updates; }, -1, "", "", -1),
            0);
  std::thread hanging([] { EXPECT_EQ(DeviceClearData(3, kPower, 0), sim::kStopped); });
  for (int i = 0; i < 6000 && (updates < 2 || get(3, kName) != "rc = 6"); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(updates, 2);
  EXPECT_EQ(get(3, kName), "rc = 6");
  GPUManagerStop();
  hanging.join();
}

TEST_F(Faults, TheInitialisationFails) {
  EXPECT_EQ(init(R"("faults": [{"operation": "init", "code": "ioError", "times": 1}])"), 23);
  EXPECT_EQ(GPUManagerRun(0, 0), sim::kNotInitialised);
  EXPECT_EQ(get(0, kName), "rc = 1");
  EXPECT_EQ(init(""), 0) << "the next attempt is a new one";
}

TEST_F(Faults, ADelayOfTheInitialisationIsNoPartOfTheRun) {
  start(R"("readyMs": 3000, "timeline": [
    {"atMs": 5000, "set": "gpu.power.consumption", "device": "gpu0", "value": 9}], "faults": [
    {"operation": "init", "delayMs": 4000}, {"device": "gpu1", "untilMs": 5000, "code": 50}])");
  EXPECT_EQ(get(0, kPower), "rc = 7");  // 1 s
  EXPECT_EQ(get(1, kPower), "rc = 50");
  EXPECT_EQ(get(0, kPower), "300");  // 3 s: ready
  EXPECT_EQ(get(1, kPower), "rc = 50");
  EXPECT_EQ(get(1, kPower), "300");  // 5 s
  EXPECT_EQ(get(0, kPower), "9");
}

TEST_F(Faults, AnEventSetsWhatCannotBeWritten) {
  const char* const name = "gpu.thermal.temperature.primaryGPU.extendedPrecision";
  start(R"("timeline": [{"atMs": 2000, "device": "gpu0", "value": 55,
    "set": "gpu.thermal.temperature.primaryGPU.extendedPrecision"}])");
  EXPECT_EQ(set(0, name, 5), sim::kNotWritable);
  EXPECT_EQ(get(0, name), "55.0000");
}

TEST_F(Faults, AStormOfARawRequestHitsAllCallbacksOfTheDevice) {
  startWith(R"({"operation": "raw", "device": "gpu1", "storm": 2})");
  std::atomic<int> updates = 0;
  for (const auto& [device, api] :
       {std::pair(1, kApi), std::pair(1, "GPUGetSerialNumberV2"), std::pair(0, kApi)}) {
    SCOPED_TRACE(api);
    ASSERT_EQ(DeviceSetCallbackUpdateData(
                  device, api, [&](auto...) { ++updates; }, -1, "", "", -1),
              0);
  }
  std::vector<unsigned int> words;
  EXPECT_EQ(TesselCmd(1, 1, 0, 0, {0, 0}, words, false), 0);
  EXPECT_EQ(updates, 4);
}

TEST_F(Faults, AllDevicesAreAllCalls) {
  for (const char* device : {R"("device": "*", )", ""}) {
    SCOPED_TRACE(device);
    startWith("{" + std::string(device) + "\"times\": 3, \"code\": 40}");
    bool running = true;
    EXPECT_EQ(SnapShotRefreshStatus(&running), 40);
    std::vector<std::string> names;
    EXPECT_EQ(DeviceGetSupportedProperties(0, names, names), 40);
    EXPECT_EQ(get(1, kName), "rc = 40");
    EXPECT_EQ(get(1, kName), "0");
    GPUManagerStop();
  }
}

TEST_F(Faults, ADropOrAStormNeedsADevice) {
  for (const char* effect : {"\"dropMs\": 1000", "\"storm\": 1"}) {
    SCOPED_TRACE(effect);
    startWith("{\"times\": 1, \"code\": 40, " + std::string(effect) + "}");
    bool running = true;
    EXPECT_EQ(SnapShotRefreshStatus(&running), 0);
    std::vector<std::string> names;
    EXPECT_EQ(DeviceGetSupportedProperties(0, names, names), 0);
    EXPECT_EQ(get(1, kName), "rc = 40") << "its only time is not over yet";
    GPUManagerStop();
  }
}

TEST_F(Faults, ListsAndPostBoxesFailToo) {
  startWith(R"({"operation": "list", "code": 40}, {"operation": "rawSyncCmd", "code": 41},
               {"operation": "snapshot", "code": 42}, {"operation": "set_callback", "code": 43})");
  std::vector<std::string> names;
  EXPECT_EQ(DeviceGetSupportedProperties(0, names, names), 40);
  unsigned int word = 0;
  EXPECT_EQ(TesselSyncCmdGpu(0, 1, 0, 0, 0, 0, &word, &word, &word, false), 41);
  bool running = true;
  EXPECT_EQ(SnapShotRefreshStatus(&running), 42);
  EXPECT_FALSE(running);
  EXPECT_EQ(DeviceSetCallbackUpdateData(
                0, kApi, [](auto...) {}, -1, "", "", -1),
            43);
}

}  // namespace
