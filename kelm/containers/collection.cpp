#include "kelm/containers/collection.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "kelm/frame/errors.h"
#include "kelm/streams/stream.h"
#include "kelm/streams/text_stream.h"
#include "kelm/text/char_classes.h"
#include "kelm/text/string.h"

namespace {

constexpr unsigned long kUnexpectedError = 4614;

const char* Text(const void* item) { return item != nullptr ? static_cast<const char*>(item) : ""; }

// Length up to the first line feed or the terminator; 0 for null.
int LineLen(const void* item) {
  if (item == nullptr) return 0;
  const char* s = static_cast<const char*>(item);
  int n = 0;
  while (s[n] != '\0' && s[n] != '\n') ++n;
  return n;
}

// A malloc'ed copy of the first n bytes of s and a terminator.
char* CopyOf(const char* s, size_t n) {
  char* copy = static_cast<char*>(std::malloc(n + 1));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, s, n);
  copy[n] = '\0';
  return copy;
}

// The case-free walk: bytes are mapped through the Windows-1251 lower-casing
// table and compared as unsigned values, over at most `limit` bytes (no
// limit when negative).
int CaseFreeCompare(const char* a, const char* b, int limit) {
  const auto* x = reinterpret_cast<const unsigned char*>(a);
  const auto* y = reinterpret_cast<const unsigned char*>(b);
  for (int i = 0; limit < 0 || i < limit; ++i) {
    const int cx = kCp1251Lower[x[i]];
    const int cy = kCp1251Lower[y[i]];
    if (x[i] == 0 || y[i] == 0 || cx != cy) return cx - cy;
  }
  return 0;
}

int Sign(int v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

}  // namespace

// ---------------------------------------------------------------- Collection

Collection::Collection(unsigned long state)
    : items_(sizeof(void*), 0), state_(static_cast<std::uint32_t>(state)) {}

Collection::Collection(unsigned long state, short maxCount)
    : items_(sizeof(void*), maxCount), state_(static_cast<std::uint32_t>(state)) {}

Collection::~Collection() {
  if ((state_ & csOWNER) != 0) {
    for (int i = 0; i < Count(); ++i) FreeItem(Item(i));
  }
}

void Collection::FreeItem(void* item) {
  if ((state_ & csOWNER) != 0) std::free(item);
}

int Collection::Ins(void* item) { return Ins(item, -1); }

int Collection::Ins(void* item, int pos) {
  int at;
  try {
    at = items_.Ins(&item, pos);
  } catch (...) {
    FreeItem(item);
    throw;
  }
  state_ |= csCHANGED;
  return at;
}

Collection& Collection::operator<<(const char* s) {
  Ins(StrDup(s));
  return *this;
}

int Collection::Repl(void* item, int i) {
  if (i < 0 || i >= Count()) {
    FreeItem(item);
    return -1;
  }
  FreeItem(Item(i));
  state_ |= csCHANGED;
  *items_.VoidPtr(i) = item;
  return i;
}

bool Collection::Remove(long i) {
  if (i < 0 || i >= Count()) return false;
  FreeItem(Item(static_cast<int>(i)));
  state_ |= csCHANGED;
  items_.Remove(static_cast<int>(i));
  return true;
}

void Collection::Clear() {
  if ((state_ & csOWNER) != 0) {
    for (int i = 0; i < Count(); ++i) FreeItem(Item(i));
  }
  items_.Clear();
}

void Collection::Move(int from, int to) {
  // Negative indexes are refused too rather than read before the slots.
  if (from < 0 || to < 0 || from >= Count() || to >= Count() || from == to) return;
  items_.Move(from, to);
}

void Collection::Swap(int i, int j) {
  if (i < 0 || j < 0 || i >= Count() || j >= Count()) return;
  std::swap(*items_.VoidPtr(i), *items_.VoidPtr(j));
}

void Collection::Swap(Collection& other) {
  items_.Swap(other.items_);
  std::swap(state_, other.state_);
}

bool Collection::SetMaxCount(int n) {
  if (Count() > 0) ErrorMsg(kUnexpectedError, "Collection::SetMaxCount");
  // Emptying drops the items: owned ones are released, not lost.
  if (n == 0) Clear();
  return items_.SetMaxCount(n);
}

char* Collection::operator[](int i) const {
  if (i < 0 || i >= Count()) return nullptr;
  return static_cast<char*>(Item(i));
}

int Collection::ItemNum(const void* p) const {
  for (int i = 0; i < Count(); ++i) {
    if (Item(i) == p) return i;
  }
  return -1;
}

int Collection::Find(const void* key) const {
  int pos;
  return Search(key, pos) ? pos : -1;
}

int Collection::AsFind(const char* prefix) const {
  const char* p = Text(prefix);
  const size_t n = std::strlen(p);
  for (int i = 0; i < Count(); ++i) {
    if (std::strncmp(Text(Item(i)), p, n) == 0) return i;
  }
  return -1;
}

int Collection::MaxStrSize() const {
  int longest = 0;
  for (int i = 0; i < Count(); ++i) {
    const int n = LineLen(Item(i));
    if (n > longest) longest = n;
  }
  return longest;
}

int Collection::Compare(const void* a, const void* b) const {
  const char* x = Text(a);
  const char* y = Text(b);
  const bool prefix = (state_ & csPREFIX) != 0;
  int n = 0;
  if (prefix) {
    n = LineLen(x);
    if (n < LineLen(y)) return -1;
  }
  const auto x0 = static_cast<unsigned char>(x[0]);
  const auto y0 = static_cast<unsigned char>(y[0]);
  if ((state_ & csNOCASE) == 0) {
    if (x0 != y0) return x0 - y0;
    if (!prefix) return Sign(std::strcmp(x, y));
    return std::strncmp(x, y, n);
  }
  if (kCp1251Lower[x0] != kCp1251Lower[y0]) return kCp1251Lower[x0] - kCp1251Lower[y0];
  if (!prefix) return CaseFreeCompare(x, y, -1);
  if (n < 1) return 0;
  return CaseFreeCompare(x, y, n);
}

bool Collection::Search(const void* key, int& pos) const {
  for (pos = Count() - 1; pos >= 0; --pos) {
    if (Compare(Item(pos), key) == 0) return true;
  }
  pos = -1;
  return false;
}

bool Collection::operator==(const Collection& other) const {
  if (Count() != other.Count()) return false;
  int pos;
  for (int i = 0; i < Count(); ++i) {
    if (!Search(other.Item(i), pos) || !other.Search(Item(i), pos)) return false;
  }
  return true;
}

Collection& Collection::operator=(const Collection& src) {
  if (this == &src) return *this;
  Clear();
  for (int i = 0; i < src.Count(); ++i) {
    void* item = src.Item(i);
    Ins((state_ & csOWNER) != 0 ? StrDup(static_cast<const char*>(item)) : item);
  }
  return *this;
}

void Collection::FromString(const char* text, bool keepEmpty) {
  if (text == nullptr || *text == '\0') return;
  bool first = true;
  for (const char* line = text;;) {
    const char* end = std::strchr(line, '\n');
    const size_t n = end != nullptr ? static_cast<size_t>(end - line) : std::strlen(line);
    if (n > 0 || keepEmpty || first) {
      Ins((state_ & csOWNER) != 0 ? CopyOf(line, n) : const_cast<char*>(line));
    }
    first = false;
    if (end == nullptr || end[1] == '\0') break;
    line = end + 1;
  }
}

void Collection::FromString(const char* text, char sep) {
  if (text == nullptr || *text == '\0') return;
  for (const char* piece = text;;) {
    const char* end = sep != '\0' ? std::strchr(piece, sep) : nullptr;
    const size_t n = end != nullptr ? static_cast<size_t>(end - piece) : std::strlen(piece);
    Ins(CopyOf(piece, n));
    if (end == nullptr) break;
    piece = end + 1;
  }
}

void Collection::FromStringWithQuote(const char* text, char sep) {
  if (text == nullptr || *text == '\0') return;
  const char* piece = text;
  for (const char* p = text;; ++p) {
    if (*p == '\'' || *p == '"') {
      const char* close = std::strchr(p + 1, *p);
      if (close == nullptr) Error("Не хватает закрывающей кавычки в строке!");
      p = close;
    } else if (*p == '\0' || (*p == sep && sep != '\0')) {
      Ins(CopyOf(piece, static_cast<size_t>(p - piece)));
      if (*p == '\0') break;
      piece = p + 1;
    }
  }
}

char* Collection::ToString(char* buf, int size, char sep) const {
  if (buf == nullptr || size <= 0) return buf;
  buf[0] = '\0';
  char* out = buf;
  int room = size;
  bool wrote = false;
  for (int i = 0; room > 0 && i < Count(); ++i) {
    const char* item = Text(Item(i));
    const size_t length = std::strlen(item);
    const int n = length < static_cast<size_t>(room - 1) ? static_cast<int>(length) : room - 1;
    std::memcpy(out, item, n);
    out += n;
    *out++ = sep;
    room -= n + 1;
    wrote = true;
  }
  if (wrote) out[-1] = '\0';
  return buf;
}

String& Collection::ToString(String& out, char sep) const {
  out.Clear();
  for (int i = 0; i < Count(); ++i) {
    if (i > 0) out += sep;
    out += Text(Item(i));
  }
  return out;
}

Stream& operator<<(Stream& s, Collection& c) {
  const int n = c.Count() < 65535 ? c.Count() : 65535;
  s << static_cast<short>(n);
  for (int i = 0; i < n; ++i) s << static_cast<const char*>(c.Item(i));
  return s;
}

Stream& operator>>(Stream& s, Collection& c) {
  c.Clear();
  unsigned short n = 0;
  s >> n;
  for (int i = 0; i < n; ++i) {
    String text;
    s >> text;
    c.Ins(text.Get());
  }
  return s;
}

// ---------------------------------------------------------------- SortCol

SortCol::SortCol(unsigned long state) : Collection(state) {}

const char* SortCol::DuplErrorMsg() const { return "Не допускается вставка одинаковых записей."; }

bool SortCol::DoSearch(const void* key, int& pos, bool last) const {
  if ((State() & csSORT) == 0) return Collection::Search(key, pos);
  int lo = 0;
  int hi = Count() - 1;
  bool found = false;
  while (lo <= hi) {
    const int mid = (lo + hi) >> 1;
    const int c = Compare(Item(mid), key);
    if (c > 0) {
      hi = mid - 1;
    } else if (c < 0) {
      lo = mid + 1;
    } else {
      pos = mid;
      found = true;
      if ((State() & csDUPLICATE) == 0) return true;
      if (last) {
        lo = mid + 1;
      } else {
        hi = mid - 1;
      }
    }
  }
  if (found) return true;
  pos = lo;
  return false;
}

// Under csSORT: an equal item without csDUPLICATE is replaced (csREPLACE) or
// refused with DuplErrorMsg; with csDUPLICATE the new item goes before the
// equal ones, or after them with csINSLAST.
int SortCol::Ins(void* item, int pos) {
  const unsigned long state = State();
  if ((state & csSORT) != 0) {
    int p;
    const bool found = DoSearch(item, p, (state & csINSLAST) != 0);
    if (found && (state & csDUPLICATE) == 0) {
      if ((state & csREPLACE) != 0) {
        if (Remove(p)) return Collection::Ins(item, p);
      } else if (const char* message = DuplErrorMsg()) {
        ErrorMsg(std::string(message));
      }
      FreeItem(item);
      return -1;
    }
    pos = found && (state & csINSLAST) != 0 ? p + 1 : p;
  }
  return Collection::Ins(item, pos);
}

// The outcomes below, odd ones included, are the ones callers have always
// seen: when the new item meets an equal one (other than the item it
// replaces) without csDUPLICATE, the result is -1, the old item is taken out
// of the collection but not released, and the new item is passed to
// FreeItem even when csREPLACE has just put it in place of the equal one.
// Under csOWNER | csREPLACE that leaves a released pointer in the slot.
int SortCol::Repl(void* item, int i) {
  if (i < 0 || i >= Count()) {
    FreeItem(item);
    return -1;
  }
  void* old = Item(i);
  if (Compare(old, item) == 0) return Collection::Repl(item, i);
  array().Remove(i);
  const unsigned long state = State();
  int p;
  const bool found = DoSearch(item, p, (state & csINSLAST) != 0);
  if (found && (state & csDUPLICATE) == 0) {
    if ((state & csREPLACE) != 0) {
      if (Remove(p)) Collection::Ins(item, p);
    } else if (const char* message = DuplErrorMsg()) {
      ErrorMsg(std::string(message));
    }
    SetState(csCHANGED);
    FreeItem(item);
    return -1;
  }
  int index = i;
  if ((state & csSORT) != 0) index = found && (state & csINSLAST) != 0 ? p + 1 : p;
  index = Collection::Ins(item, index);
  FreeItem(old);
  return index;
}

SortCol& SortCol::operator=(const Collection& src) {
  if (this == &src) return *this;
  Clear();
  for (int i = 0; i < src.Count(); ++i) Ins(src.Item(i));
  return *this;
}

// ---------------------------------------------------------------- DataCollection

namespace {

char* MakeDataBlock(const char* key, const void* data, int size) {
  key = Text(key);
  if (data == nullptr || size < 0) size = 0;
  const size_t keyBytes = std::strlen(key) + 1;
  char* block = static_cast<char*>(std::malloc(keyBytes + size));
  if (block == nullptr) throw std::bad_alloc();
  std::memcpy(block, key, keyBytes);
  if (size > 0) std::memcpy(block + keyBytes, data, size);
  return block;
}

}  // namespace

DataCollection::DataCollection(unsigned long state) : SortCol(state) {}

// The items are released by Collection's destructor under csOWNER.
DataCollection::~DataCollection() = default;

int DataCollection::Ins(int pos, const char* key, const void* data, int size) {
  return SortCol::Ins(MakeDataBlock(key, data, size), pos);
}

char* DataCollection::GetData(int i) const {
  if (i < 0 || i >= Count() || Item(i) == nullptr) return nullptr;
  char* key = static_cast<char*>(Item(i));
  return key + std::strlen(key) + 1;
}

char* DataCollection::GetData(const char* key) const {
  int pos;
  return Search(key, pos) ? GetData(pos) : nullptr;
}

void DataCollection::ReplData(int i, const void* data, int size) {
  if (i < 0 || i >= Count()) throw this;
  char* block = MakeDataBlock(static_cast<const char*>(Item(i)), data, size);
  SetState(csCHANGED);
  void* old = Item(i);
  *ItemPtr(i) = block;
  FreeItem(old);
}

// ---------------------------------------------------------------- CollectionMt

CollectionMt::CollectionMt() : Collection(csDUPLICATE | csOWNER) {}

CollectionMt::~CollectionMt() = default;

CollectionMt& CollectionMt::operator=(const CollectionMt& src) {
  if (this == &src) return *this;
  Locker locker(lock_);
  Collection::operator=(src);
  return *this;
}

void CollectionMt::SortOn() {
  Locker locker(lock_);
  Collection::SortOn();
}

void CollectionMt::SortOff() {
  Locker locker(lock_);
  Collection::SortOff();
}

void CollectionMt::DuplicateOn() {
  Locker locker(lock_);
  Collection::DuplicateOn();
}

void CollectionMt::DuplicateOff() {
  Locker locker(lock_);
  Collection::DuplicateOff();
}

int CollectionMt::Ins(void* item, int pos) {
  std::exception_ptr failure;
  {
    Locker locker(lock_);
    try {
      const int at = array().Ins(&item, pos);
      SetState(csCHANGED);
      return at;
    } catch (...) {
      failure = std::current_exception();
    }
  }
  FreeItem(item);
  std::rethrow_exception(failure);
}

bool CollectionMt::Remove(long i) {
  Locker locker(lock_);
  return Collection::Remove(i);
}

int CollectionMt::Repl(void* item, int i) {
  {
    Locker locker(lock_);
    if (i >= 0 && i < Count()) return Collection::Repl(item, i);
  }
  FreeItem(item);
  return -1;
}

void CollectionMt::Clear() {
  Locker locker(lock_);
  Collection::Clear();
}

void CollectionMt::Swap(int i, int j) {
  Locker locker(lock_);
  if (i < 0 || j < 0 || i >= Count() || j >= Count()) return;
  void* a = Item(i);
  void* b = Item(j);
  if (a == b || a == nullptr || b == nullptr) return;
  std::uint32_t x;
  std::uint32_t y;
  std::memcpy(&x, a, sizeof x);
  std::memcpy(&y, b, sizeof y);
  std::memcpy(a, &y, sizeof y);
  std::memcpy(b, &x, sizeof x);
}

// ---------------------------------------------------------------- StringCol

StringCol::StringCol() : Array(sizeof(char*), 0) {}

StringCol::StringCol(const StringCol& other) : StringCol() {
  for (int i = other.Count() - 1; i >= 0; --i) Ins(other.At(i), false);
}

StringCol& StringCol::operator=(const StringCol& other) {
  if (this == &other) return *this;
  Clear();
  for (int i = other.Count() - 1; i >= 0; --i) Ins(other.At(i), false);
  return *this;
}

StringCol::~StringCol() { Clear(); }

bool StringCol::Find(const char* s, int& pos, bool noCase) const {
  int lo = 0;
  int hi = Count() - 1;
  while (lo <= hi) {
    const int mid = (lo + hi) >> 1;
    pos = mid;
    const char* item = Text(At(mid));
    const int c = noCase ? CaseFreeCompare(item, s, -1) : Sign(std::strcmp(item, s));
    if (c == 0) return true;
    if (c < 0) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  pos = lo;
  return false;
}

const char* StringCol::Ins(const char* s, bool noCase) {
  if (s == nullptr) return nullptr;
  int pos;
  if (Find(s, pos, noCase)) return At(pos);
  char* copy = StrDupNew(s);
  try {
    Array::Ins(&copy, pos);
  } catch (...) {
    delete[] copy;
    throw;
  }
  return copy;
}

int StringCol::Find(const char* s, bool noCase) const {
  int pos;
  return s != nullptr && Find(s, pos, noCase) ? pos : -1;
}

const char* StringCol::FindStr(const char* s, bool noCase) const {
  const int i = Find(s, noCase);
  return i >= 0 ? At(i) : nullptr;
}

const char* StringCol::operator[](int i) const { return i >= 0 && i < Count() ? At(i) : nullptr; }

void StringCol::Clear() {
  for (int i = Count() - 1; i >= 0; --i) delete[] At(i);
  Array::Clear();
}
