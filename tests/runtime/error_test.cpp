// The error channel: layout of the printed reports, repeat suppression,
// handlers and the new-handler rule.
#include <gtest/gtest.h>
#include <slrt/runtime/error.h>

#include <cstdlib>
#include <new>
#include <string>

#include "support/capture.h"

namespace {

// Each test starts with no context and no function name, and with a barrier
// against the repeat filter.
class ErrorChannel : public ::testing::Test {
 protected:
  void SetUp() override {
    setAttribNames(nullptr, nullptr);
    setErrorFuncName(nullptr);
    resetErrorRepeat();
  }
  void TearDown() override {
    setAttribNames(nullptr, nullptr);
    setErrorFuncName(nullptr);
  }
};

TEST_F(ErrorChannel, LayoutBySeverityAndCode) {
  struct Case {
    long code, severity;
    const char* message;
    const char* expected;
  };
  const Case cases[] = {
      {0, 1, "plain notice", "1|warning: plain notice"},
      {42, 2, "too big", "2|error: Parameter out of range. too big"},
      {61, 3, "singular", "3|severe error: Undefined mathematical operation. singular"},
      {0, 0, "info text", "0|info text"},
      // Information runs the code text straight into the message.
      {4, 0, "glued", "0| Bad file format.glued"},
      {7, 2, "odd code", "2|error: Error code: 7 odd code"},
      {-3, 2, "negative code", "2|error: Error code: -3 negative code"},
      {45, 5, "severity five", "5|error: Can't load requested shader. severity five"},
      {43, -1, "severity minus one", "-1|error: Parameters inconsistent.severity minus one"},
      {47, 1, "decl", "1|warning: Declare type syntax error. decl"},
  };
  for (const Case& c : cases) {
    ErrorCapture cap;
    error(c.code, c.severity, "%s", c.message);
    ASSERT_EQ(cap.lines().size(), 1u) << c.message;
    EXPECT_EQ(cap.lines()[0], c.expected);
    EXPECT_EQ(getErrorLast(), c.code);
  }
}

TEST_F(ErrorChannel, EveryCodeText) {
  // clang-format off
  const std::pair<long, const char*> table[] = {
      {1, " Out of memory."}, {2, " Miscellaneous system error."}, {3, " File nonexistent."},
      {4, " Bad file format."}, {5, " File version mismatch."}, {11, " Optional RI feature."},
      {12, " Unimplemented feature."}, {13, " Arbitrary program limit."},
      {14, " Probably a bug in renderer."}, {23, " RiBegin not called."},
      {24, " Bad begin-end nesting."}, {25, " Invalid state for options."},
      {26, " Invalid state for attribs."}, {27, " Invalid state for primitives."},
      {28, " Invalid state."}, {29, " Badly formed motion block."},
      {30, " Badly formed solid block."}, {41, " Invalid token for request."},
      {42, " Parameter out of range."}, {43, " Parameters inconsistent."},
      {44, " Bad object/light handle."}, {45, " Can't load requested shader."},
      {46, " Required parameters not provided."}, {47, " Declare type syntax error."},
      {61, " Undefined mathematical operation."}, {6, " Error code: 6"},
      {100, " Error code: 100"}};
  // clang-format on

  ErrorCapture cap;
  for (const auto& [code, text] : table) {
    cap.clear();
    error(code, 2, "code %ld", code);
    ASSERT_EQ(cap.lines().size(), 1u);
    EXPECT_EQ(cap.lines()[0], "2|error:" + std::string(text) + " code " + std::to_string(code));
  }
}

TEST_F(ErrorChannel, ContextLineAndFunctionPrefix) {
  static char comp[] = "comp";
  ErrorCapture cap;
  setErrorFuncName(comp);
  setAttribNames("sphere1", "g2");
  error(42, 1, "index %d", 9);
  EXPECT_EQ(cap.text(),
            "1|warning: Parameter out of range. comp: index 9\n"
            "1|While rendering object sphere1; shading group g2");

  cap.clear();
  setAttribNames("sphere1", nullptr);
  error(0, 2, "only object");
  EXPECT_EQ(cap.text(), "2|error: comp: only object\n2|While rendering object sphere1");

  cap.clear();
  setAttribNames(nullptr, "g2");
  error(0, 2, "only group");
  EXPECT_EQ(cap.text(), "2|error: comp: only group\n2|While rendering shading group g2");

  // Information carries neither the prefix nor the context line.
  cap.clear();
  setAttribNames("sphere1", "g2");
  error(0, 0, "info");
  EXPECT_EQ(cap.text(), "0|info");
}

TEST_F(ErrorChannel, RepeatSuppression) {
  ErrorCapture cap;
  error(42, 2, "same %d", 1);
  error(61, 2, "same %d", 1);  // a repeat: dropped, last code unchanged
  EXPECT_EQ(cap.lines().size(), 1u);
  EXPECT_EQ(getErrorLast(), 42);

  // Alternating messages are each printed.
  cap.clear();
  error(1, 1, "A");
  error(1, 1, "B");
  error(1, 1, "A");
  EXPECT_EQ(cap.lines().size(), 3u);

  // Information is never suppressed and does not replace the stored text.
  cap.clear();
  error(0, 0, "A");
  error(0, 0, "A");
  error(1, 1, "A");
  EXPECT_EQ(cap.lines().size(), 2u);

  // The prefix is part of the compared text.
  static char f1[] = "f1";
  static char f2[] = "f2";
  cap.clear();
  setErrorFuncName(f1);
  error(1, 1, "msg");
  setErrorFuncName(f2);
  error(1, 1, "msg");
  EXPECT_EQ(cap.lines().size(), 2u);
}

TEST_F(ErrorChannel, NullFormatAndOverlongMessage) {
  ErrorCapture cap;
  error(42, 2, nullptr);
  EXPECT_EQ(cap.text(), "2|error: Parameter out of range. ");

  static char fn[] = "shader";
  setErrorFuncName(fn);
  cap.clear();
  error(0, 1, nullptr);
  EXPECT_EQ(cap.text(), "1|warning: shader: ");

  // A message longer than the buffer is cut to 1023 characters.
  std::string huge(5000, 'x');
  cap.clear();
  error(0, 1, "%s", huge.c_str());
  ASSERT_EQ(cap.lines().size(), 1u);
  EXPECT_EQ(cap.lines()[0], "1|warning: shader: " + std::string(1023 - 8, 'x'));

  // Percent signs in an argument are never interpreted.
  cap.clear();
  error(0, 1, "%s", "%s%n%d");
  EXPECT_EQ(cap.text(), "1|warning: shader: %s%n%d");
}

TEST_F(ErrorChannel, IgnoreHandlerRecordsCode) {
  ErrorCapture cap;
  setErrorHandler(kivErrorIgnore);
  error(43, 2, "quiet one");
  EXPECT_TRUE(cap.lines().empty());
  EXPECT_EQ(getErrorLast(), 43);
  EXPECT_EQ(getErrorLast(), 43);  // reading does not reset
  error(44, 2, "quiet one");      // a repeat: the code stays
  EXPECT_EQ(getErrorLast(), 43);
}

TEST_F(ErrorChannel, InstalledHandlerGetsFormattedText) {
  static std::string seen;
  static long seenCode, seenSeverity;
  ErrorCapture cap;
  setErrorHandler([](long code, long severity, char* message) {
    seen = message;
    seenCode = code;
    seenSeverity = severity;
  });
  error(46, 3, "need %s and %d", "P", 3);
  EXPECT_EQ(seen, "need P and 3");
  EXPECT_EQ(seenCode, 46);
  EXPECT_EQ(seenSeverity, 3);
}

TEST_F(ErrorChannel, NewHandlerFollowsFunctionName) {
  static char a[] = "a";
  static char b[] = "b";
  auto hostHandler = [] {};
  std::set_new_handler(hostHandler);
  EXPECT_EQ(setErrorFuncName(a), nullptr);
  EXPECT_EQ(std::get_new_handler(), &errorNewHandler);
  EXPECT_EQ(setErrorFuncName(b), a);
  EXPECT_EQ(std::get_new_handler(), &errorNewHandler);
  EXPECT_EQ(setErrorFuncName(nullptr), b);
  EXPECT_EQ(std::get_new_handler(), static_cast<std::new_handler>(hostHandler));
  std::set_new_handler(nullptr);
}

TEST(ErrorChannelDeath, AbortHandlerExitsWithCode) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        setErrorHandler(kivErrorAbort);
        error(61, 2, "fatal");
      },
      ::testing::ExitedWithCode(61), "error: Undefined mathematical operation. fatal");
  EXPECT_EXIT(
      {
        setErrorHandler(kivErrorAbort);
        error(0, 3, "severe with code 0");
      },
      ::testing::ExitedWithCode(0), "severe error: severe with code 0");
  // Below severity 2 the abort handler only prints.
  EXPECT_EXIT(
      {
        setErrorHandler(kivErrorAbort);
        error(42, 1, "just a warning");
        std::exit(7);
      },
      ::testing::ExitedWithCode(7), "warning: Parameter out of range. just a warning");
}

TEST(ErrorChannelDeath, NewHandlerReportsAndAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(errorNewHandler(), "severe error: Out of memory. free store exhausted");
}

}  // namespace
