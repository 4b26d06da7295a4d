// Windows-1251 <-> UTF-16: the library's texts are Windows-1251 whatever the
// system's code page; the Windows side speaks UTF-16 to the system.
#ifndef KELM_PORT_CODEPAGE_H_
#define KELM_PORT_CODEPAGE_H_

#include <string>
#include <string_view>

namespace kelm::port {

// Every byte maps to one UTF-16 unit (the code page's five unassigned bytes
// keep their value, as MultiByteToWideChar does).
std::u16string Cp1251ToUtf16(std::string_view text);

// Characters that Windows-1251 lacks become '?' (no best-fit substitutes).
std::string Utf16ToCp1251(std::u16string_view text);

}  // namespace kelm::port

#endif  // KELM_PORT_CODEPAGE_H_
