#include "logging/log.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

#include "tests/unit/command_test.h"

namespace boardctl {
namespace {

class LogTest : public CommandTest {
 protected:
  std::string fileText() {
    logger.output.flush();
    std::ostringstream text;
    text << std::ifstream(logFile_).rdbuf();
    return text.str();
  }
};

TEST_F(LogTest, WritesTheLetterOfEachLevel) {
  openLog("\xff");  // as a digit this is 207, which lets nearly every level through
  for (const int level : {0, 1, 2, 3, 4, 5, 6, 100}) logWrite(logger, level, "%d\n", level);
  EXPECT_EQ(logLines(),
            (std::vector<std::string>{"O0", "P1", "E2", "W3", "D4", "I5", "O6", "O100"}));
}

TEST_F(LogTest, EachNamedLevelHasItsLetter) {
  openLog("9");
  for (const auto& [level, letter] : {std::pair{kLogPanic, 'P'},
                                      {kLogError, 'E'},
                                      {kLogWarning, 'W'},
                                      {kLogDebug, 'D'},
                                      {kLogInfo, 'I'}}) {
    logWrite(logger, level, "%c\n", letter);
  }
  EXPECT_EQ(logLines(), (std::vector<std::string>{"PP", "EE", "WW", "DD", "II"}));
}

TEST_F(LogTest, LetsLevelsUpToTheConfiguredOneThrough) {
  openLog("3");
  for (int level = 0; level <= 6; ++level) logWrite(logger, level, "%d\n", level);
  EXPECT_EQ(logLines(), (std::vector<std::string>{"O0", "P1", "E2", "W3"}));
}

TEST_F(LogTest, WritesNothingWithoutALevel) {
  openLog("");
  logWrite(logger, 0, "x\n");
  EXPECT_EQ(fileText(), "");
}

TEST_F(LogTest, LooksAtTheFirstCharacterOfTheLevelOnly) {
  openLog("1xyz");
  logWrite(logger, 1, "yes\n");
  logWrite(logger, 2, "no\n");
  EXPECT_EQ(logLines(), std::vector<std::string>{"Pyes"});
}

TEST_F(LogTest, LooksAtTheLowByteOfTheLevelOnly) {
  openLog("0");
  logWrite(logger, 0x100, "yes\n");
  logWrite(logger, 0x101, "no\n");
  EXPECT_EQ(logLines(), std::vector<std::string>{"Oyes"});
}

TEST_F(LogTest, Level0PassesAnyLevelText) {
  openLog("0");
  logWrite(logger, 0, "x\n");
  EXPECT_EQ(logLines(), std::vector<std::string>{"Ox"});
}

TEST_F(LogTest, LeavesTheTimeStampOutOnRequest) {
  openLog("5");
  logWrite(logger, kLogDebug | kLogNoTimeStamp, "x %s\n", "y");
  EXPECT_EQ(fileText(), "Dx y\n");
}

TEST_F(LogTest, StampsTheUniversalTimeOfTheCall) {
  openLog("5");
  timespec before = {};
  clock_gettime(CLOCK_REALTIME, &before);
  logWrite(logger, kLogInfo, "x");
  timespec after = {};
  clock_gettime(CLOCK_REALTIME, &after);
  const std::string text = fileText();
  ASSERT_EQ(text.size(), 1 + 17 + 1 + 9 + 1 + 2U);
  tm utc = {};
  ASSERT_NE(strptime(text.c_str(), "[%D %T", &utc), nullptr);
  const timespec stamp = {timegm(&utc), std::stol(text.substr(19, 9))};
  const auto key = [](const timespec& time) { return std::pair(time.tv_sec, time.tv_nsec); };
  EXPECT_LE(key(before), key(stamp));
  EXPECT_LE(key(stamp), key(after));
}

TEST_F(LogTest, CutsAMessageAfter1023Characters) {
  openLog("5");
  for (const std::size_t length : {1022U, 1023U, 1024U, 2000U}) {
    SCOPED_TRACE(length);
    logWrite(logger, kLogDebug | kLogNoTimeStamp, "%s", std::string(length, 'x').c_str());
    EXPECT_EQ(fileText(), "D" + std::string(std::min<std::size_t>(length, 1023), 'x'));
    logger.output.close();
    openLog("5");
  }
}

TEST_F(LogTest, KeepsALongLineWholeBehindTheTimeStamp) {
  openLog("5");
  logWrite(logger, kLogDebug, "%s", std::string(2000, 'x').c_str());
  EXPECT_EQ(logLines(), std::vector<std::string>{"D" + std::string(1023, 'x')});
}

TEST_F(LogTest, EndsAMessageAtItsFirstNul) {
  openLog("5");
  logWrite(logger, kLogDebug | kLogNoTimeStamp, "a%cb\n", '\0');
  EXPECT_EQ(fileText(), "Da");
}

TEST_F(LogTest, AMessageThatCannotBeFormattedIsEmpty) {
  openLog("5");
  // The C locale has no such character.
  logWrite(logger, kLogDebug | kLogNoTimeStamp, "a%lcb\n", wint_t{0x20AC});
  EXPECT_EQ(fileText(), "D");
}

TEST_F(LogTest, WritesNothingToAClosedOutput) {
  for (const char* text : {"0", "5", "\xff"}) {
    logger.levelText = text;
    for (int level = 0; level <= 6; ++level) logWrite(logger, level, "x\n");
  }
  EXPECT_FALSE(logger.output.is_open());
  EXPECT_TRUE(logger.output.good());
}

TEST_F(LogTest, GivesTheLockBack) {
  openLog("5");
  logWrite(logger, kLogDebug, "x\n");
  ASSERT_TRUE(logger.lock.try_lock());
  logger.lock.unlock();
}

TEST_F(LogTest, AFilteredLineTakesNoLock) {
  openLog("3");
  const std::lock_guard held(logger.lock);
  logWrite(logger, kLogDebug, "x\n");
  EXPECT_EQ(fileText(), "");
}

TEST_F(LogTest, AFilteredLineIsNotFormatted) {
  openLog("3");
  // Formatting this would end the process.
  logWrite(logger, kLogDebug, "%s\n", reinterpret_cast<const char*>(std::uintptr_t{1}));
  EXPECT_EQ(fileText(), "");
}

TEST_F(LogTest, AFailingLockRaisesItsErrorNumber) {
  openLog("5");
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_init(logger.lock.native_handle(), &attributes);
  logger.lock.lock();
  try {
    logWrite(logger, kLogDebug, "x\n");
    FAIL() << "a lock held by this very thread was taken";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), EDEADLK);
  }
  logger.lock.unlock();
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_DEFAULT);
  pthread_mutex_init(logger.lock.native_handle(), &attributes);
  pthread_mutexattr_destroy(&attributes);
  EXPECT_EQ(fileText(), "");
}

TEST_F(LogTest, LinesOfSeveralThreadsNeverInterleave) {
  openLog("5");
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([number] {
      const std::string text(100, static_cast<char>('a' + number));
      for (int i = 0; i < 100; ++i) logWrite(logger, kLogDebug, "%s\n", text.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<std::string> lines = logLines();
  EXPECT_EQ(lines.size(), 800U);
  for (const std::string& line : lines) {
    SCOPED_TRACE(line);
    EXPECT_EQ(line.size(), 101U);
    EXPECT_EQ(line.find_first_not_of(line[1], 1), std::string::npos) << line;
  }
}

}  // namespace
}  // namespace boardctl
