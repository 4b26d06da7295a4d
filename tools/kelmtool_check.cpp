// kelmtool test ARCHIVE (this file is not named after its command: names
// ending in _test belong to the tests).
#include <string>

#include "kelm/archive/unzip_file_stream.h"
#include "kelm/streams/stream.h"
#include "tools/console.h"
#include "tools/kelmtool.h"
#include "tools/kelmtool_progress.h"  // AsksForHelp

namespace kelm::tools {
namespace {

constexpr char kUsage[] =
    "usage: kelmtool test ARCHIVE\n"
    "\n"
    "  Checks the ZIP archive ARCHIVE: every member is unpacked (into the scratch file\n"
    "  check.tmp in the current folder, which goes afterwards) and its size and CRC\n"
    "  compared with the archive's records. Exit code 1 names the damaged members.\n";

// A stream that takes everything and keeps nothing.
class Discard : public Stream {
 public:
  Stream& Write(const void*, unsigned) override { return *this; }
};

}  // namespace

int TestCommand(const Args& args, Output& out) {
  if (AsksForHelp(args)) {
    out.Out(kUsage);
    return kExitOk;
  }
  if (args.size() != 1) {
    out.Err(kUsage);
    return kExitUsage;
  }
  const std::string& archive = args[0];
  UnZipFileStream unzip;
  if (!unzip.Open(SystemName(archive).c_str())) {
    out.Err("kelmtool test: " + archive + ": " + unzip.Error() + "\n");
    return kExitProblems;
  }
  out.Progress("testing " + archive + ", " + std::to_string(unzip.Files().size()) + " members...");
  const bool sound = unzip.CheckFile();
  out.Progress("");
  if (sound) {
    out.Out(archive + ": " + std::to_string(unzip.Files().size()) + " members, no errors\n");
    return kExitOk;
  }
  // CheckFile stops at the first failure: name each damaged member.
  std::size_t damaged = 0;
  for (const std::string& name : unzip.Files()) {
    Discard sink;
    if (unzip.ExtractFile(name.c_str(), sink)) continue;
    out.Out(archive + ": " + name + ": " + unzip.Error() + "\n");
    ++damaged;
  }
  out.Out(archive + ": " + std::to_string(damaged) + " of " + std::to_string(unzip.Files().size()) +
          " members damaged\n");
  return kExitProblems;
}

}  // namespace kelm::tools
