#include "kelm/text/oem_code_page.h"

#include <gtest/gtest.h>

#include <string>

#include "kelm/text/text_buffer.h"

namespace {

TEST(OemCodePageTest, LettersAndBestFit) {
  TextBuffer<261> t;
  t = "Привет, Ёж! «§†—»";
  t.WinToDos();
  EXPECT_EQ(t, "\x8F\xE0\xA8\xA2\xA5\xE2, \xF0\xA6! <\x15\xC5->");
  t.DosToWin();
  EXPECT_EQ(t, "Привет, Ёж! <\x15+->");  // the best fits do not come back
  EXPECT_EQ(AnsiToOem(nullptr), nullptr);

  for (int c = 0; c < 256; ++c) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (c < 0x80) {
      EXPECT_EQ(kAnsiToOem[byte], byte);
      EXPECT_EQ(kOemToAnsi[byte], byte);
    } else if (c >= 0xC0 || c == 0xA8 || c == 0xB8) {
      EXPECT_EQ(kOemToAnsi[kAnsiToOem[byte]], byte) << c;
    }
  }
  char with_nul[4] = {'\xC0', '\0', '\xE0', '\0'};
  AnsiToOemBuff(with_nul, 3);
  EXPECT_EQ(std::string(with_nul, 3), std::string("\x80\0\xA0", 3));
}

}  // namespace
