#include "kelm/datetime/date_interval.h"

#include <gtest/gtest.h>

#include "kelm/datetime/date_time_utils.h"

namespace {

const Date kOpen(Date::kEmpty);

Date D(int day, int month, int year = 2013) { return Date(day, month, year); }

void ExpectInterval(const DateInterval& i, Date begin, Date end) {
  EXPECT_EQ(static_cast<long>(i.dateBegin), static_cast<long>(begin));
  EXPECT_EQ(static_cast<long>(i.dateEnd), static_cast<long>(end));
}

TEST(DateIntervalTest, ConstructionValidityAndContainment) {
  ExpectInterval(DateInterval(D(15, 2, 2012)), D(1, 2, 2012), D(29, 2, 2012));
  DateTimeUtils::SetInitDate(D(5, 5));
  ExpectInterval(DateInterval(), D(5, 5), D(5, 5));
  DateTimeUtils::SetInitDate(Date(0L));

  EXPECT_FALSE(DateInterval(D(10, 3), D(1, 3)).IsValid());
  EXPECT_TRUE(DateInterval(D(1, 3), D(1, 3)).IsValid());
  EXPECT_TRUE(DateInterval(kOpen, D(1, 3)).IsValid());
  EXPECT_TRUE(DateInterval(D(10, 3), kOpen).IsValid());

  const DateInterval all(kOpen, kOpen);
  EXPECT_TRUE(all.IsContain(D(1, 1, 1)));
  EXPECT_TRUE(all.IsContain(D(31, 12, 9999)));
  EXPECT_FALSE(all.IsContain(kOpen));
  const DateInterval march(D(1, 3), D(31, 3));
  EXPECT_TRUE(march.IsContain(D(1, 3)));
  EXPECT_TRUE(march.IsContain(D(31, 3)));
  EXPECT_FALSE(march.IsContain(D(28, 2)));
  EXPECT_FALSE(march.IsContain(D(1, 4)));
  EXPECT_TRUE(DateInterval(kOpen, D(31, 3)).IsContain(D(1, 1, 1)));
  EXPECT_TRUE(DateInterval(D(1, 3), kOpen).IsContain(D(1, 1, 9999)));

  EXPECT_TRUE(march >= DateInterval(D(2, 3), D(30, 3)));
  EXPECT_TRUE(march >= march);
  EXPECT_FALSE(march >= DateInterval(kOpen, D(30, 3)));
  EXPECT_FALSE(march >= DateInterval(D(2, 3), kOpen));
  EXPECT_FALSE(march >= DateInterval(D(2, 3), D(1, 3)));
  EXPECT_TRUE(DateInterval(kOpen, kOpen) >= DateInterval(kOpen, kOpen));
  EXPECT_TRUE(DateInterval(kOpen, D(1, 4)) >= march);
  EXPECT_TRUE(march == DateInterval(D(1, 3), D(31, 3)));
  EXPECT_TRUE(march != DateInterval(D(1, 3), kOpen));
}

TEST(DateIntervalTest, IntersectAndMerge) {
  DateInterval i(D(1, 3), D(31, 3));
  EXPECT_TRUE(i.Intersect(D(15, 3), kOpen));
  ExpectInterval(i, D(15, 3), D(31, 3));
  i = DateInterval(D(1, 3), D(31, 3));
  EXPECT_FALSE(i.Intersect(DateInterval(D(1, 4), D(30, 4))));
  ExpectInterval(i, D(1, 4), D(31, 3));
  i = DateInterval(kOpen, kOpen);
  EXPECT_TRUE(i.Intersect(D(1, 3), D(31, 3)));
  ExpectInterval(i, D(1, 3), D(31, 3));

  const DateInterval march(D(1, 3), D(31, 3));
  DateInterval april(D(1, 4), D(30, 4));
  EXPECT_FALSE(march.IsIntersect(april));
  EXPECT_TRUE(march.IsIntersect(D(31, 3), kOpen));
  ExpectInterval(march, D(1, 3), D(31, 3));

  i = march;
  i.Merge(D(15, 2), D(10, 3));
  ExpectInterval(i, D(15, 2), D(31, 3));
  i = march;
  i.Merge(kOpen, D(1, 4));
  ExpectInterval(i, kOpen, D(1, 4));
  i = march;
  i.Merge(D(10, 4), D(1, 4));  // an invalid argument changes nothing
  ExpectInterval(i, D(1, 3), D(31, 3));
  i = march;
  i.Merge(D(5, 3), kOpen);
  ExpectInterval(i, D(1, 3), kOpen);
  i = DateInterval(D(10, 3), D(1, 3));  // an invalid interval takes the argument
  i.Merge(D(10, 4), D(1, 4));
  ExpectInterval(i, D(10, 4), D(1, 4));

  EXPECT_EQ(march.IntersectDayCount(D(10, 3), D(20, 3)), 10);
  EXPECT_EQ(march.IntersectDayCount(kOpen, kOpen), 30);
  EXPECT_EQ(march.IntersectDayCount(D(10, 4), D(20, 4)), -10);
  EXPECT_EQ(DateInterval(kOpen, D(31, 3)).IntersectDayCount(kOpen, kOpen),
            static_cast<long>(D(31, 3)) - Date::kEmpty);
}

TEST(DateIntervalTest, DifferInYearsMonthsDays) {
  long y, m, d;
  DateInterval(D(15, 1), D(14, 3)).Differ(y, m, d);
  EXPECT_EQ(y, 0);
  EXPECT_EQ(m, 1);
  EXPECT_EQ(d, 27);
  DateInterval(D(31, 1), D(1, 3)).Differ(y, m, d);
  EXPECT_EQ(m, 1);
  EXPECT_EQ(d, 1);
  DateInterval(D(15, 1, 2012), D(14, 3, 2012)).Differ(y, m, d);
  EXPECT_EQ(d, 28);
  DateInterval(D(20, 6, 2010), D(5, 1, 2013)).Differ(y, m, d);
  EXPECT_EQ(y, 2);
  EXPECT_EQ(m, 6);
  EXPECT_EQ(d, 16);  // 5 + (31 days of December - 20)
  DateInterval(D(2, 3), D(1, 3)).Differ(y, m, d);
  EXPECT_EQ(y + m + d, 0);
  EXPECT_EQ(static_cast<int>(DateInterval(D(29, 2, 2012), D(28, 2, 2016)).GetYears()), 3);
}

TEST(DateIntervalTest, WideningAndMoving) {
  DateInterval i(kOpen, kOpen);
  i.MonthExtend(D(15, 2, 2012));
  ExpectInterval(i, D(1, 2, 2012), D(29, 2, 2012));
  i.YearExtend(D(15, 5));
  ExpectInterval(i, D(1, 1), D(31, 12));
  i.YearExtendToMonth(D(15, 5));
  ExpectInterval(i, D(1, 1), D(31, 5));
  i = DateInterval(D(15, 5), kOpen);
  i.YearExtend(kOpen);
  ExpectInterval(i, D(1, 1), kOpen);

  i = DateInterval(D(31, 1), kOpen);
  ++i;
  ExpectInterval(i, D(1, 2), kOpen);
  i += Days(-2);
  ExpectInterval(i, D(30, 1), kOpen);
  i = DateInterval(D(31, 1), D(31, 3));
  i += Months(1);
  ExpectInterval(i, D(28, 2), D(30, 4));
  i += Years(-1);
  ExpectInterval(i, D(28, 2, 2012), D(30, 4, 2012));
}

TEST(DateIntervalTest, ShiftByEveryKind) {
  DateInterval i(D(1, 2), D(28, 2));
  i.Shift(2, false);
  ExpectInterval(i, D(1, 3), D(31, 3));
  i = DateInterval(D(1, 4), D(30, 6));
  i.Shift(3, true);
  ExpectInterval(i, D(1, 1), D(31, 3));
  i.Shift(4, false);
  ExpectInterval(i, D(1, 7), D(30, 9));
  i = DateInterval(D(1, 2, 2012), D(29, 2, 2012));
  i.Shift(5, false);
  ExpectInterval(i, D(1, 2), D(28, 2));
  i = DateInterval(D(5, 3), D(6, 3));
  i.Shift(0, true);
  ExpectInterval(i, D(4, 3), D(5, 3));
  i.Shift(1, false);
  ExpectInterval(i, D(11, 3), D(12, 3));
  i.Shift(99, false);
  ExpectInterval(i, D(11, 3), D(31, 3));
  i.Shift(6, false);
  ExpectInterval(i, kOpen, kOpen);
  // The month-end step does not spare an open end.
  i = DateInterval(D(1, 3), kOpen);
  i.Shift(2, false);
  ExpectInterval(i, D(1, 4), D(30, 4, 1867));
  i = DateInterval(D(1, 3), kOpen);
  i.Shift(1, false);
  ExpectInterval(i, D(8, 3), kOpen);
}

TEST(DateIntervalTest, Texts) {
  char buf[128];
  EXPECT_STREQ(DateInterval(D(1, 3), D(31, 3)).ToString(buf, nullptr), "с 01.03.13 по 31.03.13");
  EXPECT_STREQ(DateInterval(kOpen, D(31, 3)).ToString(buf, ""), "по 31.03.13");
  EXPECT_STREQ(DateInterval(D(1, 3), kOpen).ToString(buf, "дд.мм.гггг"), "с 01.03.2013");
  EXPECT_STREQ(DateInterval(kOpen, kOpen).ToString(buf, nullptr), "");

  EXPECT_STREQ(GetQuartalName(buf, 3), "3 квартал");
  EXPECT_STREQ(GetHalfYearName(buf, 2), "2 полугодие");
  EXPECT_EQ(GetQuartalName(nullptr, 3), nullptr);

  EXPECT_EQ(static_cast<int>(TotalMonths(D(31, 1), D(1, 2))), 1);
  EXPECT_EQ(static_cast<int>(TotalMonths(D(1, 1), D(31, 12, 2012))), 1);
  EXPECT_EQ(static_cast<int>(TotalMonths(D(1, 1, 2010), D(31, 12, 2012))), 35);
  Date today(0L);
  today.Current();
  EXPECT_EQ(static_cast<int>(TotalMonths(today - Months(5))), 5);
}

TEST(DatePeriodTexts, EveryForm) {
  char buf[64];
  EXPECT_STREQ(D(10, 5).TextDecad(buf), "I дкд.");
  EXPECT_STREQ(D(20, 5).TextDecad(buf), "II дкд.");
  EXPECT_STREQ(D(21, 5).TextDecad(buf), "III дкд.");
  EXPECT_STREQ(D(5, 3).TextMonth(buf), "март 2013 г.");
  EXPECT_STREQ(D(5, 9).TextOnlyMonth(buf), "сентябрь");
  const char* roman[12] = {"I", "II", "III", "IV", "V", "VI", "VII", "VIII", "IX", "X", "XI", "XII"};
  for (int m = 1; m <= 12; ++m) EXPECT_STREQ(D(1, m).TextSmallOnlyMonth(buf), roman[m - 1]);
  const char* quarters[4] = {"I кв.", "II кв.", "III кв.", "IV кв."};
  for (int m = 1; m <= 12; ++m) EXPECT_STREQ(D(1, m).TextCuartal(buf), quarters[(m - 1) / 3]);
  EXPECT_STREQ(D(5, 10).TextCuartal(buf), "IV кв.");
  EXPECT_STREQ(D(30, 6).TextHalfYear(buf), "I пг.");
  EXPECT_STREQ(D(1, 7).TextHalfYear(buf), "II пг.");
  EXPECT_STREQ(D(1, 7).TextYear(buf), "2013 г.");

  const char* small = D(1, 7).TextSmallYear(buf);
  EXPECT_EQ(small, buf + 1);
  EXPECT_STREQ(small, "'13");
  EXPECT_STREQ(buf, "2'13");
  EXPECT_STREQ(D(1, 7, 5).TextSmallYear(buf), "'");

  char* (Date::*texts[])(char*) const = {&Date::TextDecad,    &Date::TextMonth,          &Date::TextOnlyMonth,
                                         &Date::TextSmallOnlyMonth, &Date::TextCuartal, &Date::TextHalfYear,
                                         &Date::TextYear};
  for (auto text : texts) EXPECT_STREQ((kOpen.*text)(buf), "");
  buf[0] = 'x';
  kOpen.TextSmallYear(buf);
  EXPECT_STREQ(buf, "");
}

}  // namespace
