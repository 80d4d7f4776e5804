#include "journal/entry_points.h"

#include <algorithm>

#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"

namespace journal {
namespace {

constexpr std::array<std::string_view, 30> kNames{
    "api",        "arg1",     "arg2",  "callback",  "data",      "details",
    "device",     "extended", "file",  "flag",      "input",     "level",
    "manifest",   "mode",     "names", "opcode",    "output",    "profile",
    "properties", "property", "reply", "reserved0", "reserved1", "reserved2",
    "reserved3",  "running",  "size",  "text",      "type",      "value"};

consteval ParameterName idOf(std::string_view name) {
  const auto* const found = std::ranges::find(kNames, name);
  if (found == kNames.end()) throw "a parameter has a name that is not in the table";
  return static_cast<ParameterName>(found - kNames.begin());
}

template <class Function>
struct Row;
template <class... P>
struct Row<int(P...)> {
  static consteval EntryPoint of(std::string_view name,
                                 const std::array<std::string_view, sizeof...(P)>& names) {
    constexpr std::array<Kind, sizeof...(P)> kKinds{kKindOf<std::remove_reference_t<P>>...};
    EntryPoint point{name, {}, sizeof...(P)};
    for (std::size_t i = 0; i < sizeof...(P); ++i) {
      point.all[i] = {idOf(names[i]), kKinds[i]};
    }
    return point;
  }
};

#define ROW(function, ...) Row<decltype(function)>::of(#function, {__VA_ARGS__})
#define RAW(function) ROW(function, "device", "opcode", "arg1", "arg2", "input", "output", "flag")
#define SYNC(function)                                                                             \
  ROW(function, "device", "opcode", "arg1", "arg2", "data", "extended", "reply", "reply", "reply", \
      "flag")
#define ASYNC(function) \
  ROW(function, "device", "opcode", "input", "reply", "reply", "output", "size", "flag")

constexpr std::array<EntryPoint, kEntryCount> kEntryPoints{
    ROW(GPUSetLogger, "file"),
    ROW(GPUSetLogLevel, "level"),
    ROW(GPUManagerInit, "manifest", "profile", "properties"),
    ROW(GPUManagerRun, "reserved0", "reserved1"),
    ROW(GPUManagerStop),
    ROW(DeviceGetData, "device", "property", "reserved0", "reserved1", "value", "size", "mode",
        "reserved2"),
    ROW(DeviceSetData, "device", "property", "value", "size", "reserved0"),
    ROW(DeviceClearData, "device", "property", "reserved0"),
    Row<int(int, char*, int)>::of("DeviceGetSupportedProperties", {"type", "text", "size"}),
    Row<int(int, std::vector<std::string>&, std::vector<std::string>&)>::of(
        "DeviceGetSupportedProperties", {"type", "names", "details"}),
    ROW(DeviceGetAllSupportedProperties, "text", "size"),
    ROW(SnapShotRefreshStatus, "running"),
    ROW(DeviceSetCallbackUpdateData, "device", "api", "callback", "reserved0", "reserved1",
        "reserved2", "reserved3"),
    RAW(TesselCmd),
    RAW(TesselCmdKorswitch),
    RAW(TesselCmdFpga),
    SYNC(TesselSyncCmdGpu),
    SYNC(TesselSyncCmdKorswitch),
    SYNC(TesselSyncCmdFpga),
    ASYNC(TesselAsyncCmdGpu),
    ASYNC(TesselAsyncCmdKorswitch),
};

#undef ROW
#undef RAW
#undef SYNC
#undef ASYNC

}  // namespace

std::string_view Parameter::name() const { return kNames[static_cast<std::size_t>(id)]; }

std::size_t EntryPoint::find(std::string_view parameter) const {
  const auto found = std::ranges::find(parameters(), parameter, &Parameter::name);
  return static_cast<std::size_t>(found - parameters().begin());
}

std::size_t EntryPoint::runAt(std::size_t position) const {
  if (all[position].kind != Kind::wordOut) return 1;
  std::size_t end = position + 1;
  while (end < count && all[end].id == all[position].id) ++end;
  return end - position;
}

const EntryPoint& entryPoint(Entry entry) { return kEntryPoints[static_cast<std::size_t>(entry)]; }

std::optional<Entry> entryOf(std::string_view name) {
  const auto found = std::ranges::find(kEntryPoints, name, &EntryPoint::name);
  if (found == kEntryPoints.end()) return {};
  return static_cast<Entry>(found - kEntryPoints.begin());
}

}  // namespace journal
