// A minimal program using the installed library: it must compile against the
// installed headers, link against the installed shared object and run.
#include <slrt/slrt.h>

#include <cmath>
#include <cstdio>

static long gSeen = -1;
static void quietPrinter(long, const char*) {}

int main() {
  setErrorPrinter(quietPrinter);
  error(42, 2, "consumer check %d", 1);
  gSeen = getErrorLast();
  float q = fdiv(1.0f, 0.0f);
  if (gSeen != 42 || q != 1e38f || std::fabs(smoothstep(0, 1, 0.5f) - 0.5f) > 1e-6f) {
    std::fprintf(stderr, "consumer: unexpected results\n");
    return 1;
  }
  std::printf("consumer ok\n");
  return 0;
}
