// The bounded formatter. Every conversion is done here (floating-point
// digits through std::to_chars, which is exact and the same on every
// platform), so Linux and Windows give identical bytes.
#include "kelm/port/format.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace kelm::port {
namespace {

// Writes what fits into the caller's buffer and counts everything.
class Sink {
 public:
  Sink(char* buffer, std::size_t capacity) : buffer_(buffer), capacity_(capacity) {}

  void Put(const char* s, std::size_t n) {
    if (length_ < capacity_) std::memcpy(buffer_ + length_, s, Room(n));
    length_ += n;
  }
  void Put(char c) { Put(&c, 1); }
  void Pad(char c, std::size_t n) {
    if (length_ < capacity_) std::memset(buffer_ + length_, c, Room(n));
    length_ += n;
  }
  std::size_t length() const { return length_; }

 private:
  std::size_t Room(std::size_t n) const {
    const std::size_t room = capacity_ - length_;
    return n < room ? n : room;
  }

  char* buffer_;
  std::size_t capacity_;
  std::size_t length_ = 0;
};

enum class Length { kDefault, kChar, kShort, kLong, kLongLong, kIntMax, kSize, kPtrDiff, kLongDouble };

struct Spec {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zero = false;
  int width = 0;
  int precision = -1;  // -1: none given
  Length length = Length::kDefault;
  char conversion = 0;
};

// Lays out [prefix][zeros][body] within the field width.
void Emit(Sink& out, const Spec& spec, const char* prefix, std::size_t prefix_len,
          std::size_t zeros, const char* body, std::size_t body_len, bool zero_fill) {
  const std::size_t content = prefix_len + zeros + body_len;
  const std::size_t width = static_cast<std::size_t>(spec.width);
  const std::size_t pad = width > content ? width - content : 0;
  if (!spec.left && !zero_fill) out.Pad(' ', pad);
  out.Put(prefix, prefix_len);
  out.Pad('0', zeros + (!spec.left && zero_fill ? pad : 0));
  out.Put(body, body_len);
  if (spec.left) out.Pad(' ', pad);
}

std::uintmax_t ReadUnsigned(const Spec& spec, va_list* args) {
  switch (spec.length) {
    case Length::kChar: return static_cast<unsigned char>(va_arg(*args, unsigned));
    case Length::kShort: return static_cast<unsigned short>(va_arg(*args, unsigned));
    case Length::kLong: return va_arg(*args, unsigned long);
    case Length::kLongLong: return va_arg(*args, unsigned long long);
    case Length::kIntMax: return va_arg(*args, std::uintmax_t);
    case Length::kSize: return va_arg(*args, std::size_t);
    case Length::kPtrDiff: return static_cast<std::uintmax_t>(va_arg(*args, std::ptrdiff_t));
    default: return va_arg(*args, unsigned);
  }
}

std::intmax_t ReadSigned(const Spec& spec, va_list* args) {
  switch (spec.length) {
    case Length::kChar: return static_cast<signed char>(va_arg(*args, int));
    case Length::kShort: return static_cast<short>(va_arg(*args, int));
    case Length::kLong: return va_arg(*args, long);
    case Length::kLongLong: return va_arg(*args, long long);
    case Length::kIntMax: return va_arg(*args, std::intmax_t);
    case Length::kSize: return static_cast<std::intmax_t>(va_arg(*args, std::size_t));
    case Length::kPtrDiff: return va_arg(*args, std::ptrdiff_t);
    default: return va_arg(*args, int);
  }
}

void FormatInteger(Sink& out, const Spec& spec, va_list* args) {
  const char c = spec.conversion;
  const bool is_signed = c == 'd' || c == 'i';
  bool negative = false;
  std::uintmax_t magnitude;
  if (is_signed) {
    const std::intmax_t v = ReadSigned(spec, args);
    negative = v < 0;
    magnitude = negative ? 0 - static_cast<std::uintmax_t>(v) : static_cast<std::uintmax_t>(v);
  } else {
    magnitude = ReadUnsigned(spec, args);
  }
  const unsigned base = c == 'o' ? 8 : (c == 'x' || c == 'X') ? 16 : 10;
  const char* digit_chars = c == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";

  char digits[32];
  std::size_t n = 0;
  for (std::uintmax_t v = magnitude; v != 0; v /= base) digits[sizeof digits - ++n] = digit_chars[v % base];
  const char* body = digits + sizeof digits - n;

  std::size_t precision = spec.precision < 0 ? 1 : static_cast<std::size_t>(spec.precision);
  if (c == 'o' && spec.alternate && precision <= n) precision = n + 1;  // a leading 0
  const std::size_t zeros = precision > n ? precision - n : 0;

  char prefix[2];
  std::size_t prefix_len = 0;
  if (negative) {
    prefix[prefix_len++] = '-';
  } else if (is_signed && spec.plus) {
    prefix[prefix_len++] = '+';
  } else if (is_signed && spec.space) {
    prefix[prefix_len++] = ' ';
  } else if (base == 16 && spec.alternate && magnitude != 0) {
    prefix[prefix_len++] = '0';
    prefix[prefix_len++] = c;
  }
  Emit(out, spec, prefix, prefix_len, zeros, body, n, spec.zero && spec.precision < 0);
}

// The largest count of digits a double needs behind the point or in its
// significand; beyond it every digit is 0 and is padded rather than converted.
constexpr int kMaxExactDigits = 1100;

// Digits of |value| into `text` (NUL-terminated); returns its length. A
// precision beyond kMaxExactDigits is converted at kMaxExactDigits and the
// rest reported in `trailing_zeros`.
std::size_t ConvertFinite(double value, const Spec& spec, char* text, std::size_t size, int* trailing_zeros) {
  const char lower = static_cast<char>(spec.conversion | 0x20);
  int precision = spec.precision;
  *trailing_zeros = 0;
  char* const end = text + size - 1;
  std::to_chars_result r{text, std::errc()};
  if (lower == 'a' && precision < 0) {
    r = std::to_chars(text, end, value, std::chars_format::hex);
  } else {
    if (precision < 0) precision = 6;
    std::chars_format format = lower == 'a'   ? std::chars_format::hex
                               : lower == 'f' ? std::chars_format::fixed
                                              : std::chars_format::scientific;
    if (lower == 'g') {
      const int p = precision == 0 ? 1 : precision;
      // The exponent after rounding to p digits. No double has more than 17
      // leading nines, so rounding beyond 20 digits never carries into a new
      // power of ten and 20 digits decide it.
      char probe[40];
      const auto e = std::to_chars(probe, probe + sizeof probe, value, std::chars_format::scientific,
                                   p - 1 < 20 ? p - 1 : 20);
      const char* ep = static_cast<const char*>(std::memchr(probe, 'e', static_cast<std::size_t>(e.ptr - probe)));
      int exponent = 0;
      std::from_chars(ep + (ep[1] == '+' ? 2 : 1), e.ptr, exponent);
      if (p > exponent && exponent >= -4) {
        format = std::chars_format::fixed;
        precision = p - 1 - exponent;
      } else {
        precision = p - 1;
      }
    }
    if (precision > kMaxExactDigits) {
      if (lower != 'g' || spec.alternate) *trailing_zeros = precision - kMaxExactDigits;
      precision = kMaxExactDigits;
    }
    r = std::to_chars(text, end, value, format, precision);
  }
  if (r.ec != std::errc()) r.ptr = text;
  std::size_t len = static_cast<std::size_t>(r.ptr - text);
  text[len] = '\0';
  char* exp_part = lower == 'f' ? nullptr : static_cast<char*>(std::memchr(text, lower == 'a' ? 'p' : 'e', len));
  char* mantissa_end = exp_part ? exp_part : text + len;
  const bool has_point = std::memchr(text, '.', static_cast<std::size_t>(mantissa_end - text)) != nullptr;

  if (lower == 'g' && !spec.alternate && has_point) {
    char* cut = mantissa_end;
    while (cut[-1] == '0') --cut;
    if (cut[-1] == '.') --cut;
    std::memmove(cut, mantissa_end, static_cast<std::size_t>(text + len - mantissa_end) + 1);
    len -= static_cast<std::size_t>(mantissa_end - cut);
  } else if (spec.alternate && !has_point) {
    std::memmove(mantissa_end + 1, mantissa_end, static_cast<std::size_t>(text + len - mantissa_end) + 1);
    *mantissa_end = '.';
    ++len;
  }
  return len;
}

void FormatFloat(Sink& out, const Spec& spec, va_list* args) {
  const double value = spec.length == Length::kLongDouble ? static_cast<double>(va_arg(*args, long double))
                                                          : va_arg(*args, double);
  const char c = spec.conversion;
  const bool upper = c == 'F' || c == 'E' || c == 'G' || c == 'A';

  char prefix[3];
  std::size_t prefix_len = 0;
  if (std::signbit(value)) {
    prefix[prefix_len++] = '-';
  } else if (spec.plus) {
    prefix[prefix_len++] = '+';
  } else if (spec.space) {
    prefix[prefix_len++] = ' ';
  }

  if (!std::isfinite(value)) {
    const char* word = std::isnan(value) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
    Emit(out, spec, prefix, prefix_len, 0, word, 3, false);
    return;
  }
  if (c == 'a' || c == 'A') {
    prefix[prefix_len++] = '0';
    prefix[prefix_len++] = upper ? 'X' : 'x';
  }
  char text[kMaxExactDigits + 400];
  int trailing_zeros;
  std::size_t len = ConvertFinite(std::fabs(value), spec, text, sizeof text, &trailing_zeros);
  if (upper) {
    for (std::size_t i = 0; i < len; ++i) {
      if (text[i] >= 'a' && text[i] <= 'z') text[i] = static_cast<char>(text[i] - 0x20);
    }
  }
  if (trailing_zeros == 0) {
    Emit(out, spec, prefix, prefix_len, 0, text, len, spec.zero);
    return;
  }
  // A precision beyond every exact digit: the zeros go behind the fraction,
  // before the exponent part if there is one.
  const char exp_char = (c == 'a' || c == 'A') ? 'p' : 'e';
  const char* exp_part = static_cast<const char*>(std::memchr(text, upper ? exp_char - 0x20 : exp_char, len));
  const std::size_t head = exp_part ? static_cast<std::size_t>(exp_part - text) : len;
  const std::size_t total = prefix_len + len + static_cast<std::size_t>(trailing_zeros);
  const std::size_t width = static_cast<std::size_t>(spec.width);
  const std::size_t pad = width > total ? width - total : 0;
  if (!spec.left && !spec.zero) out.Pad(' ', pad);
  out.Put(prefix, prefix_len);
  if (!spec.left && spec.zero) out.Pad('0', pad);
  out.Put(text, head);
  out.Pad('0', static_cast<std::size_t>(trailing_zeros));
  out.Put(text + head, len - head);
  if (spec.left) out.Pad(' ', pad);
}

void FormatString(Sink& out, const Spec& spec, va_list* args) {
  const char* s = va_arg(*args, const char*);
  if (s == nullptr) s = "(null)";
  std::size_t n = 0;
  const std::size_t limit = spec.precision < 0 ? SIZE_MAX : static_cast<std::size_t>(spec.precision);
  while (n < limit && s[n] != '\0') ++n;
  Emit(out, spec, "", 0, 0, s, n, false);
}

void FormatPointer(Sink& out, const Spec& spec, va_list* args) {
  std::uintptr_t v = reinterpret_cast<std::uintptr_t>(va_arg(*args, void*));
  char digits[2 * sizeof(void*)];
  for (std::size_t i = sizeof digits; i-- > 0; v >>= 4) digits[i] = "0123456789ABCDEF"[v & 15];
  Emit(out, spec, "", 0, 0, digits, sizeof digits, false);
}

// Reads a decimal count, saturating at INT_MAX.
int ReadCount(const char*& p) {
  int n = 0;
  for (; *p >= '0' && *p <= '9'; ++p) n = n > (INT_MAX - 9) / 10 ? INT_MAX : n * 10 + (*p - '0');
  return n;
}

// Parses one conversion behind its '%'; returns false for one this
// formatter does not know.
bool ParseSpec(const char*& p, Spec& spec, va_list* args) {
  for (;; ++p) {
    if (*p == '-') spec.left = true;
    else if (*p == '+') spec.plus = true;
    else if (*p == ' ') spec.space = true;
    else if (*p == '#') spec.alternate = true;
    else if (*p == '0') spec.zero = true;
    else break;
  }
  if (*p == '*') {
    ++p;
    const int w = va_arg(*args, int);
    if (w < 0) spec.left = true;
    spec.width = w < 0 ? (w == INT_MIN ? INT_MAX : -w) : w;
  } else {
    spec.width = ReadCount(p);
  }
  if (*p == '.') {
    ++p;
    if (*p == '*') {
      ++p;
      const int precision = va_arg(*args, int);
      spec.precision = precision < 0 ? -1 : precision;
    } else {
      spec.precision = ReadCount(p);
    }
  }
  switch (*p) {
    case 'h':
      ++p;
      spec.length = *p == 'h' ? (++p, Length::kChar) : Length::kShort;
      break;
    case 'l':
      ++p;
      spec.length = *p == 'l' ? (++p, Length::kLongLong) : Length::kLong;
      break;
    case 'j': ++p; spec.length = Length::kIntMax; break;
    case 'z': ++p; spec.length = Length::kSize; break;
    case 't': ++p; spec.length = Length::kPtrDiff; break;
    case 'L': ++p; spec.length = Length::kLongDouble; break;
    case 'I':
      ++p;
      if (p[0] == '6' && p[1] == '4') {
        p += 2;
        spec.length = Length::kLongLong;
      } else if (p[0] == '3' && p[1] == '2') {
        p += 2;
      } else {
        spec.length = Length::kSize;
      }
      break;
    default: break;
  }
  spec.conversion = *p;
  return spec.conversion != '\0' && std::strchr("diouxXcsfFeEgGaAp%", spec.conversion) != nullptr;
}

}  // namespace

int FormatBounded(char* buffer, std::size_t count, const char* format, va_list args) {
  if (format == nullptr || (buffer == nullptr && count != 0)) return -1;
  va_list ap;
  va_copy(ap, args);
  Sink out(buffer, count);
  for (const char* p = format; *p != '\0';) {
    if (*p != '%') {
      const char* next = std::strchr(p, '%');
      const std::size_t n = next ? static_cast<std::size_t>(next - p) : std::strlen(p);
      out.Put(p, n);
      p += n;
      continue;
    }
    const char* start = p++;
    Spec spec;
    if (!ParseSpec(p, spec, &ap)) {
      // Unknown: copied as written, up to and including the unknown character.
      const std::size_t n = static_cast<std::size_t>(p - start) + (*p != '\0' ? 1 : 0);
      out.Put(start, n);
      p = start + n;
      continue;
    }
    ++p;
    switch (spec.conversion) {
      case '%': out.Put('%'); break;
      case 'c': {
        const char c = static_cast<char>(va_arg(ap, int));
        Emit(out, spec, "", 0, 0, &c, 1, false);
        break;
      }
      case 's': FormatString(out, spec, &ap); break;
      case 'p': FormatPointer(out, spec, &ap); break;
      case 'd': case 'i': case 'o': case 'u': case 'x': case 'X': FormatInteger(out, spec, &ap); break;
      default: FormatFloat(out, spec, &ap); break;
    }
  }
  va_end(ap);
  const std::size_t length = out.length();
  if (length < count && length <= INT_MAX) {
    buffer[length] = '\0';
    return static_cast<int>(length);
  }
  if (length == count && length <= INT_MAX) return static_cast<int>(length);
  return -1;
}

}  // namespace kelm::port
