#include "Base/WordLock.h"

namespace px {

namespace {

// In pauses of the processor; all together a few microseconds: longer than the holder needs
// when it runs, shorter than a sleep.
constexpr int kFirstPauses = 8;
constexpr int kMostPauses = 64;

}  // namespace

void TakeWordSlowly(std::atomic<uint32_t>& word)
{
    // Looks ever less often. Each look, and more so each change of hands, costs the holder its
    // cache lines; who takes the lock again and again does several times the work between them.
    for (int pauses = kFirstPauses; pauses <= kMostPauses; pauses *= 2) {
        for (int i = 0; i < pauses; ++i) RelaxProcessor();
        if (word.load(std::memory_order_relaxed) == 0 && TryTakeWord(word)) return;
    }
    // Whoever slept must leave the mark of sleepers: others may still sleep beside it.
    while (word.exchange(2, std::memory_order_acquire) != 0) os::Os().waitOnWord(&word, 2, -1);
}

}  // namespace px
