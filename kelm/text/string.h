// Heap-held texts: String (Windows-1251 bytes), WString (16-bit units) and
// Buffer (a byte block of at most 255 bytes). None records its capacity or
// length; lengths are found by scanning for the terminator. Storage comes
// from the runtime heap (malloc, realloc, free).
#ifndef KELM_TEXT_STRING_H_
#define KELM_TEXT_STRING_H_

// The stream members are defined with the stream encodings
// (kelm/streams/text_stream.h), so that texts do not depend on streams.
class Stream;

// A text that is never null: an empty String points at one shared, static,
// read-only empty text and costs no allocation. A heap text has at least 12
// bytes, so short assignments reuse the block without calling realloc.
class String {
 public:
  String();
  String(const char* s);
  String(const String& other);
  String(char c, int n);                  // as Fill
  String(const char* s, int max_len);     // as operator()
  explicit String(Stream& s);             // a length byte n, then n bytes
  ~String();

  int Len() const;
  // True for the shared empty text and for a text whose first byte is NUL.
  bool IsEmpty() const;
  char operator[](int i) const { return text_[i]; }
  char& operator[](int i) { return text_[i]; }  // unchecked; never write to an empty String
  operator char*() const { return text_; }

  // Stores a copy of `s`; returns the new length. Null or empty `s` empties
  // the text but keeps its heap block; the String's own pointer changes nothing.
  int Set(const char* s);
  String& operator=(const char* s);
  String& operator=(const String& other);
  // As Set, copying at most `max_len` bytes of `s`.
  String& operator()(const char* s, int max_len);

  // Every append reallocates to the exact new size (at least 12 bytes).
  String& operator+=(const char* s);
  String& operator+=(char c);  // NUL appends nothing
  String& operator<<(const char* s) { return *this += s; }
  String& operator<<(char c) { return *this += c; }
  String& operator<<(const String& s) { return *this += s.text_; }

  // `n` copies of `c` in a fresh block of max(n + 1, 12) bytes; a negative
  // count is taken as 0.
  void Fill(char c, int n);
  void Del(char c);
  // Drops trailing bytes of the space class (0x00 to 0x20).
  void RemoveTailSpaces();
  // Drops trailing, then leading bytes of the space class.
  void RemoveSpaces();
  // Frees the heap text; the String becomes the shared empty text.
  void Clear();
  // Hands the text to the caller, who frees it with free(); the String
  // becomes empty. An empty String gives a fresh one-byte block.
  char* Get();
  void Swap(String& other);
  // Reads exactly `n` bytes from the stream and terminates the text there;
  // 0 or less empties it (a heap text keeps its block).
  void ReadStream(Stream& s, int n);

  // Unsigned byte-by-byte comparisons; a null text counts as empty.
  bool operator==(const char* s) const;
  bool operator!=(const char* s) const;
  bool operator>(const char* s) const;
  bool operator>=(const char* s) const;
  bool operator<(const char* s) const;
  bool operator<=(const char* s) const;
  bool operator==(const String& s) const;
  bool operator!=(const String& s) const;

 private:
  static char* Alloc(const char* s);
  bool OnHeap() const;
  // Makes room for `size` bytes by the allocation rule.
  char* Reserve(int size);
  // Stores the first `n` bytes of `s` and a terminator.
  void Store(const char* s, int n);

  char* text_;
};

// 16-bit texts, NUL-terminated, allocated to the exact size. The insert and
// delete members treat the text as an ordered set of units.
class WString {
 public:
  WString();
  WString(const unsigned short* s);
  WString(const WString& other);
  explicit WString(Stream& s);  // a 16-bit count n, then n units
  ~WString();

  int Len() const;
  bool IsEmpty() const;
  short operator[](int i) const { return static_cast<short>(text_[i]); }
  operator const unsigned short*() const { return text_; }
  // The first occurrence of `c`, or null.
  const unsigned short* Find(unsigned short c) const;
  void Clear();

  WString& operator=(const unsigned short* s);
  WString& operator=(const WString& other);
  WString& operator+=(const unsigned short* s);

  // Removes every occurrence of `c` / of each unit of `set`.
  void Del(unsigned short c);
  void Del(const unsigned short* set);
  // Removes the units of `s` from the text, then puts `s` in front.
  void Ins(const unsigned short* s);
  void Ins(unsigned short c);

  // Unsigned per code unit; 1 or 0. A null text counts as empty.
  int operator==(const unsigned short* s) const;
  int operator!=(const unsigned short* s) const;
  int operator>(const unsigned short* s) const;
  int operator>=(const unsigned short* s) const;
  int operator<(const unsigned short* s) const;
  int operator<=(const unsigned short* s) const;
  int operator==(const WString& s) const;

 private:
  static unsigned short* Alloc(const unsigned short* s);
  bool OnHeap() const;
  void Free();

  unsigned short* text_;
};

// A byte block of at most 255 bytes; the data pointer is null when empty.
class Buffer {
 public:
  Buffer();
  Buffer(const void* data, int n);
  Buffer(const Buffer& other);
  ~Buffer();

  // Copies `n` bytes (cut to 255; below 1 empties). Null `data` empties.
  void operator()(const void* data, int n);
  Buffer& operator=(const Buffer& other);
  unsigned char Len() const { return length_; }
  const void* Data() const { return data_; }

 private:
  void* data_;
  unsigned char length_;
};

// A copy of `s` in a block of max(length + 1, 12) bytes; null for null.
// StrDup's block comes from malloc (release with free), StrDupNew's from
// new[] (release with delete[]).
char* StrDup(const char* s);
char* StrDupNew(const char* s);

#endif  // KELM_TEXT_STRING_H_
