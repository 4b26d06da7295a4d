// Fixed-capacity texts held inside the object: N characters plus the
// terminator, no heap. Every operation bounds itself to N characters and
// cuts silently. Used with N = 261 (a Windows path plus one) and N = 255.
#ifndef KELM_TEXT_TEXT_BUFFER_H_
#define KELM_TEXT_TEXT_BUFFER_H_

#include <string>

#include "kelm/port/export.h"
#include "kelm/port/format.h"

template <int N>
class TextBuffer {
 public:
  TextBuffer() { text_[0] = '\0'; }
  TextBuffer(const TextBuffer& other) { Set(other.text_); }
  // As PrintF; a null format gives an empty text.
  TextBuffer(const char* format, ...) KELM_PRINTF_FORMAT(2, 3);
  TextBuffer(char c, int n) { Set(c, n); }
  // Wipes the whole storage.
  ~TextBuffer();

  void Clear() { text_[0] = '\0'; }
  // n copies of `c`: none for a negative n, at most N.
  void Set(char c, int n);
  // Null gives an empty text.
  void Set(const char* s);
  // At most min(n, N) characters of `s`.
  void Set(const char* s, int n);
  TextBuffer& operator=(const char* s) {
    Set(s);
    return *this;
  }
  TextBuffer& operator=(const TextBuffer& other) {
    if (&other != this) Set(other.text_);
    return *this;
  }

  // Appends; null does nothing. `s` may lie in this buffer (as in Ins).
  void Cat(const char* s);
  // Appends `c` while the text is shorter than N.
  void Cat(char c);
  TextBuffer& operator+=(const char* s) {
    Cat(s);
    return *this;
  }
  TextBuffer& operator+=(char c) {
    Cat(c);
    return *this;
  }
  TextBuffer& operator<<(const char* s) { return *this += s; }
  TextBuffer& operator<<(char c) { return *this += c; }
  TextBuffer& operator<<(const std::string& s) { return *this += s.c_str(); }
  TextBuffer& operator<<(long value);
  TextBuffer& operator<<(int value);

  // printf into the whole buffer / behind the current text; the result is
  // terminated also when it fills or overflows the capacity. Return the
  // bounded formatter's result.
  int PrintF(const char* format, ...) KELM_PRINTF_FORMAT(2, 3);
  int CatF(const char* format, ...) KELM_PRINTF_FORMAT(2, 3);

  // Inserts `s` at `pos` (a negative one counts as 0; at or beyond the end
  // it appends). What no longer fits behind N characters is lost.
  void Ins(const char* s, int pos);
  void Del(char c);
  // Trailing / leading and trailing characters of the space class (0x00-0x20).
  void RemoveTailSpaces();
  void RemoveSpaces();
  // Windows-1251 <-> 866, in place.
  void WinToDos();
  void DosToWin();

  // Copies `n` bytes from the last to the first, so that moving towards
  // higher addresses within one buffer is safe; nothing for n below 1.
  static void MemBackCpy(char* dst, const char* src, int n);

  int Len() const;
  bool IsEmpty() const { return text_[0] == '\0'; }
  // The last character; the terminator of an empty text.
  char& Last();
  int SizeOf() const { return N; }

  operator char*() { return text_; }
  const char* C_str() const { return text_; }
  // The same storage seen as the shorter buffer.
  operator TextBuffer<255>&()
    requires(N > 255)
  {
    return reinterpret_cast<TextBuffer<255>&>(*this);
  }

  // Unsigned byte by byte; a null text counts as empty.
  bool operator==(const char* s) const;
  bool operator!=(const char* s) const { return !(*this == s); }
  bool operator==(const TextBuffer& other) const { return *this == other.text_; }
  bool operator<(const char* s) const;
  bool operator<=(const char* s) const;
  bool operator>(const char* s) const;
  bool operator>=(const char* s) const;

 protected:
  char text_[N + 1];

 private:
  // `s`, or its copy in `spare` when it lies in this buffer, which the
  // caller is about to overwrite.
  const char* Detach(const char* s, char (&spare)[N + 1]) const;
};

extern template class KELM_TEMPLATE_EXPORT TextBuffer<261>;
extern template class KELM_TEMPLATE_EXPORT TextBuffer<255>;

#endif  // KELM_TEXT_TEXT_BUFFER_H_
