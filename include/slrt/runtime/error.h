// slrt: the error channel.
//
// Every operation of the library reports trouble through error(code,
// severity, format, ...).  The channel formats the message into a fixed
// 1024-character buffer (longer texts are cut, never overrun), drops an
// immediate repeat of the same message of positive severity, and hands the
// text to the installed error handler.  The default handler, kivErrorPrint,
// turns code and severity into words, adds a context line naming the object
// and shading group being rendered, and passes each line to the print
// handler, which by default writes to stderr.
//
// Severities: 0 information, 1 warning, 2 error, 3 severe error; any other
// value prints as an error.  Codes are the RenderMan Interface error codes.
//
// Not thread-safe: the handlers, the context names and the last-message
// buffer belong to the one shading thread.
#ifndef SLRT_RUNTIME_ERROR_H
#define SLRT_RUNTIME_ERROR_H

#include <slrt/export.h>

/// Error codes raised by the library (the RenderMan Interface numbering).
enum : long {
  kErrNoError = 0,
  kErrNoMem = 1,
  kErrSystem = 2,
  kErrNoFile = 3,
  kErrBadFile = 4,
  kErrVersion = 5,
  kErrIncapable = 11,
  kErrUnimplement = 12,
  kErrLimit = 13,
  kErrBug = 14,
  kErrNotStarted = 23,
  kErrNesting = 24,
  kErrNotOptions = 25,
  kErrNotAttribs = 26,
  kErrNotPrims = 27,
  kErrIllState = 28,
  kErrBadMotion = 29,
  kErrBadSolid = 30,
  kErrBadToken = 41,
  kErrRange = 42,
  kErrConsistency = 43,
  kErrBadHandle = 44,
  kErrNoShader = 45,
  kErrMissingData = 46,
  kErrSyntax = 47,
  kErrMath = 61,
};

/// Severities.
enum : long { kSevInfo = 0, kSevWarning = 1, kSevError = 2, kSevSevere = 3 };

typedef void (*ErrorHandlerFunc)(long code, long severity, char* message);
typedef void (*ErrorPrintFunc)(long severity, const char* text);
typedef void (*ErrorNewHandlerFunc)();

/// Process-wide state of the channel.
///
/// | member              | initial         | meaning                                   |
/// |---------------------|-----------------|-------------------------------------------|
/// | fHandler            | kivErrorPrint   | handler called by verror                  |
/// | fPrintHandler       | Error::print    | line printer used by kivErrorPrint        |
/// | fLastError          | 0               | code last seen by a standard handler      |
/// | fFuncName           | null            | shading function now running (borrowed)   |
/// | fAttribName         | null            | object being rendered (borrowed)          |
/// | fShadingGroup       | null            | shading group being rendered (borrowed)   |
/// | fStoredNewHandler   | null            | new-handler replaced by errorNewHandler   |
class SLRT_API Error {
 public:
  static ErrorHandlerFunc fHandler;
  static ErrorPrintFunc fPrintHandler;
  static long fLastError;
  static char* fFuncName;
  static const char* fAttribName;
  static const char* fShadingGroup;
  static ErrorNewHandlerFunc fStoredNewHandler;

  /// Default print handler: writes text to stderr, then a newline only when
  /// severity > 0 (information output controls its own line ends).
  static void print(long severity, const char* text);
};

/// Reports a message.  With severity > 0 and a function name set, the text is
/// prefixed "name: ".  A repeat of the previous positive-severity message
/// (prefix included) is dropped without calling the handler.
SLRT_API void error(long code, long severity, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// As error(); args points to a va_list holding the format's arguments (it
/// may be null when format has no conversions).
SLRT_API void verror(long code, long severity, const char* format, void* args);

/// Default handler: "<severity word><code text> <message>" then, for positive
/// severities with a context set, "While rendering object X; shading group Y".
/// Sets fLastError.
SLRT_API void kivErrorPrint(long code, long severity, char* message);
/// Handler that records the code and prints nothing.
SLRT_API void kivErrorIgnore(long code, long severity, char* message);
/// kivErrorPrint, then exit(code) when severity >= 2.
SLRT_API void kivErrorAbort(long code, long severity, char* message);

SLRT_API void setErrorHandler(void (*handler)(long, long, char*));
SLRT_API void setErrorPrinter(void (*printer)(long, const char*));
/// The code of the last report seen by a standard handler (never reset).
SLRT_API long getErrorLast();
/// Sets the shading-function name and returns the previous one.  While a name
/// is set, errorNewHandler is the free store's new-handler; clearing the name
/// reinstalls the handler that was in force before.
SLRT_API char* setErrorFuncName(char* name);
/// Sets the borrowed object and shading-group names of the context line.
SLRT_API void setAttribNames(const char* object, const char* group);
/// Reports "free store exhausted" (code 1, severity 3) and aborts.
[[noreturn]] SLRT_API void errorNewHandler();

#endif  // SLRT_RUNTIME_ERROR_H
