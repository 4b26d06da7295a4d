#include "kelm/log/base_log.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <locale>
#include <sstream>
#include <string>

#include "kelm/log/log_stream_buf.h"

namespace kelm {
namespace {

// A record whose owner flushes it into a string.
class TextLog : public BaseBufLog {
 public:
  std::string Text() const {
    std::ostringstream out;
    flush(out);
    return out.str();
  }
  using BaseLog::flush;
};

class NullLog : public BaseLog {
 public:
  NullLog() : BaseLog(nullptr) {}
  using BaseLog::flush;
};

// A text where every position is recognisable.
std::string Pattern(std::size_t length) {
  std::string text(length, ' ');
  for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + (i * 7 + i / 26) % 26);
  return text;
}

TEST(LogStreamBufTest, BlockBoundaries) {
  LogStreamBuf buf;
  std::ostream out(&buf);
  const std::string text = Pattern(1025);
  out << text.substr(0, 1024);
  EXPECT_EQ(buf.ExtraBlocks(), 0u);  // exactly one block's worth
  out << text[1024];
  EXPECT_EQ(buf.ExtraBlocks(), 1u);
  std::ostringstream flushed;
  buf.flush(flushed);
  EXPECT_EQ(flushed.str(), text);
}

TEST(LogStreamBufTest, LongWriteFillsWholeBlocksInOrder) {
  LogStreamBuf buf;
  std::ostream out(&buf);
  const std::string text = Pattern(3000 + 73);
  out.write(text.data(), 3000);
  EXPECT_EQ(buf.ExtraBlocks(), 2u);  // 1024 + 1024 + 952
  out.write(text.data() + 3000, 72);
  EXPECT_EQ(buf.ExtraBlocks(), 2u);  // the last block had 72 bytes left
  out.put(text[3072]);
  EXPECT_EQ(buf.ExtraBlocks(), 3u);

  std::ostringstream flushed;
  buf.flush(flushed);
  EXPECT_EQ(flushed.str(), text);
  buf.flush(flushed);  // the buffer keeps its text
  EXPECT_EQ(flushed.str(), text + text);
}

TEST(LogStreamBufTest, CharacterByCharacterAndMixedWrites) {
  LogStreamBuf buf;
  std::ostream out(&buf);
  const std::string text = Pattern(2500);
  std::string expected;
  for (std::size_t i = 0; i < 1500; ++i) out.put(text[i]);
  out << 12345 << ' ' << -2.5 << ' ' << text.substr(1500);
  expected = text.substr(0, 1500) + "12345 -2.5 " + text.substr(1500);
  EXPECT_TRUE(out.good());
  std::ostringstream flushed;
  buf.flush(flushed);
  EXPECT_EQ(flushed.str(), expected);

  LogStreamBuf empty;
  std::ostringstream nothing;
  empty.flush(nothing);
  EXPECT_EQ(nothing.str(), "");
}

TEST(LogStreamBufTest, BlockListGrowsByEightPointers) {
  LogStreamBuf buf;
  std::ostream out(&buf);
  const std::string block(LogStreamBuf::mBufSize, 'x');
  out << block;
  for (int i = 1; i <= 8; ++i) out << block;
  EXPECT_EQ(buf.ExtraBlocks(), 8u);
  EXPECT_EQ(buf.ExtraBlocksCapacity(), 8u);
  out << 'y';  // the ninth further block
  EXPECT_EQ(buf.ExtraBlocks(), 9u);
  EXPECT_EQ(buf.ExtraBlocksCapacity(), 16u);
}

TEST(LogStreamBufTest, BufVectorCopiesContents) {
  LogStreamBuf::BufVector blocks;
  EXPECT_EQ(blocks[0], nullptr);
  char* first = blocks.AddBuf();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first[0], 0);  // zero-filled
  EXPECT_EQ(first[LogStreamBuf::mBufSize - 1], 0);
  first[0] = 'a';
  blocks.AddBuf()[0] = 'b';
  EXPECT_EQ(blocks[2], nullptr);

  LogStreamBuf::BufVector copy(blocks);
  LogStreamBuf::BufVector assigned;
  assigned.AddBuf();
  assigned = blocks;
  blocks[0][0] = 'z';
  for (const LogStreamBuf::BufVector* v : {&copy, &assigned}) {
    ASSERT_EQ(v->Size(), 2u);
    EXPECT_EQ((*v)[0][0], 'a');
    EXPECT_EQ((*v)[1][0], 'b');
    EXPECT_NE((*v)[0], blocks[0]);
  }
}

TEST(BaseLogTest, RecordsThroughTheStream) {
  TextLog log;
  EXPECT_TRUE(log.IsNotNull());
  log() << "Запись " << 7 << ';';
  EXPECT_EQ(log.Text(), "Запись 7;");
  const std::string longer = Pattern(5000);
  log() << longer;
  EXPECT_EQ(log.Text(), "Запись 7;" + longer);
}

TEST(BaseLogTest, NullLogDropsEverything) {
  NullLog log;
  EXPECT_FALSE(log.IsNotNull());
  log() << "lost " << 1;
  std::ostringstream out;
  log.flush(out);
  EXPECT_EQ(out.str(), "");
}

// Groups digits in threes with an apostrophe.
class Grouping : public std::numpunct<char> {
 protected:
  char do_thousands_sep() const override { return '\''; }
  std::string do_grouping() const override { return "\3"; }
};

// Whatever one record sets on its stream must not reach the next one, and
// records alive at once must not share one.
TEST(BaseLogTest, EachRecordStartsWithAFreshStream) {
  std::ostream* first = nullptr;
  {
    TextLog log;
    first = &log();
    log().imbue(std::locale(std::locale::classic(), new Grouping));
    log() << std::hex << std::showbase << std::uppercase << std::left << std::setprecision(2)
          << std::setfill('*') << std::setw(6) << 255 << ' ' << 1234567 << std::setw(9);
    EXPECT_EQ(log.Text(), "0XFF** 0X12D'687");
    log().exceptions(std::ios_base::badbit);
    NullLog broken;
    broken() << "bad";
    EXPECT_TRUE(broken().bad());
  }
  TextLog log;
  TextLog nested;
  EXPECT_NE(&log(), &nested());
  for (TextLog* record : {&log, &nested}) {
    std::ostream& out = (*record)();
    EXPECT_TRUE(out.good());
    EXPECT_EQ(out.exceptions(), std::ios_base::goodbit);
    EXPECT_EQ(out.tie(), nullptr);
    out << 255 << ' ' << 1234567 << ' ' << 1.0 / 3 << '|' << std::setw(3) << 7 << '|';
    EXPECT_EQ(record->Text(), "255 1234567 0.333333|  7|");
  }
}

}  // namespace
}  // namespace kelm
