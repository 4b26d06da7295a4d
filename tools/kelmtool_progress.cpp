#include "tools/kelmtool_progress.h"

#include <cstdio>

namespace kelm::tools {

void ProgressLine::Update(const std::string& what, unsigned long long done, unsigned long long total) {
  const Clock::time_point now = Clock::now();
  if (now - start_ < std::chrono::milliseconds(500) || now - last_ < std::chrono::milliseconds(100)) return;
  last_ = now;
  shown_ = true;
  std::string line = what + " " + std::to_string(done) + "/" + std::to_string(total);
  // The line stays within a narrow terminal; long names lose their start.
  constexpr std::size_t kWidth = 78;
  if (line.size() > kWidth) line = "..." + line.substr(line.size() - (kWidth - 3));
  out_.Progress(line);
}

std::string Bytes(unsigned long long n) {
  char text[32];
  if (n < 1024) {
    std::snprintf(text, sizeof text, "%llu B", n);
  } else if (n < 1024 * 1024) {
    std::snprintf(text, sizeof text, "%.1f KiB", n / 1024.0);
  } else {
    std::snprintf(text, sizeof text, "%.1f MiB", n / (1024.0 * 1024.0));
  }
  return text;
}

bool AsksForHelp(const Args& args) { return !args.empty() && (args[0] == "--help" || args[0] == "-h"); }

}  // namespace kelm::tools
