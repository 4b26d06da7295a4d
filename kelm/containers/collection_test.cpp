#include "kelm/containers/collection.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "kelm/frame/error_messager.h"
#include "kelm/frame/exceptions.h"
#include "kelm/streams/mem_stream.h"
#include "kelm/text/string.h"

namespace {

const char kDuplicate[] = "Не допускается вставка одинаковых записей.";

std::vector<std::string> Texts(const Collection& c) {
  std::vector<std::string> out;
  for (int i = 0; i < c.Count(); ++i) out.push_back(c[i] != nullptr ? c[i] : "<null>");
  return out;
}

// ErrorMsg keeps its text as the thread's last error when no policy is set.
class CollectionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ErrorMessager::Instance().Reset(nullptr);
    ErrorMessager::Instance().ClrLastError();
  }
  static std::string LastError() { return ErrorMessager::Instance().GetLastError(); }
};

// Every owned item is released exactly once: ASan reports a leak or a double
// free otherwise.
TEST_F(CollectionTest, OwnedItemsAreReleasedOnEveryPath) {
  Collection c(csOWNER);
  c << "a" << "b" << "c" << "d";
  EXPECT_TRUE(c.Remove(1));
  EXPECT_FALSE(c.Remove(9));
  EXPECT_EQ(c.Repl(StrDup("x"), 0), 0);
  EXPECT_EQ(c.Repl(StrDup("lost"), 3), -1);  // refused: released, not leaked
  EXPECT_EQ(Texts(c), (std::vector<std::string>{"x", "c", "d"}));
  EXPECT_NE(c.State() & csCHANGED, 0u);

  Collection copy(csOWNER);
  copy << "old";
  copy = c;  // copies
  EXPECT_NE(copy.Item(0), c.Item(0));
  EXPECT_TRUE(copy == c);

  // Emptying through SetMaxCount drops the items and says so.
  EXPECT_TRUE(copy.SetMaxCount(0));
  EXPECT_EQ(LastError(),
            "Произошла неожидаемая ошибка в класcе \"Collection::SetMaxCount\".\nБудьте добры, "
            "зафиксируйте последовательность действий,\nприведших к этой ошибке, и сообщите "
            "разработчикам.");
}

TEST_F(CollectionTest, SortedInsertionDuplicateAndReplaceRules) {
  SortCol refuse(csSORT | csOWNER);
  refuse << "d" << "b";
  EXPECT_EQ(refuse.Ins(StrDup("c")), 1);
  EXPECT_EQ(refuse.Ins(StrDup("d")), -1);  // released by the collection
  EXPECT_EQ(LastError(), kDuplicate);
  EXPECT_EQ(Texts(refuse), (std::vector<std::string>{"b", "c", "d"}));

  SortCol replace(csSORT | csREPLACE | csOWNER);
  replace << "b" << "d";
  char* newD = StrDup("d");
  EXPECT_EQ(replace.Ins(newD), 1);
  EXPECT_EQ(replace.Item(1), newD);

  char a[] = "a", b1[] = "b", b2[] = "b", c[] = "c", b3[] = "b";
  SortCol before(csSORT | csDUPLICATE);
  for (char* s : {c, b2, a, b1}) before.Ins(s);
  EXPECT_EQ(before.Ins(b3), 1);
  SortCol after(csSORT | csDUPLICATE | csINSLAST);
  for (char* s : {a, b1, b2, c}) after.Ins(s);
  EXPECT_EQ(after.Item(1), b1);  // equal items keep their arrival order
  EXPECT_EQ(after.Ins(b3), 3);
  int pos;
  EXPECT_TRUE(after.Search("b", pos));
  EXPECT_EQ(pos, 1);  // the leftmost equal item
}

TEST_F(CollectionTest, SortedReplacementOutcomes) {
  SortCol c(csSORT | csOWNER);
  c << "b" << "d" << "f";
  EXPECT_EQ(c.Repl(StrDup("a"), 2), 0);  // moved by key, old "f" released
  EXPECT_EQ(Texts(c), (std::vector<std::string>{"a", "b", "d"}));
  EXPECT_EQ(c.Repl(StrDup("b"), 1), 1);  // equal: in place

  // Meeting an equal item: -1, the replaced item is taken out (and, as it
  // always was, not released), the new item is passed to FreeItem.
  char b[] = "b", d[] = "d", f[] = "f", d2[] = "d";
  SortCol plain(csSORT);
  for (char* s : {b, d, f}) plain.Ins(s);
  EXPECT_EQ(plain.Repl(d2, 0), -1);
  EXPECT_EQ(LastError(), kDuplicate);
  EXPECT_EQ(Texts(plain), (std::vector<std::string>{"d", "f"}));

  SortCol replacing(csSORT | csREPLACE);
  for (char* s : {b, d, f}) replacing.Ins(s);
  EXPECT_EQ(replacing.Repl(d2, 0), -1);
  EXPECT_EQ(replacing.Count(), 2);
  EXPECT_EQ(replacing.Item(0), d2);
}

TEST_F(CollectionTest, CaseFreeAndPrefixComparison) {
  Collection nocase(csNOCASE);
  EXPECT_EQ(nocase.Compare("Ёлка", "ёлка"), 0);
  EXPECT_LT(nocase.Compare("ёж", "арбуз"), 0);
  Collection exact(0);
  EXPECT_GT(exact.Compare("\xFF", "a"), 0);  // unsigned bytes
  EXPECT_EQ(exact.Compare(nullptr, ""), 0);

  Collection prefix(csPREFIX);
  EXPECT_EQ(prefix.Compare("abc\nrest", "abcd"), -1);  // the first is shorter
  EXPECT_EQ(prefix.Compare("abc", "abc\nx"), 0);

  SortCol sorted(csSORT | csNOCASE | csOWNER);
  sorted << "Арбуз" << "ёж" << "Ель";
  EXPECT_EQ(Texts(sorted), (std::vector<std::string>{"ёж", "Арбуз", "Ель"}));
  EXPECT_EQ(sorted.Find("ЕЛЬ"), 2);
}

TEST_F(CollectionTest, SearchFindsTheLastEqualItem) {
  char x1[] = "x", x2[] = "x";
  Collection c(0);
  c.Ins(x1);
  c.Ins(const_cast<char*>("y"));
  c.Ins(x2);
  EXPECT_EQ(c.Find("x"), 2);
  EXPECT_EQ(c.FindByPtr("x"), -1);
  EXPECT_EQ(c.AsFind("y"), 1);
  EXPECT_EQ(c[3], nullptr);
  Collection other(0);
  for (const char* s : {"y", "x"}) other.Ins(const_cast<char*>(s));
  EXPECT_TRUE(c != other);

  c.Move(0, 2);
  EXPECT_EQ(c.Item(2), x1);
}

TEST_F(CollectionTest, TextsIn) {
  Collection lines(csOWNER);
  lines.FromString("a\n\nb", false);
  EXPECT_EQ(Texts(lines), (std::vector<std::string>{"a", "b"}));
  lines.FromString("\nb\r", true);
  EXPECT_EQ(Texts(lines), (std::vector<std::string>{"a", "b", "", "b\r"}));

  // Not owning: the items point into the caller's text.
  const char* text = "one\ntwo";
  Collection view(0);
  view.FromString(text, false);
  EXPECT_EQ(view.Item(1), text + 4);

  Collection pieces(csOWNER);
  pieces.FromString(",a,,b,", ',');
  EXPECT_EQ(Texts(pieces), (std::vector<std::string>{"", "a", "", "b", ""}));

  Collection quoted(csOWNER);
  quoted.FromStringWithQuote("x,'a,b',y,\"c,'d\"", ',');
  EXPECT_EQ(Texts(quoted), (std::vector<std::string>{"x", "'a,b'", "y", "\"c,'d\""}));
  quoted.Clear();
  try {
    quoted.FromStringWithQuote("x,'a", ',');
  } catch (const Exception& e) {
    EXPECT_STREQ(static_cast<const char*>(e.Description()), "Не хватает закрывающей кавычки в строке!");
  }
  EXPECT_EQ(Texts(quoted), (std::vector<std::string>{"x"}));
}

TEST_F(CollectionTest, TextsOutAndStreamForm) {
  Collection c(csOWNER);
  c << "abc" << "defg";
  char buf[16];
  std::memset(buf, '#', sizeof buf);
  EXPECT_STREQ(c.ToString(buf, 6, ','), "abc,d");
  EXPECT_EQ(buf[6], '#');
  String text("stale");
  EXPECT_STREQ(static_cast<char*>(c.ToString(text, '|')), "abc|defg");

  c.Clear();
  c << "ab" << "" << "Ёж";
  MemStream s;
  s << c;
  const unsigned char expected[] = {3, 0, 2, 'a', 'b', 0, 2, 0xA8, 0xE6};
  ASSERT_EQ(s.Size(), sizeof expected);
  EXPECT_EQ(std::memcmp(s.GetBuf() - s.CurPos(), expected, sizeof expected), 0);

  s.Seek(0);
  SortCol sorted(csSORT | csOWNER);
  sorted << "old";
  s >> sorted;  // the old item is released, the texts arrive in key order
  EXPECT_EQ(Texts(sorted), (std::vector<std::string>{"", "ab", "Ёж"}));
}

TEST_F(CollectionTest, DataCollectionKeysDataAndReplacement) {
  DataCollection dc(csSORT | csOWNER);
  const Long32 one = 1, two = 2, three = 3;
  EXPECT_EQ(dc.Ins("beta", &two, 4), 0);
  EXPECT_EQ(dc.Ins("alpha", &one, 4), 0);
  EXPECT_EQ(dc.Ins("alpha", &three, 4), -1);
  const auto value = [](const void* data) {
    Long32 got;
    std::memcpy(&got, data, 4);
    return got;
  };
  EXPECT_EQ(value(dc.GetData("beta")), 2);
  EXPECT_EQ(dc.GetData("gamma"), nullptr);
  dc.ReplData(0, &three, 4);
  EXPECT_EQ(value(dc.GetData(0)), 3);
  EXPECT_THROW(dc.ReplData(2, &one, 4), DataCollection*);
  dc.Ins("empty", nullptr, 8);
  EXPECT_STREQ(dc.GetData("empty") - 6, "empty");
}

TEST_F(CollectionTest, CollectionMtLocksItsChangesAndSwapsFirstWords) {
  CollectionMt shared;
  auto fill = [&shared](char tag) {
    for (int i = 0; i < 500; ++i) {
      char* item = static_cast<char*>(std::malloc(2));
      item[0] = tag;
      item[1] = '\0';
      shared.Ins(item, -1);
    }
  };
  std::thread first(fill, 'a'), second(fill, 'b');
  first.join(), second.join();
  EXPECT_EQ(shared.Count(), 1000);
  shared.Clear();

  shared << "abcdXY" << "wxyzZZ";
  shared.Swap(0, 1);
  EXPECT_EQ(Texts(shared), (std::vector<std::string>{"wxyzXY", "abcdZZ"}));
  EXPECT_EQ(shared.Repl(StrDup("x"), 4), -1);
}

TEST_F(CollectionTest, StringColPoolsUniqueStrings) {
  StringCol pool;
  const char* first = pool.Ins("b", false);
  EXPECT_EQ(pool.Ins("b", false), first);
  EXPECT_EQ(pool.Count(), 1);
  pool.Ins("c", false);
  pool.Ins("a", false);
  EXPECT_EQ(pool.Find("c", false), 2);
  EXPECT_EQ(pool.FindStr("B", false), nullptr);

  StringCol nocase;
  const char* tree = nocase.Ins("Ёлка", true);
  EXPECT_EQ(nocase.Ins("ёЛКА", true), tree);
  nocase.Ins("арбуз", true);
  EXPECT_EQ(nocase.Find("ЁЛКА", true), 0);
}

}  // namespace
