// The local time zone's distance from universal time.
#ifndef KELM_PORT_UTC_OFFSET_H_
#define KELM_PORT_UTC_OFFSET_H_

#include <chrono>

namespace kelm::port {

// Local time minus universal time at the moment `at`, daylight saving
// included; zero when the zone cannot be determined.
std::chrono::seconds UtcOffset(std::chrono::system_clock::time_point at);

}  // namespace kelm::port

#endif  // KELM_PORT_UTC_OFFSET_H_
