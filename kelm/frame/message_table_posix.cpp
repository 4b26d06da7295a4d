#include "kelm/frame/message_table.h"

#include "kelm/port/module.h"

MessageTable::MessageTable(const MessageTableEntry* entries, size_t count)
    : MessageTable(kelm::port::ModuleOfAddress(entries), entries, count) {}

MessageTable::MessageTable(HINSTANCE module, const MessageTableEntry* entries, size_t count)
    : module_(module), entries_(entries) {
  kelm::port::RegisterStringTable(module_, entries_, count);
}

MessageTable::~MessageTable() { kelm::port::UnregisterStringTable(module_, entries_); }
