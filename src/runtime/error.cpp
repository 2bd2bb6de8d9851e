// slrt: the error channel.
//
// verror formats into a fixed stack buffer and the default handler builds its
// lines in fixed buffers too, so reporting never allocates: the channel must
// keep working when it is called from the free store's new-handler.
#include <slrt/runtime/error.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr size_t kMessageSize = 1024;
// Longest severity word plus the longest code text, with room to spare.
constexpr size_t kLineSize = kMessageSize + 96;
// Context names are borrowed from the host and may be long; the context line
// is cut to this size.
constexpr size_t kContextSize = 2048;

// Text of the last positive-severity message passed on (never cleared).
char gLastMessage[kMessageSize];

const char* severityWord(long severity) {
  switch (severity) {
    case 0: return "";
    case 1: return "warning:";
    case 3: return "severe error:";
    default: return "error:";  // 2, and anything out of range
  }
}

const char* codeText(long code) {
  switch (code) {
    case 0: return "";
    case 1: return " Out of memory.";
    case 2: return " Miscellaneous system error.";
    case 3: return " File nonexistent.";
    case 4: return " Bad file format.";
    case 5: return " File version mismatch.";
    case 11: return " Optional RI feature.";
    case 12: return " Unimplemented feature.";
    case 13: return " Arbitrary program limit.";
    case 14: return " Probably a bug in renderer.";
    case 23: return " RiBegin not called.";
    case 24: return " Bad begin-end nesting.";
    case 25: return " Invalid state for options.";
    case 26: return " Invalid state for attribs.";
    case 27: return " Invalid state for primitives.";
    case 28: return " Invalid state.";
    case 29: return " Badly formed motion block.";
    case 30: return " Badly formed solid block.";
    case 41: return " Invalid token for request.";
    case 42: return " Parameter out of range.";
    case 43: return " Parameters inconsistent.";
    case 44: return " Bad object/light handle.";
    case 45: return " Can't load requested shader.";
    case 46: return " Required parameters not provided.";
    case 47: return " Declare type syntax error.";
    case 61: return " Undefined mathematical operation.";
    default: return nullptr;  // printed as " Error code: <n>"
  }
}

// Appends text at *pos, cutting it to the buffer; the buffer stays
// terminated.
void append(char* buf, size_t size, size_t* pos, const char* text) {
  size_t n = std::strlen(text);
  size_t room = size - 1 - *pos;
  if (n > room) n = room;
  std::memcpy(buf + *pos, text, n);
  *pos += n;
  buf[*pos] = '\0';
}

void printLine(long severity, const char* text) {
  ErrorPrintFunc p = Error::fPrintHandler ? Error::fPrintHandler : Error::print;
  p(severity, text);
}

}  // namespace

ErrorHandlerFunc Error::fHandler = kivErrorPrint;
ErrorPrintFunc Error::fPrintHandler = Error::print;
long Error::fLastError = 0;
char* Error::fFuncName = nullptr;
const char* Error::fAttribName = nullptr;
const char* Error::fShadingGroup = nullptr;
ErrorNewHandlerFunc Error::fStoredNewHandler = nullptr;

void Error::print(long severity, const char* text) {
  std::fputs(text ? text : "", stderr);
  if (severity > 0) std::fputc('\n', stderr);
}

void error(long code, long severity, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  verror(code, severity, format, &ap);
  va_end(ap);
}

void verror(long code, long severity, const char* format, void* args) {
  char buf[kMessageSize];
  size_t pos = 0;
  buf[0] = '\0';
  if (severity > 0 && Error::fFuncName) {
    append(buf, sizeof buf, &pos, Error::fFuncName);
    append(buf, sizeof buf, &pos, ": ");
  }
  if (format) {
    if (args) {
      // vsnprintf cuts an overlong message and always terminates it.
      va_list ap;
      va_copy(ap, *static_cast<va_list*>(args));
      std::vsnprintf(buf + pos, sizeof buf - pos, format, ap);
      va_end(ap);
    } else {
      // No argument list to format with: the text is taken literally.
      append(buf, sizeof buf, &pos, format);
    }
  }
  if (severity > 0) {
    // A fault raised at every point of a grid costs one report.
    if (std::strcmp(buf, gLastMessage) == 0) return;
    std::memcpy(gLastMessage, buf, sizeof buf);
  }
  ErrorHandlerFunc h = Error::fHandler ? Error::fHandler : kivErrorPrint;
  h(code, severity, buf);
}

void kivErrorPrint(long code, long severity, char* message) {
  Error::fLastError = code;

  char line[kLineSize];
  size_t pos = 0;
  line[0] = '\0';
  append(line, sizeof line, &pos, severityWord(severity));
  if (const char* text = codeText(code)) {
    append(line, sizeof line, &pos, text);
  } else {
    char number[48];
    std::snprintf(number, sizeof number, " Error code: %ld", code);
    append(line, sizeof line, &pos, number);
  }
  if (message) {
    // Information output runs the code text straight into the message: the
    // caller of a severity-0 report owns its layout.
    if (severity > 0) append(line, sizeof line, &pos, " ");
    append(line, sizeof line, &pos, message);
  }
  printLine(severity, line);

  if (severity > 0 && (Error::fAttribName || Error::fShadingGroup)) {
    char context[kContextSize];
    size_t cpos = 0;
    context[0] = '\0';
    append(context, sizeof context, &cpos, "While rendering ");
    if (Error::fAttribName) {
      append(context, sizeof context, &cpos, "object ");
      append(context, sizeof context, &cpos, Error::fAttribName);
    }
    if (Error::fAttribName && Error::fShadingGroup) append(context, sizeof context, &cpos, "; ");
    if (Error::fShadingGroup) {
      append(context, sizeof context, &cpos, "shading group ");
      append(context, sizeof context, &cpos, Error::fShadingGroup);
    }
    printLine(severity, context);
  }
}

void kivErrorIgnore(long code, long, char*) { Error::fLastError = code; }

void kivErrorAbort(long code, long severity, char* message) {
  kivErrorPrint(code, severity, message);
  // The code is the exit status, so an error with code 0 exits successfully.
  if (severity >= 2) std::exit(static_cast<int>(code));
}

void setErrorHandler(void (*handler)(long, long, char*)) { Error::fHandler = handler; }

void setErrorPrinter(void (*printer)(long, const char*)) { Error::fPrintHandler = printer; }

long getErrorLast() { return Error::fLastError; }

char* setErrorFuncName(char* name) {
  char* previous = Error::fFuncName;
  Error::fFuncName = name;
  if (!name) {
    std::set_new_handler(Error::fStoredNewHandler);
  } else if (!previous) {
    Error::fStoredNewHandler = std::set_new_handler(errorNewHandler);
  }
  return previous;
}

void setAttribNames(const char* object, const char* group) {
  Error::fAttribName = object;
  Error::fShadingGroup = group;
}

void errorNewHandler() {
  // The report itself does not allocate; the guard only matters if a
  // host-installed handler does and fails again.
  static bool reporting = false;
  if (!reporting) {
    reporting = true;
    error(1, 3, "free store exhausted");
  }
  std::abort();
}
