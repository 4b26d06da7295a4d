#include "kelm/port/proc_maps_posix.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace kelm::port {
namespace {

const char* ParseNumber(const char* p, unsigned base, std::uint64_t* out) {
  std::uint64_t value = 0;
  for (;; ++p) {
    unsigned digit;
    if (*p >= '0' && *p <= '9') {
      digit = static_cast<unsigned>(*p - '0');
    } else if (base == 16 && *p >= 'a' && *p <= 'f') {
      digit = static_cast<unsigned>(*p - 'a' + 10);
    } else {
      break;
    }
    value = value * base + digit;
  }
  *out = value;
  return p;
}

// "start-end perms offset major:minor inode   path"
bool ParseLine(const char* p, Mapping* m) {
  std::uint64_t start, end;
  p = ParseNumber(p, 16, &start);
  if (*p++ != '-') return false;
  p = ParseNumber(p, 16, &end);
  if (*p++ != ' ' || p[0] == '\0' || p[1] == '\0' || p[2] == '\0' || p[3] == '\0') return false;
  m->readable = p[0] == 'r';
  m->writable = p[1] == 'w';
  p += 4;
  if (*p++ != ' ') return false;
  p = ParseNumber(p, 16, &m->offset);
  if (*p++ != ' ') return false;
  while (*p != ' ' && *p != '\0') ++p;  // the device
  if (*p++ != ' ') return false;
  p = ParseNumber(p, 10, &m->inode);
  while (*p == ' ') ++p;
  m->start = static_cast<std::uintptr_t>(start);
  m->end = static_cast<std::uintptr_t>(end);
  m->path = p;
  return true;
}

struct Search {
  std::uintptr_t address;
  Mapping* found;
  bool hit;
};

bool Holds(const Mapping& mapping, void* context) {
  auto* search = static_cast<Search*>(context);
  if (search->address < mapping.start || search->address >= mapping.end) return true;
  *search->found = mapping;
  search->found->path = "";
  search->hit = true;
  return false;
}

}  // namespace

bool ForEachMapping(bool (*visit)(const Mapping& mapping, void* context), void* context) {
  int fd;
  do {
    fd = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return false;
  char line[4352];  // a path of PATH_MAX and the fields before it
  std::size_t used = 0;
  bool too_long = false;
  bool done = false;
  char chunk[1024];
  while (!done) {
    ssize_t got = ::read(fd, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    for (ssize_t i = 0; i < got && !done; ++i) {
      if (chunk[i] != '\n') {
        if (used + 1 < sizeof line) {
          line[used++] = chunk[i];
        } else {
          too_long = true;
        }
        continue;
      }
      line[used] = '\0';
      Mapping mapping;
      if (!too_long && ParseLine(line, &mapping) && !visit(mapping, context)) done = true;
      used = 0;
      too_long = false;
    }
  }
  ::close(fd);
  return true;
}

bool FindMapping(std::uintptr_t address, Mapping* found) {
  Search search{address, found, false};
  return ForEachMapping(&Holds, &search) && search.hit;
}

}  // namespace kelm::port
