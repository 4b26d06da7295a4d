// kelmtool unzip ARCHIVE [-d DIR] [-o]
#include <string>

#include "kelm/archive/unzip.h"
#include "kelm/frame/exceptions.h"
#include "tools/console.h"
#include "tools/kelmtool.h"
#include "tools/kelmtool_progress.h"

namespace kelm::tools {
namespace {

constexpr char kUsage[] =
    "usage: kelmtool unzip ARCHIVE [-d DIR] [-o]\n"
    "\n"
    "  Extracts every member of the ZIP archive ARCHIVE into DIR (by default the\n"
    "  current folder), making the folders needed.\n"
    "  -o  overwrites existing files; without it they are reported and kept\n"
    "\n"
    "  Nothing is written outside DIR: a member whose name would leave it (\"..\",\n"
    "  an absolute name, a drive, a device name, control characters) or whose path\n"
    "  leads through a link refuses the whole archive before anything is written.\n"
    "  Encrypted members are refused. Member names are Windows-1251 texts: on POSIX\n"
    "  systems they reach the file system as Windows-1251 bytes, as the library\n"
    "  passes every name.\n";

}  // namespace

int UnzipCommand(const Args& args, Output& out) {
  if (AsksForHelp(args)) {
    out.Out(kUsage);
    return kExitOk;
  }
  std::string archive, dir = ".";
  bool overwrite = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "-o") {
      overwrite = true;
    } else if (args[i] == "-d" && i + 1 < args.size()) {
      dir = args[++i];
    } else if (archive.empty() && !args[i].empty() && args[i][0] != '-') {
      archive = args[i];
    } else {
      out.Err(kUsage);
      return kExitUsage;
    }
  }
  if (archive.empty()) {
    out.Err(kUsage);
    return kExitUsage;
  }
  const std::string folder = SystemName(dir);
  UnZip unzip;
  unzip.Init(SystemName(archive).c_str());
  unzip.CheckNames(folder.c_str());
  int problems = 0;
  std::size_t done = 0;
  const std::size_t total = unzip.ItemList().size();
  {
    ProgressLine progress(out);
    for (const std::string& name : unzip.ItemList()) {
      progress.Update("extracting " + name, ++done, total);
      try {
        unzip.Extract(folder.c_str(), name, overwrite);
      } catch (const ZipException& e) {
        out.Err("kelmtool unzip: " + std::string(static_cast<const char*>(e.Description())) + "\n");
        ++problems;
      }
    }
  }
  out.Out(archive + ": " + std::to_string(total - problems) + " of " + std::to_string(total) +
          " members extracted into " + dir + "\n");
  return problems == 0 ? kExitOk : kExitProblems;
}

}  // namespace kelm::tools
