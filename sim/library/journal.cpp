#include "sim/library/journal.h"

#include <cerrno>
#include <cstring>

#include "sim/base/log.h"

namespace sim {
namespace {

constexpr std::size_t kMaxBuffered = 16;

std::string quoted(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (byte < 0x20 || byte >= 0x7f) {
      result += "\\u00";
      result += kDigits[byte / 16];
      result += kDigits[byte % 16];
    } else {
      result += c;
    }
  }
  return result + '"';
}

}  // namespace

JsonLine& JsonLine::addRaw(std::string_view key, std::string_view json) {
  if (!members_.empty()) members_ += ',';
  members_ += quoted(key);
  members_ += ':';
  members_ += json;
  return *this;
}

JsonLine& JsonLine::add(std::string_view key, std::int64_t number) {
  return addRaw(key, std::to_string(number));
}

JsonLine& JsonLine::add(std::string_view key, std::string_view text) {
  return addRaw(key, quoted(text));
}

JsonLine& JsonLine::add(std::string_view key, std::span<const std::uint32_t> words) {
  std::string json = "[";
  for (const std::uint32_t word : words) {
    if (json.size() > 1) json += ',';
    json += std::to_string(word);
  }
  return addRaw(key, json + ']');
}

std::string Journal::open(const std::string& file, std::uint64_t seed, std::string_view clock) {
  errno = 0;
  file_ = file;
  stream_.open(file, std::ios::trunc);
  if (!stream_) return std::string("cannot be opened: ") + std::strerror(errno);
  JsonLine first;
  first.add("journal", kVersion).add("seed", static_cast<std::int64_t>(seed)).add("clock", clock);
  stream_ << first.text() << '\n';
  for (const std::string& line : buffered_) stream_ << line << '\n';
  buffered_.clear();
  if (stream_.flush()) return "";
  const int error = errno;
  close();
  return std::string("cannot be written: ") + std::strerror(error);
}

void Journal::close() {
  stream_.close();
  stream_.clear();
}

void Journal::write(const JsonLine& line) {
  if (!isOpen()) return;
  errno = 0;
  stream_ << line.text() << '\n';
  if (stream_.flush()) return;
  logLine(Level::error, file_ + ": the journal ends here: " + std::strerror(errno));
  close();
}

void Journal::buffer(const JsonLine& line) {
  if (buffered_.size() < kMaxBuffered) buffered_.push_back(line.text());
}

}  // namespace sim
