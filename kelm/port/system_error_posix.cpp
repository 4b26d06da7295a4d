#include "kelm/port/system_error.h"

#include <cerrno>
#include <cstring>

namespace kelm::port {

unsigned long LastSystemError() { return static_cast<unsigned long>(errno); }

void SetLastSystemError(unsigned long code) { errno = static_cast<int>(code); }

// The C library's texts are ASCII in the locales a service runs in.
std::string SystemErrorText(unsigned long code) {
  const int saved = errno;
  char buffer[256];
  // GNU strerror_r may return a static text instead of filling the buffer.
  const char* text = strerror_r(static_cast<int>(code), buffer, sizeof buffer);
  errno = saved;
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace kelm::port
