#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <thread>

#include "tests/sim/board_fixture.h"

namespace {

class Lifecycle : public BoardTest {
 protected:
  static std::ptrdiff_t entries(const std::filesystem::path& directory) {
    return std::distance(std::filesystem::directory_iterator(directory),
                         std::filesystem::directory_iterator());
  }
  static int subscribe(const UpdateCallback& callback) {
    return DeviceSetCallbackUpdateData(0, kApi, callback, -1, "", "", -1);
  }
};

TEST_F(Lifecycle, ThreadsEndWithStop) {
  if (isEmulated()) GTEST_SKIP() << "the emulator's own threads are counted as well";
  // With the first thread of the program a sanitizer starts one of its own.
  pid_t first = 0;
  std::thread([&] { first = gettid(); }).join();
  const std::filesystem::path tasks = "/proc/self/task";
  // A joined thread may stay visible for a moment.
  const auto waitWhile = [](auto holds) {
    while (holds()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  };
  waitWhile([&] { return exists(tasks / std::to_string(first)); });
  const auto before = entries(tasks);
  start();
  EXPECT_EQ(entries(tasks), before + 1);
  EXPECT_EQ(GPUManagerStop(), 0);
  waitWhile([&] { return entries(tasks) > before; });
  EXPECT_EQ(entries(tasks), before);
}

TEST_F(Lifecycle, AThousandRunsLeaveNothingBehind) {
  const auto before = entries("/proc/self/fd");
  for (int i = 0; i < 1000; ++i) {
    SCOPED_TRACE(i);
    ASSERT_EQ(init("\"journal\": \"" + path("journal") + "\""), 0);
    ASSERT_EQ(GPUManagerRun(0, 0), 0);
    ASSERT_EQ(subscribe([](auto...) {}), 0);
    ASSERT_EQ(set(0, kPower, i), 0);
    ASSERT_EQ(GPUManagerStop(), 0);
  }
  EXPECT_EQ(entries("/proc/self/fd"), before);
}

TEST_F(Lifecycle, ARunWithoutAThreadFailsAndMayBeTriedAgain) {
  ASSERT_EQ(init(""), 0);
  pthread_attr_t usual;
  ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
  pthread_attr_t huge = usual;
  // A stack that no address space has room for.
  pthread_attr_setstacksize(
      &huge, std::numeric_limits<std::size_t>::max() >> (sizeof(std::size_t) == 8 ? 14 : 0) &
                 ~std::size_t{0xFFFFF});
  ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
  sigset_t before;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  EXPECT_EQ(GPUManagerRun(0, 0), sim::kInternal);
  ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (int signal = 1; signal < 32; ++signal) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
  }
  EXPECT_EQ(get(0, kPower), "rc = " + std::to_string(sim::kNotRunning));
  EXPECT_EQ(GPUManagerRun(0, 0), 0);
  EXPECT_EQ(get(0, kPower), "300");
}

TEST_F(Lifecycle, RunningTwiceIsRejected) {
  start();
  EXPECT_EQ(GPUManagerRun(0, 0), sim::kAlreadyRunning);
  EXPECT_EQ(GPUManagerInit("", "", ""), sim::kAlreadyRunning);
}

TEST_F(Lifecycle, ACallbackCannotStopTheManager) {
  start();
  int code = 0;
  ASSERT_EQ(subscribe([&](auto...) { code = GPUManagerStop(); }), 0);
  ASSERT_EQ(set(0, kPower, 1), 0);
  EXPECT_EQ(code, sim::kNotSupported);
  EXPECT_EQ(get(0, kPower), "1");
}

class LifecycleDeathTest : public Lifecycle {
 protected:
  void SetUp() override { chooseDeathTestStyle(); }
};

TEST_F(LifecycleDeathTest, TheProcessMayEndWithTheManagerRunning) {
  EXPECT_EXIT(
      {
        start();
        subscribe([](auto...) {});
        set(0, kPower, 1);
        std::exit(7);
      },
      testing::ExitedWithCode(7), "^$");
}

TEST_F(LifecycleDeathTest, TheProcessMayEndInRealTimeWithABusyCallback) {
  EXPECT_EXIT(
      {
        const std::string profile = write("real.json", R"({"callbacks": {"periodMs": 1}})");
        GPUManagerInit("", profile.c_str(), "");
        GPUManagerRun(0, 0);
        subscribe([](auto...) { std::this_thread::sleep_for(std::chrono::milliseconds(5)); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::exit(8);
      },
      testing::ExitedWithCode(8), "^$");
}

TEST_F(LifecycleDeathTest, ACallbackThatNeverReturnsDoesNotKeepTheProcess) {
  EXPECT_EXIT(
      {
        const std::string profile = write("real.json", R"({"callbacks": {"periodMs": 1}})");
        GPUManagerInit("", profile.c_str(), "");
        GPUManagerRun(0, 0);
        subscribe([](auto...) { std::this_thread::sleep_for(std::chrono::hours(1)); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::exit(10);
      },
      testing::ExitedWithCode(10), "^$");
}

TEST_F(LifecycleDeathTest, NothingCanBeDoneWithABoardThatIsStillInitialised) {
  EXPECT_EXIT(
      {
        std::remove(path("journal").c_str());
        const std::string profile =
            write("real.json", "{\"journal\": \"" + path("journal") + R"(", "faults": [
              {"operation": "init", "delayMs": 3600000, "code": "ioError"}]})");
        std::thread([&] { GPUManagerInit("", profile.c_str(), ""); }).detach();
        // By then that thread holds the lock, or waits.
        while (contents(path("journal")).empty()) std::this_thread::yield();
        const bool refused = GPUManagerInit("", "", "") == sim::kAlreadyRunning &&
                             GPUManagerRun(0, 0) == sim::kNotInitialised &&
                             get(0, kPower) == "rc = 1" && GPUManagerStop() == sim::kNotInitialised;
        std::_Exit(refused ? 11 : 1);
      },
      testing::ExitedWithCode(11), "^$");
}

TEST_F(LifecycleDeathTest, ACallbackMayEndTheProcess) {
  EXPECT_EXIT(
      {
        start();
        subscribe([](auto...) { std::_Exit(9); });
        set(0, kPower, 1);
      },
      testing::ExitedWithCode(9), "^$");
}

}  // namespace
