// Links on Linux: the walks and deletions do not go through them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <set>
#include <string>

#include "kelm/containers/collection.h"
#include "kelm/files/file_utils.h"
#include "kelm/port/file.h"
#include "kelm/port/testing/scratch_dir.h"

namespace {

TEST(FileListPosixTest, LinksAreNotFollowed) {
  kelm::testing::ScratchDir dir;
  ASSERT_FALSE(dir.path().empty());
  ASSERT_TRUE(kelm::port::MakeDirectory((dir / "target").c_str()));
  ASSERT_TRUE(kelm::port::MakeDirectory((dir / "walk").c_str()));
  ASSERT_TRUE(dir.Write("target/precious.txt", "keep"));
  ASSERT_EQ(::symlink((dir / "target").c_str(), (dir / "walk/link").c_str()), 0);
  ASSERT_EQ(::symlink((dir / "target/precious.txt").c_str(), (dir / "walk/file-link.txt").c_str()), 0);

  Collection list(csDUPLICATE | csOWNER);
  GetFileList((dir / "walk/*.txt").c_str(), list, 0x2);
  ASSERT_EQ(list.Count(), 1);  // the file link is listed; the folder link is not walked
  EXPECT_STREQ(list[0], "file-link.txt");
  EXPECT_TRUE(FindFile((dir / "walk/link").c_str(), true));

  Unlink((dir / "walk/link").c_str(), true);
  EXPECT_FALSE(dir.Exists("walk/link"));
  EXPECT_EQ(dir.Read("target/precious.txt"), "keep");
  ClearDirRecursive((dir / "walk").c_str(), true);
  EXPECT_FALSE(dir.Exists("walk"));
  EXPECT_EQ(dir.Read("target/precious.txt"), "keep");
}

}  // namespace
