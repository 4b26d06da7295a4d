// Member names: how a Windows-1251 name is stored in an archive, how a stored
// name is read back, and which names may be extracted to disk. The rule as a
// whole is written in kelm/archive/archive_file_stream.h.
#ifndef KELM_ARCHIVE_INTERNAL_MEMBER_NAME_H_
#define KELM_ARCHIVE_INTERNAL_MEMBER_NAME_H_

#include <string>
#include <string_view>

namespace kelm::archive::internal {

// The forms a writer stores names in.
enum class NameForm {
  kOem,   // code page 866, "version made by" MS-DOS
  kAnsi,  // Windows-1251 as given, "version made by" UNIX, plus a UTF-8 copy
          // (Info-ZIP's Unicode path field) for a name that is not ASCII
  kUtf8,  // UTF-8 with general purpose flag bit 11, "version made by" UNIX
};

struct StoredName {
  std::string bytes;  // the name field
  NameForm form;
};

StoredName StoreName(std::string_view cp1251, NameForm form);
// The form of ArchiveFileStream::FileNameCoding `coding` (fncOem when unknown).
NameForm FormOf(int coding);
// The name a reader will list for `stored`.
std::string ListedName(const StoredName& stored);

// The header fields that go with a stored name.
unsigned long VersionMadeBy(NameForm form);
unsigned long NameFlags(NameForm form);
// Attributes of a member in the host's terms: MS-DOS bits, and for the UNIX
// host its mode bits (rw-r--r--, folders rwxr-xr-x) too.
unsigned long ExternalAttributes(NameForm form, bool directory);
// The extra field of the name's headers (empty for none).
std::string CentralExtra(const StoredName& name);

// The Windows-1251 name of a member from its central directory record (see
// the rule in archive_file_stream.h).
std::string ReadName(std::string_view stored, unsigned long version_made_by, unsigned long flags,
                     std::string_view central_extra);

// Whether a member may be written below a folder under its name (see
// UnZip in kelm/archive/unzip.h for the list of refused names).
bool IsSafeName(std::string_view name);

// `name` for a message: control bytes become '?'.
std::string ShownName(std::string_view name);

}  // namespace kelm::archive::internal

#endif  // KELM_ARCHIVE_INTERNAL_MEMBER_NAME_H_
