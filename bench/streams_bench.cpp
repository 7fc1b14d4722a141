// Streams on memory and on a file in the page cache, in bytes per second: 16 MiB in pieces of 64
// KiB and of 4 bytes, beside the copy or the calls to the system that they cannot do without, and
// beside the C library's own buffered files.

#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "Base/Stream.h"
#include "Base/UTF8Text.h"
#include "PXCore/PXStream.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace {

namespace fs = std::filesystem;
using px::os::Os;

constexpr size_t kTotal = 16 << 20;
constexpr size_t kBlock = 64 << 10;

const std::string& Pattern()
{
    static const std::string pattern(kTotal, 'p');
    return pattern;
}

// A file of the full length, and the streams on it.
class PatternFile {
public:
    PatternFile()
        : path_(
              (fs::temp_directory_path() / ("px_streams_bench_" + std::to_string(Os().processId())))
                  .string())
    {
        std::FILE* file = std::fopen(path_.c_str(), "wb");
        if (!file || std::fwrite(Pattern().data(), 1, kTotal, file) != kTotal) std::abort();
        std::fclose(file);
    }
    ~PatternFile() { fs::remove(path_); }

    const char* Path() const { return path_.c_str(); }

private:
    const std::string path_;
};

PXRef<CBaseStream> Owned(PXStream stream)
{
    return PXRef<CBaseStream>::Adopt(px::ToStream(stream));
}

// The same buffer and block for all, because where they lie in memory counts as much as what is
// done with them.
char* Buffer()
{
    static char* const buffer = [] {
        alignas(4096) static char bytes[kBlock];
        std::memset(bytes, 'q', kBlock);
        return bytes;
    }();
    return buffer;
}

CFMutableDataRef Block()
{
    static const CFMutableDataRef block = [] {
        const CFMutableDataRef made = CFDataCreateMutable(nullptr, 0);
        CFDataAppendBytes(made, reinterpret_cast<const UInt8*>(Pattern().data()), kTotal);
        return made;
    }();
    return block;
}

PXRef<CBaseStream> OnMemory()
{
    PXStream stream = nullptr;
    PXStreamCreateForData(Block(), &stream);
    return Owned(stream);
}

PXRef<CBaseStream> OnFile(const PatternFile& file)
{
    const auto path = px::StringOf(file.Path());
    const auto url = CFRef<CFURLRef>::Adopt(
        CFURLCreateWithFileSystemPath(nullptr, path.Get(), kCFURLPOSIXPathStyle, false));
    PXStream stream = nullptr;
    PXStreamCreateForFile(url.Get(), CFSTR("r+"), &stream);
    if (PXStreamOpen(stream)) std::abort();
    return Owned(stream);
}

// Calls `move(place, size)` for all pieces of the whole length, from the start, over and over.
template <class Rewind, class Move>
void Pieces(benchmark::State& state, Rewind rewind, Move move)
{
    const auto piece = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        rewind();
        for (size_t at = 0; at < kTotal; at += piece) {
            if (!move(at, piece)) return state.SkipWithError("the transfer failed");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kTotal));
}

void Read(benchmark::State& state, CBaseStream* stream)
{
    Pieces(
        state, [&] { stream->SetPos(0); },
        [&](size_t, size_t size) {
            size_t done = size;
            const PXStatus status = stream->ReadChunk(Buffer(), CBaseStream::kBlock, done);
            benchmark::ClobberMemory();
            return status == kPXOK && done == size;
        });
}

void Write(benchmark::State& state, CBaseStream* stream)
{
    Pieces(
        state, [&] { stream->SetPos(0); },
        [&](size_t, size_t size) {
            size_t done = size;
            return stream->WriteChunk(Buffer(), done) == kPXOK && done == size;
        });
}

void MemoryRead(benchmark::State& state)
{
    Read(state, OnMemory().Get());
}

void MemoryWrite(benchmark::State& state)
{
    Write(state, OnMemory().Get());
}

// A new stream that grows from nothing, a block of the C library's that grows as far in the same
// steps, and memory that is as new but taken at once.
void MemoryAppend(benchmark::State& state)
{
    PXRef<CBaseStream> stream;
    Pieces(
        state,
        [&] {
            PXStream made = nullptr;
            PXStreamCreateForData(nullptr, &made);
            stream = Owned(made);
        },
        [&](size_t, size_t size) {
            size_t done = size;
            return stream->WriteChunk(Buffer(), done) == kPXOK && done == size;
        });
}

void BareMemoryGrow(benchmark::State& state)
{
    struct Free {
        void operator()(char* block) const { std::free(block); }
    };
    std::unique_ptr<char, Free> block;
    size_t capacity = 0;
    Pieces(
        state,
        [&] {
            block.reset();
            capacity = 0;
        },
        [&](size_t at, size_t size) {
            if (size > capacity - at) {
                capacity = std::max(at + size, capacity + capacity / 2);
                void* grown = std::realloc(block.release(), capacity);
                if (!grown) std::abort();
                block.reset(static_cast<char*>(grown));
            }
            std::memcpy(block.get() + at, Buffer(), size);
            benchmark::ClobberMemory();
            return true;
        });
}

void BareMemoryTaken(benchmark::State& state)
{
    std::unique_ptr<char[]> memory;
    Pieces(
        state, [&] { memory.reset(new char[kTotal]); },
        [&](size_t at, size_t size) {
            std::memcpy(memory.get() + at, Buffer(), size);
            benchmark::ClobberMemory();
            return true;
        });
}

void FileRead(benchmark::State& state)
{
    const PatternFile file;
    Read(state, OnFile(file).Get());
}

void FileWrite(benchmark::State& state)
{
    const PatternFile file;
    Write(state, OnFile(file).Get());
}

// Numbers are what small pieces usually are.
template <class Open>
void ReadNumbers(benchmark::State& state, Open open)
{
    const PXRef<CBaseStream> stream = open();
    Pieces(
        state, [&] { stream->SetPos(0); },
        [&](size_t, size_t) {
            uint32_t number = 0;
            const PXStatus status = stream->ReadUInt32(number);
            benchmark::DoNotOptimize(number);
            return status == kPXOK;
        });
}

void MemoryReadUInt32(benchmark::State& state)
{
    ReadNumbers(state, OnMemory);
}

void FileReadUInt32(benchmark::State& state)
{
    const PatternFile file;
    ReadNumbers(state, [&] { return OnFile(file); });
}

void BareMemoryRead(benchmark::State& state)
{
    const UInt8* from = CFDataGetBytePtr(Block());
    Pieces(
        state, [] {},
        [&](size_t at, size_t size) {
            std::memcpy(Buffer(), from + at, size);
            benchmark::ClobberMemory();
            return true;
        });
}

void BareMemoryWrite(benchmark::State& state)
{
    UInt8* to = CFDataGetMutableBytePtr(Block());
    Pieces(
        state, [] {},
        [&](size_t at, size_t size) {
            std::memcpy(to + at, Buffer(), size);
            benchmark::ClobberMemory();
            return true;
        });
}

void BareFileRead(benchmark::State& state)
{
    const PatternFile pattern;
    px::os::File file = px::os::kNoFile;
    Os().openFile(pattern.Path(), px::os::OpenMode::kRead, &file);
    Pieces(
        state, [] {},
        [&](size_t at, size_t size) {
            size_t got = 0;
            const int error = Os().readAt(file, Buffer(), size, static_cast<int64_t>(at), &got);
            return error == 0 && got == size;
        });
    Os().closeFile(file);
}

void BareFileWrite(benchmark::State& state)
{
    const PatternFile pattern;
    px::os::File file = px::os::kNoFile;
    Os().openFile(pattern.Path(), px::os::OpenMode::kReadWrite, &file);
    Pieces(
        state, [] {},
        [&](size_t at, size_t size) {
            size_t done = 0;
            const int error = Os().writeAt(file, Buffer(), size, static_cast<int64_t>(at), &done);
            return error == 0 && done == size;
        });
    Os().closeFile(file);
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

void LibraryFileRead(benchmark::State& state)
{
    const PatternFile pattern;
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(pattern.Path(), "rb"));
    Pieces(
        state, [&] { std::rewind(file.get()); },
        [&](size_t, size_t size) {
            const bool isWhole = std::fread(Buffer(), 1, size, file.get()) == size;
            benchmark::ClobberMemory();
            return isWhole;
        });
}

void LibraryFileWrite(benchmark::State& state)
{
    const PatternFile pattern;
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(pattern.Path(), "r+b"));
    Pieces(
        state, [&] { std::rewind(file.get()); },
        [&](size_t, size_t size) { return std::fwrite(Buffer(), 1, size, file.get()) == size; });
}

void InMilliseconds(benchmark::internal::Benchmark* row)
{
    row->Arg(kBlock)->Arg(4)->Unit(benchmark::kMillisecond);
}
BENCHMARK(MemoryRead)->Apply(InMilliseconds);
BENCHMARK(BareMemoryRead)->Apply(InMilliseconds);
BENCHMARK(MemoryWrite)->Apply(InMilliseconds);
BENCHMARK(BareMemoryWrite)->Apply(InMilliseconds);
BENCHMARK(MemoryAppend)->Apply(InMilliseconds);
BENCHMARK(BareMemoryGrow)->Apply(InMilliseconds);
BENCHMARK(BareMemoryTaken)->Apply(InMilliseconds);
BENCHMARK(MemoryReadUInt32)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FileRead)->Apply(InMilliseconds);
BENCHMARK(LibraryFileRead)->Apply(InMilliseconds);
BENCHMARK(FileReadUInt32)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FileWrite)->Apply(InMilliseconds);
BENCHMARK(LibraryFileWrite)->Apply(InMilliseconds);
// A call to the system for every four bytes would tell nothing.
BENCHMARK(BareFileRead)->Arg(kBlock)->Unit(benchmark::kMillisecond);
BENCHMARK(BareFileWrite)->Arg(kBlock)->Unit(benchmark::kMillisecond);

}  // namespace
