#include "kelm/port/locale.h"

#include <gtest/gtest.h>

#include <string>

namespace kelm::port {
namespace {

const char* Russia() { return "RUS"; }
const char* Nothing() { return nullptr; }

TEST(SystemCountryTest, HookAnswersUntilRemoved) {
  const std::string system = SystemCountry();
  EXPECT_EQ(SetSystemCountryHook(Russia), nullptr);
  EXPECT_STREQ(SystemCountry(), "RUS");
  EXPECT_EQ(SetSystemCountryHook(Nothing), &Russia);
  EXPECT_STREQ(SystemCountry(), "");
  EXPECT_EQ(SetSystemCountryHook(nullptr), &Nothing);
  EXPECT_EQ(SystemCountry(), system);
}

}  // namespace
}  // namespace kelm::port
