#pragma once

// Date_p — days and years of the proleptic Gregorian calendar.

#include <cstdint>

namespace px::cf {

inline constexpr int64_t kSecondsPerDay = 86400;

constexpr int64_t FloorDivide(int64_t a, int64_t b)
{
    return a / b - (a % b < 0 ? 1 : 0);
}
constexpr int64_t FloorModulo(int64_t a, int64_t b)
{
    return a - FloorDivide(a, b) * b;
}

// Days since 2001-01-01; the month may be out of range and then carries into the year.
int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day);
// The year of a day since 2001-01-01.
int64_t YearOfDay(int64_t daysSince2001);

}  // namespace px::cf
