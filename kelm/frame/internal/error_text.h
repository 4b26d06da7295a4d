// Message formatting shared by the error functions and the exceptions.
// Internal: not installed.
#ifndef KELM_FRAME_INTERNAL_ERROR_TEXT_H_
#define KELM_FRAME_INTERNAL_ERROR_TEXT_H_

#include <cstdarg>
#include <cstddef>

namespace KelmErrors::internal {

// "Ошибка с кодом %X"
extern const char kDefaultCodeFormat[];

// printf into `out` with room for `maxChars` characters, as the runtime's
// _vsnprintf: on overflow the byte at `maxChars` is set to NUL. A null format
// gives an empty text.
void FormatCut(char* out, size_t maxChars, const char* format, va_list args);
// GetMessageA with the text bounded to `maxChars` characters.
void FormatCodedText(char* out, size_t maxChars, const char* defaultFormat, unsigned long code,
                     va_list args);

}  // namespace KelmErrors::internal

#endif  // KELM_FRAME_INTERNAL_ERROR_TEXT_H_
