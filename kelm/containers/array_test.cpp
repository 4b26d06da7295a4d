#include "kelm/containers/array.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kelm/frame/exceptions.h"
#include "kelm/streams/mem_stream.h"

namespace {

std::string MessageOf(const Exception& e) { return static_cast<const char*>(e.Description()); }

std::vector<std::int32_t> Longs(const Array& a) {
  std::vector<std::int32_t> v(a.Count());
  if (!v.empty()) std::memcpy(v.data(), a.GetBuf(), v.size() * 4);
  return v;
}

TEST(ArrayTest, CapacityChoiceAndGrowthRule) {
  EXPECT_EQ(Array(2, 0).MaxCount(), 32);
  EXPECT_EQ(Array(8, 0).MaxCount(), 10);
  EXPECT_EQ(Array(100, 0).MaxCount(), 10);

  Array a(4, 10);
  const std::int32_t v = 7;
  for (int i = 0; i < 10; ++i) a.Ins(&v);
  EXPECT_EQ(a.MaxCount(), 10);
  a.Ins(&v);
  EXPECT_EQ(a.MaxCount(), 15);

  Array b(4, 10);
  std::vector<std::int32_t> block(50, 1);
  for (int i = 0; i < 10; ++i) b.Ins(&v);
  b.InsArray(block.data(), 50);
  EXPECT_EQ(b.MaxCount(), 60);
  EXPECT_EQ(b.Count(), 60);

  // Growth is capped at 100000 items a step.
  Array big(1, 300000);
  big.Fill('x', 300000);
  big.Ins("y");
  EXPECT_EQ(big.MaxCount(), 400000);
  EXPECT_EQ(static_cast<char*>(big.GetBuf())[300000], 'y');
}

TEST(ArrayTest, PositionsOutsideTheArrayAppend) {
  ArrLong a(0);
  for (Long32 v : {10, 20, 30}) a.Ins(&v);
  const Long32 x = 99;
  EXPECT_EQ(a.Ins(&x, -5), 3);
  EXPECT_EQ(a.Ins(&x, a.Count() + 3), 4);
  const Long32 y = 5;
  EXPECT_EQ(a.Ins(&y, 1), 1);
  EXPECT_EQ(Longs(a), (std::vector<std::int32_t>{10, 5, 20, 30, 99, 99}));
  EXPECT_EQ(a.Find(99), 4);
  EXPECT_EQ(a.Find(99, 5), 5);
  EXPECT_EQ(a.Find(99, 6), -1);
  EXPECT_EQ(a.Find(1234), -1);
  ASSERT_NE(a.FindLong(30), nullptr);
  EXPECT_EQ(a.Num(a.FindLong(30)), 3);
  EXPECT_EQ(a.GetLong(2), 20);
}

TEST(ArrayTest, ItemsOfTheArrayItselfSurviveGrowth) {
  // Full arrays, so that every insertion moves the block.
  Array a(8, 10);
  for (char c = 'a'; c < 'k'; ++c) a.Ins(std::string(8, c).data());
  a.Ins(a[0], 0);
  EXPECT_EQ(std::string(static_cast<char*>(a[1]), 8), "aaaaaaaa");
  EXPECT_EQ(std::string(static_cast<char*>(a[0]), 8), "aaaaaaaa");
  ArrLong b(4);
  for (Long32 v : {1, 2, 3, 4}) b.Ins(&v);
  b.InsArray(b.GetBuf(), 4);
  EXPECT_EQ(Longs(b), (std::vector<std::int32_t>{1, 2, 3, 4, 1, 2, 3, 4}));

  SortArray sorted(4, 4, saLONG | saDUPLICATE, 3);
  for (std::int32_t v : {1, 3, 5}) sorted.Ins(&v);
  EXPECT_EQ(sorted.Ins(sorted[2]), 2);
  EXPECT_EQ(sorted.Ins(sorted[0]), 0);
  EXPECT_EQ(Longs(sorted), (std::vector<std::int32_t>{1, 1, 3, 5, 5}));
}

TEST(ArrayTest, RemoveMoveGetReplAtTheEdges) {
  Arr<short> a(0);
  for (short v : {1, 2, 3, 4, 5}) a << v;
  EXPECT_TRUE(a.Move(0, 3));
  EXPECT_EQ(std::vector<short>(a.GetBuf(), a.GetBuf() + 5), (std::vector<short>{2, 3, 4, 1, 5}));
  EXPECT_TRUE(a.Move(4, 0));
  EXPECT_EQ(std::vector<short>(a.GetBuf(), a.GetBuf() + 5), (std::vector<short>{5, 2, 3, 4, 1}));
  EXPECT_FALSE(a.Move(0, 5));
  EXPECT_FALSE(a.Move(-1, 0));
  EXPECT_TRUE(a.Move(2, 2));

  EXPECT_FALSE(a.Remove(5));
  EXPECT_FALSE(a.Remove(-1));
  EXPECT_TRUE(a.Remove(4));
  EXPECT_TRUE(a.Remove(0));
  EXPECT_EQ(a.Count(), 3);
  EXPECT_EQ(a[0], 2);

  short out = 0;
  EXPECT_FALSE(a.Get(&out, 3));
  EXPECT_TRUE(a.Get(&out, 2));
  EXPECT_EQ(out, 4);
  EXPECT_EQ(a.Repl(9, 3), -1);
  EXPECT_EQ(a.Repl(9, 0), 0);
  EXPECT_EQ(a.Find(9), 0);

  try {
    a[3];
    FAIL() << "no report for an index past the end";
  } catch (const Exception& e) {
    EXPECT_EQ(MessageOf(e), "Выход за пределы массива!");
  }
  EXPECT_THROW(a[-1], Exception);
}

TEST(ArrayTest, CopiesAssignmentAndCapacityRules) {
  ArrLong a(100);
  for (Long32 v : {1, 2, 3}) a.Ins(&v);
  Array copy(a);
  EXPECT_EQ(copy.MaxCount(), 3);
  EXPECT_EQ(Longs(copy), Longs(a));
  Array emptyCopy{ArrLong(100)};
  EXPECT_EQ(emptyCopy.MaxCount(), 16);

  Array target(4, 1);
  target = a;
  EXPECT_EQ(Longs(target), Longs(a));

  Array shorts(2, 0);
  try {
    shorts = a;
    FAIL() << "item sizes differ";
  } catch (const GorseCodeException& e) {
    EXPECT_EQ(e.Code(), 4614);
    EXPECT_EQ(MessageOf(e),
              "Произошла неожидаемая ошибка в класcе \"Array\".\nБудьте добры, зафиксируйте "
              "последовательность действий,\nприведших к этой ошибке, и сообщите разработчикам.");
  }
  EXPECT_EQ(shorts.Count(), 0);

  EXPECT_FALSE(a.SetMaxCount(2));
  EXPECT_EQ(a.MaxCount(), 100);
  void* block = a.GetBuf();
  EXPECT_TRUE(a.SetMaxCount(0));
  EXPECT_EQ(a.Count(), 0);
  EXPECT_EQ(a.MaxCount(), 0);
  EXPECT_EQ(a.GetBuf(), block);
  const Long32 v = 4;
  a.Ins(&v);  // grows from nothing
  EXPECT_EQ(a.MaxCount(), 1);
}

TEST(ArrayTest, SetBufKeepsTheRecordedCapacity) {
  Array a(4, 10);
  std::vector<std::int32_t> items(25);
  for (int i = 0; i < 25; ++i) items[i] = i;
  a.SetBuf(items.data(), 25);
  EXPECT_EQ(a.Count(), 25);
  EXPECT_EQ(a.MaxCount(), 10);
  // The next growth is computed from the old capacity, but never leaves
  // less room than the items need.
  a.Ins(&items[0]);
  EXPECT_EQ(a.MaxCount(), 26);
  EXPECT_EQ(Longs(a)[24], 24);

  Array copy(4, 1);
  copy.Copy(a);
  EXPECT_EQ(Longs(copy), Longs(a));
  Array wider(8, 1);
  EXPECT_THROW(wider.Copy(a), GorseCodeException);

  EXPECT_TRUE(a.Fill('\x01', 3));
  EXPECT_EQ(Longs(a), (std::vector<std::int32_t>{0x01010101, 0x01010101, 0x01010101}));
}

TEST(ArrayTest, AllocationFailuresAreReportedAndKeepTheItems) {
  // Byte counts beyond 32 bits are refused as failed allocations.
  try {
    Array huge(4, 0x40000000);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_EQ(MessageOf(e), "Невозможно распределить массив размером 2147483647байт!");
  }
  ArrLong a(2);
  const Long32 v = 5;
  a.Ins(&v);
  try {
    a.SetMaxCount(0x40000000);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_EQ(MessageOf(e), "Невозможно выделить память размером 2147483647байт (2147483647*1байт)!");
  }
  EXPECT_EQ(a.MaxCount(), 2);
  EXPECT_EQ(a.GetLong(0), 5);
}

TEST(ArrayTest, StreamFormIsTheCountAndTheRawItems) {
  Arr<short> a(0);
  for (short v : {1, -2, 0x0304}) a << v;
  MemStream s;
  s << a;
  ASSERT_EQ(s.Size(), 10u);
  const unsigned char expected[] = {3, 0, 0, 0, 1, 0, 0xFE, 0xFF, 4, 3};
  EXPECT_EQ(std::memcmp(s.GetBuf() - s.CurPos(), expected, sizeof expected), 0);

  s.Seek(0);
  Arr<short> back(1);
  const short stale = 9;
  back << stale;
  s >> back;
  ASSERT_EQ(back.Count(), 3);
  EXPECT_EQ(back[1], -2);
  EXPECT_EQ(back[2], 0x0304);

  // A count that the stream cannot back is refused before anything changes.
  MemStream bad;
  bad << 1000L << 'x';
  bad.Seek(0);
  EXPECT_THROW(bad >> back, GorseCodeException);
  EXPECT_EQ(back.Count(), 3);
  MemStream negative;
  negative << -1L;
  negative.Seek(0);
  EXPECT_THROW(negative >> back, GorseCodeException);
}

TEST(SortArrayTest, KeySizeRulesAreReported) {
  try {
    SortArray a(4, 0, saLONG, 0);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_EQ(MessageOf(e),
              "SortArray: опция saLONG подразумевает размер ключа 4 байта!\nТекущий размер: 0 байт.");
  }
  try {
    SortArray a(4, 4, saWORD, 0);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_EQ(MessageOf(e),
              "SortArray: опция saWORD подразумевает максимальный размер ключа 2 байта!\nТекущий "
              "размер: 4 байт.");
  }
  EXPECT_NO_THROW(SortArray(4, 4, saLONG, 0));
  EXPECT_NO_THROW(SortArray(6, 2, saWORD, 0));
}

TEST(SortArrayTest, DuplicatesGoInFrontAndSearchFindsTheFirst) {
  SortRecPos a(saDUPLICATE);
  for (Long32 v : {5, 3, 1, 3}) a.Ins(v);
  EXPECT_EQ(Longs(a), (std::vector<std::int32_t>{1, 3, 3, 5}));
  const Long32 marker = 3;
  EXPECT_EQ(a.Ins(marker), 1);
  EXPECT_EQ(a.Find(3), 1);
  int pos = -7;
  EXPECT_FALSE(a.Find(4, pos));
  EXPECT_EQ(pos, 4);
  EXPECT_FALSE(a.Find(0, pos));
  EXPECT_EQ(pos, 0);
  EXPECT_FALSE(a.Find(9, pos));
  EXPECT_EQ(pos, 5);
  EXPECT_TRUE(a.Find(5, pos));
  EXPECT_EQ(pos, 4);

  SortRecPos empty(0);
  EXPECT_FALSE(empty.Find(1, pos));
  EXPECT_EQ(pos, 0);

  SortRecPos unique(0);
  EXPECT_EQ(unique.Ins(2), 0);
  EXPECT_EQ(unique.Ins(2), -1);
  EXPECT_EQ(unique.Count(), 1);
}

TEST(SortArrayTest, UnsortedModeRefusesAndSortOnRestoresOrder) {
  SortRecPos a(0);
  for (Long32 v : {4, 2, 8}) a.Ins(v);
  a.SortOff();
  EXPECT_EQ(a.Ins(1), -1);
  EXPECT_EQ(a.Count(), 3);
  EXPECT_EQ(a.Find(4), -1);
  a.SortOn();
  EXPECT_EQ(a.Find(4), 1);

  SortRecPos d(saLONG | saDUPLICATE | saHEAPSORT);
  d.SortOff();
  for (Long32 v : {9, -3, 7, 7, 0}) EXPECT_GE(d.Ins(v), 0);
  d.SortOn();
  EXPECT_EQ(Longs(d), (std::vector<std::int32_t>{-3, 0, 7, 7, 9}));
  EXPECT_EQ(d.Options() & saUNSORTED, 0);

  SortRecPos one(saDUPLICATE);
  one.Ins(1);
  one.SortOff();
  one.Sort2();
  EXPECT_NE(one.Options() & saUNSORTED, 0);
  one.Sort();
  EXPECT_EQ(one.Options() & saUNSORTED, 0);
}

// Keys sorted for every key rule, both sorts, and inputs that defeat a
// naive pivot.
TEST(SortArrayTest, BothSortsOrderEveryKeyRule) {
  std::mt19937 rng(42);
  std::vector<std::int32_t> random(5000);
  for (auto& v : random) v = static_cast<std::int32_t>(rng());
  std::vector<std::vector<std::int32_t>> inputs = {random, random, random, std::vector<std::int32_t>(300, 7)};
  std::sort(inputs[1].begin(), inputs[1].end());
  std::sort(inputs[2].rbegin(), inputs[2].rend());
  for (const auto& input : inputs) {
    for (bool heap : {false, true}) {
      SortArray a(4, 4, saLONG | saDUPLICATE, 0);
      a.SetBuf(input.data(), static_cast<int>(input.size()));
      heap ? a.Sort2() : a.Sort();
      auto expected = input;
      std::sort(expected.begin(), expected.end());
      EXPECT_EQ(Longs(a), expected) << (heap ? "heap" : "quick");
    }
  }

  // Unsigned 16-bit keys in 4-byte items; memcmp keys over 2 of 6 bytes.
  SortArray words(4, 2, saWORD | saDUPLICATE, 0);
  SortArray bytes(6, 2, saDUPLICATE, 0);
  for (int i = 0; i < 2000; ++i) {
    const std::uint32_t w = rng();
    words.Array::Ins(&w);
    unsigned char item[6];
    for (auto& b : item) b = static_cast<unsigned char>(rng());
    bytes.Array::Ins(item);
  }
  words.Sort();
  bytes.Sort();
  for (int i = 1; i < 2000; ++i) {
    std::uint16_t x, y;
    std::memcpy(&x, static_cast<char*>(words[i - 1]), 2);
    std::memcpy(&y, static_cast<char*>(words[i]), 2);
    ASSERT_LE(x, y);
    ASSERT_LE(std::memcmp(bytes[i - 1], bytes[i], 2), 0);
  }
}

TEST(SortArrayTest, HeapSortExchangesOnlyTheLongKey) {
  // 8-byte items under saLONG: the heap sort moves the first 4 bytes only,
  // as the library has always done; the quicksort moves whole items.
  struct Item {
    std::int32_t key;
    std::int32_t payload;
  };
  const Item items[] = {{3, 30}, {1, 10}, {2, 20}};
  SortArray heap(8, 4, saLONG, 0);
  heap.SetBuf(items, 3);
  heap.Sort2();
  SortArray quick(8, 4, saLONG, 0);
  quick.SetBuf(items, 3);
  quick.Sort();
  const auto* h = static_cast<const Item*>(heap.GetBuf());
  const auto* q = static_cast<const Item*>(quick.GetBuf());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(h[i].key, i + 1);
    EXPECT_EQ(h[i].payload, items[i].payload);
    EXPECT_EQ(q[i].key, i + 1);
    EXPECT_EQ(q[i].payload, (i + 1) * 10);
  }
}

TEST(SortArrayTest, ReplPrefixSearchAndShrink) {
  SortArray a(4, 0, 0, 0);
  for (const char* s : {"abcd", "abzz", "bbbb", "cccc"}) a.Ins(s);
  EXPECT_EQ(a.AsFind("abxx", 2), 0);
  EXPECT_EQ(a.AsFind("abzq", 3), 1);
  EXPECT_EQ(a.AsFind("abzq", 4), -1);
  EXPECT_EQ(a.Find("abzq"), -1);  // the key size is back to 4

  EXPECT_EQ(a.Repl("dddd", 0), 3);
  EXPECT_EQ(a.Repl("bbbb", 0), -1);  // refused: item 0 stays removed
  EXPECT_EQ(a.Count(), 3);
  EXPECT_EQ(a.Repl("zzzz", 7), -1);
  EXPECT_EQ(a.Count(), 3);

  a.Shrink(2);
  EXPECT_EQ(a.ItemSize(), 2);
  ASSERT_EQ(a.Count(), 3);
  EXPECT_EQ(std::string(static_cast<char*>(a.GetBuf()), 6), "bbccdd");
  a.Shrink(4);
  EXPECT_EQ(a.ItemSize(), 2);

  SortArr<Long32> typed(4, saLONG);
  typed << 5;
  typed << -5;
  EXPECT_EQ(typed[0], -5);
  EXPECT_EQ(typed.Find(5), 1);
}

}  // namespace
