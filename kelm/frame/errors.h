// Error reporting: every part of the library reports problems through these
// functions. They format a text (printf conversions, cut silently at 8384
// characters), hand it to the calling thread's ErrorMessager and then return,
// throw, or end the process through the thread's FatalTerminator.
//
// Numbered messages are the string-table texts of the loaded modules, looked
// up in this order: the modules in LoadedDLLs, the executable, the modules in
// RegisteredDLLs (kelm-lib is one of them). A code that no module knows reads
// "Ошибка с кодом %X" with the code.
#ifndef KELM_FRAME_ERRORS_H_
#define KELM_FRAME_ERRORS_H_

#include <cstdarg>
#include <cstddef>
#include <string>

#include "kelm/frame/error_messager.h"
#include "kelm/frame/exceptions.h"

namespace KelmErrors {
// The size of every message buffer: 8384 characters and the terminator.
inline constexpr size_t kErrorTextSize = 8385;
using ErrorText = char[kErrorTextSize];
}  // namespace KelmErrors

#define KELM_PRINTF(f, a) __attribute__((format(printf, f, a)))

// By code: the module text of `code`, formatted with the arguments. The OkAll
// forms pass `code` as the OK-to-all key, the others 0.
void ErrorMsg(unsigned long code, ...);
void ErrorMsgOkAll(unsigned long code, ...);
// ... then throw GorseCodeException(code, arguments).
[[noreturn]] void Error(unsigned long code, ...);
[[noreturn]] void ErrorOkAll(unsigned long code, ...);
// ... then FatalTerminator::Instance().Terminate(code). Returns only when the
// thread's terminator has no policy.
void FatalError(unsigned long code, ...);

// By format. The OkAll forms pass the format's address as the OK-to-all key
// (its low 32 bits where a pointer is wider than long).
void ErrorMsg(const char* format, ...) KELM_PRINTF(1, 2);
// The text itself is the format.
void ErrorMsg(const std::string& text);
void ErrorMsgOkAll(const char* format, ...) KELM_PRINTF(1, 2);
// ... then throw Exception(format, arguments).
[[noreturn]] void Error(const char* format, ...) KELM_PRINTF(1, 2);
[[noreturn]] void ErrorOkAll(const char* format, ...) KELM_PRINTF(1, 2);
// ... then FatalTerminator::Instance().Terminate(1).
void FatalErrorMsg(const char* format, ...) KELM_PRINTF(1, 2);

// By format followed by the description of the thread's last system error
// ("\n<system text> (0x<code>)", or "\n(0x<code>)" when the system has no
// text; nothing when the error is 0).
void SysErrorMsg(const char* format, ...) KELM_PRINTF(1, 2);
// ... then throw Exception(text, arguments): the finished text, suffix
// included, serves once more as a format for the same arguments.
[[noreturn]] void SysError(const char* format, ...) KELM_PRINTF(1, 2);
// As SysError, but the text goes straight to a message box, not through the
// messager.
[[noreturn]] void APISysError(const char* format, ...) KELM_PRINTF(1, 2);
// A message box titled "Ошибка!" (flags 0x2010) with `text`; the other
// arguments are ignored.
void APIMsgBox(const char* text, long okAllKey, bool flag);

// Copies the module text of `code` into `buffer` (at least kErrorTextSize
// bytes); false when no module has one. System message texts are not used:
// a code that no string table holds keeps the default text.
bool GetMessageStr(unsigned long code, char* buffer);
// `out` (kErrorTextSize bytes) = the module text of `code` formatted with
// `args`, or else `defaultFormat` formatted with the code alone. Returns `out`.
char* GetMessageA(char* out, const char* defaultFormat, unsigned long code, va_list args);
// Appends the description of the thread's last system error (see
// SysErrorMsg) to the text in `buffer` (kErrorTextSize bytes).
void sys_error_msg(char* buffer);
// Formats into `buffer`, then sys_error_msg(buffer). A null buffer is
// returned untouched.
KelmErrors::ErrorText* SysErrorMsgBuf(KelmErrors::ErrorText* buffer, const char* format, ...)
    KELM_PRINTF(2, 3);

#undef KELM_PRINTF

#endif  // KELM_FRAME_ERRORS_H_
