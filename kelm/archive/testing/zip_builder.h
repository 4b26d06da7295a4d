// Archives put together byte by byte, for tests that need what no writer
// makes: other hosts and flags, wrong sizes and CRCs, broken directories;
// and the small helpers the archive tests share.
#ifndef KELM_ARCHIVE_TESTING_ZIP_BUILDER_H_
#define KELM_ARCHIVE_TESTING_ZIP_BUILDER_H_

#include <zlib.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kelm/archive/unzip_file_stream.h"
#include "kelm/streams/stream.h"

namespace kelm::testing {

struct RawMember {
  RawMember() = default;
  RawMember(std::string stored_name, std::string content) : name(std::move(stored_name)), data(std::move(content)) {}
  // A copy with `field` set to `value`.
  template <typename T, typename V>
  RawMember With(T RawMember::*field, V value) const {
    RawMember m = *this;
    m.*field = value;
    return m;
  }

  std::string name;  // the name field as stored
  std::string data;  // stored as it is (method 0) unless `deflate`
  bool deflate = false;
  std::uint16_t flags = 0;
  std::uint16_t made_by = 0x0014;  // MS-DOS, 2.0
  std::string central_extra;
  // The central record keeps its sizes in a ZIP64 field only.
  bool zip64 = false;
  // When set, these replace what the data gives.
  long long crc = -1;
  long long size = -1;    // uncompressed
  long long packed = -1;  // compressed
};

class ZipBuilder {
 public:
  ZipBuilder& Add(RawMember m) {
    members_.push_back(std::move(m));
    return *this;
  }
  // The count written into the end record (-1: the number of members).
  ZipBuilder& Count(long long count) {
    count_ = count;
    return *this;
  }
  // Moved the central directory's recorded offset by `delta`.
  ZipBuilder& ShiftDirectory(long long delta) {
    shift_ = delta;
    return *this;
  }

  std::string Bytes() const {
    std::string out, central;
    for (const RawMember& m : members_) {
      std::string body = m.deflate ? Deflate(m.data) : m.data;
      const auto crc = m.crc >= 0 ? static_cast<std::uint32_t>(m.crc)
                                  : static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(m.data.data()),
                                                                     static_cast<uInt>(m.data.size())));
      const auto size = static_cast<std::uint32_t>(m.size >= 0 ? m.size : static_cast<long long>(m.data.size()));
      const auto packed = static_cast<std::uint32_t>(m.packed >= 0 ? m.packed : static_cast<long long>(body.size()));
      const auto offset = static_cast<std::uint32_t>(out.size());
      const std::uint16_t method = m.deflate ? 8 : 0;
      Put(out, 0x04034b50, 4), Put(out, 20, 2), Put(out, m.flags, 2), Put(out, method, 2), Put(out, 0x5A21, 2),
          Put(out, 0x5A21, 2), Put(out, crc, 4), Put(out, packed, 4), Put(out, size, 4),
          Put(out, m.name.size(), 2), Put(out, 0, 2);
      out += m.name;
      out += body;
      Put(central, 0x02014b50, 4), Put(central, m.made_by, 2), Put(central, 20, 2), Put(central, m.flags, 2),
          Put(central, method, 2), Put(central, 0x5A21, 2), Put(central, 0x5A21, 2), Put(central, crc, 4);
      std::string extra = m.central_extra;
      if (m.zip64) {
        std::string field;
        Put(field, 1, 2), Put(field, 16, 2), Put(field, size, 8), Put(field, packed, 8);
        extra = field + extra;
      }
      Put(central, m.zip64 ? 0xFFFFFFFF : packed, 4), Put(central, m.zip64 ? 0xFFFFFFFF : size, 4),
          Put(central, m.name.size(), 2), Put(central, extra.size(), 2), Put(central, 0, 2), Put(central, 0, 2),
          Put(central, 0, 2), Put(central, 0, 4), Put(central, offset, 4);
      central += m.name;
      central += extra;
    }
    const auto directory = static_cast<std::uint32_t>(out.size() + shift_);
    const auto count = static_cast<std::uint32_t>(count_ >= 0 ? count_ : static_cast<long long>(members_.size()));
    out += central;
    Put(out, 0x06054b50, 4), Put(out, 0, 2), Put(out, 0, 2), Put(out, count, 2), Put(out, count, 2),
        Put(out, central.size(), 4), Put(out, directory, 4), Put(out, 0, 2);
    return out;
  }

  static std::vector<char> Vector(const std::string& bytes) { return {bytes.begin(), bytes.end()}; }
  static std::vector<unsigned char> UVector(const std::string& bytes) { return {bytes.begin(), bytes.end()}; }

  // Raw deflate (no zlib header), as ZIP stores it.
  static std::string Deflate(const std::string& data) {
    z_stream z{};
    deflateInit2(&z, 9, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&z, static_cast<uLong>(data.size())) + 16, '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    z.avail_in = static_cast<uInt>(data.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
  }

 private:
  static void Put(std::string& out, unsigned long long value, int bytes) {
    for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
  }

  std::vector<RawMember> members_;
  long long count_ = -1;
  long long shift_ = 0;
};

// Bytes that deflate cannot shrink.
inline std::string Noise(std::size_t n, unsigned seed = 12345) {
  std::string text(n, '\0');
  for (char& c : text) c = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
  return text;
}

// Every member's name and content, in order.
using Contents_t = std::vector<std::pair<std::string, std::string>>;
inline Contents_t Contents(UnZipFileStream& unzip) {
  Contents_t contents;
  for (const std::string& name : unzip.Files()) {
    std::vector<char> bytes;
    if (!unzip.ExtractFile(name.c_str(), bytes)) bytes.assign({'<', '!', '>'});
    contents.emplace_back(name, std::string(bytes.begin(), bytes.end()));
  }
  return contents;
}
inline Contents_t Contents(const std::string& archive) {
  UnZipFileStream unzip;
  if (!unzip.Open(std::vector<char>(archive.begin(), archive.end()))) return {{"<not an archive>", unzip.Error()}};
  return Contents(unzip);
}

// Everything `s` holds.
inline std::string StreamText(Stream& s) {
  std::string out(s.Size(), '\0');
  s.Seek(0);
  if (!out.empty()) s.Read(out.data(), static_cast<unsigned>(out.size()));
  return out;
}

}  // namespace kelm::testing

#endif  // KELM_ARCHIVE_TESTING_ZIP_BUILDER_H_
