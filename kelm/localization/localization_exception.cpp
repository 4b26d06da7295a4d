#include "kelm/localization/localization_exception.h"

namespace Localization {
namespace {

String Describe(const char* message) {
  String text("Ошибка локализации: ");
  text << message << "!";
  return text;
}

}  // namespace

LocalizationException::LocalizationException(const char* message)
    : Exception(Describe(message)), message_(message) {}

String LocalizationException::Description() const { return Describe(message_); }

}  // namespace Localization
