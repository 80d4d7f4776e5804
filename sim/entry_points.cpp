#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"
#include "sim/kinds.h"
#include "sim/log.h"
#include "sim/manager.h"

// The entry points: each checks its arguments and hands over to the manager.

namespace {

using sim::KindIndex;
using sim::MailboxReply;
using sim::MailboxRequest;
using sim::Operation;

/// Never destroyed, since the process may end while the manager runs.
sim::Manager& manager() {
  static auto* const instance = new sim::Manager;
  return *instance;
}

/// Ends the manager's thread when the process ends without having stopped the manager. Made by the
/// first start, so it is destroyed before anything that existed until then.
struct ExitGuard {
  ~ExitGuard() { manager().atExit(); }
};

/// Runs one operation; nothing may be thrown across the interface.
template <class Operation>
int guarded(Operation operation) noexcept {
  try {
    return operation();
  } catch (...) {
    return sim::kInternal;
  }
}

/// Answers a call whose arguments mean nothing.
int refused(std::string_view entry, sim::Code code = sim::kBadArgument) {
  return guarded([&] { return manager().refuse(entry, code); });
}

int copyText(const std::string& text, char* buffer, int size) {
  if (text.size() >= static_cast<std::size_t>(size)) return sim::kBufferTooSmall;
  *std::copy(text.begin(), text.end(), buffer) = '\0';
  return sim::kOk;
}

int copyReading(const sim::Reading& reading, char* buffer, int size) {
  if (!reading.unterminated) return copyText(reading.text, buffer, size);
  const auto kept = std::min(reading.text.size(), static_cast<std::size_t>(size));
  std::fill(std::copy_n(reading.text.begin(), kept, buffer), buffer + size, '#');
  return sim::kOk;
}

int listText(std::string_view entry, std::optional<KindIndex> kind, char* buffer, int size) {
  std::vector<std::string> names;
  std::vector<std::string> details;
  if (const int code = manager().list(entry, kind, names, details); code != sim::kOk) return code;
  std::string text;
  for (const std::string& name : names) {
    if (!text.empty()) text += '\n';
    text += name;
  }
  return copyText(text, buffer, size);
}

/// A request with a list of words. The reply's registers come back even when it was refused.
int rawRequest(std::string_view entry, KindIndex kind, int deviceId, unsigned char opcode,
               unsigned char arg1, unsigned char arg2, const std::vector<unsigned int>& input,
               std::vector<unsigned int>& output) {
  if (input.size() < 2) return refused(entry);
  return guarded([&] {
    MailboxReply reply;
    const MailboxRequest request{{kind, deviceId}, opcode, arg1, arg2, input[0], input[1]};
    const int code = manager().request(entry, Operation::raw, request, reply);
    if (reply.status != sim::kMailboxIdle) output = {reply.status, reply.data, reply.extended};
    return code;
  });
}

int syncRequest(std::string_view entry, const MailboxRequest& request, unsigned int* output1,
                unsigned int* output2, unsigned int* output3) {
  if (output1 == nullptr || output2 == nullptr || output3 == nullptr) return refused(entry);
  return guarded([&] {
    MailboxReply reply;
    const int code = manager().request(entry, Operation::rawSyncCmd, request, reply);
    *output1 = reply.status;
    *output2 = reply.data;
    *output3 = reply.extended;
    return code;
  });
}

int asyncRequest(std::string_view entry, KindIndex kind, int deviceId, unsigned char opcode,
                 const std::vector<unsigned int>& input, unsigned int* output1,
                 unsigned int* output2, std::vector<unsigned int>& output,
                 unsigned int outputSize) {
  if (output1 == nullptr || output2 == nullptr) return refused(entry);
  return guarded([&] {
    MailboxReply reply;
    const MailboxRequest request{{kind, deviceId}, opcode, 0, 0, input.empty() ? 0 : input[0], 0};
    const int code = manager().asyncRequest(entry, request, input, reply);
    *output1 = reply.status;
    *output2 = reply.data;
    const std::size_t wanted = outputSize / 4U + (outputSize % 4U != 0 ? 1U : 0U);
    reply.words.resize(std::min(reply.words.size(), wanted));
    output.assign(reply.words.begin(), reply.words.end());
    return code;
  });
}

}  // namespace

int GPUSetLogger(const char* fileName) {
  return guarded([&] {
    const int code = sim::openLogFile(fileName);
    manager().noteLog("GPUSetLogger", fileName == nullptr ? "" : fileName, code);
    return code;
  });
}

int GPUSetLogLevel(int level) {
  return guarded([&] {
    const int code = sim::setLogLevel(level);
    manager().noteLog("GPUSetLogLevel", std::to_string(level), code);
    return code;
  });
}

int GPUManagerInit(const char* manifestFile, const char* profileFile, const char* propertiesFile) {
  if (manifestFile == nullptr || profileFile == nullptr || propertiesFile == nullptr) {
    return refused("GPUManagerInit");
  }
  return guarded([&] { return manager().init(manifestFile, profileFile, propertiesFile); });
}

int GPUManagerRun(int /*reserved0*/, int /*reserved1*/) {
  return guarded([] {
    static const ExitGuard guard;
    return manager().run();
  });
}

int GPUManagerStop() {
  return guarded([] { return manager().stop(); });
}

int DeviceGetData(int deviceId, const char* propertyName, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int size, int accessMode, int /*reserved2*/) {
  if (propertyName == nullptr || buffer == nullptr || size <= 0) return refused("DeviceGetData");
  return guarded([&] {
    sim::Reading reading;
    const int code = manager().get(deviceId, propertyName, accessMode, reading);
    return code == sim::kOk ? copyReading(reading, buffer, size) : code;
  });
}

int DeviceSetData(int deviceId, const char* propertyName, const void* value, int size,
                  int /*reserved*/) {
  std::int32_t number = 0;
  if (propertyName == nullptr || value == nullptr || size != sizeof number) {
    return refused("DeviceSetData");
  }
  std::memcpy(&number, value, sizeof number);
  return guarded([&] { return manager().set(deviceId, propertyName, number); });
}

int DeviceClearData(int deviceId, const char* propertyName, int /*reserved*/) {
  if (propertyName == nullptr) return refused("DeviceClearData");
  return guarded([&] { return manager().clear(deviceId, propertyName); });
}

int DeviceGetSupportedProperties(int deviceType, char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return refused("DeviceGetSupportedProperties");
  const auto kind = sim::kindOfCode(deviceType);
  if (!kind) return refused("DeviceGetSupportedProperties", sim::kNoSuchKind);
  return guarded([&] { return listText("DeviceGetSupportedProperties", kind, buffer, size); });
}

int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& details) {
  const auto kind = sim::kindOfCode(deviceType);
  if (!kind) return refused("DeviceGetSupportedProperties", sim::kNoSuchKind);
  return guarded(
      [&] { return manager().list("DeviceGetSupportedProperties", kind, names, details); });
}

int DeviceGetAllSupportedProperties(char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return refused("DeviceGetAllSupportedProperties");
  return guarded([&] { return listText("DeviceGetAllSupportedProperties", {}, buffer, size); });
}

int SnapShotRefreshStatus(bool* running) {
  if (running == nullptr) return refused("SnapShotRefreshStatus");
  *running = false;
  return guarded([&] { return manager().refreshStatus(*running); });
}

int DeviceSetCallbackUpdateData(int deviceId, const std::string& apiName,
                                const UpdateCallback& callback, int /*reserved0*/,
                                const std::string& /*reserved1*/, const std::string& /*reserved2*/,
                                int /*reserved3*/) {
  return guarded([&] { return manager().listen(deviceId, apiName, callback); });
}

int TesselCmd(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
              const std::vector<unsigned int>& input, std::vector<unsigned int>& output,
              bool /*flag*/) {
  return rawRequest("TesselCmd", sim::kGpu, deviceId, opcode, arg1, arg2, input, output);
}
int TesselCmdKorswitch(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                       const std::vector<unsigned int>& input, std::vector<unsigned int>& output,
                       bool /*flag*/) {
  return rawRequest("TesselCmdKorswitch", sim::kKorswitch, deviceId, opcode, arg1, arg2, input,
                    output);
}
int TesselCmdFpga(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                  const std::vector<unsigned int>& input, std::vector<unsigned int>& output,
                  bool /*flag*/) {
  return rawRequest("TesselCmdFpga", sim::kFpga, deviceId, opcode, arg1, arg2, input, output);
}

int TesselSyncCmdGpu(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                     unsigned int data, unsigned int extendedData, unsigned int* output1,
                     unsigned int* output2, unsigned int* output3, bool /*flag*/) {
  return syncRequest("TesselSyncCmdGpu",
                     {{sim::kGpu, deviceId}, opcode, arg1, arg2, data, extendedData}, output1,
                     output2, output3);
}
int TesselSyncCmdKorswitch(int deviceId, unsigned char opcode, unsigned char arg1,
                           unsigned char arg2, unsigned int data, unsigned int extendedData,
                           unsigned int* output1, unsigned int* output2, unsigned int* output3,
                           bool /*flag*/) {
  return syncRequest("TesselSyncCmdKorswitch",
                     {{sim::kKorswitch, deviceId}, opcode, arg1, arg2, data, extendedData}, output1,
                     output2, output3);
}
int TesselSyncCmdFpga(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                      unsigned int data, unsigned int extendedData, unsigned int* output1,
                      unsigned int* output2, unsigned int* output3, bool /*flag*/) {
  return syncRequest("TesselSyncCmdFpga",
                     {{sim::kFpga, deviceId}, opcode, arg1, arg2, data, extendedData}, output1,
                     output2, output3);
}

int TesselAsyncCmdGpu(int deviceId, unsigned char request, const std::vector<unsigned int>& input,
                      unsigned int* output1, unsigned int* output2,
                      std::vector<unsigned int>& output, unsigned int outputSize, bool /*flag*/) {
  return asyncRequest("TesselAsyncCmdGpu", sim::kGpu, deviceId, request, input, output1, output2,
                      output, outputSize);
}
int TesselAsyncCmdKorswitch(int deviceId, unsigned char request,
                            const std::vector<unsigned int>& input, unsigned int* output1,
                            unsigned int* output2, std::vector<unsigned int>& output,
                            unsigned int outputSize, bool /*flag*/) {
  return asyncRequest("TesselAsyncCmdKorswitch", sim::kKorswitch, deviceId, request, input, output1,
                      output2, output, outputSize);
}
