// Search for a file on a colon-separated path, with architecture
// substitution.
#include <slrt/texture/map.h>
#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t kPathBuffer = 4096;

char gArchName[kPathBuffer];  // the name after "$ARCH"/"%ARCH" substitution
char gFound[kPathBuffer];     // the result handed back to the caller

bool isRegularFile(const char* candidate) {
  struct stat st;
  return stat(candidate, &st) == 0 && S_ISREG(st.st_mode);
}

// Formats a candidate into gFound and tests it.  A candidate that does not fit
// is skipped rather than cut: the cut text would name some other file.
bool tryCandidate(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
bool tryCandidate(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = std::vsnprintf(gFound, sizeof gFound, fmt, ap);
  va_end(ap);
  if (n < 0 || size_t(n) >= sizeof gFound) return false;
  return isRegularFile(gFound);
}

// Copies name into gArchName with every "$ARCH" and "%ARCH" replaced by arch;
// false when the result would not fit.
bool substituteArch(const char* name, const char* arch) {
  size_t archLen = std::strlen(arch);
  size_t out = 0;
  for (const char* p = name; *p;) {
    if ((*p == '$' || *p == '%') && std::strncmp(p + 1, "ARCH", 4) == 0) {
      if (out + archLen >= sizeof gArchName) return false;
      std::memcpy(gArchName + out, arch, archLen);
      out += archLen;
      p += 5;
    } else {
      if (out + 1 >= sizeof gArchName) return false;
      gArchName[out++] = *p++;
    }
  }
  gArchName[out] = '\0';
  return true;
}

}  // namespace

extern "C" char* patharchfind(const char* path, const char* arch, const char* name) {
  if (!name) return nullptr;
  if (arch) {
    if (!substituteArch(name, arch)) return nullptr;
    name = gArchName;
  }

  if (name[0] == '/') {
    if (arch) {
      const char* slash = std::strrchr(name, '/');
      int dirLen = int(slash - name) + 1;
      if (tryCandidate("%.*s%s/%s", dirLen, name, arch, slash + 1)) return gFound;
    }
    if (tryCandidate("%s", name)) return gFound;
  }

  // An empty element before a colon is the empty directory, so the name is
  // tried under "/"; an empty last element (the whole of an empty path, or a
  // trailing colon) is the current directory.
  const char* element = path ? path : "";
  for (;;) {
    const char* colon = std::strchr(element, ':');
    size_t len = colon ? size_t(colon - element) : std::strlen(element);
    if (len < kPathBuffer) {
      const char* dir = element;
      int dirLen = int(len);
      if (len == 0 && !colon) {
        dir = ".";
        dirLen = 1;
      }
      if (arch && tryCandidate("%.*s/%s/%s", dirLen, dir, arch, name)) return gFound;
      if (tryCandidate("%.*s/%s", dirLen, dir, name)) return gFound;
    }
    if (!colon) break;
    element = colon + 1;
  }
  return nullptr;
}
