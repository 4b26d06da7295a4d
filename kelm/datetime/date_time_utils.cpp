#include "kelm/datetime/date_time_utils.h"

#include "kelm/frame/sync.h"

namespace {

// Made on first use: Date() may run in another unit's static initialiser.
CriticalSection& LibraryLock() {
  static CriticalSection lock;
  return lock;
}

constinit Date init_date(0L);
constinit Time init_time(0L);

}  // namespace

// Copies the initial date under the lock, not after it.
Date::Date() {
  Locker lock(LibraryLock());
  serial_ = init_date.serial_;
}

const Date& DateTimeUtils::GetInitDate() {
  Locker lock(LibraryLock());
  return init_date;
}

void DateTimeUtils::SetInitDate(const Date& date) {
  Locker lock(LibraryLock());
  init_date = date;
}

const Date& DateTimeUtils::SetInitDateToCurrent() {
  Locker lock(LibraryLock());
  init_date.Current();
  return init_date;
}

const Time& DateTimeUtils::GetInitTime() {
  Locker lock(LibraryLock());
  return init_time;
}

void DateTimeUtils::SetInitTime(const Time& time) {
  Locker lock(LibraryLock());
  init_time = time;
}

const Time& DateTimeUtils::SetInitTimeToCurrent() {
  Locker lock(LibraryLock());
  init_time.Current();
  return init_time;
}
