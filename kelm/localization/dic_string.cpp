#include "kelm/localization/dic_string.h"

namespace Localization::Utils {

const char* LanguageToString(Language language) {
  switch (language) {
    case lRussian: return "RU";
    case lEnglish: return "EN";
    case lGerman: return "DE";
    case lUkrainian: return "UA";
  }
  return nullptr;
}

const char* ContextToString(TranslationContext context) {
  switch (context) {
    case tcString: return "STRING";
    case tcMask: return "MASK";
    case tcPlain: break;
  }
  return "";
}

}  // namespace Localization::Utils
