#include "kelm/archive/zip_file_stream.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "kelm/archive/testing/zip_builder.h"
#include "kelm/archive/unzip_file_stream.h"
#include "kelm/port/file.h"
#include "kelm/port/testing/scratch_dir.h"
#include "kelm/streams/fstream.h"
#include "kelm/streams/mem_stream.h"

namespace {

using kelm::testing::Contents;
using kelm::testing::Contents_t;
using kelm::testing::ScratchDir;
using kelm::testing::StreamText;

std::string Pattern(std::size_t n) {
  std::string text;
  for (std::size_t i = 0; i < n; ++i) text += static_cast<char>("архив, data "[i % 12] ^ (i / 977));
  return text;
}

TEST(ZipFileStreamTest, MembersComeBackAtEveryLevelFromFileAndMemory) {
  ScratchDir dir;
  const std::string big = Pattern(300000);
  const std::string archive = dir / "a.zip";
  for (int level = ArchiveFileStream::clStored; level <= ArchiveFileStream::clBest; ++level) {
    const auto cl = static_cast<ArchiveFileStream::CompressionLevel>(level);
    SCOPED_TRACE(level);
    ZipFileStream file;
    ASSERT_TRUE(file.Open(archive.c_str(), false));
    ZipMemFileStream memory;
    for (ZipFileStream* zip : {static_cast<ZipFileStream*>(&file), static_cast<ZipFileStream*>(&memory)}) {
      MemStream stream;
      stream.Write(big.data(), static_cast<unsigned>(big.size()));
      EXPECT_TRUE(zip->AddStream(stream, "big.bin", cl));
      EXPECT_TRUE(zip->AddFile("short", 5, "short.txt", cl));
      EXPECT_TRUE(zip->AddFile(std::vector<char>{}, "empty.txt", cl));
      EXPECT_TRUE(zip->AddDir("папка"));
    }
    std::vector<char> from_file, from_memory;
    ASSERT_TRUE(file.ToVector(from_file));
    ASSERT_TRUE(memory.ToVector(from_memory));
    EXPECT_FALSE(file.IsOpened());
    EXPECT_FALSE(file.AddFile("x", 1, "late.txt", cl)) << "a finished archive takes no more members";

    for (const std::vector<char>* bytes : {&from_file, &from_memory}) {
      UnZipFileStream unzip;
      ASSERT_TRUE(unzip.Open(*bytes)) << unzip.Error();
      EXPECT_EQ(Contents(unzip), (Contents_t{{"big.bin", big}, {"short.txt", "short"}, {"empty.txt", ""}, {"папка/", ""}}));
      EXPECT_TRUE(unzip.CheckFile()) << unzip.Error();
    }
    file.Close(false);
  }
}

TEST(ZipFileStreamTest, NamesListInWindows1251WhateverTheCoding) {
  const std::string name = "Отчёт «за квартал» №1.txt";
  for (auto coding : {ArchiveFileStream::fncOem, ArchiveFileStream::fncAnsi, ArchiveFileStream::fncUtf8}) {
    SCOPED_TRACE(coding);
    ZipMemFileStream zip(0, coding);
    ASSERT_TRUE(zip.AddFile("1", 1, name.c_str(), ArchiveFileStream::clDefault));
    std::vector<char> bytes;
    ASSERT_TRUE(zip.ToVector(bytes));
    UnZipFileStream unzip;
    ASSERT_TRUE(unzip.Open(bytes));
    // Code page 866 has no "«»": under fncOem they read back as what
    // Windows' best fit makes of them.
    const std::string expected = coding == ArchiveFileStream::fncOem ? "Отчёт <за квартал> №1.txt" : name;
    EXPECT_EQ(Contents(unzip), (Contents_t{{expected, "1"}}));
  }
}

TEST(ZipFileStreamTest, OpenWithoutNameWritesATemporaryFileThatCloseMayKeep) {
  for (bool remove : {true, false}) {
    ZipFileStream zip;
    ASSERT_TRUE(zip.Open(nullptr, false));
    EXPECT_TRUE(zip.IsTempFile());
    const std::string name = zip.GetFileName();
    EXPECT_NE(name.find("kla"), std::string::npos) << name;
    MemStream empty;
    EXPECT_TRUE(zip.AddStream(empty, "empty", ArchiveFileStream::clDefault));
    zip.Close(remove);
    EXPECT_STREQ(zip.GetFileName(), "");
    EXPECT_FALSE(zip.IsTempFile());
    const bool exists = kelm::port::PathAttributes(name.c_str()) != INVALID_FILE_ATTRIBUTES;
    EXPECT_EQ(exists, !remove);
    if (!remove) {
      UnZipFileStream unzip;
      ASSERT_TRUE(unzip.Open(name.c_str()));
      EXPECT_EQ(Contents(unzip), (Contents_t{{"empty", ""}}));
      unzip.Close(true);
      kelm::port::RemoveFile(name.c_str());
    }
  }
}

TEST(ZipFileStreamTest, AppendAddsToTheArchiveInTheFile) {
  ScratchDir dir;
  const std::string archive = dir / "grow.zip";
  {
    ZipFileStream zip;
    ASSERT_TRUE(zip.Open(archive.c_str(), false));
    ASSERT_TRUE(zip.AddFile("one", 3, "1.txt", ArchiveFileStream::clDefault));
  }
  ZipFileStream zip;
  ASSERT_TRUE(zip.Open(archive.c_str(), true));
  ASSERT_TRUE(zip.AddFile("two", 3, "2.txt", ArchiveFileStream::clDefault));
  FStream result;
  ASSERT_TRUE(zip.GetStream(result));
  UnZipFileStream unzip;
  ASSERT_TRUE(unzip.Open(result));
  EXPECT_TRUE(unzip.IsTempFile()) << "a stream is read through a copy";
  EXPECT_EQ(Contents(unzip), (Contents_t{{"1.txt", "one"}, {"2.txt", "two"}}));
}

TEST(ZipMemFileStreamTest, RefusedMembersAndDataThatDoesNotFit) {
  EXPECT_FALSE(ZipFileStream().AddFile("x", 1, "x", ArchiveFileStream::clDefault)) << "not open";
  ZipMemFileStream zip(4096);
  EXPECT_FALSE(zip.AddFile("x", 1, nullptr, ArchiveFileStream::clDefault));
  EXPECT_EQ(zip.AddFileInArchive("x", 1, "", ArchiveFileStream::clDefault), ZipMemFileStream::arFailed);
  EXPECT_EQ(zip.AddFileInArchive("small", 5, "small.txt", ArchiveFileStream::clDefault), ZipMemFileStream::arAdded);
  const std::string noise = Pattern(20000);
  EXPECT_EQ(zip.AddFileInArchive(noise.data(), static_cast<unsigned>(noise.size()), "big",
                                 ArchiveFileStream::clStored),
            ZipMemFileStream::arNoRoom);
  EXPECT_LE(zip.Size(), 4096u);
  std::vector<unsigned char> bytes;
  EXPECT_FALSE(zip.ToVector(bytes)) << "a member was cut: no archive to deliver";
}

TEST(ZipMemFileStreamTest, DeliversToStreamsAndVectors) {
  ZipMemFileStream zip;
  ASSERT_EQ(zip.AddFileInArchive("abc", 3, "abc.txt", ArchiveFileStream::clBest), ZipMemFileStream::arAdded);
  std::vector<unsigned char> bytes;
  ASSERT_TRUE(zip.ToVector(bytes));
  MemStream stream;
  stream.Write("old content", 11);
  ASSERT_TRUE(zip.GetStream(stream));
  std::ostringstream out;
  out << "head:";
  ASSERT_TRUE(zip.GetStream(out));
  const std::string archive(bytes.begin(), bytes.end());
  EXPECT_EQ(StreamText(stream), archive) << "the stream's content is replaced";
  EXPECT_EQ(out.str(), "head:" + archive) << "a std::ostream is written at its position";
}

TEST(UnZipFileStreamTest, ExtractFileFailuresLeaveTheirText) {
  ZipMemFileStream zip;
  zip.AddFileInArchive("abc", 3, "abc.txt", ArchiveFileStream::clDefault);
  std::vector<char> bytes;
  ASSERT_TRUE(zip.ToVector(bytes));
  UnZipFileStream unzip;
  ASSERT_TRUE(unzip.Open(bytes));
  MemStream target;
  target.Write("stale", 5);
  EXPECT_FALSE(unzip.ExtractFile("missing.txt", target));
  EXPECT_STREQ(unzip.Error(), "Не удалось найти файл в архиве!");
  EXPECT_EQ(target.Size(), 0u) << "the target is cleared first";
  EXPECT_TRUE(unzip.ExtractFile("ABC.TXT", target)) << "ASCII case is not significant when no name matches exactly";
  EXPECT_EQ(StreamText(target), "abc");
  TimeStamp stamp;
  EXPECT_FALSE(unzip.GetArcFileDateTime("abc.txt", fdtLastWrite, stamp));

  EXPECT_FALSE(unzip.Open("no such archive.zip"));
  EXPECT_STREQ(unzip.Error(), "Файл no such archive.zip не найден!");
  EXPECT_FALSE(unzip.IsOpened());
  EXPECT_FALSE(unzip.ExtractFile("abc.txt", target));
  EXPECT_STREQ(unzip.Error(), "Ошибка при обработке архива!");
}

// Counts the writes a stream receives and their sizes.
class WriteLog : public MemStream {
 public:
  Stream& Write(const void* src, unsigned n) override {
    sizes.push_back(n);
    return MemStream::Write(src, n);
  }
  std::vector<unsigned> sizes;
};

TEST(UnZipFileStreamTest, PiecesOf10240BytesEndWithAShorterOne) {
  ZipMemFileStream zip;
  const std::string exact(10240, 'x');
  const std::string longer(25000, 'y');
  zip.AddFileInArchive(exact.data(), 10240, "exact", ArchiveFileStream::clDefault);
  zip.AddFileInArchive(longer.data(), 25000, "longer", ArchiveFileStream::clDefault);
  std::vector<char> bytes;
  ASSERT_TRUE(zip.ToVector(bytes));
  UnZipFileStream unzip;
  ASSERT_TRUE(unzip.Open(bytes));
  WriteLog log;
  ASSERT_TRUE(unzip.ExtractFile("exact", log));
  EXPECT_EQ(log.sizes, (std::vector<unsigned>{10240, 0}));
  WriteLog log2;
  ASSERT_TRUE(unzip.ExtractFile("longer", log2));
  EXPECT_EQ(log2.sizes, (std::vector<unsigned>{10240, 10240, 4520}));
}

}  // namespace
