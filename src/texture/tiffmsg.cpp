// Routes libtiff's own errors and warnings into the library's error channel,
// so that the host's error handler hears about damaged map files in the same
// way as about everything else.
#include <slrt/runtime/error.h>

#include <cstdarg>
#include <cstdio>

#include "texture/map_pvt.h"

namespace slrt_detail {

namespace {

// libtiff's default handlers print "<module>: <text>"; keep that shape.  The
// text is cut to the buffer (the channel cuts at the same length anyway) and
// handed over as an argument, never as a format: file names may hold "%".
void forward(long severity, const char* module, const char* fmt, va_list ap) {
  char text[1024];
  int used = 0;
  if (module && *module) {
    used = std::snprintf(text, sizeof text, "%s: ", module);
    if (used < 0) used = 0;
    if (used >= int(sizeof text)) used = int(sizeof text) - 1;
  }
  text[used] = '\0';
  if (fmt) std::vsnprintf(text + used, sizeof text - size_t(used), fmt, ap);
  error(0, severity, "%s", text);
}

void tiffError(const char* module, const char* fmt, va_list ap) {
  forward(kSevError, module, fmt, ap);
}

void tiffWarning(const char* module, const char* fmt, va_list ap) {
  forward(kSevWarning, module, fmt, ap);
}

// Installed once when the library is loaded, before any map is opened; a host
// that installs its own handlers later keeps them.
struct InstallTiffHandlers {
  InstallTiffHandlers() {
    TIFFSetErrorHandler(tiffError);
    TIFFSetWarningHandler(tiffWarning);
  }
} gInstallTiffHandlers;

}  // namespace

TIFF* openMapFile(const char* path) {
  return path ? TIFFOpen(path, "r") : nullptr;
}

}  // namespace slrt_detail
