// kelmtool COMMAND [ARGS...]
#include <cstdio>
#include <string>

#include "kelm/frame/startup.h"
#include "tools/console.h"
#include "tools/kelmtool.h"

namespace {

class TerminalOutput : public kelm::tools::Output {
 public:
  void Out(const std::string& cp1251) override { kelm::tools::Write(stdout, cp1251); }
  void Err(const std::string& cp1251) override { kelm::tools::Write(stderr, cp1251); }
};

}  // namespace

int main(int argc, char** argv) {
  KELMLIBInit();
  TerminalOutput out;
  const int code = kelm::tools::RunCommand(kelm::tools::Arguments(argc, argv), out);
  std::fflush(stdout);
  return code;
}
