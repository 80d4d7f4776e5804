#include <getopt.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <system_error>
#include <vector>

#include "tools/boardctl-journal/commands.h"
#include "tools/boardctl-journal/text.h"
#include "tools/standard_files.h"

namespace {

constexpr int kFailed = 2;

constexpr const char* kUsage =
    "usage: boardctl-journal check FILE\n"
    "       boardctl-journal scan FILE\n"
    "       boardctl-journal redact FILE NEW\n"
    "       boardctl-journal board FILE FOLDER\n"
    "Look into a recording of calls of the device library.\n"
    "check: how the recording ended, and which calls failed, took long or never returned.\n"
    "scan: texts that look like serial numbers and other identities.\n"
    "redact: copy the recording to a new file, with pseudonyms for the identities.\n"
    "board: make the files of a simulated board that answers as the recorded one.\n"
    "Exit status: 0 whole, nothing found, made; 1 not whole, something found; 2 failed.\n";

struct CommandRow {
  std::string_view name;
  std::size_t words;
  Command run;
};
constexpr std::array kCommands{
    CommandRow{"check", 1, checkJournal},
    CommandRow{"scan", 1, scanJournal},
    CommandRow{"redact", 2, redactJournal},
    CommandRow{"board", 2, makeBoard},
};

int rejectUsage() {
  std::fputs(kUsage, stderr);
  return kFailed;
}

int run(const std::vector<std::string>& words) {
  if (words.empty()) return rejectUsage();
  const auto* const command = std::ranges::find(kCommands, words[0], &CommandRow::name);
  if (command == kCommands.end() || words.size() != command->words + 1) return rejectUsage();
  std::string out;
  try {
    const int status = command->run({words.begin() + 1, words.end()}, out);
    standard_files::print(out);
    return status;
  } catch (const std::system_error&) {
    throw;
  } catch (const std::exception&) {
    standard_files::print(out);
    throw;
  }
}

}  // namespace

int main(int argc, char** argv) {
  standard_files::hold();
  signal(SIGPIPE, SIG_IGN);
  constexpr std::array kOptions{option{"help", no_argument, nullptr, 'h'},
                                option{"version", no_argument, nullptr, 'V'},
                                option{nullptr, 0, nullptr, 0}};
  opterr = 0;
  try {
    switch (getopt_long(argc, argv, "hV", kOptions.data(), nullptr)) {
      case -1:
        return run({argv + optind, argv + argc});
      case 'h':
        standard_files::print(kUsage);
        return 0;
      case 'V':
        standard_files::print("boardctl-journal " BOARDCTL_VERSION "\n");
        return 0;
      default:
        return rejectUsage();
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "boardctl-journal: %s\n", printable(error.what()).c_str());
    return kFailed;
  }
}
