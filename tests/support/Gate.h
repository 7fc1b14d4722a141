#pragma once

// Gate — holds threads back until it is opened; and short ways to run threads and wait for them.

#include <atomic>
#include <thread>
#include <vector>

namespace px::test {

class Gate {
public:
    void Open()
    {
        isOpen_ = true;
        isOpen_.notify_all();
    }
    void Wait() const { isOpen_.wait(false); }

private:
    std::atomic<bool> isOpen_{false};
};

// Waits until the value is reached; whoever changes it notifies.
inline void WaitFor(const std::atomic<int>& value, int wanted)
{
    for (int now = value; now != wanted; now = value) value.wait(now);
}

inline void Add(std::atomic<int>& value, int amount = 1)
{
    value += amount;
    value.notify_all();
}

// Calls work(0), work(1)… on a thread each, all at once, and waits for them.
template <class Work>
void RunOnThreads(int count, const Work& work)
{
    Gate gate;
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&gate, &work, i] {
            gate.Wait();
            work(i);
        });
    }
    gate.Open();
    for (std::thread& thread : threads) thread.join();
}

}  // namespace px::test
