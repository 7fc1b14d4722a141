#include "Base/LoggerFile.h"

#include "Base/Ref.h"
#include "Base/UTF8Text.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

namespace {

using px::os::Os;

// 64 KiB: a few hundred lines, far more than a second usually brings.
constexpr size_t kMostWaiting = 64 << 10;
constexpr std::chrono::seconds kDeadline{1};
constexpr uint32_t kMostKept = 99;  // each costs a renaming
constexpr int64_t kRetryNanos = 1'000'000'000;

std::atomic<uint64_t> maxFileBytes{16 << 20};
std::atomic<uint32_t> keptFileCount{3};

std::string Generation(const std::string& path, uint32_t number)
{
    return number == 0 ? path : path + "." + std::to_string(number);
}

// As os::WriteAll, and tells how far it got.
int WriteSome(px::os::File file, const std::string& text, size_t* written)
{
    *written = 0;
    while (*written < text.size()) {
        size_t took = 0;
        const int error =
            Os().writeFile(file, text.data() + *written, text.size() - *written, &took);
        if (error) return error;
        *written += took;
    }
    return 0;
}

}  // namespace

CBaseLoggerFile::CBaseLoggerFile(std::string path) : path_(std::move(path)) {}

CBaseLoggerFile::~CBaseLoggerFile()
{
    px::MutexLocker lock(mutex_);
    CloseFile();
}

void CBaseLoggerFile::SetLimits(uint64_t maxBytes, uint32_t keptFiles) noexcept
{
    maxFileBytes.store(maxBytes, std::memory_order_relaxed);
    keptFileCount.store(std::min(keptFiles, kMostKept), std::memory_order_relaxed);
}

void CBaseLoggerFile::Open() noexcept
{
    px::MutexLocker lock(mutex_);
    ++openCount_;
    ForgetParent();
    if (file_ == px::os::kNoFile) failure_ = OpenFile();
}

void CBaseLoggerFile::Log(CFStringRef line) noexcept
{
    px::MutexLocker lock(mutex_);
    ForgetParent();
    if (failure_ && Os().monotonicNanos() < retryAtNanos_) {
        ++lost_;
        return;
    }
    // Lines that wait together must fit into one file; a unit of UTF-16 takes three bytes at most.
    const uint64_t limit = maxFileBytes.load(std::memory_order_relaxed);
    const uint64_t mostBytes = static_cast<uint64_t>(CFStringGetLength(line)) * 3;
    if (!ends_.empty() && limit > 0 && waiting_.size() + mostBytes > limit) WriteWaiting();
    px::AppendUTF8(line, &waiting_);
    ends_.push_back(waiting_.size());
    if (isUnbuffered_ || failure_ || waiting_.size() >= kMostWaiting) {
        WriteWaiting();
    } else if (ends_.size() == 1) {
        StartFlusher();
    }
}

void CBaseLoggerFile::Flush() noexcept
{
    px::MutexLocker lock(mutex_);
    ForgetParent();
    if (!ends_.empty()) WriteWaiting();
}

void CBaseLoggerFile::EndBuffering() noexcept
{
    px::MutexLocker lock(mutex_);
    ForgetParent();
    isUnbuffered_ = true;
    ++flusher_;
    hasFlusher_ = false;
    if (!ends_.empty() || lost_ > 0) WriteWaiting();
    changed_.notify_all();
}

void CBaseLoggerFile::Close() noexcept
{
    px::MutexLocker lock(mutex_);
    ForgetParent();
    if (openCount_ > 0) --openCount_;
    if (!ends_.empty() || lost_ > 0) WriteWaiting();
    if (openCount_ > 0) return;
    ++flusher_;
    hasFlusher_ = false;
    changed_.notify_all();
    CloseFile();
}

// A forked child has a copy of the lines that its parent will write, and no flusher thread.
void CBaseLoggerFile::ForgetParent()
{
    const uint32_t current = Os().processId();
    if (current == processId_) return;
    processId_ = current;
    hasFlusher_ = false;
    waiting_.clear();
    ends_.clear();
    torn_.clear();
    lost_ = 0;
}

void CBaseLoggerFile::StartFlusher()
{
    if (hasFlusher_) {
        changed_.notify_all();
        return;
    }
    // The thread keeps the logger alive as long as it runs itself.
    px::os::Thread thread = 0;
    AddRef();
    if (Os().startThread(RunFlusher, this, &thread) != 0) {
        Release();
        isUnbuffered_ = true;
        WriteWaiting();
        return;
    }
    Os().detachThread(thread);
    hasFlusher_ = true;
}

void CBaseLoggerFile::RunFlusher(void* self)
{
    const auto logger = PXRef<CBaseLoggerFile>::Adopt(static_cast<CBaseLoggerFile*>(self));
    logger->KeepDeadlines();
}

void CBaseLoggerFile::KeepDeadlines()
{
    px::MutexLocker lock(mutex_);
    const uint64_t mine = flusher_;
    while (mine == flusher_) {
        if (ends_.empty()) {
            changed_.wait(mutex_);
            continue;
        }
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (mine == flusher_ &&
               changed_.wait_until(mutex_, deadline) != std::cv_status::timeout) {
        }
        if (mine == flusher_ && !ends_.empty()) WriteWaiting();
    }
}

void CBaseLoggerFile::WriteWaiting()
{
    failure_ = file_ == px::os::kNoFile ? OpenFile() : 0;
    if (!failure_) {
        FollowFile();
        Rotate();
        failure_ = file_ == px::os::kNoFile ? OpenFile() : 0;
    }
    if (!failure_) failure_ = WriteAll();
    if (failure_) {
        lost_ += ends_.size();
        retryAtNanos_ = Os().monotonicNanos() + kRetryNanos;
    }
    waiting_.clear();
    ends_.clear();
}

int CBaseLoggerFile::OpenFile()
{
    if (const int error = Os().openFile(path_.c_str(), px::os::OpenMode::kAppend, &file_))
        return error;
    px::os::FileFacts facts;
    isRegular_ = Os().factsOfFile(file_, &facts) == 0 && facts.isRegular;
    size_ = isRegular_ ? static_cast<uint64_t>(facts.size) : 0;
    rotateAfter_ = 0;
    return 0;
}

void CBaseLoggerFile::CloseFile()
{
    if (file_ != px::os::kNoFile) Os().closeFile(file_);
    file_ = px::os::kNoFile;
}

// Another process, or who tidies up, may have renamed or removed the file; then a new one is begun.
void CBaseLoggerFile::FollowFile()
{
    if (!isRegular_) return;
    px::os::FileFacts ours;
    px::os::FileFacts named;
    if (Os().factsOfFile(file_, &ours) != 0) return;
    size_ = static_cast<uint64_t>(ours.size);
    // A namesake of the same size would be a rare accident, and harmless.
    const bool isSame = Os().factsOfPath(path_.c_str(), &named) == 0 && named.size == ours.size;
    if (!isSame && torn_.empty()) CloseFile();
}

void CBaseLoggerFile::Rotate()
{
    const uint64_t limit = maxFileBytes.load(std::memory_order_relaxed);
    if (file_ == px::os::kNoFile || !isRegular_ || limit == 0 || size_ == 0 || !torn_.empty())
        return;
    if (size_ + waiting_.size() <= std::max(limit, rotateAfter_)) return;
    const uint32_t kept = keptFileCount.load(std::memory_order_relaxed);
    int error = kept == 0 ? Os().removeFile(path_.c_str()) : 0;
    for (uint32_t i = kept; i > 0; --i) {
        // Only the newest must be there; of the older ones there may be fewer.
        error = Os().renameFile(Generation(path_, i - 1).c_str(), Generation(path_, i).c_str());
    }
    if (error) {
        rotateAfter_ = size_ + limit;  // not again with every line
        return;
    }
    CloseFile();
}

int CBaseLoggerFile::WriteAll()
{
    if (!torn_.empty()) {
        size_t written = 0;
        const int error = WriteSome(file_, torn_, &written);
        torn_.erase(0, written);
        size_ += written;
        if (error) return error;
    }
    if (lost_ > 0) {
        if (const int error = WriteNotice()) return error;
    }
    return WriteLines();
}

int CBaseLoggerFile::WriteNotice()
{
    const std::string notice = "[" + std::to_string(lost_) +
                               (lost_ == 1 ? " line is" : " lines are") +
                               " missing here: the file could not be written]\n";
    size_t written = 0;
    const int error = WriteSome(file_, notice, &written);
    size_ += written;
    if (written > 0) {
        torn_ = notice.substr(written);
        lost_ = 0;
    }
    return error;
}

int CBaseLoggerFile::WriteLines()
{
    size_t written = 0;
    const int error = WriteSome(file_, waiting_, &written);
    size_ += written;
    // Lines that are in the file, be it in part, are not lost; the rest of a torn one comes later.
    const auto next = std::upper_bound(ends_.begin(), ends_.end(), written);
    if (error && next != ends_.end()) {
        const size_t begin = next == ends_.begin() ? 0 : *(next - 1);
        const bool isTorn = written > begin;
        if (isTorn) torn_ = waiting_.substr(written, *next - written);
        ends_.erase(ends_.begin(), isTorn ? next + 1 : next);
    }
    return error;
}
