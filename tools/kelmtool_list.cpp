// kelmtool list ARCHIVE
#include <cstdio>
#include <string>

#include "kelm/archive/unzip_file_stream.h"
#include "tools/console.h"
#include "tools/kelmtool.h"
#include "tools/kelmtool_progress.h"

namespace kelm::tools {
namespace {

constexpr char kUsage[] =
    "usage: kelmtool list ARCHIVE\n"
    "\n"
    "  Lists the members of the ZIP archive ARCHIVE as its central directory records\n"
    "  them: size, packed size, date and time (local), name. \"*\" marks encrypted\n"
    "  members, which the library does not extract.\n";

}  // namespace

int ListCommand(const Args& args, Output& out) {
  if (AsksForHelp(args)) {
    out.Out(kUsage);
    return kExitOk;
  }
  if (args.size() != 1) {
    out.Err(kUsage);
    return kExitUsage;
  }
  UnZipFileStream unzip;
  if (!unzip.Open(SystemName(args[0]).c_str())) {
    out.Err("kelmtool list: " + args[0] + ": " + unzip.Error() + "\n");
    return kExitProblems;
  }
  char line[96];
  std::string text = "      Size     Packed  Date       Time   Name\n"
                     "---------- ---------- ---------- -----  ----\n";
  unsigned long long size = 0, packed = 0;
  const std::vector<ArchiveMember> members = unzip.Members();
  for (const ArchiveMember& m : members) {
    std::snprintf(line, sizeof line, "%10llu %10llu %04d-%02d-%02d %02d:%02d %c", m.size, m.packed_size,
                  m.time.Year(), m.time.Month(), m.time.Day(), m.time.Hour(), m.time.Minute(),
                  m.encrypted ? '*' : ' ');
    text += line + m.name + "\n";
    size += m.size;
    packed += m.packed_size;
  }
  std::snprintf(line, sizeof line, "---------- ----------\n%10llu %10llu                   ", size, packed);
  text += line + std::to_string(members.size()) + " members\n";
  out.Out(text);
  return kExitOk;
}

}  // namespace kelm::tools
