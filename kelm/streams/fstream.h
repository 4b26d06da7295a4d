// FStream: the library's file stream, a Stream whose view moves over a file
// page by page; StreamPool, the sorted table of the pages one stream holds.
//
//   FStream f("data.bin", fmRead | fmWrite | fmOpenAlways);
//   f.BeginTransaction();
//   f << 42L << "record";           // into pages of the thread's budget
//   f.EndTransaction();             // now, and only now, in the file
//
// Pages are blocks of BufSize() bytes at offsets that are multiples of it.
// Their memory and their place in the memory budget belong to the thread's
// BlockManager; when the budget is spent the manager asks the streams to
// give pages up (Notification): a changed page is written to the file, or,
// under a transaction, to the thread's swap file, from which it comes back
// when needed. A stream opened without a name works over a temporary file
// (prefix "klm", deleted on close).
//
// Transactions: between BeginTransaction and EndTransaction nothing reaches
// the file; BreakTransaction drops every change of the transaction. The
// thread counts its open transactions (TrnCnt) across all its streams and
// keeps one swap file (TrnHandle) with reusable slots.
//
// Failures: coded errors through Error (they throw): 29 a write of the file
// failed (shown first through SysErrorMsg), 30 a read failed, 291 no flush
// when the page size changes, 296 closing under a transaction, 386 a page to
// give up is not in the pool, 535 the current page is not in the pool.
// Program ends (FatalError): 29 and 30 on the swap file, 289 a misaligned
// LockBuf, 292 EndGlobalTransaction without a start.
//
// A stream, its pool and its pages belong to the thread whose manager they
// use; used from another thread they report
// "<member> использует BlockManager из другого потока!" and go on.
#ifndef KELM_STREAMS_FSTREAM_H_
#define KELM_STREAMS_FSTREAM_H_

#include <cstdint>
#include <string>

#include "kelm/containers/array.h"
#include "kelm/port/win_types.h"
#include "kelm/streams/block_manager.h"
#include "kelm/streams/ifstream.h"

class IFileUtils;

#pragma pack(push, 1)
struct StreamStruct {
  std::uint32_t offset;  // of the page in the file
  std::int32_t block;    // its record in the block manager
};
#pragma pack(pop)
static_assert(sizeof(StreamStruct) == 8);

// The pages of one stream, sorted by offset, over the manager of the thread
// that made the pool.
class StreamPool : public Array {
 public:
  StreamPool();
  StreamPool(const StreamPool&) = delete;
  StreamPool& operator=(const StreamPool&) = delete;

  // Binary search for `offset` with its low eight bits cleared: true with
  // `index` on the entry, else false with `index` at the insertion place.
  bool Find(unsigned long offset, int& index) const;
  bool GetBuf(unsigned long offset, BlocStruct*& page);
  BlocStruct& GetBuf(int index);
  // The page, moved `depth` records past its neighbour in the manager's list.
  BlocStruct& GetPushBuf(int index, int depth);
  // Null when there are fewer than one (two) pages.
  BlocStruct* Last();
  BlocStruct* PrevLast();
  // Frees the record in the manager and drops the entry.
  void Remove(int index);
  // Removes every page past `offset`; the page at `offset`, or null.
  BlocStruct* Truncate(unsigned long offset);
  void Clear();
  StreamStruct* Item(int i) const { return static_cast<StreamStruct*>(GetBuf()) + i; }
  using Array::GetBuf;

  BlockManager& Manager() const { return *manager_; }
  // Reports use from a thread other than the pool's; the work goes on.
  void CheckOwner(const char* member) const;

 private:
  BlockManager* manager_;
};

class FStream : public IFStream {
 public:
  // State flags of the file streams, besides Stream's.
  static constexpr std::uint8_t kTransaction = 0x10;
  static constexpr std::uint8_t kSomeChanged = 0x20;
  static constexpr std::uint8_t kCurChanged = 0x40;
  static constexpr std::uint8_t kTruncated = 0x80;
  // The mode of temporary files: read, write, create anew, delete on close.
  static constexpr unsigned kTmpMode = 8355;

  FStream();
  FStream(const char* name, unsigned mode);
  FStream(const FStream&) = delete;
  FStream& operator=(const FStream&) = delete;
  // Closes; a failure is reported, not thrown.
  ~FStream() override;

  // Opens `name` with OpenStreamFile modes (a registered file system that
  // takes the name when no file can be opened provides the bytes); without
  // a name, a
  // temporary file. A character device gets 2-byte pages. A name of 260
  // characters or more is reported and answers false; any other failure is
  // raised through SysError ("Невозможно открыть файл "%s"!").
  bool Open(const char* name, unsigned mode) override;
  // A named file is flushed; closing under a transaction drops its changes
  // and, once closed, raises coded error 296.
  void Close() override;
  bool IsOpen() const override;
  bool IsReadOnly() const override;
  bool IsTmp() const override { return (state_ & kTmpFlag) != 0; }
  const char* GetFileName() override { return name_.c_str(); }

  unsigned long Size() override;
  void Truncate() override;
  int Update(unsigned long pos, UpdateType type) override;

  // The page at `offset` (a multiple of the page size), read whole and
  // locked in memory; UnlockBuf gives the lock back, UnlockChgBuf also marks
  // the page changed.
  char* LockBuf(unsigned long offset) override;
  void UnlockBuf(unsigned long offset) override;
  void UnlockChgBuf(unsigned long offset) override;

  // The stream's bytes at `offset` (pages included); false when fewer than
  // `n` are there. The position is kept.
  bool ReadFile(unsigned long offset, void* dst, unsigned n) override;
  // Straight to the file at `offset`; held pages over those bytes get them
  // too. Without a file: Seek and Write. A stream opened through a file
  // system hands the bytes to it (refused when opened without write access).
  bool WriteFile(unsigned long offset, void* src, unsigned n) override;

  // Writes the changed pages. True at once when nothing changed; false
  // under a transaction and without a file.
  bool Flush() override;
  void ChangeBufferSize(unsigned short size) override;
  // Byte-range locks of the file; true for a temporary stream or none.
  bool Lock(unsigned long offset, unsigned long length) override;
  bool Unlock(unsigned long offset, unsigned long length) override;

  // Nothing while a transaction is open; flushes, then opens one.
  void BeginTransaction() override;
  void EndTransaction() override;
  // Drops every page without writing it, also outside a transaction (what
  // was not written yet is lost then), and ends the transaction if one is open.
  void BreakTransaction() override;
  bool IsUnderTransactions() const override { return (state_ & kTransaction) != 0; }

  bool Notification(BlocStruct& page) override;

  bool GetTime(FILETIME* created, FILETIME* accessed, FILETIME* written);
  bool CopyFileTime(FStream& from);

  // A new temporary file in the system's temporary folder, opened with
  // `mode`; INVALID_HANDLE_VALUE when it cannot be opened. No name to be
  // had raises "Не удалось создать временный файл в папке %s...".
  static HANDLE OpenTmp(unsigned mode);
  // Appends "$", `n` in hexadecimal and ".tmp" to `buf`.
  static void TmpName(int n, char* buf);
  static void StartGlobalTransaction();
  // Fatal 292 when no transaction is open.
  static void EndGlobalTransaction();

  // The calling thread's transaction state.
  static int& TrnCnt();
  static bool& BufWrites();
  static HANDLE& TrnHandle();
  static long& TrnSize();
  // The calling thread's add-on folder for names that are not found.
  static std::string& AddonPath();
  static void SetAddonPath(std::string& path);

  HANDLE Handle() const { return handle_; }
  unsigned Mode() const { return mode_; }
  StreamPool& Pool() { return pool_; }

 protected:
  // Brings a swapped-out page back; returns its offset.
  virtual long UpdateBuf(BlocStruct& page);
  // True when the page was in the pool already; either way it is locked.
  bool LocPoolBuf(unsigned long offset, BlocStruct*& page);
  // The valid bytes of a page.
  unsigned BufLen(BlocStruct& page);
  void PackBlock(BlocStruct& page);
  // Releases the current page (a character device's is written out first).
  void FreeCurBuf();
  bool WriteBuf(BlocStruct& page);
  int PushCnt() const;

 private:
  bool HasFile() const { return handle_ != INVALID_HANDLE_VALUE; }
  bool IsNamedFile() const { return HasFile() && !IsTmp(); }
  void MakeTmpFile();
  bool OpenThroughProvider(const char* name, unsigned mode);
  // Drops every page without writing (locks and the current mark too).
  void DropPages();
  // When the thread's page memory is spent, asks the manager for one page
  // back before another is brought into memory.
  void Reclaim();
  bool SwapOut(BlocStruct& page);
  void ReportWriteFailure();
  bool WriteAt(unsigned long offset, const void* src, unsigned n);
  // Reads up to `n` bytes at `offset`; false when positioning or reading fails.
  bool ReadAt(unsigned long offset, void* dst, unsigned n, unsigned long* done);
  bool Position(unsigned long offset);
  bool SetEndAt(unsigned long size);
  unsigned long FileEnd();
  void FlushPass(bool ascending, bool swapped_too, bool* skipped);

  StreamPool pool_;
  std::uint32_t file_size_ = 0;
  HANDLE handle_ = INVALID_HANDLE_VALUE;
  std::uint32_t mode_ = 3;
  IFileUtils* provider_ = nullptr;  // owned; the file system that opened the name
  std::string name_;
  static constexpr unsigned long long kUnknownPos = ~0ull;
  unsigned long long file_pos_ = kUnknownPos;  // where the handle stands
};

// The calling thread's disk-change flag of global transactions, false in a
// new thread. It lives beside the transaction counters for client modules
// to set and read; FStream itself neither sets nor reads it.
extern GVars::GlobalVarRegistrator<bool, GVars::BoolVarAllocator> DiskChangeFlagRegistrator;

// An FStream with other constructors.
class FastFStream : public FStream {
 public:
  FastFStream() = default;
  // A stream (opened later, or temporary) with pages of `page_size` bytes.
  explicit FastFStream(unsigned page_size);
  FastFStream(const char* name, unsigned mode) : FStream(name, mode) {}
};

#endif  // KELM_STREAMS_FSTREAM_H_
