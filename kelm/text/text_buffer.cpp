#include "kelm/text/text_buffer.h"

#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "kelm/port/format.h"
#include "kelm/text/char_classes.h"
#include "kelm/text/oem_code_page.h"

// The text is the whole object: N characters and the terminator.
static_assert(sizeof(TextBuffer<261>) == 262 && sizeof(TextBuffer<255>) == 256);

namespace {

// Formats into `room` characters at `at`; a result that fills or overflows
// them is terminated at `end`.
int FormatInto(char* at, int room, char* end, const char* format, va_list args) {
  if (room < 0) room = 0;
  const int result = kelm::port::FormatBounded(at, static_cast<std::size_t>(room), format, args);
  if (result == -1 || result == room) *end = '\0';
  return result;
}

}  // namespace

template <int N>
TextBuffer<N>::TextBuffer(const char* format, ...) {
  text_[0] = '\0';
  if (format == nullptr) return;
  va_list args;
  va_start(args, format);
  FormatInto(text_, N, text_ + N, format, args);
  va_end(args);
}

template <int N>
TextBuffer<N>::~TextBuffer() {
  // Through volatile, so that the wipe is not dropped as a dead store.
  volatile char* p = text_;
  for (int i = 0; i <= N; ++i) p[i] = '\0';
}

template <int N>
void TextBuffer<N>::Set(char c, int n) {
  if (n < 0) n = 0;
  if (n > N) n = N;
  std::memset(text_, c, static_cast<std::size_t>(n));
  text_[n] = '\0';
}

template <int N>
void TextBuffer<N>::Set(const char* s) {
  BoundedCopy(text_, s, N);
}

template <int N>
void TextBuffer<N>::Set(const char* s, int n) {
  BoundedCopy(text_, s, n < 0 ? 0 : n > N ? N : n);
}

template <int N>
const char* TextBuffer<N>::Detach(const char* s, char (&spare)[N + 1]) const {
  const auto at = reinterpret_cast<std::uintptr_t>(s);
  const auto begin = reinterpret_cast<std::uintptr_t>(text_);
  if (at < begin || at > begin + N) return s;
  std::strcpy(spare, s);
  return spare;
}

template <int N>
void TextBuffer<N>::Cat(const char* s) {
  if (s == nullptr) return;
  char spare[N + 1];
  s = Detach(s, spare);
  const int len = Len();
  if (len < N) BoundedCopy(text_ + len, s, N - len);
}

template <int N>
void TextBuffer<N>::Cat(char c) {
  const int len = Len();
  if (len >= N) return;
  text_[len] = c;
  text_[len + 1] = '\0';
}

template <int N>
TextBuffer<N>& TextBuffer<N>::operator<<(long value) {
  CatF("%ld", value);
  return *this;
}

template <int N>
TextBuffer<N>& TextBuffer<N>::operator<<(int value) {
  CatF("%d", value);
  return *this;
}

template <int N>
int TextBuffer<N>::PrintF(const char* format, ...) {
  text_[0] = '\0';
  if (format == nullptr) return 0;
  va_list args;
  va_start(args, format);
  const int result = FormatInto(text_, N, text_ + N, format, args);
  va_end(args);
  return result;
}

template <int N>
int TextBuffer<N>::CatF(const char* format, ...) {
  if (format == nullptr) return 0;
  const int len = Len();
  if (len >= N) return -1;
  va_list args;
  va_start(args, format);
  const int result = FormatInto(text_ + len, N - len, text_ + N, format, args);
  va_end(args);
  return result;
}

template <int N>
void TextBuffer<N>::Ins(const char* s, int pos) {
  if (s == nullptr) return;
  char spare[N + 1];
  s = Detach(s, spare);
  if (pos < 0) pos = 0;
  const int len = Len();
  if (pos >= len) {
    Cat(s);
    return;
  }
  const int add = static_cast<int>(std::strlen(s));
  if (pos + add >= N) {
    BoundedCopy(text_ + pos, s, N - pos);
    return;
  }
  // The tail moves right; what would pass N characters is cut.
  const int tail_room = N - pos - add;
  const int tail = len - pos < tail_room ? len - pos : tail_room;
  MemBackCpy(text_ + pos + add, text_ + pos, tail);
  std::memcpy(text_ + pos, s, static_cast<std::size_t>(add));
  text_[pos + add + tail] = '\0';
}

template <int N>
void TextBuffer<N>::Del(char c) {
  DelCh(text_, c);
}

template <int N>
void TextBuffer<N>::RemoveTailSpaces() {
  TrimSpaceChars(text_, false);
}

template <int N>
void TextBuffer<N>::RemoveSpaces() {
  TrimSpaceChars(text_, true);
}

template <int N>
void TextBuffer<N>::WinToDos() {
  AnsiToOem(text_);
}

template <int N>
void TextBuffer<N>::DosToWin() {
  OemToAnsi(text_);
}

template <int N>
void TextBuffer<N>::MemBackCpy(char* dst, const char* src, int n) {
  for (int i = n - 1; i >= 0; --i) dst[i] = src[i];
}

template <int N>
int TextBuffer<N>::Len() const {
  return static_cast<int>(std::strlen(text_));
}

template <int N>
char& TextBuffer<N>::Last() {
  const int len = Len();
  return text_[len > 0 ? len - 1 : 0];
}

template <int N>
bool TextBuffer<N>::operator==(const char* s) const {
  return StrCmp1251(text_, s) == 0;
}
template <int N>
bool TextBuffer<N>::operator<(const char* s) const {
  return StrCmp1251(text_, s) < 0;
}
template <int N>
bool TextBuffer<N>::operator<=(const char* s) const {
  return StrCmp1251(text_, s) <= 0;
}
template <int N>
bool TextBuffer<N>::operator>(const char* s) const {
  return StrCmp1251(text_, s) > 0;
}
template <int N>
bool TextBuffer<N>::operator>=(const char* s) const {
  return StrCmp1251(text_, s) >= 0;
}

// Exported as the header's extern declarations say.
template class TextBuffer<261>;
template class TextBuffer<255>;
