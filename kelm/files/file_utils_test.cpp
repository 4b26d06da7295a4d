#include "kelm/files/file_utils.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "kelm/datetime/time_stamp.h"
#include "kelm/files/logical_drive_iterator.h"
#include "kelm/files/testing/raised.h"
#include "kelm/port/file.h"
#include "kelm/port/path.h"
#include "kelm/port/testing/scratch_dir.h"

namespace {

using kelm::port::CloseFileHandle;
using kelm::port::LastFileError;
using kelm::testing::IsReport;
using kelm::testing::Raised;

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

  // A second opening while the first is held: 0 where it opens.
  const struct {
    unsigned held, then;
    unsigned long error;
  } sharing[] = {{fmRead | fmShareNone, fmRead, kSharingViolation}, {fmRead | fmDenyWrite, fmRead, 0},
                 {fmRead | fmDenyWrite, fmRead | fmWrite, kSharingViolation},
                 {fmWrite, fmRead | fmDenyWrite, kSharingViolation},  // a writer is open
                 {fmWrite | fmDenyRead, fmWrite, 0}, {fmWrite | fmDenyRead, fmRead, kSharingViolation}};
  for (const auto& c : sharing) {
    Opened held(name, c.held);
    ASSERT_TRUE(held.ok());
    Opened then(name, c.then);
    EXPECT_EQ(then.ok() ? 0 : then.error(), c.error) << c.held << " then " << c.then;
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

TEST_F(FileUtilsTest, DirectoriesAndPaths) {
  const std::string a = Path("a");
  MakeDir(a.c_str());
  MakeDir(a.c_str());  // existing: no error
  EXPECT_TRUE(FindFile(a.c_str(), true));
  const std::string orphan = Path("none") + kelm::port::kPathSeparator + "x";
  EXPECT_TRUE(
      IsReport(Raised([&] { MakeDir(orphan.c_str()); }), "Ошибка при создании каталога \"" + orphan + "\"."));

  const char sep = kelm::port::kPathSeparator;
  MakePath((a + sep + "b" + sep + "file.txt").c_str());  // the folders only
  EXPECT_TRUE(dir_.Exists("a/b") && !dir_.Exists("a/b/file.txt"));
  MakePath((Path("c") + sep + "d" + sep).c_str());
  EXPECT_TRUE(dir_.Exists("c/d"));

  // A file where a folder should be.
  ASSERT_TRUE(dir_.Write("f", ""));
  const std::string blocked = Path("f") + sep + "g" + sep;
  EXPECT_TRUE(IsReport(Raised([&] { MakePath((blocked + "x.txt").c_str()); }),
                       "Ошибка при создании каталога \"" + blocked.substr(0, blocked.size() - 1) + "\"."));
  const std::string deep = Path(std::string(300, 'd')) + sep + "x.txt";
  EXPECT_TRUE(
      IsReport(Raised([&] { MakePath(deep.c_str()); }),
               "Ошибка при создании пути к файлу: \"" + deep +
                   "\"\nВозможно слишком длинное имя файла, попробуйте переустановить программу в папку с "
                   "более коротким именем и путем к ней."));
  EXPECT_FALSE(dir_.Exists(std::string(300, 'd')));
  EXPECT_NE(Raised([] { MakePath(nullptr); }), "");
#ifdef _WIN32
  EXPECT_TRUE(IsReport(Raised([] { MakePath("\\\\server\\file.txt"); }),
                       "Неверное имя файла/каталога \"\\\\server\\file.txt\"!\n"));
#endif
}

TEST_F(FileUtilsTest, RenameCopyAndAttributes) {
  ASSERT_TRUE(dir_.Write("one", "1"));
  ASSERT_TRUE(dir_.Write("two", "2"));
  const std::string one = Path("one");
  const std::string two = Path("two");
  const std::string three = Path("three");
  EXPECT_TRUE(IsReport(Raised([&] { Rename(one.c_str(), two.c_str()); }),
                       "Ошибка при переименовании файла \"" + one + "\" в \"" + two + "\"."));
  Rename(one.c_str(), three.c_str());
  EXPECT_EQ(dir_.Read("three"), "1");
  EXPECT_TRUE(IsReport(Raised([&] { Copy(three.c_str(), two.c_str(), true); }),
                       "Ошибка при копировании файла \"" + three + "\" в \"" + two + "\"."));
  Copy(three.c_str(), two.c_str(), false);
  EXPECT_EQ(dir_.Read("two"), "1");
  EXPECT_TRUE(IsReport(Raised([] { Rename(nullptr, ""); }), "Ошибка при переименовании файла \"\" в \"\"."));

  SetFileAttribs(two.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_NE(kelm::port::PathAttributes(two.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
  EXPECT_TRUE(CanOpen(two.c_str(), fmRead));
  EXPECT_TRUE(ClearROAttrib(two.c_str(), false));
  EXPECT_EQ(kelm::port::PathAttributes(two.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
  SetFileAttribs(two.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_TRUE(ClearROAttrib(two.c_str(), true));  // and removed
  EXPECT_FALSE(dir_.Exists("two") || ClearROAttrib(two.c_str(), true));
  const std::string missing = Path("missing");
  EXPECT_TRUE(IsReport(Raised([&] { SetFileAttribs(missing.c_str(), FILE_ATTRIBUTE_NORMAL); }),
                       "Ошибка при установке атрибутов файла \"" + missing + "\"."));

  EXPECT_FALSE(CanOpen(missing.c_str(), fmRead));  // no alternative file system claims it
  EXPECT_TRUE(CanOpen(missing.c_str(), 0));
}

TEST_F(FileUtilsTest, FileTimes) {
  ASSERT_TRUE(dir_.Write("t.dat", "x"));
  const std::string name = Path("t.dat");
  TimeStamp when(2019, 7, 1, 12, 30, 45);
  TimeStamp read = TimeStamp::Empty();
  for (const bool local : {false, true}) {
    ASSERT_TRUE(SetFileDateTime(name.c_str(), fdtLastWrite, when, local));
    ASSERT_TRUE(GetFileDateTime(name.c_str(), fdtLastWrite, read, local));
    EXPECT_EQ(static_cast<long long>(read), static_cast<long long>(when)) << local;
  }
  // Universal and local readings differ by the zone's offset now.
  TimeStamp universal;
  ASSERT_TRUE(GetFileDateTime(name.c_str(), fdtLastWrite, universal, false));
  ASSERT_TRUE(GetFileDateTime(name.c_str(), fdtLastAccess, read, false));
  EXPECT_EQ(SetFileDateTime(name.c_str(), fdtCreation, when, false), kelm::port::kCanSetCreationTime);
  if (kelm::port::kCanSetCreationTime) {
    ASSERT_TRUE(GetFileDateTime(name.c_str(), fdtCreation, read, false));
    EXPECT_EQ(static_cast<long long>(read), static_cast<long long>(when));
  }

  // A missing file: false, and the stamp is now, not left as it was.
  read = TimeStamp::Empty();
  EXPECT_FALSE(GetFileDateTime(Path("missing").c_str(), fdtLastWrite, read, true));
  EXPECT_FALSE(read.IsEmpty());
  EXPECT_FALSE(GetFileDateTime(name.c_str(), static_cast<FileDateTimeType>(3), read, true));
  // The add-on path applies.
  ThreadAddonPath() = dir_.path() + kelm::port::kPathSeparator;
  EXPECT_TRUE(GetFileDateTime("t.dat", fdtLastWrite, read, false));
  EXPECT_EQ(static_cast<long long>(read), static_cast<long long>(universal));
}

TEST_F(FileUtilsTest, FileNameParts) {
  char out[32] = "untouched";
  ConvertStrToValidFilenamePart(out, nullptr);
  EXPECT_STREQ(out, "untouched");
  ConvertStrToValidFilenamePart(out, "a*b/c?d\\e:f\"г");
  EXPECT_STREQ(out, "a_b_c_d_e:f\"г");

  EXPECT_FALSE(IsFullPath(nullptr));
  for (const char* full : {"c:\\x", "Z:", "\\\\server\\share"}) EXPECT_TRUE(IsFullPath(full)) << full;
  for (const char* relative : {"\\single", "Я:\\x", "dir\\x", ""}) EXPECT_FALSE(IsFullPath(relative)) << relative;
  EXPECT_EQ(IsFullPath("/x"), kelm::port::kPathSeparator == '/');
}

TEST_F(FileUtilsTest, FreeSpaceAndDrives) {
  EXPECT_GT(DiskFreeSpace(dir_.path().c_str()), 0);
  // A path with a drive asks about the drive: a missing one fails.
#ifdef _WIN32
  char letter = 'B';
  while (letter < 'Z' && ValidDisk(letter)) ++letter;
  const std::string missing = std::string(1, letter) + ":\\folder";
#else
  const std::string missing = Path("missing");
#endif
  EXPECT_TRUE(IsReport(Raised([&] { DiskFreeSpace(missing.c_str()); }),
                       "Произошла ошибка при определении свободного места в каталоге \"" + missing + "\"!"));
  EXPECT_FALSE(ValidDisk('1'));
  EXPECT_FALSE(ValidDisk('\0'));

  std::vector<std::string> all;
  LogicalDriveIterator every;
  EXPECT_EQ(every.CurrentDrive(), nullptr);
  for (every.First(); !every.IsDone(); every.Next()) all.push_back(every.CurrentDrive());
  ASSERT_FALSE(all.empty());
  every.Next();  // past the end: stays done
  EXPECT_TRUE(every.IsDone());
  LogicalDriveIterator fixed(DRIVE_FIXED);
  std::size_t fixed_count = 0;
  for (fixed.First(); !fixed.IsDone(); fixed.Next(), ++fixed_count) {
    EXPECT_EQ(kelm::port::DriveTypeOf(fixed.CurrentDrive()), static_cast<unsigned>(DRIVE_FIXED));
  }
  EXPECT_LE(fixed_count, all.size());
#ifdef _WIN32
  EXPECT_EQ(all[0].size(), 3u);
  EXPECT_TRUE(ValidDisk(all[0][0]));
  EXPECT_TRUE(ValidDisk(static_cast<char>(all[0][0] | 0x20)));
  EXPECT_TRUE(FindFile(all[0].c_str(), true));
  EXPECT_GT(DiskFreeSpace((all[0] + "no such folder").c_str()), 0);  // asks about the drive
#else
  for (char letter = 'A'; letter <= 'Z'; ++letter) EXPECT_FALSE(ValidDisk(letter));
  EXPECT_NE(std::find(all.begin(), all.end(), "/"), all.end());
#endif
}

}  // namespace
