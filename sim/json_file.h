#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

/// Why a file was refused: one complete line, "file:line:column: /json/pointer: why", without the
/// parts that do not apply and without a newline.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class JsonType { null, boolean, number, string, array, object };

/// The word for a type in messages: "an object", "a number"...
std::string_view describe(JsonType type);

/// One value of a JSON file together with the place where it stands.
struct Node {
  JsonType type = JsonType::null;
  bool truth = false;
  std::string text;               ///< A string's contents, or a number as it is written.
  std::vector<Node> items;        ///< Elements of an array, or members of an object in file order.
  std::vector<std::string> keys;  ///< The names of the members, one for each item.
  std::size_t line = 0;           ///< From 1.
  std::size_t column = 0;         ///< From 1, in bytes.
  std::string file;               ///< As the operator named it.
  std::string pointer;            ///< "/devices/gpu"; empty for the whole file.

  /// The member of that name, or null.
  [[nodiscard]] const Node* find(std::string_view key) const;

  /// Throws `FileError` for this place.
  [[noreturn]] void refuse(const std::string& why) const;
};

/// Parses JSON text. `file` stands in messages only. Refused with `FileError`: malformed text, a
/// key that occurs twice in one object, more than 4096 keys in one object, nesting deeper than 32.
Node parseJson(std::string_view content, const std::string& file);

/// Reads and parses a file of at most 4 MiB; refused with `FileError` when it cannot be read.
Node readJsonFile(const std::string& file);

}  // namespace sim
