// kelmtool crc32 FILE...
#include <cstdio>

#include "kelm/streams/crc.h"
#include "tools/kelmtool_sums.h"

namespace kelm::tools {
namespace {

constexpr char kUsage[] =
    "usage: kelmtool crc32 FILE...\n"
    "\n"
    "  Prints the library's CRC-32 of each file (CRC32::Calculate over all its bytes)\n"
    "  in hexadecimal. Its register starts at 0 and is not inverted at the end, so it\n"
    "  is not the CRC-32 that ZIP archives and cksum show.\n";

class Crc32Digest : public FileDigest {
 public:
  void Start() override { crc_ = 0; }
  void Add(const char* data, unsigned n) override { crc_ = CheckSum_CRC32_Registrator.Get()->Continue(crc_, n, data); }
  std::string Finish() override {
    char text[16];
    std::snprintf(text, sizeof text, "%08lx", crc_);
    return text;
  }

 private:
  unsigned long crc_ = 0;
};

}  // namespace

int Crc32Command(const Args& args, Output& out) {
  Crc32Digest digest;
  return SumFiles(args, out, "crc32", kUsage, digest);
}

}  // namespace kelm::tools
