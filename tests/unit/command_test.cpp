#include "tests/unit/command_test.h"

#include <fstream>

#include "tests/support/output_forms.h"
#include "tests/support/pattern.h"

std::vector<std::string> CommandTest::logLines() {
  const std::string stamp = kStampPattern;
  logger.output.flush();
  std::vector<std::string> lines;
  std::ifstream file(logFile_);
  for (std::string line; std::getline(file, line);) {
    EXPECT_TRUE(matches(line, stamp + "[OPEWDI].*")) << line;
    lines.push_back(replaced(line, '^' + stamp, ""));
  }
  return lines;
}
