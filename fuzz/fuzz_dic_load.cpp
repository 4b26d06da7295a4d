// Any bytes are a dictionary: ReadDic (the reading of LoadDicFromFile) over
// the input, then the entries and masks it produced written and read again.
// The written dictionary must read back as exactly what was written.
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"
#include "kelm/containers/collection.h"
#include "kelm/localization/dic_file.h"
#include "kelm/streams/mem_stream.h"

namespace {

using Localization::DicMap;
using Localization::MaskDic;

// The mask lines that fit the reader's line buffer (a longer one, which
// escaping can make of a line that fitted, reads as pieces); with
// `loadable`, only those with a translation (a translation made only of
// "{0}" writes as nothing, and reads as no mask).
std::string Lines(const MaskDic& masks, bool loadable) {
  Collection lines(csOWNER);
  masks.StoreStringsByMasks(lines);
  std::string all;
  Localization::DicString key;
  std::string translation;
  for (int i = 0; i < lines.Count(); ++i) {
    Localization::Utils::ParseDicLine(lines[i], key, translation);
    FUZZ_CHECK(key.context == Localization::tcMask);
    if (std::strlen(lines[i]) >= Localization::Utils::kDicLineSize) continue;
    if (!loadable || !translation.empty()) (all += lines[i]) += '\n';
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const bool masks_to_map = size > 0 && data[0] % 2 == 0;
  MemStream file;
  file.Write(data, static_cast<unsigned>(size));
  file.Seek(0);
  DicMap map;
  MaskDic masks;
  Localization::Utils::ReadDic(file, map, masks, masks_to_map);

  // Whatever was read is written and reads back the same.
  MemStream written;
  Localization::Utils::WriteDic(written, map, true, true);
  written.Seek(0);
  DicMap reread;
  MaskDic unused;
  Localization::Utils::ReadDic(written, reread, unused, true);
  DicMap expected;
  std::string line;
  for (const auto& [key, translation] : map) {
    if (Localization::Utils::FormatDicLine(key, translation, line)) expected.insert({key, translation});
  }
  FUZZ_CHECK(reread == expected);

  // The mask tree is written as lines that rebuild the same tree.
  const std::string lines = Lines(masks, false);
  MemStream tree;
  tree.Write(lines.data(), static_cast<unsigned>(lines.size()));
  tree.Seek(0);
  MaskDic rebuilt;
  Localization::Utils::ReadDic(tree, reread, rebuilt, false);
  FUZZ_CHECK(Lines(rebuilt, false) == Lines(masks, true));

  // And the masks translate the input's own lines without trouble.
  char out[64];
  file.Seek(0);
  char text[Localization::Utils::kDicLineSize];
  for (int i = 0; i < 8 && !file.IsEOF(); ++i) {
    file.TxtRead(text, sizeof text);
    const char* result = masks.Translate(text, out, sizeof out);
    FUZZ_CHECK(result == nullptr || result == out);
  }
  return 0;
}
