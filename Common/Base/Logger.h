#pragma once

// Logger — what the log manager hands its lines to.
//
// Threads: the manager calls a logger with its lock held, one line at a time.

#include "Base/BaseCore.h"
#include "Base/PXLog.h"

// Slots after those of the base: Open, Log, Close, Flush, EndBuffering.
class CBaseLogger : public CBaseCore {
public:
    // Called when the logger is added, once for each time.
    virtual void Open() noexcept = 0;
    // `line` is borrowed for the call.
    virtual void Log(CFStringRef line) noexcept = 0;
    // Called when the logger is removed.
    virtual void Close() noexcept = 0;
    // The lines so far must not be lost when the process dies now.
    virtual void Flush() noexcept {}
    // The process is about to end: as Flush, and from now on for every line.
    virtual void EndBuffering() noexcept {}
};

// Forwards everything to the procedures of an application.
class CBaseLoggerExternal final : public CBaseLogger {
public:
    void SetProcs(const PXLoggerProcs& procs, void* context) noexcept
    {
        procs_ = procs;
        context_ = context;
    }

    void Open() noexcept override
    {
        if (procs_.open) procs_.open(context_);
    }
    void Log(CFStringRef line) noexcept override
    {
        if (procs_.log) procs_.log(context_, line);
    }
    void Close() noexcept override
    {
        if (procs_.close) procs_.close(context_);
    }

private:
    PXLoggerProcs procs_ = {};
    void* context_ = nullptr;
};
