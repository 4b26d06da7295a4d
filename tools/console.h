// Printing the library's Windows-1251 texts on a UTF-8 terminal.
#ifndef KELM_TOOLS_CONSOLE_H_
#define KELM_TOOLS_CONSOLE_H_

#include <string>

namespace kelm::tools {

// The UTF-8 form of a Windows-1251 text.
std::string Utf8(const std::string& cp1251);

// printf into a Windows-1251 text, written to standard output as UTF-8.
// Safe to call from several threads.
void Say(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace kelm::tools

#endif  // KELM_TOOLS_CONSOLE_H_
