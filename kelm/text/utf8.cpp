#include "kelm/text/utf8.h"

#include "kelm/port/codepage.h"

namespace {

// The code point of the valid sequence at `text[i]` and its length, or
// length 0 when the bytes there are no valid sequence.
char32_t DecodeOne(std::string_view text, size_t i, size_t* length) {
  *length = 0;
  const auto lead = static_cast<unsigned char>(text[i]);
  const int extra = lead < 0x80 ? 0 : lead < 0xC2 ? -1 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF5 ? 3 : -1;
  if (extra < 0 || text.size() - i <= static_cast<size_t>(extra)) return 0;
  char32_t u = extra == 0 ? lead : lead & (0x3F >> extra);
  for (int k = 1; k <= extra; ++k) {
    const auto c = static_cast<unsigned char>(text[i + k]);
    if ((c & 0xC0) != 0x80) return 0;
    u = (u << 6) | (c & 0x3F);
  }
  constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  if (u < kLeast[extra] || u > 0x10FFFF || (u >= 0xD800 && u < 0xE000)) return 0;
  *length = static_cast<size_t>(extra) + 1;
  return u;
}

}  // namespace

std::string Cp1251ToUtf8(std::string_view cp1251) {
  std::string out;
  out.reserve(cp1251.size() * 2);
  for (const char16_t u : kelm::port::Cp1251ToUtf16(cp1251)) {
    if (u < 0x80) {
      out += static_cast<char>(u);
    } else if (u < 0x800) {
      out += static_cast<char>(0xC0 | (u >> 6));
      out += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | (u >> 12));
      out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
  return out;
}

bool Utf8ToCp1251(std::string_view utf8, std::string* out) {
  std::u16string wide;
  wide.reserve(utf8.size());
  bool valid = true;
  for (size_t i = 0; i < utf8.size();) {
    size_t length = 0;
    const char32_t u = DecodeOne(utf8, i, &length);
    valid = valid && length != 0;
    // A bad byte, and a character outside the basic plane, is one '?'.
    wide += length == 0 || u > 0xFFFF ? u'?' : static_cast<char16_t>(u);
    i += length == 0 ? 1 : length;
  }
  *out = kelm::port::Utf16ToCp1251(wide);
  return valid;
}
