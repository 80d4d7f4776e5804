#include "sim/config/json_tree.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <utility>
#include <vector>

#include "sim/base/text.h"

namespace sim {
namespace {

constexpr std::size_t kMaxNesting = 32;
constexpr std::size_t kMaxMembers = 4096;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/// Whether a string may hold the character as it is, whatever stands beside it.
bool isPlain(char c) { return static_cast<signed char>(c) >= 0x20 && c != '"' && c != '\\'; }

/// The place in a file's text up to which the parser has read.
struct Reader {
  const char* place;
  bool whole;  ///< Show the parser every character, not only those it has to judge.
  bool inString = false;

  /// Strings of plain characters look empty to the parser, and indentation is left out.
  void advance() {
    const char passed = *place++;
    if (whole || inString) return;
    if (passed == '"') {
      inString = true;
      const char* end = place;
      while (isPlain(*end)) ++end;
      if (*end == '"') place = end;
    } else if (passed == '\n') {
      while (isBlank(*place)) ++place;
    }
  }
};

/// Feeds the parser from a reader, shared by all copies.
class SharedIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  explicit SharedIterator(Reader* reader) : reader_(reader) {}
  reference operator*() const { return *reader_->place; }
  SharedIterator& operator++() {
    reader_->advance();
    return *this;
  }
  bool operator==(const SharedIterator& other) const {
    return reader_->place == other.reader_->place;
  }

 private:
  Reader* reader_;
};

/// What stands at the front of a text: one character, or all before the next delimiter.
std::string_view firstWord(std::string_view text) {
  return text.substr(0, std::max<std::size_t>(text.find_first_of(" \t\r\n,:[]{}\""), 1));
}

/// What is wrong with the last token, which `text` begins with. The parser has read `size` bytes of
/// it, and has met the end of the file if `atEnd`.
std::string faultOf(std::string_view text, std::size_t size, bool atEnd) {
  if (text.empty()) return "unexpected end of file";
  if (text.front() != '"') return "unexpected " + inQuotes(firstWord(text));
  if (atEnd) return "a string without its closing quotation mark";
  const std::string_view string = text.substr(0, size);
  // Read as the file was, so that there is one parser.
  Reader begin{string.data(), true};
  Reader end{string.data() + string.size(), true};
  return nlohmann::json::accept(SharedIterator(&begin), SharedIterator(&end))
             ? "unexpected " + inQuotes(string)
             : "a string with an invalid character or escape";
}

/// Builds the tree of nodes from the parser's events.
class TreeBuilder {
 public:
  TreeBuilder(Source& source, Reader& reader)
      : source_(source), reader_(reader), previous_(reader.place) {
    constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
    if (source.content.starts_with(kByteOrderMark)) previous_ += kByteOrderMark.size();
  }

  bool null() {
    add(JsonType::null);
    return true;
  }
  bool boolean(bool value) {
    add(JsonType::boolean).truth = value;
    return true;
  }
  bool number_integer(std::int64_t value) { return addNumber(std::to_string(value)); }
  bool number_unsigned(std::uint64_t value) { return addNumber(std::to_string(value)); }
  bool number_float(double /*value*/, const std::string& text) { return addNumber(text); }
  bool string(std::string& text) {
    Node& node = add(JsonType::string);
    node.text = endString(text, node.offset);
    return true;
  }
  bool binary(std::vector<std::uint8_t>& /*bytes*/) { return false; }
  bool start_object(std::size_t /*size*/) { return open(JsonType::object); }
  bool start_array(std::size_t /*size*/) { return open(JsonType::array); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }

  bool key(std::string& name) {
    const std::size_t offset = token();
    key_ = endString(name, offset);
    if (isTwin(key_)) reject(add(JsonType::string, offset), "duplicate key");
    const std::size_t object = open_.back().node;
    if (nodes_.size() - object > kMaxMembers) reject(nodes_[object], "more than 4096 members");
    previous_ = reader_.place;
    return true;
  }

  bool parse_error(std::size_t /*read*/, const std::string& /*token*/,
                   const nlohmann::json::out_of_range& /*error*/) {
    if (!reader_.whole) return false;
    const std::size_t offset = token();
    const std::string_view text = std::string_view(source_.content).substr(offset);
    rejectAt(source_, offset, "", "the number " + shortened(firstWord(text)) + " is too large");
  }
  bool parse_error(std::size_t read, const std::string& /*token*/,
                   const nlohmann::json::exception& /*error*/) {
    if (!reader_.whole) return false;
    const std::size_t offset = token();
    const std::string_view text = std::string_view(source_.content).substr(offset);
    const auto size = static_cast<std::size_t>(reader_.place - text.data());
    // Only the end of the file can have been read beyond its last byte.
    const bool atEnd = read > source_.content.size();
    rejectAt(source_, offset, "", "not JSON: " + faultOf(text, size, atEnd));
  }

  void finish() { source_.root = nodes_.front(); }

 private:
  /// An array or object whose end is still to come; what it holds so far follows it in `nodes_`.
  struct Open {
    std::size_t node;
    std::pmr::unordered_set<std::string_view> names;  ///< Of the members, when they are many.
  };

  /// Where the token that was read last begins; the parser may have read one character beyond it.
  [[nodiscard]] std::size_t token() const {
    const char* const begin = std::find_if_not(previous_, reader_.place, [](char c) {
      return isBlank(c) || c == ',' || c == ':' || c == '\0';
    });
    return static_cast<std::size_t>(begin - source_.content.data());
  }

  /// The contents of a string that begins at `offset` and ends here.
  std::string_view endString(std::string_view text, std::size_t offset) {
    reader_.inString = false;
    const std::string_view spelled(source_.content.data() + offset + 1, reader_.place - 1);
    // An empty text is empty in the file as well, or was not shown to the parser.
    return text.empty() ? spelled : kept(text, spelled);
  }

  /// A text that stays: the place where the file spells it like that, or a copy.
  std::string_view kept(std::string_view text, std::string_view spelled) {
    if (spelled == text) return spelled;
    auto* copy = static_cast<char*>(source_.memory.allocate(text.size(), 1));
    std::ranges::copy(text, copy);
    return {copy, text.size()};
  }

  Node& add(JsonType type, std::size_t offset) {
    Node& node = nodes_.emplace_back();
    node.source = &source_;
    node.offset = static_cast<std::uint32_t>(offset);
    node.type = type;
    node.key = std::exchange(key_, {});
    previous_ = reader_.place;
    return node;
  }
  Node& add(JsonType type) { return add(type, token()); }

  bool addNumber(std::string_view text) {
    Node& node = add(JsonType::number);
    node.text = kept(text, std::string_view(source_.content).substr(node.offset, text.size()));
    return true;
  }

  bool open(JsonType type);
  bool close();
  /// Whether the innermost object has a member of that name; notes the name.
  bool isTwin(std::string_view name);
  [[noreturn]] void reject(const Node& node, const std::string& why);

  Source& source_;
  Reader& reader_;
  const char* previous_;  ///< How far the parser had read at the event before.
  std::string_view key_;  ///< Of the value to come.
  std::vector<Node> nodes_;
  std::vector<Open> open_;
};

bool TreeBuilder::open(JsonType type) {
  const Node& node = add(type);
  if (open_.size() == kMaxNesting) reject(node, "nested too deeply");
  open_.push_back({nodes_.size() - 1, std::pmr::unordered_set<std::string_view>(&source_.memory)});
  return true;
}

bool TreeBuilder::close() {
  const std::size_t first = open_.back().node + 1;
  const std::size_t count = nodes_.size() - first;
  auto* items = static_cast<Node*>(source_.memory.allocate(count * sizeof(Node), alignof(Node)));
  std::uninitialized_copy_n(nodes_.begin() + static_cast<std::ptrdiff_t>(first), count, items);
  nodes_.resize(first);
  nodes_.back().items = {items, count};
  open_.pop_back();
  previous_ = reader_.place;
  return true;
}

// Few names are compared one by one, since most objects are small; many are put into a set.
bool TreeBuilder::isTwin(std::string_view name) {
  constexpr std::size_t kMany = 16;
  auto& [object, names] = open_.back();
  const auto members = std::span(nodes_).subspan(object + 1);
  if (members.size() < kMany) return std::ranges::find(members, name, &Node::key) != members.end();
  if (names.empty()) {
    for (const Node& member : members) names.insert(member.key);
  }
  return !names.insert(name).second;
}

void TreeBuilder::reject(const Node& node, const std::string& why) {
  const std::size_t offset = node.offset;
  while (!open_.empty()) close();
  finish();
  rejectAt(source_, offset, pointerTo(source_.root, offset), why);
}

}  // namespace

bool buildTree(Source& source, bool whole) {
  Reader reader{source.content.data(), whole};
  Reader end{reader.place + source.content.size(), whole};
  TreeBuilder builder(source, reader);
  if (!nlohmann::json::sax_parse(SharedIterator(&reader), SharedIterator(&end), &builder))
    return false;
  builder.finish();
  return true;
}

}  // namespace sim
