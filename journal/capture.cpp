#include "journal/capture.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "catalogue/identities.h"

namespace journal {
namespace {

using Words = std::vector<std::uint32_t>;
using Texts = std::vector<std::string>;

template <class T>
const T& objectAt(const Argument& argument) {
  return *static_cast<const T*>(argument.place);
}

std::size_t roomIn(const Argument& argument) {
  return static_cast<std::size_t>(std::max<std::int64_t>(argument.number, 0));
}

std::string_view bytesOf(const Argument& argument) {
  if (argument.place == nullptr) return {};
  const auto* const text = static_cast<const char*>(argument.place);
  switch (argument.kind) {
    case Kind::text:
      return argument.number < 0 ? std::string_view(text)
                                 : std::string_view(text, roomIn(argument));
    case Kind::textOut:
      return {text, strnlen(text, roomIn(argument))};
    default:
      return {text, roomIn(argument)};
  }
}

/// A number is passed as the bytes of an `int`.
bool isNumber(const Argument& argument) { return argument.number == sizeof(int); }

std::int64_t numberAt(const Argument& argument) {
  int number = 0;
  std::memcpy(&number, argument.place, sizeof number);
  return number;
}

Value inputOf(const Argument& argument) {
  switch (argument.kind) {
    case Kind::number:
      return argument.number;
    case Kind::callback:
      return static_cast<std::int64_t>(static_cast<bool>(objectAt<UpdateCallback>(argument)));
    case Kind::words:
      return objectAt<Words>(argument);
    case Kind::bytes:
      if (argument.place != nullptr && isNumber(argument)) return numberAt(argument);
      [[fallthrough]];
    default:
      if (argument.place == nullptr) return nullptr;
      return std::string(bytesOf(argument));
  }
}

void addInput(Line& line, std::string_view name, const Argument& argument) {
  if (argument.kind == Kind::words) {
    line.add(name, std::span(objectAt<Words>(argument)));
  } else if (argument.kind == Kind::number) {
    line.add(name, argument.number);
  } else if (argument.kind == Kind::callback) {
    line.add(name,
             static_cast<std::int64_t>(static_cast<bool>(objectAt<UpdateCallback>(argument))));
  } else if (argument.place == nullptr) {
    line.addRaw(name, "null");
  } else if (argument.kind == Kind::bytes && isNumber(argument)) {
    line.add(name, numberAt(argument));
  } else {
    line.add(name, bytesOf(argument));
  }
}

/// Words that are passed one by one; none of them when one has no place.
void addWords(Line& line, std::string_view name, std::span<const Argument> arguments) {
  Words words;
  for (const Argument& argument : arguments) {
    if (argument.place != nullptr) words.push_back(objectAt<std::uint32_t>(argument));
  }
  if (words.size() == arguments.size()) {
    line.add(name, std::span(std::as_const(words)));
  } else {
    line.addRaw(name, "null");
  }
}

void addOutput(Line& line, std::string_view name, std::span<const Argument> arguments) {
  const Argument& argument = arguments.front();
  if (argument.kind == Kind::wordOut) {
    addWords(line, name, arguments);
  } else if (argument.place == nullptr) {
    line.addRaw(name, "null");
  } else if (argument.kind == Kind::textsOut) {
    line.add(name, std::span(objectAt<Texts>(argument)));
  } else if (argument.kind == Kind::wordsOut) {
    line.add(name, std::span(objectAt<Words>(argument)));
  } else if (argument.kind == Kind::flagOut) {
    line.add(name, static_cast<std::int64_t>(objectAt<unsigned char>(argument) != 0));
  } else {
    const std::string_view text = bytesOf(argument);
    line.add(name, text);
    if (text.size() == roomIn(argument)) line.add("unterminated", 1);
  }
}

void fillText(const Argument& argument, std::string_view text, bool unterminated) {
  auto* const buffer = argument.output<char>();
  const std::size_t count = std::min(text.size(), roomIn(argument));
  std::copy_n(text.data(), count, buffer);
  if (!unterminated && count < roomIn(argument)) buffer[count] = '\0';
}

void fillOutput(const Argument& argument, const Value& value, bool unterminated) {
  if (argument.place == nullptr) return;
  if (const auto* const text = std::get_if<std::string>(&value)) {
    fillText(argument, *text, unterminated);
  } else if (const auto* const words = std::get_if<Words>(&value)) {
    *argument.output<Words>() = *words;
  } else if (const auto* const texts = std::get_if<Texts>(&value)) {
    *argument.output<Texts>() = *texts;
  } else if (const auto* const number = std::get_if<std::int64_t>(&value)) {
    if (argument.kind == Kind::flagOut) {
      *argument.output<bool>() = *number != 0;
    } else {
      *argument.output<std::uint32_t>() = static_cast<std::uint32_t>(*number);
    }
  }
}

}  // namespace

void Capture::setSizes() {
  for (std::size_t i = 0; i + 1 < count_; ++i) {
    const Kind kind = arguments_[i].kind;
    if (kind == Kind::bytes || kind == Kind::textOut) {
      arguments_[i].number = arguments_[i + 1].number;
    }
  }
}

std::string_view Capture::text(std::string_view parameter) const {
  const std::size_t position = entryPoint(entry_).find(parameter);
  if (position >= count_) return {};
  const Kind kind = arguments_[position].kind;
  const bool isText = kind == Kind::text || kind == Kind::bytes || kind == Kind::textOut;
  return isText ? bytesOf(arguments_[position]) : std::string_view();
}

bool Capture::readsIdentity() const {
  constexpr std::size_t kProperty = 1;
  return entry_ == Entry::getData && PropertyCatalogue::isIdentity(bytesOf(arguments_[kProperty]));
}

Value Capture::input(std::size_t position) const { return inputOf(arguments_[position]); }

// The names of the files stand beside the call, as in version 1.
std::size_t Capture::begin(Line& line, std::int64_t number, std::int64_t at) const {
  const EntryPoint& point = entryPoint(entry_);
  line.add("n", number).add("at", at).add("call", point.name);
  if (entry_ != Entry::managerInit) line.open("args");
  const std::size_t size = line.size();
  for (std::size_t i = 0; i < count_; ++i) {
    if (!isOutput(arguments_[i].kind)) addInput(line, point.all[i].name(), arguments_[i]);
  }
  return size;
}

void Capture::end(Line& line, int code, std::int64_t took) const {
  const EntryPoint& point = entryPoint(entry_);
  for (std::size_t i = 0; i < count_; i += point.runAt(i)) {
    if (!isOutput(arguments_[i].kind)) continue;
    addOutput(line, point.all[i].name(), arguments().subspan(i, point.runAt(i)));
  }
  if (entry_ != Entry::managerInit) line.close();
  line.add("code", code).add("took", took);
}

std::string_view Capture::difference(const Call& call) const {
  for (std::size_t i = 0; i < std::min(count_, call.values.size()); ++i) {
    const bool compared = !isOutput(arguments_[i].kind) && call.values[i].index() != 0;
    if (compared && inputOf(arguments_[i]) != call.values[i])
      return entryPoint(entry_).all[i].name();
  }
  return {};
}

void Capture::fill(const Call& call) const {
  for (std::size_t i = 0; i < std::min(count_, call.values.size()); ++i) {
    if (isOutput(arguments_[i].kind)) fillOutput(arguments_[i], call.values[i], call.unterminated);
  }
}

}  // namespace journal
