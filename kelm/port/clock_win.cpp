#include "kelm/port/clock.h"

namespace kelm::port {

void LocalTime(SYSTEMTIME* now) { ::GetLocalTime(now); }

bool SystemTimeToFileTime(const SYSTEMTIME* in, FILETIME* out) {
  return ::SystemTimeToFileTime(in, out) != FALSE;
}

bool FileTimeToSystemTime(const FILETIME* in, SYSTEMTIME* out) {
  return ::FileTimeToSystemTime(in, out) != FALSE;
}

bool FileTimeToLocalFileTime(const FILETIME* in, FILETIME* out) {
  return ::FileTimeToLocalFileTime(in, out) != FALSE;
}

bool LocalFileTimeToFileTime(const FILETIME* in, FILETIME* out) {
  return ::LocalFileTimeToFileTime(in, out) != FALSE;
}

}  // namespace kelm::port
