#include "kelm/datetime/date.h"

#include <algorithm>

#include "kelm/datetime/date_time_utils.h"
#include "kelm/port/clock.h"

namespace {

constexpr int kDaysInMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
// Days before the first of each month in a common year; the 13th entry is the
// year's length, for the month search of GetDate.
constexpr int kDaysBefore[13] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};

// Serial day numbers are counted from 1 January 1957; the day count n used
// inside puts 1 January of year 1 at 366.
constexpr long long kSerialBase = 714781;

bool IsLeap(long long y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

int MonthLength(long long year, int month) {
  return kDaysInMonth[month - 1] + (month == 2 && IsLeap(year) ? 1 : 0);
}

// The day count n of 1 January of `year`.
long long YearStart(long long year) {
  const long long y1 = year - 1;
  return y1 / 400 - y1 / 100 + y1 / 4 + 365 * year + 1;
}

long long Clamp(long long v, long long lo, long long hi) { return std::min(std::max(v, lo), hi); }

// Serials of the years 1..9999 take a short way both ways (Neri and
// Schneider's Euclidean affine functions over a calendar whose years begin on
// 1 March, shifted so that every quantity is an unsigned 32-bit number), which
// agrees day by day with the step-by-step way below.
constexpr std::int32_t kFirstSerial = -714414;  // 1 January of year 1
constexpr std::int32_t kLastSerial = 2937644;   // 31 December 9999
constexpr std::uint32_t kShiftedDays = 536890710;    // serial 0 in the shifted calendar
constexpr std::uint32_t kShiftedYears = 1468000;     // year 0 in the shifted calendar

// The serial of a date, every component clamped first.
std::int32_t SerialOf(long long day, long long month, long long year) {
  const auto y = static_cast<std::uint32_t>(Clamp(year, 1, 9999));
  const auto m = static_cast<std::uint32_t>(Clamp(month, 1, 12));
  // Days 1..28 are in every month: only others need the month's length.
  const auto d = static_cast<std::uint32_t>(day >= 1 && day <= 28 ? day : Clamp(day, 1, MonthLength(y, static_cast<int>(m))));
  const std::uint32_t january_or_february = m <= 2 ? 1 : 0;
  const std::uint32_t shifted_year = y + kShiftedYears - january_or_february;
  const std::uint32_t shifted_month = january_or_february ? m + 12 : m;
  const std::uint32_t century = shifted_year / 100;
  const std::uint32_t days = 1461 * shifted_year / 4 - century + century / 4 +
                             (979 * shifted_month - 2919) / 32 + d - 1;
  return static_cast<std::int32_t>(days - kShiftedDays);
}

void CivilOf(std::int32_t serial, int& day, int& month, int& year) {
  if (serial >= kFirstSerial && serial <= kLastSerial) {
    const std::uint32_t n1 = 4 * (static_cast<std::uint32_t>(serial) + kShiftedDays) + 3;
    const std::uint32_t century = n1 / 146097;
    const std::uint32_t n2 = n1 % 146097 / 4 * 4 + 3;
    const std::uint64_t u2 = std::uint64_t{2939745} * n2;
    const std::uint32_t year_of_century = static_cast<std::uint32_t>(u2 >> 32);
    const std::uint32_t day_of_year = static_cast<std::uint32_t>(u2) / 2939745 / 4;  // from 1 March
    const std::uint32_t n3 = 2141 * day_of_year + 197913;
    const bool january_or_february = day_of_year >= 306;
    day = static_cast<int>(n3 % 65536 / 2141 + 1);
    month = static_cast<int>(january_or_february ? n3 / 65536 - 12 : n3 / 65536);
    year = static_cast<int>(100 * century + year_of_century + (january_or_february ? 1 : 0) - kShiftedYears);
    return;
  }
  // Outside them: the day count n from 1 January of year 1 = 366, with the
  // year estimated and corrected, and all days before year 0 clamped to one.
  const long long n = std::max<long long>(serial + kSerialBase - 1, 0);
  long long y = n * 400 / 146097;
  long long start = YearStart(y);
  if (n < start) start = YearStart(--y);
  long long r = n - start;
  for (long long length = IsLeap(y) ? 366 : 365; r >= length; length = IsLeap(y) ? 366 : 365) {
    r -= length;
    ++y;
  }
  const int leap = IsLeap(y) ? 1 : 0;
  int m = static_cast<int>(r / 31) + 1;
  if (r >= kDaysBefore[m] + (m + 1 >= 3 ? leap : 0)) ++m;
  day = static_cast<int>(r - kDaysBefore[m - 1] + 1 - (m >= 3 ? leap : 0));
  month = m;
  year = static_cast<int>(y);
}

// Serials wrap at 32 bits rather than overflow.
std::int32_t Wrap(long long serial) { return static_cast<std::int32_t>(serial); }

int WeekdayOf(long long serial) {
  const long long k = (serial + 1) % 7;
  return static_cast<int>(k < 0 ? k + 8 : k + 1);
}

}  // namespace

int LeapYear(unsigned int year, unsigned int month) { return month == 2 && IsLeap(year) ? 1 : 0; }

void LimitShortDate(long& serial) { serial = std::clamp(serial, -32768L, 32767L); }

void DateTimeInit() {
  DateTimeUtils::SetInitDateToCurrent();
  DateTimeUtils::SetInitTimeToCurrent();
}

Date::Date(int day, int month, int year) : serial_(SerialOf(day, month, year)) {}
Date::Date(Days d, Months m, Years y) : serial_(SerialOf(d, m, y)) {}
Date::Date(Months m, Days d, Years y) : serial_(SerialOf(d, m, y)) {}
Date::Date(Months m, Years y, Days d) : serial_(SerialOf(d, m, y)) {}
Date::Date(Years y, Months m, Days d) : serial_(SerialOf(d, m, y)) {}
Date::Date(Years y, Days d, Months m) : serial_(SerialOf(d, m, y)) {}
Date::Date(Days d, Years y, Months m) : serial_(SerialOf(d, m, y)) {}
Date::Date(Years y) : serial_(SerialOf(1, 1, y)) {}
Date::Date(Months m) : serial_(SerialOf(1, m, 1)) {}
Date::Date(Days d) : serial_(SerialOf(d, 1, 1)) {}

Date& Date::operator=(long serial) {
  serial_ = static_cast<std::int32_t>(serial);
  return *this;
}

Date& Date::operator=(Days d) {
  serial_ = SerialOf(d, Month(), Year());
  return *this;
}

Date& Date::operator=(Months m) {
  serial_ = SerialOf(Day(), m, Year());
  return *this;
}

Date& Date::operator=(Years y) {
  serial_ = SerialOf(Day(), Month(), y);
  return *this;
}

void Date::SetDate(Days d, Months m, Years y) { serial_ = SerialOf(d.value, m.value, y.value); }

void Date::GetDate(int& day, int& month, int& year) const { CivilOf(serial_, day, month, year); }

int Date::Day() const {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  return d;
}

int Date::Month() const {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  return m;
}

int Date::Year() const {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  return y;
}

int Date::DayOfWeek() const { return WeekdayOf(serial_); }

int Date::Week() const {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  return (d + WeekdayOf(static_cast<long long>(serial_) - (d - 1)) - 2) / 7 + 1;
}

int Date::MaxDay() const {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  return MonthLength(y, m);
}

int Date::SetMaxDay() {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  serial_ = SerialOf(MonthLength(y, m), m, y);
  return Day();
}

bool Date::InSameMonth(Date other) {
  int d1, m1, y1, d2, m2, y2;
  CivilOf(serial_, d1, m1, y1);
  CivilOf(other.serial_, d2, m2, y2);
  return m1 == m2 && y1 == y2;
}

Date Date::operator+(Days n) const { return Date(Wrap(static_cast<long long>(serial_) + n.value)); }
Date Date::operator-(Days n) const { return Date(Wrap(static_cast<long long>(serial_) - n.value)); }
Date Date::operator-(long n) const { return Date(Wrap(static_cast<long long>(serial_) - n)); }

Date& Date::operator+=(const Days& n) {
  *this = *this + n;
  return *this;
}

Date& Date::operator-=(const Days& n) {
  *this = *this - n;
  return *this;
}

Date& Date::AddMonths(long long k) {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  long long year = y;
  long long month = m + k;
  if (month >= 13) {
    year += (month - 1) / 12;
    month = (month - 1) % 12 + 1;
  } else if (month < 1) {
    const long long v = 12 - month;
    const long long q = v / 12;
    year -= q;
    month = 12 * (q + 1) - v;
  }
  serial_ = SerialOf(d, month, year);
  return *this;
}

// Not the mirror image of AddMonths: a negative k beyond the year's end
// yields a month of 13 or more, which the clamping turns into December.
Date& Date::SubtractMonths(long long k) {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  long long year = y;
  long long month;
  const long long v = k - m;
  if (v >= 0) {
    const long long q = v / 12;
    year -= q + 1;
    month = 12 * (q + 1) - v;
  } else {
    month = -v;
  }
  const int table_month = static_cast<int>(Clamp(month, 1, 12));
  const int limit = kDaysInMonth[table_month - 1] + (table_month == 2 && IsLeap(year) ? 1 : 0);
  serial_ = SerialOf(std::min(d, limit), month, year);
  return *this;
}

Date& Date::AddYears(long long k) {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  const long long year = y + k;
  const int limit = kDaysInMonth[m - 1] + (m == 2 && IsLeap(year) ? 1 : 0);
  serial_ = SerialOf(std::min(d, limit), m, year);
  return *this;
}

Date Date::operator+(Months k) const { return Date(*this).AddMonths(k.value); }
Date Date::operator-(Months k) const { return Date(*this).SubtractMonths(k.value); }
Date& Date::operator+=(const Months& k) { return AddMonths(k.value); }
Date& Date::operator-=(const Months& k) { return SubtractMonths(k.value); }
Date Date::operator+(Years k) const { return Date(*this).AddYears(k.value); }
Date Date::operator-(Years k) const { return Date(*this).AddYears(-static_cast<long long>(k.value)); }
Date& Date::operator+=(const Years& k) { return AddYears(k.value); }
Date& Date::operator-=(const Years& k) { return AddYears(-static_cast<long long>(k.value)); }

void Date::operator++() { serial_ = Wrap(serial_ + 1LL); }
void Date::operator++(int) { serial_ = Wrap(serial_ + 1LL); }
void Date::operator--() { serial_ = Wrap(serial_ - 1LL); }
void Date::operator--(int) { serial_ = Wrap(serial_ - 1LL); }

void Date::SetStartDecad() {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  serial_ = SerialOf(d <= 10 ? 1 : d <= 20 ? 11 : 21, m, y);
}

void Date::SetEndDecad() {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  serial_ = SerialOf(d <= 10 ? 10 : d <= 20 ? 20 : MonthLength(y, m), m, y);
}

void Date::NextDecad() {
  SetEndDecad();
  ++*this;
}

void Date::SetStartCuartal() {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  serial_ = SerialOf(1, (m - 1) / 3 * 3 + 1, y);
}

void Date::SetEndCuartal() {
  int d, m, y;
  CivilOf(serial_, d, m, y);
  const int last_month = (m - 1) / 3 * 3 + 3;
  serial_ = SerialOf(MonthLength(y, last_month), last_month, y);
}

void Date::NextCuartal() {
  SetEndCuartal();
  ++*this;
}

void Date::Current() {
  SYSTEMTIME now{};
  kelm::port::LocalTime(&now);
  serial_ = SerialOf(now.wDay, now.wMonth, now.wYear);
}
