// Date::SetDate + Date::GetDate round trips against the same round trip
// through std::chrono::year_month_day and sys_days.
#include <chrono>

#include "bench/bench.h"
#include "kelm/datetime/date.h"

namespace {

constexpr int kRounds = 10000000;

// The i-th day of the sample: days 1..28 of every month of 1900..2299.
void Sample(int i, int& day, int& month, int& year) {
  day = 1 + i % 28;
  month = 1 + i / 28 % 12;
  year = 1900 + i / 336 % 400;
}

long long KelmRoundTrips() {
  long long sum = 0;
  Date date(0L);
  for (int i = 0; i < kRounds; ++i) {
    int d, m, y;
    Sample(i, d, m, y);
    date.SetDate(Days(d), Months(m), Years(y));
    date.GetDate(d, m, y);
    sum += d + m + y + static_cast<long>(date);
  }
  return sum;
}

long long ChronoRoundTrips() {
  using namespace std::chrono;
  const sys_days epoch{year{1957} / January / 1};
  long long sum = 0;
  for (int i = 0; i < kRounds; ++i) {
    int d, m, y;
    Sample(i, d, m, y);
    const sys_days serial{year{y} / month{static_cast<unsigned>(m)} / day{static_cast<unsigned>(d)}};
    const year_month_day back{serial};
    sum += static_cast<unsigned>(back.day()) + static_cast<unsigned>(back.month()) +
           static_cast<int>(back.year()) + (serial - epoch).count();
  }
  return sum;
}

}  // namespace

int main() {
  long long kelm_sum = 0;
  long long chrono_sum = 0;
  const auto [kelm_s, chrono_s] = kelm::bench::BestInTurns(
      5, [&] { kelm_sum = KelmRoundTrips(); }, [&] { chrono_sum = ChronoRoundTrips(); });
  kelm::bench::KeepAlive(kelm_sum);
  kelm::bench::KeepAlive(chrono_sum);
  if (kelm_sum != chrono_sum) {
    std::printf("results differ: %lld vs %lld\n", kelm_sum, chrono_sum);
    return 1;
  }
  kelm::bench::Report("10M SetDate+GetDate round trips", "chrono year_month_day", kelm_s, chrono_s);
  return 0;
}
