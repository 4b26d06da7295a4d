// The localization layer's exception.
#ifndef KELM_LOCALIZATION_LOCALIZATION_EXCEPTION_H_
#define KELM_LOCALIZATION_LOCALIZATION_EXCEPTION_H_

#include "kelm/frame/exceptions.h"
#include "kelm/text/string.h"

namespace Localization {

// Description: "Ошибка локализации: ", the message and "!". The inherited
// message field holds the same text, cut to 255 characters.
class LocalizationException : public Exception {
 public:
  explicit LocalizationException(const char* message);

  String Description() const override;
  const String& Message() const { return message_; }

 private:
  String message_;
};

}  // namespace Localization

#endif  // KELM_LOCALIZATION_LOCALIZATION_EXCEPTION_H_
