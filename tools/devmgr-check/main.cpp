#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "tools/devmgr-check/checks.h"
#include "tools/devmgr-check/isolation.h"
#include "tools/standard_files.h"

namespace {

constexpr int kCouldNotTell = 2;

constexpr const char* kUsage =
    "usage: devmgr-check LIBRARY [--live MANIFEST [PROFILE] [PROPERTIES]]\n"
    "Check whether a device library is compatible with boardctl.\n"
    "With --live, also start its manager and make read-only calls.\n"
    "Exit status: 0 compatible, 1 not compatible, 2 could not be determined.\n";

void printRow(Verdict verdict, const std::string& what, const std::string& detail) {
  constexpr std::size_t kWidth = 32;
  std::string row = verdict == Verdict::good  ? "ok    "
                    : verdict == Verdict::bad ? "FAIL  "
                                              : "?     ";
  row += what;
  if (!detail.empty()) {
    row.append(what.size() < kWidth ? kWidth - what.size() : 0, ' ').append("  ").append(detail);
  }
  standard_files::print(row + '\n');
}

class Descriptor {
 public:
  explicit Descriptor(const std::string& file)
      : number_(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
    if (number_ < 0) throw std::system_error(errno, std::generic_category());
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(number_); }
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

int check(const std::vector<std::string>& words, bool live) {
  if (words[0].empty()) throw std::runtime_error("the name of the library is empty");
  // The loader searches its path for a name without a slash.
  const std::string file = words[0].find('/') == std::string::npos ? "./" + words[0] : words[0];
  const ElfFile contents = [&] {
    try {
      return ElfFile(Descriptor(file).number());
    } catch (const std::exception& error) {
      throw std::runtime_error(words[0] + ": " + error.what());
    }
  }();
  Report report({printRow, [](const std::string&) {}});
  checkFile(contents, report);
  runIsolated(
      [&](Report& rows) {
        std::optional<Library> library;
        try {
          library.emplace(file, contents);
        } catch (const std::runtime_error& error) {
          rows.unknown("loading", error.what());
          return;
        }
        checkLoaded(contents, *library, rows);
        if (live) checkLive(*library, words[2], words[3], words[4], rows);
      },
      report);
  return report.status();
}

}  // namespace

int main(int argc, char** argv) {
  standard_files::hold();
  signal(SIGPIPE, SIG_IGN);
  std::vector<std::string> words(argv + 1, argv + argc);
  const bool help = words.size() == 1 && (words[0] == "-h" || words[0] == "--help");
  const bool live = words.size() >= 3 && words.size() <= 5 && words[1] == "--live";
  if (!help && !live && words.size() != 1) {
    std::fputs(kUsage, stderr);
    return kCouldNotTell;
  }
  try {
    if (help) {
      standard_files::print(kUsage);
      return 0;
    }
    words.resize(5);
    return check(words, live);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "devmgr-check: %s\n", error.what());
    return kCouldNotTell;
  }
}
