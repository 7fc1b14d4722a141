#include "pxtool/Files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <system_error>

namespace px::tool {

namespace {

constexpr size_t kBufferBytes = 64 << 10;  // few calls into the system, and small beside a picture
constexpr int kMaxNames = 16;              // a clash of 64-bit random names is already unheard of

const char* HintFor(int error)
{
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return "free some space, or choose another folder";
        case EFBIG:
            return "raise the limit on file sizes, or choose another folder";
        case ENOENT:
        case ENOTDIR:
            return "create the folder first";
        case EACCES:
        case EPERM:
        case EROFS:
            return "choose a folder that you may write to";
        default:
            return "choose another folder";
    }
}

std::string FolderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The file behind symbolic links; the path itself when nothing is there yet.
std::string BehindLinks(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    return error ? path : real.string();
}

int RandomName(const std::string& folder, std::string* path)
{
    uint8_t bytes[8];
    if (const int error = os::Os().randomBytes(bytes, sizeof(bytes))) return error;
    std::string name = folder + "/.pxtool-";
    for (const uint8_t byte : bytes) {
        name += "0123456789abcdef"[byte >> 4];
        name += "0123456789abcdef"[byte & 15];
    }
    *path = name + ".tmp";
    return 0;
}

Failure StandsThere(const std::string& path)
{
    return CannotWrite(path, "it exists", "choose another name, or replace it with --force");
}

}  // namespace

InputFile::~InputFile()
{
    Close();
}

Failure InputFile::Open(const std::string& path)
{
    path_ = path;
    // Looked at first: opening a pipe would wait for its writer.
    os::FileFacts facts;
    int error = os::Os().factsOfPath(path.c_str(), &facts);
    if (!error && facts.isFolder) error = EISDIR;
    if (!error && !facts.isRegular) {
        return CannotRead(path, "it is not a regular file", "give the path of a picture file");
    }
    if (!error) error = os::Os().openFile(path.c_str(), os::OpenMode::kRead, &file_);
    if (!error) error = os::Os().factsOfFile(file_, &facts);
    if (error) return CannotRead(path, os::TextOf(error), "check the path of the picture");
    size_ = facts.size;
    return Done();
}

void InputFile::Close() noexcept
{
    if (file_ != os::kNoFile) os::Os().closeFile(file_);
    file_ = os::kNoFile;
}

int InputFile::Read(void* buffer, size_t size, size_t* got) noexcept
{
    *got = 0;
    while (*got < size) {
        size_t piece = 0;
        const int error =
            os::Os().readFile(file_, static_cast<char*>(buffer) + *got, size - *got, &piece);
        if (error) {
            if (!error_) error_ = error;
            return error;
        }
        if (piece == 0) break;
        *got += piece;
        position_ += static_cast<int64_t>(piece);
    }
    return 0;
}

int InputFile::Seek(int64_t offset) noexcept
{
    if (offset < 0) return EINVAL;
    const int error = os::Os().seekFile(file_, offset);
    if (error && !error_) error_ = error;
    if (!error) position_ = offset;
    return error;
}

OutputFile::~OutputFile()
{
    if (file_ != os::kNoFile) os::Os().closeFile(file_);
    if (!temporary_.empty()) os::Os().removeFile(temporary_.c_str());
}

Failure CheckOutputPath(const std::string& path, bool mayReplace)
{
    os::FileFacts facts;
    const int error = os::Os().factsOfPath(path.c_str(), &facts);
    if (!error && facts.isFolder) {
        return CannotWrite(path, os::TextOf(EISDIR), "give the name of a file");
    }
    if (!error && !facts.isRegular) {
        return CannotWrite(path, "it is not a regular file", "give the name of a file");
    }
    if (!error && !mayReplace) return StandsThere(path);
    // Renaming would get around this protection; its owner meant it.
    if (!error && (facts.permissions & 0222) == 0) {
        return CannotWrite(path, "it is write-protected", "choose another name");
    }
    if (error && error != ENOENT) return CannotWrite(path, os::TextOf(error), HintFor(error));
    if (error) {
        const int folderError = os::Os().factsOfPath(FolderOf(path).c_str(), &facts);
        if (folderError || !facts.isFolder) {
            return CannotWrite(path, "its folder does not exist", HintFor(ENOENT));
        }
    }
    return Done();
}

Failure OutputFile::Create(const std::string& path, bool mayReplace)
{
    mayReplace_ = mayReplace;
    path_ = path;
    target_ = BehindLinks(path);
    if (Failure failure = CheckOutputPath(path_, mayReplace)) return failure;
    buffer_.reset(new (std::nothrow) uint8_t[kBufferBytes]);
    if (!buffer_) return OutOfMemory(path_);

    os::FileFacts replaced;
    const bool replaces = os::Os().factsOfPath(target_.c_str(), &replaced) == 0;
    // The bytes of a private file are not to be seen under another name either.
    const os::OpenMode mode = replaces ? os::OpenMode::kCreateNew : os::OpenMode::kCreateNewShared;
    std::string name;
    int error = EEXIST;
    for (int i = 0; i < kMaxNames && error == EEXIST; ++i) {
        error = RandomName(FolderOf(target_), &name);
        if (!error) error = os::Os().openFile(name.c_str(), mode, &file_);
    }
    if (error) return FailureFor(error);
    temporary_ = std::move(name);
    if (replaces) error = os::Os().setPermissions(file_, replaced.permissions);
    return error ? FailureFor(error) : Done();
}

int OutputFile::Note(int error) noexcept
{
    if (error && !error_) error_ = error;
    return error;
}

int OutputFile::Flush() noexcept
{
    if (error_) return error_;  // what follows a failed write would lie at the wrong place
    if (pending_ == 0) return 0;
    if (const int error = os::WriteAll(file_, buffer_.get(), pending_)) return Note(error);
    position_ += static_cast<int64_t>(pending_);
    pending_ = 0;
    return 0;
}

int OutputFile::Write(const void* bytes, size_t size) noexcept
{
    const auto* from = static_cast<const uint8_t*>(bytes);
    while (size > 0) {
        const size_t piece = std::min(size, kBufferBytes - pending_);
        std::memcpy(buffer_.get() + pending_, from, piece);
        pending_ += piece;
        from += piece;
        size -= piece;
        size_ = std::max(size_, Position());
        if (pending_ == kBufferBytes) {
            if (const int error = Flush()) return error;
        }
    }
    return error_;
}

int OutputFile::Read(void* buffer, size_t size, size_t* got) noexcept
{
    *got = 0;
    if (const int error = Flush()) return error;
    while (*got < size) {
        size_t piece = 0;
        const int error =
            os::Os().readFile(file_, static_cast<char*>(buffer) + *got, size - *got, &piece);
        if (error) return Note(error);
        if (piece == 0) break;
        *got += piece;
        position_ += static_cast<int64_t>(piece);
    }
    return 0;
}

int OutputFile::Seek(int64_t offset) noexcept
{
    if (offset == Position()) return error_;
    if (const int error = Flush()) return error;
    if (const int error = os::Os().seekFile(file_, offset)) return Note(error);
    position_ = offset;
    return 0;
}

Failure OutputFile::Commit()
{
    int error = Flush();
    if (!error) error = os::Os().syncFile(file_);
    // A network file system may report a failed write only here.
    const int closeError = os::Os().closeFile(file_);
    file_ = os::kNoFile;
    if (!error) error = closeError;
    // It may have come while this one was made; a moment remains, which no system closes for all
    // file systems.
    os::FileFacts other;
    if (!error && !mayReplace_ && os::Os().factsOfPath(target_.c_str(), &other) == 0) {
        return StandsThere(path_);
    }
    if (!error) error = os::Os().renameFile(temporary_.c_str(), target_.c_str());
    if (error) return FailureFor(error);
    temporary_.clear();
    // The file is complete and in place; that its name survives a power cut is a favour.
    os::Os().syncFolder(FolderOf(target_).c_str());
    return Done();
}

Failure OutputFile::FailureFor(int error) const
{
    return CannotWrite(path_, os::TextOf(error), HintFor(error));
}

}  // namespace px::tool
