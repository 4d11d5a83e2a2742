// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "siblings/coords/Epoch.h"
#include "siblings/include/Constants.h"

namespace family {
namespace {

constexpr double kMaxRevolutions = 1e9;
/// Of a sum of the terms below, relative to the largest.
constexpr double kRounding = 4e-15;
/// A position that rounding may have moved by more than this part of its distance is not an answer: from far out on a
/// hyperbola the terms grow beyond all digits.
constexpr double kMaxLost = 1e-6;
constexpr int kMaxSteps = 200;
/// Of sqrt(-z): cosh of more is beyond what any time needs (e^300 s), and products of it would overflow.
constexpr double kLargestHyperbolicAngle = 300;

double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

double length(const double vector[3]) { return std::sqrt(dot(vector, vector)); }

/// Stumpff functions c2 = (1 - cos sqrt z) / z and c3 = (sqrt z - sin sqrt z) / sqrt(z)^3.
struct Stumpff {
    double c2 = 0.5, c3 = 1.0 / 6;

    explicit Stumpff(double z) {
        if (std::abs(z) < 1) {
            fromSeries(z);
        } else if (z > 0) {
            const double root = std::sqrt(z), sinHalf = std::sin(root / 2);
            c2 = 2 * sinHalf * sinHalf / z;
            c3 = (root - std::sin(root)) / (z * root);
        } else {
            const double root = std::sqrt(-z), sinhHalf = std::sinh(root / 2);
            c2 = 2 * sinhHalf * sinhHalf / -z;
            c3 = (std::sinh(root) - root) / (-z * root);
        }
    }

private:
    /// The closed forms lose all digits near 0. Ten terms: 1/22! is below the last bit.
    void fromSeries(double z) {
        double term2 = c2, term3 = c3;
        for (int n = 1; n <= 10; ++n) {
            term2 *= -z / ((2 * n + 1) * (2 * n + 2));
            term3 *= -z / ((2 * n + 2) * (2 * n + 3));
            c2 += term2;
            c3 += term3;
        }
    }
};

/// Kepler's equation in universal variables, for a time from now on. Lengths in km, times as
/// sqrt(mu) t in km^(3/2); x is the universal variable in sqrt(km).
struct KeplerEquation {
    double sqrtMu = std::sqrt(earthmukm3s2());
    double radius = 0;  ///< at the start
    double sigma = 0;   ///< position times velocity / sqrt(mu)
    double alpha = 0;   ///< 1 / semi-major axis: negative for a hyperbola

    explicit KeplerEquation(const StateKm& from) {
        radius = length(from.posKm);
        sigma = dot(from.posKm, from.velKms) / sqrtMu;
        alpha = 2 / radius - dot(from.velKms, from.velKms) / earthmukm3s2();
    }

    struct At {
        double u1, u2, u3;
        double time;      ///< rises with x throughout
        double radius;    ///< its derivative
        double rounding;  ///< what of `time` may be noise
    };

    At at(double x) const {
        const double z = alpha * x * x;
        const Stumpff stumpff(z);
        const double u1 = x * (1 - z * stumpff.c3), u2 = x * x * stumpff.c2, u3 = x * x * x * stumpff.c3;
        return {u1,
                u2,
                u3,
                radius * u1 + sigma * u2 + u3,
                radius * (1 - z * stumpff.c2) + sigma * u1 + u2,
                kRounding * (std::abs(radius * u1) + std::abs(sigma * u2) + u3)};
    }

    bool bracket(double time, double& low, double& high) const;
    bool solve(double time, double& x) const;
};

bool KeplerEquation::bracket(double time, double& low, double& high) const {
    const double unit = 1 / std::sqrt(std::abs(alpha));
    const double limit = alpha < 0 ? kLargestHyperbolicAngle * unit : HUGE_VAL;
    low = 0;
    high = std::max(std::min(time / radius, unit), std::numeric_limits<double>::min());
    while (at(high).time < time) {
        low = high;
        high *= 2;
        if (!(high < limit)) { return false; }
    }
    return true;
}

/// Newton's method, halving the bracket whenever a step would leave it or hardly shortens it.
bool KeplerEquation::solve(double time, double& x) const {
    double low = 0, high = 0;
    if (!bracket(time, low, high)) { return false; }
    x = high;
    double lastStep = high - low;
    for (int i = 0; i < kMaxSteps; ++i) {
        const At here = at(x);
        const bool close = std::abs(here.time - time) <= here.rounding || high - low <= 2e-16 * high;
        if (close && here.rounding <= kMaxLost * time) { return true; }
        (here.time < time ? low : high) = x;
        double next = x - (here.time - time) / here.radius;
        if (!(next > low && next < high) || std::abs(next - x) > lastStep / 2) { next = low + (high - low) / 2; }
        lastStep = std::abs(next - x);
        x = next;
    }
    return false;
}

/// The part of a closed orbit's time that counts, within half a period of 0.
bool dropRevolutions(const KeplerEquation& kepler, double& seconds) {
    if (kepler.alpha <= 0) { return true; }
    const double periodS = 2 * std::numbers::pi / (kepler.alpha * std::sqrt(kepler.alpha) * kepler.sqrtMu);
    if (!(std::abs(seconds) / periodS <= kMaxRevolutions)) { return false; }
    seconds = std::remainder(seconds, periodS);
    return true;
}

/// For a time from 0 on.
bool forward(const KeplerEquation& kepler, const StateKm& from, double seconds, StateKm& to) {
    double x = 0;
    if (!kepler.solve(kepler.sqrtMu * seconds, x)) { return false; }
    const KeplerEquation::At end = kepler.at(x);
    const double f = 1 - end.u2 / kepler.radius, g = seconds - end.u3 / kepler.sqrtMu;
    const double fRate = -kepler.sqrtMu * end.u1 / (end.radius * kepler.radius);
    const double gRate = 1 - end.u2 / end.radius;
    for (int i = 0; i < 3; ++i) {
        to.posKm[i] = f * from.posKm[i] + g * from.velKms[i];
        to.velKms[i] = fRate * from.posKm[i] + gRate * from.velKms[i];
    }
    const double lostKm = kRounding * (std::abs(f) * kepler.radius + std::abs(g) * length(from.velKms)) +
                          end.rounding / kepler.sqrtMu * length(to.velKms);
    return isFinite(to) && lostKm <= kMaxLost * length(to.posKm);
}

/// Motion is the same backwards, with the velocity turned round.
void reverse(StateKm& state) {
    for (double& component : state.velKms) { component = -component; }
}

}  // namespace

bool twobodymotion(const StateKm& from, double seconds, StateKm& to) {
    KeplerEquation kepler(from);
    if (!isFinite(from) || !std::isfinite(seconds) || !(kepler.radius > 0) || !std::isfinite(kepler.alpha) ||
        !dropRevolutions(kepler, seconds)) {
        return false;
    }
    StateKm start = from, end{};
    const bool backwards = seconds < 0;
    if (backwards) {
        reverse(start);
        kepler.sigma = -kepler.sigma;
    }
    if (!forward(kepler, start, std::abs(seconds), end)) { return false; }
    if (backwards) { reverse(end); }
    to = end;
    return true;
}

}  // namespace family
