// Spans of days with open ends, for reporting periods.
#ifndef KELM_DATETIME_DATE_INTERVAL_H_
#define KELM_DATETIME_DATE_INTERVAL_H_

#include "kelm/datetime/date.h"

// Both ends inclusive. An end holding the empty date is open: the span has no
// start, or no end. Valid when an end is open or dateBegin <= dateEnd.
class DateInterval {
 public:
  // Both ends the initial date of DateTimeUtils.
  DateInterval();
  DateInterval(Date begin, Date end) : dateBegin(begin), dateEnd(end) {}
  // The calendar month holding d.
  DateInterval(Date d);

  bool IsValid() const;
  bool operator==(const DateInterval& other) const;
  bool operator!=(const DateInterval& other) const { return !(*this == other); }
  bool IsContain(Date d) const;
  // Whether this interval contains `other`; false when either is invalid.
  bool operator>=(DateInterval other) const;

  // Each set end moves.
  DateInterval& operator++();
  DateInterval& operator+=(Days n);
  DateInterval& operator+=(Months k);
  DateInterval& operator+=(Years k);

  // Narrows to the common part with [begin, end]; returns its validity.
  bool Intersect(Date begin, Date end);
  bool Intersect(const DateInterval& other);
  // The same on a copy.
  bool IsIntersect(Date begin, Date end) const;
  bool IsIntersect(DateInterval& other) const;
  // Widens to cover [begin, end]; an invalid interval becomes it.
  void Merge(Date begin, Date end);
  // The later begin to the earlier end, in days: no day is added, no floor at
  // 0, and this interval's open ends count as the number -32768.
  long IntersectDayCount(Date begin, Date end) const;

  // The length in whole years, months and days; all 0 when begin > end.
  void Differ(long& years, long& months, long& days) const;
  Years GetYears() const;

  // Unless d is empty, both ends become d first; then set ends widen to
  // whole months, whole years, or from 1 January to the end of the month.
  void MonthExtend(Date d);
  void YearExtend(Date d);
  void YearExtendToMonth(Date d);

  // Steps the period forward (back: backward) by kind: 0 a day, 1 a week,
  // 2 a month, 3 a quarter, 4 a half-year, 5 a year, 6 opens both ends.
  // Kinds 2..5 and unknown kinds then move the end to the last day of its
  // month, even an open end, which becomes 30 April 1867.
  void Shift(long kind, bool back);

  // «с 01.03.13 по 31.03.13»; open ends are left out. `mask` as for
  // Date::ToString.
  char* ToString(char* buf, const char* mask = nullptr) const;

  Date dateBegin;
  Date dateEnd;
};

// The number of calendar months between the two months, days ignored.
Months TotalMonths(const Date& a, const Date& b);
// From today's local date.
Months TotalMonths(const Date& a);

// «3 квартал», «1 полугодие»; null for a null buf.
char* GetQuartalName(char* buf, int n);
char* GetHalfYearName(char* buf, int n);

#endif  // KELM_DATETIME_DATE_INTERVAL_H_
