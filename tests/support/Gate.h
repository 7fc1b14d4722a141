#pragma once

// Gate — holds threads back until it is opened.

#include <atomic>

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

}  // namespace px::test
