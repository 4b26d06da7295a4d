#include "kelm/streams/md5.h"

#include <gtest/gtest.h>

#include <string>

#include "kelm/streams/mem_stream.h"
#include "kelm/streams/stream_hash.h"
#include "kelm/streams/testing/paged_stream.h"

namespace {

std::string Hex(const unsigned char digest[16]) {
  char hex[33];
  CvtHex(reinterpret_cast<char*>(const_cast<unsigned char*>(digest)), hex);
  return hex;
}

// Fed in pieces of `step` bytes.
std::string Md5(const std::string& s, std::size_t step) {
  MD5_CTX context;
  MD5Init(&context);
  for (std::size_t at = 0; at < s.size(); at += step) {
    const std::size_t n = std::min(step, s.size() - at);
    MD5Update(&context, reinterpret_cast<const unsigned char*>(s.data() + at), static_cast<unsigned>(n));
  }
  unsigned char digest[16];
  MD5Final(digest, &context);
  return Hex(digest);
}

TEST(MD5Test, KnownDigestsInAnyPiecesAndAtThePaddingBoundaries) {
  for (std::size_t step : {1u, 3u, 64u, 1000u}) {
    EXPECT_EQ(Md5("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", step),
              "d174ab98d277d9f5a5611c2c9f419d9f");
  }
  // 55, 56 and 64 bytes put the length into the same or the next block.
  const char* padded[] = {"ef1772b6dff9a122358552954ad0df65", "3b0c8ac703f828b04c6c197006d17218",
                          "014842d480b571495a4a0363793f7367"};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Md5(std::string(i < 2 ? 55 + i : 64, 'a'), 7), padded[i]);
}

TEST(StreamHashTest, DigestOfAStreamKeepsItsPosition) {
  const std::string content = "12345678901234567890123456789012345678901234567890123456789012345678901234567890";
  kelm::testing::PagedStream paged(16, content);
  paged.Seek(5);
  StreamHash h;
  h.CalcHash(paged, 0);
  EXPECT_EQ(paged.CurPos(), 5u);
  char hex[33];
  h.GetHashHex(hex);
  EXPECT_STREQ(hex, "57edf4a22be3c955ac49da2e2107b67a");

  MemStream mem;
  mem.Write(content.data(), static_cast<unsigned>(content.size()));
  StreamHash tail;
  tail.CalcHash(mem, 70);
  tail.GetHashHex(hex);
  EXPECT_EQ(hex, Md5(content.substr(70), 64));
  for (long from : {80L, 5000L, -1L}) {
    tail.CalcHash(mem, from);
    tail.GetHashHex(hex);
    EXPECT_STREQ(hex, "d41d8cd98f00b204e9800998ecf8427e") << from;
  }
}

TEST(StreamHashTest, CompareAndTexts) {
  MemStream abc;
  abc.Write("abc", 3);
  StreamHash h;
  h.CalcHash(abc, 0);  // 900150983cd24fb0d6963f7d28e17f72
  // The words 0x98500190, 0xb04fd23c, 0x7d3f96d6, 0x727fe128 in decimal.
  TextBuffer<255> buf("leftover");
  EXPECT_STREQ(h.GetHashStr(buf), "2555380112295802118021013193821920983336");
  EXPECT_STREQ(h.GetHashHex(buf), "900150983cd24fb0d6963f7d28e17f72");
  StreamHash copy = h;
  StreamHash zero;
  EXPECT_EQ(h.Compare(copy), 0);
  EXPECT_EQ(zero.Compare(h), -1);
  char text[41];
  zero.GetHashStr(text);
  EXPECT_STREQ(text, "0000");
}

}  // namespace
