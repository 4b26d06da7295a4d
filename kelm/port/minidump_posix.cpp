// The minidump writer of the Linux build. It writes the format as Windows
// debuggers and the minidump tools of other platforms read it: a header, a
// directory of streams, then the streams, every structure little-endian and
// packed to 4 bytes. The operating system is named as Linux in the system
// information (platform 0x8201, as Linux minidump writers do) and the
// registers are those of the AMD64 CONTEXT.
//
// Memory is copied into the file with the pwrite system call itself, which
// fails with EFAULT where memory cannot be read instead of faulting, and
// which a sanitizer does not check against its own red zones.
#include "kelm/port/minidump.h"

#include <cpuid.h>
#include <elf.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "kelm/port/proc_maps_posix.h"

#ifndef __x86_64__
#error "The Linux minidump writer knows the x86-64 registers only"
#endif

namespace kelm::port {
namespace {

#pragma pack(push, 4)
struct Location {
  std::uint32_t size;
  std::uint32_t rva;
};
struct Header {
  std::uint32_t signature;
  std::uint32_t version;
  std::uint32_t stream_count;
  std::uint32_t directory_rva;
  std::uint32_t checksum;
  std::uint32_t time_date_stamp;
  std::uint64_t flags;
};
struct Directory {
  std::uint32_t stream_type;
  Location location;
};
struct MemoryDescriptor {
  std::uint64_t start;
  Location memory;
};
struct Thread {
  std::uint32_t thread_id;
  std::uint32_t suspend_count;
  std::uint32_t priority_class;
  std::uint32_t priority;
  std::uint64_t teb;
  MemoryDescriptor stack;
  Location context;
};
struct SystemInfo {
  std::uint16_t processor_architecture;
  std::uint16_t processor_level;
  std::uint16_t processor_revision;
  std::uint8_t number_of_processors;
  std::uint8_t product_type;
  std::uint32_t major_version;
  std::uint32_t minor_version;
  std::uint32_t build_number;
  std::uint32_t platform_id;
  std::uint32_t csd_version_rva;
  std::uint16_t suite_mask;
  std::uint16_t reserved;
  std::uint32_t vendor_id[3];
  std::uint32_t version_information;
  std::uint32_t feature_information;
  std::uint32_t amd_extended_cpu_features;
};
struct Module {
  std::uint64_t base_of_image;
  std::uint32_t size_of_image;
  std::uint32_t checksum;
  std::uint32_t time_date_stamp;
  std::uint32_t module_name_rva;
  std::uint32_t version_info[13];
  Location cv_record;
  Location misc_record;
  std::uint64_t reserved0;
  std::uint64_t reserved1;
};
struct Exception {
  std::uint32_t code;
  std::uint32_t flags;
  std::uint64_t record;
  std::uint64_t address;
  std::uint32_t parameter_count;
  std::uint32_t alignment;
  std::uint64_t parameters[EXCEPTION_MAXIMUM_PARAMETERS];
};
struct ExceptionStream {
  std::uint32_t thread_id;
  std::uint32_t alignment;
  Exception exception;
  Location context;
};
struct MiscInfo {
  std::uint32_t size;
  std::uint32_t flags1;
  std::uint32_t process_id;
  std::uint32_t process_create_time;
  std::uint32_t process_user_time;
  std::uint32_t process_kernel_time;
};
struct ContextAmd64 {
  std::uint64_t home[6];
  std::uint32_t context_flags;
  std::uint32_t mx_csr;
  std::uint16_t seg_cs, seg_ds, seg_es, seg_fs, seg_gs, seg_ss;
  std::uint32_t eflags;
  std::uint64_t dr0, dr1, dr2, dr3, dr6, dr7;
  std::uint64_t rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi;
  std::uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
  std::uint64_t rip;
  std::uint8_t flt_save[512];
  std::uint64_t vector_register[26][2];
  std::uint64_t vector_control;
  std::uint64_t debug_control;
  std::uint64_t last_branch_to_rip, last_branch_from_rip;
  std::uint64_t last_exception_to_rip, last_exception_from_rip;
};
#pragma pack(pop)
static_assert(sizeof(Header) == 32 && sizeof(Directory) == 12 && sizeof(Thread) == 48);
static_assert(sizeof(SystemInfo) == 56 && sizeof(Module) == 108 && sizeof(Exception) == 152);
static_assert(sizeof(ExceptionStream) == 168 && sizeof(ContextAmd64) == 1232);
static_assert(offsetof(ContextAmd64, rip) == 248 && offsetof(ContextAmd64, flt_save) == 256);

constexpr std::uint32_t kSignature = 0x504D444D;  // "MDMP"
constexpr std::uint32_t kVersion = 0xA793;
constexpr std::uint32_t kThreadListStream = 3, kModuleListStream = 4, kMemoryListStream = 5,
                        kExceptionStream = 6, kSystemInfoStream = 7, kMiscInfoStream = 15;
constexpr std::uint32_t kStreamCount = 6;
constexpr std::uint16_t kArchitectureAmd64 = 9;
constexpr std::uint32_t kPlatformLinux = 0x8201;
constexpr std::uint32_t kContextAmd64Full = 0x0010000F;  // control, integer, segments, floating point
constexpr std::uint32_t kCvElfSignature = 0x4270454C;  // "LEpB": the module's ELF build id follows
constexpr std::size_t kRedZone = 128;
constexpr std::size_t kMaxStack = 1024 * 1024;
constexpr std::size_t kCodeAround = 128;

ssize_t RawPwrite(int fd, const void* data, std::size_t size, std::uint64_t offset) {
  return static_cast<ssize_t>(::syscall(SYS_pwrite64, fd, data, size, static_cast<off_t>(offset)));
}

// The file being written: everything is placed by offset, so parts can be
// filled in after what follows them.
class DumpFile {
 public:
  explicit DumpFile(int fd) : fd_(fd) {}

  std::uint32_t Reserve(std::size_t size) {
    end_ = (end_ + 7) & ~std::uint64_t{7};
    std::uint64_t rva = end_;
    end_ += size;
    if (end_ > 0xFFFFFFFFu) failed_ = true;
    return static_cast<std::uint32_t>(rva);
  }

  void Put(std::uint32_t rva, const void* data, std::size_t size) {
    const char* from = static_cast<const char*>(data);
    while (size > 0 && !failed_) {
      ssize_t done = RawPwrite(fd_, from, size, rva);
      if (done < 0 && errno == EINTR) continue;
      if (done <= 0) {
        failed_ = true;
        break;
      }
      from += done;
      rva += static_cast<std::uint32_t>(done);
      size -= static_cast<std::size_t>(done);
    }
  }

  std::uint32_t Add(const void* data, std::size_t size) {
    std::uint32_t rva = Reserve(size);
    Put(rva, data, size);
    return rva;
  }

  // Process memory; what cannot be read is written as zeros.
  std::uint32_t AddMemory(std::uintptr_t address, std::size_t size) {
    static const char kZeros[256] = {};
    std::uint32_t rva = Reserve(size);
    std::uint64_t at = rva;
    while (size > 0 && !failed_) {
      ssize_t done = RawPwrite(fd_, reinterpret_cast<const void*>(address), size, at);
      if (done < 0 && errno == EINTR) continue;
      if (done < 0 && errno == EFAULT) {
        std::size_t to_page_end = 4096 - (address & 4095);
        done = RawPwrite(fd_, kZeros, std::min({size, to_page_end, sizeof kZeros}), at);
      }
      if (done <= 0) {
        failed_ = true;
        break;
      }
      address += static_cast<std::size_t>(done);
      at += static_cast<std::uint64_t>(done);
      size -= static_cast<std::size_t>(done);
    }
    return rva;
  }

  // A MINIDUMP_STRING: byte length, then UTF-16 and a terminator. Bytes that
  // are not UTF-8 are taken one by one.
  std::uint32_t AddString(const char* text) {
    char16_t units[1024];
    std::size_t count = 0;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
    while (*p != 0 && count + 2 < sizeof units / sizeof units[0]) {
      char32_t c = *p++;
      int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
      if (c >= 0x80 && more > 0) {
        c &= 0x3Fu >> more;
        int i = 0;
        while (i < more && (p[i] & 0xC0) == 0x80) c = (c << 6) | (p[i++] & 0x3F);
        if (i < more) c = p[-1];
        else p += more;
      }
      if (c >= 0x10000) {
        c -= 0x10000;
        units[count++] = static_cast<char16_t>(0xD800 + (c >> 10));
        c = 0xDC00 + (c & 0x3FF);
      }
      units[count++] = static_cast<char16_t>(c);
    }
    std::uint32_t bytes = static_cast<std::uint32_t>(count * 2);
    units[count] = 0;
    std::uint32_t rva = Reserve(4 + bytes + 2);
    Put(rva, &bytes, 4);
    Put(rva + 4, units, bytes + 2);
    return rva;
  }

  bool ok() const { return !failed_; }

 private:
  int fd_;
  std::uint64_t end_ = 0;
  bool failed_ = false;
};

void ToContext(const ucontext_t& uc, ContextAmd64* c) {
  std::memset(c, 0, sizeof *c);
  c->context_flags = kContextAmd64Full;
  const greg_t* g = uc.uc_mcontext.gregs;
  auto r = [g](int i) { return static_cast<std::uint64_t>(g[i]); };
  c->rax = r(REG_RAX), c->rcx = r(REG_RCX), c->rdx = r(REG_RDX), c->rbx = r(REG_RBX);
  c->rsp = r(REG_RSP), c->rbp = r(REG_RBP), c->rsi = r(REG_RSI), c->rdi = r(REG_RDI);
  c->r8 = r(REG_R8), c->r9 = r(REG_R9), c->r10 = r(REG_R10), c->r11 = r(REG_R11);
  c->r12 = r(REG_R12), c->r13 = r(REG_R13), c->r14 = r(REG_R14), c->r15 = r(REG_R15);
  c->rip = r(REG_RIP);
  c->eflags = static_cast<std::uint32_t>(r(REG_EFL));
  std::uint64_t segments = r(REG_CSGSFS);  // cs, gs, fs, padding: 16 bits each
  c->seg_cs = static_cast<std::uint16_t>(segments);
  c->seg_gs = static_cast<std::uint16_t>(segments >> 16);
  c->seg_fs = static_cast<std::uint16_t>(segments >> 32);
  if (uc.uc_mcontext.fpregs != nullptr &&
      IsReadable(uc.uc_mcontext.fpregs, sizeof *uc.uc_mcontext.fpregs)) {
    static_assert(sizeof *uc.uc_mcontext.fpregs == sizeof c->flt_save);  // the FXSAVE area
    std::memcpy(c->flt_save, uc.uc_mcontext.fpregs, sizeof c->flt_save);
    c->mx_csr = uc.uc_mcontext.fpregs->mxcsr;
  }
}

void FillSystemInfo(DumpFile& file, SystemInfo* info) {
  std::memset(info, 0, sizeof *info);
  info->processor_architecture = kArchitectureAmd64;
  info->platform_id = kPlatformLinux;
  unsigned a, b, c, d;
  if (__get_cpuid(0, &a, &b, &c, &d)) {
    info->vendor_id[0] = b, info->vendor_id[1] = d, info->vendor_id[2] = c;
  }
  if (__get_cpuid(1, &a, &b, &c, &d)) {
    unsigned family = (a >> 8) & 0xF, model = (a >> 4) & 0xF;
    if (family == 0xF) family += (a >> 20) & 0xFF;
    if (family >= 6) model |= ((a >> 16) & 0xF) << 4;
    info->processor_level = static_cast<std::uint16_t>(family);
    info->processor_revision = static_cast<std::uint16_t>((model << 8) | (a & 0xF));
    info->version_information = a;
    info->feature_information = d;
  }
  if (__get_cpuid(0x80000001, &a, &b, &c, &d)) info->amd_extended_cpu_features = d;
  long processors = ::sysconf(_SC_NPROCESSORS_ONLN);
  info->number_of_processors = static_cast<std::uint8_t>(std::clamp(processors, 1L, 255L));
  utsname names;
  if (::uname(&names) == 0) {
    std::uint64_t numbers[3] = {0, 0, 0};
    const char* p = names.release;
    for (int i = 0; i < 3 && *p >= '0' && *p <= '9'; ++i) {
      while (*p >= '0' && *p <= '9') numbers[i] = numbers[i] * 10 + static_cast<unsigned>(*p++ - '0');
      if (*p == '.') ++p;
    }
    info->major_version = static_cast<std::uint32_t>(numbers[0]);
    info->minor_version = static_cast<std::uint32_t>(numbers[1]);
    info->build_number = static_cast<std::uint32_t>(numbers[2]);
    char text[sizeof names.sysname + sizeof names.release + sizeof names.version + sizeof names.machine];
    text[0] = '\0';
    const char* parts[] = {names.sysname, " ", names.release, " ", names.version, " ", names.machine};
    for (const char* part : parts) {
      std::strncat(text, part, sizeof text - std::strlen(text) - 1);
    }
    info->csd_version_rva = file.AddString(text);
  } else {
    info->csd_version_rva = file.AddString("");
  }
}

// The module list: consecutive mappings of one file, starting at its offset
// 0, make one module.
struct ModuleWalk {
  DumpFile* file;
  std::uint32_t array_rva;  // where the entries go; 0 while counting
  std::uint32_t capacity;
  std::uint32_t count;
  bool open;
  Module current;
  std::uint64_t inode;
  char path[4096];
};

// Copies process memory without touching it: false where it cannot be read
// (or the system refuses the call), instead of a fault.
bool SafeCopy(void* to, std::uintptr_t from, std::size_t size) {
  iovec local{to, size};
  iovec remote{reinterpret_cast<void*>(from), size};
  const long copied = ::syscall(SYS_process_vm_readv, ::getpid(), &local, 1, &remote, 1, 0);
  if (copied == static_cast<long>(size)) return true;
  if (copied >= 0) errno = EFAULT;  // a part only
  return false;
}

// The ELF build id of a module, from its program headers and notes.
std::size_t BuildId(std::uintptr_t base, unsigned char* out, std::size_t room) {
  Elf64_Ehdr header;
  if (!SafeCopy(&header, base, sizeof header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_phentsize != sizeof(Elf64_Phdr)) {
    return 0;
  }
  Elf64_Phdr segments[64];
  const std::size_t count = std::min<std::size_t>(header.e_phnum, 64);
  if (!SafeCopy(segments, base + header.e_phoff, count * sizeof(Elf64_Phdr))) return 0;
  std::uintptr_t bias = base;
  for (std::size_t i = 0; i < count; ++i) {
    if (segments[i].p_type == PT_LOAD) {
      bias = base - (segments[i].p_vaddr & ~std::uint64_t{4095});
      break;
    }
  }
  for (std::size_t i = 0; i < count; ++i) {
    alignas(4) unsigned char notes[1024];
    const std::size_t size = std::min<std::size_t>(segments[i].p_memsz, sizeof notes);
    if (segments[i].p_type != PT_NOTE || !SafeCopy(notes, bias + segments[i].p_vaddr, size)) continue;
    std::size_t at = 0;
    while (at + sizeof(Elf64_Nhdr) <= size) {
      Elf64_Nhdr note;
      std::memcpy(&note, notes + at, sizeof note);
      const std::size_t name = at + sizeof note;
      const std::size_t desc = name + ((note.n_namesz + 3) & ~3u);
      const std::size_t next = desc + ((note.n_descsz + 3) & ~3u);
      if (next > size) break;
      if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 && std::memcmp(notes + name, "GNU", 4) == 0) {
        const std::size_t length = std::min<std::size_t>(note.n_descsz, room);
        std::memcpy(out, notes + desc, length);
        return length;
      }
      at = next;
    }
  }
  return 0;
}

void CloseModule(ModuleWalk* walk) {
  if (!walk->open) return;
  walk->open = false;
  if (walk->array_rva != 0 && walk->count < walk->capacity) {
    Module& m = walk->current;
    m.module_name_rva = walk->file->AddString(walk->path);
    unsigned char record[4 + 64];
    std::uint32_t signature = kCvElfSignature;
    std::memcpy(record, &signature, 4);
    std::size_t id = BuildId(static_cast<std::uintptr_t>(m.base_of_image), record + 4, 64);
    if (id > 0) {
      m.cv_record.size = static_cast<std::uint32_t>(4 + id);
      m.cv_record.rva = walk->file->Add(record, 4 + id);
    }
    walk->file->Put(walk->array_rva + 4 + walk->count * sizeof(Module), &m, sizeof m);
  }
  ++walk->count;
}

bool VisitModuleMapping(const Mapping& mapping, void* context) {
  auto* walk = static_cast<ModuleWalk*>(context);
  if (walk->open && mapping.inode == walk->inode && std::strcmp(mapping.path, walk->path) == 0) {
    walk->current.size_of_image = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(mapping.end - walk->current.base_of_image, 0xFFFFFFFFu));
    return true;
  }
  CloseModule(walk);
  if (mapping.path[0] != '/' || mapping.offset != 0 || mapping.inode == 0) return true;
  std::size_t length = std::strlen(mapping.path);
  if (length >= sizeof walk->path) return true;
  std::memcpy(walk->path, mapping.path, length + 1);
  std::memset(&walk->current, 0, sizeof walk->current);
  walk->current.base_of_image = mapping.start;
  walk->current.size_of_image = static_cast<std::uint32_t>(mapping.end - mapping.start);
  walk->inode = mapping.inode;
  walk->open = true;
  return true;
}

Location WriteModuleList(DumpFile& file) {
  ModuleWalk walk{};
  walk.file = &file;
  ForEachMapping(&VisitModuleMapping, &walk);
  CloseModule(&walk);
  walk.capacity = walk.count + 8;  // room for modules loaded meanwhile
  std::uint32_t rva = file.Reserve(4 + walk.capacity * sizeof(Module));
  walk.array_rva = rva;
  walk.count = 0;
  walk.open = false;
  ForEachMapping(&VisitModuleMapping, &walk);
  CloseModule(&walk);
  std::uint32_t count = std::min(walk.count, walk.capacity);
  file.Put(rva, &count, 4);
  return Location{static_cast<std::uint32_t>(4 + count * sizeof(Module)), rva};
}

// [start, end) of the readable memory around `address` within its mapping,
// at most `below` bytes under it and `above` bytes from it on.
bool MemoryAround(std::uintptr_t address, std::size_t below, std::size_t above, std::uintptr_t* start,
                  std::uintptr_t* end) {
  Mapping mapping;
  if (!FindMapping(address, &mapping) || !mapping.readable) return false;
  *start = address - std::min<std::uintptr_t>(below, address - mapping.start);
  *end = address + std::min<std::uintptr_t>(above, mapping.end - address);
  return true;
}

// getcontext returns twice; kept out of the writer's frame.
__attribute__((noinline)) void CaptureOwnContext(ucontext_t* context) { ::getcontext(context); }

bool WriteDump(int fd, _MINIDUMP_TYPE type, EXCEPTION_POINTERS* info) {
  DumpFile file(fd);
  Header header{};
  file.Reserve(sizeof header);
  Directory directory[kStreamCount] = {};
  std::uint32_t directory_rva = file.Reserve(sizeof directory);
  std::uint32_t streams = 0;
  auto add_stream = [&](std::uint32_t type_code, Location where) {
    directory[streams++] = Directory{type_code, where};
  };

  const EXCEPTION_RECORD* record = nullptr;
  const ucontext_t* uc = nullptr;
  ucontext_t own;
  if (info != nullptr) {
    if (IsReadable(info->ExceptionRecord, sizeof *info->ExceptionRecord)) record = info->ExceptionRecord;
    if (IsReadable(info->ContextRecord, sizeof *info->ContextRecord)) uc = info->ContextRecord;
  }
  if (uc == nullptr) {
    std::memset(&own, 0, sizeof own);
    CaptureOwnContext(&own);
    uc = &own;
  }
  ContextAmd64 context;
  ToContext(*uc, &context);
  Location context_location{sizeof context, file.Add(&context, sizeof context)};
  const std::uint32_t thread_id = static_cast<std::uint32_t>(::syscall(SYS_gettid));

  SystemInfo system;
  FillSystemInfo(file, &system);
  add_stream(kSystemInfoStream, Location{sizeof system, file.Add(&system, sizeof system)});

  MiscInfo misc{sizeof(MiscInfo), 1, static_cast<std::uint32_t>(::getpid()), 0, 0, 0};
  add_stream(kMiscInfoStream, Location{sizeof misc, file.Add(&misc, sizeof misc)});

  // The stack from below the red zone to the top of its mapping.
  MemoryDescriptor memory[2] = {};
  std::uint32_t memory_count = 0;
  std::uintptr_t sp = static_cast<std::uintptr_t>(uc->uc_mcontext.gregs[REG_RSP]);
  std::uintptr_t start, end;
  MemoryDescriptor stack{};
  if (MemoryAround(sp, kRedZone, kMaxStack, &start, &end)) {
    stack = MemoryDescriptor{start, Location{static_cast<std::uint32_t>(end - start), file.AddMemory(start, end - start)}};
    memory[memory_count++] = stack;
  }
  std::uintptr_t ip = static_cast<std::uintptr_t>(uc->uc_mcontext.gregs[REG_RIP]);
  if (MemoryAround(ip, kCodeAround, kCodeAround, &start, &end) && (end <= stack.start || start >= stack.start + stack.memory.size)) {
    memory[memory_count++] =
        MemoryDescriptor{start, Location{static_cast<std::uint32_t>(end - start), file.AddMemory(start, end - start)}};
  }

  struct {
    std::uint32_t count;
    Thread thread;
  } __attribute__((packed)) threads{1, Thread{thread_id, 0, 0, 0, 0, stack, context_location}};
  add_stream(kThreadListStream, Location{sizeof threads, file.Add(&threads, sizeof threads)});

  add_stream(kModuleListStream, WriteModuleList(file));

  std::uint32_t memory_rva = file.Reserve(4 + memory_count * sizeof(MemoryDescriptor));
  file.Put(memory_rva, &memory_count, 4);
  file.Put(memory_rva + 4, memory, memory_count * sizeof(MemoryDescriptor));
  add_stream(kMemoryListStream,
             Location{static_cast<std::uint32_t>(4 + memory_count * sizeof(MemoryDescriptor)), memory_rva});

  if (record != nullptr) {
    ExceptionStream exception{};
    exception.thread_id = thread_id;
    exception.exception.code = record->ExceptionCode;
    exception.exception.flags = record->ExceptionFlags;
    exception.exception.address = reinterpret_cast<std::uintptr_t>(record->ExceptionAddress);
    exception.exception.parameter_count = std::min<std::uint32_t>(record->NumberParameters, EXCEPTION_MAXIMUM_PARAMETERS);
    for (std::uint32_t i = 0; i < exception.exception.parameter_count; ++i) {
      exception.exception.parameters[i] = record->ExceptionInformation[i];
    }
    exception.context = context_location;
    add_stream(kExceptionStream, Location{sizeof exception, file.Add(&exception, sizeof exception)});
  }

  file.Put(directory_rva, directory, sizeof directory);
  header = Header{kSignature, kVersion, streams, directory_rva, 0,
                  static_cast<std::uint32_t>(::time(nullptr)), static_cast<std::uint64_t>(type)};
  file.Put(0, &header, sizeof header);
  return file.ok();
}

}  // namespace

// A copy through process_vm_readv answers at once; where the system refuses
// that call the mappings are consulted.
bool IsReadable(const void* address, std::size_t size) {
  std::uintptr_t at = reinterpret_cast<std::uintptr_t>(address);
  if (at == 0 || at + size < at) return false;
  std::uintptr_t end = at + size;
  char scratch[256];
  std::uintptr_t copied = at;
  while (copied < end && SafeCopy(scratch, copied, std::min<std::size_t>(end - copied, sizeof scratch))) {
    copied += std::min<std::size_t>(end - copied, sizeof scratch);
  }
  if (copied == end) return true;
  if (errno != ENOSYS && errno != EPERM) return false;
  while (at < end) {
    Mapping mapping;
    if (!FindMapping(at, &mapping) || !mapping.readable) return false;
    at = mapping.end;
  }
  return true;
}

bool CaptureContext(CONTEXT* context, const void* ip, const void* sp, const void* fp) {
  if (::getcontext(context) != 0) return false;
  context->uc_mcontext.gregs[REG_RIP] = reinterpret_cast<greg_t>(ip);
  context->uc_mcontext.gregs[REG_RSP] = reinterpret_cast<greg_t>(sp);
  context->uc_mcontext.gregs[REG_RBP] = reinterpret_cast<greg_t>(fp);
  return true;
}

// `share_read` changes nothing (see the header). A file size limit must not
// end the process: SIGXFSZ is held back while the file is written and
// dropped if the write raised it.
int WriteMiniDump(const char* name, bool /*share_read*/, _MINIDUMP_TYPE type, EXCEPTION_POINTERS* info) {
  sigset_t xfsz, old_mask, pending;
  sigemptyset(&xfsz);
  sigaddset(&xfsz, SIGXFSZ);
  pthread_sigmask(SIG_BLOCK, &xfsz, &old_mask);
  sigpending(&pending);
  const bool was_pending = sigismember(&pending, SIGXFSZ) == 1;

  int result = 0;
  int fd;
  do {
    fd = ::open(name, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  } while (fd < 0 && errno == EINTR);
  if (fd >= 0) {
    result = WriteDump(fd, type, info) ? 1 : 0;
    ::close(fd);
  }

  sigpending(&pending);
  if (!was_pending && sigismember(&pending, SIGXFSZ) == 1) {
    const timespec no_wait{0, 0};
    ::sigtimedwait(&xfsz, nullptr, &no_wait);
  }
  pthread_sigmask(SIG_SETMASK, &old_mask, nullptr);
  return result;
}

}  // namespace kelm::port
