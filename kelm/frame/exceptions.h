// The library's exception family. Messages live inside the objects (no heap),
// so an exception can be thrown when memory is short.
#ifndef KELM_FRAME_EXCEPTIONS_H_
#define KELM_FRAME_EXCEPTIONS_H_

#include <cstdarg>
#include <string>

#include "kelm/text/string.h"

class AException {
 public:
  virtual ~AException() = default;
  virtual String Description() const = 0;

 private:
  // First in the table of virtual operations, as the library has always
  // laid it out.
  virtual std::string DescriptionEx() const = 0;
};

class Exception : public AException {
 public:
  static constexpr size_t kMessageSize = 256;
  // The most characters a formatted message keeps.
  static constexpr size_t kMaxFormatted = 254;

  Exception();
  // Copies at most 255 characters; null gives an empty message.
  explicit Exception(const char* text);
  // printf-formats at most 254 characters, cutting silently.
  Exception(const char* format, va_list args);
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  // Clears the message bytes.
  ~Exception() override;

  String Description() const override;

 protected:
  char text_[kMessageSize];

 private:
  std::string DescriptionEx() const override;
};

// An exception with a message number. The message is the module text of the
// code (see GetMessageA in errors.h) cut to 254 characters.
class GorseCodeException : public Exception {
 public:
  // The text of `code` formatted with `args`, or "Ошибка с кодом %X" with
  // the code when no module has one.
  GorseCodeException(int code, va_list args);
  // The text of `code` formatted with the arguments that follow; `format`,
  // formatted with the code alone, stands in when no module has one. A null
  // format gives "Ошибка с кодом %X" with the code.
  GorseCodeException(int code, const char* format, ...);

  int Code() const { return code_; }

 private:
  int code_;
};

// Raised by the archives.
class ZipException : public GorseCodeException {
 public:
  ZipException(int code, va_list args);
  ZipException(int code, const char* format);
};

class MSXMLException : public Exception {
 public:
  explicit MSXMLException(const char* text);
};

// A path that cannot be used; the message is empty.
class BadPathException : public Exception {
 public:
  // A null name is kept as an empty one.
  explicit BadPathException(const char* fileName);
  const char* GetFileName() const { return file_name_.c_str(); }

 private:
  std::string file_name_;
};

#endif  // KELM_FRAME_EXCEPTIONS_H_
