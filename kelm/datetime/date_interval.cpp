#include "kelm/datetime/date_interval.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kelm/datetime/internal/mask_values.h"

namespace {

bool IsSet(const Date& d) { return !d.IsEmpty(); }

int MonthLength(int year, int month) {
  Date first(1, month, year);
  return first.MaxDay();
}

char* NameWithNumber(char* buf, int n, const char* word) {
  if (buf == nullptr) return nullptr;
  std::strcpy(kelm::datetime_internal::WriteDecimal(buf, n), word);
  return buf;
}

}  // namespace

DateInterval::DateInterval() : dateBegin(), dateEnd(dateBegin) {}

DateInterval::DateInterval(Date d) : dateBegin(d), dateEnd(d) { MonthExtend(d); }

bool DateInterval::IsValid() const { return !IsSet(dateBegin) || !IsSet(dateEnd) || dateBegin <= dateEnd; }

bool DateInterval::operator==(const DateInterval& other) const {
  return dateBegin == other.dateBegin && dateEnd == other.dateEnd;
}

// An empty date is in no interval, not even in one open at both ends.
bool DateInterval::IsContain(Date d) const {
  if (d.IsEmpty()) return false;
  if (!IsSet(dateBegin) && !IsSet(dateEnd)) return true;
  if (IsSet(dateBegin) && dateBegin > d) return false;
  return !IsSet(dateEnd) || d <= dateEnd;
}

bool DateInterval::operator>=(DateInterval other) const {
  if (!IsValid() || !other.IsValid()) return false;
  if (IsSet(dateBegin) && (!IsSet(other.dateBegin) || other.dateBegin < dateBegin)) return false;
  return !IsSet(dateEnd) || (IsSet(other.dateEnd) && other.dateEnd <= dateEnd);
}

DateInterval& DateInterval::operator++() { return *this += Days(1); }

DateInterval& DateInterval::operator+=(Days n) {
  if (IsSet(dateBegin)) dateBegin += n;
  if (IsSet(dateEnd)) dateEnd += n;
  return *this;
}

DateInterval& DateInterval::operator+=(Months k) {
  if (IsSet(dateBegin)) dateBegin = dateBegin + k;
  if (IsSet(dateEnd)) dateEnd = dateEnd + k;
  return *this;
}

DateInterval& DateInterval::operator+=(Years k) {
  if (IsSet(dateBegin)) dateBegin = dateBegin + k;
  if (IsSet(dateEnd)) dateEnd = dateEnd + k;
  return *this;
}

bool DateInterval::Intersect(Date begin, Date end) {
  if (IsSet(begin) && (!IsSet(dateBegin) || dateBegin < begin)) dateBegin = begin;
  if (IsSet(end) && (!IsSet(dateEnd) || dateEnd > end)) dateEnd = end;
  return IsValid();
}

bool DateInterval::Intersect(const DateInterval& other) { return Intersect(other.dateBegin, other.dateEnd); }

bool DateInterval::IsIntersect(Date begin, Date end) const {
  DateInterval copy(*this);
  return copy.Intersect(begin, end);
}

bool DateInterval::IsIntersect(DateInterval& other) const { return IsIntersect(other.dateBegin, other.dateEnd); }

void DateInterval::Merge(Date begin, Date end) {
  if (!IsValid()) {
    dateBegin = begin;
    dateEnd = end;
    return;
  }
  if (IsSet(begin) && IsSet(end) && begin > end) return;
  if (!(IsSet(begin) && IsSet(dateBegin) && dateBegin <= begin)) dateBegin = begin;
  if (!(IsSet(end) && (!IsSet(dateEnd) || dateEnd >= end))) dateEnd = end;
}

long DateInterval::IntersectDayCount(Date begin, Date end) const {
  const long start = IsSet(begin) && begin > dateBegin ? begin : dateBegin;
  const long stop = IsSet(end) && end < dateEnd ? end : dateEnd;
  return stop - start;
}

void DateInterval::Differ(long& years, long& months, long& days) const {
  years = months = days = 0;
  if (dateBegin > dateEnd) return;
  int d1, m1, y1, d2, m2, y2;
  dateBegin.GetDate(d1, m1, y1);
  dateEnd.GetDate(d2, m2, y2);
  if (d2 < d1) {
    const int previous_length = m2 == 1 ? 31 : MonthLength(y2, m2 - 1);
    days = d2 + std::max(0, previous_length - d1);
    --m2;
  } else {
    days = d2 - d1;
  }
  const long total = (static_cast<long>(y2) - y1) * 12 - m1 + m2;
  years = total / 12;
  months = total - 12 * years;
}

Years DateInterval::GetYears() const {
  long years, months, days;
  Differ(years, months, days);
  return Years(static_cast<int>(years));
}

void DateInterval::MonthExtend(Date d) {
  if (IsSet(d)) dateBegin = dateEnd = d;
  if (IsSet(dateBegin)) dateBegin = Days(1);
  if (IsSet(dateEnd)) dateEnd.SetMaxDay();
}

void DateInterval::YearExtend(Date d) {
  if (IsSet(d)) dateBegin = dateEnd = d;
  if (IsSet(dateBegin)) dateBegin = Date(1, 1, dateBegin.Year());
  if (IsSet(dateEnd)) dateEnd = Date(31, 12, dateEnd.Year());
}

void DateInterval::YearExtendToMonth(Date d) {
  if (IsSet(d)) dateBegin = dateEnd = d;
  if (IsSet(dateBegin)) dateBegin = Date(1, 1, dateBegin.Year());
  if (IsSet(dateEnd)) dateEnd.SetMaxDay();
}

void DateInterval::Shift(long kind, bool back) {
  const int step = back ? -1 : 1;
  switch (kind) {
    case 0:
      *this += Days(step);
      return;
    case 1:
      *this += Days(7 * step);
      return;
    case 2:
      *this += Months(step);
      break;
    case 3:
      *this += Months(3 * step);
      break;
    case 4:
      *this += Months(6 * step);
      break;
    case 5:
      *this += Years(step);
      break;
    case 6:
      dateBegin = dateEnd = Date(Date::kEmpty);
      return;
    default:
      break;
  }
  // Keeps a whole-month period whole. An open end is not spared.
  dateEnd.SetDate(Days(31), Months(dateEnd.Month()), Years(dateEnd.Year()));
}

char* DateInterval::ToString(char* buf, const char* mask) const {
  char* end = buf;
  *end = '\0';
  if (IsSet(dateBegin)) {
    std::strcpy(end, "с ");
    end += std::strlen(end);
    dateBegin.ToString(end, mask);
    end += std::strlen(end);
  }
  if (IsSet(dateEnd)) {
    if (end != buf) *end++ = ' ';
    std::strcpy(end, "по ");
    end += std::strlen(end);
    dateEnd.ToString(end, mask);
  }
  return buf;
}

Months TotalMonths(const Date& a, const Date& b) {
  return Months(std::abs((a.Year() - b.Year()) * 12 + (a.Month() - b.Month())));
}

Months TotalMonths(const Date& a) {
  Date today(0L);
  today.Current();
  return TotalMonths(today, a);
}

char* GetQuartalName(char* buf, int n) { return NameWithNumber(buf, n, " квартал"); }

char* GetHalfYearName(char* buf, int n) { return NameWithNumber(buf, n, " полугодие"); }
