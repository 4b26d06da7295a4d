#include "kelm/localization/translator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kelm/frame/error_messager.h"
#include "kelm/localization/localization_exception.h"
#include "kelm/port/file.h"
#include "kelm/port/locale.h"
#include "kelm/port/testing/scratch_dir.h"

namespace Localization {

// Fresh translators for the tests; the process-wide one is shared by all.
class TranslatorTestAccess {
 public:
  static std::unique_ptr<Translator> Make() { return std::unique_ptr<Translator>(new Translator()); }
};

namespace {

const char* country = "USA";
const char* Country() { return country; }

class TranslatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    kelm::port::SetSystemCountryHook(Country);
    country = "USA";
    ErrorMessager::Instance().Reset(nullptr);
    ErrorMessager::Instance().ClrLastError();
  }
  void TearDown() override { kelm::port::SetSystemCountryHook(nullptr); }

  std::string Make(const std::string& name, const std::string& content) const {
    EXPECT_TRUE(dir_.Write(name, content));
    return dir_ / name;
  }

  kelm::testing::ScratchDir dir_;
  const std::string folder_ = dir_.path() + kelm::port::kPathSeparator;
};

TEST_F(TranslatorTest, RussianSystemTranslatesNothing) {
  country = "RUS";
  Make("EN.lng", "Да#Yes\r\n");
  auto t = TranslatorTestAccess::Make();
  t->Init(folder_.c_str());
  EXPECT_EQ(t->CurLanguage(), lRussian);
  const char* text = "Да";
  char out[16] = "zzz";
  EXPECT_EQ(t->Translate(text, tcPlain, out, sizeof out), text);
  EXPECT_STREQ(out, "Да");
  EXPECT_EQ(t->Translate(std::string("Нет"), tcPlain), "Нет");
  t->SetCurLanguage(lEnglish);  // nothing was recorded to store
  t->StoreUnknown();
  EXPECT_FALSE(dir_.Exists("EN_unknown.lng"));
  EXPECT_EQ(ErrorMessager::Instance().GetLastError(), std::string());
}

TEST_F(TranslatorTest, MissingEnglishDictionaryLeavesTwoMasks) {
  auto t = TranslatorTestAccess::Make();
  t->Init(folder_.c_str());
  EXPECT_EQ(t->CurLanguage(), lEnglish);
  EXPECT_EQ(ErrorMessager::Instance().GetLastError(), "Файл " + folder_ + "EN.lng не найден!");
  char out[64];
  EXPECT_STREQ(t->Translate("Файл C:\\x.lng не найден!", tcPlain, out, sizeof out), "File C:\\x.lng not found!");
  EXPECT_STREQ(t->Translate("Ошибка! [ версия 1.2 (сборка 345) ]", tcPlain, out, sizeof out),
               "Error! [ version 1.2 (setup 345) ]");
}

TEST_F(TranslatorTest, LookupOrderAndWhatIsRecorded) {
  Make("EN.lng", "Да#Yes\r\nДа#Yes!#STRING\r\nФайл {1} не найден!#File {1} not found!#MASK\r\n");
  auto t = TranslatorTestAccess::Make();
  t->Init(folder_.c_str());
  char out[32] = "z";
  EXPECT_EQ(t->Translate(nullptr, tcPlain, out, sizeof out), nullptr);
  const char* empty = "";
  EXPECT_EQ(t->Translate(empty, tcPlain, out, sizeof out), empty);
  EXPECT_EQ(out[0], 'z');

  const char* yes = t->Translate("Да", tcPlain, out, sizeof out);
  EXPECT_STREQ(yes, "Yes");
  EXPECT_NE(yes, out);  // the dictionary's own text, also copied out
  EXPECT_STREQ(out, "Yes");
  EXPECT_STREQ(t->Translate("Да", tcString, out, sizeof out), "Yes!");
  EXPECT_STREQ(t->Translate("Да", tcPlain, out, 3), "Yes");
  EXPECT_STREQ(out, "Ye");
  EXPECT_STREQ(t->Translate("Да", tcMask, out, sizeof out), "Да");  // masks skip the strings

  EXPECT_EQ(t->Translate("Файл x не найден!", tcPlain, out, sizeof out), out);
  EXPECT_STREQ(out, "File x not found!");
  const char* masked = "Файл y не найден!";
  EXPECT_EQ(t->Translate(masked, tcPlain, nullptr, 0), masked);  // no buffer, no mask
  EXPECT_EQ(t->Translate(std::string(masked), tcPlain), "File y not found!");
  EXPECT_EQ(t->Translate(std::string("Hello 42"), tcPlain), "Hello 42");
  EXPECT_EQ(t->Translate(std::string("Новое"), tcString), "Новое");
  EXPECT_EQ(t->Translate(std::string(), tcPlain), "");
  t->Translate(std::string(2048, '\xC0').c_str(), tcPlain, out, sizeof out);  // too long to record

  t->StoreUnknown();
  EXPECT_EQ(dir_.Read("EN_unknown.lng"), "Файл y не найден!##\r\nНовое##STRING\r\n");
  t->DropDicToFile((folder_ + "dump.lng").c_str());
  EXPECT_EQ(dir_.Read("dump.lng"), "Да#Yes#\r\nДа#Yes!#STRING\r\n");
}

TEST_F(TranslatorTest, SwitchingLanguages) {
  Make("EN.lng", "Да#Yes\r\nФайл {1} не найден!#File {1} not found!#MASK\r\n");
  const std::string german = Make("DE.lng", "Да#Ja\r\n");
  Make("DE_unknown.lng", "Старое##\r\n");
  auto t = TranslatorTestAccess::Make();
  t->Init(folder_.c_str());
  // Registered, not loaded.
  for (const char* file : {german.c_str(), static_cast<const char*>(nullptr), "", "a.lng"}) t->UploadDicFromFile(file);
  EXPECT_EQ(t->Translate(std::string("Да"), tcPlain), "Yes");
  t->Translate(std::string("Привет"), tcPlain);

  t->SetCurLanguage("DE");
  EXPECT_EQ(t->CurLanguage(), lGerman);
  EXPECT_EQ(dir_.Read("EN_unknown.lng"), "Привет##\r\n");
  EXPECT_EQ(t->Translate(std::string("Да"), tcPlain), "Ja");
  // Kept as they have always been: the English masks stay in force, and the
  // English unknown texts go to the German file with the German ones.
  EXPECT_EQ(t->Translate(std::string("Файл x не найден!"), tcPlain), "File x not found!");
  kelm::port::RemoveFile((folder_ + "EN_unknown.lng").c_str());
  for (const char* same : {"DE", static_cast<const char*>(nullptr), ""}) t->SetCurLanguage(same);
  EXPECT_FALSE(dir_.Exists("EN_unknown.lng"));
  t->SetCurLanguage(lEnglish);
  EXPECT_EQ(dir_.Read("DE_unknown.lng"), "Привет##\r\nСтарое##\r\n");
  EXPECT_EQ(t->Translate(std::string("Да"), tcPlain), "Yes");

  try {
    t->SetCurLanguage("en");
    ADD_FAILURE() << "no exception";
  } catch (const LocalizationException& e) {
    EXPECT_STREQ(e.Description(), "Ошибка локализации: неизвестный строковый код языка \"en\"!");
  }
  EXPECT_THROW(t->SetCurLanguage(static_cast<Language>(7)), LocalizationException);
  EXPECT_EQ(t->CurLanguage(), lEnglish);
}

// Eight readers while the process-wide translator switches back and forth:
// every result is the text itself or one of its translations.
TEST_F(TranslatorTest, TranslatingWhileTheLanguageChanges) {
  static const kelm::testing::ScratchDir files;  // registered for good: each switch loads them again
  ASSERT_TRUE(files.Write("EN.lng", "Да#Yes\r\nОк {1}#Ok {1}#MASK\r\n"));
  ASSERT_TRUE(files.Write("DE.lng", "Да#Ja\r\n"));
  Translator& t = Translator::Instance();
  for (const char* file : {"EN.lng", "DE.lng"}) t.UploadDicFromFile((files / file).c_str());
  std::atomic<bool> done{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int r = 0; r < 8; ++r) {
    readers.emplace_back([&t, &done, &wrong] {
      char out[16];
      while (!done.load()) {
        // Only the copy in `out` is safe: the result may point into a replaced dictionary.
        t.Translate("Да", tcPlain, out, sizeof out);
        const std::string yes = out;
        if (yes != "Да" && yes != "Yes" && yes != "Ja") ++wrong;
        const std::string ok = t.Translate(std::string("Ок 1"), tcPlain);
        if (ok != "Ок 1" && ok != "Ok 1") ++wrong;
      }
    });
  }
  try {
    for (int i = 0; i < 1000; ++i) t.SetCurLanguage(i % 2 == 0 ? lEnglish : lGerman);
    t.SetCurLanguage(lRussian);
  } catch (const AException& e) {
    ADD_FAILURE() << static_cast<const char*>(e.Description());
  }
  done = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
}  // namespace Localization
