// The vocabulary of the localization layer: the languages, the contexts in
// which a text is translated, and DicString, the key of a dictionary entry.
//
//   Localization::DicMap strings;
//   strings[{Localization::tcString, "Да"}] = "Yes";
#ifndef KELM_LOCALIZATION_DIC_STRING_H_
#define KELM_LOCALIZATION_DIC_STRING_H_

#include <map>
#include <string>

namespace Localization {

enum Language { lRussian = 0, lEnglish = 1, lGerman = 2, lUkrainian = 3 };

// The context is part of an entry's key: one source text may have one
// translation as a plain text and another as a "STRING".
enum TranslationContext { tcPlain = 1, tcString = 2, tcMask = 3 };

// The key of a dictionary entry. Ordered by context, then by text byte by
// byte (unsigned), as std::string compares.
class DicString {
 public:
  DicString() : context(tcPlain) {}
  // A null text is empty.
  DicString(TranslationContext context, const char* text)
      : context(context), text(text != nullptr ? text : "") {}
  DicString(TranslationContext context, std::string text) : context(context), text(std::move(text)) {}

  bool operator<(const DicString& other) const {
    return context != other.context ? context < other.context : text < other.text;
  }
  bool operator==(const DicString& other) const = default;

  TranslationContext context;
  std::string text;
};

// A string dictionary: entry key -> translation.
using DicMap = std::map<DicString, std::string>;

namespace Utils {

// "RU", "EN", "DE", "UA" for 0..3; null for any other value.
const char* LanguageToString(Language language);
// "STRING" for 2, "MASK" for 3, an empty text for every other value.
const char* ContextToString(TranslationContext context);

}  // namespace Utils
}  // namespace Localization

#endif  // KELM_LOCALIZATION_DIC_STRING_H_
