// Mask::ParseByMask with random masks over random texts, in ordinary mode
// (a NUL-terminated text) and in length mode (a block that may hold NULs).
// A copy of a fresh mask must parse exactly as the original, and a mask
// assigned from a used one must go on exactly as that one does.
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kelm/text/mask.h"

namespace {

struct Outcome {
  bool completed = false;
  bool matched = false;
  int length = -1;
  std::vector<char> out = std::vector<char>(Mask::kMaxCapture + 1, '\x7F');
};

Outcome Parse(Mask& mask) {
  Outcome r;
  r.completed = kelm::fuzz::Refusable([&] { r.matched = mask.ParseByMask(r.out.data(), &r.length); });
  return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const bool blockWanted = in.ConsumeBool();
  const auto maskText = kelm::fuzz::ExactCopy(in.ConsumeRandomLengthString(200));
  const std::string rest = in.ConsumeRemainingBytesAsString();
  // An empty block would be read as an ordinary text.
  const bool lengthMode = blockWanted && !rest.empty();
  const auto* mask = reinterpret_cast<const unsigned char*>(maskText.get());

  // Length mode gets the bytes alone, ordinary mode a terminated copy.
  std::unique_ptr<unsigned char[]> text(new unsigned char[rest.size() + (lengthMode ? 0 : 1)]);
  std::memcpy(text.get(), rest.data(), rest.size());
  if (!lengthMode) text[rest.size()] = 0;
  const int length = lengthMode ? static_cast<int>(rest.size()) : 0;

  Mask original(mask, text.get(), length);
  Mask copy(original);
  const Outcome first = Parse(original);
  const Outcome second = Parse(copy);
  FUZZ_CHECK(first.completed == second.completed && first.matched == second.matched);
  if (!first.completed) return 0;

  Mask assigned(mask, text.get(), length);
  assigned = original;
  const Outcome goOn = Parse(original);
  const Outcome goOnCopy = Parse(assigned);
  FUZZ_CHECK(goOn.completed == goOnCopy.completed && goOn.matched == goOnCopy.matched);
  FUZZ_CHECK(goOn.length == goOnCopy.length);

  if (original.IsHexMode()) {
    FUZZ_CHECK(first.length == second.length);
    FUZZ_CHECK(first.length >= 0 && first.length <= Mask::kMaxCapture);
    FUZZ_CHECK(std::memcmp(first.out.data(), second.out.data(), first.length) == 0);
  } else {
    // The capture is a piece of the text.
    const char* captured = first.out.data();
    FUZZ_CHECK(std::memchr(captured, '\0', first.out.size()) != nullptr);
    FUZZ_CHECK(std::strcmp(captured, second.out.data()) == 0);
    FUZZ_CHECK(std::strlen(captured) <= std::strlen(reinterpret_cast<const char*>(text.get())));
  }
  return 0;
}
