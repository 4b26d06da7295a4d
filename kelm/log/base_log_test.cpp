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

// Writes of each kind across the 1024-byte block boundaries: the blocks
// in use after each write, and the whole text in order at the end.
TEST(LogStreamBufTest, WritesFillWholeBlocksInOrder) {
  LogStreamBuf buf;
  std::ostream out(&buf);
  const std::string text = Pattern(4100);
  const struct {
    std::size_t end;
    char how;  // 'w'rite, 'p'ut each character, '<<'
    std::size_t extra_blocks;
  } steps[] = {{1024, '<', 0}, {1025, 'p', 1}, {3000, 'w', 2}, {3072, 'w', 2},
               {3073, 'p', 3}, {3500, 'p', 3}, {4100, '<', 4}};
  std::size_t at = 0;
  for (const auto& step : steps) {
    const std::string part = text.substr(at, step.end - at);
    if (step.how == 'w') out.write(part.data(), static_cast<std::streamsize>(part.size()));
    if (step.how == 'p') {
      for (char c : part) out.put(c);
    }
    if (step.how == '<') out << part;
    at = step.end;
    EXPECT_EQ(buf.ExtraBlocks(), step.extra_blocks) << step.end;
  }
  out << 12345 << ' ' << -2.5;
  EXPECT_TRUE(out.good());
  std::ostringstream flushed;
  buf.flush(flushed);
  buf.flush(flushed);  // the buffer keeps its text
  EXPECT_EQ(flushed.str(), text + "12345 -2.5" + text + "12345 -2.5");

  LogStreamBuf empty;
  std::ostringstream nothing;
  empty.flush(nothing);
  EXPECT_EQ(nothing.str(), "");
}

TEST(LogStreamBufTest, BlockListGrowsByEightPointers) {
  LogStreamBuf buf;
  std::ostream out(&buf);
  for (int i = 0; i <= 8; ++i) out << std::string(LogStreamBuf::mBufSize, 'x');
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

TEST(BaseLogTest, RecordsThroughTheStreamAndTheNullLogDropsThem) {
  TextLog log;
  EXPECT_TRUE(log.IsNotNull());
  const std::string longer = Pattern(5000);
  log() << "Запись " << 7 << ';' << longer;
  EXPECT_EQ(log.Text(), "Запись 7;" + longer);

  NullLog null;
  EXPECT_FALSE(null.IsNotNull());
  null() << "lost " << 1;
  std::ostringstream out;
  null.flush(out);
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
  {
    TextLog log;
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
