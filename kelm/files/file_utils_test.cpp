#include "kelm/files/file_utils.h"

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "kelm/port/file.h"
#include "kelm/port/path.h"
#include "kelm/port/testing/scratch_dir.h"

namespace {

using kelm::port::CloseFileHandle;
using kelm::port::LastFileError;

constexpr unsigned long kFileNotFound = 2;
constexpr unsigned long kSharingViolation = 32;

// Opens through OpenStreamFile; closes at the end of the scope.
class Opened {
 public:
  Opened(const std::string& name, unsigned mode)
      : handle_(OpenStreamFile(name.c_str(), mode)), error_(LastFileError()) {}
  ~Opened() {
    if (ok()) CloseFileHandle(handle_);
  }
  bool ok() const { return handle_ != INVALID_HANDLE_VALUE; }
  unsigned long error() const { return error_; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
  unsigned long error_;
};

class FileUtilsTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(dir_.path().empty()); }
  void TearDown() override { ThreadAddonPath().clear(); }
  std::string Path(const std::string& name) const { return dir_ / name; }

  kelm::testing::ScratchDir dir_;
};

TEST_F(FileUtilsTest, OpenStreamFileModeBits) {
  const std::string name = Path("m.dat");
  Opened missing(name, fmRead | fmWrite);
  EXPECT_FALSE(missing.ok());
  EXPECT_EQ(missing.error(), kFileNotFound);

  ASSERT_TRUE(Opened(name, fmRead | fmWrite | fmOpenAlways).ok());
  ASSERT_TRUE(dir_.Write("m.dat", "content"));
  EXPECT_TRUE(Opened(name, fmRead | fmOpenAlways).ok());
  EXPECT_EQ(dir_.Read("m.dat"), "content");
  EXPECT_TRUE(Opened(name, fmWrite | fmCreate | fmOpenAlways).ok());  // create anew wins
  EXPECT_EQ(dir_.Read("m.dat"), "");

  {
    Opened alone(name, fmRead | fmShareNone);
    ASSERT_TRUE(alone.ok());
    EXPECT_EQ(Opened(name, fmRead).error(), kSharingViolation);
  }
  {
    Opened keep(name, fmRead | fmDenyWrite);
    EXPECT_TRUE(Opened(name, fmRead).ok());
    EXPECT_EQ(Opened(name, fmRead | fmWrite).error(), kSharingViolation);
  }
  {
    Opened keep(name, fmWrite | fmDenyRead);
    EXPECT_TRUE(Opened(name, fmWrite).ok());
    EXPECT_EQ(Opened(name, fmRead).error(), kSharingViolation);
  }
  {
    Opened temporary(Path("t.tmp"), fmRead | fmWrite | fmCreate | fmDeleteOnClose);
    ASSERT_TRUE(temporary.ok());
    EXPECT_TRUE(dir_.Exists("t.tmp"));
  }
  EXPECT_FALSE(dir_.Exists("t.tmp"));
  EXPECT_FALSE(Opened("", fmRead).ok());
}

TEST_F(FileUtilsTest, AddonPathRetryAndOpenCount) {
  ASSERT_TRUE(dir_.Write("only-in-addon.dat", "addon"));
  const std::string relative = "only-in-addon.dat";
  GrsFileStat::Clear();
  EXPECT_FALSE(Opened(relative, fmRead).ok());
  ThreadAddonPath() = dir_.path() + kelm::port::kPathSeparator;  // joined as it is
  {
    Opened found(relative, fmRead);
    ASSERT_TRUE(found.ok());
    char buffer[8] = {};
    unsigned long done = 0;
    ASSERT_TRUE(kelm::port::ReadFileData(found.get(), buffer, 5, &done));
    EXPECT_EQ(std::string(buffer, done), "addon");
  }
  // Both fail: the first error stands.
  Opened neither("no-such.dat", fmRead);
  EXPECT_FALSE(neither.ok());
  EXPECT_EQ(neither.error(), kFileNotFound);
  // Only a missing name is retried.
  ThreadAddonPath() = dir_.path() + kelm::port::kPathSeparator;
  {
    Opened alone(Path(relative), fmRead | fmShareNone);
    Opened busy(Path(relative), fmRead);
    EXPECT_EQ(busy.error(), kSharingViolation);
  }
  EXPECT_EQ(GrsFileStat::OpenCount(), 5);  // every call once, retried or not

  // The add-on path is the calling thread's own.
  std::thread other([&] {
    EXPECT_TRUE(ThreadAddonPath().empty());
    EXPECT_FALSE(Opened(relative, fmRead).ok());
  });
  other.join();
  EXPECT_TRUE(Opened(relative, fmRead).ok());
  EXPECT_EQ(GrsFileStat::OpenCount(), 7);
  GrsFileStat::Clear();
  EXPECT_EQ(GrsFileStat::OpenCount(), 0);
}

}  // namespace
