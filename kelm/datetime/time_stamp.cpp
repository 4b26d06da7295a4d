#include "kelm/datetime/time_stamp.h"

#include <cstdint>

#include "kelm/datetime/internal/mask_values.h"
#include "kelm/datetime/mask_text.h"
#include "kelm/port/clock.h"

namespace {

constexpr long long kSecondsPerDay = 86400;
constexpr std::uint64_t kTicksPerSecond = 10000000;
// Date serial + kDaysFromYearOne = days since 1 January of year 1.
constexpr long long kDaysFromYearOne = 714414;
constexpr const char* kDefaultMask = "дд.мм.гггг чч:ии:сс";
constexpr const char* kStampLetters = "дмгчис";

std::int32_t Low32(long long seconds) { return static_cast<std::int32_t>(seconds); }

}  // namespace

TimeStamp::TimeStamp() : date_(0L), time_(0L) { Current(); }

TimeStamp::TimeStamp(int year, int month, int day, int hour, int minute, int second)
    : date_(day, month, year), time_(Low32((static_cast<long long>(hour) * 60 + minute) * 60 + second)) {}

TimeStamp::TimeStamp(Date date, Time time) : date_(date), time_(time) {}

TimeStamp::TimeStamp(long long packed) : date_(0L), time_(0L) { *this = packed; }

TimeStamp::TimeStamp(struct _FILETIME file_time) : date_(Date::kEmpty), time_(Time::kEmpty) {
  SYSTEMTIME t{};
  if (!kelm::port::FileTimeToSystemTime(&file_time, &t)) return;
  date_ = Date(t.wDay, t.wMonth, t.wYear);
  time_ = Time(t.wHour * 3600L + t.wMinute * 60L + t.wSecond);
}

TimeStamp::TimeStamp(unsigned char* ticks) : date_(Date::kEmpty), time_(Time::kEmpty) {
  std::uint64_t count = 0;
  for (int i = 7; i >= 0; --i) count = count << 8 | ticks[i];
  if (count == 0) return;
  const std::uint64_t seconds = count / kTicksPerSecond;
  const std::uint64_t second = seconds % 60;
  const std::uint64_t minutes = seconds / 60 + 180;  // back from UTC to UTC+3
  const std::uint64_t minute = minutes % 60;
  const std::uint64_t hours = minutes / 60;
  const std::uint64_t hour = hours % 24;
  const long long days = static_cast<long long>(hours / 24);
  date_ = Date(static_cast<std::int32_t>(days - kDaysFromYearOne));
  time_ = Time(static_cast<long>((hour * 60 + minute) * 60 + second));
}

void TimeStamp::Current() {
  SYSTEMTIME now{};
  kelm::port::LocalTime(&now);
  time_ = Time(now.wHour * 3600L + now.wMinute * 60L + now.wSecond);
  date_.Current();
}

TimeStamp& TimeStamp::operator=(Date date) {
  date_ = date;
  return *this;
}

TimeStamp& TimeStamp::operator=(Time time) {
  time_ = time;
  return *this;
}

TimeStamp& TimeStamp::operator=(Days d) {
  date_ = d;
  return *this;
}

TimeStamp& TimeStamp::operator=(Months m) {
  date_ = m;
  return *this;
}

TimeStamp& TimeStamp::operator=(Years y) {
  date_ = y;
  return *this;
}

TimeStamp& TimeStamp::operator=(Hours h) {
  time_ = h;
  return *this;
}

TimeStamp& TimeStamp::operator=(Minuts m) {
  time_ = m;
  return *this;
}

TimeStamp& TimeStamp::operator=(Seconds s) {
  time_ = s;
  return *this;
}

TimeStamp& TimeStamp::operator=(long long packed) {
  const std::uint64_t bits = static_cast<std::uint64_t>(packed);
  date_ = Date(static_cast<std::int32_t>(bits >> 32));
  time_ = Time(static_cast<std::int32_t>(bits & 0xFFFFFFFFu));
  return *this;
}

TimeStamp::operator long long() const {
  const std::uint64_t high = static_cast<std::uint32_t>(static_cast<long>(date_));
  const std::uint64_t low = static_cast<std::uint32_t>(static_cast<long>(time_));
  return static_cast<long long>(high << 32 | low);
}

void TimeStamp::SetMaxDay() {
  date_.SetMaxDay();
  time_ = Time(86399L);
}

long long TimeStamp::ToSeconds() const {
  return static_cast<long long>(static_cast<long>(date_)) * kSecondsPerDay + static_cast<long>(time_);
}

void TimeStamp::FromSeconds(long long seconds) {
  date_ = Date(static_cast<std::int32_t>(seconds / kSecondsPerDay));
  time_ = Time(static_cast<std::int32_t>(seconds % kSecondsPerDay));
}

TimeStamp& TimeStamp::AddSeconds(long long seconds) {
  FromSeconds(ToSeconds() + seconds);
  return *this;
}

TimeStamp TimeStamp::operator+(int seconds) const { return TimeStamp(*this).AddSeconds(seconds); }
TimeStamp TimeStamp::operator+(long seconds) const { return TimeStamp(*this).AddSeconds(seconds); }
TimeStamp TimeStamp::operator-(int seconds) const {
  return TimeStamp(*this).AddSeconds(-static_cast<long long>(seconds));
}
TimeStamp& TimeStamp::operator+=(int seconds) { return AddSeconds(seconds); }
TimeStamp& TimeStamp::operator-=(int seconds) { return AddSeconds(-static_cast<long long>(seconds)); }
TimeStamp& TimeStamp::operator++() { return AddSeconds(1); }
TimeStamp& TimeStamp::operator--() { return AddSeconds(-1); }

TimeStamp TimeStamp::operator-(const TimeStamp& other) const {
  TimeStamp result(*this);
  result.FromSeconds(ToSeconds() - other.ToSeconds());
  return result;
}

TimeStamp TimeStamp::operator+(long long packed_delta) const {
  const std::uint64_t sum =
      static_cast<std::uint64_t>(static_cast<long long>(*this)) + static_cast<std::uint64_t>(packed_delta);
  TimeStamp result(*this);
  result = static_cast<long long>(sum);
  return result;
}

void TimeStamp::DayTime() {
  if (time_.IsEmpty()) return;  // the empty stamp too
  const long seconds = time_;
  date_ = Date(static_cast<std::int32_t>(static_cast<long long>(static_cast<long>(date_)) + seconds / kSecondsPerDay));
  time_ = Time(static_cast<long>(seconds % kSecondsPerDay));
}

long long TimeStamp::Pvsw() const {
  if (IsEmpty()) return 0;
  // Unsigned, so that far dates wrap instead of overflowing.
  using U = std::uint64_t;
  const U days = static_cast<U>(static_cast<long>(date_)) + kDaysFromYearOne;
  // The stored time is UTC+3: Bias() minutes away from UTC.
  const U minutes = (days * 24 + static_cast<U>(Hour())) * 60 + static_cast<U>(Minute()) + static_cast<U>(Bias());
  return static_cast<long long>((minutes * 60 + static_cast<U>(Second())) * kTicksPerSecond);
}

struct _FILETIME TimeStamp::FileTime() const {
  SYSTEMTIME t{};
  t.wYear = static_cast<WORD>(Year());
  t.wMonth = static_cast<WORD>(Month());
  t.wDay = static_cast<WORD>(Day());
  t.wHour = static_cast<WORD>(Hour());
  t.wMinute = static_cast<WORD>(Minute());
  t.wSecond = static_cast<WORD>(Second());
  FILETIME result{};
  FILETIME converted{};
  if (kelm::port::SystemTimeToFileTime(&t, &converted)) result = converted;
  return result;
}

char* TimeStamp::ToString(char* buf, const char* mask) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  int values[6];
  date_.GetDate(values[0], values[1], values[2]);
  values[3] = Hour();
  values[4] = Minute();
  values[5] = Second();
  StringFromMask(buf, mask == nullptr || *mask == '\0' ? kDefaultMask : mask, values, kStampLetters);
  return buf;
}

TimeStamp& TimeStamp::FromString(const char* text, const char* mask) {
  int values[6] = {0, 0, 0, 0, 0, 0};
  if (mask == nullptr || *mask == '\0') mask = kDefaultMask;
  if (text == nullptr || !kelm::datetime_internal::ValuesFromMask(text, mask, values, kStampLetters, false)) {
    *this = Empty();
    return *this;
  }
  int year = values[2];
  if (year < 100) year += year < 71 ? 2000 : 1900;
  date_ = Date(values[0], values[1], year);
  time_ = Time(Low32((static_cast<long long>(values[3]) * 60 + values[4]) * 60 + values[5]));
  return *this;
}
