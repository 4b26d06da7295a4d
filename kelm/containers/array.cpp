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
    : buffer(nullptr), count(0), maxCount(0), itemSize(static_cast<std::uint16_t>(itemSize)) {
  // An item size of 0 would make every address computation meaningless.
  if (this->itemSize == 0) this->itemSize = 1;
  if (maxCount < 1) {
    maxCount = 64 / this->itemSize;
    if (maxCount < 10) maxCount = 10;
  }
  const long long bytes = static_cast<long long>(this->itemSize) * maxCount;
  buffer = bytes > INT_MAX ? nullptr : static_cast<unsigned char*>(std::malloc(bytes));
  if (buffer == nullptr) {
    Error("Невозможно распределить массив размером %dбайт!",
          bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes));
  }
  this->maxCount = maxCount;
}

Array::Array(const Array& other) : Array(other.itemSize, other.count) {
  if (other.count > 0) std::memcpy(buffer, other.buffer, static_cast<size_t>(other.count) * itemSize);
  count = other.count;
}

Array::~Array() { std::free(buffer); }

Array& Array::operator=(const Array& other) {
  if (this == &other) return *this;
  if (itemSize != other.itemSize) Error(kUnexpectedError, "Array");
  count = 0;
  Check(other.count);
  if (other.count > 0) std::memcpy(buffer, other.buffer, static_cast<size_t>(other.count) * itemSize);
  count = other.count;
  return *this;
}

void* Array::operator[](int i) const {
  if (i < 0 || i >= count) Error("Выход за пределы массива!");
  return Item(i);
}

void** Array::VoidPtr(int i) const { return reinterpret_cast<void**>(buffer) + i; }

long Array::GetLong(int i) const { return ReadInt32(Item(i)); }

int Array::Num(void* p) const {
  return static_cast<int>((static_cast<unsigned char*>(p) - buffer) / static_cast<long>(itemSize));
}

int Array::Find(const void* item) const {
  if (itemSize == 4) {
    const std::int32_t v = ReadInt32(static_cast<const unsigned char*>(item));
    for (int i = 0; i < count; ++i) {
      if (ReadInt32(Item(i)) == v) return i;
    }
    return -1;
  }
  for (int i = 0; i < count; ++i) {
    if (std::memcmp(Item(i), item, itemSize) == 0) return i;
  }
  return -1;
}

Long32* Array::FindLong(long v) const {
  const std::int32_t key = static_cast<std::int32_t>(v);
  auto* words = reinterpret_cast<Long32*>(buffer);
  for (int i = 0; i < count; ++i) {
    if (static_cast<std::int32_t>(words[i]) == key) return words + i;
  }
  return nullptr;
}

bool Array::Get(void* out, int i) const {
  if (i < 0 || i >= count) return false;
  std::memcpy(out, Item(i), itemSize);
  return true;
}

int Array::Repl(const void* item, int i) {
  if (i < 0 || i >= count) return -1;
  std::memmove(Item(i), item, itemSize);
  return i;
}

bool Array::InBlock(const void* p) const {
  // Compared as integers: pointers into different blocks have no order.
  const auto at = reinterpret_cast<std::uintptr_t>(p);
  const auto begin = reinterpret_cast<std::uintptr_t>(buffer);
  // After SetBuf the block may hold more items than the recorded capacity.
  const std::uintptr_t items = static_cast<std::uintptr_t>(count > maxCount ? count : maxCount);
  return buffer != nullptr && at >= begin && at < begin + items * itemSize;
}

std::unique_ptr<unsigned char[]> Array::CopyIfInBlock(const void*& item) const {
  if (!InBlock(item)) return nullptr;
  auto copy = std::make_unique<unsigned char[]>(itemSize);
  std::memcpy(copy.get(), item, itemSize);
  item = copy.get();
  return copy;
}

int Array::Ins(const void* item, int pos) {
  // An item of this array's own would move with the growth or the shift.
  const auto copy = CopyIfInBlock(item);
  Check(1);
  if (pos < 0 || pos > count) pos = count;
  if (pos < count) {
    std::memmove(Item(pos + 1), Item(pos), static_cast<size_t>(count - pos) * itemSize);
  }
  std::memcpy(Item(pos), item, itemSize);
  ++count;
  return pos;
}

bool Array::InsArray(const void* items, int n) {
  if (n < 1) return true;
  // Items of this array's own are found again in the grown block.
  const long long offset = InBlock(items) ? static_cast<const unsigned char*>(items) - buffer : -1;
  Check(n);
  if (offset >= 0) items = buffer + offset;
  std::memmove(Item(count), items, static_cast<size_t>(n) * itemSize);
  count += n;
  return true;
}

bool Array::Remove(int i) {
  if (i < 0 || i >= count) return false;
  if (i < count - 1) std::memmove(Item(i), Item(i + 1), static_cast<size_t>(count - 1 - i) * itemSize);
  --count;
  Check(0);
  return true;
}

bool Array::Move(int from, int to) {
  if (from < 0 || from >= count || to < 0 || to >= count) return false;
  if (from == to) return true;
  std::unique_ptr<unsigned char[]> held(new unsigned char[itemSize]);
  std::memcpy(held.get(), Item(from), itemSize);
  if (from < to) {
    std::memmove(Item(from), Item(from + 1), static_cast<size_t>(to - from) * itemSize);
  } else {
    std::memmove(Item(to + 1), Item(to), static_cast<size_t>(from - to) * itemSize);
  }
  std::memcpy(Item(to), held.get(), itemSize);
  return true;
}

bool Array::Fill(char c, int n) {
  if (n < 0) n = 0;
  count = 0;
  Check(n);
  std::memset(buffer, static_cast<unsigned char>(c), static_cast<size_t>(n) * itemSize);
  count = n;
  return true;
}

void Array::SetBuf(const void* items, int n) {
  if (n < 0) n = 0;
  const long long offset = InBlock(items) ? static_cast<const unsigned char*>(items) - buffer : -1;
  if (n > maxCount) Reallocate(n);
  if (offset >= 0) items = buffer + offset;
  if (n > 0) std::memmove(buffer, items, static_cast<size_t>(n) * itemSize);
  count = n;
}

void Array::Copy(const Array& src) {
  // Items of another size would be read past the source's block.
  if (src.itemSize != itemSize) Error(kUnexpectedError, "Array");
  count = 0;
  SetBuf(src.buffer, src.count);
}

bool Array::SetMaxCount(int n) {
  if (n == 0) {
    count = 0;
    maxCount = 0;
    return true;
  }
  if (n < count) return false;
  if (n != maxCount) {
    Reallocate(n);
    maxCount = n;
  }
  return true;
}

void Array::Swap(Array& other) {
  std::swap(buffer, other.buffer);
  std::swap(count, other.count);
  std::swap(maxCount, other.maxCount);
  std::swap(itemSize, other.itemSize);
}

bool Array::Check(int n) {
  long long needed = static_cast<long long>(count) + n;
  if (needed < 0) needed = 0;
  if (needed <= maxCount) return true;
  const long long half = maxCount / 2 < kMaxGrowthStep ? maxCount / 2 : kMaxGrowthStep;
  long long capacity = maxCount + half;
  if (capacity < static_cast<long long>(maxCount) + n) capacity = static_cast<long long>(maxCount) + n;
  // After SetBuf the count may exceed the recorded capacity: the rule above
  // alone could then leave less room than the items need.
  if (capacity < needed) capacity = needed;
  Reallocate(capacity);
  maxCount = static_cast<std::int32_t>(capacity);
  return true;
}

void Array::SetItemSize(int newItemSize) {
  // Should the smaller block be refused, the old one still holds the items.
  itemSize = static_cast<std::uint16_t>(newItemSize);
  if (maxCount > 0) Reallocate(maxCount);
}

void Array::Reallocate(long long items) {
  const long long bytes = items * itemSize;
  // Beyond what a 32-bit count and byte size can describe: refused as a
  // failed allocation. On failure the old block is kept, not lost.
  if (items > INT_MAX || bytes > INT_MAX) ReportAllocation(bytes);
  void* block = std::realloc(buffer, bytes > 0 ? static_cast<size_t>(bytes) : 1);
  if (block == nullptr) ReportAllocation(bytes);
  buffer = static_cast<unsigned char*>(block);
}

Stream& operator<<(Stream& s, Array& a) {
  s << static_cast<long>(a.count);
  if (a.count > 0) s.Write(a.buffer, static_cast<unsigned>(a.count) * a.itemSize);
  return s;
}

Stream& operator>>(Stream& s, Array& a) {
  constexpr unsigned long kStreamOutOfData = 288;
  std::int32_t n = 0;
  s.Read(&n, sizeof n);
  const unsigned long left = s.Size() > s.CurPos() ? s.Size() - s.CurPos() : 0;
  if (n < 0 || static_cast<unsigned long long>(n) * a.itemSize > left) Error(kStreamOutOfData);
  a.count = 0;
  a.Check(n);
  if (n > 0) s.Read(a.buffer, static_cast<unsigned>(n) * a.itemSize);
  a.count = n;
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
      keySize(static_cast<std::uint8_t>(keySize == 0 ? ItemSize() : keySize)),
      options(options) {
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
    : Array(other), keySize(other.keySize), options(other.options) {}

SortArray& SortArray::operator=(const SortArray& other) {
  Array::operator=(other);
  keySize = other.keySize;
  options = other.options;
  return *this;
}

int SortArray::KeyBytes() const { return keySize < ItemSize() ? keySize : ItemSize(); }

int SortArray::CompareKeys(const unsigned char* a, const unsigned char* b) const {
  if ((options & saLONG) != 0) {
    const std::int32_t x = ReadInt32(a);
    const std::int32_t y = ReadInt32(b);
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  if ((options & saWORD) != 0) return static_cast<int>(ReadUint16(a)) - ReadUint16(b);
  return std::memcmp(a, b, KeyBytes());
}

void SortArray::SortOn() {
  if ((options & saUNSORTED) == 0) return;
  options &= ~saUNSORTED;
  if ((options & saHEAPSORT) != 0) {
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
    if ((options & saLONG) != 0 && ItemSize() == 4) {
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
  options &= ~saUNSORTED;
}

void SortArray::Sort2() {
  if (Count() < 2) return;
  SortHeap();
  GetSort();
  options &= ~saUNSORTED;
}

void SortArray::Swap(unsigned char* a, unsigned char* b) {
  if (a == b) return;
  if ((options & saLONG) != 0) {
    unsigned char t[4];
    std::memcpy(t, a, 4);
    std::memcpy(a, b, 4);
    std::memcpy(b, t, 4);
  } else if ((options & saWORD) != 0) {
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
  if ((options & saUNSORTED) != 0) return -1;
  int pos;
  return Find(key, pos) ? pos : -1;
}

int SortArray::AsFind(const void* key, unsigned char n) {
  const std::uint8_t saved = keySize;
  if (n < keySize) keySize = n;
  const int found = Find(key);
  keySize = saved;
  return found;
}

int SortArray::Ins(const void* item) {
  if ((options & saUNSORTED) != 0) return IsDuplicate() ? Array::Ins(item, -1) : -1;
  int pos;
  if (Find(item, pos) && !IsDuplicate()) return -1;
  return Array::Ins(item, pos);
}

int SortArray::Ins(const void*, int) { return -1; }

int SortArray::Repl(const void* item, int i) {
  if ((options & saUNSORTED) != 0) return Array::Repl(item, i);
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
  std::swap(keySize, other.keySize);
  std::swap(options, other.options);
}
