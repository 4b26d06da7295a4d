#include "kelm/streams/text_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "kelm/frame/exceptions.h"
#include "kelm/streams/mem_stream.h"

namespace {

std::string Bytes(MemStream& s) { return std::string(s.GetBuf() - s.CurPos(), s.Size()); }

TEST(TextStreamTest, StringWStringAndBuffer) {
  const unsigned short units[] = {0x0410, 0x0042, 0xFFFF, 0};
  MemStream s;
  s << String(std::string(300, 'k').c_str()) << String("Ёж") << WString(units) << Buffer("\x01\x00\x02", 3);
  EXPECT_EQ(Bytes(s).substr(255),
            std::string("k\x02Ёж\x03\x00\x10\x04\x42\x00\xFF\xFF\x03\x01\x00\x02", 16));
  EXPECT_EQ(static_cast<unsigned char>(Bytes(s)[0]), 255);  // cut at 255

  s.Seek(0);
  String cut("old"), cyrillic("previous");
  WString wide;
  Buffer buffer("x", 1);
  s >> cut >> cyrillic >> wide >> buffer;
  EXPECT_EQ(std::string(cut), std::string(255, 'k'));
  EXPECT_EQ(std::string(cyrillic), "Ёж");
  EXPECT_EQ(wide == units, 1);
  ASSERT_EQ(buffer.Len(), 3);
  EXPECT_EQ(std::string(static_cast<const char*>(buffer.Data()), 3), std::string("\x01\x00\x02", 3));
  s.Seek(0);
  EXPECT_EQ(std::string(String(s)), std::string(255, 'k'));  // read on construction
  EXPECT_EQ(s.CurPos(), 256u);

  MemStream empties, cut_short;
  empties << String() << WString() << Buffer();
  EXPECT_EQ(Bytes(empties), std::string("\0\0\0\0", 4));
  empties.Seek(0);
  String emptied("previous");
  char* kept_block = emptied;
  empties >> emptied >> wide >> buffer;
  EXPECT_EQ(static_cast<char*>(emptied), kept_block);  // emptied in its own block
  EXPECT_TRUE(emptied.IsEmpty() && wide.IsEmpty());
  EXPECT_EQ(buffer.Data(), nullptr);
  cut_short << static_cast<unsigned char>(5) << 'a';
  cut_short.Seek(0);
  EXPECT_THROW(cut_short >> emptied, GorseCodeException);
}

}  // namespace
