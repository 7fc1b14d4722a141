// Loads the library at run time, uses its thread pool, and lets go of it in every order.
// usage: pool_cycles LIBRARY

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace {

struct Library {
    void* handle;
    int (*push)(void (*)(void*), void*);
    unsigned (*shutdown)();

    explicit Library(const char* path) : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL))
    {
        if (!handle) Fail(dlerror());
        push = reinterpret_cast<decltype(push)>(dlsym(handle, "PXThreadPoolPush"));
        shutdown = reinterpret_cast<decltype(shutdown)>(dlsym(handle, "PXThreadPoolShutdown"));
        if (!push || !shutdown) Fail("no thread pool");
    }
    [[noreturn]] static void Fail(const char* why)
    {
        std::fprintf(stderr, "pool_cycles: %s\n", why);
        std::exit(1);
    }
};

std::atomic<long> ran{0};
Library* inUse;

void Count(void*)
{
    ++ran;
}

void PushAgain(void*)
{
    inUse->push(PushAgain, nullptr);
}

void LoadUseUnload(const char* path, int cycles)
{
    constexpr long kItems = 20;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        ran = 0;
        Library library(path);
        for (long i = 0; i < kItems; ++i) library.push(Count, nullptr);
        if (library.shutdown() != 0 || ran != kItems) Library::Fail("items were lost");
        if (dlclose(library.handle) != 0) Library::Fail(dlerror());
    }
}

// What a process may do while its work goes on for ever.
enum class End { kReturn, kClose, kCloseTwice, kQuick, kCount };

[[noreturn]] void EndWithWorkInFlight(const char* path, End end)
{
    alarm(60);  // a hang ends by a signal
    Library library(path);
    inUse = &library;
    for (int i = 0; i < 4; ++i) library.push(PushAgain, nullptr);
    if (end == End::kClose || end == End::kCloseTwice) dlclose(library.handle);
    if (end == End::kCloseTwice) {
        Library again(path);
        again.push(Count, nullptr);
        dlclose(again.handle);
    }
    if (end == End::kQuick) std::quick_exit(0);
    std::exit(0);
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 2) Library::Fail("a library is needed");
    for (int round = 0; round < 10; ++round) {
        for (int end = 0; end < static_cast<int>(End::kCount); ++end) {
            const pid_t child = fork();  // nothing is loaded yet
            if (child == 0) EndWithWorkInFlight(arguments[1], static_cast<End>(end));
            int status = 0;
            if (waitpid(child, &status, 0) != child || status != 0) {
                std::fprintf(stderr, "way %d of ending: status %d\n", end, status);
                return 1;
            }
        }
    }
    LoadUseUnload(arguments[1], 1000);
    std::puts("1000 cycles and 40 ends");
    return 0;
}
