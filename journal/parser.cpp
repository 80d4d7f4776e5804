#include "journal/parser.h"

#include <algorithm>
#include <charconv>

#include "journal/reader.h"

namespace journal {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The value of a hexadecimal digit, or one that no digit has.
std::size_t digitOf(char c) {
  constexpr std::string_view kLower = "0123456789abcdef";
  constexpr std::string_view kUpper = "0123456789ABCDEF";
  return std::min(kLower.find(c), kUpper.find(c));
}

constexpr std::string_view kEscapes = "\"\\/bfnrt";
constexpr std::string_view kEscaped = "\"\\/\b\f\n\r\t";

}  // namespace

std::optional<std::size_t> Parser::Object::find(std::string_view name) const {
  const auto found = std::ranges::find(members, name, &Member::name);
  if (found == members.end()) return {};
  return found->place;
}

void Parser::reject(std::size_t place, const std::string& what) const {
  throw Error(std::string(file_) + ':' + std::to_string(number_) + ':' + std::to_string(place + 1) +
              ": " + what);
}

std::size_t Parser::afterBlanks(std::size_t place) const {
  while (at(place) == ' ' || at(place) == '\t') ++place;
  return place;
}

std::size_t Parser::afterText(std::size_t place) const {
  const std::size_t begin = place++;
  for (; at(place) != '"'; ++place) {
    if (place >= line_.size()) reject(begin, "the text does not end");
    const auto byte = static_cast<unsigned char>(line_[place]);
    if (byte < 0x20) reject(place, "a control character in a text");
    if (byte >= 0x80) reject(place, "a byte outside ASCII");
    if (byte != '\\') continue;
    const char escape = at(++place);
    if (escape == 'u') {
      const bool low = at(place + 1) == '0' && at(place + 2) == '0';
      if (!low || digitOf(at(place + 3)) > 15 || digitOf(at(place + 4)) > 15) {
        reject(place - 1, "an escape other than \\u0000 to \\u00ff");
      }
      place += 4;
    } else if (escape == '\0' || kEscapes.find(escape) == std::string_view::npos) {
      reject(place - 1, "an unknown escape");
    }
  }
  return place + 1;
}

std::size_t Parser::afterDigits(std::size_t place) const {
  if (!isDigit(at(place))) reject(place, "a digit is missing");
  while (isDigit(at(place))) ++place;
  return place;
}

std::size_t Parser::afterNumber(std::size_t place) const {
  if (at(place) == '-') ++place;
  if (at(place) == '0' && isDigit(at(place + 1))) reject(place, "a number begins with 0");
  place = afterDigits(place);
  if (at(place) == '.') place = afterDigits(place + 1);
  if (at(place) != 'e' && at(place) != 'E') return place;
  ++place;
  if (at(place) == '+' || at(place) == '-') ++place;
  return afterDigits(place);
}

std::size_t Parser::afterWord(std::size_t place) const {
  for (const std::string_view word : {"null", "true", "false"}) {
    if (line_.substr(place).starts_with(word)) return place + word.size();
  }
  reject(place, place < line_.size() ? "not JSON" : "the line ends here");
}

std::size_t Parser::afterValue(std::size_t place, std::size_t depth, Object* object) const {
  const char first = at(place);
  if (first == '"') return afterText(place);
  if (first == '-' || isDigit(first)) return afterNumber(place);
  if (first != '{' && first != '[') return afterWord(place);
  if (depth == kMaxNesting) reject(place, "nested too deeply");
  return afterItems(place, depth + 1, object);
}

std::size_t Parser::afterItems(std::size_t place, std::size_t depth, Object* object) const {
  const bool named = at(place) == '{';
  const char last = named ? '}' : ']';
  Object names;
  if (object == nullptr) object = &names;
  object->place = place;
  place = afterBlanks(place + 1);
  if (at(place) == last) return place + 1;
  while (true) {
    if (named) {
      if (at(place) != '"') reject(place, "a name is missing");
      const std::size_t end = afterText(place);
      const std::string_view name = line_.substr(place + 1, end - place - 2);
      const std::size_t colon = afterBlanks(end);
      if (at(colon) != ':') reject(colon, "':' is missing");
      note(*object, name, place);
      place = afterBlanks(colon + 1);
      object->members.back().place = place;
    }
    place = afterBlanks(afterValue(place, depth));
    if (at(place) == last) return place + 1;
    if (at(place) != ',') reject(place, std::string("',' or '") + last + "' is missing");
    place = afterBlanks(place + 1);
  }
}

void Parser::note(Object& object, std::string_view name, std::size_t place) const {
  if (object.find(name)) reject(place, "'" + std::string(name) + "' occurs twice");
  if (object.members.size() == kMaxMembers) {
    reject(place, "more than " + std::to_string(kMaxMembers) + " members");
  }
  object.members.push_back({name, place});
}

Parser::Object Parser::whole() const {
  Object object;
  const std::size_t place = afterBlanks(0);
  if (at(place) != '{') reject(place, "not an object");
  const std::size_t end = afterBlanks(afterValue(place, 0, &object));
  if (end < line_.size()) reject(end, "the line should end here");
  return object;
}

Parser::Object Parser::objectAt(std::size_t place) const {
  if (at(place) != '{') reject(place, "not an object");
  Object object;
  afterValue(place, 0, &object);
  return object;
}

std::size_t Parser::require(const Object& object, std::string_view name) const {
  if (const auto place = object.find(name)) return *place;
  reject(object.place, "'" + std::string(name) + "' is missing");
}

std::int64_t Parser::numberAt(std::size_t place, std::int64_t low, std::int64_t high) const {
  std::int64_t number = 0;
  const auto [end, error] =
      std::from_chars(line_.data() + place, line_.data() + line_.size(), number);
  const char next = at(static_cast<std::size_t>(end - line_.data()));
  if (error == std::errc::invalid_argument || next == '.' || next == 'e' || next == 'E') {
    reject(place, "not an integer");
  }
  if (error != std::errc() || number < low || number > high) {
    reject(place, "not in " + std::to_string(low) + " to " + std::to_string(high));
  }
  return number;
}

std::uint64_t Parser::unsignedAt(std::size_t place) const {
  std::uint64_t number = 0;
  const auto [end, error] =
      std::from_chars(line_.data() + place, line_.data() + line_.size(), number);
  const char next = at(static_cast<std::size_t>(end - line_.data()));
  if (error != std::errc() || next == '.' || next == 'e' || next == 'E') {
    reject(place, "not an integer of 64 bits without a sign");
  }
  return number;
}

std::string Parser::textAt(std::size_t place) const {
  if (at(place) != '"') reject(place, "not a text");
  std::string text;
  for (++place; at(place) != '"'; ++place) {
    if (at(place) != '\\') {
      text += at(place);
    } else if (const char escape = at(++place); escape != 'u') {
      text += kEscaped[kEscapes.find(escape)];
    } else {
      text += static_cast<char>(digitOf(at(place + 3)) * 16 + digitOf(at(place + 4)));
      place += 4;
    }
  }
  return text;
}

bool Parser::truthAt(std::size_t place) const {
  if (at(place) != 't' && at(place) != 'f') reject(place, "not true or false");
  return at(place) == 't';
}

std::vector<std::size_t> Parser::itemsAt(std::size_t place) const {
  if (at(place) != '[') reject(place, "not a list");
  std::vector<std::size_t> items;
  for (place = afterBlanks(place + 1); at(place) != ']';) {
    items.push_back(place);
    place = afterBlanks(afterValue(place, 0));
    if (at(place) == ',') place = afterBlanks(place + 1);
  }
  return items;
}

std::vector<std::uint32_t> Parser::wordsAt(std::size_t place) const {
  std::vector<std::uint32_t> words;
  for (const std::size_t item : itemsAt(place)) {
    words.push_back(
        static_cast<std::uint32_t>(numberAt(item, 0, std::numeric_limits<std::uint32_t>::max())));
  }
  return words;
}

std::vector<std::string> Parser::textsAt(std::size_t place) const {
  std::vector<std::string> texts;
  for (const std::size_t item : itemsAt(place)) texts.push_back(textAt(item));
  return texts;
}

}  // namespace journal
