#pragma once

// KernelChoice — the tables of kernels of this processor, the best one of them, and a forced one.
//
// Threads: Select and Force may be called from any; All is for tests and benchmarks, before others
// select.

#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>

namespace px {

template <class Kernels>
class KernelChoice {
public:
    // `table` is the table of the instruction set that Highway has chosen.
    explicit KernelChoice(const Kernels* (*table)()) : table_(table)
    {
        // The first call through the dispatch table only sets it up and may take the baseline.
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        best_ = table_();
    }

    const Kernels& Select() const
    {
        const Kernels* forced = forced_;
        return forced ? *forced : *best_;
    }
    void Force(const Kernels* kernels) { forced_ = kernels; }

    // Slowest first; null after the last.
    const Kernels* const* All()
    {
        if (all_[0]) return all_.data();
        size_t count = 0;
        for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
            hwy::SetSupportedTargetsForTest(target);
            hwy::GetChosenTarget().Update(hwy::SupportedTargets());
            all_[count++] = table_();
        }
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        std::reverse(all_.begin(), all_.begin() + static_cast<ptrdiff_t>(count));
        return all_.data();
    }

private:
    const Kernels* (*table_)();
    const Kernels* best_;
    std::atomic<const Kernels*> forced_{nullptr};
    std::array<const Kernels*, 65> all_{};
};

}  // namespace px
