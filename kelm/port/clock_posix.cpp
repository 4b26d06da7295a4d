#include "kelm/port/clock.h"

#include <chrono>
#include <ctime>

#include "kelm/port/utc_offset.h"

namespace kelm::port {
namespace {

constexpr std::uint64_t kTicksPerSecond = 10000000;
constexpr std::uint64_t kTicksPerDay = kTicksPerSecond * 86400;

bool IsLeap(long long y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

int MonthLength(long long y, int m) {
  static constexpr int kLength[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return kLength[m - 1] + (m == 2 && IsLeap(y) ? 1 : 0);
}

// Days from 1 January 1601 (proleptic Gregorian), through March-based years.
long long DaysFrom1601(long long y, int m, int d) {
  y -= m <= 2;
  const long long era = y / 400;  // y >= 1600 here
  const long long year_of_era = y - era * 400;
  const long long day_of_year = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const long long day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 584694;  // 584694 = days from 1 March 0000 to 1 January 1601
}

// `in` moved by `sign` times the zone's offset now.
bool ShiftByZone(const FILETIME* in, FILETIME* out, int sign) {
  const long long offset = UtcOffset(std::chrono::system_clock::now()).count();
  const long long ticks = static_cast<long long>((std::uint64_t{in->dwHighDateTime} << 32) | in->dwLowDateTime);
  if (ticks < 0) return false;
  const long long shifted = ticks + sign * offset * static_cast<long long>(kTicksPerSecond);
  if (shifted < 0) return false;
  out->dwLowDateTime = static_cast<DWORD>(shifted);
  out->dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(shifted) >> 32);
  return true;
}

}  // namespace

void LocalTime(SYSTEMTIME* now) {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  tm local{};
  localtime_r(&ts.tv_sec, &local);
  now->wYear = static_cast<WORD>(local.tm_year + 1900);
  now->wMonth = static_cast<WORD>(local.tm_mon + 1);
  now->wDayOfWeek = static_cast<WORD>(local.tm_wday);
  now->wDay = static_cast<WORD>(local.tm_mday);
  now->wHour = static_cast<WORD>(local.tm_hour);
  now->wMinute = static_cast<WORD>(local.tm_min);
  // A leap second shows as 59, as Windows never reports 60.
  now->wSecond = static_cast<WORD>(local.tm_sec > 59 ? 59 : local.tm_sec);
  now->wMilliseconds = static_cast<WORD>(ts.tv_nsec / 1000000);
}

bool SystemTimeToFileTime(const SYSTEMTIME* in, FILETIME* out) {
  if (in->wYear < 1601 || in->wYear > 30827 || in->wMonth < 1 || in->wMonth > 12 || in->wDay < 1 ||
      in->wDay > MonthLength(in->wYear, in->wMonth) || in->wHour > 23 || in->wMinute > 59 ||
      in->wSecond > 59 || in->wMilliseconds > 999) {
    return false;
  }
  const std::uint64_t days = static_cast<std::uint64_t>(DaysFrom1601(in->wYear, in->wMonth, in->wDay));
  const std::uint64_t seconds = (in->wHour * 60u + in->wMinute) * 60u + in->wSecond;
  const std::uint64_t ticks =
      days * kTicksPerDay + seconds * kTicksPerSecond + in->wMilliseconds * std::uint64_t{10000};
  out->dwLowDateTime = static_cast<DWORD>(ticks);
  out->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return true;
}

bool FileTimeToSystemTime(const FILETIME* in, SYSTEMTIME* out) {
  const std::uint64_t ticks = (std::uint64_t{in->dwHighDateTime} << 32) | in->dwLowDateTime;
  if (ticks >> 63) return false;
  std::uint64_t days = ticks / kTicksPerDay;
  const std::uint64_t in_day = ticks % kTicksPerDay;
  const std::uint64_t seconds = in_day / kTicksPerSecond;
  SYSTEMTIME t{};
  t.wMilliseconds = static_cast<WORD>(in_day % kTicksPerSecond / 10000);
  t.wSecond = static_cast<WORD>(seconds % 60);
  t.wMinute = static_cast<WORD>(seconds / 60 % 60);
  t.wHour = static_cast<WORD>(seconds / 3600);
  t.wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1 January 1601 was a Monday
  long long year = 1601 + static_cast<long long>(days / 146097) * 400;
  days %= 146097;
  while (days >= static_cast<std::uint64_t>(IsLeap(year) ? 366 : 365)) {
    days -= IsLeap(year) ? 366 : 365;
    ++year;
  }
  int month = 1;
  while (days >= static_cast<std::uint64_t>(MonthLength(year, month))) {
    days -= MonthLength(year, month);
    ++month;
  }
  t.wYear = static_cast<WORD>(year);
  t.wMonth = static_cast<WORD>(month);
  t.wDay = static_cast<WORD>(days + 1);
  *out = t;
  return true;
}

bool FileTimeToLocalFileTime(const FILETIME* in, FILETIME* out) { return ShiftByZone(in, out, 1); }

bool LocalFileTimeToFileTime(const FILETIME* in, FILETIME* out) { return ShiftByZone(in, out, -1); }

}  // namespace kelm::port
