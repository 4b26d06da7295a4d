// Russian texts, mask texts and period texts of Date.
#include <cstring>

#include "kelm/datetime/date.h"
#include "kelm/datetime/internal/mask_values.h"

using kelm::datetime_internal::WriteDecimal;

namespace {

constexpr const char* kMonthNames[12] = {"январь", "февраль", "март",     "апрель",  "май",    "июнь",
                                         "июль",   "август",  "сентябрь", "октябрь", "ноябрь", "декабрь"};
constexpr const char* kWeekdayNames[7] = {"понедельник", "вторник", "среда",      "четверг",
                                          "пятница",     "суббота", "воскресенье"};
constexpr const char* kRoman[12] = {"I", "II", "III", "IV", "V", "VI", "VII", "VIII", "IX", "X", "XI", "XII"};
constexpr const char* kDefaultMask = "дд.мм.гг";
constexpr const char* kDateLetters = "дмг";

char* Append(char* end, const char* text) {
  const std::size_t n = std::strlen(text);
  std::memcpy(end, text, n + 1);
  return end + n;
}

const char* Mask(const char* mask) { return mask == nullptr || *mask == '\0' ? kDefaultMask : mask; }

}  // namespace

char* Date::GetMonthName(char* buf, int month) {
  std::strcpy(buf, month >= 1 && month <= 12 ? kMonthNames[month - 1] : "");
  return buf;
}

char* Date::TextDayMonth(char* buf) const { return GetMonthName(buf, Month()); }

char* Date::TextDayMonthDeclination(char* buf) const {
  GetMonthName(buf, Month());
  const std::size_t n = std::strlen(buf);
  if (n == 0) return buf;
  if (buf[n - 1] == 'ь' || buf[n - 1] == 'й') {
    buf[n - 1] = 'я';
  } else {
    std::strcpy(buf + n, "а");
  }
  return buf;
}

char* Date::TextDayWeek(char* buf) const {
  std::strcpy(buf, kWeekdayNames[DayOfWeek() - 1]);
  return buf;
}

char* Date::TextDate(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  int d, m, y;
  GetDate(d, m, y);
  char* end = WriteDecimal(buf, d);
  end = Append(end, " ");
  end = Append(end, kMonthNames[m - 1]);
  if (m == 3 || m == 8) {
    end = Append(end, "а");
  } else {
    end[-1] = 'я';
  }
  end = Append(end, " ");
  end = WriteDecimal(end, y);
  Append(end, " г.");
  return buf;
}

char* Date::ToString(char* buf, const char* mask) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  int values[3];
  GetDate(values[0], values[1], values[2]);
  StringFromMask(buf, Mask(mask), values, kDateLetters);
  return buf;
}

Date& Date::FromString(const char* text, const char* mask, bool fixed_width) {
  mask = Mask(mask);
  int values[3] = {0, 0, 0};
  if (text == nullptr || !kelm::datetime_internal::ValuesFromMask(text, mask, values, kDateLetters, fixed_width)) {
    serial_ = static_cast<std::int32_t>(kEmpty);
    return *this;
  }
  int& day = values[0];
  int& month = values[1];
  int& year = values[2];
  const Date initial;
  if (day == 0) day = 1;
  if (month == 0) month = initial.Month();
  if (year == 0 && std::strchr(mask, 'г') == nullptr && std::strchr(mask, 'Г') == nullptr) {
    year = initial.Year();
  }
  if (year < 100 && !fixed_width) year += year < 58 ? 2000 : 1900;
  SetDate(Days(day), Months(month), Years(year));
  return *this;
}

bool Date::IsSeparated(const char* text) {
  if (text == nullptr) return false;
  while (*text >= '0' && *text <= '9') ++text;
  return *text != '\0';
}

// The period texts are short and of known length: they are written directly,
// without a formatting work area.
char* Date::TextDecad(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  const int d = Day();
  Append(Append(buf, d <= 10 ? "I" : d <= 20 ? "II" : "III"), " дкд.");
  return buf;
}

char* Date::TextMonth(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  int d, m, y;
  GetDate(d, m, y);
  Append(WriteDecimal(Append(Append(buf, kMonthNames[m - 1]), " "), y), " г.");
  return buf;
}

char* Date::TextOnlyMonth(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  return TextDayMonth(buf);
}

char* Date::TextSmallOnlyMonth(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  std::strcpy(buf, kRoman[Month() - 1]);
  return buf;
}

char* Date::TextSmallYear(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  const char* end = WriteDecimal(buf, Year());
  // A one-digit year has its terminator where the apostrophe goes.
  if (end == buf + 1) buf[2] = '\0';
  buf[1] = '\'';
  return buf + 1;
}

char* Date::TextCuartal(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  static constexpr const char* kQuarters[4] = {"I", "II", "III", "IV"};
  Append(Append(buf, kQuarters[(Month() - 1) / 3]), " кв.");
  return buf;
}

char* Date::TextHalfYear(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  Append(Append(buf, Month() <= 6 ? "I" : "II"), " пг.");
  return buf;
}

char* Date::TextYear(char* buf) const {
  *buf = '\0';
  if (IsEmpty()) return buf;
  Append(WriteDecimal(buf, Year()), " г.");
  return buf;
}
