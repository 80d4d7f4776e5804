#include <atomic>
#include <mutex>
#include <thread>

#include "tests/sim/board_fixture.h"
#include "tests/sim/costs.h"

namespace {

/// Collects what callbacks are called with.
class Subscriptions : public BoardTest {
 protected:
  int subscribe(int id, const std::string& api = kApi, const std::string& mark = "") {
    return DeviceSetCallbackUpdateData(
        id, api,
        [this, mark](std::uint16_t device, data_info::DataInfo info, std::uint64_t sequence) {
          const std::lock_guard lock(mutex_);
          seen_ += mark + std::to_string(device) + ':' + info.valueText + '#' +
                   std::to_string(sequence) + ' ';
        },
        -1, "", "", -1);
  }
  /// What has been seen since the last question.
  std::string seen() {
    const std::lock_guard lock(mutex_);
    return std::exchange(seen_, "");
  }

 private:
  std::mutex mutex_;
  std::string seen_;
};

constexpr const char* kLateBoard =
    R"("readyMs": 2000, "snapshot": {"periodMs": 4000, "refreshMs": 1000})";

TEST_F(Subscriptions, AWriteCallsAtOnceAndOnlyOnAChange) {
  start();
  ASSERT_EQ(subscribe(1), 0);
  EXPECT_EQ(seen(), "");
  EXPECT_EQ(set(1, kPower, 310), 0);
  EXPECT_EQ(seen(), "1:310#1 ");
  EXPECT_EQ(set(1, kPower, 310), 0);
  EXPECT_EQ(set(0, kPower, 320), 0);
  wait(5);
  EXPECT_EQ(seen(), "");
  EXPECT_EQ(DeviceClearData(1, kPower, 0), 0);
  EXPECT_EQ(seen(), "1:300#2 ");
}

TEST_F(Subscriptions, ACallReturnsAfterTheCallbacksThatItCaused) {
  start();
  std::atomic<bool> ended{false};
  const auto callback = [&](auto...) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ended = true;
  };
  ASSERT_EQ(DeviceSetCallbackUpdateData(1, kApi, callback, -1, "", "", -1), 0);
  EXPECT_EQ(set(1, kPower, 310), 0);
  EXPECT_TRUE(ended);
}

TEST_F(Subscriptions, MovingValuesCallOncePerPeriod) {
  start(R"("callbacks": {"periodMs": 3000})");
  ASSERT_EQ(subscribe(0, "GPUGetSRAMECCCorrectableErrorCountV2"), 0);  // 1 s
  wait(1);
  EXPECT_EQ(seen(), "");
  wait(1);
  EXPECT_EQ(seen(), "0:3#1 ");
  wait(6);
  EXPECT_EQ(seen(), "0:6#2 0:9#3 ");
}

TEST_F(Subscriptions, EachPeriodOfAJumpCalls) {
  start(R"("callbacks": {"periodMs": 3000}, "latencyMs": {"gpu": 9000})");
  ASSERT_EQ(subscribe(0, "GPUGetSRAMECCCorrectableErrorCountV2"), 0);  // 1 s
  EXPECT_EQ(pass(0, kPower), "300");                                   // 11 s
  EXPECT_EQ(seen(), "0:3#1 0:6#2 0:9#3 ");
}

TEST_F(Subscriptions, OfALongJumpTheFirstAndTheLastThousandPeriodsCall) {
  for (const int periods : {1001, 1002, 2000}) {
    SCOPED_TRACE(periods);
    start(R"("callbacks": {"periodMs": 1000}, "latencyMs": {"gpu": )" +
          std::to_string(periods * 1000) + "}");
    ASSERT_EQ(subscribe(0, "GPUGetSRAMECCCorrectableErrorCountV2"), 0);  // 1 s
    EXPECT_EQ(pass(0, kPower), "300");
    const std::string updates = seen();
    EXPECT_TRUE(updates.starts_with("0:2#1 0:3#2 "));
    EXPECT_EQ(std::count(updates.begin(), updates.end(), '#'), 1002);
    EXPECT_NE(updates.find(" 0:" + std::to_string(periods + 2 - 999) + "#3 "), std::string::npos);
    EXPECT_TRUE(updates.ends_with(" 0:" + std::to_string(periods + 2) + "#1002 "));
    GPUManagerStop();
  }
}

TEST_F(Subscriptions, ACallbackLearnsWhatHasChanged) {
  start("", R"({"properties": {"hsc.power.consumption":
    {"value": 500.5, "access": "rw", "unit": "W"}}})");
  std::string seen;
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                1, "HSCGetPowerConsumptionV2",
                [&](std::uint16_t device, const data_info::DataInfo& info, std::uint64_t sequence) {
                  seen = std::to_string(device) + ' ' + info.propertyName + ' ' + info.apiName +
                         ' ' + info.valueText + ' ' + info.unit + ' ' +
                         std::to_string(info.updateCount) + ' ' + std::to_string(sequence);
                },
                -1, "", "", -1),
            0);
  ASSERT_EQ(set(1, "hsc.power.consumption", 7), 0);
  EXPECT_EQ(seen, std::to_string(3 * 256 + 1) +
                      " hsc.power.consumption HSCGetPowerConsumptionV2 7.0 W 1 1");
}

TEST_F(Subscriptions, BeforeTheFirstRefreshNothingIsCalled) {
  start(kLateBoard + std::string(R"(, "timeline": [
    {"atMs": 1500, "set": "gpu.power.consumption", "device": "gpu0", "value": 311},
    {"atMs": 1600, "burst": "gpu.power.consumption", "device": "gpu0", "count": 5}])"));
  ASSERT_EQ(subscribe(0), 0);  // 1 s
  wait(1);
  EXPECT_EQ(seen(), "");
  wait(1);  // 3 s: the first refresh is complete
  EXPECT_EQ(seen(), "0:311#1 ");
  ASSERT_EQ(subscribe(1), 0) << "registered later: the present value is known";
  wait(3);
  EXPECT_EQ(seen(), "");
}

TEST_F(Subscriptions, RegisteringAgainReplacesTheCallback) {
  start();
  ASSERT_EQ(subscribe(0, kApi, "a"), 0);
  ASSERT_EQ(subscribe(0, "GPUGetTotalPowerConsumptionV2", "b"), 0);
  ASSERT_EQ(set(0, kPower, 1), 0);
  EXPECT_EQ(seen(), "a0:1#1 b0:1#1 ") << "two names of one property are two registrations";
  ASSERT_EQ(subscribe(0, kApi, "c"), 0);
  ASSERT_EQ(set(0, kPower, 2), 0);
  EXPECT_EQ(seen(), "c0:2#2 b0:2#2 ") << "the place and the numbering stay";
}

TEST_F(Subscriptions, ADeviceThatIsGoneCallsNothing) {
  start(R"("timeline": [{"atMs": 3000, "drop": "gpu1"}, {"atMs": 6000, "restore": "gpu1"},
    {"atMs": 4000, "set": "gpu.power.consumption", "device": "gpu1", "value": 9}])");
  ASSERT_EQ(subscribe(1), 0);
  wait(3);  // 4 s
  EXPECT_EQ(seen(), "");
  EXPECT_EQ(subscribe(1), sim::kDeviceAbsent);
  wait(1);
  EXPECT_EQ(seen(), "1:9#1 ") << "back on the bus";
}

TEST_F(Subscriptions, AnEventThatChangesAValueCallsAtOnce) {
  start(R"("callbacks": {"periodMs": 3600000}, "timeline": [
    {"atMs": 2000, "set": "gpu.power.consumption", "device": "gpu1", "value": 9},
    {"atMs": 3000, "clear": "gpu.power.consumption", "device": "gpu1"}])");
  ASSERT_EQ(subscribe(1), 0);
  wait(1);
  EXPECT_EQ(seen(), "1:9#1 ");
  wait(1);
  EXPECT_EQ(seen(), "1:300#2 ");
}

TEST_F(Subscriptions, BurstsComeInOrderAndLostOnesLeaveGaps) {
  start(R"("timeline": [
    {"atMs": 2000, "burst": "gpu.power.consumption", "device": "gpu*", "count": 3},
    {"atMs": 3000, "lose": "gpu.power.consumption", "device": "gpu0", "count": 2},
    {"atMs": 3000, "burst": "gpu.power.consumption", "device": "gpu0", "count": 3}])");
  ASSERT_EQ(subscribe(0), 0);
  wait(1);
  EXPECT_EQ(seen(), "0:300#1 0:300#2 0:300#3 ");
  wait(1);
  EXPECT_EQ(seen(), "0:300#6 ");
}

TEST_F(Subscriptions, AStormHitsEveryCallbackOfTheProperty) {
  start(R"("faults": [{"operation": "get", "device": "gpu0", "storm": 1000, "times": 1}])");
  ASSERT_EQ(subscribe(0), 0);
  ASSERT_EQ(subscribe(0, "GPUGetSerialNumberV2"), 0);
  EXPECT_EQ(get(0, kPower), "300");
  const std::string updates = seen();
  EXPECT_EQ(std::count(updates.begin(), updates.end(), '#'), 1000);
  EXPECT_TRUE(updates.ends_with("0:300#1000 "));
}

TEST_F(Subscriptions, ACallbackMayRegisterAndRead) {
  start();
  std::atomic<int> inner{-1};
  std::string text;
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                0, kApi,
                [&](std::uint16_t, const data_info::DataInfo&, std::uint64_t) {
                  text = get(0, kPower, 1);
                  inner = subscribe(0, kApi, "n");
                },
                -1, "", "", -1),
            0);
  ASSERT_EQ(set(0, kPower, 5), 0);
  EXPECT_EQ(inner, 0);
  EXPECT_EQ(text, "5");
  ASSERT_EQ(set(0, kPower, 6), 0);
  EXPECT_EQ(seen(), "n0:6#2 ");
}

TEST_F(Subscriptions, AnExceptionStaysInside) {
  start();
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                0, kApi, [](auto...) { throw 1; }, -1, "", "", -1),
            0);
  ASSERT_EQ(subscribe(0, "GPUGetTotalPowerConsumptionV2"), 0);
  ASSERT_EQ(set(0, kPower, 5), 0);
  EXPECT_EQ(seen(), "0:5#1 ");
}

TEST_F(Subscriptions, WithoutMemoryAnUpdateIsLostAndNothingElse) {
  if (!costs::areCounted()) GTEST_SKIP() << "allocations are not controlled in this build";
  start();
  ASSERT_EQ(subscribe(1), 0);
  costs::refuseOthers(true);
  const std::size_t before = costs::refusals();
  EXPECT_EQ(set(1, kPower, 310), 0);
  costs::refuseOthers(false);
  EXPECT_GT(costs::refusals(), before);
  EXPECT_EQ(set(1, kPower, 320), 0);
  EXPECT_EQ(seen(), "1:320#2 ");
}

TEST_F(Subscriptions, InRealTimeTheThreadOutlivesALackOfMemory) {
  if (!costs::areCounted()) GTEST_SKIP() << "allocations are not controlled in this build";
  const std::string profile = write("real.json", R"({"callbacks": {"periodMs": 20}})");
  ASSERT_EQ(GPUManagerInit("", profile.c_str(), ""), 0);
  ASSERT_EQ(GPUManagerRun(0, 0), 0);
  std::atomic<int> calls{0};
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                0, "GPUGetPowerConsumptionV2", [&](auto...) { ++calls; }, -1, "", "", -1),
            0);
  const auto await = [](auto isReached) {
    for (int i = 0; i < 60'000 && !isReached(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return isReached();
  };
  EXPECT_TRUE(await([&] { return calls > 0; }));
  costs::refuseOthers(true);
  const std::size_t before = costs::refusals();
  EXPECT_TRUE(await([&] { return costs::refusals() > before + 2; }));
  costs::refuseOthers(false);
  const int known = calls;
  EXPECT_TRUE(await([&] { return calls > known; }));
  EXPECT_EQ(GPUManagerStop(), 0);
}

TEST_F(Subscriptions, NothingIsCalledAfterStop) {
  start();
  ASSERT_EQ(subscribe(0), 0);
  ASSERT_EQ(GPUManagerStop(), 0);
  seen();
  start();
  ASSERT_EQ(set(0, kPower, 5), 0);
  EXPECT_EQ(seen(), "") << "registrations end with the manager";
}

TEST_F(Subscriptions, WhatCannotBeRegistered) {
  start();
  EXPECT_EQ(subscribe(4), sim::kNoSuchDevice);
  EXPECT_EQ(subscribe(0, "gpugetpowerconsumptionv2"), sim::kNoSuchProperty);
  EXPECT_EQ(subscribe(0, "GPUGetHBMPowerConsumptionV2"), sim::kNoSuchProperty);
  EXPECT_EQ(DeviceSetCallbackUpdateData(0, kApi, nullptr, -1, "", "", -1), sim::kBadArgument);
  GPUManagerStop();
  start("", R"({"properties": {"gpu.power.consumption": {"value": 1, "access": "wc"}}})");
  EXPECT_EQ(subscribe(0), sim::kNotReadable);
  EXPECT_EQ(get(0, kPower), "rc = 8");
  EXPECT_EQ(set(0, kPower, 5), 0);
  EXPECT_EQ(DeviceClearData(0, kPower, 0), 0);
}

TEST_F(Subscriptions, InRealTimeTheThreadWakesByItself) {
  const std::string profile = write("real.json", R"({"callbacks": {"periodMs": 20}})");
  ASSERT_EQ(GPUManagerInit("", profile.c_str(), ""), 0);
  ASSERT_EQ(GPUManagerRun(0, 0), 0);
  // By now the thread sleeps, and has no time at which to wake.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  std::atomic<int> calls{0};
  const std::thread::id caller = std::this_thread::get_id();
  std::atomic<bool> other{true};
  ASSERT_EQ(DeviceSetCallbackUpdateData(
                0, "GPUGetPowerConsumptionV2",
                [&](auto...) {
                  other = other && std::this_thread::get_id() != caller;
                  ++calls;
                },
                -1, "", "", -1),
            0);
  for (int i = 0; i < 60'000 && calls < 3; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_GE(calls, 3);
  EXPECT_TRUE(other);
}

}  // namespace
