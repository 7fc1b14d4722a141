#pragma once

// Platform_linux_presets — the desktop's trash, its folder viewer and reports of changed folders,
// see Platform.h.

#include "Base/Platform/Platform.h"

namespace px::os::linux_presets {

int MoveToTrash(const char* path);
const char* FolderViewer();
int OpenWatch(File* watch);
int WatchFolder(File watch, const char* path);
int ReadWatch(File watch, bool* changed);

}  // namespace px::os::linux_presets
