// Flat growable arrays of fixed-size items stored by value (Array and its
// typed views), and SortArray, the same storage kept in key order.
//
// Items are raw bytes copied with a byte copy; nothing is constructed or
// destroyed. Storage comes from malloc/realloc. Failures are reported through
// Error (errors.h), which raises, so a failing call does not return.
#ifndef KELM_CONTAINERS_ARRAY_H_
#define KELM_CONTAINERS_ARRAY_H_

#include <cstdint>
#include <memory>
#include <type_traits>

class Stream;

// The 32-bit `long` of the Windows builds. On LP64 Linux it is a 32-bit int,
// so arrays of record positions have 4-byte items, and the same stream
// bytes, on every platform.
using Long32 = std::conditional_t<sizeof(long) == 4, long, std::int32_t>;

class Array {
 public:
  // A `maxCount` below 1 lets the array choose: 64 / itemSize, at least 10.
  Array(int itemSize, int maxCount);
  // Capacity = the source's count (or the array's own choice when empty).
  Array(const Array& other);
  ~Array();
  // Item sizes must agree (message 4614 with "Array" otherwise).
  Array& operator=(const Array& other);

  // Bounds-checked: "Выход за пределы массива!" outside 0..count-1.
  void* operator[](int i) const;
  // Unchecked: the buffer taken as an array of pointers.
  void** VoidPtr(int i) const;
  // Unchecked read of the first 4 bytes of item i.
  long GetLong(int i) const;
  // The index of the item at address p.
  int Num(void* p) const;

  int Count() const { return count_; }
  int MaxCount() const { return max_count_; }
  unsigned short ItemSize() const { return item_size_; }
  void* GetBuf() const { return buffer_; }

  // First index whose item equals `item` byte for byte, or -1.
  int Find(const void* item) const;
  // The address of the first of the first `count` 32-bit words equal to v.
  Long32* FindLong(long v) const;

  bool Get(void* out, int i) const;
  // Overwrites item i; i or -1 when out of range.
  int Repl(const void* item, int i);
  // A position below 0 or above the count appends. Returns the position used.
  int Ins(const void* item, int pos);
  int Ins(const void* item) { return Ins(item, -1); }
  int operator<<(const void* item) { return Ins(item, -1); }
  // Appends n items from a plain block.
  bool InsArray(const void* items, int n);
  bool Remove(int i);
  // Takes item `from` out and puts it in at `to`.
  bool Move(int from, int to);
  // n items whose every byte is c.
  bool Fill(char c, int n);
  // Count 0; storage and capacity stay.
  void Clear() { count_ = 0; }
  // Replaces the contents with n items. A larger block is made exactly big
  // enough, but the recorded capacity stays as it was.
  void SetBuf(const void* items, int n);
  // Empties the array, then SetBuf with the source's items.
  void Copy(const Array& src);
  // 0 empties the array (keeping the block); below the count: false.
  bool SetMaxCount(int n);
  void Swap(Array& other);

  // The stream form: the count as 4 bytes, then the raw items. The item
  // size is not written; the reader must have the writer's.
  friend Stream& operator<<(Stream& s, Array& a);
  // Empties the array, then reads. A negative count, or one that the bytes
  // left in the stream cannot hold, is error 288.
  friend Stream& operator>>(Stream& s, Array& a);

 protected:
  unsigned char* Item(int i) const { return buffer_ + static_cast<long long>(i) * item_size_; }
  // Room for n more items: grows by half the capacity, at most 100000 items
  // a step, and at least by n. Never shrinks.
  bool Check(int n);
  // Takes every item as `newItemSize` bytes (the caller has moved them) and
  // resizes the block for the capacity.
  void SetItemSize(int newItemSize);
  // Whether `p` points into this array's block.
  bool InBlock(const void* p) const;
  // When `item` lies in the block, where growth or a shift may move it,
  // points it at a copy that the result owns; null otherwise.
  std::unique_ptr<unsigned char[]> CopyIfInBlock(const void*& item) const;

 private:
  // Resizes the block to `items` items; on failure the old block stays and
  // the allocation error is raised.
  void Reallocate(long long items);

  unsigned char* buffer_;
  std::int32_t count_;
  std::int32_t max_count_;
  std::uint16_t item_size_;
};

// A typed view; T is copied as raw bytes. For 32-bit items that must read
// the same on every platform use Long32 rather than long.
template <class T>
class Arr : public Array {
 public:
  explicit Arr(int maxCount) : Array(sizeof(T), maxCount) {}
  T& operator[](int i) const { return *static_cast<T*>(Array::operator[](i)); }
  int Ins(const T& item, int pos) { return Array::Ins(&item, pos); }
  int Ins(const T& item) { return Array::Ins(&item); }
  int operator<<(const T& item) { return Array::Ins(&item); }
  int Repl(const T& item, int i) { return Array::Repl(&item, i); }
  void SetBuf(const T* items, int n) { Array::SetBuf(items, n); }
  int Find(const T& item) const { return Array::Find(&item); }
  T* GetBuf() const { return static_cast<T*>(Array::GetBuf()); }
};

class ArrShort : public Array {
 public:
  ArrShort() : Array(2, 0) {}
  int Find(short v) const;
};

class ArrLong : public Array {
 public:
  explicit ArrLong(int maxCount) : Array(4, maxCount) {}
  int Find(long v) const;
  // The first index not below `start`; -1 when count - start is below 1.
  int Find(long v, int start) const;
};

// Record positions.
class ArrRecPos : public Array {
 public:
  explicit ArrRecPos(int maxCount) : Array(4, maxCount) {}
  int Find(long v) const;
  int Find(long v, int start) const;
};

enum : unsigned char {
  saDUPLICATE = 0x01,  // equal keys may be inserted
  saLONG = 0x02,       // key: the first 4 bytes as a signed 32-bit integer
  saUNSORTED = 0x04,   // not kept in order (SortOff); cleared by every sort
  saWORD = 0x08,       // key: the first 2 bytes as an unsigned 16-bit integer
  saHEAPSORT = 0x10,   // SortOn uses the heap sort
};

// Keys: saLONG (tested first), else saWORD, else the first keySize bytes in
// memcmp order.
class SortArray : public Array {
 public:
  // keySize 0: the whole item. saLONG needs the key size 4 and saWORD the
  // key size 2 given explicitly; anything else is reported.
  SortArray(int itemSize, int keySize, unsigned char options, int maxCount);
  SortArray(const SortArray& other);
  SortArray& operator=(const SortArray& other);

  unsigned char Options() const { return options_; }
  bool IsDuplicate() const { return (options_ & saDUPLICATE) != 0; }

  // Further items are appended unsorted, and searches fail.
  void SortOff() { options_ |= saUNSORTED; }
  // Restores order (heap sort with saHEAPSORT, else Sort) if it was off.
  void SortOn();
  // Quicksort of all items; clears saUNSORTED.
  void Sort();
  // Heap sort; with fewer than 2 items it does nothing, flag included.
  void Sort2();

  // Binary search, whatever saUNSORTED says: true with pos at the first
  // equal item, or false with pos at the insertion point.
  bool Find(const void* key, int& pos) const;
  // The first item with that key; -1 when absent or unsorted.
  int Find(const void* key) const;
  // As Find over the first min(n, keySize) key bytes.
  int AsFind(const void* key, unsigned char n);

  // By key; an equal key goes in front of those present. -1 for a refused
  // duplicate, and for every item while unsorted without saDUPLICATE.
  int Ins(const void* item);
  int operator<<(const void* item) { return Ins(item); }
  // Sorted: item i is removed and `item` inserted by key (the new index, or
  // -1 when refused as a duplicate: item i stays removed). Unsorted: as
  // Array::Repl.
  int Repl(const void* item, int i);
  // Cuts every item to its first `newItemSize` bytes; the key size stays.
  void Shrink(int newItemSize);
  void Swap(SortArray& other);

 protected:
  // Positional insertion would break the order: always -1.
  int Ins(const void* item, int pos);
  // The heap sort's exchange: under saLONG only the first 4 bytes are
  // exchanged; under saWORD the first 2 bytes of b are copied over a and b
  // keeps its own (a one-way copy, as the library has always done).
  void Swap(unsigned char* a, unsigned char* b);
  void CorrectHeap(int last, int i);
  void SortHeap();
  void GetSort();

 private:
  int CompareKeys(const unsigned char* a, const unsigned char* b) const;
  // The bytes a memcmp key covers, never beyond the item.
  int KeyBytes() const;

  std::uint8_t key_size_;
  std::uint8_t options_;
};

// 32-bit items (Long32 or any other 4-byte type).
template <class T>
class SortArr : public SortArray {
  static_assert(sizeof(T) == 4, "SortArr holds 4-byte items");

 public:
  SortArr(unsigned int keySize, unsigned char options) : SortArray(4, keySize, options, 0) {}
  int Ins(const T& item) { return SortArray::Ins(&item); }
  int operator<<(const T& item) { return SortArray::Ins(&item); }
  int Repl(const T& item, int i) { return SortArray::Repl(&item, i); }
  bool Find(const T& key, int& pos) const { return SortArray::Find(&key, pos); }
  int Find(const T& key) const { return SortArray::Find(&key); }
  T& operator[](int i) const { return *static_cast<T*>(Array::operator[](i)); }
  T* GetBuf() const { return static_cast<T*>(Array::GetBuf()); }
};

// Record positions in order.
class SortRecPos : public SortArray {
 public:
  explicit SortRecPos(unsigned char options) : SortArray(4, 4, options, 0) {}
  int Ins(Long32 pos) { return SortArray::Ins(&pos); }
  int operator<<(Long32 pos) { return SortArray::Ins(&pos); }
  int Repl(Long32 pos, int i) { return SortArray::Repl(&pos, i); }
  bool Find(Long32 key, int& pos) const { return SortArray::Find(&key, pos); }
  int Find(Long32 key) const { return SortArray::Find(&key); }
  Long32& operator[](int i) const { return *static_cast<Long32*>(Array::operator[](i)); }
  Long32* GetBuf() const { return static_cast<Long32*>(Array::GetBuf()); }
};

#endif  // KELM_CONTAINERS_ARRAY_H_
