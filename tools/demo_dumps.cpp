// Crash dumps: a snapshot of the running process, then an access violation
// in a thread, caught as SE_Exception with its crash dump.
#include <filesystem>
#include <thread>

#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {
namespace {

volatile int sink;

// Compiled, like the whole demo, with -fnon-call-exceptions.
void ReadAddressZero() {
  volatile int* volatile nowhere = nullptr;
  sink = *nowhere;
}

// The newest file of `folder` whose name ends in `suffix`, and its size.
void ShowNewest(const char* folder, const char* suffix) {
  namespace fs = std::filesystem;
  std::error_code error;
  fs::path newest;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().string();
    if (name.size() >= std::char_traits<char>::length(suffix) &&
        name.compare(name.size() - std::char_traits<char>::length(suffix), std::string::npos, suffix) == 0 &&
        (newest.empty() || name > newest.filename().string())) {
      newest = entry.path();
    }
  }
  if (newest.empty()) {
    Say("  no dump found\n");
  } else {
    Say("  %s, %lu bytes\n", newest.string().c_str(), static_cast<unsigned long>(fs::file_size(newest, error)));
  }
}

}  // namespace

void DemoDumps() {
  Say("Crash dumps (folder \"%s\"):\n", MiniDumpPathChanger::Instance().Path().c_str());
  const int written = SnapCurrentProcessMiniDump(MiniDumpNormal);
  Say("  snapshot of the running process: %s\n", written != 0 ? "written" : "failed");
  ShowNewest("dumps", ".dmp");
  std::thread([] {
    MinidumpThreadInitializer::Instance();
    try {
      ReadAddressZero();
    } catch (const SE_Exception& e) {
      Say("  a thread read address 0 and caught SE_Exception 0x%08X\n", e.getSeNumber());
    }
  }).join();
  ShowNewest("dumps", "_crash.dmp");
  Say("\n");
}

}  // namespace kelm::tools
