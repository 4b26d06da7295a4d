// The stream readers of String, WString, Buffer, Array, Collection and the
// typed values, in a random order over random bytes. The stream is either a
// MemStream or a plain Stream over a heap block of exactly the input's size.
// A reader either takes what it needs or reports error 288; what it read
// keeps its promised bounds.
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kelm/containers/array.h"
#include "kelm/containers/collection.h"
#include "kelm/streams/mem_stream.h"
#include "kelm/streams/text_stream.h"
#include "kelm/text/string.h"

namespace {

void ReadOne(Stream& s, uint8_t op) {
  switch (op % 10) {
    case 0: {
      String text(s);
      FUZZ_CHECK(text.Len() <= 255);
      break;
    }
    case 1: {
      String text;
      const int n = static_cast<int8_t>(op) / 2;
      text.ReadStream(s, n);
      FUZZ_CHECK(text.Len() <= (n > 0 ? n : 0));
      break;
    }
    case 2: {
      WString text(s);
      FUZZ_CHECK(text.Len() <= 65535);
      break;
    }
    case 3: {
      Buffer buffer;
      s >> buffer;
      break;
    }
    case 4: {
      Array items(1 + op / 10 % 16, 0);
      s >> items;
      FUZZ_CHECK(items.Count() >= 0);
      break;
    }
    case 5: {
      Collection texts(csOWNER);
      s >> texts;
      for (int i = 0; i < texts.Count(); ++i) FUZZ_CHECK(std::strlen(texts[i]) <= 255);
      break;
    }
    case 6: {
      SortCol sorted(csOWNER | csSORT | (op & 0x80 ? csDUPLICATE : 0));
      s >> sorted;
      for (int i = 1; i < sorted.Count(); ++i) FUZZ_CHECK(sorted.Compare(sorted.Item(i - 1), sorted.Item(i)) <= 0);
      break;
    }
    case 7: {
      // Room for the longest text: the length byte is at most 255.
      const auto text = std::make_unique<char[]>(256);
      s >> text.get();
      break;
    }
    case 8: {
      std::string text;
      s >> text;
      FUZZ_CHECK(text.size() <= 255);
      break;
    }
    default: {
      long long wide;
      double real;
      bool flag;
      short narrow;
      s >> wide >> real >> flag >> narrow;
      break;
    }
  }
}

void ReadAll(Stream& s, const std::vector<uint8_t>& script) {
  for (const uint8_t op : script) {
    if (s.IsEOF()) break;
    kelm::fuzz::Refusable([&] { ReadOne(s, op); });
    FUZZ_CHECK(s.CurPos() <= s.Size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const bool memory = in.ConsumeBool();
  const std::vector<uint8_t> script = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange(1, 12));
  const std::vector<uint8_t> content = in.ConsumeRemainingBytes<uint8_t>();
  if (memory) {
    MemStream s(8);
    s.Write(content.data(), static_cast<unsigned>(content.size()));
    s.Seek(0);
    ReadAll(s, script);
  } else {
    std::unique_ptr<uint8_t[]> block(new uint8_t[content.size()]);
    if (!content.empty()) std::memcpy(block.get(), content.data(), content.size());
    Stream s(block.get(), static_cast<unsigned>(content.size()));
    ReadAll(s, script);
  }
  return 0;
}
