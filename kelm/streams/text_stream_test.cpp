#include "kelm/streams/text_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "kelm/frame/exceptions.h"
#include "kelm/streams/mem_stream.h"

namespace {

std::string Bytes(MemStream& s) { return std::string(s.GetBuf() - s.CurPos(), s.Size()); }

TEST(TextStreamTest, String) {
  MemStream s;
  const std::string long_text(300, 'k');
  s << String(long_text.c_str()) << String() << String("Привет");
  const std::string bytes = Bytes(s);
  ASSERT_EQ(bytes.size(), 256u + 1u + 7u);
  EXPECT_EQ(static_cast<unsigned char>(bytes[0]), 255);
  EXPECT_EQ(bytes.substr(256), std::string("\0\x06Привет", 8));

  s.Seek(0);
  String cut("old"), empty("previous"), cyrillic;
  char* kept_block = empty;
  s >> cut >> empty >> cyrillic;
  EXPECT_EQ(std::string(cut), std::string(255, 'k'));
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_EQ(static_cast<char*>(empty), kept_block);  // emptied in its own block
  EXPECT_EQ(std::string(cyrillic), "Привет");
  s.Seek(0);
  const String constructed(s);
  EXPECT_EQ(std::string(constructed), std::string(255, 'k'));
  EXPECT_EQ(s.CurPos(), 256u);

  MemStream cut_short;
  cut_short << static_cast<unsigned char>(5) << 'a' << 'b';
  cut_short.Seek(0);
  String partial;
  EXPECT_THROW(cut_short >> partial, GorseCodeException);
}

TEST(TextStreamTest, WString) {
  const unsigned short units[] = {0x0410, 0x0042, 0xFFFF, 0};
  MemStream s;
  s << WString(units) << WString();
  EXPECT_EQ(Bytes(s), std::string("\x03\x00\x10\x04\x42\x00\xFF\xFF\x00\x00", 10));
  s.Seek(0);
  WString back, empty(units);
  s >> back >> empty;
  EXPECT_EQ(back == units, 1);
  EXPECT_TRUE(empty.IsEmpty());
  s.Seek(0);
  const WString constructed(s);
  EXPECT_EQ(constructed == units, 1);
}

TEST(TextStreamTest, Buffer) {
  MemStream s;
  s << Buffer("\x01\x00\x02", 3) << Buffer();
  EXPECT_EQ(Bytes(s), std::string("\x03\x01\x00\x02\x00", 5));
  s.Seek(0);
  Buffer back, empty("x", 1);
  s >> back >> empty;
  ASSERT_EQ(back.Len(), 3);
  EXPECT_EQ(std::string(static_cast<const char*>(back.Data()), 3), std::string("\x01\x00\x02", 3));
  EXPECT_EQ(empty.Len(), 0);
  EXPECT_EQ(empty.Data(), nullptr);
}

}  // namespace
