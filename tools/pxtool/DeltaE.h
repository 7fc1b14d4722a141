#pragma once

// DeltaE — how different two colours look.

namespace px::tool {

// CIE L*a*b* for the illuminant D50; L from 0 to 100.
struct Lab {
    double l = 0;
    double a = 0;
    double b = 0;
};

// The distance of CIE 1976, and that of CIE 2000 with all its weights 1.
double DeltaE76(const Lab& x, const Lab& y) noexcept;
double DeltaE2000(const Lab& x, const Lab& y) noexcept;

}  // namespace px::tool
