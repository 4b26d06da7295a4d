#include "kelm/port/strings.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

namespace kelm::port {
namespace {

struct Table {
  const StringTableEntry* entries;
  size_t count;
};

// Tables are registered at module load and looked up from any thread.
struct Registry {
  std::mutex mutex;
  std::map<HINSTANCE, std::vector<Table>> tables;
};

// Never destroyed: modules withdraw their tables from their own static
// destructors, which may run after this file's.
Registry& TheRegistry() {
  static Registry* registry = new Registry;
  return *registry;
}

const char* Find(HINSTANCE module, unsigned id) {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> lock(registry.mutex);
  const auto it = registry.tables.find(module);
  if (it == registry.tables.end()) return nullptr;
  for (const Table& table : it->second) {
    const auto* end = table.entries + table.count;
    const auto* entry = std::find_if(table.entries, end,
                                     [id](const StringTableEntry& e) { return e.id == id; });
    if (entry != end) return entry->text;
  }
  return nullptr;
}

}  // namespace

int LoadTableString(HINSTANCE module, unsigned id, char* buffer, int capacity) {
  if (buffer == nullptr || capacity < 1) return 0;
  const char* text = Find(module, id & 0xFFFF);
  const size_t length = text == nullptr ? 0 : std::strlen(text);
  const size_t copied = std::min(length, static_cast<size_t>(capacity - 1));
  if (copied > 0) std::memcpy(buffer, text, copied);
  buffer[copied] = '\0';
  return static_cast<int>(copied);
}

void RegisterStringTable(HINSTANCE module, const StringTableEntry* entries, size_t count) {
  if (entries == nullptr || count == 0) return;
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> lock(registry.mutex);
  registry.tables[module].push_back(Table{entries, count});
}

void UnregisterStringTable(HINSTANCE module, const StringTableEntry* entries) {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> lock(registry.mutex);
  const auto it = registry.tables.find(module);
  if (it == registry.tables.end()) return;
  std::erase_if(it->second, [entries](const Table& t) { return t.entries == entries; });
  if (it->second.empty()) registry.tables.erase(it);
}

}  // namespace kelm::port
