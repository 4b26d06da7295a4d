// The one bounded printf-style formatter of the library.
#ifndef KELM_PORT_FORMAT_H_
#define KELM_PORT_FORMAT_H_

#include <cstdarg>
#include <cstddef>

// Marks a function that formats with FormatBounded, so that the compiler
// checks its arguments against C99 printf on both platforms (MinGW would
// otherwise check plain `printf` formats against msvcrt's rules; clang knows
// C99 printf by its plain name only).
#if defined(__clang__)
#define KELM_PRINTF_FORMAT(format_index, first_arg) \
  __attribute__((format(printf, format_index, first_arg)))
#else
#define KELM_PRINTF_FORMAT(format_index, first_arg) \
  __attribute__((format(gnu_printf, format_index, first_arg)))
#endif

namespace kelm::port {

// Formats like the Windows runtime's _vsnprintf, with the same bytes on every
// platform (the conversions are the library's own, not the C runtime's):
// - a result shorter than `count` is written with its NUL; returns its length;
// - a result of exactly `count` characters is written without NUL; returns `count`;
// - a longer result: its first `count` characters, no NUL; returns -1.
// Conversions follow C99 printf: d i u o x X c s f F e E g G a A p and %%,
// flags - + space # 0, widths and precisions (also `*`), lengths hh h l ll j z
// t L and the Windows I, I32, I64. Differences, all deliberate:
// - %p prints the pointer in upper-case hex padded to 2*sizeof(void*) digits,
//   without "0x", as the Windows runtime does;
// - %Lf is formatted with double precision;
// - %ls and %lc write ASCII units as they are and any other unit as '?';
// - %n and unknown conversions consume no argument and are copied as written;
// - a null `format`, or a null `buffer` with a non-zero `count`, returns -1.
int FormatBounded(char* buffer, std::size_t count, const char* format, va_list args);

}  // namespace kelm::port

#endif  // KELM_PORT_FORMAT_H_
