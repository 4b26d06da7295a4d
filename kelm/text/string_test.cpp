#include "kelm/text/string.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// The usable size of a heap block: exact on Windows, at least the request
// with glibc.
std::size_t BlockSize(const void* p) {
#ifdef _WIN32
  return _msize(const_cast<void*>(p));
#else
  return malloc_usable_size(const_cast<void*>(p));
#endif
}

void ExpectBlock(const void* p, std::size_t requested) {
#ifdef _WIN32
  EXPECT_EQ(BlockSize(p), requested);
#else
  EXPECT_GE(BlockSize(p), requested);
#endif
}

TEST(StringTest, SharedEmptyTextCostsNothing) {
  String a;
  String b;
  EXPECT_EQ(static_cast<char*>(a), static_cast<char*>(b));
  EXPECT_TRUE(a.IsEmpty());
  EXPECT_EQ(a.Len(), 0);
  a.Clear();
  EXPECT_EQ(static_cast<char*>(a), static_cast<char*>(b));
  char* got = a.Get();
  EXPECT_STREQ(got, "");
  EXPECT_NE(got, static_cast<char*>(b));
  std::free(got);
  EXPECT_EQ(static_cast<char*>(a), static_cast<char*>(b));
  String from_empty("");
  EXPECT_EQ(static_cast<char*>(from_empty), static_cast<char*>(b));
  String from_null(static_cast<const char*>(nullptr));
  EXPECT_TRUE(from_null.IsEmpty());
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
  EXPECT_EQ(StrDup(nullptr), nullptr);
  char* dup_new = StrDupNew("Строка");
  EXPECT_STREQ(dup_new, "Строка");
  delete[] dup_new;
  EXPECT_EQ(StrDupNew(nullptr), nullptr);
}

TEST(StringTest, FillAndBoundedAssign) {
  String three('x', 3);
  EXPECT_EQ(three, "xxx");
  ExpectBlock(static_cast<char*>(three), 12);
  String twenty('y', 20);
  EXPECT_EQ(twenty.Len(), 20);
  ExpectBlock(static_cast<char*>(twenty), 21);
  String none('z', -4);
  EXPECT_EQ(none.Len(), 0);

  String part("abcdef", 3);
  EXPECT_EQ(part, "abc");
  part("xy", 10);
  EXPECT_EQ(part, "xy");
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
  copy = s;
  EXPECT_EQ(copy, "Привет, мир!мир!");

  String other("other");
  s.Swap(other);
  EXPECT_EQ(s, "other");
  EXPECT_EQ(other, "Привет, мир!мир!");
  s.Swap(s);
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
  String empty;
  empty.RemoveSpaces();
  empty.Del('x');
  EXPECT_TRUE(empty.IsEmpty());
}

TEST(StringTest, ComparisonsAreUnsignedBytes) {
  String ya("яблоко");
  EXPECT_TRUE(ya > "zebra");
  EXPECT_TRUE(ya >= "zebra");
  EXPECT_FALSE(ya < "zebra");
  EXPECT_TRUE(String("abc") < "abd");
  EXPECT_TRUE(String("ab") < "abc");
  EXPECT_TRUE(String("abc") <= "abc");
  EXPECT_TRUE(String("Abc") != "abc");  // case-sensitive
  EXPECT_TRUE(String() == static_cast<const char*>(nullptr));
  EXPECT_TRUE(String("x") != String("y"));
}

const unsigned short kAbc[] = {'a', 'b', 'c', 0};

TEST(WStringTest, SetLikeInsertAndDelete) {
  WString w(kAbc);
  const unsigned short cx[] = {'c', 'x', 0};
  w.Ins(cx);
  const unsigned short expected[] = {'c', 'x', 'a', 'b', 0};
  EXPECT_EQ(w == expected, 1);
  w.Ins(static_cast<unsigned short>('b'));
  const unsigned short expected2[] = {'b', 'c', 'x', 'a', 0};
  EXPECT_EQ(w == expected2, 1);
  const unsigned short set[] = {'x', 'b', 0};
  w.Del(set);
  const unsigned short expected3[] = {'c', 'a', 0};
  EXPECT_EQ(w == expected3, 1);
  EXPECT_EQ(w.Len(), 2);
  w.Ins(static_cast<const unsigned short*>(w));  // itself: unchanged
  EXPECT_EQ(w == expected3, 1);
  EXPECT_EQ(w.Find('a'), static_cast<const unsigned short*>(w) + 1);
  EXPECT_EQ(w.Find('z'), nullptr);
}

TEST(WStringTest, AssignAppendCompare) {
  WString w;
  EXPECT_TRUE(w.IsEmpty());
  w += kAbc;
  w += static_cast<const unsigned short*>(w);
  const unsigned short twice[] = {'a', 'b', 'c', 'a', 'b', 'c', 0};
  EXPECT_EQ(w == twice, 1);
  WString copy(w);
  EXPECT_EQ(copy == w, 1);
  copy = kAbc;
  EXPECT_EQ(copy[2], 'c');
  const unsigned short high[] = {0xFFFF, 0};  // unsigned units
  EXPECT_EQ(copy < high, 1);
  EXPECT_EQ(copy > kAbc, 0);
  EXPECT_EQ(copy >= kAbc, 1);
  EXPECT_EQ(copy != kAbc, 0);
  copy = static_cast<const unsigned short*>(copy) + 1;
  const unsigned short bc[] = {'b', 'c', 0};
  EXPECT_EQ(copy == bc, 1);
  copy.Clear();
  EXPECT_EQ(copy == static_cast<const unsigned short*>(nullptr), 1);
}

TEST(BufferTest, LengthIsBoundedTo255) {
  std::string data(300, 'q');
  Buffer big(data.data(), 300);
  EXPECT_EQ(big.Len(), 255);
  EXPECT_EQ(std::memcmp(big.Data(), data.data(), 255), 0);
  Buffer none(data.data(), 0);
  EXPECT_EQ(none.Len(), 0);
  EXPECT_EQ(none.Data(), nullptr);
  Buffer negative(data.data(), -5);
  EXPECT_EQ(negative.Data(), nullptr);
  Buffer copy(big);
  EXPECT_NE(copy.Data(), big.Data());
  EXPECT_EQ(copy.Len(), 255);
  copy = none;
  EXPECT_EQ(copy.Data(), nullptr);
  big(static_cast<const char*>(big.Data()) + 5, 10);  // a part of its own data
  EXPECT_EQ(big.Len(), 10);
  EXPECT_EQ(std::memcmp(big.Data(), data.data(), 10), 0);
}

}  // namespace
