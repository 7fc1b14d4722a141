#pragma once

// StreamFile — a stream on a file, through one buffer.

#include <memory>

#include "Base/Stream.h"

namespace px {
class BufferedFile;
}

class PX_API CBaseStreamFile : public CBaseStream {
public:
    // On no file yet.
    CBaseStreamFile();
    ~CBaseStreamFile() override;

    // Both count from the next Open on; retained. A mode is one of the C library's.
    void SetPath(CFURLRef path);
    CFURLRef GetPath() const noexcept { return path_; }
    void SetMode(CFStringRef mode);

    // As PXStreamOpen and PXStreamClose.
    PXStatus Open() override;
    void Close() override;
    // When fewer bytes move, the first error since the file was opened or its position set, else 0.
    PXStatus ReadChunk(void* buffer, int flag, size_t& size) override;
    PXStatus WriteChunk(const void* buffer, size_t& size) override;
    // As CBaseStream says.
    PXStatus ReadChar(char& character) override;
    PXStatus ReadLine(char*& buffer, size_t& capacity) override;
    // These return system error numbers.
    PXStatus GetPos(uint64_t& position) override;
    PXStatus SetPos(uint64_t position) override;
    PXStatus GetLength(uint64_t& length) override;
    PXStatus Skip(uint64_t count) override;
    PXStatus SetBuffer(CFDataRef buffer) override;
    PXStatus SetCaching(bool isOn) override;
    // Whether a read has met the end since the position was set.
    bool IsEOF() override;

    // Writes what waits.
    PXStatus Flush();

private:
    CFURLRef path_ = nullptr;
    CFStringRef mode_ = nullptr;
    bool isUnbuffered_ = false;
    std::unique_ptr<px::BufferedFile> file_;
};
