// minizip 1.1 recognises a ZIP64 value in a central directory record by
// comparing the 32-bit field with (unsigned long)-1. Where unsigned long has
// 64 bits (Linux x86-64) that is never true: the record's real size or
// offset in its ZIP64 extra field is ignored and 0xFFFFFFFF is taken
// instead. Windows, where unsigned long has 32 bits, reads them right.
//
// Zip64View serves minizip the archive with such fields already holding the
// value of the extra field wherever that value fits in 32 bits (archives
// written with ZIP64 records forced, as Info-ZIP's zip -fz does). Values of
// 4 GiB and more cannot be put there: on such platforms members that need
// them stay unreadable.
#ifndef KELM_ARCHIVE_INTERNAL_ZIP64_VIEW_H_
#define KELM_ARCHIVE_INTERNAL_ZIP64_VIEW_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "kelm/archive/internal/io_channel.h"

namespace kelm::archive::internal {

// Whether minizip misses ZIP64 values on this platform.
inline constexpr bool kMinizipMissesZip64 = sizeof(unsigned long) > 4;

class Zip64View final : public Channel {
 public:
  struct Patch {
    unsigned long long pos;  // of the 32-bit field in the archive
    std::uint32_t value;
  };

  // `channel` itself when nothing needs mending, else a view over it.
  static std::unique_ptr<Channel> Over(std::unique_ptr<Channel> channel);
  // The fields to mend in the archive `channel` holds (its position moves).
  static std::vector<Patch> FindPatches(Channel& channel);

  unsigned long Read(void* dst, unsigned long n) override;
  unsigned long Write(const void* src, unsigned long n) override;
  unsigned long long Tell() const override { return inner_->Tell(); }
  bool Seek(unsigned long long pos) override { return inner_->Seek(pos); }
  unsigned long long Size() override { return inner_->Size(); }
  bool Close() override { return inner_->Close(); }

 private:
  Zip64View(std::unique_ptr<Channel> inner, std::vector<Patch> patches)
      : inner_(std::move(inner)), patches_(std::move(patches)) {}

  std::unique_ptr<Channel> inner_;
  std::vector<Patch> patches_;  // sorted by position
};

}  // namespace kelm::archive::internal

#endif  // KELM_ARCHIVE_INTERNAL_ZIP64_VIEW_H_
