#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/option_spec.h"

namespace boardctl {

/// Turns the words of a command line into selected entries and then runs their handlers. Nothing is
/// run until the whole line has been accepted. Used once, from one thread: `parse`, then `run`.
class CommandLine {
 public:
  /// `args`: every process argument; the first is the path of the program and is never looked at.
  /// `registry`: not copied; must outlive the object.
  CommandLine(std::vector<std::string> args, const std::vector<OptionSpec>& registry);

  /// Returns 0, or raises `std::runtime_error` with the complete message for a line that is
  /// refused.
  std::int32_t parse();

  /// Runs the selected handlers in byte-wise order of their keys, so every option before the
  /// command, up to the first that returns non-zero. Returns that result; otherwise -1 after help
  /// and 0 after anything else. What a handler raises passes through.
  std::int32_t run();

  /// The registry's entries by name and by second name; filled by `parse`.
  const std::map<std::string, const OptionSpec*>& byName() const { return byName_; }

  /// The required groups ("-m", "cmd"), each true once seen.
  const std::map<std::string, bool>& required() const { return required_; }

  /// The chosen entries with their words, by group key: "cmd" for every command, else the name.
  const std::map<std::string, std::unique_ptr<OptionSpec>>& selected() const { return selected_; }

 private:
  void index();
  const std::string& arg(std::int32_t position) const;
  void takeWords(const std::string& word, OptionSpec& entry);

  std::int32_t argc_;
  std::vector<std::string> args_;
  std::int32_t position_ = 1;  ///< in `args_`, of the word that is looked at
  const std::vector<OptionSpec>& registry_;
  std::map<std::string, const OptionSpec*> byName_;
  std::map<std::string, bool> required_;
  std::map<std::string, std::unique_ptr<OptionSpec>> selected_;
};

}  // namespace boardctl
