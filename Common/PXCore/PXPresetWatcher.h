#pragma once

// PXPresetWatcher — tells when something in a preset folder has changed, once for many changes.
//
// A change is anything made, written, renamed or removed in the folder and in its categories, by
// whatever process, this one included. The procedure is called on a thread of the watcher's own,
// without a lock, when there was no further change for the quiet time, or ten times that after the
// first. One thread makes and destroys a watcher.

#include <cstdint>

#include "PXCore/PXString.h"

typedef void (*PXPresetChangeProc)(void* context);

class PX_API PXPresetWatcher {
public:
    // `folder` is that of PXPresetManager::getModuleDataPath. A folder that cannot be watched is
    // logged under the source "PXPresetWatcher"; there are then no calls. A null folder or
    // procedure logs 1005.
    PXPresetWatcher(const PXString& folder, uint32_t quietMs, PXPresetChangeProc procedure,
                    void* context);
    PXPresetWatcher(const PXPresetWatcher&) = delete;
    PXPresetWatcher& operator=(const PXPresetWatcher&) = delete;
    // Waits for a call that is under way; there is none afterwards. Not to be called from inside
    // the procedure.
    ~PXPresetWatcher();

    // False when the folder could not be watched.
    bool isWatching() const noexcept;

private:
    struct State;
    State* state_;
};
