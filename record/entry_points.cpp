#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <memory>
#include <new>
#include <utility>

#include "devmgr/api.h"

// The copy constructor of an update is the library's. A process without that library, like a script
// that starts the tool, has none, and has to load this all the same.
#undef DEVMGR_API
#define DEVMGR_API __attribute__((visibility("default"), weak))

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"
#include "journal/capture.h"
#include "record/file.h"
#include "record/recorder.h"

// Each side defines these bodies for the objects that it destroys.
void value_type::ValueType::onChange() {}
void data_info::DataInfo::onChange() {}

namespace record {
namespace {

struct Registration {
  UpdateCallback callback;
  std::string apiName;
  std::int64_t number;
};

/// The library's function of that name. Without it the tool would not have started.
void* find(const char* symbol) {
  void* const found = dlsym(RTLD_NEXT, symbol);
  if (found != nullptr) return found;
  writeQuietly(STDERR_FILENO,
               std::string("boardctl-record: the device library has no ") + symbol + '\n');
  _exit(127);
}

/// What the library gets for an argument: the argument itself, but for a callback one that records
/// and calls it.
template <class T>
T&& passed(T&& argument, const journal::Capture& /*capture*/, const Call& /*call*/) {
  return std::forward<T>(argument);
}

UpdateCallback passed(const UpdateCallback& callback, const journal::Capture& capture,
                      const Call& call) {
  if (callback && call.number() != 0) {
    try {
      return [registration = std::make_shared<const Registration>(
                  Registration{callback, std::string(capture.text("api")), call.number()})](
                 std::uint16_t id, data_info::DataInfo&& info, std::uint64_t sequence) {
        update(registration->apiName, registration->number, id, sequence);
        registration->callback(id, std::move(info), sequence);
      };
    } catch (const std::bad_alloc&) {
      // Its calls will not be recorded.
    }
  }
  return callback;
}

using AnyFunction = void (*)();
std::array<std::atomic<AnyFunction>, journal::kEntryCount> realFunctions;

AnyFunction realFunctionOf(journal::Entry entry, const char* symbol) {
  std::atomic<AnyFunction>& known = realFunctions[static_cast<std::size_t>(entry)];
  AnyFunction function = known.load(std::memory_order_relaxed);
  if (function == nullptr) {
    function = reinterpret_cast<AnyFunction>(find(symbol));
    known.store(function, std::memory_order_relaxed);
  }
  return function;
}

/// The entry points of one signature.
template <class Function>
struct Recorded;
template <class... P>
struct Recorded<int(P...)> {
  static int call(journal::Entry entry, const char* symbol, const void* caller, P... arguments) {
    auto* const function = reinterpret_cast<int (*)(P...)>(realFunctionOf(entry, symbol));
    if (!isRecorded(caller)) return function(arguments...);
    const journal::Capture capture(entry, arguments...);
    Call call(capture);
    const int code = function(passed(arguments, capture, call)...);
    call.returned(code);
    return code;
  }
};

template <class Function, std::size_t i>
struct ParameterOf;
template <class... P, std::size_t i>
struct ParameterOf<int(P...), i> {
  using Type = std::tuple_element_t<i, std::tuple<P...>>;
};

}  // namespace
}  // namespace record

#define PARAMETER(type, i) typename record::ParameterOf<type, i>::Type a##i
#define PARAMETERS_0(type)
#define PARAMETERS_1(type) PARAMETER(type, 0)
#define PARAMETERS_2(type) PARAMETERS_1(type), PARAMETER(type, 1)
#define PARAMETERS_3(type) PARAMETERS_2(type), PARAMETER(type, 2)
#define PARAMETERS_5(type) PARAMETERS_3(type), PARAMETER(type, 3), PARAMETER(type, 4)
#define PARAMETERS_7(type) PARAMETERS_5(type), PARAMETER(type, 5), PARAMETER(type, 6)
#define PARAMETERS_8(type) PARAMETERS_7(type), PARAMETER(type, 7)
#define PARAMETERS_10(type) PARAMETERS_8(type), PARAMETER(type, 8), PARAMETER(type, 9)
#define ARGUMENTS_0
#define ARGUMENTS_1 , a0
#define ARGUMENTS_2 ARGUMENTS_1, a1
#define ARGUMENTS_3 ARGUMENTS_2, a2
#define ARGUMENTS_5 ARGUMENTS_3, a3, a4
#define ARGUMENTS_7 ARGUMENTS_5, a5, a6
#define ARGUMENTS_8 ARGUMENTS_7, a7
#define ARGUMENTS_10 ARGUMENTS_8, a8, a9

/// Defines the function of that name and type with so many parameters.
#define RECORD_AS(entry, name, symbol, type, count)                                     \
  int name(PARAMETERS_##count(type)) {                                                  \
    return record::Recorded<type>::call(journal::Entry::entry, symbol,                  \
                                        __builtin_return_address(0) ARGUMENTS_##count); \
  }
#define RECORD(entry, name, count) RECORD_AS(entry, name, #name, decltype(name), count)

using ListText = int(int, char*, int);
using ListNames = int(int, std::vector<std::string>&, std::vector<std::string>&);

extern "C" {

RECORD(setLogger, GPUSetLogger, 1)
RECORD(setLogLevel, GPUSetLogLevel, 1)
RECORD(managerInit, GPUManagerInit, 3)
RECORD(managerRun, GPUManagerRun, 2)
RECORD(managerStop, GPUManagerStop, 0)
RECORD(getData, DeviceGetData, 8)
RECORD(setData, DeviceSetData, 5)
RECORD(clearData, DeviceClearData, 3)
RECORD_AS(listText, DeviceGetSupportedProperties, "DeviceGetSupportedProperties", ListText, 3)
RECORD(listAllText, DeviceGetAllSupportedProperties, 2)
RECORD(snapshotStatus, SnapShotRefreshStatus, 1)
RECORD(setCallback, DeviceSetCallbackUpdateData, 7)
RECORD(rawGpu, TesselCmd, 7)
RECORD(rawKorswitch, TesselCmdKorswitch, 7)
RECORD(rawFpga, TesselCmdFpga, 7)
RECORD(syncGpu, TesselSyncCmdGpu, 10)
RECORD(syncKorswitch, TesselSyncCmdKorswitch, 10)
RECORD(syncFpga, TesselSyncCmdFpga, 10)
RECORD(asyncGpu, TesselAsyncCmdGpu, 8)
RECORD(asyncKorswitch, TesselAsyncCmdKorswitch, 8)

}  // extern "C"

RECORD_AS(listNames, DeviceGetSupportedProperties,
          "_Z28DeviceGetSupportedPropertiesi"
          "RSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS5_EES8_",
          ListNames, 3)
