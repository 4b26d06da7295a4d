#include "kelm/text/text_buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using Text261 = TextBuffer<261>;

TEST(TextBufferTest, AppendsStopAt261) {
  Text261 t;
  t.Cat(std::string(300, 'a').c_str());
  EXPECT_EQ(t.Len(), 261);
  t += 'b';
  t << "more" << std::string("text") << 7 << 8L;
  EXPECT_EQ(t.Len(), 261);
  EXPECT_EQ(t.Last(), 'a');

  Text261 u("%s", "ab");
  u << '-' << 42 << '/' << -7L << std::string("!");
  EXPECT_EQ(u, "ab-42/-7!");
  u.Set(std::string(260, 'x').c_str());
  u += 'y';
  u += 'z';
  EXPECT_EQ(u.Len(), 261);
  EXPECT_EQ(u.Last(), 'y');
}

TEST(TextBufferTest, SettingAndFilling) {
  Text261 t('-', 400);
  EXPECT_EQ(std::string(t.C_str()), std::string(261, '-'));
  t.Set('-', -3);
  EXPECT_TRUE(t.IsEmpty());
  t.Set("abcdef", 3);
  EXPECT_EQ(t, "abc");
  t.Clear();
  EXPECT_EQ(&t.Last(), static_cast<char*>(t));  // the terminator of an empty text
}

TEST(TextBufferTest, FormattingIsBoundedAndTerminated) {
  Text261 t;
  const std::string long_text(300, 'p');
  EXPECT_EQ(t.PrintF("%s", long_text.substr(0, 261).c_str()), 261);  // exactly full
  EXPECT_EQ(t.Len(), 261);
  t.Set(std::string(250, 'a').c_str());
  EXPECT_EQ(t.CatF("%s", "0123456789AB"), -1);
  EXPECT_EQ(t.Len(), 261);
  EXPECT_EQ(t.Last(), 'A');
  Text261 formatted("%05.1f|%X|%zu|%lld", 3.14159, 255u, sizeof(int), -1LL);  // C99 forms on every platform
  EXPECT_EQ(formatted, "003.1|FF|4|-1");
}

TEST(TextBufferTest, InsertAndDelete) {
  Text261 t;
  t = "abc";
  t.Ins("xy", 1);
  EXPECT_EQ(t, "axybc");
  t.Ins("!", 99);
  t.Ins("<", -5);
  EXPECT_EQ(t, "<axybc!");

  // The inserted text reaches the capacity: the tail is lost.
  t = "0123456789";
  t.Ins(std::string(300, 'i').c_str(), 4);
  EXPECT_EQ(t.Len(), 261);
  EXPECT_EQ(std::string(t.C_str(), 5), "0123i");
  // It fits, but the moved tail would pass the capacity: cut at 261.
  t.Set(std::string(255, 'a').c_str());
  t.Ins("0123456789", 250);
  EXPECT_EQ(t.Len(), 261);
  EXPECT_EQ(std::string(t.C_str() + 248), "aa0123456789a");

  // Texts from the buffer itself, which the insertion moves.
  t = "abcdef";
  t.Ins(t.C_str() + 2, 1);
  EXPECT_EQ(t, "acdefbcdef");
  t = "abc";
  t.Ins(t.C_str(), 3);
  EXPECT_EQ(t, "abcabc");

  t = "a-b--c";
  t.Del('-');
  EXPECT_EQ(t, "abc");

  char buffer[8] = "abcdef";
  Text261::MemBackCpy(buffer + 1, buffer, 5);  // overlapping move to the right
  EXPECT_STREQ(buffer, "aabcde");

  t = " \t\x01 text \r\n";
  t.RemoveSpaces();
  EXPECT_EQ(t, "text");
}

TEST(TextBufferTest, ComparisonsAndViews) {
  Text261 empty;
  EXPECT_TRUE(empty == static_cast<const char*>(nullptr));
  Text261 ya;
  ya = "я";
  EXPECT_TRUE(ya > "z");
  EXPECT_TRUE(ya < "яя");

  ya = "hash";
  TextBuffer<255>& view = ya;
  EXPECT_EQ(static_cast<void*>(static_cast<char*>(view)), static_cast<void*>(static_cast<char*>(ya)));
  view += "!";
  EXPECT_EQ(ya, "hash!");

  TextBuffer<255> short_buffer;
  short_buffer.Set(std::string(300, 'w').c_str());
  EXPECT_EQ(short_buffer.Len(), 255);
}

}  // namespace
