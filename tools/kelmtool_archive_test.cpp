#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kelm/archive/testing/zip_builder.h"
#include "kelm/port/file.h"
#include "kelm/port/testing/scratch_dir.h"
#include "tools/console.h"
#include "tools/kelmtool.h"

namespace kelm::tools {
namespace {

using kelm::testing::RawMember;
using kelm::testing::ZipBuilder;

class Captured : public Output {
 public:
  void Out(const std::string& text) override { out += text; }
  void Err(const std::string& text) override { err += text; }
  std::string out;
  std::string err;
};

class KelmtoolArchiveTest : public ::testing::Test {
 protected:
  // The tool runs in the scratch folder: members are named by the paths
  // given, and "test" writes its scratch file into the current folder.
  void SetUp() override {
    home_ = std::filesystem::current_path();
    std::filesystem::current_path(dir_.path());
  }
  void TearDown() override { std::filesystem::current_path(home_); }

  // Arguments are Windows-1251 texts, as main() hands them over; files are
  // made under the names the tool gives the system.
  static std::string Path(const std::string& name) { return name; }
  void Make(const std::string& name, const std::string& content) const {
    ASSERT_TRUE(dir_.Write(SystemName(name), content));
  }
  void Folder(const std::string& name) const {
    ASSERT_TRUE(kelm::port::MakeDirectory(SystemName(dir_ / name).c_str()));
  }
  int Run(Args args) {
    result_ = Captured();
    return RunCommand(args, result_);
  }
  bool Has(const std::string& what) const { return result_.out.find(what) != std::string::npos; }

  kelm::testing::ScratchDir dir_;
  std::filesystem::path home_;
  Captured result_;
};

TEST_F(KelmtoolArchiveTest, PacksListsTestsAndExtractsATree) {
  Folder("src");
  Folder("src/Папка");
  Folder("src/пустая");
  Make("src/Папка/Отчёт.txt", std::string(5000, 'x'));
  Make("src/top.bin", "top");
  const std::string archive = Path("a.zip");
  ASSERT_EQ(Run({"zip", "-3", archive, Path("src")}), kExitOk) << result_.err;
  EXPECT_TRUE(Has("2 files added")) << result_.out;

  ASSERT_EQ(Run({"list", archive}), kExitOk) << result_.err;
  for (const char* name : {"src/Папка/Отчёт.txt", "src/пустая/", "src/top.bin"}) EXPECT_TRUE(Has(name)) << name;
  EXPECT_TRUE(Has("      5000")) << result_.out;
  EXPECT_TRUE(Has("5 members")) << result_.out;

  ASSERT_EQ(Run({"test", archive}), kExitOk);
  EXPECT_TRUE(Has("5 members, no errors")) << result_.out;

  const std::string out = Path("out");
  ASSERT_EQ(Run({"unzip", archive, "-d", out}), kExitOk) << result_.err;
  EXPECT_EQ(dir_.Read("out/src/top.bin"), "top");
  EXPECT_EQ(dir_.Read("out/src/Папка/Отчёт.txt"), std::string(5000, 'x')) << "member names reach the system as they are";
  EXPECT_TRUE(dir_.Exists("out/src/пустая"));
  EXPECT_EQ(Run({"unzip", archive, "-d", out}), kExitProblems);
  EXPECT_NE(result_.err.find("уже существует"), std::string::npos) << result_.err;
  EXPECT_TRUE(Has("3 of 5 members extracted")) << result_.out;
  EXPECT_EQ(Run({"unzip", "-o", archive, "-d", out}), kExitOk) << result_.err;
}

TEST_F(KelmtoolArchiveTest, ZipNeverReplacesAnArchiveAndAppendsWithMinusA) {
  Make("one.txt", "1");
  Make("two.txt", "2");
  const std::string archive = Path("a.zip");
  ASSERT_EQ(Run({"zip", "-0", archive, Path("one.txt")}), kExitOk) << result_.err;
  const std::string first = dir_.Read("a.zip");
  EXPECT_EQ(Run({"zip", archive, Path("two.txt")}), kExitProblems);
  EXPECT_EQ(dir_.Read("a.zip"), first);
  EXPECT_EQ(Run({"zip", "-a", archive, Path("one.txt"), Path("two.txt")}), kExitProblems);
  EXPECT_NE(result_.err.find("already in the archive"), std::string::npos) << result_.err;
  ASSERT_EQ(Run({"list", archive}), kExitOk);
  EXPECT_TRUE(Has("2 members")) << result_.out;

  EXPECT_EQ(Run({"zip", archive}), kExitUsage);
  EXPECT_EQ(Run({"zip", "-x", archive, Path("one.txt")}), kExitUsage);
  EXPECT_EQ(Run({"zip", "--help"}), kExitOk);
  EXPECT_EQ(Run({"unzip"}), kExitUsage);
  EXPECT_EQ(Run({"list", "--help"}), kExitOk);
  Make("not.zip", "PK, but no archive");
  EXPECT_EQ(Run({"list", Path("not.zip")}), kExitProblems);
  EXPECT_EQ(Run({"zip", "-a", Path("not.zip"), Path("one.txt")}), kExitProblems);
}

TEST_F(KelmtoolArchiveTest, UnzipRefusesAHostileArchiveWholeAndTestNamesDamage) {
  RawMember bad_crc("bad.txt", "some bytes");
  bad_crc.crc = 7;
  const std::string hostile =
      ZipBuilder().Add(RawMember("fine.txt", "fine")).Add(RawMember("../escape.txt", "x")).Bytes();
  Make("hostile.zip", hostile);
  const std::string out = Path("out");
  EXPECT_EQ(Run({"unzip", Path("hostile.zip"), "-d", out}), kExitProblems);
  EXPECT_NE(result_.err.find("Недопустимое имя файла в архиве: ../escape.txt"), std::string::npos) << result_.err;
  EXPECT_FALSE(dir_.Exists("out/fine.txt"));
  EXPECT_FALSE(dir_.Exists("escape.txt"));

  Make("damaged.zip", ZipBuilder().Add(RawMember("good.txt", "good")).Add(bad_crc).Bytes());
  EXPECT_EQ(Run({"test", Path("damaged.zip")}), kExitProblems);
  EXPECT_TRUE(Has("bad.txt: Ошибка контрольной суммы!")) << result_.out;
  EXPECT_TRUE(Has("1 of 2 members damaged")) << result_.out;
}

TEST_F(KelmtoolArchiveTest, ChecksumsOfFiles) {
  Make("digits.txt", "123456789");
  Make("empty", "");
  ASSERT_EQ(Run({"crc32", Path("digits.txt"), Path("empty")}), kExitOk) << result_.err;
  EXPECT_EQ(result_.out, "2dfd2d88  " + Path("digits.txt") + "\n00000000  " + Path("empty") + "\n");
  ASSERT_EQ(Run({"md5", Path("digits.txt")}), kExitOk);
  EXPECT_EQ(result_.out, "25f9e794323b453885f5181f1b624d0b  " + Path("digits.txt") + "\n");
  EXPECT_EQ(Run({"md5", Path("missing"), Path("empty")}), kExitProblems);
  EXPECT_EQ(result_.out, "d41d8cd98f00b204e9800998ecf8427e  " + Path("empty") + "\n");
  EXPECT_NE(result_.err.find(Path("missing")), std::string::npos);
  EXPECT_EQ(Run({"crc32"}), kExitUsage);
}

}  // namespace
}  // namespace kelm::tools
