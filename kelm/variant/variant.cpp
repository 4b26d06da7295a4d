#include "kelm/variant/variant.h"

#include <cstring>
#include <locale>
#include <stdexcept>

namespace kelm {
namespace {

std::string Lowercase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// The integer a text starts with, read as a default-configured stream reads
// a long long (leading blanks and a sign allowed, stops at the first
// character that is not part of the number).
long long TextToInt(const std::string& text) {
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  long long result = 0;
  in >> result;
  if (result == 0 && !in.eof()) {
    const std::string lower = Lowercase(text);
    if (lower == "true") return 1;
    if (lower == "false") return 0;
    throw std::runtime_error("string value " + text + " can't convert to long long");
  }
  if (in.fail() && (result == INT64_MAX || result == INT64_MIN)) {
    throw std::runtime_error("string value " + text + " can't convert to long long");
  }
  return result;
}

// Truncation toward zero; outside the 64-bit range (and for NaN) the smallest
// 64-bit value, as the x86 conversion instruction gives.
long long RealToInt(double value) {
  if (value >= -9223372036854775808.0 && value < 9223372036854775808.0) {
    return static_cast<long long>(value);
  }
  return INT64_MIN;
}

int Base64Digit(unsigned char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

// VariantFile ---------------------------------------------------------------

VariantFile::VariantFile() = default;

VariantFile::VariantFile(const std::string& content)
    : content_(content, std::ios::in | std::ios::out | std::ios::ate) {}

VariantFile::VariantFile(const VariantFile& other)
    : content_(other.content_.str(), std::ios::in | std::ios::out | std::ios::ate) {}

VariantFile& VariantFile::operator=(const VariantFile& other) {
  if (this != &other) {
    content_.str(other.content_.str());
    content_.clear();
    content_.seekp(0, std::ios::end);
  }
  return *this;
}

bool VariantFile::operator==(const VariantFile& other) const {
  return this == &other || content_.str() == other.content_.str();
}

// Variant -------------------------------------------------------------------

const Variant Variant::null;

Variant::Variant() : type_(Null), value_(std::in_place_index<Null>), is_uint64_(false) {}

// A null pointer is taken as the empty text.
Variant::Variant(const char* text)
    : type_(String), value_(std::in_place_index<String>, text ? text : ""), is_uint64_(false) {}

Variant::Variant(const std::string& text)
    : type_(String), value_(std::in_place_index<String>, text), is_uint64_(false) {}

Variant::Variant(bool value) : type_(Bool), value_(std::in_place_index<Bool>, value), is_uint64_(false) {}

Variant::Variant(int value) : type_(Int), value_(std::in_place_index<Int>, value), is_uint64_(false) {}

Variant::Variant(long long value) : type_(Int), value_(std::in_place_index<Int>, value), is_uint64_(false) {}

Variant::Variant(unsigned long long value)
    : type_(Int), value_(std::in_place_index<Int>, static_cast<std::int64_t>(value)), is_uint64_(true) {}

Variant::Variant(double value) : type_(Real), value_(std::in_place_index<Real>, value), is_uint64_(false) {}

Variant::Variant(const VariantFile& file)
    : type_(File), value_(std::in_place_index<File>, file), is_uint64_(false) {}

Variant::Variant(const std::vector<ObjectMember>& members)
    : type_(Object), value_(std::in_place_index<Object>, members), is_uint64_(false) {}

Variant::Variant(const std::vector<Variant>& items)
    : type_(Array), value_(std::in_place_index<Array>, items), is_uint64_(false) {}

Variant::Variant(const Variant& other) = default;
Variant::Variant(Variant&& other) noexcept = default;
Variant& Variant::operator=(const Variant& other) = default;
Variant& Variant::operator=(Variant&& other) noexcept = default;
Variant::~Variant() = default;

void Variant::CheckType(VariantType expected) const {
  if (type_ != expected) {
    throw std::runtime_error("value Type is " + std::to_string(type_) + " not " + std::to_string(expected));
  }
}

const std::string& Variant::ToString() const {
  CheckType(String);
  return std::get<String>(value_);
}

bool Variant::ToBool() const {
  CheckType(Bool);
  return std::get<Bool>(value_);
}

long long Variant::ToInt() const {
  CheckType(Int);
  return std::get<Int>(value_);
}

unsigned long long Variant::ToUint64() const {
  CheckType(Int);
  return static_cast<unsigned long long>(std::get<Int>(value_));
}

double Variant::ToReal() const {
  if (type_ == Int) {
    const std::int64_t bits = std::get<Int>(value_);
    return is_uint64_ ? static_cast<double>(static_cast<unsigned long long>(bits)) : static_cast<double>(bits);
  }
  CheckType(Real);
  return std::get<Real>(value_);
}

const VariantFile& Variant::ToFile() const {
  CheckType(File);
  return std::get<File>(value_);
}

VariantFile& Variant::ToFile() {
  CheckType(File);
  return std::get<File>(value_);
}

const std::vector<ObjectMember>& Variant::ToObject() const {
  CheckType(Object);
  return std::get<Object>(value_);
}

std::vector<ObjectMember>& Variant::ToObject() {
  CheckType(Object);
  return std::get<Object>(value_);
}

const std::vector<Variant>& Variant::ToArray() const {
  CheckType(Array);
  return std::get<Array>(value_);
}

std::vector<Variant>& Variant::ToArray() {
  CheckType(Array);
  return std::get<Array>(value_);
}

std::string Variant::AsString() const {
  switch (type_) {
    case Object:
      return "object";
    case Array:
      return "array";
    case String:
      return std::get<String>(value_);
    case Bool:
      return std::get<Bool>(value_) ? "true" : "false";
    case Int: {
      const std::int64_t bits = std::get<Int>(value_);
      return is_uint64_ ? std::to_string(static_cast<unsigned long long>(bits))
                       : std::to_string(static_cast<long long>(bits));
    }
    case Real: {
      std::ostringstream out;
      out.imbue(std::locale::classic());
      out << std::get<Real>(value_);
      return out.str();
    }
    case Null:
      return "null";
    case File:
      return "file";
  }
  return "unknown";
}

long long Variant::AsInt() const {
  switch (type_) {
    case String:
      return TextToInt(std::get<String>(value_));
    case Bool:
      return std::get<Bool>(value_) ? 1 : 0;
    case Int:
      return std::get<Int>(value_);
    case Real:
      return RealToInt(std::get<Real>(value_));
    case Object:
    case Array:
    case Null:
    case File:
      break;
  }
  throw std::runtime_error("value Type of " + std::to_string(type_) + " can't convert to long");
}

bool Variant::operator==(const Variant& other) const {
  if (this == &other) return true;
  if (type_ != other.type_) return false;
  return value_ == other.value_;
}

// ObjectMember --------------------------------------------------------------

ObjectMember::ObjectMember() = default;

ObjectMember::ObjectMember(const std::string& name, const Variant& value) : name(name), value(value) {}

bool ObjectMember::operator==(const ObjectMember& other) const {
  return name == other.name && value.Type() == other.value.Type() && value == other.value;
}

// Type names ----------------------------------------------------------------

namespace convert {

template <>
const char* GetString<int>() {
  return "number";
}
template <>
const char* GetString<std::string>() {
  return "string";
}
template <>
const char* GetString<bool>() {
  return "bool";
}
template <>
const char* GetString<std::vector<Variant>>() {
  return "array";
}
template <>
const char* GetString<std::vector<ObjectMember>>() {
  return "object";
}
template <>
const char* GetString<VariantFile>() {
  return "file";
}

}  // namespace convert

// Look-ups ------------------------------------------------------------------

const Variant& FindValue(const std::vector<ObjectMember>& members, const std::string& name) {
  for (const ObjectMember& member : members) {
    if (member.name == name) return member.value;
  }
  return Variant::null;
}

Variant& GetValue(std::vector<ObjectMember>& members, const std::string& name) {
  for (ObjectMember& member : members) {
    if (member.name == name) return member.value;
  }
  throw std::runtime_error("Value \"" + name + "\" is not found in VariantObject");
}

const Variant& FindObjectValue(const std::vector<ObjectMember>& members, const std::string& name) {
  for (const ObjectMember& member : members) {
    if (member.name == name) return member.value;
    if (member.value.Type() == Variant::Object) {
      const Variant& found = FindObjectValue(member.value.ToObject(), name);
      if (!found.IsNull()) return found;
    }
  }
  return Variant::null;
}

bool StringToFile(const std::string& text, VariantFile& file) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  unsigned bits = 0;
  int bitCount = 0;
  int digits = 0;
  for (const char c : text) {
    if (c == '\0') break;
    const int digit = Base64Digit(static_cast<unsigned char>(c));
    if (digit < 0) continue;
    ++digits;
    bits = (bits << 6) | static_cast<unsigned>(digit);
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      bytes.push_back(static_cast<char>((bits >> bitCount) & 0xFF));
    }
  }
  // A lone digit after the last whole group carries only 6 bits: no byte can
  // be made of it, so the text is not Base64.
  if (digits % 4 == 1) return false;
  if (bytes.empty()) return true;
  std::iostream& out = file.Stream();
  out.clear();  // a reader may have left it at end-of-file
  out.seekp(0, std::ios::end);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

}  // namespace kelm
