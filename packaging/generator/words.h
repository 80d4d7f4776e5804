#pragma once

#include <string>
#include <vector>

#include "cli/option_spec.h"

/// What may stand where on a command line, as the tool's own tables tell it.
namespace generator {

/// One kind of word and the words that are of it.
struct WordKind {
  std::string name;
  std::vector<std::string> words;  ///< empty for kinds that cannot be listed, such as numbers
};

/// Kinds by the names that `slotKinds` gives, but for properties and files.
std::vector<WordKind> wordKinds();

/// The kinds of the words that an entry takes, in order. Raises `std::runtime_error` for a hint
/// that is new: how its words are completed has to be decided first.
std::vector<std::string> slotKinds(const boardctl::OptionSpec& entry);

/// The catalogue's properties whose first component is `device`, sorted.
std::vector<std::string> propertiesOf(const std::string& device);

/// The catalogue's API names, sorted.
std::vector<std::string> apiNames();

/// Words that a session of the shell may hold, numbers apart, sorted.
std::vector<std::string> sessionWords();

}  // namespace generator
