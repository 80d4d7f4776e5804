#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "devmgr/callbacks.h"

namespace journal {

/// The functions that the device library exports to the tool, in the order of the table.
enum class Entry : std::uint8_t {
  setLogger,
  setLogLevel,
  managerInit,
  managerRun,
  managerStop,
  getData,
  setData,
  clearData,
  listText,
  listNames,  ///< The overload with vectors, which has the same name as `listText`.
  listAllText,
  snapshotStatus,
  setCallback,
  rawGpu,
  rawKorswitch,
  rawFpga,
  syncGpu,
  syncKorswitch,
  syncFpga,
  asyncGpu,
  asyncKorswitch,
};
inline constexpr std::size_t kEntryCount = 21;
inline constexpr std::size_t kMaxParameters = 10;

/// What a parameter carries, and whether the caller or the library fills it. The size of `bytes`
/// and of `textOut` is the parameter behind them.
enum class Kind : std::uint8_t {
  number,
  text,
  bytes,
  words,
  callback,
  textOut,  ///< The first that the library fills.
  textsOut,
  wordOut,
  wordsOut,
  flagOut,
};
constexpr bool isOutput(Kind kind) { return kind >= Kind::textOut; }

/// The kind of a parameter of that type, without the reference.
template <class T>
inline constexpr Kind kKindOf = Kind::number;
template <>
inline constexpr Kind kKindOf<const char*> = Kind::text;
template <>
inline constexpr Kind kKindOf<const std::string> = Kind::text;
template <>
inline constexpr Kind kKindOf<const void*> = Kind::bytes;
template <>
inline constexpr Kind kKindOf<const std::vector<unsigned int>> = Kind::words;
template <>
inline constexpr Kind kKindOf<const UpdateCallback> = Kind::callback;
template <>
inline constexpr Kind kKindOf<char*> = Kind::textOut;
template <>
inline constexpr Kind kKindOf<std::vector<std::string>> = Kind::textsOut;
template <>
inline constexpr Kind kKindOf<unsigned int*> = Kind::wordOut;
template <>
inline constexpr Kind kKindOf<std::vector<unsigned int>> = Kind::wordsOut;
template <>
inline constexpr Kind kKindOf<bool*> = Kind::flagOut;

/// The position of a parameter's name in the table of all names. A hundred pointers to names, each
/// with a relocation, would not fit into the recorder.
enum class ParameterName : std::uint8_t {};

struct Parameter {
  ParameterName id{};
  Kind kind = Kind::number;

  /// The member of a call's `args`. Neighbours of one name form an array.
  [[nodiscard]] std::string_view name() const;
};

struct EntryPoint {
  std::string_view name;
  std::array<Parameter, kMaxParameters> all;
  std::size_t count = 0;

  [[nodiscard]] std::span<const Parameter> parameters() const { return {all.data(), count}; }
  /// The position of the parameter of that name, the first of several; `count` when there is none.
  [[nodiscard]] std::size_t find(std::string_view parameter) const;
  /// How many parameters from that position on have one name, which only words do.
  [[nodiscard]] std::size_t runAt(std::size_t position) const;
};

const EntryPoint& entryPoint(Entry entry);

/// The entry point of that name; `listText` for the name of the two listings.
std::optional<Entry> entryOf(std::string_view name);

}  // namespace journal
