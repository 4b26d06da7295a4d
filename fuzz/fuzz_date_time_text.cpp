// Date, Time and TimeStamp read from random texts along random masks, then
// written back along the same mask into a buffer of exactly the mask's size.
#include "fuzz/fuzz_support.h"
#include "kelm/datetime/date.h"
#include "kelm/datetime/time.h"
#include "kelm/datetime/time_stamp.h"

namespace {

// The texts of the default masks are shorter than this.
constexpr std::size_t kDefaultTextRoom = 32;

template <class Value>
void WriteBack(const Value& value, const char* mask) {
  const std::size_t room = *mask != '\0' ? std::strlen(mask) + 1 : kDefaultTextRoom;
  const auto out = std::make_unique<char[]>(room);
  value.ToString(out.get(), mask);
  FUZZ_CHECK(std::strlen(out.get()) < room);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const int kind = in.ConsumeIntegralInRange(0, 2);
  const bool fixedWidth = in.ConsumeBool();
  const auto mask = kelm::fuzz::ExactCopy(in.ConsumeRandomLengthString(64));
  const auto text = kelm::fuzz::ExactCopy(in.ConsumeRemainingBytesAsString());
  switch (kind) {
    case 0: {
      Date date(0L);
      date.FromString(text.get(), mask.get(), fixedWidth);
      WriteBack(date, mask.get());
      break;
    }
    case 1: {
      Time time;
      time.FromString(text.get(), mask.get());
      WriteBack(time, mask.get());
      break;
    }
    default: {
      TimeStamp stamp;
      stamp.FromString(text.get(), mask.get());
      WriteBack(stamp, mask.get());
      break;
    }
  }
  return 0;
}
