#include "kelm/text/string.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// The heap block's usable size: exact on Windows, at least the request with glibc.
void ExpectBlock(void* p, std::size_t requested) {
#ifdef _WIN32
  EXPECT_EQ(_msize(p), requested);
#else
  EXPECT_GE(malloc_usable_size(p), requested);
#endif
}

TEST(StringTest, SharedEmptyTextCostsNothing) {
  String a, b;
  EXPECT_EQ(static_cast<char*>(a), static_cast<char*>(b));
  char* got = a.Get();
  EXPECT_STREQ(got, "");
  EXPECT_NE(got, static_cast<char*>(b));
  std::free(got);
  String from_empty("");
  EXPECT_EQ(static_cast<char*>(from_empty), static_cast<char*>(b));
}

TEST(StringTest, AllocationRule) {
  String s;
  s = "abc";
  char* block = s;
  ExpectBlock(block, 12);  // the 12-byte minimum
  s = "abcdefghij";        // 11 bytes: the block is reused without realloc
  EXPECT_EQ(static_cast<char*>(s), block);
  s = "";                  // emptied in its own block
  EXPECT_EQ(static_cast<char*>(s), block);
  EXPECT_TRUE(s.IsEmpty());
  EXPECT_EQ(s.Set("a text of 30 characters.......") , 30);
  ExpectBlock(static_cast<char*>(s), 31);
  EXPECT_EQ(s.Set(static_cast<char*>(s)), 30);  // its own pointer: nothing changes
  EXPECT_EQ(s, "a text of 30 characters.......");

  char* dup = StrDup("ab");
  ExpectBlock(dup, 12);
  std::free(dup);
  EXPECT_EQ(StrDupNew(nullptr), nullptr);
}

TEST(StringTest, FillAndBoundedAssign) {
  String twenty('y', 20);
  EXPECT_EQ(twenty.Len(), 20);
  ExpectBlock(static_cast<char*>(twenty), 21);
  EXPECT_EQ(String('z', -4).Len(), 0);

  String part("abcdef", 3);
  EXPECT_EQ(part, "abc");
  part("anything", 0);
  EXPECT_TRUE(part.IsEmpty());
  String own("abcdef");
  own(static_cast<char*>(own), 2);  // its own text is cut in place
  EXPECT_EQ(own, "ab");
  String tail("0123456789abcdefghij");
  tail = static_cast<char*>(tail) + 15;  // a part of its own text
  EXPECT_EQ(tail, "fghij");
}

TEST(StringTest, AppendsAndCopies) {
  String s;
  s += "Привет";
  s += ',';
  s += '\0';
  s << " " << String("мир") << '!';
  EXPECT_EQ(s, "Привет, мир!");
  s += static_cast<const char*>(nullptr);
  s += static_cast<char*>(s) + 8;  // its own tail
  EXPECT_EQ(s, "Привет, мир!мир!");
  String copy(s);
  EXPECT_NE(static_cast<char*>(copy), static_cast<char*>(s));
  EXPECT_TRUE(copy == s);

  String other("other");
  s.Swap(other);
  EXPECT_EQ(s, "other");
  char* taken = other.Get();
  EXPECT_STREQ(taken, "Привет, мир!мир!");
  std::free(taken);
  EXPECT_TRUE(other.IsEmpty());
}

TEST(StringTest, DeletesAndTrims) {
  String s("a-b--c");
  s.Del('-');
  EXPECT_EQ(s, "abc");
  String t(" \t\x01 text \r\n");
  t.RemoveTailSpaces();
  EXPECT_EQ(t, " \t\x01 text");
  t.RemoveSpaces();
  EXPECT_EQ(t, "text");
  String blanks("   ");
  char* block = blanks;
  blanks.RemoveSpaces();
  EXPECT_TRUE(blanks.IsEmpty());
  EXPECT_EQ(static_cast<char*>(blanks), block);
}

TEST(StringTest, ComparisonsAreUnsignedBytes) {
  String ya("яблоко");
  EXPECT_TRUE(ya > "zebra");
  EXPECT_TRUE(String("ab") < "abc");
  EXPECT_TRUE(String("Abc") != "abc");  // case-sensitive
  EXPECT_TRUE(String() == static_cast<const char*>(nullptr));
}

const unsigned short kAbc[] = {'a', 'b', 'c', 0};

// The units of a WString as a narrow text.
std::string Narrow(const WString& w) {
  std::string out;
  for (const unsigned short* p = w; *p != 0; ++p) out += static_cast<char>(*p);
  return out;
}

TEST(WStringTest, SetLikeInsertDeleteAndOwnTexts) {
  WString w(kAbc);
  const unsigned short cx[] = {'c', 'x', 0};
  w.Ins(cx);  // in front, as a set: no unit twice
  EXPECT_EQ(Narrow(w), "cxab");
  const unsigned short set[] = {'x', 'b', 0};
  w.Del(set);
  EXPECT_EQ(Narrow(w), "ca");
  w.Ins(static_cast<const unsigned short*>(w));  // itself: unchanged
  EXPECT_EQ(w.Find('a'), static_cast<const unsigned short*>(w) + 1);
  w += static_cast<const unsigned short*>(w);
  EXPECT_EQ(Narrow(w), "caca");
  w = static_cast<const unsigned short*>(w) + 1;
  EXPECT_EQ(Narrow(w), "aca");
  const unsigned short high[] = {0xFFFF, 0};  // unsigned units
  EXPECT_EQ(w < high, 1);
  w.Clear();
  EXPECT_EQ(w == static_cast<const unsigned short*>(nullptr), 1);
}

TEST(BufferTest, LengthIsBoundedTo255) {
  std::string data(300, 'q');
  Buffer big(data.data(), 300);
  EXPECT_EQ(big.Len(), 255);
  EXPECT_EQ(std::memcmp(big.Data(), data.data(), 255), 0);
  Buffer none(data.data(), -5);
  EXPECT_EQ(none.Data(), nullptr);
  Buffer copy(big);
  EXPECT_NE(copy.Data(), big.Data());
  copy = none;
  EXPECT_EQ(copy.Data(), nullptr);
  big(static_cast<const char*>(big.Data()) + 5, 10);  // a part of its own data
  EXPECT_EQ(big.Len(), 10);
  EXPECT_EQ(std::memcmp(big.Data(), data.data(), 10), 0);
}

}  // namespace
