// Translator::Translate (buffer form) on a dictionary of 10 000 entries and
// 500 masks, 1 M calls split into exact hits, mask hits and misses, against
// a loop of std::map<std::string, std::string>::find over the same texts.
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "kelm/localization/dic_file.h"
#include "kelm/localization/translator.h"

namespace {

constexpr int kEntries = 10000;
constexpr int kMasks = 500;

struct Kind {
  const char* name;
  int calls;
  std::vector<std::string> texts;
};

}  // namespace

int main() {
  using namespace Localization;
  const std::filesystem::path dir = std::filesystem::temp_directory_path() / "kelm-bench-translator";
  std::filesystem::create_directories(dir);
  const std::string dictionary = (dir / "benchEN.lng").string();

  DicMap entries;
  std::map<std::string, std::string> baseline_map;
  Kind exact{"exact hits", 600000, {}};
  Kind mask{"mask hits", 200000, {}};
  Kind miss{"misses", 200000, {}};
  for (int i = 0; i < kEntries; ++i) {
    const std::string source = "Сообщение о событии номер " + std::to_string(i) + " в журнале";
    const std::string translation = "Message about event number " + std::to_string(i) + " in the log";
    entries[{tcPlain, source}] = translation;
    baseline_map[source] = translation;
    exact.texts.push_back(source);
  }
  for (int k = 0; k < kMasks; ++k) {
    const std::string n = std::to_string(k);
    entries[{tcMask, "Операция" + n + " над {1} завершена с кодом {2}."}] = "Operation" + n + " on {1} ended with code {2}.";
    mask.texts.push_back("Операция" + n + " над файлом отчёта завершена с кодом " + std::to_string(k * 7) + ".");
    miss.texts.push_back("Неизвестное сообщение номер " + n + " без перевода");
  }
  MaskDic unused;
  Utils::StoreDicToFile(dictionary.c_str(), unused, entries, true, true);

  Translator& translator = Translator::Instance();
  translator.SetCurLanguage("EN");
  translator.UploadDicFromFile(dictionary.c_str());

  char out[512];
  size_t translated = 0;
  size_t found = 0;
  double library_total = 0;
  double baseline_total = 0;
  for (const Kind* kind : {&exact, &mask, &miss}) {
    const double library = kelm::bench::BestSeconds(3, [&] {
      for (int i = 0; i < kind->calls; ++i) {
        const std::string& text = kind->texts[static_cast<size_t>(i) % kind->texts.size()];
        translated += translator.Translate(text.c_str(), tcPlain, out, sizeof out) != text.c_str();
      }
    });
    const double baseline = kelm::bench::BestSeconds(3, [&] {
      for (int i = 0; i < kind->calls; ++i) {
        const auto it = baseline_map.find(kind->texts[static_cast<size_t>(i) % kind->texts.size()]);
        found += it != baseline_map.end();
        kelm::bench::KeepAlive(it);
      }
    });
    char what[96];
    std::snprintf(what, sizeof what, "Translate, %d %s", kind->calls, kind->name);
    kelm::bench::Report(what, "std::map::find", library, baseline);
    library_total += library;
    baseline_total += baseline;
  }
  kelm::bench::Report("Translate, 1 M calls in all", "std::map::find", library_total, baseline_total);
  std::filesystem::remove_all(dir);
  // Every exact and mask text is translated, three times over; no miss is.
  const size_t expected = 3 * static_cast<size_t>(exact.calls + mask.calls);
  if (translated != expected) {
    std::printf("WRONG RESULTS: %zu translated, %zu expected\n", translated, expected);
    return 1;
  }
  return found > 0 ? 0 : 1;
}
