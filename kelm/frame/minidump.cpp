#include "kelm/frame/minidump.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "kelm/datetime/time_stamp.h"
#include "kelm/frame/errors.h"
#include "kelm/port/file.h"
#include "kelm/port/path.h"

namespace {

constexpr char kCrashReport[] = "Внимание! Произошла исключительная ситуация. Для ее анализа создан дамп.";
constexpr char kPureCallReport[] =
    "Произошел вызов нереализованной виртуальной функции!\n\r"
    "После нажатия на \"OK\" будет сформирован дамп в каталоге \"\\dumps\".\n\r"
    "Пожалуйста, обратитесь к разработчикам.";
constexpr char kNameTimeMask[] = "гггг_мм_дд__чч_ии_сс";
// The snapshot's exception code is not settled by the format; a breakpoint
// is what debuggers show as "stopped here".
constexpr DWORD kSnapshotCode = EXCEPTION_BREAKPOINT;

constexpr unsigned long kAlreadyExists = 183;

using DumpName = char[256];

// Appends as much of `piece` as fits, keeping the name within 255 characters.
void Append(DumpName& name, const char* piece) {
  std::size_t used = std::strlen(name);
  std::strncat(name, piece, sizeof(DumpName) - 1 - used);
}

// "<folder>\dump_гггг_мм_дд__чч_ии_сс[_crash].dmp"; a folder that cannot be
// made is left out, so the dump goes to the current directory.
void MakeDumpName(DumpName& name, bool crash) {
  name[0] = '\0';
  const std::string folder = MiniDumpPathChanger::Instance().Path();
  Append(name, folder.c_str());
  if (kelm::port::MakeDirectory(name) || kelm::port::LastFileError() == kAlreadyExists) {
    const char separator[2] = {kelm::port::kPathSeparator, '\0'};
    Append(name, separator);
  } else {
    name[0] = '\0';
  }
  Append(name, "dump_");
  char stamp[64];
  TimeStamp().ToString(stamp, kNameTimeMask);
  Append(name, stamp);
  if (crash) Append(name, "_crash");
  Append(name, ".dmp");
}

// Keeps the ten newest dumps of the folder "dumps" (always that folder of the
// current directory, whatever path is set). Only plain files whose names end
// in exactly ".dmp" count; hidden and system files and directories are left
// alone, as the file listing leaves them out. The entries are plain names
// of that one folder, so nothing outside it is touched; a symbolic link
// counts as a file and only the link goes.
//
// The listing and deletion are the platform layer's: the library's file
// utilities (GetFileList, Unlink) are not there yet.
void RotateDumps() {
  constexpr char kFolder[] = "dumps";
  constexpr std::size_t kKept = 10;
  std::vector<std::pair<std::string, bool>> names;  // name, is a link
  {
    kelm::port::DirectoryReader reader(kFolder);
    kelm::port::DirectoryEntry entry;
    while (reader.Next(&entry)) {
      const std::size_t length = std::strlen(entry.name);
      const unsigned long skipped = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
      if (length >= 4 && std::strcmp(entry.name + length - 4, ".dmp") == 0 && (entry.attributes & skipped) == 0) {
        names.emplace_back(entry.name, (entry.attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0);
      }
    }
  }
  if (names.size() <= kKept) return;
  std::sort(names.begin(), names.end());
  for (std::size_t i = 0; i + kKept < names.size(); ++i) {
    const std::string path = std::string(kFolder) + kelm::port::kPathSeparator + names[i].first;
    // As Unlink does, a read-only file loses that attribute first; a link
    // is left as it is, since the attribute would be set on its target.
    if (!names[i].second) kelm::port::SetPathAttributes(path.c_str(), FILE_ATTRIBUTE_ARCHIVE);
    kelm::port::RemoveFile(path.c_str());
  }
}

// One dump at a time: dbghelp is single-threaded, and two dumps within the
// same second would get the same name. A dump whose name equals that of the
// last one written waits for the clock to move on (at most a little over a
// second), so that faults of two threads at once leave two files.
std::mutex dump_mutex;
DumpName last_name;

int WriteDump(bool crash, bool share_read, _MINIDUMP_TYPE type, EXCEPTION_POINTERS* info) {
  std::lock_guard<std::mutex> lock(dump_mutex);
  DumpName name;
  MakeDumpName(name, crash);
  for (int wait = 0; wait < 25 && std::strcmp(name, last_name) == 0; ++wait) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    MakeDumpName(name, crash);
  }
  const int result = kelm::port::WriteMiniDump(name, share_read, type, info);
  if (result != 0) std::memcpy(last_name, name, sizeof name);
  RotateDumps();
  return result;
}

void Translate(unsigned int code, EXCEPTION_POINTERS* info) { SETransFunc(code, info); }

void DumpFault(EXCEPTION_POINTERS* info) { CreateCurrentProcessCrashDump(info, MiniDumpTypeSetter::CurrentType()); }

GVars::GlobalVarRegistrator<MinidumpThreadInitializer> MinidumpInitializerRegistrator;

}  // namespace

bool ReportAboutDumps = false;

MiniDumpPathChanger MiniDumpPathChanger::instance;

MiniDumpPathChanger::MiniDumpPathChanger() : path_("dumps") {}

MiniDumpPathChanger& MiniDumpPathChanger::Instance() { return instance; }

std::string MiniDumpPathChanger::Path() {
  std::shared_lock<std::shared_mutex> lock(lock_);
  return path_;
}

void MiniDumpPathChanger::SetPath(const std::string& path) {
  std::unique_lock<std::shared_mutex> lock(lock_);
  path_ = path;
}

std::list<_MINIDUMP_TYPE> MiniDumpTypeSetter::m_list;
CriticalSection MiniDumpTypeSetter::m_cs;

MiniDumpTypeSetter::MiniDumpTypeSetter(_MINIDUMP_TYPE type) {
  Locker lock(m_cs);
  m_list.push_back(type);
}

MiniDumpTypeSetter::~MiniDumpTypeSetter() {
  Locker lock(m_cs);
  if (!m_list.empty()) m_list.pop_front();
}

_MINIDUMP_TYPE MiniDumpTypeSetter::CurrentType() {
  Locker lock(m_cs);
  return m_list.empty() ? MiniDumpNormal : m_list.front();
}

MinidumpThreadInitializer::MinidumpThreadInitializer() {
  kelm::port::EnableFaultTranslation(kelm::port::FaultHandlers{&DumpFault, &Translate});
}

MinidumpThreadInitializer::~MinidumpThreadInitializer() { kelm::port::DisableFaultTranslation(); }

MinidumpThreadInitializer& MinidumpThreadInitializer::Instance() { return *MinidumpInitializerRegistrator.Get(); }

// Never inlined: it reads its own return address and frame.
__attribute__((noinline)) int SnapCurrentProcessMiniDump(_MINIDUMP_TYPE type) {
  const auto* return_address = static_cast<const unsigned char*>(__builtin_return_address(0));
  auto* const* frame = static_cast<void* const*>(__builtin_frame_address(0));
  // The caller's stack pointer is where it was before the call: above the
  // saved frame pointer and the return address.
  const void* caller_sp = frame + 2;
  const void* caller_fp = frame[0];
  const unsigned char* call;
  if (return_address[-5] == 0xE8) {
    call = return_address - 5;  // call rel32
  } else if (return_address[-6] == 0xFF) {
    call = return_address - 6;  // call through a pointer in memory
  } else {
    return 0;
  }
  alignas(16) CONTEXT context;
  if (!kelm::port::CaptureContext(&context, call, caller_sp, caller_fp)) return 0;
  EXCEPTION_RECORD record;
  std::memset(&record, 0, sizeof record);
  record.ExceptionCode = kSnapshotCode;
  record.ExceptionAddress = const_cast<unsigned char*>(call);
  EXCEPTION_POINTERS pointers{&record, &context};
  return WriteDump(false, true, type, &pointers);
}

long CreateCurrentProcessCrashDump(EXCEPTION_POINTERS* info, _MINIDUMP_TYPE type) {
  if (kelm::port::IsReadable(info, 4)) WriteDump(true, false, type, info);
  if (ReportAboutDumps) ErrorMsg(kCrashReport);
  return 1;
}

void SETransFunc(unsigned int code, EXCEPTION_POINTERS* info) {
  if (info != nullptr) CreateCurrentProcessCrashDump(info, MiniDumpTypeSetter::CurrentType());
  throw SE_Exception(code);
}

// The write is the point: the sanitizers must not stop it first.
__attribute__((no_sanitize("undefined"))) void PureCallHandler() {
  ErrorMsg(kPureCallReport);
  volatile int* volatile nowhere = nullptr;
  *nowhere = 0;
}
