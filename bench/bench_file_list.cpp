// GetFileList of a folder of 100 000 files against a bare readdir loop that
// only counts the names (what `ls -f | wc -l` does).
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "bench/bench.h"
#include "kelm/containers/collection.h"
#include "kelm/files/file_utils.h"
#include "kelm/port/file.h"

namespace {

constexpr int kFiles = 100000;

}  // namespace

int main() {
  std::string dir;
  if (!kelm::port::MakeTempFile(kelm::port::TempFolder().c_str(), "klb", &dir) ||
      ::unlink(dir.c_str()) != 0 || ::mkdir(dir.c_str(), 0700) != 0) {
    std::printf("cannot make the folder\n");
    return 1;
  }
  for (int i = 0; i < kFiles; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "/f%06d.dat", i);
    const int fd = ::open((dir + name).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (fd < 0) {
      std::printf("cannot make file %d\n", i);
      return 1;
    }
    ::close(fd);
  }

  int listed = 0;
  const std::string pattern = dir + "/*.*";
  const double library = kelm::bench::BestSeconds(5, [&] {
    Collection list(csDUPLICATE | csOWNER);
    GetFileList(pattern.c_str(), list, 0);
    listed = list.Count();
  });
  int counted = 0;
  const double baseline = kelm::bench::BestSeconds(5, [&] {
    counted = 0;
    DIR* d = ::opendir(dir.c_str());
    while (::readdir(d) != nullptr) ++counted;
    ::closedir(d);
  });
  ClearDirRecursive(dir.c_str(), true);
  if (listed != kFiles || counted != kFiles + 2) {
    std::printf("COUNT MISMATCH: listed %d, counted %d\n", listed, counted);
    return 1;
  }
  kelm::bench::Report("GetFileList, 100 000 files", "readdir loop", library, baseline);
  return 0;
}
