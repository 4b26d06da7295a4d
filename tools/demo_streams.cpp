// Streams: typed records in a memory stream, read back, and its CRC-32 and
// MD5.
#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {

void DemoStreams() {
  Say("Streams and checksums:\n");
  MemStream s;
  s << "Иванов" << 1957L << 12.5;
  s.TxtPrintf("итого: %d записи", 3);
  Say("  a memory stream of %lu bytes\n", s.Size());

  s.Seek(0);
  char name[256];
  long year = 0;
  double amount = 0;
  s >> name >> year >> amount;
  char line[64];
  s.TxtRead(line, sizeof line);
  Say("  read back: %s, %ld, %.1f, \"%s\"\n", name, year, amount, line);

  const unsigned long crc = CheckSum_CRC32_Registrator.Get()->Calculate(s);
  StreamHash hash;
  hash.CalcHash(s, 0);
  char hex[33];
  hash.GetHashHex(hex);
  Say("  CRC-32 %08lX, MD5 %s\n\n", crc, hex);
}

}  // namespace kelm::tools
