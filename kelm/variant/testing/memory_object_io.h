// An object reader and writer whose wire format is a Variant tree in memory,
// for testing code that works through IObjectReader and IObjectWriter.
#ifndef KELM_VARIANT_TESTING_MEMORY_OBJECT_IO_H_
#define KELM_VARIANT_TESTING_MEMORY_OBJECT_IO_H_

#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kelm/variant/object_io.h"

namespace kelm::testing {

// Reads its own copy of a Variant. Scalars render as AsString. A cursor
// must not outlive its reader.
class MemoryReader : public IObjectReader {
 public:
  explicit MemoryReader(const Variant& value, std::string name = "") : value_(value), name_(std::move(name)) {}

  Variant::VariantType Type() const override { return value_.Type(); }
  void ReadName(std::string& name) override { name = name_; }
  void ReadFile(std::ostream& stream) override { stream << value_.ToFile().Content(); }
  void ReadString(std::string& text) override {
    if (value_.Type() == Variant::Object || value_.Type() == Variant::Array) {
      throw std::runtime_error("not a scalar");
    }
    text = value_.AsString();
  }
  void ReadBool(bool& value) override { value = value_.ToBool(); }
  void ReadInt(long long& value) override { value = value_.ToInt(); }
  void ReadUint64(unsigned long long& value) override { value = value_.ToUint64(); }
  void ReadReal(double& value) override { value = value_.ToReal(); }
  bool IsUint64() const override { return value_.IsUint64(); }
  std::unique_ptr<IItems> Items() override {
    if (value_.Type() == Variant::Object) return std::make_unique<Members>(value_.ToObject());
    if (value_.Type() == Variant::Array) return std::make_unique<Elements>(value_.ToArray());
    throw std::runtime_error("not an object or array");
  }

 private:
  template <class Item>
  class Cursor : public IItems {
   public:
    explicit Cursor(const std::vector<Item>& items) : items_(items), at_(items.size()) {}
    void First() override { at_ = 0; }
    void Next() override {
      if (at_ < items_.size()) ++at_;
    }
    bool AtEnd() const override { return at_ >= items_.size(); }

   protected:
    const std::vector<Item>& items_;
    std::size_t at_;
  };

  class Members : public Cursor<ObjectMember> {
   public:
    using Cursor::Cursor;
    std::shared_ptr<IObjectReader> Current() const override {
      return std::make_shared<MemoryReader>(items_.at(at_).value, items_.at(at_).name);
    }
  };

  class Elements : public Cursor<Variant> {
   public:
    using Cursor::Cursor;
    std::shared_ptr<IObjectReader> Current() const override {
      return std::make_shared<MemoryReader>(items_.at(at_));
    }
  };

  const Variant value_;
  std::string name_;
};

// Builds the Variant written to it; Result() is that Variant. The writer
// trusts its caller to nest and end values properly.
class MemoryWriter : public IObjectWriter {
 public:
  const Variant& Result() const { return result_; }

  void BeginObject() override { Open(Variant(std::vector<ObjectMember>())); }
  void EndObject() override { Close(); }
  void BeginArray() override { Open(Variant(std::vector<Variant>())); }
  void EndArray() override { Close(); }
  void WriteName(const std::string& name) override { name_ = name; }
  void WriteString(const std::string& text) override { Put(Variant(text)); }
  void WriteBool(bool value) override { Put(Variant(value)); }
  void WriteInt(long long value) override { Put(Variant(value)); }
  void WriteUint64(unsigned long long value) override { Put(Variant(value)); }
  void WriteReal(double value) override { Put(Variant(value)); }
  void WriteNull() override { Put(Variant()); }
  void WriteFile(std::istream& stream) override {
    Put(Variant(VariantFile(std::string(std::istreambuf_iterator<char>(stream), {}))));
  }
  void WriteRaw(const std::string& encoded) override { Put(Variant(encoded)); }
  void Flush() override {}

 private:
  struct Frame {
    Variant container;
    std::string name;
  };

  void Open(Variant container) {
    open_.push_back({std::move(container), name_});
    name_.clear();
  }

  void Close() {
    Frame done = std::move(open_.back());
    open_.pop_back();
    name_ = done.name;
    Put(std::move(done.container));
  }

  void Put(Variant value) {
    if (open_.empty()) {
      result_ = std::move(value);
    } else if (open_.back().container.Type() == Variant::Object) {
      open_.back().container.ToObject().emplace_back(name_, value);
    } else {
      open_.back().container.ToArray().push_back(std::move(value));
    }
    name_.clear();
  }

  std::vector<Frame> open_;
  std::string name_;
  Variant result_;
};

}  // namespace kelm::testing

#endif  // KELM_VARIANT_TESTING_MEMORY_OBJECT_IO_H_
