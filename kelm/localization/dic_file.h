// Dictionary files (".lng"): Windows-1251 text, one entry per line:
//
//   source#translation#KEYWORD
//
// The keyword "STRING" makes a string entry, "MASK" a mask (see mask_dic.h),
// anything else (also none) a plain entry. Inside the two texts "\n" and "\r"
// stand for a line feed and a carriage return, "\#", "\\" for the characters
// themselves; in plain and string entries "\{" and "\}" are braces, in masks
// they are literal braces where "{n}" is a placeholder. An empty line is
// skipped; a line holds at most 2047 characters, and the rest of a longer
// line is read as a line of its own. Any text reads as a dictionary: there
// are no errors in a line.
#ifndef KELM_LOCALIZATION_DIC_FILE_H_
#define KELM_LOCALIZATION_DIC_FILE_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "kelm/localization/dic_string.h"
#include "kelm/localization/mask_dic.h"

class Stream;

namespace Localization::Utils {

// Line buffer of the reader: a line holds at most kDicLineSize - 1 characters.
inline constexpr size_t kDicLineSize = 2048;

// Reads every line of the file (opened through FStream for reading): plain
// and string entries are set in `map` (a later line with the same key
// replaces an earlier one); masks go to `maskDic`, or with `masksToMap` to
// `map` under context 3 with their texts as written. A file that cannot be
// opened fails as FStream fails.
void LoadDicFromFile(DicMap& map, MaskDic& maskDic, const char* fileName, bool masksToMap);

// Writes the entries of `map` in key order into the file (opened through
// FStream, created if missing), which then holds exactly these lines. Left
// out: masks unless `withMasks`, empty translations unless `withEmpty`, and
// entries whose line would not read back whole (see WriteDic). `maskDic` is
// not written.
void StoreDicToFile(const char* fileName, const MaskDic& maskDic, const DicMap& map, bool withMasks,
                    bool withEmpty);

// The same over a stream: ReadDic reads from the stream's position to its
// end, WriteDic writes at its position (each line ends with "\r\n").
void ReadDic(Stream& s, DicMap& map, MaskDic& maskDic, bool masksToMap);
void WriteDic(Stream& s, const DicMap& map, bool withMasks, bool withEmpty);

// One line (without its line end) as the reader takes it. False for an empty
// line. Mask texts keep their "\{" and "\}".
bool ParseDicLine(std::string_view line, DicString& key, std::string& translation);

// The line (without its line end) that stands for an entry. Texts are taken
// up to their first NUL byte. False, with nothing written, when the entry is
// to be left out for its length: when the keyword, the two texts and the two
// separators come to kDicLineSize bytes or more, or when the escaped line
// would be cut by the reader.
bool FormatDicLine(const DicString& key, const std::string& translation, std::string& line);

// Drops the backslash of every "\{" and "\}", leaving the brace.
void UnescapeBraces(std::string& text);

// Appends `text` to `out` with the characters of the format escaped: "#",
// "\", "{" and "}" get a backslash, a carriage return and a line feed are
// written as "\r" and "\n".
void EscapeDicText(std::string_view text, std::string& out);

}  // namespace Localization::Utils

#endif  // KELM_LOCALIZATION_DIC_FILE_H_
