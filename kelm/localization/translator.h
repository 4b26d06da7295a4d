// Translator: the process-wide translator of the library's and its clients'
// Russian interface texts.
//
//   auto& t = Localization::Translator::Instance();
//   t.Init("C:\\app\\lng\\");          // language from the system; loads EN.lng
//   char out[256];
//   const char* shown = t.Translate("Да", Localization::tcString, out, sizeof out);
//
// Dictionaries are ".lng" files (dic_file.h) registered by name; a name that
// ends with "EN.lng", "DE.lng" or "UA.lng" is loaded while its language is
// the current one. Texts that no dictionary knows are collected per language
// and written, in the dictionary format with empty translations, to
// folder + "EN_unknown.lng" (and so on) when the language changes or on
// StoreUnknown.
//
// Thread safety: every operation holds m_cs for its whole duration. The
// pointer returned by the buffer form of Translate may point into the
// dictionary and stays valid only while no thread changes the language or
// loads a dictionary; pass an `out` buffer to keep a copy.
#ifndef KELM_LOCALIZATION_TRANSLATOR_H_
#define KELM_LOCALIZATION_TRANSLATOR_H_

#include <memory>
#include <string>
#include <vector>

#include "kelm/frame/sync.h"
#include "kelm/localization/dic_string.h"
#include "kelm/localization/mask_dic.h"

namespace Localization {

class Translator {
 public:
  static Translator& Instance();

  Translator(const Translator&) = delete;
  Translator& operator=(const Translator&) = delete;
  // Does not write the unknown texts (call StoreUnknown for that).
  ~Translator();

  // Keeps `folder` (at most 255 characters; file names are appended to it
  // directly, so it ends with a path separator; null is empty), then chooses
  // Russian if the system's country is "RUS" and English otherwise. In
  // English it loads folder + "EN.lng"; when that file is missing it adds
  // two masks that translate the version-error text and the missing-file
  // text, and reports "Файл <path> не найден!" with ErrorMsg.
  void Init(const char* folder);

  Language CurLanguage();
  // Switching stores the unknown texts of the old language, empties the
  // string dictionary, loads the registered files of the new language and
  // the new language's unknown texts. Masks and unknown texts already held
  // are kept: earlier languages' masks stay in force and their unknown texts
  // are written to the next language's file too (kept as it has always been).
  // A value outside 0..3 throws LocalizationException.
  void SetCurLanguage(Language language);
  // "RU", "EN", "DE", "UA"; null or empty keeps the language; any other code
  // throws LocalizationException ("неизвестный строковый код языка \"xx\"").
  void SetCurLanguage(const char* code);

  // Registers a dictionary file (once per exact name) and loads it when it
  // belongs to the current language. Null or empty does nothing.
  void UploadDicFromFile(const char* fileName);

  // The translation of `text` in the current language: in Russian the text
  // itself; else the string entry (context, text) unless `context` is 3;
  // else, when `out` has room, the mask translation in `out`; else the text
  // itself, which is recorded as unknown. Null gives null and "" gives "",
  // with `out` untouched; otherwise the result is also copied into `out`
  // (at most size - 1 bytes and a terminating zero) when `out` is given.
  const char* Translate(const char* text, TranslationContext context, char* out, unsigned size);
  // The same, by value; masks are always tried.
  std::string Translate(const std::string& text, TranslationContext context);

  void AddMask(const char* source, const char* translation);
  // Writes the string dictionary of the current language, empty
  // translations included, masks not.
  void DropDicToFile(const char* fileName);
  // Writes the unknown texts to folder + language code + "_unknown.lng",
  // replacing the file; nothing in Russian or when there are none.
  void StoreUnknown();

 private:
  friend class TranslatorTestAccess;

  Translator();

  // Records a text that found no translation: only texts shorter than 2048
  // bytes with at least one Cyrillic letter (0xC0..0xFF).
  void AddToUnknown(const char* text, TranslationContext context);
  void UploadUnknown();
  // The untranslated step of Translate: the text to return.
  const char* Lookup(const char* text, TranslationContext context, char* out, unsigned size);
  std::string UnknownFileName() const;

  char folder[256];
  Language language;
  std::vector<std::string> files;
  DicMap strings;
  DicMap unknown;
  std::unique_ptr<MaskDic> masks;
  DicString key_;  // lookup key, kept to reuse its storage

  static CriticalSection m_cs;
  static Translator m_instance;
};

}  // namespace Localization

#endif  // KELM_LOCALIZATION_TRANSLATOR_H_
