#include "tools/boardctl-export/collector.h"

#include <gtest/gtest.h>

namespace exporter {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

TEST(NextWait, DoublesUpToAnHour) {
  Clock::duration wait{};
  for (const int expected : {1, 2, 4, 8, 16, 32, 60, 60}) {
    wait = nextWait(wait, minutes(1));
    EXPECT_EQ(wait, minutes(expected)) << expected;
  }
}

TEST(NextWait, IsNeverShorterThanTheInterval) {
  EXPECT_EQ(nextWait({}, hours(2)), hours(2));
  EXPECT_EQ(nextWait(hours(2), hours(2)), hours(2));
  EXPECT_EQ(nextWait(seconds(1), minutes(50)), minutes(50));
  EXPECT_EQ(nextWait(minutes(50), minutes(50)), hours(1));
}

}  // namespace
}  // namespace exporter
