#include "Base/RankedPile.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace px {

namespace {

// A heap of fewer lies in the nearest cache, where a run gains nothing.
constexpr size_t kLeastForRun = 256;
constexpr size_t kUsualBin = 16;     // elements, if the ranks lie evenly
constexpr size_t kMostSorted = 128;  // at once
constexpr size_t kMostKept = 4096;

bool ByRank(const Ranked& a, const Ranked& b)
{
    return a.rank < b.rank;
}

}  // namespace

void RankedHeap::Push(const Ranked& ranked)
{
    elements_.push_back(ranked);
    Rise(elements_.size() - 1, ranked);
}

CBaseTask* RankedHeap::Take(size_t index)
{
    CBaseTask* task = elements_[index].task;
    const Ranked last = elements_.back();
    elements_.pop_back();
    if (index < elements_.size()) Rise(SinkHole(index), last);
    return task;
}

// Moves a hole down along the smallest children and returns where it ends. What fills it comes from
// the bottom and rarely rises far, so that nothing is compared with it on the way down.
size_t RankedHeap::SinkHole(size_t hole)
{
    Ranked* const at = elements_.data();
    const size_t count = elements_.size();
    size_t first = kChildren * hole + 1;
    for (; first + kChildren <= count; first = kChildren * hole + 1) {
        const size_t left = first + (at[first + 1].rank < at[first].rank);
        const size_t right = first + 2 + (at[first + 3].rank < at[first + 2].rank);
        const size_t least = at[right].rank < at[left].rank ? right : left;
        at[hole] = at[least];
        hole = least;
    }
    if (first >= count) return hole;
    const Ranked* least = std::min_element(at + first, at + count, ByRank);
    at[hole] = *least;
    return static_cast<size_t>(least - at);
}

void RankedHeap::Rise(size_t hole, const Ranked& ranked)
{
    Ranked* const at = elements_.data();
    while (hole > 0) {
        const size_t parent = (hole - 1) / kChildren;
        if (at[parent].rank < ranked.rank) break;
        at[hole] = at[parent];
        hole = parent;
    }
    at[hole] = ranked;
}

void RankedRun::Fill(const std::vector<Ranked>& all)
{
    items_ = std::make_unique_for_overwrite<Ranked[]>(all.size());
    next_ = sortedEnd_ = items_.get();
    end_ = next_ + all.size();
    binEnds_.clear();
    Spread(all, next_);
    FindFirst();
}

// Writes a copy of the elements, in bins by the upper bits of their ranks, and puts the bins before
// the others. A bin of a bin goes by the bits below, so that no rank is spread often.
void RankedRun::Spread(const std::vector<Ranked>& from, Ranked* to)
{
    const auto [least, most] = std::minmax_element(from.begin(), from.end(), ByRank);
    const uint64_t base = least->rank;
    const auto width = std::bit_width(most->rank - base);
    const auto binWidth = std::min(width, std::bit_width(from.size() / kUsualBin));
    const auto shift = width - binWidth;
    const auto binOf = [&](const Ranked& ranked) { return (ranked.rank - base) >> shift; };

    // First the count of each bin, then where it begins, and, once its elements are there, ends.
    std::vector<uint32_t> ends(size_t{1} << binWidth);
    for (const Ranked& ranked : from) ++ends[binOf(ranked)];
    auto begin = static_cast<uint32_t>(to - items_.get());
    for (uint32_t& bin : ends) begin += std::exchange(bin, begin);
    for (const Ranked& ranked : from) items_[ends[binOf(ranked)]++] = ranked;
    binEnds_.insert(binEnds_.end(), ends.rbegin(), ends.rend());
}

// Passes those that have been taken.
void RankedRun::FindFirst()
{
    for (;; ++next_) {
        while (next_ == sortedEnd_) {
            if (next_ == end_) return Clear();
            SortNextBin();
        }
        if (next_->task) return;
    }
}

void RankedRun::SortNextBin()
{
    Ranked* const binEnd = items_.get() + binEnds_.back();
    binEnds_.pop_back();
    if (static_cast<size_t>(binEnd - next_) > kMostSorted) {
        Spread({next_, binEnd}, next_);
    } else {
        std::sort(next_, binEnd, ByRank);
        sortedEnd_ = binEnd;
    }
}

// Leaves no mark: a write would take the line from the other processor, which is next to read it.
CBaseTask* RankedRun::TakeFirst()
{
    CBaseTask* task = (next_++)->task;
    FindFirst();
    return task;
}

CBaseTask* RankedRun::Take(Ranked* at)
{
    return at == next_ ? TakeFirst() : std::exchange(at->task, nullptr);
}

void RankedRun::Clear()
{
    next_ = sortedEnd_ = end_ = nullptr;
    binEnds_ = {};
    items_ = {};
}

void RankedPile::MakeRun()
{
    std::vector<Ranked>& all = heap_.Elements();
    for (const Ranked& ranked : run_) {
        if (ranked.task) all.push_back(ranked);
    }
    run_.Fill(all);
    if (all.capacity() > kMostKept) all = {};
    all.clear();
}

CBaseTask* RankedPile::TakeFirst()
{
    const size_t inHeap = heap_.Elements().size();
    if (inHeap >= kLeastForRun && inHeap >= run_.Count()) MakeRun();
    return IsFirstInRun() ? run_.TakeFirst() : heap_.Take(0);
}

CBaseTask* RankedPile::Take(uint64_t rank)
{
    const auto isIt = [rank](const Ranked& ranked) { return ranked.rank == rank && ranked.task; };
    Ranked* const inRun = std::find_if(run_.begin(), run_.end(), isIt);
    if (inRun != run_.end()) return run_.Take(inRun);
    const auto& elements = heap_.Elements();
    const auto found = std::find_if(elements.begin(), elements.end(), isIt);
    return heap_.Take(static_cast<size_t>(found - elements.begin()));
}

void RankedPile::Clear()
{
    run_.Clear();
    heap_.Elements().clear();
}

}  // namespace px
