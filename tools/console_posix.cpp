#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "kelm/port/codepage.h"
#include "kelm/text/utf8.h"
#include "tools/console.h"

namespace kelm::tools {
namespace {

// True when the locale's code set is Windows-1251 ("ru_RU.CP1251").
bool TerminalIsCp1251() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    std::string_view name(value);
    const size_t dot = name.find('.');
    if (dot == std::string_view::npos) return false;
    name = name.substr(dot + 1, name.find('@', dot) - dot - 1);
    std::string codeset;
    for (const char c : name)
      if (c != '-' && c != '_') codeset += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return codeset == "cp1251" || codeset == "windows1251";
  }
  return false;
}

// UTF-8 to UTF-16; false for text that is not valid UTF-8.
bool DecodeUtf8(std::string_view text, std::u16string& out) {
  out.clear();
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const int extra = lead < 0x80 ? 0 : lead >= 0xF0 && lead < 0xF5 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 && lead < 0xE0 ? 1 : -1;
    if (extra < 0 || text.size() - i < static_cast<size_t>(1 + extra)) return false;
    char32_t u = extra == 0 ? lead : lead & (0x3F >> extra);
    for (int k = 1; k <= extra; ++k) {
      const auto c = static_cast<unsigned char>(text[i + k]);
      if ((c & 0xC0) != 0x80) return false;
      u = (u << 6) | (c & 0x3F);
    }
    const char32_t least[] = {0, 0x80, 0x800, 0x10000};
    if (u < least[extra] || u > 0x10FFFF || (u >= 0xD800 && u < 0xE000)) return false;
    if (u >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((u - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((u - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(u);
    }
    i += 1 + extra;
  }
  return true;
}

}  // namespace

bool IsTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) != 0; }

std::string SystemName(const std::string& cp1251) { return TerminalIsCp1251() ? cp1251 : Cp1251ToUtf8(cp1251); }

std::string FromSystemName(const std::string& bytes) {
  std::string cp1251;
  return !TerminalIsCp1251() && Utf8ToCp1251(bytes, &cp1251) ? cp1251 : bytes;
}

void Write(std::FILE* stream, const std::string& cp1251) {
  std::fputs(TerminalIsCp1251() ? cp1251.c_str() : Utf8(cp1251).c_str(), stream);
}

std::vector<std::string> Arguments(int argc, char** argv) {
  const bool cp1251 = TerminalIsCp1251();
  std::vector<std::string> args;
  std::u16string wide;
  for (int i = 1; i < argc; ++i) {
    if (!cp1251 && DecodeUtf8(argv[i], wide)) {
      args.push_back(kelm::port::Utf16ToCp1251(wide));
    } else {
      args.emplace_back(argv[i]);
    }
  }
  return args;
}

}  // namespace kelm::tools
