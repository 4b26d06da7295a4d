#include <string>

#include "kelm/port/codepage.h"
#include "kelm/port/locale.h"
#include "kelm/port/win_types.h"

namespace kelm::port {

const char* SystemLocaleCountry() {
  thread_local std::string country;
  wchar_t name[64];
  const int n = ::GetLocaleInfoW(::GetSystemDefaultLCID(), LOCALE_SABBREVCTRYNAME, name, 64);
  // n counts the terminating zero.
  country = n > 1 ? Utf16ToCp1251(std::u16string_view(reinterpret_cast<const char16_t*>(name),
                                                      static_cast<size_t>(n - 1)))
                  : std::string();
  return country.c_str();
}

}  // namespace kelm::port
