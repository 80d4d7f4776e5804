#include "sim/config/json_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "sim/base/text.h"
#include "sim/config/json_tree.h"

namespace sim {
namespace {

constexpr std::size_t kMaxBytes = 4U << 20U;

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

Document parse(std::string content, const std::string& file) {
  const auto source = std::make_shared<Source>();
  source->file = file;
  source->content = std::move(content);
  // The parser would take it for the end of the text.
  if (const std::size_t nul = source->content.find('\0'); nul != std::string::npos) {
    rejectAt(*source, nul, "", "not JSON: found a NUL byte; expected UTF-8 text");
  }
  // The message about a malformed text quotes it as it is.
  if (!buildTree(*source, false)) {
    source->memory.release();
    buildTree(*source, true);
  }
  Document document;
  static_cast<Node&>(document) = source->root;
  document.owner = source;
  return document;
}

std::string readFile(const std::string& file) {
  constexpr std::size_t kLeast = 4096;
  const auto reject = [&](const std::string& why) {
    throw FileError(printable(file + ": " + why));
  };
  struct Descriptor {
    int number;
    ~Descriptor() { close(number); }
  };
  const Descriptor opened{open(file.c_str(), O_RDONLY | O_CLOEXEC)};
  if (opened.number < 0) reject(std::string("cannot be opened: ") + std::strerror(errno));
  // The size is a guess only: pipes have none, some files are said to be empty, and files grow.
  struct stat about {};
  fstat(opened.number, &about);
  std::string content;
  std::size_t length = 0;
  for (std::int64_t room = std::max<std::int64_t>(about.st_size + 1, kLeast);;) {
    content.resize(static_cast<std::size_t>(std::min<std::int64_t>(room, kMaxBytes + 1)));
    const ssize_t count = read(opened.number, content.data() + length, content.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) reject(std::string("cannot be read: ") + std::strerror(errno));
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
    if (length > kMaxBytes) reject("larger than 4 MiB");
    if (length == content.size()) room *= 2;
  }
  content.resize(length);
  return content;
}

}  // namespace

std::string pointerTo(const Node& root, std::size_t offset) {
  std::string pointer;
  for (const Node* node = &root; node->offset != offset;) {
    const auto next = std::ranges::upper_bound(node->items, offset, {}, &Node::offset) - 1;
    pointer += '/' + (node->type == JsonType::object ? escapePointer(shortened(next->key))
                                                     : std::to_string(next - node->items.begin()));
    node = &*next;
  }
  return pointer;
}

void rejectAt(const Source& source, std::size_t offset, const std::string& pointer,
              const std::string& why) {
  const auto before = std::string_view(source.content).substr(0, offset);
  const auto line = std::ranges::count(before, '\n') + 1;
  const std::size_t column = offset - (before.rfind('\n') + 1) + 1;
  std::string message =
      source.file + ':' + std::to_string(line) + ':' + std::to_string(column) + ": ";
  if (!pointer.empty()) message += pointer + ": ";
  throw FileError(printable(message + why));
}

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

const Node* Node::find(std::string_view name) const {
  const auto found = std::ranges::find(items, name, &Node::key);
  return type == JsonType::object && found != items.end() ? &*found : nullptr;
}

void Node::reject(const std::string& why) const {
  rejectAt(*source, offset, pointerTo(source->root, offset), why);
}

Document parseJson(std::string_view content, const std::string& file) {
  return parse(std::string(content), file);
}

Document readJsonFile(const std::string& file) { return parse(readFile(file), file); }

}  // namespace sim
