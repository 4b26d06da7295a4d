#include "kelm/log/base_log.h"

#include "kelm/port/utc_offset.h"

namespace kelm {
namespace {

BaseLog::LocalTime LocalNow() {
  const auto now = std::chrono::system_clock::now();
  const auto universal = std::chrono::floor<std::chrono::microseconds>(now.time_since_epoch());
  return BaseLog::LocalTime(universal + port::UtcOffset(now));
}

}  // namespace

BaseLog::BaseLog(LogStreamBuf* buf) : mCreationTime(LocalNow()), mBuf(buf), mStream(buf) {}

BaseLog::~BaseLog() = default;

void BaseLog::flush(std::ostream& out) const {
  if (mBuf != nullptr) mBuf->flush(out);
}

BaseBufLog::BaseBufLog() : BaseLog(&mOwnBuf) {}

BaseBufLog::~BaseBufLog() = default;

}  // namespace kelm
