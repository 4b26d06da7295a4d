// Lists of item pointers, by default of NUL-terminated Windows-1251 texts:
// Collection, the key-ordered SortCol, DataCollection (a text key followed
// by a data block in one item), the locked CollectionMt, and StringCol, a
// sorted pool of unique owned strings.
//
// Ownership: with csOWNER a collection releases with free() every item it
// drops (Clear, Remove, Repl, assignment, stream reading, destruction). An
// item that a collection refuses is always passed to FreeItem, so with
// csOWNER the caller must not use it afterwards.
#ifndef KELM_CONTAINERS_COLLECTION_H_
#define KELM_CONTAINERS_COLLECTION_H_

#include <cstdint>

#include "kelm/containers/array.h"
#include "kelm/frame/sync.h"

class String;

enum : unsigned long {
  csDUPLICATE = 0x00001,  // equal items may stand together
  csREPLACE = 0x00002,    // SortCol without csDUPLICATE: a new item replaces the equal one
  csOWNER = 0x00004,      // items are owned and released with free()
  csCHANGED = 0x00008,    // set by insertions, replacements and removals by index
  csSORT = 0x00010,       // SortCol keeps key order and searches by halving
  csEDIT = 0x00040,       // a mark for the owner's use
  csNOCASE = 0x20000,     // texts compare without regard to letter case
  csPREFIX = 0x40000,     // texts compare over the length of the first one
  csINSLAST = 0x80000,    // among equal items a new one goes after them
};

class Collection {
 public:
  // The slot array's capacity is the Array's own choice.
  explicit Collection(unsigned long state);
  Collection(unsigned long state, short maxCount);
  // With csOWNER every item is released.
  virtual ~Collection();

  // Appends. A refused item goes to FreeItem and gives -1.
  virtual int Ins(void* item);
  // Out of range (negative too): the new item goes to FreeItem, -1. Else the
  // old item goes to FreeItem and i is returned.
  virtual int Repl(void* item, int i);
  // Texts under the state's case and prefix rules: negative, 0 or positive.
  // A null item reads as an empty text.
  virtual int Compare(const void* a, const void* b) const;
  // Linear, from the last item down: the last equal item wins. pos is -1
  // when nothing is equal.
  virtual bool Search(const void* key, int& pos) const;

  // At pos; outside 0..count appends.
  int Ins(void* item, int pos);
  // Inserts a malloc'ed copy of s through the virtual Ins. The copy belongs
  // to the collection only with csOWNER.
  Collection& operator<<(const char* s);

  bool Remove(long i);
  // With csOWNER every item is released; csCHANGED is not set.
  void Clear();
  // Nothing for indexes out of range or equal; csCHANGED is not set.
  void Move(int from, int to);
  void Swap(int i, int j);
  void Swap(Collection& other);
  // Shows message 4614 for a non-empty collection, then sets the slots'
  // capacity as Array::SetMaxCount does.
  bool SetMaxCount(int n);

  void* Item(int i) const { return *items_.VoidPtr(i); }
  // The item as text; null out of range.
  char* operator[](int i) const;
  int Count() const { return items_.Count(); }
  unsigned long State() const { return state_; }
  Array& array() { return items_; }

  int ItemNum(const void* p) const;
  int FindByPtr(const void* p) const { return ItemNum(p); }
  int Find(const void* key) const;
  // The first item that begins with `prefix` (case-sensitive), or -1.
  int AsFind(const char* prefix) const;
  // The greatest line length (up to a line feed or the end) of the items.
  int MaxStrSize() const;

  // Equal counts and every item of each found by the other's Search.
  bool operator==(const Collection& other) const;
  bool operator!=(const Collection& other) const { return !(*this == other); }
  // Drops the items, then inserts the source's: copies with csOWNER, the
  // same pointers otherwise.
  Collection& operator=(const Collection& src);

  void SortOn() { state_ |= csSORT; }
  void SortOff() { state_ &= ~csSORT; }
  void DuplicateOn() { state_ |= csDUPLICATE; }
  void DuplicateOff() { state_ &= ~csDUPLICATE; }
  void InsLastOn() { state_ |= csINSLAST; }
  void InsLastOff() { state_ &= ~csINSLAST; }
  void SetEdit() { state_ |= csEDIT; }
  void ResEdit() { state_ &= ~csEDIT; }

  // One item per line (cut at line feeds; a carriage return stays). Empty
  // lines other than the first are skipped unless keepEmpty. With csOWNER
  // the items are copies; without it they point into `text` itself.
  void FromString(const char* text, bool keepEmpty);
  // One malloc'ed copy per piece between separators, empty ones included.
  void FromString(const char* text, char sep);
  // As above; quotes (' or ") protect separators and stay in the pieces. A
  // missing closing quote raises "Не хватает закрывающей кавычки в строке!"
  // and the pieces before it stay.
  void FromStringWithQuote(const char* text, char sep);
  // The items joined by `sep` into at most `size` bytes, the last item cut
  // short when room runs out. Returns buf.
  char* ToString(char* buf, int size, char sep) const;
  String& ToString(String& out, char sep) const;

  // The stream form: a 16-bit count (at most 65535 items are written), then
  // each item as a stream text (cut at 255 characters).
  friend Stream& operator<<(Stream& s, Collection& c);
  // Drops the items, then inserts each text read (a malloc'ed block)
  // through the virtual Ins.
  friend Stream& operator>>(Stream& s, Collection& c);

 protected:
  // Releases the item with free() under csOWNER; otherwise nothing.
  virtual void FreeItem(void* item);
  void** ItemPtr(int i) { return items_.VoidPtr(i); }
  void SetState(unsigned long bits) { state_ |= static_cast<std::uint32_t>(bits); }

 private:
  Collection(const Collection&) = delete;
  // Drops every item, releasing them under csOWNER.
  void DropAll();

  Array items_;
  std::uint32_t state_;
};

class SortCol : public Collection {
 public:
  explicit SortCol(unsigned long state);

  int Ins(void* item) override { return Ins(item, -1); }
  // Under csSORT the position is the key's: see the duplicate, replace and
  // insert-last rules in collection.cpp. Without csSORT, at pos.
  virtual int Ins(void* item, int pos);
  // Equal key: in place. Otherwise the item is placed by key; should it meet
  // an equal item without csDUPLICATE the result is -1 with the long-standing
  // odd outcomes described in collection.cpp (under csOWNER | csREPLACE they
  // leave a released pointer in the collection: avoid that combination).
  int Repl(void* item, int i) override;
  bool Search(const void* key, int& pos) const override { return DoSearch(key, pos, false); }

  // Drops its items, then takes every source pointer as it is, whatever
  // csOWNER says: two owning collections must not be assigned this way.
  SortCol& operator=(const Collection& src);
  SortCol& operator=(const SortCol& src) { return operator=(static_cast<const Collection&>(src)); }

 protected:
  // "Не допускается вставка одинаковых записей."; null shows nothing.
  virtual const char* DuplErrorMsg() const;
  // Under csSORT a binary search: the leftmost equal item, or the rightmost
  // with `last` (with csDUPLICATE), else pos = the insertion point. Without
  // csSORT the linear Search.
  bool DoSearch(const void* key, int& pos, bool last) const;
};

// Items are one malloc'ed block: the key, its NUL, then the data.
class DataCollection : public SortCol {
 public:
  explicit DataCollection(unsigned long state);
  ~DataCollection() override;

  // As SortCol::Ins(block, pos). Null data or a negative size give no data.
  int Ins(int pos, const char* key, const void* data, int size);
  int Ins(const char* key, const void* data, int size) { return Ins(-1, key, data, size); }
  // The data of item i, or null.
  char* GetData(int i) const;
  char* GetData(const char* key) const;
  // Replaces the data of item i. An i out of range throws the collection
  // itself (as DataCollection*).
  void ReplData(int i, const void* data, int size);
  char* operator[](int i) const { return Collection::operator[](i); }

  using SortCol::Ins;
};

// A Collection(csDUPLICATE | csOWNER) whose changing operations listed here
// hold its lock; everything else (Ins(void*), operator<<, Find, Move, the
// text functions, reading) takes no lock.
class CollectionMt : public Collection {
 public:
  CollectionMt();
  ~CollectionMt() override;
  // Copies the items as Collection's assignment does; each collection keeps
  // its own lock (a copied lock would be shared state between two objects).
  CollectionMt& operator=(const CollectionMt& src);

  void SortOn();
  void SortOff();
  void DuplicateOn();
  void DuplicateOff();
  int Ins(void* item, int pos);
  using Collection::Ins;
  bool Remove(long i);
  int Repl(void* item, int i) override;
  void Clear();
  // Exchanges the first 32-bit words of the two items (not the slots) when
  // both indexes are in range and the pointers differ, as it always has.
  void Swap(int i, int j);

 private:
  CriticalSection lock_;
};

// A sorted pool of unique strings, each owned (new[]/delete[]).
class StringCol : public Array {
 public:
  StringCol();
  StringCol(const StringCol& other);
  // Copies the strings; the two pools never share them.
  StringCol& operator=(const StringCol& other);
  ~StringCol();

  // The pooled string equal to s, added when absent; null for null. Use one
  // noCase flag for one pool: the order follows it.
  const char* Ins(const char* s, bool noCase);
  int Find(const char* s, bool noCase) const;
  const char* FindStr(const char* s, bool noCase) const;
  const char* operator[](int i) const;
  void Clear();

 private:
  bool Find(const char* s, int& pos, bool noCase) const;
  char* At(int i) const { return static_cast<char*>(*VoidPtr(i)); }
};

#endif  // KELM_CONTAINERS_COLLECTION_H_
