// Runs work on the process's threads: by priority, several at a time, and stopped on request.

#include "Base/Ref.h"
#include "Base/Task.h"
#include "Base/TaskQueue.h"

#include <atomic>
#include <cstdio>
#include <future>

namespace {

// Waits until it is let go, so that what is pushed meanwhile has to queue.
class Gate final : public CBaseTask {
public:
    explicit Gate(std::future<void> opened) : opened_(std::move(opened)) {}
    void Run() override { opened_.wait(); }
    void TaskComplete() override {}

private:
    std::future<void> opened_;
};

class Render final : public CBaseTask {
public:
    Render(const char* what, uint32_t priority) : what_(what) { SetPriority(priority); }

    void Run() override { std::printf("rendering %s\n", what_); }
    // After Run, on the same thread.
    void TaskComplete() override { std::printf("%s is done\n", what_); }

private:
    const char* const what_;
};

std::atomic<int> stopped{0};

// A long task looks at its stop flag.
class Export final : public CBaseTask {
public:
    void Run() override
    {
        while (!GetStop()) ++rows_;
        ++stopped;
    }
    void TaskComplete() override {}

private:
    uint64_t rows_ = 0;
};

// The queue retains what it is given.
template <class Task, class... Arguments>
void Push(CBaseTaskQueue& queue, Arguments&&... arguments)
{
    const auto task = PXRef<Task>::Adopt(new Task(std::forward<Arguments>(arguments)...));
    queue.Push(task.Get());
}

}  // namespace

int main()
{
    // One slot: tasks run one after the other, those of high priority first.
    {
        const auto queue = PXRef<CBaseTaskQueue>::Adopt(new CBaseTaskQueue);
        queue->Initialize(CFSTR("preview"), 0, 1);
        std::promise<void> gate;
        Push<Gate>(*queue, gate.get_future());
        Push<Render>(*queue, "thumbnail", 1U);
        Push<Render>(*queue, "visible tile", 10U);
        gate.set_value();
    }  // The last reference waits for everything that was pushed.

    // Two slots: as many tasks side by side. Stop asks them to end and waits.
    const auto queue = PXRef<CBaseTaskQueue>::Adopt(new CBaseTaskQueue);
    queue->Initialize(CFSTR("export"), 0, 2);
    Push<Export>(*queue);
    Push<Export>(*queue);
    queue->Stop();
    const CBaseTaskQueueStatistics figures = queue->GetStatistics();
    std::printf("exports stopped: %d, completed: %llu\n", stopped.load(),
                static_cast<unsigned long long>(figures.completed));
    return 0;
}
