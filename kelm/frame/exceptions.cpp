#include "kelm/frame/exceptions.h"

#include <algorithm>
#include <cstring>

#include "kelm/frame/internal/error_text.h"

using KelmErrors::internal::FormatCodedText;
using KelmErrors::internal::FormatCut;
using KelmErrors::internal::kDefaultCodeFormat;

Exception::Exception() : text_{} {}

Exception::Exception(const char* text) : text_{} {
  if (text == nullptr) return;
  const size_t length = std::min(std::strlen(text), kMessageSize - 1);
  std::memcpy(text_, text, length);
}

Exception::Exception(const char* format, va_list args) : text_{} {
  FormatCut(text_, kMaxFormatted, format, args);
}

Exception::~Exception() {
  // Through a volatile pointer, so that the clearing is not optimised away.
  volatile char* bytes = text_;
  for (size_t i = 0; i < kMessageSize; ++i) bytes[i] = '\0';
}

String Exception::Description() const { return String(text_); }

std::string Exception::DescriptionEx() const { return std::string(text_); }

GorseCodeException::GorseCodeException(int code, va_list args) : code_(code) {
  FormatCodedText(text_, kMaxFormatted, kDefaultCodeFormat, static_cast<unsigned long>(code),
                  args);
}

GorseCodeException::GorseCodeException(int code, const char* format, ...) : code_(code) {
  va_list args;
  va_start(args, format);
  FormatCodedText(text_, kMaxFormatted, format != nullptr ? format : kDefaultCodeFormat,
                  static_cast<unsigned long>(code), args);
  va_end(args);
}

ZipException::ZipException(int code, va_list args) : GorseCodeException(code, args) {}

ZipException::ZipException(int code, const char* format) : GorseCodeException(code, format) {}

MSXMLException::MSXMLException(const char* text) : Exception(text) {}

BadPathException::BadPathException(const char* fileName)
    : file_name_(fileName != nullptr ? fileName : "") {}
