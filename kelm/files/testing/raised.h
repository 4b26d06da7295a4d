// The text an operation raised through the error functions.
#ifndef KELM_FILES_TESTING_RAISED_H_
#define KELM_FILES_TESTING_RAISED_H_

#include <gtest/gtest.h>

#include <string>

#include "kelm/frame/error_messager.h"
#include "kelm/frame/exceptions.h"

namespace kelm::testing {

// Runs `operation`, which must throw an Exception after reporting; answers
// the reported text, or "" when nothing was raised.
template <class Operation>
std::string Raised(Operation operation) {
  ErrorMessager::Instance().ClrLastError();
  try {
    operation();
  } catch (const Exception&) {
    return ErrorMessager::Instance().GetLastError();
  }
  ADD_FAILURE() << "nothing was raised";
  return "";
}

// Whether `text` is `expected`, alone or followed by the system's reason
// ("\n<text> (0x<code>)", as SysError adds it).
inline ::testing::AssertionResult IsReport(const std::string& text, const std::string& expected) {
  if (text.compare(0, expected.size(), expected) == 0 &&
      (text.size() == expected.size() || (text[expected.size()] == '\n' && text.back() == ')' &&
                                          text.find("(0x", expected.size()) != std::string::npos))) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "reported \"" << text << "\"\n expected \"" << expected << "\"";
}

}  // namespace kelm::testing

#endif  // KELM_FILES_TESTING_RAISED_H_
