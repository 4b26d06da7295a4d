#include "kelm/text/file_name.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// The pieces of `path` chosen by the mask `parts`.
std::string Split(const char* path, unsigned short parts) { return FileNameDat(path, parts).C_str(); }

TEST(FileNameDatTest, PiecesOfAWindowsPath) {
  FileNameDat path("C:\\dir\\file.txt", 15);
  EXPECT_EQ(path, "C:\\dir\\file.txt");
  FileNameDat piece;
  EXPECT_STREQ(piece.NameExt(path), "file.txt");
  EXPECT_STREQ(piece.DriveDir(path), "C:\\dir\\");
  EXPECT_STREQ(piece.Ext(path), ".txt");
  EXPECT_STREQ(piece.Dir(path), "\\dir\\");
  EXPECT_STREQ(path.Name(path), "file");  // from itself
}

TEST(FileNameDatTest, SplitpathRules) {
  EXPECT_EQ(Split("file.tar.gz", 4), "file.tar");   // the last dot starts the extension
  EXPECT_EQ(Split("file.tar.gz", 8), ".gz");
  EXPECT_EQ(Split(".profile", 8), ".profile");
  EXPECT_EQ(Split("C:\\my.dir\\readme", 8), "");  // a dot in the directory is no extension
  EXPECT_EQ(Split("a/b\\c.d", 2), "a/b\\");        // '/' separates too
  EXPECT_EQ(Split("C:file.txt", 3), "C:");
  EXPECT_EQ(Split("C", 1), "");
  EXPECT_EQ(Split(nullptr, 15), "");
  EXPECT_EQ(Split("C:\\dir\\file.txt", 9), "C:.txt");  // the pieces in fixed order
}

TEST(FileNameDatTest, LongPiecesAreCut) {
  const std::string name(300, 'n');
  PathParts parts;
  SplitPathParts(("C:\\d\\" + name + ".e").c_str(), parts);
  EXPECT_EQ(std::string(parts.name), name.substr(0, 255));
  EXPECT_EQ(std::string(parts.ext), ".e");
  EXPECT_EQ(Split(("C:\\" + name + "\\" + name + ".e").c_str(), 15).size(), 261u);
}

TEST(FileNameDatTest, AddBackClash) {
  // A backslash on every platform; only a backslash ends a directory here.
  FileNameDat dir("C:\\dir", 15);
  EXPECT_STREQ(dir.AddBackClash(), "C:\\dir\\");
  EXPECT_STREQ(dir.AddBackClash(), "C:\\dir\\");
  FileNameDat slash("/usr/lib/", 15);
  EXPECT_STREQ(slash.AddBackClash(), "/usr/lib/\\");
  FileNameDat empty;
  EXPECT_STREQ(empty.AddBackClash(), "");
  FileNameDat full;
  full.Set(std::string(300, 'f').c_str());
  EXPECT_EQ(full.AddBackClash()[260], 'f');
}

}  // namespace
