// Files move between the builds (Linux x86-64, Windows x86-64 and i686):
// every build writes the same bytes for the same values and reads them back.
// Each build leaves its file, portable_record.bin, in the test's working
// folder; `make test` compares the files of the builds with one another.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "kelm/containers/array.h"
#include "kelm/containers/collection.h"
#include "kelm/datetime/time_stamp.h"
#include "kelm/streams/mem_stream.h"
#include "kelm/streams/text_stream.h"

namespace {

const char kFile[] = "portable_record.bin";

// The record as every build must write it.
const unsigned char kRecord[] = {
    'K', 0xE9, 1,                                    // char, unsigned char, bool
    0xFE, 0xFF, 0xEF, 0xBE,                          // short -2, unsigned short
    0xFD, 0xFF, 0xFF, 0xFF, 0xEF, 0xBE, 0xAD, 0xDE,  // int -3, unsigned int
    0xFC, 0xFF, 0xFF, 0xFF, 0x98, 0xBA, 0xDC, 0xFE,  // long -4, unsigned long
    0xFB, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  // long long -5
    0, 0, 0, 0, 0, 0, 0xF8, 0x3F,                    // double 1.5
    2, 0xA8, 0xE6,                                   // "Ёж"
    3, 'a', 'b', 'c',                                // std::string
    2, 0xCF, 0xF0,                                   // String "Пр"
    2, 0, 0x16, 0x04, 'w', 0,                        // WString u"Жw"
    2, 7, 8,                                         // Buffer
    2, 0, 0, 0, 0x9C, 0xFF, 0xFF, 0xFF, 0x40, 0xE2, 0x01, 0x00,  // ArrLong {-100, 123456}
    2, 0, 1, 'a', 2, 0xE1, 0xE2,                     // Collection {"a", "бв"}
    0x27, 0xBA, 0, 0, 0xD2, 0x5F, 0, 0,              // TimeStamp, packed form
    0x80, 0xB5, 0xAA, 0x2E, 0x0F, 0x39, 0xDC, 0x08,  // and tick form
};

const TimeStamp kStamp(2024, 2, 29, 13, 14, 15);

std::vector<unsigned char> Write() {
  MemStream s;
  s << 'K' << static_cast<unsigned char>(0xE9) << true;
  s << static_cast<short>(-2) << static_cast<unsigned short>(0xBEEF);
  s << -3 << 0xDEADBEEFu << -4L << 0xFEDCBA98UL << -5LL << 1.5;
  s << "Ёж" << std::string("abc") << String("Пр");
  const unsigned short wide[] = {0x0416, 'w', 0};
  s << WString(wide);
  const unsigned char bytes[] = {7, 8};
  s << Buffer(bytes, 2);
  ArrLong longs(4);
  const Long32 items[] = {-100, 123456};
  longs.InsArray(items, 2);
  s << longs;
  Collection texts(csOWNER);
  texts << "a" << "бв";
  s << texts;
  s << static_cast<long long>(kStamp) << kStamp.Pvsw();
  const char* begin = s.GetBuf() - s.CurPos();
  return std::vector<unsigned char>(begin, begin + s.Size());
}

TEST(PortableFileTest, EveryBuildWritesAndReadsTheSameRecord) {
  std::vector<unsigned char> record = Write();
  ASSERT_EQ(record, std::vector<unsigned char>(std::begin(kRecord), std::end(kRecord)));
  std::FILE* f = std::fopen(kFile, "wb");
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(std::fwrite(record.data(), 1, record.size(), f), record.size());
  ASSERT_EQ(std::fclose(f), 0);

  Stream s(record.data(), static_cast<unsigned>(record.size()));
  char c, text[256];
  unsigned char uc;
  bool b;
  short sh;
  unsigned short us;
  int i;
  unsigned u;
  long l;
  unsigned long ul;
  long long ll, packed, ticks;
  double d;
  std::string str;
  String string;
  WString wide;
  Buffer buffer;
  ArrLong longs(0);
  Collection texts(csOWNER);
  s >> c >> uc >> b >> sh >> us >> i >> u >> l >> ul >> ll >> d >> text >> str >> string >> wide >>
      buffer >> longs >> texts >> packed >> ticks;
  EXPECT_TRUE(c == 'K' && uc == 0xE9 && b && us == 0xBEEF && u == 0xDEADBEEFu && ul == 0xFEDCBA98UL && d == 1.5);
  EXPECT_TRUE(sh == -2 && i == -3 && l == -4L && ll == -5LL);  // sign-extended
  EXPECT_EQ(std::string(text) + std::string(str) + std::string(string), "Ёжabc" "Пр");
  const unsigned short expected_wide[] = {0x0416, 'w', 0};
  EXPECT_TRUE(wide == expected_wide);
  ASSERT_EQ(buffer.Len(), 2);
  EXPECT_EQ(static_cast<const unsigned char*>(buffer.Data())[1], 8);
  ASSERT_TRUE(longs.Count() == 2 && texts.Count() == 2);
  EXPECT_TRUE(longs.GetLong(0) == -100 && longs.GetLong(1) == 123456);
  EXPECT_STREQ(static_cast<const char*>(texts[1]), "бв");
  EXPECT_TRUE(TimeStamp(packed) == kStamp && ticks == kStamp.Pvsw());
  EXPECT_TRUE(s.IsEOF());
}

}  // namespace
