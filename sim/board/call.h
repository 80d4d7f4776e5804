#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devmgr/callbacks.h"
#include "sim/base/codes.h"
#include "sim/board/postbox.h"
#include "sim/board/property_db.h"

namespace sim {

/// What a call does, spelled as the operator's commands are.
enum class Operation {
  init,
  list,
  get,
  set,
  clear,
  snapshot,
  setCallback,
  raw,
  rawSyncCmd,
  rawAsyncCmd,
};
inline constexpr auto kOperationWords =
    std::to_array<std::string_view>({"init", "list", "get", "set", "clear", "snapshot",
                                     "set_callback", "raw", "rawSyncCmd", "rawAsyncCmd"});

/// Whether calls of that kind have a property, and are about its device.
constexpr bool involvesProperty(Operation operation) {
  return operation == Operation::get || operation == Operation::set ||
         operation == Operation::clear || operation == Operation::setCallback;
}
constexpr bool usesPostbox(Operation operation) { return operation >= Operation::raw; }
constexpr bool involvesDevice(Operation operation) {
  return involvesProperty(operation) || usesPostbox(operation);
}

/// Whether there are calls of that kind for a property, or to the devices of a kind.
bool isPossible(Operation operation, std::string_view property);
bool isPossible(Operation operation, KindIndex kind);

/// One call into the library: what the caller asked for, and what that means on this board.
struct Call {
  std::string_view entry;  ///< The entry point's name.
  Operation operation = Operation::list;
  int deviceId = 0;
  std::string name;               ///< Of a property or, for a registration, of an API function.
  std::optional<KindIndex> kind;  ///< The only one to list.
  std::optional<int> accessMode;  ///< For `get`: 0 reads the snapshot, 1 the device itself.
  std::int32_t value = 0;         ///< For `set`.
  UpdateCallback callback;        ///< For `setCallback`.
  std::int64_t number = 0;        ///< In the journal.
  /// How much of the answer the caller has room for: bytes of a text with its NUL, or words of an
  /// asynchronous request. Without it, a list comes as names and not as a text.
  std::optional<std::size_t> room;
  PostboxRequest postbox;  ///< For requests to a postbox, together with `device`.

  std::optional<Device> device;           ///< Filled in by the board, but for a postbox.
  std::optional<PropertyIndex> property;  ///< Filled in by the board.
  std::string_view propertyName;          ///< Of `property`, as long as the board exists.

  [[nodiscard]] bool usesPostbox() const { return sim::usesPostbox(operation); }
};

/// What a call gave, as much of it as the caller gets. Everything behind `answered` is meaningful
/// only if that is set.
struct Result {
  int code = kOk;
  std::optional<std::size_t> firedRule;  ///< The fault rule that fired.
  bool answered = false;                 ///< Whether the call got as far as to the device.
  std::string text;                      ///< Of a value, or of a list in the form of a text.
  bool unterminated = false;             ///< The text fills the caller's buffer, without a NUL.
  std::vector<std::string> names;
  std::vector<std::string> units;
  bool refreshing = false;
  PostboxReply postbox;
};

}  // namespace sim
