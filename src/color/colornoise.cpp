// slrt: colour-valued noise.
//
// A colour noise is the point-valued noise of the same family read as a
// colour: r at the argument, g and b at copies shifted far enough along every
// axis that the three channels look unrelated.  Building on the point
// wrappers keeps the two families' offsets in one place, so pnoise and cnoise
// agree component for component.
#include <slrt/color/color.h>
#include <slrt/pattern/noise.h>

namespace {
inline Color asColor(const Point& p) {
  return Color(p.x, p.y, p.z);
}
}  // namespace

Color cnoisef(float x) {
  return asColor(pnoisef(x));
}
Color cnoiseff(float x, float y) {
  return asColor(pnoiseff(x, y));
}
Color cnoisep(const Point* p) {
  return asColor(pnoisep(p));
}
Color cnoisepf(const Point* p, float t) {
  return asColor(pnoisepf(p, t));
}

Color cpernoisef(float x, float px) {
  return asColor(ppernoisef(x, px));
}
Color cpernoiseff(float x, float y, float px, float py) {
  return asColor(ppernoiseff(x, y, px, py));
}
Color cpernoisep(const Point* p, const Point* period) {
  return asColor(ppernoisep(p, period));
}
Color cpernoisepf(const Point* p, float t, const Point* pp, float pt) {
  return asColor(ppernoisepf(p, t, pp, pt));
}

Color ccellnoisef(float x) {
  return asColor(pcellnoisef(x));
}
Color ccellnoiseff(float x, float y) {
  return asColor(pcellnoiseff(x, y));
}
Color ccellnoisep(const Point* p) {
  return asColor(pcellnoisep(p));
}
Color ccellnoisepf(const Point* p, float t) {
  return asColor(pcellnoisepf(p, t));
}
