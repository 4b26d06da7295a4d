// DivideS and DividePath over random texts and delimiter sets. DivideS keeps
// every byte that is neither removed (0x01, 0x02, 0x03, '&') nor a dropped
// delimiter, in order, and makes one piece per delimiter.
#include "fuzz/fuzz_support.h"
#include "kelm/containers/collection.h"
#include "kelm/text/char_classes.h"
#include "kelm/text/divide.h"

namespace {

bool IsRemoved(char c) { return c == '\x01' || c == '\x02' || c == '\x03' || c == '&'; }

void CheckDivideS(const std::string& text, const std::string& delimiters, bool keep, bool upper) {
  Collection pieces(csOWNER);
  const auto textCopy = kelm::fuzz::ExactCopy(text);
  const auto delimiterCopy = kelm::fuzz::ExactCopy(delimiters);
  DivideS(textCopy.get(), delimiterCopy.get(), keep, pieces, upper);

  auto isDelimiter = [&](char c) { return c != '\0' && delimiters.find(c) != std::string::npos; };
  std::string kept;
  int cuts = 0;
  for (const char c : text) {
    if (isDelimiter(c)) ++cuts;
    if (IsRemoved(c) || (!keep && isDelimiter(c))) continue;
    kept += upper ? static_cast<char>(ToUpper1251(static_cast<unsigned char>(c))) : c;
  }
  int expected = 0;
  if (!text.empty()) {
    const bool leadingEmpty = text.size() > 1 && text[0] == delimiters[0] && isDelimiter(text[1]);
    expected = cuts + 1 - (isDelimiter(text[0]) ? 1 : 0) + (leadingEmpty ? 1 : 0);
  }
  FUZZ_CHECK(pieces.Count() == expected);
  std::string joined;
  for (int i = 0; i < pieces.Count(); ++i) joined += pieces[i];
  FUZZ_CHECK(joined == kept);
}

void CheckDividePath(const std::string& path) {
  Collection pieces(csOWNER);
  const auto pathCopy = kelm::fuzz::ExactCopy(path);
  DividePath(pathCopy.get(), pieces);
  for (int i = 0; i < pieces.Count(); ++i) FUZZ_CHECK(std::strlen(pieces[i]) <= 255);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const bool keep = in.ConsumeBool();
  const bool upper = in.ConsumeBool();
  const std::string delimiters = in.ConsumeRandomLengthString(8).c_str();
  const std::string text = in.ConsumeRemainingBytesAsString().c_str();
  CheckDivideS(text, delimiters, keep, upper);
  CheckDividePath(text);
  return 0;
}
