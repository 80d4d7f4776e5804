#include "tests/support/recording_library.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <type_traits>

#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"
#include "tests/support/default_library.h"

namespace {

std::string text(const char* value) {
  return value == nullptr ? "null" : '"' + std::string(value) + '"';
}
std::string text(const std::string& value) { return '"' + value + '"'; }
std::string text(bool value) { return value ? "true" : "false"; }
std::string text(const std::vector<unsigned int>& words) {
  std::string list = "{";
  for (const unsigned int word : words) list += (list.size() > 1 ? " " : "") + std::to_string(word);
  return list + "}";
}
template <typename T>
requires std::is_arithmetic_v<T> std::string text(T value) { return std::to_string(value); }

template <typename... Arguments>
void record(const char* name, const Arguments&... arguments) {
  std::string list;
  ((list += (list.empty() ? "" : ", ") + text(arguments)), ...);
  library().calls.push_back(name + ("(" + list + ")"));
  if (library().during) library().during(name);
}

void fill(const std::string& content, char* buffer, int size) {
  const std::size_t length = std::min(content.size() + 1, static_cast<std::size_t>(size));
  std::memcpy(buffer, content.c_str(), length);
}

bool zeroed(const char* buffer, int size) {
  // Each byte is the one before it, and the first is 0: as fast as memory, which the fuzzer needs.
  return buffer[0] == 0 && std::memcmp(buffer, buffer + 1, static_cast<std::size_t>(size) - 1) == 0;
}

}  // namespace

RecordingLibrary& library() {
  static RecordingLibrary instance;
  return instance;
}

void resetLibrary() {
  library() = RecordingLibrary();
  logger.output.close();
  logger.output.clear();
  logger.levelText.clear();
}

int postboxList(const char* name, int deviceId, unsigned char opcode, unsigned char arg1,
                unsigned char arg2, const std::vector<unsigned int>& input,
                std::vector<unsigned int>& output, bool flag) {
  record(name, deviceId, +opcode, +arg1, +arg2, input, output, flag);
  output = library().outputWords;
  return library().postboxResult;
}

int postboxSync(const char* name, int deviceId, unsigned char opcode, unsigned char arg1,
                unsigned char arg2, unsigned int data, unsigned int extendedData,
                unsigned int* output1, unsigned int* output2, unsigned int* output3, bool flag) {
  record(name, deviceId, +opcode, +arg1, +arg2, data, extendedData, *output1, *output2, *output3,
         flag);
  *output1 = library().words[0];
  *output2 = library().words[1];
  *output3 = library().words[2];
  return library().postboxResult;
}

int postboxAsync(const char* name, int deviceId, unsigned char request,
                 const std::vector<unsigned int>& input, unsigned int* output1,
                 unsigned int* output2, std::vector<unsigned int>& output, unsigned int outputSize,
                 bool flag) {
  record(name, deviceId, +request, input, *output1, *output2, output, outputSize, flag);
  *output1 = library().words[0];
  *output2 = library().words[1];
  output = library().outputWords;
  return library().postboxResult;
}

extern "C" {

int GPUSetLogger(const char* fileName) {
  record("GPUSetLogger", fileName);
  return 1;
}

int GPUSetLogLevel(int level) {
  record("GPUSetLogLevel", level);
  return 1;
}

int GPUManagerInit(const char* manifestFile, const char* profileFile, const char* propertiesFile) {
  record("GPUManagerInit", manifestFile, profileFile, propertiesFile);
  return library().initResult;
}

int GPUManagerRun(int reserved0, int reserved1) {
  record("GPUManagerRun", reserved0, reserved1);
  return 1;
}

int GPUManagerStop() {
  record("GPUManagerStop");
  return 1;
}

int DeviceGetData(int deviceId, const char* propertyName, int reserved0, int reserved1,
                  char* buffer, int size, int accessMode, int reserved2) {
  record("DeviceGetData", deviceId, propertyName, reserved0, reserved1, zeroed(buffer, size), size,
         accessMode, reserved2);
  if (library().get) return library().get(propertyName, buffer, size);
  fill("value", buffer, size);
  return 0;
}

int DeviceSetData(int deviceId, const char* propertyName, const void* value, int size,
                  int reserved) {
  std::int32_t number = 0;
  std::memcpy(&number, value, sizeof number);
  record("DeviceSetData", deviceId, propertyName, number, size, reserved);
  return library().setResult;
}

int DeviceClearData(int deviceId, const char* propertyName, int reserved) {
  record("DeviceClearData", deviceId, propertyName, reserved);
  return library().clearResult;
}

int DeviceGetSupportedProperties(int deviceType, char* buffer, int size) {
  record("DeviceGetSupportedProperties", deviceType, zeroed(buffer, size), size);
  fill(library().listing, buffer, size);
  return library().listResult;
}

int DeviceGetAllSupportedProperties(char* buffer, int size) {
  record("DeviceGetAllSupportedProperties", zeroed(buffer, size), size);
  fill(library().listing, buffer, size);
  return library().allListResult;
}

int SnapShotRefreshStatus(bool* running) {
  record("SnapShotRefreshStatus", *running);
  *running = library().refreshRunning;
  return 1;
}

int DeviceSetCallbackUpdateData(int deviceId, const std::string& apiName,
                                const UpdateCallback& callback, int reserved0,
                                const std::string& reserved1, const std::string& reserved2,
                                int reserved3) {
  record("DeviceSetCallbackUpdateData", deviceId, apiName, reserved0, reserved1, reserved2,
         reserved3);
  library().callback = callback;
  return library().registerResult;
}

/// Takes the place of the system's wait for input in this program; only a look passes through. The
/// header says of the real one that it does not read what it is given.
int waitForInput(pollfd* entries, nfds_t count, int timeout) __asm__("poll");
int waitForInput(pollfd* entries, nfds_t count, int timeout) {
  constexpr timespec kNow = {};
  if (timeout == 0) return ppoll(entries, count, &kNow, nullptr);
  record("poll", entries->fd, entries->events, timeout);
  return 1;
}

/// Takes the place of the system's sleep in this program.
int nanosleep(const timespec* request, timespec* remaining) {
  record("nanosleep", static_cast<std::int64_t>(request->tv_sec),
         static_cast<std::int64_t>(request->tv_nsec));
  if (library().sleepResults.empty()) return 0;
  const int error = library().sleepResults.front();
  library().sleepResults.pop_front();
  if (error == 0) return 0;
  if (error == EINTR) *remaining = {request->tv_sec / 2, 7};
  errno = error;
  return -1;
}

}  // extern "C"

int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& details) {
  record("DeviceGetSupportedProperties", deviceType, names.size() + details.size());
  names = library().names;
  details = {"not", "read"};
  return library().namesResult;
}
