// Log records: text composed with ordinary stream output into memory and
// written out in one piece when complete. Where records go and how they are
// headed is decided by derived classes, which call the protected flush.
#ifndef KELM_LOG_BASE_LOG_H_
#define KELM_LOG_BASE_LOG_H_

#include <chrono>
#include <ostream>

#include "kelm/log/log_stream_buf.h"

namespace kelm {

// A record: a stream over a LogStreamBuf and the record's creation time. A
// record belongs to the thread composing it. Destruction does not flush.
class BaseLog {
 public:
  using LocalTime = std::chrono::local_time<std::chrono::microseconds>;

  BaseLog(const BaseLog&) = delete;
  BaseLog& operator=(const BaseLog&) = delete;
  virtual ~BaseLog();

  // The record's stream: log() << ...
  std::ostream& operator()() { return stream_; }

  // False for a null log (one without a buffer), which drops what it is given.
  bool IsNotNull() const { return buf_ != nullptr; }

  // Local time, to the microsecond, when the record was constructed.
  const LocalTime& CreationTime() const { return creation_time_; }

 protected:
  // `buf` (not owned) may be null: a null log.
  explicit BaseLog(LogStreamBuf* buf);

  // Writes the collected text to `out`; nothing for a null log.
  void flush(std::ostream& out) const;

 private:
  LocalTime creation_time_;
  LogStreamBuf* buf_;
  std::ostream stream_;
};

namespace internal {

// Holds the buffer of a BaseBufLog; as the first base it is built before the
// BaseLog that writes into it and outlives it.
struct LogBufHolder {
  LogStreamBuf ownBuf;
};

}  // namespace internal

// A record with a buffer of its own.
class BaseBufLog : private internal::LogBufHolder, public BaseLog {
 public:
  BaseBufLog();
  ~BaseBufLog() override;
};

}  // namespace kelm

#endif  // KELM_LOG_BASE_LOG_H_
