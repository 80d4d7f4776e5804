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
  const void* place;    ///< The object or the buffer; null for a null pointer.
  std::int64_t number;  ///< The value of a number; else the size, or -1 for up to a NUL.
  Kind kind;

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
    return {nullptr, static_cast<std::int64_t>(value), kKind};
  } else if constexpr (std::is_pointer_v<Plain>) {
    return {value, -1, kKind};
  } else if constexpr (std::is_same_v<Plain, const std::string>) {
    return {value.data(), static_cast<std::int64_t>(value.size()), kKind};
  } else {
    return {&value, 0, kKind};
  }
}

/// The arguments of one call of an entry point, in the order of its parameters. Costs no more than
/// their addresses; valid as long as the call.
class Capture {
 public:
  template <class... A>
  explicit Capture(Entry entry, A&&... arguments) : entry_(entry), count_(sizeof...(A)) {
    static_assert(sizeof...(A) <= kMaxParameters);
    [[maybe_unused]] Argument* place = arguments_.data();
    ((*place++ = argumentOf(arguments)), ...);
    setSizes();
  }

  [[nodiscard]] Entry entry() const { return entry_; }
  [[nodiscard]] std::span<const Argument> arguments() const { return {arguments_.data(), count_}; }
  /// The text of that parameter, input or output, up to its NUL or the end of its buffer; empty for
  /// a null pointer and for what is no text.
  [[nodiscard]] std::string_view text(std::string_view parameter) const;

  /// Whether this reads a property whose value is an identity.
  [[nodiscard]] bool readsIdentity() const;

  /// The value of an input.
  [[nodiscard]] Value input(std::size_t position) const;

  /// Begins the line of the call: its number, its time, the entry point and the inputs. What is
  /// added to the line before `end` becomes part of the arguments. Returns the size of the line
  /// before the inputs.
  std::size_t begin(Line& line, std::int64_t number, std::int64_t at) const;
  /// Completes the line with the outputs, as the library left them, the code and the duration.
  void end(Line& line, int code, std::int64_t took) const;

  /// The name of the first input that differs from the recorded call, which is one of the same
  /// entry point; empty when none does. An input that was not recorded does not differ.
  [[nodiscard]] std::string_view difference(const Call& call) const;

  /// Hands over the outputs of a recorded call of the same entry point. Texts are cut to the
  /// caller's buffer; what was not recorded, and what the caller gave no room for, stays.
  void fill(const Call& call) const;

 private:
  void setSizes();

  Entry entry_;
  std::size_t count_;
  std::array<Argument, kMaxParameters> arguments_;  ///< Only the first ones are set.
};

}  // namespace journal
