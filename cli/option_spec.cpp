#include "cli/option_spec.h"

#include <cctype>
#include <utility>

namespace boardctl {

std::int32_t countHintTokens(const std::string& hint) {
  std::int32_t count = 0;
  bool afterBlank = true;
  for (const char character : hint) {
    const bool blank = std::isspace(static_cast<unsigned char>(character)) != 0;
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
