#include "kelm/text/number_text.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

std::string Dbl(double value, int decimals, int max_digits = 15, int trim = 0) {
  char out[64];
  std::memset(out, '#', sizeof out);
  return dbltoa(value, out, static_cast<unsigned char>(decimals), max_digits, static_cast<unsigned char>(trim));
}

TEST(DbltoaTest, DecimalsAndTrailingZeros) {
  EXPECT_EQ(Dbl(3.14159, 2), "3.14");
  EXPECT_EQ(Dbl(2.5, 2), "2.50");
  EXPECT_EQ(Dbl(2.5, 2, 15, 1), "2.5");
  EXPECT_EQ(Dbl(2.0, 2, 15, 1), "2");
  EXPECT_EQ(Dbl(2.5, 9), "2.5");  // 9 decimals: as many as needed
  EXPECT_EQ(Dbl(1.0 / 3, 9), "0.333333333");
  EXPECT_EQ(Dbl(1.0 / 3, 12), "0.333333333");  // more than 9 counts as 9
  EXPECT_EQ(Dbl(0.05, 3), "0.050");
  EXPECT_EQ(Dbl(0.05, 0), "0");
  EXPECT_EQ(Dbl(-7.5, 1), "-7.5");
}

TEST(DbltoaTest, RoundingAndSigns) {
  EXPECT_EQ(Dbl(0.125, 2), "0.13");   // half away from zero on the decimal digits
  EXPECT_EQ(Dbl(2.675, 2), "2.67");   // its 17 digits are 2.6749999999999998
  EXPECT_EQ(Dbl(9.996, 2), "10.00");  // a carry adds a digit
  EXPECT_EQ(Dbl(0.006, 2), "0.01");
  EXPECT_EQ(Dbl(-0.004, 2), "0");     // rounds to nothing: no sign
  EXPECT_EQ(Dbl(-0.006, 2), "-0.01");
  EXPECT_EQ(Dbl(-0.0, 2), "0.00");
  EXPECT_EQ(Dbl(1e-12, 9), "0");
}

TEST(DbltoaTest, SignificanceIsTruncated) {
  EXPECT_EQ(Dbl(123456789.0, 2, 6), "123456000.00");
  EXPECT_EQ(Dbl(123456789.0, 2, 6, 1), "123456000");
  EXPECT_EQ(Dbl(1234.5678, 4, 6), "1234.5700");  // re-converted with 2 decimals, then padded
  EXPECT_EQ(Dbl(987654.321, 9, 4), "987600");
  EXPECT_EQ(Dbl(0.0123456, 9, 3), "0.0123");
  // No significant digit at all: every digit is zeroed, the magnitude kept.
  EXPECT_EQ(Dbl(123.45, 2, 0), "000.00");
  EXPECT_EQ(Dbl(-123.45, 2, -3), "-000.00");
  EXPECT_EQ(Dbl(123.45, 2, INT_MIN), "000.00");
}

TEST(DbltoaTest, TooLargeValues) {
  EXPECT_EQ(Dbl(1e30, 0), "МНОГО");
  // Beyond its 17 significant digits a value is padded with zeros.
  EXPECT_EQ(Dbl(9.99e29, 0, 30), "999000000000000020000000000000");
  EXPECT_EQ(Dbl(__builtin_inf(), 2), "МНОГО");
  EXPECT_EQ(Dbl(__builtin_nan(""), 2), "0");
  // The widest result fits the documented 42 bytes.
  EXPECT_EQ(Dbl(-9.99e29, 8, 40).size(), 40u);
}

std::string Money(const char* amount) {
  char text[64];
  std::strcpy(text, amount);
  EXPECT_EQ(ConvertMoneyStr(text, sizeof text), 1);
  return text;
}

TEST(ConvertMoneyStrTest, GroupsIntegerDigits) {
  EXPECT_EQ(Money("1234567.89"), "1 234 567.89");
  EXPECT_EQ(Money("-123456"), "-123 456");
  EXPECT_EQ(Money("-999"), "-999");
  EXPECT_EQ(Money(".5"), ".5");
  EXPECT_EQ(Money("1234.5678"), "1 234.5678");  // decimals are not grouped
}

std::string Next(const char* number, int size = 20) {
  char dst[32];
  return IncNumberStr(number, dst, size);
}

TEST(IncNumberStrTest, NextNumberHasFourDigitsAtLeast) {
  EXPECT_EQ(Next("5"), "6000");
  EXPECT_EQ(Next("123"), "1240");
  EXPECT_EQ(Next("999"), "99900");
  EXPECT_EQ(Next("0009"), "1000");
  EXPECT_EQ(Next(""), "1000");
  EXPECT_EQ(Next("1-2"), "1030");      // '-' counts as 0: 102 + 1
  EXPECT_EQ(Next("Ая"), "9900");       // letters of any alphabet count as 9
  EXPECT_EQ(Next("123456", 3), "1240");  // only `size` characters are taken
  EXPECT_EQ(Next("99999999999"), "2147483647");  // stays within an int
  char in_place[16] = "41";
  EXPECT_EQ(IncNumberStr(in_place, in_place, 2), in_place);
  EXPECT_STREQ(in_place, "4200");
}

}  // namespace
