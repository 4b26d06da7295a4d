// Windows-1251 (ANSI) <-> 866 (OEM), as CharToOemA and OemToCharA convert
// on a Russian Windows, by the library's own tables on every platform.
#ifndef KELM_TEXT_OEM_CODE_PAGE_H_
#define KELM_TEXT_OEM_CODE_PAGE_H_

#include <cstddef>

extern const unsigned char kAnsiToOem[256];
extern const unsigned char kOemToAnsi[256];

// In place, up to the terminating NUL. Return `s`; null is left alone.
char* AnsiToOem(char* s);
char* OemToAnsi(char* s);
// In place, exactly `n` bytes (NULs included).
void AnsiToOemBuff(char* s, std::size_t n);
void OemToAnsiBuff(char* s, std::size_t n);

#endif  // KELM_TEXT_OEM_CODE_PAGE_H_
