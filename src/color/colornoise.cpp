// slrt: colour-valued noise.
//
// Each wrapper evaluates one float noise three times: r at the argument, g
// and b at copies of it shifted far enough along every axis that the three
// channels look unrelated.  One template builds every member from a callable
// that evaluates channel k.
#include <slrt/color/color.h>
#include <slrt/pattern/noise.h>

namespace {

// Gradient and periodic noise shifts, added in double and rounded back to
// float; channel 0 keeps the argument exactly.
constexpr double kShift[3] = {0.0, 123.456, 456.789};
// Cell noise shifts by whole cells.  The two-argument forms shift their last
// argument differently from the others.
constexpr float kCellShift[3] = {0.0f, 123.0f, 456.0f};
constexpr float kCellLead[3] = {0.0f, 123.0f, 345.0f};
constexpr float kCellLast[3] = {0.0f, 234.0f, 456.0f};

inline float shift(float v, int k) {
  return k ? static_cast<float>(v + kShift[k]) : v;
}
inline Point shift(const Point& p, int k) {
  return Point(shift(p.x, k), shift(p.y, k), shift(p.z, k));
}
inline Point cellShift(const Point& p, float d) {
  return Point(p.x + d, p.y + d, p.z + d);
}

template <typename Channel>
Color perChannel(Channel channel) {
  const float r = channel(0);
  const float g = channel(1);
  const float b = channel(2);
  return Color(r, g, b);
}

}  // namespace

Color cnoisef(float x) {
  return perChannel([&](int k) { return fnoisef(shift(x, k)); });
}

Color cnoiseff(float x, float y) {
  return perChannel([&](int k) { return fnoiseff(shift(x, k), shift(y, k)); });
}

Color cnoisep(const Point* p) {
  return perChannel([&](int k) {
    const Point q = shift(*p, k);
    return fnoisep(&q);
  });
}

Color cnoisepf(const Point* p, float t) {
  return perChannel([&](int k) {
    const Point q = shift(*p, k);
    return fnoisepf(&q, shift(t, k));
  });
}

Color cpernoisef(float x, float px) {
  return perChannel([&](int k) { return fpernoisef(shift(x, k), px); });
}

Color cpernoiseff(float x, float y, float px, float py) {
  return perChannel([&](int k) { return fpernoiseff(shift(x, k), shift(y, k), px, py); });
}

Color cpernoisep(const Point* p, const Point* period) {
  return perChannel([&](int k) {
    const Point q = shift(*p, k);
    return fpernoisep(&q, period);
  });
}

Color cpernoisepf(const Point* p, float t, const Point* pp, float pt) {
  return perChannel([&](int k) {
    const Point q = shift(*p, k);
    return fpernoisepf(&q, shift(t, k), pp, pt);
  });
}

Color ccellnoisef(float x) {
  return perChannel([&](int k) { return fcellnoisef(x + kCellShift[k]); });
}

Color ccellnoiseff(float x, float y) {
  return perChannel([&](int k) { return fcellnoiseff(x + kCellLead[k], y + kCellLast[k]); });
}

Color ccellnoisep(const Point* p) {
  return perChannel([&](int k) {
    const Point q = cellShift(*p, kCellShift[k]);
    return fcellnoisep(&q);
  });
}

Color ccellnoisepf(const Point* p, float t) {
  return perChannel([&](int k) {
    const Point q = cellShift(*p, kCellLead[k]);
    return fcellnoisepf(&q, t + kCellLast[k]);
  });
}
