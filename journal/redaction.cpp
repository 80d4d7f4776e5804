#include "journal/redaction.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "catalogue/identities.h"
#include "journal/line.h"

namespace journal {
namespace {

constexpr std::size_t kShortest = 4;
constexpr std::size_t kBinaryDigits = 16;

bool isDecimal(char c) { return c >= '0' && c <= '9'; }
bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isLower(char c) { return c >= 'a' && c <= 'z'; }
bool isAlphanumeric(char c) { return isDecimal(c) || isUpper(c) || isLower(c); }
char toLower(char c) { return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c; }
char toUpper(char c) { return isLower(c) ? static_cast<char>(c - 'a' + 'A') : c; }

bool isHexadecimal(std::string_view value) {
  return std::ranges::all_of(
      value, [](char c) { return !isAlphanumeric(c) || isDecimal(c) || toLower(c) <= 'f'; });
}

std::string_view identityIn(std::string_view value) {
  constexpr std::string_view kBlanks = " \t\r\n";
  value.remove_prefix(std::min(value.find_first_not_of(kBlanks), value.size()));
  value.remove_suffix(value.size() - 1 - value.find_last_not_of(kBlanks));
  if (value.size() > 2 && value[0] == '0' && toLower(value[1]) == 'x') value.remove_prefix(2);
  return value;
}

/// A text of the same classes. Numbers below the product of their sizes give different texts.
std::string sameClasses(std::string value, std::uint64_t number) {
  const unsigned letters = isHexadecimal(value) ? 6 : 26;
  for (auto c = value.rbegin(); c != value.rend(); ++c) {
    if (!isAlphanumeric(*c)) continue;
    const unsigned size = isDecimal(*c) ? 10 : letters;
    const char first = isDecimal(*c) ? '0' : isUpper(*c) ? 'A' : 'a';
    *c = static_cast<char>(first + static_cast<char>(number % size));
    number /= size;
  }
  return value;
}

/// One that hardly holds a given shorter text: every character is another function of the number.
std::string scrambled(const std::string& value, std::uint64_t number) {
  std::string result = value;
  for (std::size_t i = 0; i < result.size(); ++i) {
    number = (number ^ (number >> 29U)) * 0xBF58476D1CE4E5B9U + 0x9E3779B97F4A7C15U;
    result[i] = sameClasses(value.substr(i, 1), number >> 32U)[0];
  }
  return result;
}

/// Of a hexadecimal digit.
int valueOf(char c) { return isDecimal(c) ? c - '0' : toLower(c) - 'a' + 10; }

std::string bytesOf(std::string_view digits) {
  std::string bytes;
  int high = -1;
  for (const char c : digits) {
    if (!isAlphanumeric(c)) continue;
    const int nibble = valueOf(c);
    if (high >= 0) bytes += static_cast<char>(high * 16 + nibble);
    high = high < 0 ? nibble : -1;
  }
  return high < 0 ? bytes : "";
}

/// Adds a value in all forms in which it may appear.
void addForms(Replacements& replacements, const std::string& value, const std::string& by) {
  replacements.add(value, by);
  if (!isHexadecimal(value)) return;
  for (const auto inCase : {toLower, toUpper}) {
    std::string from = value, to = by;
    std::ranges::transform(from, from.begin(), inCase);
    std::ranges::transform(to, to.begin(), inCase);
    if (from != value) replacements.add(std::move(from), std::move(to));
  }
  std::string from = bytesOf(value), to = bytesOf(by);
  // Mostly zeros would be found everywhere.
  const auto zeros = static_cast<std::size_t>(std::ranges::count(from, '\0'));
  if (from.size() < kBinaryDigits / 2 || zeros > from.size() / 2) return;
  replacements.add(from, to);
  std::ranges::reverse(from);
  std::ranges::reverse(to);
  replacements.add(std::move(from), std::move(to));
}

/// Copies a line with its texts and words replaced.
class LineCopy {
 public:
  using Names = std::map<std::string, std::string, std::less<>>;

  /// `whole`: what is replaced as the whole value of an identity property; may be null.
  LineCopy(const Replacements& replacements, const Names* whole, bool keepsLength)
      : replacements_(replacements), whole_(whole), keepsLength_(keepsLength) {}

  std::string of(std::string_view line) {
    for (line_ = line; at_ < line_.size();) {
      if (line_[at_] == '"') {
        text();
      } else if (hasWords_ && isDecimal(line_[at_])) {
        words();
      } else {
        ++at_;
      }
    }
    copyUpTo(line_.size());
    return std::move(result_);
  }

 private:
  static bool isOneOf(std::string_view key, std::initializer_list<std::string_view> keys) {
    return std::ranges::find(keys, key) != keys.end();
  }

  void text() {
    const std::size_t begin = at_++;
    bool isPlain = true;
    for (; at_ < line_.size() && line_[at_] != '"'; ++at_) {
      if (line_[at_] != '\\') continue;
      isPlain = false;
      ++at_;
    }
    at_ = std::min(at_ + 1, line_.size());
    const std::string_view token = line_.substr(begin, at_ - begin);
    if (at_ < line_.size() && line_[at_] == ':') {
      key_ = token.substr(1, token.size() - 2);
      isFixed_ = isOneOf(key_, {"call", "clock", "end", "library", "tool"});
      hasWords_ = isOneOf(key_, {"data", "extended", "input", "output", "reply"});
      return;
    }
    if (isFixed_) return;
    if (whole_ != nullptr && key_ == "property") {
      isIdentity_ = PropertyCatalogue::isIdentity(unquoted(token));
    }
    if (whole_ != nullptr && key_ == "value" && isIdentity_ && wholeValue(token)) return;
    if (isPlain && !replacements_.matches(token)) return;
    std::string bytes = unquoted(token);
    if (replacements_.apply(std::span(bytes))) put(token, json(std::string_view(bytes)), "\"\"");
  }

  bool wholeValue(std::string_view token) {
    std::string bytes = unquoted(token);
    const std::string_view identity = identityIn(bytes);
    const auto found = whole_->find(identity);
    if (found == whole_->end()) return false;
    bytes.replace(static_cast<std::size_t>(identity.data() - bytes.data()), identity.size(),
                  found->second);
    put(token, json(std::string_view(bytes)), "\"\"");
    return true;
  }

  /// The words of a list, or of both data registers.
  void words() {
    const std::size_t begin = at_;
    std::vector<std::uint32_t> words;
    while (at_ < line_.size()) {
      constexpr std::string_view kBetween = R"(,"extended":)";
      if (isDecimal(line_[at_])) {
        words.push_back(number());
      } else if (line_[at_] == ',' && at_ + 1 < line_.size() && isDecimal(line_[at_ + 1])) {
        ++at_;
      } else if (key_ == "data" && line_.substr(at_).starts_with(kBetween)) {
        at_ += kBetween.size();
      } else {
        break;
      }
    }
    if (!replacements_.apply(std::span(words))) return;
    const std::size_t end = std::exchange(at_, begin);
    for (auto word = words.begin(); at_ < end;) {
      if (!isDecimal(line_[at_])) {
        ++at_;
        continue;
      }
      const std::size_t first = at_;
      if (number() != *word) put(line_.substr(first, at_ - first), json(std::int64_t{*word}), "0");
      ++word;
    }
  }

  std::uint32_t number() {
    std::uint32_t value = 0;
    while (at_ < line_.size() && isDecimal(line_[at_])) {
      value = value * 10 + static_cast<std::uint32_t>(line_[at_++] - '0');
    }
    return value;
  }

  /// `old`: the token that ends here.
  void put(std::string_view old, std::string_view token, std::string_view empty) {
    copyUpTo(at_ - old.size());
    if (keepsLength_ && token.size() > old.size()) token = empty;
    result_ += token;
    if (keepsLength_) result_.append(old.size() - token.size(), ' ');
    copied_ = at_;
  }

  void copyUpTo(std::size_t end) {
    result_ += line_.substr(copied_, end - copied_);
    copied_ = end;
  }

  template <class T>
  static std::string json(const T& value) {
    Line line;
    const std::string_view text = line.add("", value).whole();
    return std::string(text.substr(4, text.size() - 6));
  }

  static std::string unquoted(std::string_view token) {
    std::string text;
    for (std::size_t i = 1; i + 1 < token.size(); ++i) {
      if (token[i] != '\\') {
        text += token[i];
        continue;
      }
      constexpr std::string_view kShortEscapes = "b\bf\fn\nr\rt\t";
      const std::size_t escape = kShortEscapes.find(token[++i]);
      if (token[i] == 'u') {
        int code = 0;
        const std::size_t last = std::min(i + 4, token.size() - 1);
        while (i < last) code = code * 16 + valueOf(token[++i]);
        text += static_cast<char>(code);
      } else {
        text += escape == std::string_view::npos ? token[i] : kShortEscapes[escape + 1];
      }
    }
    return text;
  }

  const Replacements& replacements_;
  const Names* whole_;
  bool keepsLength_;
  std::string_view line_;
  std::string_view key_;
  std::size_t at_ = 0;
  std::size_t copied_ = 0;
  bool isFixed_ = false;
  bool hasWords_ = false;
  bool isIdentity_ = false;
  std::string result_;
};

}  // namespace

std::string applyInPlace(const Replacements& replacements, std::string_view line) {
  return LineCopy(replacements, nullptr, true).of(line);
}

std::optional<Replacements> Redaction::learn(std::string_view value) {
  const std::string identity(identityIn(value));
  const auto size = static_cast<std::size_t>(std::ranges::count_if(identity, isAlphanumeric));
  if (size == 0 || isFull() || known_.contains(identity)) return {};
  const bool isShort = size < kShortest;
  const std::string& pseudonym = known_[identity] = fresh(identity, isShort);
  hasShort_ = hasShort_ || isShort;
  if (isShort) return {};
  std::optional<Replacements> earlier{std::in_place};
  addForms(now_, identity, pseudonym);
  addForms(*earlier, identity, pseudonym);
  for (auto& [owner, text] : known_) {
    if (owner == identity || !now_.matches(text)) continue;
    const std::string old = std::exchange(text, fresh(owner, false));
    addForms(now_, owner, text);
    addForms(*earlier, old, text);
  }
  return earlier;
}

bool Redaction::leaves(std::string_view members) const {
  if (known_.empty()) return true;
  constexpr auto kNowhere = std::string_view::npos;
  const bool hasWords = members.find('[') != kNowhere || members.find("xtended") != kNowhere;
  const bool hasEscapes = members.find('\\') != kNowhere;
  const bool mayHoldShort = hasShort_ && PropertyCatalogue::isIdentity(members);
  return !hasWords && !hasEscapes && !mayHoldShort && !now_.matches(members);
}

std::string Redaction::apply(std::string_view line) const {
  if (leaves(line)) return std::string(line);
  return LineCopy(now_, hasShort_ ? &known_ : nullptr, false).of(line);
}

/// A pseudonym that has never been one and holds no known value. A short value, of which there may
/// be as many as texts of its classes, may have to do with one that is somebody else's value.
std::string Redaction::fresh(const std::string& value, bool isShort) {
  constexpr std::uint64_t kTries = 256;
  const std::string classes = sameClasses(value, 0);
  auto count = std::ranges::find(counts_, classes, &Count::classes);
  if (count == counts_.end()) count = counts_.insert(count, {classes});
  std::uint64_t& number = count->number;
  std::string candidate = sameClasses(value, number++);
  for (std::uint64_t i = 0; i < kTries; ++i) {
    const bool isValue = isShort ? known_.contains(candidate) : now_.matches(candidate);
    if (candidate != value && !isValue && !used_.contains(candidate)) break;
    candidate = scrambled(value, number * kTries + i);
  }
  for (std::uint64_t i = 0; used_.contains(candidate); ++i) candidate = sameClasses(value, i);
  used_[candidate] = value;
  return candidate;
}

}  // namespace journal
