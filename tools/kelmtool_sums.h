// What kelmtool crc32 and md5 share: every file named is read through
// FStream and its digest printed, one line each, as md5sum prints them.
#ifndef KELM_TOOLS_KELMTOOL_SUMS_H_
#define KELM_TOOLS_KELMTOOL_SUMS_H_

#include <string>

#include "tools/kelmtool.h"

namespace kelm::tools {

class FileDigest {
 public:
  virtual ~FileDigest() = default;
  virtual void Start() = 0;
  virtual void Add(const char* data, unsigned n) = 0;
  // The digest's text.
  virtual std::string Finish() = 0;
};

// Prints "<digest>  <file>" for each file of `args`; a file that cannot be
// read is reported and makes the exit code 1.
int SumFiles(const Args& args, Output& out, const char* command, const char* usage, FileDigest& digest);

}  // namespace kelm::tools

#endif  // KELM_TOOLS_KELMTOOL_SUMS_H_
