// UTF-8 <-> Windows-1251, for texts that meet the world outside the library
// (member names of archives from other programs, terminals).
//
//   std::string name;
//   Utf8ToCp1251("\xD0\xA4\xD0\xB0\xD0\xB9\xD0\xBB", &name);   // "Файл"
#ifndef KELM_TEXT_UTF8_H_
#define KELM_TEXT_UTF8_H_

#include <string>
#include <string_view>

// Every Windows-1251 character has a UTF-8 form (the code page's unassigned
// byte 0x98 becomes U+0098).
std::string Cp1251ToUtf8(std::string_view cp1251);

// Stores the Windows-1251 form of `utf8` in `out`: each character that
// Windows-1251 lacks becomes one '?'. False when `utf8` is not valid UTF-8
// (overlong forms, surrogates and values past U+10FFFF included); `out` then
// has a '?' for each byte that starts no valid character.
bool Utf8ToCp1251(std::string_view utf8, std::string* out);

#endif  // KELM_TEXT_UTF8_H_
