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
  void Err(const std::string& cp1251) override {
    Progress("");
    kelm::tools::Write(stderr, cp1251);
  }
  // Carriage return, the text, blanks over what the last line had left.
  void Progress(const std::string& cp1251) override {
    if (!terminal_ || (cp1251.empty() && shown_ == 0)) return;
    std::string line = "\r" + cp1251;
    if (cp1251.size() < shown_) line += std::string(shown_ - cp1251.size(), ' ');
    if (cp1251.empty()) line += "\r";
    shown_ = cp1251.size();
    kelm::tools::Write(stderr, line);
    std::fflush(stderr);
  }

 private:
  bool terminal_ = kelm::tools::IsTerminal(stderr);
  std::size_t shown_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  KELMLIBInit();
  TerminalOutput out;
  const int code = kelm::tools::RunCommand(kelm::tools::Arguments(argc, argv), out);
  std::fflush(stdout);
  return code;
}
