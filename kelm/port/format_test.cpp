#include "kelm/port/format.h"

#include <gtest/gtest.h>

#include <cstring>
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
  Result longer = Format(4, "%d", 1234567);
  EXPECT_EQ(longer.returned, -1);
  EXPECT_EQ(longer.bytes, "1234#");
  Result nothing = Format(0, "x");
  EXPECT_EQ(nothing.returned, -1);
  EXPECT_EQ(nothing.bytes, "#");
  EXPECT_EQ(Format(0, "").returned, 0);
}

TEST(FormatBoundedTest, NullFormatOrBufferIsRejected) {
  char buffer[4] = "xy";
  va_list none{};
  EXPECT_EQ(FormatBounded(buffer, sizeof buffer, nullptr, none), -1);
  EXPECT_STREQ(buffer, "xy");
  EXPECT_EQ(FormatBounded(nullptr, 4, "abc", none), -1);
}

TEST(FormatBoundedTest, Integers) {
  EXPECT_EQ(Text("%d|%i|%u|%ld|%lu", -42, 7, 4000000000u, -123456L, 123456UL), "-42|7|4000000000|-123456|123456");
  EXPECT_EQ(Text("%x|%X|%#x|%#X|%#x|%o|%#o|%#o", 255, 255, 255, 255, 0, 8, 8, 0), "ff|FF|0xff|0XFF|0|10|010|0");
  EXPECT_EQ(Text("[%5d][%-5d][%05d][%+d][% d][%+05d]", 42, 42, -42, 42, 42, 42), "[   42][42   ][-0042][+42][ 42][+0042]");
  EXPECT_EQ(Text("[%.3d][%8.3d][%08.3d][%.0d][%5.0d]", 7, -7, 7, 0, 0), "[007][    -007][     007][][     ]");
  EXPECT_EQ(Text("[%*d][%-*d][%.*d][%.*d]", 4, 1, 4, 2, 3, 3, -1, 4), "[   1][2   ][003][4]");
  EXPECT_EQ(Text("[%*d]", -3, 5), "[5  ]");
  EXPECT_EQ(Text("%hd|%hhu|%hx", 70000, 257, 0x12345), "4464|1|2345");
  EXPECT_EQ(Text("%lld|%llu|%I64d|%I64X|%zu", -9000000000LL, 18446744073709551615ULL, 1234567890123LL,
                 0xABCDEF012345LL, static_cast<std::size_t>(99)),
            "-9000000000|18446744073709551615|1234567890123|ABCDEF012345|99");
  EXPECT_EQ(Text("%d|%lld", -2147483647 - 1, -9223372036854775807LL - 1), "-2147483648|-9223372036854775808");
}

TEST(FormatBoundedTest, FixedAndExponentForms) {
  EXPECT_EQ(Text("%f|%.2f|%.0f|%#.0f|%10.3f|%-10.1f|%010.2f", 3.14159, 2.675, 2.5, 3.0, -1.5, 1.25, -3.14159),
            "3.141590|2.67|2|3.|    -1.500|1.2       |-000003.14");
  EXPECT_EQ(Text("%e|%.2E|%.0e|%#.0e|%e", 12345.678, 0.000123456, 5e300, 1.0, 0.0),
            "1.234568e+04|1.23E-04|5e+300|1.e+00|0.000000e+00");
  EXPECT_EQ(Text("%f", 1e20), "100000000000000000000.000000");
  EXPECT_EQ(Text("%.20f", 0.1), "0.10000000000000000555");
  EXPECT_EQ(Text("%+f|% f|%f", 1.0, 1.0, -0.0), "+1.000000| 1.000000|-0.000000");
}

TEST(FormatBoundedTest, GeneralForm) {
  EXPECT_EQ(Text("%g|%g|%g|%g|%g|%g", 100000.0, 1000000.0, 0.0001, 0.00001, 1.5, 0.0), "100000|1e+06|0.0001|1e-05|1.5|0");
  EXPECT_EQ(Text("%.3g|%.3g|%#.3g|%.0g|%G|%#g", 1234.5, 9.9999, 1.0, 0.5, 1e-10, 2.0), "1.23e+03|10|1.00|0.5|1E-10|2.00000");
  EXPECT_EQ(Text("%.3g", 999.5), "1e+03");
  EXPECT_EQ(Text("%.17g|%.30g", 0.1, 0.1), "0.10000000000000001|0.100000000000000005551115123126");
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
