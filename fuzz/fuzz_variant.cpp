// kelm::Variant trees built from random bytes: copies and moves, the strict
// and lenient conversions, the look-ups, StringToFile, and the generic
// ReadValue and WriteValue through in-memory readers and writers.
#include <cmath>
#include <stdexcept>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kelm/variant/object_io.h"
#include "kelm/variant/testing/memory_object_io.h"
#include "kelm/variant/variant.h"

namespace {

using kelm::ObjectMember;
using kelm::Variant;

constexpr int kMaxDepth = 4;

struct Builder {
  FuzzedDataProvider& in;
  int nodes = 0;
  bool hasNaN = false;

  Variant Make(int depth) {
    if (++nodes > 16 || in.remaining_bytes() == 0) return Variant();
    switch (in.ConsumeIntegralInRange(0, 9)) {
      case 0: {
        std::vector<ObjectMember> members;
        const int n = depth < kMaxDepth ? in.ConsumeIntegralInRange(0, 4) : 0;
        for (int i = 0; i < n; ++i) {
          std::string name = in.ConsumeRandomLengthString(8);
          members.emplace_back(name, Make(depth + 1));
        }
        return Variant(members);
      }
      case 1: {
        std::vector<Variant> items;
        const int n = depth < kMaxDepth ? in.ConsumeIntegralInRange(0, 4) : 0;
        for (int i = 0; i < n; ++i) items.push_back(Make(depth + 1));
        return Variant(items);
      }
      case 2:
        return Variant(in.ConsumeRandomLengthString(40));
      case 3:
        return Variant(in.ConsumeBool());
      case 4:
        return Variant(in.ConsumeIntegral<long long>());
      case 5:
        return Variant(in.ConsumeIntegral<unsigned long long>());
      case 6: {
        const auto bits = in.ConsumeIntegral<std::uint64_t>();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        hasNaN = hasNaN || std::isnan(value);
        return Variant(value);
      }
      case 7:
        return Variant(kelm::VariantFile(in.ConsumeRandomLengthString(40)));
      case 8:
        return Variant(in.ConsumeIntegral<int>());
      default:
        return Variant();
    }
  }
};

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// What AsInt of a text gives: the leading decimal number, "true"/"false"
// when nothing could be read, a failure otherwise. False for a failure.
bool TextToInt(const std::string& text, long long& result) {
  std::size_t i = 0;
  while (i < text.size() && IsSpace(text[i])) ++i;
  const bool negative = i < text.size() && text[i] == '-';
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
  const std::size_t digitsFrom = i;
  unsigned long long magnitude = 0;
  bool overflow = false;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const unsigned digit = static_cast<unsigned>(text[i] - '0');
    if (magnitude > (~0ULL - digit) / 10) overflow = true;
    magnitude = magnitude * 10 + digit;
  }
  const unsigned long long limit = negative ? 1ULL << 63 : (1ULL << 63) - 1;
  if (overflow || magnitude > limit) return false;
  result = negative ? static_cast<long long>(0 - magnitude) : static_cast<long long>(magnitude);
  if (i == digitsFrom && i == text.size()) result = 0;
  if (result != 0 || i == text.size()) return true;
  std::string lower = text;
  for (char& c : lower) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  result = lower == "true" ? 1 : 0;
  return lower == "true" || lower == "false";
}

void CheckConversions(const Variant& v) {
  const std::string text = v.AsString();
  long long asInt = 0;
  bool converted = true;
  try {
    asInt = v.AsInt();
  } catch (const std::runtime_error&) {
    converted = false;
  }
  switch (v.Type()) {
    case Variant::String: {
      long long expected = 0;
      const bool ok = TextToInt(v.ToString(), expected);
      FUZZ_CHECK(converted == ok);
      FUZZ_CHECK(!ok || asInt == expected);
      FUZZ_CHECK(text == v.ToString());
      break;
    }
    case Variant::Int:
      FUZZ_CHECK(converted && asInt == v.ToInt());
      FUZZ_CHECK(text == (v.IsUint64() ? std::to_string(v.ToUint64()) : std::to_string(v.ToInt())));
      FUZZ_CHECK(v.ToReal() == (v.IsUint64() ? static_cast<double>(v.ToUint64()) : static_cast<double>(v.ToInt())));
      break;
    case Variant::Bool:
      FUZZ_CHECK(converted && asInt == (v.ToBool() ? 1 : 0));
      break;
    case Variant::Real:
      FUZZ_CHECK(converted);
      break;
    default:
      FUZZ_CHECK(!converted);
      break;
  }
  if (v.Type() == Variant::Object) {
    for (const ObjectMember& member : v.ToObject()) {
      CheckConversions(member.value);
      FUZZ_CHECK(&kelm::FindValue(v.ToObject(), member.name) != &Variant::null);
      kelm::FindObjectValue(v.ToObject(), member.name);
    }
  } else if (v.Type() == Variant::Array) {
    for (const Variant& item : v.ToArray()) CheckConversions(item);
  }
}

// What the generic reading gives for a value read through MemoryReader:
// objects and arrays nest, every other value becomes its text.
Variant Stringified(const Variant& v) {
  if (v.Type() == Variant::Object) {
    std::vector<ObjectMember> members;
    for (const ObjectMember& member : v.ToObject()) members.emplace_back(member.name, Stringified(member.value));
    return Variant(members);
  }
  if (v.Type() == Variant::Array) {
    std::vector<Variant> items;
    for (const Variant& item : v.ToArray()) items.push_back(Stringified(item));
    return Variant(items);
  }
  return Variant(v.AsString());
}

void CheckReadWrite(const Variant& v, bool hasNaN) {
  kelm::testing::MemoryReader reader(v);
  if (v.Type() == Variant::Object) {
    std::vector<ObjectMember> members;
    kelm::ReadValue(reader, members);
    FUZZ_CHECK(Variant(members) == Stringified(v));
  } else if (v.Type() == Variant::Array) {
    std::vector<Variant> items;
    kelm::ReadValue(reader, items);
    FUZZ_CHECK(Variant(items) == Stringified(v));
  } else if (v.Type() == Variant::File) {
    kelm::VariantFile file;
    kelm::ReadValue(reader, file);
    FUZZ_CHECK(file == v.ToFile());
  }
  kelm::testing::MemoryWriter writer;
  kelm::WriteValue(writer, v);
  writer.Flush();
  FUZZ_CHECK(hasNaN || writer.Result() == v);
}

int Base64Digit(char c) {
  static const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::size_t at = kAlphabet.find(c);
  return at == std::string::npos ? -1 : static_cast<int>(at);
}

void CheckStringToFile(const std::string& prefix, const std::string& text) {
  std::vector<int> digits;
  for (const char c : text) {
    if (c == '\0') break;
    if (Base64Digit(c) >= 0) digits.push_back(Base64Digit(c));
  }
  std::string bytes;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 4) {
    const std::size_t n = std::min<std::size_t>(4, digits.size() - at);
    unsigned group = 0;
    for (std::size_t k = 0; k < 4; ++k) group = group << 6 | (k < n ? digits[at + k] : 0);
    for (std::size_t k = 0; k + 1 < n; ++k) bytes += static_cast<char>(group >> (16 - 8 * k) & 0xFF);
  }
  kelm::VariantFile file(prefix);
  const bool ok = kelm::StringToFile(text, file);
  FUZZ_CHECK(ok == (digits.size() % 4 != 1));
  FUZZ_CHECK(file.Content() == (ok ? prefix + bytes : prefix));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const int part = in.ConsumeIntegralInRange(0, 2);
  if (part == 0) {
    const std::string prefix = in.ConsumeRandomLengthString(8);
    CheckStringToFile(prefix, in.ConsumeRemainingBytesAsString());
    return 0;
  }
  Builder builder{in};
  const Variant v = builder.Make(0);
  if (part == 1) {
    Variant copy = v;
    FUZZ_CHECK(builder.hasNaN || copy == v);
    Variant moved = std::move(copy);
    FUZZ_CHECK(builder.hasNaN || moved == v);
    CheckConversions(v);
  } else {
    CheckReadWrite(v, builder.hasNaN);
  }
  return 0;
}
