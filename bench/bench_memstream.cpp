// MemStream filled with 256 MiB of 64-byte records written with the typed
// operators (a 47-character text with its length byte, a long long and a
// double) against std::vector<char> appends of the same bytes.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "kelm/streams/mem_stream.h"

namespace {

constexpr std::size_t kTotal = 256u << 20;
constexpr std::size_t kRecord = 64;

template <class T>
void Append(std::vector<char>& v, const T& value) {
  const char* p = reinterpret_cast<const char*>(&value);
  v.insert(v.end(), p, p + sizeof value);
}

}  // namespace

int main() {
  const std::string text(47, 't');
  std::size_t stream_size = 0;
  std::size_t vector_size = 0;
  const double library = kelm::bench::BestSeconds(3, [&] {
    MemStream s;
    for (std::size_t i = 0; i < kTotal / kRecord; ++i)
      s << text << static_cast<long long>(i) << static_cast<double>(i);
    stream_size = s.Size();
    kelm::bench::KeepAlive(s);
  });
  const double baseline = kelm::bench::BestSeconds(3, [&] {
    std::vector<char> v;
    for (std::size_t i = 0; i < kTotal / kRecord; ++i) {
      v.push_back(static_cast<char>(text.size()));
      v.insert(v.end(), text.data(), text.data() + text.size());
      Append(v, static_cast<long long>(i));
      Append(v, static_cast<double>(i));
    }
    vector_size = v.size();
    kelm::bench::KeepAlive(v);
  });
  if (stream_size != kTotal || vector_size != kTotal) {
    std::printf("SIZE MISMATCH: %zu %zu\n", stream_size, vector_size);
    return 1;
  }
  kelm::bench::Report("MemStream, 256 MiB in 64-byte records", "std::vector<char>", library, baseline);
  return 0;
}
