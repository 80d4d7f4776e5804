#include <chrono>
#include <thread>

#include "tests/sim/board_fixture.h"

namespace {

/// What takes time under a stepped clock, of which each call takes a second.
class SteppedClock : public BoardTest {
 protected:
  /// The time, from a counter of seconds. To ask for it is the last thing that takes time.
  static std::string now() { return get(3, "gpu.sram.ecc.correctable"); }

  std::vector<unsigned int> words_;
};

TEST_F(SteppedClock, EachCallOfARunningBoardTakesAStep) {
  start();
  refreshing();
  get(0, kName);
  get(0, "gpu.nothing");
  set(0, kName, 1);
  DeviceClearData(0, kName, 0);
  std::vector<std::string> names;
  DeviceGetSupportedProperties(0, names, names);
  DeviceSetCallbackUpdateData(
      0, kApi, [](auto...) {}, -1, "", "", -1);
  unsigned int word = 0;
  TesselSyncCmdGpu(0, 1, 0, 0, 0, 0, &word, &word, &word, false);
  TesselAsyncCmdGpu(0, 0x11, {}, &word, &word, words_, 0, false);
  TesselCmd(9, 1, 0, 0, {0, 0}, words_, false);
  EXPECT_EQ(now(), "11");
}

TEST_F(SteppedClock, OtherCallsTakeNone) {
  ASSERT_EQ(init(""), 0);
  get(0, kName);
  GPUManagerRun(0, 0);
  GPUManagerRun(0, 0);
  GPUManagerInit("", "", "");
  GPUSetLogLevel(3);
  DeviceClearData(0, nullptr, 0);
  TesselCmd(0, 1, 0, 0, {0}, words_, false);
  SnapShotRefreshStatus(nullptr);
  EXPECT_EQ(now(), "1");
}

TEST_F(SteppedClock, LatenciesAndDelaysTakeTheirTime) {
  start(
      R"("latencyMs": {"gpu": 3000}, "mailbox": {"latencyMs": 7000, "timeoutMs": 9000}, "faults": [
    {"operation": "snapshot", "delayMs": 20000, "code": 1}, {"operation": "raw", "delayMs": 2001}])");
  int seconds = 0;
  const auto expect = [&seconds](int more) {
    seconds += more + 1;
    EXPECT_EQ(now(), std::to_string(seconds));
  };
  get(0, kName);
  expect(1);
  pass(0, kName);
  expect(4);
  set(0, kName, 1);
  expect(4);
  DeviceClearData(0, kName, 0);
  expect(4);
  pass(0, "fpga.firmware.version");
  expect(1);
  refreshing();
  expect(21);
  unsigned int word = 0;
  TesselSyncCmdGpu(0, 1, 0, 0, 0, 0, &word, &word, &word, false);
  expect(8);
  EXPECT_EQ(TesselCmd(0, 1, 0, 0, {0, 0}, words_, false), sim::kTimeout);
  expect(10);
}

TEST_F(SteppedClock, CallsOfACallbackTakeNone) {
  start();
  std::string seen;
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                0, kApi,
                [&](auto...) {
                  get(0, kName);
                  seen = now();
                },
                -1, "", "", -1),
            0);
  ASSERT_EQ(set(0, kPower, 1), 0);
  EXPECT_EQ(seen, "2");
  EXPECT_EQ(now(), "3");
}

TEST_F(SteppedClock, AHangTakesOneStep) {
  const std::string file = path("journal");
  start("\"journal\": \"" + file + R"(", "faults": [{"device": "gpu1", "hang": true}])");
  std::thread hanging([] { get(1, kName); });
  const std::string line = R"("at":1000000,"call":"DeviceGetData",)";
  for (int i = 0; i < 6000 && contents(file).find(line) == std::string::npos; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_NE(contents(file).find(line), std::string::npos);
  EXPECT_EQ(now(), "2");
  GPUManagerStop();
  hanging.join();
}

}  // namespace
