#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "kelm/port/locale.h"

namespace kelm::port {
namespace {

struct Territory {
  char iso2[3];
  char name[4];  // Windows' abbreviated country name: the ISO 3166 three-letter code
};

// Sorted by the two-letter code.
constexpr Territory kTerritories[] = {
    {"AD", "AND"}, {"AE", "ARE"}, {"AF", "AFG"}, {"AL", "ALB"}, {"AM", "ARM"}, {"AO", "AGO"},
    {"AR", "ARG"}, {"AT", "AUT"}, {"AU", "AUS"}, {"AZ", "AZE"}, {"BA", "BIH"}, {"BD", "BGD"},
    {"BE", "BEL"}, {"BG", "BGR"}, {"BH", "BHR"}, {"BO", "BOL"}, {"BR", "BRA"}, {"BY", "BLR"},
    {"CA", "CAN"}, {"CH", "CHE"}, {"CL", "CHL"}, {"CN", "CHN"}, {"CO", "COL"}, {"CR", "CRI"},
    {"CU", "CUB"}, {"CY", "CYP"}, {"CZ", "CZE"}, {"DE", "DEU"}, {"DK", "DNK"}, {"DO", "DOM"},
    {"DZ", "DZA"}, {"EC", "ECU"}, {"EE", "EST"}, {"EG", "EGY"}, {"ES", "ESP"}, {"ET", "ETH"},
    {"FI", "FIN"}, {"FR", "FRA"}, {"GB", "GBR"}, {"GE", "GEO"}, {"GR", "GRC"}, {"GT", "GTM"},
    {"HK", "HKG"}, {"HN", "HND"}, {"HR", "HRV"}, {"HU", "HUN"}, {"ID", "IDN"}, {"IE", "IRL"},
    {"IL", "ISR"}, {"IN", "IND"}, {"IQ", "IRQ"}, {"IR", "IRN"}, {"IS", "ISL"}, {"IT", "ITA"},
    {"JM", "JAM"}, {"JO", "JOR"}, {"JP", "JPN"}, {"KE", "KEN"}, {"KG", "KGZ"}, {"KH", "KHM"},
    {"KP", "PRK"}, {"KR", "KOR"}, {"KW", "KWT"}, {"KZ", "KAZ"}, {"LB", "LBN"}, {"LI", "LIE"},
    {"LK", "LKA"}, {"LT", "LTU"}, {"LU", "LUX"}, {"LV", "LVA"}, {"LY", "LBY"}, {"MA", "MAR"},
    {"MC", "MCO"}, {"MD", "MDA"}, {"ME", "MNE"}, {"MK", "MKD"}, {"MN", "MNG"}, {"MT", "MLT"},
    {"MX", "MEX"}, {"MY", "MYS"}, {"NG", "NGA"}, {"NI", "NIC"}, {"NL", "NLD"}, {"NO", "NOR"},
    {"NP", "NPL"}, {"NZ", "NZL"}, {"OM", "OMN"}, {"PA", "PAN"}, {"PE", "PER"}, {"PH", "PHL"},
    {"PK", "PAK"}, {"PL", "POL"}, {"PR", "PRI"}, {"PT", "PRT"}, {"PY", "PRY"}, {"QA", "QAT"},
    {"RO", "ROU"}, {"RS", "SRB"}, {"RU", "RUS"}, {"SA", "SAU"}, {"SE", "SWE"}, {"SG", "SGP"},
    {"SI", "SVN"}, {"SK", "SVK"}, {"SV", "SLV"}, {"SY", "SYR"}, {"TH", "THA"}, {"TJ", "TJK"},
    {"TM", "TKM"}, {"TN", "TUN"}, {"TR", "TUR"}, {"TW", "TWN"}, {"UA", "UKR"}, {"US", "USA"},
    {"UY", "URY"}, {"UZ", "UZB"}, {"VE", "VEN"}, {"VN", "VNM"}, {"YE", "YEM"}, {"ZA", "ZAF"},
    {"ZW", "ZWE"},
};

constexpr bool IsSorted() {
  for (size_t i = 1; i < std::size(kTerritories); ++i)
    if (std::string_view(kTerritories[i - 1].iso2) >= std::string_view(kTerritories[i].iso2)) return false;
  return true;
}
static_assert(IsSorted(), "the territory table is searched by halving");

constexpr char kUnknown[] = "USA";

// The locale name that decides the messages' language, as setlocale()
// would choose it from the environment.
std::string_view LocaleName() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

}  // namespace

// language[_territory][.codeset][@modifier]
const char* SystemLocaleCountry() {
  std::string_view name = LocaleName();
  name = name.substr(0, name.find_first_of(".@"));
  const size_t underscore = name.find('_');
  if (underscore == std::string_view::npos || name.size() - underscore != 3) return kUnknown;
  char iso2[3] = {name[underscore + 1], name[underscore + 2], '\0'};
  for (char& c : iso2)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  const auto* found = std::lower_bound(
      std::begin(kTerritories), std::end(kTerritories), iso2,
      [](const Territory& t, const char* key) { return std::strcmp(t.iso2, key) < 0; });
  if (found == std::end(kTerritories) || std::strcmp(found->iso2, iso2) != 0) return kUnknown;
  return found->name;
}

}  // namespace kelm::port
