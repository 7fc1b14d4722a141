#include "Base/LockOrder.h"

#include <algorithm>
#include <cstddef>

namespace px {

namespace {

// The ranked locks of this thread in the order in which it took them. Nobody nests deeper; a lock
// beyond that goes unchecked.
constexpr size_t kDeepest = 16;
thread_local LockRank held[kDeepest];
thread_local size_t heldCount;

}  // namespace

constinit std::atomic<LockOrder::Handler> LockOrder::handler_{nullptr};

const char* NameOf(LockRank rank)
{
    switch (rank) {
        case LockRank::kUnranked:
            return "unranked";
        case LockRank::kProgress:
            return "progress";
        case LockRank::kTaskQueue:
            return "task queue";
        case LockRank::kPool:
            return "thread pool";
        case LockRank::kPoolTake:
            return "work list, taking";
        case LockRank::kPoolPush:
            return "work list, pushing";
        case LockRank::kPoolWorkers:
            return "workers";
    }
    return "unknown";
}

LockOrder::Handler LockOrder::SetHandler(Handler handler)
{
    return handler_.exchange(handler);
}

void LockOrder::CheckAndNote(LockRank rank)
{
    if (rank == LockRank::kUnranked || heldCount == kDeepest) return;
    LockRank* end = held + heldCount;
    const LockRank* against =
        std::find_if(&held[0], end, [&](LockRank other) { return other >= rank; });
    if (against != end) handler_.load()(*against, rank);
    held[heldCount++] = rank;
}

void LockOrder::Forget(LockRank rank)
{
    LockRank* end = held + heldCount;
    LockRank* found = std::find(&held[0], end, rank);
    if (found == end) return;
    std::copy(found + 1, end, found);
    --heldCount;
}

}  // namespace px
