// Any bytes are an archive for UnZipFileStream, opened from memory and, for
// one input in eight (chosen by size: a temporary file costs milliseconds),
// from a Stream, which is read through its temporary file. Every member is
// read in pieces into a MemStream and whole into a vector: both ways must
// agree on success and on the bytes, which must be the size the archive
// records; the two openings must list and read the same.
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kelm/archive/unzip_file_stream.h"
#include "kelm/streams/mem_stream.h"

namespace {

struct Read {
  bool ok;
  std::vector<char> bytes;
  bool operator==(const Read&) const = default;
};

std::vector<char> Content(Stream& stream) {
  std::vector<char> bytes(stream.Size());
  stream.Seek(0);
  if (!bytes.empty()) stream.Read(bytes.data(), static_cast<unsigned>(bytes.size()));
  return bytes;
}

// Reads every member both ways; by position in the list, as the names find
// the first member of each name.
std::vector<Read> ReadAll(UnZipFileStream& unzip) {
  std::vector<Read> reads;
  const std::vector<ArchiveMember> members = unzip.Members();
  FUZZ_CHECK(members.size() == unzip.Files().size());
  for (std::size_t i = 0; i < members.size(); ++i) {
    const std::string& name = unzip.Files()[i];
    MemStream pieces;
    const bool by_pieces = unzip.ExtractFile(name.c_str(), pieces);
    std::vector<char> whole{'x'};
    const bool at_once = unzip.ExtractFile(name.c_str(), whole);
    FUZZ_CHECK(by_pieces == at_once);
    FUZZ_CHECK(at_once || (whole.empty() && *unzip.Error() != '\0'));
    if (at_once) {
      FUZZ_CHECK(Content(pieces) == whole);
      // The member found by name may be an earlier one of the same name, or
      // any other when the name holds a NUL byte (the look-up sees only
      // the bytes before it).
      std::size_t first = 0;
      while (unzip.Files()[first] != name) ++first;
      const bool found_by_name = first == i && name.find('\0') == std::string::npos;
      FUZZ_CHECK(whole.size() == members[i].size || !found_by_name);
    }
    reads.push_back({at_once, std::move(whole)});
  }
  std::vector<char> none{'x'};
  FUZZ_CHECK(!unzip.ExtractFile(nullptr, none) && none.empty());
  return reads;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<char> bytes(data, data + size);
  UnZipFileStream from_memory;
  const bool opened = from_memory.Open(bytes);
  FUZZ_CHECK(opened == from_memory.IsOpened());
  FUZZ_CHECK(opened || *from_memory.Error() != '\0');
  std::vector<Read> reads;
  if (opened) reads = ReadAll(from_memory);
  from_memory.Close(true);

  if (size % 8 == 1) {
    MemStream source;
    if (size > 0) source.Write(data, static_cast<unsigned>(size));
    UnZipFileStream from_stream;
    FUZZ_CHECK(from_stream.Open(source) == opened);
    if (opened) {
      FUZZ_CHECK(from_stream.IsTempFile());
      FUZZ_CHECK(ReadAll(from_stream) == reads);
    }
    from_stream.Close(true);
  }
  return 0;
}
