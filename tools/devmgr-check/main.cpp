#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "tools/devmgr-check/checks.h"

namespace {

constexpr int kCouldNotTell = 2;

constexpr const char* kUsage =
    "usage: devmgr-check LIBRARY [--live MANIFEST [PROFILE] [PROPERTIES]]\n"
    "Tells whether a device library fits the interface that boardctl is built against.\n"
    "--live also starts its manager and makes reading calls. Exit status: 0 fits, 1 does not,\n"
    "2 could not tell.\n";

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 1 && (words[0] == "-h" || words[0] == "--help")) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  const bool live = words.size() >= 3 && words.size() <= 5 && words[1] == "--live";
  if (words.size() != 1 && !live) {
    std::fputs(kUsage, stderr);
    return kCouldNotTell;
  }
  try {
    const Library library(words[0]);
    words.resize(5);
    Report report;
    checkSymbols(library, report);
    if (live) checkLive(library, words[2], words[3], words[4], report);
    return report.status();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "devmgr-check: %s\n", error.what());
    return kCouldNotTell;
  }
}
