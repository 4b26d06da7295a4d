// The tools' texts are Windows-1251, as the library's are; these functions
// convert them at the edge, to and from the terminal's encoding.
//
// POSIX: the terminal's code set is the locale's (the first of LC_ALL,
// LC_CTYPE and LANG that is set): a CP1251 terminal gets the bytes as they
// are, any other is written in UTF-8, the usual terminal encoding.
// Windows: a console is written in UTF-16, redirected output in the
// console's output code page (UTF-8 when the program has no console), and
// the command line is read in UTF-16.
#ifndef KELM_TOOLS_CONSOLE_H_
#define KELM_TOOLS_CONSOLE_H_

#include <cstdio>
#include <string>
#include <vector>

namespace kelm::tools {

// The UTF-8 form of a Windows-1251 text.
std::string Utf8(const std::string& cp1251);

// Writes a Windows-1251 text to `stream` in the terminal's encoding.
void Write(std::FILE* stream, const std::string& cp1251);

// Whether `stream` goes to a terminal (a console on Windows).
bool IsTerminal(std::FILE* stream);

// File names between the tools' Windows-1251 texts and what the library
// hands the system. On Windows the library converts them itself. On POSIX it
// passes their bytes as they are, and the file system is as a rule in the
// terminal's encoding: SystemName gives the bytes of a name the user typed
// (an argument) or composed, FromSystemName the text of a name the system
// listed.
std::string SystemName(const std::string& cp1251);
std::string FromSystemName(const std::string& bytes);

// The command-line arguments after the program's name, as Windows-1251
// texts. An argument that is not valid in the terminal's encoding is taken
// as Windows-1251 already.
std::vector<std::string> Arguments(int argc, char** argv);

// printf into a Windows-1251 text, written to standard output in the
// terminal's encoding. Safe to call from several threads.
void Say(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace kelm::tools

#endif  // KELM_TOOLS_CONSOLE_H_
