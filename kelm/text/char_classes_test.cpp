#include "kelm/text/char_classes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

unsigned char B(const char* one_letter) { return static_cast<unsigned char>(one_letter[0]); }

// The class and case tables are checked against their rules at compile time.
TEST(CharClassesTest, CaseAndTransliteration) {
  EXPECT_EQ(ToLower1251(B("Ё")), B("ё"));
  EXPECT_EQ(ToLat(0xC9), 'Q');         // Й
  EXPECT_EQ(ToLat(B("ё")), '`');
  EXPECT_LT(StrICmp1251("яблоко", "ЯБЛОКО!"), 0);
  EXPECT_EQ(StrICmp1251("Ёлка", "ёЛКА"), 0);
  EXPECT_GT(StrICmp1251("а", "z"), 0);  // unsigned: Cyrillic after Latin
}

TEST(CharClassesTest, LettersAndWordCapitals) {
  EXPECT_FALSE(IsLetter('1'));
  EXPECT_TRUE(IsLetter(static_cast<char>(0xA8)));
  char text[] = "иВАН пЕТРОВ-вОДКИН 3-й";
  EXPECT_STREQ(UpFirstLetters(text), "Иван Петров-Водкин 3-Й");
  EXPECT_EQ(UpFirstLetters(nullptr), nullptr);
  EXPECT_TRUE(StrToBool("да", false));
  EXPECT_FALSE(StrToBool("НеТ", true));
  EXPECT_FALSE(StrToBool("yes!", false));
}

TEST(CharClassesTest, HexTextsAndBoundedPrinting) {
  char out[16];
  EXPECT_STREQ(ToHexStr(255, out, 2), "00FF");
  EXPECT_STREQ(ToHexStr(0x12345, out, 2), "1234");  // leading digits kept
  EXPECT_STREQ(ToHexStr(-2, out, 4), "FFFFFFFE");
  EXPECT_STREQ(HexAddr(-10, out), "корень");
  EXPECT_STREQ(HexAddr(16, out), "00000010");

  char buf[8] = "#######";
  EXPECT_EQ(snprintf0(buf, 4, "%s", "abcdef"), -1);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(snprintf0(buf, 4, "%d", 123), 3);  // exactly size - 1: cut to stay terminated
  EXPECT_STREQ(buf, "123");
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(snprintf0(buf, 0, "%d", 12), 0);
  EXPECT_EQ(buf[0], '#');
}

TEST(CharClassesTest, CountReplaceDelete) {
  EXPECT_EQ(StrCharCount("a,b,,c", ','), 3u);
  char b[] = "a-b+c*d", c[] = "x1x2", e[] = "a//b///c/";
  EXPECT_STREQ(StrRepl(b, "-+", '_'), "a_b_c*d");
  EXPECT_STREQ(StrExcludeRepl(c, 'x', '?'), "x?x?");
  EXPECT_STREQ(DelDoubles(e, '/'), "a/b/c/");
  char f[] = "  two words  ";
  EXPECT_EQ(DelSpaces(f), f + 2);
  EXPECT_STREQ(f + 2, "two words");
  char h[] = "\x01&Файл\x02\x03";
  char out[16];
  EXPECT_EQ(DelSpecChars(h, out), h);
  EXPECT_STREQ(out, "Файл");
  DelSpecChars(h, nullptr);
  EXPECT_STREQ(h, "Файл");
}

TEST(CharClassesTest, TokensAndCopies) {
  char s[] = "key=value";
  EXPECT_EQ(StrFindEndOfToken(s, '='), s + 3);
  EXPECT_EQ(StrFindEndOfToken(s, ';'), s + 9);

  char dst[261];
  EXPECT_EQ(StrCpyChar(dst, "C:\\dir", '\\'), dst + 7);
  EXPECT_STREQ(dst, "C:\\dir\\");
  EXPECT_EQ(StrCpyChar(dst, "", '\\'), dst);
  const std::string long_path(300, 'd');
  EXPECT_EQ(StrCpyChar(dst, long_path.c_str(), '\\'), dst + 259);  // full: no separator
  EXPECT_EQ(StrCpyChar(dst, long_path.substr(0, 258).c_str(), '\\'), dst + 259);
  EXPECT_EQ(dst[258], '\\');

  char small[4];
  EXPECT_EQ(BoundedCopy(small, "abcdef", 3), 3);
  EXPECT_STREQ(small, "abc");
}

}  // namespace
