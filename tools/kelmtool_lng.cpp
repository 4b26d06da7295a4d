// kelmtool lng: dictionary files (.lng).
//   merge DICT.lng XX_unknown.lng   adds the unknown texts that DICT lacks
//   check DICT.lng                  reports the lines that will not work as meant
//   translate DICT.lng TEXT...      shows what the Translator makes of texts
#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/files/file_utils.h"
#include "kelm/localization/dic_file.h"
#include "kelm/localization/mask_dic.h"
#include "kelm/localization/translator.h"
#include "kelm/streams/fstream.h"
#include "tools/kelmtool.h"

namespace kelm::tools {
namespace {

using Localization::DicMap;
using Localization::DicString;
using Localization::MaskDic;
using Localization::Utils::kDicLineSize;

constexpr unsigned kReadMode = 0x0001;
constexpr unsigned kEditMode = 0x0023;  // read, write, open or create

constexpr char kUsage[] =
    "usage: kelmtool lng merge DICT.lng XX_unknown.lng\n"
    "       kelmtool lng check DICT.lng\n"
    "       kelmtool lng translate [--context plain|string|mask] DICT.lng TEXT...\n"
    "\n"
    "  merge      adds the texts of an unknown-texts file that DICT lacks, with empty\n"
    "             translations, after DICT's lines, which stay as they are\n"
    "  check      reports, with line numbers, mask translations whose placeholders are\n"
    "             not the source's, lines too long for the reader (2047 characters),\n"
    "             keys given twice (the later line replaces the earlier) and empty\n"
    "             translations; exit code 1 when anything is reported\n"
    "  translate  shows what the Translator makes of each TEXT (context plain unless\n"
    "             --context says otherwise) in the language of DICT, which its name\n"
    "             tells: it ends with EN.lng, DE.lng or UA.lng\n";

std::string ReadFile(const std::string& path) {
  FStream file(path.c_str(), kReadMode);
  std::string content(file.Size(), '\0');
  file.Seek(0);
  file.Read(content.data(), static_cast<unsigned>(content.size()));
  return content;
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// Mask placeholders: each of the translation's must select one of the
// source's captures, which are counted by their place in the source.
void CheckPlaceholders(const DicString& key, const std::string& translation,
                       const std::function<void(const std::string&)>& report) {
  const std::vector<std::int32_t> source = MaskDic::PlaceholderNumbers(key.text);
  for (const std::int32_t n : MaskDic::PlaceholderNumbers(translation)) {
    const std::string name = "{" + std::to_string(n) + "}";
    if (std::find(source.begin(), source.end(), n) == source.end()) {
      report("mask translation uses " + name + ", which the source does not have");
    } else if (static_cast<size_t>(n) > source.size()) {
      report("mask translation uses " + name + ", but the source has only " + std::to_string(source.size()) +
             " placeholders: " + name + " stands for the n-th of them, whatever their numbers");
    }
  }
}

int Check(const Args& args, Output& out) {
  if (args.size() != 1) {
    out.Err(kUsage);
    return kExitUsage;
  }
  const std::string& dict = args[0];
  const std::string content = ReadFile(dict);
  std::map<DicString, size_t> seen;
  size_t problems = 0;
  size_t number = 0;
  for (size_t at = 0; at < content.size();) {
    const size_t end = std::min(content.find('\n', at), content.size());
    std::string_view line(content.data() + at, end - at);
    at = end + 1;
    ++number;
    const auto report = [&](const std::string& what) {
      out.Out(dict + ":" + std::to_string(number) + ": " + what + "\n");
      ++problems;
    };
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.size() >= kDicLineSize) {
      report("the line has " + std::to_string(line.size()) + " characters; it is read as " +
             std::to_string((line.size() + kDicLineSize - 2) / (kDicLineSize - 1)) + " entries of at most 2047");
    }
    if (const size_t nul = line.find('\0'); nul != std::string_view::npos) {
      report("a NUL byte ends the line after " + std::to_string(nul) + " characters");
      line = line.substr(0, nul);
    }
    DicString key;
    std::string translation;
    if (!Localization::Utils::ParseDicLine(line, key, translation)) continue;
    if (key.context == Localization::tcMask) CheckPlaceholders(key, translation, report);
    if (translation.empty()) report("empty translation of " + Quoted(key.text));
    const auto [first, added] = seen.try_emplace(key, number);
    if (!added) {
      report(Quoted(key.text) + " is given again: this line replaces line " + std::to_string(first->second));
      first->second = number;
    }
  }
  out.Out(dict + ": " + std::to_string(number) + " lines, " + std::to_string(problems) + " problems\n");
  return problems == 0 ? kExitOk : kExitProblems;
}

int Merge(const Args& args, Output& out) {
  if (args.size() != 2) {
    out.Err(kUsage);
    return kExitUsage;
  }
  const std::string& dict = args[0];
  MaskDic unused;
  DicMap unknown;
  Localization::Utils::LoadDicFromFile(unknown, unused, args[1].c_str(), true);
  DicMap known;
  if (FindFile(dict.c_str(), false)) Localization::Utils::LoadDicFromFile(known, unused, dict.c_str(), true);
  std::string lines;
  size_t added = 0;
  std::string line;
  for (const auto& [key, translation] : unknown) {
    if (known.count(key) != 0) continue;
    if (!Localization::Utils::FormatDicLine(key, std::string(), line)) {
      out.Err("kelmtool lng merge: " + Quoted(key.text) + " is too long for a dictionary line; left out\n");
      continue;
    }
    lines += line + "\r\n";
    ++added;
  }
  if (added != 0) {
    FStream file(dict.c_str(), kEditMode);
    const unsigned long size = file.Size();
    if (size != 0) {
      file.Seek(size - 1);
      if (file.GetChar() != '\n') lines.insert(0, "\r\n");
    }
    file.Seek(size);
    file.Write(lines.data(), static_cast<unsigned>(lines.size()));
    file.Flush();
  }
  out.Out(dict + ": " + std::to_string(added) + " texts added\n");
  return kExitOk;
}

int Translate(const Args& args, Output& out) {
  Localization::TranslationContext context = Localization::tcPlain;
  size_t first = 0;
  if (args.size() >= 2 && args[0] == "--context") {
    const std::map<std::string, Localization::TranslationContext> contexts = {
        {"plain", Localization::tcPlain}, {"string", Localization::tcString}, {"mask", Localization::tcMask}};
    const auto found = contexts.find(args[1]);
    if (found == contexts.end()) {
      out.Err("kelmtool lng translate: the context is plain, string or mask\n");
      return kExitUsage;
    }
    context = found->second;
    first = 2;
  }
  if (args.size() < first + 2) {
    out.Err(kUsage);
    return kExitUsage;
  }
  const std::string& dict = args[first];
  const char* language = nullptr;
  for (const char* code : {"EN", "DE", "UA"}) {
    if (std::string_view(dict).ends_with(std::string(code) + ".lng")) language = code;
  }
  if (language == nullptr) {
    out.Err("kelmtool lng translate: " + dict + " names no language: the name ends with EN.lng, DE.lng or UA.lng\n");
    return kExitUsage;
  }
  if (!FindFile(dict.c_str(), false)) {
    out.Err("kelmtool lng translate: " + dict + " not found\n");
    return kExitProblems;
  }
  Localization::Translator& translator = Localization::Translator::Instance();
  translator.SetCurLanguage(language);
  translator.UploadDicFromFile(dict.c_str());
  for (size_t i = first + 1; i < args.size(); ++i) {
    out.Out(args[i] + " -> " + translator.Translate(args[i], context) + "\n");
  }
  return kExitOk;
}

}  // namespace

int LngCommand(const Args& args, Output& out) {
  if (args.empty()) {
    out.Err(kUsage);
    return kExitUsage;
  }
  const Args rest(args.begin() + 1, args.end());
  if (args[0] == "--help" || args[0] == "-h") {
    out.Out(kUsage);
    return kExitOk;
  }
  if (args[0] == "merge") return Merge(rest, out);
  if (args[0] == "check") return Check(rest, out);
  if (args[0] == "translate") return Translate(rest, out);
  out.Err("kelmtool lng: unknown action '" + args[0] + "'\n" + kUsage);
  return kExitUsage;
}

}  // namespace kelm::tools
