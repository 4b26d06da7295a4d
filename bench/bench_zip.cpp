// The ZIP archives against Info-ZIP and zlib, in one run:
// - Zip of a generated 100 MiB tree of mixed files (text, random bytes that
//   do not compress, zeros) at the default level, against `zip -r -6 -q` of
//   the same tree run as a process;
// - UnZip::ExtractAll of the library's archive against `unzip -o -q` of it;
// - one 64 MiB member extracted into memory (Extract to a vector) against
//   zlib's inflate of the same deflated bytes in one call.
// The tree is made below the build folder and removed at the end. Without
// zip or unzip on PATH their comparisons are skipped (said so in the output).
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "kelm/archive/unzip.h"
#include "kelm/archive/unzip_file_stream.h"
#include "kelm/archive/zip.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kTreeSize = 100u << 20;
constexpr std::size_t kMemberSize = 64u << 20;

// A repeatable stream of bytes.
class Random {
 public:
  std::uint32_t Next() {
    x_ = x_ * 1664525u + 1013904223u;
    return x_;
  }

 private:
  std::uint32_t x_ = 12345;
};

// Text that deflates to roughly a third, as reports and logs do.
std::vector<char> Text(std::size_t size, Random& random) {
  static const char* const kWords[] = {"account", "balance", "total", "report", "date", "amount", "client",
                                       "2024-05-06", "12.50", "debit", "credit", "status", "ok", "line"};
  std::vector<char> text;
  text.reserve(size + 32);
  while (text.size() < size) {
    const char* word = kWords[random.Next() % (sizeof kWords / sizeof *kWords)];
    text.insert(text.end(), word, word + std::strlen(word));
    const std::uint32_t n = random.Next();
    text.push_back(n % 9 == 0 ? '\n' : ' ');
    if (n % 5 == 0) {
      const std::string number = std::to_string(n % 100000);
      text.insert(text.end(), number.begin(), number.end());
      text.push_back(';');
    }
  }
  text.resize(size);
  return text;
}

std::vector<char> Noise(std::size_t size, Random& random) {
  std::vector<char> bytes(size);
  for (char& c : bytes) c = static_cast<char>(random.Next() >> 24);
  return bytes;
}

void WriteFile(const fs::path& path, const std::vector<char>& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Files of 16 KiB to 4 MiB in a few folders, taking text, random bytes and
// zeros in turn by size (about 45 %, 35 % and 20 %). The relative names.
std::vector<std::string> MakeTree(const fs::path& root) {
  static const std::size_t kSizes[] = {16 << 10, 200 << 10, 1 << 20, 4 << 20, 64 << 10, 700 << 10};
  Random random;
  std::vector<std::string> names;
  std::size_t total = 0;
  for (int i = 0; total < kTreeSize; ++i) {
    const std::size_t size = std::min(kSizes[i % 6], kTreeSize - total);
    const std::uint32_t kind = random.Next() % 20;
    const std::string folder = "dir" + std::to_string(i % 5) + (i % 3 == 0 ? "/sub" : "");
    const std::string name = folder + "/file" + std::to_string(i) + (kind < 9 ? ".txt" : kind < 16 ? ".bin" : ".dat");
    fs::create_directories(root / folder);
    WriteFile(root / name, kind < 9 ? Text(size, random) : kind < 16 ? Noise(size, random) : std::vector<char>(size));
    names.push_back(name);
    total += size;
  }
  return names;
}

bool HasTool(const char* tool) {
  return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0;
}

void Run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::printf("FAILED: %s\n", command.c_str());
    std::exit(1);
  }
}

// The size of a tree's files, to check an extraction.
std::uintmax_t TreeBytes(const fs::path& root) {
  std::uintmax_t total = 0;
  for (const auto& entry : fs::recursive_directory_iterator(root))
    if (entry.is_regular_file()) total += entry.file_size();
  return total;
}

void ZipTree(const fs::path& work, int rounds) {
  const fs::path tree = work / "tree";
  const std::vector<std::string> names = MakeTree(tree);
  const fs::path mine = work / "kelm.zip";
  const fs::path theirs = work / "infozip.zip";
  auto zip_mine = [&] {
    fs::remove(mine);
    Zip zip;
    if (zip.Init(mine.c_str()) != 0) std::exit(1);
    for (const std::string& name : names) {
      if (zip.Add((tree / name).c_str(), name.c_str()) != 0) std::exit(1);
    }
    if (zip.Close() != 0) std::exit(1);
  };
  const fs::path out = work / "out";
  auto unzip_mine = [&] {
    fs::remove_all(out);
    fs::create_directories(out);
    UnZip unzip;
    unzip.Init(mine.c_str());
    unzip.ExtractAll(out.c_str(), true);
  };
  const bool zip_there = HasTool("zip");
  const bool unzip_there = HasTool("unzip");
  if (!zip_there) std::printf("zip is not installed: Zip timed alone\n");
  if (!unzip_there) std::printf("unzip is not installed: UnZip::ExtractAll timed alone\n");

  if (zip_there) {
    const auto [library, baseline] = kelm::bench::BestInTurns(rounds, zip_mine, [&] {
      fs::remove(theirs);
      Run("cd '" + tree.string() + "' && zip -r -6 -q '" + theirs.string() + "' .");
    });
    kelm::bench::Report("Zip of a 100 MiB tree, default level", "zip -r -6 -q", library, baseline);
    std::printf("    archive sizes: kelm %ju bytes, Info-ZIP %ju bytes (%zu files, %zu bytes)\n",
                static_cast<std::uintmax_t>(fs::file_size(mine)), static_cast<std::uintmax_t>(fs::file_size(theirs)),
                names.size(), kTreeSize);
  } else {
    const double library = kelm::bench::BestSeconds(rounds, zip_mine);
    std::printf("Zip of a 100 MiB tree: %.3f ms, archive %ju bytes\n", library * 1e3,
                static_cast<std::uintmax_t>(fs::file_size(mine)));
  }

  if (unzip_there) {
    const fs::path out_theirs = work / "out_infozip";
    const auto [library, baseline] = kelm::bench::BestInTurns(rounds, unzip_mine, [&] {
      fs::remove_all(out_theirs);
      Run("unzip -o -q '" + mine.string() + "' -d '" + out_theirs.string() + "'");
    });
    if (TreeBytes(out_theirs) != kTreeSize) std::printf("INFO-ZIP EXTRACTED %ju BYTES\n", TreeBytes(out_theirs));
    kelm::bench::Report("UnZip::ExtractAll of that archive", "unzip -o -q", library, baseline);
  } else {
    std::printf("UnZip::ExtractAll of that archive: %.3f ms\n", kelm::bench::BestSeconds(rounds, unzip_mine) * 1e3);
  }
  if (TreeBytes(out) != kTreeSize) std::printf("KELM EXTRACTED %ju BYTES\n", TreeBytes(out));
}

// A member's deflated bytes as the archive holds them: after its local
// header (the first member starts the archive).
std::vector<unsigned char> RawMember(const std::vector<unsigned char>& archive, unsigned long long packed) {
  const auto at = [&](std::size_t i) { return static_cast<std::size_t>(archive[i] | archive[i + 1] << 8); };
  const std::size_t start = 30 + at(26) + at(28);
  return std::vector<unsigned char>(archive.begin() + static_cast<std::ptrdiff_t>(start),
                                    archive.begin() + static_cast<std::ptrdiff_t>(start + packed));
}

void ExtractToMemory(int rounds) {
  Random random;
  // Text with stretches of random bytes, as a mixed document.
  std::vector<unsigned char> content;
  content.reserve(kMemberSize);
  while (content.size() < kMemberSize) {
    const std::vector<char> part = random.Next() % 4 == 0 ? Noise(256 << 10, random) : Text(768 << 10, random);
    content.insert(content.end(), part.begin(), part.end());
  }
  content.resize(kMemberSize);
  std::vector<unsigned char> archive;
  {
    Zip zip;
    zip.Init(archive);
    if (zip.Add(content, "member.bin") != 0 || zip.Close() != 0) std::exit(1);
  }
  UnZipFileStream listing;
  listing.Open(std::vector<char>(archive.begin(), archive.end()));
  const std::vector<unsigned char> raw = RawMember(archive, listing.Members().at(0).packed_size);

  UnZip unzip;
  unzip.Init(archive);
  std::vector<unsigned char> mine;
  std::vector<unsigned char> theirs(kMemberSize);
  const auto [library, baseline] = kelm::bench::BestInTurns(
      rounds, [&] { unzip.Extract(mine, "member.bin"); },
      [&] {
        z_stream z{};
        inflateInit2(&z, -MAX_WBITS);  // the raw deflate data of a ZIP member
        z.next_in = const_cast<Bytef*>(raw.data());
        z.avail_in = static_cast<uInt>(raw.size());
        z.next_out = theirs.data();
        z.avail_out = static_cast<uInt>(theirs.size());
        if (inflate(&z, Z_FINISH) != Z_STREAM_END) std::exit(1);
        inflateEnd(&z);
      });
  if (mine != content || theirs != content) std::printf("CONTENT MISMATCH\n");
  std::printf("64 MiB member: %zu bytes deflated\n", raw.size());
  kelm::bench::Report("UnZip::Extract 64 MiB into a vector", "zlib inflate, one call", library, baseline);
}

}  // namespace

// With an argument, only the part named: tree or member.
int main(int argc, char** argv) {
  const std::string only = argc > 1 ? argv[1] : "";
  // Below the build folder: the program is in its bin/.
  const fs::path work = fs::canonical("/proc/self/exe").parent_path().parent_path() / "bench_zip_data";
  fs::remove_all(work);
  fs::create_directories(work);
  if (only.empty() || only == "tree") ZipTree(work, 2);
  if (only.empty() || only == "member") ExtractToMemory(5);
  fs::remove_all(work);
  return 0;
}
