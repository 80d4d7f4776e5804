#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "devmgr/logger.h"
#include "tests/support/recording_library.h"
#include "tools/boardctl/settings.h"

using Calls = std::vector<std::string>;
using Words = std::vector<std::string>;

/// How a read of a property is recorded.
inline std::string readCall(const std::string& name, int deviceId = 0, int accessMode = 0) {
  return "DeviceGetData(" + std::to_string(deviceId) + ", \"" + name + "\", 0, 0, true, 10240, " +
         std::to_string(accessMode) + ", 0)";
}

/// What one command did.
struct Outcome {
  std::int32_t result;
  std::string output;
};

/// A fresh library and fresh settings for each test. There is no start-up wait, and the files are
/// "m", "" and "t".
class CommandTest : public testing::Test {
 protected:
  CommandTest() {
    resetLibrary();
    boardctl::manifestFile = "m";
    boardctl::profileFile = "";
    boardctl::propertiesFile = "t";
    boardctl::shellActive = false;
    boardctl::startupWaitMs = 0;
  }
  ~CommandTest() override {
    resetLibrary();
    if (!logFile_.empty()) std::remove(logFile_.c_str());
  }

  /// Runs a handler and collects what it writes to standard output.
  template <typename Handler>
  Outcome run(Handler handler, const Words& words) {
    testing::internal::CaptureStdout();
    std::int32_t result = 0;
    try {
      result = handler(words);
    } catch (...) {
      std::fflush(stdout);
      output_ = testing::internal::GetCapturedStdout();
      throw;
    }
    std::fflush(stdout);
    output_ = testing::internal::GetCapturedStdout();
    return {result, output_};
  }

  /// The calls between the start and the stop, after checking that both are there.
  static Calls callsWhileRunning() {
    const Calls& all = library().calls;
    if (all.size() < 3 || all.front() != kInit || all[1] != kRun || all.back() != kStop) {
      ADD_FAILURE() << "not one start, calls and one stop: " << testing::PrintToString(all);
      return {};
    }
    return {all.begin() + 2, all.end() - 1};
  }

  /// Lines written to `logger` from here on go to a file, at this level.
  void openLog(const std::string& level) {
    logFile_ = testing::TempDir() + "boardctl_log_" + std::to_string(getpid());
    logger.output.open(logFile_, std::ios::trunc);
    logger.levelText = level;
  }

  /// The log so far, with the time stamps taken off after checking their form.
  std::vector<std::string> logLines();

  inline static const std::string kInit = R"(GPUManagerInit("m", "", "t"))";
  inline static const std::string kRun = "GPUManagerRun(0, 0)";
  inline static const std::string kStop = "GPUManagerStop()";
  inline static const std::string kStarting = "Starting GPU Manager...\n";

  std::string output_;  ///< of the last run, also when it left by an exception
  std::string logFile_;
};
