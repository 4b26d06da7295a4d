#include "kelm/streams/stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kelm/frame/errors.h"
#include "kelm/frame/exceptions.h"
#include "kelm/streams/mem_stream.h"
#include "kelm/streams/stream_hash.h"
#include "kelm/streams/testing/paged_stream.h"

namespace {

using kelm::testing::PagedStream;
using Lines = std::vector<std::string>;

std::string Bytes(MemStream& s) { return std::string(s.GetBuf() - s.CurPos(), s.Size()); }

MemStream& Holding(MemStream& s, const std::string& bytes) {
  s.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
  s.Seek(0);
  return s;
}

template <class F>
void ExpectError288(F&& f) {
  try {
    f();
    ADD_FAILURE() << "no error 288";
  } catch (const GorseCodeException& e) {
    EXPECT_EQ(e.Code(), 288);
  }
}

const char kCannotWrite[] = "Невозможно записать данные в поток.";
std::string MessageOf(void (*f)(Stream&), Stream& s) {
  try {
    f(s);
  } catch (const Exception& e) {
    return static_cast<const char*>(e.Description());
  }
  return "(no error)";
}

// The byte layouts of every type are checked by the portable record test.
TEST(StreamTest, TextsAndMissingBytes) {
  MemStream s;
  s << "abc" << static_cast<const char*>(nullptr) << std::string(300, 'x');
  EXPECT_EQ(Bytes(s).substr(0, 6), std::string("\x03" "abc\0\xFF", 6));  // null is empty; 300 is cut at 255
  s.Seek(0);
  char text[256];
  std::string empty = "was", cut;
  s >> text >> empty >> cut;
  EXPECT_EQ(std::string(text) + "|" + empty + "|" + cut, "abc||" + std::string(255, 'x'));
  // bool is cleared when its byte is missing.
  bool b = true;
  ExpectError288([&] { s >> b; });
  EXPECT_FALSE(b);
}

TEST(StreamTest, PositionsAndDataBoundsOfAMemoryStream) {
  MemStream s(16);
  s.Write("abcd", 4);
  char buf[8];
  s.Read(buf, 0);  // at the end, nothing wanted: nothing reported
  s.Seek(0);
  ExpectError288([&] { s.Read(buf, 5); });  // four bytes there, five wanted
  EXPECT_EQ(s.CurPos(), 4u);
  // Below the capacity but beyond the data: Seek is silent, reading and
  // writing fail, Truncate extends the data to the position.
  s.Seek(10);
  ExpectError288([&] { s.Read(buf, 1); });
  ExpectError288([&] { s.Write("z", 1); });
  s.Truncate();
  EXPECT_EQ(s.Size(), 10u);
  ExpectError288([&] { s.Seek(16); });  // at the capacity

  // GetChar reads what the buffer holds, even past the data.
  s.Seek(1);
  s.Truncate();
  EXPECT_EQ(s.PeekChar(), 0);
  EXPECT_EQ(s.GetChar(), 'b');
  EXPECT_EQ(s.CurPos(), 2u);
}

TEST(StreamTest, ACallersBufferIsAllDataAndDoesNotGrow) {
  char raw[4] = {'p', 'q', 'r', 's'};
  Stream over(raw, 4);
  EXPECT_EQ(over.Size(), 4u);
  EXPECT_EQ(over.GetChar(), 'p');
  over.Write("xy", 2);
  EXPECT_EQ(MessageOf([](Stream& s) { s.Write("abc", 3); }, over), kCannotWrite);
  EXPECT_EQ(std::string(raw, 4), "pxya");
  EXPECT_EQ(over.PeekChar(), 0);
  ExpectError288([&] { over.GetChar(); });
  Stream none;
  EXPECT_EQ(MessageOf([](Stream& s) { s.Fill('a', 1); }, none), kCannotWrite);
  none.Write("", 0);
}

TEST(MemStreamTest, GrowsByDoubling) {
  MemStream s(4);
  s.Write("0123456789", 10);
  s.Write("abc", 3);
  EXPECT_EQ(s.BufSize(), 24u);  // 2 x max(4, 6), then 2 x max(12, 1)
  // Bytes taken from the block that the growth replaces.
  MemStream self(4);
  self.Write("abcd", 4);
  self.Write(self.GetBuf() - self.CurPos(), 4);
  EXPECT_EQ(Bytes(self), "abcdabcd");
}

// A derived stream hears of every write, small or growing.
class ChangeCountingStream : public MemStream {
 public:
  using MemStream::MemStream;
  void SetChanged() override {
    ++changes_;
    MemStream::SetChanged();
  }
  int changes_ = 0;
};

TEST(MemStreamTest, EveryWriteGoesThroughSetChanged) {
  ChangeCountingStream s(8);
  s.Write("ab", 2);
  EXPECT_EQ(s.State(), 0x62);  // memory, both changed flags
  s.Write("0123456789", 10);
  s.Seek(1);
  s.Fill('-', 3);
  EXPECT_EQ(s.changes_, 3);
  EXPECT_EQ(Bytes(s), "a---23456789");
  EXPECT_EQ(s.UpdateClear(9, '.'), 7);
  EXPECT_EQ(Bytes(s), "a---23456.......");
}

TEST(MemStreamTest, AssignmentCopiesThenHandsTheBlockOver) {
  MemStream src;
  src.Write("content", 7);
  {
    MemStream dst(64);
    dst = src;
    // dst's own buffer got the content and is now freed; dst owns src's
    // block. The sanitizers see that each block is freed exactly once.
  }
  // Reopened over a caller's buffer, src works again and frees nothing.
  char raw[4] = {};
  src.Open(raw, 4);
  src.Write("ok", 2);
  EXPECT_EQ(std::string(raw, 2), "ok");
}

TEST(StreamTest, WholeStreamsCopyAndCompare) {
  MemStream a, b, c, part;
  a.Write("hello", 5);
  b.Write("previous content", 16);
  static_cast<Stream&>(b) = a;
  b = static_cast<Stream&>(b);  // onto itself: nothing is lost
  EXPECT_EQ(Bytes(b), "hello");
  a.Seek(2);
  c << a;  // from the source's position to its end
  a.Seek(0);
  a >> c;
  EXPECT_EQ(Bytes(c), "llohello");
  a.Seek(1);
  part.Write(a, 3);
  EXPECT_EQ(a.CurPos(), 4u);
  part.Write(a, -1);
  EXPECT_EQ(Bytes(part), "ell");

  // By size first, then by unsigned bytes; positions are kept.
  MemStream three, five, high, copy;
  three.Write("abc", 3);
  five.Write("abcde", 5);
  high.Write("ab\xFF", 3);
  EXPECT_EQ(three.Compare(five), -2);
  three.Seek(1);
  EXPECT_EQ(three.Compare(high), -1);
  EXPECT_EQ(high.Compare(three), 1);
  EXPECT_EQ(three.CurPos(), 1u);
  EXPECT_EQ(Holding(copy, "abc").Compare(three), 0);
}

Lines ReadLines(Stream& s, unsigned capacity) {
  Lines lines;
  std::vector<char> buf(capacity);
  while (!s.IsEOF() && lines.size() < 100) {
    const int n = s.TxtRead(buf.data(), capacity);
    lines.emplace_back(buf.data(), n);
  }
  return lines;
}

TEST(StreamTest, TxtReadLinesAndTextOutput) {
  MemStream crlf, zero, cr, both, s;
  EXPECT_EQ(ReadLines(Holding(crlf, "ab\r\ncd"), 80), (Lines{"ab", "cd"}));
  EXPECT_EQ(ReadLines(Holding(zero, std::string("ab\0cd", 5)), 80), (Lines{"ab", "cd"}));
  EXPECT_EQ(ReadLines(Holding(cr, "a\rb\n\r\n\n"), 80), (Lines{"a\rb", "", ""}));
  // A line feed is looked for first, so a zero byte before it stays.
  EXPECT_EQ(ReadLines(Holding(both, std::string("a\0b\nc", 5)), 80)[0], std::string("a\0b", 3));
  // "ef\n" fits, its end is consumed; "xy\r" does not, so "\r" starts a line.
  Holding(s, "abcdef\nxy\r\n");
  EXPECT_EQ(ReadLines(s, 3), (Lines{"ab", "cd", "ef", "xy", ""}));
  s.Seek(0);
  char one[1] = {'#'};
  EXPECT_EQ(s.TxtRead(one, 1), 0);  // room for the terminator only
  EXPECT_EQ(one[0], '\0');
  EXPECT_EQ(s.CurPos(), 0u);

  MemStream out, big;
  out.TxtWrite("line").Printf("%d-%s", 42, "x").TxtPrintf(" %05.1f", 2.5);
  EXPECT_EQ(Bytes(out), "line\r\n42-x 002.5\r\n");
  big.TxtPrintf("%s", std::string(5000, 'w').c_str());
  EXPECT_EQ(big.Size(), 4097u);
}

// The view moves across separate page buffers.
TEST(PagedStreamTest, EveryOperationCrossesPages) {
  PagedStream s(16);
  s.Write("0123456789ABC", 13);
  s << 0x1122334455667788LL << "text across the page boundary";
  s.Seek(0);
  char head[13];
  long long ll = 0;
  std::string text;
  s.Read(head, 13) >> ll >> text;
  EXPECT_EQ(ll, 0x1122334455667788LL);
  EXPECT_EQ(text, "text across the page boundary");
  s.Seek(30);
  s.Fill('=', 20);
  EXPECT_EQ(s.Content().substr(28), "cr" + std::string(20, '=') + "y");

  const std::string content = "first line is long\r\nsecond\r\n" + std::string(40, ' ') + "*";
  PagedStream lines(8, content);
  EXPECT_EQ(ReadLines(lines, 80), (Lines{"first line is long", "second", std::string(40, ' ') + "*"}));
  lines.Seek(30);
  EXPECT_TRUE(lines.FindChar(' ', 1000, false));  // skips the run of blanks
  EXPECT_EQ(lines.CurPos(), content.size() - 1);
  lines.Seek(0);
  EXPECT_FALSE(lines.FindChar('*', 30, true));  // not within the count
  EXPECT_EQ(lines.CurPos(), 30u);
  MemStream flat;
  Holding(flat, content);
  EXPECT_EQ(lines.Compare(flat), 0);
  flat.Seek(content.size() - 1);
  flat << 'a';  // in place of '*'
  EXPECT_EQ(lines.Compare(flat), -1);
  PagedStream back(5);
  lines.Seek(0);
  back.Write(lines, 25);
  lines >> back;  // the rest
  EXPECT_EQ(back.Content(), content);
}

// A paged stream whose storage fails for good after `updates_left_` more
// moves of its view, as a file that goes away does.
class FailingStream : public PagedStream {
 public:
  using PagedStream::PagedStream;
  int Update(unsigned long pos, UpdateType type) override {
    if (updates_left_ == 0) Error(288UL);
    --updates_left_;
    return PagedStream::Update(pos, type);
  }
  int updates_left_ = -1;  // -1: never fails
};

TEST(PosRestorerTest, ARestoreThatFailsDuringAnErrorIsDropped) {
  // Each error strikes away from the saved page, so restoring fails too.
  FailingStream s(4, "0123456789");
  FailingStream other(4, "0123456789");
  s.Seek(9);
  s.updates_left_ = 2;
  ExpectError288([&] { s.Compare(other); });
  s.updates_left_ = -1;
  s.Seek(9);
  s.updates_left_ = 1;
  StreamHash hash;
  ExpectError288([&] { hash.CalcHash(s, 0); });

  // With no error in flight the restore's own error is raised.
  s.updates_left_ = -1;
  s.Seek(9);
  ExpectError288([&] {
    PosRestorer keep(s);
    s.Seek(0);
    s.updates_left_ = 0;
  });
}

}  // namespace
