#pragma once

// BufferedFile — an open file with one buffer, with the modes and manners of the C library's own.
//
// The buffer holds what was read ahead or what waits to be written, never both. The position counts
// from the start of the file; what cannot be moved in (a pipe) counts what went through. Functions
// return system error numbers. The first error of a transfer stays as Error() until Seek or Close.
// One thread at a time.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Base/Platform/Platform.h"

namespace px {

class BufferedFile {
public:
    BufferedFile() = default;
    BufferedFile(const BufferedFile&) = delete;
    BufferedFile& operator=(const BufferedFile&) = delete;
    ~BufferedFile() { Close(); }

    // `mode` begins with "r", "w" or "a"; "+" and "x" count wherever they stand, "b" and "t" do
    // nothing. EINVAL for another one.
    int Open(const std::string& path, std::string_view mode);
    // Writes what waits. The file is closed whatever comes back.
    int Close();
    bool IsOpen() const { return file_ != os::kNoFile; }

    // Move the whole count unless the file ends or there is an error, and say how much they moved.
    size_t Read(void* buffer, size_t size);
    size_t Write(const void* buffer, size_t size);
    int Error() const { return error_; }
    // Whether a read has met the end since the last Seek.
    bool IsAtEnd() const { return isAtEnd_; }

    // Reads ahead if need be and lends what is in the buffer; empty at the end and on an error.
    // Consume moves on within it.
    std::string_view Peek();
    void Consume(size_t size) { readFirst_ += size; }

    int64_t Position() const;
    int Seek(int64_t position);
    // Of the file with what waits to be written, in bytes.
    int Size(int64_t* size);
    int Flush();
    // From now on every transfer goes to the system by itself.
    int SwitchOffBuffer();

private:
    int MayTransfer(bool toWrite);
    int DropReadAhead();
    size_t ReadDirectly(char* buffer, size_t size);
    void GoToEnd();
    int WriteDirectly(const char* bytes, size_t size, size_t* done);
    void Note(int error);

    os::File file_ = os::kNoFile;
    bool canRead_ = false;
    bool canWrite_ = false;
    bool appends_ = false;
    bool isBuffered_ = true;
    bool isAtEnd_ = false;
    int error_ = 0;
    int64_t offset_ = 0;  // of the system's own position
    std::unique_ptr<char[]> buffer_;
    size_t readFirst_ = 0;  // read ahead is [readFirst_, readEnd_) of the buffer
    size_t readEnd_ = 0;
    size_t waiting_ = 0;  // bytes at the buffer's start that wait to be written
};

}  // namespace px
