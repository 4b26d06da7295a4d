#include "kelm/text/number_text.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "kelm/text/char_classes.h"

namespace {

// The digits of _fcvt(value, decimals): the value rounded to `decimals`
// places behind the point, without leading zeros, and the position of the
// point relative to them. As in the Windows runtime, rounding works on the
// value's 17 significant decimal digits, half away from zero, so both
// platforms give the same digits.
struct FixedDigits {
  static constexpr int kMaxDigits = 347;  // the runtime's conversion buffer less carry and NUL
  char digits[kMaxDigits + 2];
  int point;
  bool negative;
};

FixedDigits Fcvt(double value, int decimals) {
  FixedDigits result{};
  result.negative = std::signbit(value);
  // 17 significant digits and the point position of 0.d1d2...
  char mantissa[18] = "0";
  int point = 0;
  if (value != 0) {
    char text[40];
    const auto r = std::to_chars(text, text + sizeof text, std::fabs(value), std::chars_format::scientific, 16);
    mantissa[0] = text[0];
    std::memcpy(mantissa + 1, text + 2, 16);
    mantissa[17] = '\0';
    int exponent = 0;
    const char* e = static_cast<const char*>(std::memchr(text, 'e', static_cast<std::size_t>(r.ptr - text)));
    std::from_chars(e + (e[1] == '+' ? 2 : 1), r.ptr, exponent);
    point = exponent + 1;
  }
  int count = point + decimals;
  if (count > FixedDigits::kMaxDigits) count = FixedDigits::kMaxDigits;

  // buf[0] takes a carry out of the first digit.
  char* buf = result.digits;
  char* p = buf;
  *p++ = '0';
  const char* m = mantissa;
  for (int i = 0; i < count; ++i) *p++ = *m != '\0' ? *m++ : '0';
  *p = '\0';
  if (count >= 0 && *m >= '5') {
    char* q = p - 1;
    while (*q == '9') *q-- = '0';
    ++*q;
  }
  if (buf[0] == '1') {
    ++point;
  } else {
    std::memmove(buf, buf + 1, std::strlen(buf + 1) + 1);
  }
  result.point = mantissa[0] == '0' ? 0 : point;
  return result;
}

// The grouping separator of amounts. Nothing in the library changes it or
// switches grouping off, so it is a constant rather than settable state.
constexpr char kMoneySeparator[] = " ";

}  // namespace

char* dbltoa(const double& value, char* out, unsigned char decimals, int max_digits, unsigned char trim_zeros) {
  const int d = decimals > 9 ? 9 : decimals;
  // Not a number reads as a value that rounds away; infinity as too large.
  if (std::isnan(value)) {
    std::strcpy(out, "0");
    return out;
  }
  if (std::isinf(value)) {
    std::strcpy(out, value < 0 ? "-МНОГО" : "МНОГО");
    return out;
  }
  char* o = out;
  FixedDigits fixed = Fcvt(value, d);
  int len = static_cast<int>(std::strlen(fixed.digits));
  if (len > max_digits && d > 0) {
    const long long fewer = static_cast<long long>(d) - len + max_digits;  // max_digits may be INT_MIN
    fixed = Fcvt(value, fewer < 0 ? 0 : static_cast<int>(fewer));
    len = static_cast<int>(std::strlen(fixed.digits));
  }
  // Below one significant digit every digit becomes 0: "000.00" for 123.45.
  const int kept = max_digits < 0 ? 0 : max_digits;
  if (len > kept) std::memset(fixed.digits + kept, '0', static_cast<std::size_t>(len - kept));

  if (fixed.negative && value < 0) *o++ = '-';
  const int p = fixed.point;
  if (p < -9 || len == 0) {
    std::strcpy(out, "0");
    return out;
  }
  if (p >= 31) {
    std::strcpy(o, "МНОГО");
    return out;
  }
  const char* digit = fixed.digits;
  const char* const digits_end = fixed.digits + len;
  if (p > 0) {
    for (int i = 0; i < p; ++i) *o++ = digit < digits_end ? *digit++ : '0';
    if (d > 0) {
      *o++ = '.';
      int written = 0;
      while (digit < digits_end && written < d) *o++ = *digit++, ++written;
      if (d < 9) {
        for (; written < d; ++written) *o++ = '0';
      }
    }
  } else {
    *o++ = '0';
    if (d > 0) {
      *o++ = '.';
      int written = 0;
      for (; written < -p && written < d; ++written) *o++ = '0';
      while (digit < digits_end && written < d) *o++ = *digit++, ++written;
      for (; written < d; ++written) *o++ = '0';
    }
  }
  *o = '\0';
  if (d == 9 || (d > 0 && trim_zeros != 0)) {
    while (o[-1] == '0') *--o = '\0';
    if (o[-1] == '.') *--o = '\0';
  }
  return out;
}

int ConvertMoneyStr(char* text, int /*size*/) {
  if (text == nullptr || *text == '\0') return 1;
  const int len = static_cast<int>(std::strlen(text));
  int integer_end = len;
  for (int i = len - 1; i >= 1; --i) {
    if (text[i] == '.') {
      integer_end = i;
      break;
    }
  }
  if (integer_end == len && text[0] == '.') integer_end = 0;
  const int integer_begin = text[0] == '-' ? 1 : 0;
  const int separator_len = static_cast<int>(sizeof kMoneySeparator - 1);
  for (int pos = integer_end - 3; pos > integer_begin; pos -= 3) {
    std::memmove(text + pos + separator_len, text + pos, std::strlen(text + pos) + 1);
    std::memcpy(text + pos, kMoneySeparator, static_cast<std::size_t>(separator_len));
  }
  return 1;
}

char* IncNumberStr(const char* src, char* dst, int size) {
  if (dst != src) BoundedCopy(dst, src, size < 0 ? 0 : size);
  // Bytes compare unsigned, so Cyrillic letters are above '9' like Latin ones.
  bool all_nines = true;
  std::int64_t n = 0;
  for (char* p = dst; *p != '\0'; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c < '0') {
      *p = '0';
      all_nines = false;
    } else if (c > '9') {
      *p = '9';
    } else if (c != '9') {
      all_nines = false;
    }
    n = n * 10 + (*p - '0');
    if (n > INT_MAX) n = INT_MAX;  // as atoi saturates
  }
  std::int64_t v;
  if (all_nines) {
    v = n * 100;
    if (v == 0) v = 1000;
  } else {
    v = n + 1;
  }
  while (v < 1000) v *= 10;
  // The result stays an int of at most 10 digits, as _itoa would write it.
  if (v > INT_MAX) v = INT_MAX;
  std::to_chars_result r = std::to_chars(dst, dst + 11, v);
  *r.ptr = '\0';
  return dst;
}
