#include "kelm/localization/translator.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "kelm/files/file_utils.h"
#include "kelm/frame/errors.h"
#include "kelm/localization/dic_file.h"
#include "kelm/localization/localization_exception.h"
#include "kelm/port/locale.h"

namespace Localization {

// The lock first: it is made before the instance and outlives it.
CriticalSection Translator::m_cs;
Translator Translator::m_instance;

using Utils::LanguageToString;

namespace {

constexpr size_t kUnknownLimit = 2048;

// Copies at most size - 1 bytes of `text` and a terminating zero; `text` may
// be `out` itself.
void CopyOut(const char* text, char* out, unsigned size) {
  if (out == nullptr || size == 0 || text == out) return;
  const size_t n = ::strnlen(text, size - 1);
  std::memmove(out, text, n);
  out[n] = '\0';
}

bool HasCyrillicLetter(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0xC0; });
}

}  // namespace

Translator::Translator() : folder{}, language(lRussian), masks(std::make_unique<MaskDic>()) {}

Translator::~Translator() { folder[0] = '\0'; }

Translator& Translator::Instance() {
  Locker lock(m_cs);
  return m_instance;
}

Language Translator::CurLanguage() {
  Locker lock(m_cs);
  return language;
}

void Translator::Init(const char* folderName) {
  Locker lock(m_cs);
  const bool russian = std::strcmp(kelm::port::SystemCountry(), "RUS") == 0;
  const size_t n = folderName != nullptr ? ::strnlen(folderName, sizeof folder - 1) : 0;
  std::memcpy(folder, folderName != nullptr ? folderName : "", n);
  folder[n] = '\0';
  SetCurLanguage(russian ? lRussian : lEnglish);
  if (language == lRussian) return;
  const std::string path = std::string(folder) + "EN.lng";
  if (FindFile(path.c_str(), false)) {
    UploadDicFromFile(path.c_str());
    return;
  }
  // The masks come first, so that the report itself can be shown in English.
  const std::string message = "Файл " + path + " не найден!";
  masks->AddTranslation("Ошибка! [ версия {1} (сборка {2}) ]", "Error! [ version {1} (setup {2}) ]");
  masks->AddTranslation("Файл {1} не найден!", "File {1} not found!");
  // Departure: the text is passed as an argument, not as the format, so
  // that a "%" in the folder's name cannot be taken for a conversion.
  ErrorMsg("%s", message.c_str());
}

void Translator::SetCurLanguage(Language newLanguage) {
  Locker lock(m_cs);
  if (LanguageToString(newLanguage) == nullptr) {
    // Not settled elsewhere: a value that names no language is refused
    // rather than used to build file names.
    const std::string message = "неизвестный код языка " + std::to_string(static_cast<int>(newLanguage));
    throw LocalizationException(message.c_str());
  }
  if (newLanguage == language) return;
  StoreUnknown();
  language = newLanguage;
  strings.clear();
  const std::vector<std::string> registered = files;
  for (const std::string& name : registered) UploadDicFromFile(name.c_str());
  UploadUnknown();
}

void Translator::SetCurLanguage(const char* code) {
  Locker lock(m_cs);
  if (code == nullptr || *code == '\0') return;
  for (const Language candidate : {lRussian, lEnglish, lGerman, lUkrainian}) {
    if (std::strcmp(code, LanguageToString(candidate)) == 0) {
      SetCurLanguage(candidate);
      return;
    }
  }
  const std::string message = std::string("неизвестный строковый код языка \"") + code + "\"";
  throw LocalizationException(message.c_str());
}

void Translator::UploadDicFromFile(const char* fileName) {
  Locker lock(m_cs);
  if (fileName == nullptr || *fileName == '\0') return;
  if (std::find(files.begin(), files.end(), fileName) == files.end()) files.emplace_back(fileName);
  if (language == lRussian) return;
  // A name shorter than the suffix is no dictionary.
  const std::string suffix = std::string(LanguageToString(language)) + ".lng";
  if (std::string_view(fileName).ends_with(suffix)) Utils::LoadDicFromFile(strings, *masks, fileName, false);
}

const char* Translator::Lookup(const char* text, TranslationContext context, char* out, unsigned size) {
  if (language == lRussian) return text;
  if (context != tcMask) {
    key_.context = context;
    key_.text.assign(text);
    const auto found = strings.find(key_);
    if (found != strings.end()) return found->second.c_str();
  }
  // Departure: masks are tried only when `out` has room for the terminator;
  // with a size of 0 the caller would get back a buffer that holds no text.
  if (out != nullptr && size != 0 && masks->Translate(text, out, size) != nullptr) return out;
  AddToUnknown(text, context);
  return text;
}

const char* Translator::Translate(const char* text, TranslationContext context, char* out, unsigned size) {
  if (text == nullptr || *text == '\0') return text;
  Locker lock(m_cs);
  const char* result = Lookup(text, context, out, size);
  CopyOut(result, out, size);
  return result;
}

std::string Translator::Translate(const std::string& text, TranslationContext context) {
  if (text.empty()) return std::string();
  Locker lock(m_cs);
  if (language == lRussian) return text;
  if (context != tcMask) {
    key_.context = context;
    key_.text.assign(text);
    const auto found = strings.find(key_);
    if (found != strings.end()) return found->second;
  }
  // MaskDic's own string form gives the text back unchanged when no mask
  // matches; the Translator must tell that apart to record the text.
  std::string translated;
  if (masks->TranslateTo(text, translated) && !translated.empty()) return translated;
  AddToUnknown(text.c_str(), context);
  return text;
}

void Translator::AddMask(const char* source, const char* translation) {
  Locker lock(m_cs);
  masks->AddTranslation(source, translation);
}

void Translator::DropDicToFile(const char* fileName) {
  Locker lock(m_cs);
  Utils::StoreDicToFile(fileName, *masks, strings, false, true);
}

std::string Translator::UnknownFileName() const {
  return std::string(folder) + LanguageToString(language) + "_unknown.lng";
}

void Translator::StoreUnknown() {
  Locker lock(m_cs);
  if (language == lRussian || unknown.empty()) return;
  Utils::StoreDicToFile(UnknownFileName().c_str(), *masks, unknown, false, true);
}

void Translator::UploadUnknown() {
  if (language == lRussian) return;
  const std::string path = UnknownFileName();
  if (FindFile(path.c_str(), false)) Utils::LoadDicFromFile(unknown, *masks, path.c_str(), false);
}

void Translator::AddToUnknown(const char* text, TranslationContext context) {
  if (text == nullptr) return;
  const std::string_view view(text, ::strnlen(text, kUnknownLimit));
  if (view.empty() || view.size() >= kUnknownLimit || !HasCyrillicLetter(view)) return;
  key_.context = context;
  key_.text.assign(view);
  if (unknown.find(key_) == unknown.end()) unknown.emplace(key_, std::string());
}

}  // namespace Localization
