#pragma once

// ZoneRules — what a time zone keeps at every moment, from a file of the tz database.
//
// Moments are in seconds since 1970-01-01 UTC. Immutable once read.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace px::cf {

struct ZonePeriod {
    int32_t secondsEast = 0;
    bool isDaylight = false;
    std::string abbreviation;
};

class ZoneRules {
public:
    // Reads the binary form (version 1 and later); null when the bytes are malformed.
    static std::shared_ptr<const ZoneRules> Read(std::string_view bytes);

    const ZonePeriod& At(int64_t utcSeconds) const;

private:
    // A day on which clocks change in every year, and the local time of it in seconds.
    struct Change {
        enum class Kind : uint8_t { kMonthWeekDay, kDayWithoutLeap, kDayOfYear };
        Kind kind = Kind::kDayOfYear;
        int month = 0;
        int week = 0;  // 5 is the last one
        int day = 0;   // of the week with Sunday as 0, or of the year
        int64_t seconds = 7200;

        int64_t SecondsIn(int64_t year) const;  // local time
    };

    bool ReadBlock(std::string_view bytes, size_t timeSize, size_t* used);
    bool ReadFooter(std::string_view text);
    const ZonePeriod& AtByFooter(int64_t utcSeconds) const;

    static bool ReadName(std::string_view* text, std::string* name);
    static bool ReadOffset(std::string_view* text, int64_t greatestHours, int64_t* seconds);
    static bool ReadChange(std::string_view* text, Change* change);

    std::vector<int64_t> transitions_;   // ascending
    std::vector<uint8_t> periodsAfter_;  // index of the period from each transition on
    std::vector<ZonePeriod> periods_;    // never empty
    size_t firstPeriod_ = 0;             // before the first transition
    bool hasFooter_ = false;             // it holds from the last transition on
    bool hasDaylight_ = false;
    ZonePeriod standard_;
    ZonePeriod daylight_;
    Change start_;  // of daylight time, by standard time
    Change end_;    // by daylight time
};

}  // namespace px::cf
