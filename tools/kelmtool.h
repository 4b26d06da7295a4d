// kelmtool: the library's command-line tool, a small dispatcher. Each
// subcommand lives in a file of its own (kelmtool_<name>.cpp) and has one
// line in the command table of kelmtool.cpp.
//
// Texts inside the tool are Windows-1251, as the library's are; main()
// converts the command line and everything written at the terminal's edge.
#ifndef KELM_TOOLS_KELMTOOL_H_
#define KELM_TOOLS_KELMTOOL_H_

#include <string>
#include <vector>

namespace kelm::tools {

// The exit codes of every subcommand.
enum ExitCode { kExitOk = 0, kExitProblems = 1, kExitUsage = 2 };

// Where a subcommand writes: results to Out, errors to Err.
class Output {
 public:
  virtual ~Output() = default;
  virtual void Out(const std::string& cp1251) = 0;
  virtual void Err(const std::string& cp1251) = 0;
  // A line about work under way that the next one replaces ("" takes it
  // away); shown only where errors go to a terminal.
  virtual void Progress(const std::string&) {}
};

using Args = std::vector<std::string>;

struct Command {
  const char* name;
  const char* summary;
  // The arguments after the command's name; returns an ExitCode. "--help"
  // as the first argument prints the command's usage.
  int (*run)(const Args& args, Output& out);
};

// Runs `args` (a command's name and its arguments): an error that the library
// raises is written to Err and gives kExitProblems.
int RunCommand(const Args& args, Output& out);

// kelmtool lng merge|check|translate: dictionary files.
int LngCommand(const Args& args, Output& out);
// ZIP archives: kelmtool zip, unzip, list and test.
int ZipCommand(const Args& args, Output& out);
int UnzipCommand(const Args& args, Output& out);
int ListCommand(const Args& args, Output& out);
int TestCommand(const Args& args, Output& out);
// The library's checksums of files: kelmtool crc32 and md5.
int Crc32Command(const Args& args, Output& out);
int Md5Command(const Args& args, Output& out);

}  // namespace kelm::tools

#endif  // KELM_TOOLS_KELMTOOL_H_
