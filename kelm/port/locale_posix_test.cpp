#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "kelm/port/locale.h"

namespace kelm::port {
namespace {

// Sets the three variables for one case and puts them back afterwards.
class LocaleEnvironment {
 public:
  LocaleEnvironment(const char* all, const char* messages, const char* lang) {
    Set("LC_ALL", all);
    Set("LC_MESSAGES", messages);
    Set("LANG", lang);
  }
  ~LocaleEnvironment() {
    for (const Saved& s : saved_) {
      if (s.had) setenv(s.name, s.value.c_str(), 1);
      else unsetenv(s.name);
    }
  }

 private:
  struct Saved {
    const char* name;
    bool had;
    std::string value;
  };
  void Set(const char* name, const char* value) {
    const char* old = getenv(name);
    saved_[count_++] = Saved{name, old != nullptr, old != nullptr ? old : ""};
    if (value != nullptr) setenv(name, value, 1);
    else unsetenv(name);
  }
  Saved saved_[3];
  int count_ = 0;
};

std::string Country(const char* all, const char* messages, const char* lang) {
  LocaleEnvironment env(all, messages, lang);
  return SystemCountry();
}

TEST(SystemCountryPosixTest, TerritoryOfTheLocaleInWindowsForm) {
  EXPECT_EQ(Country(nullptr, nullptr, "ru_RU.UTF-8"), "RUS");
  EXPECT_EQ(Country(nullptr, nullptr, "en_US"), "USA");
  EXPECT_EQ(Country(nullptr, nullptr, "uk_UA.KOI8-U@euro"), "UKR");
  EXPECT_EQ(Country(nullptr, nullptr, "de_de.utf8"), "DEU");
  EXPECT_EQ(Country(nullptr, nullptr, "be_BY@latin"), "BLR");
}

TEST(SystemCountryPosixTest, VariablesTakePrecedenceAsSetlocaleReadsThem) {
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
