#include "journal/entry_points.h"

#include <algorithm>

#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/postbox.h"
#include "devmgr/properties.h"

namespace journal {
namespace {

template <class Function>
struct Row;
template <class... P>
struct Row<int(P...)> {
  static consteval EntryPoint of(std::string_view name,
                                 const std::array<std::string_view, sizeof...(P)>& names) {
    constexpr std::array<Kind, sizeof...(P)> kKinds{kKindOf<std::remove_reference_t<P>>...};
    EntryPoint point{name, {}, sizeof...(P)};
    for (std::size_t i = 0; i < sizeof...(P); ++i) {
      if (names[i].empty()) throw "a parameter has no name";
      point.all[i] = {names[i], kKinds[i]};
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

std::size_t EntryPoint::find(std::string_view parameter) const {
  const auto found = std::ranges::find(parameters(), parameter, &Parameter::name);
  return static_cast<std::size_t>(found - parameters().begin());
}

std::size_t EntryPoint::runAt(std::size_t position) const {
  if (all[position].kind != Kind::wordOut) return 1;
  std::size_t end = position + 1;
  while (end < count && all[end].name == all[position].name) ++end;
  return end - position;
}

const EntryPoint& entryPoint(Entry entry) { return kEntryPoints[static_cast<std::size_t>(entry)]; }

std::optional<Entry> entryOf(std::string_view name) {
  const auto found = std::ranges::find(kEntryPoints, name, &EntryPoint::name);
  if (found == kEntryPoints.end()) return {};
  return static_cast<Entry>(found - kEntryPoints.begin());
}

}  // namespace journal
