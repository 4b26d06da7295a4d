#include "kelm/port/utc_offset.h"

#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <string>

namespace kelm::port {
namespace {

// Sets TZ for the test's scope.
class ZoneScope {
 public:
  explicit ZoneScope(const char* zone) {
    if (const char* old = getenv("TZ")) old_ = old, had_old_ = true;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ZoneScope() {
    if (had_old_) {
      setenv("TZ", old_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  std::string old_;
  bool had_old_ = false;
};

std::chrono::system_clock::time_point At(long long secondsSince1970) {
  return std::chrono::system_clock::time_point(std::chrono::seconds(secondsSince1970));
}

TEST(UtcOffsetTest, FollowsTheZoneAndDaylightSaving) {
  {
    ZoneScope zone("MSK-3");
    EXPECT_EQ(UtcOffset(At(1700000000)), std::chrono::hours(3));
  }
  {
    ZoneScope zone("EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(UtcOffset(At(1705000000)), std::chrono::hours(-5));  // January 2024
    EXPECT_EQ(UtcOffset(At(1720000000)), std::chrono::hours(-4));  // July 2024
  }
  {
    ZoneScope zone("UTC0");
    EXPECT_EQ(UtcOffset(At(0)), std::chrono::seconds(0));
  }
}

}  // namespace
}  // namespace kelm::port
