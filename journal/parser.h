#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace journal {

/// One line of JSON, checked as a whole before any of it is used. Places are offsets in the line.
/// Rejects with `Error`, which names the file, the line and the column.
class Parser {
 public:
  /// An object that was found in the line.
  struct Object {
    struct Member {
      std::string_view name;  ///< As it is spelled.
      std::size_t place;      ///< Of the value.
    };
    std::size_t place = 0;
    std::vector<Member> members;

    [[nodiscard]] std::optional<std::size_t> find(std::string_view name) const;
  };

  /// Refers to both texts.
  Parser(std::string_view file, std::size_t number, std::string_view line)
      : file_(file), number_(number), line_(line) {}

  /// The one object that the line consists of.
  [[nodiscard]] Object whole() const;
  [[nodiscard]] Object objectAt(std::size_t place) const;

  /// The place of a member that must be there.
  [[nodiscard]] std::size_t require(const Object& object, std::string_view name) const;

  /// Values of one type; anything else is rejected.
  [[nodiscard]] std::int64_t numberAt(
      std::size_t place, std::int64_t low = 0,
      std::int64_t high = std::numeric_limits<std::int64_t>::max()) const;
  [[nodiscard]] std::uint64_t unsignedAt(std::size_t place) const;
  [[nodiscard]] std::string textAt(std::size_t place) const;
  [[nodiscard]] bool truthAt(std::size_t place) const;
  [[nodiscard]] std::vector<std::uint32_t> wordsAt(std::size_t place) const;
  [[nodiscard]] std::vector<std::string> textsAt(std::size_t place) const;
  /// The places of the items of a list.
  [[nodiscard]] std::vector<std::size_t> itemsAt(std::size_t place) const;

  /// The character that a value begins with.
  [[nodiscard]] char firstAt(std::size_t place) const { return line_[place]; }

  [[noreturn]] void reject(std::size_t place, const std::string& what) const;

 private:
  [[nodiscard]] char at(std::size_t place) const {
    return place < line_.size() ? line_[place] : '\0';
  }
  [[nodiscard]] std::size_t afterBlanks(std::size_t place) const;
  [[nodiscard]] std::size_t afterText(std::size_t place) const;
  [[nodiscard]] std::size_t afterNumber(std::size_t place) const;
  [[nodiscard]] std::size_t afterDigits(std::size_t place) const;
  [[nodiscard]] std::size_t afterWord(std::size_t place) const;
  /// Checks the value, which lies inside `depth` others, and returns the place behind it. Notes the
  /// members of an object if they are asked for.
  std::size_t afterValue(std::size_t place, std::size_t depth, Object* object = nullptr) const;
  /// As above, for the members or items between the brackets.
  std::size_t afterItems(std::size_t place, std::size_t depth, Object* object) const;
  void note(Object& object, std::string_view name, std::size_t place) const;

  std::string_view file_;
  std::size_t number_;
  std::string_view line_;
};

}  // namespace journal
