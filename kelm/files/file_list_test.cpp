#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

#include "kelm/containers/collection.h"
#include "kelm/files/file_system_factory.h"
#include "kelm/files/file_utils.h"
#include "kelm/files/testing/raised.h"
#include "kelm/frame/error_messager.h"
#include "kelm/port/file.h"
#include "kelm/port/path.h"
#include "kelm/port/testing/scratch_dir.h"

namespace {

using kelm::port::kPathSeparator;
using kelm::testing::IsReport;
using kelm::testing::Raised;

std::set<std::string> Items(const Collection& list) {
  std::set<std::string> items;
  for (int i = 0; i < list.Count(); ++i) items.insert(list[i]);
  return items;
}

class FileListTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(dir_.path().empty()); }
  std::string Path(const std::string& name) const { return dir_ / name; }
  std::string Sub(const std::string& a, const std::string& b) const { return a + kPathSeparator + b; }
  void MakeDirs(std::initializer_list<const char*> names) {
    for (const char* name : names) ASSERT_TRUE(kelm::port::MakeDirectory(Path(name).c_str())) << name;
  }
  void MakeFiles(std::initializer_list<const char*> names) {
    for (const char* name : names) ASSERT_TRUE(dir_.Write(name, name)) << name;
  }
  // The listing of `mask` in the folder with `flags`.
  std::set<std::string> List(const std::string& mask, int flags) {
    Collection list(csDUPLICATE | csOWNER);
    const bool any = GetFileList(Path(mask).c_str(), list, flags);
    EXPECT_EQ(any, list.Count() > 0);
    return Items(list);
  }

  kelm::testing::ScratchDir dir_;
};

TEST_F(FileListTest, FindFileTellsFilesFromFolders) {
  MakeDirs({"dir"});
  MakeFiles({"file.txt"});
  EXPECT_TRUE(FindFile(Path("dir").c_str(), true));
  EXPECT_TRUE(FindFile((Path("dir") + kPathSeparator).c_str(), true));
  EXPECT_FALSE(FindFile(Path("dir").c_str(), false));
  EXPECT_TRUE(FindFile(Path("file.txt").c_str(), false));
  EXPECT_FALSE(FindFile(Path("file.txt").c_str(), true));
  EXPECT_TRUE(FindFile(Path("*.TXT").c_str(), false));
  EXPECT_FALSE(FindFile(Path("*.doc").c_str(), false));
  EXPECT_FALSE(FindFile(Path("missing").c_str(), false));
  EXPECT_FALSE(FindFile(Path("missing").c_str(), true));
  EXPECT_FALSE(FindFile(nullptr, true));
  EXPECT_FALSE(FindFile("", false));
  EXPECT_FALSE(FindFile((Path(std::string(300, 'x'))).c_str(), false));
#ifndef _WIN32
  EXPECT_TRUE(FindFile("/", true));
  EXPECT_FALSE(FindFile("C:\\", true));  // no drive letters here
#endif
}

TEST_F(FileListTest, UnlinkFilesAndTrees) {
  MakeDirs({"tree", "tree/inner", "tree/inner/deep"});
  MakeFiles({"ro.txt", "tree/a", "tree/inner/b", "tree/inner/deep/c"});
  ASSERT_TRUE(kelm::port::SetPathAttributes(Path("ro.txt").c_str(), FILE_ATTRIBUTE_READONLY));
  ASSERT_TRUE(kelm::port::SetPathAttributes(Path("tree/inner/b").c_str(), FILE_ATTRIBUTE_READONLY));

  Unlink(Path("ro.txt").c_str(), true);
  EXPECT_FALSE(dir_.Exists("ro.txt"));
  Unlink(Path("ro.txt").c_str(), true);  // missing: nothing
  Unlink((Path("tree") + kPathSeparator + "..").c_str(), true);
  EXPECT_TRUE(dir_.Exists("tree"));
  Unlink((Path("tree") + kPathSeparator).c_str(), true);
  EXPECT_FALSE(dir_.Exists("tree"));
  EXPECT_TRUE(dir_.Exists(""));
  Unlink(nullptr, true);
  Unlink("", true);

  // A file that cannot go: reported only when asked.
  MakeFiles({"held"});
  const std::string held = Path("held");
  {
    HANDLE file =
        kelm::port::OpenFileHandle(held.c_str(), {.read = true, .share_read = false, .share_write = false});
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    Unlink(held.c_str(), false);
    EXPECT_TRUE(IsReport(Raised([&] { Unlink(held.c_str(), true); }),
                         "Ошибка при удалении файла или каталога \"" + held + "\"."));
    kelm::port::CloseFileHandle(file);
  }
  EXPECT_TRUE(dir_.Exists("held"));
}

TEST_F(FileListTest, UnlinkByMaskAndClearing) {
  MakeDirs({"d", "d/keep", "d/x.tmp"});
  MakeFiles({"d/a.tmp", "d/B.TMP", "d/c.txt", "d/keep/z.tmp", "d/x.tmp/inside"});
  Unlink(Path("d").c_str(), "*.tmp", true);
  EXPECT_FALSE(dir_.Exists("d/a.tmp"));
  EXPECT_FALSE(dir_.Exists("d/B.TMP"));
  EXPECT_FALSE(dir_.Exists("d/x.tmp"));      // a matching folder goes whole
  EXPECT_TRUE(dir_.Exists("d/keep/z.tmp"));  // the mask applies to the folder's own entries
  EXPECT_TRUE(dir_.Exists("d/c.txt"));
  Unlink(Path("d").c_str(), nullptr, true);
  Unlink("", "*.*", true);
  EXPECT_TRUE(dir_.Exists("d/c.txt"));

  ClearDirRecursive(Path("d").c_str(), false);
  EXPECT_TRUE(dir_.Exists("d"));
  EXPECT_EQ(List("d" + std::string(1, kPathSeparator) + "*", 0x4 | 0x8), std::set<std::string>{});
  ClearDirRecursive(Path("d").c_str(), true);
  EXPECT_FALSE(dir_.Exists("d"));
}

TEST_F(FileListTest, MasksAndFilters) {
  MakeDirs({"sub", "sub/deeper", "Папка"});
  MakeFiles({"a.txt", "B.TXT", "noext", "файл.тхт", ".hidden", "sub/c.txt", "sub/deeper/d.txt"});
#ifdef _WIN32
  ASSERT_TRUE(kelm::port::SetPathAttributes(Path(".hidden").c_str(), FILE_ATTRIBUTE_HIDDEN));
#endif
  using Names = std::set<std::string>;
  EXPECT_EQ(List("*.txt", 0), (Names{"a.txt", "B.TXT"}));
  EXPECT_EQ(List("?.TxT", 0), (Names{"a.txt", "B.TXT"}));
  EXPECT_EQ(List("*.*", 0), (Names{"a.txt", "B.TXT", "noext", "файл.тхт"}));
  EXPECT_EQ(List("*.", 0), (Names{"noext"}));
  EXPECT_EQ(List("*", 0), (Names{"a.txt", "B.TXT", "noext", "файл.тхт"}));
  EXPECT_EQ(List("ФАЙЛ.*", 0), (Names{"файл.тхт"}));
  EXPECT_EQ(List("*.*", 0x8), (Names{"a.txt", "B.TXT", "noext", "файл.тхт", ".hidden"}));
  EXPECT_EQ(List("*.*", 0x4), (Names{"sub", "Папка"}));
  EXPECT_EQ(List("п*", 0x4), (Names{"Папка"}));
  EXPECT_EQ(List("*.doc", 0), Names{});
  EXPECT_EQ(List("missing" + std::string(1, kPathSeparator) + "*.*", 0), Names{});

  const std::string full = kelm::port::FullPathOf(dir_.path().c_str()) + kPathSeparator;
  EXPECT_EQ(List("*.txt", 0x1), (Names{full + "a.txt", full + "B.TXT"}));
  EXPECT_EQ(List("*.txt", 0x2),
            (Names{"a.txt", "B.TXT", Sub("sub", "c.txt"), Sub(Sub("sub", "deeper"), "d.txt")}));
  EXPECT_EQ(List("*.txt", 0x3), (Names{full + "a.txt", full + "B.TXT", full + Sub("sub", "c.txt"),
                                       full + Sub(Sub("sub", "deeper"), "d.txt")}));
  EXPECT_EQ(List("*", 0x6), (Names{"sub", Sub("sub", "deeper"), "Папка"}));

  // The list keeps what it held; the answer counts that too.
  Collection list(csDUPLICATE | csOWNER);
  list << "earlier";
  EXPECT_TRUE(GetFileList(Path("*.doc").c_str(), list, 0));
  EXPECT_EQ(list.Count(), 1);
  Collection empty(csDUPLICATE | csOWNER);
  EXPECT_FALSE(GetFileList(nullptr, empty, 0));
  EXPECT_FALSE(GetFileList((dir_.path() + kPathSeparator).c_str(), empty, 0));
}

TEST_F(FileListTest, LongFullPathsAreReportedAndKept) {
  std::string dir = dir_.path();
  while (dir.size() < 250) {
    dir += kPathSeparator + std::string(40, 'n');
    if (!kelm::port::MakeDirectory(dir.c_str())) GTEST_SKIP() << "the system refuses long paths";
  }
  const std::string file = dir + kPathSeparator + "long-name.txt";
  HANDLE handle = kelm::port::OpenFileHandle(
      file.c_str(), {.write = true, .disposition = kelm::port::FileDisposition::kCreateNew});
  if (handle == INVALID_HANDLE_VALUE) GTEST_SKIP() << "the system refuses long paths";
  kelm::port::CloseFileHandle(handle);
  const std::string full = kelm::port::FullPathOf(file.c_str());
  ASSERT_GT(full.size(), 259u);

  ErrorMessager::Instance().ClrLastError();
  Collection list(csDUPLICATE | csOWNER);
  EXPECT_TRUE(GetFileList((dir + kPathSeparator + "*.txt").c_str(), list, 0x1));
  EXPECT_EQ(Items(list), std::set<std::string>{full});
  EXPECT_EQ(std::string(ErrorMessager::Instance().GetLastError()),
            "Длина имени файла превышает 259 символов.                             Для корректной "
            "работы переместите программу в папку с                             более коротким путем.\n"
            "                            Файл: \"" +
                full + "\".");
  Unlink(dir_.path().c_str(), "*.*", true);  // deep paths go too
  EXPECT_FALSE(dir_.Exists(std::string(40, 'n')));
}

TEST_F(FileListTest, CanDelFolderSeesOnlyFiles) {
  MakeDirs({"only-dirs", "only-dirs/a", "only-dirs/b", "with-file"});
  MakeFiles({"only-dirs/a/deep-file", "with-file/f"});
  EXPECT_TRUE(CanDelFolder(Path("only-dirs").c_str()));
  EXPECT_FALSE(CanDelFolder(Path("with-file").c_str()));
  EXPECT_TRUE(CanDelFolder(Path("missing").c_str()));
  EXPECT_TRUE(CanDelFolder(nullptr));
}

// An alternative file system that claims names beginning with "kfs:".
struct KfsLog {
  bool enabled = false;
  std::string pattern;
  int flags = -1;
  long long kind = 0;
  int handlers = 0;
} kfs;

class KfsUtils : public IFileUtils {
 public:
  KfsUtils() { ++kfs.handlers; }
  ~KfsUtils() override { --kfs.handlers; }
  bool Open(const char*, unsigned, Stream&) override { return false; }
  bool Write(unsigned long, Stream&) override { return false; }
  bool Exists(const char*, bool) override { return true; }
  bool Remove(const char*) override { return false; }
  bool Rename(const char*, const char*) override { return false; }
  bool GetFileList(const char* pattern, Collection& list, int flags) override {
    kfs.pattern = pattern;
    kfs.flags = flags;
    list << "from-kfs";
    return true;
  }
};

class KfsCreator : public IFileUtilsCreator {
 public:
  IFileUtils* Create(long long kind) override {
    kfs.kind = kind;
    return kfs.enabled && kind != 0 ? new KfsUtils : nullptr;
  }
};

long long KfsHook(const char* path, bool) { return std::strncmp(path, "kfs:", 4) == 0 ? 7 : 0; }

TEST_F(FileListTest, AlternativeFileSystem) {
  FileSystemFactory& factory = FileSystemFactory::Instance();
  EXPECT_FALSE(factory.Create(nullptr));
  auto* first = new KfsCreator;
  ASSERT_TRUE(factory.Create(first));
  ASSERT_TRUE(factory.Create(new KfsCreator));  // replaces the first, which stays ours
  delete first;
  kfs.enabled = true;

  EXPECT_EQ(factory.Get(nullptr, false), nullptr);
  EXPECT_EQ(factory.Get("", false), nullptr);
  IFileUtils* handler = factory.Get("anything", false);
  EXPECT_NE(handler, nullptr);
  EXPECT_EQ(kfs.kind, -1);  // no hook yet
  delete handler;

  factory.SetPathHook(KfsHook);
  EXPECT_TRUE(FindKFSFile("kfs:a.dat"));
  EXPECT_EQ(kfs.kind, 7);
  EXPECT_FALSE(FindKFSFile("plain.dat"));
  EXPECT_TRUE(CanOpen("kfs:a.dat", fmRead));
  EXPECT_FALSE(CanOpen("kfs:a.dat", fmRead | fmWrite));
  EXPECT_TRUE(ClearROAttrib("kfs:a.dat", false));

  Collection list(csDUPLICATE | csOWNER);
  EXPECT_TRUE(GetFileList("kfs:*.*", list, 0x1 | 0x2 | 0x4));
  EXPECT_EQ(Items(list), std::set<std::string>{"from-kfs"});
  EXPECT_EQ(kfs.pattern, "kfs:*.*");
  EXPECT_EQ(kfs.flags, 0x2 | 0x4 | 0x80);
  kfs.flags = -1;
  GetFileList("kfs:*.*", list, 0, true);  // the walk's own calls do not ask
  EXPECT_EQ(kfs.flags, -1);
  EXPECT_EQ(kfs.handlers, 0);  // every handler was destroyed

  factory.SetPathHook(nullptr);
  kfs.enabled = false;
}

}  // namespace
