#include "kelm/port/strings.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "kelm/port/codepage.h"

namespace kelm::port {

int LoadTableString(HINSTANCE module, unsigned id, char* buffer, int capacity) {
  if (buffer == nullptr || capacity < 1) return 0;
  // With no room given, LoadStringW answers a pointer to the resource itself
  // (not NUL-terminated) and its length.
  const wchar_t* resource = nullptr;
  const int length = ::LoadStringW(module, id, reinterpret_cast<LPWSTR>(&resource), 0);
  if (length <= 0 || resource == nullptr) {
    buffer[0] = '\0';
    return 0;
  }
  const std::string text = Utf16ToCp1251(
      std::u16string_view(reinterpret_cast<const char16_t*>(resource), static_cast<size_t>(length)));
  const size_t copied = std::min(text.size(), static_cast<size_t>(capacity - 1));
  std::memcpy(buffer, text.data(), copied);
  buffer[copied] = '\0';
  return static_cast<int>(copied);
}

}  // namespace kelm::port
