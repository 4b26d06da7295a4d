// dbltoa, ConvertMoneyStr and IncNumberStr with random arguments, each
// writing into a buffer of exactly the size its contract asks for.
#include <algorithm>

#include "fuzz/fuzz_support.h"
#include "kelm/text/number_text.h"

namespace {

constexpr std::size_t kDbltoaRoom = 42;
constexpr int kIncNumberRoom = 11;

void CheckDbltoa(FuzzedDataProvider& in) {
  double value;
  if (in.ConsumeBool()) {
    value = in.ConsumeFloatingPoint<double>();
  } else {
    // Any bit pattern: NaNs, infinities and subnormals too.
    const auto bits = in.ConsumeIntegral<std::uint64_t>();
    std::memcpy(&value, &bits, sizeof value);
  }
  const auto decimals = in.ConsumeIntegral<unsigned char>();
  const int maxDigits = in.ConsumeBool() ? in.ConsumeIntegralInRange(-2, 40) : in.ConsumeIntegral<int>();
  const auto trimZeros = in.ConsumeIntegral<unsigned char>();
  const auto out = std::make_unique<char[]>(kDbltoaRoom);
  FUZZ_CHECK(dbltoa(value, out.get(), decimals, maxDigits, trimZeros) == out.get());
  FUZZ_CHECK(std::strlen(out.get()) < kDbltoaRoom);
}

void CheckConvertMoneyStr(const std::string& text) {
  // One separator per three characters at most.
  const std::size_t room = text.size() + text.size() / 3 + 1;
  const auto buffer = std::make_unique<char[]>(room);
  std::memcpy(buffer.get(), text.c_str(), text.size() + 1);
  FUZZ_CHECK(ConvertMoneyStr(buffer.get(), static_cast<int>(room)) == 1);
  std::string withoutBlanks;
  for (const char* p = buffer.get(); *p != '\0'; ++p) {
    if (*p != ' ') withoutBlanks += *p;
  }
  std::string original;
  for (const char c : text) {
    if (c != ' ') original += c;
  }
  FUZZ_CHECK(withoutBlanks == original);
}

void CheckIncNumberStr(const std::string& text, int size, bool inPlace) {
  const std::size_t room = std::max<std::size_t>(kIncNumberRoom, std::max(size, 0) + 1);
  const auto dst = std::make_unique<char[]>(inPlace ? std::max(room, text.size() + 1) : room);
  const auto src = kelm::fuzz::ExactCopy(text);
  if (inPlace) std::memcpy(dst.get(), text.c_str(), text.size() + 1);
  const char* source = inPlace ? dst.get() : src.get();
  FUZZ_CHECK(IncNumberStr(source, dst.get(), size) == dst.get());
  const std::size_t length = std::strlen(dst.get());
  FUZZ_CHECK(length >= 4 && length <= 10);
  FUZZ_CHECK(std::all_of(dst.get(), dst.get() + length, [](char c) { return c >= '0' && c <= '9'; }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  switch (in.ConsumeIntegralInRange(0, 2)) {
    case 0:
      CheckDbltoa(in);
      break;
    case 1:
      CheckConvertMoneyStr(in.ConsumeRemainingBytesAsString().c_str());
      break;
    default: {
      const int bound = in.ConsumeIntegralInRange(-1, 40);
      const bool inPlace = in.ConsumeBool();
      CheckIncNumberStr(in.ConsumeRemainingBytesAsString().c_str(), bound, inPlace);
      break;
    }
  }
  return 0;
}
