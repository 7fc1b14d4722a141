// One line through the log, in nanoseconds per line.

#include <benchmark/benchmark.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "Base/PXLog.h"
#include "Base/PXProcess.h"
#include "Base/Platform/Platform.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"

namespace {

// An external logger that looks at each line's length, for a scope.
class Listener {
public:
    Listener()
    {
        const PXLoggerProcs procs = {nullptr,
                                     [](void* length, CFStringRef line) {
                                         *static_cast<CFIndex*>(length) += CFStringGetLength(line);
                                     },
                                     nullptr};
        PXLoggerSetProcs(logger_, &procs, &length_);
        PXLogAddLogger(logger_);
    }
    ~Listener()
    {
        PXLogRemoveLogger(logger_);
        PXLoggerRelease(logger_);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

private:
    PXLogger logger_ = PXLoggerCreate();
    CFIndex length_ = 0;
};

void BM_Event(benchmark::State& state)
{
    const Listener listener;
    for (auto _ : state) PXLogEvent(1005, "PXImage", 120);
}
BENCHMARK(BM_Event);

void BM_EventWithoutLogger(benchmark::State& state)
{
    for (auto _ : state) PXLogEvent(1005, "PXImage", 120);
}
BENCHMARK(BM_EventWithoutLogger);

void BM_AboveTheLevel(benchmark::State& state)
{
    const Listener listener;
    for (auto _ : state) PXLogWithParams(5, nullptr, 0, CFSTR("tile %d of %@"), 7, CFSTR("cache"));
}
BENCHMARK(BM_AboveTheLevel);

void BM_Formatted(benchmark::State& state)
{
    const Listener listener;
    for (auto _ : state) PXLog(CFSTR("tile %d of %@"), 7, CFSTR("cache"));
}
BENCHMARK(BM_Formatted)->Threads(1)->Threads(2)->UseRealTime();

void BM_AllPieces(benchmark::State& state)
{
    PXProcessInit();
    const Listener listener;
    const PXLogStyle style = {1, 1, 1, 1, 1, 4};
    for (auto _ : state) PXLogWithStyle(&style, CFSTR("tile %d of %@"), 7, CFSTR("cache"));
}
BENCHMARK(BM_AllPieces);

void BM_UTF8(benchmark::State& state)
{
    const Listener listener;
    for (auto _ : state) PXLogUTF8("tile %d of %s", 7, "cache");
}
BENCHMARK(BM_UTF8);

// Lines of about 60 bytes to a file, rotated as usual.
class FileListener {
public:
    FileListener()
        : path_(std::filesystem::temp_directory_path() /
                ("px_log_bench_" + std::to_string(px::os::Os().processId())))
    {
        std::filesystem::create_directories(path_);
        PXLogAddFileLogger(px::URLOf(path_ / "log.txt", false).Get());
    }
    ~FileListener()
    {
        PXLogRemoveAllLoggers();
        std::filesystem::remove_all(path_);
    }
    FileListener(const FileListener&) = delete;
    FileListener& operator=(const FileListener&) = delete;

private:
    std::filesystem::path path_;
};

void BM_FileLine(benchmark::State& state)
{
    const FileListener listener;
    for (auto _ : state) PXLogEvent(1005, "PXImage", 120);
}
BENCHMARK(BM_FileLine);

void BM_FileLineUrgent(benchmark::State& state)
{
    const FileListener listener;
    for (auto _ : state) PXLogError(nullptr, 1005, "PXImage", 120);
}
BENCHMARK(BM_FileLineUrgent);

void BM_FileLineDroppedByAFullDisk(benchmark::State& state)
{
    px::os::Table table = px::os::NativeTable();
    table.writeFile = [](px::os::File, const void*, size_t, size_t*) { return ENOSPC; };
    const px::os::Table* former = px::os::ReplaceTable(&table);
    {
        const FileListener listener;
        PXLogError(nullptr, 1002, "PXImage", 1);
        for (auto _ : state) PXLogEvent(1005, "PXImage", 120);
    }
    px::os::ReplaceTable(former);
}
BENCHMARK(BM_FileLineDroppedByAFullDisk);

}  // namespace
