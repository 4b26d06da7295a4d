// SortArray::Sort of 1 M 4-byte saLONG items against std::sort of the same
// ints, on random input; then the library alone on sorted and on reversed
// input, which must stay within a small factor of the random time.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "bench/bench.h"
#include "kelm/containers/array.h"

namespace {

constexpr int kCount = 1 << 20;
constexpr int kRuns = 5;

// Best time of sorting a fresh copy of `input` (the copy is not timed).
template <class Prepare, class Sort>
double BestSort(Prepare&& prepare, Sort&& sort) {
  double best = 1e300;
  for (int i = 0; i < kRuns; ++i) {
    prepare();
    const auto start = std::chrono::steady_clock::now();
    sort();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count());
  }
  return best;
}

double TimeLibrary(const std::vector<std::int32_t>& input, const std::vector<std::int32_t>& sorted) {
  SortArray a(4, 4, saLONG | saDUPLICATE, kCount);
  const double t = BestSort([&] { a.SetBuf(input.data(), kCount); }, [&] { a.Sort(); });
  if (!std::equal(sorted.begin(), sorted.end(), static_cast<const std::int32_t*>(a.GetBuf()))) {
    std::printf("MISMATCH: SortArray::Sort gave a different order\n");
    std::exit(1);
  }
  return t;
}

}  // namespace

int main() {
  std::mt19937 rng(20261122);
  std::vector<std::int32_t> random(kCount);
  for (auto& v : random) v = static_cast<std::int32_t>(rng());
  std::vector<std::int32_t> sorted = random;
  std::sort(sorted.begin(), sorted.end());
  std::vector<std::int32_t> reversed(sorted.rbegin(), sorted.rend());

  std::vector<std::int32_t> work;
  const double baseline =
      BestSort([&] { work = random; }, [&] { std::sort(work.begin(), work.end()); });
  kelm::bench::KeepAlive(work);
  const double library = TimeLibrary(random, sorted);
  kelm::bench::Report("SortArray::Sort, 1 M random saLONG", "std::sort", library, baseline);

  const double onSorted = TimeLibrary(sorted, sorted);
  const double onReversed = TimeLibrary(reversed, sorted);
  std::printf("%-40s kelm %9.3f ms   %.2f x the random time\n", "SortArray::Sort, 1 M sorted",
              onSorted * 1e3, onSorted / library);
  std::printf("%-40s kelm %9.3f ms   %.2f x the random time\n", "SortArray::Sort, 1 M reversed",
              onReversed * 1e3, onReversed / library);
  return 0;
}
