#include <time.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bench/row.h"
#include "logging/log.h"

/// The log writer beside one snprintf of the same line, time and all, and one write to a buffered
/// stream. With an argument it only passes that many lines that are filtered out, and then as many
/// empty rounds of the same loop, for a count of instructions.

namespace {

constexpr int kLines = 200'000;
constexpr const char* kFile = "tools/boardctl/get.cpp";

__attribute__((noinline)) void filtered(int lines) {
  for (int line = 0; line < lines; ++line) {
    BOARDCTL_LOG(boardctl::kLogDebug, "[%s:%d][%s]: Entry().\n", kFile, line, "getGpuData");
    asm volatile("" ::: "memory");
  }
}

__attribute__((noinline)) void emptyRounds(int lines) {
  for (int line = 0; line < lines; ++line) asm volatile("" ::: "memory");
}

void written(int lines) {
  for (int line = 0; line < lines; ++line) {
    BOARDCTL_LOG(boardctl::kLogDebug, "[%s:%d][%s]: Entry().\n", kFile, line, "getGpuData");
  }
}

void baseline(std::FILE* file, int lines) {
  for (int line = 0; line < lines; ++line) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm utc = {};
    gmtime_r(&now.tv_sec, &utc);
    char text[1200];
    const int length = std::snprintf(
        text, sizeof text, "[%02d/%02d/%02d %02d:%02d:%02d.%09ld]%c[%s:%d][%s]: Entry().\n",
        utc.tm_mon + 1, utc.tm_mday, utc.tm_year % 100, utc.tm_hour, utc.tm_min, utc.tm_sec,
        static_cast<long>(now.tv_nsec), 'D', kFile, line, "getGpuData");
    std::fwrite(text, 1, static_cast<std::size_t>(length), file);
  }
}

template <typename Work>
void onThreads(int count, Work work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
}

/// A row for one thread and one for 8 that share the lines.
template <typename Work, typename Baseline>
void rows(const std::string& what, int lines, Work work, Baseline baseline) {
  for (const int threads : {1, 8}) {
    const int each = lines / threads;
    const bench::Pair best = bench::compare(
        9, [&] { onThreads(threads, [&work, each] { work(each); }); },
        [&] { onThreads(threads, [&baseline, each] { baseline(each); }); });
    const std::string row = what + (threads == 1 ? "" : ", 8 threads at once");
    bench::row(row.c_str(), best.measured / lines, best.baseline / lines, "ns");
  }
}

}  // namespace

int main(int argc, char** argv) {
  logger.levelText = "3";
  if (argc > 1) {
    const int lines = std::atoi(argv[1]);
    if (std::strcmp(argv[2], "filtered") == 0) {
      filtered(lines);
    } else {
      emptyRounds(lines);
    }
    return 0;
  }

  rows("log line, filtered, vs. an empty loop", 100 * kLines, filtered, emptyRounds);

  logger.levelText = "4";
  logger.output.open("/dev/null");
  std::FILE* const file = std::fopen("/dev/null", "w");
  rows("log line, written, vs. snprintf and a buffered write", kLines, written,
       [file](int lines) { baseline(file, lines); });
  std::fclose(file);
  return 0;
}
