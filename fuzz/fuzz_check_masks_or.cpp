// CheckMasksOr against a plain dynamic-programming matcher of the same
// "*"/"?" wildcards, compared without regard to letter case.
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kelm/containers/collection.h"
#include "kelm/text/char_classes.h"
#include "kelm/text/mask.h"

namespace {

bool Matches(const std::string& name, const std::string& mask) {
  // can[j]: the first i characters of the name match the first j of the mask.
  std::vector<char> can(mask.size() + 1, 0);
  can[0] = 1;
  for (std::size_t j = 0; j < mask.size() && mask[j] == '*'; ++j) can[j + 1] = 1;
  for (const char c : name) {
    std::vector<char> next(mask.size() + 1, 0);
    for (std::size_t j = 0; j < mask.size(); ++j) {
      const char m = mask[j];
      if (m == '*') {
        next[j + 1] = next[j] || can[j + 1] || can[j];
      } else if (can[j] && (m == '?' || ToUpper1251(static_cast<unsigned char>(m)) ==
                                           ToUpper1251(static_cast<unsigned char>(c)))) {
        next[j + 1] = 1;
      }
    }
    can.swap(next);
  }
  return can[mask.size()] != 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const std::string name = in.ConsumeRandomLengthString(300).c_str();
  Collection masks(csOWNER);
  std::vector<std::string> list;
  while (in.remaining_bytes() > 0 && list.size() < 16) {
    list.push_back(in.ConsumeRandomLengthString(100).c_str());
    masks << list.back().c_str();
  }
  const auto nameCopy = kelm::fuzz::ExactCopy(name);
  const bool result = CheckMasksOr(nameCopy.get(), masks);

  bool expected = list.empty() || list.front() == "*";
  for (const std::string& mask : list) expected = expected || Matches(name, mask);
  FUZZ_CHECK(result == expected);
  return 0;
}
