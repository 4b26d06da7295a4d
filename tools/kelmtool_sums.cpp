#include "tools/kelmtool_sums.h"

#include <vector>

#include "kelm/files/file_utils.h"
#include "kelm/frame/exceptions.h"
#include "kelm/streams/fstream.h"
#include "tools/console.h"
#include "tools/kelmtool_progress.h"

namespace kelm::tools {

int SumFiles(const Args& args, Output& out, const char* command, const char* usage, FileDigest& digest) {
  if (AsksForHelp(args)) {
    out.Out(usage);
    return kExitOk;
  }
  if (args.empty()) {
    out.Err(usage);
    return kExitUsage;
  }
  int problems = 0;
  std::vector<char> buffer(1 << 16);
  for (const std::string& file : args) {
    try {
      FastFStream stream(static_cast<unsigned>(buffer.size() / 2));
      stream.Open(SystemName(file).c_str(), fmRead);
      ProgressLine progress(out);
      digest.Start();
      const unsigned long size = stream.Size();
      for (unsigned long done = 0; done < size;) {
        const auto n = static_cast<unsigned>(std::min<unsigned long>(buffer.size(), size - done));
        stream.Read(buffer.data(), n);
        digest.Add(buffer.data(), n);
        done += n;
        progress.Update(file, done, size);
      }
      out.Out(digest.Finish() + "  " + file + "\n");
    } catch (const AException& e) {
      out.Err(std::string("kelmtool ") + command + ": " + file + ": " + static_cast<const char*>(e.Description()) + "\n");
      ++problems;
    }
  }
  return problems == 0 ? kExitOk : kExitProblems;
}

}  // namespace kelm::tools
