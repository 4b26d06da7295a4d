// kelmtool md5 FILE...
#include "kelm/streams/md5.h"
#include "tools/kelmtool_sums.h"

namespace kelm::tools {
namespace {

constexpr char kUsage[] =
    "usage: kelmtool md5 FILE...\n"
    "\n"
    "  Prints the MD5 digest of each file in hexadecimal, as md5sum does.\n";

class Md5Digest : public FileDigest {
 public:
  void Start() override { MD5Init(&context_); }
  void Add(const char* data, unsigned n) override {
    MD5Update(&context_, reinterpret_cast<const unsigned char*>(data), n);
  }
  std::string Finish() override {
    unsigned char digest[16];
    MD5Final(digest, &context_);
    char hex[33];
    CvtHex(reinterpret_cast<char*>(digest), hex);
    return hex;
  }

 private:
  MD5_CTX context_{};
};

}  // namespace

int Md5Command(const Args& args, Output& out) {
  Md5Digest digest;
  return SumFiles(args, out, "md5", kUsage, digest);
}

}  // namespace kelm::tools
