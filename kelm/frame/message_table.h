// Numbered message texts of a module on POSIX.
//
// On Windows a module's messages are its STRINGTABLE resource. Elsewhere a
// module (the executable or a shared object) declares a static MessageTable
// over its entries; the error functions then find them in the same order as
// on Windows (see errors.h). kelm/frame/message_table.cmake generates both
// forms from one text file.
#ifndef KELM_FRAME_MESSAGE_TABLE_H_
#define KELM_FRAME_MESSAGE_TABLE_H_

#ifndef _WIN32

#include <cstddef>

#include "kelm/port/strings.h"
#include "kelm/port/win_types.h"

// {code, Windows-1251 text}; codes are 16-bit, as resource string ids are.
using MessageTableEntry = kelm::port::StringTableEntry;

// Registers the entries for a module while the object lives. The entries are
// not copied: keep them static.
class MessageTable {
 public:
  // For the module whose image holds `entries`.
  template <size_t N>
  explicit MessageTable(const MessageTableEntry (&entries)[N]) : MessageTable(entries, N) {}
  MessageTable(const MessageTableEntry* entries, size_t count);
  MessageTable(HINSTANCE module, const MessageTableEntry* entries, size_t count);
  MessageTable(const MessageTable&) = delete;
  MessageTable& operator=(const MessageTable&) = delete;
  ~MessageTable();

  HINSTANCE Module() const { return module_; }

 private:
  HINSTANCE module_;
  const MessageTableEntry* entries_;
};

#endif  // !_WIN32

#endif  // KELM_FRAME_MESSAGE_TABLE_H_
