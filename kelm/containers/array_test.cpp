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

using Ints = std::vector<std::int32_t>;

std::string MessageOf(const Exception& e) { return static_cast<const char*>(e.Description()); }

template <class F>
std::string ErrorOf(F&& f) {
  try {
    f();
  } catch (const Exception& e) {
    return MessageOf(e);
  }
  return "(no error)";
}

Ints Longs(const Array& a) {
  Ints v(a.Count());
  if (!v.empty()) std::memcpy(v.data(), a.GetBuf(), v.size() * 4);
  return v;
}

std::vector<short> Shorts(const Arr<short>& a) { return {a.GetBuf(), a.GetBuf() + a.Count()}; }

TEST(ArrayTest, CapacityChoiceAndGrowthRule) {
  EXPECT_EQ(Array(2, 0).MaxCount(), 32);
  EXPECT_EQ(Array(8, 0).MaxCount(), 10);

  Array a(4, 10);
  const std::int32_t v = 7;
  for (int i = 0; i < 11; ++i) a.Ins(&v);
  EXPECT_EQ(a.MaxCount(), 15);
  const Ints block(50, 1);
  a.InsArray(block.data(), 50);
  EXPECT_EQ(a.MaxCount(), 65);  // at least the items needed

  // Growth is capped at 100000 items a step.
  Array big(1, 300000);
  big.Fill('x', 300000);
  big.Ins("y");
  EXPECT_EQ(big.MaxCount(), 400000);
  EXPECT_EQ(static_cast<char*>(big.GetBuf())[300000], 'y');

  // SetBuf makes the block big enough but keeps the recorded capacity; the
  // next growth starts from it and still leaves room for the items.
  Array b(4, 10);
  const Ints items(25, 3);
  b.SetBuf(items.data(), 25);
  EXPECT_EQ(b.MaxCount(), 10);
  b.Ins(&items[0]);
  EXPECT_EQ(b.MaxCount(), 26);
}

TEST(ArrayTest, InsertFindRemoveMove) {
  ArrLong a(0);
  for (Long32 v : {10, 20, 30}) a.Ins(&v);
  const Long32 x = 99, y = 5;
  EXPECT_EQ(a.Ins(&x, -5), 3);  // outside: appended
  EXPECT_EQ(a.Ins(&x, a.Count() + 3), 4);
  EXPECT_EQ(a.Ins(&y, 1), 1);
  EXPECT_EQ(Longs(a), (Ints{10, 5, 20, 30, 99, 99}));
  EXPECT_EQ(a.Find(99, 5), 5);
  EXPECT_EQ(a.Num(a.FindLong(30)), 3);

  Arr<short> s(0);
  for (short v : {1, 2, 3, 4, 5}) s << v;
  EXPECT_TRUE(s.Move(0, 3));
  EXPECT_TRUE(s.Move(4, 0));
  EXPECT_FALSE(s.Move(0, 5));
  EXPECT_EQ(Shorts(s), (std::vector<short>{5, 2, 3, 4, 1}));
  EXPECT_FALSE(s.Remove(5));
  EXPECT_TRUE(s.Remove(4) && s.Remove(0));
  short out = 0;
  EXPECT_FALSE(s.Get(&out, 3));
  EXPECT_EQ(s.Repl(9, 3), -1);
  EXPECT_EQ(s.Repl(9, 0), 0);
  EXPECT_EQ(Shorts(s), (std::vector<short>{9, 3, 4}));
  EXPECT_EQ(ErrorOf([&] { s[3]; }), "Выход за пределы массива!");
  EXPECT_THROW(s[-1], Exception);
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
  EXPECT_EQ(Longs(b), (Ints{1, 2, 3, 4, 1, 2, 3, 4}));

  SortArray sorted(4, 4, saLONG | saDUPLICATE, 3);
  for (std::int32_t v : {1, 3, 5}) sorted.Ins(&v);
  EXPECT_EQ(sorted.Ins(sorted[2]), 2);
  EXPECT_EQ(sorted.Ins(sorted[0]), 0);
  EXPECT_EQ(Longs(sorted), (Ints{1, 1, 3, 5, 5}));
}

TEST(ArrayTest, CopiesAssignmentAndCapacityRules) {
  ArrLong a(100);
  for (Long32 v : {1, 2, 3}) a.Ins(&v);
  Array copy(a);
  EXPECT_EQ(copy.MaxCount(), 3);
  EXPECT_EQ(Array(ArrLong(100)).MaxCount(), 16);
  Array target(4, 1);
  target = a;
  EXPECT_EQ(Longs(target), Longs(copy));

  Array shorts(2, 0);
  EXPECT_EQ(ErrorOf([&] { shorts = a; }),
            "Произошла неожидаемая ошибка в класcе \"Array\".\nБудьте добры, зафиксируйте "
            "последовательность действий,\nприведших к этой ошибке, и сообщите разработчикам.");
  EXPECT_THROW(Array(8, 1).Copy(a), GorseCodeException);

  EXPECT_FALSE(a.SetMaxCount(2));
  void* block = a.GetBuf();
  EXPECT_TRUE(a.SetMaxCount(0));
  EXPECT_EQ(a.Count() + a.MaxCount(), 0);
  EXPECT_EQ(a.GetBuf(), block);
  const Long32 v = 4;
  a.Ins(&v);  // grows from nothing
  EXPECT_EQ(a.MaxCount(), 1);
  EXPECT_TRUE(a.Fill('\x01', 2));
  EXPECT_EQ(Longs(a), (Ints{0x01010101, 0x01010101}));

  // Byte counts beyond 32 bits are failed allocations, and keep the items.
  EXPECT_EQ(ErrorOf([] { Array huge(4, 0x40000000); }),
            "Невозможно распределить массив размером 2147483647байт!");
  EXPECT_EQ(ErrorOf([&] { a.SetMaxCount(0x40000000); }),
            "Невозможно выделить память размером 2147483647байт (2147483647*1байт)!");
  EXPECT_EQ(a.GetLong(1), 0x01010101);
}

TEST(ArrayTest, StreamFormIsTheCountAndTheRawItems) {
  Arr<short> a(0);
  for (short v : {1, -2, 0x0304}) a << v;
  MemStream s;
  s << a;
  ASSERT_EQ(s.Size(), 10u);
  EXPECT_EQ(std::memcmp(s.GetBuf() - 10, "\3\0\0\0\1\0\xFE\xFF\4\3", 10), 0);
  s.Seek(0);
  Arr<short> back(1);
  back << static_cast<short>(9);
  s >> back;
  EXPECT_EQ(Shorts(back), Shorts(a));

  // A count that the stream cannot back is refused before anything changes.
  MemStream bad;
  bad << 1000L << 'x' << -1L;
  bad.Seek(0);
  EXPECT_THROW(bad >> back, GorseCodeException);
  EXPECT_EQ(back.Count(), 3);
  bad.Seek(5);
  EXPECT_THROW(bad >> back, GorseCodeException);
}

TEST(SortArrayTest, KeySizeRulesAreReported) {
  EXPECT_EQ(ErrorOf([] { SortArray a(4, 0, saLONG, 0); }),
            "SortArray: опция saLONG подразумевает размер ключа 4 байта!\nТекущий размер: 0 байт.");
  EXPECT_EQ(ErrorOf([] { SortArray a(4, 4, saWORD, 0); }),
            "SortArray: опция saWORD подразумевает максимальный размер ключа 2 байта!\nТекущий "
            "размер: 4 байт.");
  EXPECT_NO_THROW(SortArray(4, 4, saLONG, 0));
}

TEST(SortArrayTest, DuplicatesUnsortedModeAndSearch) {
  SortRecPos a(saDUPLICATE);
  for (Long32 v : {5, 3, 1, 3}) a.Ins(v);
  EXPECT_EQ(a.Ins(3), 1);  // in front of the equal keys
  EXPECT_EQ(Longs(a), (Ints{1, 3, 3, 3, 5}));
  EXPECT_EQ(a.Find(3), 1);
  int pos = -7;
  EXPECT_FALSE(a.Find(4, pos));
  EXPECT_EQ(pos, 4);
  EXPECT_FALSE(a.Find(9, pos));
  EXPECT_EQ(pos, 5);

  SortRecPos unique(0);
  for (Long32 v : {4, 2, 8}) unique.Ins(v);
  EXPECT_EQ(unique.Ins(2), -1);
  unique.SortOff();
  EXPECT_EQ(unique.Ins(1), -1);
  EXPECT_EQ(unique.Find(4), -1);
  unique.SortOn();
  EXPECT_EQ(unique.Find(4), 1);

  SortRecPos d(saLONG | saDUPLICATE | saHEAPSORT);
  d.SortOff();
  for (Long32 v : {9, -3, 7, 0}) d.Ins(v);
  d.SortOn();
  EXPECT_EQ(Longs(d), (Ints{-3, 0, 7, 9}));
  SortRecPos one(saDUPLICATE);
  one.Ins(1);
  one.SortOff();
  one.Sort2();  // fewer than two items: the flag stays
  EXPECT_NE(one.Options() & saUNSORTED, 0);
  one.Sort();
  EXPECT_EQ(one.Options() & saUNSORTED, 0);
}

// Keys sorted for every key rule, both sorts, and inputs that defeat a
// naive pivot.
TEST(SortArrayTest, BothSortsOrderEveryKeyRule) {
  // `count` items of `size` bytes, keys of `key` bytes, sorted.
  const auto sorted = [](int size, int key, int options, const void* items, int count, bool heap) {
    SortArray a(size, key, options, 0);
    a.SetBuf(items, count);
    heap ? a.Sort2() : a.Sort();
    const auto* p = static_cast<const std::int32_t*>(a.GetBuf());
    return Ints(p, p + count * size / 4);
  };
  std::mt19937 rng(42);
  Ints random(5000);
  for (auto& v : random) v = static_cast<std::int32_t>(rng());
  std::vector<Ints> inputs = {random, random, random, Ints(300, 7)};
  std::sort(inputs[1].begin(), inputs[1].end());
  std::sort(inputs[2].rbegin(), inputs[2].rend());
  for (const auto& input : inputs) {
    auto expected = input;
    std::sort(expected.begin(), expected.end());
    for (bool heap : {false, true}) {
      EXPECT_EQ(sorted(4, 4, saLONG | saDUPLICATE, input.data(), static_cast<int>(input.size()), heap), expected) << heap;
    }
  }

  // Unsigned 16-bit keys in 4-byte items; memcmp keys over 2 of 4 bytes.
  const std::uint32_t items[] = {0x0001FFFF, 0x00020001, 0xFFFF8000};
  EXPECT_EQ(sorted(4, 2, saWORD | saDUPLICATE, items, 3, false),
            (Ints{0x00020001, static_cast<std::int32_t>(0xFFFF8000), 0x0001FFFF}));
  EXPECT_EQ(sorted(4, 2, saDUPLICATE, items, 3, false),
            (Ints{static_cast<std::int32_t>(0xFFFF8000), 0x00020001, 0x0001FFFF}));

  // 8-byte items under saLONG: the heap sort exchanges the first 4 bytes
  // only, as the library has always done; the quicksort moves whole items.
  const std::int32_t pairs[] = {3, 30, 1, 10, 2, 20};
  EXPECT_EQ(sorted(8, 4, saLONG, pairs, 3, true), (Ints{1, 30, 2, 10, 3, 20}));
  EXPECT_EQ(sorted(8, 4, saLONG, pairs, 3, false), (Ints{1, 10, 2, 20, 3, 30}));
}

TEST(SortArrayTest, ReplPrefixSearchAndShrink) {
  SortArray a(4, 0, 0, 0);
  for (const char* s : {"abcd", "abzz", "bbbb", "cccc"}) a.Ins(s);
  EXPECT_EQ(a.AsFind("abxx", 2), 0);
  EXPECT_EQ(a.AsFind("abzq", 3), 1);
  EXPECT_EQ(a.Find("abzq"), -1);  // the key size is back to 4

  EXPECT_EQ(a.Repl("dddd", 0), 3);
  EXPECT_EQ(a.Repl("bbbb", 0), -1);  // refused: item 0 stays removed
  EXPECT_EQ(a.Count(), 3);
  a.Shrink(2);
  EXPECT_EQ(a.ItemSize(), 2);
  EXPECT_EQ(std::string(static_cast<char*>(a.GetBuf()), 6), "bbccdd");
}

}  // namespace
