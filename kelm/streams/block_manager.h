// BlockManager: the per-thread owner of every in-memory page of the paged
// file streams of one thread (its messages call it the page manager).
//
// A stream asks its thread's manager for a page record (Ins), has memory
// allocated for it (Allocate), locks and unlocks it while it works in it,
// and is notified (IFStream::Notification) when the manager wants the page
// back. All records of the thread live in one flat table addressed by
// index and are threaded on one doubly linked list: pages in use at the head
// end, in the order their streams chose, free records at the tail end. When
// the memory bound or the page limit is reached, Ins asks the owners of
// unlocked pages, from the head onward, to give them up.
//
//   BlockManager& m = BlockManager::Instance();
//   int page = m.Ins(&stream, 0, 20);   // locked once
//   m.Allocate(m.GetBloc(page));
//
// A manager and its records are used by their own thread only; nothing is
// locked. Broken list links and bad page numbers end the program through
// FatalErrorMsg.
#ifndef KELM_STREAMS_BLOCK_MANAGER_H_
#define KELM_STREAMS_BLOCK_MANAGER_H_

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "kelm/containers/array.h"
#include "kelm/frame/global_vars.h"

class BlockManager;
class IFStream;

#pragma pack(push, 1)
// One page record. The data field holds the page's memory, or its offset in
// the transaction swap file while the page is swapped out (Flush flag).
class BlocStruct {
 public:
  enum : std::uint8_t {
    kTmpLockX = 0x01,
    kFlush = 0x08,
    kCurrent = 0x10,
    kTruncateByte = 0x20,
    kChgBuf = 0x40,
    kTruncate = 0x80,
  };

  BlocStruct() = default;

  // X-lock of a transaction; a tid of 0 is refused with
  // "Ошибка наложения X - блокировки!" (raised).
  void LockX(unsigned long tid, bool tmp);
  void UnlockX() {
    tid_ = 0;
    flags_ &= ~kTmpLockX;
  }
  bool IsLockX() const { return tid_ != 0 && (flags_ & kTmpLockX) == 0; }
  bool IsTmpLockX() const { return tid_ != 0 && (flags_ & kTmpLockX) != 0; }
  unsigned long TID() const { return tid_; }

  void Lock() { ++lock_count_; }
  void UnLock() {
    if (lock_count_ != 0) --lock_count_;
  }
  bool IsLock() const { return lock_count_ > 0; }
  unsigned LockCount() const { return lock_count_; }

  bool IsFlush() const { return Has(kFlush); }
  void SetFlush() { flags_ |= kFlush; }
  void UnSetFlush() { flags_ &= ~kFlush; }
  bool IsCurrent() const { return Has(kCurrent); }
  void SetCurrent() { flags_ |= kCurrent; }
  void UnsetCurrent() { flags_ &= ~kCurrent; }
  bool IsTruncateByte() const { return Has(kTruncateByte); }
  void SetTruncateByte() { flags_ |= kTruncateByte; }
  void UnSetTruncateByte() { flags_ &= ~kTruncateByte; }
  bool IsChgBuf() const { return Has(kChgBuf); }
  void SetChgBuf() { flags_ |= kChgBuf; }
  void UnSetChgBuf() { flags_ &= ~kChgBuf; }
  bool IsTruncate() const { return Has(kTruncate); }
  void SetTruncate() { flags_ |= kTruncate; }
  void UnSetTruncate() { flags_ &= ~kTruncate; }

  unsigned long Offset() const { return offset_; }
  char* Data() const { return reinterpret_cast<char*>(data_); }
  void SetData(char* data) { data_ = reinterpret_cast<std::uintptr_t>(data); }
  // The swap-file offset while the Flush flag is set, else 0xFFFFFFFF.
  unsigned long TransOffset() const { return IsFlush() ? static_cast<std::uint32_t>(data_) : 0xFFFFFFFFul; }
  void SetTransOffset(unsigned long offset) { data_ = static_cast<std::uint32_t>(offset); }

  IFStream* Stream() const { return stream_; }
  int Prev() const { return prev_; }
  int Next() const { return next_; }
  std::uint8_t Flags() const { return flags_; }

 private:
  friend class BlockManager;

  bool Has(std::uint8_t flag) const { return (flags_ & flag) != 0; }
  void LinkStream(IFStream* stream, unsigned long offset);
  // Gives the page's memory back and clears data and stream; a locked or
  // current page is refused with coded error 289.
  void UnLinkStream(BlockManager& manager);
  bool IsStream() const { return stream_ != nullptr; }
  bool Notification();

  // 32 bits in the i686 build; pointer-sized elsewhere, since it holds the
  // page's memory.
  std::uintptr_t data_ = 0;
  std::uint32_t offset_ = 0;
  IFStream* stream_ = nullptr;
  std::int32_t prev_ = -1;
  std::int32_t next_ = -1;
  std::uint8_t flags_ = 0;
  std::uint8_t lock_count_ = 0;
  std::uint32_t tid_ = 0;
};
#pragma pack(pop)

#if defined(_WIN32) && !defined(_WIN64)
static_assert(sizeof(BlocStruct) == 26, "the i686 page record is 26 bytes");
#endif
static_assert(sizeof(BlocStruct) == 18 + 2 * sizeof(void*), "page records are packed");

// The source of page memory.
class IBlockAllocator {
 public:
  virtual ~IBlockAllocator() = default;
  virtual void* Allocate(unsigned size) = 0;
  virtual void Deallocate(void* block, unsigned size) = 0;
  // Bytes held: handed out plus cached.
  virtual std::size_t AllocatedSize() const = 0;
  virtual void SetLimit(unsigned bytes) = 0;
};

// Caches freed blocks by size. Past the limit the cache is dropped (freed)
// once, and is not dropped again until a block is cached anew.
class QuickBlockAllocator : public IBlockAllocator {
 public:
  explicit QuickBlockAllocator(unsigned limit);
  QuickBlockAllocator(const QuickBlockAllocator&) = delete;
  QuickBlockAllocator& operator=(const QuickBlockAllocator&) = delete;
  // Frees the cached blocks; blocks still handed out are their holders'.
  ~QuickBlockAllocator() override;

  void* Allocate(unsigned size) override;
  // Null is ignored. Over the limit the block is freed, else cached.
  void Deallocate(void* block, unsigned size) override;
  std::size_t AllocatedSize() const override { return held_; }
  void SetLimit(unsigned bytes) override;

  unsigned Limit() const { return limit_; }

 private:
  void DropCache();

  unsigned limit_;
  std::size_t held_ = 0;
  std::unordered_map<unsigned, std::vector<void*>> free_;
  bool dropped_ = false;
};

// The table of page records, with the list and the memory budget.
class BlockManager : public Array {
 public:
  static constexpr unsigned kDefaultMemoryBound = 40u << 20;
  static constexpr unsigned kDefaultPageLimit = 6144;

  // Owns `allocator`; null makes a QuickBlockAllocator with a limit of
  // 130% of the memory bound.
  explicit BlockManager(IBlockAllocator* allocator = nullptr);
  BlockManager(const BlockManager&) = delete;
  BlockManager& operator=(const BlockManager&) = delete;
  // Deletes the allocator. The streams must have given their pages up.
  virtual ~BlockManager();

  // The calling thread's manager, created on first use.
  static BlockManager& Instance();

  // Bound = mb MiB; the allocator's limit 130% of it; page limit =
  // bound / 3116.
  void SetMemoryBound(unsigned megabytes);
  unsigned MemoryBound() const { return memory_bound_; }
  unsigned PageLimit() const { return page_limit_; }

  // A record for the page of `stream` at `offset`, locked once, inserted
  // `depth` records from the head; its index. When no record is free and the
  // budget is spent, pages are reclaimed until one is; when records are free
  // but the memory is spent, one page is reclaimed. No memory is allocated.
  int Ins(IFStream* stream, unsigned long offset, int depth);
  // Fatal for an index outside the table.
  BlocStruct& GetBloc(int index);
  // Page memory of the record's stream's BufSize() bytes.
  void Allocate(BlocStruct& b);
  void Deallocate(BlocStruct& b);
  // Takes the record out of the list and puts it back `depth` records past
  // its old neighbour.
  void PushBuf(BlocStruct& b, int index, int depth);
  // Frees a record (memory and stream); locked or current: coded error 289.
  void Remove(int index);
  // Asks the owner of the first unlocked page from the head to give it up;
  // false when none did.
  bool Flush();

  IBlockAllocator& Allocator() const { return *allocator_; }
  int Head() const { return head_; }
  int Tail() const { return tail_; }
  int FreeCount() const { return free_count_; }

 private:
  friend class BlocStruct;

  BlocStruct& Link(int index);
  // Unlinks b; returns the record that followed it, or else the one before
  // it, or null.
  BlocStruct* RemoveList(BlocStruct& b);
  void Push(BlocStruct* start, BlocStruct* b, int index, int depth);
  int IndexOf(const BlocStruct& b) const;

  std::int32_t head_ = -1;
  std::int32_t tail_ = -1;
  std::int32_t free_count_ = 0;
  std::uint32_t memory_bound_ = kDefaultMemoryBound;
  std::uint32_t page_limit_ = kDefaultPageLimit;
  IBlockAllocator* allocator_;  // owned

  static GVars::GlobalVarRegistrator<BlockManager> registrator;
};

#endif  // KELM_STREAMS_BLOCK_MANAGER_H_
