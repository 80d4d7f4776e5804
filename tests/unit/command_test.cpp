#include "tests/unit/command_test.h"

#include <fstream>
#include <regex>

#include "tests/support/output_forms.h"

std::vector<std::string> CommandTest::logLines() {
  static const std::regex stamp(kStampPattern + std::string("([OPEWDI].*)"));
  logger.output.flush();
  std::vector<std::string> lines;
  std::ifstream file(logFile_);
  for (std::string line; std::getline(file, line);) {
    std::smatch match;
    EXPECT_TRUE(std::regex_match(line, match, stamp)) << line;
    lines.push_back(match[1]);
  }
  return lines;
}
