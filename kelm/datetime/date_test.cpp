#include "kelm/datetime/date.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <tuple>

#include "kelm/datetime/date_time_utils.h"
#include "kelm/frame/startup.h"

namespace {

using std::chrono::sys_days;

std::tuple<int, int, int> Dmy(const Date& d) {
  int dd, mm, yy;
  d.GetDate(dd, mm, yy);
  return {dd, mm, yy};
}
void ExpectDate(const Date& d, int day, int month, int year) { EXPECT_EQ(Dmy(d), std::make_tuple(day, month, year)); }

// `d` after one call of `step`.
template <class Step>
Date After(Date d, Step step) {
  (d.*step)();
  return d;
}

// Restores the initial date after a test that changes it.
class InitDateGuard {
 public:
  InitDateGuard() : saved_(DateTimeUtils::GetInitDate()) {}
  ~InitDateGuard() { DateTimeUtils::SetInitDate(saved_); }

 private:
  Date saved_;
};

TEST(DateCalendar, EveryDayOfYearsOneToNineThousandRoundTripsAndMatchesChrono) {
  const sys_days epoch = std::chrono::year{1957} / std::chrono::January / 1;
  long expected_serial = (sys_days{std::chrono::year{1} / std::chrono::January / 1} - epoch).count();
  ASSERT_EQ(expected_serial, -714414);
  int failures = 0;
  for (int y = 1; y <= 9999 && failures < 10; ++y) {
    for (unsigned m = 1; m <= 12; ++m) {
      const auto last = std::chrono::year_month_day_last{std::chrono::year{y} / std::chrono::month{m} /
                                                         std::chrono::last};
      const unsigned days = static_cast<unsigned>(last.day());
      for (unsigned d = 1; d <= days; ++d, ++expected_serial) {
        Date date;
        date.SetDate(Days(static_cast<int>(d)), Months(static_cast<int>(m)), Years(y));
        const sys_days civil{std::chrono::year{y} / std::chrono::month{m} / std::chrono::day{d}};
        const bool ok = static_cast<long>(date) == expected_serial && (civil - epoch).count() == expected_serial &&
                        Dmy(date) == std::make_tuple(static_cast<int>(d), static_cast<int>(m), y) &&
                        date.DayOfWeek() == static_cast<int>(std::chrono::weekday{civil}.iso_encoding());
        if (!ok) {
          ADD_FAILURE() << "day " << d << "." << m << "." << y << " serial " << static_cast<long>(date);
          ++failures;
        }
      }
    }
  }
  EXPECT_EQ(expected_serial, 2937644 + 1);
}

TEST(DateCalendar, SerialsBeyondYearNineThousandAndBeforeYearOne) {
  const sys_days epoch = std::chrono::year{1957} / std::chrono::January / 1;
  for (long serial = 2937645; serial < 2937645 + 2 * 146097; serial += 37) {
    const std::chrono::year_month_day civil{epoch + std::chrono::days{serial}};
    ExpectDate(Date(serial), static_cast<int>(static_cast<unsigned>(civil.day())),
               static_cast<int>(static_cast<unsigned>(civil.month())), static_cast<int>(civil.year()));
  }
  // Before year 1 the day count is clamped: year 0 runs from its day 1 and
  // everything earlier reads 31 December of year -1.
  ExpectDate(Date(-714779L), 1, 1, 0);
  ExpectDate(Date(-714780L), 31, 12, -1);
  ExpectDate(Date(-2147483647L - 1), 31, 12, -1);
  ExpectDate(Date(2147483647L), 12, 7, 5881567);
}

TEST(DateCalendar, KnownSerialsAndClampedComponents) {
  EXPECT_EQ(static_cast<long>(Date(1, 1, 2000)), 15705);
  EXPECT_EQ(Date(-2L).DayOfWeek(), 7);
  EXPECT_EQ(LeapYear(2000, 2) + LeapYear(1900, 2) + LeapYear(2012, 3), 1);

  ExpectDate(Date(31, 2, 2012), 29, 2, 2012);
  ExpectDate(Date(0, 13, 0), 1, 12, 1);
  ExpectDate(Date(1, 1, 12000), 1, 1, 9999);
  // Far out of range: no overflow, only clamping.
  ExpectDate(Date(Days(2147483647), Months(-2147483647 - 1), Years(2147483647)), 31, 1, 9999);
}

TEST(DateCalendar, EveryConstructorOrderMeansTheSameDate) {
  const long expected = Date(5, 3, 2013);
  for (const Date& d : {Date(Days(5), Months(3), Years(2013)), Date(Months(3), Days(5), Years(2013)),
                        Date(Months(3), Years(2013), Days(5)), Date(Years(2013), Months(3), Days(5)),
                        Date(Years(2013), Days(5), Months(3)), Date(Days(5), Years(2013), Months(3))}) {
    EXPECT_EQ(static_cast<long>(d), expected);
  }
  ExpectDate(Date(Months(7)), 1, 7, 1);

  // Replacing a component clamps the day.
  Date d(31, 1, 2013);
  d = Months(2);
  ExpectDate(d, 28, 2, 2013);
  d = Days(40);
  ExpectDate(d, 28, 2, 2013);
  Date leap(29, 2, 2012);
  leap = Years(2013);
  ExpectDate(leap, 28, 2, 2013);
}

TEST(DateCalendar, WeekMaxDayAndSameMonth) {
  // March 2013 begins on a Friday: 1-3 are week 1, 4-10 week 2.
  EXPECT_EQ(Date(3, 3, 2013).Week(), 1);
  EXPECT_EQ(Date(4, 3, 2013).Week(), 2);
  EXPECT_EQ(Date(31, 3, 2013).Week(), 5);
  EXPECT_EQ(Date(15, 2, 2013).SetMaxDay(), 28);
  EXPECT_TRUE(Date(1, 3, 2013).InSameMonth(Date(31, 3, 2013)));
  EXPECT_FALSE(Date(1, 3, 2013).InSameMonth(Date(1, 3, 2012)));
}

TEST(DateArithmetic, DaysAndSteps) {
  Date d(28, 2, 2012);
  ExpectDate(d + Days(1), 29, 2, 2012);
  ExpectDate(d + Days(2), 1, 3, 2012);
  ExpectDate(d - 59L, 31, 12, 2011);
  d += Days(366);
  ExpectDate(d, 28, 2, 2013);
  d -= Days(365);
  d++;
  ExpectDate(d, 1, 3, 2012);
}

TEST(DateArithmetic, MonthsKeepTheDayWithinTheTargetMonth) {
  ExpectDate(Date(31, 1, 2013) + Months(1), 28, 2, 2013);
  ExpectDate(Date(31, 1, 2012) + Months(1), 29, 2, 2012);
  ExpectDate(Date(15, 11, 2012) + Months(26), 15, 1, 2015);
  ExpectDate(Date(15, 3, 2013) + Months(-15), 15, 12, 2011);
  ExpectDate(Date(31, 3, 2012) - Months(1), 29, 2, 2012);
  ExpectDate(Date(31, 3, 2013) - Months(-1), 30, 4, 2013);
  // Subtracting a negative count past the year's end stops at December of
  // the same year.
  ExpectDate(Date(15, 3, 2013) - Months(-10), 15, 12, 2013);
  Date d(31, 1, 2013);
  d += Months(1);
  d -= Months(1);
  ExpectDate(d, 28, 1, 2013);
}

TEST(DateArithmetic, YearsAtLeapDays) {
  ExpectDate(Date(29, 2, 2012) + Years(1), 28, 2, 2013);
  ExpectDate(Date(29, 2, 2012) + Years(4), 29, 2, 2016);
  ExpectDate(Date(29, 2, 2012) - Years(112), 28, 2, 1900);
  ExpectDate(Date(29, 2, 2012) - Years(12), 29, 2, 2000);
  ExpectDate(Date(5, 3, 9990) + Years(100), 5, 3, 9999);
  ExpectDate(Date(5, 3, 20) - Years(100), 5, 3, 1);
}

TEST(DateArithmetic, DecadesAndQuarters) {
  ExpectDate(After(Date(25, 2, 2012), &Date::SetEndDecad), 29, 2, 2012);
  ExpectDate(After(Date(15, 2, 2012), &Date::SetEndDecad), 20, 2, 2012);
  ExpectDate(After(Date(10, 2, 2012), &Date::SetStartDecad), 1, 2, 2012);
  ExpectDate(After(Date(25, 2, 2013), &Date::NextDecad), 1, 3, 2013);
  ExpectDate(After(Date(15, 5, 2013), &Date::SetStartCuartal), 1, 4, 2013);
  ExpectDate(After(Date(15, 5, 2013), &Date::SetEndCuartal), 30, 6, 2013);
  ExpectDate(After(Date(1, 12, 2013), &Date::NextCuartal), 1, 1, 2014);

  long high = 40000, low = -40000;
  LimitShortDate(high), LimitShortDate(low);
  EXPECT_EQ(std::make_pair(high, low), std::make_pair(32767L, -32768L));
}

TEST(DateTexts, NamesAndWrittenOutDates) {
  char buf[64];
  EXPECT_STREQ(Date::GetMonthName(buf, 12), "декабрь");
  EXPECT_STREQ(Date::GetMonthName(buf, 13), "");
  EXPECT_STREQ(Date(5, 3, 2013).TextDayMonth(buf), "март");
  EXPECT_STREQ(Date(5, 5, 2013).TextDayMonthDeclination(buf), "мая");
  EXPECT_STREQ(Date(10, 3, 2013).TextDayWeek(buf), "воскресенье");
  EXPECT_STREQ(Date(8, 3, 2013).TextDate(buf), "8 марта 2013 г.");
  EXPECT_STREQ(Date(31, 8, 1999).TextDate(buf), "31 августа 1999 г.");
  EXPECT_STREQ(Date(Date::kEmpty).TextDate(buf), "");
}

TEST(DateMasks, WritingInEitherCase) {
  char buf[64];
  const Date d(5, 3, 2013);
  EXPECT_STREQ(d.ToString(buf, "дд.мм.гггг"), "05.03.2013");
  EXPECT_STREQ(d.ToString(buf, nullptr), "05.03.13");
  EXPECT_STREQ(d.ToString(buf, "Дд-мМ-г"), "05-03-3");
  EXPECT_STREQ(d.ToString(buf, "ддддд.дд"), "00005.дд");
  EXPECT_STREQ(Date(Date::kEmpty).ToString(buf, "дд"), "");
  // Widths stop at 20.
  EXPECT_EQ(std::string(d.ToString(buf, "гггггггггггггггггггггггг")), std::string(16, '0') + "2013");
  int values[3] = {7, 42, -5};
  StringFromMask(buf, "[a] [bbb] [ccc] [aa]", values, "abc");
  EXPECT_STREQ(buf, "[7] [042] [-05] [aa]");
}

TEST(DateMasks, ReadingFreeAndFixedWidth) {
  InitDateGuard guard;
  DateTimeUtils::SetInitDate(Date(20, 6, 2010));
  ExpectDate(Date().FromString("5.3.57"), 5, 3, 2057);
  ExpectDate(Date().FromString("5.3.58"), 5, 3, 1958);
  ExpectDate(Date().FromString("5.3.1812"), 5, 3, 1812);
  EXPECT_EQ(static_cast<long>(Date().FromString("abc")), Date::kEmpty);
  ExpectDate(Date().FromString("050313", "ДДММГГ", true), 5, 3, 13);
  // Fixed width takes digits only where they stand.
  ExpectDate(Date().FromString("05.03.13", "ддммгг", true), 5, 6, 1);
  // Missing parts: the day becomes 1, the month and (without a year in the
  // mask) the year come from the initial date.
  ExpectDate(Date().FromString("7", "дд"), 7, 6, 2010);
  ExpectDate(Date().FromString("3.2013", "мм.гггг"), 1, 3, 2013);
  ExpectDate(Date().FromString("15", "дд.мм.гг"), 15, 6, 2000);
  ExpectDate(Date().FromString("Дата: 31 02 2012", "ДД ММ ГГГГ"), 29, 2, 2012);
  ExpectDate(Date().FromString("99999999999999999999.1.1"), 31, 1, 2001);
  EXPECT_FALSE(Date::IsSeparated(nullptr));
  EXPECT_FALSE(Date::IsSeparated("050313"));
  EXPECT_TRUE(Date::IsSeparated("05.03.13"));
}

TEST(DateTimeUtilsTest, InitialDateFeedsDefaultConstruction) {
  InitDateGuard guard;
  DateTimeUtils::SetInitDate(Date(1, 9, 2011));
  EXPECT_EQ(static_cast<long>(Date()), static_cast<long>(Date(1, 9, 2011)));
  const Date& shared = DateTimeUtils::GetInitDate();
  DateTimeUtils::SetInitDate(Date(2, 9, 2011));
  EXPECT_EQ(static_cast<long>(shared), static_cast<long>(Date(2, 9, 2011)));

  KELMLIBInit();  // sets the initial date and time to now
  Date today(0L);
  today.Current();
  // Allow for midnight passing between the two calls.
  EXPECT_LE(static_cast<long>(today) - static_cast<long>(DateTimeUtils::GetInitDate()), 1);
  EXPECT_GE(static_cast<long>(DateTimeUtils::GetInitDate()), static_cast<long>(Date(1, 1, 2024)));
  EXPECT_LT(static_cast<unsigned long>(DateTimeUtils::GetInitTime()), 86400u);
}

}  // namespace
