#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "kelm/port/locale.h"

namespace kelm::port {
namespace {

// SystemCountry() with the three variables set (null: unset), which are put
// back as they were afterwards.
std::string Country(const char* all, const char* messages, const char* lang) {
  const char* names[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
  const char* values[] = {all, messages, lang};
  std::string saved[3];
  bool had[3];
  for (int i = 0; i < 3; ++i) {
    const char* old = getenv(names[i]);
    had[i] = old != nullptr;
    saved[i] = had[i] ? old : "";
    if (values[i] != nullptr) setenv(names[i], values[i], 1);
    else unsetenv(names[i]);
  }
  const std::string country = SystemCountry();
  for (int i = 0; i < 3; ++i) {
    if (had[i]) setenv(names[i], saved[i].c_str(), 1);
    else unsetenv(names[i]);
  }
  return country;
}

TEST(SystemCountryPosixTest, TerritoryOfTheLocaleInWindowsForm) {
  EXPECT_EQ(Country(nullptr, nullptr, "ru_RU.UTF-8"), "RUS");
  EXPECT_EQ(Country(nullptr, nullptr, "en_US"), "USA");
  EXPECT_EQ(Country(nullptr, nullptr, "uk_UA.KOI8-U@euro"), "UKR");
  EXPECT_EQ(Country(nullptr, nullptr, "de_de.utf8"), "DEU");
  // The variables count in setlocale's order.
  EXPECT_EQ(Country("ru_RU.UTF-8", "en_GB.UTF-8", "de_DE.UTF-8"), "RUS");
  EXPECT_EQ(Country("", "en_GB.UTF-8", "ru_RU.UTF-8"), "GBR");
  EXPECT_EQ(Country(nullptr, "", "kk_KZ.UTF-8"), "KAZ");
}

TEST(SystemCountryPosixTest, NoKnownTerritoryIsTheUnitedStates) {
  EXPECT_EQ(Country(nullptr, nullptr, nullptr), "USA");
  EXPECT_EQ(Country("C", nullptr, "ru_RU.UTF-8"), "USA");
  EXPECT_EQ(Country(nullptr, nullptr, "POSIX"), "USA");
  EXPECT_EQ(Country(nullptr, nullptr, "C.UTF-8"), "USA");
  EXPECT_EQ(Country(nullptr, nullptr, "ru"), "USA");
  EXPECT_EQ(Country(nullptr, nullptr, "xx_QQ.UTF-8"), "USA");
  EXPECT_EQ(Country(nullptr, nullptr, "ru_RUS"), "USA");
}

}  // namespace
}  // namespace kelm::port
