#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"
#include "sim/base/kinds.h"
#include "sim/library/manager.h"

// The entry points: each checks its arguments and makes a call of them for the manager.

namespace {

using sim::Call;
using sim::KindIndex;
using sim::Operation;
using sim::PostboxReply;
using sim::PostboxRequest;
using sim::Result;

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

/// Runs the body of an entry point; nothing may be thrown across the interface.
template <class Work>
int guarded(Work work) noexcept {
  try {
    return work();
  } catch (...) {
    return sim::kInternal;
  }
}

/// Answers a call whose arguments mean nothing.
int rejected(std::string_view entry, sim::Code code = sim::kBadArgument) {
  return guarded([&] { return manager().reject(entry, code); });
}

/// Hands over a text that fits, as the board has seen to. Returns the call's code.
int copyText(const Result& result, char* buffer, int size) {
  if (result.code != sim::kOk) return result.code;
  char* const end = std::copy(result.text.begin(), result.text.end(), buffer);
  if (result.unterminated) {
    std::fill(end, buffer + size, '#');
  } else {
    *end = '\0';
  }
  return sim::kOk;
}

Call callOf(std::string_view entry, Operation operation, int deviceId = 0, std::string name = "") {
  Call call;
  call.entry = entry;
  call.operation = operation;
  call.deviceId = deviceId;
  call.name = std::move(name);
  return call;
}

Result list(std::string_view entry, std::optional<KindIndex> kind,
            std::optional<std::size_t> room = {}) {
  Call call = callOf(entry, Operation::list);
  call.kind = kind;
  call.room = room;
  return manager().execute(std::move(call));
}

int listText(std::string_view entry, std::optional<KindIndex> kind, char* buffer, int size) {
  return copyText(list(entry, kind, static_cast<std::size_t>(size)), buffer, size);
}

Result request(std::string_view entry, Operation operation, const PostboxRequest& request,
               std::optional<std::size_t> room = {}) {
  Call call = callOf(entry, operation);
  call.room = room;
  call.device = request.device;
  call.postbox = request;
  return manager().execute(std::move(call));
}

/// A request with a list of words. The reply's registers come back even when it was rejected.
int rawRequest(std::string_view entry, KindIndex kind, int deviceId, unsigned char opcode,
               unsigned char arg1, unsigned char arg2, const std::vector<unsigned int>& input,
               std::vector<unsigned int>& output) {
  if (input.size() < 2) return rejected(entry);
  return guarded([&] {
    const auto result = request(entry, Operation::raw,
                                {{kind, deviceId}, opcode, arg1, arg2, input[0], input[1], {}});
    const PostboxReply& reply = result.postbox;
    if (reply.status != sim::kPostboxIdle) output = {reply.status, reply.data, reply.extended};
    return result.code;
  });
}

int syncRequest(std::string_view entry, const PostboxRequest& words, unsigned int* output1,
                unsigned int* output2, unsigned int* output3) {
  if (output1 == nullptr || output2 == nullptr || output3 == nullptr) return rejected(entry);
  return guarded([&] {
    const Result result = request(entry, Operation::rawSyncCmd, words);
    const PostboxReply& reply = result.postbox;
    *output1 = reply.status;
    *output2 = reply.data;
    *output3 = reply.extended;
    return result.code;
  });
}

int asyncRequest(std::string_view entry, KindIndex kind, int deviceId, unsigned char opcode,
                 const std::vector<unsigned int>& input, unsigned int* output1,
                 unsigned int* output2, std::vector<unsigned int>& output,
                 unsigned int outputSize) {
  if (output1 == nullptr || output2 == nullptr) return rejected(entry);
  return guarded([&] {
    const unsigned int first = input.empty() ? 0 : input[0];
    const std::size_t wanted = outputSize / 4U + (outputSize % 4U != 0 ? 1U : 0U);
    const Result result = request(entry, Operation::rawAsyncCmd,
                                  {{kind, deviceId}, opcode, 0, 0, first, 0, input, true}, wanted);
    const PostboxReply& reply = result.postbox;
    *output1 = reply.status;
    *output2 = reply.data;
    output.assign(reply.words.begin(), reply.words.end());
    return result.code;
  });
}

}  // namespace

int GPUSetLogger(const char* fileName) {
  return guarded([&] { return manager().openLog(fileName); });
}

int GPUSetLogLevel(int level) {
  return guarded([&] { return manager().setLogLevel(level); });
}

int GPUManagerInit(const char* manifestFile, const char* profileFile, const char* propertiesFile) {
  if (manifestFile == nullptr || profileFile == nullptr || propertiesFile == nullptr) {
    return rejected("GPUManagerInit");
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
  if (propertyName == nullptr || buffer == nullptr || size <= 0) return rejected("DeviceGetData");
  return guarded([&] {
    Call call = callOf("DeviceGetData", Operation::get, deviceId, propertyName);
    call.accessMode = accessMode;
    call.room = static_cast<std::size_t>(size);
    return copyText(manager().execute(std::move(call)), buffer, size);
  });
}

int DeviceSetData(int deviceId, const char* propertyName, const void* value, int size,
                  int /*reserved*/) {
  std::int32_t number = 0;
  if (propertyName == nullptr || value == nullptr || size != sizeof number) {
    return rejected("DeviceSetData");
  }
  std::memcpy(&number, value, sizeof number);
  return guarded([&] {
    Call call = callOf("DeviceSetData", Operation::set, deviceId, propertyName);
    call.value = number;
    return manager().execute(std::move(call)).code;
  });
}

int DeviceClearData(int deviceId, const char* propertyName, int /*reserved*/) {
  if (propertyName == nullptr) return rejected("DeviceClearData");
  return guarded([&] {
    return manager()
        .execute(callOf("DeviceClearData", Operation::clear, deviceId, propertyName))
        .code;
  });
}

int DeviceGetSupportedProperties(int deviceType, char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return rejected("DeviceGetSupportedProperties");
  const auto kind = sim::kindOfCode(deviceType);
  if (!kind) return rejected("DeviceGetSupportedProperties", sim::kNoSuchKind);
  return guarded([&] { return listText("DeviceGetSupportedProperties", kind, buffer, size); });
}

int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& details) {
  const auto kind = sim::kindOfCode(deviceType);
  if (!kind) return rejected("DeviceGetSupportedProperties", sim::kNoSuchKind);
  return guarded([&] {
    const Result result = list("DeviceGetSupportedProperties", kind);
    names.insert(names.end(), result.names.begin(), result.names.end());
    details.insert(details.end(), result.units.begin(), result.units.end());
    return result.code;
  });
}

int DeviceGetAllSupportedProperties(char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return rejected("DeviceGetAllSupportedProperties");
  return guarded([&] { return listText("DeviceGetAllSupportedProperties", {}, buffer, size); });
}

int SnapShotRefreshStatus(bool* running) {
  if (running == nullptr) return rejected("SnapShotRefreshStatus");
  *running = false;
  return guarded([&] {
    const Result result = manager().execute(callOf("SnapShotRefreshStatus", Operation::snapshot));
    *running = result.refreshing;
    return result.code;
  });
}

int DeviceSetCallbackUpdateData(int deviceId, const std::string& apiName,
                                const UpdateCallback& callback, int /*reserved0*/,
                                const std::string& /*reserved1*/, const std::string& /*reserved2*/,
                                int /*reserved3*/) {
  return guarded([&] {
    Call call = callOf("DeviceSetCallbackUpdateData", Operation::setCallback, deviceId, apiName);
    call.callback = callback;
    return manager().execute(std::move(call)).code;
  });
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
