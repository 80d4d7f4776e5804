#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// The documented rules once more, written without regard to speed or elegance and without a line
/// shared with the tool, so that the fuzz targets can compare the two.
namespace reference {

using Words = std::vector<std::string>;

/// One entry of the command line, as the usage text shows it.
struct Entry {
  std::string name;
  std::string longName;
  int kind = 0;      ///< 0 takes no words, 1 replaces them, 2 collects them
  std::string hint;  ///< one word is taken for each of its tokens
  int presence = 0;  ///< 0 optional, 1 required, 2 alone
  std::string help;
};

/// The tool's own entries, without their help texts.
const std::vector<Entry>& toolEntries();

struct Parsed {
  std::string error;  ///< the message of a refused line, else empty
  /// The chosen entries' places in the registry with their words, in the order they are run in.
  std::vector<std::pair<std::size_t, Words>> chosen;
};

/// `words`: those after the program's name.
Parsed parse(const Words& words, const std::vector<Entry>& entries);

std::string usageTable(const std::vector<Entry>& entries, unsigned indent, unsigned width);

/// A number with the error it would raise.
struct Number {
  int value = 0;
  enum class Error { none, notANumber, outOfRange } error = Error::none;
};

Number decimal(const std::string& word);
Number numeric(const std::string& word);  ///< base 16 after "0x"

/// The words of a line of the shell.
Words split(const std::string& line);

/// What the recording library answers, and what comes of one command under the shell.
struct Answers {
  /// The codes of the calls.
  int init = 0, read = 0, set = 0, clear = 0, list = 0, supported = 0, postbox = 0,
      registration = 0;
  std::vector<std::string> names;
  std::string value = "value";  ///< of every property
  std::string listing;
  bool refreshing = false;
  unsigned int word = 0;
  std::vector<unsigned int> output;
};
struct Effect {
  std::string printed;
  std::vector<std::string> calls;
  bool raised = false;
};

/// `words`: the command first.
Effect command(const Words& words, const Answers& answers);

/// A whole session; it ends at "quit", at "exit" or with an error.
Effect session(const std::string& input, const Answers& answers);

}  // namespace reference
