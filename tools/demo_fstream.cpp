// Paged files: records written through FStream under transactions with a
// 1 MiB memory budget, so that changed pages go to the thread's swap file;
// one transaction is broken, the next one ended, and the file's size and
// CRC-32 are shown after each.
#include <cstdio>
#include <cstring>
#include <string>

#include "kelm/kelm.h"
#include "kelm/port/file.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {

namespace {

constexpr int kRecords = 20000;

void ShowFile(const char* when, const std::string& name) {
  FStream f(name.c_str(), fmRead);
  std::string bytes(f.Size(), '\0');
  if (!bytes.empty()) f.Read(bytes.data(), static_cast<unsigned>(bytes.size()));
  const unsigned long crc =
      CheckSum_CRC32_Registrator.Get()->Calculate(static_cast<unsigned long>(bytes.size()), bytes.data());
  Say("  %-34s %8lu bytes, CRC-32 %08lX\n", when, static_cast<unsigned long>(bytes.size()), crc);
}

// kRecords records of 64 bytes: number, amount, a text; `pass` changes them.
void WriteRecords(FStream& f, int pass) {
  char text[48];
  for (int i = 0; i < kRecords; ++i) {
    f.Seek(static_cast<unsigned long>(i) * 64);
    std::snprintf(text, sizeof text, "запись %d, проход %d", i, pass);
    f << static_cast<long>(i) << (i * 1.5 + pass) << text;
    f.Fill(0, 64 - 4 - 8 - 1 - static_cast<unsigned>(std::strlen(text)));
  }
}

}  // namespace

void DemoFStream() {
  Say("Paged files and transactions:\n");
  BlockManager::Instance().SetMemoryBound(1);
  const std::string name = kelm::port::TempFolder() + "kelm_demo_records.bin";
  {
    FStream f(name.c_str(), fmRead | fmWrite | fmCreate);
    WriteRecords(f, 0);
  }
  ShowFile("written without a transaction:", name);

  FStream f(name.c_str(), fmRead | fmWrite);
  f.BeginTransaction();
  WriteRecords(f, 1);
  f << "a tail that never arrives";
  Say("  transaction 1: %d records changed, swap file %ld KiB, file still as before\n", kRecords,
      FStream::TrnSize() >> 10);
  f.BreakTransaction();
  ShowFile("after breaking transaction 1:", name);

  f.BeginTransaction();
  WriteRecords(f, 2);
  f.Seek(static_cast<unsigned long>(kRecords / 2) * 64);
  f.Truncate();
  Say("  transaction 2: records changed, half of them cut, swap file %ld KiB\n", FStream::TrnSize() >> 10);
  f.EndTransaction();
  ShowFile("after ending transaction 2:", name);
  f.Close();

  long first = 0;
  double amount = 0;
  char text[64];
  FStream check(name.c_str(), fmRead);
  check.Seek(64 * 7);
  check >> first >> amount >> text;
  Say("  record 7 reads back: %ld, %.1f, \"%s\"\n\n", first, amount, text);
  check.Close();
  kelm::port::RemoveFile(name.c_str());
  BlockManager::Instance().SetMemoryBound(40);
}

}  // namespace kelm::tools
