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
      << (i % 13) << " in " << (i % 1000) << " us\n";
}

}  // namespace

int main() {
  CountingSink sinkBuf;
  std::ostream sink(&sinkBuf);
  const double kelm = kelm::bench::BestSeconds(3, [&] {
    for (int i = 0; i < kRecords; ++i) {
      SinkLog log(sink);
      Compose(log(), i);
      log.Write();
    }
  });
  const long long kelmBytes = sinkBuf.bytes;
  sinkBuf.bytes = 0;
  const double baseline = kelm::bench::BestSeconds(3, [&] {
    for (int i = 0; i < kRecords; ++i) {
      std::ostringstream record;
      Compose(record, i);
      sink << record.str();
    }
  });
  if (kelmBytes != sinkBuf.bytes) std::printf("byte counts differ: %lld vs %lld\n", kelmBytes, sinkBuf.bytes);
  std::printf("record size %lld bytes\n", kelmBytes / 3 / kRecords);
  kelm::bench::Report("1M log records of ~100 bytes", "std::ostringstream", kelm, baseline);
  return 0;
}
