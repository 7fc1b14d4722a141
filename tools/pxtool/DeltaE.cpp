#include "pxtool/DeltaE.h"

#include <cmath>
#include <numbers>

namespace px::tool {

namespace {

constexpr double kDegree = std::numbers::pi / 180;

// Greys have no hue; theirs counts as 0.
double HueOf(double a, double b)
{
    if (a == 0 && b == 0) return 0;
    const double degrees = std::atan2(b, a) / kDegree;
    return degrees < 0 ? degrees + 360 : degrees;
}

// From the first hue to the second the short way round.
double HueDifference(double first, double second)
{
    const double difference = second - first;
    if (difference > 180) return difference - 360;
    return difference < -180 ? difference + 360 : difference;
}

// In the middle of the short way.
double MeanHue(double first, double second)
{
    const double sum = first + second;
    if (std::fabs(first - second) <= 180) return sum / 2;
    return sum < 360 ? (sum + 360) / 2 : (sum - 360) / 2;
}

// How much of the chroma's seventh power is above that of 25.
double ChromaShare(double chroma)
{
    constexpr double kPower25 = 6103515625.0;  // 25^7
    const double power = std::pow(chroma, 7);
    return std::sqrt(power / (power + kPower25));
}

}  // namespace

double DeltaE76(const Lab& x, const Lab& y) noexcept
{
    return std::hypot(x.l - y.l, x.a - y.a, x.b - y.b);
}

double DeltaE2000(const Lab& x, const Lab& y) noexcept
{
    const double stretch =
        1 + 0.5 * (1 - ChromaShare((std::hypot(x.a, x.b) + std::hypot(y.a, y.b)) / 2));
    const double chroma1 = std::hypot(x.a * stretch, x.b);
    const double chroma2 = std::hypot(y.a * stretch, y.b);
    const double hue1 = HueOf(x.a * stretch, x.b);
    const double hue2 = HueOf(y.a * stretch, y.b);
    const bool hasGrey = chroma1 * chroma2 == 0;

    const double meanL = (x.l + y.l) / 2 - 50;
    const double meanC = (chroma1 + chroma2) / 2;
    const double meanH = hasGrey ? hue1 + hue2 : MeanHue(hue1, hue2);
    const double t =
        1 - 0.17 * std::cos((meanH - 30) * kDegree) + 0.24 * std::cos(2 * meanH * kDegree) +
        0.32 * std::cos((3 * meanH + 6) * kDegree) - 0.20 * std::cos((4 * meanH - 63) * kDegree);
    const double fromBlue = (meanH - 275) / 25;
    const double turn = 60 * std::exp(-fromBlue * fromBlue);

    const double hueAngle = hasGrey ? 0 : HueDifference(hue1, hue2);
    const double lightness =
        (y.l - x.l) / (1 + 0.015 * meanL * meanL / std::sqrt(20 + meanL * meanL));
    const double chroma = (chroma2 - chroma1) / (1 + 0.045 * meanC);
    const double hue = 2 * std::sqrt(chroma1 * chroma2) * std::sin(hueAngle / 2 * kDegree) /
                       (1 + 0.015 * meanC * t);
    const double rotation = -std::sin(turn * kDegree) * 2 * ChromaShare(meanC);
    return std::sqrt(lightness * lightness + chroma * chroma + hue * hue + rotation * chroma * hue);
}

}  // namespace px::tool
