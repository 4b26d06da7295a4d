#include "kelm/localization/dic_file.h"

#include <cstring>

#include "kelm/files/file_utils.h"
#include "kelm/streams/fstream.h"
#include "kelm/streams/stream.h"

namespace Localization::Utils {
namespace {

bool IsBrace(char c) { return c == '{' || c == '}'; }

// One text of a line from `i` up to an unescaped "#" (consumed) or the end.
// "\{" and "\}" are kept as they are; a backslash with nothing after it
// escapes nothing and is dropped. True when a "#" ended the text.
bool ReadField(std::string_view line, size_t& i, std::string& out) {
  while (i < line.size()) {
    const char c = line[i++];
    if (c == '#') return true;
    if (c != '\\') {
      out += c;
      continue;
    }
    if (i == line.size()) break;
    const char escaped = line[i++];
    switch (escaped) {
      case 'n': out += '\n'; break;
      case 'r': out += '\r'; break;
      case '{':
      case '}':
        out += '\\';
        out += escaped;
        break;
      default: out += escaped;
    }
  }
  return false;
}

std::string_view CText(const std::string& text) { return std::string_view(text.c_str()); }

}  // namespace

void UnescapeBraces(std::string& text) {
  size_t to = 0;
  for (size_t from = 0; from < text.size(); ++from) {
    if (text[from] == '\\' && from + 1 < text.size() && IsBrace(text[from + 1])) continue;
    text[to++] = text[from];
  }
  text.resize(to);
}

void EscapeDicText(std::string_view text, std::string& out) {
  for (const char c : text) {
    switch (c) {
      case '\r': out += "\\r"; break;
      case '\n': out += "\\n"; break;
      case '#':
      case '\\':
      case '{':
      case '}':
        out += '\\';
        out += c;
        break;
      default: out += c;
    }
  }
}

bool ParseDicLine(std::string_view line, DicString& key, std::string& translation) {
  if (line.empty()) return false;
  key.text.clear();
  translation.clear();
  size_t i = 0;
  std::string_view keyword;
  if (ReadField(line, i, key.text) && ReadField(line, i, translation)) keyword = line.substr(i);
  if (keyword == "STRING") {
    key.context = tcString;
  } else if (keyword == "MASK") {
    key.context = tcMask;
  } else {
    key.context = tcPlain;
  }
  if (key.context != tcMask) {
    UnescapeBraces(key.text);
    UnescapeBraces(translation);
  }
  return true;
}

bool FormatDicLine(const DicString& key, const std::string& translation, std::string& line) {
  const std::string_view source = CText(key.text);
  const std::string_view target = CText(translation);
  const std::string_view keyword = ContextToString(key.context);
  line.clear();
  if (keyword.size() + target.size() + source.size() + 2 >= kDicLineSize) return false;
  EscapeDicText(source, line);
  line += '#';
  EscapeDicText(target, line);
  line += '#';
  line += keyword;
  // Masks are written with their placeholders as "{n}": the backslashes that
  // escaping put before braces go again (one per brace, so an escaped
  // backslash before a brace stays).
  if (key.context == tcMask) UnescapeBraces(line);
  // Departure: a line that escaping made too long for the reader's line
  // buffer is left out as well, where the length rule above alone would
  // write it and have it read back as two broken entries.
  if (line.size() >= kDicLineSize) {
    line.clear();
    return false;
  }
  return true;
}

void ReadDic(Stream& s, DicMap& map, MaskDic& maskDic, bool masksToMap) {
  char line[kDicLineSize];
  DicString key;
  std::string translation;
  while (!s.IsEOF()) {
    const unsigned long before = s.CurPos();
    const int n = s.TxtRead(line, sizeof line);
    if (s.CurPos() == before) break;  // no progress: nothing more to read
    // The line is a C string: a NUL byte inside ends it.
    if (!ParseDicLine(std::string_view(line, ::strnlen(line, static_cast<size_t>(n))), key, translation)) continue;
    if (key.context == tcMask && !masksToMap) {
      maskDic.AddTranslation(key.text.c_str(), translation.c_str());
    } else {
      map.insert_or_assign(key, translation);
    }
  }
}

void WriteDic(Stream& s, const DicMap& map, bool withMasks, bool withEmpty) {
  std::string line;
  for (const auto& [key, translation] : map) {
    if (key.context == tcMask && !withMasks) continue;
    if (translation.empty() && !withEmpty) continue;
    if (FormatDicLine(key, translation, line)) s.TxtWrite(line.c_str());
  }
}

void LoadDicFromFile(DicMap& map, MaskDic& maskDic, const char* fileName, bool masksToMap) {
  FStream file(fileName, fmRead);
  file.Seek(0);
  ReadDic(file, map, maskDic, masksToMap);
}

// Open mode 35 opens an existing file without cutting it: the tail of a
// longer old dictionary is cut off after the writing, so that the file holds
// exactly the lines written.
void StoreDicToFile(const char* fileName, const MaskDic& /*maskDic*/, const DicMap& map, bool withMasks,
                    bool withEmpty) {
  FStream file(fileName, fmRead | fmWrite | fmOpenAlways);
  file.Seek(0);
  WriteDic(file, map, withMasks, withEmpty);
  file.Truncate();
  file.Flush();
}

}  // namespace Localization::Utils
