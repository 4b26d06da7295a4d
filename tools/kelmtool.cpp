// The command table of kelmtool and the dispatch to it.
#include <exception>
#include <string>

#include "kelm/frame/exceptions.h"
#include "tools/kelmtool.h"

namespace kelm::tools {
namespace {

constexpr Command kCommands[] = {
    {"lng", "dictionary files (.lng): merge, check, translate", LngCommand},
    {"zip", "packs files and folders into a ZIP archive", ZipCommand},
    {"unzip", "extracts a ZIP archive", UnzipCommand},
    {"list", "lists the members of a ZIP archive", ListCommand},
    {"test", "checks every member of a ZIP archive", TestCommand},
    {"crc32", "the library's CRC-32 of files", Crc32Command},
    {"md5", "MD5 digests of files", Md5Command},
};

void Usage(Output& out) {
  std::string text =
      "usage: kelmtool COMMAND [ARGS...]\n"
      "\n"
      "commands:\n";
  for (const Command& command : kCommands) text += std::string("  ") + command.name + "    " + command.summary + "\n";
  text +=
      "\n"
      "'kelmtool COMMAND --help' shows a command's usage.\n"
      "Exit codes: 0 done, 1 failed or problems found, 2 wrong usage.\n";
  out.Out(text);
}

}  // namespace

int RunCommand(const Args& args, Output& out) {
  if (args.empty()) {
    Usage(out);
    return kExitUsage;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    Usage(out);
    return kExitOk;
  }
  for (const Command& command : kCommands) {
    if (args[0] != command.name) continue;
    const Args rest(args.begin() + 1, args.end());
    try {
      return command.run(rest, out);
    } catch (const AException& e) {
      out.Err("kelmtool " + args[0] + ": " + static_cast<const char*>(e.Description()) + "\n");
    } catch (const std::exception& e) {
      out.Err("kelmtool " + args[0] + ": " + e.what() + "\n");
    }
    return kExitProblems;
  }
  out.Err("kelmtool: unknown command '" + args[0] + "'; 'kelmtool --help' lists the commands\n");
  return kExitUsage;
}

}  // namespace kelm::tools
