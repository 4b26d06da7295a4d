#include "kelm/text/divide.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelm/containers/collection.h"

namespace {

using Pieces = std::vector<std::string>;

Pieces Texts(const Collection& out) {
  Pieces pieces;
  for (int i = 0; i < out.Count(); ++i) pieces.push_back(out[i]);
  return pieces;
}

Pieces Split(const char* text, const char* delimiters, bool keep, bool upper) {
  Collection out(csOWNER);
  DivideS(text, delimiters, keep, out, upper);
  return Texts(out);
}

Pieces SplitPath(const char* path) {
  Collection out(csOWNER);
  DividePath(path, out);
  return Texts(out);
}

TEST(DivideSTest, EmptyPiecesAndLeadingDelimiters) {
  EXPECT_EQ(Split("a;b;;c", ";", false, false), (Pieces{"a", "b", "", "c"}));
  EXPECT_EQ(Split(";;a", ";", false, false), (Pieces{"", "", "a"}));
  EXPECT_EQ(Split(";a", ";", false, false), (Pieces{"a"}));
  // The leading empty piece needs the first delimiter of the set.
  EXPECT_EQ(Split(",;a", ";,", false, false), (Pieces{"", "a"}));
  EXPECT_EQ(Split(nullptr, ";", false, false), Pieces{});
}

TEST(DivideSTest, KeptDelimitersSpecialCharactersAndCase) {
  EXPECT_EQ(Split("a+b-c", "+-", true, false), (Pieces{"a", "+b", "-c"}));
  EXPECT_EQ(Split("\x01мой&\x02 ёж\x03;Ель", ";", false, true), (Pieces{"МОЙ ЁЖ", "ЕЛЬ"}));
  // Pieces longer than the 256-byte work buffer come out whole.
  const std::string longPiece(1000, 'q');
  EXPECT_EQ(Split((longPiece + ";x;" + longPiece).c_str(), ";", false, false),
            (Pieces{longPiece, "x", longPiece}));
}

TEST(DividePathTest, DotsEscapesAndLimits) {
  EXPECT_EQ(SplitPath("Doc.Head.Date"), (Pieces{"Doc", "Head", "Date"}));
  EXPECT_EQ(SplitPath("a..b"), (Pieces{"a", "", "b"}));
  EXPECT_EQ(SplitPath("a."), (Pieces{"a"}));
  EXPECT_EQ(SplitPath("a\\.b.c"), (Pieces{"a.b", "c"}));
  EXPECT_EQ(SplitPath("a\\b"), (Pieces{"a\\b"}));
  const std::string longName(300, 'n');
  EXPECT_EQ(SplitPath((longName + ".z").c_str()), (Pieces{std::string(255, 'n'), "z"}));
}

}  // namespace
