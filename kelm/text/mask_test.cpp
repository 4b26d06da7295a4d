#include "kelm/text/mask.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kelm/containers/collection.h"
#include "kelm/frame/exceptions.h"

namespace {

const unsigned char* U(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

struct Parsed {
  bool ok;
  std::string out;
  int pos;
};

Parsed Parse(const char* mask, const char* text) {
  Mask m(U(mask), U(text));
  std::vector<char> out(Mask::kMaxCapture + 1, '#');
  const bool ok = m.ParseByMask(out.data(), nullptr);
  return {ok, out.data(), m.ParsePos()};
}

std::string ErrorOf(const char* mask, const char* text) {
  try {
    Parse(mask, text);
  } catch (const Exception& e) {
    return static_cast<const char*>(e.Description());
  }
  return "(no error)";
}

const std::string kInMask = " в маске для функции \"РазбитьПоМаске()\"!";

TEST(MaskTest, RunsClassesAndCounts) {
  EXPECT_EQ(Parse("ц+", "123").pos, 3);
  EXPECT_FALSE(Parse("ц+", "").ok);
  EXPECT_EQ(Parse("б{2,3}", "abc").pos, 3);
  EXPECT_EQ(Parse("б{2}", "abc").pos, 2);  // the rest of the text is not looked at
  EXPECT_FALSE(Parse("б{2}", "a1").ok);
  EXPECT_EQ(Parse("Б+П+И+", "Ёж \t9x").pos, 6);
  EXPECT_TRUE(Parse("ц?x", "x").ok);
  EXPECT_TRUE(Parse("ц{2,}x", "x").ok);  // "{n,}" allows nothing at all
  EXPECT_FALSE(Parse("'ab'", "aX").ok);
  EXPECT_TRUE(Parse("''a", "a").ok);  // an empty quoted run stands for nothing
  EXPECT_TRUE(Parse("[a-c]+", "abc").ok);
  EXPECT_FALSE(Parse("[a-c]+", "abcd").ok);
  EXPECT_FALSE(Parse("[c-a]", "a").ok);
  // "-]" runs the range to 0xFF and does not close the set.
  EXPECT_EQ(ErrorOf("[x-]+", "x"), "Не хватает закрывающей квадратной скобки" + kInMask);
  EXPECT_TRUE(Parse("[x-]]+", "xy\xFF").ok);
  // "*" and "+" count in 16 bits: a run stops at 65535 characters.
  const std::string digits(70000, '7');
  EXPECT_EQ(Parse("ц*", digits.c_str()).pos, 65535);
  EXPECT_EQ(Parse("ц+", digits.c_str()).pos, 65535);
}

TEST(MaskTest, CaptureAndLookAhead) {
  EXPECT_EQ(Parse("(ц+)б", "12a").out, "12");
  EXPECT_EQ(Parse("Л*(ц+)", "ab12").out, "12");
  EXPECT_EQ(Parse("(Л*)-(Л*)", "key-value").out, "value");
  // A run that matches stops at once when the item after it must match and
  // does: "ц*" gives the first "1" away, and nothing is taken back.
  const Parsed greedy = Parse("ц*1", "121");
  EXPECT_TRUE(greedy.ok);
  EXPECT_EQ(greedy.pos, 1);
  // Optional items are passed over until one that must match; one that
  // matches ends a run, even one of "Л".
  EXPECT_EQ(Parse("(Л*)ц?-", "ab-").out, "ab");
  EXPECT_FALSE(Parse("(Л*)б?-", "ab-").ok);
  EXPECT_FALSE(Parse("Б+П*И+", "ab 9").ok);  // "И+" takes "b" from "Б+"
  EXPECT_TRUE(Parse("Б+П*И+", "a 9").ok);
  // A group left open: the failure result looks at what was captured.
  EXPECT_TRUE(Parse("(ц+б", "12!").ok);
  EXPECT_FALSE(Parse("(ц+)б", "!").ok);
  EXPECT_EQ(Parse("ц)", "1").out, "");  // a ")" without "(" captures nothing
}

TEST(MaskTest, TheFourErrors) {
  EXPECT_EQ(ErrorOf("'ab", "ab"), "Не хватает закрывающей кавычки" + kInMask);
  EXPECT_EQ(ErrorOf("[ab", "a"), "Не хватает закрывающей квадратной скобки" + kInMask);
  EXPECT_EQ(ErrorOf("ц{1,3", "12"), "Не хватает закрывающей фигурной скобки" + kInMask);
  const char kTooBig[] = "Превышен максимальный размер маски!";
  // A quoted run longer than the pending store.
  EXPECT_EQ(ErrorOf(("'" + std::string(150, 'q') + "'").c_str(), "q"), kTooBig);
  EXPECT_EQ(ErrorOf(("'" + std::string(100, 'q') + "'").c_str(), "q"), "(no error)");
  // A look-ahead over more optional items than the store holds.
  std::string optional = "Л*";
  for (int i = 0; i < 120; ++i) optional += "ц?";
  EXPECT_EQ(ErrorOf((optional + "x").c_str(), "abc"), kTooBig);
  // A capture longer than the bound.
  EXPECT_EQ(ErrorOf("(Л*)", std::string(Mask::kMaxCapture + 1, 'a').c_str()), kTooBig);
}

TEST(MaskTest, LengthModeReadsNoByteBeyondTheBlock) {
  // The block is exactly 4 bytes on the heap, so ASan sees any overread.
  char* block = static_cast<char*>(std::malloc(4));
  std::memcpy(block, "a\0b1", 4);
  char out[Mask::kMaxCapture + 1];
  int length = -1;
  Mask bytes(U("(Л{3})ц"), U(block), 4);
  EXPECT_TRUE(bytes.IsHexMode());
  EXPECT_TRUE(bytes.ParseByMask(out, &length));
  EXPECT_EQ(length, 3);
  EXPECT_EQ(std::string(out, 3), std::string("a\0b", 3));

  // The end is only reached once more than the length has been consumed.
  Mask all(U("(Л*)"), U(block), 4);
  EXPECT_TRUE(all.ParseByMask(out, &length));
  EXPECT_EQ(length, 5);
  EXPECT_EQ(std::string(out, 4), std::string("a\0b1", 4));

  std::free(block);
}

TEST(MaskTest, CopiesOwnTheirSets) {
  Mask assigned(U(""), U(""));
  MaskItem digits, letters;
  std::vector<Mask> copies;
  {
    Mask original(U("[0-9]+[a-z]"), U("5"));
    digits = original.NextMask(false);
    letters = original.NextMask(false);
    EXPECT_EQ(letters.code, Mask::kFirstSet + 1);
    copies.push_back(original);
    assigned = original;
  }
  EXPECT_TRUE(copies[0].IsThatMask(digits));
  EXPECT_FALSE(copies[0].IsThatMask(letters));
  EXPECT_TRUE(assigned.IsThatMask(digits));
}

TEST(CheckMasksOrTest, WildcardsFromTheLastMask) {
  Collection masks(csOWNER);
  EXPECT_TRUE(CheckMasksOr("report.txt", masks));
  masks << "*";
  EXPECT_TRUE(CheckMasksOr("report.txt", masks));
  masks.Clear();
  masks << "*.doc";
  EXPECT_FALSE(CheckMasksOr("report.txt", masks));
  masks << "REP?RT.*";
  EXPECT_TRUE(CheckMasksOr("report.txt", masks));
  EXPECT_FALSE(CheckMasksOr("reprt.txt", masks));
  masks << "*отчёт*";
  EXPECT_TRUE(CheckMasksOr("Годовой ОТЧЁТ.xls", masks));
  EXPECT_FALSE(CheckMasksOr(nullptr, masks));
}

}  // namespace
