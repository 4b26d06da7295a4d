#include "kelm/port/system_error.h"

#include "kelm/port/codepage.h"
#include "kelm/port/win_types.h"

namespace kelm::port {

unsigned long LastSystemError() { return ::GetLastError(); }

void SetLastSystemError(unsigned long code) { ::SetLastError(static_cast<DWORD>(code)); }

std::string SystemErrorText(unsigned long code) {
  wchar_t* text = nullptr;
  const DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(code), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
      reinterpret_cast<LPWSTR>(&text), 0, nullptr);
  if (length == 0 || text == nullptr) return {};
  std::string narrow =
      Utf16ToCp1251(std::u16string_view(reinterpret_cast<const char16_t*>(text), length));
  ::LocalFree(text);
  return narrow;
}

}  // namespace kelm::port
