#include "kelm/frame/errors.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
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

struct Seen {
  std::string text;
  long key;
  bool flag;
};

// Records what it is shown; can throw instead, and tells when it is deleted.
class RecordingPolicy : public IErrorPolicy {
 public:
  explicit RecordingPolicy(std::vector<Seen>* log, bool* deleted = nullptr)
      : log_(log), deleted_(deleted) {}
  ~RecordingPolicy() override {
    if (deleted_ != nullptr) *deleted_ = true;
  }
  void Message(const std::string& text, long key, bool flag) override {
    if (throws) throw std::runtime_error("policy refused");
    log_->push_back({text, key, flag});
  }
  IErrorPolicy& Clone() override { return *new RecordingPolicy(log_); }

  bool throws = false;

 private:
  std::vector<Seen>* log_;
  bool* deleted_;
};

struct Box {
  std::string text;
  std::string title;
  unsigned flags;
};
std::vector<Box> boxes;

void RecordBox(const char* text, const char* title, unsigned flags) {
  boxes.push_back({text, title, flags});
}

// Ends nothing: records the status and throws, so that the test goes on.
struct Terminated {
  unsigned long status;
};
class ThrowingTermination : public KelmErrors::IFatalTerminationPolicy {
 public:
  void Terminate(unsigned long status) override { throw Terminated{status}; }
};

// Every test starts with no policy, no last error, no system error and
// message boxes recorded instead of shown, and leaves the thread that way.
class ErrorsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous_hook_ = kelm::port::SetMessageBoxHook(&RecordBox);
    boxes.clear();
    messager().Reset(nullptr);
    messager().ForcePolicyReset(nullptr);
    messager().ClrLastError();
  }
  void TearDown() override {
    messager().Reset(nullptr);
    messager().ForcePolicyReset(nullptr);
    messager().ClrLastError();
    kelm::port::SetMessageBoxHook(previous_hook_);
  }
  static ErrorMessager& messager() { return ErrorMessager::Instance(); }
  RecordingPolicy* Install() {
    auto* policy = new RecordingPolicy(&log_);
    messager().Reset(policy);
    return policy;
  }
  std::string Last() { return messager().GetLastError(); }

  std::vector<Seen> log_;

 private:
  kelm::port::MessageBoxHook previous_hook_ = nullptr;
};

// Windows-1251 texts of the library's table, as they must arrive.
TEST_F(ErrorsTest, LibraryMessagesArriveAsWindows1251) {
  const struct {
    unsigned long code;
    const char* text;
  } messages[] = {
      {29, "Ошибка записи в файл!"},
      {30, "Ошибка чтения из файла!"},
      {288, "Позиция или длина потока выходит за пределы его данных!"},
      {289, "Страница не может быть освобождена: она заблокирована или является текущей,\n"
            "либо её смещение не кратно размеру страницы!"},
      {291, "Не удалось сбросить страницы на диск при изменении размера страницы!"},
      {292, "Завершение транзакции, которая не была начата: счётчик транзакций стал бы "
            "отрицательным!"},
      {296, "Закрытие файла во время незавершённой транзакции!"},
      {386, "Освобождаемая страница отсутствует в пуле страниц файла!"},
      {535, "Текущая страница отсутствует в пуле страниц файла!"},
  };
  for (const auto& m : messages) {
    ErrorMsg(m.code);
    EXPECT_EQ(Last(), m.text) << m.code;
  }
  // The literals above are Windows-1251 bytes; say so once explicitly.
  ErrorMsg(29);
  EXPECT_EQ(Last().substr(0, 6), "\xCE\xF8\xE8\xE1\xEA\xE0");
  EXPECT_TRUE(log_.empty());
  EXPECT_TRUE(boxes.empty());
}

TEST_F(ErrorsTest, UnknownCodeReadsTheDefaultText) {
  ErrorMsg(0x7ABCul);
  EXPECT_EQ(Last(), "Ошибка с кодом 7ABC");
  ErrorMsg(5ul);
  EXPECT_EQ(Last(), "Ошибка с кодом 5");
}

// The modules are searched in the order LoadedDLLs, the executable,
// RegisteredDLLs; the executable overrides 4614 of the library.
TEST_F(ErrorsTest, ModulesAreSearchedInOrder) {
  ErrorMsg(4614, "Array");
  EXPECT_EQ(Last(), "Таблица теста: сбой в \"Array\"");

  LoadedDLLs.Add(kelm::port::LibraryModule());
  ErrorMsg(4614, "Array");
  LoadedDLLs.Remove(kelm::port::LibraryModule());
  EXPECT_EQ(Last(),
            "Произошла неожидаемая ошибка в класcе \"Array\".\n"
            "Будьте добры, зафиксируйте последовательность действий,\n"
            "приведших к этой ошибке, и сообщите разработчикам.");
  EXPECT_NE(Last().find("\xEA\xEB\xE0\xF1" "c" "\xE5"), std::string::npos)
      << "the Latin c of the message is kept";

  ErrorMsg(61001, 3, "семи");
  EXPECT_EQ(Last(), "Сообщение теста №3 из семи");

  char buffer[KelmErrors::kErrorTextSize];
  EXPECT_TRUE(GetMessageStr(61001, buffer));
  EXPECT_STREQ(buffer, "Сообщение теста №%d из %s");
  EXPECT_FALSE(GetMessageStr(61002, buffer));
}

TEST_F(ErrorsTest, GetMessageAFallsBackToTheDefaultFormatWithTheCode) {
  struct Call {
    static std::string Run(const char* fallback, unsigned long code, ...) {
      char out[KelmErrors::kErrorTextSize];
      va_list args;
      va_start(args, code);
      const char* result = GetMessageA(out, fallback, code, args);
      va_end(args);
      EXPECT_EQ(result, out);
      return out;
    }
  };
  EXPECT_EQ(Call::Run("нет текста %u", 61002), "нет текста 61002");
  EXPECT_EQ(Call::Run("нет текста %u", 61001, 1, "двух"), "Сообщение теста №1 из двух");
}

TEST_F(ErrorsTest, ForcePolicyTakesPrecedenceUntilReleased) {
  std::vector<Seen> forced;
  bool forced_deleted = false;
  RecordingPolicy* policy = Install();
  auto* force = new RecordingPolicy(&forced, &forced_deleted);
  messager().ForcePolicyReset(force);
  EXPECT_EQ(messager().ErrorPolicy(), policy);
  EXPECT_EQ(messager().ForceErrorPolicy(), force);

  ErrorMsg("первое");
  ASSERT_EQ(forced.size(), 1u);
  EXPECT_TRUE(log_.empty());

  EXPECT_EQ(messager().ReleaseForcePolicy(), force);
  EXPECT_EQ(messager().ForceErrorPolicy(), nullptr);
  EXPECT_FALSE(forced_deleted);
  ErrorMsg("второе");
  ASSERT_EQ(log_.size(), 1u);
  EXPECT_EQ(log_[0].text, "второе");
  EXPECT_EQ(forced.size(), 1u);
  EXPECT_EQ(Last(), "второе");
  delete force;
}

TEST_F(ErrorsTest, PoliciesAreOwnedByTheMessager) {
  bool first_deleted = false;
  bool second_deleted = false;
  auto* first = new RecordingPolicy(&log_, &first_deleted);
  messager().Reset(first);
  messager().Reset(first);  // the same pointer: kept
  EXPECT_FALSE(first_deleted);
  messager().Reset(new RecordingPolicy(&log_, &second_deleted));
  EXPECT_TRUE(first_deleted);

  IErrorPolicy* released = messager().Release();
  EXPECT_EQ(messager().ErrorPolicy(), nullptr);
  EXPECT_FALSE(second_deleted);
  ErrorMsg("никому");
  EXPECT_TRUE(log_.empty());
  EXPECT_EQ(Last(), "никому");
  delete released;
  EXPECT_TRUE(second_deleted);

  // A thread's messager deletes its policies when the thread ends; another
  // thread's policies never see this thread's messages.
  bool policy_deleted = false;
  bool force_deleted = false;
  std::vector<Seen> other_log;
  ErrorMessager* const main_messager = &messager();
  std::thread([&] {
    ErrorMessager& own = ErrorMessager::Instance();
    EXPECT_NE(&own, main_messager);
    EXPECT_EQ(own.ErrorPolicy(), nullptr);
    own.Reset(new RecordingPolicy(&other_log, &policy_deleted));
    own.ForcePolicyReset(new RecordingPolicy(&other_log, &force_deleted));
  }).join();
  EXPECT_TRUE(policy_deleted);
  EXPECT_TRUE(force_deleted);
}

TEST_F(ErrorsTest, OkToAllKeys) {
  Install();
  static const char kFormat[] = "формат %d";
  ErrorMsgOkAll(7ul);
  ErrorMsgOkAll(kFormat, 1);
  ErrorMsg(7ul);
  ErrorMsg(kFormat, 2);
  ErrorMsg(std::string("100%% готово"));
  ASSERT_EQ(log_.size(), 5u);
  EXPECT_EQ(log_[0].key, 7);
  EXPECT_EQ(log_[1].key, static_cast<long>(reinterpret_cast<std::uintptr_t>(kFormat)));
  EXPECT_EQ(log_[1].text, "формат 1");
  EXPECT_EQ(log_[2].key, 0);
  EXPECT_EQ(log_[3].key, 0);
  EXPECT_EQ(log_[4].text, "100% готово") << "the string is the format";
  for (const Seen& seen : log_) EXPECT_FALSE(seen.flag);

  try {
    ErrorOkAll(61001ul, 5, "пяти");
  } catch (const GorseCodeException& e) {
    EXPECT_EQ(e.Code(), 61001);
  }
  try {
    ErrorOkAll(kFormat, 6);
  } catch (const Exception&) {
  }
  ASSERT_EQ(log_.size(), 7u);
  EXPECT_EQ(log_[5].key, 61001);
  EXPECT_EQ(log_[5].text, "Сообщение теста №5 из пяти");
  EXPECT_EQ(log_[6].key, static_cast<long>(reinterpret_cast<std::uintptr_t>(kFormat)));
}

TEST_F(ErrorsTest, ErrorReportsThenThrows) {
  Install();
  try {
    Error(61001ul, 2, "трёх");
    FAIL() << "Error returned";
  } catch (const GorseCodeException& e) {
    EXPECT_EQ(e.Code(), 61001);
    EXPECT_EQ(Text(e), "Сообщение теста №2 из трёх");
  }
  try {
    Error("файл %s не найден", "a.txt");
    FAIL() << "Error returned";
  } catch (const GorseCodeException&) {
    FAIL() << "a formatted error is a plain Exception";
  } catch (const Exception& e) {
    EXPECT_EQ(Text(e), "файл a.txt не найден");
  }
  ASSERT_EQ(log_.size(), 2u);
  EXPECT_EQ(log_[0].text, "Сообщение теста №2 из трёх");
  EXPECT_EQ(Last(), "файл a.txt не найден");
}

TEST_F(ErrorsTest, ThrowingPolicyLeavesTheLastErrorAsItWas) {
  ErrorMsg("прежнее");
  Install()->throws = true;
  EXPECT_THROW(ErrorMsg(29ul), std::runtime_error);
  EXPECT_THROW(Error(30ul), std::runtime_error);
  EXPECT_EQ(Last(), "прежнее");
}

TEST_F(ErrorsTest, MessagesAreCutAt8384Characters) {
  const std::string exact(8384, 'x');
  ErrorMsg("%s", exact.c_str());
  EXPECT_EQ(Last(), exact);
  const std::string longer(9000, 'y');
  ErrorMsg("%s!", longer.c_str());
  EXPECT_EQ(Last(), std::string(8384, 'y'));
  ErrorMsg(61001ul, 1, longer.c_str());
  EXPECT_EQ(Last().size(), 8384u);
  EXPECT_EQ(Last().substr(0, 16), "Сообщение теста ");
  try {
    Error("%s", longer.c_str());
  } catch (const Exception& e) {
    EXPECT_EQ(Text(e).size(), 254u);
  }
}

// The suffix of a known system error: file not found.
TEST_F(ErrorsTest, SystemErrorSuffix) {
#ifdef _WIN32
  const unsigned long kNotFound = 2;  // ERROR_FILE_NOT_FOUND
#else
  const unsigned long kNotFound = ENOENT;
#endif
  const std::string system_text = kelm::port::SystemErrorText(kNotFound);
  ASSERT_FALSE(system_text.empty());
  char hex[16];
  std::snprintf(hex, sizeof hex, "%X", static_cast<unsigned>(kNotFound));

  kelm::port::SetLastSystemError(0);
  SysErrorMsg("открытие %s", "a.txt");
  EXPECT_EQ(Last(), "открытие a.txt");

  kelm::port::SetLastSystemError(kNotFound);
  SysErrorMsg("открытие %s", "a.txt");
  EXPECT_EQ(Last(), "открытие a.txt\n" + system_text + " (0x" + hex + ")");

  KelmErrors::ErrorText buffer;
  kelm::port::SetLastSystemError(kNotFound);
  EXPECT_EQ(SysErrorMsgBuf(&buffer, "шаг %d", 4), &buffer);
  EXPECT_EQ(std::string(buffer), "шаг 4\n" + system_text + " (0x" + hex + ")");
  EXPECT_EQ(SysErrorMsgBuf(nullptr, "шаг"), nullptr);

  // A code the system has no text for gets the bare number (Windows; the C
  // library words every code).
  const unsigned long unknown = 0x2FFFFFFF;
  std::strcpy(buffer, "текст");
  kelm::port::SetLastSystemError(unknown);
  sys_error_msg(buffer);
  const std::string unknown_text = kelm::port::SystemErrorText(unknown);
  EXPECT_EQ(std::string(buffer), unknown_text.empty()
                                      ? std::string("текст\n(0x2FFFFFFF)")
                                      : "текст\n" + unknown_text + " (0x2FFFFFFF)");
  kelm::port::SetLastSystemError(0);
}

// SysError uses its finished text once more as the format of the exception.
TEST_F(ErrorsTest, SysErrorThrowsTheTextFormattedAgain) {
  Install();
  kelm::port::SetLastSystemError(0);
  try {
    SysError("%s", "50%s");
  } catch (const Exception& e) {
    EXPECT_EQ(Text(e), "5050%s");
  }
  ASSERT_EQ(log_.size(), 1u);
  EXPECT_EQ(log_[0].text, "50%s");
  EXPECT_TRUE(boxes.empty());

  // APISysError shows a box and leaves the messager alone.
  try {
    APISysError("сбой %d", 9);
  } catch (const Exception& e) {
    EXPECT_EQ(Text(e), "сбой 9");
  }
  EXPECT_EQ(log_.size(), 1u);
  ASSERT_EQ(boxes.size(), 1u);
  EXPECT_EQ(boxes[0].text, "сбой 9");
  EXPECT_EQ(boxes[0].title, "Ошибка!");
  EXPECT_EQ(boxes[0].flags, 0x2010u);
}

TEST_F(ErrorsTest, ApiErrorPolicyShowsABox) {
  messager().Reset(new APIErrorPolicy);
  ErrorMsgOkAll(29ul);
  APIMsgBox("прямо", 5, true);
  ASSERT_EQ(boxes.size(), 2u);
  EXPECT_EQ(boxes[0].text, "Ошибка записи в файл!");
  EXPECT_EQ(boxes[0].title, "Ошибка!");
  EXPECT_EQ(boxes[0].flags, 0x2010u);
  EXPECT_EQ(boxes[1].text, "прямо");

  IErrorPolicy& copy = messager().ErrorPolicy()->Clone();
  EXPECT_NE(&copy, messager().ErrorPolicy());
  EXPECT_NE(dynamic_cast<APIErrorPolicy*>(&copy), nullptr);
  delete &copy;
}

TEST_F(ErrorsTest, FatalErrorsEndThroughTheTerminator) {
  Install();
  KelmErrors::FatalTerminator& terminator = KelmErrors::FatalTerminator::Instance();
  terminator.Reset(new ThrowingTermination);
  unsigned long status = 0;
  try {
    FatalError(292ul);
  } catch (const Terminated& t) {
    status = t.status;
  }
  EXPECT_EQ(status, 292u);
  try {
    FatalErrorMsg("разрыв списка %d", 3);
  } catch (const Terminated& t) {
    status = t.status;
  }
  EXPECT_EQ(status, 1u);
  ASSERT_EQ(log_.size(), 2u);
  EXPECT_EQ(log_[0].text,
            "Завершение транзакции, которая не была начата: счётчик транзакций стал бы "
            "отрицательным!");
  EXPECT_EQ(log_[1].text, "разрыв списка 3");

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
