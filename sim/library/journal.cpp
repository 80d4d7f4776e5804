#include "sim/library/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

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

std::string Journal::open(const std::string& file, const UsedFiles& others, std::uint64_t seed,
                          std::string_view clock) {
  file_ = file;
  descriptor_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (descriptor_ < 0) return std::string("cannot be opened: ") + std::strerror(errno);
  std::string error = claim(others);
  JsonLine first;
  first.add("journal", kVersion).add("seed", static_cast<std::int64_t>(seed)).add("clock", clock);
  std::string lines = first.text() + '\n';
  for (const std::string& line : buffered_) lines += line + '\n';
  if (error.empty() && !append(lines)) {
    error = std::string("cannot be written: ") + std::strerror(errno);
  }
  if (!error.empty()) close();
  return error;
}

// What is no regular file, like a pipe, has no contents to lose and may be shared. A file system
// without locks is no reason to do without a journal.
std::string Journal::claim(const UsedFiles& others) const {
  const std::optional<FileId> id = file();
  if (!id) return "";
  if (const std::string_view use = others.useOf(id); !use.empty()) {
    return "is " + std::string(use) + "; the journal needs a file of its own";
  }
  if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return "is the journal of another process; each needs a file of its own";
  }
  if (ftruncate(descriptor_, 0) == 0) return "";
  return std::string("cannot be written: ") + std::strerror(errno);
}

bool Journal::append(const std::string& lines) const {
  for (std::string_view rest = lines; !rest.empty();) {
    const ssize_t count = ::write(descriptor_, rest.data(), rest.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) rest.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void Journal::close() {
  if (isOpen()) ::close(std::exchange(descriptor_, -1));
}

void Journal::write(const JsonLine& line) {
  if (!isOpen() || append(line.text() + '\n')) return;
  logLine(Level::error, file_ + ": the journal ends here: " + std::strerror(errno));
  close();
}

void Journal::buffer(const JsonLine& line) {
  if (buffered_.size() < kMaxBuffered) buffered_.push_back(line.text());
}

}  // namespace sim
