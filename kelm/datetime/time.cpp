#include "kelm/datetime/time.h"

#include <cstring>

#include "kelm/datetime/internal/mask_values.h"
#include "kelm/datetime/mask_text.h"
#include "kelm/port/clock.h"

const char* const LARGE_HOURES = "fullhoures";

namespace {

constexpr const char* kDefaultMask = "чч:мм";
constexpr const char* kTimeLetters = "смч";

long long Compose(long long h, long long m, long long s) { return (h * 60 + m) * 60 + s; }

}  // namespace

Time::Time(Seconds s) : seconds_(s.value) {}
Time::Time(Minuts m) { Assign(m.value * 60LL); }
Time::Time(Hours h) { Assign(h.value * 3600LL); }
Time::Time(int h, int m, int s) { Assign(Compose(h, m, s)); }
Time::Time(Hours h, Minuts m, Seconds s) { Assign(Compose(h, m, s)); }
Time::Time(Hours h, Seconds s, Minuts m) { Assign(Compose(h, m, s)); }
Time::Time(Minuts m, Hours h, Seconds s) { Assign(Compose(h, m, s)); }
Time::Time(Minuts m, Seconds s, Hours h) { Assign(Compose(h, m, s)); }
Time::Time(Seconds s, Hours h, Minuts m) { Assign(Compose(h, m, s)); }
Time::Time(Seconds s, Minuts m, Hours h) { Assign(Compose(h, m, s)); }

// Unchecked arithmetic wraps at 32 bits instead of overflowing.
void Time::Assign(long long seconds) { seconds_ = static_cast<std::int32_t>(seconds); }

void Time::SetTime(Hours h, Minuts m, Seconds s) { Assign(Compose(h, m, s)); }

Time& Time::operator=(long seconds) {
  Assign(seconds);
  return *this;
}

Time& Time::operator=(Seconds s) {
  Assign(Compose(Hour(), Minute(), s));
  return *this;
}

Time& Time::operator=(Minuts m) {
  Assign(Compose(Hour(), m, Second()));
  return *this;
}

Time& Time::operator=(Hours h) {
  Assign(Compose(h, Minute(), Second()));
  return *this;
}

Time Time::operator+(Seconds n) const { return Time(*this) += n; }
Time Time::operator+(Minuts n) const { return Time(*this) += n; }
Time Time::operator+(Hours n) const { return Time(*this) += n; }
Time Time::operator-(Seconds n) const { return Time(*this) -= n; }
Time Time::operator-(Minuts n) const { return Time(*this) -= n; }
Time Time::operator-(Hours n) const { return Time(*this) -= n; }

Time& Time::operator+=(Seconds n) {
  Assign(static_cast<long long>(seconds_) + n.value);
  return *this;
}

Time& Time::operator+=(Minuts n) {
  Assign(seconds_ + n.value * 60LL);
  return *this;
}

Time& Time::operator+=(Hours n) {
  Assign(seconds_ + n.value * 3600LL);
  return *this;
}

Time& Time::operator-=(Seconds n) {
  Assign(static_cast<long long>(seconds_) - n.value);
  return *this;
}

Time& Time::operator-=(Minuts n) {
  Assign(seconds_ - n.value * 60LL);
  return *this;
}

Time& Time::operator-=(Hours n) {
  Assign(seconds_ - n.value * 3600LL);
  return *this;
}

void Time::operator++() { Assign(seconds_ + 1LL); }
void Time::operator--() { Assign(seconds_ - 1LL); }

long Time::Current() {
  SYSTEMTIME now{};
  kelm::port::LocalTime(&now);
  seconds_ = now.wHour * 3600 + now.wMinute * 60 + now.wSecond;
  return seconds_;
}

void Time::DayTime() {
  if (!IsEmpty()) seconds_ %= 86400;
}

char* Time::ToString(char* buf, const char* mask) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  if (mask == LARGE_HOURES) {
    char* out = buf;
    const int parts[3] = {Hour(), Minute(), Second()};
    for (int i = 0; i < 3; ++i) {
      if (i > 0) *out++ = ':';
      char digits[16];
      const char* end = kelm::datetime_internal::WriteDecimal(digits, parts[i]);
      if (end - digits == 1) *out++ = '0';
      const std::size_t n = static_cast<std::size_t>(end - digits);
      std::memcpy(out, digits, n);
      out += n;
    }
    *out = '\0';
    return buf;
  }
  int values[3] = {Second(), Minute(), Hour()};
  StringFromMask(buf, mask == nullptr || *mask == '\0' ? kDefaultMask : mask, values, kTimeLetters);
  return buf;
}

Time& Time::FromString(const char* text, const char* mask) {
  int values[3] = {0, 0, 0};
  if (mask == nullptr || *mask == '\0') mask = kDefaultMask;
  if (text == nullptr || !kelm::datetime_internal::ValuesFromMask(text, mask, values, kTimeLetters, false)) {
    seconds_ = static_cast<std::int32_t>(kEmpty);
  } else {
    Assign(Compose(values[2], values[1], values[0]));
  }
  return *this;
}
