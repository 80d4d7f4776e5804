#include <sstream>
#include <utility>

#include "fuzz/target.h"
#include "journal/capture.h"
#include "journal/reader.h"

/// The journal's reader: any bytes as a file. Then the writer: arguments and answers of any bytes
/// are read back as they were.

namespace {

constexpr std::string_view kHeader = "{\"journal\":2,\"clock\":\"monotonic\"}\n";

/// A file is accepted, or rejected in one line that says where.
void readFile(const std::string& content) {
  std::istringstream input(content);
  try {
    const journal::Recording recording = journal::readRecording(input, "file");
    if (recording.calls.size() + recording.updates.size() > content.size()) std::abort();
  } catch (const journal::Error& error) {
    const std::string why = error.what();
    const std::size_t line = why.find_first_not_of("0123456789", 5);
    const std::size_t column = why.find_first_not_of("0123456789", line + 1);
    fuzz::expectEqual("start of the rejection", "file:", why.substr(0, 5));
    fuzz::expectEqual("place of the rejection", ":: ", why[line] + why.substr(column, 2));
    const bool ascii = why.find_first_not_of(
                           "\t !\"#$%&'()*+,-./0123456789:;<=>?@"
                           "ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
                           "abcdefghijklmnopqrstuvwxyz{|}~\x7f") == why.npos;
    if (!ascii) fuzz::expectEqual("characters of the rejection", "ASCII", why);
  }
}

/// What was written is one whole journal, with one call.
journal::Call readBack(const journal::Capture& capture, int code) {
  journal::Line line;
  capture.begin(line, 1, 2);
  const std::string beginning = line.text();
  capture.end(line, code, 3);
  for (const std::string& text : {beginning, line.text()}) {
    std::istringstream input(std::string(kHeader) + text + '\n');
    const journal::Call call = journal::readRecording(input, "file").calls.at(0);
    fuzz::expectEqual("difference", "", capture.difference(call));
    if (call.code) return call;
  }
  std::abort();
}

void writeText(fuzz::Input& input) {
  const int id = static_cast<int>(input.word());
  const std::string name = input.line();
  std::string value = input.line();
  const bool terminated = input.byte() % 2 == 0;
  if (terminated) value.push_back('\0');
  const char* const nameOrNull = name.size() == 1 ? nullptr : name.c_str();
  const int size = static_cast<int>(value.size());
  char* buffer = value.data();
  const auto capture = [&] {
    return journal::Capture(journal::Entry::getData, id, nameOrNull, 0, 0, buffer, size, id, id);
  };
  const journal::Call call = readBack(capture(), id);
  std::string filled(value.size(), '?');
  buffer = filled.data();
  capture().fill(call);
  fuzz::expectEqual("text", value.substr(0, value.find('\0')), filled.substr(0, filled.find('\0')));
}

void writeWords(fuzz::Input& input) {
  const unsigned char opcode = input.byte();
  std::vector<unsigned int> words(input.byte());
  for (unsigned int& word : words) word = input.word();
  const std::vector<unsigned int>& given = words;
  std::vector<unsigned int> output = words;
  unsigned int first = input.word();
  unsigned int second = input.word();
  unsigned int* one = &first;
  unsigned int* two = &second;
  const unsigned int size = input.word();
  const journal::Capture capture(journal::Entry::asyncGpu, -1, opcode, given, one, two, output,
                                 size, true);
  const journal::Call call = readBack(capture, 0);
  const auto before = std::pair(first, second);
  output.clear();
  first = second = 0;
  capture.fill(call);
  if (output != words || std::pair(first, second) != before) std::abort();
}

void writeNames(fuzz::Input& input) {
  std::vector<std::string> names(input.byte() % 8);
  for (std::string& name : names) name = input.line();
  std::vector<std::string> details = names;
  const int type = input.byte();
  const journal::Capture capture(journal::Entry::listNames, type, names, details);
  const journal::Call call = readBack(capture, 0);
  names.clear();
  capture.fill(call);
  fuzz::expectEqual("names", fuzz::joined(details), fuzz::joined(names));
}

}  // namespace

void fuzz_journal(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  readFile(input.rest());
  readFile(std::string(kHeader) + input.rest());
  writeText(input);
  writeWords(input);
  writeNames(input);
}
