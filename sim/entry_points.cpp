#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"
#include "sim/log.h"
#include "sim/manager.h"

// The entry points: each checks its arguments, takes the lock, and hands over to the manager.

namespace {

/// Never destroyed, since the process may end while the manager runs.
sim::Manager& manager() {
  static auto* const instance = new sim::Manager;
  return *instance;
}

std::mutex& managerLock() {
  static auto* const instance = new std::mutex;
  return *instance;
}

/// Runs one operation under the lock; nothing may be thrown across the interface.
template <class Operation>
int guarded(Operation operation) noexcept {
  try {
    const std::lock_guard lock(managerLock());
    return operation();
  } catch (...) {
    return sim::kInternal;
  }
}

int copyText(const std::string& text, char* buffer, int size) {
  if (text.size() >= static_cast<std::size_t>(size)) return sim::kBufferTooSmall;
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return sim::kOk;
}

int listText(std::optional<sim::KindIndex> kind, char* buffer, int size) {
  std::vector<std::string> names;
  std::vector<std::string> details;
  if (const int code = manager().list(kind, names, details); code != sim::kOk) return code;
  std::string text;
  for (const std::string& name : names) {
    if (!text.empty()) text += '\n';
    text += name;
  }
  return copyText(text, buffer, size);
}

}  // namespace

int GPUSetLogger(const char* fileName) {
  return guarded([&] { return sim::openLogFile(fileName); });
}

int GPUSetLogLevel(int level) {
  return guarded([&] { return sim::setLogLevel(level); });
}

int GPUManagerInit(const char* manifestFile, const char* profileFile, const char* propertiesFile) {
  if (manifestFile == nullptr || profileFile == nullptr || propertiesFile == nullptr) {
    return sim::kBadArgument;
  }
  return guarded([&] { return manager().init(manifestFile, profileFile, propertiesFile); });
}

int GPUManagerRun(int /*reserved0*/, int /*reserved1*/) {
  return guarded([] { return manager().run(); });
}

int GPUManagerStop() {
  return guarded([] { return manager().stop(); });
}

int DeviceGetData(int deviceId, const char* propertyName, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int size, int accessMode, int /*reserved2*/) {
  if (propertyName == nullptr || buffer == nullptr || size <= 0) return sim::kBadArgument;
  return guarded([&] {
    std::string text;
    const int code = manager().get(deviceId, propertyName, accessMode, text);
    return code == sim::kOk ? copyText(text, buffer, size) : code;
  });
}

int DeviceSetData(int deviceId, const char* propertyName, const void* value, int size,
                  int /*reserved*/) {
  std::int32_t number = 0;
  if (propertyName == nullptr || value == nullptr || size != sizeof number) {
    return sim::kBadArgument;
  }
  std::memcpy(&number, value, sizeof number);
  return guarded([&] { return manager().set(deviceId, propertyName, number); });
}

int DeviceClearData(int deviceId, const char* propertyName, int /*reserved*/) {
  if (propertyName == nullptr) return sim::kBadArgument;
  return guarded([&] { return manager().clear(deviceId, propertyName); });
}

int DeviceGetSupportedProperties(int deviceType, char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return sim::kBadArgument;
  const auto kind = sim::kindOfCode(deviceType);
  if (!kind) return sim::kNoSuchKind;
  return guarded([&] { return listText(kind, buffer, size); });
}

int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& details) {
  const auto kind = sim::kindOfCode(deviceType);
  if (!kind) return sim::kNoSuchKind;
  return guarded([&] { return manager().list(kind, names, details); });
}

int DeviceGetAllSupportedProperties(char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return sim::kBadArgument;
  return guarded([&] { return listText({}, buffer, size); });
}

int SnapShotRefreshStatus(bool* running) {
  if (running == nullptr) return sim::kBadArgument;
  *running = false;
  return guarded([&] {
    *running = manager().refreshing();
    return sim::kOk;
  });
}

int DeviceSetCallbackUpdateData(int /*deviceId*/, const std::string& /*apiName*/,
                                const UpdateCallback& /*callback*/, int /*reserved0*/,
                                const std::string& /*reserved1*/, const std::string& /*reserved2*/,
                                int /*reserved3*/) {
  return sim::kNotSupported;
}

int TesselCmd(int /*deviceId*/, unsigned char /*opcode*/, unsigned char /*arg1*/,
              unsigned char /*arg2*/, const std::vector<unsigned int>& /*input*/,
              std::vector<unsigned int>& /*output*/, bool /*flag*/) {
  return sim::kNotSupported;
}
int TesselCmdKorswitch(int /*deviceId*/, unsigned char /*opcode*/, unsigned char /*arg1*/,
                       unsigned char /*arg2*/, const std::vector<unsigned int>& /*input*/,
                       std::vector<unsigned int>& /*output*/, bool /*flag*/) {
  return sim::kNotSupported;
}
int TesselCmdFpga(int /*deviceId*/, unsigned char /*opcode*/, unsigned char /*arg1*/,
                  unsigned char /*arg2*/, const std::vector<unsigned int>& /*input*/,
                  std::vector<unsigned int>& /*output*/, bool /*flag*/) {
  return sim::kNotSupported;
}

int TesselSyncCmdGpu(int /*deviceId*/, unsigned char /*opcode*/, unsigned char /*arg1*/,
                     unsigned char /*arg2*/, unsigned int /*data*/, unsigned int /*extendedData*/,
                     unsigned int* /*output1*/, unsigned int* /*output2*/,
                     unsigned int* /*output3*/, bool /*flag*/) {
  return sim::kNotSupported;
}
int TesselSyncCmdKorswitch(int /*deviceId*/, unsigned char /*opcode*/, unsigned char /*arg1*/,
                           unsigned char /*arg2*/, unsigned int /*data*/,
                           unsigned int /*extendedData*/, unsigned int* /*output1*/,
                           unsigned int* /*output2*/, unsigned int* /*output3*/, bool /*flag*/) {
  return sim::kNotSupported;
}
int TesselSyncCmdFpga(int /*deviceId*/, unsigned char /*opcode*/, unsigned char /*arg1*/,
                      unsigned char /*arg2*/, unsigned int /*data*/, unsigned int /*extendedData*/,
                      unsigned int* /*output1*/, unsigned int* /*output2*/,
                      unsigned int* /*output3*/, bool /*flag*/) {
  return sim::kNotSupported;
}

int TesselAsyncCmdGpu(int /*deviceId*/, unsigned char /*request*/,
                      const std::vector<unsigned int>& /*input*/, unsigned int* /*output1*/,
                      unsigned int* /*output2*/, std::vector<unsigned int>& /*output*/,
                      unsigned int /*outputSize*/, bool /*flag*/) {
  return sim::kNotSupported;
}
int TesselAsyncCmdKorswitch(int /*deviceId*/, unsigned char /*request*/,
                            const std::vector<unsigned int>& /*input*/, unsigned int* /*output1*/,
                            unsigned int* /*output2*/, std::vector<unsigned int>& /*output*/,
                            unsigned int /*outputSize*/, bool /*flag*/) {
  return sim::kNotSupported;
}
