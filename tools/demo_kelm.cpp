// The kelm namespace: a Variant tree searched, a registered function called
// by name, a small thread pool, a log record.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <sstream>

#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {
namespace {

void ShowVariant() {
  Say("Variant:\n");
  const std::vector<ObjectMember> order = {
      {"id", 1001ULL},
      {"customer", Variant(std::vector<ObjectMember>{{"name", "Иванов"}, {"city", "Тверь"}})},
      {"items", Variant(std::vector<Variant>{"чай", "сахар"})},
  };
  Say("  city found in a nested object: %s\n", FindObjectValue(order, "city").AsString().c_str());
  Say("  id as text: %s, items: %s\n", FindValue(order, "id").AsString().c_str(),
      FindValue(order, "items").AsString().c_str());
  try {
    FindValue(order, "customer").ToInt();
  } catch (const std::runtime_error& e) {
    Say("  strict access to the wrong kind: %s\n\n", e.what());
  }
}

// Reads the parameters of a call straight from a Variant object.
class VariantReader : public IObjectReader {
 public:
  explicit VariantReader(Variant value, std::string name = "") : value_(std::move(value)), name_(std::move(name)) {}
  Variant::VariantType Type() const override { return value_.Type(); }
  void ReadName(std::string& name) override { name = name_; }
  void ReadFile(std::ostream& stream) override { stream << value_.ToFile().Content(); }
  void ReadString(std::string& text) override { text = value_.AsString(); }
  void ReadBool(bool& value) override { value = value_.ToBool(); }
  void ReadInt(long long& value) override { value = value_.AsInt(); }
  void ReadUint64(unsigned long long& value) override { value = value_.ToUint64(); }
  void ReadReal(double& value) override { value = value_.ToReal(); }
  bool IsUint64() const override { return value_.IsUint64(); }
  std::unique_ptr<IItems> Items() override { return std::make_unique<Members>(value_.ToObject()); }

 private:
  class Members : public IItems {
   public:
    explicit Members(const std::vector<ObjectMember>& members) : members_(members) {}
    void First() override { at_ = 0; }
    void Next() override { ++at_; }
    bool AtEnd() const override { return at_ >= members_.size(); }
    std::shared_ptr<IObjectReader> Current() const override {
      return std::make_shared<VariantReader>(members_[at_].value, members_[at_].name);
    }

   private:
    const std::vector<ObjectMember>& members_;
    std::size_t at_ = 0;
  };

  Variant value_;
  std::string name_;
};

// Writes a single number result as text.
class TextWriter : public IObjectWriter {
 public:
  std::string text;
  void BeginObject() override { text += "{"; }
  void EndObject() override { text += "}"; }
  void BeginArray() override { text += "["; }
  void EndArray() override { text += "]"; }
  void WriteName(const std::string& name) override { text += name + ":"; }
  void WriteString(const std::string& value) override { text += "\"" + value + "\""; }
  void WriteBool(bool value) override { text += value ? "true" : "false"; }
  void WriteInt(long long value) override { text += std::to_string(value); }
  void WriteUint64(unsigned long long value) override { text += std::to_string(value); }
  void WriteReal(double value) override { text += std::to_string(value); }
  void WriteNull() override { text += "null"; }
  void WriteFile(std::istream&) override { text += "<file>"; }
  void WriteRaw(const std::string& encoded) override { text += encoded; }
  void Flush() override {}
};

class DemoContext : public IContext {
 public:
  std::string Caller() const override { return "demo"; }
};

long long Sum(long long a, long long b) { return a + b; }

class SumRegistrator : public IFuncRegistrator {
 public:
  SumRegistrator() : IFuncRegistrator(reinterpret_cast<void*>(&Sum)) {}
  void Call(IObjectReader& params, IObjectWriter& result, IContext&) const override {
    std::vector<ObjectMember> members;
    ReadValue(params, members);
    auto sum = reinterpret_cast<long long (*)(long long, long long)>(Function());
    result.WriteInt(sum(GetValue(members, "a").AsInt(), GetValue(members, "b").AsInt()));
  }
};

class Functions : public FuncList {};

void ShowFunctionCall() {
  Say("Function registry:\n");
  Functions functions;
  functions.Insert("Sum", " 2", new SumRegistrator, false);
  functions.AddAlterName("Sum", " 2", "Add");
  VariantReader params(Variant(std::vector<ObjectMember>{{"a", 40}, {"b", "2"}}));
  TextWriter result;
  DemoContext context;
  functions.Find("Add", params)->Call(params, result, context);
  Say("  Add(a=40, b=\"2\") through the alias of Sum = %s\n", result.text.c_str());
  VariantReader three(Variant(std::vector<ObjectMember>{{"a", 1}, {"b", 2}, {"c", 3}}));
  try {
    functions.Find("Sum", three);
  } catch (const FuncList::InvalidParamsException&) {
    Say("  Sum with three parameters: invalid parameters\n\n");
  }
}

// Counts finished tasks for a thread that waits for a number of them.
class Finished {
 public:
  void Add() {
    std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_all();
  }
  void WaitFor(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return count_ >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

class Square : public Task {
 public:
  Square(int n, std::atomic<long long>& total, Finished& finished) : n_(n), total_(total), finished_(finished) {}
  ~Square() override { finished_.Add(); }
  void Execute() override { total_ += static_cast<long long>(n_) * n_; }

 private:
  int n_;
  std::atomic<long long>& total_;
  Finished& finished_;
};

class Greeter : public ThreadPoolEventHandler {
 public:
  std::atomic<int> started{0};
  void OnThreadStart() override { ++started; }
};

void ShowThreadPool() {
  Say("Thread pool:\n");
  Greeter greeter;
  ThreadPool pool(&greeter);
  std::atomic<long long> total{0};
  Finished finished;
  for (int n = 1; n <= 100; ++n) pool.AddTask(new Square(n, total, finished));
  Say("  queued before start: %d tasks\n", pool.TasksCount());
  pool.StartThreads(3);
  finished.WaitFor(100);
  pool.Stop();
  Say("  3 workers summed the squares of 1..100: %lld\n\n", total.load());
}

// Heads each record with its local creation time and prints it.
class ConsoleLog : public BaseBufLog {
 public:
  void Write() {
    const auto created = CreationTime();
    const std::chrono::hh_mm_ss time(created - std::chrono::floor<std::chrono::days>(created));
    std::ostringstream out;
    flush(out);
    Say("  %02d:%02d:%02d.%06lld %s", static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
        static_cast<long long>(time.subseconds().count()), out.str().c_str());
  }
};

void ShowLog() {
  Say("Log:\n");
  ConsoleLog log;
  log() << "запись собрана в памяти: " << 3 << " поля, " << 2.5 << " мс\n";
  log.Write();
  Say("\n");
}

}  // namespace

void DemoKelm() {
  ShowVariant();
  ShowFunctionCall();
  ShowThreadPool();
  ShowLog();
}

}  // namespace kelm::tools
