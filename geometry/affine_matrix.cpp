#include "geometry/affine_matrix.h"

#include <cmath>

void ScaleAxes(AffineMatrix& m, double kx, double ky) {
    m.a *= kx;
    m.c *= kx;
    m.e *= kx;
    m.b *= ky;
    m.d *= ky;
    m.f *= ky;
}

void ScaleUniform(AffineMatrix& m, double k) { ScaleAxes(m, k, k); }

namespace {

void RotatePair(double& p, double& q, double cosine, double sine) {
    const double x = p, y = q;
    p = x * cosine - y * sine;
    q = x * sine + y * cosine;
}

}  // namespace

void Rotate(AffineMatrix& m, double angle) {
    const double cosine = std::cos(angle), sine = std::sin(angle);
    RotatePair(m.a, m.b, cosine, sine);
    RotatePair(m.c, m.d, cosine, sine);
    RotatePair(m.e, m.f, cosine, sine);
}

void Concat(AffineMatrix& m, const AffineMatrix& t) {
    const AffineMatrix s = m;
    m.a = s.a * t.a + s.b * t.c;
    m.b = s.a * t.b + s.b * t.d;
    m.c = s.c * t.a + s.d * t.c;
    m.d = s.c * t.b + s.d * t.d;
    m.e = s.e * t.a + s.f * t.c + t.e;
    m.f = s.e * t.b + s.f * t.d + t.f;
}

void StretchDiagonal(AffineMatrix& m, double tilt) {
    constexpr double kQuarterPi = 0.78539816339745;
    AffineMatrix u = kUnitMatrix;
    Rotate(u, kQuarterPi);
    if (tilt >= 0)
        ScaleAxes(u, 2 * std::sin(tilt + kQuarterPi), 2 * std::cos(tilt + kQuarterPi));
    else
        ScaleAxes(u, 2 * std::cos(kQuarterPi - tilt), 2 * std::sin(kQuarterPi - tilt));
    Rotate(u, -0.78539816339745);
    Concat(m, u);
}
