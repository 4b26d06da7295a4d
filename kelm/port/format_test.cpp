#include "kelm/port/format.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <string>

namespace kelm::port {
namespace {

struct Result {
  int returned;
  std::string bytes;  // the buffer up to count + 1, NULs and untouched fill included
  bool operator==(const Result&) const = default;
};

Result Format(std::size_t count, const char* format, ...) {
  char buffer[64];
  std::memset(buffer, '#', sizeof buffer);
  va_list args;
  va_start(args, format);
  const int returned = FormatBounded(buffer, count, format, args);
  va_end(args);
  return {returned, std::string(buffer, count + 1 < sizeof buffer ? count + 1 : sizeof buffer)};
}

std::string Text(const char* format, ...) {
  char buffer[2048];
  va_list args;
  va_start(args, format);
  const int n = FormatBounded(buffer, sizeof buffer, format, args);
  va_end(args);
  return n < 0 ? std::string("<overflow>") : std::string(buffer, static_cast<std::size_t>(n));
}

TEST(FormatBoundedTest, ShorterExactAndLongerResults) {
  EXPECT_EQ(Format(8, "abc"), (Result{3, std::string("abc\0#####", 9)}));
  Result exact = Format(3, "%s", "abc");
  EXPECT_EQ(exact.returned, 3);
  EXPECT_EQ(exact.bytes, "abc#");  // no terminator
  EXPECT_EQ(Format(4, "%d", 1234567), (Result{-1, "1234#"}));
  EXPECT_EQ(Format(0, "x"), (Result{-1, "#"}));
  EXPECT_EQ(Format(0, "").returned, 0);
  char buffer[4] = "xy";
  va_list none{};
  EXPECT_EQ(FormatBounded(buffer, sizeof buffer, nullptr, none), -1);
  EXPECT_STREQ(buffer, "xy");
  EXPECT_EQ(FormatBounded(nullptr, 4, "abc", none), -1);
}

// The conversions are checked against glibc in bulk in format_posix_test.cpp;
// these are the forms glibc lacks or that differ in the Windows runtime.
TEST(FormatBoundedTest, Integers) {
  EXPECT_EQ(Text("[%*d][%-*d][%.*d][%.*d]", 4, 1, 4, 2, 3, 3, -1, 4), "[   1][2   ][003][4]");
  EXPECT_EQ(Text("[%*d]", -3, 5), "[5  ]");
  EXPECT_EQ(Text("%hd|%hhu|%hx", 70000, 257, 0x12345), "4464|1|2345");
  EXPECT_EQ(Text("%lld|%llu|%I64d|%I64X|%zu", -9000000000LL, 18446744073709551615ULL, 1234567890123LL,
                 0xABCDEF012345LL, static_cast<std::size_t>(99)),
            "-9000000000|18446744073709551615|1234567890123|ABCDEF012345|99");
}

TEST(FormatBoundedTest, RealsAreExact) {
  EXPECT_EQ(Text("%.20f|%.30g", 0.1, 0.1), "0.10000000000000000555|0.100000000000000005551115123126");
  EXPECT_EQ(Text("%.3g|%#g|%f", 999.5, 2.0, 1e20), "1e+03|2.00000|100000000000000000000.000000");
}

TEST(FormatBoundedTest, SpecialValuesAndHexFloats) {
  const double inf = __builtin_inf();
  EXPECT_EQ(Text("%f|%E|%5f|%-6f|%+F|%05f", inf, -inf, inf, inf, inf, -inf), "inf|-INF|  inf|inf   |+INF| -inf");
  EXPECT_EQ(Text("%f|%G", __builtin_nan(""), -__builtin_nan("")), "nan|-NAN");
  EXPECT_EQ(Text("%a|%A|%.1a|%a", 1.0, 3.0, 1.0, 0.0), "0x1p+0|0X1.8P+1|0x1.0p+0|0x0p+0");
}

TEST(FormatBoundedTest, HugePrecisionPadsExactZeros) {
  const std::string text = Text("%.1500f", 0.5);
  ASSERT_EQ(text.size(), 1502u);
  EXPECT_EQ(text.substr(0, 3), "0.5");
  EXPECT_EQ(text.find_first_not_of('0', 3), std::string::npos);
  const std::string e = Text("%.1200e", 2.0);
  EXPECT_EQ(e.size(), 2u + 1200u + 4u);
  EXPECT_EQ(e.substr(e.size() - 6), "00e+00");
}

TEST(FormatBoundedTest, TextsCharactersPointers) {
  EXPECT_EQ(Text("[%s][%.2s][%5s][%-5s][%c][%3c][%%]", "abc", "abc", "ab", "ab", 'x', 'y'), "[abc][ab][   ab][ab   ][x][  y][%]");
  EXPECT_EQ(Text("%s", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(Text("%s", "Ошибка"), "Ошибка");  // Windows-1251 bytes pass through
  EXPECT_EQ(Text("[%ls][%-4.2ls][%lc]%d", L"w\x416", L"wide", static_cast<std::wint_t>(L'z'), 1), "[w?][wi  ][z]1");
  // A precision bounds the read: the text need not be terminated.
  const char unterminated[3] = {'x', 'y', 'z'};
  EXPECT_EQ(Text("%.3s", unterminated), "xyz");
  const std::string pointer = Text("%p", reinterpret_cast<void*>(0xAB12));
  EXPECT_EQ(pointer, std::string(2 * sizeof(void*) - 4, '0') + "AB12");
}

TEST(FormatBoundedTest, UnknownConversionsAreCopiedAndConsumeNothing) {
  EXPECT_EQ(Text("a%yb%d", 5), "a%yb5");
  EXPECT_EQ(Text("%n%d", 3), "%n3");
  EXPECT_EQ(Text("end%"), "end%");
  EXPECT_EQ(Text("%-5"), "%-5");
}

}  // namespace
}  // namespace kelm::port
