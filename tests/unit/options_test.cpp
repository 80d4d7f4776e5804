#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>
#include <stdexcept>

#include "cli/handlers.h"
#include "tests/unit/command_test.h"

namespace boardctl {
namespace {

class OptionsTest : public CommandTest {
 protected:
  static std::string message(std::int32_t (*handler)(Words), const std::string& word) {
    try {
      handler({word});
    } catch (const std::exception& error) {
      return error.what();
    }
    return "no error";
  }
};

struct FileOption {
  const char* name;
  std::int32_t (*handler)(Words);
  std::string* setting;
};
const FileOption kFileOptions[] = {{"-m", setManifestFile, &manifestFile},
                                   {"-p", setProfileFile, &profileFile},
                                   {"-t", setPropertiesFile, &propertiesFile}};

TEST_F(OptionsTest, AFileOptionKeepsTheNameAsTyped) {
  const std::string name = testing::TempDir() + "an odd%name\n";
  std::ofstream(name) << "anything";
  for (const FileOption& option : kFileOptions) {
    SCOPED_TRACE(option.name);
    EXPECT_EQ(option.handler({name}), 0);
    EXPECT_EQ(*option.setting, name);
  }
  EXPECT_TRUE(library().calls.empty());
}

TEST_F(OptionsTest, AFileOptionLeavesNoFileOpen) {
  const std::string name = testing::TempDir() + "left open";
  std::ofstream(name) << "anything";
  const auto nextDescriptor = [&name] {
    const int file = open(name.c_str(), O_RDONLY);
    close(file);
    return file;
  };
  const int before = nextDescriptor();
  ASSERT_GE(before, 0);
  for (const FileOption& option : kFileOptions) option.handler({name});
  EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(OptionsTest, AFileOptionRejectsAFileThatDoesNotOpenAndKeepsTheOldName) {
  for (const FileOption& option : kFileOptions) {
    SCOPED_TRACE(option.name);
    *option.setting = "before";
    EXPECT_EQ(message(option.handler, "missing.json"), "File missing.json not exist!");
    EXPECT_EQ(message(option.handler, ""), "File  not exist!");
    EXPECT_EQ(*option.setting, "before");
  }
}

TEST_F(OptionsTest, LogLevelsFrom0To5GoToTheLibraryAndItsResultIsIgnored) {
  const struct {
    const char* word;
    int level;
  } rows[] = {{"0", 0}, {"5", 5}, {"3x", 3}, {" 4", 4}, {"+1", 1}, {"-0", 0}, {"0x5", 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.word);
    library().calls.clear();
    EXPECT_EQ(setLogLevel({row.word}), 0);
    EXPECT_EQ(library().calls, Calls{"GPUSetLogLevel(" + std::to_string(row.level) + ")"});
  }
}

TEST_F(OptionsTest, OtherLogLevelsAreRejected) {
  for (const char* word : {"6", "-1", "2147483647", "-2147483648"}) {
    EXPECT_EQ(message(setLogLevel, word), "Level of our range[0-5]!") << word;
  }
  for (const char* word : {"abc", "", "-", "2147483648", "x3"}) {
    EXPECT_EQ(message(setLogLevel, word), "stoi") << word;
  }
  EXPECT_TRUE(library().calls.empty());
}

TEST_F(OptionsTest, TheLogFileGoesToTheLibraryAndItsResultIsIgnored) {
  EXPECT_EQ(setLogFile({"/no/such/folder/log"}), 0);
  EXPECT_EQ(library().calls, Calls{"GPUSetLogger(\"/no/such/folder/log\")"});
}

TEST_F(OptionsTest, AnEmptyLogFileNameIsRejected) {
  EXPECT_EQ(message(setLogFile, ""), "Need a file name!");
  EXPECT_TRUE(library().calls.empty());
}

}  // namespace
}  // namespace boardctl
