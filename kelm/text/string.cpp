#include "kelm/text/string.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "kelm/text/char_classes.h"

// One pointer each; no length or capacity is recorded.
static_assert(sizeof(String) == sizeof(char*) && sizeof(WString) == sizeof(unsigned short*));

namespace {

constexpr int kMinBlock = 12;

// Shared, read-only empty texts: never freed, never written to.
const char kEmptyText[1] = {'\0'};
const unsigned short kEmptyWText[1] = {0};

char* EmptyText() { return const_cast<char*>(kEmptyText); }
unsigned short* EmptyWText() { return const_cast<unsigned short*>(kEmptyWText); }

int AtLeastMinBlock(std::size_t size) { return size < kMinBlock ? kMinBlock : static_cast<int>(size); }

// Whether `p` points into the `n` bytes at `block` (the comparisons are on
// unrelated pointers, hence std::less).
bool PointsInto(const void* p, const void* block, std::size_t n) {
  const auto* b = static_cast<const char*>(block);
  return !std::less<const void*>()(p, b) && std::less<const void*>()(p, b + n);
}

std::size_t WLen(const unsigned short* s) {
  std::size_t n = 0;
  while (s[n] != 0) ++n;
  return n;
}

int WCompare(const unsigned short* a, const unsigned short* b) {
  if (b == nullptr) b = kEmptyWText;
  while (*a != 0 && *a == *b) ++a, ++b;
  return static_cast<int>(*a) - static_cast<int>(*b);
}

}  // namespace

char* StrDup(const char* s) {
  if (s == nullptr) return nullptr;
  const std::size_t size = std::strlen(s) + 1;
  char* copy = static_cast<char*>(std::malloc(static_cast<std::size_t>(AtLeastMinBlock(size))));
  std::memcpy(copy, s, size);
  return copy;
}

char* StrDupNew(const char* s) {
  if (s == nullptr) return nullptr;
  const std::size_t size = std::strlen(s) + 1;
  char* copy = new char[static_cast<std::size_t>(AtLeastMinBlock(size))];
  std::memcpy(copy, s, size);
  return copy;
}

// ---- String

String::String() : text_(EmptyText()) {}
String::String(const char* s) : text_(Alloc(s)) {}
String::String(const String& other) : text_(Alloc(other.text_)) {}
String::String(char c, int n) : text_(EmptyText()) { Fill(c, n); }
String::String(const char* s, int max_len) : text_(EmptyText()) { (*this)(s, max_len); }

String::~String() {
  if (OnHeap()) std::free(text_);
}

char* String::Alloc(const char* s) { return s == nullptr || *s == '\0' ? EmptyText() : StrDup(s); }

bool String::OnHeap() const { return text_ != kEmptyText; }

int String::Len() const { return static_cast<int>(std::strlen(text_)); }

bool String::IsEmpty() const { return *text_ == '\0'; }

char* String::Reserve(int size) {
  if (!OnHeap()) {
    text_ = static_cast<char*>(std::malloc(static_cast<std::size_t>(AtLeastMinBlock(static_cast<std::size_t>(size)))));
  } else if (size >= kMinBlock) {
    text_ = static_cast<char*>(std::realloc(text_, static_cast<std::size_t>(size)));
  }
  return text_;
}

void String::Store(const char* s, int n) {
  if (n == 0) {
    if (OnHeap()) *text_ = '\0';
    return;
  }
  if (OnHeap() && PointsInto(s, text_, std::strlen(text_) + 1)) {
    // A part of our own text: move it to the front before the block changes.
    std::memmove(text_, s, static_cast<std::size_t>(n));
    text_[n] = '\0';
    Reserve(n + 1);
    return;
  }
  std::memcpy(Reserve(n + 1), s, static_cast<std::size_t>(n));
  text_[n] = '\0';
}

int String::Set(const char* s) {
  if (s == text_) return Len();
  const int n = s == nullptr ? 0 : static_cast<int>(std::strlen(s));
  Store(s, n);
  return n;
}

String& String::operator=(const char* s) {
  Set(s);
  return *this;
}

String& String::operator=(const String& other) {
  Set(other.text_);
  return *this;
}

String& String::operator()(const char* s, int max_len) {
  // Our own pointer is cut in place to `max_len` by the same rule.
  const int n = s == nullptr || max_len <= 0 ? 0 : static_cast<int>(strnlen(s, static_cast<std::size_t>(max_len)));
  if (s == text_ && n == Len()) return *this;
  Store(s, n);
  return *this;
}

String& String::operator+=(const char* s) {
  if (s == nullptr || *s == '\0') return *this;
  const std::size_t old_len = std::strlen(text_);
  const std::size_t add_len = std::strlen(s);
  const std::size_t size = static_cast<std::size_t>(AtLeastMinBlock(old_len + add_len + 1));
  if (OnHeap()) {
    // `s` may lie in our own block, which realloc may move.
    const bool own = PointsInto(s, text_, old_len + 1);
    const std::size_t offset = own ? static_cast<std::size_t>(s - text_) : 0;
    text_ = static_cast<char*>(std::realloc(text_, size));
    if (own) s = text_ + offset;
  } else {
    text_ = static_cast<char*>(std::malloc(size));
  }
  std::memmove(text_ + old_len, s, add_len);
  text_[old_len + add_len] = '\0';
  return *this;
}

String& String::operator+=(char c) {
  const char one[2] = {c, '\0'};
  return *this += one;
}

void String::Fill(char c, int n) {
  if (n < 0) n = 0;
  Clear();
  const int size = AtLeastMinBlock(static_cast<std::size_t>(n) + 1);
  text_ = static_cast<char*>(std::malloc(static_cast<std::size_t>(size)));
  std::memset(text_, c, static_cast<std::size_t>(size));
  text_[n] = '\0';
}

void String::Del(char c) {
  if (OnHeap()) DelCh(text_, c);
}

void String::RemoveTailSpaces() {
  if (OnHeap()) TrimSpaceChars(text_, false);
}

void String::RemoveSpaces() {
  if (OnHeap()) TrimSpaceChars(text_, true);
}

void String::Clear() {
  if (OnHeap()) std::free(text_);
  text_ = EmptyText();
}

char* String::Get() {
  if (!OnHeap()) {
    char* empty = static_cast<char*>(std::malloc(1));
    *empty = '\0';
    return empty;
  }
  char* text = text_;
  text_ = EmptyText();
  return text;
}

void String::Swap(String& other) {
  if (&other == this) return;
  char* text = text_;
  text_ = other.text_;
  other.text_ = text;
}

bool String::operator==(const char* s) const { return StrCmp1251(text_, s) == 0; }
bool String::operator!=(const char* s) const { return StrCmp1251(text_, s) != 0; }
bool String::operator>(const char* s) const { return StrCmp1251(text_, s) > 0; }
bool String::operator>=(const char* s) const { return StrCmp1251(text_, s) >= 0; }
bool String::operator<(const char* s) const { return StrCmp1251(text_, s) < 0; }
bool String::operator<=(const char* s) const { return StrCmp1251(text_, s) <= 0; }
bool String::operator==(const String& s) const { return StrCmp1251(text_, s.text_) == 0; }
bool String::operator!=(const String& s) const { return StrCmp1251(text_, s.text_) != 0; }

// ---- WString

WString::WString() : text_(EmptyWText()) {}
WString::WString(const unsigned short* s) : text_(Alloc(s)) {}
WString::WString(const WString& other) : text_(Alloc(other.text_)) {}
WString::~WString() { Free(); }

unsigned short* WString::Alloc(const unsigned short* s) {
  if (s == nullptr || *s == 0) return EmptyWText();
  const std::size_t bytes = (WLen(s) + 1) * sizeof(unsigned short);
  auto* copy = static_cast<unsigned short*>(std::malloc(bytes));
  std::memcpy(copy, s, bytes);
  return copy;
}

bool WString::OnHeap() const { return text_ != kEmptyWText; }

void WString::Free() {
  if (OnHeap()) std::free(text_);
  text_ = EmptyWText();
}

int WString::Len() const { return static_cast<int>(WLen(text_)); }

bool WString::IsEmpty() const { return *text_ == 0; }

const unsigned short* WString::Find(unsigned short c) const {
  if (c == 0) return nullptr;
  for (const unsigned short* p = text_; *p != 0; ++p) {
    if (*p == c) return p;
  }
  return nullptr;
}

void WString::Clear() { Free(); }

WString& WString::operator=(const unsigned short* s) {
  if (s != text_) {
    unsigned short* copy = Alloc(s);  // before freeing: `s` may be part of our text
    Free();
    text_ = copy;
  }
  return *this;
}

WString& WString::operator=(const WString& other) { return *this = other.text_; }

WString& WString::operator+=(const unsigned short* s) {
  if (s == nullptr || *s == 0) return *this;
  const std::size_t old_len = WLen(text_);
  const std::size_t add_len = WLen(s);
  const std::size_t bytes = (old_len + add_len + 1) * sizeof(unsigned short);
  unsigned short* block;
  if (OnHeap()) {
    const bool own = PointsInto(s, text_, (old_len + 1) * sizeof(unsigned short));
    const std::size_t offset = own ? static_cast<std::size_t>(s - text_) : 0;
    block = static_cast<unsigned short*>(std::realloc(text_, bytes));
    if (own) s = block + offset;
  } else {
    block = static_cast<unsigned short*>(std::malloc(bytes));
  }
  text_ = block;
  std::memmove(text_ + old_len, s, add_len * sizeof(unsigned short));
  text_[old_len + add_len] = 0;
  return *this;
}

void WString::Del(unsigned short c) {
  if (!OnHeap()) return;
  unsigned short* out = text_;
  for (const unsigned short* p = text_; *p != 0; ++p) {
    if (*p != c) *out++ = *p;
  }
  *out = 0;
}

void WString::Del(const unsigned short* set) {
  if (set == nullptr) return;
  for (; *set != 0; ++set) Del(*set);
}

void WString::Ins(const unsigned short* s) {
  if (s == nullptr || *s == 0) return;
  // `s` may be our own text, which Del changes: work from a copy.
  WString inserted(s);
  Del(inserted.text_);
  const std::size_t add_len = WLen(inserted.text_);
  const std::size_t rest_len = WLen(text_);
  auto* block = static_cast<unsigned short*>(std::malloc((add_len + rest_len + 1) * sizeof(unsigned short)));
  std::memcpy(block, inserted.text_, add_len * sizeof(unsigned short));
  std::memcpy(block + add_len, text_, (rest_len + 1) * sizeof(unsigned short));
  Free();
  text_ = block;
}

void WString::Ins(unsigned short c) {
  const unsigned short one[2] = {c, 0};
  Ins(one);
}

int WString::operator==(const unsigned short* s) const { return WCompare(text_, s) == 0; }
int WString::operator!=(const unsigned short* s) const { return WCompare(text_, s) != 0; }
int WString::operator>(const unsigned short* s) const { return WCompare(text_, s) > 0; }
int WString::operator>=(const unsigned short* s) const { return WCompare(text_, s) >= 0; }
int WString::operator<(const unsigned short* s) const { return WCompare(text_, s) < 0; }
int WString::operator<=(const unsigned short* s) const { return WCompare(text_, s) <= 0; }
int WString::operator==(const WString& s) const { return WCompare(text_, s.text_) == 0; }

// ---- Buffer

Buffer::Buffer() : data_(nullptr), length_(0) {}

Buffer::Buffer(const void* data, int n) : Buffer() { (*this)(data, n); }

Buffer::Buffer(const Buffer& other) : Buffer() { (*this)(other.data_, other.length_); }

Buffer::~Buffer() { std::free(data_); }

void Buffer::operator()(const void* data, int n) {
  if (n > 255) n = 255;
  if (n < 1 || data == nullptr) n = 0;
  // Copied before the old block goes: `data` may lie in it.
  void* copy = nullptr;
  if (n > 0) {
    copy = std::malloc(static_cast<std::size_t>(n));
    std::memcpy(copy, data, static_cast<std::size_t>(n));
  }
  std::free(data_);
  data_ = copy;
  length_ = static_cast<unsigned char>(n);
}

Buffer& Buffer::operator=(const Buffer& other) {
  (*this)(other.data_, other.length_);
  return *this;
}
