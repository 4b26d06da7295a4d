#include "kelm/datetime/time.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <tuple>
#include <utility>

#include "kelm/datetime/time_stamp.h"

namespace {

void ExpectStamp(const TimeStamp& t, int year, int month, int day, int hour, int minute, int second) {
  EXPECT_EQ(std::make_tuple(t.Year(), t.Month(), t.Day(), t.Hour(), t.Minute(), t.Second()),
            std::make_tuple(year, month, day, hour, minute, second));
}

using Parts = std::pair<long, long>;
Parts DateAndTime(const TimeStamp& t) { return {t.GetDate(), t.GetTime()}; }

std::uint64_t Ticks(const FILETIME& ft) { return std::uint64_t{ft.dwHighDateTime} << 32 | ft.dwLowDateTime; }
FILETIME FromTicks(std::uint64_t ticks) { return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }

TEST(TimeOfDay, ComponentsArithmeticAndFolding) {
  for (const Time& t : {Time(2, 3, 4), Time(Hours(2), Minuts(3), Seconds(4)), Time(Hours(2), Seconds(4), Minuts(3)),
                        Time(Minuts(3), Hours(2), Seconds(4)), Time(Minuts(3), Seconds(4), Hours(2)),
                        Time(Seconds(4), Hours(2), Minuts(3)), Time(Seconds(4), Minuts(3), Hours(2))}) {
    EXPECT_EQ(static_cast<long>(t), 2 * 3600 + 3 * 60 + 4);
  }
  Time t(2, 3, 4);
  t = Minuts(50);
  EXPECT_EQ(static_cast<long>(t), 2 * 3600 + 50 * 60 + 4);
  t = Hours(0);
  t = Seconds(59);
  EXPECT_EQ(static_cast<long>(t), 50 * 60 + 59);
  ++t;
  EXPECT_EQ(t.Minute(), 51);
  --t;
  t -= Hours(1);
  EXPECT_EQ(t.Hour() * 10000 + t.Minute() * 100 + t.Second(), -901);  // signs follow the seconds
  EXPECT_EQ(static_cast<long>(Time(100L) - Seconds(40) + Minuts(1) - Minuts(2) + Hours(1)), 3600);

  Time late(90000L);
  late.DayTime();
  EXPECT_EQ(late.GetAllSeconds(), 3600);
  Time empty(Time::kEmpty);
  empty.DayTime();
  EXPECT_EQ(static_cast<long>(empty), Time::kEmpty);
}

TEST(TimeOfDay, Texts) {
  char buf[64];
  EXPECT_STREQ(Time(10, 5, 9).ToString(buf, nullptr), "10:05");
  EXPECT_STREQ(Time(126, 3, 4).ToString(buf, "ЧЧ.ММ.СС"), "26.03.04");
  EXPECT_STREQ(Time(1234, 3, 4).ToString(buf, LARGE_HOURES), "1234:03:04");
  // An equal text at another address is an ordinary mask of literals.
  char copy[16];
  std::strcpy(copy, LARGE_HOURES);
  EXPECT_STREQ(Time(93784L).ToString(buf, copy), "fullhoures");
  EXPECT_STREQ(Time(Time::kEmpty).ToString(buf, LARGE_HOURES), "");

  EXPECT_EQ(static_cast<long>(Time().FromString("10:20")), 10 * 3600 + 20 * 60);
  EXPECT_EQ(static_cast<long>(Time().FromString("1.2.3", "ч-м-с")), 3600 + 120 + 3);
  EXPECT_EQ(static_cast<long>(Time().FromString("—")), Time::kEmpty);
}

TEST(TimeStampParts, PackedFormAndParts) {
  const TimeStamp t(Date(15705L), Time(3600L));
  EXPECT_EQ(static_cast<long long>(t), 15705LL * 4294967296LL + 3600);
  TimeStamp copy(0LL);
  copy = static_cast<long long>(TimeStamp(Date(-1L), Time(5L)));
  EXPECT_EQ(DateAndTime(copy), Parts(-1, 5));

  TimeStamp s(2013, 2, 10, 10, 20, 30);
  s = Days(31);
  s = Hours(23);
  ExpectStamp(s, 2013, 2, 28, 23, 20, 30);
  s = Years(2012);
  s = Minuts(1);
  s = Seconds(2);
  s = Months(3);
  ExpectStamp(s, 2012, 3, 28, 23, 1, 2);
  s = Date(1, 1, 2000);
  s.SetMaxDay();
  ExpectStamp(s, 2000, 1, 31, 23, 59, 59);
}

TEST(TimeStampParts, SecondsArithmetic) {
  const TimeStamp t(2013, 3, 5, 10, 20, 30);
  ExpectStamp(t + 86400L, 2013, 3, 6, 10, 20, 30);
  ExpectStamp(t - 37231, 2013, 3, 4, 23, 59, 59);
  TimeStamp late(2012, 12, 31, 23, 59, 59);
  ++late;
  ExpectStamp(late, 2013, 1, 1, 0, 0, 0);
  --late;
  late += 2;
  late -= 1;
  EXPECT_EQ(late.ToSeconds(), static_cast<long long>(Date(1, 1, 2013)) * 86400);
  EXPECT_EQ(DateAndTime(TimeStamp(2013, 3, 6, 12, 0, 0) - TimeStamp(2013, 3, 5, 10, 0, 0)), Parts(1, 7200));
  // Before day 0 both parts come out negative.
  TimeStamp negative(0LL);
  negative.FromSeconds(-90000);
  EXPECT_EQ(DateAndTime(negative), Parts(-1, -3600));

  // Adding to the packed form: seconds do not carry into the date.
  const TimeStamp end_of_day(2013, 3, 5, 23, 59, 59);
  const TimeStamp one_more = end_of_day + 1LL;
  EXPECT_EQ(DateAndTime(one_more), Parts(end_of_day.GetDate(), 86400));
  EXPECT_EQ((end_of_day + (1LL << 32)).GetDate(), end_of_day.GetDate() + 1);

  TimeStamp folded = one_more;
  folded.DayTime();
  ExpectStamp(folded, 2013, 3, 6, 0, 0, 0);
  TimeStamp no_time(Date(1, 1, 2013), Time(Time::kEmpty));
  no_time.DayTime();
  EXPECT_EQ(no_time.GetTime(), Time::kEmpty);
}

TEST(TimeStampForms, TickFormWithTheThreeHourShift) {
  // .NET-style ticks of 1 January 2000, 00:00 UTC, which is 03:00 here.
  EXPECT_EQ(TimeStamp(2000, 1, 1, 3, 0, 0).Pvsw(), 630822816000000000LL);
  EXPECT_EQ(TimeStamp(2000, 1, 1, 0, 0, 0).Pvsw(), 630822816000000000LL - 3LL * 3600 * 10000000);
  EXPECT_EQ(TimeStamp(1, 1, 1, 3, 0, 0).Pvsw(), 0);
  EXPECT_EQ(TimeStamp::Empty().Pvsw(), 0);
  unsigned char zero[8] = {};
  EXPECT_TRUE(TimeStamp(zero).IsEmpty());

  const TimeStamp samples[] = {TimeStamp(2013, 3, 5, 1, 2, 3), TimeStamp(9999, 12, 31, 23, 59, 59)};
  for (const TimeStamp& t : samples) {
    const std::uint64_t ticks = static_cast<std::uint64_t>(t.Pvsw());
    unsigned char bytes[8];
    for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(ticks >> (8 * i));
    const TimeStamp back(bytes);
    EXPECT_EQ(static_cast<long long>(back), static_cast<long long>(t));
  }
  // Sub-second units are dropped; the bytes are little-endian.
  unsigned char bytes[8] = {0x7F, 0x96, 0x98, 0x00, 0, 0, 0, 0};  // 9999999 units
  const TimeStamp small(bytes);
  ExpectStamp(small, 1, 1, 1, 3, 0, 0);
}

TEST(TimeStampForms, OnlyBothFieldsAtMinus32768MakeTheEmptyStamp) {
  // Date -32768 at midnight is 15 April 1867, a moment like any other.
  const TimeStamp first(Date(Date::kEmpty), Time(0L));
  EXPECT_FALSE(first.IsEmpty());
  char buf[64];
  EXPECT_STREQ(first.ToString(buf, nullptr), "15.04.1867 00:00:00");
  EXPECT_EQ(first.Pvsw(), ((-32768LL + 714414) * 86400 - 3 * 3600) * 10000000);
  TimeStamp late(Date(Date::kEmpty), Time(90000L));
  late.DayTime();
  EXPECT_EQ(DateAndTime(late), Parts(-32767, 3600));

  // The tick form of the farthest dates wraps; a day is still a day apart.
  for (const long date : {0x7FFFFFFFL, -0x7FFFFFFFL}) {
    const auto later = static_cast<std::uint64_t>(TimeStamp(Date(date), Time(0L)).Pvsw());
    const auto earlier = static_cast<std::uint64_t>(TimeStamp(Date(date - 1), Time(0L)).Pvsw());
    EXPECT_EQ(later - earlier, 864000000000ULL);
  }
}

TEST(TimeStampForms, FileTimeWithoutZoneShift) {
  EXPECT_EQ(Ticks(TimeStamp(2013, 3, 5, 10, 20, 30).FileTime()), 130069524300000000ULL);
  EXPECT_EQ(Ticks(TimeStamp(9999, 12, 31, 23, 59, 59).FileTime()), 2650467743990000000ULL);
  EXPECT_EQ(Ticks(TimeStamp(1601, 1, 1, 0, 0, 0).FileTime()), 0ULL);
  // Not a Windows time: all zeros.
  EXPECT_EQ(Ticks(TimeStamp(1600, 12, 31, 0, 0, 0).FileTime()), 0ULL);
  EXPECT_EQ(Ticks(TimeStamp(2013, 3, 5, 24, 0, 0).FileTime()), 0ULL);
  ExpectStamp(TimeStamp(FromTicks(130069524300000000ULL + 9999999)), 2013, 3, 5, 10, 20, 30);
  EXPECT_TRUE(TimeStamp(FromTicks(0x8000000000000000ULL)).IsEmpty());
}

TEST(TimeStampTexts, MasksAndCenturySplit) {
  char buf[64];
  EXPECT_STREQ(TimeStamp(2013, 3, 5, 10, 20, 30).ToString(buf, nullptr), "05.03.2013 10:20:30");
  EXPECT_STREQ(TimeStamp(2013, 3, 5, 10, 20, 30).ToString(buf, "ГГГГММДД-ЧЧИИСС"), "20130305-102030");
  EXPECT_STREQ(TimeStamp::Empty().ToString(buf, nullptr), "");

  ExpectStamp(TimeStamp().FromString("05.03.70 10:20:30"), 2070, 3, 5, 10, 20, 30);
  ExpectStamp(TimeStamp().FromString("05.03.71 10:20:30"), 1971, 3, 5, 10, 20, 30);
  ExpectStamp(TimeStamp().FromString("2013-03-05", "гггг-мм-дд"), 2013, 3, 5, 0, 0, 0);
  // A missing day or month is clamped to 1.
  ExpectStamp(TimeStamp().FromString("12:30", "чч:ии"), 2000, 1, 1, 12, 30, 0);
  EXPECT_TRUE(TimeStamp().FromString("нет").IsEmpty());
}

}  // namespace
