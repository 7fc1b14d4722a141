#pragma once

// PresetDebounce — when many changes have become one. Times are nanoseconds of any clock that does
// not go backwards. One thread.

#include <algorithm>
#include <cstdint>

namespace px {

class PresetDebounce {
public:
    explicit PresetDebounce(int64_t quietNanos) : quiet_(quietNanos) {}

    void Note(int64_t now)
    {
        if (!isWaiting_) first_ = now;
        last_ = now;
        isWaiting_ = true;
    }
    // How long to wait from now on; 0 when it is time, negative while nothing has changed.
    int64_t Left(int64_t now) const
    {
        if (!isWaiting_) return -1;
        return std::max<int64_t>(0, std::min(last_ + quiet_, first_ + kMostQuiets * quiet_) - now);
    }
    void Clear() { isWaiting_ = false; }

private:
    // Changes without end are told, too.
    static constexpr int64_t kMostQuiets = 10;

    int64_t quiet_;
    int64_t first_ = 0;
    int64_t last_ = 0;
    bool isWaiting_ = false;
};

}  // namespace px
