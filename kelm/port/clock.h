// Local date and time, and conversions between SYSTEMTIME and FILETIME.
#ifndef KELM_PORT_CLOCK_H_
#define KELM_PORT_CLOCK_H_

#include "kelm/port/win_types.h"

namespace kelm::port {

// The current local date and time, as Windows' GetLocalTime gives it.
void LocalTime(SYSTEMTIME* now);

// As Windows' SystemTimeToFileTime: no zone shift; fails (false, *out
// untouched) for a field out of range or a year before 1601. wDayOfWeek is
// ignored.
bool SystemTimeToFileTime(const SYSTEMTIME* in, FILETIME* out);

// As Windows' FileTimeToSystemTime: no zone shift; fails (false, *out
// untouched) for a value with the top bit set.
bool FileTimeToSystemTime(const FILETIME* in, SYSTEMTIME* out);

// As Windows' FileTimeToLocalFileTime and LocalFileTimeToFileTime: shifted
// by the zone's offset now (daylight saving as it is now, not as it was at
// the moment converted). Fail for a result outside the FILETIME range.
bool FileTimeToLocalFileTime(const FILETIME* in, FILETIME* out);
bool LocalFileTimeToFileTime(const FILETIME* in, FILETIME* out);

}  // namespace kelm::port

#endif  // KELM_PORT_CLOCK_H_
