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
  explicit MemoryReader(const Variant& value, std::string name = "") : mValue(value), mName(std::move(name)) {}

  Variant::VariantType Type() const override { return mValue.Type(); }
  void ReadName(std::string& name) override { name = mName; }
  void ReadFile(std::ostream& stream) override { stream << mValue.ToFile().Content(); }
  void ReadString(std::string& text) override {
    if (mValue.Type() == Variant::Object || mValue.Type() == Variant::Array) {
      throw std::runtime_error("not a scalar");
    }
    text = mValue.AsString();
  }
  void ReadBool(bool& value) override { value = mValue.ToBool(); }
  void ReadInt(long long& value) override { value = mValue.ToInt(); }
  void ReadUint64(unsigned long long& value) override { value = mValue.ToUint64(); }
  void ReadReal(double& value) override { value = mValue.ToReal(); }
  bool IsUint64() const override { return mValue.IsUint64(); }
  std::unique_ptr<IItems> Items() override {
    if (mValue.Type() == Variant::Object) return std::make_unique<Members>(mValue.ToObject());
    if (mValue.Type() == Variant::Array) return std::make_unique<Elements>(mValue.ToArray());
    throw std::runtime_error("not an object or array");
  }

 private:
  template <class Item>
  class Cursor : public IItems {
   public:
    explicit Cursor(const std::vector<Item>& items) : mItems(items), mAt(items.size()) {}
    void First() override { mAt = 0; }
    void Next() override {
      if (mAt < mItems.size()) ++mAt;
    }
    bool AtEnd() const override { return mAt >= mItems.size(); }

   protected:
    const std::vector<Item>& mItems;
    std::size_t mAt;
  };

  class Members : public Cursor<ObjectMember> {
   public:
    using Cursor::Cursor;
    std::shared_ptr<IObjectReader> Current() const override {
      return std::make_shared<MemoryReader>(mItems.at(mAt).value, mItems.at(mAt).name);
    }
  };

  class Elements : public Cursor<Variant> {
   public:
    using Cursor::Cursor;
    std::shared_ptr<IObjectReader> Current() const override {
      return std::make_shared<MemoryReader>(mItems.at(mAt));
    }
  };

  const Variant mValue;
  std::string mName;
};

// Builds the Variant written to it; Result() is that Variant. Misuse (a value
// after the outermost one, an unmatched End, writing after Flush) throws.
class MemoryWriter : public IObjectWriter {
 public:
  const Variant& Result() const { return mResult; }
  bool Flushed() const { return mFlushed; }

  void BeginObject() override { Open(Variant(std::vector<ObjectMember>())); }
  void EndObject() override { Close(Variant::Object); }
  void BeginArray() override { Open(Variant(std::vector<Variant>())); }
  void EndArray() override { Close(Variant::Array); }
  void WriteName(const std::string& name) override { mName = name; }
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
  void Flush() override {
    if (!mOpen.empty()) throw std::runtime_error("unfinished object or array");
    mFlushed = true;
  }

 private:
  struct Frame {
    Variant container;
    std::string name;
  };

  void Open(Variant container) {
    CheckWritable();
    mOpen.push_back({std::move(container), mName});
    mName.clear();
  }

  void Close(Variant::VariantType kind) {
    if (mOpen.empty() || mOpen.back().container.Type() != kind) throw std::runtime_error("unmatched end");
    Frame done = std::move(mOpen.back());
    mOpen.pop_back();
    mName = done.name;
    Put(std::move(done.container));
  }

  void Put(Variant value) {
    CheckWritable();
    if (mOpen.empty()) {
      if (mWritten) throw std::runtime_error("a second outermost value");
      mResult = std::move(value);
      mWritten = true;
    } else if (mOpen.back().container.Type() == Variant::Object) {
      mOpen.back().container.ToObject().emplace_back(mName, value);
    } else {
      mOpen.back().container.ToArray().push_back(std::move(value));
    }
    mName.clear();
  }

  void CheckWritable() const {
    if (mFlushed) throw std::runtime_error("written after Flush");
  }

  std::vector<Frame> mOpen;
  std::string mName;
  Variant mResult;
  bool mWritten = false;
  bool mFlushed = false;
};

}  // namespace kelm::testing

#endif  // KELM_VARIANT_TESTING_MEMORY_OBJECT_IO_H_
