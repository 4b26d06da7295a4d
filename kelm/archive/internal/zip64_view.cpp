#include "kelm/archive/internal/zip64_view.h"

#include <algorithm>
#include <string>

namespace kelm::archive::internal {
namespace {

constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::uint32_t kZip64EndSignature = 0x06064b50;
constexpr std::uint32_t kZip64LocatorSignature = 0x07064b50;
constexpr std::uint32_t kCentralSignature = 0x02014b50;
constexpr std::uint32_t kMarker = 0xFFFFFFFF;
// The end record, its comment and the ZIP64 locator before it.
constexpr unsigned long long kTailSearch = 22 + 0xFFFF + 20;
// A central directory larger than this is not mended.
constexpr unsigned long long kMaxDirectory = 256ull << 20;

unsigned long long Le(const std::string& bytes, std::size_t at, int n) {
  unsigned long long value = 0;
  for (int i = n - 1; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

bool ReadAt(Channel& channel, unsigned long long pos, std::size_t n, std::string* out) {
  out->assign(n, '\0');
  return channel.Seek(pos) && channel.Read(out->data(), static_cast<unsigned long>(n)) == n;
}

}  // namespace

std::vector<Zip64View::Patch> Zip64View::FindPatches(Channel& channel) {
  std::vector<Patch> patches;
  const unsigned long long size = channel.Size();
  if (size < 22) return patches;
  const unsigned long long tail_start = size > kTailSearch ? size - kTailSearch : 0;
  std::string tail;
  if (!ReadAt(channel, tail_start, static_cast<std::size_t>(size - tail_start), &tail)) return patches;
  std::size_t end = tail.size() - 22 + 1;
  while (end-- > 0 && Le(tail, end, 4) != kEndSignature) {
  }
  if (end == static_cast<std::size_t>(-1)) return patches;

  // minizip finds the directory right before the end record, whatever
  // offset it records (the difference is taken for bytes before the archive).
  unsigned long long directory = Le(tail, end + 16, 4);
  unsigned long long directory_size = Le(tail, end + 12, 4);
  unsigned long long end_pos = tail_start + end;
  std::string record;
  if (end >= 20 && Le(tail, end - 20, 4) == kZip64LocatorSignature) {
    end_pos = Le(tail, end - 20 + 8, 8);
    if (!ReadAt(channel, end_pos, 56, &record) || Le(record, 0, 4) != kZip64EndSignature) return patches;
    directory_size = Le(record, 40, 8);
    directory = Le(record, 48, 8);
  }
  if (directory + directory_size > end_pos || directory_size > kMaxDirectory) return patches;
  const unsigned long long base = end_pos - directory_size;
  std::string entries;
  if (!ReadAt(channel, base, static_cast<std::size_t>(directory_size), &entries)) return patches;

  for (std::size_t at = 0; entries.size() - at >= 46 && Le(entries, at, 4) == kCentralSignature;) {
    const std::size_t name = Le(entries, at + 28, 2), extra = Le(entries, at + 30, 2);
    const std::size_t comment = Le(entries, at + 32, 2);
    if (entries.size() - at - 46 < name + extra + comment) break;
    // The extra field holds the values of the marked fields in this order.
    const std::size_t fields[] = {24, 20, 42};  // uncompressed, compressed, local header offset
    for (std::size_t e = at + 46 + name; e + 4 <= at + 46 + name + extra;) {
      const std::size_t id = Le(entries, e, 2), length = Le(entries, e + 2, 2);
      if (e + 4 + length > at + 46 + name + extra) break;
      if (id == 1) {
        std::size_t value = e + 4;
        for (const std::size_t field : fields) {
          if (Le(entries, at + field, 4) != kMarker) continue;
          if (value + 8 > e + 4 + length) break;
          const unsigned long long real = Le(entries, value, 8);
          if (real < kMarker) patches.push_back({base + at + field, static_cast<std::uint32_t>(real)});
          value += 8;
        }
        break;
      }
      e += 4 + length;
    }
    at += 46 + name + extra + comment;
  }
  return patches;
}

std::unique_ptr<Channel> Zip64View::Over(std::unique_ptr<Channel> channel) {
  std::vector<Patch> patches = FindPatches(*channel);
  channel->Seek(0);
  if (patches.empty()) return channel;
  std::sort(patches.begin(), patches.end(), [](const Patch& a, const Patch& b) { return a.pos < b.pos; });
  return std::unique_ptr<Channel>(new Zip64View(std::move(channel), std::move(patches)));
}

unsigned long Zip64View::Read(void* dst, unsigned long n) {
  const unsigned long long from = inner_->Tell();
  const unsigned long done = inner_->Read(dst, n);
  if (inner_->Failed()) Fail(inner_->SystemError());
  auto* bytes = static_cast<unsigned char*>(dst);
  auto patch = std::lower_bound(patches_.begin(), patches_.end(), from > 3 ? from - 3 : 0,
                                [](const Patch& p, unsigned long long pos) { return p.pos < pos; });
  for (; patch != patches_.end() && patch->pos < from + done; ++patch) {
    for (int i = 0; i < 4; ++i) {
      const unsigned long long at = patch->pos + i;
      if (at >= from && at < from + done) bytes[at - from] = static_cast<unsigned char>(patch->value >> (8 * i));
    }
  }
  return done;
}

unsigned long Zip64View::Write(const void*, unsigned long) {
  Fail(0);
  return 0;
}

}  // namespace kelm::archive::internal
