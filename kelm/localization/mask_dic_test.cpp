#include "kelm/localization/mask_dic.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "kelm/containers/collection.h"
#include "kelm/localization/dic_file.h"
#include "kelm/streams/mem_stream.h"

namespace Localization {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double kSlowdown = 20;  // instrumented builds check the bound loosely
#else
constexpr double kSlowdown = 1;
#endif

std::vector<std::string> Strings(const Collection& strings) {
  std::vector<std::string> out;
  for (int i = 0; i < strings.Count(); ++i) out.emplace_back(strings[i]);
  return out;
}

std::vector<std::string> Lines(const MaskDic& masks) {
  Collection out(csOWNER);
  masks.StoreStringsByMasks(out);
  return Strings(out);
}

// Masks added in order, then phrases and what they translate to.
struct Group {
  std::vector<std::pair<const char*, const char*>> masks;
  std::vector<std::pair<std::string, std::string>> phrases;
};

TEST(MaskDicTest, PhrasesTakeTheFirstFullMatch) {
  const std::vector<Group> groups = {
      // A capture runs to its delimiter, across words and delimiters inside
      // it, and is never empty.
      {{{"Файл {1} не найден!", "File {1} not found!"}},
       {{"Файл C:\\x.lng не найден!", "File C:\\x.lng not found!"}, {"Файл a b, c не найден!", "File a b, c not found!"},
        {"Файл x не найден", "Файл x не найден"}, {"Файл не найден!", "Файл не найден!"}}},
      // Captures are numbered by their place in the source, whatever their
      // braces say; one at the end keeps the phrase's last character.
      {{{"Скопировано {1} файлов в папку {2}.", "Folder {2} got {1} files."}, {"Из {2} в {1}", "{1} -> {2}"},
        {"Ошибка: {1}", "Error: {1}"}},
       {{"Скопировано 5 файлов в папку Документы.", "Folder Документы got 5 files."}, {"Из a в b", "a -> b"},
        {"Ошибка: диск полон!", "Error: диск полон!"}}},
      // A capture grows past a literal that leads nowhere; a literal word beats
      // a placeholder; a prefix mask ends at an inner node; masks beginning
      // with a placeholder share one root that takes what a literal root
      // fails; a later translation of a mask replaces the earlier one.
      {{{"x {1} y z", "X {1} Y Z"}, {"x {1} q", "placeholder {1}"}, {"x один q", "literal"}, {"x один ", "short"},
        {"{1} файлов", "{1} files"}, {"{1} папок", "{1} folders"}, {"{1} папок", "{1} dirs"}},
       {{"x a y b y z", "X a y b Y Z"}, {"x один q", "literal"}, {"x два q", "placeholder два"}, {"x один ", "short"},
        {"x y файлов", "x y files"}, {"3 папок", "3 dirs"}}},
      // One placeholder node serves masks that differ only after it.
      {{{"Файл {1}", "File {1}"}, {"Файл {1} не найден!", "File {1} not found!"}},
       {{"Файл x не найден!", "File x not found!"}, {"Файл a.txt", "File a.txt"}}},
  };
  for (const Group& group : groups) {
    MaskDic masks;
    for (const auto& [source, translation] : group.masks) ASSERT_TRUE(masks.AddTranslation(source, translation));
    for (const auto& [phrase, expected] : group.phrases) EXPECT_EQ(masks.Translate(phrase), expected) << phrase;
  }

  MaskDic masks;
  masks.AddTranslation("Файл {1}", "File {1}");
  masks.AddTranslation("Файл {1} не найден!", "File {1} not found!");
  EXPECT_EQ(Lines(masks), (std::vector<std::string>{"Файл {1} #File {1}#MASK", "Файл {1} не найден!#File {1} not found!#MASK"}));
  char out[64];
  EXPECT_EQ(masks.Translate("Файл y не найден!", out, sizeof out), out);
  EXPECT_STREQ(out, "File y not found!");
  EXPECT_EQ(masks.Translate("Файл y не найден!", out, 5), out);
  EXPECT_STREQ(out, "File");
  for (const char* none : {"Нечто", static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(masks.Translate(none, out, sizeof out), nullptr);
  }
  EXPECT_EQ(masks.Translate("Файл y не найден!", nullptr, 10), nullptr);
}

TEST(MaskDicTest, OddPlaceholdersAndBraces) {
  MaskDic masks;
  for (const auto& [source, translation] : std::vector<std::pair<const char*, const char*>>{
           {"", "x"}, {"x", ""}, {nullptr, "x"}, {"x", nullptr}}) {
    EXPECT_FALSE(masks.AddTranslation(source, translation));
  }
  // Escaped braces are literal; captures that do not exist give nothing.
  masks.AddTranslation("Код \\{a\\} {1}", "Code \\{a\\} {1} {99999999999} {0} {x} {-1}.");
  EXPECT_EQ(masks.Translate(std::string("Код {a} 7")), "Code {a} 7    .");
  EXPECT_EQ(MaskDic::PlaceholderNumbers("{2} из {1}! \\{3\\} {x} {"), (std::vector<std::int32_t>{2, 1, 0}));
  masks.AddTranslation("{ x} {1", "unbalanced");
  EXPECT_EQ(masks.Translate(std::string("{ x} {1")), "unbalanced");
}

TEST(MaskDicTest, StoredLinesReadBackAsTheSameMasks) {
  MaskDic masks;
  masks.AddTranslation("Файл {1} не найден!", "File {1} not found!");
  masks.AddTranslation("{2} из {1}", "{1} of {2}");
  masks.AddTranslation("Код \\{a\\}#\\ {1}", "Code \\{a\\}#\\ {1}");
  const std::vector<std::string> lines = Lines(masks);
  EXPECT_EQ(lines, (std::vector<std::string>{"Код \\{a\\}\\#\\\\ {1}#Code \\{a\\}\\#\\\\ {1}#MASK",
                                             "Файл {1} не найден!#File {1} not found!#MASK",
                                             "{2} из {1}#{1} of {2}#MASK"}));
  MemStream s;
  for (const std::string& line : lines) s.TxtWrite(line.c_str());
  s.Seek(0);
  MaskDic copy;
  DicMap unused;
  Utils::ReadDic(s, unused, copy, false);
  EXPECT_EQ(Lines(copy), lines);
  EXPECT_EQ(copy.Translate(std::string("Код {a}#\\ 1")), "Code {a}#\\ 1");

  EXPECT_TRUE(masks.Clear());
  EXPECT_TRUE(Lines(masks).empty());
  EXPECT_EQ(masks.Translate(std::string("Файл x не найден!")), "Файл x не найден!");
}

TEST(MaskDicTest, NodesCopyDeeplyAndOrderByWordThenNumber) {
  EXPECT_TRUE(MaskDic::DicNode("a ", 0, false) < MaskDic::DicNode("a ", 1, true));
  EXPECT_TRUE(MaskDic::DicNode("a ", 1, true) < MaskDic::DicNode("b ", 0, false));
  EXPECT_FALSE(MaskDic::DicNode("a ", 1, true) < MaskDic::DicNode("a ", 0, false));

  MaskDic masks;
  masks.AddTranslation("x y {1}", "1");
  masks.AddTranslation("x z", "2");
  masks.AddTranslation("x {1} w", "3");
  ASSERT_EQ(masks.Roots().size(), 1u);
  const MaskDic::DicNode copy = masks.Roots()[0];
  MaskDic::DicNode assigned("other ", 0, false);
  assigned = copy;
  masks.AddTranslation("x q", "4");  // the copies keep their own children
  EXPECT_EQ(masks.Roots()[0].Children().size(), 3u);
  ASSERT_EQ(assigned.Children().size(), 2u);
  EXPECT_NE(&assigned.Children()[0], &masks.Roots()[0].Children()[0]);
  Collection lines(csOWNER);
  assigned.GetFullStringByNode("pre ", lines);
  EXPECT_EQ(Strings(lines), (std::vector<std::string>{"pre x y {1}#1#MASK", "pre x z#2#MASK", "pre x {1} w#3#MASK"}));
}

// Neither adding, matching, writing nor forgetting a very long mask may
// recurse along it.
TEST(MaskDicTest, LongMasksDoNotExhaustTheStack) {
  std::string source, phrase;
  for (int i = 0; i < 200000; ++i) {
    source += i % 3 == 0 ? "{1} " : "слово ";
    phrase += i % 3 == 0 ? "w " : "слово ";
  }
  source += "конец", phrase += "конец";
  MaskDic masks;
  ASSERT_TRUE(masks.AddTranslation(source.c_str(), "{1}"));
  EXPECT_EQ(masks.Translate(phrase), "w");
  EXPECT_EQ(Lines(masks).size(), 1u);
  EXPECT_TRUE(masks.Clear());
}

// Phrases of 2000 words against 1000 masks whose placeholders could split
// them in a vast number of ways.
TEST(MaskDicTest, MatchingTimeStaysPolynomial) {
  double worst = 0;
  const auto timed = [&worst](MaskDic& masks, const std::string& phrase) {
    const auto start = std::chrono::steady_clock::now();
    std::string result = masks.Translate(phrase);
    worst = std::max(worst, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    return result;
  };
  // Nested placeholders; and masks whose second placeholder starts anywhere
  // and runs to the end.
  MaskDic nested, wide;
  for (int k = 0; k < 1000; ++k) {
    const std::string n = std::to_string(k);
    const std::string source = k % 2 == 0 ? "{1} а {2} б" + n + " {3} в" + n : "а {1} а {2} а {3} г" + n;
    ASSERT_TRUE(nested.AddTranslation(source.c_str(), "{3} {2} {1}"));
    ASSERT_TRUE(wide.AddTranslation(("{1} ш" + n + " {2} конец" + n).c_str(), "{2} {1}"));
  }
  // No match anywhere; then a match at the very end.
  std::string phrase;
  for (int i = 0; i < 2000; ++i) phrase += i % 7 == 3 ? "б0 " : "а ";
  EXPECT_EQ(timed(nested, phrase + "конец"), phrase + "конец");
  EXPECT_EQ(timed(nested, phrase + "в0").substr(0, 6), "а а а ");
  std::string cycle;
  for (int i = 0; i < 1000; ++i) cycle += "ш" + std::to_string(i) + " ";
  phrase = cycle + cycle;
  EXPECT_TRUE(timed(wide, phrase + "x") == phrase + "x");
  // The first "ш999" starts the second capture.
  const std::string second = cycle.substr(0, cycle.size() - 1);
  const std::string first = cycle.substr(0, cycle.size() - 6);
  EXPECT_TRUE(timed(wide, phrase + "конец999") == second + " " + first);
  EXPECT_LT(worst, 1.0 * kSlowdown);
  RecordProperty("worst_seconds", std::to_string(worst));
}

}  // namespace
}  // namespace Localization
