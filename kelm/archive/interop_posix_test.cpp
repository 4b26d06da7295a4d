// The library's archives against the real tools, both ways: Info-ZIP's zip
// and unzip, 7-Zip (7zz or 7z) and Python's zipfile, which scripts/
// install-deps.sh installs. Member names meet the tools in UTF-8 (the
// terminal's and the file system's encoding here).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "kelm/archive/testing/zip_builder.h"
#include "kelm/archive/unzip.h"
#include "kelm/archive/unzip_file_stream.h"
#include "kelm/archive/zip.h"
#include "kelm/archive/zip_file_stream.h"
#include "kelm/port/file.h"
#include "kelm/port/testing/scratch_dir.h"
#include "kelm/streams/mem_stream.h"
#include "kelm/text/oem_code_page.h"
#include "kelm/text/utf8.h"

namespace {

using kelm::testing::ScratchDir;
using kelm::testing::StreamText;

struct ToolRun {
  int status;
  std::string out;
};

// Runs a shell command in the C.UTF-8 locale; its standard output.
ToolRun Shell(const std::string& command) {
  const std::string full = "LC_ALL=C.UTF-8 " + command;
  std::FILE* pipe = ::popen(full.c_str(), "r");
  if (pipe == nullptr) return {-1, ""};
  std::string out;
  char buffer[65536];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
  const int status = ::pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

std::string SevenZip() {
  static const std::string tool = Shell("command -v 7zz").status == 0 ? "7zz" : "7z";
  return tool;
}

std::string Text(std::size_t n) {
  std::string text;
  while (text.size() < n) text += "Строка текста номer " + std::to_string(text.size()) + " с повторами.\r\n";
  return text.substr(0, n);
}

// A member as the tests know it: its Windows-1251 name (a folder's ends in
// '/') and bytes.
using Item = std::pair<std::string, std::string>;

const std::vector<Item> kItems = {{"Отчёт.txt", Text(200000)},
                                  {"noise.bin", kelm::testing::Noise(100000, 7)},
                                  {"пусто.txt", ""},
                                  {"Папка/", ""},
                                  {"Папка/zeros.bin", std::string(300000, '\0')}};
bool IsFolder(const Item& item) { return item.first.back() == '/'; }

// All members' bytes in order, and their names in UTF-8, a line each.
std::string AllBytes() {
  std::string all;
  for (const auto& [name, data] : kItems) all += data;
  return all;
}
std::string Utf8Names() {
  std::string names;
  for (const auto& [name, data] : kItems) names += Cp1251ToUtf8(name) + "\n";
  return names;
}

// Python, "tool.py MODE TARGET". Modes "bytes" and "names" test the archive
// TARGET and print each member's bytes in order, or each name in UTF-8
// (decoded from code page 866 when the archive keeps it so). Modes "stored",
// "deflated" and "zip64" write the current folder into TARGET ("-": out).
constexpr char kPython[] = R"(
import os, sys, zipfile
mode, target = sys.argv[1], sys.argv[2]
out = sys.stdout.buffer
if mode in ("bytes", "names"):
    z = zipfile.ZipFile(target)
    assert z.testzip() is None
    for info in z.infolist():
        if mode == "bytes":
            out.write(z.read(info))
            continue
        name = info.filename
        if not info.flag_bits & 0x800:
            name = name.encode("cp437").decode("cp866" if info.create_system == 0 else "cp1251")
        out.write((name + "\n").encode("utf-8"))
    sys.exit(0)
method = zipfile.ZIP_STORED if mode == "stored" else zipfile.ZIP_DEFLATED
with zipfile.ZipFile(out if target == "-" else target, "w", method) as z:
    for root, dirs, files in os.walk("."):
        dirs.sort()
        for d in dirs:
            z.write(os.path.join(root, d)[2:] + "/")
        for f in sorted(files):
            path = os.path.join(root, f)[2:]
            if mode == "zip64":
                with open(path, "rb") as src, z.open(path, "w", force_zip64=True) as dst:
                    dst.write(src.read())
            else:
                z.write(path)
)";

class InteropTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.Write("tool.py", kPython));
    for (const char* tool : {"zip", "unzip", "python3"}) {
      ASSERT_EQ(Shell(std::string("command -v ") + tool + " >/dev/null").status, 0) << tool << " is not installed";
    }
    ASSERT_EQ(Shell("command -v " + SevenZip() + " >/dev/null").status, 0) << "7-Zip is not installed";
  }

  // Every tool tests the archive and gives back the members' bytes and
  // names. The first `oem` items have their names in code page 866: 7-Zip
  // lists such a name's bytes as they are here, Info-ZIP's UnZip through a
  // code page 437 table, so only Python (told the code page) spells them.
  void CheckWithTools(const std::string& archive, std::size_t oem) {
    SCOPED_TRACE(archive);
    const std::string a = Quoted(archive);
    EXPECT_EQ(Shell("unzip -tq " + a + " >/dev/null").status, 0);
    EXPECT_EQ(Shell(SevenZip() + " t " + a + " >/dev/null").status, 0);
    EXPECT_TRUE(Shell(Python("bytes " + a)).out == AllBytes()) << "python";  // empty when its test fails
    EXPECT_TRUE(Shell("unzip -p " + a).out == AllBytes()) << "unzip";
    EXPECT_TRUE(Shell(SevenZip() + " x -so " + a + " 2>/dev/null").out == AllBytes()) << "7-Zip";
    EXPECT_EQ(Shell(Python("names " + a)).out, Utf8Names());
    if (oem == 0) {
      EXPECT_EQ(Shell("unzip -Z1 " + a).out, Utf8Names());
    }
    const ToolRun listing = Shell(SevenZip() + " l -slt " + a);
    for (std::size_t i = 0; i < kItems.size(); ++i) {
      std::string path = kItems[i].first.substr(0, kItems[i].first.size() - IsFolder(kItems[i]));
      if (i < oem) {
        for (char& c : path) c = static_cast<char>(kAnsiToOem[static_cast<unsigned char>(c)]);
      } else {
        path = Cp1251ToUtf8(path);
      }
      EXPECT_NE(listing.out.find("Path = " + path + "\n"), std::string::npos) << kItems[i].first;
    }
  }

  // The library reads the archive: names and bytes through UnZip and
  // UnZipFileStream, and CheckFile.
  void CheckWithLibrary(const std::string& archive) {
    SCOPED_TRACE(archive);
    UnZip unzip;
    ASSERT_EQ(unzip.Init(archive.c_str()), 0);
    UnZipFileStream stream;
    ASSERT_TRUE(stream.Open(archive.c_str())) << stream.Error();
    EXPECT_TRUE(stream.CheckFile()) << stream.Error();
    ASSERT_EQ(unzip.ExtractAll((dir_ / "out").c_str(), true), 0);
    for (const auto& [name, data] : kItems) {
      SCOPED_TRACE(name);
      std::vector<unsigned char> bytes;
      ASSERT_EQ(unzip.Extract(bytes, name), 0);
      EXPECT_TRUE(std::string(bytes.begin(), bytes.end()) == data);
      MemStream piecewise;
      ASSERT_TRUE(stream.ExtractFile(name.c_str(), piecewise)) << stream.Error();
      EXPECT_TRUE(StreamText(piecewise) == data);
      if (!IsFolder({name, data})) {
        EXPECT_TRUE(dir_.Read("out/" + name) == data);
      }
    }
  }

  std::string Python(const std::string& arguments) const {
    return "python3 " + Quoted(dir_ / "tool.py") + " " + arguments;
  }

  ScratchDir dir_;
};

TEST_F(InteropTest, ToolsReadWhatZipWrites) {
  for (const auto coding : {Zip::ncDefault, Zip::ncAnsi, Zip::ncUtf8}) {
    std::vector<unsigned char> memory;
    Zip to_file, to_memory;
    const std::string file = dir_ / ("zip" + std::to_string(coding) + ".zip");
    ASSERT_EQ(to_file.Init(file.c_str(), false, coding), 0);
    ASSERT_EQ(to_memory.Init(memory, coding), 0);
    for (Zip* zip : {&to_file, &to_memory}) {
      for (const Item& item : kItems) {
        const auto& [name, data] = item;
        ASSERT_EQ(IsFolder(item) ? zip->AddEmptyDir(name) : zip->Add(kelm::testing::ZipBuilder::UVector(data), name), 0);
      }
      ASSERT_EQ(zip->Close(), 0);
    }
    // AddEmptyDir moved the memory archive to a temporary file on the way.
    const std::string from_memory = dir_ / ("zipmem" + std::to_string(coding) + ".zip");
    ASSERT_TRUE(dir_.Write("zipmem" + std::to_string(coding) + ".zip", std::string(memory.begin(), memory.end())));
    CheckWithTools(file, 0);
    // Staged in memory, ncDefault stores the names before the folder (which
    // moves the archive to a file) in code page 866.
    CheckWithTools(from_memory, coding == Zip::ncDefault ? 3 : 0);
  }
}

TEST_F(InteropTest, ToolsReadWhatZipFileStreamWritesAtEveryLevel) {
  for (int level = ArchiveFileStream::clStored; level <= ArchiveFileStream::clBest; ++level) {
    for (const auto coding : {ArchiveFileStream::fncOem, ArchiveFileStream::fncAnsi, ArchiveFileStream::fncUtf8}) {
      const std::string suffix = std::to_string(level) + std::to_string(coding) + ".zip";
      ZipFileStream file(coding);
      ZipMemFileStream memory(0, coding);
      ASSERT_TRUE(file.Open((dir_ / ("zfs" + suffix)).c_str(), false));
      for (ZipFileStream* zip : {static_cast<ZipFileStream*>(&file), static_cast<ZipFileStream*>(&memory)}) {
        for (const auto& [name, data] : kItems) {
          ASSERT_TRUE(IsFolder({name, data}) ? zip->AddDir(name.c_str())
                                             : zip->AddFile(data.data(), static_cast<unsigned>(data.size()), name.c_str(),
                                                            static_cast<ArchiveFileStream::CompressionLevel>(level)));
        }
      }
      file.Close(false);
      std::vector<char> bytes;
      ASSERT_TRUE(memory.ToVector(bytes));
      ASSERT_TRUE(dir_.Write("zms" + suffix, std::string(bytes.begin(), bytes.end())));
      const std::size_t oem = coding == ArchiveFileStream::fncOem ? kItems.size() : 0;
      CheckWithTools(dir_ / ("zfs" + suffix), oem);
      CheckWithTools(dir_ / ("zms" + suffix), oem);
    }
  }
}

TEST_F(InteropTest, TheLibraryReadsWhatToolsWrite) {
  ASSERT_TRUE(kelm::port::MakeDirectory((dir_ / "tree").c_str()));
  for (const auto& [name, data] : kItems) {  // under their UTF-8 names
    const std::string path = "tree/" + Cp1251ToUtf8(name);
    ASSERT_TRUE(IsFolder({name, data}) ? kelm::port::MakeDirectory((dir_ / path).c_str()) : dir_.Write(path, data));
  }
  const std::string tree = Quoted(dir_ / "tree");
  const std::vector<std::pair<std::string, std::string>> makers = {
      {"zip-stored.zip", "zip -qr -0 ../zip-stored.zip ."},
      {"zip-deflated.zip", "zip -qr -9 ../zip-deflated.zip ."},
      {"zip-zip64.zip", "zip -qr -fz ../zip-zip64.zip ."},
      {"zip-streamed.zip", "zip -qr - . | cat > ../zip-streamed.zip"},
      {"7z-stored.zip", SevenZip() + " a -tzip -mx0 ../7z-stored.zip . >/dev/null"},
      {"7z-deflated.zip", SevenZip() + " a -tzip -mx9 ../7z-deflated.zip . >/dev/null"},
      {"py-stored.zip", Python("stored ../py-stored.zip")},
      {"py-deflated.zip", Python("deflated ../py-deflated.zip")},
      {"py-zip64.zip", Python("zip64 ../py-zip64.zip")},
      {"py-streamed.zip", Python("deflated - | cat > ../py-streamed.zip")},
  };
  for (const auto& [archive, command] : makers) {
    ASSERT_EQ(Shell("cd " + tree + " && " + command).status, 0) << command;
    CheckWithLibrary(dir_ / archive);
  }
  // Streamed archives carry data descriptors; ZIP64 ones ZIP64 fields.
  EXPECT_NE(Shell("zipinfo -v " + Quoted(dir_ / "zip-streamed.zip") + " | grep -c 'extended local header: *yes'").out,
            "0\n");
  EXPECT_NE(dir_.Read("py-zip64.zip").find(std::string("\x01\x00\x10\x00", 4)), std::string::npos)
      << "a ZIP64 field of two sizes";
  EXPECT_NE(Shell("zipinfo -v " + Quoted(dir_ / "zip-zip64.zip")).out.find("64-bit sizes"), std::string::npos);
}

}  // namespace
