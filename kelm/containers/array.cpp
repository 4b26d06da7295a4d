#include "kelm/containers/array.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "kelm/frame/errors.h"
#include "kelm/streams/stream.h"

namespace {

constexpr unsigned long kUnexpectedError = 4614;
constexpr int kMaxGrowthStep = 100000;

[[noreturn]] void ReportAllocation(long long bytes) {
  const int shown = bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes);
  Error("Невозможно выделить память размером %dбайт (%d*%dбайт)!", shown, shown, 1);
}

std::int32_t ReadInt32(const unsigned char* p) {
  std::int32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

std::uint16_t ReadUint16(const unsigned char* p) {
  std::uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// The quicksort over items reached through `Ops`:
//   Ptr(i)          the address of item i
//   Less(a, b)      strict key order of two item addresses
//   Assign(d, s)    copies one item
//   scratch         the address of the one item of scratch space
// The pivot is the median of the items at lo, middle and hi, moved to lo, so
// sorted and reversed input stay n log n (the smallest of the three goes to
// the middle and the greatest to hi: left where they were, reversed input
// turns into a pattern that defeats the median). Pending ranges live on a fixed
// stack; the larger part is always the one deferred, so the stack depth is
// bounded by the bit width of the count.
template <class Ops>
void QuickSort(Ops& ops, int count) {
  struct Range {
    int lo, hi;
  };
  Range stack[64];
  int depth = 0;
  int lo = 0;
  int hi = count - 1;
  for (;;) {
    if (hi - lo < 1) {
      if (depth == 0) return;
      --depth;
      lo = stack[depth].lo;
      hi = stack[depth].hi;
      continue;
    }
    const int mid = lo + ((hi - lo) >> 1);
    if (mid != lo) {
      // The three sampled items in order as (mid, lo, hi): the median lands
      // at lo and becomes the pivot, the smallest and greatest stand guard
      // in the middle and at the end.
      auto order = [&ops](int first, int second) {
        if (ops.Less(ops.Ptr(second), ops.Ptr(first))) {
          ops.Assign(ops.scratch, ops.Ptr(first));
          ops.Assign(ops.Ptr(first), ops.Ptr(second));
          ops.Assign(ops.Ptr(second), ops.scratch);
        }
      };
      order(mid, lo);
      order(lo, hi);
      order(mid, lo);
    }

    auto* pivot = ops.scratch;
    ops.Assign(pivot, ops.Ptr(lo));
    int i = lo;
    int j = hi;
    int p;
    for (;;) {
      while (ops.Less(pivot, ops.Ptr(j)) && i < j) --j;
      if (j <= i) {
        p = i;
        break;
      }
      ops.Assign(ops.Ptr(i), ops.Ptr(j));
      ++i;
      while (ops.Less(ops.Ptr(i), pivot) && i < j) ++i;
      if (j <= i) {
        p = j;
        break;
      }
      ops.Assign(ops.Ptr(j), ops.Ptr(i));
      --j;
    }
    ops.Assign(ops.Ptr(p), pivot);

    if (hi - p < p - lo) {
      stack[depth++] = {lo, p - 1};
      lo = p + 1;
    } else {
      stack[depth++] = {p + 1, hi};
      hi = p - 1;
    }
  }
}

// 4-byte items with 32-bit keys: the items themselves are the keys.
struct Int32Ops {
  std::int32_t* items;
  std::int32_t scratchItem;
  std::int32_t* scratch = &scratchItem;
  std::int32_t* Ptr(int i) const { return items + i; }
  static bool Less(const std::int32_t* a, const std::int32_t* b) { return *a < *b; }
  static void Assign(std::int32_t* d, const std::int32_t* s) { *d = *s; }
};

template <class Compare>
struct BytesOps {
  unsigned char* items;
  int itemSize;
  unsigned char* scratch;
  Compare compare;
  unsigned char* Ptr(int i) const { return items + static_cast<long long>(i) * itemSize; }
  bool Less(const unsigned char* a, const unsigned char* b) const { return compare(a, b) < 0; }
  void Assign(unsigned char* d, const unsigned char* s) const {
    if (d != s) std::memcpy(d, s, itemSize);
  }
};

}  // namespace

// ---------------------------------------------------------------- Array

Array::Array(int itemSize, int maxCount)
    : buffer_(nullptr), count_(0), max_count_(0), item_size_(static_cast<std::uint16_t>(itemSize)) {
  // An item size of 0 would make every address computation meaningless.
  if (item_size_ == 0) item_size_ = 1;
  if (maxCount < 1) {
    maxCount = 64 / item_size_;
    if (maxCount < 10) maxCount = 10;
  }
  const long long bytes = static_cast<long long>(item_size_) * maxCount;
  buffer_ = bytes > INT_MAX ? nullptr : static_cast<unsigned char*>(std::malloc(bytes));
  if (buffer_ == nullptr) {
    Error("Невозможно распределить массив размером %dбайт!",
          bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes));
  }
  max_count_ = maxCount;
}

Array::Array(const Array& other) : Array(other.item_size_, other.count_) {
  if (other.count_ > 0) std::memcpy(buffer_, other.buffer_, static_cast<size_t>(other.count_) * item_size_);
  count_ = other.count_;
}

Array::~Array() { std::free(buffer_); }

Array& Array::operator=(const Array& other) {
  if (this == &other) return *this;
  if (item_size_ != other.item_size_) Error(kUnexpectedError, "Array");
  count_ = 0;
  Check(other.count_);
  if (other.count_ > 0) std::memcpy(buffer_, other.buffer_, static_cast<size_t>(other.count_) * item_size_);
  count_ = other.count_;
  return *this;
}

void* Array::operator[](int i) const {
  if (i < 0 || i >= count_) Error("Выход за пределы массива!");
  return Item(i);
}

void** Array::VoidPtr(int i) const { return reinterpret_cast<void**>(buffer_) + i; }

long Array::GetLong(int i) const { return ReadInt32(Item(i)); }

int Array::Num(void* p) const {
  return static_cast<int>((static_cast<unsigned char*>(p) - buffer_) / static_cast<long>(item_size_));
}

int Array::Find(const void* item) const {
  if (item_size_ == 4) {
    const std::int32_t v = ReadInt32(static_cast<const unsigned char*>(item));
    for (int i = 0; i < count_; ++i) {
      if (ReadInt32(Item(i)) == v) return i;
    }
    return -1;
  }
  for (int i = 0; i < count_; ++i) {
    if (std::memcmp(Item(i), item, item_size_) == 0) return i;
  }
  return -1;
}

Long32* Array::FindLong(long v) const {
  const std::int32_t key = static_cast<std::int32_t>(v);
  auto* words = reinterpret_cast<Long32*>(buffer_);
  for (int i = 0; i < count_; ++i) {
    if (static_cast<std::int32_t>(words[i]) == key) return words + i;
  }
  return nullptr;
}

bool Array::Get(void* out, int i) const {
  if (i < 0 || i >= count_) return false;
  std::memcpy(out, Item(i), item_size_);
  return true;
}

int Array::Repl(const void* item, int i) {
  if (i < 0 || i >= count_) return -1;
  std::memmove(Item(i), item, item_size_);
  return i;
}

bool Array::InBlock(const void* p) const {
  // Compared as integers: pointers into different blocks have no order.
  const auto at = reinterpret_cast<std::uintptr_t>(p);
  const auto begin = reinterpret_cast<std::uintptr_t>(buffer_);
  // After SetBuf the block may hold more items than the recorded capacity.
  const std::uintptr_t items = static_cast<std::uintptr_t>(count_ > max_count_ ? count_ : max_count_);
  return buffer_ != nullptr && at >= begin && at < begin + items * item_size_;
}

std::unique_ptr<unsigned char[]> Array::CopyIfInBlock(const void*& item) const {
  if (!InBlock(item)) return nullptr;
  auto copy = std::make_unique<unsigned char[]>(item_size_);
  std::memcpy(copy.get(), item, item_size_);
  item = copy.get();
  return copy;
}

int Array::Ins(const void* item, int pos) {
  // An item of this array's own would move with the growth or the shift.
  const auto copy = CopyIfInBlock(item);
  Check(1);
  if (pos < 0 || pos > count_) pos = count_;
  if (pos < count_) {
    std::memmove(Item(pos + 1), Item(pos), static_cast<size_t>(count_ - pos) * item_size_);
  }
  std::memcpy(Item(pos), item, item_size_);
  ++count_;
  return pos;
}

bool Array::InsArray(const void* items, int n) {
  if (n < 1) return true;
  // Items of this array's own are found again in the grown block.
  const long long offset = InBlock(items) ? static_cast<const unsigned char*>(items) - buffer_ : -1;
  Check(n);
  if (offset >= 0) items = buffer_ + offset;
  std::memmove(Item(count_), items, static_cast<size_t>(n) * item_size_);
  count_ += n;
  return true;
}

bool Array::Remove(int i) {
  if (i < 0 || i >= count_) return false;
  if (i < count_ - 1) std::memmove(Item(i), Item(i + 1), static_cast<size_t>(count_ - 1 - i) * item_size_);
  --count_;
  Check(0);
  return true;
}

bool Array::Move(int from, int to) {
  if (from < 0 || from >= count_ || to < 0 || to >= count_) return false;
  if (from == to) return true;
  std::unique_ptr<unsigned char[]> held(new unsigned char[item_size_]);
  std::memcpy(held.get(), Item(from), item_size_);
  if (from < to) {
    std::memmove(Item(from), Item(from + 1), static_cast<size_t>(to - from) * item_size_);
  } else {
    std::memmove(Item(to + 1), Item(to), static_cast<size_t>(from - to) * item_size_);
  }
  std::memcpy(Item(to), held.get(), item_size_);
  return true;
}

bool Array::Fill(char c, int n) {
  if (n < 0) n = 0;
  count_ = 0;
  Check(n);
  std::memset(buffer_, static_cast<unsigned char>(c), static_cast<size_t>(n) * item_size_);
  count_ = n;
  return true;
}

void Array::SetBuf(const void* items, int n) {
  if (n < 0) n = 0;
  const long long offset = InBlock(items) ? static_cast<const unsigned char*>(items) - buffer_ : -1;
  if (n > max_count_) Reallocate(n);
  if (offset >= 0) items = buffer_ + offset;
  if (n > 0) std::memmove(buffer_, items, static_cast<size_t>(n) * item_size_);
  count_ = n;
}

void Array::Copy(const Array& src) {
  // Items of another size would be read past the source's block.
  if (src.item_size_ != item_size_) Error(kUnexpectedError, "Array");
  count_ = 0;
  SetBuf(src.buffer_, src.count_);
}

bool Array::SetMaxCount(int n) {
  if (n == 0) {
    count_ = 0;
    max_count_ = 0;
    return true;
  }
  if (n < count_) return false;
  if (n != max_count_) {
    Reallocate(n);
    max_count_ = n;
  }
  return true;
}

void Array::Swap(Array& other) {
  std::swap(buffer_, other.buffer_);
  std::swap(count_, other.count_);
  std::swap(max_count_, other.max_count_);
  std::swap(item_size_, other.item_size_);
}

bool Array::Check(int n) {
  long long needed = static_cast<long long>(count_) + n;
  if (needed < 0) needed = 0;
  if (needed <= max_count_) return true;
  const long long half = max_count_ / 2 < kMaxGrowthStep ? max_count_ / 2 : kMaxGrowthStep;
  long long capacity = max_count_ + half;
  if (capacity < static_cast<long long>(max_count_) + n) capacity = static_cast<long long>(max_count_) + n;
  // After SetBuf the count may exceed the recorded capacity: the rule above
  // alone could then leave less room than the items need.
  if (capacity < needed) capacity = needed;
  Reallocate(capacity);
  max_count_ = static_cast<std::int32_t>(capacity);
  return true;
}

void Array::SetItemSize(int newItemSize) {
  // Should the smaller block be refused, the old one still holds the items.
  item_size_ = static_cast<std::uint16_t>(newItemSize);
  if (max_count_ > 0) Reallocate(max_count_);
}

void Array::Reallocate(long long items) {
  const long long bytes = items * item_size_;
  // Beyond what a 32-bit count and byte size can describe: refused as a
  // failed allocation. On failure the old block is kept, not lost.
  if (items > INT_MAX || bytes > INT_MAX) ReportAllocation(bytes);
  void* block = std::realloc(buffer_, bytes > 0 ? static_cast<size_t>(bytes) : 1);
  if (block == nullptr) ReportAllocation(bytes);
  buffer_ = static_cast<unsigned char*>(block);
}

Stream& operator<<(Stream& s, Array& a) {
  s << static_cast<long>(a.count_);
  if (a.count_ > 0) s.Write(a.buffer_, static_cast<unsigned>(a.count_) * a.item_size_);
  return s;
}

Stream& operator>>(Stream& s, Array& a) {
  constexpr unsigned long kStreamOutOfData = 288;
  std::int32_t n = 0;
  s.Read(&n, sizeof n);
  const unsigned long left = s.Size() > s.CurPos() ? s.Size() - s.CurPos() : 0;
  if (n < 0 || static_cast<unsigned long long>(n) * a.item_size_ > left) Error(kStreamOutOfData);
  a.count_ = 0;
  a.Check(n);
  if (n > 0) s.Read(a.buffer_, static_cast<unsigned>(n) * a.item_size_);
  a.count_ = n;
  return s;
}

// ---------------------------------------------------------------- typed arrays

namespace {

int FindShort(const Array& a, short v) {
  const auto* items = static_cast<const unsigned char*>(a.GetBuf());
  for (int i = 0; i < a.Count(); ++i) {
    if (static_cast<short>(ReadUint16(items + 2 * i)) == v) return i;
  }
  return -1;
}

int FindWord(const Array& a, long v, int start) {
  if (a.Count() - start < 1) return -1;
  // The start is not checked against 0 by the library's contract; a negative
  // one is taken as 0 rather than read before the block.
  if (start < 0) start = 0;
  const std::int32_t key = static_cast<std::int32_t>(v);
  const auto* items = static_cast<const unsigned char*>(a.GetBuf());
  for (int i = start; i < a.Count(); ++i) {
    if (ReadInt32(items + 4 * i) == key) return i;
  }
  return -1;
}

}  // namespace

int ArrShort::Find(short v) const { return FindShort(*this, v); }
int ArrLong::Find(long v) const { return FindWord(*this, v, 0); }
int ArrLong::Find(long v, int start) const { return FindWord(*this, v, start); }
int ArrRecPos::Find(long v) const { return FindWord(*this, v, 0); }
int ArrRecPos::Find(long v, int start) const { return FindWord(*this, v, start); }

// ---------------------------------------------------------------- SortArray

SortArray::SortArray(int itemSize, int keySize, unsigned char options, int maxCount)
    : Array(itemSize, maxCount),
      key_size_(static_cast<std::uint8_t>(keySize == 0 ? ItemSize() : keySize)),
      options_(options) {
  if ((options & saLONG) != 0 && (keySize != 4 || ItemSize() < 4)) {
    Error("SortArray: опция saLONG подразумевает размер ключа 4 байта!\nТекущий размер: %ld байт.",
          static_cast<long>(keySize != 4 ? keySize : ItemSize()));
  }
  if ((options & saWORD) != 0 && (keySize != 2 || ItemSize() < 2)) {
    Error(
        "SortArray: опция saWORD подразумевает максимальный размер ключа 2 байта!\nТекущий размер: "
        "%ld байт.",
        static_cast<long>(keySize != 2 ? keySize : ItemSize()));
  }
}

SortArray::SortArray(const SortArray& other)
    : Array(other), key_size_(other.key_size_), options_(other.options_) {}

SortArray& SortArray::operator=(const SortArray& other) {
  Array::operator=(other);
  key_size_ = other.key_size_;
  options_ = other.options_;
  return *this;
}

int SortArray::KeyBytes() const { return key_size_ < ItemSize() ? key_size_ : ItemSize(); }

int SortArray::CompareKeys(const unsigned char* a, const unsigned char* b) const {
  if ((options_ & saLONG) != 0) {
    const std::int32_t x = ReadInt32(a);
    const std::int32_t y = ReadInt32(b);
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  if ((options_ & saWORD) != 0) return static_cast<int>(ReadUint16(a)) - ReadUint16(b);
  return std::memcmp(a, b, KeyBytes());
}

void SortArray::SortOn() {
  if ((options_ & saUNSORTED) == 0) return;
  options_ &= ~saUNSORTED;
  if ((options_ & saHEAPSORT) != 0) {
    if (Count() >= 2) {
      SortHeap();
      GetSort();
    }
  } else {
    Sort();
  }
}

void SortArray::Sort() {
  if (Count() >= 2) {
    auto* items = static_cast<unsigned char*>(GetBuf());
    if ((options_ & saLONG) != 0 && ItemSize() == 4) {
      Int32Ops ops{reinterpret_cast<std::int32_t*>(items), 0};
      QuickSort(ops, Count());
    } else {
      std::unique_ptr<unsigned char[]> scratch(new unsigned char[ItemSize()]);
      auto compare = [this](const unsigned char* a, const unsigned char* b) {
        return CompareKeys(a, b);
      };
      BytesOps<decltype(compare)> ops{items, ItemSize(), scratch.get(), compare};
      QuickSort(ops, Count());
    }
  }
  options_ &= ~saUNSORTED;
}

void SortArray::Sort2() {
  if (Count() < 2) return;
  SortHeap();
  GetSort();
  options_ &= ~saUNSORTED;
}

void SortArray::Swap(unsigned char* a, unsigned char* b) {
  if (a == b) return;
  if ((options_ & saLONG) != 0) {
    unsigned char t[4];
    std::memcpy(t, a, 4);
    std::memcpy(a, b, 4);
    std::memcpy(b, t, 4);
  } else if ((options_ & saWORD) != 0) {
    std::memcpy(a, b, 2);
  } else {
    for (int k = 0; k < ItemSize(); ++k) std::swap(a[k], b[k]);
  }
}

void SortArray::CorrectHeap(int last, int i) {
  while (2 * i + 1 <= last) {
    int child = 2 * i + 1;
    if (child + 1 <= last && !(CompareKeys(Item(child), Item(child + 1)) > 0)) ++child;
    if (!(CompareKeys(Item(i), Item(child)) < 0)) return;
    Swap(Item(i), Item(child));
    i = child;
  }
}

void SortArray::SortHeap() {
  const int last = Count() - 1;
  for (int i = last; i >= 0; --i) {
    if (2 * i + 1 > last) continue;
    CorrectHeap(last, i);
  }
}

void SortArray::GetSort() {
  for (int n = Count() - 1; n >= 1; --n) {
    Swap(Item(0), Item(n));
    CorrectHeap(n - 1, 0);
  }
}

bool SortArray::Find(const void* key, int& pos) const {
  const auto* k = static_cast<const unsigned char*>(key);
  pos = -1;
  int lo = 0;
  int hi = Count() - 1;
  while (lo <= hi) {
    const int mid = (lo + hi) >> 1;
    const int c = CompareKeys(Item(mid), k);
    if (c < 0) {
      lo = mid + 1;
    } else {
      if (c == 0) pos = mid;
      hi = mid - 1;
    }
  }
  if (pos >= 0) return true;
  pos = lo;
  return false;
}

int SortArray::Find(const void* key) const {
  if ((options_ & saUNSORTED) != 0) return -1;
  int pos;
  return Find(key, pos) ? pos : -1;
}

int SortArray::AsFind(const void* key, unsigned char n) {
  const std::uint8_t saved = key_size_;
  if (n < key_size_) key_size_ = n;
  const int found = Find(key);
  key_size_ = saved;
  return found;
}

int SortArray::Ins(const void* item) {
  if ((options_ & saUNSORTED) != 0) return IsDuplicate() ? Array::Ins(item, -1) : -1;
  int pos;
  if (Find(item, pos) && !IsDuplicate()) return -1;
  return Array::Ins(item, pos);
}

int SortArray::Ins(const void*, int) { return -1; }

int SortArray::Repl(const void* item, int i) {
  if ((options_ & saUNSORTED) != 0) return Array::Repl(item, i);
  if (i < 0 || i >= Count()) return -1;
  // `item` may be one of the items that the removal moves.
  const auto copy = CopyIfInBlock(item);
  Remove(i);
  return Ins(item);
}

void SortArray::Shrink(int newItemSize) {
  // A size below 1 would leave items with no bytes at all: ignored.
  if (newItemSize < 1 || newItemSize >= ItemSize()) return;
  auto* items = static_cast<unsigned char*>(GetBuf());
  if (Count() >= 2) {
    for (int k = 1; k < Count(); ++k) {
      std::memmove(items + static_cast<size_t>(k) * newItemSize, Item(k), newItemSize);
    }
  }
  SetItemSize(newItemSize);
}

void SortArray::Swap(SortArray& other) {
  Array::Swap(other);
  std::swap(key_size_, other.key_size_);
  std::swap(options_, other.options_);
}
