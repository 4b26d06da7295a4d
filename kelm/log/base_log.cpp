#include "kelm/log/base_log.h"

#include "kelm/port/utc_offset.h"

namespace kelm {
namespace {

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

BaseLog::BaseLog(LogStreamBuf* buf) : creation_time_(LocalNow()), buf_(buf), stream_(buf) {}

BaseLog::~BaseLog() = default;

void BaseLog::flush(std::ostream& out) const {
  if (buf_ != nullptr) buf_->flush(out);
}

BaseBufLog::BaseBufLog() : BaseLog(&ownBuf) {}

BaseBufLog::~BaseBufLog() = default;

}  // namespace kelm
