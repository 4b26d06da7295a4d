#include "kelm/files/file_utils.h"

#include <mutex>

#include "kelm/frame/global_vars.h"
#include "kelm/port/file.h"

namespace {

GVars::GlobalVarRegistrator<std::string> addonPathRegistrator;

std::mutex statLock;
int openCount = 0;

constexpr unsigned long kFileNotFound = 2;
constexpr unsigned long kPathNotFound = 3;

kelm::port::FileOpenOptions OptionsOf(unsigned int mode) {
  kelm::port::FileOpenOptions options;
  options.read = (mode & fmRead) != 0;
  options.write = (mode & fmWrite) != 0;
  options.share_read = (mode & (fmShareNone | fmDenyRead)) == 0;
  options.share_write = (mode & (fmShareNone | fmDenyWrite)) == 0;
  options.disposition = (mode & fmCreate) != 0       ? kelm::port::FileDisposition::kCreateAlways
                        : (mode & fmOpenAlways) != 0 ? kelm::port::FileDisposition::kOpenAlways
                                                     : kelm::port::FileDisposition::kOpenExisting;
  options.delete_on_close = (mode & fmDeleteOnClose) != 0;
  options.random_access = true;
  return options;
}

}  // namespace

std::string& ThreadAddonPath() { return *addonPathRegistrator.Get(); }

void GrsFileStat::Clear() {
  std::lock_guard<std::mutex> lock(statLock);
  openCount = 0;
}

int GrsFileStat::OpenCount() {
  std::lock_guard<std::mutex> lock(statLock);
  return openCount;
}

void GrsFileStat::IncOpen() {
  std::lock_guard<std::mutex> lock(statLock);
  ++openCount;
}

void* OpenStreamFile(const char* name, unsigned int mode) {
  GrsFileStat::IncOpen();
  const kelm::port::FileOpenOptions options = OptionsOf(mode);
  HANDLE file = kelm::port::OpenFileHandle(name, options);
  if (file != INVALID_HANDLE_VALUE) return file;
  const unsigned long error = kelm::port::LastFileError();
  // Reaching the thread's variables may reset the system's last error.
  const std::string& addon = ThreadAddonPath();
  if ((error == kFileNotFound || error == kPathNotFound) && !addon.empty()) {
    file = kelm::port::OpenFileHandle((addon + name).c_str(), options);
  }
  if (file == INVALID_HANDLE_VALUE) kelm::port::SetLastFileError(error);
  return file;
}
