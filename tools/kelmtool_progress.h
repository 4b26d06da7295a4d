// The progress line of kelmtool's longer commands, and what they share.
#ifndef KELM_TOOLS_KELMTOOL_PROGRESS_H_
#define KELM_TOOLS_KELMTOOL_PROGRESS_H_

#include <chrono>
#include <string>

#include "tools/kelmtool.h"

namespace kelm::tools {

// Shows "<what> <n>/<total>" through Output::Progress once the work has
// run half a second, at most ten times a second; the line goes when the
// object does.
class ProgressLine {
 public:
  explicit ProgressLine(Output& out) : out_(out), start_(Clock::now()) {}
  ~ProgressLine() {
    if (shown_) out_.Progress("");
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void Update(const std::string& what, unsigned long long done, unsigned long long total);

 private:
  using Clock = std::chrono::steady_clock;
  Output& out_;
  Clock::time_point start_;
  Clock::time_point last_{};
  bool shown_ = false;
};

// "12.3 MiB" and the like.
std::string Bytes(unsigned long long n);

// Whether `args` asks for a command's usage ("--help", "-h").
bool AsksForHelp(const Args& args);

}  // namespace kelm::tools

#endif  // KELM_TOOLS_KELMTOOL_PROGRESS_H_
