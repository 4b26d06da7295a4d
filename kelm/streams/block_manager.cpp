#include "kelm/streams/block_manager.h"

#include <cstdlib>
#include <new>

#include "kelm/frame/errors.h"
#include "kelm/streams/ifstream.h"

GVars::GlobalVarRegistrator<BlockManager> BlockManager::registrator;

namespace {

constexpr unsigned long kPageNotFreeable = 289;
constexpr unsigned long kUnexpected = 4614;

// After a fatal report the thread's terminator normally ends the process. A
// terminator without a policy returns; the list is broken then, so the
// operation is abandoned with message 4614 instead of working on.
[[noreturn]] void Fatal(const char* text) {
  FatalErrorMsg("%s", text);
  Error(kUnexpected, "BlockManager");
}

}  // namespace

// ---- BlocStruct ----

void BlocStruct::LockX(unsigned long tid, bool tmp) {
  if (tid == 0) Error("Ошибка наложения X - блокировки!");
  tid_ = static_cast<std::uint32_t>(tid);
  if (tmp) {
    flags_ |= kTmpLockX;
  } else {
    flags_ &= ~kTmpLockX;
  }
}

void BlocStruct::LinkStream(IFStream* stream, unsigned long offset) {
  stream_ = stream;
  offset_ = static_cast<std::uint32_t>(offset);
  data_ = 0;
  flags_ = 0;
  lock_count_ = 0;
  tid_ = 0;
}

void BlocStruct::UnLinkStream(BlockManager& manager) {
  if (IsLock() || IsCurrent()) Error(kPageNotFreeable);
  if (!IsFlush()) manager.Deallocate(*this);
  data_ = 0;
  stream_ = nullptr;
}

bool BlocStruct::Notification() { return stream_->Notification(*this); }

// ---- QuickBlockAllocator ----

QuickBlockAllocator::QuickBlockAllocator(unsigned limit) : limit_(limit) {}

QuickBlockAllocator::~QuickBlockAllocator() {
  for (auto& [size, blocks] : free_)
    for (void* block : blocks) std::free(block);
}

void* QuickBlockAllocator::Allocate(unsigned size) {
  if (!dropped_ && held_ + size > limit_) DropCache();
  auto it = free_.find(size);
  if (it != free_.end() && !it->second.empty()) {
    void* block = it->second.back();
    it->second.pop_back();
    return block;
  }
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  held_ += size;
  return block;
}

void QuickBlockAllocator::Deallocate(void* block, unsigned size) {
  if (block == nullptr) return;
  if (held_ > limit_) {
    held_ -= held_ < size ? held_ : size;
    std::free(block);
    return;
  }
  free_[size].push_back(block);
  dropped_ = false;
}

void QuickBlockAllocator::SetLimit(unsigned bytes) {
  limit_ = bytes;
  if (!dropped_ && held_ > limit_) DropCache();
}

void QuickBlockAllocator::DropCache() {
  for (auto& [size, blocks] : free_) {
    held_ -= blocks.size() * size;
    for (void* block : blocks) std::free(block);
    blocks.clear();
  }
  dropped_ = true;
}

// ---- BlockManager ----

BlockManager::BlockManager(IBlockAllocator* allocator)
    : Array(sizeof(BlocStruct), static_cast<int>(kDefaultPageLimit)),
      allocator_(allocator != nullptr
                     ? allocator
                     : new QuickBlockAllocator(static_cast<unsigned>(
                           static_cast<unsigned long long>(kDefaultMemoryBound) * 130 / 100))) {}

BlockManager::~BlockManager() { delete allocator_; }

BlockManager& BlockManager::Instance() { return *registrator.Get(); }

void BlockManager::SetMemoryBound(unsigned megabytes) {
  memory_bound_ = megabytes << 20;
  allocator_->SetLimit(static_cast<unsigned>(memory_bound_ * 1.3));
  page_limit_ = memory_bound_ / 3116;
}

BlocStruct& BlockManager::GetBloc(int index) {
  if (index < 0 || index >= Count())
    Fatal("Менеджер страниц обнаружил попытку получить\nстраницу по неверному номеру!");
  return static_cast<BlocStruct*>(GetBuf())[index];
}

// A link read from a record: -1 is no record; anything else must exist.
BlocStruct& BlockManager::Link(int index) { return GetBloc(index); }

int BlockManager::IndexOf(const BlocStruct& b) const {
  return static_cast<int>(&b - static_cast<const BlocStruct*>(GetBuf()));
}

BlocStruct* BlockManager::RemoveList(BlocStruct& b) {
  const int prev = b.prev_;
  const int next = b.next_;
  if (next == -1) {
    if (tail_ != IndexOf(b))
      Fatal("Обнаружен неверный номер хвостовой неиспользуемой страницы в менеджере страниц!");
    tail_ = prev;
  } else {
    Link(next).prev_ = prev;
  }
  if (prev == -1) {
    if (head_ != IndexOf(b))
      Fatal("Обнаружен неверный номер головной используемой страницы в менеджере страниц!");
    head_ = next;
  } else {
    Link(prev).next_ = next;
  }
  b.prev_ = b.next_ = -1;
  if (next != -1) return &Link(next);
  if (prev != -1) return &Link(prev);
  return nullptr;
}

void BlockManager::Push(BlocStruct* start, BlocStruct* b, int index, int depth) {
  if (start == nullptr) {
    if (head_ == -1) {
      if (tail_ != -1 || index < 0)
        FatalErrorMsg("Неверный номер у хвоста списка неиспользуемых страниц в менеджере страниц!");
      head_ = tail_ = index;
      return;
    }
    start = &Link(head_);
  }
  BlocStruct* at = start;
  for (int i = 0; i < depth && at->IsStream() && at->next_ != -1; ++i) at = &Link(at->next_);
  const int at_index = IndexOf(*at);
  b->next_ = at_index;
  b->prev_ = at->prev_;
  at->prev_ = index;
  if (b->prev_ == -1) {
    head_ = index;
  } else {
    Link(b->prev_).next_ = index;
  }
}

int BlockManager::Ins(IFStream* stream, unsigned long offset, int depth) {
  const bool spent = allocator_->AllocatedSize() >= memory_bound_;
  if (free_count_ == 0 && (spent || static_cast<unsigned>(Count()) >= page_limit_)) {
    while (Flush() && free_count_ == 0) {
    }
  } else if (spent) {
    // Departure: free records (left by closed streams or by a transaction's
    // swapped pages) would otherwise let new pages grow past the budget
    // without bound; with the budget spent one page is given up first.
    Flush();
  }
  int index;
  if (free_count_ == 0) {
    const BlocStruct fresh;
    index = Array::Ins(&fresh, -1);
  } else {
    index = tail_;
    BlocStruct& b = GetBloc(index);
    if (b.IsStream())
      Fatal("Менеджер страниц зафиксировал попытку передать данные страницы,\n"
            "уже используемые потоком, другому потоку!");
    --free_count_;
    RemoveList(b);
  }
  BlocStruct& b = GetBloc(index);
  b.LinkStream(stream, offset);
  b.lock_count_ = 1;
  Push(nullptr, &b, index, depth);
  return index;
}

void BlockManager::Allocate(BlocStruct& b) {
  b.SetData(static_cast<char*>(allocator_->Allocate(b.stream_->BufSize())));
}

void BlockManager::Deallocate(BlocStruct& b) {
  allocator_->Deallocate(b.Data(), b.stream_->BufSize());
  b.data_ = 0;
}

void BlockManager::PushBuf(BlocStruct& b, int index, int depth) { Push(RemoveList(b), &b, index, depth); }

void BlockManager::Remove(int index) {
  BlocStruct& b = GetBloc(index);
  b.UnLinkStream(*this);
  ++free_count_;
  if (Count() <= 1) return;
  RemoveList(b);
  if (tail_ == -1)
    Fatal("Менеджер страниц обнаружил неверный номер\nхвостовой станицы списка неиспользуемых блоков!");
  b.prev_ = tail_;
  b.next_ = -1;
  GetBloc(tail_).next_ = index;
  tail_ = index;
}

bool BlockManager::Flush() {
  for (int i = head_; i != -1;) {
    BlocStruct& b = Link(i);
    const int next = b.next_;
    if (!b.IsLock() && !b.IsFlush() && !b.IsCurrent()) {
      if (!b.IsStream()) return false;
      if (b.Notification()) return true;
    }
    i = next;
  }
  return false;
}
