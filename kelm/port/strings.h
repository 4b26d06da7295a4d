// String tables of modules: the numbered texts a module carries.
//
// On Windows they are the modules' STRINGTABLE resources. Elsewhere a module
// registers its table, for its own handle, while it is loaded.
#ifndef KELM_PORT_STRINGS_H_
#define KELM_PORT_STRINGS_H_

#include <cstddef>

#include "kelm/port/win_types.h"

namespace kelm::port {

// Copies string `id` of `module`'s table into `buffer` as Windows-1251, cut
// to `capacity` - 1 characters and NUL-terminated (LoadStringA semantics).
// Returns the number of characters copied; 0 when the module has no such
// string, the string is empty, or `capacity` is below 1. Ids are 16-bit: the
// higher bits of `id` are ignored, as Windows does.
int LoadTableString(HINSTANCE module, unsigned id, char* buffer, int capacity);

#ifndef _WIN32
struct StringTableEntry {
  unsigned id;
  const char* text;  // Windows-1251, NUL-terminated, lives as long as the table
};

// Adds a table to `module`'s strings; where several tables of one module
// hold an id, the one registered first answers. The entries are not copied.
void RegisterStringTable(HINSTANCE module, const StringTableEntry* entries, size_t count);
// Withdraws a table registered with exactly these entries.
void UnregisterStringTable(HINSTANCE module, const StringTableEntry* entries);
#endif

}  // namespace kelm::port

#endif  // KELM_PORT_STRINGS_H_
