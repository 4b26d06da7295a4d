#include "kelm/archive/zip.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "kelm/archive/unzip.h"
#include "kelm/archive/unzip_file_stream.h"
#include "kelm/archive/testing/zip_builder.h"
#include "kelm/port/file.h"
#include "kelm/port/testing/file_faults.h"
#include "kelm/port/testing/scratch_dir.h"
#include "kelm/streams/mem_stream.h"
#include "kelm/text/oem_code_page.h"

namespace {

using kelm::port::testing::FailFileCall;
using kelm::port::testing::FileCall;
using kelm::port::testing::ScopedFileFaults;
using kelm::testing::Noise;
using kelm::testing::ScratchDir;
using kelm::testing::Contents;
using kelm::testing::Contents_t;

std::vector<unsigned char> Data(const std::string& text) { return {text.begin(), text.end()}; }

TEST(ZipTest, AnExistingFileIsNeverReplaced) {
  ScratchDir dir;
  ASSERT_TRUE(dir.Write("a.zip", "not an archive"));
  Zip zip;
  EXPECT_EQ(zip.Init((dir / "a.zip").c_str(), false), 3);
  EXPECT_EQ(dir.Read("a.zip"), "not an archive");
  EXPECT_EQ(zip.Add(Data("x"), "x"), 3) << "nothing is open";
  EXPECT_EQ(zip.Init((dir / "a.zip").c_str(), true), 12) << "no archive to extend";
  EXPECT_EQ(dir.Read("a.zip"), "not an archive");
  EXPECT_EQ(zip.Init("", false), 12);
}

TEST(ZipTest, AddChecksNamesAndFiles) {
  ScratchDir dir;
  ASSERT_TRUE(dir.Write("отчёт.txt", "report"));
  ASSERT_TRUE(kelm::port::MakeDirectory((dir / "folder").c_str()));
  Zip zip;
  ASSERT_EQ(zip.Init((dir / "out.zip").c_str(), false), 0);
  EXPECT_EQ(zip.Add((dir / "отчёт.txt").c_str(), nullptr), 0);
  EXPECT_EQ(zip.Add((dir / "отчёт.txt").c_str(), nullptr), 3) << "the same name again";
  EXPECT_EQ(zip.Add(Data("x"), "отчёт.txt"), 3);
  EXPECT_EQ(zip.Add((dir / "missing.txt").c_str(), "m.txt"), 1);
  EXPECT_EQ(zip.Add((dir / "folder").c_str(), "f"), 1);
  EXPECT_EQ(zip.Add(Data("x"), ""), 3);
  EXPECT_EQ(zip.Add(Data("x"), std::string("a\0b", 3)), 3);
  EXPECT_EQ(zip.AddEmptyDir("папка"), 0);
  EXPECT_EQ(zip.AddEmptyDir("папка/"), 3);
  std::istringstream text("from a stream");
  EXPECT_EQ(zip.Add(text, "stream.txt"), 0);
  EXPECT_EQ(zip.Close(), 0);
  EXPECT_EQ(zip.Close(), 0);
  EXPECT_EQ(zip.Add(Data("x"), "late"), 3);
  EXPECT_EQ(Contents(dir.Read("out.zip")),
            (Contents_t{{"отчёт.txt", "report"}, {"папка/", ""}, {"stream.txt", "from a stream"}}));

  UnZipFileStream unzip;
  ASSERT_TRUE(unzip.Open((dir / "out.zip").c_str()));
  const std::vector<ArchiveMember> members = unzip.Members();
  TimeStamp written;
  ASSERT_TRUE(GetFileDateTime((dir / "отчёт.txt").c_str(), fdtLastWrite, written, true));
  EXPECT_LE(std::abs(members[0].time.ToSeconds() - written.ToSeconds()), 2) << "the file's own time";
}

TEST(ZipTest, AppendKeepsTheOldMembersAsTheyWere) {
  ScratchDir dir;
  const std::string archive = dir / "grow.zip";
  const std::string noise = Noise(100000);
  {
    // Names in code page 866 (a memory archive) and a member from another
    // program's day: both must come through the rebuild unchanged.
    std::vector<unsigned char> bytes;
    Zip memory;
    ASSERT_EQ(memory.Init(bytes), 0);
    ASSERT_EQ(memory.Add(Data("старое"), "старое.txt"), 0);
    ASSERT_EQ(memory.Add(Data(noise), "noise.bin"), 0);
    ASSERT_EQ(memory.Close(), 0);
    ASSERT_TRUE(dir.Write("grow.zip", std::string(bytes.begin(), bytes.end())));
  }
  const std::string before = dir.Read("grow.zip");
  UnZipFileStream old_listing;
  ASSERT_TRUE(old_listing.Open(archive.c_str()));
  const std::vector<ArchiveMember> old_members = old_listing.Members();
  old_listing.Close(true);

  Zip zip;
  ASSERT_EQ(zip.Init(archive.c_str(), true), 0);
  EXPECT_EQ(zip.Add(Data("x"), "старое.txt"), 3) << "the old members' names count";
  EXPECT_EQ(zip.Add(Data("новое"), "новое.txt"), 0);
  ASSERT_EQ(zip.Close(), 0);
  EXPECT_EQ(Contents(dir.Read("grow.zip")),
            (Contents_t{{"старое.txt", "старое"}, {"noise.bin", noise}, {"новое.txt", "новое"}}));
  // Copied as they were: the old bytes come first, unchanged up to the
  // central directory.
  const std::string after = dir.Read("grow.zip");
  const std::size_t directory = before.find("PK\x01\x02");
  EXPECT_EQ(after.substr(0, directory), before.substr(0, directory));
  UnZipFileStream listing;
  ASSERT_TRUE(listing.Open(archive.c_str()));
  EXPECT_EQ(listing.Members()[0].time.ToSeconds(), old_members[0].time.ToSeconds());

  ASSERT_TRUE(dir.Write("empty.zip", ""));
  ASSERT_EQ(zip.Init((dir / "empty.zip").c_str(), true), 0) << "an empty file starts a new archive";
  ASSERT_EQ(zip.Add(Data("1"), "1"), 0);
  ASSERT_EQ(zip.Close(), 0);
  EXPECT_EQ(Contents(dir.Read("empty.zip")), (Contents_t{{"1", "1"}}));
}

TEST(ZipTest, AFailedRebuildWritesTheOldArchiveBack) {
  ScratchDir dir;
  const std::string archive = dir / "keep.zip";
  {
    Zip zip;
    ASSERT_EQ(zip.Init(archive.c_str(), false), 0);
    ASSERT_EQ(zip.Add(Data(Noise(300000)), "big.bin"), 0);
    ASSERT_EQ(zip.Close(), 0);
  }
  const std::string before = dir.Read("keep.zip");
  ScopedFileFaults faults;
  FailFileCall(FileCall::kWrite, 2, 112);  // the disk fills during the copy
  Zip zip;
  EXPECT_EQ(zip.Init(archive.c_str(), true), 12);
  kelm::port::testing::ResetFileFaults();
  EXPECT_EQ(dir.Read("keep.zip"), before);
}

TEST(ZipTest, AWriteFailureIsKept) {
  ScratchDir dir;
  Zip zip;
  ASSERT_EQ(zip.Init((dir / "full.zip").c_str(), false), 0);
  {
    ScopedFileFaults faults;
    FailFileCall(FileCall::kWrite, 1, 112, true);
    EXPECT_EQ(zip.Add(Data(Noise(200000)), "big.bin"), 12);
  }
  EXPECT_EQ(zip.Add(Data("small"), "small.txt"), 12);
  EXPECT_EQ(zip.AddEmptyDir("dir"), 12);
  EXPECT_EQ(zip.Close(), 12);
}

TEST(ZipTest, MemoryTargetsGetTheArchiveAtClose) {
  std::vector<unsigned char> vector;
  MemStream stream;
  stream.Write("old", 3);
  std::ostringstream ostream;
  ostream << "head:";
  Zip to_vector, to_stream, to_ostream;
  ASSERT_EQ(to_vector.Init(vector), 0);
  ASSERT_EQ(to_stream.Init(stream), 0);
  ASSERT_EQ(to_ostream.Init(ostream), 0);
  for (Zip* zip : {&to_vector, &to_stream, &to_ostream}) {
    ASSERT_EQ(zip->Add(Data("данные"), "Данные.txt"), 0);
    MemStream member;
    member.Write("from a Stream", 13);
    ASSERT_EQ(zip->Add(member, "stream.txt"), 0);
  }
  EXPECT_TRUE(vector.empty()) << "nothing before Close";
  for (Zip* zip : {&to_vector, &to_stream, &to_ostream}) ASSERT_EQ(zip->Close(), 0);

  const std::string archive(vector.begin(), vector.end());
  // The stored name is in code page 866 while the archive is in memory
  // (through the table: <windows.h> makes AnsiToOem a macro).
  std::string oem = "Данные.txt";
  for (char& c : oem) c = static_cast<char>(kAnsiToOem[static_cast<unsigned char>(c)]);
  EXPECT_NE(archive.find(oem), std::string::npos);
  EXPECT_EQ(Contents(archive), (Contents_t{{"Данные.txt", "данные"}, {"stream.txt", "from a Stream"}}));
  EXPECT_EQ(Contents(kelm::testing::StreamText(stream)), Contents(archive)) << "the stream's old content is replaced";
  ASSERT_EQ(ostream.str().substr(0, 5), "head:");
  EXPECT_EQ(Contents(ostream.str().substr(5)), Contents(archive));
}

TEST(ZipTest, AFolderOrAMemberThatDoesNotFitMovesTheArchiveToAFile) {
  const std::string noise = Noise(50000);
  std::vector<unsigned char> bytes;
  Zip zip;
  ASSERT_EQ(zip.Init(bytes, Zip::ncDefault, 20000), 0);
  ASSERT_EQ(zip.Add(Data("первый"), "первый.txt"), 0);
  EXPECT_EQ(zip.Add(Data(noise), "forced.bin"), 0) << "ztAuto: moves to the temporary file";
  ASSERT_EQ(zip.AddEmptyDir("папка"), 0);
  ASSERT_EQ(zip.Add(Data("второй"), "второй.txt"), 0);
  ASSERT_EQ(zip.Close(), 0);
  EXPECT_EQ(Contents(std::string(bytes.begin(), bytes.end())),
            (Contents_t{{"первый.txt", "первый"}, {"forced.bin", noise}, {"папка/", ""}, {"второй.txt", "второй"}}));

  Zip strict;
  ASSERT_EQ(strict.Init(bytes, Zip::ncDefault, 20000), 0);
  MemStream big;
  big.Write(noise.data(), static_cast<unsigned>(noise.size()));
  EXPECT_EQ(strict.Add(big, "big.bin", ztMemory), 12) << "refused before a byte is written";
  ASSERT_EQ(strict.Add(Data("small"), "small.txt"), 0) << "the archive is intact";
  MemStream small;
  small.Write("tmp", 3);
  ASSERT_EQ(strict.Add(small, "via-file.txt", ztTempFile), 0);
  ASSERT_EQ(strict.Close(), 0);
  EXPECT_EQ(Contents(std::string(bytes.begin(), bytes.end())),
            (Contents_t{{"small.txt", "small"}, {"via-file.txt", "tmp"}}));
}

TEST(ZipTest, ALongStandardStreamGoesThroughATemporaryFile) {
  const std::string noise = Noise(300000);
  std::vector<unsigned char> bytes;
  Zip zip;
  ASSERT_EQ(zip.Init(bytes, Zip::ncUtf8, 100000), 0);
  std::istringstream in(noise);
  ASSERT_EQ(zip.Add(in, "поток.bin"), 0);
  ASSERT_EQ(zip.Close(), 0);
  const std::string archive(bytes.begin(), bytes.end());
  EXPECT_EQ(Contents(archive), (Contents_t{{"поток.bin", noise}}));
  EXPECT_NE(archive.find("\xD0\xBF\xD0\xBE\xD1\x82\xD0\xBE\xD0\xBA.bin"), std::string::npos) << "UTF-8";
}

TEST(ZipTest, CopiesTransferTheArchive) {
  std::vector<unsigned char> bytes;
  Zip first;
  ASSERT_EQ(first.Init(bytes), 0);
  ASSERT_EQ(first.Add(Data("1"), "1"), 0);
  Zip second(first);
  EXPECT_EQ(first.Add(Data("2"), "2"), 3) << "the source is left closed";
  EXPECT_EQ(first.Close(), 0);
  EXPECT_TRUE(bytes.empty());
  ASSERT_EQ(second.Add(Data("2"), "2"), 0);
  Zip third;
  third = second;
  ASSERT_EQ(third.Close(), 0);
  EXPECT_EQ(Contents(std::string(bytes.begin(), bytes.end())), (Contents_t{{"1", "1"}, {"2", "2"}}));
}

}  // namespace
