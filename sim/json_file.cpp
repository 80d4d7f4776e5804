#include "sim/json_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

namespace sim {
namespace {

constexpr std::size_t kMaxBytes = 4U << 20U;
constexpr std::size_t kMaxDepth = 32;
constexpr std::size_t kMaxMembers = 4096;

/// Where the parser stands in the text, and where the token that it reads began.
struct Cursor {
  std::size_t line = 1;
  std::size_t column = 1;
  std::size_t tokenLine = 1;
  std::size_t tokenColumn = 1;
  bool betweenTokens = true;

  void step(char c) {
    if (betweenTokens && std::strchr(" \t\r\n,:", c) == nullptr) {
      tokenLine = line;
      tokenColumn = column;
      betweenTokens = false;
    }
    ++column;
    if (c == '\n') {
      ++line;
      column = 1;
    }
  }
};

/// Feeds the parser and moves the cursor along.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, Cursor* cursor) : at_(at), cursor_(cursor) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    cursor_->step(*at_++);
    return *this;
  }
  CountingIterator operator++(int) {
    CountingIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

 private:
  const char* at_;
  Cursor* cursor_;
};

std::string escapePointer(std::string_view key) {
  std::string escaped;
  for (const char c : key) {
    if (c == '~') {
      escaped += "~0";
    } else if (c == '/') {
      escaped += "~1";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

/// Cuts the parser's own prefix, which repeats the position, and what a long token makes too long.
std::string reasonOf(std::string_view message) {
  if (const auto at = message.find(": "); at != std::string_view::npos)
    message.remove_prefix(at + 2);
  if (const auto at = message.find("syntax error while parsing "); at == 0) {
    message.remove_prefix(std::strlen("syntax error while parsing "));
  }
  constexpr std::size_t kLongest = 160;
  if (message.size() > kLongest) return std::string(message.substr(0, kLongest)) + "...";
  return std::string(message);
}

/// Builds the tree of nodes from the parser's events.
class TreeBuilder {
 public:
  TreeBuilder(std::string file, Cursor& cursor) : file_(std::move(file)), cursor_(cursor) {}

  bool null() {
    add(JsonType::null);
    return true;
  }
  bool boolean(bool value) {
    add(JsonType::boolean).truth = value;
    return true;
  }
  bool number_integer(std::int64_t value) {
    return addText(JsonType::number, std::to_string(value));
  }
  bool number_unsigned(std::uint64_t value) {
    return addText(JsonType::number, std::to_string(value));
  }
  bool number_float(double /*value*/, const std::string& text) {
    return addText(JsonType::number, text);
  }
  bool string(std::string& text) { return addText(JsonType::string, text); }
  bool binary(std::vector<std::uint8_t>& /*bytes*/) { return false; }
  bool start_object(std::size_t /*size*/) { return open(JsonType::object); }
  bool start_array(std::size_t /*size*/) { return open(JsonType::array); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }

  bool key(std::string& name) {
    Node& object = *open_.back();
    if (object.find(name) != nullptr) {
      Node twin = placed(JsonType::string, object.pointer + '/' + escapePointer(name));
      twin.refuse("the key is given twice");
    }
    if (object.keys.size() == kMaxMembers) object.refuse("more than 4096 members");
    object.keys.push_back(name);
    cursor_.betweenTokens = true;
    return true;
  }

  bool parse_error(std::size_t /*byte*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) {
    Node here = placed(JsonType::null, "");
    if (cursor_.betweenTokens) {
      here.line = cursor_.line;
      here.column = cursor_.column;
    }
    here.refuse("not JSON: " + reasonOf(error.what()));
  }

  Node takeRoot() { return std::move(root_); }

 private:
  [[nodiscard]] Node placed(JsonType type, std::string pointer) const {
    Node node;
    node.type = type;
    node.file = file_;
    node.pointer = std::move(pointer);
    node.line = cursor_.tokenLine;
    node.column = cursor_.tokenColumn;
    return node;
  }

  Node& add(JsonType type) {
    Node* target = &root_;
    std::string pointer;
    if (!open_.empty()) {
      Node& parent = *open_.back();
      pointer = parent.pointer + '/' +
                (parent.type == JsonType::object ? escapePointer(parent.keys.back())
                                                 : std::to_string(parent.items.size()));
      target = &parent.items.emplace_back();
    }
    *target = placed(type, std::move(pointer));
    cursor_.betweenTokens = true;
    return *target;
  }

  bool addText(JsonType type, const std::string& text) {
    add(type).text = text;
    return true;
  }

  // A parent's items never grow while one of them is open, so the pointers stay valid.
  bool open(JsonType type) {
    Node& node = add(type);
    if (open_.size() == kMaxDepth) node.refuse("nested too deeply");
    open_.push_back(&node);
    return true;
  }

  bool close() {
    open_.pop_back();
    cursor_.betweenTokens = true;
    return true;
  }

  std::string file_;
  Cursor& cursor_;
  Node root_;
  std::vector<Node*> open_;
};

/// Names in files and of files may hold control characters; a message stays one line all the same.
std::string oneLine(std::string message) {
  std::ranges::replace_if(
      message, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
  return message;
}

}  // namespace

std::string_view describe(JsonType type) {
  switch (type) {
    case JsonType::null:
      return "null";
    case JsonType::boolean:
      return "true or false";
    case JsonType::number:
      return "a number";
    case JsonType::string:
      return "a string";
    case JsonType::array:
      return "an array";
    case JsonType::object:
      return "an object";
  }
  return "";
}

const Node* Node::find(std::string_view key) const {
  const auto found = std::ranges::find(keys, key);
  const auto index = static_cast<std::size_t>(found - keys.begin());
  return index < items.size() ? &items[index] : nullptr;
}

void Node::refuse(const std::string& why) const {
  std::string message = file + ':' + std::to_string(line) + ':' + std::to_string(column) + ": ";
  if (!pointer.empty()) message += pointer + ": ";
  throw FileError(oneLine(message + why));
}

Node parseJson(std::string_view content, const std::string& file) {
  Cursor cursor;
  TreeBuilder builder(file, cursor);
  nlohmann::json::sax_parse(CountingIterator(content.data(), &cursor),
                            CountingIterator(content.data() + content.size(), &cursor), &builder);
  return builder.takeRoot();
}

Node readJsonFile(const std::string& file) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw FileError(oneLine(file + ": cannot be opened: " + std::strerror(errno)));
  std::string content(kMaxBytes + 1, '\0');
  stream.read(content.data(), static_cast<std::streamsize>(content.size()));
  if (stream.bad()) throw FileError(oneLine(file + ": cannot be read: " + std::strerror(errno)));
  content.resize(static_cast<std::size_t>(stream.gcount()));
  if (content.size() > kMaxBytes) throw FileError(oneLine(file + ": larger than 4 MiB"));
  return parseJson(content, file);
}

}  // namespace sim
