#include "kelm/text/utf8.h"

#include <gtest/gtest.h>

namespace {

TEST(Utf8Test, EveryWindows1251CharacterGoesThereAndBack) {
  std::string all;
  for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
  std::string back;
  EXPECT_TRUE(Utf8ToCp1251(Cp1251ToUtf8(all), &back));
  EXPECT_EQ(back, all);
  EXPECT_EQ(Cp1251ToUtf8("Ёж №1"), "\xD0\x81\xD0\xB6 \xE2\x84\x96" "1");
}

TEST(Utf8Test, InvalidOrForeignTextBecomesQuestionMarks) {
  std::string out;
  EXPECT_TRUE(Utf8ToCp1251("\xE4\xB8\xAD\xF0\x9F\x98\x80", &out)) << "valid, but not in Windows-1251";
  EXPECT_EQ(out, "??");
  for (const char* bad : {"\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xD0", "\x80"}) {
    EXPECT_FALSE(Utf8ToCp1251(bad, &out)) << bad;
    EXPECT_EQ(out.find_first_not_of('?'), std::string::npos) << bad;
  }
  EXPECT_FALSE(Utf8ToCp1251("a\xD0z", &out));
  EXPECT_EQ(out, "a?z");
}

}  // namespace
