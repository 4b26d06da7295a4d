#include "kelm/datetime/mask_text.h"

#include <cstring>

#include "kelm/datetime/internal/mask_values.h"
#include "kelm/text/char_classes.h"

namespace {

constexpr int kMaxLetters = 9;
constexpr int kMaxWidth = 20;
// Values read from a text saturate here, well inside int.
constexpr long kMaxReadValue = 999999999;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The number of letters taken into account, and which of them is `c`
// (compared through `fold`), or -1.
int LetterCount(const char* letters) {
  const int n = static_cast<int>(std::strlen(letters));
  return n < kMaxLetters ? n : kMaxLetters;
}

template <class Fold>
int LetterIndex(unsigned char c, const char* letters, int count, Fold fold) {
  for (int i = 0; i < count; ++i) {
    if (fold(static_cast<unsigned char>(letters[i])) == c) return i;
  }
  return -1;
}

// The length of the run of characters equal to *p under `fold`.
template <class Fold>
int RunLength(const char* p, Fold fold) {
  const unsigned char c = fold(static_cast<unsigned char>(*p));
  int n = 1;
  while (p[n] != '\0' && fold(static_cast<unsigned char>(p[n])) == c) ++n;
  return n;
}

}  // namespace

namespace kelm::datetime_internal {

char* WriteDecimal(char* out, long long value) {
  char digits[24];
  int n = 0;
  unsigned long long magnitude = value < 0 ? 0ULL - static_cast<unsigned long long>(value)
                                           : static_cast<unsigned long long>(value);
  do {
    digits[n++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) *out++ = '-';
  while (n > 0) *out++ = digits[--n];
  *out = '\0';
  return out;
}

bool ValuesFromMask(const char* text, const char* mask, int* values, const char* letters,
                    bool fixed_width) {
  const auto upper = [](unsigned char c) { return static_cast<unsigned char>(ToUpper1251(c)); };
  const int count = LetterCount(letters);
  bool used[kMaxLetters] = {};
  bool any = false;
  const char* t = text;
  for (const char* m = mask; *m != '\0';) {
    const int run = RunLength(m, upper);
    const int letter = LetterIndex(upper(static_cast<unsigned char>(*m)), letters, count, upper);
    m += run;
    if (letter < 0 || used[letter]) continue;
    if (!fixed_width) {
      while (*t != '\0' && !IsDigit(*t)) ++t;
    }
    long value = 0;
    int taken = 0;
    while (IsDigit(*t) && (!fixed_width || taken < run)) {
      value = value * 10 + (*t++ - '0');
      if (value > kMaxReadValue) value = kMaxReadValue;
      ++taken;
    }
    if (taken > 0) {
      values[letter] = static_cast<int>(value);
      used[letter] = true;
      any = true;
    }
  }
  return any;
}

}  // namespace kelm::datetime_internal

void StringFromMask(char* out, const char* mask, int* values, const char* letters) {
  const auto lower = [](unsigned char c) { return static_cast<unsigned char>(ToLower1251(c)); };
  const int count = LetterCount(letters);
  bool used[kMaxLetters] = {};
  for (const char* m = mask; *m != '\0';) {
    const int run = RunLength(m, lower);
    const int letter = LetterIndex(lower(static_cast<unsigned char>(*m)), letters, count, lower);
    if (letter < 0 || used[letter]) {
      std::memcpy(out, m, static_cast<std::size_t>(run));
      out += run;
      m += run;
      continue;
    }
    used[letter] = true;
    m += run;
    const int width = run < kMaxWidth ? run : kMaxWidth;
    // Zero-padded as printf's "%0*d" pads (a sign goes first), then cut to
    // the last `width` characters.
    char digits[24];
    const char* end = kelm::datetime_internal::WriteDecimal(digits, values[letter]);
    const bool negative = digits[0] == '-';
    const int length = static_cast<int>(end - digits);
    char padded[48];
    int p = 0;
    if (negative) padded[p++] = '-';
    for (int i = length; i < width; ++i) padded[p++] = '0';
    for (int i = negative ? 1 : 0; i < length; ++i) padded[p++] = digits[i];
    const int skip = p > width ? p - width : 0;
    std::memcpy(out, padded + skip, static_cast<std::size_t>(p - skip));
    out += p - skip;
  }
  *out = '\0';
}
