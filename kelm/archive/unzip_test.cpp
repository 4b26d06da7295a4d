#include "kelm/archive/unzip.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "kelm/archive/testing/zip_builder.h"
#include "kelm/archive/unzip_file_stream.h"
#include "kelm/archive/zip_file_stream.h"
#include "kelm/frame/exceptions.h"
#include "kelm/port/file.h"
#include "kelm/port/testing/file_faults.h"
#include "kelm/port/testing/scratch_dir.h"
#include "kelm/streams/mem_stream.h"

namespace {

using kelm::testing::RawMember;
using M = RawMember;
using kelm::testing::ScratchDir;
using kelm::testing::StreamText;
using kelm::testing::ZipBuilder;
using Raise = std::pair<int, std::string>;

// The code and text of the ZipException that `f` raises; code -1 when none.
Raise Raised(const std::function<void()>& f) {
  try {
    f();
  } catch (const ZipException& e) {
    return {e.Code(), static_cast<const char*>(e.Description())};
  }
  return {-1, ""};
}

std::string Archive(const std::vector<std::pair<std::string, std::string>>& members) {
  ZipMemFileStream zip;
  for (const auto& [name, data] : members) {
    EXPECT_EQ(zip.AddFileInArchive(data.data(), static_cast<unsigned>(data.size()), name.c_str(),
                                   ArchiveFileStream::clDefault),
              ZipMemFileStream::arAdded);
  }
  std::vector<char> bytes;
  EXPECT_TRUE(zip.ToVector(bytes));
  return std::string(bytes.begin(), bytes.end());
}

TEST(UnZipTest, InitFailuresRaiseAndAreKept) {
  UnZip unzip;
  EXPECT_EQ(Raised([&] { unzip.Init("no such.zip"); }), Raise(1, "Файл no such.zip не найден!"));
  EXPECT_EQ(unzip.Extract(".", "x", false), 0) << "a kept failure: no extraction, no error";
  EXPECT_EQ(unzip.ExtractAll(".", false), 1);
  EXPECT_EQ(Raised([&] { unzip.Init(ZipBuilder::UVector("PK\x05\x06 not really")); }).second, "Ошибка в архиве  !");
  const std::string good = Archive({{"a.txt", "a"}});
  EXPECT_EQ(unzip.Init(ZipBuilder::UVector(good)), 0) << "a new Init starts afresh";
  EXPECT_EQ(unzip.ItemList(), std::vector<std::string>{"a.txt"});
}

TEST(UnZipTest, EveryInitFormReadsTheSameArchive) {
  ScratchDir dir;
  const std::string bytes = Archive({{"один.txt", "1"}, {"два.txt", "22"}});
  ASSERT_TRUE(dir.Write("a.zip", bytes));
  MemStream stream;
  stream.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
  std::istringstream in(bytes);
  std::vector<std::function<int(UnZip&)>> inits = {
      [&](UnZip& u) { return u.Init((dir / "a.zip").c_str()); },
      [&](UnZip& u) { return u.Init((dir / "a.zip").c_str(), fmDenyWrite); },
      [&](UnZip& u) { return u.Init(stream); },
      [&](UnZip& u) { return u.Init(in); },
      [&](UnZip& u) { return u.Init(ZipBuilder::UVector(bytes)); },
  };
  for (const auto& init : inits) {
    UnZip unzip;
    ASSERT_EQ(init(unzip), 0);
    EXPECT_EQ(unzip.ItemList(), (std::vector<std::string>{"один.txt", "два.txt"}));
    std::vector<unsigned char> data;
    ASSERT_EQ(unzip.Extract(data, "два.txt"), 0);
    EXPECT_EQ(std::string(data.begin(), data.end()), "22");
    EXPECT_EQ(unzip.Close(), 0);
  }
}

TEST(UnZipTest, ExtractIntoStreamsThroughMemoryOrATemporaryFile) {
  const std::string big(200000, 'z');
  UnZip unzip;
  ASSERT_EQ(unzip.Init(ZipBuilder::UVector(Archive({{"big", big}, {"small", "s"}}))), 0);
  for (ZipTarget target : {ztAuto, ztTempFile, ztMemory}) {
    MemStream stream;
    stream.Write("old content", 11);
    ASSERT_EQ(unzip.Extract(stream, "big", target), 0);
    EXPECT_EQ(StreamText(stream), big);
    std::ostringstream out;
    out << "head:";
    ASSERT_EQ(unzip.Extract(out, "small", target), 0);
    EXPECT_EQ(out.str(), "head:s");
  }
  MemStream stream;
  EXPECT_EQ(Raised([&] { unzip.Extract(stream, "missing", ztAuto); }), Raise(12, "В архиве файл missing не найден!"));
  unzip.Close();
  EXPECT_EQ(Raised([&] { unzip.Extract(stream, "big", ztAuto); }),
            Raise(7, "Попытка чтения файла big из закрытого архива!"));
  EXPECT_EQ(Raised([&] { unzip.ExtractAll(".", false); }),
            Raise(1, "Попытка извлечения данных в директорию . из закрытого архива!"));
}

TEST(UnZipTest, ExtractIntoAFolder) {
  ScratchDir dir;
  UnZip unzip;
  ASSERT_EQ(unzip.Init(ZipBuilder::UVector(Archive({{"папка/вложенная/файл.txt", "вложенный"},
                                                    {"b\\c.txt", "c"},
                                                    {"имя 100%s.txt", "percent"}}))),
            0);
  const std::string out = dir / "out";
  ASSERT_EQ(unzip.ExtractAll(out.c_str(), false), 0);
  EXPECT_EQ(dir.Read("out/папка/вложенная/файл.txt"), "вложенный");
  EXPECT_EQ(dir.Read("out/b/c.txt"), "c");
  EXPECT_EQ(dir.Read("out/имя 100%s.txt"), "percent");

  const auto [code, text] = Raised([&] { unzip.Extract(out.c_str(), "имя 100%s.txt", false); });
  EXPECT_EQ(code, 3);
  EXPECT_EQ(text, "Файл " + (dir / "out") + kelm::port::kPathSeparator +
                      "имя 100%s.txt уже существует. Перезапись запрещена!");
  ASSERT_TRUE(dir.Write("out/b/c.txt", "changed"));
  EXPECT_EQ(unzip.Extract(out.c_str(), "b\\c.txt", true), 0);
  EXPECT_EQ(dir.Read("out/b/c.txt"), "c");
  EXPECT_EQ(Raised([&] { unzip.Extract(out.c_str(), "nothing", true); }).second, "В архиве файл nothing не найден!");
}

TEST(UnZipTest, NamesThatWouldLeaveTheFolderAreRefused) {
  ScratchDir dir;
  const std::string out = dir / "out";
  for (const std::string& name :
       std::vector<std::string>{"../up.txt", "a/../../up.txt", "..\\up.txt", "/etc/passwd", "\\\\server\\share\\x",
                                "C:\\x.txt", "c:x.txt", "file.txt:ads", "", "tab\there", std::string("nul\0x", 5),
                                "a/.../b", "a/.. /b", "a/ /b", "CON", "dir/nul.txt", "Com1.log", "LPT9", "conout$"}) {
    SCOPED_TRACE(name);
    UnZip unzip;
    ASSERT_EQ(unzip.Init(ZipBuilder::UVector(ZipBuilder().Add(RawMember{name, "x"}).Bytes())), 0);
    const auto [code, text] = Raised([&] { unzip.Extract(out.c_str(), unzip.ItemList()[0], true); });
    EXPECT_EQ(code, 12);
    EXPECT_EQ(text.rfind("Недопустимое имя файла в архиве: ", 0), 0u) << text;
  }
  for (const char* name : {"./a.txt", "a..b/c..txt", ".hidden", "com10.txt", "console.txt", "a//b.txt"}) {
    UnZip unzip;
    ASSERT_EQ(unzip.Init(ZipBuilder::UVector(Archive({{name, "ok"}}))), 0);
    EXPECT_EQ(unzip.Extract((dir / "fine").c_str(), name, true), 0) << name;
  }
  EXPECT_EQ(dir.Read("fine/a..b/c..txt"), "ok");

  // ExtractAll checks every name first: nothing is written.
  UnZip unzip;
  ASSERT_EQ(unzip.Init(ZipBuilder::UVector(
                ZipBuilder().Add(M{"good.txt", "good"}).Add(M{"../bad.txt", "bad"}).Add(M{"later.txt", "later"}).Bytes())),
            0);
  const auto [code, text] = Raised([&] { unzip.ExtractAll(out.c_str(), false); });
  EXPECT_EQ(code, 12);
  EXPECT_NE(text.find("../bad.txt"), std::string::npos) << text;
  EXPECT_FALSE(dir.Exists("out/good.txt") || dir.Exists("bad.txt") || dir.Exists("out/later.txt"));
}

TEST(UnZipTest, HostileArchivesFailCleanly) {
  const std::string text = "some text that deflates, some text that deflates";
  const std::string archive =
      ZipBuilder()
          .Add(M{"claim.bin", std::string(100, 'a')}.With(&M::deflate, true).With(&M::size, 0xFFFFFFFFll))  // 4 GiB
          .Add(M{"crc.txt", text}.With(&M::crc, 0x12345678))
          .Add(M{"short.txt", text}.With(&M::size, text.size() + 10))
          .Add(M{"stored.bin", "tiny"}.With(&M::size, 1 << 30))
          .Add(M{"secret.txt", text}.With(&M::flags, 1))
          .Bytes();
  const std::string encrypted = "в архиве зашифрован: распаковка зашифрованных файлов не поддерживается!";
  const std::vector<std::array<std::string, 3>> cases = {  // member, UnZip's text, UnZipFileStream's text
      {"claim.bin", "Не удалось распаковать файл claim.bin", "Ошибка при распаковке архива!"},
      {"crc.txt", "Не удалось распаковать файл crc.txt", "Ошибка контрольной суммы!"},
      {"short.txt", "Не удалось распаковать файл short.txt", "Ошибка при распаковке архива!"},
      {"stored.bin", "Не удалось распаковать файл stored.bin", "Ошибка при распаковке архива!"},
      {"secret.txt", "Файл secret.txt " + encrypted, "Файл " + encrypted},
  };
  UnZip unzip;
  ASSERT_EQ(unzip.Init(ZipBuilder::UVector(archive)), 0);
  UnZipFileStream stream;
  ASSERT_TRUE(stream.Open(ZipBuilder::Vector(archive)));
  for (const auto& [name, raised, error] : cases) {
    SCOPED_TRACE(name);
    std::vector<unsigned char> data;
    EXPECT_EQ(Raised([&] { unzip.Extract(data, name); }), Raise(12, raised));
    EXPECT_TRUE(data.empty());
    MemStream target;
    EXPECT_EQ(Raised([&] { unzip.Extract(target, name, ztMemory); }).first, 12);
    std::vector<char> bytes;
    EXPECT_FALSE(stream.ExtractFile(name.c_str(), bytes));
    EXPECT_EQ(stream.Error(), error);
    EXPECT_FALSE(stream.ExtractFile(name.c_str(), target));
    EXPECT_EQ(stream.Error(), error);
  }
  EXPECT_FALSE(stream.CheckFile());
}

TEST(UnZipTest, BrokenDirectoriesAreRefused) {
  const std::string good = Archive({{"a.txt", "aaaa"}, {"b.txt", "bbbb"}});
  const RawMember m{"a.txt", "a"};
  const std::vector<std::pair<std::string, std::string>> broken = {
      {"past the end", ZipBuilder().Add(m).ShiftDirectory(1000).Bytes()},
      {"more members than there are", ZipBuilder().Add(m).Count(3).Bytes()},
      {"truncated", good.substr(0, good.size() - 30)},
      {"cut in the middle", good.substr(0, good.size() / 2)},
      {"empty", ""},
  };
  for (const auto& [what, bytes] : broken) {
    SCOPED_TRACE(what);
    UnZip unzip;
    EXPECT_EQ(Raised([&] { unzip.Init(ZipBuilder::UVector(bytes)); }).first, 12);
    UnZipFileStream stream;
    EXPECT_FALSE(stream.Open(ZipBuilder::Vector(bytes)));
  }
}

TEST(UnZipTest, SizesInZip64FieldsAreRead) {
  const std::string bytes = ZipBuilder()
                                .Add(M{"stored.txt", "stored bytes"}.With(&M::zip64, true))
                                .Add(M{"deflated.txt", std::string(70000, 'd')}.With(&M::zip64, true).With(&M::deflate, true))
                                .Bytes();
  UnZipFileStream unzip;
  ASSERT_TRUE(unzip.Open(ZipBuilder::Vector(bytes))) << unzip.Error();
  EXPECT_EQ(unzip.Members()[1].size, 70000u);
  std::vector<char> data;
  ASSERT_TRUE(unzip.ExtractFile("stored.txt", data)) << unzip.Error();
  EXPECT_EQ(std::string(data.begin(), data.end()), "stored bytes");
  ASSERT_TRUE(unzip.ExtractFile("deflated.txt", data)) << unzip.Error();
  EXPECT_EQ(data.size(), 70000u);
  EXPECT_TRUE(unzip.CheckFile());
}

TEST(UnZipTest, SixtyFiveThousandMembersAreAllListed) {
  // 65535 is the most an end record counts without ZIP64 records; minizip
  // takes that count as "maybe more".
  ZipMemFileStream zip;
  for (int i = 0; i < 65535; ++i) {
    const std::string name = std::to_string(i);
    ASSERT_TRUE(zip.AddFile(name.data(), static_cast<unsigned>(name.size()), name.c_str(), ArchiveFileStream::clStored));
  }
  std::vector<unsigned char> bytes;
  ASSERT_TRUE(zip.ToVector(bytes));
  UnZip unzip;
  ASSERT_EQ(unzip.Init(bytes), 0);
  ASSERT_EQ(unzip.ItemList().size(), 65535u);
  EXPECT_EQ(unzip.ItemList().back(), "65534");
  std::vector<unsigned char> data;
  ASSERT_EQ(unzip.Extract(data, "65534"), 0);
  EXPECT_EQ(std::string(data.begin(), data.end()), "65534");
}

TEST(UnZipTest, DamagedMembersFailTheCheck) {
  std::string archive = Archive({{"a.txt", std::string(5000, 'a')}, {"b.txt", std::string(5000, 'b')}});
  // The second member's compressed bytes, changed.
  const std::size_t second = archive.find("PK\x03\x04", 4);
  archive[second + 30 + 5 + 3] ^= 0x40;
  UnZipFileStream bad;
  ASSERT_TRUE(bad.Open(ZipBuilder::Vector(archive)));
  EXPECT_FALSE(bad.CheckFile());
  EXPECT_NE(std::string(bad.Error()), "");
  EXPECT_FALSE(kelm::port::PathAttributes("check.tmp") != INVALID_FILE_ATTRIBUTES) << "the scratch file is gone";
}

TEST(UnZipTest, AFailedExtractionLeavesNoFile) {
  ScratchDir dir;
  UnZip unzip;
  ASSERT_EQ(unzip.Init(ZipBuilder::UVector(ZipBuilder().Add(M{"crc.txt", std::string(3000, 'c')}.With(&M::crc, 1)).Bytes())),
            0);
  EXPECT_EQ(Raised([&] { unzip.Extract(dir.path().c_str(), "crc.txt", false); }).first, 12);
  EXPECT_FALSE(dir.Exists("crc.txt"));

  UnZip full;
  ASSERT_EQ(full.Init(ZipBuilder::UVector(Archive({{"x.bin", std::string(100000, 'x')}}))), 0);
  kelm::port::testing::ScopedFileFaults faults;
  kelm::port::testing::FailFileCall(kelm::port::testing::FileCall::kWrite, 1, 112);
  EXPECT_EQ(Raised([&] { full.Extract(dir.path().c_str(), "x.bin", false); }).first, 12);
  EXPECT_FALSE(dir.Exists("x.bin"));
}

TEST(UnZipTest, IsZipStreamLooksAtTheFirstTwoBytes) {
  for (const auto& [bytes, zip] : std::vector<std::pair<std::string, bool>>{{"P", false}, {"PK\x03\x04", true}, {"MZ..", false}}) {
    MemStream stream;
    stream.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
    EXPECT_EQ(IsZipStream(stream), zip) << bytes;
    EXPECT_EQ(stream.CurPos(), 0u);
  }
}

}  // namespace
