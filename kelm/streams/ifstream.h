// IFStream: the interface of the paged file streams. The table of virtual
// operations continues Stream's in this order; the block manager and
// FStream are built on it.
#ifndef KELM_STREAMS_IFSTREAM_H_
#define KELM_STREAMS_IFSTREAM_H_

#include "kelm/containers/intrusive_list.h"
#include "kelm/streams/stream.h"

class BlocStruct;
class IOwnerIFStream;

// The description text of the file streams' object counter.
extern const char* const FStreamDescrStr;

class IFStream : public Stream, public ObjCounter<FStreamDescrStr> {
 public:
  unsigned long Size() override = 0;
  void Truncate() override = 0;
  int Update(unsigned long pos, UpdateType type) override = 0;
  void BeginTransaction() override = 0;
  void BreakTransaction() override = 0;
  void EndTransaction() override = 0;

  virtual bool Open(const char* name, unsigned mode) = 0;
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;
  virtual bool IsReadOnly() const = 0;
  virtual bool Lock(unsigned long offset, unsigned long length) = 0;
  virtual bool Unlock(unsigned long offset, unsigned long length) = 0;
  virtual bool Flush() = 0;
  virtual bool ReadFile(unsigned long offset, void* dst, unsigned n) = 0;
  virtual bool WriteFile(unsigned long offset, void* src, unsigned n) = 0;
  virtual void ChangeBufferSize(unsigned short size) = 0;
  // The block manager asks the stream to give a page up.
  virtual bool Notification(BlocStruct& page) = 0;
  virtual char* LockBuf(unsigned long offset) = 0;
  virtual void UnlockBuf(unsigned long offset) = 0;
  virtual void UnlockChgBuf(unsigned long offset) = 0;
  virtual bool IsTmp() const = 0;
  virtual void CommitTransaction(unsigned long /*id*/) {}
  virtual void RollbackTransaction(unsigned long /*id*/) {}
  virtual void CommitTmpLocks() {}
  virtual void RollbackTmpLocks() {}
  virtual bool IsUnderTransactions() const = 0;
  virtual void SetOwner(IOwnerIFStream& /*owner*/) {}
  virtual const char* GetFileName() { return nullptr; }
};

#endif  // KELM_STREAMS_IFSTREAM_H_
