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
#include "journal/capture.h"
#include "sim/base/kinds.h"
#include "sim/library/manager.h"

// The entry points: each captures its arguments, checks them and makes a call of them for the
// manager, which hands over the answer.

namespace {

using journal::Capture;
using journal::Entry;
using sim::Call;
using sim::KindIndex;
using sim::Operation;
using sim::PostboxRequest;

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

/// Answers a call: from a recording while one is replayed, or else with the body of the entry
/// point. Nothing may be thrown across the interface.
template <class Work>
int answer(const Capture& capture, Work work) noexcept {
  try {
    sim::Player& player = manager().player();
    if (!player.active()) return work();
    if (capture.entry() <= Entry::setLogLevel) work();  // The log is this process's own.
    return player.answer(capture);
  } catch (...) {
    return sim::kInternal;
  }
}

void guardExit() { static const ExitGuard guard; }

/// Answers a call whose arguments mean nothing.
int rejected(const Capture& capture, sim::Code code = sim::kBadArgument) {
  return answer(capture, [&] { return manager().reject(capture, code); });
}

Call callOf(const Capture& capture, Operation operation, int deviceId = 0, std::string name = "") {
  Call call;
  call.entry = journal::entryPoint(capture.entry()).name;
  call.operation = operation;
  call.deviceId = deviceId;
  call.name = std::move(name);
  return call;
}

/// A listing of one kind or of all, as a text if there is a size.
int list(const Capture& capture, std::optional<KindIndex> kind, std::optional<int> size = {}) {
  return answer(capture, [&] {
    Call call = callOf(capture, Operation::list);
    call.kind = kind;
    if (size) call.room = static_cast<std::size_t>(*size);
    return manager().execute(std::move(call), capture);
  });
}

int request(const Capture& capture, Operation operation, const PostboxRequest& request,
            std::optional<std::size_t> room = {}) {
  return answer(capture, [&] {
    Call call = callOf(capture, operation);
    call.room = room;
    call.device = request.device;
    call.postbox = request;
    return manager().execute(std::move(call), capture);
  });
}

/// A request with a list of words.
int rawRequest(Entry entry, KindIndex kind, int deviceId, unsigned char opcode, unsigned char arg1,
               unsigned char arg2, const std::vector<unsigned int>& input,
               std::vector<unsigned int>& output, bool flag) {
  const Capture capture(entry, deviceId, opcode, arg1, arg2, input, output, flag);
  if (input.size() < 2) return rejected(capture);
  return request(capture, Operation::raw,
                 {{kind, deviceId}, opcode, arg1, arg2, input[0], input[1], {}});
}

int syncRequest(Entry entry, const PostboxRequest& words, unsigned int* output1,
                unsigned int* output2, unsigned int* output3, bool flag) {
  const Capture capture(entry, words.device.id, words.opcode, words.arg1, words.arg2, words.data,
                        words.extended, output1, output2, output3, flag);
  if (output1 == nullptr || output2 == nullptr || output3 == nullptr) return rejected(capture);
  return request(capture, Operation::rawSyncCmd, words);
}

int asyncRequest(Entry entry, KindIndex kind, int deviceId, unsigned char opcode,
                 const std::vector<unsigned int>& input, unsigned int* output1,
                 unsigned int* output2, std::vector<unsigned int>& output, unsigned int outputSize,
                 bool flag) {
  const Capture capture(entry, deviceId, opcode, input, output1, output2, output, outputSize, flag);
  if (output1 == nullptr || output2 == nullptr) return rejected(capture);
  const unsigned int first = input.empty() ? 0 : input[0];
  const std::size_t wanted = outputSize / 4U + (outputSize % 4U != 0 ? 1U : 0U);
  return request(capture, Operation::rawAsyncCmd,
                 {{kind, deviceId}, opcode, 0, 0, first, 0, input, true}, wanted);
}

}  // namespace

int GPUSetLogger(const char* fileName) {
  const Capture capture(Entry::setLogger, fileName);
  return answer(capture, [&] { return manager().openLog(fileName, capture); });
}

int GPUSetLogLevel(int level) {
  const Capture capture(Entry::setLogLevel, level);
  return answer(capture, [&] { return manager().setLogLevel(level, capture); });
}

int GPUManagerInit(const char* manifestFile, const char* profileFile, const char* propertiesFile) {
  const Capture capture(Entry::managerInit, manifestFile, profileFile, propertiesFile);
  if (manifestFile == nullptr || profileFile == nullptr || propertiesFile == nullptr) {
    return rejected(capture);
  }
  return answer(capture, [&] {
    const int code = manager().init(manifestFile, profileFile, propertiesFile, capture);
    if (!manager().player().active()) return code;
    guardExit();
    return manager().player().answer(capture);
  });
}

int GPUManagerRun(int reserved0, int reserved1) {
  const Capture capture(Entry::managerRun, reserved0, reserved1);
  return answer(capture, [&] {
    guardExit();
    return manager().run(capture);
  });
}

int GPUManagerStop() {
  const Capture capture(Entry::managerStop);
  return answer(capture, [&] { return manager().stop(capture); });
}

int DeviceGetData(int deviceId, const char* propertyName, int reserved0, int reserved1,
                  char* buffer, int size, int accessMode, int reserved2) {
  const Capture capture(Entry::getData, deviceId, propertyName, reserved0, reserved1, buffer, size,
                        accessMode, reserved2);
  if (propertyName == nullptr || buffer == nullptr || size <= 0) return rejected(capture);
  return answer(capture, [&] {
    Call call = callOf(capture, Operation::get, deviceId, propertyName);
    call.accessMode = accessMode;
    call.room = static_cast<std::size_t>(size);
    return manager().execute(std::move(call), capture);
  });
}

int DeviceSetData(int deviceId, const char* propertyName, const void* value, int size,
                  int reserved) {
  const Capture capture(Entry::setData, deviceId, propertyName, value, size, reserved);
  std::int32_t number = 0;
  if (propertyName == nullptr || value == nullptr || size != sizeof number) {
    return rejected(capture);
  }
  std::memcpy(&number, value, sizeof number);
  return answer(capture, [&] {
    Call call = callOf(capture, Operation::set, deviceId, propertyName);
    call.value = number;
    return manager().execute(std::move(call), capture);
  });
}

int DeviceClearData(int deviceId, const char* propertyName, int reserved) {
  const Capture capture(Entry::clearData, deviceId, propertyName, reserved);
  if (propertyName == nullptr) return rejected(capture);
  return answer(capture, [&] {
    return manager().execute(callOf(capture, Operation::clear, deviceId, propertyName), capture);
  });
}

int DeviceGetSupportedProperties(int deviceType, char* buffer, int size) {
  const Capture capture(Entry::listText, deviceType, buffer, size);
  if (buffer == nullptr || size <= 0) return rejected(capture);
  const auto kind = sim::kindOfCode(deviceType);
  return kind ? list(capture, kind, size) : rejected(capture, sim::kNoSuchKind);
}

int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& details) {
  const Capture capture(Entry::listNames, deviceType, names, details);
  const auto kind = sim::kindOfCode(deviceType);
  return kind ? list(capture, kind) : rejected(capture, sim::kNoSuchKind);
}

int DeviceGetAllSupportedProperties(char* buffer, int size) {
  const Capture capture(Entry::listAllText, buffer, size);
  if (buffer == nullptr || size <= 0) return rejected(capture);
  return list(capture, {}, size);
}

int SnapShotRefreshStatus(bool* running) {
  const Capture capture(Entry::snapshotStatus, running);
  if (running == nullptr) return rejected(capture);
  *running = false;
  return answer(capture,
                [&] { return manager().execute(callOf(capture, Operation::snapshot), capture); });
}

int DeviceSetCallbackUpdateData(int deviceId, const std::string& apiName,
                                const UpdateCallback& callback, int reserved0,
                                const std::string& reserved1, const std::string& reserved2,
                                int reserved3) {
  const Capture capture(Entry::setCallback, deviceId, apiName, callback, reserved0, reserved1,
                        reserved2, reserved3);
  return answer(capture, [&] {
    Call call = callOf(capture, Operation::setCallback, deviceId, apiName);
    call.callback = callback;
    return manager().execute(std::move(call), capture);
  });
}

int TesselCmd(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
              const std::vector<unsigned int>& input, std::vector<unsigned int>& output,
              bool flag) {
  return rawRequest(Entry::rawGpu, sim::kGpu, deviceId, opcode, arg1, arg2, input, output, flag);
}
int TesselCmdKorswitch(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                       const std::vector<unsigned int>& input, std::vector<unsigned int>& output,
                       bool flag) {
  return rawRequest(Entry::rawKorswitch, sim::kKorswitch, deviceId, opcode, arg1, arg2, input,
                    output, flag);
}
int TesselCmdFpga(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                  const std::vector<unsigned int>& input, std::vector<unsigned int>& output,
                  bool flag) {
  return rawRequest(Entry::rawFpga, sim::kFpga, deviceId, opcode, arg1, arg2, input, output, flag);
}

int TesselSyncCmdGpu(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                     unsigned int data, unsigned int extendedData, unsigned int* output1,
                     unsigned int* output2, unsigned int* output3, bool flag) {
  return syncRequest(Entry::syncGpu,
                     {{sim::kGpu, deviceId}, opcode, arg1, arg2, data, extendedData, {}}, output1,
                     output2, output3, flag);
}
int TesselSyncCmdKorswitch(int deviceId, unsigned char opcode, unsigned char arg1,
                           unsigned char arg2, unsigned int data, unsigned int extendedData,
                           unsigned int* output1, unsigned int* output2, unsigned int* output3,
                           bool flag) {
  return syncRequest(Entry::syncKorswitch,
                     {{sim::kKorswitch, deviceId}, opcode, arg1, arg2, data, extendedData, {}},
                     output1, output2, output3, flag);
}
int TesselSyncCmdFpga(int deviceId, unsigned char opcode, unsigned char arg1, unsigned char arg2,
                      unsigned int data, unsigned int extendedData, unsigned int* output1,
                      unsigned int* output2, unsigned int* output3, bool flag) {
  return syncRequest(Entry::syncFpga,
                     {{sim::kFpga, deviceId}, opcode, arg1, arg2, data, extendedData, {}}, output1,
                     output2, output3, flag);
}

int TesselAsyncCmdGpu(int deviceId, unsigned char request, const std::vector<unsigned int>& input,
                      unsigned int* output1, unsigned int* output2,
                      std::vector<unsigned int>& output, unsigned int outputSize, bool flag) {
  return asyncRequest(Entry::asyncGpu, sim::kGpu, deviceId, request, input, output1, output2,
                      output, outputSize, flag);
}
int TesselAsyncCmdKorswitch(int deviceId, unsigned char request,
                            const std::vector<unsigned int>& input, unsigned int* output1,
                            unsigned int* output2, std::vector<unsigned int>& output,
                            unsigned int outputSize, bool flag) {
  return asyncRequest(Entry::asyncKorswitch, sim::kKorswitch, deviceId, request, input, output1,
                      output2, output, outputSize, flag);
}
