// The library's archives against the real tools, both ways: Info-ZIP's zip
// and unzip, 7-Zip (7zz or 7z) and Python's zipfile, which scripts/
// install-deps.sh installs. Member names meet the tools in UTF-8 (the
// terminal's and the file system's encoding here).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

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

std::string Noise(std::size_t n, unsigned seed) {
  std::string text(n, '\0');
  for (char& c : text) c = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
  return text;
}

std::string Text(std::size_t n) {
  std::string text;
  while (text.size() < n) text += "Строка текста номer " + std::to_string(text.size()) + " с повторами.\r\n";
  return text.substr(0, n);
}

// A member as the tests know it: its Windows-1251 name and bytes.
struct Item {
  std::string name;
  std::string data;
  bool folder = false;
};

const std::vector<Item>& Items() {
  static const std::vector<Item> items = {
      {"Отчёт.txt", Text(200000)},        {"noise.bin", Noise(100000, 7)},
      {"пусто.txt", ""},                  {"Папка/", "", true},
      {"Папка/zeros.bin", std::string(300000, '\0')},
  };
  return items;
}

std::string AllBytes() {
  std::string all;
  for (const Item& item : Items()) all += item.data;
  return all;
}

std::string Utf8Names() {
  std::string names;
  for (const Item& item : Items()) names += Cp1251ToUtf8(item.name) + "\n";
  return names;
}

// Python: tests the archive and prints each member's bytes in order, or
// (with "names") each name in UTF-8, decoded from code page 866 when the
// archive keeps it so.
constexpr char kPythonReader[] = R"(
import sys, zipfile
z = zipfile.ZipFile(sys.argv[1])
assert z.testzip() is None
out = sys.stdout.buffer
for info in z.infolist():
    if sys.argv[2] == "names":
        name = info.filename
        if not info.flag_bits & 0x800:
            raw = name.encode("cp437")
            name = raw.decode("cp866" if info.create_system == 0 else "cp1251")
        out.write((name + "\n").encode("utf-8"))
    else:
        out.write(z.read(info))
)";

class InteropTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.Write("reader.py", kPythonReader));
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
    const ToolRun python = Shell("python3 " + Quoted(dir_ / "reader.py") + " " + a + " bytes");
    EXPECT_EQ(python.status, 0);
    EXPECT_TRUE(python.out == AllBytes()) << "python";
    EXPECT_TRUE(Shell("unzip -p " + a).out == AllBytes()) << "unzip";
    EXPECT_TRUE(Shell(SevenZip() + " x -so " + a + " 2>/dev/null").out == AllBytes()) << "7-Zip";
    EXPECT_EQ(Shell("python3 " + Quoted(dir_ / "reader.py") + " " + a + " names").out, Utf8Names());
    if (oem == 0) {
      EXPECT_EQ(Shell("unzip -Z1 " + a).out, Utf8Names());
    }
    const ToolRun listing = Shell(SevenZip() + " l -slt " + a);
    for (std::size_t i = 0; i < Items().size(); ++i) {
      std::string path = Items()[i].name;
      if (Items()[i].folder) path.pop_back();
      if (i < oem) {
        for (char& c : path) c = static_cast<char>(kAnsiToOem[static_cast<unsigned char>(c)]);
      } else {
        path = Cp1251ToUtf8(path);
      }
      EXPECT_NE(listing.out.find("Path = " + path + "\n"), std::string::npos) << Items()[i].name;
    }
  }

  // The library reads the archive: names and bytes through UnZip and
  // UnZipFileStream, and CheckFile.
  void CheckWithLibrary(const std::string& archive, const std::vector<Item>& expected) {
    SCOPED_TRACE(archive);
    UnZip unzip;
    ASSERT_EQ(unzip.Init(archive.c_str()), 0);
    UnZipFileStream stream;
    ASSERT_TRUE(stream.Open(archive.c_str())) << stream.Error();
    EXPECT_TRUE(stream.CheckFile()) << stream.Error();
    for (const Item& item : expected) {
      SCOPED_TRACE(item.name);
      std::vector<unsigned char> bytes;
      ASSERT_EQ(unzip.Extract(bytes, item.name), 0);
      EXPECT_TRUE(std::string(bytes.begin(), bytes.end()) == item.data);
      MemStream piecewise;
      ASSERT_TRUE(stream.ExtractFile(item.name.c_str(), piecewise)) << stream.Error();
      std::string read(piecewise.Size(), '\0');
      piecewise.Seek(0);
      if (!read.empty()) piecewise.Read(read.data(), static_cast<unsigned>(read.size()));
      EXPECT_TRUE(read == item.data);
    }
    const std::string out = dir_ / "out";
    ASSERT_EQ(unzip.ExtractAll(out.c_str(), true), 0);
    for (const Item& item : expected) {
      if (!item.folder) {
        EXPECT_TRUE(dir_.Read("out/" + item.name) == item.data) << item.name;
      }
    }
  }

  // The items as files below `root`, under their UTF-8 names.
  void WriteTree(const std::string& root) {
    ASSERT_TRUE(kelm::port::MakeDirectory((dir_ / root).c_str()));
    for (const Item& item : Items()) {
      const std::string path = root + "/" + Cp1251ToUtf8(item.name);
      if (item.folder) {
        ASSERT_TRUE(kelm::port::MakeDirectory((dir_ / path).c_str()));
      } else {
        ASSERT_TRUE(dir_.Write(path, item.data));
      }
    }
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
      for (const Item& item : Items()) {
        ASSERT_EQ(item.folder ? zip->AddEmptyDir(item.name)
                              : zip->Add(std::vector<unsigned char>(item.data.begin(), item.data.end()), item.name),
                  0);
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
        for (const Item& item : Items()) {
          const auto cl = static_cast<ArchiveFileStream::CompressionLevel>(level);
          ASSERT_TRUE(item.folder ? zip->AddDir(item.name.c_str())
                                  : zip->AddFile(item.data.data(), static_cast<unsigned>(item.data.size()),
                                                 item.name.c_str(), cl));
        }
      }
      file.Close(false);
      std::vector<char> bytes;
      ASSERT_TRUE(memory.ToVector(bytes));
      ASSERT_TRUE(dir_.Write("zms" + suffix, std::string(bytes.begin(), bytes.end())));
      const std::size_t oem = coding == ArchiveFileStream::fncOem ? Items().size() : 0;
      CheckWithTools(dir_ / ("zfs" + suffix), oem);
      CheckWithTools(dir_ / ("zms" + suffix), oem);
    }
  }
}

TEST_F(InteropTest, TheLibraryReadsWhatToolsWrite) {
  WriteTree("tree");
  const std::string tree = Quoted(dir_ / "tree");
  const std::string py = Quoted(dir_ / "writer.py");
  ASSERT_TRUE(dir_.Write("writer.py", R"(
import os, sys, zipfile
mode, target = sys.argv[1], sys.argv[2]
out = sys.stdout.buffer if target == "-" else target
method = zipfile.ZIP_STORED if mode == "stored" else zipfile.ZIP_DEFLATED
with zipfile.ZipFile(out, "w", method) as z:
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
)"));
  const std::vector<std::pair<std::string, std::string>> makers = {
      {"zip-stored.zip", "zip -qr -0 ../zip-stored.zip ."},
      {"zip-deflated.zip", "zip -qr -9 ../zip-deflated.zip ."},
      {"zip-zip64.zip", "zip -qr -fz ../zip-zip64.zip ."},
      {"zip-streamed.zip", "zip -qr - . | cat > ../zip-streamed.zip"},
      {"7z-stored.zip", SevenZip() + " a -tzip -mx0 ../7z-stored.zip . >/dev/null"},
      {"7z-deflated.zip", SevenZip() + " a -tzip -mx9 ../7z-deflated.zip . >/dev/null"},
      {"py-stored.zip", "python3 " + py + " stored ../py-stored.zip"},
      {"py-deflated.zip", "python3 " + py + " deflated ../py-deflated.zip"},
      {"py-zip64.zip", "python3 " + py + " zip64 ../py-zip64.zip"},
      {"py-streamed.zip", "python3 " + py + " deflated - | cat > ../py-streamed.zip"},
  };
  for (const auto& [archive, command] : makers) {
    ASSERT_EQ(Shell("cd " + tree + " && " + command).status, 0) << command;
    CheckWithLibrary(dir_ / archive, Items());
  }
  // Streamed archives carry data descriptors; ZIP64 ones ZIP64 fields.
  EXPECT_NE(Shell("zipinfo -v " + Quoted(dir_ / "zip-streamed.zip") + " | grep -c 'extended local header: *yes'").out,
            "0\n");
  EXPECT_NE(dir_.Read("py-zip64.zip").find(std::string("\x01\x00\x10\x00", 4)), std::string::npos)
      << "a ZIP64 field of two sizes";
  EXPECT_NE(Shell("zipinfo -v " + Quoted(dir_ / "zip-zip64.zip")).out.find("64-bit sizes"), std::string::npos);
}

}  // namespace
