#pragma once

// LoggerFile — appends the log's lines to a file.
//
// Lines wait in memory for a second at most, or until they are many, or until Flush; the file gets
// whole lines, several in one write. A thread that is there only while the file is open, and awake
// only while lines wait, keeps the second. What cannot be written is dropped and counted, and the
// file says how much is missing as soon as it takes bytes again. Threads: internally locked.

#include <condition_variable>
#include <string>
#include <vector>

#include "Base/Logger.h"
#include "Base/Mutex.h"
#include "Base/Platform/Platform.h"

class CBaseLoggerFile final : public CBaseLogger {
public:
    explicit CBaseLoggerFile(std::string path);
    ~CBaseLoggerFile() override;

    // For all file loggers, from their next write on: a file that would grow beyond `maxBytes` is
    // renamed (0: never), and `keptFiles` such files are kept.
    static void SetLimits(uint64_t maxBytes, uint32_t keptFiles) noexcept;

    void Open() noexcept override;
    void Log(CFStringRef line) noexcept override;
    void Close() noexcept override;
    void Flush() noexcept override;
    void EndBuffering() noexcept override;

private:
    static void RunFlusher(void* self);
    void KeepDeadlines();

    void StartFlusher() PX_REQUIRES_LOCK(mutex_);
    void WriteWaiting() PX_REQUIRES_LOCK(mutex_);
    int OpenFile() PX_REQUIRES_LOCK(mutex_);
    void CloseFile() PX_REQUIRES_LOCK(mutex_);
    void FollowFile() PX_REQUIRES_LOCK(mutex_);
    void Rotate() PX_REQUIRES_LOCK(mutex_);
    int WriteAll() PX_REQUIRES_LOCK(mutex_);
    int WriteNotice() PX_REQUIRES_LOCK(mutex_);
    int WriteLines() PX_REQUIRES_LOCK(mutex_);
    void ForgetParent() PX_REQUIRES_LOCK(mutex_);

    const std::string path_;
    px::Mutex mutex_;
    std::condition_variable_any changed_;

    // Lines that wait, and where each of them ends.
    std::string waiting_ PX_GUARDED_BY(mutex_);
    std::vector<size_t> ends_ PX_GUARDED_BY(mutex_);
    // The rest of a line whose beginning is in the file already; it comes before all else.
    std::string torn_ PX_GUARDED_BY(mutex_);
    // Lines that are missing in the file since it last said so, and why.
    uint64_t lost_ PX_GUARDED_BY(mutex_) = 0;
    int failure_ PX_GUARDED_BY(mutex_) = 0;
    int64_t retryAtNanos_ PX_GUARDED_BY(mutex_) = 0;

    px::os::File file_ PX_GUARDED_BY(mutex_) = px::os::kNoFile;
    bool isRegular_ PX_GUARDED_BY(mutex_) = false;
    uint64_t size_ PX_GUARDED_BY(mutex_) = 0;
    uint64_t rotateAfter_ PX_GUARDED_BY(mutex_) = 0;  // a size; set when renaming was refused

    // A flusher thread lives as long as the number that it was started with is the current one.
    uint64_t flusher_ PX_GUARDED_BY(mutex_) = 0;
    bool hasFlusher_ PX_GUARDED_BY(mutex_) = false;
    bool isUnbuffered_ PX_GUARDED_BY(mutex_) = false;
    uint32_t openCount_ PX_GUARDED_BY(mutex_) = 0;
    uint32_t processId_ PX_GUARDED_BY(mutex_) = 0;
};
