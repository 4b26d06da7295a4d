// Any bytes are an archive in memory: UnZip::Init over them, then every
// member extracted into a vector. Every failure must be a ZipException (any
// other exception escapes and is a finding), and no member may take more
// memory than the input's bytes can inflate to, whatever size it records.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kelm/archive/unzip.h"
#include "kelm/frame/exceptions.h"

namespace {

// Deflate makes at most 1032 bytes of one; the reader's room for a member
// keeps to 1040 per input byte and a little slack.
constexpr std::size_t kMaxRatio = 1040;
constexpr std::size_t kSlack = 4096;

// A folder that does not exist: the name check looks for links below it and
// finds none, so every refusal comes from the name alone.
constexpr char kNoFolder[] = "/nonexistent-kelm-fuzz";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<unsigned char> bytes(data, data + size);
  UnZip unzip;
  try {
    unzip.Init(bytes);
  } catch (const ZipException& e) {
    // A failed Init is kept: extracting answers its code and touches nothing
    // (into a folder it answers 0).
    std::vector<unsigned char> out{1};
    FUZZ_CHECK(e.Code() != 0 && unzip.Extract(out, "a") == e.Code() && out.size() == 1);
    FUZZ_CHECK(unzip.Extract(kNoFolder, "a", false) == 0);
    return 0;
  }
  try {
    unzip.CheckNames(kNoFolder);
  } catch (const ZipException&) {
  }
  const std::size_t bound = size * kMaxRatio + kSlack;
  std::vector<unsigned char> out;
  // By name, as a caller would: a later member of the same name is not
  // reachable, and the copy guards against the list changing under us.
  const std::vector<std::string> names = unzip.ItemList();
  for (const std::string& name : names) {
    try {
      unzip.Extract(out, name);
    } catch (const ZipException&) {
      FUZZ_CHECK(out.empty());
    }
    FUZZ_CHECK(out.capacity() <= bound);
    out = {};
  }
  const std::string missing = "\x01\x02\x03";  // no letters to fold
  if (std::find(names.begin(), names.end(), missing) == names.end()) {
    try {
      unzip.Extract(out, missing);
      FUZZ_CHECK(false);
    } catch (const ZipException&) {
    }
  }
  FUZZ_CHECK(unzip.Close() == 0);
  return 0;
}
