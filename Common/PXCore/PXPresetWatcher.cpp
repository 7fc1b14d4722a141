#include "PXCore/PXPresetWatcher.h"

#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "PXCore/PresetDebounce.h"
#include "PXCore/PresetFiles.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr char kEventSource[] = "PXPresetWatcher";
constexpr int64_t kNanosPerMs = 1000000;

// Rounded up, so that a wait does not end just before its time.
int WaitMs(int64_t nanos)
{
    if (nanos < 0) return -1;
    return static_cast<int>(std::min<int64_t>((nanos + kNanosPerMs - 1) / kNanosPerMs,
                                              std::numeric_limits<int>::max()));
}

}  // namespace

// Everything but the two descriptors belongs to the watcher's thread once that runs.
struct PXPresetWatcher::State {
    std::string folder;
    px::PresetDebounce debounce;
    PXPresetChangeProc procedure;
    void* context;
    px::os::File watch = px::os::kNoFile;
    px::os::File stop = px::os::kNoFile;
    px::os::Thread thread = 0;
    bool isRunning = false;

    ~State()
    {
        for (const px::os::File file : {watch, stop}) {
            if (file != px::os::kNoFile) px::os::Os().closeFile(file);
        }
    }

    int Start()
    {
        if (const int error = px::os::Os().openWatch(&watch)) return error;
        if (const int error = px::os::Os().makeEvent(&stop)) return error;
        if (const int error = px::os::Os().watchFolder(watch, folder.c_str())) return error;
        WatchCategories();
        if (const int error = px::os::Os().startThread(RunThread, this, &thread)) return error;
        isRunning = true;
        return 0;
    }

    // Whatever was made there before it is watched, its folder's own making has been reported.
    void WatchCategories() const
    {
        std::vector<std::string> names;
        px::ListEntries(folder, "", px::EntryKind::kFolder, &names);
        for (const std::string& name : names)
            px::os::Os().watchFolder(watch, (folder + "/" + name).c_str());
    }

    static void RunThread(void* state) { static_cast<State*>(state)->Run(); }

    void Run()
    {
        for (;;) {
            const px::os::File files[] = {stop, watch};
            bool ready[2] = {};
            const int64_t left = debounce.Left(px::os::Os().monotonicNanos());
            if (px::os::Os().waitForFiles(files, ready, 2, WaitMs(left)) || ready[0]) return;
            bool hasChanged = false;
            if (ready[1] && px::os::Os().readWatch(watch, &hasChanged)) return;
            const int64_t now = px::os::Os().monotonicNanos();
            if (hasChanged) {
                debounce.Note(now);
                WatchCategories();
            }
            if (debounce.Left(now) == 0) {
                debounce.Clear();
                procedure(context);
            }
        }
    }
};

PXPresetWatcher::PXPresetWatcher(const PXString& folder, uint32_t quietMs,
                                 PXPresetChangeProc procedure, void* context)
    : state_(nullptr)
{
    PX_REQUIRE_OR(folder.toCFString() && procedure, );
    state_ = new State{px::UTF8Of(folder.toCFString()),
                       px::PresetDebounce(int64_t{quietMs} * kNanosPerMs), procedure, context};
    if (const int error = state_->Start())
        PXLogWithParams(1, CFSTR("PXPresetWatcher"), 0, CFSTR("Could not watch '%@': %s"),
                        folder.toCFString(), px::os::TextOf(error));
}

PXPresetWatcher::~PXPresetWatcher()
{
    if (isWatching()) {
        px::os::Os().signalEvent(state_->stop);
        px::os::Os().joinThread(state_->thread);
    }
    delete state_;
}

bool PXPresetWatcher::isWatching() const noexcept
{
    return state_ && state_->isRunning;
}
