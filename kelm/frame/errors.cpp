#include "kelm/frame/errors.h"

#include <cstdint>
#include <cstring>
#include <optional>

#include "kelm/frame/dlls.h"
#include "kelm/frame/fatal_terminator.h"
#include "kelm/frame/internal/error_text.h"
#include "kelm/port/format.h"
#include "kelm/port/message_box.h"
#include "kelm/port/module.h"
#include "kelm/port/strings.h"
#include "kelm/port/system_error.h"
#include "kelm/text/char_classes.h"

using KelmErrors::ErrorText;
using KelmErrors::kErrorTextSize;
using KelmErrors::internal::FormatCodedText;
using KelmErrors::internal::FormatCut;
using KelmErrors::internal::kDefaultCodeFormat;

namespace {

constexpr size_t kMaxText = kErrorTextSize - 1;
constexpr char kErrorTitle[] = "Ошибка!";
constexpr unsigned kErrorBoxFlags = 0x2010;  // MB_ICONHAND | MB_TASKMODAL

// The OK-to-all key of a format: its address, cut to long (32 bits on 64-bit
// Windows, where the key therefore is the address's low half).
long KeyOf(const char* format) {
  return static_cast<long>(reinterpret_cast<std::uintptr_t>(format));
}

bool LoadFrom(HINSTANCE module, unsigned long code, char* buffer) {
  return kelm::port::LoadTableString(module, static_cast<unsigned>(code), buffer,
                                     static_cast<int>(kMaxText)) > 0;
}

// "\n<system text> (0x<code>)" or "\n(0x<code>)" after the text in `buffer`.
void AppendSystemError(char* buffer, unsigned long error) {
  if (error == 0) return;
  const size_t length = std::strlen(buffer);
  if (length >= kMaxText) return;
  const std::string text = kelm::port::SystemErrorText(error);
  const auto room = static_cast<unsigned>(kErrorTextSize - length);
  const auto shown = static_cast<unsigned>(error);
  if (!text.empty()) {
    snprintf0(buffer + length, room, "\n%s (0x%X)", text.c_str(), shown);
  } else {
    snprintf0(buffer + length, room, "\n(0x%X)", shown);
  }
}

// `format` and `args` into `text`, then the system error read on entry.
void FormatWithSystemError(ErrorText& text, unsigned long error, const char* format,
                           va_list args) {
  FormatCut(text, kMaxText, format, args);
  AppendSystemError(text, error);
}

}  // namespace

namespace KelmErrors::internal {

const char kDefaultCodeFormat[] = "Ошибка с кодом %X";

void FormatCut(char* out, size_t maxChars, const char* format, va_list args) {
  if (format == nullptr) {
    out[0] = '\0';
    return;
  }
  const int written = kelm::port::FormatBounded(out, maxChars, format, args);
  if (written < 0 || static_cast<size_t>(written) >= maxChars) out[maxChars] = '\0';
}

void FormatCodedText(char* out, size_t maxChars, const char* defaultFormat, unsigned long code,
                     va_list args) {
  ErrorText found;
  if (GetMessageStr(code, found)) {
    FormatCut(out, maxChars, found, args);
  } else if (defaultFormat == nullptr) {
    out[0] = '\0';
  } else {
    snprintf0(out, static_cast<unsigned>(maxChars + 1), defaultFormat,
              static_cast<unsigned>(code));
  }
}

}  // namespace KelmErrors::internal

bool GetMessageStr(unsigned long code, char* buffer) {
  for (int i = 0; i < LoadedDLLs.Count(); ++i) {
    if (LoadFrom(LoadedDLLs[i], code, buffer)) return true;
  }
  if (LoadFrom(kelm::port::ExecutableModule(), code, buffer)) return true;
  for (int i = 0; i < RegisteredDLLs.Count(); ++i) {
    if (LoadFrom(RegisteredDLLs[i], code, buffer)) return true;
  }
  // The library has always asked the system for the code's text last, with
  // no room for it, which never yields a text: system texts deliberately do
  // not replace the default text, so that step is left out.
  return false;
}

char* GetMessageA(char* out, const char* defaultFormat, unsigned long code, va_list args) {
  FormatCodedText(out, kMaxText, defaultFormat, code, args);
  return out;
}

void sys_error_msg(char* buffer) { AppendSystemError(buffer, kelm::port::LastSystemError()); }

ErrorText* SysErrorMsgBuf(ErrorText* buffer, const char* format, ...) {
  const unsigned long error = kelm::port::LastSystemError();
  if (buffer == nullptr) return buffer;
  va_list args;
  va_start(args, format);
  FormatWithSystemError(*buffer, error, format, args);
  va_end(args);
  return buffer;
}

namespace {

enum class Then { kReturn, kThrow, kTerminate };

// One report. Its text, and the exception to throw, are finished while the
// caller's arguments are open; Send and Show come after va_end, since a
// policy may throw while the text is dispatched.
class Report {
 public:
  // The module text of `code`; a GorseCodeException; the status `code`.
  Report(Then then, unsigned long code, va_list args) : then_(then), status_(code) {
    va_list again;
    va_copy(again, args);
    GetMessageA(text_, kDefaultCodeFormat, code, args);
    if (then == Then::kThrow) coded_.emplace(static_cast<int>(code), again);
    va_end(again);
  }
  // `format` with the arguments; an Exception of `format`; the status 1.
  Report(Then then, const char* format, va_list args) : then_(then), status_(1) {
    va_list again;
    va_copy(again, args);
    FormatCut(text_, kMaxText, format, args);
    if (then == Then::kThrow) plain_.emplace(format, again);
    va_end(again);
  }
  // The same followed by the description of the system error `error`; the
  // exception is made from the finished text used once more as a format.
  Report(Then then, const char* format, unsigned long error, va_list args)
      : then_(then), status_(1) {
    va_list again;
    va_copy(again, args);
    FormatWithSystemError(text_, error, format, args);
    if (then == Then::kThrow) plain_.emplace(text_, again);
    va_end(again);
  }

  // Hands the text to the thread's messager; then, for Then::kTerminate,
  // to the thread's terminator.
  void Send(long okAllKey) {
    ErrorMessager::Instance().Message(text_, okAllKey, false);
    if (then_ == Then::kTerminate) KelmErrors::FatalTerminator::Instance().Terminate(status_);
  }
  // For Then::kThrow: hands the text to the messager, then throws.
  [[noreturn]] void SendAndThrow(long okAllKey) {
    ErrorMessager::Instance().Message(text_, okAllKey, false);
    Throw();
  }
  // For Then::kThrow: shows the text in a message box instead, then throws.
  [[noreturn]] void ShowAndThrow() {
    APIMsgBox(text_, 0, false);
    Throw();
  }

 private:
  [[noreturn]] void Throw() {
    if (coded_) throw *coded_;
    throw *plain_;
  }

  Then then_;
  unsigned long status_;
  ErrorText text_;
  std::optional<GorseCodeException> coded_;
  std::optional<Exception> plain_;
};

}  // namespace

void ErrorMsg(unsigned long code, ...) {
  va_list args;
  va_start(args, code);
  Report report(Then::kReturn, code, args);
  va_end(args);
  report.Send(0);
}

void ErrorMsgOkAll(unsigned long code, ...) {
  va_list args;
  va_start(args, code);
  Report report(Then::kReturn, code, args);
  va_end(args);
  report.Send(static_cast<long>(code));
}

void Error(unsigned long code, ...) {
  va_list args;
  va_start(args, code);
  Report report(Then::kThrow, code, args);
  va_end(args);
  report.SendAndThrow(0);
}

void ErrorOkAll(unsigned long code, ...) {
  va_list args;
  va_start(args, code);
  Report report(Then::kThrow, code, args);
  va_end(args);
  report.SendAndThrow(static_cast<long>(code));
}

void FatalError(unsigned long code, ...) {
  va_list args;
  va_start(args, code);
  Report report(Then::kTerminate, code, args);
  va_end(args);
  report.Send(0);
}

void ErrorMsg(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Report report(Then::kReturn, format, args);
  va_end(args);
  report.Send(0);
}

void ErrorMsg(const std::string& text) {
  // The text itself is the format, as it has always been.
  ErrorMsg(text.c_str());
}

void ErrorMsgOkAll(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Report report(Then::kReturn, format, args);
  va_end(args);
  report.Send(KeyOf(format));
}

void Error(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Report report(Then::kThrow, format, args);
  va_end(args);
  report.SendAndThrow(0);
}

void ErrorOkAll(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Report report(Then::kThrow, format, args);
  va_end(args);
  report.SendAndThrow(KeyOf(format));
}

void FatalErrorMsg(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Report report(Then::kTerminate, format, args);
  va_end(args);
  report.Send(0);
}

void SysErrorMsg(const char* format, ...) {
  const unsigned long error = kelm::port::LastSystemError();
  va_list args;
  va_start(args, format);
  Report report(Then::kReturn, format, error, args);
  va_end(args);
  report.Send(0);
}

void SysError(const char* format, ...) {
  const unsigned long error = kelm::port::LastSystemError();
  va_list args;
  va_start(args, format);
  Report report(Then::kThrow, format, error, args);
  va_end(args);
  report.SendAndThrow(0);
}

void APISysError(const char* format, ...) {
  const unsigned long error = kelm::port::LastSystemError();
  va_list args;
  va_start(args, format);
  Report report(Then::kThrow, format, error, args);
  va_end(args);
  report.ShowAndThrow();
}

void APIMsgBox(const char* text, long, bool) {
  kelm::port::ShowMessageBox(text, kErrorTitle, kErrorBoxFlags);
}
