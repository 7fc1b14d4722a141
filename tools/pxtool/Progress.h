#pragma once

// Progress — the bar on the terminal and the user's wish to stop.
//
// One thread. Signals only set a flag, which every step looks at between rows.

#include <cstdint>
#include <string>

namespace px::tool {

// Clears the flag that IsCancelled reads. From here on Ctrl-C, a request to terminate and a closed
// terminal set it, and a file that reaches the size limit of the process gives an error instead of
// ending it. Signals that the caller of the tool has switched off stay off.
void CatchSignals();
bool IsCancelled() noexcept;

// The steps of a conversion and what share of the whole each takes.
enum class Phase : uint8_t { kRead, kConvert, kWrite };

class Progress {
public:
    // Without `isVisible` nothing is printed.
    Progress(std::string label, bool isVisible);
    // The bar of a command that makes one file from another, visible on a terminal
    // unless the user wants it quiet.
    Progress(const std::string& input, const std::string& output, bool isQuiet);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();  // clears the bar

    // Reports that `done` of `total` rows of a phase are done. False when the user wants to stop.
    // Allocates nothing and throws nothing: codecs call it from inside C code.
    bool Step(Phase phase, int64_t done, int64_t total) noexcept;

    // How many pixels the whole work is about, for the rate; none is told without it.
    void SetPixels(int64_t pixels) noexcept { pixels_ = pixels; }

    // Removes the bar, so that something else can be printed.
    void Clear() noexcept;

private:
    void Draw(double percent, int64_t elapsedNanos) noexcept;

    std::string label_;
    bool isVisible_;
    int64_t pixels_ = 0;
    int64_t drawnNanos_ = -1;  // when the bar was drawn, since the start; -1: it is not there
    int64_t startedNanos_;
};

}  // namespace px::tool
