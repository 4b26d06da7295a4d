// A moment: a Date and a Time of that day.
#ifndef KELM_DATETIME_TIME_STAMP_H_
#define KELM_DATETIME_TIME_STAMP_H_

#include "kelm/datetime/date.h"
#include "kelm/datetime/time.h"
#include "kelm/port/win_types.h"

// The date and the time are held as members (date first), not inherited:
// inheriting Date would give the class two conversions to integers, its own
// packed form and Date's serial, and make every comparison ambiguous. The
// Date members a stamp needs are forwarded.
//
// The empty stamp has -32768 in both fields; either field alone at -32768 is
// an ordinary value (date -32768 is 15 April 1867). Local times are taken as
// UTC+3 by the tick form (Pvsw) only.
class TimeStamp {
 public:
  // The current local date and time, read by two separate clock calls: at
  // midnight the old time may pair with the new date.
  TimeStamp();
  // The date clamped as by Date::SetDate; the time unchecked.
  TimeStamp(int year, int month, int day, int hour, int minute, int second);
  TimeStamp(Date date, Time time);
  // The packed form: the date in the high 32 bits, the seconds in the low.
  TimeStamp(long long packed);
  // Read as local time, with no zone shift; an unconvertible value gives the
  // empty stamp.
  TimeStamp(struct _FILETIME file_time);
  // The tick form: 8 bytes, little-endian (see Pvsw); 0 is the empty stamp.
  TimeStamp(unsigned char* ticks);

  static TimeStamp Empty() { return TimeStamp(Date(Date::kEmpty), Time(Time::kEmpty)); }
  bool IsEmpty() const { return date_.IsEmpty() && time_.IsEmpty(); }

  void Current();

  int Day() const { return date_.Day(); }
  int Month() const { return date_.Month(); }
  int Year() const { return date_.Year(); }
  int Hour() const { return time_.Hour(); }
  int Minute() const { return time_.Minute(); }
  int Second() const { return time_.Second(); }
  long GetDate() const { return date_; }
  long GetTime() const { return time_; }
  const Date& Getdate() const { return date_; }
  const Time& Gettime() const { return time_; }

  TimeStamp& operator=(Date date);
  TimeStamp& operator=(Time time);
  TimeStamp& operator=(Days d);
  TimeStamp& operator=(Months m);
  TimeStamp& operator=(Years y);
  TimeStamp& operator=(Hours h);
  TimeStamp& operator=(Minuts m);
  TimeStamp& operator=(Seconds s);
  TimeStamp& operator=(long long packed);
  operator long long() const;

  // The month's last day at 23:59:59.
  void SetMaxDay();

  // date * 86400 + time, and back with truncating division: a negative count
  // gives a negative time of day.
  long long ToSeconds() const;
  void FromSeconds(long long seconds);

  TimeStamp operator+(int seconds) const;
  TimeStamp operator+(long seconds) const;
  TimeStamp operator-(int seconds) const;
  TimeStamp& operator+=(int seconds);
  TimeStamp& operator-=(int seconds);
  TimeStamp& operator++();
  TimeStamp& operator--();
  // Whole days and remaining seconds between the two.
  TimeStamp operator-(const TimeStamp& other) const;
  // Adds to the packed form, not to the seconds: 1 adds a second without
  // carrying into the date, 2^32 adds a day.
  TimeStamp operator+(long long packed_delta) const;

  // Folds the time into one day, carrying whole days into the date. Leaves
  // an empty stamp or an empty time alone.
  void DayTime();

  // 100-nanosecond units since 1 January of year 1, taking the stored values
  // as UTC+3; 0 for the empty stamp (and for 1 January of year 1, 03:00).
  // Computed modulo 2^64, so every date and time gives a defined result.
  long long Pvsw() const;
  // Windows FILETIME of the stored values, with no zone shift; all zeros
  // when they do not form a valid Windows time (before 1601, hour above 23).
  struct _FILETIME FileTime() const;

  // Mask texts with the letters д м г ч и с (day, month, year, hour, minute,
  // second), either case; a null or empty mask means "дд.мм.гггг чч:ии:сс".
  // The empty stamp writes an empty text.
  char* ToString(char* buf, const char* mask = nullptr) const;
  // A text without any number gives the empty stamp. Years below 100 mean
  // 2000..2070 below 71 and 1971..1999 from 71 on.
  TimeStamp& FromString(const char* text, const char* mask = nullptr);

 protected:
  // The zone offset, in minutes, that the tick form assumes.
  long Bias() const { return -180; }

 private:
  // The seconds arithmetic of the operators: FromSeconds(ToSeconds() + s).
  TimeStamp& AddSeconds(long long seconds);

  Date date_;
  Time time_;
};

#endif  // KELM_DATETIME_TIME_STAMP_H_
