// Windows-1251 character knowledge (classes, case, keyboard transliteration)
// and small functions over NUL-terminated byte texts. None of them allocates.
#ifndef KELM_TEXT_CHAR_CLASSES_H_
#define KELM_TEXT_CHAR_CLASSES_H_

#include "kelm/port/format.h"

// Character class flags, one byte per character.
enum CharClass : unsigned char {
  ccSpace = 0x01,     // 0x00 to 0x20: control characters and blank
  ccOther = 0x02,     // anything not in another class; also part of '.'
  ccDigit = 0x04,     // 0 to 9
  ccOperator = 0x08,  // % * + / -
  ccLatin = 0x10,     // A to Z, a to z
  ccCyrillic = 0x20,  // 0xC0 to 0xFF, Ё (0xA8), ё (0xB8)
  ccIdent = 0x40,     // @ $ _ and '.' (whose class is 0x42)
};

extern const unsigned char kCp1251Class[256];
// Lower-casing changes A-Z, Ё and А-Я (59 bytes); upper-casing is its inverse.
extern const unsigned char kCp1251Lower[256];
extern const unsigned char kCp1251Upper[256];
// The Latin character on the same key of the US layout as the Russian letter.
extern const unsigned char kCp1251ToLat[256];

inline unsigned char CharClassOf(unsigned char c) { return kCp1251Class[c]; }
inline bool IsSpaceChar(unsigned char c) { return (kCp1251Class[c] & ccSpace) != 0; }
inline unsigned char ToLower1251(unsigned char c) { return kCp1251Lower[c]; }
inline unsigned char ToUpper1251(unsigned char c) { return kCp1251Upper[c]; }
inline unsigned char ToLat(unsigned char c) { return kCp1251ToLat[c]; }

// Case-insensitive comparison of the lower-case images, unsigned byte by
// byte: negative, 0 or positive as strcmp.
int StrICmp1251(const char* a, const char* b);
// The same, case-sensitive; a null text counts as empty.
int StrCmp1251(const char* a, const char* b);

// False for NUL; true for a-z, A-Z, ё, Ё and А-я.
bool IsLetter(char c);

// Every word gets a capital first letter and small letters after it; any
// non-letter (digits and punctuation too) separates words. Returns `s`.
char* UpFirstLetters(char* s);

// Case-insensitive: "YES" and "ДА" give true, "NO" and "НЕТ" false, anything
// else (null too) gives `dflt`.
bool StrToBool(const char* s, bool dflt);

// `v` taken as 32 bits, in upper-case hex, into exactly 2 * `bytes` digits
// padded with leading 0s; a number with more digits keeps its leading ones.
// `out` needs 2 * `bytes` + 1 bytes. Returns `out`.
char* ToHexStr(long v, char* out, int bytes);

// -10 gives "корень", -1 gives "нет", anything else eight hex digits.
// `out` needs 9 bytes. Returns `out`.
char* HexAddr(long v, char* out);

// printf into `buf` of `size` bytes, at most size - 1 characters; on
// truncation (result -1 or exactly size - 1) the last byte becomes NUL.
// Size 0 writes nothing and returns 0. Returns the bounded formatter's result.
int snprintf0(char* buf, unsigned size, const char* format, ...) KELM_PRINTF_FORMAT(3, 4);

// Occurrences of `c`; 0 for a null text.
unsigned long StrCharCount(const char* s, char c);

// Every `c` becomes `r`. Returns `s`.
char* StrRepl(char* s, char c, char r);
// Every character found in `set` becomes `r`; nothing for a null `s` or `set`.
char* StrRepl(char* s, const char* set, char r);
// Every character other than `keep` becomes `r`. Returns `s`.
char* StrExcludeRepl(char* s, char keep, char r);

// Removes every `c`, closing the gaps.
void DelCh(char* s, char c);
// Every run of two or more `c` becomes one. Returns `s`.
char* DelDoubles(char* s, char c);
// Cuts trailing blanks (0x20 only) and returns the first non-blank within
// `s`; the text is not moved.
char* DelSpaces(char* s);
// Cuts the trailing characters of the space class (0x00-0x20) and, with
// `leading`, the leading ones too, moving the rest to the front. Returns `s`.
char* TrimSpaceChars(char* s, bool leading);
// Copies `src` to `dst` (to `src` itself when `dst` is null) leaving out the
// bytes 0x01, 0x02, 0x03 and '&'. Returns `src`.
const char* DelSpecChars(char* src, char* dst);

// The first `c` in `s`, or its terminating NUL; null for null `s`.
char* StrFindEndOfToken(char* s, char c);

// Bounded copy of at most 259 characters; then, if something was copied, it
// does not end in `c` and fewer than 259 were copied, `c` is appended.
// `dst` needs 261 bytes. Returns the terminating NUL of `dst`.
char* StrCpyChar(char* dst, const char* src, char c);

// Copies at most `max` characters of `src`, stopping at its NUL, and always
// terminates right behind them (`dst` needs `max` + 1 bytes). A null `src`
// copies nothing. Returns the number of characters copied.
int BoundedCopy(char* dst, const char* src, int max);

#endif  // KELM_TEXT_CHAR_CLASSES_H_
