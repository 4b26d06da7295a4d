// Helpers shared by the fuzz targets.
#ifndef KELM_FUZZ_FUZZ_SUPPORT_H_
#define KELM_FUZZ_FUZZ_SUPPORT_H_

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "kelm/frame/exceptions.h"

// A property that every input must keep; a broken one is a finding.
#define FUZZ_CHECK(condition)                                                         \
  do {                                                                                \
    if (!(condition)) {                                                               \
      std::fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition);    \
      std::abort();                                                                   \
    }                                                                                 \
  } while (false)

namespace kelm::fuzz {

// Runs `f`; an error the library reports (it throws) is an answer to a bad
// input, not a finding. Returns whether `f` completed.
template <class F>
bool Refusable(F&& f) {
  try {
    f();
    return true;
  } catch (const AException&) {
    return false;
  }
}

// A heap block holding exactly `text` and its terminator, so that reading
// past the end is caught.
inline std::unique_ptr<char[]> ExactCopy(const std::string& text) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::memcpy(copy.get(), text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace kelm::fuzz

#endif  // KELM_FUZZ_FUZZ_SUPPORT_H_
