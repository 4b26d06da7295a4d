#include "kelm/text/char_classes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

unsigned char B(const char* one_letter) { return static_cast<unsigned char>(one_letter[0]); }

TEST(CharClassesTest, ClassesOfEveryRange) {
  EXPECT_EQ(CharClassOf('0'), ccDigit);
  EXPECT_EQ(CharClassOf('Z'), ccLatin);
  EXPECT_EQ(CharClassOf('a'), ccLatin);
  EXPECT_EQ(CharClassOf(0xC0), ccCyrillic);
  EXPECT_EQ(CharClassOf(0xFF), ccCyrillic);
  EXPECT_EQ(CharClassOf(0xA8), ccCyrillic);
  EXPECT_EQ(CharClassOf(0xB8), ccCyrillic);
  EXPECT_EQ(CharClassOf(0x00), ccSpace);
  EXPECT_EQ(CharClassOf(' '), ccSpace);
  for (char c : std::string("@$_")) EXPECT_EQ(CharClassOf(c), ccIdent) << c;
  for (char c : std::string("%*+/-")) EXPECT_EQ(CharClassOf(c), ccOperator) << c;
  EXPECT_EQ(CharClassOf('.'), ccIdent | ccOther);
  for (int c : {0x21, 0x7F, 0x80, 0xA0, 0xB9, 0xBF}) EXPECT_EQ(CharClassOf(static_cast<unsigned char>(c)), ccOther) << c;
}

TEST(CharClassesTest, CaseAndTransliteration) {
  EXPECT_EQ(ToLower1251(B("Ё")), B("ё"));
  EXPECT_EQ(ToLower1251(B("Я")), B("я"));
  EXPECT_EQ(ToUpper1251(B("ё")), B("Ё"));
  EXPECT_EQ(ToUpper1251(B("а")), B("А"));
  EXPECT_EQ(ToUpper1251(0xB9), 0xB9);  // №
  EXPECT_EQ(ToLat(0xC9), 'Q');         // Й
  EXPECT_EQ(ToLat(0xFF), 'z');         // я
  EXPECT_EQ(ToLat('7'), '7');
  EXPECT_EQ(ToLat(B("Э")), '"');
  EXPECT_EQ(ToLat(B("ю")), '.');
  EXPECT_EQ(ToLat(B("Ё")), '~');
  EXPECT_EQ(ToLat(B("ё")), '`');
  EXPECT_LT(StrICmp1251("яблоко", "ЯБЛОКО!"), 0);
  EXPECT_EQ(StrICmp1251("Ёлка", "ёЛКА"), 0);
  EXPECT_GT(StrICmp1251("а", "z"), 0);  // unsigned: Cyrillic after Latin
}

TEST(CharClassesTest, LettersAndWordCapitals) {
  EXPECT_FALSE(IsLetter('\0'));
  EXPECT_FALSE(IsLetter('1'));
  EXPECT_TRUE(IsLetter('q'));
  EXPECT_TRUE(IsLetter(static_cast<char>(0xA8)));
  char text[] = "иВАН пЕТРОВ-вОДКИН 3-й";
  EXPECT_STREQ(UpFirstLetters(text), "Иван Петров-Водкин 3-Й");
  EXPECT_EQ(UpFirstLetters(nullptr), nullptr);
}

TEST(CharClassesTest, StrToBool) {
  EXPECT_TRUE(StrToBool("да", false));
  EXPECT_TRUE(StrToBool("Yes", false));
  EXPECT_FALSE(StrToBool("нет", true));
  EXPECT_FALSE(StrToBool("no", true));
  EXPECT_TRUE(StrToBool("может", true));
  EXPECT_FALSE(StrToBool(nullptr, false));
  EXPECT_FALSE(StrToBool("yes!", false));
}

TEST(CharClassesTest, HexTexts) {
  char out[16];
  EXPECT_STREQ(ToHexStr(255, out, 2), "00FF");
  EXPECT_STREQ(ToHexStr(0x12345, out, 2), "1234");  // leading digits kept
  EXPECT_STREQ(ToHexStr(-1, out, 2), "FFFF");
  EXPECT_STREQ(ToHexStr(-2, out, 4), "FFFFFFFE");
  EXPECT_STREQ(ToHexStr(0, out, 1), "00");
  EXPECT_STREQ(ToHexStr(7, out, 0), "");
  EXPECT_STREQ(HexAddr(-10, out), "корень");
  EXPECT_STREQ(HexAddr(-1, out), "нет");
  EXPECT_STREQ(HexAddr(16, out), "00000010");
}

TEST(CharClassesTest, Snprintf0Bounds) {
  char buf[8];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(snprintf0(buf, 4, "%s", "abcdef"), -1);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(snprintf0(buf, 4, "%d", 123), 3);  // exactly size - 1: cut to stay terminated
  EXPECT_STREQ(buf, "123");
  EXPECT_EQ(snprintf0(buf, 8, "%d", 12), 2);
  EXPECT_STREQ(buf, "12");
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(snprintf0(buf, 0, "%d", 12), 0);
  EXPECT_EQ(buf[0], '#');
  // 254 characters fit into the 255 bytes an exception message has.
  char message[255];
  const std::string long_text(300, 'x');
  EXPECT_EQ(snprintf0(message, sizeof message, "%s", long_text.c_str()), -1);
  EXPECT_EQ(std::strlen(message), 254u);
}

TEST(CharClassesTest, CountReplaceDelete) {
  EXPECT_EQ(StrCharCount("a,b,,c", ','), 3u);
  EXPECT_EQ(StrCharCount(nullptr, ','), 0u);
  char a[] = "a.b.c";
  EXPECT_STREQ(StrRepl(a, '.', '/'), "a/b/c");
  char b[] = "a-b+c*d";
  EXPECT_STREQ(StrRepl(b, "-+", '_'), "a_b_c*d");
  EXPECT_STREQ(StrRepl(b, static_cast<const char*>(nullptr), '_'), "a_b_c*d");
  char c[] = "x1x2";
  EXPECT_STREQ(StrExcludeRepl(c, 'x', '?'), "x?x?");
  char d[] = "a-b--c-";
  DelCh(d, '-');
  EXPECT_STREQ(d, "abc");
  char e[] = "a//b///c/";
  EXPECT_STREQ(DelDoubles(e, '/'), "a/b/c/");
  char f[] = "  two words  ";
  EXPECT_STREQ(DelSpaces(f), "two words");
  EXPECT_EQ(DelSpaces(f + 0), f + 2);
  char g[] = "    ";
  EXPECT_EQ(DelSpaces(g), g + 4);
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
  EXPECT_EQ(StrFindEndOfToken(nullptr, ';'), nullptr);

  char dst[261];
  EXPECT_EQ(StrCpyChar(dst, "C:\\dir", '\\'), dst + 7);
  EXPECT_STREQ(dst, "C:\\dir\\");
  StrCpyChar(dst, "C:\\dir\\", '\\');
  EXPECT_STREQ(dst, "C:\\dir\\");
  EXPECT_EQ(StrCpyChar(dst, "", '\\'), dst);
  const std::string long_path(300, 'd');
  EXPECT_EQ(StrCpyChar(dst, long_path.c_str(), '\\'), dst + 259);  // full: no separator
  EXPECT_EQ(StrCpyChar(dst, long_path.substr(0, 258).c_str(), '\\'), dst + 259);
  EXPECT_EQ(dst[258], '\\');

  char small[4];
  EXPECT_EQ(BoundedCopy(small, "abcdef", 3), 3);
  EXPECT_STREQ(small, "abc");
  EXPECT_EQ(BoundedCopy(small, "ab", 3), 2);
  EXPECT_EQ(BoundedCopy(small, nullptr, 3), 0);
  EXPECT_STREQ(small, "");
}

}  // namespace
