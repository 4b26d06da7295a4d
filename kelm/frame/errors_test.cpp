#include "kelm/frame/errors.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kelm/frame/dlls.h"
#include "kelm/frame/fatal_terminator.h"
#include "kelm/port/message_box.h"
#include "kelm/port/module.h"
#include "kelm/port/system_error.h"

namespace {

std::string Text(const Exception& e) { return static_cast<const char*>(e.Description()); }

// The text of the Exception that `f` throws, after "code:" for a
// GorseCodeException.
template <class F>
std::string Thrown(F f) {
  try {
    f();
  } catch (const Exception& e) {
    const auto* coded = dynamic_cast<const GorseCodeException*>(&e);
    return (coded != nullptr ? std::to_string(coded->Code()) + ":" : "") + Text(e);
  }
  return "(nothing thrown)";
}

using Log = std::vector<std::string>;

// Records what it is shown; can throw instead, and tells when it is deleted.
class RecordingPolicy : public IErrorPolicy {
 public:
  explicit RecordingPolicy(Log* log, bool* deleted = nullptr)
      : log_(log), deleted_(deleted) {}
  ~RecordingPolicy() override {
    if (deleted_ != nullptr) *deleted_ = true;
  }
  void Message(const std::string& text, long key, bool) override {
    if (throws_) throw std::runtime_error("policy refused");
    log_->push_back(std::to_string(key) + "|" + text);
  }
  IErrorPolicy& Clone() override { return *new RecordingPolicy(log_); }

  bool throws_ = false;

 private:
  Log* log_;
  bool* deleted_;
};

std::vector<std::string> boxes;
void RecordBox(const char* text, const char* title, unsigned flags) {
  boxes.push_back(std::string(title) + "|" + std::to_string(flags) + "|" + text);
}

// Ends nothing: throws the status, so that the test goes on.
class ThrowingTermination : public KelmErrors::IFatalTerminationPolicy {
 public:
  void Terminate(unsigned long status) override { throw status; }
};

// Every test starts with no policy, no last error and message boxes
// recorded instead of shown, and leaves the thread that way.
class ErrorsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous_hook_ = kelm::port::SetMessageBoxHook(&RecordBox);
    boxes.clear();
    Clear();
  }
  void TearDown() override {
    Clear();
    kelm::port::SetMessageBoxHook(previous_hook_);
  }
  static void Clear() {
    messager().Reset(nullptr);
    messager().ForcePolicyReset(nullptr);
    messager().ClrLastError();
  }
  static ErrorMessager& messager() { return ErrorMessager::Instance(); }
  RecordingPolicy* Install() {
    auto* policy = new RecordingPolicy(&log_);
    messager().Reset(policy);
    return policy;
  }
  static std::string Last() { return messager().GetLastError(); }

  Log log_;

 private:
  kelm::port::MessageBoxHook previous_hook_ = nullptr;
};

TEST_F(ErrorsTest, NumberedTextsFromTheModulesInOrder) {
  ErrorMsg(288ul);
  EXPECT_EQ(Last(), "Позиция или длина потока выходит за пределы его данных!");
  ErrorMsg(29ul);
  EXPECT_EQ(Last().substr(0, 6), "\xCE\xF8\xE8\xE1\xEA\xE0");  // Windows-1251 bytes
  ErrorMsg(0x7ABCul);
  EXPECT_EQ(Last(), "Ошибка с кодом 7ABC");

  // LoadedDLLs, then the executable (whose table overrides 4614), then
  // RegisteredDLLs.
  ErrorMsg(4614, "Array");
  EXPECT_EQ(Last(), "Таблица теста: сбой в \"Array\"");
  LoadedDLLs.Add(kelm::port::LibraryModule());
  ErrorMsg(4614, "Array");
  LoadedDLLs.Remove(kelm::port::LibraryModule());
  EXPECT_EQ(Last(),
            "Произошла неожидаемая ошибка в класcе \"Array\".\n"
            "Будьте добры, зафиксируйте последовательность действий,\n"
            "приведших к этой ошибке, и сообщите разработчикам.");

  char buffer[KelmErrors::kErrorTextSize];
  EXPECT_TRUE(GetMessageStr(61001, buffer));
  EXPECT_STREQ(buffer, "Сообщение теста №%d из %s");
  EXPECT_FALSE(GetMessageStr(61002, buffer));
}

TEST_F(ErrorsTest, PoliciesForcedOwnedAndPerThread) {
  Log forced;
  bool first_deleted = false;
  bool forced_deleted = false;
  auto* first = new RecordingPolicy(&log_, &first_deleted);
  messager().Reset(first);
  messager().Reset(first);  // the same pointer: kept
  EXPECT_FALSE(first_deleted);
  RecordingPolicy* policy = Install();
  EXPECT_TRUE(first_deleted);

  auto* force = new RecordingPolicy(&forced, &forced_deleted);
  messager().ForcePolicyReset(force);
  ErrorMsg("первое");
  EXPECT_EQ(messager().ReleaseForcePolicy(), force);
  EXPECT_FALSE(forced_deleted);
  delete force;
  ErrorMsg("второе");
  EXPECT_EQ(forced, Log{"0|первое"});
  EXPECT_EQ(log_, Log{"0|второе"});
  EXPECT_EQ(Last(), "второе");

  EXPECT_EQ(messager().Release(), policy);
  delete policy;

  // A thread's messager deletes its policies when the thread ends.
  bool policy_deleted = false;
  ErrorMessager* const main_messager = &messager();
  std::thread([&] {
    ErrorMessager& own = ErrorMessager::Instance();
    EXPECT_NE(&own, main_messager);
    own.Reset(new RecordingPolicy(&forced, &policy_deleted));
    own.ForcePolicyReset(new RecordingPolicy(&forced, &forced_deleted));
  }).join();
  EXPECT_TRUE(policy_deleted);
  EXPECT_TRUE(forced_deleted);
}

TEST_F(ErrorsTest, OkToAllKeys) {
  Install();
  static const char kFormat[] = "формат %d";
  const long format_key = static_cast<long>(reinterpret_cast<std::uintptr_t>(kFormat));
  ErrorMsgOkAll(7ul);
  ErrorMsgOkAll(kFormat, 1);
  ErrorMsg(7ul);
  ErrorMsg(std::string("100%% готово"));  // the string is the format
  EXPECT_THROW(ErrorOkAll(61001ul, 5, "пяти"), GorseCodeException);
  EXPECT_THROW(ErrorOkAll(kFormat, 6), Exception);
  const std::string key = std::to_string(format_key);
  EXPECT_EQ(log_, (Log{"7|Ошибка с кодом 7", key + "|формат 1", "0|Ошибка с кодом 7", "0|100% готово",
                       "61001|Сообщение теста №5 из пяти", key + "|формат 6"}));
}

TEST_F(ErrorsTest, ErrorReportsThenThrows) {
  Install();
  EXPECT_EQ(Thrown([] { Error(61001ul, 2, "трёх"); }), "61001:Сообщение теста №2 из трёх");
  EXPECT_EQ(Thrown([] { Error("файл %s не найден", "a.txt"); }), "файл a.txt не найден");
  EXPECT_EQ(log_, (Log{"0|Сообщение теста №2 из трёх", "0|файл a.txt не найден"}));

  // A policy that throws leaves the last error as it was.
  ErrorMsg("прежнее");
  Install()->throws_ = true;
  EXPECT_THROW(ErrorMsg(29ul), std::runtime_error);
  EXPECT_THROW(Error(30ul), std::runtime_error);
  EXPECT_EQ(Last(), "прежнее");
}

TEST_F(ErrorsTest, MessagesAreCutAt8384Characters) {
  const std::string longer(9000, 'y');
  ErrorMsg("%s!", longer.c_str());
  EXPECT_EQ(Last(), std::string(8384, 'y'));
  EXPECT_EQ(Thrown([&] { Error("%s", longer.c_str()); }).size(), 254u);
}

TEST_F(ErrorsTest, SystemErrorSuffixAndBox) {
#ifdef _WIN32
  const unsigned long kNotFound = 2;  // ERROR_FILE_NOT_FOUND
#else
  const unsigned long kNotFound = ENOENT;
#endif
  char hex[16];
  std::snprintf(hex, sizeof hex, "%X", static_cast<unsigned>(kNotFound));
  const std::string suffix = "\n" + kelm::port::SystemErrorText(kNotFound) + " (0x" + hex + ")";

  kelm::port::SetLastSystemError(0);
  SysErrorMsg("открытие %s", "a.txt");
  EXPECT_EQ(Last(), "открытие a.txt");
  kelm::port::SetLastSystemError(kNotFound);
  SysErrorMsg("открытие %s", "a.txt");
  EXPECT_EQ(Last(), "открытие a.txt" + suffix);
  KelmErrors::ErrorText buffer;
  kelm::port::SetLastSystemError(kNotFound);
  EXPECT_EQ(SysErrorMsgBuf(&buffer, "шаг %d", 4), &buffer);
  EXPECT_EQ(std::string(buffer), "шаг 4" + suffix);

  // SysError formats its finished text once more for the exception.
  Install();
  kelm::port::SetLastSystemError(0);
  EXPECT_EQ(Thrown([] { SysError("%s", "50%s"); }), "5050%s");
  // APISysError shows a box and leaves the messager alone.
  EXPECT_THROW(APISysError("сбой %d", 9), Exception);
  EXPECT_EQ(log_, Log{"0|50%s"});
  // So does the policy for programs without a user interface of their own.
  messager().Reset(new APIErrorPolicy);
  ErrorMsgOkAll(29ul);
  EXPECT_EQ(boxes, (std::vector<std::string>{"Ошибка!|8208|сбой 9", "Ошибка!|8208|Ошибка записи в файл!"}));
}

TEST_F(ErrorsTest, FatalErrorsEndThroughTheTerminator) {
  Install();
  KelmErrors::FatalTerminator& terminator = KelmErrors::FatalTerminator::Instance();
  terminator.Reset(new ThrowingTermination);
  auto status_of = [](auto fatal) {
    try {
      fatal();
    } catch (unsigned long status) {
      return status;
    }
    return 0ul;
  };
  EXPECT_EQ(status_of([] { FatalError(292ul); }), 292u);
  EXPECT_EQ(status_of([] { FatalErrorMsg("разрыв списка %d", 3); }), 1u);
  EXPECT_EQ(log_.back(), "0|разрыв списка 3");

  // With no terminator policy the fatal functions return.
  delete terminator.Release();
  FatalError(29ul);
  FatalErrorMsg("дальше");
  EXPECT_EQ(Last(), "дальше");
  terminator.Reset(new KelmErrors::DefaultFatalTerminationPolicy);
}

#if GTEST_HAS_DEATH_TEST && !defined(_WIN32)
TEST(ErrorsDeathTest, FatalErrorExitsWithTheCode) {
  EXPECT_EXIT(FatalError(30ul), ::testing::ExitedWithCode(30), "");
  EXPECT_EXIT(FatalErrorMsg("конец"), ::testing::ExitedWithCode(1), "");
}
#endif

}  // namespace
