#include "kelm/datetime/date_interval.h"

#include <gtest/gtest.h>

#include <utility>

#include "kelm/datetime/date_time_utils.h"

namespace {

const Date kOpen(Date::kEmpty);

Date D(int day, int month, int year = 2013) { return Date(day, month, year); }

void ExpectInterval(const DateInterval& i, Date begin, Date end) {
  EXPECT_EQ(std::make_pair(static_cast<long>(i.dateBegin), static_cast<long>(i.dateEnd)),
            std::make_pair(static_cast<long>(begin), static_cast<long>(end)));
}

DateInterval Shifted(DateInterval i, long kind, bool back) {
  i.Shift(kind, back);
  return i;
}

DateInterval Merged(DateInterval i, Date begin, Date end) {
  i.Merge(begin, end);
  return i;
}

TEST(DateIntervalTest, ConstructionValidityAndContainment) {
  ExpectInterval(DateInterval(D(15, 2, 2012)), D(1, 2, 2012), D(29, 2, 2012));
  DateTimeUtils::SetInitDate(D(5, 5));
  ExpectInterval(DateInterval(), D(5, 5), D(5, 5));
  DateTimeUtils::SetInitDate(Date(0L));

  EXPECT_FALSE(DateInterval(D(10, 3), D(1, 3)).IsValid());
  EXPECT_TRUE(DateInterval(D(10, 3), kOpen).IsValid());

  const DateInterval all(kOpen, kOpen);
  EXPECT_TRUE(all.IsContain(D(1, 1, 1)));
  EXPECT_FALSE(all.IsContain(kOpen));
  const DateInterval march(D(1, 3), D(31, 3));
  EXPECT_TRUE(march.IsContain(D(1, 3)) && march.IsContain(D(31, 3)));
  EXPECT_FALSE(march.IsContain(D(28, 2)) || march.IsContain(D(1, 4)));
  EXPECT_TRUE(DateInterval(D(1, 3), kOpen).IsContain(D(1, 1, 9999)));

  EXPECT_TRUE(march >= march);
  EXPECT_FALSE(march >= DateInterval(kOpen, D(30, 3)) || march >= DateInterval(D(2, 3), kOpen) ||
               march >= DateInterval(D(2, 3), D(1, 3)));
  EXPECT_TRUE(DateInterval(kOpen, D(1, 4)) >= march);
  EXPECT_TRUE(march != DateInterval(D(1, 3), kOpen));
}

TEST(DateIntervalTest, IntersectAndMerge) {
  const DateInterval march(D(1, 3), D(31, 3));
  DateInterval i = march;
  EXPECT_TRUE(i.Intersect(D(15, 3), kOpen));
  ExpectInterval(i, D(15, 3), D(31, 3));
  i = march;
  DateInterval april(D(1, 4), D(30, 4));
  EXPECT_FALSE(i.Intersect(april));
  ExpectInterval(i, D(1, 4), D(31, 3));
  EXPECT_FALSE(march.IsIntersect(april));
  EXPECT_TRUE(march.IsIntersect(D(31, 3), kOpen));
  ExpectInterval(march, D(1, 3), D(31, 3));

  ExpectInterval(Merged(march, D(15, 2), D(10, 3)), D(15, 2), D(31, 3));
  ExpectInterval(Merged(march, D(10, 4), D(1, 4)), D(1, 3), D(31, 3));  // an invalid argument: nothing
  // An invalid interval takes the argument.
  ExpectInterval(Merged(DateInterval(D(10, 3), D(1, 3)), D(10, 4), D(1, 4)), D(10, 4), D(1, 4));

  EXPECT_EQ(march.IntersectDayCount(kOpen, kOpen), 30);
  EXPECT_EQ(march.IntersectDayCount(D(10, 4), D(20, 4)), -10);
  EXPECT_EQ(DateInterval(kOpen, D(31, 3)).IntersectDayCount(kOpen, kOpen),
            static_cast<long>(D(31, 3)) - Date::kEmpty);
}

TEST(DateIntervalTest, DifferInYearsMonthsDays) {
  const auto differ = [](Date begin, Date end) {
    long y, m, d;
    DateInterval(begin, end).Differ(y, m, d);
    return y * 10000 + m * 100 + d;
  };
  EXPECT_EQ(differ(D(15, 1, 2012), D(14, 3, 2012)), 128);
  EXPECT_EQ(differ(D(20, 6, 2010), D(5, 1, 2013)), 20616);  // 16 = 5 + (31 days of December - 20)
  EXPECT_EQ(differ(D(2, 3), D(1, 3)), 0);
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

  i = DateInterval(D(31, 1), kOpen);
  ++i;
  ExpectInterval(i, D(1, 2), kOpen);
  i = DateInterval(D(31, 1), D(31, 3));
  i += Months(1);
  ExpectInterval(i, D(28, 2), D(30, 4));
  i += Years(-1);
  ExpectInterval(i, D(28, 2, 2012), D(30, 4, 2012));
}

TEST(DateIntervalTest, ShiftByEveryKind) {
  ExpectInterval(Shifted(DateInterval(D(1, 2), D(28, 2)), 2, false), D(1, 3), D(31, 3));
  ExpectInterval(Shifted(DateInterval(D(1, 4), D(30, 6)), 3, true), D(1, 1), D(31, 3));
  ExpectInterval(Shifted(DateInterval(D(1, 1), D(31, 3)), 4, false), D(1, 7), D(30, 9));
  ExpectInterval(Shifted(DateInterval(D(1, 2, 2012), D(29, 2, 2012)), 5, false), D(1, 2), D(28, 2));
  ExpectInterval(Shifted(DateInterval(D(5, 3), D(6, 3)), 0, true), D(4, 3), D(5, 3));
  ExpectInterval(Shifted(DateInterval(D(4, 3), D(5, 3)), 1, false), D(11, 3), D(12, 3));
  ExpectInterval(Shifted(DateInterval(D(11, 3), D(12, 3)), 99, false), D(11, 3), D(31, 3));
  ExpectInterval(Shifted(DateInterval(D(11, 3), D(12, 3)), 6, false), kOpen, kOpen);
  // The month-end step does not spare an open end.
  ExpectInterval(Shifted(DateInterval(D(1, 3), kOpen), 2, false), D(1, 4), D(30, 4, 1867));
}

TEST(DateIntervalTest, Texts) {
  char buf[128];
  EXPECT_STREQ(DateInterval(D(1, 3), D(31, 3)).ToString(buf, nullptr), "с 01.03.13 по 31.03.13");
  EXPECT_STREQ(DateInterval(kOpen, D(31, 3)).ToString(buf, ""), "по 31.03.13");
  EXPECT_STREQ(DateInterval(D(1, 3), kOpen).ToString(buf, "дд.мм.гггг"), "с 01.03.2013");
  EXPECT_STREQ(GetQuartalName(buf, 3), "3 квартал");
  EXPECT_STREQ(GetHalfYearName(buf, 2), "2 полугодие");
  EXPECT_EQ(static_cast<int>(TotalMonths(D(1, 1), D(31, 12, 2012))), 1);
  EXPECT_EQ(static_cast<int>(TotalMonths(D(1, 1, 2010), D(31, 12, 2012))), 35);
  Date today(0L);
  today.Current();
  EXPECT_EQ(static_cast<int>(TotalMonths(today - Months(5))), 5);
}

TEST(DatePeriodTexts, EveryForm) {
  char buf[64];
  EXPECT_STREQ(D(20, 5).TextDecad(buf), "II дкд.");
  EXPECT_STREQ(D(21, 5).TextDecad(buf), "III дкд.");
  EXPECT_STREQ(D(5, 3).TextMonth(buf), "март 2013 г.");
  EXPECT_STREQ(D(5, 9).TextOnlyMonth(buf), "сентябрь");
  EXPECT_STREQ(D(1, 9).TextSmallOnlyMonth(buf), "IX");
  EXPECT_STREQ(D(30, 6).TextCuartal(buf), "II кв.");
  EXPECT_STREQ(D(1, 10).TextCuartal(buf), "IV кв.");
  EXPECT_STREQ(D(30, 6).TextHalfYear(buf), "I пг.");
  EXPECT_STREQ(D(1, 7).TextHalfYear(buf), "II пг.");
  EXPECT_STREQ(D(1, 7).TextYear(buf), "2013 г.");

  EXPECT_EQ(D(1, 7).TextSmallYear(buf), buf + 1);
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
