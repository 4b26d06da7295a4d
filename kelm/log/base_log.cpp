#include "kelm/log/base_log.h"

#include <ios>
#include <locale>

#include "kelm/frame/global_vars.h"
#include "kelm/port/utc_offset.h"

namespace kelm {
namespace {

// The idle record streams of one thread.
class StreamPool {
 public:
  StreamPool() = default;
  StreamPool(const StreamPool&) = delete;
  StreamPool& operator=(const StreamPool&) = delete;
  ~StreamPool() {
    for (int i = 0; i < count_; ++i) delete idle_[i];
  }

  static StreamPool& Instance() { return *registrator_.Get(); }

  // A stream over `buf` in the state of a new one.
  std::ostream* Borrow(LogStreamBuf* buf) {
    if (count_ == 0) return new std::ostream(buf);
    std::ostream* stream = idle_[--count_];
    stream->flags(std::ios_base::skipws | std::ios_base::dec);
    stream->width(0);
    stream->precision(6);
    stream->fill(stream->widen(' '));
    stream->tie(nullptr);
    // A stream takes the global locale when made; the pooled one may have
    // another, or an older global one.
    if (stream->getloc() != std::locale()) stream->imbue(std::locale());
    stream->rdbuf(buf);  // also clears the state
    return stream;
  }

  // Takes `stream` back; beyond the pool's room it is deleted. Never throws.
  void Return(std::ostream* stream) noexcept {
    stream->exceptions(std::ios_base::goodbit);
    stream->rdbuf(nullptr);
    if (count_ < kRoom) {
      idle_[count_++] = stream;
    } else {
      delete stream;
    }
  }

 private:
  // Records composed at once by one thread are rarely more than one or two.
  static constexpr int kRoom = 4;
  static GVars::GlobalVarRegistrator<StreamPool> registrator_;

  std::ostream* idle_[kRoom] = {};
  int count_ = 0;
};

GVars::GlobalVarRegistrator<StreamPool> StreamPool::registrator_;

// Looking the zone up costs about as much as composing a short record, so
// each thread keeps the offset for the current quarter of an hour of
// universal time: zones change their offset only at such boundaries. A zone
// setting changed by the process shows in records from the next quarter on.
BaseLog::LocalTime LocalNow() {
  struct OffsetCache {
    long long quarter = -1;
    std::chrono::seconds offset{0};
  };
  thread_local OffsetCache cache;
  const auto now = std::chrono::system_clock::now();
  const auto universal = std::chrono::floor<std::chrono::microseconds>(now.time_since_epoch());
  const long long quarter = std::chrono::floor<std::chrono::minutes>(universal).count() / 15;
  if (quarter != cache.quarter) {
    cache.offset = port::UtcOffset(now);
    cache.quarter = quarter;
  }
  return BaseLog::LocalTime(universal + cache.offset);
}

}  // namespace

BaseLog::BaseLog(LogStreamBuf* buf)
    : mCreationTime(LocalNow()), mBuf(buf), mStream(StreamPool::Instance().Borrow(buf)) {}

BaseLog::~BaseLog() { StreamPool::Instance().Return(mStream); }

void BaseLog::flush(std::ostream& out) const {
  if (mBuf != nullptr) mBuf->flush(out);
}

BaseBufLog::BaseBufLog() : BaseLog(&mOwnBuf) {}

BaseBufLog::~BaseBufLog() = default;

}  // namespace kelm
