#include "kelm/streams/fstream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "kelm/files/file_system_factory.h"
#include "kelm/files/file_utils.h"
#include "kelm/frame/errors.h"
#include "kelm/frame/work_mode.h"
#include "kelm/port/file.h"

// Defined before the transaction counters below: registrators take their
// indices in the order they are constructed.
GVars::GlobalVarRegistrator<bool, GVars::BoolVarAllocator> DiskChangeFlagRegistrator;

namespace {

constexpr unsigned long kWriteFailed = 29;
constexpr unsigned long kReadFailed = 30;
constexpr unsigned long kMisaligned = 289;
constexpr unsigned long kResizeFlushFailed = 291;
constexpr unsigned long kTrnUnderflow = 292;
constexpr unsigned long kCloseInTransaction = 296;
constexpr unsigned long kPageNotInPool = 386;
constexpr unsigned long kCurrentNotInPool = 535;
constexpr unsigned long kUnexpected = 4614;
constexpr unsigned long kDiskFull = 112;
constexpr unsigned long kFileTypeChar = 2;
constexpr unsigned kMaxPath = 260;
constexpr unsigned long kReadOnlyAttribute = 0x1;

// A free stretch of the swap file.
struct SwapSlot {
  unsigned long offset;
  unsigned size;
};
using SwapSlots = std::vector<SwapSlot>;

GVars::GlobalVarRegistrator<bool, GVars::BufWritesAllocator> buf_writes_registrator;
GVars::GlobalVarRegistrator<HANDLE, GVars::TrnHandleAllocator> trn_handle_registrator;
GVars::GlobalVarRegistrator<long, GVars::LongVarAllocator> trn_size_registrator;
GVars::GlobalVarRegistrator<int, GVars::TrnCntAllocator> trn_cnt_registrator;
GVars::GlobalVarRegistrator<SwapSlots> swap_slots_registrator;

SwapSlots& FreeSlots() { return *swap_slots_registrator.Get(); }

void ReturnSlot(BlocStruct& page, unsigned size) {
  if (page.IsFlush()) FreeSlots().push_back({page.TransOffset(), size});
}

// Puts a message-box policy in place for one report and the previous one
// back afterwards, also when the report throws.
class ApiPolicyScope {
 public:
  explicit ApiPolicyScope(bool active) : active_(active) {
    if (!active_) return;
    previous_ = ErrorMessager::Instance().Release();
    ErrorMessager::Instance().Reset(new APIErrorPolicy);
  }
  ApiPolicyScope(const ApiPolicyScope&) = delete;
  ApiPolicyScope& operator=(const ApiPolicyScope&) = delete;
  ~ApiPolicyScope() {
    if (active_) ErrorMessager::Instance().Reset(previous_);
  }

 private:
  bool active_;
  IErrorPolicy* previous_ = nullptr;
};

}  // namespace

// ---- StreamPool ----

StreamPool::StreamPool() : Array(sizeof(StreamStruct), 10), manager_(&BlockManager::Instance()) {}

void StreamPool::CheckOwner(const char* member) const {
  if (manager_ != &BlockManager::Instance())
    ErrorMsg("%s использует BlockManager из другого потока!", member);
}

bool StreamPool::Find(unsigned long offset, int& index) const {
  const auto key = static_cast<std::uint32_t>(offset & ~0xFFul);
  int lo = 0;
  int hi = Count() - 1;
  while (lo <= hi) {
    const int mid = (lo + hi) / 2;
    const auto diff = static_cast<std::int32_t>(Item(mid)->offset - key);
    if (diff == 0) {
      index = mid;
      return true;
    }
    if (diff < 0) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  index = lo;
  return false;
}

bool StreamPool::GetBuf(unsigned long offset, BlocStruct*& page) {
  CheckOwner("StreamPool::GetBuf(ulong, BlockStruct*&)");
  int i;
  if (!Find(offset, i)) return false;
  page = &manager_->GetBloc(Item(i)->block);
  return true;
}

BlocStruct& StreamPool::GetBuf(int index) {
  CheckOwner("StreamPool::GetBuf( int )");
  return manager_->GetBloc(Item(index)->block);
}

BlocStruct& StreamPool::GetPushBuf(int index, int depth) {
  CheckOwner("StreamPool::GetPushBuf");
  const int block = Item(index)->block;
  BlocStruct& page = manager_->GetBloc(block);
  manager_->PushBuf(page, block, depth);
  return page;
}

BlocStruct* StreamPool::Last() {
  CheckOwner("StreamPool::Last");
  return Count() < 1 ? nullptr : &manager_->GetBloc(Item(Count() - 1)->block);
}

BlocStruct* StreamPool::PrevLast() {
  CheckOwner("StreamPool::PrevLast");
  return Count() < 2 ? nullptr : &manager_->GetBloc(Item(Count() - 2)->block);
}

void StreamPool::Remove(int index) {
  CheckOwner("StreamPool::Remove");
  const int block = Item(index)->block;
  BlocStruct& page = manager_->GetBloc(block);
  if (page.Stream() != nullptr) ReturnSlot(page, page.Stream()->BufSize());
  manager_->Remove(block);
  Array::Remove(index);
}

BlocStruct* StreamPool::Truncate(unsigned long offset) {
  CheckOwner("StreamPool::Truncate");
  while (Count() > 0 && Item(Count() - 1)->offset > offset) Remove(Count() - 1);
  BlocStruct* page = nullptr;
  if (Count() > 0 && Item(Count() - 1)->offset == offset) page = &manager_->GetBloc(Item(Count() - 1)->block);
  return page;
}

void StreamPool::Clear() {
  while (Count() > 0) Remove(Count() - 1);
}

// ---- per-thread state ----

int& FStream::TrnCnt() { return *trn_cnt_registrator.Get(); }
bool& FStream::BufWrites() { return *buf_writes_registrator.Get(); }
HANDLE& FStream::TrnHandle() { return *trn_handle_registrator.Get(); }
long& FStream::TrnSize() { return *trn_size_registrator.Get(); }
std::string& FStream::AddonPath() { return ThreadAddonPath(); }
void FStream::SetAddonPath(std::string& path) { ThreadAddonPath() = path; }

void FStream::StartGlobalTransaction() {
  if (TrnCnt()++ == 0) BufWrites() = false;
}

void FStream::EndGlobalTransaction() {
  if (TrnCnt() == 0) {
    FatalError(kTrnUnderflow);
    return;
  }
  if (--TrnCnt() != 0) return;
  TrnSize() = 0;
  FreeSlots().clear();
  if (BufWrites()) std::fflush(nullptr);
  BufWrites() = false;
}

// ---- construction, opening, closing ----

FStream::FStream() { buf_size_ = 512; }

FStream::FStream(const char* name, unsigned mode) : FStream() { Open(name, mode); }

FStream::~FStream() {
  try {
    Close();
  } catch (...) {
    // Reported already through the thread's error policy.
  }
}

FastFStream::FastFStream(unsigned page_size) { ChangeBufferSize(static_cast<unsigned short>(page_size)); }

void FStream::TmpName(int n, char* buf) {
  char tail[24];
  std::snprintf(tail, sizeof tail, "$%X.tmp", static_cast<unsigned>(n));
  std::strcat(buf, tail);
}

HANDLE FStream::OpenTmp(unsigned mode) {
  std::string folder = kelm::port::TempFolder();
  if (folder.size() > kMaxPath) folder.resize(kMaxPath);
  std::string name;
  if (!kelm::port::MakeTempFile(folder.c_str(), "klm", &name)) {
    ApiPolicyScope api(true);
    Error("Не удалось создать временный файл в папке %s.\nВозможно нужно почистить эту папку, удалив ненужные файлы.",
          folder.c_str());
  }
  return OpenStreamFile(name.c_str(), mode);
}

void FStream::MakeTmpFile() {
  handle_ = OpenTmp(kTmpMode);
  file_pos_ = kUnknownPos;
  if (!HasFile()) SysError("Невозможно открыть файл \"%s\"!", "klm*.tmp");
  state_ |= kTmpFlag;
}

bool FStream::Open(const char* name, unsigned mode) {
  Close();
  base_ = index_ = length_ = 0;
  file_size_ = 0;
  state_ &= ~(kTmpFlag | kCharDevFlag);
  if (name != nullptr) {
    name_ = name;
    mode_ = mode;
    handle_ = OpenStreamFile(name, mode);
    if (!HasFile() && OpenThroughProvider(name, mode)) return true;
  } else {
    name_.clear();
    mode_ = kTmpMode;
    handle_ = OpenTmp(kTmpMode);
    state_ |= kTmpFlag;
  }
  file_pos_ = kUnknownPos;
  if (HasFile()) {
    if (kelm::port::FileTypeOf(handle_) == kFileTypeChar) {
      state_ |= kCharDevFlag;
      ChangeBufferSize(2);
    }
    file_size_ = static_cast<std::uint32_t>(FileEnd());
    return true;
  }
  if (name != nullptr && std::strlen(name) >= kMaxPath) {
    ErrorMsg("Имя файла длиннее %d символов: \"%s\".", static_cast<int>(kMaxPath - 1), name);
    return false;
  }
  SysError("Невозможно открыть файл \"%s\"!", name != nullptr ? name : "");
}

// A registered file system that takes the name fills the stream with the
// file's bytes; the stream then works over them in memory (a temporary file
// when pressed) and WriteFile hands changes back to the provider.
bool FStream::OpenThroughProvider(const char* name, unsigned mode) {
  const unsigned long error = kelm::port::LastFileError();
  std::unique_ptr<IFileUtils> provider(FileSystemFactory::Instance().Get(name, false));
  if (provider == nullptr || !provider->Open(name, mode, *this)) {
    DropPages();
    base_ = index_ = 0;
    kelm::port::SetLastFileError(error);
    return false;
  }
  provider_ = provider.release();
  Seek(0);
  return true;
}

void FStream::DropPages() {
  for (int i = pool_.Count() - 1; i >= 0; --i) {
    BlocStruct& page = pool_.GetBuf(i);
    while (page.IsLock()) page.UnLock();
    page.UnsetCurrent();
  }
  buffer_ = nullptr;
  length_ = 0;
  pool_.Clear();
}

void FStream::Close() {
  delete provider_;
  provider_ = nullptr;
  const bool in_transaction = IsUnderTransactions();
  if (in_transaction) {
    // The changes of an unfinished transaction never reach the file.
    state_ &= 0x0F;
    DropPages();
    EndGlobalTransaction();
  }
  try {
    if (buffer_ != nullptr) FreeCurBuf();
    if (IsNamedFile()) Flush();
  } catch (...) {
    DropPages();
    kelm::port::CloseFileHandle(handle_);
    handle_ = INVALID_HANDLE_VALUE;
    file_pos_ = kUnknownPos;
    state_ &= kTmpFlag;
    throw;
  }
  if (HasFile()) kelm::port::CloseFileHandle(handle_);
  handle_ = INVALID_HANDLE_VALUE;
  file_pos_ = kUnknownPos;
  DropPages();
  state_ &= 0x0F;
  if (in_transaction) Error(kCloseInTransaction);
}

bool FStream::IsOpen() const { return HasFile() || provider_ != nullptr; }

bool FStream::IsReadOnly() const {
  if (provider_ != nullptr) return true;
  if (HasFile()) {
    unsigned long attributes = 0;
    return kelm::port::HandleAttributes(handle_, &attributes) && (attributes & kReadOnlyAttribute) != 0;
  }
  return (mode_ & 3) == 1;
}

// ---- file access ----

unsigned long FStream::FileEnd() {
  unsigned long long size = 0;
  if (!HasFile() || IsCharDev() || !kelm::port::FileSizeOf(handle_, &size)) return 0;
  return static_cast<unsigned long>(size);
}

// The handle's position is remembered, so that pages read or written one
// after another need no positioning call.
bool FStream::ReadAt(unsigned long offset, void* dst, unsigned n, unsigned long* done) {
  *done = 0;
  if (!Position(offset)) return false;
  const bool ok = kelm::port::ReadFileData(handle_, dst, n, done);
  file_pos_ = ok ? offset + *done : kUnknownPos;
  return ok;
}

bool FStream::WriteAt(unsigned long offset, const void* src, unsigned n) {
  if (!Position(offset)) return false;
  unsigned long done = 0;
  const bool ok = kelm::port::WriteFileData(handle_, src, n, &done) && done == n;
  file_pos_ = ok ? offset + done : kUnknownPos;
  return ok;
}

bool FStream::Position(unsigned long offset) {
  if (IsCharDev() || file_pos_ == offset) return true;
  file_pos_ = kUnknownPos;
  if (!kelm::port::SeekFile(handle_, offset, kelm::port::SeekFrom::kBegin, nullptr)) return false;
  file_pos_ = offset;
  return true;
}

bool FStream::SetEndAt(unsigned long size) {
  if (!Position(size)) return false;
  return kelm::port::SetFileEnd(handle_);
}

// A failed write of the data file: the system's reason is shown, then
// coded error 29 is raised. In GUI mode a full disk goes to a message box.
void FStream::ReportWriteFailure() {
  const unsigned long error = kelm::port::LastFileError();
  ApiPolicyScope api(WorkMode::IsGUIMode() && error == kDiskFull);
  SysErrorMsg("%s", name_.c_str());
  Error(kWriteFailed);
}

// ---- pages ----

int FStream::PushCnt() const {
  const int base = static_cast<int>(buf_size_ / 256);
  const bool changed_transaction = (state_ & kTransaction) != 0 && (state_ & kSomeChanged) != 0;
  return base + (changed_transaction || !HasFile() ? 30 : 20);
}

unsigned FStream::BufLen(BlocStruct& page) {
  if (page.IsCurrent()) return length_;
  if (page.IsTruncateByte()) return buf_size_ - 1;
  if (page.IsTruncate()) {
    std::uint16_t stored;
    std::memcpy(&stored, page.Data() + buf_size_ - 2, sizeof stored);
    return stored;
  }
  return buf_size_;
}

void FStream::PackBlock(BlocStruct& page) {
  if ((state_ & kCurChanged) != 0) page.SetChgBuf();
  state_ &= ~kCurChanged;
  page.UnSetTruncateByte();
  page.UnSetTruncate();
  if (length_ < buf_size_) {
    if (length_ + 1 == buf_size_) {
      page.SetTruncateByte();
    } else {
      const auto stored = static_cast<std::uint16_t>(length_);
      std::memcpy(page.Data() + buf_size_ - 2, &stored, sizeof stored);
      page.SetTruncate();
    }
  }
  file_size_ = std::max<std::uint32_t>(file_size_, base_ + length_);
}

void FStream::FreeCurBuf() {
  if (buffer_ == nullptr) return;
  BlocStruct* page = nullptr;
  if (!pool_.GetBuf(base_, page)) {
    buffer_ = nullptr;
    length_ = 0;
    Error(kCurrentNotInPool);
  }
  if (IsCharDev()) {
    // What was written to a device goes out now; what was read is used up.
    if ((state_ & kCurChanged) != 0) page->SetChgBuf();
    if (page->IsChgBuf()) WriteBuf(*page);
    page->UnsetCurrent();
    buffer_ = nullptr;
    length_ = 0;
    int i;
    if (pool_.Find(base_, i)) pool_.Remove(i);
    return;
  }
  PackBlock(*page);
  page->UnsetCurrent();
  buffer_ = nullptr;
  length_ = 0;
}

void FStream::Reclaim() {
  BlockManager& manager = pool_.Manager();
  if (manager.Allocator().AllocatedSize() >= manager.MemoryBound()) manager.Flush();
}

long FStream::UpdateBuf(BlocStruct& page) {
  pool_.CheckOwner("FStream::UpdateBuf");
  if (page.IsFlush()) {
    // Departure: the page that comes back takes the memory of one page given
    // up when the budget is spent; otherwise a transaction that touches its
    // swapped pages again would grow without bound.
    Reclaim();
    const unsigned long slot = page.TransOffset();
    page.UnSetFlush();
    page.SetData(nullptr);
    pool_.Manager().Allocate(page);
    std::memset(page.Data(), 0, buf_size_);
    unsigned long done = 0;
    HANDLE swap = TrnHandle();
    const bool ok = swap != INVALID_HANDLE_VALUE &&
                    kelm::port::SeekFile(swap, slot, kelm::port::SeekFrom::kBegin, nullptr) &&
                    kelm::port::ReadFileData(swap, page.Data(), buf_size_, &done) && done == buf_size_;
    if (!ok) {
      pool_.Manager().Deallocate(page);
      page.SetFlush();
      page.SetTransOffset(slot);
      FatalError(kReadFailed);
      Error(kReadFailed);  // the terminator let the thread go on: the page stays swapped
    }
    FreeSlots().push_back({slot, buf_size_});
  }
  return static_cast<long>(page.Offset());
}

bool FStream::LocPoolBuf(unsigned long offset, BlocStruct*& page) {
  pool_.CheckOwner("FStream::LocPoolBuf");
  int i;
  if (pool_.Find(offset, i)) {
    page = &pool_.GetPushBuf(i, PushCnt());
    page->Lock();
    try {
      UpdateBuf(*page);
    } catch (...) {
      page->UnLock();
      throw;
    }
    return true;
  }
  BlockManager& manager = pool_.Manager();
  const int block = manager.Ins(this, offset, PushCnt() + 20);
  pool_.Find(offset, i);  // reclaiming may have removed entries
  const StreamStruct entry{static_cast<std::uint32_t>(offset), block};
  pool_.Ins(&entry, i);
  page = &manager.GetBloc(block);
  manager.Allocate(*page);
  return false;
}

int FStream::Update(unsigned long pos, UpdateType type) {
  unsigned long r = pos % buf_size_;
  unsigned long page_offset = pos - r;
  if (page_offset != base_) FreeCurBuf();
  if (IsCharDev()) r = page_offset = 0;
  base_ = static_cast<std::uint32_t>(page_offset);
  index_ = static_cast<std::uint16_t>(r);
  if (type == utSeek) return 0;

  if (buffer_ == nullptr) {
    length_ = 0;
    BlocStruct* page = nullptr;
    if (LocPoolBuf(base_, page)) {
      if (page->IsChgBuf()) state_ |= kCurChanged;
      length_ = BufLen(*page);
      if (!HasFile() && file_size_ >= base_ + buf_size_) {
        std::memset(page->Data() + length_, 0, buf_size_ - length_);
        length_ = buf_size_;
      }
    }
    page->SetCurrent();
    page->UnLock();
    buffer_ = page->Data();
  }
  if (!HasFile()) {
    const unsigned long size = Size();
    const std::uint32_t had = length_;
    length_ = size > base_ ? static_cast<std::uint32_t>(std::min<unsigned long>(buf_size_, size - base_)) : 0;
    std::memset(buffer_ + had, 0, buf_size_ - had);  // see the departure below
  } else if ((type == utWrite && index_ > length_) || (type == utRead && index_ >= length_) ||
             (type == utCopy && length_ < buf_size_)) {
    const bool truncated = (state_ & kTruncated) != 0;
    unsigned long want = buf_size_ - length_;
    if (truncated) {
      const unsigned long size = Size();
      want = size > base_ + length_ ? std::min<unsigned long>(want, size - base_ - length_) : 0;
    }
    unsigned long done = 0;
    if (want > 0 && !ReadAt(base_ + length_, buffer_ + length_, static_cast<unsigned>(want), &done))
      Error(kReadFailed);
    // Departure: bytes that neither a page nor the file holds yet (a gap left
    // by writing past the end) read as zeros, as they will once the pages
    // are written, instead of ending the data there; and what a page kept
    // past its valid bytes (its stored length) never becomes data.
    std::memset(buffer_ + length_ + done, 0, buf_size_ - length_ - done);
    length_ += static_cast<std::uint32_t>(truncated ? want : done);
    if (!truncated && type != utWrite && length_ < buf_size_) {
      const unsigned long size = Size();
      if (size > base_ + length_) length_ = static_cast<std::uint32_t>(std::min<unsigned long>(buf_size_, size - base_));
    }
  }
  return index_ < length_ ? static_cast<int>(length_ - index_) : 0;
}

unsigned long FStream::Size() {
  unsigned long end = 0;
  BlocStruct* last = pool_.Last();
  if (last != nullptr && last->IsCurrent() && !last->IsFlush()) last = pool_.PrevLast();
  if (last != nullptr) {
    unsigned long len;
    if (!last->IsFlush()) {
      len = BufLen(*last);
    } else if (last->IsTruncateByte()) {
      len = buf_size_ - 1;
    } else if (last->IsTruncate()) {
      // Departure: a swapped-out page counts by its packing marks, not as a
      // full page. Its stored length lies in the swap file; the known end of
      // the data was raised to cover it when the page was packed.
      len = file_size_ > last->Offset() ? std::min<unsigned long>(buf_size_, file_size_ - last->Offset()) : 0;
    } else {
      len = buf_size_;
    }
    end = last->Offset() + len;
  }
  if (buffer_ != nullptr) end = std::max<unsigned long>(end, base_ + length_);
  if (HasFile() && (state_ & kTruncated) == 0) {
    end = std::max(end, FileEnd());
  } else {
    end = std::max<unsigned long>(end, file_size_);
  }
  file_size_ = static_cast<std::uint32_t>(end);
  return end;
}

void FStream::Truncate() {
  BlocStruct* page = pool_.Truncate(base_);
  if (page != nullptr && !page->IsCurrent()) Update(CurPos(), utRead);
  if (buffer_ != nullptr && (!HasFile() || length_ > index_)) length_ = index_;
  file_size_ = base_ + index_;
  if (IsUnderTransactions()) {
    state_ |= kTruncated | kSomeChanged;
    return;
  }
  if (HasFile()) {
    Flush();
    if (!SetEndAt(file_size_)) ReportWriteFailure();
    state_ &= ~kTruncated;
  }
}

bool FStream::WriteBuf(BlocStruct& page) {
  if (!HasFile()) return false;
  page.Lock();
  try {
    UpdateBuf(page);
  } catch (...) {
    page.UnLock();
    throw;
  }
  const unsigned n = BufLen(page);
  if (IsCharDev()) {
    state_ &= ~(kSomeChanged | kCurChanged);
    unsigned long done = 0;
    if (n > 0 && (!kelm::port::WriteFileData(handle_, page.Data(), n, &done) || done != n)) {
      length_ = 0;
      base_ = 0;
      page.UnLock();
      throw GorseCodeException(static_cast<int>(kUnexpected), "%s", "FStream");
    }
  } else if (n > 0) {
    if (!IsTmp()) BufWrites() = true;
    if (!WriteAt(page.Offset(), page.Data(), n)) {
      // The page stays changed: a later flush tries again.
      page.UnLock();
      ReportWriteFailure();
    }
  }
  page.UnSetChgBuf();
  page.UnLock();
  if (page.IsCurrent()) state_ &= ~kCurChanged;
  return true;
}

void FStream::FlushPass(bool ascending, bool swapped_too, bool* skipped) {
  std::vector<std::uint32_t> offsets;
  offsets.reserve(pool_.Count());
  for (int i = 0; i < pool_.Count(); ++i) offsets.push_back(pool_.Item(i)->offset);
  if (!ascending) std::reverse(offsets.begin(), offsets.end());
  for (std::uint32_t offset : offsets) {
    BlocStruct* page = nullptr;
    if (!pool_.GetBuf(offset, page)) continue;  // given up while others came back
    if (page->IsFlush() && !swapped_too) {
      *skipped = true;
      continue;
    }
    if (page->IsCurrent()) {
      if ((state_ & kCurChanged) != 0) page->SetChgBuf();
      state_ &= ~kCurChanged;
    }
    if (page->IsChgBuf()) WriteBuf(*page);
  }
}

bool FStream::Flush() {
  if ((state_ & (kSomeChanged | kCurChanged)) == 0) return true;
  if (IsUnderTransactions() || !HasFile()) return false;
  bool skipped = false;
  FlushPass(true, false, &skipped);
  if (skipped) FlushPass(false, true, &skipped);
  state_ &= ~(kSomeChanged | kCurChanged);
  return true;
}

bool FStream::SwapOut(BlocStruct& page) {
  HANDLE& swap = TrnHandle();
  if (swap == INVALID_HANDLE_VALUE) {
    swap = OpenTmp(kTmpMode);
    TrnSize() = 0;
  }
  SwapSlots& slots = FreeSlots();
  unsigned long slot = static_cast<unsigned long>(TrnSize());
  bool reused = false;
  for (auto it = slots.begin(); it != slots.end(); ++it) {
    if (it->size == buf_size_) {
      slot = it->offset;
      slots.erase(it);
      reused = true;
      break;
    }
  }
  unsigned long done = 0;
  if (swap == INVALID_HANDLE_VALUE || !kelm::port::SeekFile(swap, slot, kelm::port::SeekFrom::kBegin, nullptr) ||
      !kelm::port::WriteFileData(swap, page.Data(), buf_size_, &done) || done != buf_size_) {
    if (reused) slots.push_back({slot, buf_size_});
    FatalError(kWriteFailed);
    return false;  // the terminator let the thread go on: the page stays in memory
  }
  pool_.Manager().Deallocate(page);
  page.SetFlush();
  page.SetTransOffset(slot);
  if (!reused) TrnSize() += static_cast<long>(buf_size_);
  return true;
}

bool FStream::Notification(BlocStruct& page) {
  pool_.CheckOwner("FStream::Notification");
  if (page.IsFlush() || page.IsLock() || page.IsCurrent()) return false;
  if (!HasFile()) MakeTmpFile();
  if (page.IsChgBuf() && IsUnderTransactions()) return SwapOut(page);
  if (page.IsChgBuf()) WriteBuf(page);
  int i;
  if (!pool_.Find(page.Offset(), i)) Error(kPageNotInPool);
  pool_.Remove(i);
  return true;
}

// ---- locked pages ----

char* FStream::LockBuf(unsigned long offset) {
  if (!IsCharDev() && offset % buf_size_ != 0) {
    FatalError(kMisaligned);
    Error(kMisaligned);  // the terminator let the thread go on
  }
  BlocStruct* page = nullptr;
  const bool held = LocPoolBuf(offset, page);
  auto fail = [&] {
    page->UnLock();
    if (!held) {
      int i;
      if (pool_.Find(offset, i)) pool_.Remove(i);
    }
    Error(kReadFailed);
  };
  if (!held) {
    if (HasFile()) {
      unsigned long done = 0;
      if (!ReadAt(offset, page->Data(), buf_size_, &done) || (IsNamedFile() && done != buf_size_)) fail();
      std::memset(page->Data() + done, 0, buf_size_ - done);
    } else {
      std::memset(page->Data(), 0, buf_size_);
    }
  } else {
    const unsigned len = BufLen(*page);
    if (len < buf_size_) {
      if (HasFile()) {
        unsigned long done = 0;
        if (!ReadAt(offset + len, page->Data() + len, buf_size_ - len, &done) ||
            (IsNamedFile() && len + done != buf_size_))
          fail();
        std::memset(page->Data() + len + done, 0, buf_size_ - len - done);
      } else {
        std::memset(page->Data() + len, 0, buf_size_ - len);
        page->SetChgBuf();
      }
    }
  }
  if (page->IsCurrent()) {
    length_ = buf_size_;
    state_ |= kCurChanged;
  }
  file_size_ = std::max<std::uint32_t>(file_size_, static_cast<std::uint32_t>(offset + buf_size_));
  page->UnSetTruncateByte();
  page->UnSetTruncate();
  return page->Data();
}

namespace {
const char kNoSuchPage[] =
    "Произошла попытка снять запрет сброса на диск для несуществующей в пуле FStream страницы!";
}  // namespace

void FStream::UnlockBuf(unsigned long offset) {
  BlocStruct* page = nullptr;
  if (!pool_.GetBuf(offset, page) || !page->IsLock()) {
    FatalErrorMsg(kNoSuchPage);
    return;
  }
  page->UnLock();
}

void FStream::UnlockChgBuf(unsigned long offset) {
  BlocStruct* page = nullptr;
  if (!pool_.GetBuf(offset, page)) {
    FatalErrorMsg(kNoSuchPage);
    return;
  }
  if (page->IsLock()) page->UnLock();
  file_size_ = std::max<std::uint32_t>(file_size_, static_cast<std::uint32_t>(offset + buf_size_));
  page->UnSetTruncateByte();
  page->UnSetTruncate();
  page->SetChgBuf();
  state_ |= page->IsCurrent() ? (kSomeChanged | kCurChanged) : kSomeChanged;
}

// ---- direct access ----

bool FStream::ReadFile(unsigned long offset, void* dst, unsigned n) {
  if (n == 0) return true;
  const unsigned long size = Size();
  if (offset >= size) return false;
  const unsigned have = static_cast<unsigned>(std::min<unsigned long>(n, size - offset));
  PosRestorer keep(*this);
  Seek(offset);
  Read(dst, have);
  return have == n;
}

bool FStream::WriteFile(unsigned long offset, void* src, unsigned n) {
  if (provider_ != nullptr) {
    if ((mode_ & fmWrite) == 0) Error("Файл не открыт на запись/редактирование");
    FStream data;
    data.Write(src, n);
    const bool stored = provider_->Write(offset, data);
    // The stream's own view gets the bytes too (the caller stands at
    // `offset` as a rule; the position is kept either way).
    PosRestorer keep(*this);
    Seek(offset);
    Write(src, n);
    return stored;
  }
  if (!HasFile()) {
    Seek(offset);
    Write(src, n);
    return true;
  }
  if (n == 0) return true;
  if (!WriteAt(offset, src, n)) ReportWriteFailure();
  if (!IsTmp()) BufWrites() = true;
  // Departure: every held page over the written bytes takes them, not only
  // the page at `offset`, so that no stale page can write old bytes back.
  const auto* bytes = static_cast<const char*>(src);
  for (unsigned long page_offset = offset - offset % buf_size_; page_offset < offset + n;
       page_offset += buf_size_) {
    BlocStruct* page = nullptr;
    if (!pool_.GetBuf(page_offset, page)) continue;
    page->Lock();
    UpdateBuf(*page);
    const unsigned long valid = page_offset + BufLen(*page);
    const unsigned long from = std::max(offset, page_offset);
    const unsigned long to = std::min(offset + n, valid);
    if (from < to) std::memcpy(page->Data() + (from - page_offset), bytes + (from - offset), to - from);
    page->UnLock();
  }
  return true;
}

// ---- page size, locks, times ----

void FStream::ChangeBufferSize(unsigned short size) {
  pool_.CheckOwner("FStream::ChangeBufferSize");
  unsigned n = size;
  // Departure: pages are looked up by their offset with the low eight bits
  // cleared, so a file's pages are whole multiples of 256 bytes (a size in
  // between is rounded up). A character device has one page at offset 0.
  if (!IsCharDev() && n % 256 != 0) n = std::min(n - n % 256 + 256, 0xFF00u);
  if (n == buf_size_) return;
  if (pool_.Count() == 1 && n >= buf_size_ && buffer_ != nullptr && base_ % n == 0) {
    BlocStruct& page = pool_.GetBuf(0);
    if (page.IsCurrent()) {
      IBlockAllocator& allocator = pool_.Manager().Allocator();
      char* bigger = static_cast<char*>(allocator.Allocate(n));
      std::memcpy(bigger, page.Data(), buf_size_);
      std::memset(bigger + buf_size_, 0, n - buf_size_);
      allocator.Deallocate(page.Data(), buf_size_);
      page.SetData(bigger);
      buffer_ = bigger;
      buf_size_ = n;
      return;
    }
  }
  if (pool_.Count() > 0) {
    if (!HasFile()) MakeTmpFile();
    if (!Flush()) Error(kResizeFlushFailed);
    FreeCurBuf();
    pool_.Clear();
  }
  buf_size_ = n;
}

bool FStream::Lock(unsigned long offset, unsigned long length) {
  if (IsTmp() || !HasFile()) return true;
  return kelm::port::LockFileRange(handle_, offset, length);
}

bool FStream::Unlock(unsigned long offset, unsigned long length) {
  if (IsTmp() || !HasFile()) return true;
  return kelm::port::UnlockFileRange(handle_, offset, length);
}

namespace {
const char kNoFileForTimes[] = "Не открыт файл при установке даты/времени файла!";
}  // namespace

bool FStream::GetTime(FILETIME* created, FILETIME* accessed, FILETIME* written) {
  if (!HasFile()) {
    ErrorMsg(kNoFileForTimes);
    return false;
  }
  if (!kelm::port::GetFileTimes(handle_, created, accessed, written)) {
    SysErrorMsg("Ошибка при получении даты/времени файла!");
    return false;
  }
  return true;
}

bool FStream::CopyFileTime(FStream& from) {
  if (!HasFile() || !from.HasFile()) {
    ErrorMsg(kNoFileForTimes);
    return false;
  }
  FILETIME created, accessed, written;
  if (!kelm::port::GetFileTimes(from.handle_, &created, &accessed, &written)) {
    SysErrorMsg("Ошибка при получении даты/времени файла!");
    return false;
  }
  if (!kelm::port::SetFileTimes(handle_, &created, &accessed, &written)) {
    SysErrorMsg("Ошибка при установке даты/времени файла!");
    return false;
  }
  return true;
}

// ---- transactions ----

void FStream::BeginTransaction() {
  if (IsUnderTransactions()) return;
  if (!HasFile()) MakeTmpFile();
  Flush();
  state_ &= ~kTruncated;
  state_ |= kTransaction;
  StartGlobalTransaction();
}

void FStream::BreakTransaction() {
  const bool was = IsUnderTransactions();
  state_ &= 0x0F;
  DropPages();
  if (HasFile()) file_size_ = static_cast<std::uint32_t>(FileEnd());
  if (was) EndGlobalTransaction();
}

void FStream::EndTransaction() {
  if (!IsUnderTransactions()) {
    Flush();
    return;
  }
  if ((state_ & kTruncated) != 0) {
    const unsigned long size = Size();
    if (!SetEndAt(size)) ReportWriteFailure();  // still under the transaction
  }
  state_ &= ~(kTransaction | kTruncated);
  const bool wrote = (state_ & (kSomeChanged | kCurChanged)) != 0 && IsNamedFile();
  try {
    Flush();
  } catch (...) {
    // The transaction stays open (its swapped pages keep their slots):
    // EndTransaction again writes what is left.
    state_ |= kTransaction;
    throw;
  }
  EndGlobalTransaction();
  if (wrote && !kelm::port::FlushFileData(handle_)) ReportWriteFailure();
}
