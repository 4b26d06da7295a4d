// Composing log records: one million records of about 100 bytes through
// kelm::BaseBufLog against a std::ostringstream per record, both written to
// the same discarding sink.
#include <cstdio>
#include <ostream>
#include <sstream>
#include <streambuf>

#include "bench/bench.h"
#include "kelm/log/base_log.h"

namespace {

constexpr int kRecords = 1000000;

// Counts what it is given and keeps nothing.
class CountingSink : public std::streambuf {
 public:
  long long bytes = 0;

 protected:
  int_type overflow(int_type c) override {
    ++bytes;
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char*, std::streamsize n) override {
    bytes += n;
    return n;
  }
};

// A record written to a destination stream once complete.
class SinkLog : public kelm::BaseBufLog {
 public:
  explicit SinkLog(std::ostream& sink) : mSink(sink) {}
  void Write() { flush(mSink); }

 private:
  std::ostream& mSink;
};

template <class Out>
void Compose(Out& out, int i) {
  out << "worker " << (i & 7) << " served request " << i << " of client \"Иванов И.И.\" from queue "
      << (i % 13) << " (priority " << (i % 3) << ") in " << (i % 1000) << " us, status OK\n";
}

void KelmRecords(std::ostream& sink) {
  for (int i = 0; i < kRecords; ++i) {
    SinkLog log(sink);
    Compose(log(), i);
    log.Write();
  }
}

void StringStreamRecords(std::ostream& sink) {
  for (int i = 0; i < kRecords; ++i) {
    std::ostringstream record;
    Compose(record, i);
    sink << record.str();
  }
}

}  // namespace

int main() {
  CountingSink kelmBuf;
  CountingSink baselineBuf;
  std::ostream kelmSink(&kelmBuf);
  std::ostream baselineSink(&baselineBuf);
  // Alternating rounds, best of each: a busy machine slows both alike.
  double kelm = 1e300;
  double baseline = 1e300;
  for (int round = 0; round < 5; ++round) {
    kelm = std::min(kelm, kelm::bench::BestSeconds(1, [&] { KelmRecords(kelmSink); }));
    baseline = std::min(baseline, kelm::bench::BestSeconds(1, [&] { StringStreamRecords(baselineSink); }));
  }
  if (kelmBuf.bytes != baselineBuf.bytes) {
    std::printf("byte counts differ: %lld vs %lld\n", kelmBuf.bytes, baselineBuf.bytes);
    return 1;
  }
  std::printf("record size %lld bytes\n", kelmBuf.bytes / 5 / kRecords);
  kelm::bench::Report("1M log records of ~100 bytes", "std::ostringstream", kelm, baseline);
  return 0;
}
