#pragma once

// Latencies — many short times, in nanoseconds, and their quantiles as counters in microseconds.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace px::bench {

class Latencies {
public:
    void Add(int64_t nanos) { nanos_.push_back(nanos); }
    void Report(benchmark::State& state)
    {
        if (nanos_.empty()) return;
        std::sort(nanos_.begin(), nanos_.end());
        const auto at = [&](double share) {
            const auto last = static_cast<double>(nanos_.size() - 1);
            return static_cast<double>(nanos_[static_cast<size_t>(last * share)]) / 1000;
        };
        state.counters["median_us"] = at(0.5);
        state.counters["p99_us"] = at(0.99);
    }

private:
    std::vector<int64_t> nanos_;
};

}  // namespace px::bench
