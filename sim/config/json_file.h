#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sim {

/// Why a file was rejected: one complete line, "file:line:column: /json/pointer: why", without the
/// parts that do not apply and without a newline.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class JsonType : std::uint8_t { null, boolean, number, string, array, object };

/// The word for a type in messages: "an object", "a number"...
std::string_view describe(JsonType type);

struct Document;
struct Source;

/// One value of a JSON file. It is valid as long as the document that it belongs to.
struct Node {
  const Source* source = nullptr;
  std::uint32_t offset = 0;  ///< Where the value begins in the file's text.
  JsonType type = JsonType::null;
  bool truth = false;
  std::string_view key;         ///< Its name, when it is a member of an object.
  std::string_view text;        ///< A string's contents, or a number as it is written.
  std::span<const Node> items;  ///< Elements of an array, or members of an object in file order.

  Node() = default;
  Node(const Document&) = delete;  ///< It would outlive the document.

  /// The member of that name, or null. Takes time in proportion to the number of members.
  [[nodiscard]] const Node* find(std::string_view name) const;

  /// Throws `FileError` for this place.
  [[noreturn]] void reject(const std::string& why) const;
};

/// A whole file: its outermost value, and all that the values below it refer to. Copies share it.
struct Document : Node {
  std::shared_ptr<const Source> owner;
};

/// Parses JSON text. `file` stands in messages only. Rejected with `FileError`: malformed text, a
/// NUL byte anywhere, a key that occurs twice in one object, more than 4096 keys in one object,
/// nesting deeper than 32.
Document parseJson(std::string_view content, const std::string& file);

/// Reads and parses a file of at most 4 MiB; rejected with `FileError` when it cannot be read.
Document readJsonFile(const std::string& file);

}  // namespace sim
