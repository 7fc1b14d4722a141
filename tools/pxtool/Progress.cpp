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
constexpr int64_t kDrawNanos = 50'000'000;    // nobody reads faster
constexpr double kNanosPerSecond = 1e9;
constexpr double kPixelsPerMegapixel = 1e6;
constexpr double kLeastPercent = 2;  // before, the time left is a guess

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

Progress::Progress(const std::string& input, const std::string& output, bool isQuiet)
    : Progress(NameIn(input) + " -> " + NameIn(output),
               !isQuiet && os::Os().isTerminal(kStandardError))
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
    const double part =
        static_cast<double>(std::clamp<int64_t>(done, 0, total)) / static_cast<double>(total);
    const int64_t elapsed = os::Os().monotonicNanos() - startedNanos_;
    const bool isDue = drawnNanos_ < 0 ? elapsed > kQuietNanos : elapsed - drawnNanos_ > kDrawNanos;
    if (isDue) Draw(share.begin + part * (share.end - share.begin), elapsed);
    return true;
}

// "[####......]  40%  12.5 MP/s  0:03 left  in.tif -> out.png"
void Progress::Draw(double percent, int64_t elapsedNanos) noexcept
{
    char bar[kBarWidth + 1];
    const int filled = static_cast<int>(kBarWidth * percent / 100);
    for (int i = 0; i < kBarWidth; ++i) bar[i] = i < filled ? '#' : '.';
    bar[kBarWidth] = '\0';
    char rate[32] = "";
    char left[32] = "";
    const double seconds = static_cast<double>(elapsedNanos) / kNanosPerSecond;
    if (pixels_ > 0) {
        const double done = static_cast<double>(pixels_) * percent / 100 / kPixelsPerMegapixel;
        std::snprintf(rate, sizeof(rate), "  %.1f MP/s", done / seconds);
    }
    if (percent >= kLeastPercent) {
        const auto rest = static_cast<int64_t>(seconds * (100 - percent) / percent + 0.5);
        std::snprintf(left, sizeof(left), "  %d:%02d left",
                      static_cast<int>(std::min<int64_t>(rest / 60, 9999)),
                      static_cast<int>(rest % 60));
    }
    std::fprintf(stderr, "\r[%s] %3d%%%s%s  %.40s\x1b[K", bar, static_cast<int>(percent), rate,
                 left, label_.c_str());
    std::fflush(stderr);
    drawnNanos_ = elapsedNanos;
}

void Progress::Clear() noexcept
{
    if (drawnNanos_ < 0) return;
    std::fprintf(stderr, "\r\x1b[K");
    std::fflush(stderr);
    drawnNanos_ = -1;
}

}  // namespace px::tool
