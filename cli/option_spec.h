#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace boardctl {

/// What an entry runs. It takes the words that followed the entry on the command line and returns 0
/// for success; any other value becomes the exit status. Errors are raised as standard exceptions
/// whose text is the complete message.
using CommandHandler = std::function<std::int32_t(std::vector<std::string>)>;

/// How an entry's parameter words are kept.
enum class ArgKind : std::uint32_t {
  none = 0,        ///< takes no words
  replace = 1,     ///< each new word replaces the one before
  accumulate = 2,  ///< words are collected
};

enum class Presence : std::uint32_t {
  optional = 0,
  required = 1,   ///< all commands together count as one required item
  exclusive = 2,  ///< when given, it alone is run
};

/// Number of blank-separated tokens in `hint`: the number of words that an entry takes.
std::int32_t countHintTokens(const std::string& hint);

/// One option or command of the command line.
struct OptionSpec {
  /// `paramCount` follows from `hint`, so that the usage text and the parser always agree.
  OptionSpec(std::string name, std::string longName, ArgKind argKind, std::string hint,
             Presence presence, std::string help, CommandHandler handler);

  std::string name;
  std::string longName;  ///< empty when there is none
  ArgKind argKind;
  std::string hint;
  Presence presence;
  std::string help;  ///< may hold line breaks
  CommandHandler handler;
  std::vector<std::string> words;  ///< filled by the parser; empty in the registry
  std::int32_t paramCount;
};

}  // namespace boardctl
