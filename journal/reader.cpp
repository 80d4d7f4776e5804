#include "journal/reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "journal/line.h"
#include "journal/parser.h"

namespace journal {
namespace {

using Object = Parser::Object;

constexpr auto kHighest = static_cast<std::int64_t>(kMaxLines);

/// The values of one parameter, or of several that share a name, into `values`.
void readArgument(const Parser& parser, std::size_t place, Kind kind, std::span<Value> values) {
  const bool isNull = parser.firstAt(place) == 'n';
  if (kind == Kind::wordOut && !isNull) {
    const std::vector<std::uint32_t> words = parser.wordsAt(place);
    if (words.size() != values.size()) {
      parser.reject(place, "not " + std::to_string(values.size()) + " words");
    }
    std::ranges::copy(words, values.begin());
  } else if (kind == Kind::words || kind == Kind::wordsOut) {
    values.front() = parser.wordsAt(place);
  } else if (kind == Kind::textsOut) {
    values.front() = parser.textsAt(place);
  } else if (kind == Kind::number || kind == Kind::callback) {
    values.front() = parser.numberAt(place, INT32_MIN, UINT32_MAX);
  } else if (isNull) {
    std::ranges::fill(values, Value(nullptr));
  } else if (kind == Kind::flagOut) {
    values.front() = parser.numberAt(place, 0, 1);
  } else if (kind == Kind::bytes && parser.firstAt(place) != '"') {
    values.front() = parser.numberAt(place, INT32_MIN, INT32_MAX);
  } else {
    values.front() = parser.textAt(place);
  }
}

/// Version 1 has fewer arguments, and the number of a listing's names in place of them.
void readArguments(const Parser& parser, const Object& object, int version, Call& call) {
  const EntryPoint& point = call.point();
  call.values.resize(point.count);
  for (std::size_t i = 0; i < point.count; i += point.runAt(i)) {
    const std::string_view name = point.all[i].name();
    const Kind kind = point.all[i].kind;
    const bool optional = version == 1 || (isOutput(kind) && !call.code);
    if (optional && !object.find(name)) continue;
    const std::size_t place = parser.require(object, name);
    if (version == 1 && kind == Kind::textsOut && parser.firstAt(place) != '[') continue;
    readArgument(parser, place, kind, std::span(call.values).subspan(i, point.runAt(i)));
  }
  if (const auto place = object.find("unterminated")) {
    call.unterminated = parser.numberAt(*place, 1, 1) == 1;
  }
  if (const auto place = object.find("fault")) call.fault = parser.numberAt(*place);
}

Call readCall(const Parser& parser, const Object& line, int version) {
  Call call;
  const std::size_t name = parser.require(line, "call");
  const std::optional<Entry> entry = entryOf(parser.textAt(name));
  if (!entry) parser.reject(name, "not an entry point");
  call.entry = *entry;
  call.at = parser.numberAt(parser.require(line, "at"));
  if (const auto code = line.find("code")) {
    call.code = static_cast<int>(parser.numberAt(*code, INT32_MIN, INT32_MAX));
  }
  if (version > 1) call.number = parser.numberAt(parser.require(line, "n"), 1, kHighest);
  if (const auto took = line.find("took"); took || (version > 1 && call.code)) {
    call.took = parser.numberAt(parser.require(line, "took"));
  }
  if (call.entry == Entry::managerInit) {
    readArguments(parser, line, version, call);
  } else if (version > 1 || line.find("args")) {
    const Object args = parser.objectAt(parser.require(line, "args"));
    if (call.entry == Entry::listText && !args.find("size")) call.entry = Entry::listNames;
    readArguments(parser, args, version, call);
  }
  call.values.resize(call.point().count);
  return call;
}

Update readUpdate(const Parser& parser, const Object& line, int version) {
  Update update;
  update.at = parser.numberAt(parser.require(line, "at"));
  update.api = parser.textAt(parser.require(line, "update"));
  update.sequence = parser.unsignedAt(parser.require(line, "sequence"));
  if (version == 1) return update;
  update.registration = parser.numberAt(parser.require(line, "registration"), 1, kHighest);
  update.id = parser.numberAt(parser.require(line, "id"), 0, UINT16_MAX);
  update.after = parser.numberAt(parser.require(line, "after"), 0, kHighest);
  if (const auto during = line.find("during")) update.during = parser.numberAt(*during, 1, 1) == 1;
  return update;
}

Header readHeader(const Parser& parser, const Object& line) {
  Header header;
  header.version = static_cast<int>(parser.numberAt(parser.require(line, "journal"), 1, 2));
  header.clock = parser.textAt(parser.require(line, "clock"));
  if (const auto place = line.find("arguments")) header.arguments = parser.textsAt(*place);
  if (const auto place = line.find("tool")) header.tool = parser.textAt(*place);
  if (const auto place = line.find("library")) header.library = parser.textAt(*place);
  if (const auto place = line.find("redacted")) header.redacted = parser.truthAt(*place);
  if (const auto place = line.find("seed")) header.seed = parser.numberAt(*place);
  return header;
}

End readEnd(const Parser& parser, const Object& line) {
  End end;
  end.how = parser.textAt(parser.require(line, "end"));
  if (const auto place = line.find("status")) {
    end.status = parser.numberAt(*place, INT32_MIN, INT32_MAX);
  }
  end.calls = parser.numberAt(parser.require(line, "calls"), 0, kHighest);
  return end;
}

/// Notes a call's number, which must be a new one.
void claim(std::vector<bool>& numbers, std::int64_t number, const Parser& parser,
           const Object& line) {
  const auto index = static_cast<std::size_t>(number);
  if (numbers.size() <= index) numbers.resize(index + 1);
  if (numbers[index]) parser.reject(parser.require(line, "n"), "the number occurs twice");
  numbers[index] = true;
}

}  // namespace

bool Reader::readLine() {
  line_.clear();
  ++number_;
  try {
    return takeLine(Parser(file_, number_, line_));
  } catch (const std::ios_base::failure& error) {
    Parser(file_, number_, line_).reject(line_.size(), "cannot be read: " + error.code().message());
  }
}

bool Reader::takeLine(const Parser& place) {
  std::streambuf& source = *input_.rdbuf();
  constexpr auto kEnd = std::char_traits<char>::eof();
  for (int c = source.sbumpc(); c != '\n'; c = source.sbumpc()) {
    if (c == kEnd) {
      if (number_ == 1) place.reject(0, "not a journal: its first line is missing");
      if (!line_.empty()) cutAt_ = number_;
      return false;
    }
    if (line_.size() == kMaxLineSize) place.reject(kMaxLineSize, "the line is too long");
    line_ += static_cast<char>(c);
  }
  size_ += line_.size() + 1;
  if (number_ > kMaxLines) place.reject(0, "too many lines");
  if (size_ > kMaxFileSize) place.reject(0, "the file is too long");
  return true;
}

// The second line may hold a place for the call that is under way: it begins with a blank while
// there is none.
std::optional<Record> Reader::next() {
  if (!readLine()) return {};
  if (number_ == 2 && version_ == 2 && line_.starts_with(' ')) return next();
  return parse();
}

Record Reader::parse() {
  const Parser parser(file_, number_, line_);
  const Object line = parser.whole();
  if (number_ == 1) {
    Header header = readHeader(parser, line);
    version_ = header.version;
    return header;
  }
  if (ended_) parser.reject(line.place, "a line after the end");
  if (line.find("call")) {
    Call call = readCall(parser, line, version_);
    call.line = number_;
    if (version_ == 1) {
      call.number = ++calls_;
    } else {
      claim(call.code ? returned_ : begun_, call.number, parser, line);
    }
    return call;
  }
  if (line.find("update")) {
    Update update = readUpdate(parser, line, version_);
    update.line = number_;
    return update;
  }
  if (const auto rule = line.find("rule")) {
    return FiredRule{parser.numberAt(*rule), parser.numberAt(parser.require(line, "fired"))};
  }
  if (!line.find("end")) parser.reject(line.place, "not a call, an update or an end");
  ended_ = true;
  return readEnd(parser, line);
}

Recording readRecording(std::istream& input, const std::string& file) {
  Reader reader(input, file);
  Recording recording;
  while (std::optional<Record> record = reader.next()) {
    if (auto* const header = std::get_if<Header>(&*record)) {
      recording.header = std::move(*header);
    } else if (auto* const call = std::get_if<Call>(&*record)) {
      recording.calls.push_back(std::move(*call));
    } else if (auto* const update = std::get_if<Update>(&*record)) {
      recording.updates.push_back(std::move(*update));
    } else if (auto* const rule = std::get_if<FiredRule>(&*record)) {
      recording.rules.push_back(*rule);
    } else {
      recording.end = std::move(std::get<End>(*record));
    }
  }
  recording.cutAt = reader.cutAt();
  // The end of a call before its beginning, of which the latter goes.
  std::vector<Call>& calls = recording.calls;
  std::ranges::stable_sort(calls, [](const Call& a, const Call& b) {
    return std::pair(a.number, !a.code) < std::pair(b.number, !b.code);
  });
  const auto isTwin = [](const Call& a, const Call& b) { return a.number == b.number; };
  calls.erase(std::unique(calls.begin(), calls.end(), isTwin), calls.end());
  return recording;
}

Recording readRecording(const std::string& file) {
  std::ifstream input(file, std::ios::binary);
  if (!input) throw Error(file + ": cannot be opened: " + std::strerror(errno));
  return readRecording(input, file);
}

}  // namespace journal
