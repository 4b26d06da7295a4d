#include "kelm/datetime/time.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "kelm/datetime/time_stamp.h"
#include "kelm/port/clock.h"

namespace {

void ExpectStamp(const TimeStamp& t, int year, int month, int day, int hour, int minute, int second) {
  EXPECT_EQ(t.Year(), year);
  EXPECT_EQ(t.Month(), month);
  EXPECT_EQ(t.Day(), day);
  EXPECT_EQ(t.Hour(), hour);
  EXPECT_EQ(t.Minute(), minute);
  EXPECT_EQ(t.Second(), second);
}

std::uint64_t Ticks(const FILETIME& ft) {
  return std::uint64_t{ft.dwHighDateTime} << 32 | ft.dwLowDateTime;
}

FILETIME FromTicks(std::uint64_t ticks) {
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(ticks);
  ft.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return ft;
}

TEST(TimeOfDay, ConstructionInEveryOrder) {
  EXPECT_EQ(static_cast<long>(Time(Hours(1)) + Minuts(30)), 5400);
  const Time t = Time(Hours(1)) + Minuts(30);
  EXPECT_EQ(t.Hour(), 1);
  EXPECT_EQ(t.Minute(), 30);
  EXPECT_EQ(t.Second(), 0);
  EXPECT_EQ(static_cast<long>(Time()), 0);
  EXPECT_EQ(static_cast<long>(Time(Minuts(2))), 120);
  EXPECT_EQ(static_cast<long>(Time(Seconds(7))), 7);
  const long expected = 2 * 3600 + 3 * 60 + 4;
  EXPECT_EQ(static_cast<long>(Time(2, 3, 4)), expected);
  EXPECT_EQ(static_cast<long>(Time(Hours(2), Minuts(3), Seconds(4))), expected);
  EXPECT_EQ(static_cast<long>(Time(Hours(2), Seconds(4), Minuts(3))), expected);
  EXPECT_EQ(static_cast<long>(Time(Minuts(3), Hours(2), Seconds(4))), expected);
  EXPECT_EQ(static_cast<long>(Time(Minuts(3), Seconds(4), Hours(2))), expected);
  EXPECT_EQ(static_cast<long>(Time(Seconds(4), Hours(2), Minuts(3))), expected);
  EXPECT_EQ(static_cast<long>(Time(Seconds(4), Minuts(3), Hours(2))), expected);
}

TEST(TimeOfDay, ComponentsArithmeticAndFolding) {
  Time t(2, 3, 4);
  t = Minuts(50);
  EXPECT_EQ(static_cast<long>(t), 2 * 3600 + 50 * 60 + 4);
  t = Hours(0);
  t = Seconds(59);
  EXPECT_EQ(static_cast<long>(t), 50 * 60 + 59);
  ++t;
  EXPECT_EQ(t.Minute(), 51);
  EXPECT_EQ(t.Second(), 0);
  --t;
  t -= Hours(1);
  EXPECT_EQ(static_cast<long>(t), 50 * 60 + 59 - 3600);
  EXPECT_EQ(t.Hour(), 0);
  EXPECT_EQ(t.Minute(), -9);
  EXPECT_EQ(t.Second(), -1);
  EXPECT_EQ(static_cast<long>(Time(100L) - Seconds(40) + Minuts(1) - Minuts(2) + Hours(1)), 3600);

  Time late(90000L);
  EXPECT_EQ(late.Hour(), 25);
  late.DayTime();
  EXPECT_EQ(late.GetAllSeconds(), 3600);
  Time empty(Time::kEmpty);
  empty.DayTime();
  EXPECT_EQ(static_cast<long>(empty), Time::kEmpty);
}

TEST(TimeOfDay, Texts) {
  char buf[64];
  EXPECT_STREQ(Time(10, 5, 9).ToString(buf, nullptr), "10:05");
  EXPECT_STREQ(Time(10, 5, 9).ToString(buf, "ЧЧ.ММ.СС"), "10.05.09");
  EXPECT_STREQ(Time(26, 3, 4).ToString(buf, "чч:мм"), "26:03");
  EXPECT_STREQ(Time(126, 3, 4).ToString(buf, "чч:мм"), "26:03");
  EXPECT_STREQ(Time(93784L).ToString(buf, LARGE_HOURES), "26:03:04");
  EXPECT_STREQ(Time(1234, 0, 0).ToString(buf, LARGE_HOURES), "1234:00:00");
  // An equal text at another address is an ordinary mask of literals.
  char copy[16];
  std::strcpy(copy, LARGE_HOURES);
  EXPECT_STREQ(Time(93784L).ToString(buf, copy), "fullhoures");
  EXPECT_STREQ(Time(Time::kEmpty).ToString(buf, LARGE_HOURES), "");

  EXPECT_EQ(static_cast<long>(Time().FromString("10:20")), 10 * 3600 + 20 * 60);
  EXPECT_EQ(static_cast<long>(Time().FromString("1.2.3", "ч-м-с")), 3600 + 120 + 3);
  EXPECT_EQ(static_cast<long>(Time().FromString("7", "ЧЧ:ММ")), 7 * 3600);
  EXPECT_EQ(static_cast<long>(Time().FromString("—")), Time::kEmpty);
  EXPECT_EQ(static_cast<long>(Time().FromString("")), Time::kEmpty);
}

TEST(TimeStampParts, PackedFormAndParts) {
  const TimeStamp t(Date(15705L), Time(3600L));
  EXPECT_EQ(static_cast<long long>(t), 15705LL * 4294967296LL + 3600);
  const TimeStamp back(15705LL * 4294967296LL + 3600);
  EXPECT_EQ(back.GetDate(), 15705);
  EXPECT_EQ(back.GetTime(), 3600);
  TimeStamp empty = TimeStamp::Empty();
  const TimeStamp empty_back(static_cast<long long>(empty));
  EXPECT_EQ(empty_back.GetDate(), Date::kEmpty);
  EXPECT_EQ(empty_back.GetTime(), Time::kEmpty);
  TimeStamp before(Date(-1L), Time(5L));
  TimeStamp copy(0LL);
  copy = static_cast<long long>(before);
  EXPECT_EQ(copy.GetDate(), -1);
  EXPECT_EQ(copy.GetTime(), 5);

  TimeStamp s(2013, 2, 10, 10, 20, 30);
  s = Days(31);
  s = Hours(23);
  ExpectStamp(s, 2013, 2, 28, 23, 20, 30);
  s = Years(2012);
  s = Minuts(1);
  s = Seconds(2);
  ExpectStamp(s, 2012, 2, 28, 23, 1, 2);
  s = Months(3);
  ExpectStamp(s, 2012, 3, 28, 23, 1, 2);
  s = Date(1, 1, 2000);
  s = Time(5L);
  ExpectStamp(s, 2000, 1, 1, 0, 0, 5);
  s.SetMaxDay();
  ExpectStamp(s, 2000, 1, 31, 23, 59, 59);
  EXPECT_EQ(&s.Getdate(), &s.Getdate());
  EXPECT_EQ(static_cast<long>(s.Gettime()), 86399);
}

TEST(TimeStampParts, SecondsArithmetic) {
  const TimeStamp t(2013, 3, 5, 10, 20, 30);
  ExpectStamp(t + 86400, 2013, 3, 6, 10, 20, 30);
  ExpectStamp(t + 86400L, 2013, 3, 6, 10, 20, 30);
  ExpectStamp(t - 37231, 2013, 3, 4, 23, 59, 59);
  TimeStamp late(2012, 12, 31, 23, 59, 59);
  ++late;
  ExpectStamp(late, 2013, 1, 1, 0, 0, 0);
  --late;
  ExpectStamp(late, 2012, 12, 31, 23, 59, 59);
  late += 2;
  late -= 1;
  ExpectStamp(late, 2013, 1, 1, 0, 0, 0);
  EXPECT_EQ(late.ToSeconds(), static_cast<long long>(Date(1, 1, 2013)) * 86400);

  const TimeStamp diff = TimeStamp(2013, 3, 6, 12, 0, 0) - TimeStamp(2013, 3, 5, 10, 0, 0);
  EXPECT_EQ(diff.GetDate(), 1);
  EXPECT_EQ(diff.GetTime(), 7200);
  // Before day 0 both parts come out negative.
  TimeStamp negative(0LL);
  negative.FromSeconds(-90000);
  EXPECT_EQ(negative.GetDate(), -1);
  EXPECT_EQ(negative.GetTime(), -3600);

  // Adding to the packed form: seconds do not carry into the date.
  const TimeStamp end_of_day(2013, 3, 5, 23, 59, 59);
  const TimeStamp one_more = end_of_day + 1LL;
  EXPECT_EQ(one_more.GetDate(), end_of_day.GetDate());
  EXPECT_EQ(one_more.GetTime(), 86400);
  const TimeStamp next_day = end_of_day + (1LL << 32);
  EXPECT_EQ(next_day.GetDate(), end_of_day.GetDate() + 1);
  EXPECT_EQ(next_day.GetTime(), 86399);

  TimeStamp folded = one_more;
  folded.DayTime();
  ExpectStamp(folded, 2013, 3, 6, 0, 0, 0);
  TimeStamp no_time(Date(1, 1, 2013), Time(Time::kEmpty));
  no_time.DayTime();
  EXPECT_EQ(no_time.GetTime(), Time::kEmpty);
  EXPECT_EQ(no_time.GetDate(), static_cast<long>(Date(1, 1, 2013)));
}

TEST(TimeStampForms, TickFormWithTheThreeHourShift) {
  // .NET-style ticks of 1 January 2000, 00:00 UTC, which is 03:00 here.
  EXPECT_EQ(TimeStamp(2000, 1, 1, 3, 0, 0).Pvsw(), 630822816000000000LL);
  EXPECT_EQ(TimeStamp(2000, 1, 1, 0, 0, 0).Pvsw(), 630822816000000000LL - 3LL * 3600 * 10000000);
  EXPECT_EQ(TimeStamp(1, 1, 1, 3, 0, 0).Pvsw(), 0);
  EXPECT_EQ(TimeStamp::Empty().Pvsw(), 0);

  unsigned char zero[8] = {};
  const TimeStamp from_zero(zero);
  EXPECT_TRUE(from_zero.IsEmpty());
  EXPECT_EQ(from_zero.GetTime(), Time::kEmpty);

  const TimeStamp samples[] = {TimeStamp(2013, 3, 5, 10, 20, 30), TimeStamp(2013, 3, 5, 1, 2, 3),
                               TimeStamp(1957, 1, 1, 0, 0, 0), TimeStamp(9999, 12, 31, 23, 59, 59)};
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
  EXPECT_EQ(late.GetDate(), -32767);
  EXPECT_EQ(late.GetTime(), 3600);

  // The tick form of the farthest dates wraps; a day is still a day apart.
  for (const long date : {0x7FFFFFFFL, -0x7FFFFFFFL}) {
    const auto later = static_cast<std::uint64_t>(TimeStamp(Date(date), Time(0L)).Pvsw());
    const auto earlier = static_cast<std::uint64_t>(TimeStamp(Date(date - 1), Time(0L)).Pvsw());
    EXPECT_EQ(later - earlier, 864000000000ULL);
  }
}

TEST(TimeStampForms, FileTimeWithoutZoneShift) {
  EXPECT_EQ(Ticks(TimeStamp(1970, 1, 1, 0, 0, 0).FileTime()), 116444736000000000ULL);
  EXPECT_EQ(Ticks(TimeStamp(2013, 3, 5, 10, 20, 30).FileTime()), 130069524300000000ULL);
  EXPECT_EQ(Ticks(TimeStamp(9999, 12, 31, 23, 59, 59).FileTime()), 2650467743990000000ULL);
  EXPECT_EQ(Ticks(TimeStamp(1601, 1, 1, 0, 0, 0).FileTime()), 0ULL);
  // Not a Windows time: all zeros.
  EXPECT_EQ(Ticks(TimeStamp(1600, 12, 31, 0, 0, 0).FileTime()), 0ULL);
  EXPECT_EQ(Ticks(TimeStamp(2013, 3, 5, 24, 0, 0).FileTime()), 0ULL);

  ExpectStamp(TimeStamp(FromTicks(130069524300000000ULL + 9999999)), 2013, 3, 5, 10, 20, 30);
  ExpectStamp(TimeStamp(FromTicks(0)), 1601, 1, 1, 0, 0, 0);
  EXPECT_TRUE(TimeStamp(FromTicks(0x8000000000000000ULL)).IsEmpty());
}

TEST(TimeStampForms, PlatformConversionsMatchWindows) {
  SYSTEMTIME st{};
  const FILETIME largest = FromTicks(0x7FFFFFFFFFFFFFFFULL);
  ASSERT_TRUE(kelm::port::FileTimeToSystemTime(&largest, &st));
  EXPECT_EQ(st.wYear, 30828);
  EXPECT_EQ(st.wMonth, 9);
  EXPECT_EQ(st.wDay, 14);
  EXPECT_EQ(st.wHour, 2);
  EXPECT_EQ(st.wMinute, 48);
  EXPECT_EQ(st.wSecond, 5);
  EXPECT_EQ(st.wMilliseconds, 477);
  const FILETIME epoch = FromTicks(116444736000000000ULL + 1230000);
  ASSERT_TRUE(kelm::port::FileTimeToSystemTime(&epoch, &st));
  EXPECT_EQ(st.wYear, 1970);
  EXPECT_EQ(st.wDayOfWeek, 4);  // a Thursday
  EXPECT_EQ(st.wMilliseconds, 123);
  FILETIME ft{};
  ASSERT_TRUE(kelm::port::SystemTimeToFileTime(&st, &ft));
  EXPECT_EQ(Ticks(ft), 116444736000000000ULL + 1230000);

  SYSTEMTIME leap{2012, 2, 0, 29, 12, 0, 0, 0};
  ASSERT_TRUE(kelm::port::SystemTimeToFileTime(&leap, &ft));
  SYSTEMTIME back{};
  ASSERT_TRUE(kelm::port::FileTimeToSystemTime(&ft, &back));
  EXPECT_EQ(back.wDay, 29);
  EXPECT_EQ(back.wDayOfWeek, 3);  // a Wednesday
  SYSTEMTIME bad_day{2013, 2, 0, 30, 0, 0, 0, 0};
  EXPECT_FALSE(kelm::port::SystemTimeToFileTime(&bad_day, &ft));
  SYSTEMTIME bad_month{2013, 13, 0, 1, 0, 0, 0, 0};
  EXPECT_FALSE(kelm::port::SystemTimeToFileTime(&bad_month, &ft));
  SYSTEMTIME bad_ms{2013, 1, 0, 1, 0, 0, 0, 1000};
  EXPECT_FALSE(kelm::port::SystemTimeToFileTime(&bad_ms, &ft));
}

TEST(TimeStampTexts, MasksAndCenturySplit) {
  char buf[64];
  EXPECT_STREQ(TimeStamp(2013, 3, 5, 10, 20, 30).ToString(buf, nullptr), "05.03.2013 10:20:30");
  EXPECT_STREQ(TimeStamp(2013, 3, 5, 10, 20, 30).ToString(buf, "ГГГГММДД-ЧЧИИСС"), "20130305-102030");
  EXPECT_STREQ(TimeStamp::Empty().ToString(buf, nullptr), "");

  ExpectStamp(TimeStamp().FromString("05.03.70 10:20:30"), 2070, 3, 5, 10, 20, 30);
  ExpectStamp(TimeStamp().FromString("05.03.71 10:20:30"), 1971, 3, 5, 10, 20, 30);
  ExpectStamp(TimeStamp().FromString("05.03.2013 10:20:30"), 2013, 3, 5, 10, 20, 30);
  ExpectStamp(TimeStamp().FromString("2013-03-05", "гггг-мм-дд"), 2013, 3, 5, 0, 0, 0);
  // A missing day or month is clamped to 1.
  ExpectStamp(TimeStamp().FromString("12:30", "чч:ии"), 2000, 1, 1, 12, 30, 0);
  EXPECT_TRUE(TimeStamp().FromString("нет").IsEmpty());
}

TEST(TimeStampClock, CurrentIsToday) {
  Date today(0L);
  today.Current();
  const TimeStamp now;
  EXPECT_LE(now.GetDate() - static_cast<long>(today), 1);
  EXPECT_GE(now.GetTime(), 0);
  EXPECT_LT(now.GetTime(), 86400);
  Time t;
  const long seconds = t.Current();
  EXPECT_EQ(seconds, static_cast<long>(t));
  EXPECT_LT(seconds, 86400);
}

}  // namespace
