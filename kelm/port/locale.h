// The system's locale, as far as the library asks about it: the country of
// the system's default locale, which chooses the interface language.
#ifndef KELM_PORT_LOCALE_H_
#define KELM_PORT_LOCALE_H_

namespace kelm::port {

// The abbreviated country name of the system's default locale in Windows'
// three-letter form ("RUS", "USA", "UKR", "DEU"...), Windows-1251.
// Windows: GetLocaleInfo(GetSystemDefaultLCID(), LOCALE_SABBREVCTRYNAME);
// empty when the system gives no answer.
// Elsewhere: the territory of the first of LC_ALL, LC_MESSAGES and LANG that
// is set ("ru_RU.UTF-8" gives "RUS"); a territory without a known name, the
// "C" and "POSIX" locales and an unset environment give "USA".
// The text stays valid until the calling thread asks again; a hook's answer
// is handed on as the hook gave it (null as an empty text).
const char* SystemCountry();

// A test seam: while a hook is set, SystemCountry() answers what it returns.
using SystemCountryHook = const char* (*)();
// Installs `hook` (null restores the system's answer) and returns the hook
// it replaces. Safe to call from any thread.
SystemCountryHook SetSystemCountryHook(SystemCountryHook hook);

}  // namespace kelm::port

#endif  // KELM_PORT_LOCALE_H_
