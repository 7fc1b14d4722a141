#pragma once

// Files — what the codecs read from and write to.
//
// Both classes are used by one thread and throw nothing but from their opening functions. Reads and
// writes answer a system error number, 0 for success, and keep the first one, so that an error that
// arose inside a codec can be named exactly afterwards.

#include "Base/Platform/Platform.h"
#include "pxtool/Errors.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace px::tool {

class InputFile {
public:
    InputFile() = default;
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    // Opens a regular file.
    Failure Open(const std::string& path);
    void Close() noexcept;

    // Reads up to `size` bytes and sets *got, which is less only at the end of the file.
    int Read(void* buffer, size_t size, size_t* got) noexcept;
    int Seek(int64_t offset) noexcept;

    const std::string& Path() const { return path_; }
    int64_t Size() const { return size_; }
    int64_t Position() const { return position_; }
    int Error() const { return error_; }

private:
    std::string path_;
    os::File file_ = os::kNoFile;
    int64_t size_ = 0;
    int64_t position_ = 0;
    int error_ = 0;
};

// A file that comes into being whole or not at all. It is written under a random name in the
// folder of its path and takes its place when it is complete and on the device; until then, and
// after any failure, what stood there before is untouched.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();  // removes what was not committed

    // A path that is a symbolic link names the file behind it. The new file has the permissions
    // of the one it replaces, else those of any new file.
    // A file that stands there is left alone unless it may be replaced.
    Failure Create(const std::string& path, bool mayReplace);

    int Write(const void* bytes, size_t size) noexcept;
    int Read(void* buffer, size_t size, size_t* got) noexcept;
    int Seek(int64_t offset) noexcept;
    // The end of what was written, the pieces not yet handed to the system included.
    int64_t Size() const { return size_; }
    int64_t Position() const { return position_ + static_cast<int64_t>(pending_); }
    const std::string& Path() const { return path_; }
    int Error() const { return error_; }

    // Flushes to the device and puts the file in its place.
    Failure Commit();

    // The failure that a system error number stands for.
    Failure FailureFor(int error) const;

private:
    int Flush() noexcept;
    int Note(int error) noexcept;

    std::string path_;    // as the user gave it
    std::string target_;  // behind symbolic links
    std::string temporary_;
    os::File file_ = os::kNoFile;
    std::unique_ptr<uint8_t[]> buffer_;
    size_t pending_ = 0;    // bytes in buffer_, which belong at position_
    int64_t position_ = 0;  // of the system's file
    int64_t size_ = 0;
    int error_ = 0;
    bool mayReplace_ = false;
};

// What can be known before the work: whether the folder of `path` exists, and nothing stands at it
// or a regular file that may be replaced.
Failure CheckOutputPath(const std::string& path, bool mayReplace);

}  // namespace px::tool
