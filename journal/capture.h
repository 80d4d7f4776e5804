#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "journal/entry_points.h"
#include "journal/line.h"
#include "journal/records.h"

namespace journal {

/// One argument of a call, whatever its type. Refers to what belongs to the caller.
struct Argument {
  Kind kind = Kind::number;
  std::int64_t number = 0;
  const void* place = nullptr;  ///< The object or the buffer; null for a null pointer.
  std::int64_t size = 0;        ///< Of a buffer; -1: it ends with a NUL.

  /// What the library fills, which the caller passed without `const`.
  template <class T>
  [[nodiscard]] T* output() const {
    return static_cast<T*>(const_cast<void*>(place));
  }
};

template <class T>
Argument argumentOf(T& value) {
  using Plain = std::conditional_t<std::is_scalar_v<T>, std::remove_cv_t<T>, T>;
  constexpr Kind kKind = kKindOf<Plain>;
  if constexpr (kKind == Kind::number) {
    static_assert(std::is_integral_v<Plain>);
    return {kKind, static_cast<std::int64_t>(value), nullptr, 0};
  } else if constexpr (std::is_pointer_v<Plain>) {
    return {kKind, 0, value, -1};
  } else if constexpr (std::is_same_v<Plain, const std::string>) {
    return {kKind, 0, value.data(), static_cast<std::int64_t>(value.size())};
  } else {
    return {kKind, 0, &value, 0};
  }
}

/// The arguments of one call of an entry point, in the order of its parameters. Costs no more than
/// their addresses; valid as long as the call.
class Capture {
 public:
  template <class... A>
  explicit Capture(Entry entry, A&&... arguments)
      : entry_(entry), count_(sizeof...(A)), arguments_{argumentOf(arguments)...} {
    static_assert(sizeof...(A) <= kMaxParameters);
    for (std::size_t i = 0; i + 1 < count_; ++i) {
      const Kind kind = arguments_[i].kind;
      if (kind == Kind::bytes || kind == Kind::textOut) {
        arguments_[i].size = arguments_[i + 1].number;
      }
    }
  }

  [[nodiscard]] Entry entry() const { return entry_; }
  [[nodiscard]] std::span<const Argument> arguments() const { return {arguments_.data(), count_}; }
  /// The text of that parameter, input or output, up to its NUL or the end of its buffer; empty for
  /// a null pointer and for what is no text.
  [[nodiscard]] std::string_view text(std::string_view parameter) const;

  /// The value of an input.
  [[nodiscard]] Value input(std::size_t position) const;

  /// Begins the line of the call: its number, its time, the entry point and the inputs. What is
  /// added to the line before `end` becomes part of the arguments.
  void begin(Line& line, std::int64_t number, std::int64_t at) const;
  /// Completes the line with the outputs, as the library left them, the code and the duration.
  void end(Line& line, int code, std::int64_t took) const;

  /// The name of the first input that differs from the recorded call, which is one of the same
  /// entry point; empty when none does. An input that was not recorded does not differ.
  [[nodiscard]] std::string_view difference(const Call& call) const;

  /// Hands over the outputs of a recorded call of the same entry point. Texts are cut to the
  /// caller's buffer; what was not recorded, and what the caller gave no room for, stays.
  void fill(const Call& call) const;

 private:
  Entry entry_;
  std::size_t count_;
  std::array<Argument, kMaxParameters> arguments_;
};

}  // namespace journal
