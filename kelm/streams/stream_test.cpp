#include "kelm/streams/stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kelm/frame/exceptions.h"
#include "kelm/frame/errors.h"
#include "kelm/streams/mem_stream.h"
#include "kelm/streams/stream_hash.h"
#include "kelm/streams/testing/paged_stream.h"

namespace {

using kelm::testing::PagedStream;

std::string Bytes(MemStream& s) { return std::string(s.GetBuf() - s.CurPos(), s.Size()); }

template <class F>
void ExpectError288(F&& f) {
  try {
    f();
    ADD_FAILURE() << "no error 288";
  } catch (const GorseCodeException& e) {
    EXPECT_EQ(e.Code(), 288);
  }
}

template <class F>
void ExpectMessage(F&& f, const char* text) {
  try {
    f();
    ADD_FAILURE() << "no error";
  } catch (const Exception& e) {
    EXPECT_STREQ(static_cast<const char*>(e.Description()), text);
  }
}

TEST(StreamTest, TypedValuesHaveFixedByteLayouts) {
  MemStream s;
  s << 'A' << true << static_cast<short>(0x1234) << -2L << 0x12345678L << 1.0
    << 0x0102030405060708LL << static_cast<unsigned short>(0xFFFE) << 0x7FFFFFFF
    << 0xDEADBEEFUL << static_cast<unsigned char>(0x80);
  const std::string expected(
      "A\x01"
      "\x34\x12"
      "\xFE\xFF\xFF\xFF"
      "\x78\x56\x34\x12"
      "\x00\x00\x00\x00\x00\x00\xF0\x3F"
      "\x08\x07\x06\x05\x04\x03\x02\x01"
      "\xFE\xFF"
      "\xFF\xFF\xFF\x7F"
      "\xEF\xBE\xAD\xDE"
      "\x80",
      39);
  EXPECT_EQ(Bytes(s), expected);

  s.Seek(0);
  char c = 0;
  bool b = false;
  short sh = 0;
  long l1 = 0, l2 = 0;
  double d = 0;
  long long ll = 0;
  unsigned short us = 0;
  int i = 0;
  unsigned long ul = 0;
  unsigned char uc = 0;
  s >> c >> b >> sh >> l1 >> l2 >> d >> ll >> us >> i >> ul >> uc;
  EXPECT_EQ(c, 'A');
  EXPECT_TRUE(b);
  EXPECT_EQ(sh, 0x1234);
  EXPECT_EQ(l1, -2L);  // sign-extended where long is wider
  EXPECT_EQ(l2, 0x12345678L);
  EXPECT_EQ(d, 1.0);
  EXPECT_EQ(ll, 0x0102030405060708LL);
  EXPECT_EQ(us, 0xFFFE);
  EXPECT_EQ(i, 0x7FFFFFFF);
  EXPECT_EQ(ul, 0xDEADBEEFUL);
  EXPECT_EQ(uc, 0x80);
  EXPECT_TRUE(s.IsEOF());
}

TEST(StreamTest, TextsAreALengthByteAndAtMost255Bytes) {
  MemStream s;
  const std::string long_text(300, 'x');
  s << "abc" << static_cast<const char*>(nullptr) << long_text << std::string("\xC0\xFF", 2);
  const std::string bytes = Bytes(s);
  ASSERT_EQ(bytes.size(), 4u + 1u + 256u + 3u);
  EXPECT_EQ(bytes.substr(0, 5), std::string("\x03" "abc" "\x00", 5));
  EXPECT_EQ(static_cast<unsigned char>(bytes[5]), 255);
  EXPECT_EQ(bytes.substr(261), "\x02\xC0\xFF");

  s.Seek(0);
  char text[256];
  std::memset(text, '#', sizeof text);
  std::string empty = "was", cut, cyrillic;
  s >> text >> empty >> cut >> cyrillic;
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(empty, "");
  EXPECT_EQ(cut, std::string(255, 'x'));
  EXPECT_EQ(cyrillic, "\xC0\xFF");

  // bool reads any non-zero byte as true and is cleared when the byte is missing.
  MemStream t;
  t << static_cast<unsigned char>(2);
  t.Seek(0);
  bool flag = false;
  t >> flag;
  EXPECT_TRUE(flag);
  ExpectError288([&] { t >> flag; });
  EXPECT_FALSE(flag);
}

TEST(StreamTest, ReadingPastTheEndIsError288) {
  MemStream s(16);
  s << 7L;
  char buf[8];
  s.Read(buf, 0);  // at the end, nothing wanted: nothing reported
  ExpectError288([&] { s.Read(buf, 1); });
  s.Seek(0);
  ExpectError288([&] { s.Read(buf, 5); });  // four bytes there, five wanted
  EXPECT_EQ(s.CurPos(), 4u);

  // Below the capacity but beyond the data: Seek is silent, reading fails,
  // Truncate extends the data to the position.
  s.Seek(10);
  EXPECT_EQ(s.CurPos(), 10u);
  ExpectError288([&] { s.Read(buf, 1); });
  ExpectError288([&] { s.Write("z", 1); });
  s.Truncate();
  EXPECT_EQ(s.Size(), 10u);
  ExpectError288([&] { s.Seek(16); });  // at the capacity
  ExpectError288([&] { s.Seek(100); });

  // A caller's buffer holds all its bytes; past them, GetChar has nothing.
  char raw[3] = {'p', 'q', 'r'};
  Stream over(raw, 3);
  EXPECT_EQ(over.Size(), 3u);
  EXPECT_EQ(over.GetChar(), 'p');
  over.Seek(3);
  EXPECT_EQ(over.PeekChar(), 0);
  ExpectError288([&] { over.GetChar(); });
}

TEST(StreamTest, GetCharAtTheEndReadsWhatTheBufferHolds) {
  MemStream s(8);
  s.Write("abcd", 4);
  s.Seek(1);
  s.Truncate();  // the data is "a"; "bcd" is still in the buffer
  EXPECT_EQ(s.PeekChar(), 0);
  EXPECT_EQ(s.GetChar(), 'b');
  EXPECT_EQ(s.CurPos(), 2u);
}

TEST(StreamTest, WritesThatCannotProgressStop) {
  char raw[4] = {};
  Stream over(raw, 4);
  over.Write("xy", 2);
  EXPECT_EQ(std::string(raw, 2), "xy");
  ExpectMessage([&] { over.Write("abc", 3); }, "Невозможно записать данные в поток.");
  EXPECT_EQ(std::string(raw, 4), "xyab");
  Stream none;
  ExpectMessage([&] { none.Write("a", 1); }, "Невозможно записать данные в поток.");
  ExpectMessage([&] { none.Fill('a', 1); }, "Невозможно записать данные в поток.");
  none.Write("", 0);
}

TEST(MemStreamTest, GrowsByDoubling) {
  MemStream s(4);
  EXPECT_EQ(s.BufSize(), 4u);
  s.Write("0123456789", 10);
  EXPECT_EQ(s.BufSize(), 12u);  // 2 x max(4, 6)
  s.Write("abc", 3);
  EXPECT_EQ(s.BufSize(), 24u);  // 2 x max(12, 1)
  EXPECT_EQ(Bytes(s), "0123456789abc");
  std::string big(1000, 'q');
  s.Write(big.data(), 1000);
  EXPECT_EQ(s.BufSize(), 2u * 989u);
  EXPECT_EQ(s.Size(), 1013u);

  MemStream zero(0);
  zero << 1L;
  EXPECT_EQ(zero.BufSize(), 8u);
  EXPECT_EQ(Bytes(zero), std::string("\x01\0\0\0", 4));

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
  EXPECT_EQ(s.changes_, 1);
  s.Write("0123456789", 10);
  EXPECT_EQ(s.changes_, 2);
  s << 5L;
  EXPECT_EQ(s.changes_, 3);
}

TEST(MemStreamTest, OverwriteInTheMiddleKeepsTheSize) {
  MemStream s;
  EXPECT_EQ(s.State(), Stream::kTmpFlag);
  EXPECT_FALSE(s.IsChanged());
  s.Write("abcdef", 6);
  EXPECT_EQ(s.State(), 0x62);  // both changed flags
  EXPECT_TRUE(s.IsChanged());
  s.Seek(2);
  s.Write("XY", 2);
  EXPECT_EQ(Bytes(s), "abXYef");
  s.Fill('-', 3);
  EXPECT_EQ(Bytes(s), "abXY---");
  s.Clear();
  EXPECT_EQ(s.Size(), 0u);
  s.Move(3);
  EXPECT_EQ(s.CurPos(), 3u);
  s.Move(-2);
  EXPECT_EQ(s.CurPos(), 1u);
}

TEST(MemStreamTest, UpdateClearFillsTheRestOfTheBuffer) {
  MemStream s(8);
  s.Write("ab", 2);
  EXPECT_EQ(s.UpdateClear(1, '.'), 7);
  EXPECT_EQ(s.Size(), 8u);
  EXPECT_EQ(Bytes(s), "a.......");
}

TEST(MemStreamTest, AssignmentCopiesThenHandsTheBlockOver) {
  MemStream src;
  src.Write("content", 7);
  char* src_block = src.GetBuf() - src.CurPos();
  {
    MemStream dst(64);
    dst.Write("old", 3);
    dst = src;
    // The content went into dst's own buffer, which is now freed; dst owns
    // src's block. Neither may be used before reopening: only check that
    // each block is freed exactly once (the sanitizers watch this).
    EXPECT_EQ(src.GetBuf() - src.CurPos(), src_block);
  }
  // Reopened over a caller's buffer, src works again and frees nothing.
  char raw[4] = {};
  src.Open(raw, 4);
  src.Write("ok", 2);
  EXPECT_EQ(std::string(raw, 2), "ok");
}

TEST(StreamTest, AssignmentAndCopyOperators) {
  MemStream a, b;
  a.Write("hello", 5);
  b.Write("previous content", 16);
  static_cast<Stream&>(b) = a;
  EXPECT_EQ(Bytes(b), "hello");
  EXPECT_TRUE(b.IsEOF());
  b = static_cast<Stream&>(b);  // onto itself: nothing is lost
  EXPECT_EQ(Bytes(b), "hello");

  MemStream c;
  a.Seek(2);
  c << a;  // from the source's position to its end
  EXPECT_EQ(Bytes(c), "llo");
  EXPECT_TRUE(a.IsEOF());
  a.Seek(0);
  a >> c;
  EXPECT_EQ(Bytes(c), "llohello");

  MemStream part;
  a.Seek(1);
  part.Write(a, 3);
  EXPECT_EQ(Bytes(part), "ell");
  EXPECT_EQ(a.CurPos(), 4u);
  part.Write(a, 100);
  part.Write(a, 5);  // the source is at its end
  part.Write(a, -1);
  EXPECT_EQ(Bytes(part), "ello");
}

TEST(StreamTest, CompareBySizeThenUnsignedBytes) {
  MemStream three, five;
  three.Write("abc", 3);
  five.Write("abcde", 5);
  EXPECT_EQ(three.Compare(five), -2);
  EXPECT_EQ(five.Compare(three), 2);

  MemStream same, high;
  same.Write("abd", 3);
  high.Write("ab\xFF", 3);
  three.Seek(1);
  same.Seek(2);
  EXPECT_EQ(three.Compare(same), -1);
  EXPECT_EQ(high.Compare(three), 1);  // 0xFF is above 'c'
  EXPECT_EQ(three.CurPos(), 1u);
  EXPECT_EQ(same.CurPos(), 2u);
  MemStream copy;
  copy.Write("abc", 3);
  EXPECT_EQ(three.Compare(copy), 0);
  MemStream e1, e2;
  EXPECT_EQ(e1.Compare(e2), 0);
}

TEST(StreamTest, FindChar) {
  MemStream s;
  s.Write("   x  y", 7);
  s.Seek(0);
  EXPECT_TRUE(s.FindChar(' ', 10, false));  // skips the run of blanks
  EXPECT_EQ(s.CurPos(), 3u);
  EXPECT_TRUE(s.FindChar('y', 10, true));
  EXPECT_EQ(s.CurPos(), 6u);
  s.Seek(0);
  EXPECT_FALSE(s.FindChar('y', 4, true));  // not within the count
  EXPECT_EQ(s.CurPos(), 4u);
  EXPECT_FALSE(s.FindChar('q', 100, true));
  EXPECT_EQ(s.CurPos(), 7u);
}

std::vector<std::string> Lines(Stream& s, unsigned capacity) {
  std::vector<std::string> lines;
  std::vector<char> buf(capacity);
  while (!s.IsEOF()) {
    const int n = s.TxtRead(buf.data(), capacity);
    EXPECT_EQ(n, static_cast<int>(std::strlen(buf.data())));
    lines.emplace_back(buf.data(), n);
    if (lines.size() > 100) break;  // a reader that does not advance
  }
  return lines;
}

TEST(StreamTest, TxtReadLineEndings) {
  using V = std::vector<std::string>;
  MemStream crlf;
  crlf.Write("ab\r\ncd", 6);
  crlf.Seek(0);
  EXPECT_EQ(Lines(crlf, 80), (V{"ab", "cd"}));
  MemStream zero;
  zero.Write("ab\0cd", 5);
  zero.Seek(0);
  EXPECT_EQ(Lines(zero, 80), (V{"ab", "cd"}));
  MemStream lone_cr;
  lone_cr.Write("a\rb\n\r\n\n", 7);
  lone_cr.Seek(0);
  EXPECT_EQ(Lines(lone_cr, 80), (V{"a\rb", "", ""}));
  // A line feed is looked for first, so a zero byte before it stays in the line.
  MemStream both;
  both.Write("a\0b\nc", 5);
  both.Seek(0);
  char buf[16];
  EXPECT_EQ(both.TxtRead(buf, sizeof buf), 3);
  EXPECT_EQ(std::string(buf, 3), std::string("a\0b", 3));
}

TEST(StreamTest, TxtReadShortBuffers) {
  using V = std::vector<std::string>;
  MemStream s;
  s.Write("abcdef\nxy\r\n", 11);
  s.Seek(0);
  // "ef\n" fits, its end is consumed; "xy\r" does not, so the "\r" starts a line.
  EXPECT_EQ(Lines(s, 3), (V{"ab", "cd", "ef", "xy", ""}));
  s.Seek(0);
  EXPECT_EQ(Lines(s, 7), (V{"abcdef", "xy"}));
  s.Seek(0);
  char one[1] = {'#'};
  EXPECT_EQ(s.TxtRead(one, 1), 0);  // room for the terminator only
  EXPECT_EQ(one[0], '\0');
  EXPECT_EQ(s.CurPos(), 0u);
  char none[1] = {'#'};
  EXPECT_EQ(s.TxtRead(none, 0), 0);
  EXPECT_EQ(none[0], '#');
}

TEST(StreamTest, TextOutput) {
  MemStream s;
  s.TxtWrite("line").Printf("%d-%s", 42, "x").TxtPrintf(" %05.1f", 2.5);
  EXPECT_EQ(Bytes(s), "line\r\n42-x 002.5\r\n");
  MemStream big;
  const std::string long_text(5000, 'w');
  big.Printf("%s", long_text.c_str());
  EXPECT_EQ(big.Size(), 4095u);
  MemStream exact;
  exact.TxtPrintf("%s", std::string(4095, 'e').c_str());
  EXPECT_EQ(exact.Size(), 4097u);
}

// The view moves across separate page buffers.
TEST(PagedStreamTest, ValuesStraddlePages) {
  PagedStream s(16);
  s.Write("0123456789ABC", 13);
  s << 0x1122334455667788LL << 0x0A0B0C0DL << "text across the page boundary";
  EXPECT_EQ(s.Size(), 13u + 8u + 4u + 30u);
  EXPECT_GT(s.updates, 2);
  s.Seek(0);
  char head[13];
  long long ll = 0;
  long l = 0;
  std::string text;
  s.Read(head, 13) >> ll >> l >> text;
  EXPECT_EQ(std::string(head, 13), "0123456789ABC");
  EXPECT_EQ(ll, 0x1122334455667788LL);
  EXPECT_EQ(l, 0x0A0B0C0DL);
  EXPECT_EQ(text, "text across the page boundary");
  char more;
  ExpectError288([&] { s.Read(&more, 1); });

  s.Seek(14);  // another page: Seek goes through Update
  EXPECT_EQ(s.CurPos(), 14u);
  EXPECT_EQ(s.PeekChar(), static_cast<char>(0x77));
  s.Seek(30);
  s.Fill('=', 20);
  EXPECT_EQ(s.Content().substr(28), "xt" + std::string(20, '=') + "ndary");
}

TEST(PagedStreamTest, LinesSearchAndComparisonAcrossPages) {
  const std::string content = "first line is long\r\nsecond\r\n\r\n" + std::string(40, ' ') + "*";
  PagedStream s(8, content);
  EXPECT_EQ(Lines(s, 80),
            (std::vector<std::string>{"first line is long", "second", "", std::string(40, ' ') + "*"}));
  s.Seek(0);
  ASSERT_TRUE(s.FindChar('*', 1000, true));
  EXPECT_EQ(s.CurPos(), content.size() - 1);
  s.Seek(30);
  ASSERT_TRUE(s.FindChar(' ', 1000, false));
  EXPECT_EQ(s.CurPos(), content.size() - 1);

  MemStream flat;
  flat.Write(content.data(), static_cast<unsigned>(content.size()));
  s.Seek(3);
  EXPECT_EQ(s.Compare(flat), 0);
  EXPECT_EQ(s.CurPos(), 3u);
  flat.Seek(content.size() - 1);
  flat << 'a';  // in place of '*'
  EXPECT_EQ(s.Compare(flat), -1);
  EXPECT_EQ(flat.Compare(s), 1);

  MemStream copy;
  s.Seek(0);
  copy << s;
  EXPECT_EQ(Bytes(copy), content);
  PagedStream back(5);
  copy.Seek(0);
  back.Write(copy, 25);
  copy.Seek(0);
  copy >> back;  // the rest: everything once more
  EXPECT_EQ(back.Content(), content.substr(0, 25) + content);
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
