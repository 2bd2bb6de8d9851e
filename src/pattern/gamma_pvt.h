// slrt: the regularised incomplete gamma function, used by the Gaussian
// filter's error function.
#ifndef SLRT_PATTERN_GAMMA_PVT_H
#define SLRT_PATTERN_GAMMA_PVT_H

namespace slrt_detail {

/// ln Gamma(a) for a > 0 by the six-term Lanczos series.
double gammln(double a);
/// P(a, x) by its power series (meant for x < a + 1).  Gives 0 for x <= 0.
double gammaSeries(double a, double x);
/// Q(a, x) = 1 - P(a, x) by its continued fraction (meant for x >= a + 1).
double gammaContinuedFraction(double a, double x);
/// P(a, x): the series below a + 1, one minus the continued fraction above.
double gammp(double a, double x);

}  // namespace slrt_detail

#endif  // SLRT_PATTERN_GAMMA_PVT_H
