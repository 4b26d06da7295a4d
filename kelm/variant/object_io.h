// The interfaces through which serialized objects are read and written, the
// context of a call, and the generic reading and writing of Variant trees.
// Concrete readers and writers for a wire format come from the clients.
#ifndef KELM_VARIANT_OBJECT_IO_H_
#define KELM_VARIANT_OBJECT_IO_H_

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "kelm/variant/variant.h"

namespace kelm {

// A reader positioned on one value. A read of a kind the value does not have
// throws std::runtime_error.
class IObjectReader {
 public:
  // A cursor over the members of an object or the elements of an array.
  class IItems {
   public:
    virtual ~IItems() = default;
    virtual void First() = 0;
    virtual void Next() = 0;
    virtual bool AtEnd() const = 0;
    // A reader positioned on the current item.
    virtual std::shared_ptr<IObjectReader> Current() const = 0;
  };

  virtual ~IObjectReader() = default;

  // The kind of the value under the reader.
  virtual Variant::VariantType Type() const = 0;
  // The member name the value stands under; empty for array elements and
  // for the outermost value.
  virtual void ReadName(std::string& name) = 0;
  // Appends the content of a file value to `stream`.
  virtual void ReadFile(std::ostream& stream) = 0;
  // The value as text: a string as it is, any other scalar as the wire
  // format renders it.
  virtual void ReadString(std::string& text) = 0;
  virtual void ReadBool(bool& value) = 0;
  virtual void ReadInt(long long& value) = 0;
  virtual void ReadUint64(unsigned long long& value) = 0;
  virtual void ReadReal(double& value) = 0;
  // True when an integer value was written as unsigned.
  virtual bool IsUint64() const = 0;
  // Objects and arrays only.
  virtual std::unique_ptr<IItems> Items() = 0;
};

// Writes one value at a time. An object is BeginObject, then per member
// WriteName followed by the member's value, then EndObject; an array is
// BeginArray, the elements, EndArray.
class IObjectWriter {
 public:
  virtual ~IObjectWriter() = default;

  virtual void BeginObject() = 0;
  virtual void EndObject() = 0;
  virtual void BeginArray() = 0;
  virtual void EndArray() = 0;
  virtual void WriteName(const std::string& name) = 0;
  virtual void WriteString(const std::string& text) = 0;
  virtual void WriteBool(bool value) = 0;
  virtual void WriteInt(long long value) = 0;
  virtual void WriteUint64(unsigned long long value) = 0;
  virtual void WriteReal(double value) = 0;
  virtual void WriteNull() = 0;
  // The file's content from the current position of `stream` to its end.
  virtual void WriteFile(std::istream& stream) = 0;
  // A value already in the wire format, written as it is.
  virtual void WriteRaw(const std::string& encoded) = 0;
  // Completes the output; nothing may be written afterwards.
  virtual void Flush() = 0;
};

// What a called function may learn about its call.
class IContext {
 public:
  virtual ~IContext() = default;
  // Who makes the call (a user or an address), as the transport knows it.
  virtual std::string Caller() const = 0;
};

// Appends the content of a file value to `file`.
void ReadValue(IObjectReader& reader, VariantFile& file);

// Replace `members` / `items` with the object or array under the reader.
// Objects and arrays nest; every other value is read with ReadString and
// becomes a String Variant.
void ReadValue(IObjectReader& reader, std::vector<ObjectMember>& members);
void ReadValue(IObjectReader& reader, std::vector<Variant>& items);

// Writes the whole tree of `value`.
void WriteValue(IObjectWriter& writer, const Variant& value);

}  // namespace kelm

#endif  // KELM_VARIANT_OBJECT_IO_H_
