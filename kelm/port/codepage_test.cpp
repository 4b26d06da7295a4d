#include "kelm/port/codepage.h"

#include <string>

#include <gtest/gtest.h>

namespace kelm::port {
namespace {

TEST(CodepageTest, Windows1251AndUtf16) {
  const char16_t signs[] = {u'A', 0x044F, 0x0401, 0x2116, 0x20AC, 0x0098, 0};
  EXPECT_EQ(Cp1251ToUtf16("A\xFF\xA8\xB9\x88\x98"), signs);
  EXPECT_EQ(Cp1251ToUtf16(std::string("a\0b", 3)), std::u16string(u"a\0b", 3));

  std::string all;
  for (int b = 1; b < 256; ++b) all.push_back(static_cast<char>(b));
  const std::u16string wide = Cp1251ToUtf16(all);
  ASSERT_EQ(wide.size(), all.size());
  EXPECT_EQ(Utf16ToCp1251(wide), all);
  // Characters that 1251 lacks become question marks.
  const char16_t cjk_and_accent[] = {0x4E2D, 0x00E9, 0};
  EXPECT_EQ(Utf16ToCp1251(cjk_and_accent), "??");
  const char16_t emoji[] = {u'a', 0xD83D, 0xDE00, u'b', 0};  // U+1F600
  EXPECT_EQ(Utf16ToCp1251(emoji), "a??b");
}

}  // namespace
}  // namespace kelm::port
