#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "catalogue/api_property_map.h"
#include "devmgr/callbacks.h"
#include "devmgr/data_info.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"
#include "sim/base/codes.h"

// Every user of updates defines these for itself.
void value_type::ValueType::onChange() {}
void data_info::DataInfo::onChange() {}

namespace {

int get(int id, const char* name, std::string& text, int mode = 0) {
  std::array<char, 10240> buffer{};
  const int code =
      DeviceGetData(id, name, 0, 0, buffer.data(), static_cast<int>(buffer.size()), mode, 0);
  text = buffer.data();
  return code;
}

int set(int id, const char* name, std::int32_t value) {
  return DeviceSetData(id, name, &value, sizeof value, 0);
}

/// A running manager on the built-in board.
class RunningBoard : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(GPUManagerInit("", "", ""), 0);
    ASSERT_EQ(GPUManagerRun(0, 0), 0);
  }
  void TearDown() override { EXPECT_EQ(GPUManagerStop(), 0); }
};

TEST(Library, AnswersWithACodeWhateverTheOrder) {
  std::array<char, 64> buffer{};
  const std::int32_t one = 1;
  std::vector<std::string> names;
  bool refreshing = true;
  EXPECT_EQ(GPUManagerRun(0, 0), sim::kNotInitialised);
  EXPECT_EQ(GPUManagerStop(), sim::kNotInitialised);
  EXPECT_EQ(DeviceGetData(0, "gpu.pcie.maxWidth", 0, 0, buffer.data(), 64, 0, 0),
            sim::kNotInitialised);
  EXPECT_EQ(DeviceSetData(0, "gpu.pcie.maxWidth", &one, 4, 0), sim::kNotInitialised);
  EXPECT_EQ(DeviceClearData(0, "gpu.pcie.maxWidth", 0), sim::kNotInitialised);
  EXPECT_EQ(DeviceGetSupportedProperties(0, names, names), sim::kNotInitialised);
  EXPECT_EQ(DeviceGetAllSupportedProperties(buffer.data(), 64), sim::kNotInitialised);
  SnapShotRefreshStatus(&refreshing);
  EXPECT_FALSE(refreshing);
  unsigned int word = 7;
  std::vector<unsigned int> words;
  EXPECT_EQ(TesselCmdFpga(0, 1, 0, 0, {0, 0}, words, false), sim::kNotInitialised);
  EXPECT_EQ(TesselSyncCmdGpu(0, 1, 0, 0, 0, 0, &word, &word, &word, false), sim::kNotInitialised);
  EXPECT_EQ(word, 0U) << "a call that fails hands over nothing";
  EXPECT_EQ(TesselAsyncCmdGpu(0, 1, {}, &word, &word, words, 0, false), sim::kNotInitialised);
  EXPECT_EQ(DeviceSetCallbackUpdateData(0, "GPUGetVendorIdV2", {}, -1, "", "", -1),
            sim::kNotInitialised);
  ASSERT_EQ(GPUManagerInit("", "", ""), 0);
  EXPECT_EQ(GPUManagerInit("", "", ""), sim::kAlreadyRunning);
  EXPECT_EQ(DeviceClearData(0, "gpu.pcie.maxWidth", 0), sim::kNotRunning);
  EXPECT_EQ(GPUManagerStop(), 0);
  EXPECT_EQ(DeviceClearData(0, "gpu.pcie.maxWidth", 0), sim::kNotInitialised);
}

TEST(Library, NullArgumentsAreRejected) {
  EXPECT_EQ(GPUManagerInit(nullptr, "", ""), sim::kBadArgument);
  EXPECT_EQ(GPUManagerInit("", nullptr, ""), sim::kBadArgument);
  EXPECT_EQ(GPUManagerInit("", "", nullptr), sim::kBadArgument);
  EXPECT_EQ(DeviceGetData(0, nullptr, 0, 0, nullptr, 0, 0, 0), sim::kBadArgument);
  char text[1] = {};
  EXPECT_EQ(DeviceGetSupportedProperties(0, nullptr, 1), sim::kBadArgument);
  EXPECT_EQ(DeviceGetSupportedProperties(0, text, 0), sim::kBadArgument);
  EXPECT_EQ(DeviceGetAllSupportedProperties(nullptr, 1), sim::kBadArgument);
  EXPECT_EQ(DeviceGetAllSupportedProperties(text, 0), sim::kBadArgument);
  EXPECT_EQ(DeviceSetData(0, "gpu.x", nullptr, 4, 0), sim::kBadArgument);
  EXPECT_EQ(GPUSetLogger(nullptr), sim::kBadArgument);
  EXPECT_EQ(GPUSetLogLevel(6), sim::kBadArgument);
  EXPECT_EQ(SnapShotRefreshStatus(nullptr), sim::kBadArgument);
}

TEST_F(RunningBoard, EveryListedPropertyOfEveryDeviceAnswers) {
  std::string text;
  for (int type = 0; type <= 24; ++type) {
    SCOPED_TRACE(type);
    std::vector<std::string> names;
    std::vector<std::string> details;
    const int code = DeviceGetSupportedProperties(type, names, details);
    EXPECT_EQ(code, type == 22 ? sim::kNoSuchKind : sim::kOk);
    EXPECT_EQ(names.empty(), type == 22);
    EXPECT_EQ(names.size(), details.size());
    for (const std::string& name : names) {
      int id = 0;
      while (get(id, name.c_str(), text) == sim::kOk) ++id;
      EXPECT_GT(id, 0) << name;
      EXPECT_EQ(get(id, name.c_str(), text), sim::kNoSuchDevice) << name;
      EXPECT_EQ(get(-1, name.c_str(), text), sim::kNoSuchDevice) << name;
    }
  }
}

TEST_F(RunningBoard, EveryApiNameTakesACallback) {
  for (std::size_t i = 0; i < PropertyCatalogue::ApiPropertyMap.size(); ++i) {
    const std::string name(PropertyCatalogue::ApiPropertyMap.entry(i).apiName);
    EXPECT_EQ(DeviceSetCallbackUpdateData(
                  0, name, [](auto...) {}, -1, "", "", -1),
              0)
        << name;
  }
}

TEST_F(RunningBoard, ListingsAreWholeOrNotGiven) {
  std::vector<char> buffer(20480, '#');
  ASSERT_EQ(DeviceGetSupportedProperties(4, buffer.data(), 20480), 0);
  const std::string retimers = buffer.data();
  std::vector<std::string> names;
  std::vector<std::string> details;
  ASSERT_EQ(DeviceGetSupportedProperties(4, names, details), 0);
  std::string joined;
  for (const std::string& name : names) joined += (joined.empty() ? "" : "\n") + name;
  EXPECT_EQ(retimers, joined);

  const int needed = static_cast<int>(retimers.size()) + 1;
  std::fill(buffer.begin(), buffer.end(), '#');
  EXPECT_EQ(DeviceGetSupportedProperties(4, buffer.data(), needed - 1), sim::kBufferTooSmall);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(DeviceGetSupportedProperties(4, buffer.data(), needed), 0);
  EXPECT_EQ(buffer[static_cast<std::size_t>(needed)], '#');

  EXPECT_EQ(DeviceGetAllSupportedProperties(buffer.data(), 20480), 0);
  EXPECT_EQ(DeviceGetSupportedProperties(-1, buffer.data(), 20480), sim::kNoSuchKind);
}

TEST_F(RunningBoard, WritesAndClearsChangeWhatIsRead) {
  const char* const name = "gpu.firmware.writeProtectMode";
  std::string text;
  EXPECT_EQ(set(3, name, 1), 0);
  ASSERT_EQ(get(3, name, text, 1), 0);
  EXPECT_EQ(text, "1");
  EXPECT_EQ(set(3, name, 2), sim::kOutOfRange);
  EXPECT_EQ(set(3, name, -1), sim::kOutOfRange);
  EXPECT_EQ(DeviceClearData(3, name, 0), 0);
  ASSERT_EQ(get(3, name, text, 1), 0);
  EXPECT_EQ(text, "0");
  EXPECT_EQ(set(0, "gpu.inventory.gpuPartNumber", 1), sim::kNotWritable);
  EXPECT_EQ(DeviceClearData(0, "gpu.inventory.gpuPartNumber", 0), sim::kNotClearable);
  EXPECT_EQ(set(0, "gpu.inventory.nothing", 1), sim::kNoSuchProperty);
  const std::int64_t wide = 1;
  EXPECT_EQ(DeviceSetData(3, name, &wide, sizeof wide, 0), sim::kBadArgument);
}

TEST_F(RunningBoard, AccessModesBeyondOneMeanNothing) {
  std::string text;
  EXPECT_EQ(get(0, "gpu.pcie.maxWidth", text, 0), 0);
  EXPECT_EQ(get(0, "gpu.pcie.maxWidth", text, 1), 0);
  EXPECT_EQ(get(0, "gpu.pcie.maxWidth", text, 2), sim::kBadArgument);
  EXPECT_EQ(get(0, "gpu.pcie.maxWidth", text, -1), sim::kBadArgument);
}

TEST(Library, ARejectedFileLeavesNothingBehindAndOneLine) {
  const std::string file = testing::TempDir() + "rejected.json";
  std::ofstream(file) << "{\n  \"board\": \"b\",\n  \"devices\": {\"gpu\": 256}\n}\n";
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(GPUManagerInit(file.c_str(), "", ""), sim::kFileRefused);
  const std::string line =
      testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
  EXPECT_EQ(line.substr(line.find(']') + 1),
            "E" + file + ":3:22: /devices/gpu: 256 is not in 0..255\n");
  EXPECT_EQ(GPUManagerRun(0, 0), sim::kNotInitialised);
  EXPECT_EQ(GPUManagerInit("", "", ""), 0);
  EXPECT_EQ(GPUManagerStop(), 0);
}

/// A line for every property of every device: kind, name, details, device and value; and one for
/// every property: the codes of a write and a clear. The clock is stepped, so that two equal boards
/// answer alike.
std::vector<std::string> answersOf(const std::string& manifest, const std::string& properties) {
  const std::string profile = testing::TempDir() + "stepped.json";
  std::ofstream(profile) << R"({"clock": {"mode": "stepped", "stepMs": 1000}})";
  std::vector<std::string> lines;
  EXPECT_EQ(GPUManagerInit(manifest.c_str(), profile.c_str(), properties.c_str()), 0);
  EXPECT_EQ(GPUManagerRun(0, 0), 0);
  for (int type = 0; type <= 24; ++type) {
    std::vector<std::string> names;
    std::vector<std::string> details;
    DeviceGetSupportedProperties(type, names, details);
    for (std::size_t i = 0; i < names.size(); ++i) {
      const char* const name = names[i].c_str();
      std::string text;
      for (int id = 0; get(id, name, text, 1) == sim::kOk; ++id) {
        lines.push_back(std::to_string(type) + ' ' + names[i] + ' ' + details.at(i) + ' ' +
                        std::to_string(id) + ' ' + text);
      }
      const int written = set(0, name, -1);
      const int cleared = DeviceClearData(0, name, 0);
      lines.push_back(names[i] + ' ' + std::to_string(written) + ' ' + std::to_string(cleared));
    }
  }
  EXPECT_EQ(GPUManagerStop(), 0);
  return lines;
}

TEST(Library, TheExampleBoardIsTheBuiltInBoard) {
  const std::string folder = EXAMPLES;
  const auto example = answersOf(folder + "/oob_manifest.json", folder + "/oob_properties.json");
  const auto builtIn = answersOf("", "");
  ASSERT_EQ(example.size(), builtIn.size());
  ASSERT_FALSE(builtIn.empty());
  for (std::size_t i = 0; i < builtIn.size(); ++i) EXPECT_EQ(example[i], builtIn[i]) << i;
}

}  // namespace
