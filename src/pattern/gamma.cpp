// slrt: regularised incomplete gamma function.
//
// Both expansions stop after 100 terms or once the relative change falls
// below 3e-7; neither reports running out of terms (for a = 1/2, the only
// argument the library uses, they converge long before).
#include "pattern/gamma_pvt.h"

#include <cmath>

namespace slrt_detail {

namespace {
constexpr int kMaxIterations = 100;
constexpr double kTolerance = 3e-7;
}  // namespace

double gammln(double a) {
  static const double kLanczos[6] = {76.18009173,   -86.50532033,  24.01409822,
                                     -1.231739516,  0.120858003e-2, -0.536382e-5};
  // Series for Gamma(a) = Gamma(x + 1) with x = a - 1, offset 5.5.
  double x = a - 1.0;
  double base = x + 5.5;
  base -= (x + 0.5) * std::log(base);
  double series = 1.0;
  for (double c : kLanczos) {
    x += 1.0;
    series += c / x;
  }
  return -base + std::log(2.50662827465 * series);
}

double gammaSeries(double a, double x) {
  if (x <= 0.0) return 0.0;
  double term = 1.0 / a;
  double sum = term;
  double denom = a;
  for (int n = 1; n <= kMaxIterations; ++n) {
    denom += 1.0;
    term *= x / denom;
    sum += term;
    if (std::fabs(term) < std::fabs(sum) * kTolerance) break;
  }
  return sum * std::exp(-x + a * std::log(x) - gammln(a));
}

double gammaContinuedFraction(double a, double x) {
  // Successive convergents A_n / B_n of the continued fraction for
  // Gamma(a, x) e^x x^-a, renormalised at every step to keep them in range.
  double prevA = 1.0, prevB = 0.0;  // A_{n-1}, B_{n-1}
  double curA = x, curB = 1.0;      // A_n, B_n
  double scale = 1.0;
  double previous = 0.0;
  double g = 0.0;
  for (int n = 1; n <= kMaxIterations; ++n) {
    const double an = n;
    const double anMinusA = an - a;
    prevA = (curA + prevA * anMinusA) * scale;
    prevB = (curB + prevB * anMinusA) * scale;
    const double anScaled = an * scale;
    curA = x * prevA + anScaled * curA;
    curB = x * prevB + anScaled * curB;
    if (curA != 0.0) {
      scale = 1.0 / curA;
      g = curB * scale;
      if (std::fabs((g - previous) / g) < kTolerance) break;
      previous = g;
    }
  }
  return std::exp(-x + a * std::log(x) - gammln(a)) * g;
}

double gammp(double a, double x) {
  if (x < a + 1.0) return gammaSeries(a, x);
  return 1.0 - gammaContinuedFraction(a, x);
}

}  // namespace slrt_detail
