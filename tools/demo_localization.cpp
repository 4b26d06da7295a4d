// Localization: an English dictionary with plain, string and mask lines, the
// Translator's results, and the file of texts it did not know.
#include <filesystem>
#include <string>

#include "kelm/kelm.h"
#include "kelm/port/locale.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {

void DemoLocalization() {
  Say("Localization:\n");
  const std::filesystem::path dir = std::filesystem::temp_directory_path() / "kelm-demo-lng";
  std::filesystem::create_directories(dir);
  const std::string folder = (dir / "").string();  // file names are appended to it
  const std::string dictionary = folder + "EN.lng";
  {
    FStream file(dictionary.c_str(), 0x83);  // read, write, create anew
    for (const char* line : {"Да#Yes", "Отмена#Cancel#STRING", "Файл {1} не найден!#File {1} not found!#MASK",
                             "Скопировано {1} файлов в папку {2}.#Folder {2} received {1} files.#MASK"}) {
      file.TxtWrite(line);
      Say("  EN.lng: %s\n", line);
    }
  }

  using namespace Localization;
  Translator& translator = Translator::Instance();
  translator.Init(folder.c_str());
  Say("  system country \"%s\": Init chose %s; switching to English\n", kelm::port::SystemCountry(),
      Utils::LanguageToString(translator.CurLanguage()));
  translator.UploadDicFromFile(dictionary.c_str());
  translator.SetCurLanguage("EN");

  char out[256];
  const struct {
    const char* text;
    TranslationContext context;
  } texts[] = {{"Да", tcPlain},
               {"Отмена", tcString},
               {"Файл C:\\data\\report.txt не найден!", tcPlain},
               {"Скопировано 12 файлов в папку Архив.", tcPlain},
               {"Нет связи с сервером", tcPlain}};
  for (const auto& t : texts) {
    Say("  %-40s -> %s\n", t.text, translator.Translate(t.text, t.context, out, sizeof out));
  }

  translator.StoreUnknown();
  FStream unknown((folder + "EN_unknown.lng").c_str(), 0x01);
  char line[Utils::kDicLineSize];
  while (!unknown.IsEOF()) {
    unknown.TxtRead(line, sizeof line);
    Say("  EN_unknown.lng: %s\n", line);
  }
  unknown.Close();
  std::filesystem::remove_all(dir);
  Say("\n");
}

}  // namespace kelm::tools
