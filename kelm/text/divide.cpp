#include "kelm/text/divide.h"

#include <cstring>
#include <string>

#include "kelm/containers/collection.h"
#include "kelm/text/char_classes.h"

namespace {

bool IsDelimiter(char c, const char* delimiters) {
  return c != '\0' && std::strchr(delimiters, c) != nullptr;
}

bool IsSpecialChar(char c) { return c == '\x01' || c == '\x02' || c == '\x03' || c == '&'; }

}  // namespace

void DivideS(const char* text, const char* delimiters, bool keepDelimiters, Collection& out,
             bool upperCase) {
  if (text == nullptr) return;
  if (delimiters == nullptr) delimiters = "";
  if (text[0] != '\0' && text[1] != '\0' && text[0] == delimiters[0] &&
      IsDelimiter(text[1], delimiters)) {
    out << "";
  }
  std::string piece;
  const char* cut = text;
  for (const char* p = text;; ++p) {
    const bool atEnd = *p == '\0';
    if (!atEnd && !IsDelimiter(*p, delimiters)) continue;
    if (!(p == text && cut == text)) {
      const char* from = cut;
      if (!keepDelimiters && from < p && IsDelimiter(*from, delimiters)) ++from;
      piece.clear();
      for (const char* c = from; c < p; ++c) {
        if (IsSpecialChar(*c)) continue;
        piece += upperCase ? static_cast<char>(ToUpper1251(static_cast<unsigned char>(*c))) : *c;
      }
      out << piece.c_str();
      cut = p;
    }
    if (atEnd) break;
  }
}

void DividePath(const char* path, Collection& out) {
  if (path == nullptr) return;
  constexpr size_t kMaxPiece = 255;
  std::string piece;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '.') {
      if (piece.empty() || piece.back() != '\\') {
        out << piece.c_str();
        piece.clear();
      } else {
        piece.back() = '.';
      }
    } else if (piece.size() < kMaxPiece) {
      piece += *p;
    }
  }
  if (!piece.empty()) out << piece.c_str();
}
