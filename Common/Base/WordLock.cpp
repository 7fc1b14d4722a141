#include "Base/WordLock.h"

namespace px {

namespace {

// About a microsecond: longer than the holder needs when it runs, shorter than a sleep.
constexpr int kSpins = 50;

}  // namespace

void TakeWordSlowly(std::atomic<uint32_t>& word)
{
    for (int spin = 0; spin < kSpins; ++spin) {
        if (word.load(std::memory_order_relaxed) == 0 && TryTakeWord(word)) return;
        RelaxProcessor();
    }
    // Whoever slept must leave the mark of sleepers: others may still sleep beside it.
    while (word.exchange(2, std::memory_order_acquire) != 0) os::Os().waitOnWord(&word, 2, -1);
}

}  // namespace px
