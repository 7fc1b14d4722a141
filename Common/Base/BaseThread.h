#pragma once

// BaseThread — a thread of execution behind PXThread, and of the thread pool.
//
// Every thread begins at the lowest priority. Thread-safe, except that Join is for one caller.

#include <atomic>
#include <exception>

#include "Base/BaseCore.h"
#include "Base/PXThread.h"
#include "Base/Platform/Platform.h"

class CBaseThread final : public CBaseCore {
public:
    // See PXThreadStart.
    int Start(PXThreadFunction function, void* argument) noexcept;

    // The same for a thread that Join waits for. Nothing is logged.
    int StartJoinable(PXThreadFunction function, void* argument) noexcept;
    void Join() noexcept;

    // Sets the calling thread's priority level, see PXThreadSetPriority.
    static int SetPriority(int level) noexcept;
    static void SetName(const char* utf8) noexcept;

    // Calls the function and keeps what it throws from ending the process: the text goes to the log
    // with kPXErrBadArgument, for a function that throws breaks its contract.
    template <class Function>
    static void CallGuarded(const Function& function) noexcept
    {
        try {
            function();
        } catch (const std::exception& thrown) {
            LogThrown(thrown.what());
        } catch (...) {
            LogThrown("something that is no std::exception");
        }
    }

private:
    static void LogThrown(const char* text) noexcept;
    static void Main(void* self) noexcept;

    std::atomic<bool> isRunning_{false};
    px::os::Thread handle_ = 0;
    PXThreadFunction function_ = nullptr;
    void* argument_ = nullptr;
};
