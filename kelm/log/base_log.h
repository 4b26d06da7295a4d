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
//
// Setting up a standard stream costs more than composing a short record, so
// a record borrows its stream from a per-thread pool and gives it back when
// destroyed. A borrowed stream starts as a new one would: good state, default
// flags, width, precision and fill, no exceptions, no tie, the global locale.
// Only what a client stores in its iword/pword slots or registers with
// register_callback stays with the pooled stream.
class BaseLog {
 public:
  using LocalTime = std::chrono::local_time<std::chrono::microseconds>;

  BaseLog(const BaseLog&) = delete;
  BaseLog& operator=(const BaseLog&) = delete;
  virtual ~BaseLog();

  // The record's stream: log() << ...
  std::ostream& operator()() { return *mStream; }

  // False for a null log (one without a buffer), which drops what it is given.
  bool IsNotNull() const { return mBuf != nullptr; }

  // Local time, to the microsecond, when the record was constructed.
  const LocalTime& CreationTime() const { return mCreationTime; }

 protected:
  // `buf` (not owned) may be null: a null log.
  explicit BaseLog(LogStreamBuf* buf);

  // Writes the collected text to `out`; nothing for a null log.
  void flush(std::ostream& out) const;

 private:
  LocalTime mCreationTime;
  LogStreamBuf* mBuf;
  std::ostream* mStream;  // borrowed from the thread's pool until destruction
};

namespace internal {

// Holds the buffer of a BaseBufLog; as the first base it is built before the
// BaseLog that writes into it and outlives it.
struct LogBufHolder {
  LogStreamBuf mOwnBuf;
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
