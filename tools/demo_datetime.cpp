// Dates and times: today in Russian, a quarter as a reporting period, a time stamp.
#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {

void DemoDatetime() {
  char text[128];
  char weekday[32];
  Date today;  // the initial date, set to today by KELMLIBInit
  Say("Dates and times:\n");
  Say("  today is %s, %s\n", today.TextDayWeek(weekday), today.TextDate(text));

  Date quarter_start = today;
  quarter_start.SetStartCuartal();
  Date quarter_end = today;
  quarter_end.SetEndCuartal();
  DateInterval quarter(quarter_start, quarter_end);
  char heading[32];
  Say("  this quarter (%s): %s\n", today.TextCuartal(heading), quarter.ToString(text, "дд.мм.гггг"));
  quarter.Shift(3, false);
  Say("  the next one: %s\n", quarter.ToString(text, "дд.мм.гггг"));

  const TimeStamp now;
  Say("  time stamp: %s (tick form %lld)\n\n", now.ToString(text, nullptr), now.Pvsw());
}

}  // namespace kelm::tools
