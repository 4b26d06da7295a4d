#include "kelm/variant/object_io.h"

#include <sstream>

namespace kelm {
namespace {

// Objects and arrays nest; any other value comes back as its text.
Variant ReadItem(IObjectReader& reader) {
  switch (reader.Type()) {
    case Variant::Object: {
      std::vector<ObjectMember> members;
      ReadValue(reader, members);
      return Variant(members);
    }
    case Variant::Array: {
      std::vector<Variant> items;
      ReadValue(reader, items);
      return Variant(items);
    }
    default: {
      std::string text;
      reader.ReadString(text);
      return Variant(text);
    }
  }
}

}  // namespace

void ReadValue(IObjectReader& reader, VariantFile& file) { reader.ReadFile(file.Stream()); }

// Members are read the way array elements are, so that an object and an
// array holding the same values give the same Variants.
void ReadValue(IObjectReader& reader, std::vector<ObjectMember>& members) {
  members.clear();
  const std::unique_ptr<IObjectReader::IItems> items = reader.Items();
  for (items->First(); !items->AtEnd(); items->Next()) {
    const std::shared_ptr<IObjectReader> item = items->Current();
    ObjectMember member;
    item->ReadName(member.name);
    member.value = ReadItem(*item);
    members.push_back(std::move(member));
  }
}

void ReadValue(IObjectReader& reader, std::vector<Variant>& items) {
  items.clear();
  const std::unique_ptr<IObjectReader::IItems> cursor = reader.Items();
  for (cursor->First(); !cursor->AtEnd(); cursor->Next()) {
    items.push_back(ReadItem(*cursor->Current()));
  }
}

void WriteValue(IObjectWriter& writer, const Variant& value) {
  switch (value.Type()) {
    case Variant::Object:
      writer.BeginObject();
      for (const ObjectMember& member : value.ToObject()) {
        writer.WriteName(member.name);
        WriteValue(writer, member.value);
      }
      writer.EndObject();
      break;
    case Variant::Array:
      writer.BeginArray();
      for (const Variant& item : value.ToArray()) WriteValue(writer, item);
      writer.EndArray();
      break;
    case Variant::String:
      writer.WriteString(value.ToString());
      break;
    case Variant::Bool:
      writer.WriteBool(value.ToBool());
      break;
    case Variant::Int:
      if (value.IsUint64()) {
        writer.WriteUint64(value.ToUint64());
      } else {
        writer.WriteInt(value.ToInt());
      }
      break;
    case Variant::Real:
      writer.WriteReal(value.ToReal());
      break;
    case Variant::Null:
      writer.WriteNull();
      break;
    case Variant::File: {
      std::istringstream content(value.ToFile().Content());
      writer.WriteFile(content);
      break;
    }
  }
}

}  // namespace kelm
