// ZIP archives in memory: a few texts packed with Zip into a vector (their
// Cyrillic names stored in code page 866, as an archive staged in memory
// keeps them), listed and extracted again with UnZip and UnZipFileStream,
// and an archive with a member that would leave its folder refused whole.
#include <string>
#include <vector>

#include "kelm/kelm.h"
#include "kelm/port/file.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {
namespace {

std::vector<unsigned char> Bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::string Hex(const std::string& bytes) {
  std::string hex;
  char two[4];
  for (const unsigned char c : bytes) {
    std::snprintf(two, sizeof two, "%02X ", c);
    hex += two;
  }
  return hex;
}

}  // namespace

void DemoArchive() {
  Say("ZIP archives in memory:\n");
  std::string report;
  for (int i = 1; i <= 200; ++i) report += "Строка отчёта номер " + std::to_string(i) + ".\r\n";
  const std::vector<std::pair<std::string, std::string>> files = {
      {"Отчёт за квартал.txt", report},
      {"данные/нули.bin", std::string(100000, '\0')},
      {"readme.txt", "Архив собран библиотекой kelm-lib."},
  };
  std::vector<unsigned char> archive;
  Zip zip;
  zip.Init(archive);
  for (const auto& [name, content] : files) zip.Add(Bytes(content), name);
  zip.Close();
  unsigned long packed = 0;
  for (const auto& file : files) packed += static_cast<unsigned long>(file.second.size());
  Say("  %lu bytes packed into an archive of %lu bytes\n", packed, static_cast<unsigned long>(archive.size()));

  UnZipFileStream listing;
  listing.Open(std::vector<char>(archive.begin(), archive.end()));
  for (const ArchiveMember& m : listing.Members()) {
    Say("  %-24s %7llu -> %6llu bytes\n", m.name.c_str(), m.size, m.packed_size);
  }
  const std::string stored(archive.begin() + 30, archive.begin() + 30 + 5);
  Say("  the first name begins in the archive with %s(\"Отчёт\" in code page 866)\n", Hex(stored).c_str());

  UnZip unzip;
  unzip.Init(archive);
  std::vector<unsigned char> back;
  unzip.Extract(back, "readme.txt");
  Say("  readme.txt reads back: \"%s\"\n", std::string(back.begin(), back.end()).c_str());

  // Writers take any name; a member named "../выход.txt" would land beside
  // the folder it is extracted into.
  ZipMemFileStream writer;
  writer.AddFileInArchive("ok", 2, "ok.txt", ArchiveFileStream::clDefault);
  writer.AddFileInArchive("x", 1, "../выход.txt", ArchiveFileStream::clDefault);
  std::vector<unsigned char> hostile;
  writer.ToVector(hostile);
  UnZip careful;
  careful.Init(hostile);
  try {
    careful.ExtractAll((kelm::port::TempFolder() + "kelm_demo_unzip").c_str(), false);
  } catch (const ZipException& e) {
    Say("  an archive with \"../выход.txt\" is refused, nothing written:\n    %s (code %d)\n\n",
        static_cast<const char*>(e.Description()), e.Code());
  }
}

}  // namespace kelm::tools
