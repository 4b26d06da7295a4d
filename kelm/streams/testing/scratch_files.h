// For tests of the file streams: names of scratch files in the system's
// temporary folder, removed when the test is done, and whole-file reads and
// writes that go around the stream under test.
#ifndef KELM_STREAMS_TESTING_SCRATCH_FILES_H_
#define KELM_STREAMS_TESTING_SCRATCH_FILES_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "kelm/port/file.h"

namespace kelm::testing {

// A unique file name; the file is deleted (read-only bit cleared first)
// when the object goes.
class ScratchFile {
 public:
  explicit ScratchFile(const char* tag = "f") {
    static unsigned counter = 0;
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    name_ = kelm::port::TempFolder() + "kelm_fst_" + tag + "_" + std::to_string(now % 1000000007) + "_" +
            std::to_string(counter++) + ".bin";
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() {
    kelm::port::SetPathAttributes(name_.c_str(), 0x80);
    kelm::port::RemoveFile(name_.c_str());
  }
  const char* c_str() const { return name_.c_str(); }
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

// The whole file, or "<missing>" when it cannot be opened.
inline std::string ReadWhole(const std::string& name) {
  kelm::port::FileOpenOptions options;
  options.read = true;
  HANDLE file = kelm::port::OpenFileHandle(name.c_str(), options);
  if (file == INVALID_HANDLE_VALUE) return "<missing>";
  std::string all;
  char chunk[65536];
  unsigned long done = 0;
  while (kelm::port::ReadFileData(file, chunk, sizeof chunk, &done) && done > 0) all.append(chunk, done);
  kelm::port::CloseFileHandle(file);
  return all;
}

inline bool WriteWhole(const std::string& name, const std::string& bytes) {
  kelm::port::FileOpenOptions options;
  options.write = true;
  options.disposition = kelm::port::FileDisposition::kCreateAlways;
  HANDLE file = kelm::port::OpenFileHandle(name.c_str(), options);
  if (file == INVALID_HANDLE_VALUE) return false;
  unsigned long done = 0;
  const bool ok = kelm::port::WriteFileData(file, bytes.data(), static_cast<unsigned long>(bytes.size()), &done) &&
                  done == bytes.size();
  kelm::port::CloseFileHandle(file);
  return ok;
}

// Reproducible bytes.
inline std::string Noise(std::size_t n, std::uint32_t seed) {
  std::string s(n, '\0');
  std::uint32_t x = seed * 2654435761u + 1;
  for (auto& c : s) {
    x = x * 1103515245u + 12345u;
    c = static_cast<char>(x >> 23);
  }
  return s;
}

}  // namespace kelm::testing

#endif  // KELM_STREAMS_TESTING_SCRATCH_FILES_H_
