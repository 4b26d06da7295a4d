#include "kelm/port/utc_offset.h"

#include <windows.h>

#include <cstdint>

namespace kelm::port {
namespace {

// FILETIME counts 100 ns units from 1601-01-01; the system clock counts from
// 1970-01-01.
constexpr std::int64_t kUnitsFrom1601To1970 = 116444736000000000LL;

std::int64_t Units(const FILETIME& time) {
  return static_cast<std::int64_t>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
}

}  // namespace

std::chrono::seconds UtcOffset(std::chrono::system_clock::time_point at) {
  using Units100ns = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;
  const std::int64_t units =
      std::chrono::duration_cast<Units100ns>(at.time_since_epoch()).count() + kUnitsFrom1601To1970;
  FILETIME universal;
  universal.dwLowDateTime = static_cast<DWORD>(units & 0xFFFFFFFF);
  universal.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(units) >> 32);
  SYSTEMTIME universalParts;
  SYSTEMTIME localParts;
  FILETIME local;
  if (!FileTimeToSystemTime(&universal, &universalParts) ||
      !SystemTimeToTzSpecificLocalTime(nullptr, &universalParts, &localParts) ||
      !SystemTimeToFileTime(&localParts, &local)) {
    return std::chrono::seconds(0);
  }
  // Both sides went through SYSTEMTIME, which keeps milliseconds; round
  // the difference to whole seconds against the truncated universal time.
  const std::int64_t truncated = units - units % 10000;
  return std::chrono::seconds((Units(local) - truncated) / 10000000);
}

}  // namespace kelm::port
