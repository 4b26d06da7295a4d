// kelm::Variant: the dynamically typed value of object serialization. A tree
// of objects (ordered named members), arrays, strings, booleans, 64-bit
// integers, reals, files and null. Every failure is a std::runtime_error with
// an English text.
#ifndef KELM_VARIANT_VARIANT_H_
#define KELM_VARIANT_VARIANT_H_

#include <cstdint>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

namespace kelm {

struct ObjectMember;

// The content of a file, held in a string stream that can be read and
// written. Writing appends: the put position starts at the end of the
// content given to the constructor.
class VariantFile {
 public:
  VariantFile();
  explicit VariantFile(const std::string& content);
  VariantFile(const VariantFile& other);
  VariantFile& operator=(const VariantFile& other);

  // Byte-for-byte comparison of the contents.
  bool operator==(const VariantFile& other) const;

  std::iostream& Stream() { return content_; }
  std::string Content() const { return content_.str(); }

 private:
  std::stringstream content_;
};

class Variant {
 public:
  // The numbers are part of the interface: error texts show them.
  enum VariantType {
    Object = 0,
    Array = 1,
    String = 2,
    Bool = 3,
    Int = 4,
    Real = 5,
    Null = 6,
    File = 7,
  };

  // What look-ups that find nothing return.
  static const Variant null;

  Variant();
  Variant(const char* text);
  Variant(const std::string& text);
  Variant(bool value);
  Variant(int value);
  Variant(long long value);
  // Marks the value as unsigned (IsUint64).
  Variant(unsigned long long value);
  Variant(double value);
  Variant(const VariantFile& file);
  Variant(const std::vector<ObjectMember>& members);
  Variant(const std::vector<Variant>& items);
  Variant(const Variant& other);
  Variant(Variant&& other) noexcept;
  Variant& operator=(const Variant& other);
  Variant& operator=(Variant&& other) noexcept;
  ~Variant();

  VariantType Type() const { return type_; }
  bool IsNull() const { return type_ == Null; }
  bool IsUint64() const { return is_uint64_; }

  // Throws "value Type is <actual> not <expected>" unless the kind is `expected`.
  void CheckType(VariantType expected) const;

  // Strict access: the kind must match (see CheckType).
  const std::string& ToString() const;
  bool ToBool() const;
  // The 64 bits as signed, whether given as signed or not.
  long long ToInt() const;
  unsigned long long ToUint64() const;
  // Accepts Int (read as unsigned when IsUint64) and Real.
  double ToReal() const;
  const VariantFile& ToFile() const;
  VariantFile& ToFile();
  const std::vector<ObjectMember>& ToObject() const;
  std::vector<ObjectMember>& ToObject();
  const std::vector<Variant>& ToArray() const;
  std::vector<Variant>& ToArray();

  // Lenient access. AsString names the kind for objects, arrays, files and
  // null and prints the others; AsInt reads numbers from texts and booleans
  // and truncates reals.
  std::string AsString() const;
  long long AsInt() const;

  // Kinds and values; IsUint64 takes no part.
  bool operator==(const Variant& other) const;

 private:
  // The alternatives are in kind order: the index always equals type_.
  using Value = std::variant<std::vector<ObjectMember>, std::vector<Variant>, std::string, bool,
                             std::int64_t, double, std::monostate, VariantFile>;

  VariantType type_;
  Value value_;
  bool is_uint64_;
};

struct ObjectMember {
  ObjectMember();
  ObjectMember(const std::string& name, const Variant& value);

  // Names first, then kinds, then values.
  bool operator==(const ObjectMember& other) const;

  std::string name;
  Variant value;
};

namespace convert {

// The type names used in messages.
template <class T>
const char* GetString();

template <>
const char* GetString<int>();
template <>
const char* GetString<std::string>();
template <>
const char* GetString<bool>();
template <>
const char* GetString<std::vector<Variant>>();
template <>
const char* GetString<std::vector<ObjectMember>>();
template <>
const char* GetString<VariantFile>();

}  // namespace convert

// The value of the first member called `name`, or Variant::null.
const Variant& FindValue(const std::vector<ObjectMember>& members, const std::string& name);

// The value of the first member called `name`; throws when there is none.
Variant& GetValue(std::vector<ObjectMember>& members, const std::string& name);

// Depth first: a member's own name before its subtree, an earlier member's
// whole subtree before any later member. A null found inside a sub-object
// does not end the search. Variant::null when nothing is found.
const Variant& FindObjectValue(const std::vector<ObjectMember>& members, const std::string& name);

// Decodes Base64 `text` (characters outside the alphabet, padding included,
// are skipped; a zero byte ends it) and appends the bytes to the file's
// content. False, with nothing written, when the text does not decode to
// whole bytes or the content cannot be written.
bool StringToFile(const std::string& text, VariantFile& file);

}  // namespace kelm

#endif  // KELM_VARIANT_VARIANT_H_
