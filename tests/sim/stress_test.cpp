#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "tests/sim/board_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

/// Threads that do anything at any time. How long is a matter of the operations, or of
/// BOARDCTL_STRESS_SECONDS in the environment.
class LifecycleStress : public BoardTest {
 protected:
  static constexpr int kOperations = 2000;

  void SetUp() override {
    manifest_ = write("manifest.json", R"({"board": "test", "devices": {"gpu": 4}})");
    properties_ = write("properties.json", kProperties);
    const std::string common = R"("latencyMs": {"gpu": 200}, "callbacks": {"periodMs": 500},
      "journal": ")" + path("journal") +
                               R"(", "faults": [
      {"operation": "get", "device": "gpu1", "every": 3, "dropMs": 700},
      {"operation": "set", "device": "gpu2", "every": 2, "storm": 3},
      {"operation": "clear", "every": 4, "hang": true, "dropMs": 100})";
    const std::string fast = R"({"clock": {"mode": "scaled", "rate": 1000}, )" + common;
    const std::string slow = R"({"clock": {"mode": "scaled", "rate": 500}, )" + common;
    profiles_ = {
        write("fast.json", fast + "]}"),
        write("slow.json", slow + R"(, {"operation": "init", "delayMs": 1}]})"),
        write("fails.json", fast + R"(, {"operation": "init", "delayMs": 1, "code": 23}]})"),
        write("stepped.json", R"({"clock": {"mode": "stepped"}, )" + common + "]}")};
  }

  int initialise(std::size_t number) {
    return GPUManagerInit(manifest_.c_str(), profiles_[number % profiles_.size()].c_str(),
                          properties_.c_str());
  }

  /// One operation. Whatever the others do meanwhile, its code is one of those that it may have.
  void operate(std::minstd_rand& random) {
    const int id = static_cast<int>(random() % 4);
    std::int32_t value = id;
    const auto what = random() % 40;
    if (what < 1) {
      expect({0, sim::kNotInitialised, sim::kStopped}, GPUManagerStop());
    } else if (what < 5) {
      expect({0, sim::kAlreadyRunning, sim::kIoError}, initialise(random()));
      expect({0, sim::kNotInitialised, sim::kAlreadyRunning, sim::kStopped}, GPUManagerRun(0, 0));
    } else if (what < 7) {
      expectOf(DeviceClearData(id, kName, 0));
    } else if (what < 12) {
      expectOf(DeviceSetData(id, kPower, &value, sizeof value, 0));
    } else if (what < 15) {
      expectOf(DeviceSetCallbackUpdateData(
          id, kApi, [](auto...) { get(1, kName); }, -1, "", "", -1));
    } else {
      std::array<char, 64> buffer{};
      expectOf(DeviceGetData(id, kPower, 0, 0, buffer.data(), 64, id % 2, 0));
    }
  }

  /// A code of a call that needs a device. One that found no board leaves the processor to others.
  static void expectOf(int code) {
    expect({0, sim::kNotInitialised, sim::kNotRunning, sim::kDeviceAbsent, sim::kStopped}, code);
    if (code != 0) std::this_thread::yield();
  }
  static void expect(std::initializer_list<int> codes, int code) {
    EXPECT_NE(std::ranges::find(codes, code), codes.end()) << code;
  }

 private:
  std::string manifest_;
  std::string properties_;
  std::vector<std::string> profiles_;
};

TEST_F(LifecycleStress, SixThreadsStartStopReadAndDropAtRandom) {
  constexpr unsigned kThreads = 6;
  const char* const seconds = std::getenv("BOARDCTL_STRESS_SECONDS");
  const auto end = Clock::now() + std::chrono::seconds(seconds == nullptr ? 0 : std::atoi(seconds));
  std::atomic<unsigned> working = kThreads;
  std::vector<std::thread> threads;
  for (unsigned number = 0; number < kThreads; ++number) {
    threads.emplace_back([this, number, end, &working] {
      std::minstd_rand random(number + 1);
      for (int i = 0; i < kOperations || Clock::now() < end; ++i) operate(random);
      --working;
    });
  }
  // The calls that hang may be those of all six.
  while (working > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    GPUManagerStop();
  }
  for (std::thread& thread : threads) thread.join();
  GPUManagerStop();
  ASSERT_EQ(initialise(0), 0);
  ASSERT_EQ(GPUManagerRun(0, 0), 0);
  EXPECT_EQ(get(0, kPower), "300");
  EXPECT_EQ(GPUManagerStop(), 0);
}

}  // namespace
