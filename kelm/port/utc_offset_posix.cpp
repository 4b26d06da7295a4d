#include "kelm/port/utc_offset.h"

#include <time.h>

namespace kelm::port {

std::chrono::seconds UtcOffset(std::chrono::system_clock::time_point at) {
  const time_t seconds = std::chrono::system_clock::to_time_t(at);
  struct tm local;
  if (localtime_r(&seconds, &local) == nullptr) return std::chrono::seconds(0);
  return std::chrono::seconds(local.tm_gmtoff);
}

}  // namespace kelm::port
