// Every byte against glibc's iconv where iconv has an exact conversion; the
// others have no counterpart in the other code page and take Windows' best
// fit, which iconv does not know.
#include <gtest/gtest.h>
#include <iconv.h>

#include "kelm/text/oem_code_page.h"

namespace {

// The converted byte, or -1 when iconv has no exact conversion.
int IconvByte(const char* to, const char* from, unsigned char byte) {
  iconv_t cd = iconv_open(to, from);
  EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
  char in = static_cast<char>(byte);
  char out[8];
  char *in_ptr = &in, *out_ptr = out;
  std::size_t in_left = 1, out_left = sizeof out;
  const std::size_t r = iconv(cd, &in_ptr, &in_left, &out_ptr, &out_left);
  iconv_close(cd);
  if (r == static_cast<std::size_t>(-1) || out_ptr - out != 1) return -1;
  return static_cast<unsigned char>(out[0]);
}

TEST(OemCodePagePosixTest, MatchesIconvWhereItConverts) {
  int exact_ansi = 0, exact_oem = 0;
  for (int c = 0; c < 256; ++c) {
    const unsigned char byte = static_cast<unsigned char>(c);
    const int oem = IconvByte("CP866", "CP1251", byte);
    if (oem >= 0) {
      EXPECT_EQ(kAnsiToOem[byte], oem) << "1251 byte " << c;
      ++exact_ansi;
    }
    const int ansi = IconvByte("CP1251", "CP866", byte);
    if (ansi >= 0) {
      EXPECT_EQ(kOemToAnsi[byte], ansi) << "866 byte " << c;
      ++exact_oem;
    }
  }
  // ASCII, the 64 letters and 13 shared signs (Ё ё Є є Ї ї Ў ў ° · № ¤ and
  // the no-break space): no exact conversion escaped the comparison.
  EXPECT_EQ(exact_ansi, 128 + 64 + 13);
  EXPECT_EQ(exact_oem, 128 + 64 + 13);
}

}  // namespace
