#include "kelm/port/win_types.h"  // first: <shellapi.h> needs <windows.h>

#include <io.h>
#include <shellapi.h>

#include "kelm/port/codepage.h"
#include "tools/console.h"

namespace kelm::tools {

std::string SystemName(const std::string& cp1251) { return cp1251; }

std::string FromSystemName(const std::string& bytes) { return bytes; }

bool IsTerminal(std::FILE* stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))), &mode) != FALSE;
}

void Write(std::FILE* stream, const std::string& cp1251) {
  if (cp1251.empty()) return;
  const std::u16string wide = kelm::port::Cp1251ToUtf16(cp1251);
  const auto* units = reinterpret_cast<const wchar_t*>(wide.data());
  const int count = static_cast<int>(wide.size());
  std::fflush(stream);
  HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  DWORD mode = 0;
  if (handle != INVALID_HANDLE_VALUE && ::GetConsoleMode(handle, &mode)) {
    DWORD written = 0;
    ::WriteConsoleW(handle, units, static_cast<DWORD>(count), &written, nullptr);
    return;
  }
  UINT codepage = ::GetConsoleOutputCP();
  if (codepage == 0) codepage = CP_UTF8;
  const int size = ::WideCharToMultiByte(codepage, 0, units, count, nullptr, 0, nullptr, nullptr);
  if (size <= 0) return;
  std::string bytes(static_cast<size_t>(size), '\0');
  ::WideCharToMultiByte(codepage, 0, units, count, bytes.data(), size, nullptr, nullptr);
  std::fwrite(bytes.data(), 1, bytes.size(), stream);
}

// The command line as the system holds it, in UTF-16; `argv` (in the ANSI
// code page) only when that cannot be had.
std::vector<std::string> Arguments(int argc, char** argv) {
  std::vector<std::string> args;
  int count = 0;
  if (wchar_t** wide = ::CommandLineToArgvW(::GetCommandLineW(), &count)) {
    for (int i = 1; i < count; ++i) {
      args.push_back(kelm::port::Utf16ToCp1251(reinterpret_cast<const char16_t*>(wide[i])));
    }
    ::LocalFree(wide);
    return args;
  }
  for (int i = 1; i < argc; ++i) args.emplace_back(argv[i]);
  return args;
}

}  // namespace kelm::tools
