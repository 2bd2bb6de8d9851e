// Test support: records what the error channel prints.
//
// ErrorCapture installs a print handler (and the default error handler) for
// its lifetime and restores the previous ones afterwards.  Each printed line
// is stored as "<severity>|<text>".
#ifndef SLRT_TESTS_SUPPORT_CAPTURE_H
#define SLRT_TESTS_SUPPORT_CAPTURE_H

#include <slrt/runtime/error.h>

#include <string>
#include <vector>

class ErrorCapture {
 public:
  ErrorCapture() : fSavedPrinter(Error::fPrintHandler), fSavedHandler(Error::fHandler) {
    current() = this;
    setErrorHandler(kivErrorPrint);
    setErrorPrinter(&ErrorCapture::record);
  }
  ~ErrorCapture() {
    Error::fPrintHandler = fSavedPrinter;
    Error::fHandler = fSavedHandler;
    current() = nullptr;
  }
  ErrorCapture(const ErrorCapture&) = delete;
  ErrorCapture& operator=(const ErrorCapture&) = delete;

  const std::vector<std::string>& lines() const { return fLines; }
  /// All lines joined with '\n', handy for EXPECT_EQ on a whole report.
  std::string text() const {
    std::string all;
    for (const std::string& l : fLines) {
      if (!all.empty()) all += '\n';
      all += l;
    }
    return all;
  }
  void clear() { fLines.clear(); }

 private:
  static ErrorCapture*& current() {
    static ErrorCapture* c = nullptr;
    return c;
  }
  static void record(long severity, const char* text) {
    if (current())
      current()->fLines.push_back(std::to_string(severity) + "|" + (text ? text : "(null)"));
  }

  std::vector<std::string> fLines;
  ErrorPrintFunc fSavedPrinter;
  ErrorHandlerFunc fSavedHandler;
};

/// The error channel drops an immediate repeat of the previous message; tests
/// that raise the same report twice in different cases call this in between.
inline void resetErrorRepeat() {
  ErrorPrintFunc p = Error::fPrintHandler;
  ErrorHandlerFunc h = Error::fHandler;
  Error::fHandler = kivErrorIgnore;
  error(0, 1, "\x01 repeat barrier");
  Error::fHandler = h;
  Error::fPrintHandler = p;
}

#endif  // SLRT_TESTS_SUPPORT_CAPTURE_H
