// The library-wide initial date and time.
#ifndef KELM_DATETIME_DATE_TIME_UTILS_H_
#define KELM_DATETIME_DATE_TIME_UTILS_H_

#include "kelm/datetime/date.h"
#include "kelm/datetime/time.h"

// The working date and time that Date() and incomplete date texts fall back
// on. They start as 1 January 1957 and midnight; KELMLIBInit sets them to now.
// Every member holds the library-wide lock while it runs; the references
// returned point to the shared values themselves.
class DateTimeUtils {
 public:
  static const Date& GetInitDate();
  static void SetInitDate(const Date& date);
  static const Date& SetInitDateToCurrent();
  static const Time& GetInitTime();
  static void SetInitTime(const Time& time);
  static const Time& SetInitTimeToCurrent();
};

#endif  // KELM_DATETIME_DATE_TIME_UTILS_H_
