#include "kelm/frame/exceptions.h"

#include <string>

#include <gtest/gtest.h>

namespace {

// Formatted messages of Exception and GorseCodeException(code, va_list) are
// checked through Error in errors_test.cpp.
std::string Text(const AException& e) { return static_cast<const char*>(e.Description()); }

TEST(ExceptionTest, MessagesOfTheFamily) {
  EXPECT_EQ(Text(Exception(std::string(300, 'a').c_str())), std::string(255, 'a'));
  EXPECT_EQ(Text(Exception(static_cast<const char*>(nullptr))), "");
  // A format stands in for a missing module text, formatted with the code alone.
  EXPECT_EQ(Text(GorseCodeException(61002, "нет текста для %u")), "нет текста для 61002");
  EXPECT_EQ(Text(GorseCodeException(61001, "не нужен", 8, "девяти")), "Сообщение теста №8 из девяти");
  EXPECT_EQ(Text(GorseCodeException(0x1F, static_cast<const char*>(nullptr))), "Ошибка с кодом 1F");
  const ZipException zip(0x77, "архив: %X");
  EXPECT_EQ(zip.Code(), 0x77);
  EXPECT_EQ(Text(zip), "архив: 77");
  EXPECT_EQ(Text(MSXMLException("разбор XML")), "разбор XML");
  EXPECT_STREQ(BadPathException(nullptr).GetFileName(), "");

  // Copies are independent of the original.
  Exception copy("первое");
  {
    const Exception original("второе");
    copy = original;
  }
  EXPECT_EQ(Text(copy), "второе");
  try {
    throw BadPathException("x.txt");
  } catch (const Exception& e) {
    EXPECT_EQ(Text(e), "");
    EXPECT_STREQ(dynamic_cast<const BadPathException&>(e).GetFileName(), "x.txt");
  }
}

}  // namespace
