#include "kelm/port/locale.h"

#include <atomic>

namespace kelm::port {

// The system's own answer: locale_win.cpp / locale_posix.cpp.
const char* SystemLocaleCountry();

namespace {
std::atomic<SystemCountryHook> country_hook{nullptr};
}  // namespace

const char* SystemCountry() {
  if (const SystemCountryHook hook = country_hook.load()) {
    const char* answer = hook();
    return answer != nullptr ? answer : "";
  }
  return SystemLocaleCountry();
}

SystemCountryHook SetSystemCountryHook(SystemCountryHook hook) { return country_hook.exchange(hook); }

}  // namespace kelm::port
