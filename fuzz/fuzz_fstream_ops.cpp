// FStream driven by random operation sequences (writes, seeks and reads,
// truncation, locked pages, direct access, transactions begun, ended and
// broken, page-size changes, flushes) against a MemStream holding what the
// stream must hold. The thread's budget is 0 or 1 MiB, so that pages are
// given up, written and swapped nearly at every step. The bytes are
// compared after every step.
#include <algorithm>
#include <string>

#include "fuzz/fuzz_support.h"
#include "kelm/streams/block_manager.h"
#include "kelm/streams/fstream.h"
#include "kelm/streams/mem_stream.h"

namespace {

constexpr unsigned kMaxSize = 6 << 10;

std::string Bytes(MemStream& m) {
  std::string all(m.Size(), '\0');
  m.Seek(0);
  if (!all.empty()) m.Read(all.data(), static_cast<unsigned>(all.size()));
  return all;
}

void Replace(MemStream& m, unsigned long at, const std::string& bytes) {
  m.Seek(at);
  m.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
}

void Reset(MemStream& m, const std::string& bytes) {
  m.Clear();
  if (!bytes.empty()) m.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
}

// The stream's bytes from `at`, `n` of them, read through its pages.
std::string Read(FStream& f, unsigned long at, unsigned n) {
  std::string got(n, '\0');
  f.Seek(at);
  if (n > 0) f.Read(got.data(), n);
  return got;
}

void CheckAll(FStream& f, MemStream& model) {
  const std::string want = Bytes(model);
  FUZZ_CHECK(f.Size() == want.size());
  FUZZ_CHECK(Read(f, 0, static_cast<unsigned>(want.size())) == want);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  BlockManager::Instance().SetMemoryBound(in.ConsumeBool() ? 0 : 1);
  FStream f;
  if (in.ConsumeBool()) f.Open(nullptr, 0);  // else pages only until one is given up
  MemStream model;
  std::string before;  // the content when the transaction began
  bool in_transaction = false;

  for (int step = 0; step < 48 && in.remaining_bytes() > 0; ++step) {
    const unsigned long length = model.Size();
    const auto pick = [&](unsigned long limit) { return in.ConsumeIntegralInRange<unsigned long>(0, limit); };
    switch (in.ConsumeIntegralInRange(0, 11)) {
      case 0:
      case 1: {  // write at or before the end
        const unsigned long at = pick(length);
        const unsigned n = static_cast<unsigned>(pick(std::min<unsigned long>(kMaxSize - at, 1500)));
        const std::string bytes(n, static_cast<char>(in.ConsumeIntegral<uint8_t>()));
        f.Seek(at);
        f.Write(bytes.data(), n);
        Replace(model, at, bytes);
        break;
      }
      case 2: {  // read a stretch
        const unsigned long at = pick(length);
        const unsigned n = static_cast<unsigned>(pick(length - at));
        const std::string want = Bytes(model).substr(at, n);
        FUZZ_CHECK(Read(f, at, n) == want);
        break;
      }
      case 3: {  // cut
        const unsigned long at = pick(length);
        f.Seek(at);
        f.Truncate();
        model.Seek(at);
        model.Truncate();
        break;
      }
      case 4: {  // a locked page inside the data, changed or not
        const unsigned long page = f.BufSize();
        if (length < page) break;
        const unsigned long offset = pick(length / page - 1) * page;
        char* bytes = f.LockBuf(offset);
        std::string whole = Bytes(model);
        FUZZ_CHECK(std::string(bytes, page) == whole.substr(offset, page));
        if (in.ConsumeBool()) {
          const unsigned long at = pick(page - 1);
          bytes[at] = static_cast<char>(in.ConsumeIntegral<uint8_t>());
          whole[offset + at] = bytes[at];
          f.UnlockChgBuf(offset);
          Reset(model, whole);
        } else {
          f.UnlockBuf(offset);
        }
        break;
      }
      case 5: {  // direct access inside the data
        const unsigned long limit = in_transaction ? std::min<unsigned long>(length, before.size()) : length;
        const unsigned long at = pick(limit);
        std::string bytes(static_cast<std::size_t>(pick(std::min<unsigned long>(limit - at, 700))),
                          static_cast<char>(in.ConsumeIntegral<uint8_t>()));
        FUZZ_CHECK(f.WriteFile(at, bytes.data(), static_cast<unsigned>(bytes.size())));
        Replace(model, at, bytes);
        if (in_transaction && f.IsOpen()) before.replace(at, bytes.size(), bytes);
        std::string back(bytes.size(), '\0');
        FUZZ_CHECK(f.ReadFile(at, back.data(), static_cast<unsigned>(back.size())));
        FUZZ_CHECK(back == bytes);
        break;
      }
      case 6:
        if (!in_transaction) {
          f.BeginTransaction();
          before = Bytes(model);
          in_transaction = true;
        }
        break;
      case 7:
        f.EndTransaction();
        in_transaction = false;
        break;
      case 8:  // outside a transaction a break drops what is not written yet: not modelled
        if (in_transaction) {
          f.BreakTransaction();
          Reset(model, before);
          in_transaction = false;
        }
        break;
      case 9: {  // page size; refused inside a transaction that holds pages
        const auto page = static_cast<unsigned short>(256u << in.ConsumeIntegralInRange(0, 3));
        const bool done = kelm::fuzz::Refusable([&] { f.ChangeBufferSize(page); });
        FUZZ_CHECK(done || in_transaction);
        if (done) FUZZ_CHECK(f.BufSize() == page);
        break;
      }
      case 10: {  // refused inside a transaction and without a file, unless nothing changed
        const bool changed = (f.State() & 0x60) != 0;
        FUZZ_CHECK(f.Flush() == (!changed || (!in_transaction && f.IsOpen())));
        break;
      }
      default:
        FUZZ_CHECK(f.Size() == model.Size());
        break;
    }
    CheckAll(f, model);
  }
  if (in_transaction) {
    f.BreakTransaction();
    Reset(model, before);
    CheckAll(f, model);
  }
  FUZZ_CHECK(FStream::TrnCnt() == 0);
  return 0;
}
