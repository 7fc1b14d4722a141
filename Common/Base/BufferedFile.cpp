#include "Base/BufferedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

namespace px {

namespace {

using os::Os;

// 64 KiB: from here on a call to the system costs next to nothing beside the copy that it makes.
constexpr size_t kBufferBytes = 64 << 10;

std::optional<os::OpenMode> OpenModeFor(std::string_view mode)
{
    const bool isBoth = mode.find('+') != std::string_view::npos;
    switch (mode.empty() ? '\0' : mode.front()) {
        case 'r':
            return isBoth ? os::OpenMode::kReadWrite : os::OpenMode::kRead;
        case 'w':
            return mode.find('x') != std::string_view::npos ? os::OpenMode::kCreateNewShared
                                                            : os::OpenMode::kCreate;
        case 'a':
            return isBoth ? os::OpenMode::kReadAppend : os::OpenMode::kAppend;
        default:
            return std::nullopt;
    }
}

}  // namespace

int BufferedFile::Open(const std::string& path, std::string_view mode)
{
    const auto openMode = OpenModeFor(mode);
    if (!openMode) return EINVAL;
    Close();
    if (!buffer_) buffer_.reset(new (std::nothrow) char[kBufferBytes]);
    if (!buffer_) return ENOMEM;
    if (const int error = Os().openFile(path.c_str(), *openMode, &file_)) return error;
    const bool isBoth = mode.find('+') != std::string_view::npos;
    canRead_ = mode.front() == 'r' || isBoth;
    canWrite_ = mode.front() != 'r' || isBoth;
    appends_ = mode.front() == 'a';
    return 0;
}

int BufferedFile::Close()
{
    if (!IsOpen()) return 0;
    int error = Flush();
    const int closeError = Os().closeFile(file_);
    if (!error) error = closeError;
    file_ = os::kNoFile;
    isAtEnd_ = false;
    error_ = 0;
    offset_ = 0;
    readFirst_ = readEnd_ = waiting_ = 0;
    return error;
}

void BufferedFile::Note(int error)
{
    if (error && !error_) error_ = error;
}

// A change of direction gives up or writes what the buffer holds for the other one.
int BufferedFile::MayTransfer(bool toWrite)
{
    if (!IsOpen() || !(toWrite ? canWrite_ : canRead_)) return EBADF;
    return toWrite ? DropReadAhead() : Flush();
}

int BufferedFile::DropReadAhead()
{
    if (readFirst_ < readEnd_) {
        const int64_t wanted = Position();
        if (const int error = Os().seekFile(file_, wanted)) return error;
        offset_ = wanted;
    }
    // Also what was used up: the buffer's bytes are about to be others.
    readFirst_ = readEnd_ = 0;
    return 0;
}

// Past the buffer, whose bytes, all used up, are no longer those before the position.
size_t BufferedFile::ReadDirectly(char* buffer, size_t size)
{
    size_t done = 0;
    readFirst_ = readEnd_ = 0;
    while (done < size) {
        size_t got = 0;
        if (const int error = Os().readFile(file_, buffer + done, size - done, &got)) {
            Note(error);
            break;
        }
        if (got == 0) {
            isAtEnd_ = true;
            break;
        }
        done += got;
        offset_ += static_cast<int64_t>(got);
    }
    return done;
}

std::string_view BufferedFile::Peek()
{
    if (readFirst_ == readEnd_) {
        const int error = MayTransfer(false);
        Note(error);
        if (error) return {};
        readFirst_ = readEnd_ = 0;
        size_t got = 0;
        const size_t most = isBuffered_ ? kBufferBytes : 1;
        const int failure = Os().readFile(file_, buffer_.get(), most, &got);
        Note(failure);
        if (failure) return {};
        if (got == 0) isAtEnd_ = true;
        readEnd_ = got;
        offset_ += static_cast<int64_t>(got);
    }
    return {buffer_.get() + readFirst_, readEnd_ - readFirst_};
}

size_t BufferedFile::Read(void* buffer, size_t size)
{
    auto* to = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < size) {
        const size_t ahead = readEnd_ - readFirst_;
        if (ahead == 0 && (size - done >= kBufferBytes || !isBuffered_)) {
            const int error = MayTransfer(false);
            Note(error);
            return error ? done : done + ReadDirectly(to + done, size - done);
        }
        const std::string_view lent = Peek();
        if (lent.empty()) break;
        const size_t step = std::min(lent.size(), size - done);
        std::memcpy(to + done, lent.data(), step);
        Consume(step);
        done += step;
    }
    return done;
}

int BufferedFile::WriteDirectly(const char* bytes, size_t size, size_t* done)
{
    int error = 0;
    *done = 0;
    while (!error && *done < size) {
        size_t written = 0;
        error = Os().writeFile(file_, bytes + *done, size - *done, &written);
        if (!error) *done += written;
    }
    offset_ += static_cast<int64_t>(*done);
    // What a file in append mode gets lies at its end, wherever the position was.
    if (int64_t end = 0; appends_ && Os().tellFile(file_, &end) == 0) offset_ = end;
    return error;
}

// Where the bytes that wait will lie in append mode, so that the position counts from there.
void BufferedFile::GoToEnd()
{
    os::FileFacts facts;
    if (Os().factsOfFile(file_, &facts) == 0 && facts.isRegular) offset_ = facts.size;
}

size_t BufferedFile::Write(const void* buffer, size_t size)
{
    const auto* bytes = static_cast<const char*>(buffer);
    int error = MayTransfer(true);
    if (!error && waiting_ + size > kBufferBytes) error = Flush();
    size_t done = 0;
    if (!error && (size >= kBufferBytes || !isBuffered_)) {
        error = WriteDirectly(bytes, size, &done);
    } else if (!error && size > 0) {
        if (appends_ && waiting_ == 0) GoToEnd();
        std::memcpy(buffer_.get() + waiting_, bytes, size);
        waiting_ += size;
        done = size;
    }
    Note(error);
    return done;
}

int64_t BufferedFile::Position() const
{
    return offset_ - static_cast<int64_t>(readEnd_ - readFirst_) + static_cast<int64_t>(waiting_);
}

int BufferedFile::Seek(int64_t position)
{
    if (!IsOpen()) return EBADF;
    if (position < 0) return EINVAL;
    // Within what was read ahead nothing needs to be read again.
    const int64_t first = offset_ - static_cast<int64_t>(readEnd_);
    if (readEnd_ > 0 && position >= first && position <= offset_) {
        readFirst_ = static_cast<size_t>(position - first);
    } else {
        if (const int error = Flush()) return error;
        if (const int error = Os().seekFile(file_, position)) return error;
        offset_ = position;
        readFirst_ = readEnd_ = 0;
    }
    isAtEnd_ = false;
    error_ = 0;
    return 0;
}

int BufferedFile::Size(int64_t* size)
{
    if (!IsOpen()) return EBADF;
    if (const int error = Flush()) return error;
    os::FileFacts facts;
    if (const int error = Os().factsOfFile(file_, &facts)) return error;
    *size = facts.size;
    return 0;
}

// What cannot be written is given up: a full disk must not turn every later call into a failure.
int BufferedFile::Flush()
{
    if (waiting_ == 0) return 0;
    const size_t size = std::exchange(waiting_, 0);
    size_t done = 0;
    const int error = WriteDirectly(buffer_.get(), size, &done);
    Note(error);
    return error;
}

int BufferedFile::SwitchOffBuffer()
{
    isBuffered_ = false;
    return Flush();
}

}  // namespace px
