#include "cli/option_spec.h"

#include <utility>

namespace boardctl {

std::int32_t countHintTokens(const std::string& hint) {
  std::int32_t count = 0;
  bool afterBlank = true;
  for (const char character : hint) {
    // What isspace says in the C locale, the only one that the tool runs in.
    const bool blank = character == ' ' || (character >= '\t' && character <= '\r');
    if (afterBlank && !blank) ++count;
    afterBlank = blank;
  }
  return count;
}

OptionSpec::OptionSpec(std::string name_, std::string longName_, ArgKind argKind_,
                       std::string hint_, Presence presence_, std::string help_,
                       CommandHandler handler_)
    : name(std::move(name_)),
      longName(std::move(longName_)),
      argKind(argKind_),
      hint(std::move(hint_)),
      presence(presence_),
      help(std::move(help_)),
      handler(std::move(handler_)),
      paramCount(argKind == ArgKind::none ? 0 : countHintTokens(hint)) {}

}  // namespace boardctl
