#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

#include "tools/boardctl/manager.h"
#include "tools/boardctl/output.h"
#include "tools/boardctl/settings.h"
#include "tools/boardctl/shell_commands.h"

namespace boardctl {
namespace {

constexpr std::string_view kHelp =
    "help\nget\nset\nclear\nraw\nrawSyncCmd\nrawAsyncCmd\nset_callback\nquit\n";

/// Lines of standard input. The buffer is kept from line to line.
class LineReader {
 public:
  LineReader() = default;
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader() { std::free(buffer_); }

  /// The next line without its newline; empty at the end of input and after a read error. Neither a
  /// signal nor input that does not wait cuts a line. Valid until the next call.
  std::string_view next() {
    std::string_view line = read();
    if (!line.ends_with('\n')) line = resume(line);
    if (line.ends_with('\n')) line.remove_suffix(1);
    return line;
  }

  /// Whether the last call met the end of input or a read error.
  bool ended() const { return ended_; }

 private:
  /// What one call delivers; `errno` is 0 unless it failed.
  std::string_view read() {
    errno = 0;
    const ssize_t length = getline(&buffer_, &size_, stdin);
    ended_ = length < 0;
    if (!ended_) return {buffer_, static_cast<std::size_t>(length)};
    if (errno == ENOMEM) throw std::runtime_error(std::string(std::strerror(ENOMEM)));
    return {};
  }

  /// Whether reading failed for the moment only: by a signal, or since whoever shares standard
  /// input made it non-blocking and nothing is there yet.
  static bool mayGoOn() { return errno == EINTR || errno == EAGAIN; }

  static void awaitInput() {
    pollfd input = {fileno(stdin), POLLIN, 0};
    poll(&input, 1, -1);
  }

  /// The whole line whose beginning was delivered when the reading stopped, or what there is of it.
  std::string_view resume(std::string_view line) {
    interrupted_ = line;
    while (mayGoOn() && !interrupted_.ends_with('\n')) {
      if (errno == EAGAIN) awaitInput();
      std::clearerr(stdin);
      interrupted_ += read();
    }
    return interrupted_;
  }

  bool ended_ = false;
  std::string interrupted_;
  char* buffer_ = nullptr;
  std::size_t size_ = 0;
};

/// Takes the next field off the front of `line`: fields lie between single spaces, empty ones are
/// passed over. Empty at the end of the line. Tabs stay inside fields.
std::string_view takeField(std::string_view& line) {
  while (line.starts_with(' ')) line.remove_prefix(1);
  const std::string_view field = line.substr(0, line.find(' '));
  line.remove_prefix(field.size());
  return field;
}

void runLine(std::string_view line) {
  const std::string_view word = takeField(line);
  for (const ShellCommand& command : kShellCommands) {
    if (command.word != word) continue;
    std::vector<std::string> words;
    words.reserve(8);
    for (std::string_view field; !(field = takeField(line)).empty();) words.emplace_back(field);
    command.handler(std::move(words));
    return;
  }
}

}  // namespace

std::int32_t runShell(std::vector<std::string> /*words*/) {
  shellActive = true;
  pthread_setname_np(pthread_self(), "GPU shell");
  const ManagerSession manager = ManagerSession::forShell();
  if (const std::int32_t result = manager.start(kStartForShell); result != 0) return result;

  LineReader input;
  while (true) {
    // Once input has ended nobody waits at the prompt, and prompts then come without end.
    if (input.ended()) {
      print("> ");
    } else {
      printNow("> ");
    }
    const std::string_view line = input.next();
    if (std::ranges::find(kShellEnds, line) != std::end(kShellEnds)) break;
    if (line == kShellHelp) {
      print(kHelp);
    } else {
      runLine(line);
    }
  }
  manager.stop();
  shellActive = false;
  return 0;
}

}  // namespace boardctl
