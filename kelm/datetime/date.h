// Calendar dates: a serial day number with Russian texts and mask texts.
#ifndef KELM_DATETIME_DATE_H_
#define KELM_DATETIME_DATE_H_

#include <cstdint>

#include "kelm/datetime/mask_text.h"
#include "kelm/datetime/units.h"

// A day of the proleptic Gregorian calendar. Day 0 is 1 January 1957; -32768
// is the empty date. Components out of range are clamped, never reported:
// years to 1..9999, months to 1..12, days to the month.
class Date {
 public:
  static constexpr long kEmpty = -32768;

  // The initial date of DateTimeUtils.
  Date();
  constexpr Date(long serial) : serial_(static_cast<std::int32_t>(serial)) {}
  Date(int day, int month, int year);
  Date(Days d, Months m, Years y);
  Date(Months m, Days d, Years y);
  Date(Months m, Years y, Days d);
  Date(Years y, Months m, Days d);
  Date(Years y, Days d, Months m);
  Date(Days d, Years y, Months m);
  // 1 January of y; the first of month m of year 1; day d of January of year 1.
  Date(Years y);
  Date(Months m);
  Date(Days d);

  Date& operator=(long serial);
  Date& operator=(const Date& other) = default;
  Date(const Date& other) = default;
  // Replace one component; the day is clamped to the resulting month.
  Date& operator=(Days d);
  Date& operator=(Months m);
  Date& operator=(Years y);

  void SetDate(Days d, Months m, Years y);
  void GetDate(int& day, int& month, int& year) const;
  int Day() const;
  int Month() const;
  int Year() const;
  operator long() const { return serial_; }
  bool IsEmpty() const { return serial_ == kEmpty; }

  // 1 = Monday ... 7 = Sunday.
  int DayOfWeek() const;
  // Week of the month; weeks start on Monday and the 1st is in week 1.
  int Week() const;
  int MaxDay() const;
  // Moves to the month's last day and returns it.
  int SetMaxDay();
  bool InSameMonth(Date other);

  Date operator+(Days n) const;
  Date operator-(Days n) const;
  Date operator-(long n) const;
  Date& operator+=(const Days& n);
  Date& operator-=(const Days& n);
  // The day is kept, or clamped to the target month (31 January + 1 month is
  // the last day of February).
  Date operator+(Months k) const;
  Date operator-(Months k) const;
  Date& operator+=(const Months& k);
  Date& operator-=(const Months& k);
  Date operator+(Years k) const;
  Date operator-(Years k) const;
  Date& operator+=(const Years& k);
  Date& operator-=(const Years& k);
  void operator++();
  void operator++(int);
  void operator--();
  void operator--(int);

  // Decades are days 1-10, 11-20 and 21 to the end of the month.
  void SetStartDecad();
  void SetEndDecad();
  void NextDecad();
  void SetStartCuartal();
  void SetEndCuartal();
  void NextCuartal();

  // Today's local date.
  void Current();

  // The texts below write into `buf` and return it; 16 characters hold any
  // name, 40 any TextDate. Month numbers outside 1..12 give an empty name.
  static char* GetMonthName(char* buf, int month);
  char* TextDayMonth(char* buf) const;
  // The month name in the genitive: «января», «мая», «марта».
  char* TextDayMonthDeclination(char* buf) const;
  char* TextDayWeek(char* buf) const;
  // «8 марта 2013 г.»; empty for the empty date.
  char* TextDate(char* buf) const;
  // Mask texts with the letters д (day), м (month), г (year), either case; a
  // null or empty mask means "дд.мм.гг". The empty date writes an empty text.
  char* ToString(char* buf, const char* mask = nullptr) const;
  // Reads a date along `mask` (see mask_text.h). A text without any number
  // gives the empty date. Missing parts come from the initial date; a two-
  // digit year without `fixed_width` means 2000..2057 below 58, else 19xx.
  Date& FromString(const char* text, const char* mask = nullptr, bool fixed_width = false);
  // Whether anything follows the leading digits of `text`.
  static bool IsSeparated(const char* text);

  // Period texts for report headings; each is empty for the empty date.
  char* TextDecad(char* buf) const;           // «II дкд.»
  char* TextMonth(char* buf) const;           // «март 2013 г.»
  char* TextOnlyMonth(char* buf) const;       // «март»
  char* TextSmallOnlyMonth(char* buf) const;  // «III»
  // Writes the year and overwrites its second character with an apostrophe:
  // for 2013 `buf` holds «2'13» and the result, buf + 1, reads «'13».
  char* TextSmallYear(char* buf) const;
  char* TextCuartal(char* buf) const;   // «IV кв.»
  char* TextHalfYear(char* buf) const;  // «II пг.»
  char* TextYear(char* buf) const;      // «2013 г.»

 private:
  Date& AddMonths(long long k);
  Date& SubtractMonths(long long k);
  Date& AddYears(long long k);

  std::int32_t serial_;
};

// 1 for February of a leap year, 0 otherwise: the extra day to add to the
// common-year length of `month`.
int LeapYear(unsigned int year, unsigned int month);

// Clamps a serial to the 16-bit range -32768..32767.
void LimitShortDate(long& serial);

// Sets the initial date and time of DateTimeUtils to now.
void DateTimeInit();

#endif  // KELM_DATETIME_DATE_H_
