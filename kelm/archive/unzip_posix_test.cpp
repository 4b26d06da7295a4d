// Links can be made without privileges here; the check itself is the same
// on Windows, where PathAttributes reports links and junctions alike.
#include <gtest/gtest.h>
#include <unistd.h>

#include "kelm/archive/testing/zip_builder.h"
#include "kelm/archive/unzip.h"
#include "kelm/frame/exceptions.h"
#include "kelm/port/testing/scratch_dir.h"

namespace {

using kelm::testing::RawMember;
using kelm::testing::ScratchDir;
using kelm::testing::ZipBuilder;

int RaisedCode(UnZip& unzip, const std::string& dir, const std::string& name) {
  try {
    unzip.Extract(dir.c_str(), name, true);
  } catch (const ZipException& e) {
    return e.Code();
  }
  return -1;
}

TEST(UnZipPosixTest, LinksBelowTheTargetAreNotFollowed) {
  ScratchDir outside, target;
  ASSERT_TRUE(outside.Write("victim.txt", "untouched"));
  ASSERT_EQ(::symlink(outside.path().c_str(), (target / "escape").c_str()), 0);
  ASSERT_EQ(::symlink((outside / "victim.txt").c_str(), (target / "victim.txt").c_str()), 0);
  const std::string bytes = ZipBuilder()
                                .Add(RawMember{"escape/new.txt", "through a folder link"})
                                .Add(RawMember{"victim.txt", "through a file link"})
                                .Add(RawMember{"plain.txt", "fine"})
                                .Bytes();
  UnZip unzip;
  ASSERT_EQ(unzip.Init(ZipBuilder::UVector(bytes)), 0);
  EXPECT_EQ(RaisedCode(unzip, target.path(), "escape/new.txt"), 12);
  EXPECT_EQ(RaisedCode(unzip, target.path(), "victim.txt"), 12);
  EXPECT_FALSE(outside.Exists("new.txt"));
  EXPECT_EQ(outside.Read("victim.txt"), "untouched");
  EXPECT_EQ(RaisedCode(unzip, target.path(), "plain.txt"), -1);

  // ExtractAll checks every path first: even the plain member stays out.
  ScratchDir second;
  ASSERT_EQ(::symlink(outside.path().c_str(), (second / "escape").c_str()), 0);
  try {
    unzip.ExtractAll(second.path().c_str(), true);
    ADD_FAILURE() << "ExtractAll went through a link";
  } catch (const ZipException& e) {
    EXPECT_EQ(e.Code(), 12);
  }
  EXPECT_FALSE(second.Exists("plain.txt"));
}

}  // namespace
