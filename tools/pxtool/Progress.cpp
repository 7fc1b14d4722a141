#include "pxtool/Progress.h"

#include "Base/Platform/Platform.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <utility>

namespace px::tool {

namespace {

volatile std::sig_atomic_t isCancelled = 0;

extern "C" void NoteSignal(int)
{
    isCancelled = 1;
}

void Catch(int signalNumber)
{
    // A caller who runs the tool in the background has these switched off.
    if (std::signal(signalNumber, NoteSignal) == SIG_IGN) std::signal(signalNumber, SIG_IGN);
}

struct Share {
    int begin, end;  // percent
};

// Compressing takes longest for PNG and TIFF; JPEG is done before one can look.
constexpr Share kShares[] = {{0, 25}, {25, 50}, {50, 100}};

constexpr int kStandardError = 2;
constexpr int kBarWidth = 30;
constexpr int64_t kQuietNanos = 200'000'000;  // what is done sooner needs no bar

std::string NameIn(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

void CatchSignals()
{
    isCancelled = 0;
    Catch(SIGINT);
    Catch(SIGTERM);
#if defined(SIGHUP)
    Catch(SIGHUP);
#endif
#if defined(SIGXFSZ)
    std::signal(SIGXFSZ, SIG_IGN);
#endif
}

bool IsCancelled() noexcept
{
    return isCancelled != 0;
}

Progress::Progress(const std::string& input, const std::string& output)
    : Progress(NameIn(input) + " -> " + NameIn(output), os::Os().isTerminal(kStandardError))
{
}

Progress::Progress(std::string label, bool isVisible)
    : label_(std::move(label)), isVisible_(isVisible), startedNanos_(os::Os().monotonicNanos())
{
    // A file name steers no terminal.
    for (char& c : label_) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    }
}

Progress::~Progress()
{
    Clear();
}

bool Progress::Step(Phase phase, int64_t done, int64_t total) noexcept
{
    if (IsCancelled()) return false;
    if (!isVisible_ || total <= 0) return true;
    const Share share = kShares[static_cast<size_t>(phase)];
    const int64_t inPhase = std::clamp<int64_t>(done, 0, total) * (share.end - share.begin) / total;
    const int percent = share.begin + static_cast<int>(inPhase);
    if (percent != drawn_ && os::Os().monotonicNanos() - startedNanos_ > kQuietNanos) Draw(percent);
    return true;
}

void Progress::Draw(int percent) noexcept
{
    char bar[kBarWidth + 1];
    const int filled = kBarWidth * percent / 100;
    for (int i = 0; i < kBarWidth; ++i) bar[i] = i < filled ? '#' : '.';
    bar[kBarWidth] = '\0';
    std::fprintf(stderr, "\r[%s] %3d%%  %.40s", bar, percent, label_.c_str());
    std::fflush(stderr);
    drawn_ = percent;
}

void Progress::Clear() noexcept
{
    if (drawn_ < 0) return;
    std::fprintf(stderr, "\r\x1b[K");
    std::fflush(stderr);
    drawn_ = -1;
}

}  // namespace px::tool
