#include "kelm/port/codepage.h"

#include "kelm/port/win_types.h"

namespace kelm::port {
namespace {
constexpr UINT kCp1251 = 1251;
}  // namespace

std::u16string Cp1251ToUtf16(std::string_view text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  std::u16string wide(text.size(), u'\0');  // one unit per byte in this code page
  const int n = ::MultiByteToWideChar(kCp1251, 0, text.data(), size,
                                      reinterpret_cast<wchar_t*>(wide.data()), size);
  wide.resize(n > 0 ? static_cast<size_t>(n) : 0);
  return wide;
}

std::string Utf16ToCp1251(std::u16string_view text) {
  if (text.empty()) return {};
  const auto* wide = reinterpret_cast<const wchar_t*>(text.data());
  const int size = static_cast<int>(text.size());
  const int needed = ::WideCharToMultiByte(kCp1251, WC_NO_BEST_FIT_CHARS, wide, size, nullptr, 0, "?", nullptr);
  if (needed <= 0) return {};
  std::string narrow(static_cast<size_t>(needed), '\0');
  ::WideCharToMultiByte(kCp1251, WC_NO_BEST_FIT_CHARS, wide, size, narrow.data(), needed, "?", nullptr);
  return narrow;
}

}  // namespace kelm::port
