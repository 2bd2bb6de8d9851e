// Run with the C library's libm preloaded, so that its `fdiv` (a narrowing
// division of doubles) comes first in the global symbol search.  Converting a
// homogeneous point divides through the library's own fdiv; had that call
// been diverted, the floats would be read as doubles and the result garbage.
#include <slrt/geometry/point.h>

#include <cstdio>

int main() {
  const Point p(Pointw(2.0f, 4.0f, 6.0f, 2.0f));
  if (p.x != 1.0f || p.y != 2.0f || p.z != 3.0f) {
    std::fprintf(stderr, "internal fdiv call diverted: %g %g %g\n", p.x, p.y, p.z);
    return 1;
  }
  return 0;
}
