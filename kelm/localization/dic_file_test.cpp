#include "kelm/localization/dic_file.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "kelm/localization/localization_exception.h"
#include "kelm/port/testing/scratch_dir.h"
#include "kelm/streams/mem_stream.h"

namespace Localization {
namespace {

// The entries of `text`; masks go to `masks`, or into the map without it.
DicMap Read(const std::string& text, MaskDic* masks = nullptr) {
  MemStream s;
  s.Write(text.data(), static_cast<unsigned>(text.size()));
  s.Seek(0);
  DicMap map;
  MaskDic unused;
  Utils::ReadDic(s, map, masks != nullptr ? *masks : unused, masks == nullptr);
  return map;
}

std::string Written(const DicMap& map, bool withMasks = true, bool withEmpty = true) {
  MemStream s;
  Utils::WriteDic(s, map, withMasks, withEmpty);
  std::string text(s.Size(), '\0');
  s.Seek(0);
  s.Read(text.data(), static_cast<unsigned>(text.size()));
  return text;
}

TEST(DicFileTest, LinesGiveEntriesByKeyword) {
  const DicMap map = Read(
      "Да#Yes#STRING\r\nДа#Yes\r\n\r\na\\#b#c\n"
      "x#1#string\ny#2#MASK \nНет#No#STRING\nНет#Nope#STRING\n"
      "без перевода\n#пустой\nтекст\\n\\r\\\\\\q#\\{x\\} {y}\\");
  const DicMap expected = {
      {{tcPlain, "Да"}, "Yes"},          {{tcPlain, "a#b"}, "c"},
      {{tcPlain, "x"}, "1"},             {{tcPlain, "y"}, "2"},
      {{tcPlain, "без перевода"}, ""},   {{tcPlain, ""}, "пустой"},
      {{tcPlain, "текст\n\r\\q"}, "{x} {y}"},
      {{tcString, "Да"}, "Yes"},         {{tcString, "Нет"}, "Nope"},
  };
  EXPECT_EQ(map, expected);
}

TEST(DicFileTest, MasksKeepTheirBraceEscapes) {
  MaskDic masks;
  const DicMap map = Read("Файл {1} не найден!#File {1} not found!#MASK\n\\{a\\} {1}#\\{b\\} {1}#MASK\n", &masks);
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(masks.Translate(std::string("Файл C:\\x.lng не найден!")), "File C:\\x.lng not found!");
  EXPECT_EQ(masks.Translate(std::string("{a} 5")), "{b} 5");

  const DicMap raw = Read("\\{a\\} {1}#\\{b\\} {1}#MASK\n");
  EXPECT_EQ(raw, (DicMap{{{tcMask, "\\{a\\} {1}"}, "\\{b\\} {1}"}}));
}

TEST(DicFileTest, LongLinesAreReadInPieces) {
  const std::string source(2047, 's');
  const DicMap map = Read(source + "#tail#STRING\r\n");
  EXPECT_EQ(map, (DicMap{{{tcPlain, source}, ""}, {{tcString, ""}, "tail"}}));

  // Any bytes are a dictionary.
  std::mt19937 random(7);
  std::string junk(100000, '{');
  for (size_t i = 0; i < junk.size(); i += 1 + random() % 50) junk[i] = static_cast<char>(random());
  junk += "\n{99999999999} {1#{99999999999}{0} x}#MASK\n\\";
  MaskDic masks;
  EXPECT_GE(Read(junk, &masks).size(), 49u);  // at least one entry per 2047 bytes
  EXPECT_EQ(masks.Translate(std::string("a {1")), " x}");
}

TEST(DicFileTest, WritingEscapesAndOrdersByKey) {
  const DicMap map = {
      {{tcString, "Нет"}, "No"},
      {{tcPlain, "a#b"}, "c"},
      {{tcPlain, "строка\r\n\\"}, "{x}"},
      {{tcMask, "Файл {1} \\{x\\}"}, "File {1} \\{x\\}"},
      {{tcPlain, "пусто"}, ""},
  };
  EXPECT_EQ(Written(map),
            "a\\#b#c#\r\nпусто##\r\nстрока\\r\\n\\\\#\\{x\\}#\r\nНет#No#STRING\r\n"
            "Файл {1} \\\\{x\\\\}#File {1} \\\\{x\\\\}#MASK\r\n");
  EXPECT_EQ(Written(map, false, false), "a\\#b#c#\r\nстрока\\r\\n\\\\#\\{x\\}#\r\nНет#No#STRING\r\n");
}

TEST(DicFileTest, EntriesTooLongForALineAreLeftOut) {
  std::string line;
  // keyword + source + translation + 2 separators: 2047 is written, 2048 not.
  EXPECT_TRUE(Utils::FormatDicLine({tcString, std::string(2000, 'a')}, std::string(39, 'b'), line));
  EXPECT_EQ(line.size(), 2047u);
  EXPECT_FALSE(Utils::FormatDicLine({tcString, std::string(2000, 'a')}, std::string(40, 'b'), line));
  EXPECT_TRUE(line.empty());
  // Departure: escaping that pushes the line past the reader's buffer.
  EXPECT_FALSE(Utils::FormatDicLine({tcPlain, std::string(1100, '#')}, "x", line));
  EXPECT_EQ(Written({{{tcPlain, std::string(3000, 'a')}, "x"}, {{tcPlain, "b"}, "y"}}), "b#y#\r\n");
}

// Whatever the texts, what is written reads back as exactly the entries
// written.
TEST(DicFileTest, WrittenDictionariesReadBackExactly) {
  const std::string alphabet = std::string("#\\{}\r\n !,.:;()<>aZ09") + "ЁёАЯая" + "\x01\x7F\x98\xFF";
  std::mt19937 random(12345);
  const auto text = [&](size_t max) {
    std::string t(random() % max, ' ');
    for (char& c : t) c = alphabet[random() % alphabet.size()];
    return t;
  };
  for (int round = 0; round < 200; ++round) {
    DicMap map;
    for (int i = 0; i < 50; ++i) {
      const auto context = static_cast<TranslationContext>(1 + random() % 3);
      map[{context, text(round % 10 == 0 ? 1200 : 40)}] = text(round % 10 == 0 ? 1200 : 40);
    }
    std::string line;
    DicMap written;
    for (const auto& [key, translation] : map)
      if (Utils::FormatDicLine(key, translation, line)) written.insert({key, translation});
    ASSERT_EQ(Read(Written(map)), written) << "round " << round;
  }
}

TEST(DicFileTest, FilesHoldExactlyTheLinesWritten) {
  kelm::testing::ScratchDir dir;
  const std::string name = dir / "EN.lng";
  ASSERT_TRUE(dir.Write("EN.lng", std::string(5000, 'x') + "\r\n"));  // a longer old file
  const DicMap map = {{{tcPlain, "Да"}, "Yes"}, {{tcMask, "Файл {1}"}, "File {1}"}, {{tcString, "Нет"}, ""}};
  MaskDic unused;
  Utils::StoreDicToFile(name.c_str(), unused, map, true, false);
  EXPECT_EQ(dir.Read("EN.lng"), "Да#Yes#\r\nФайл {1}#File {1}#MASK\r\n");
  DicMap read;
  MaskDic masks;
  Utils::LoadDicFromFile(read, masks, name.c_str(), false);
  EXPECT_EQ(read, (DicMap{{{tcPlain, "Да"}, "Yes"}}));
  EXPECT_EQ(masks.Translate(std::string("Файл a")), "File a");
  EXPECT_THROW(Utils::LoadDicFromFile(read, masks, (dir / "missing.lng").c_str(), false), Exception);
}

// The keywords are checked through the written lines.
TEST(DicFileTest, LanguageNames) {
  EXPECT_STREQ(Utils::LanguageToString(lUkrainian), "UA");
  EXPECT_STREQ(Utils::LanguageToString(lRussian), "RU");
  EXPECT_EQ(Utils::LanguageToString(static_cast<Language>(4)), nullptr);
  EXPECT_STREQ(Utils::ContextToString(static_cast<TranslationContext>(0)), "");
}

}  // namespace
}  // namespace Localization
