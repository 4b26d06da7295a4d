// Time of day as a count of seconds.
#ifndef KELM_DATETIME_TIME_H_
#define KELM_DATETIME_TIME_H_

#include <cstdint>

#include "kelm/datetime/units.h"

// Passing this very pointer (not an equal text) as the mask of
// Time::ToString writes all the hours: 93784 seconds read «26:03:04».
extern const char* const LARGE_HOURES;

// Seconds since midnight; -32768 is the empty time. Arithmetic does not fold
// the value into one day: DayTime does.
class Time {
 public:
  static constexpr long kEmpty = -32768;

  constexpr Time() : seconds_(0) {}
  constexpr Time(long seconds) : seconds_(static_cast<std::int32_t>(seconds)) {}
  Time(Seconds s);
  Time(Minuts m);
  Time(Hours h);
  Time(int h, int m, int s);
  Time(Hours h, Minuts m, Seconds s);
  Time(Hours h, Seconds s, Minuts m);
  Time(Minuts m, Hours h, Seconds s);
  Time(Minuts m, Seconds s, Hours h);
  Time(Seconds s, Hours h, Minuts m);
  Time(Seconds s, Minuts m, Hours h);

  // (h * 60 + m) * 60 + s, unchecked.
  void SetTime(Hours h, Minuts m, Seconds s);

  Time& operator=(long seconds);
  // Replace one component and keep the other two as Hour, Minute and Second
  // read them.
  Time& operator=(Seconds s);
  Time& operator=(Minuts m);
  Time& operator=(Hours h);

  Time operator+(Seconds n) const;
  Time operator+(Minuts n) const;
  Time operator+(Hours n) const;
  Time operator-(Seconds n) const;
  Time operator-(Minuts n) const;
  Time operator-(Hours n) const;
  Time& operator+=(Seconds n);
  Time& operator+=(Minuts n);
  Time& operator+=(Hours n);
  Time& operator-=(Seconds n);
  Time& operator-=(Minuts n);
  Time& operator-=(Hours n);
  void operator++();
  void operator--();

  // Truncating division: remainders keep the sign of the seconds.
  int Hour() const { return seconds_ / 3600; }
  int Minute() const { return seconds_ % 3600 / 60; }
  int Second() const { return seconds_ % 60; }
  long GetAllSeconds() const { return seconds_; }
  operator long() const { return seconds_; }
  bool IsEmpty() const { return seconds_ == kEmpty; }

  // Sets the local time of day and returns it.
  long Current();
  // Folds the seconds into one day (mod 86400); the empty time stays empty.
  void DayTime();

  // Mask texts with the letters с (seconds), м (minutes), ч (hours), either
  // case; a null or empty mask means "чч:мм". The empty time writes an empty
  // text; see LARGE_HOURES.
  char* ToString(char* buf, const char* mask = nullptr) const;
  // A text without any number gives the empty time; missing parts count 0.
  Time& FromString(const char* text, const char* mask = nullptr);

 private:
  void Assign(long long seconds);

  std::int32_t seconds_;
};

#endif  // KELM_DATETIME_TIME_H_
