// Timing helpers shared by the benchmarks.
#ifndef KELM_BENCH_BENCH_H_
#define KELM_BENCH_BENCH_H_

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace kelm::bench {

// Best wall time of `runs` calls of `f`, in seconds.
template <class F>
double BestSeconds(int runs, F&& f) {
  double best = 1e300;
  for (int i = 0; i < runs; ++i) {
    const auto start = std::chrono::steady_clock::now();
    f();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count());
  }
  return best;
}

// The best wall time of each of `fs`, timed in turns for `rounds` rounds, so
// that a machine busy with other work slows them alike.
template <class... F>
std::array<double, sizeof...(F)> BestInTurns(int rounds, F&&... fs) {
  std::array<double, sizeof...(F)> best;
  best.fill(1e300);
  for (int round = 0; round < rounds; ++round) {
    std::size_t i = 0;
    ((best[i] = std::min(best[i], BestSeconds(1, fs)), ++i), ...);
  }
  return best;
}

// Prints one comparison; the ratio is baseline time / library time, so
// above 1 means the library is faster.
inline void Report(const char* what, const char* baseline, double library_s, double baseline_s) {
  std::printf("%-40s kelm %9.3f ms   %-22s %9.3f ms   ratio %.2f\n", what, library_s * 1e3, baseline,
              baseline_s * 1e3, baseline_s / library_s);
}

// Keeps the optimiser from dropping a computed value.
template <class T>
void KeepAlive(const T& value) {
  asm volatile("" : : "g"(&value) : "memory");
}

}  // namespace kelm::bench

#endif  // KELM_BENCH_BENCH_H_
