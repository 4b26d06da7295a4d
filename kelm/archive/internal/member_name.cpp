#include "kelm/archive/internal/member_name.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "kelm/text/oem_code_page.h"
#include "kelm/text/utf8.h"

namespace kelm::archive::internal {
namespace {

constexpr unsigned long kHostMsDos = 0;
constexpr unsigned long kHostUnix = 3;
constexpr unsigned long kSpecVersion = 20;  // 2.0: deflate, folders
constexpr unsigned long kUtf8Flag = 0x800;
constexpr std::uint16_t kUnicodePathId = 0x7075;

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

void PutLe(std::string& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
}

std::uint32_t GetLe(std::string_view in, size_t at, int bytes) {
  std::uint32_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(in[at + i]);
  return value;
}

// Code page 866 is the convention of the hosts of MS-DOS and Windows: FAT,
// HPFS, NTFS and VFAT.
bool IsOemHost(unsigned long host) { return host == 0 || host == 6 || host == 11 || host == 14; }

// The UTF-8 name of Info-ZIP's Unicode path field, when the field is there
// and was written for exactly this stored name.
bool UnicodePath(std::string_view stored, std::string_view extra, std::string_view* utf8) {
  size_t at = 0;
  while (extra.size() - at >= 4) {
    const std::uint32_t id = GetLe(extra, at, 2);
    const std::uint32_t size = GetLe(extra, at + 2, 2);
    at += 4;
    if (size > extra.size() - at) return false;
    if (id == kUnicodePathId && size >= 5 && extra[at] == 1) {
      const auto crc = static_cast<std::uint32_t>(
          crc32(0, reinterpret_cast<const Bytef*>(stored.data()), static_cast<uInt>(stored.size())));
      if (GetLe(extra, at + 1, 4) != crc) return false;
      *utf8 = extra.substr(at + 5, size - 5);
      return true;
    }
    at += size;
  }
  return false;
}

// MS-DOS device names, which Windows opens as devices in any folder and with
// any extension.
bool IsDeviceName(std::string_view component) {
  std::string base(component.substr(0, component.find('.')));
  while (!base.empty() && base.back() == ' ') base.pop_back();
  for (char& c : base) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  static constexpr std::array<std::string_view, 6> kFixed = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
  if (std::find(kFixed.begin(), kFixed.end(), base) != kFixed.end()) return true;
  return base.size() == 4 && (base.starts_with("COM") || base.starts_with("LPT")) && base[3] >= '1' &&
         base[3] <= '9';
}

}  // namespace

StoredName StoreName(std::string_view cp1251, NameForm form) {
  StoredName stored{std::string(cp1251), form};
  if (form == NameForm::kOem) AnsiToOemBuff(stored.bytes.data(), stored.bytes.size());
  if (form == NameForm::kUtf8) stored.bytes = Cp1251ToUtf8(cp1251);
  return stored;
}

NameForm FormOf(int coding) {
  switch (coding) {
    case 1: return NameForm::kAnsi;
    case 2: return NameForm::kUtf8;
    default: return NameForm::kOem;
  }
}

std::string ListedName(const StoredName& stored) {
  return ReadName(stored.bytes, VersionMadeBy(stored.form), NameFlags(stored.form), CentralExtra(stored));
}

// Info-ZIP's UnZip reads the names of MS-DOS hosts through code page 437
// even when they are flagged as UTF-8: UTF-8 names go out as made on UNIX,
// as Python and Info-ZIP's Zip write them.
unsigned long VersionMadeBy(NameForm form) {
  return ((form == NameForm::kOem ? kHostMsDos : kHostUnix) << 8) | kSpecVersion;
}

unsigned long NameFlags(NameForm form) { return form == NameForm::kUtf8 ? kUtf8Flag : 0; }

unsigned long ExternalAttributes(NameForm form, bool directory) {
  const unsigned long dos = directory ? 0x10 : 0x20;  // directory, archive
  if (form == NameForm::kOem) return dos;
  const unsigned long mode = directory ? 040755 : 0100644;
  return (mode << 16) | dos;
}

std::string CentralExtra(const StoredName& name) {
  if (name.form != NameForm::kAnsi || IsAscii(name.bytes)) return {};
  std::string utf8 = Cp1251ToUtf8(name.bytes);
  // The field's size is 16 bits and the whole extra field must fit in 16 bits.
  if (utf8.size() > 0xFFFF - 9) return {};
  std::string extra;
  PutLe(extra, kUnicodePathId, 2);
  PutLe(extra, static_cast<std::uint32_t>(5 + utf8.size()), 2);
  extra += '\1';
  PutLe(extra, static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(name.bytes.data()),
                                                  static_cast<uInt>(name.bytes.size()))),
        4);
  extra += utf8;
  return extra;
}

std::string ReadName(std::string_view stored, unsigned long version_made_by, unsigned long flags,
                     std::string_view central_extra) {
  std::string name;
  std::string_view utf8;
  if ((flags & kUtf8Flag) != 0) {
    Utf8ToCp1251(stored, &name);
  } else if (UnicodePath(stored, central_extra, &utf8)) {
    Utf8ToCp1251(utf8, &name);
  } else if (IsOemHost((version_made_by >> 8) & 0xFF)) {
    name.assign(stored);
    OemToAnsiBuff(name.data(), name.size());
  } else if (!Utf8ToCp1251(stored, &name)) {
    // Other hosts store names as their system spells them: UTF-8 on today's
    // UNIX (Info-ZIP's Zip, without flag or field), bytes as they are else.
    name.assign(stored);
  }
  return name;
}

bool IsSafeName(std::string_view name) {
  if (name.empty() || name.front() == '/' || name.front() == '\\') return false;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F || c == ':') return false;
  }
  size_t start = 0;
  while (start <= name.size()) {
    size_t end = name.find_first_of("/\\", start);
    if (end == std::string_view::npos) end = name.size();
    const std::string_view component = name.substr(start, end - start);
    // Windows drops the dots and blanks that end a component, so ". ." or
    // ".. " would lead up as ".." does; only a lone "." stays harmless.
    const bool dots_and_blanks =
        !component.empty() && component.find_first_not_of(". ") == std::string_view::npos;
    if ((dots_and_blanks && component != ".") || IsDeviceName(component)) return false;
    start = end + 1;
  }
  return true;
}

std::string ShownName(std::string_view name) {
  std::string shown(name);
  for (char& c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) c = '?';
  }
  return shown;
}

}  // namespace kelm::archive::internal
