// For tests of the paged streams: records what the calling thread reports
// and turns its fatal ends into exceptions, so that a test can look at
// both and go on.
#ifndef KELM_STREAMS_TESTING_REPORTS_H_
#define KELM_STREAMS_TESTING_REPORTS_H_

#include <memory>
#include <string>
#include <vector>

#include "kelm/frame/error_messager.h"
#include "kelm/frame/fatal_terminator.h"

namespace kelm::testing {

// Thrown instead of ending the process.
struct FatalEnd {
  unsigned long status;
};

class ReportCapture {
 public:
  ReportCapture() {
    ErrorMessager::Instance().Reset(new Policy(&texts));
    ErrorMessager::Instance().ClrLastError();
    KelmErrors::FatalTerminator::Instance().Reset(new Ending);
  }
  ReportCapture(const ReportCapture&) = delete;
  ReportCapture& operator=(const ReportCapture&) = delete;
  ~ReportCapture() {
    ErrorMessager::Instance().Reset(nullptr);
    KelmErrors::FatalTerminator::Instance().Reset(new KelmErrors::DefaultFatalTerminationPolicy);
  }

  // Whether `text` was reported, or with `start`, a text that begins with it.
  bool Saw(const std::string& text, bool start = false) const {
    for (const auto& t : texts)
      if (start ? t.compare(0, text.size(), text) == 0 : t == text) return true;
    return false;
  }

  std::vector<std::string> texts;

 private:
  class Policy : public IErrorPolicy {
   public:
    explicit Policy(std::vector<std::string>* texts) : texts_(texts) {}
    void Message(const std::string& text, long, bool) override { texts_->push_back(text); }
    IErrorPolicy& Clone() override { return *new Policy(texts_); }

   private:
    std::vector<std::string>* texts_;
  };
  class Ending : public KelmErrors::IFatalTerminationPolicy {
   public:
    void Terminate(unsigned long status) override { throw FatalEnd{status}; }
  };
};

}  // namespace kelm::testing

#endif  // KELM_STREAMS_TESTING_REPORTS_H_
