#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"
#include "sim/base/codes.h"

/// Whether the test runs under user-mode emulation.
constexpr bool isEmulated() { return BOARDCTL_EMULATED != 0; }

/// A death test starts the program anew, which an emulated program cannot; there it forks.
inline void chooseDeathTestStyle() {
  testing::GTEST_FLAG(death_test_style) = isEmulated() ? "fast" : "threadsafe";
}

/// A small board behind the library's entry points, made of three texts.
class BoardTest : public testing::Test {
 protected:
  /// Starts a board of four GPUs, two link switches, an FPGA and two hot-swap controllers. Each
  /// call into the library takes a second of a stepped clock.
  void start(const std::string& profile = "", const std::string& properties = kProperties) {
    ASSERT_EQ(init(profile, properties), 0);
    ASSERT_EQ(GPUManagerRun(0, 0), 0);
  }

  /// As above, with the devices' own values of a manifest.
  void startWithOverrides(const std::string& overrides, const std::string& profile = "") {
    ASSERT_EQ(init(profile, kProperties, overrides), 0);
    ASSERT_EQ(GPUManagerRun(0, 0), 0);
  }

  int init(const std::string& profile, const std::string& properties = kProperties,
           const std::string& overrides = "{}") {
    const std::string manifest =
        write("manifest.json",
              R"({"board": "test", "devices": {"gpu": 4, "korswitch": 2, "fpga": 1, "hsc": 2},)"
              R"( "overrides": )" +
                  overrides + "}");
    const std::string behaviour =
        write("profile.json", R"({"clock": {"mode": "stepped", "stepMs": 1000})" +
                                  (profile.empty() ? "" : ", " + profile) + "}");
    started_ = true;
    return GPUManagerInit(manifest.c_str(), behaviour.c_str(),
                          write("properties.json", properties).c_str());
  }

  void TearDown() override {
    if (started_) GPUManagerStop();
  }

  static std::string path(const std::string& name) {
    return testing::TempDir() + "sim-" +
           testing::UnitTest::GetInstance()->current_test_info()->name() + '-' + name;
  }

  static std::string write(const std::string& name, const std::string& text) {
    std::ofstream(path(name)) << text;
    return path(name);
  }

  static std::string contents(const std::string& file) {
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
  }

  /// A read as the operator sees it: the text, or "rc = " and the code.
  static std::string get(int id, const char* name, int mode = 0) {
    std::array<char, 10240> buffer{};
    const int code =
        DeviceGetData(id, name, 0, 0, buffer.data(), static_cast<int>(buffer.size()), mode, 0);
    return code == 0 ? std::string(buffer.data()) : "rc = " + std::to_string(code);
  }
  static std::string pass(int id, const char* name) { return get(id, name, 1); }
  static int set(int id, const char* name, std::int32_t value) {
    return DeviceSetData(id, name, &value, sizeof value, 0);
  }
  static bool refreshing() {
    bool running = true;
    SnapShotRefreshStatus(&running);
    return running;
  }
  /// Lets a number of seconds pass.
  static void wait(int seconds) {
    for (int i = 0; i < seconds; ++i) refreshing();
  }

  static constexpr const char* kName = "gpu.firmware.writeProtectMode";
  static constexpr const char* kPower = "gpu.power.consumption";
  static constexpr const char* kApi = "GPUGetPowerConsumptionV2";
  static constexpr const char* kProperties = R"({"properties": {
    "gpu.firmware.writeProtectMode": {"value": 0, "access": "rwc", "range": [0, 1]},
    "gpu.power.consumption": {"value": 300, "access": "rwc"},
    "gpu.inventory.serialNumber": {"serial": "SN####", "first": 1},
    "gpu.sram.ecc.correctable": {"counter": 0, "perSecond": 1},
    "gpu.thermal.temperature.primaryGPU.extendedPrecision": 45.5000,
    "fpga.firmware.version": "2.4",
    "hsc.power.consumption": 500.000,
    "korswitch.firmware.version": "1.10"}})";

 private:
  bool started_ = false;
};
