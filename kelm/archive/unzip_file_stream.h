// UnZipFileStream reads a ZIP archive: its member list and each member into a
// Stream or a vector. Member names follow the rule in archive_file_stream.h.
//
//   UnZipFileStream unzip;
//   if (unzip.Open(archive_bytes)) {
//     for (const std::string& name : unzip.Files()) ...
//     MemStream text;
//     if (!unzip.ExtractFile("readme.txt", text)) puts(unzip.Error());
//   }
//
// Failures answer false and leave their text in Error():
//   "Не удалось найти файл в архиве!"       no member of that name
//   "Ошибка при открытии архивного файла!"  the member's data cannot be opened
//   "Ошибка при чтении файла в архиве!"     its data cannot be read or inflated
//   "Ошибка контрольной суммы!"             the CRC does not match
//   "Ошибка при распаковке архива!"         fewer bytes came out than recorded
//   "Ошибка чтения буфера данных для распаковки!"  no memory for the bytes
//   "Файл в архиве зашифрован: ..."         encrypted members are refused
//   "Ошибка при открытии файла в архиве!"   neither stored nor deflated
//   "Ошибка при обработке архива!"          no archive is open
// and when opening: "Файл <name> не найден!", "Ошибка в архиве <name> !",
// "Ошибка получения количества файлов в архиве!", "Не удалось извлечь
// список файлов в архиве!".
// A member's bytes are produced by no more memory than its compressed bytes
// can hold, whatever size the archive records for it.
#ifndef KELM_ARCHIVE_UNZIP_FILE_STREAM_H_
#define KELM_ARCHIVE_UNZIP_FILE_STREAM_H_

#include <memory>
#include <string>
#include <vector>

#include "kelm/archive/archive_file_stream.h"
#include "kelm/datetime/time_stamp.h"

namespace kelm::archive::internal {
class Channel;
class Reader;
}  // namespace kelm::archive::internal

// What the central directory records of one member.
struct ArchiveMember {
  std::string name;  // Windows-1251
  unsigned long long size = 0;         // unpacked, as recorded
  unsigned long long packed_size = 0;  // packed, as recorded
  TimeStamp time;                      // the recorded local time
  unsigned long crc = 0;               // CRC-32 as ZIP computes it
  bool directory = false;
  bool encrypted = false;
};

class UnZipFileStream : public DeArchiveFile {
 public:
  UnZipFileStream();
  ~UnZipFileStream() override;

  const std::vector<std::string>& Files() const override { return files_; }
  // The stream is cleared first. The member is read in pieces of at most
  // 10240 bytes, each written to the stream as it comes, until a shorter
  // piece (possibly empty) has been written. On failure the stream keeps
  // what was written before it.
  bool ExtractFile(const char* name, Stream& stream) override;
  bool IsOpened() override;
  // Extracts every member in list order into the scratch file "check.tmp"
  // (in the current folder), emptied before each member; false at the first
  // member that fails. The scratch file is deleted at the end.
  bool CheckFile() override;
  // Always false: member dates are not read back through this call (kept
  // so; Members() has them).
  bool GetArcFileDateTime(const char* name, FileDateTimeType type, TimeStamp& stamp) override;
  // The vector is emptied first, then holds the whole member; on failure it
  // is empty again.
  bool ExtractFile(const char* name, std::vector<char>& data) override;

  // Each member as the central directory records it, in list order.
  std::vector<ArchiveMember> Members() const;

 protected:
  // A missing file or one that holds no readable archive answers false.
  bool DoOpen(const char* name) override;
  void DoClose() override;
  bool DoOpenMemory(std::vector<unsigned char>&& data) override;
  // The member list, from the archive just opened.
  void CreateFilesList();

 private:
  bool OpenChannel(std::unique_ptr<kelm::archive::internal::Channel> channel, const std::string& name);
  bool Extract(std::size_t index, Stream& stream);

  std::unique_ptr<kelm::archive::internal::Reader> reader_;
  std::vector<unsigned char> memory_;  // the archive opened from memory
  std::vector<std::string> files_;
};

#endif  // KELM_ARCHIVE_UNZIP_FILE_STREAM_H_
