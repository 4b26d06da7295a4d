// Stream::TxtRead line by line over a MemStream, with random line buffer
// sizes, mixed with the other character-level readers. Every call with room
// for a character moves on, so the reading ends.
#include <algorithm>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kelm/streams/mem_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const std::vector<uint8_t> script = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange(1, 16));
  const std::string content = in.ConsumeRemainingBytesAsString();
  if (script.empty()) return 0;
  MemStream stream(script[0] % 2 == 0 ? 16 : 1024);
  stream.Write(content.data(), static_cast<unsigned>(content.size()));
  stream.Seek(0);

  std::size_t step = 0;
  for (std::size_t calls = 0; !stream.IsEOF(); ++calls) {
    FUZZ_CHECK(calls <= 2 * content.size() + 2);
    const uint8_t op = script[step++ % script.size()];
    const unsigned long before = stream.CurPos();
    switch (op % 4) {
      case 0:
      case 1: {
        // Room for 2..65 bytes, as a heap block of exactly that size.
        const unsigned capacity = 2 + op / 4;
        const auto line = std::make_unique<char[]>(capacity);
        const int length = stream.TxtRead(line.get(), capacity);
        FUZZ_CHECK(length >= 0 && static_cast<unsigned>(length) < capacity);
        FUZZ_CHECK(line[length] == '\0');
        FUZZ_CHECK(stream.CurPos() > before);
        break;
      }
      case 2: {
        const char peeked = stream.PeekChar();
        FUZZ_CHECK(stream.GetChar() == peeked);
        break;
      }
      default: {
        const char ch = static_cast<char>(op >> 2);
        const unsigned count = op % 7 + 1;
        const bool equal = op % 3 == 0;
        if (stream.FindChar(ch, count, equal)) {
          FUZZ_CHECK(stream.CurPos() < before + count);
          FUZZ_CHECK((stream.PeekChar() == ch) == equal);
          stream.GetChar();
        } else {
          FUZZ_CHECK(stream.CurPos() == std::min<unsigned long>(before + count, stream.Size()));
        }
        break;
      }
    }
  }
  char rest[4];
  FUZZ_CHECK(stream.TxtRead(rest, sizeof rest) == 0 && rest[0] == '\0');
  return 0;
}
