#include "kelm/frame/exceptions.h"

#include <cstdarg>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string Text(const AException& e) { return static_cast<const char*>(e.Description()); }

Exception Formatted(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Exception e(format, args);
  va_end(args);
  return e;
}

GorseCodeException Coded(int code, ...) {
  va_list args;
  va_start(args, code);
  GorseCodeException e(code, args);
  va_end(args);
  return e;
}

TEST(ExceptionTest, MessagesAreBoundedInsideTheObject) {
  const std::string long_text(300, 'a');
  EXPECT_EQ(Text(Exception(long_text.c_str())), std::string(255, 'a'));
  EXPECT_EQ(Text(Exception(std::string(255, 'b').c_str())), std::string(255, 'b'));
  EXPECT_EQ(Text(Exception(static_cast<const char*>(nullptr))), "");
  EXPECT_EQ(Text(Exception()), "");

  EXPECT_EQ(Text(Formatted("%s", long_text.c_str())), std::string(254, 'a'));
  EXPECT_EQ(Text(Formatted("%s", std::string(254, 'c').c_str())), std::string(254, 'c'));
  EXPECT_EQ(Text(Formatted("строка %d из %s", 3, "пяти")), "строка 3 из пяти");
  EXPECT_EQ(Text(Formatted(nullptr)), "");
}

TEST(ExceptionTest, CodedExceptionsTakeTheModuleTextOrTheDefault) {
  const GorseCodeException known = Coded(61001, 4, "шести");
  EXPECT_EQ(known.Code(), 61001);
  EXPECT_EQ(Text(known), "Сообщение теста №4 из шести");
  EXPECT_EQ(Text(Coded(0x5A5A)), "Ошибка с кодом 5A5A");

  // A format stands in for a missing text, formatted with the code alone.
  EXPECT_EQ(Text(GorseCodeException(61002, "нет текста для %u")), "нет текста для 61002");
  EXPECT_EQ(Text(GorseCodeException(61001, "не нужен", 8, "девяти")),
            "Сообщение теста №8 из девяти");
  EXPECT_EQ(Text(GorseCodeException(0x1F, static_cast<const char*>(nullptr))),
            "Ошибка с кодом 1F");

  // A long argument is cut to the object's field.
  const std::string long_arg(400, 'z');
  EXPECT_EQ(Text(Coded(61001, 1, long_arg.c_str())).size(), 254u);
}

TEST(ExceptionTest, FamilyMembers) {
  const ZipException zip(0x77, "архив: %X");
  EXPECT_EQ(zip.Code(), 0x77);
  EXPECT_EQ(Text(zip), "архив: 77");
  const GorseCodeException& as_coded = zip;
  EXPECT_EQ(Text(as_coded), "архив: 77");

  EXPECT_EQ(Text(MSXMLException("разбор XML")), "разбор XML");

  const BadPathException bad("C:\\нет\\файла.txt");
  EXPECT_STREQ(bad.GetFileName(), "C:\\нет\\файла.txt");
  EXPECT_EQ(Text(bad), "");
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
    EXPECT_STREQ(dynamic_cast<const BadPathException&>(e).GetFileName(), "x.txt");
  }
}

}  // namespace
