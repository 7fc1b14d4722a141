#pragma once

// RankedPile — any number of tasks of any ranks, the smallest first.
//
// Pushes go to a heap. Once the heap holds as much as is left of the run, a take spreads all there
// is over the bins of a new run: parts of one array in ascending order. When the turn of a bin
// comes it is sorted, or spread over bins of its own if it is large. What is at the front of a run
// is taken without looking at anything else, which spares the heap's way through memory that
// another processor has written.
//
// A push costs the logarithm of the heap at worst and a constant on average. A take of the first
// costs a constant on average, whatever the ranks: a new run takes passes over at most twice the
// tasks pushed since the last one, a few milliseconds for a hundred thousand of them at worst, and
// so many takes follow that need none. Taking any other task searches all. Not thread-safe.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class CBaseTask;

namespace px {

struct Ranked {
    uint64_t rank;
    CBaseTask* task;
};

// A heap in which every element has four children: half the levels of a binary one, and the four
// that are compared lie side by side.
class RankedHeap {
public:
    bool IsEmpty() const { return elements_.empty(); }
    const Ranked& Top() const { return elements_.front(); }
    std::vector<Ranked>& Elements() { return elements_; }
    const std::vector<Ranked>& Elements() const { return elements_; }

    void Push(const Ranked& ranked);
    CBaseTask* Take(size_t index);

private:
    static constexpr size_t kChildren = 4;

    size_t SinkHole(size_t hole);
    void Rise(size_t hole, const Ranked& ranked);

    std::vector<Ranked> elements_;
};

// Tasks in ascending order, which only become fewer.
class RankedRun {
public:
    bool IsEmpty() const { return next_ == end_; }
    const Ranked& First() const { return *next_; }
    // Those taken out of its middle included.
    size_t Count() const { return static_cast<size_t>(end_ - next_); }
    Ranked* begin() { return next_; }
    Ranked* end() { return end_; }
    const Ranked* begin() const { return next_; }
    const Ranked* end() const { return end_; }

    // Forgets what the run held.
    void Fill(const std::vector<Ranked>& all);
    CBaseTask* TakeFirst();
    CBaseTask* Take(Ranked* at);
    void Clear();

private:
    void Spread(const std::vector<Ranked>& from, Ranked* to);
    void FindFirst();
    void SortNextBin();

    // [next_, sortedEnd_) is sorted. The bins behind it are in order, each of them is not. An
    // element that has been taken has no task any more; the first one has.
    Ranked* next_ = nullptr;
    Ranked* sortedEnd_ = nullptr;
    Ranked* end_ = nullptr;
    std::vector<uint32_t> binEnds_;  // indices into items_, that of the next bin last
    std::unique_ptr<Ranked[]> items_;
};

class RankedPile {
public:
    bool IsEmpty() const { return heap_.IsEmpty() && run_.IsEmpty(); }
    // There must be one.
    const Ranked& First() const { return IsFirstInRun() ? run_.First() : heap_.Top(); }

    void Push(const Ranked& ranked) { heap_.Push(ranked); }
    CBaseTask* TakeFirst();
    CBaseTask* Take(uint64_t rank);
    void Clear();

    template <typename Function>
    void ForEach(Function function)
    {
        for (Ranked& ranked : heap_.Elements()) function(ranked);
        for (Ranked& ranked : run_) {
            if (ranked.task) function(ranked);
        }
    }
    template <typename Function>
    void ForEach(Function function) const
    {
        for (const Ranked& ranked : heap_.Elements()) function(ranked);
        for (const Ranked& ranked : run_) {
            if (ranked.task) function(ranked);
        }
    }

private:
    bool IsFirstInRun() const
    {
        return !run_.IsEmpty() && (heap_.IsEmpty() || run_.First().rank < heap_.Top().rank);
    }
    void MakeRun();

    RankedRun run_;
    RankedHeap heap_;
};

}  // namespace px
