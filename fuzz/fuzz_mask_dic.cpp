// MaskDic::AddTranslation and Translate with random masks and phrases. Each
// mask's own shape, its placeholders filled with a word, must match some
// mask; the buffer form must give the string form's result, cut to the
// buffer; nothing may take more than polynomial time (libFuzzer's timeout).
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kelm/localization/mask_dic.h"

namespace {

bool IsDelimiter(char c) { return std::string_view(" !,.:;()<>").find(c) != std::string_view::npos; }

// The mask's source with every placeholder word replaced by "q" and its
// delimiter: a phrase of the mask's own shape.
std::string Instance(const std::string& source) {
  std::string phrase;
  size_t from = 0;
  while (from < source.size()) {
    size_t end = from;
    while (end < source.size() && !IsDelimiter(source[end])) ++end;
    if (end < source.size()) ++end;
    std::string_view word(source.data() + from, end - from);
    from = end;
    const bool delimited = !word.empty() && IsDelimiter(word.back());
    const std::string_view body = delimited ? word.substr(0, word.size() - 1) : word;
    if (body.size() >= 2 && body.front() == '{' && body.back() == '}') {
      phrase += 'q';
      if (delimited) phrase += word.back();
      continue;
    }
    // A literal word as the phrase shows it: "\{" and "\}" are braces.
    for (size_t i = 0; i < word.size(); ++i) {
      if (word[i] == '\\' && i + 1 < word.size() && (word[i + 1] == '{' || word[i + 1] == '}')) continue;
      phrase += word[i];
    }
  }
  return phrase;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  Localization::MaskDic masks;
  std::vector<std::string> sources;
  const int count = in.ConsumeIntegralInRange(0, 12);
  for (int i = 0; i < count; ++i) {
    // Texts end at their first NUL, as the C strings they are given as.
    const std::string source = in.ConsumeRandomLengthString(200).c_str();
    const std::string translation = in.ConsumeRandomLengthString(200).c_str();
    const bool added = masks.AddTranslation(source.c_str(), translation.c_str());
    FUZZ_CHECK(added == (!source.empty() && !translation.empty()));
    if (added) sources.push_back(source);
  }
  std::vector<std::string> phrases;
  for (const std::string& source : sources) phrases.push_back(Instance(source));
  while (in.remaining_bytes() > 0 && phrases.size() < 16) phrases.push_back(in.ConsumeRandomLengthString(2000).c_str());

  for (size_t i = 0; i < phrases.size(); ++i) {
    const std::string& phrase = phrases[i];
    std::string translated;
    const bool matched = masks.TranslateTo(phrase, translated);
    if (i < sources.size()) FUZZ_CHECK(matched);
    FUZZ_CHECK(masks.Translate(phrase) == (matched ? translated : phrase));
    const unsigned room = static_cast<unsigned>(1 + (phrase.size() + i) % 40);
    const auto out = std::make_unique<char[]>(room);
    const char* result = masks.Translate(phrase.c_str(), out.get(), room);
    FUZZ_CHECK(result == (matched && !phrase.empty() ? out.get() : nullptr));
    if (result != nullptr) FUZZ_CHECK(translated.compare(0, room - 1, result) == 0);
  }
  return 0;
}
