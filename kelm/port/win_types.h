// The Win32 type names that appear in the library's public signatures.
//
// On Windows they come from <windows.h>. Elsewhere this header defines the
// same names with the widths Win32 gives them, so that client code written
// for the Windows library compiles unchanged.
#ifndef KELM_PORT_WIN_TYPES_H_
#define KELM_PORT_WIN_TYPES_H_

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#else  // !_WIN32

#include <pthread.h>

#include <cstdint>

struct HINSTANCE__;
typedef HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef void* HANDLE;
typedef void* LPVOID;
typedef std::uint32_t DWORD;
typedef std::uint16_t WORD;
typedef std::uint8_t BYTE;
typedef int BOOL;
typedef long LONG;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#define WINAPI
#define __stdcall
#define __cdecl

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))
#define TLS_OUT_OF_INDEXES 0xFFFFFFFFu
#define INFINITE 0xFFFFFFFFu
#define WM_QUIT 0x0012
#define CREATE_SUSPENDED 0x00000004

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

// 100-nanosecond units since 1 January 1601, split in two halves.
typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME;

// A calendar date and time of day; wDayOfWeek is 0 for Sunday.
typedef struct _SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
} SYSTEMTIME;

#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_HIDDEN 0x00000002
#define FILE_ATTRIBUTE_SYSTEM 0x00000004
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#define FILE_ATTRIBUTE_REPARSE_POINT 0x00000400
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFu

#define DRIVE_UNKNOWN 0
#define DRIVE_NO_ROOT_DIR 1
#define DRIVE_REMOVABLE 2
#define DRIVE_FIXED 3
#define DRIVE_REMOTE 4
#define DRIVE_CDROM 5
#define DRIVE_RAMDISK 6

// A recursive lock, as a Windows critical section is.
struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
};

#endif  // _WIN32

#endif  // KELM_PORT_WIN_TYPES_H_
